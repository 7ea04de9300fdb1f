#include "helper/screencapture/PortalScreenshot.h"

#include <QDBusConnection>
#include <QEventLoop>
#include <QFile>
#include <QUrl>

#include "platform/portal/PortalRequest.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

PortalScreenshot taken(const QVariantMap &results)
{
    PortalScreenshot shot;
    const QUrl uri(results.value(u"uri"_s).toString());
    if (!uri.isLocalFile()) {
        shot.detail = u"the desktop portal answered without a screenshot file"_s;
        return shot;
    }
    const QString file = uri.toLocalFile();
    shot.image.load(file);
    // The portal leaves its picture behind (GNOME in the Pictures folder); it was only ever meant for us.
    QFile::remove(file);
    if (shot.image.isNull()) {
        shot.detail = u"the desktop portal's screenshot could not be read"_s;
        return shot;
    }
    shot.outcome = PortalScreenshot::Outcome::Taken;
    return shot;
}

} // namespace

PortalScreenshot PortalScreenshot::take(bool interactive)
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return {Outcome::Refused, {}, u"no session bus"_s};
    }
    PortalScreenshot shot;
    QEventLoop loop;
    PortalRequest request(bus);
    QObject::connect(&request, &PortalRequest::responded, &loop, [&](uint response, const QVariantMap &results) {
        if (response == 0) {
            shot = taken(results);
        } else if (response == 1) {
            shot = {Outcome::Cancelled, {}, {}};
        } else {
            shot = {Outcome::Refused, {}, u"the desktop portal refused the screenshot"_s};
        }
        loop.quit();
    });
    QObject::connect(&request, &PortalRequest::failed, &loop, [&](const QString &detail) {
        // No portal, or one without a screenshot back end: the screen cannot be read from here.
        shot = {Outcome::Refused, {}, detail};
        loop.quit();
    });
    request.start(u"org.freedesktop.portal.Screenshot"_s, u"Screenshot"_s, {QString()},
                  {{u"modal"_s, true}, {u"interactive"_s, interactive}});
    loop.exec();
    return shot;
}

} // namespace Tessary
