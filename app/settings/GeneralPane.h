#pragma once

#include <QPointer>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QVBoxLayout;

namespace Tessary {

class SettingsTexts;
class ShortcutRecorderWidget;
class TessaryCloudSettings;
class TessaryPreferences;

/**
 * The general pane: screen-capture permission (where the session has one), how the application is reached, language and
 * configuration sync, capture shortcut. Without a sync controller the sync rows are left out.
 */
class GeneralPane final : public QWidget
{
    Q_OBJECT
public:
    GeneralPane(TessaryPreferences &preferences, SettingsTexts &texts, TessaryCloudSettings *cloud = nullptr,
                QWidget *parent = nullptr);

    ShortcutRecorderWidget *shortcutRow() const;

protected:
    void showEvent(QShowEvent *event) override;

private:
    QWidget *permissionSection();
    QWidget *accessSection();
    QWidget *languageSection();
    QWidget *shortcutSection();
    void addSyncRows(QWidget *section, QVBoxLayout *rows);
    void chooseSyncFolder();
    void refreshPermission();

    TessaryPreferences &m_preferences;
    SettingsTexts &m_texts;
    bool m_hasPermission = true;
    QLabel *m_permissionIcon = nullptr;
    QLabel *m_permissionText = nullptr;
    QComboBox *m_language = nullptr;
    ShortcutRecorderWidget *m_shortcutRow = nullptr;
    QPointer<TessaryCloudSettings> m_cloud;
};

} // namespace Tessary
