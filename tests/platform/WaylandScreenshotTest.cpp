// Screen capture permission in a real Wayland session: headless sway with the desktop portal and its permission
// store started by the bus. The capture itself on that portal is in CaptureOutputsTest, through the application.

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QTest>

#include "platform/capture/ScreenCapturePermission.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

/** A call to the permission store's entry for unsandboxed screenshots. */
QDBusMessage permissionStore(const QString &method, const QVariantList &arguments)
{
    const QString store = u"org.freedesktop.impl.portal.PermissionStore"_s;
    QDBusMessage call =
        QDBusMessage::createMethodCall(store, u"/org/freedesktop/impl/portal/PermissionStore"_s, store, method);
    call.setArguments(arguments);
    return QDBusConnection::sessionBus().call(call, QDBus::Block, 30000);
}

QStringList storedScreenshotPermission()
{
    const QDBusMessage reply = permissionStore(u"GetPermission"_s, {u"screenshot"_s, u"screenshot"_s, QString()});
    return reply.arguments().isEmpty() ? QStringList() : reply.arguments().constFirst().toStringList();
}

TEST(WaylandScreenshotTest, RequestingAccessAgainForgetsTheStoredAnswer)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) << "runs under with-xvfb with-sway";
    const QDBusMessage stored =
        permissionStore(u"SetPermission"_s, {u"screenshot"_s, true, u"screenshot"_s, QString(), QStringList{u"no"_s}});
    ASSERT_EQ(stored.type(), QDBusMessage::ReplyMessage) << stored.errorMessage().toStdString();
    ASSERT_EQ(storedScreenshotPermission(), QStringList{u"no"_s});
    EXPECT_EQ(screenCapturePermission(SessionType::Wayland), ScreenCapturePermission::Denied);
    resetScreenCapturePermission(SessionType::Wayland);
    EXPECT_TRUE(QTest::qWaitFor([] { return storedScreenshotPermission().isEmpty(); }, 10000));
    EXPECT_EQ(screenCapturePermission(SessionType::Wayland), ScreenCapturePermission::Ask);
}

} // namespace
