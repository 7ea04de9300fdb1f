#include "app/settings/SettingsTexts.h"

#include <QAbstractButton>
#include <QGroupBox>
#include <QLabel>

#include "app/TessaryPreferences.h"
#include "app/localization/TessaryLocalized.h"

namespace Tessary {

SettingsTexts::SettingsTexts(TessaryPreferences &preferences, QObject *parent)
    : QObject(parent)
    , m_preferences(preferences)
{
    connect(&m_preferences, &TessaryPreferences::languageChanged, this, &SettingsTexts::apply);
}

QString SettingsTexts::text(const QString &key) const
{
    return tessaryLocalized(key, m_preferences.language());
}

void SettingsTexts::bind(QLabel *label, const QString &key)
{
    bind([this, label = QPointer<QLabel>(label), key] {
        if (label) {
            label->setText(text(key));
        }
    });
}

void SettingsTexts::bind(QAbstractButton *button, const QString &key)
{
    bind([this, button = QPointer<QAbstractButton>(button), key] {
        if (button) {
            button->setText(text(key));
        }
    });
}

void SettingsTexts::bind(QGroupBox *box, const QString &key)
{
    bind([this, box = QPointer<QGroupBox>(box), key] {
        if (box) {
            box->setTitle(text(key));
        }
    });
}

void SettingsTexts::bind(std::function<void()> update)
{
    update();
    m_updates.push_back(std::move(update));
}

void SettingsTexts::apply()
{
    for (const auto &update : m_updates) {
        update();
    }
}

} // namespace Tessary
