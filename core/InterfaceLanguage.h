#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace Tessary {

/** The three languages the interface is written in. */
enum class InterfaceLanguage {
    English,
    SimplifiedChinese,
    TraditionalChinese,
};

/**
 * The interface language serving a BCP 47 tag, or nothing when we have no text in it. Chinese splits into
 * Traditional (zh-Hant, zh-TW, zh-HK, zh-MO and their longer forms) and Simplified (every other zh); English is en
 * and its regions. Tags are compared as written: the system's tags and the stored choices are canonical.
 */
std::optional<InterfaceLanguage> interfaceLanguageOfTag(const QString &tag);

/**
 * Resolves the language preference ("system", "zh-Hans", "zh-Hant", "en", or any language tag) against the user's
 * preferred languages, most preferred first. "system" takes the first preferred language we have texts in, so the
 * whole interface speaks one language; with none of them, and for tags of other languages, it is English.
 */
InterfaceLanguage resolveInterfaceLanguage(const QString &preference, const QStringList &preferredLanguages);

/** The same against the system's preferred languages, which are only asked for when the preference is "system". */
InterfaceLanguage resolveInterfaceLanguage(const QString &preference);

/** The code of a language's string table: "en", "zh-Hans" or "zh-Hant". */
QString interfaceLanguageCode(InterfaceLanguage language);

/** The user's preferred languages as BCP 47 tags, without the "C" and "POSIX" locales (no choice at all). */
QStringList systemPreferredLanguages();

} // namespace Tessary
