#pragma once

#include <QWidget>

#include "app/ShortcutRecorder.h"

class QLabel;
class QPushButton;

namespace Tessary {

class TessaryPreferences;

/**
 * The capture-shortcut row of the settings: the current shortcut's title, the record/cancel button, the recorder's
 * hint or complaint and the preferences' shortcutError, all in the preferences' language and kept current. The
 * recording stops when the widget is hidden. GUI thread only; preferences must outlive the widget.
 */
class ShortcutRecorderWidget final : public QWidget
{
    Q_OBJECT
public:
    explicit ShortcutRecorderWidget(TessaryPreferences &preferences, QWidget *parent = nullptr);

    ShortcutRecorder &recorder();

protected:
    void hideEvent(QHideEvent *event) override;

private:
    void refresh();

    TessaryPreferences &m_preferences;
    ShortcutRecorder m_recorder;
    QLabel *m_title = nullptr;
    QPushButton *m_button = nullptr;
    QLabel *m_message = nullptr;
    QLabel *m_error = nullptr;
};

} // namespace Tessary
