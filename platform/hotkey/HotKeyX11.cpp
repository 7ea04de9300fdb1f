#include "platform/hotkey/HotKeyX11.h"

#include <cstdlib>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <QCoreApplication>
#include <QGuiApplication>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr quint32 numLockKeysym = 0xff7f;
constexpr quint16 relevantModifiers = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;

xcb_connection_t *connection()
{
    auto *x11 = qGuiApp != nullptr ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 != nullptr ? x11->connection() : nullptr;
}

QList<xcb_window_t> rootWindows(xcb_connection_t *conn)
{
    QList<xcb_window_t> roots;
    for (auto it = xcb_setup_roots_iterator(xcb_get_setup(conn)); it.rem > 0; xcb_screen_next(&it)) {
        roots.append(it.data->root);
    }
    return roots;
}

} // namespace

HotKeyX11::HotKeyX11(QObject *parent)
    : HotKeyBackend(parent)
{
    QCoreApplication::instance()->installNativeEventFilter(this);
}

HotKeyX11::~HotKeyX11()
{
    unregisterShortcut();
    if (QCoreApplication::instance() != nullptr) {
        QCoreApplication::instance()->removeNativeEventFilter(this);
    }
}

bool HotKeyX11::canRegister() const
{
    return connection() != nullptr;
}

QString HotKeyX11::description() const
{
    return u"X11 key grab"_s;
}

quint16 HotKeyX11::numLockMask() const
{
    // Num Lock is whichever ModN holds the Num_Lock keysym; Mod2 on nearly every system.
    xcb_connection_t *conn = connection();
    quint16 mask = XCB_MOD_MASK_2;
    xcb_key_symbols_t *symbols = xcb_key_symbols_alloc(conn);
    xcb_keycode_t *numLockCodes = symbols != nullptr ? xcb_key_symbols_get_keycode(symbols, numLockKeysym) : nullptr;
    auto *mapping = xcb_get_modifier_mapping_reply(conn, xcb_get_modifier_mapping(conn), nullptr);
    if (numLockCodes != nullptr && mapping != nullptr) {
        const xcb_keycode_t *codes = xcb_get_modifier_mapping_keycodes(mapping);
        const int perModifier = mapping->keycodes_per_modifier;
        for (int modifier = 0; modifier < 8; ++modifier) {
            for (int i = 0; i < perModifier; ++i) {
                for (const xcb_keycode_t *code = numLockCodes; *code != XCB_NO_SYMBOL; ++code) {
                    if (codes[modifier * perModifier + i] == *code) {
                        mask = quint16(1 << modifier);
                    }
                }
            }
        }
    }
    free(mapping);
    free(numLockCodes);
    if (symbols != nullptr) {
        xcb_key_symbols_free(symbols);
    }
    return mask;
}

bool HotKeyX11::registerShortcut(const HotKeyCombination &combination)
{
    xcb_connection_t *conn = connection();
    if (conn == nullptr || combination.x11Keycode == 0 || combination.x11Keycode > 255) {
        return false;
    }
    unregisterShortcut();
    const quint16 numLock = numLockMask();
    const quint16 variants[] = {0, XCB_MOD_MASK_LOCK, numLock, quint16(XCB_MOD_MASK_LOCK | numLock)};
    QList<Grab> grabs;
    for (const xcb_window_t root : rootWindows(conn)) {
        for (const quint16 variant : variants) {
            const quint16 modifiers = combination.x11Modifiers | variant;
            const xcb_void_cookie_t cookie =
                xcb_grab_key_checked(conn, 1, root, modifiers, xcb_keycode_t(combination.x11Keycode),
                                     XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
            if (xcb_generic_error_t *error = xcb_request_check(conn, cookie)) {
                // BadAccess: another client has this key already.
                free(error);
                ungrab(grabs, combination.x11Keycode);
                return false;
            }
            grabs.append({root, modifiers});
        }
    }
    m_grabs = grabs;
    m_combination = combination;
    m_keyDown = false;
    return true;
}

void HotKeyX11::unregisterShortcut()
{
    ungrab(m_grabs, m_combination.x11Keycode);
    m_grabs.clear();
    m_keyDown = false;
}

void HotKeyX11::ungrab(const QList<Grab> &grabs, quint32 keycode)
{
    xcb_connection_t *conn = connection();
    if (conn == nullptr || grabs.isEmpty() || keycode == 0) {
        return;
    }
    for (const Grab &grab : grabs) {
        xcb_ungrab_key(conn, xcb_keycode_t(keycode), grab.root, grab.modifiers);
    }
    xcb_flush(conn);
}

bool HotKeyX11::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (m_grabs.isEmpty() || eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto *event = static_cast<xcb_generic_event_t *>(message);
    const uint8_t type = event->response_type & ~0x80;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) {
        return false;
    }
    const auto *key = reinterpret_cast<const xcb_key_press_event_t *>(event);
    if (key->detail != m_combination.x11Keycode || (key->state & relevantModifiers) != m_combination.x11Modifiers) {
        if (type == XCB_KEY_RELEASE && key->detail == m_combination.x11Keycode) {
            m_keyDown = false;
        }
        return false;
    }
    if (type == XCB_KEY_RELEASE) {
        m_keyDown = false;
        m_releaseTime = key->time;
        return true;
    }
    // Held down, the key repeats its press (after a release of the same time); one press is one capture.
    if (!m_keyDown && !(m_releaseTime != 0 && key->time == m_releaseTime)) {
        QMetaObject::invokeMethod(this, &HotKeyBackend::pressed, Qt::QueuedConnection);
    }
    m_keyDown = true;
    return true;
}

} // namespace Tessary
