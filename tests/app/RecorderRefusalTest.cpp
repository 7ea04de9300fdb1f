// Shortcuts that other programs or the desktop already use, typed on the keyboard of a real X server while the
// recorder runs: each is refused with the sentence that says why, in the interface language, and recording goes on.

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

#include "app/ShortcutRecorder.h"
#include "app/TessaryPreferences.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

const QString editing = u"%@ 是各应用里的编辑快捷键（复制、粘贴、撤销、保存等），占用后它们将无法使用。请换一个。"_s;
const QString desktop = u"%@ 是桌面自己的快捷键（切换或关闭窗口、锁屏等），请换一个。"_s;
const QString screenshot = u"%@ 由桌面用来截屏，请换一个。"_s;
const QString superAlone = u"单独按 Super 键由桌面用来打开概览或应用程序菜单，请与其他键一起按下。"_s;

QString translated(const QString &language, const QString &key)
{
    QFile file(Tessary::Test::sourcePath(u"app/resources/i18n/%1.lproj/Localizable.json"_s.arg(language)));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return QJsonDocument::fromJson(file.readAll()).object().value(key).toString();
}

struct Refusal
{
    const char *chord; // as xdotool types it
    const char *language;
    QString reason;
    QString title; // what the sentence calls the shortcut; empty for a sentence without one
};

class RecorderRefusalTest : public ::testing::TestWithParam<Refusal>
{
};

TEST_P(RecorderRefusalTest, RefusesWithItsReason)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    const Refusal &row = GetParam();
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    defaults.setString(u"language"_s, QString::fromLatin1(row.language));
    TessaryPreferences preferences(defaults);

    QWidget window;
    window.resize(300, 200);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    ShortcutRecorder recorder;
    recorder.toggle(&preferences);
    QSignalSpy message(&recorder, &ShortcutRecorder::messageChanged);
    const Tessary::Test::ProcessResult typed =
        Tessary::Test::runProcess(u"xdotool"_s, {u"key"_s, u"--clearmodifiers"_s, QString::fromLatin1(row.chord)});
    ASSERT_EQ(typed.exitCode, 0) << typed.standardError.toStdString();
    ASSERT_TRUE(message.wait(5000));

    const QString sentence = translated(QString::fromLatin1(row.language), row.reason);
    ASSERT_FALSE(sentence.isEmpty());
    EXPECT_EQ(recorder.message(), row.title.isEmpty() ? sentence : QString(sentence).replace(u"%@"_s, row.title));
    EXPECT_TRUE(recorder.isRecording());
    EXPECT_EQ(preferences.shortcut(), CapturedShortcut::defaultShortcut());
}

INSTANTIATE_TEST_SUITE_P(Chords, RecorderRefusalTest,
                         ::testing::Values(Refusal{"ctrl+c", "en", editing, u"Ctrl+C"_s},
                                           Refusal{"ctrl+v", "zh-Hans", editing, u"Ctrl+V"_s},
                                           Refusal{"ctrl+shift+z", "zh-Hant", editing, u"Ctrl+Shift+Z"_s},
                                           Refusal{"alt+Tab", "en", desktop, u"Alt+Tab"_s},
                                           Refusal{"alt+F4", "zh-Hant", desktop, u"Alt+F4"_s},
                                           Refusal{"super+l", "zh-Hans", desktop, u"Super+L"_s},
                                           Refusal{"Print", "en", screenshot, u"Print"_s},
                                           Refusal{"super", "zh-Hant", superAlone, QString()}),
                         [](const auto &info) {
                             std::string name = info.param.chord;
                             std::erase(name, '+');
                             return name + "_" + std::string(info.param.language).erase(2, 1);
                         });

} // namespace
