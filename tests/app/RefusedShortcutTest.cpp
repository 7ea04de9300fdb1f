// A shortcut another X client holds, chosen while Tessary runs with its default: refused, the default stays in
// force and in the tray menu, and nothing of the refused key stays grabbed.

#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <QAction>
#include <QMenu>
#include <QTemporaryDir>

#include "app/TessaryApp.h"
#include "app/TessaryPreferences.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

// Ctrl+Alt+K: evdev 37 + 8.
constexpr xcb_keycode_t keyK = 45;
constexpr quint16 ctrlAlt = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;

/** A second X client: another program that wants the same keys. */
class OtherClient
{
public:
    OtherClient()
        : m_connection(xcb_connect(nullptr, nullptr))
        , m_root(xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root)
    {}
    ~OtherClient() { xcb_disconnect(m_connection); }

    bool grab(quint16 modifiers)
    {
        xcb_generic_error_t *error =
            xcb_request_check(m_connection, xcb_grab_key_checked(m_connection, 1, m_root, modifiers, keyK,
                                                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        free(error);
        return error == nullptr;
    }

    void ungrab(quint16 modifiers)
    {
        xcb_ungrab_key(m_connection, keyK, m_root, modifiers);
        xcb_flush(m_connection);
    }

private:
    xcb_connection_t *m_connection;
    xcb_window_t m_root;
};

TEST(RefusedShortcutTest, KeepsTheShortcutInForceAndReleasesTheRefusedKey)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    defaults.setString(u"language"_s, u"en"_s);
    TessaryApp app({u"tessary"_s}, defaults);
    app.applicationDidFinishLaunching();
    QAction *shortcutRow = app.statusMenu()->actions().at(3);
    ASSERT_EQ(shortcutRow->text(), u"Shortcut: Ctrl+Shift+Super+2"_s);

    // The other program holds one lock-key variant only: Tessary grabs the others before it meets the refusal.
    OtherClient other;
    ASSERT_TRUE(other.grab(ctrlAlt | XCB_MOD_MASK_2));
    app.preferences().setShortcut({.keyCode = 40, .modifiers = 0x1800, .label = u"K"_s});

    EXPECT_EQ(app.preferences().shortcutError(), u"快捷键已被占用，请重新录制。"_s);
    EXPECT_EQ(app.preferences().shortcut(), CapturedShortcut::defaultShortcut());
    EXPECT_EQ(shortcutRow->text(), u"Shortcut: Ctrl+Shift+Super+2"_s) << "the row names the shortcut in force";

    // Once it lets go, the other program gets every variant of the keys while Tessary still runs.
    other.ungrab(ctrlAlt | XCB_MOD_MASK_2);
    for (const int lock : {0, int(XCB_MOD_MASK_LOCK), int(XCB_MOD_MASK_2), int(XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2)}) {
        EXPECT_TRUE(other.grab(quint16(ctrlAlt | lock))) << "Tessary kept the grab with lock modifiers " << lock;
    }
    EXPECT_EQ(app.preferences().shortcut(), CapturedShortcut::defaultShortcut());
}

} // namespace
