#include "app/TessaryPreferences.h"

#include <QDir>

#include "app/ColorModePalettes.h"
#include "app/SystemColorScheme.h"
#include "app/localization/AIKeyRefusal.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/AIKeychain.h"
#include "app/recognition/TessaryDefaultPrompt.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

const QString keyAiBaseURL = u"aiBaseURL"_s;
const QString keyAiModel = u"aiModel"_s;
const QString keyPolishPrompt = u"polishPrompt"_s;
const QString keyHideMenuBarIcon = u"hideMenuBarIcon"_s;
const QString keyShortcut = u"shortcut"_s;
const QString keyColorMode = u"colorMode"_s;
const QString keyLanguage = u"language"_s;

} // namespace

QString TessaryPreferences::defaultBaseURL()
{
    return u"https://api.deepseek.com/v1"_s;
}

QString TessaryPreferences::defaultModel()
{
    return u"deepseek-v4-flash"_s;
}

TessaryPreferences::TessaryPreferences(UserDefaults &defaults, QObject *parent)
    : QObject(parent)
    , m_defaults(defaults)
{
    load();
}

TessaryPreferences::~TessaryPreferences() = default;

void TessaryPreferences::load()
{
    m_language = m_defaults.string(keyLanguage).value_or(u"system"_s);
    m_aiBaseURL = m_defaults.string(keyAiBaseURL).value_or(defaultBaseURL());
    m_aiModel = m_defaults.string(keyAiModel).value_or(defaultModel());

    // Earlier versions shipped shorter built-in prompts; a stored copy of one of them is the old default, not a
    // choice of the user, so it gives way to the current built-in prompt.
    const QString storedPrompt =
        m_defaults.string(keyPolishPrompt).value_or(TessaryDefaultPrompt::forLanguage(m_language));
    m_polishPrompt = TessaryDefaultPrompt::legacyPrompts().contains(storedPrompt)
                         ? TessaryDefaultPrompt::forLanguage(m_language)
                         : storedPrompt;

    m_hideMenuBarIcon = m_defaults.boolean(keyHideMenuBarIcon).value_or(false);
    // Any failure to read counts as "no key"; it is not reported here.
    m_keySaved = AIKeychain::read().hasValue();

    // A value that does not decode stays stored untouched until the shortcut is next assigned.
    const std::optional<QByteArray> storedShortcut = m_defaults.data(keyShortcut);
    m_shortcut = (storedShortcut ? CapturedShortcut::decodeJson(*storedShortcut) : std::nullopt)
                     .value_or(CapturedShortcut::defaultShortcut());

    m_colorMode = m_defaults.string(keyColorMode).value_or(u"system"_s);

    if (m_polishPrompt != storedPrompt) {
        m_defaults.setString(keyPolishPrompt, m_polishPrompt);
        written();
    }
}

void TessaryPreferences::call(const std::function<void()> &callback)
{
    if (callback) {
        callback();
    }
}

void TessaryPreferences::written()
{
    QString error;
    if (m_defaults.lastWriteFailed()) {
        error = tessaryFormat(tessaryLocalized(u"设置无法保存到 %@，更改只在本次运行期间有效。"_s, m_language),
                              QDir::toNativeSeparators(m_defaults.path()));
    }
    if (error != m_saveError) {
        m_saveError = error;
        Q_EMIT saveErrorChanged();
    }
}

QString TessaryPreferences::aiBaseURL() const
{
    return m_aiBaseURL;
}

void TessaryPreferences::setAiBaseURL(const QString &value)
{
    m_aiBaseURL = value;
    m_defaults.setString(keyAiBaseURL, value);
    written();
    Q_EMIT aiBaseURLChanged();
    call(onConfigurationChange);
}

QString TessaryPreferences::aiModel() const
{
    return m_aiModel;
}

void TessaryPreferences::setAiModel(const QString &value)
{
    m_aiModel = value;
    m_defaults.setString(keyAiModel, value);
    written();
    Q_EMIT aiModelChanged();
    call(onConfigurationChange);
}

QString TessaryPreferences::polishPrompt() const
{
    return m_polishPrompt;
}

void TessaryPreferences::setPolishPrompt(const QString &value)
{
    m_polishPrompt = value;
    m_defaults.setString(keyPolishPrompt, value);
    written();
    Q_EMIT polishPromptChanged();
    call(onConfigurationChange);
}

bool TessaryPreferences::hideMenuBarIcon() const
{
    return m_hideMenuBarIcon;
}

void TessaryPreferences::setHideMenuBarIcon(bool value)
{
    m_hideMenuBarIcon = value;
    m_defaults.setBoolean(keyHideMenuBarIcon, value);
    written();
    Q_EMIT hideMenuBarIconChanged();
    call(onVisibilityChange);
    call(onConfigurationChange);
}

bool TessaryPreferences::keySaved() const
{
    return m_keySaved;
}

void TessaryPreferences::setKeySaved(bool value)
{
    m_keySaved = value;
    Q_EMIT keySavedChanged();
}

QString TessaryPreferences::keyError() const
{
    return m_keyError;
}

void TessaryPreferences::setKeyError(const QString &value)
{
    m_keyError = value;
    Q_EMIT keyErrorChanged();
}

CapturedShortcut TessaryPreferences::shortcut() const
{
    return m_shortcut;
}

void TessaryPreferences::setShortcut(const CapturedShortcut &value)
{
    m_shortcut = value;
    m_defaults.setData(keyShortcut, value.encodedJson());
    written();
    Q_EMIT shortcutChanged();
    call(onShortcutChange);
    call(onConfigurationChange);
}

QString TessaryPreferences::shortcutTitle() const
{
    return m_shortcut.title();
}

QString TessaryPreferences::shortcutError() const
{
    return m_shortcutError;
}

void TessaryPreferences::setShortcutError(const QString &value)
{
    m_shortcutError = value;
    Q_EMIT shortcutErrorChanged();
}

QString TessaryPreferences::colorMode() const
{
    return m_colorMode;
}

void TessaryPreferences::setColorMode(const QString &value)
{
    m_colorMode = value;
    m_defaults.setString(keyColorMode, value);
    written();
    Q_EMIT colorModeChanged();
    applyColorMode();
    call(onConfigurationChange);
}

QString TessaryPreferences::language() const
{
    return m_language;
}

void TessaryPreferences::setLanguage(const QString &value)
{
    m_language = value;
    m_defaults.setString(keyLanguage, value);
    written();
    Q_EMIT languageChanged();
    // A built-in prompt follows the interface language; a prompt the user edited is never replaced.
    if (TessaryDefaultPrompt::currentPrompts().contains(m_polishPrompt) ||
        TessaryDefaultPrompt::legacyPrompts().contains(m_polishPrompt)) {
        setPolishPrompt(TessaryDefaultPrompt::forLanguage(value));
    }
    call(onLanguageChange);
    call(onConfigurationChange);
}

QString TessaryPreferences::saveError() const
{
    return m_saveError;
}

void TessaryPreferences::saveKey(const QString &key)
{
    const QString trimmed = key.trimmed();
    // A key the service could never accept is not stored, and the one saved before stays.
    if (const auto checked = ApiKeyFormat::fromLine(trimmed.toUtf8()); !trimmed.isEmpty() && !checked) {
        setKeyError(aiKeyRefusal(checked.error(), tessaryStoredLanguage(m_defaults)));
        return;
    }
    const Result<void, KeychainError> saved = trimmed.isEmpty() ? AIKeychain::remove() : AIKeychain::write(trimmed);
    if (saved) {
        setKeySaved(!trimmed.isEmpty());
        setKeyError(QString());
        return;
    }
    const QString language = tessaryStoredLanguage(m_defaults);
    setKeyError(tessaryFormat(tessaryLocalized(u"保存密钥失败：%@"_s, language),
                              tessaryLocalizedMessage(saved.error().description, language)));
}

void TessaryPreferences::applyColorMode()
{
    if (m_colorMode == u"light" || m_colorMode == u"dark") {
        ColorModePalettes::apply(m_colorMode == u"dark");
        return;
    }
    if (!m_systemColorScheme) {
        m_systemColorScheme = new SystemColorScheme(this);
        connect(m_systemColorScheme, &SystemColorScheme::prefersDarkChanged, this, [this](bool prefersDark) {
            if (m_colorMode != u"light" && m_colorMode != u"dark") {
                ColorModePalettes::apply(prefersDark);
            }
        });
        m_systemColorScheme->start();
    }
    ColorModePalettes::apply(m_systemColorScheme->prefersDark());
}

} // namespace Tessary
