#include "app/recognition/ScriptChoice.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include <QGuiApplication>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GlyphForms.h"
#include "app/recognition/GreyLevel.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/PassMerging.h"
#include "app/recognition/ReadingVote.h"
#include "app/recognition/ScriptVariants.h"

using namespace Qt::StringLiterals;

namespace Tessary::ScriptChoice {

namespace {

/**
 * The Chinese models turn code symbols they cannot place into Chinese characters now and then, with little
 * confidence. Chinese counts as found when the words a pass read as Chinese hold it with at least this mean
 * confidence in one of the passes (Chinese text was read at 70 and more; symbols taken for Chinese at 52 and less).
 */
constexpr double believedChinese = 60;

/** How much surer of the Chinese words (in confidence points) the Traditional pass must be to have its reading taken.
 */
constexpr double clearlySurer = 1;

/** A confidence gap (in points) between the Chinese passes that outweighs a single glyph's faint likeness. */
constexpr double farSurer = 25;

/**
 * How much more like one form a glyph the engine placed must be to count: where no drawing fits it plainly (another
 * font, a stroke cut at 9 px), the whole shapes differ by a few hundredths either way, which is noise.
 */
constexpr double faintLikeness = 0.03;

/**
 * The largest em at which the engine places a line's characters loosely enough for its glyphs to be looked for in the
 * cells of the ink. Above it (desktop text) the engine's positions hold, and the search would only cost time where no
 * drawing plainly fits the font.
 */
constexpr int placedLooselyUpTo = 16;

/** How much more like one script's forms (per glyph) a line's glyphs must be to set it apart from its block. */
constexpr double clearLikeness = 0.15;

/**
 * How much more like one script's forms (per glyph) a label's glyphs must be to settle its script against the
 * passes': half-way from one form to the other, which only glyphs drawn at desktop sizes, compared where the forms
 * differ, come to.
 */
constexpr double plainLikeness = 0.5;

bool believed(const Reading &pass)
{
    return pass && PassMerging::hanWordConfidence(*pass) >= believedChinese;
}

bool isHan(QChar c)
{
    return ChineseTextCleanup::isHan(c.unicode());
}

/** What the glyphs of a line say about its script: the summed likeness to the Traditional forms, and how many. */
struct Evidence
{
    double likeness = 0;
    int glyphs = 0;
};

/** Characters an em wide in Chinese text: Han characters, CJK punctuation and full-width forms. */
bool isWide(QChar c)
{
    const char16_t u = c.unicode();
    return isHan(c) || (u >= 0x3000 && u <= 0x303f) || (u >= 0xff01 && u <= 0xff60);
}

/** The runs of two or more neighbouring characters an em wide in text: the first and the last index of each. */
QList<std::pair<qsizetype, qsizetype>> wideRuns(const QString &text)
{
    QList<std::pair<qsizetype, qsizetype>> runs;
    for (qsizetype i = 0; i + 1 < text.size();) {
        qsizetype end = i;
        while (end + 1 < text.size() && isWide(text.at(end)) && isWide(text.at(end + 1))) {
            ++end;
        }
        if (end > i) {
            runs.append({i, end});
        }
        i = end + 1;
    }
    return runs;
}

/** The middle of values (not empty; the upper one of two), reordered on the way. */
double middleOf(std::vector<double> &values)
{
    std::nth_element(values.begin(), values.begin() + long(values.size() / 2), values.end());
    return values[values.size() / 2];
}

/**
 * The em size of the line's Chinese characters, which stand one em apart, from the engine's positions of them. At
 * small sizes those go wrong in two ways: characters placed late and early by turns make single steps uneven, which
 * the middle of the spacings of all pairs of a run of characters an em wide (Han characters and full-width marks)
 * does not see; the first few of a run placed at one spot make most pairs too close, which the usual step between
 * neighbours does not see. Of the two, the one nearer to what the line's height gives stands. From the line's height
 * alone when too few stand side by side (Latin descenders make lines taller than the characters). A label's characters
 * share its width.
 */
int emOf(const PassLine &line, bool label)
{
    // Chinese characters fill about nine tenths of the em square.
    const int fromHeight = int(std::lround(line.box.height() / 0.92));
    if (label) {
        return int(std::lround(double(line.box.width()) / double(line.text.size())));
    }
    std::vector<double> steps, spacings;
    for (qsizetype i = 0; i + 1 < line.text.size(); ++i) {
        if (isHan(line.text.at(i)) && isHan(line.text.at(i + 1))) {
            steps.push_back(line.centres[i + 1] - line.centres[i]);
        }
    }
    for (const auto &[first, last] : wideRuns(line.text)) {
        for (qsizetype a = first; a < last; ++a) {
            for (qsizetype b = a + 1; b <= last; ++b) {
                spacings.push_back(double(line.centres[b] - line.centres[a]) / double(b - a));
            }
        }
    }
    if (steps.size() < 2) {
        return fromHeight;
    }
    // Anti-aliased rows above and below make a line of small characters about a tenth of an em taller than the em.
    const double expected = line.box.height() / 1.1;
    double step = middleOf(steps);
    if (spacings.size() >= 2) {
        const double paired = middleOf(spacings);
        step = std::abs(paired - expected) < std::abs(step - expected) ? paired : step;
    }
    return step > 0.5 * fromHeight && step < 1.2 * fromHeight ? int(std::lround(step)) : fromHeight;
}

/**
 * Where the line's characters stand, with Chinese characters, which are an em wide each, put an em apart where the
 * engine gave two of them one position or placed them out of order (it does so at the start of a label now and then).
 */
QList<float> glyphCentres(const PassLine &line, int em, bool label)
{
    QList<float> centres = line.centres;
    if (label) {
        // A label of Chinese characters only: they share the line's width equally.
        const double pitch = double(line.box.width()) / double(line.text.size());
        for (qsizetype i = 0; i < centres.size(); ++i) {
            centres[i] = float(line.box.left() + (double(i) + 0.5) * pitch);
        }
        return centres;
    }
    for (qsizetype i = centres.size() - 2; i >= 0; --i) {
        if (isHan(line.text.at(i)) && isHan(line.text.at(i + 1)) && centres[i] > centres[i + 1] - 0.5f * float(em)) {
            centres[i] = centres[i + 1] - float(em);
        }
    }
    return centres;
}

/** The ink of each column of the line's box: how many of its pixels differ from the ground by more than a shade. */
std::vector<int> inkColumns(const QImage &image, const QRect &box, int background)
{
    const QRect area = box.intersected(image.rect());
    std::vector<int> columns(size_t(std::max(0, image.width())), 0);
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const uchar *row = image.constScanLine(y);
        for (int x = area.left(); x <= area.right(); ++x) {
            columns[size_t(x)] += std::abs(greyAt(row, x) - background) > inkContrast ? 1 : 0;
        }
    }
    return columns;
}

/** How well a cell's ink must match a drawn form to be taken without looking at the cells beside it. */
constexpr double plainMatch = 0.85;

/** A cell of a line's ink: its first and last column. */
struct Cell
{
    int left = 0;
    int right = -1;
};

/**
 * The cells an em wide near expected (its left column) whose edges cross the least ink, best first: the edges where
 * the columns just outside cross the least ink, the left one looked for within a third of an em, the width within a
 * sixth of an em of the em. A character with a blank column of its own (规, 輸) gives more than one such cell.
 */
QList<Cell> cellsNear(const std::vector<int> &columns, int expected, int em)
{
    const auto inkAt = [&](int column) {
        return column >= 0 && column < int(columns.size()) ? columns[size_t(column)] : 0;
    };
    QList<std::pair<double, Cell>> found;
    for (int left = expected - em / 3; left <= expected + em / 3; ++left) {
        std::pair<double, Cell> best{-1, {}};
        for (int width = em - em / 6; width <= em + em / 6; ++width) {
            // Ties go to the cell nearest where it was expected and nearest an em wide.
            const double cost =
                inkAt(left - 1) + inkAt(left + width) + 0.01 * std::abs(left - expected) + 0.01 * std::abs(width - em);
            if (best.first < 0 || cost < best.first) {
                best = {cost, {left, left + width - 1}};
            }
        }
        found.append(best);
    }
    std::sort(found.begin(), found.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    QList<Cell> cells;
    for (const auto &[cost, cell] : found) {
        const bool apart = std::none_of(cells.cbegin(), cells.cend(),
                                        [&](const Cell &other) { return std::abs(other.left - cell.left) < 2; });
        if (cells.size() < 2 && apart && cost <= found.first().first + 1) {
            cells.append(cell);
        }
    }
    return cells;
}

/** The glyph ink of a cell alone: its neighbours' ink beyond a column either side painted over. */
QImage cellInk(const QImage &image, const Cell &cell, int y, int em, int background)
{
    const QPoint centre((cell.left + cell.right) / 2, y);
    QImage ink = glyphInk(image, centre, em, background);
    // The window starts em columns left of the centre (fewer at the image's edge).
    const int origin = std::max(0, centre.x() - em);
    for (int row = 0; row < ink.height(); ++row) {
        uchar *line = ink.scanLine(row);
        for (int column = 0; column < ink.width(); ++column) {
            if (origin + column < cell.left - 1 || origin + column > cell.right + 1) {
                line[column] = 0;
            }
        }
    }
    return ink;
}

/** The height of the ink in the cell's columns of the box: a Chinese character's is about its em. */
int inkHeight(const QImage &image, const QRect &box, const Cell &cell, int background)
{
    int top = box.bottom() + 1, bottom = box.top() - 1;
    for (int y = std::max(0, box.top()); y <= std::min(image.height() - 1, box.bottom()); ++y) {
        const uchar *row = image.constScanLine(y);
        for (int x = std::max(0, cell.left); x <= std::min(image.width() - 1, cell.right); ++x) {
            if (std::abs(greyAt(row, x) - background) > inkContrast) {
                top = std::min(top, y);
                bottom = std::max(bottom, y);
            }
        }
    }
    return bottom - top + 1;
}

/**
 * How much more the glyph of a character the engine placed at about x looks like traditionalForm than like
 * simplifiedForm, looked for in the cells of the ink rather than at the engine's position: at 9 to 14 px the engine
 * places characters up to an em off, late and early by turns, and a glyph compared beside its place is fitted to a
 * part of its neighbour. The ink around x is cut into cells an em wide where their edges cross the least ink, each
 * cell's ink alone is matched with both forms, and the cell that holds either best (the first that plainly holds one)
 * is compared. Where the engine's
 * positions gave a wrong em, the height of the cell's ink gives another, and the one whose cell matches better stands.
 */
double likenessInCell(const QImage &image, const std::vector<int> &columns, const QRect &box, double x, int em,
                      int background, char16_t simplifiedForm, char16_t traditionalForm)
{
    const int y = box.center().y();
    double bestMatch = -2;
    QImage bestInk;
    int bestEm = em;
    QList<int> ems{em};
    for (qsizetype e = 0; e < ems.size() && bestMatch < plainMatch; ++e) {
        const int size = ems[e];
        QList<int> tried;
        for (const double offset : {0.0, -0.5, 0.5, -1.0, 1.0}) {
            if (bestMatch >= plainMatch) {
                break;
            }
            for (const Cell &cell : cellsNear(columns, int(std::lround(x + offset * size - 0.5 * size)), size)) {
                if (tried.contains(cell.left)) {
                    continue;
                }
                tried.append(cell.left);
                const QImage ink = cellInk(image, cell, y, size, background);
                if (ink.isNull()) {
                    continue;
                }
                const double match = std::max(GlyphForms::drawnMatch(ink, size, simplifiedForm),
                                              GlyphForms::drawnMatch(ink, size, traditionalForm)) -
                                     0.02 * std::abs(offset);
                if (match > bestMatch) {
                    bestMatch = match;
                    bestInk = ink;
                    bestEm = size;
                    if (e == 0 && offset == 0.0 && ems.size() == 1) {
                        const int fromInk = inkHeight(image, box, cell, background);
                        if (std::abs(fromInk - em) > 1 && fromInk > em / 2) {
                            ems.append(fromInk);
                        }
                    }
                }
            }
        }
    }
    return bestInk.isNull() ? 0 : GlyphForms::traditionalShare(bestInk, bestEm, simplifiedForm, traditionalForm);
}

/** Whether the characters before or after a at i and b at j are the same character, in either script. */
bool besideTheSame(const QString &a, qsizetype i, const QString &b, qsizetype j)
{
    const auto same = [&](qsizetype x, qsizetype y) {
        return x >= 0 && y >= 0 && x < a.size() && y < b.size() &&
               (a.at(x) == b.at(y) || ScriptVariants::areVariants(a.at(x).unicode(), b.at(y).unicode()));
    };
    return same(i - 1, j - 1) || same(i + 1, j + 1);
}

/**
 * Where one model misread a character its own script writes differently from the other as one both scripts write
 * alike (the Simplified model, which knows no Traditional forms, reads 爾 as 泵), the pair of forms comes from the
 * other reading alone: its character and that character's form in the other script. False where both or neither
 * reading holds a character written differently in the two scripts (时 against 畫: they disagree on the character
 * itself, not on its form).
 */
bool formsOfOne(QChar traditionalRead, QChar simplifiedRead, char16_t &simplifiedForm, char16_t &traditionalForm)
{
    const bool traditionalOnly = ScriptVariants::isTraditionalOnly(traditionalRead.unicode());
    if (traditionalOnly == ScriptVariants::isSimplifiedOnly(simplifiedRead.unicode())) {
        return false;
    }
    const QString read(traditionalOnly ? traditionalRead : simplifiedRead);
    const QString other = traditionalOnly ? ScriptVariants::toSimplified(read) : ScriptVariants::toTraditional(read);
    if (other.size() != 1 || other == read) {
        return false;
    }
    simplifiedForm = (traditionalOnly ? other : read).at(0).unicode();
    traditionalForm = (traditionalOnly ? read : other).at(0).unicode();
    return true;
}

/**
 * Compares the glyphs where the two readings of one line differ by a character written differently in the two
 * scripts, or where one reading holds such a character and the other misread it (formsOfOne). Characters are paired by
 * their positions, and a misread one only between neighbours the readings share.
 */
Evidence evidenceOf(const QImage &image, int background, const PassLine &simplified, const PassLine &traditional)
{
    Evidence evidence;
    if (simplified.centres.size() != simplified.text.size() || traditional.centres.size() != traditional.text.size() ||
        qobject_cast<QGuiApplication *>(QCoreApplication::instance()) == nullptr) {
        return evidence;
    }
    // A line is a label, of Chinese characters only, when both readings say so: a reading that dropped the line's
    // closing mark would otherwise share the mark's width among its characters.
    const bool label = ChineseTextCleanup::allHan(simplified.text) && ChineseTextCleanup::allHan(traditional.text);
    // A label's characters share its width: the reading whose count gives the em its height shows places the glyphs.
    // One that read a glyph as two (備 as 人备) would compare each glyph with the forms at a wrong em and place.
    const auto stray = [](const PassLine &line) {
        return std::abs(double(line.box.width()) / double(line.text.size()) - line.box.height() / 0.92);
    };
    if (label && stray(traditional) < stray(simplified)) {
        return evidenceOf(image, background, traditional, simplified);
    }
    const int height = simplified.box.height();
    const int em = emOf(simplified, label);
    const QList<float> centres = glyphCentres(simplified, em, label);
    const QList<float> otherCentres = glyphCentres(traditional, em, label);
    const std::vector<int> columns = label ? std::vector<int>() : inkColumns(image, simplified.box, background);
    for (qsizetype i = 0; i < simplified.text.size(); ++i) {
        const QChar s = simplified.text.at(i);
        if (!isHan(s)) {
            continue;
        }
        qsizetype nearest = -1;
        for (qsizetype j = 0; j < traditional.text.size(); ++j) {
            if (isHan(traditional.text.at(j)) && (nearest < 0 || std::abs(otherCentres[j] - centres[i]) <
                                                                     std::abs(otherCentres[nearest] - centres[i]))) {
                nearest = j;
            }
        }
        if (nearest < 0 || std::abs(otherCentres[nearest] - centres[i]) > 0.45 * height) {
            continue;
        }
        const QChar t = traditional.text.at(nearest);
        char16_t simplifiedForm = s.unicode(), traditionalForm = t.unicode();
        const bool oneRead = !ScriptVariants::areVariants(s.unicode(), t.unicode());
        if (!oneRead) {
            // The Simplified model now and then writes a Traditional form itself; the roles follow the characters.
            if (ScriptVariants::isTraditionalOnly(s.unicode()) || ScriptVariants::isSimplifiedOnly(t.unicode())) {
                std::swap(simplifiedForm, traditionalForm);
            }
        } else if (label || !besideTheSame(simplified.text, i, traditional.text, nearest) ||
                   !formsOfOne(t, s, simplifiedForm, traditionalForm)) {
            continue;
        }
        // A label of Chinese characters only has its characters placed from its width already, and larger text is
        // placed well; the others are looked for in the cells of the ink. Outside labels a glyph the forms explain no
        // better than by chance says nothing, at any size: a font the forms are not drawn in, or a wrong em from the
        // positions, leaves a few hundredths either way.
        const bool inCells = !label && em <= placedLooselyUpTo;
        const double likeness =
            inCells ? likenessInCell(image, columns, simplified.box, centres[i], em, background, simplifiedForm,
                                     traditionalForm)
                    : traditionalLikeness(image, QPoint(int(std::lround(centres[i])), simplified.box.center().y()), em,
                                          background, simplifiedForm, traditionalForm);
        if (!label && std::abs(likeness) < faintLikeness) {
            continue;
        }
        // A character only one reading read speaks only for that reading's script: had the glyph been drawn in the
        // misreading model's own script, that model would have read it, so a likeness the other way is a glyph
        // compared where the forms do not fit it (at a wrong em or place).
        if (oneRead && (likeness > 0) != (traditionalForm == t.unicode())) {
            continue;
        }
        evidence.likeness += likeness;
        ++evidence.glyphs;
    }
    return evidence;
}

/** The line of the pass on the same row: the one sharing most of its height with the box, or -1. */
qsizetype lineAt(const RecognitionPass &pass, const QRect &box)
{
    qsizetype best = -1;
    int bestRows = 0;
    for (qsizetype i = 0; i < pass.lines.size(); ++i) {
        const QRect common = pass.lines[i].box.intersected(box);
        if (!common.isEmpty() && common.height() > bestRows) {
            bestRows = common.height();
            best = i;
        }
    }
    return best >= 0 && bestRows > 0.5 * std::min(pass.lines[best].box.height(), box.height()) ? best : -1;
}

Script scriptOf(double likeness)
{
    return likeness > 0 ? Script::Traditional : Script::Simplified;
}

/** The Traditional-only characters of text, which hint at the Traditional forms a reading meant. */
QString traditionalFormsOf(const QString &text)
{
    QString forms;
    for (const QChar c : text) {
        if (ScriptVariants::isTraditionalOnly(c.unicode())) {
            forms.append(c);
        }
    }
    return forms;
}

/**
 * The glyphs of a reading compared with both forms of each of its characters written differently in the two
 * scripts (the model writes a Traditional form now and then itself: both forms of the line are compared).
 */
Evidence formsEvidence(const QImage &image, const PassLine &line)
{
    PassLine simplified = line;
    simplified.text = ScriptVariants::toSimplified(line.text);
    PassLine traditional = line;
    // Only its Traditional forms are a hint: a Simplified character in the hint would stand as it is.
    traditional.text = ScriptVariants::toTraditional(simplified.text, traditionalFormsOf(line.text));
    if (traditional.text == simplified.text) {
        return {};
    }
    return evidenceOf(image, LineRouting::backgroundGrey(image), simplified, traditional);
}

} // namespace

double traditionalLikeness(const QImage &image, QPoint centre, int em, int background, char16_t simplifiedForm,
                           char16_t traditionalForm)
{
    const QImage ink = glyphInk(image, centre, em, background);
    return ink.isNull() || em <= 0 ? 0 : GlyphForms::traditionalShare(ink, em, simplifiedForm, traditionalForm);
}

QImage glyphInk(const QImage &image, QPoint centre, int em, int background)
{
    // The glyph is looked for within a third of an em of where it is expected, sideways within half an em (the
    // engine's positions of characters are off now and then).
    const int reach = em / 2 + em / 3;
    const int sideways = em;
    const QRect area =
        QRect(centre.x() - sideways, centre.y() - reach, 2 * sideways + 1, 2 * reach + 1).intersected(image.rect());
    if (area.isEmpty() || em <= 0) {
        return {};
    }
    QImage ink(area.size(), QImage::Format_Grayscale8);
    for (int y = 0; y < area.height(); ++y) {
        const uchar *row = image.constScanLine(area.top() + y) + 3 * area.left();
        uchar *out = ink.scanLine(y);
        for (int x = 0; x < area.width(); ++x) {
            const int grey = greyAt(row, x);
            out[x] = uchar(std::min(255, std::abs(grey - background)));
        }
    }
    return ink;
}

Result<Choice, RecognitionError> choose(const QImage &image, Reading simplified, Reading traditional, Reading english)
{
    const auto uniform = [](RecognitionPass pass, Script script) {
        Choice choice;
        choice.scripts = QList<Script>(pass.lines.size(), script);
        choice.traditionalText = QStringList(pass.lines.size(), QString());
        choice.otherReading = QStringList(pass.lines.size(), QString());
        choice.pass = std::move(pass);
        return choice;
    };
    if (!believed(simplified) && !believed(traditional)) {
        if (english) {
            return uniform(std::move(*english), Script::Latin);
        }
        if (simplified || traditional) {
            return uniform(simplified ? std::move(*simplified) : std::move(*traditional), Script::Latin);
        }
        return unexpected(simplified.error());
    }
    // Each model is confident on its own script and unsure on the other; where the glyphs do not tell, the script
    // is settled by the words that are Chinese in either reading. Most characters look alike in both scripts, and
    // text that has only those is read about as well by either model: the Traditional pass has to be clearly surer.
    bool traditionalFirst =
        !simplified || (traditional && LineRouting::hasChinese(*traditional) &&
                        PassMerging::chineseConfidence(*traditional, *simplified) >
                            PassMerging::chineseConfidence(*simplified, *traditional) + clearlySurer);
    Choice choice;
    if (!simplified || !traditional) {
        choice = uniform(traditionalFirst ? std::move(*traditional) : std::move(*simplified),
                         traditionalFirst ? Script::Traditional : Script::Simplified);
        if (traditionalFirst) {
            choice.traditionalText.clear();
            for (const PassLine &line : choice.pass.lines) {
                choice.traditionalText.append(line.text);
            }
        }
    } else {
        const int background = LineRouting::backgroundGrey(image);
        // Every line of the Simplified reading with its counterpart in the Traditional one and their glyphs' word.
        QList<qsizetype> counterparts;
        QList<Evidence> evidence;
        Evidence all;
        for (const PassLine &line : simplified->lines) {
            const qsizetype other = lineAt(*traditional, line.box);
            counterparts.append(other);
            evidence.append(other < 0 ? Evidence{} : evidenceOf(image, background, line, traditional->lines[other]));
            all.likeness += evidence.last().likeness;
            all.glyphs += evidence.last().glyphs;
        }
        // The glyphs outweigh the confidences, unless a single glyph that is only a little more like one form (at
        // 12 px its strokes are a few pixels either way) stands against one model far surer than the other.
        const bool weak = all.glyphs < 2 && std::abs(all.likeness) < clearLikeness;
        const double surer = PassMerging::chineseConfidence(*traditional, *simplified) -
                             PassMerging::chineseConfidence(*simplified, *traditional);
        if (all.glyphs > 0 && (!weak || std::abs(surer) < farSurer)) {
            traditionalFirst = all.likeness > 0;
        }
        const Script block = traditionalFirst ? Script::Traditional : Script::Simplified;
        QList<qsizetype> taken;
        for (qsizetype i = 0; i < simplified->lines.size(); ++i) {
            // A line goes against the lines around it only on clear evidence of its own: several glyphs, each
            // clearly more like the other script's forms.
            const Evidence &own = evidence[i];
            const bool clear = own.glyphs >= 2 && std::abs(own.likeness) >= clearLikeness * own.glyphs;
            const Script script = clear ? scriptOf(own.likeness) : block;
            const qsizetype other = counterparts[i];
            const bool takeTraditional = script == Script::Traditional && other >= 0;
            // The Simplified pass cuts a short label in two lines now and then where the Traditional one finds one:
            // that line stands once.
            if (takeTraditional && std::find(taken.cbegin(), taken.cend(), other) != taken.cend()) {
                continue;
            }
            if (takeTraditional) {
                taken.append(other);
            }
            choice.pass.lines.append(takeTraditional ? traditional->lines[other] : simplified->lines[i]);
            choice.scripts.append(other >= 0 || script == Script::Simplified ? script : Script::Simplified);
            choice.traditionalText.append(other >= 0 ? traditional->lines[other].text : QString());
            const PassLine *notTaken =
                takeTraditional ? &simplified->lines[i] : (other >= 0 ? &traditional->lines[other] : nullptr);
            const bool votes = notTaken != nullptr && notTaken->confidence >= ReadingVote::votesFrom;
            choice.otherReading.append(votes ? notTaken->text : QString());
        }
        choice.pass.languages = traditionalFirst ? traditional->languages : simplified->languages;
        choice.pass.meanConfidence = traditionalFirst ? traditional->meanConfidence : simplified->meanConfidence;
    }
    if (english) {
        PassMerging::takeLatinWords(choice.pass, *english);
    }
    return choice;
}

Script scriptOfReading(const QImage &image, const PassLine &line)
{
    const QString forms = traditionalFormsOf(line.text);
    const Evidence evidence = formsEvidence(image, line);
    // A Traditional form in the reading is evidence of its own: the line model writes one only where the glyph
    // plainly shows it, the vote takes one only where another model read it too. It stands unless the glyphs clearly
    // show the Simplified forms: where the drawings do not fit the glyph, its likeness is a few hundredths either way
    // at 12 px, and far more at a wrong em, where the model read two characters as one (鬧鐘 as 鐘).
    if (!forms.isEmpty()) {
        return evidence.likeness <= -clearLikeness * std::max(1, evidence.glyphs) ? Script::Simplified
                                                                                  : Script::Traditional;
    }
    return evidence.glyphs > 0 ? scriptOf(evidence.likeness) : Script::Simplified;
}

void settleTakenForms(const QImage &image, const RecognitionPass &pass, const QStringList &lines,
                      QList<Script> &scripts)
{
    for (qsizetype i = 0; i < lines.size() && i < pass.lines.size() && i < scripts.size(); ++i) {
        const PassLine &line = pass.lines[i];
        if (scripts[i] == Script::Latin || !ChineseTextCleanup::allHan(lines[i])) {
            continue;
        }
        // A label of Chinese characters only, which share its width equally.
        PassLine reading = line;
        reading.text = lines[i];
        reading.centres = QList<float>(reading.text.size(), 0);
        const bool taken = std::any_of(lines[i].cbegin(), lines[i].cend(), [&](QChar c) {
            return ScriptVariants::isTraditionalOnly(c.unicode()) && !line.text.contains(c);
        });
        if (scripts[i] == Script::Simplified && taken) {
            scripts[i] = scriptOfReading(image, reading);
            continue;
        }
        // A label is written in one script: every glyph of it that is drawn differently in the two speaks, also where
        // the passes misread it or agreed on one form, so that the script was settled without it.
        const Evidence evidence = formsEvidence(image, reading);
        if (evidence.glyphs > 0 && std::abs(evidence.likeness) >= plainLikeness * evidence.glyphs) {
            scripts[i] = scriptOf(evidence.likeness);
        }
    }
}

QStringList inTheirScripts(const QStringList &lines, const QList<Script> &scripts, const QStringList &hints)
{
    QStringList written = lines;
    for (qsizetype i = 0; i < written.size() && i < scripts.size(); ++i) {
        if (scripts[i] == Script::Simplified) {
            written[i] = ScriptVariants::toSimplified(written[i]);
        } else if (scripts[i] == Script::Traditional) {
            written[i] = ScriptVariants::toTraditional(written[i], i < hints.size() ? hints[i] : QString());
        }
    }
    return written;
}

} // namespace Tessary::ScriptChoice
