#pragma once

#include <functional>

#include <QObject>
#include <QString>

#include "app/CapturedShortcut.h"

namespace Tessary {

class SystemColorScheme;
class UserDefaults;

/**
 * The user's settings for the whole application. Each persisted property is loaded once at construction and
 * written back to the user defaults on every assignment, also when the value does not change; then its NOTIFY signal
 * fires and the callbacks that concern it run synchronously, in this order:
 *
 *  - aiBaseURL, aiModel, polishPrompt: onConfigurationChange
 *  - hideMenuBarIcon: onVisibilityChange, onConfigurationChange
 *  - shortcut: onShortcutChange, onConfigurationChange
 *  - colorMode: applyColorMode(), onConfigurationChange
 *  - language: the prompt follows the language when it is one of the built-in prompts (its own assignment, so one
 *    more onConfigurationChange), then onLanguageChange, onConfigurationChange
 *
 * No callback runs during construction. Values are stored exactly as assigned: nothing is trimmed or validated;
 * consumers treat an unknown language or colour mode like "system".
 *
 * keySaved, keyError and shortcutError are not persisted: keySaved mirrors whether the keyring holds the AI key,
 * keyError is the last failure of saveKey(), shortcutError is set by the hot-key installer. saveError says, in the
 * user's words, that the settings file could not be written (a read-only folder, a full disk); the application keeps
 * working on the values in memory.
 *
 * GUI thread only. The defaults store must outlive the object.
 */
class TessaryPreferences final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString aiBaseURL READ aiBaseURL WRITE setAiBaseURL NOTIFY aiBaseURLChanged)
    Q_PROPERTY(QString aiModel READ aiModel WRITE setAiModel NOTIFY aiModelChanged)
    Q_PROPERTY(QString polishPrompt READ polishPrompt WRITE setPolishPrompt NOTIFY polishPromptChanged)
    Q_PROPERTY(bool hideMenuBarIcon READ hideMenuBarIcon WRITE setHideMenuBarIcon NOTIFY hideMenuBarIconChanged)
    Q_PROPERTY(bool keySaved READ keySaved NOTIFY keySavedChanged)
    Q_PROPERTY(QString keyError READ keyError NOTIFY keyErrorChanged)
    Q_PROPERTY(Tessary::CapturedShortcut shortcut READ shortcut WRITE setShortcut NOTIFY shortcutChanged)
    Q_PROPERTY(QString shortcutTitle READ shortcutTitle NOTIFY shortcutChanged)
    Q_PROPERTY(QString shortcutError READ shortcutError WRITE setShortcutError NOTIFY shortcutErrorChanged)
    Q_PROPERTY(QString colorMode READ colorMode WRITE setColorMode NOTIFY colorModeChanged)
    Q_PROPERTY(QString language READ language WRITE setLanguage NOTIFY languageChanged)
    Q_PROPERTY(QString saveError READ saveError NOTIFY saveErrorChanged)

public:
    /** The DeepSeek API root, the service used until the user picks another. */
    static QString defaultBaseURL();
    static QString defaultModel();

    explicit TessaryPreferences(UserDefaults &defaults, QObject *parent = nullptr);
    ~TessaryPreferences() override;

    QString aiBaseURL() const;
    void setAiBaseURL(const QString &value);
    QString aiModel() const;
    void setAiModel(const QString &value);
    QString polishPrompt() const;
    void setPolishPrompt(const QString &value);
    bool hideMenuBarIcon() const;
    void setHideMenuBarIcon(bool value);
    bool keySaved() const;
    QString keyError() const;
    CapturedShortcut shortcut() const;
    void setShortcut(const CapturedShortcut &value);
    /** The shortcut's display form, "Ctrl+Shift+Super+2". */
    QString shortcutTitle() const;
    QString shortcutError() const;
    void setShortcutError(const QString &value);
    QString colorMode() const;
    void setColorMode(const QString &value);
    QString language() const;
    void setLanguage(const QString &value);
    QString saveError() const;

    /**
     * Stores the AI key in the keyring after trimming blanks and line breaks at both ends; an empty result deletes
     * the stored key (deleting a key that is not there succeeds). On success keySaved says whether a key is now
     * stored and keyError is cleared; on failure keySaved stays and keyError says what went wrong. The key is not
     * part of the synchronised configuration: no callback runs.
     */
    void saveKey(const QString &key);

    /**
     * Applies colorMode to the whole application: "light" and "dark" pick that look; anything else (compared
     * exactly) follows the desktop's preference, light when the desktop does not publish one.
     */
    void applyColorMode();

    std::function<void()> onVisibilityChange;
    std::function<void()> onShortcutChange;
    std::function<void()> onConfigurationChange;
    std::function<void()> onLanguageChange;

Q_SIGNALS:
    void aiBaseURLChanged();
    void aiModelChanged();
    void polishPromptChanged();
    void hideMenuBarIconChanged();
    void keySavedChanged();
    void keyErrorChanged();
    void shortcutChanged();
    void shortcutErrorChanged();
    void colorModeChanged();
    void languageChanged();
    void saveErrorChanged();

private:
    void load();
    void written();
    void setKeySaved(bool value);
    void setKeyError(const QString &value);
    static void call(const std::function<void()> &callback);

    UserDefaults &m_defaults;
    QString m_aiBaseURL;
    QString m_aiModel;
    QString m_polishPrompt;
    bool m_hideMenuBarIcon = false;
    bool m_keySaved = false;
    QString m_keyError;
    CapturedShortcut m_shortcut;
    QString m_shortcutError;
    QString m_colorMode;
    QString m_language;
    QString m_saveError;
    SystemColorScheme *m_systemColorScheme = nullptr; // child, created when first needed
};

} // namespace Tessary
