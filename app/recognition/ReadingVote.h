#pragma once

#include <functional>
#include <vector>

#include <QString>

namespace Tessary {

/**
 * Three readings of one short line of Chinese by different models (the two Tesseract passes and the line model).
 * At desktop sizes each model misreads a character here and there (遺 as 遣, a stroke lost at 12 px) or drops one,
 * but seldom the same one: where two readings agree against the third, they are more often right than it is.
 */
namespace ReadingVote {

/**
 * A Tesseract reading of a line has a vote only at this line confidence (0 to 100) or more: below it the passes
 * misread much, and alike, since their models are made the same way.
 */
constexpr float votesFrom = 60;

/**
 * own with each character that both other readings read otherwise, alike, replaced by theirs (first's form): a
 * different character, none (dropped) or one more before it (inserted). Readings are matched character by character
 * in their Simplified forms, so that the scripts do not count as a difference. Meant for lines of Chinese characters
 * only.
 */
QString voted(const QString &own, const QString &first, const QString &second);

/**
 * Per character of line, the place in other of the character it is matched with when the two readings are aligned
 * as voted aligns them, or -1 where other dropped it.
 */
std::vector<qsizetype> counterparts(const QString &line, const QString &other);

/**
 * reading with a character of traditional (the Traditional pass's reading) put back where it is a form only
 * Traditional text has (烏, 達, 夢), reading holds another character there, and shows(at, form, read) (at: the
 * form's place in traditional) says the glyph is more like that form. The line model learnt such forms from few
 * samples and reads them as a Simplified look-alike (烏 as 扁, 達 as 逵); the Traditional pass misreads plain
 * characters as such forms too (盤 as 螢), so the glyph decides.
 */
QString withTraditionalForms(const QString &reading, const QString &traditional,
                             const std::function<bool(qsizetype at, QChar form, QChar read)> &shows);

} // namespace ReadingVote

} // namespace Tessary
