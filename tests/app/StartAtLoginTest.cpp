// General → "Start Tessary at login": the switch writes and removes the XDG autostart entry for the running copy,
// shows what is on disk whenever the settings are shown again, and reports a folder it cannot write.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QTemporaryDir>

#include "app/TessaryPreferences.h"
#include "app/desktop/DesktopEntries.h"
#include "app/settings/GeneralPane.h"
#include "app/settings/SettingsTexts.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
}

TEST(StartAtLoginTest, SwitchWritesRemovesAndFollowsTheEntryOnDisk)
{
    QTemporaryDir home;
    const QByteArray previousHome = qgetenv("HOME");
    qputenv("HOME", QFile::encodeName(home.path()));
    const QString path = DesktopEntries::autostartPath();
    ASSERT_TRUE(path.startsWith(home.path()));
    UserDefaults defaults(home.filePath(u"defaults.ini"_s));
    TessaryPreferences preferences(defaults);
    preferences.setLanguage(u"en"_s);
    SettingsTexts texts(preferences);
    GeneralPane pane(preferences, texts);
    auto *toggle = pane.findChild<QCheckBox *>(u"startAtLogin"_s);
    ASSERT_NE(toggle, nullptr);
    pane.show();
    EXPECT_EQ(toggle->text(), u"Start Tessary at login"_s);
    EXPECT_FALSE(toggle->isChecked());

    toggle->click();
    QFile written(path);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    const QByteArray exec = "\nExec=" + QFile::encodeName(DesktopEntries::runningExecutable()) + '\n';
    EXPECT_TRUE(written.readAll().contains(exec));
    QProcess validate;
    validate.start(u"desktop-file-validate"_s, {path});
    if (validate.waitForFinished()) {
        EXPECT_EQ(validate.exitCode(), 0) << validate.readAllStandardOutput().toStdString();
    }
    toggle->click();
    EXPECT_FALSE(QFile::exists(path));

    // Changed outside while the settings were closed: reopening shows the entry on disk (a path with a space is
    // quoted, as the desktop entry specification asks; Hidden=true and GNOME's switch mean off).
    const QString other = DesktopEntries::text(u"/opt/other copy/tessary"_s);
    EXPECT_TRUE(other.contains(u"\nExec=\"/opt/other copy/tessary\"\n"_s));
    const QList<std::pair<QByteArray, bool>> rows{
        {other.toUtf8(), true},
        {"[Desktop Entry]\nType=Application\nExec=tessary\nHidden=true\n", false},
        {"[Desktop Entry]\nType=Application\nExec=tessary\nX-GNOME-Autostart-enabled=false\n", false},
    };
    for (const auto &[content, shown] : rows) {
        writeFile(path, content);
        pane.hide();
        pane.show();
        EXPECT_EQ(toggle->isChecked(), shown) << content.toStdString();
    }

    // A folder that cannot be written: the reason in the interface language, and the switch stays off.
    QDir(QFileInfo(path).path()).removeRecursively();
    writeFile(QFileInfo(path).path(), "not a folder");
    pane.hide();
    pane.show();
    toggle->click();
    EXPECT_FALSE(toggle->isChecked());
    const auto *error = pane.findChild<QLabel *>(u"startAtLoginError"_s);
    EXPECT_TRUE(error->isVisible());
    EXPECT_TRUE(error->text().startsWith(u"Could not change the autostart entry: "_s)) << error->text().toStdString();
    preferences.setLanguage(u"zh-Hant"_s);
    EXPECT_TRUE(error->text().startsWith(u"無法變更登入啟動項目："_s));
    qputenv("HOME", previousHome);
}

} // namespace
