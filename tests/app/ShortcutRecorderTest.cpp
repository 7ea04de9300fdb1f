#include <gtest/gtest.h>

#include <QAction>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

#include "app/KeyTables.h"
#include "app/ShortcutRecorder.h"
#include "app/ShortcutRecorderWidget.h"
#include "app/TessaryPreferences.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

const QString startHint = u"按下含 ⌘、⌃ 或 ⌥ 的快捷键；Esc 取消"_s;
const QString complaint = u"请包含 ⌘、⌃ 或 ⌥，避免覆盖普通输入"_s;

/** A key as the X server reports it: Qt key, modifiers, evdev code (0 = no hardware key) and text. */
struct Press
{
    int key;
    Qt::KeyboardModifiers modifiers;
    quint32 evdev;
    QString text;
};

/** The window that has the focus while recording; counts the key presses that reach it. */
class FocusTarget final : public QWidget
{
public:
    int presses = 0;

protected:
    void keyPressEvent(QKeyEvent *event) override
    {
        ++presses;
        event->accept();
    }
};

class ShortcutRecorderTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_defaults = std::make_unique<UserDefaults>(m_dir.filePath(u"defaults.ini"_s));
        m_defaults->setString(u"language"_s, u"en"_s);
        m_preferences = std::make_unique<TessaryPreferences>(*m_defaults);
        m_preferences->onShortcutChange = [this] { ++m_shortcutChanges; };
        m_target.show();
    }

    bool send(const Press &press, QEvent::Type type = QEvent::KeyPress)
    {
        const quint32 scanCode = press.evdev ? press.evdev + KeyTables::x11KeycodeOffset : 0;
        QKeyEvent event(type, press.key, press.modifiers, scanCode, 0, 0, press.text);
        if (type == QEvent::ShortcutOverride) {
            // As Qt sends it: unclaimed until someone accepts it.
            event.ignore();
        }
        QApplication::sendEvent(&m_target, &event);
        return event.isAccepted();
    }

    QTemporaryDir m_dir;
    std::unique_ptr<UserDefaults> m_defaults;
    std::unique_ptr<TessaryPreferences> m_preferences;
    ShortcutRecorder m_recorder;
    FocusTarget m_target;
    int m_shortcutChanges = 0;
};

constexpr auto command = Qt::MetaModifier;
constexpr auto shift = Qt::ShiftModifier;
constexpr auto option = Qt::AltModifier;
constexpr auto control = Qt::ControlModifier;

struct RecordingCase
{
    const char *name;
    QList<Press> presses;
    /** The shortcut afterwards; nothing when it must stay the default. */
    std::optional<CapturedShortcut> recorded;
    /** The recorder's message when it goes on recording; empty when recording has ended. */
    QString message;
    /** Presses that went on to the focused window. */
    int passedThrough = 0;
};

class RecorderRulesTest : public ShortcutRecorderTest, public ::testing::WithParamInterface<RecordingCase>
{
};

TEST_P(RecorderRulesTest, Records)
{
    const RecordingCase &row = GetParam();
    m_recorder.toggle(m_preferences.get());
    ASSERT_EQ(m_recorder.message(), startHint);
    for (const Press &press : row.presses) {
        send(press);
    }
    EXPECT_EQ(m_preferences->shortcut(), row.recorded.value_or(CapturedShortcut::defaultShortcut()));
    EXPECT_EQ(m_shortcutChanges, row.recorded ? 1 : 0);
    EXPECT_EQ(m_recorder.isRecording(), !row.message.isEmpty());
    EXPECT_EQ(m_recorder.message(), row.message);
    EXPECT_EQ(m_target.presses, row.passedThrough);
}

Press kWith(Qt::KeyboardModifiers modifiers)
{
    return {Qt::Key_K, modifiers, 37, modifiers & control ? u"\x0b"_s : u"k"_s};
}

INSTANTIATE_TEST_SUITE_P(
    Keys, RecorderRulesTest,
    ::testing::Values(
        RecordingCase{"commandShiftK", {kWith(command | shift)}, CapturedShortcut{40, 0x300, u"K"_s}, {}},
        RecordingCase{
            "allFourModifiers", {kWith(command | shift | option | control)}, CapturedShortcut{40, 0x1B00, u"K"_s}, {}},
        RecordingCase{"shiftAloneIsRefusedAndRecordingGoesOn", {kWith(shift)}, std::nullopt, complaint},
        RecordingCase{"plainKeyIsRefused", {kWith({})}, std::nullopt, complaint},
        RecordingCase{"refusedThenAccepted", {kWith(shift), kWith(control)}, CapturedShortcut{40, 0x1000, u"K"_s}, {}},
        RecordingCase{"escapeCancels", {{Qt::Key_Escape, {}, 1, u"\x1b"_s}}, std::nullopt, {}},
        RecordingCase{
            "escapeWithModifiersCancels", {{Qt::Key_Escape, control | shift, 1, u"\x1b"_s}}, std::nullopt, {}},
        RecordingCase{"controlOptionSpace",
                      {{Qt::Key_Space, control | option, 57, u" "_s}},
                      CapturedShortcut{49, 0x1800, u"Space"_s},
                      {}},
        RecordingCase{
            "commandReturn", {{Qt::Key_Return, command, 28, u"\r"_s}}, CapturedShortcut{36, 0x100, u"↩"_s}, {}},
        RecordingCase{"keyWithoutCharactersIsNumbered",
                      {{Qt::Key_F1, control, 59, u""_s}},
                      CapturedShortcut{122, 0x1000, u"Key 122"_s},
                      {}},
        RecordingCase{"labelFollowsThePhysicalKeyNotTheLayout",
                      {{Qt::Key_A, control | option, 16, u"a"_s}},
                      CapturedShortcut{12, 0x1800, u"Q"_s},
                      {}},
        RecordingCase{"shiftedDigitKeepsItsDigit",
                      {{Qt::Key_At, control | shift, 3, u"@"_s}},
                      CapturedShortcut{19, 0x1200, u"2"_s},
                      {}},
        RecordingCase{"keypadDigit",
                      {{Qt::Key_1, control | Qt::KeypadModifier, 79, u"1"_s}},
                      CapturedShortcut{83, 0x1000, u"1"_s},
                      {}},
        RecordingCase{"unknownKeyIsIgnored", {{Qt::Key_F13, control, 183, u""_s}}, std::nullopt, startHint},
        RecordingCase{"eventWithoutHardwareKeyIsIgnored", {{Qt::Key_K, control, 0, u"k"_s}}, std::nullopt, startHint},
        RecordingCase{"modifierKeysPassWhileTheChordIsBuilt",
                      {{Qt::Key_Control, {}, 29, u""_s}, {Qt::Key_Shift, control, 42, u""_s}, kWith(control | shift)},
                      CapturedShortcut{40, 0x1200, u"K"_s},
                      {},
                      2}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(ShortcutRecorderTest, IdleRecorderLeavesKeysAlone)
{
    EXPECT_FALSE(send(kWith(control), QEvent::ShortcutOverride)) << "Qt's shortcuts keep working";
    send(kWith(control));
    EXPECT_EQ(m_target.presses, 1);

    m_recorder.toggle(m_preferences.get());
    EXPECT_TRUE(send(kWith(control), QEvent::ShortcutOverride)) << "claimed so that the press comes to the recorder";
    EXPECT_TRUE(m_recorder.isRecording()) << "the override step alone records nothing";
    m_recorder.toggle(m_preferences.get());
    EXPECT_FALSE(m_recorder.isRecording());
    EXPECT_TRUE(m_recorder.message().isEmpty());
    send(kWith(control));
    EXPECT_EQ(m_target.presses, 2);
    EXPECT_EQ(m_shortcutChanges, 0);

    // Recording for preferences that are gone lets keys through.
    m_recorder.toggle(m_preferences.get());
    m_preferences.reset();
    send(kWith(control));
    EXPECT_EQ(m_target.presses, 3);
}

TEST_F(ShortcutRecorderTest, RecordingEndsWhenTheFocusMovesToAnotherWindow)
{
    m_target.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_target));
    m_recorder.toggle(m_preferences.get());
    QSignalSpy recording(&m_recorder, &ShortcutRecorder::recordingChanged);
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(recording.wait(5000));
    EXPECT_FALSE(m_recorder.isRecording());
    EXPECT_TRUE(m_recorder.message().isEmpty());
}

TEST_F(ShortcutRecorderTest, WidgetShowsTheStateInTheChosenLanguage)
{
    ShortcutRecorderWidget widget(*m_preferences);
    widget.show();
    auto *title = widget.findChild<QLabel *>(u"shortcutTitle"_s);
    auto *button = widget.findChild<QPushButton *>(u"recordButton"_s);
    auto *message = widget.findChild<QLabel *>(u"recorderMessage"_s);
    auto *error = widget.findChild<QLabel *>(u"shortcutError"_s);
    ASSERT_TRUE(title && button && message && error);
    EXPECT_EQ(title->text(), u"Ctrl+Shift+Super+2"_s);
    EXPECT_EQ(button->text(), u"Record Shortcut"_s);
    EXPECT_FALSE(message->isVisible());

    button->click();
    EXPECT_EQ(button->text(), u"Cancel Recording"_s);
    EXPECT_TRUE(message->isVisible());
    EXPECT_EQ(message->text(), u"Press a shortcut with Ctrl, Alt or Super; Esc cancels"_s);

    send(kWith(command | shift));
    EXPECT_EQ(title->text(), u"Shift+Super+K"_s);
    EXPECT_EQ(button->text(), u"Record Shortcut"_s);

    m_preferences->setShortcutError(u"快捷键已被占用，请重新录制。"_s);
    EXPECT_EQ(error->text(), u"This shortcut is already in use. Please record another one."_s);
    m_preferences->setLanguage(u"zh-Hant"_s);
    EXPECT_EQ(button->text(), u"錄製快捷鍵"_s);
    EXPECT_EQ(error->text(), u"快捷鍵已被佔用，請重新錄製。"_s);

    button->click();
    ASSERT_TRUE(widget.recorder().isRecording());
    widget.hide();
    EXPECT_FALSE(widget.recorder().isRecording()) << "a hidden view records nothing";
}

// Real key presses from the X server (xdotool through XTEST), with the scan codes and modifier state X reports, in a
// window whose own shortcut is the same chord: while recording, the recorder must get it first.
class ShortcutRecorderX11Test : public ShortcutRecorderTest,
                                public ::testing::WithParamInterface<std::pair<const char *, CapturedShortcut>>
{
};

TEST_P(ShortcutRecorderX11Test, RecordsAChordTypedOnTheKeyboard)
{
    QAction action(&m_target);
    action.setShortcuts({QKeySequence(u"Ctrl+Shift+K"_s), QKeySequence(u"Meta+Shift+K"_s)});
    m_target.addAction(&action);
    QSignalSpy triggered(&action, &QAction::triggered);
    m_target.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_target)) << "runs under with-xvfb";

    m_recorder.toggle(m_preferences.get());
    Tessary::Test::xdotool({u"key"_s, u"--clearmodifiers"_s, QString::fromLatin1(GetParam().first)});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !m_recorder.isRecording(); }, 5000));
    EXPECT_EQ(m_preferences->shortcut(), GetParam().second);
    EXPECT_EQ(triggered.count(), 0);

    // Afterwards the window's shortcut works again.
    Tessary::Test::xdotool({u"key"_s, u"--clearmodifiers"_s, u"ctrl+shift+k"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return triggered.count() == 1; }, 5000));
}

INSTANTIATE_TEST_SUITE_P(Chords, ShortcutRecorderX11Test,
                         ::testing::Values(std::pair("ctrl+shift+k", CapturedShortcut{40, 0x1200, u"K"_s}),
                                           std::pair("super+shift+k", CapturedShortcut{40, 0x300, u"K"_s}),
                                           std::pair("ctrl+shift+F5", CapturedShortcut{96, 0x1200, u"Key 96"_s}),
                                           std::pair("ctrl+alt+space", CapturedShortcut{49, 0x1800, u"Space"_s})),
                         [](const auto &info) {
                             std::string name = info.param.first;
                             std::erase(name, '+');
                             return name;
                         });

} // namespace
