#include "platform/hotkey/HotKeyKGlobalAccel.h"

#include <cstdlib>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QGuiApplication>
#include <QLoggingCategory>

using namespace Qt::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(lcHotKey)

namespace Tessary {

namespace {

const QString service = u"org.kde.kglobalaccel"_s;
const QString component = u"md.velmor.tessary"_s;
const QString action = u"capture"_s;
const QStringList actionId{component, action, u"Tessary"_s, u"Capture text"_s};
// SetPresent: the keys are ours now. NoAutoloading: take these keys, not the ones the daemon saved last time.
constexpr uint setShortcutFlags = 0x2 | 0x4;
constexpr quint16 shiftMask = XCB_MOD_MASK_SHIFT;

QDBusMessage call(const QString &path, const QString &interface, const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message);
}

QDBusMessage callDaemon(const QString &method, const QVariantList &arguments)
{
    return call(u"/kglobalaccel"_s, u"org.kde.KGlobalAccel"_s, method, arguments);
}

/** Qt's key for a printable Latin-1 keysym: the character itself, letters upper-cased. */
int qtKeyForKeysym(xcb_keysym_t keysym)
{
    if (keysym >= 0x20 && keysym <= 0x7e) {
        return QChar(char16_t(keysym)).toUpper().unicode();
    }
    if (keysym >= 0xa0 && keysym <= 0xff) {
        return QChar(char16_t(keysym)).toUpper().unicode();
    }
    return 0;
}

/** The symbol on the key's Shift level in the X keyboard map, where an X connection exists (X11 or XWayland). */
int shiftedKeyFromKeymap(quint32 x11Keycode)
{
    auto *x11 = qGuiApp != nullptr ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (x11 == nullptr || x11->connection() == nullptr) {
        return 0;
    }
    xcb_key_symbols_t *symbols = xcb_key_symbols_alloc(x11->connection());
    if (symbols == nullptr) {
        return 0;
    }
    const xcb_keysym_t keysym = xcb_key_symbols_get_keysym(symbols, xcb_keycode_t(x11Keycode), 1);
    xcb_key_symbols_free(symbols);
    return qtKeyForKeysym(keysym);
}

/** The shifted symbol on a US keyboard, for when there is no X keyboard map to ask. */
int shiftedKeyOnUsLayout(int qtKey)
{
    static constexpr char16_t plain[] = u"1234567890-=[]\\;',./`";
    static constexpr char16_t shifted[] = u"!@#$%^&*()_+{}|:\"<>?~";
    for (std::size_t i = 0; plain[i] != 0; ++i) {
        if (qtKey == int(plain[i])) {
            return shifted[i];
        }
    }
    return 0;
}

QList<int> intList(const QVariant &value)
{
    // "ai" arrives as a QDBusArgument unless the type was registered before the reply was read.
    if (value.canConvert<QDBusArgument>()) {
        return qdbus_cast<QList<int>>(value.value<QDBusArgument>());
    }
    return value.value<QList<int>>();
}

} // namespace

HotKeyKGlobalAccel::HotKeyKGlobalAccel(QObject *parent)
    : HotKeyBackend(parent)
{
    qDBusRegisterMetaType<QList<int>>();
}

HotKeyKGlobalAccel::~HotKeyKGlobalAccel()
{
    unregisterShortcut();
}

bool HotKeyKGlobalAccel::canRegister() const
{
    return QDBusConnection::sessionBus().isConnected();
}

QString HotKeyKGlobalAccel::description() const
{
    return u"KDE global shortcuts"_s;
}

QList<int> HotKeyKGlobalAccel::keysFor(const HotKeyCombination &combination)
{
    const int key = combination.qtCombination();
    if (key == 0) {
        return {};
    }
    QList<int> keys{key};
    if ((combination.x11Modifiers & shiftMask) == 0 || combination.keypad) {
        return keys;
    }
    // With Shift held, KDE's daemon on X11 reports the key by its shifted symbol and without Shift: Ctrl+Shift+2 on
    // a US keyboard arrives as Ctrl+@. Asking for both forms makes the chord fire wherever it is reported either way.
    int shifted = shiftedKeyFromKeymap(combination.x11Keycode);
    if (shifted == 0) {
        shifted = shiftedKeyOnUsLayout(combination.qtKey);
    }
    if (shifted != 0 && shifted != combination.qtKey) {
        const Qt::KeyboardModifiers withoutShift = combination.qtModifiers() & ~Qt::ShiftModifier;
        keys.append(shifted | int(withoutShift.toInt()));
    }
    return keys;
}

QList<int> HotKeyKGlobalAccel::setKeys(const QList<int> &keys)
{
    const QDBusMessage reply =
        callDaemon(u"setShortcut"_s, {actionId, QVariant::fromValue(keys), QVariant::fromValue(setShortcutFlags)});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        qCWarning(lcHotKey) << "KDE global shortcuts: setShortcut failed:" << reply.errorMessage();
        return {};
    }
    return intList(reply.arguments().constFirst());
}

bool HotKeyKGlobalAccel::registerShortcut(const HotKeyCombination &combination)
{
    unregisterShortcut();
    const QList<int> keys = keysFor(combination);
    if (keys.isEmpty()) {
        return false;
    }
    const QDBusMessage registered = callDaemon(u"doRegister"_s, {actionId});
    if (registered.type() == QDBusMessage::ErrorMessage) {
        qCWarning(lcHotKey) << "KDE global shortcuts: doRegister failed:" << registered.errorMessage();
        return false;
    }
    // The daemon answers with the keys it gave us; a key that another component holds comes back as 0. Half a
    // shortcut is none: the form the desktop reports the chord in may be the one that is missing.
    const QList<int> granted = setKeys(keys);
    if (granted != keys) {
        qCInfo(lcHotKey) << "KDE global shortcuts: asked for" << keys << "got" << granted;
        setKeys({});
        callDaemon(u"unregister"_s, {component, action});
        return false;
    }
    listenForPresses();
    m_registered = true;
    return true;
}

void HotKeyKGlobalAccel::listenForPresses()
{
    if (!m_componentPath.isEmpty()) {
        return;
    }
    const QDBusMessage reply = callDaemon(u"getComponent"_s, {component});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        qCWarning(lcHotKey) << "KDE global shortcuts: no component object:" << reply.errorMessage();
        return;
    }
    m_componentPath = reply.arguments().constFirst().value<QDBusObjectPath>().path();
    QDBusConnection::sessionBus().connect(service, m_componentPath, u"org.kde.kglobalaccel.Component"_s,
                                          u"globalShortcutPressed"_s, this,
                                          SLOT(onGlobalShortcutPressed(QString, QString, qlonglong)));
}

void HotKeyKGlobalAccel::unregisterShortcut()
{
    if (!m_registered) {
        return;
    }
    m_registered = false;
    callDaemon(u"unregister"_s, {component, action});
}

void HotKeyKGlobalAccel::onGlobalShortcutPressed(const QString &pressedComponent, const QString &pressedAction,
                                                 qlonglong)
{
    if (m_registered && pressedComponent == component && pressedAction == action) {
        Q_EMIT pressed();
    }
}

} // namespace Tessary
