#include "app/recognition/PassMerging.h"

#include <algorithm>
#include <cmath>

#include "app/recognition/ChineseTextCleanup.h"

namespace Tessary::PassMerging {

namespace {

using ChineseTextCleanup::hasHan;

/** How much of two boxes is shared: the area of their overlap over the area of both together. */
double overlapShare(const QRect &a, const QRect &b)
{
    const QRect common = a.intersected(b);
    if (common.isEmpty()) {
        return 0;
    }
    const double shared = double(common.width()) * common.height();
    return shared / (double(a.width()) * a.height() + double(b.width()) * b.height() - shared);
}

/** The word of the pass at the same place, or nullptr when no word shares more than minimumShare of the boxes. */
const PassWord *counterpart(const RecognitionPass &pass, const QRect &box, double minimumShare = 0.5)
{
    const PassWord *best = nullptr;
    double bestShare = minimumShare;
    for (const PassLine &line : pass.lines) {
        if (!line.box.intersects(box)) {
            continue;
        }
        for (const PassWord &word : line.words) {
            const double share = overlapShare(word.box, box);
            if (share > bestShare) {
                bestShare = share;
                best = &word;
            }
        }
    }
    return best;
}

/** The line of the pass on the same row: the one sharing most of its height with the box, or nullptr. */
const PassLine *lineAt(const RecognitionPass &pass, const QRect &box)
{
    const PassLine *best = nullptr;
    int bestRows = 0;
    for (const PassLine &line : pass.lines) {
        const QRect common = line.box.intersected(box);
        if (!common.isEmpty() && common.height() > bestRows) {
            bestRows = common.height();
            best = &line;
        }
    }
    return best != nullptr && bestRows > 0.5 * std::min(best->box.height(), box.height()) ? best : nullptr;
}

bool hasLetterOrDigit(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80 && c.isLetterOrNumber(); });
}

/** A stretch of a word's text that is all Han characters or all other characters, with the symbols that spell it. */
struct Run
{
    bool han = false;
    QString text;
    QList<PlacedSymbol> symbols;
};

/** The word's symbols gathered into runs of Han and of other characters; empty when the symbols do not spell it. */
QList<Run> runsOf(const PassWord &word)
{
    QList<Run> runs;
    QString spelled;
    for (const PlacedSymbol &symbol : word.symbols) {
        const bool han = hasHan(symbol.text);
        if (runs.isEmpty() || runs.last().han != han) {
            runs.append({han, {}, {}});
        }
        runs.last().text += symbol.text;
        runs.last().symbols.append(symbol);
        spelled += symbol.text;
    }
    return spelled == word.text ? runs : QList<Run>{};
}

/**
 * Puts the Latin parts of other into word, which holds Chinese as well ("的IP位址"), where both split into the same
 * runs: Chinese where the other has Chinese, of the same length. Returns whether anything changed.
 */
bool takeLatinRuns(PassWord &word, const PassWord &other)
{
    const QList<Run> mine = runsOf(word);
    const QList<Run> theirs = runsOf(other);
    if (mine.isEmpty() || mine.size() != theirs.size()) {
        return false;
    }
    for (qsizetype r = 0; r < mine.size(); ++r) {
        if (mine[r].han != theirs[r].han || (mine[r].han && mine[r].text.size() != theirs[r].text.size())) {
            return false;
        }
    }
    const auto sureness = [](const Run &run) {
        float sum = 0;
        for (const PlacedSymbol &symbol : run.symbols) {
            sum += symbol.confidence;
        }
        return run.symbols.isEmpty() ? 0 : sum / float(run.symbols.size());
    };
    QString text;
    QList<PlacedSymbol> symbols;
    bool changed = false;
    for (qsizetype r = 0; r < mine.size(); ++r) {
        const bool take = !mine[r].han && hasLetterOrDigit(mine[r].text + theirs[r].text) &&
                          mine[r].text != theirs[r].text && sureness(theirs[r]) > sureness(mine[r]);
        const Run &run = take ? theirs[r] : mine[r];
        text += run.text;
        symbols.append(run.symbols);
        changed = changed || take;
    }
    if (changed) {
        word.text = text;
        word.symbols = symbols;
    }
    return changed;
}

/** Where each word's text starts in the line text; empty when the words do not spell it in order. */
QList<qsizetype> wordStarts(const PassLine &line)
{
    QList<qsizetype> starts;
    qsizetype from = 0;
    for (const PassWord &word : line.words) {
        const qsizetype at = word.text.isEmpty() ? -1 : line.text.indexOf(word.text, from);
        if (at < 0) {
            return {};
        }
        starts.append(at);
        from = at + word.text.size();
    }
    return starts;
}

} // namespace

void takeLatinWords(RecognitionPass &chinese, const RecognitionPass &withEnglish)
{
    for (PassLine &line : chinese.lines) {
        if (!hasHan(line.text)) {
            // A line without Chinese in both readings is the other pass's line when it is clearly surer, or when
            // both read the same characters: the Chinese models now and then run two Latin words together
            // ("Tessaryturns"), and only the spaces then differ.
            const PassLine *other = lineAt(withEnglish, line.box);
            if (other != nullptr && !hasHan(other->text) &&
                (other->confidence > line.confidence + 5 ||
                 (other->confidence >= line.confidence &&
                  QString(other->text).remove(u' ') == QString(line.text).remove(u' ')))) {
                line = *other;
            }
            continue;
        }
        const QList<qsizetype> starts = wordStarts(line);
        if (starts.isEmpty()) {
            continue;
        }
        bool changed = false;
        // From the right, so that the start of every word still to do stays where it was.
        for (qsizetype w = line.words.size() - 1; w >= 0; --w) {
            PassWord &word = line.words[w];
            if (word.box.isNull() || !hasLetterOrDigit(word.text)) {
                continue;
            }
            // Only a word both passes found with the same bounds: where they split the text differently, a word of
            // one reading stands for parts of several of the other.
            const PassWord *other = counterpart(withEnglish, word.box, 0.8);
            if (other == nullptr || other->text.isEmpty()) {
                continue;
            }
            const qsizetype length = word.text.size();
            if (hasHan(word.text)) {
                // Chinese and Latin in one word: the Latin parts alone, the confidence staying this reading's.
                if (!takeLatinRuns(word, *other)) {
                    continue;
                }
            } else if (hasHan(other->text) || other->confidence <= word.confidence) {
                continue;
            } else {
                word.text = other->text;
                word.confidence = other->confidence;
                word.symbols = other->symbols;
            }
            line.text.replace(starts[w], length, word.text);
            changed = true;
        }
        if (changed) {
            line.centres = characterCentres(line.text, symbolsOf(line));
            float sum = 0;
            for (const PassWord &word : line.words) {
                sum += word.confidence;
            }
            line.confidence = sum / float(line.words.size());
        }
    }
}

double hanWordConfidence(const RecognitionPass &pass)
{
    double sum = 0;
    int count = 0;
    for (const PassLine &line : pass.lines) {
        for (const PassWord &word : line.words) {
            if (hasHan(word.text)) {
                sum += word.confidence;
                ++count;
            }
        }
    }
    return count == 0 ? -1 : sum / count;
}

double chineseConfidence(const RecognitionPass &pass, const RecognitionPass &other)
{
    double sum = 0;
    int count = 0;
    for (const PassLine &line : pass.lines) {
        for (const PassWord &word : line.words) {
            const PassWord *counter = word.box.isNull() ? nullptr : counterpart(other, word.box);
            if (hasHan(word.text) || (counter != nullptr && hasHan(counter->text))) {
                sum += word.confidence;
                ++count;
            }
        }
    }
    if (count == 0) {
        // This pass read no Chinese, nor did the other one where this one read anything: a pass that finds Chinese
        // only where this one found nothing at all has it to itself.
        return std::any_of(other.lines.cbegin(), other.lines.cend(),
                           [](const PassLine &line) {
                               return std::any_of(line.words.cbegin(), line.words.cend(),
                                                  [](const PassWord &word) { return hasHan(word.text); });
                           })
                   ? 0
                   : -1;
    }
    return sum / count;
}

} // namespace Tessary::PassMerging
