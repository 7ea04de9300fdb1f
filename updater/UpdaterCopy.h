#pragma once

#include "core/InterfaceLanguage.h"

#include <QHash>
#include <QString>
#include <QStringList>

namespace Tessary {

/** The languages the updater speaks. Its texts are written in Simplified Chinese, which is also the lookup key. */
using UpdaterLanguage = InterfaceLanguage;

/**
 * The language for a process whose main bundle does (or does not) declare localizations, given the user's
 * preferred languages, most preferred first ("zh-Hant-TW", "en-US", …). Without declared localizations the
 * updater speaks English; otherwise the preferred languages decide as for the "system" interface language.
 */
UpdaterLanguage updaterLanguage(bool bundleHasLocalizations, const QStringList &preferredLanguages);

/**
 * The updater's language now: the one set with setUpdaterLanguage(), else the main bundle's localizations and the
 * process's preferred languages.
 */
UpdaterLanguage currentUpdaterLanguage();

/** Makes the process's updater speak a language (the one the user chose for the application). */
void setUpdaterLanguage(UpdaterLanguage language);

/** A Simplified Chinese text in the given language; a text that is not a key comes back unchanged. */
QString updaterCopy(const QString &text, UpdaterLanguage language);

/** A Simplified Chinese text in the updater's current language. Safe on any thread. */
QString updaterCopy(const QString &text);

/** The translation tables (Simplified Chinese key → text); both have the same keys. */
const QHash<QString, QString> &updaterEnglish();
const QHash<QString, QString> &updaterTraditionalChinese();

} // namespace Tessary
