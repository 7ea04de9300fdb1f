#include "app/ShortcutRecorder.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QWindow>

#include "app/CapturedShortcut.h"
#include "app/KeyTables.h"
#include "app/ReservedShortcuts.h"
#include "app/TessaryPreferences.h"
#include "app/localization/TessaryLocalized.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr quint32 qualifyingModifiers =
    CapturedShortcut::Command | CapturedShortcut::Control | CapturedShortcut::Option;

bool isSuperKey(int key)
{
    return key == Qt::Key_Meta || key == Qt::Key_Super_L || key == Qt::Key_Super_R;
}

bool isModifierKey(int key)
{
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
        return true;
    default:
        return false;
    }
}

std::optional<quint32> evdevCode(const QKeyEvent &event)
{
    // X11 and Wayland both report the evdev code + 8; 0 means the event carries no hardware key.
    const quint32 scanCode = event.nativeScanCode();
    if (scanCode < KeyTables::x11KeycodeOffset) {
        return std::nullopt;
    }
    return scanCode - KeyTables::x11KeycodeOffset;
}

} // namespace

ShortcutRecorder::~ShortcutRecorder()
{
    stop();
}

bool ShortcutRecorder::isRecording() const
{
    return m_recording;
}

QString ShortcutRecorder::message() const
{
    return m_message;
}

void ShortcutRecorder::toggle(TessaryPreferences *preferences)
{
    if (m_recording) {
        stop();
        return;
    }
    m_preferences = preferences;
    setRecording(true);
    setMessage(u"按下含 ⌘、⌃ 或 ⌥ 的快捷键；Esc 取消"_s);
    if (QCoreApplication *application = QCoreApplication::instance()) {
        application->installEventFilter(this);
        m_monitorInstalled = true;
    }
    if (auto *gui = qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        m_focusConnection = connect(gui, &QGuiApplication::focusWindowChanged, this, &ShortcutRecorder::stop);
    }
}

void ShortcutRecorder::stop()
{
    if (m_monitorInstalled) {
        if (QCoreApplication *application = QCoreApplication::instance()) {
            application->removeEventFilter(this);
        }
        m_monitorInstalled = false;
    }
    disconnect(m_focusConnection);
    setRecording(false);
    setMessage(QString());
}

bool ShortcutRecorder::eventFilter(QObject *, QEvent *event)
{
    const QEvent::Type type = event->type();
    if (type != QEvent::ShortcutOverride && type != QEvent::KeyPress && type != QEvent::KeyRelease) {
        return false;
    }
    if (!m_recording || !m_preferences) {
        return false;
    }
    const auto *key = static_cast<QKeyEvent *>(event);
    if (type == QEvent::KeyRelease) {
        // Super pressed and let go with nothing else is the desktop's key for its overview.
        if (isSuperKey(key->key()) && m_superAlone && !key->isAutoRepeat()) {
            setMessage(tessaryLocalized(ReservedShortcuts::superAloneReason(), m_preferences->language()));
        }
        m_superAlone = false;
        return false;
    }
    if (isModifierKey(key->key())) {
        if (type == QEvent::KeyPress && !key->isAutoRepeat()) {
            m_superAlone = isSuperKey(key->key());
        }
        return false;
    }
    m_superAlone = false;
    if (event->type() == QEvent::ShortcutOverride) {
        // Claim the key, so that the press comes to us instead of triggering an action.
        event->accept();
        return true;
    }
    handleKeyPress(*key);
    return true;
}

void ShortcutRecorder::handleKeyPress(const QKeyEvent &event)
{
    const std::optional<quint32> evdev = evdevCode(event);
    if (evdev ? *evdev == KeyTables::evdevEscape : event.key() == Qt::Key_Escape) {
        stop();
        return;
    }
    const quint32 modifiers = KeyTables::carbonModifiers(event.modifiers());
    if (event.key() == Qt::Key_Print || event.key() == Qt::Key_SysReq) {
        // Print has no row in the key table; key code 0 (A) only carries the label into the title.
        refuse(ReservedShortcuts::printKeyReason(), {.keyCode = 0, .modifiers = modifiers, .label = u"Print"_s});
        return;
    }
    if ((modifiers & qualifyingModifiers) == 0) {
        setMessage(u"请包含 ⌘、⌃ 或 ⌥，避免覆盖普通输入"_s);
        return;
    }
    const KeyRow *row = evdev ? KeyTables::byEvdevCode(*evdev) : nullptr;
    if (!row) {
        return;
    }
    // The label comes from the table, not from the active layout, so it names the same key on every machine.
    const QString label =
        row->label ? QString::fromUtf16(row->label)
                   : tessaryFormat(tessaryLocalized(u"按键 %d"_s, m_preferences->language()), row->carbonCode);
    const CapturedShortcut shortcut{.keyCode = row->carbonCode, .modifiers = modifiers, .label = label};
    if (const std::optional<QString> reason = ReservedShortcuts::reason(shortcut.keyCode, shortcut.modifiers)) {
        refuse(*reason, shortcut);
        return;
    }
    m_preferences->setShortcut(shortcut);
    stop();
}

void ShortcutRecorder::refuse(const QString &reasonKey, const CapturedShortcut &shortcut)
{
    // The message names the shortcut, so it is formatted now, in the language of the moment.
    setMessage(tessaryFormat(tessaryLocalized(reasonKey, m_preferences->language()), shortcut.title()));
}

void ShortcutRecorder::setRecording(bool recording)
{
    if (recording != m_recording) {
        m_recording = recording;
        Q_EMIT recordingChanged();
    }
}

void ShortcutRecorder::setMessage(const QString &message)
{
    if (message != m_message) {
        m_message = message;
        Q_EMIT messageChanged();
    }
}

} // namespace Tessary
