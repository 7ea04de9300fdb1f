#include <gtest/gtest.h>

#include <QAction>
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

// Real key presses from the X server (xdotool through XTEST), with the scan codes and modifier state X reports.
class ShortcutRecorderX11Test : public ::testing::TestWithParam<std::tuple<const char *, CapturedShortcut>>
{
};

TEST_P(ShortcutRecorderX11Test, RecordsAChordTypedOnTheKeyboard)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    defaults.setString(u"language"_s, u"zh-Hans"_s);
    TessaryPreferences preferences(defaults);

    // A window whose own shortcut is the same chord: while recording, the recorder must get it first.
    QWidget window;
    window.setWindowTitle(u"Recorder Test Window"_s);
    window.resize(300, 200);
    QAction action(&window);
    action.setShortcuts({QKeySequence(u"Ctrl+Shift+K"_s), QKeySequence(u"Meta+Shift+K"_s)});
    window.addAction(&action);
    QSignalSpy triggered(&action, &QAction::triggered);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));

    ShortcutRecorder recorder;
    recorder.toggle(&preferences);
    QSignalSpy recording(&recorder, &ShortcutRecorder::recordingChanged);
    const Tessary::Test::ProcessResult typed = Tessary::Test::runProcess(
        u"xdotool"_s, {u"key"_s, u"--clearmodifiers"_s, QString::fromLatin1(std::get<0>(GetParam()))});
    ASSERT_EQ(typed.exitCode, 0) << typed.standardError.toStdString();
    ASSERT_TRUE(recording.wait(5000));

    EXPECT_EQ(preferences.shortcut(), std::get<1>(GetParam()));
    EXPECT_FALSE(recorder.isRecording());
    EXPECT_EQ(triggered.count(), 0);

    // Afterwards the window's shortcut works again.
    ASSERT_EQ(Tessary::Test::runProcess(u"xdotool"_s, {u"key"_s, u"--clearmodifiers"_s, u"ctrl+shift+k"_s}).exitCode,
              0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return triggered.count() == 1; }, 5000));
}

INSTANTIATE_TEST_SUITE_P(Chords, ShortcutRecorderX11Test,
                         ::testing::Values(std::make_tuple("ctrl+shift+k", CapturedShortcut{40, 0x1200, u"K"_s}),
                                           std::make_tuple("super+shift+k", CapturedShortcut{40, 0x300, u"K"_s}),
                                           std::make_tuple("ctrl+shift+F5", CapturedShortcut{96, 0x1200, u"按键 96"_s}),
                                           std::make_tuple("ctrl+alt+space", CapturedShortcut{49, 0x1800, u"Space"_s})),
                         [](const auto &info) {
                             std::string name = std::get<0>(info.param);
                             std::erase(name, '+');
                             return name;
                         });

} // namespace
