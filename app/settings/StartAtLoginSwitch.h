#pragma once

#include <QWidget>

class QCheckBox;
class QLabel;

namespace Tessary {

class SettingsTexts;

/**
 * "Start Tessary at login": writes or removes the XDG autostart entry for the copy that is running. The entry on
 * disk is the only state (it belongs to this computer, not to the synced configuration), so the switch reads it
 * again each time it is shown.
 */
class StartAtLoginSwitch final : public QWidget
{
    Q_OBJECT
public:
    explicit StartAtLoginSwitch(SettingsTexts &texts, QWidget *parent = nullptr);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void refresh();
    void apply(bool enabled);
    void showFailure();

    SettingsTexts &m_texts;
    QCheckBox *m_switch = nullptr;
    QLabel *m_error = nullptr;
    QString m_failure;
};

} // namespace Tessary
