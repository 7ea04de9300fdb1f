#pragma once

#include <QWidget>

class QComboBox;
class QLabel;

namespace Tessary {

class SettingsTexts;
class ShortcutRecorderWidget;
class TessaryPreferences;

/** The general pane: screen-capture permission, how the application is reached, language, capture shortcut. */
class GeneralPane final : public QWidget
{
    Q_OBJECT
public:
    GeneralPane(TessaryPreferences &preferences, SettingsTexts &texts, QWidget *parent = nullptr);

    ShortcutRecorderWidget *shortcutRow() const;

private:
    QWidget *permissionSection();
    QWidget *accessSection();
    QWidget *languageSection();
    QWidget *shortcutSection();
    void refreshPermission();

    TessaryPreferences &m_preferences;
    SettingsTexts &m_texts;
    bool m_hasPermission = true;
    QLabel *m_permissionIcon = nullptr;
    QLabel *m_permissionText = nullptr;
    QComboBox *m_language = nullptr;
    ShortcutRecorderWidget *m_shortcutRow = nullptr;
};

} // namespace Tessary
