#pragma once

#include <QString>

namespace Tessary {

/**
 * Characters that belong to one of the two Chinese scripts only (给 is Simplified, 給 Traditional; 要 is both), and
 * their forms in the other script. The table is OpenCC's, kept to the characters the recognition models write.
 */
namespace ScriptVariants {

bool isSimplifiedOnly(char16_t c);
bool isTraditionalOnly(char16_t c);

/** True when a and b are the same character in the two scripts (给 and 給, in either order). */
bool areVariants(char16_t a, char16_t b);

/**
 * The text with every Simplified-only character written in its Traditional form. Where there are several (发: 發
 * or 髮), the one that hint (another reading of the same text) holds, otherwise the most usual.
 */
QString toTraditional(const QString &text, const QString &hint = {});

/** The text with every Traditional-only character written in its Simplified form. */
QString toSimplified(const QString &text);

} // namespace ScriptVariants

} // namespace Tessary
