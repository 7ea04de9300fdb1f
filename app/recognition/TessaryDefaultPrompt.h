#pragma once

#include <QString>
#include <QStringList>

namespace Tessary {

/**
 * The built-in system prompts of the polisher. The current three are the defaults of the editable prompt; the three
 * legacy ones were shipped by earlier versions and are only recognised so that a stored copy can be replaced.
 * Both lists are in the order Simplified Chinese, Traditional Chinese, English. Pure functions, any thread.
 */
namespace TessaryDefaultPrompt {

/**
 * The current built-in prompt for a language preference value ("system", "zh-Hans", "zh-Hant", "en" or anything
 * else), resolved as the interface language is (see resolveInterfaceLanguage); "system" on a system that names no
 * language gets Simplified Chinese, the language the prompts are written in.
 */
QString forLanguage(const QString &language);

/** As above, with the preferred languages given instead of read from the system. */
QString forLanguage(const QString &language, const QStringList &preferredLanguages);

/**
 * The user's preferred interface languages, most preferred first, as BCP 47 tags with "-" ("zh-Hant-TW").
 * The "C" and "POSIX" locales name no language and are left out, so LANG=C gives an empty list.
 */
QStringList preferredLanguages();

QStringList currentPrompts();
QStringList legacyPrompts();

} // namespace TessaryDefaultPrompt

} // namespace Tessary
