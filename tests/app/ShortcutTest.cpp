// The capture shortcut: stored as a Mac writes it, shown in the Linux form, translated for the X server, and chosen
// with the recorder, which refuses chords that applications and the desktop already use.

#include <gtest/gtest.h>

#include <QAction>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "app/CapturedShortcut.h"
#include "app/KeyTables.h"
#include "app/ShortcutRecorder.h"
#include "app/ShortcutRecorderWidget.h"
#include "app/TessaryPreferences.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::translated;

namespace {

constexpr quint32 command = CapturedShortcut::Command;
constexpr quint32 shift = CapturedShortcut::Shift;
constexpr quint32 option = CapturedShortcut::Option;
constexpr quint32 control = CapturedShortcut::Control;

TEST(ShortcutEncodingTest, WritesWhatAMacWritesReadsItBackAndShowsTheLinuxForm)
{
    const std::tuple<CapturedShortcut, QByteArray, QString> rows[] = {
        {CapturedShortcut::defaultShortcut(), R"({"keyCode":19,"modifiers":4864,"label":"2"})",
         u"Ctrl+Shift+Super+2"_s},
        {{0, command | shift | option | control, u"A"_s},
         R"({"keyCode":0,"modifiers":6912,"label":"A"})",
         u"Ctrl+Alt+Shift+Super+A"_s},
        {{42, option, u"\\\"/"_s}, R"({"keyCode":42,"modifiers":2048,"label":"\\\"\/"})", u"Alt+\\\"/"_s},
        {{122, control | option, u"按键 122"_s},
         "{\"keyCode\":122,\"modifiers\":6144,\"label\":\"\xE6\x8C\x89\xE9\x94\xAE 122\"}",
         u"Ctrl+Alt+F1"_s},
    };
    for (const auto &[shortcut, json, title] : rows) {
        EXPECT_EQ(shortcut.encodedJson(), json);
        EXPECT_EQ(CapturedShortcut::decodeJson(json), shortcut) << json.toStdString();
        EXPECT_EQ(shortcut.title(), title);
    }
}

TEST(ShortcutDecodingTest, AcceptsAnyLayoutAndRefusesWhatNoMacWrites)
{
    const CapturedShortcut k{40, command | shift, u"K"_s};
    EXPECT_EQ(CapturedShortcut::decodeJson(R"( { "label" : "K", "modifiers" : 768, "keyCode" : 40, "x" : [1] } )"), k);
    EXPECT_NE(k, (CapturedShortcut{40, command | shift, u"k"_s}));
    for (const QByteArray json :
         {R"({"keyCode":40,"modifiers":768,"label":7})", R"({"keyCode":"40","modifiers":768,"label":"K"})",
          R"({"keyCode":-1,"modifiers":768,"label":"K"})", R"({"keyCode":4294967296,"modifiers":768,"label":"K"})",
          R"({"keyCode":40,"modifiers":768.5,"label":"K"})", R"({"keyCode":40,"modifiers":1280,"label":"K"})",
          "\x01\x02garbage"}) {
        EXPECT_EQ(CapturedShortcut::decodeJson(json), std::nullopt) << json.toStdString();
    }
}

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
        m_defaults.setString(u"language"_s, u"en"_s);
        m_preferences = std::make_unique<TessaryPreferences>(m_defaults);
        m_preferences->onShortcutChange = [this] { ++m_shortcutChanges; };
        m_target.show();
    }

    bool send(const Press &press, QEvent::Type type = QEvent::KeyPress)
    {
        const quint32 scanCode = press.evdev ? press.evdev + KeyTables::x11KeycodeOffset : 0;
        QKeyEvent event(type, press.key, press.modifiers, scanCode, 0, 0, press.text);
        event.setAccepted(type != QEvent::ShortcutOverride); // as Qt sends it: unclaimed until someone accepts it
        QApplication::sendEvent(&m_target, &event);
        return event.isAccepted();
    }

    QTemporaryDir m_dir;
    UserDefaults m_defaults{m_dir.filePath(u"defaults.ini"_s)};
    std::unique_ptr<TessaryPreferences> m_preferences;
    ShortcutRecorder m_recorder;
    FocusTarget m_target;
    int m_shortcutChanges = 0;
};

constexpr auto meta = Qt::MetaModifier;
constexpr auto ctrl = Qt::ControlModifier;

Press kWith(Qt::KeyboardModifiers modifiers)
{
    return {Qt::Key_K, modifiers, 37, modifiers & ctrl ? u"\x0b"_s : u"k"_s};
}

struct RecordingCase
{
    QList<Press> presses;
    std::optional<CapturedShortcut> recorded; // nothing: the default stays
    QString message;                          // the recorder's message when it goes on recording
    int passedThrough = 0;                    // presses that went on to the focused window
};

// The recorder's messages are keys; the widget shows them in the interface language.
const QString startHint = u"按下含 ⌘、⌃ 或 ⌥ 的快捷键；Esc 取消"_s;
const QString complaint = u"请包含 ⌘、⌃ 或 ⌥，避免覆盖普通输入"_s;

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

INSTANTIATE_TEST_SUITE_P(
    Keys, RecorderRulesTest,
    ::testing::Values(
        RecordingCase{{kWith(meta | Qt::ShiftModifier | Qt::AltModifier | ctrl)}, CapturedShortcut{40, 0x1B00, u"K"_s}},
        RecordingCase{{kWith(Qt::ShiftModifier)}, std::nullopt, complaint},
        RecordingCase{{{Qt::Key_Escape, ctrl | Qt::ShiftModifier, 1, u"\x1b"_s}}, std::nullopt, {}},
        RecordingCase{{{Qt::Key_F1, ctrl, 59, u""_s}}, CapturedShortcut{122, 0x1000, u"Key 122"_s}},
        // The label follows the physical key: AZERTY's A is the Q key.
        RecordingCase{{{Qt::Key_A, ctrl | Qt::AltModifier, 16, u"a"_s}}, CapturedShortcut{12, 0x1800, u"Q"_s}},
        RecordingCase{{{Qt::Key_1, ctrl | Qt::KeypadModifier, 79, u"1"_s}}, CapturedShortcut{83, 0x1000, u"1"_s}},
        RecordingCase{{{Qt::Key_F13, ctrl, 183, u""_s}, {Qt::Key_K, ctrl, 0, u"k"_s}}, std::nullopt, startHint},
        RecordingCase{{{Qt::Key_Control, {}, 29, u""_s}, {Qt::Key_Shift, ctrl, 42, u""_s}, kWith(ctrl)},
                      CapturedShortcut{40, 0x1000, u"K"_s},
                      {},
                      2}));

TEST_F(ShortcutRecorderTest, IdleOrStoppedRecorderLeavesKeysAloneAndFocusElsewhereStopsIt)
{
    EXPECT_FALSE(send(kWith(ctrl), QEvent::ShortcutOverride)) << "Qt's shortcuts keep working";
    m_recorder.toggle(m_preferences.get());
    EXPECT_TRUE(send(kWith(ctrl), QEvent::ShortcutOverride)) << "claimed so that the press comes to the recorder";
    EXPECT_TRUE(m_recorder.isRecording()) << "the override step alone records nothing";
    m_recorder.toggle(m_preferences.get());
    send(kWith(ctrl));
    EXPECT_EQ(m_target.presses, 1);
    EXPECT_EQ(m_shortcutChanges, 0);

    m_target.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_target));
    m_recorder.toggle(m_preferences.get());
    QWidget other;
    other.show();
    other.activateWindow();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_recorder.isRecording(); }, 10000));
    EXPECT_TRUE(m_recorder.message().isEmpty());
}

TEST_F(ShortcutRecorderTest, WidgetShowsTheStateInTheChosenLanguage)
{
    ShortcutRecorderWidget widget(*m_preferences);
    widget.show();
    auto *title = widget.findChild<QLabel *>(u"shortcutTitle"_s);
    auto *button = widget.findChild<QPushButton *>(u"recordButton"_s);
    auto *error = widget.findChild<QLabel *>(u"shortcutError"_s);
    ASSERT_TRUE(title && button && error);
    EXPECT_EQ(title->text(), u"Ctrl+Shift+Super+2"_s);
    button->click();
    EXPECT_EQ(button->text(), u"Cancel Recording"_s);
    EXPECT_EQ(widget.findChild<QLabel *>(u"recorderMessage"_s)->text(),
              u"Press a shortcut with Ctrl, Alt or Super; Esc cancels"_s);
    send(kWith(meta | Qt::ShiftModifier));
    EXPECT_EQ(title->text(), u"Shift+Super+K"_s);
    EXPECT_EQ(button->text(), u"Record Shortcut"_s);

    m_preferences->setShortcutError(u"快捷键已被占用，请重新录制。"_s);
    m_preferences->setLanguage(u"zh-Hant"_s);
    EXPECT_EQ(button->text(), u"錄製快捷鍵"_s);
    EXPECT_EQ(error->text(), u"快捷鍵已被佔用，請重新錄製。"_s);
    button->click();
    widget.hide();
    EXPECT_FALSE(widget.recorder().isRecording()) << "a hidden view records nothing";
}

// Real key presses from the X server (xdotool through XTEST) in a window whose own shortcut is Ctrl+Shift+K: while
// recording, the recorder gets the chord first; a chord in use elsewhere is refused with its reason and recording
// goes on.
struct TypedCase
{
    const char *chord; // as xdotool types it
    const char *language;
    std::optional<CapturedShortcut> recorded;
    QString reason; // the refusal's sentence key; its %@ is the chord's title
    QString title;
};

class ShortcutRecorderX11Test : public ShortcutRecorderTest, public ::testing::WithParamInterface<TypedCase>
{
};

TEST_P(ShortcutRecorderX11Test, TypedChord)
{
    const TypedCase &row = GetParam();
    m_preferences->setLanguage(QString::fromLatin1(row.language));
    QAction action(&m_target);
    action.setShortcut(QKeySequence(u"Ctrl+Shift+K"_s));
    m_target.addAction(&action);
    QSignalSpy triggered(&action, &QAction::triggered);
    m_target.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_target)) << "runs under with-xvfb";

    m_recorder.toggle(m_preferences.get());
    const QString hint = m_recorder.message();
    Tessary::Test::xdotool({u"key"_s, u"--clearmodifiers"_s, QString::fromLatin1(row.chord)});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !m_recorder.isRecording() || m_recorder.message() != hint; }, 10000));
    EXPECT_EQ(m_preferences->shortcut(), row.recorded.value_or(CapturedShortcut::defaultShortcut()));
    EXPECT_EQ(triggered.count(), 0);
    if (!row.recorded) {
        const QString sentence = translated(QString::fromLatin1(row.language), row.reason);
        EXPECT_EQ(m_recorder.message(), QString(sentence).replace(u"%@"_s, row.title));
        EXPECT_TRUE(m_recorder.isRecording());
        return;
    }
    // Afterwards the window's shortcut works again.
    Tessary::Test::xdotool({u"key"_s, u"--clearmodifiers"_s, u"ctrl+shift+k"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return triggered.count() == 1; }, 10000));
}

const QString editing = u"%@ 是各应用里的编辑快捷键（复制、粘贴、撤销、保存等），占用后它们将无法使用。请换一个。"_s;
const QString desktop = u"%@ 是桌面自己的快捷键（切换或关闭窗口、锁屏等），请换一个。"_s;

INSTANTIATE_TEST_SUITE_P(
    Chords, ShortcutRecorderX11Test,
    ::testing::Values(TypedCase{"ctrl+shift+k", "en", CapturedShortcut{40, 0x1200, u"K"_s}},
                      TypedCase{"ctrl+c", "en", std::nullopt, editing, u"Ctrl+C"_s},
                      TypedCase{"alt+Tab", "en", std::nullopt, desktop, u"Alt+Tab"_s},
                      TypedCase{"Print", "en", std::nullopt, u"%@ 由桌面用来截屏，请换一个。"_s, u"Print"_s},
                      TypedCase{"super", "zh-Hant", std::nullopt,
                                u"单独按 Super 键由桌面用来打开概览或应用程序菜单，请与其他键一起按下。"_s}),
    [](const auto &info) {
        std::string name = std::string(info.param.chord) + "_" + info.param.language;
        std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
        return name;
    });

} // namespace

// Last: Xlib's macros (None, KeyPress, Bool) would break the Qt headers and the code above.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>

namespace {

TEST(KeyTablesTest, StoredShortcutsInTheBackendsTermsAndTheXServersOwnKeymap)
{
    // The portal's names (X11 grabs and KDE's daemon are driven through the application in CaptureTest).
    EXPECT_EQ(KeyTables::hotKeyCombination(19, 0x1300)->portalTrigger(), u"CTRL+SHIFT+LOGO+2"_s);
    EXPECT_EQ(KeyTables::hotKeyCombination(83, 0x1000)->portalTrigger(), u"CTRL+KP_1"_s) << "keypad, not digit row";
    EXPECT_EQ(KeyTables::hotKeyCombination(122, 0x800)->portalTrigger(), u"ALT+F1"_s);
    EXPECT_FALSE(KeyTables::hotKeyCombination(0xffff, 0x100).has_value());

    // Xvfb starts with the evdev rules and a US pc105 layout: the reference for which key carries which keysym.
    Display *display = XOpenDisplay(nullptr);
    ASSERT_NE(display, nullptr) << "runs under with-xvfb";
    for (const KeyRow &row : KeyTables::keys()) {
        // Finding each row by its codes also fails for a code given twice.
        EXPECT_EQ(KeyTables::byCarbonCode(row.carbonCode), &row);
        EXPECT_EQ(KeyTables::byEvdevCode(row.evdevCode), &row);
        const KeySym expected = XStringToKeysym(row.keysym);
        const auto keycode = static_cast<KeyCode>(row.evdevCode + KeyTables::x11KeycodeOffset);
        // Keypad digits are the second level (with NumLock); everything else the first.
        EXPECT_TRUE(XkbKeycodeToKeysym(display, keycode, 0, 0) == expected ||
                    (KeyTables::isKeypad(row) && XkbKeycodeToKeysym(display, keycode, 0, 1) == expected))
            << row.keysym << " expected on X key code " << int(keycode);
    }
    XCloseDisplay(display);
    EXPECT_EQ(KeyTables::byEvdevCode(29), nullptr) << "Left Ctrl is a modifier, not a key";
}

} // namespace
