#pragma once

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QString>

class QKeyEvent;

namespace Tessary {

class TessaryPreferences;
struct CapturedShortcut;

/**
 * Records the global capture shortcut from one key press. While recording it watches every key press delivered to
 * the application's own windows (an event filter on the application that also claims the shortcut-override step, so
 * that Qt's own shortcuts do not take Ctrl+letter first):
 *
 *  - Escape ends the recording and keeps the shortcut, whatever modifiers are held;
 *  - a press without Ctrl, Alt or Super is refused with a complaint in message and recording goes on;
 *  - a press of a key the key table does not know is ignored and recording goes on;
 *  - a shortcut that applications or the desktop already use (Ctrl+C, Alt+Tab, Print, Super on its own…) is
 *    refused with a sentence saying why, and recording goes on;
 *  - any other press becomes the preferences' shortcut (Carbon key code from the key's evdev scan code, modifiers,
 *    the table's label or "按键 %d" with the key code for keys without characters) and ends the recording.
 * Presses of modifier keys alone are left alone, as the chord is still being built.
 *
 * message holds a localisation key (the view looks it up); it is empty while idle. The recording also ends when the
 * focused window changes (the user went elsewhere). GUI thread only.
 */
class ShortcutRecorder final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool recording READ isRecording NOTIFY recordingChanged)
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
public:
    using QObject::QObject;
    ~ShortcutRecorder() override;

    bool isRecording() const;
    QString message() const;

    /** Starts recording into preferences, or stops the running recording. */
    void toggle(TessaryPreferences *preferences);
    /** Ends the recording with an empty message; safe when none runs. */
    void stop();

Q_SIGNALS:
    void recordingChanged();
    void messageChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void handleKeyPress(const QKeyEvent &event);
    void refuse(const QString &reasonKey, const CapturedShortcut &shortcut);
    void setRecording(bool recording);
    void setMessage(const QString &message);

    bool m_recording = false;
    bool m_superAlone = false;
    QString m_message;
    QPointer<TessaryPreferences> m_preferences;
    bool m_monitorInstalled = false;
    QMetaObject::Connection m_focusConnection;
};

} // namespace Tessary
