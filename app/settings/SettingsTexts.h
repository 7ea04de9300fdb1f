#pragma once

#include <functional>
#include <vector>

#include <QObject>
#include <QPointer>
#include <QString>

class QAbstractButton;
class QGroupBox;
class QLabel;
class QLineEdit;

namespace Tessary {

class TessaryPreferences;

/**
 * Keeps the static texts of the settings panes in the interface language: each text is bound once to its message
 * key and re-applied whenever the language preference changes, so the whole window follows at once.
 * GUI thread only; the preferences must outlive this object.
 */
class SettingsTexts final : public QObject
{
    Q_OBJECT
public:
    explicit SettingsTexts(TessaryPreferences &preferences, QObject *parent = nullptr);

    /** The key's text in the current language. */
    QString text(const QString &key) const;

    void bind(QLabel *label, const QString &key);
    void bind(QAbstractButton *button, const QString &key);
    void bind(QGroupBox *box, const QString &key);
    /** Anything else that depends on the language; run now and after every change. */
    void bind(std::function<void()> update);

    /** Re-applies every bound text. */
    void apply();

private:
    TessaryPreferences &m_preferences;
    std::vector<std::function<void()>> m_updates;
};

} // namespace Tessary
