#pragma once

#include <QString>
#include <QStringList>

#include "updater/UpdaterCopy.h"

namespace Tessary {

class UserDefaults;

/**
 * User-visible text of the application is written in the code in Simplified Chinese, and that text is the key into
 * the string tables of the three interface languages (Qt resources ":/i18n/<lang>.lproj/Localizable.json", one JSON
 * object of key -> text per language).
 *
 * language is a language preference value: "zh-Hans", "zh-Hant" or "en" pick that table; "system" and any other
 * value pick the table that matches the user's preferred system languages. A key missing from the chosen table shows
 * as itself. Formatted messages are looked up first and filled afterwards (tessaryFormat), so the format is what
 * gets translated.
 *
 * Pure functions; the tables are loaded once and may be read from any thread.
 */
QString tessaryLocalized(const QString &key, const QString &language);

/** The language preference stored under the user-defaults key "language", or "system" when absent or not a string. */
QString tessaryStoredLanguage(const UserDefaults &defaults);

/** Fills every "%@" of a (localised) format with argument. */
QString tessaryFormat(const QString &format, const QString &argument);

/** Fills every "%d" of a (localised) format with number, written in the current locale (digit grouping included). */
QString tessaryFormat(const QString &format, qint64 number);

/** The languages that have a string table, in the order zh-Hans, zh-Hant, en. */
QStringList tessaryLocalizations();

/**
 * The table a language preference value resolves to, given the user's preferred system languages (most preferred
 * first, "-" separated tags). An explicit table name is taken as is; any other value is resolved as "system" (see
 * resolveInterfaceLanguage).
 */
QString tessaryTableLanguage(const QString &language, const QStringList &preferredLanguages);

/** The updater's language for an interface language preference value: the table it resolves to. */
UpdaterLanguage tessaryUpdaterLanguage(const QString &language);

/**
 * A message as the modules below the shell write it (the polisher, the recogniser, the keyring, the application's
 * own formatted status lines), in the interface language. Those messages are Simplified Chinese: either a key as it
 * stands, or a key with "%1".."%9" or "%@" placeholders filled in. The first is looked up; the second is matched
 * against the keys with placeholders (the most specific key first), its format translated and the parts filled in
 * again, each part translated the same way (a service's own words, a file name, stay as they are). A message that
 * matches no key comes back unchanged.
 */
QString tessaryLocalizedMessage(const QString &message, const QString &language);

} // namespace Tessary
