#include "app/recognition/DictionaryCandidates.h"

#include <algorithm>
#include <vector>

#include <tesseract/baseapi.h>

#include <QLoggingCategory>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GlyphForms.h"

namespace Tessary::DictionaryCandidates {

namespace {

Q_LOGGING_CATEGORY(lcProposals, "tessary.recognition.words.proposed", QtInfoMsg)

/** The common ideographs of the code chart; the models' character sets hold few others. */
constexpr char16_t firstIdeograph = 0x4E00;
constexpr char16_t lastIdeograph = 0x9FA5;

constexpr qsizetype longestWord = 3;

/**
 * How far towards a proposal the glyph's fit as a mix of it and the character read must lean for the proposal to be
 * taken (from -1, the character read, to 1, the proposal). Misread glyphs of short labels lean 0.84 to 1 towards
 * the right character; of the proposals a glyph is not, the nearest leaned -0.4.
 */
constexpr double clearlyBetter = 0.5;

/**
 * How well the drawing of the character read must match the glyph for the glyph to be taken for it. Misread glyphs
 * of short labels at 12 to 16 px match the drawing of the character read 0.31 to 0.68; 85 in 100 glyphs of labels
 * whose words the dictionary lacks (names, terms) match it 0.75 and better, and cost no enumeration.
 */
constexpr double matchesRead = 0.75;

/** How many proposals, those whose drawing matches the glyph best, are fitted as a mix with the character read. */
constexpr qsizetype fittedProposals = 3;

/** The UTF-8 form of a character of the Basic Multilingual Plane above U+07FF: three bytes. */
void putUtf8(char16_t c, char *out)
{
    out[0] = char(0xE0 | (c >> 12));
    out[1] = char(0x80 | ((c >> 6) & 0x3F));
    out[2] = char(0x80 | (c & 0x3F));
}

} // namespace

QString proposed(const QString &text, qsizetype at, const tesseract::TessBaseAPI &dictionary)
{
    std::vector<bool> taken(size_t(lastIdeograph - firstIdeograph + 1), false);
    QString proposals;
    for (qsizetype length = 2; length <= longestWord; ++length) {
        for (qsizetype start = std::max<qsizetype>(0, at - length + 1); start <= at; ++start) {
            if (start + length > text.size()) {
                break;
            }
            const QString word = text.mid(start, length);
            if (!ChineseTextCleanup::allHan(word)) {
                continue;
            }
            // The word in UTF-8 with the place's three bytes written in for each character in turn.
            QByteArray utf8 = text.mid(start, at - start).toUtf8();
            const qsizetype place = utf8.size();
            utf8 += "xxx" + text.mid(at + 1, start + length - at - 1).toUtf8();
            for (char16_t c = firstIdeograph; c <= lastIdeograph; ++c) {
                putUtf8(c, utf8.data() + place);
                const size_t index = size_t(c - firstIdeograph);
                if (!taken[index] && c != text.at(at).unicode() && dictionary.IsValidWord(utf8.constData()) != 0) {
                    taken[index] = true;
                    proposals.append(QChar(c));
                }
            }
        }
    }
    return proposals;
}

double readMatch(const QImage &ink, int em, QChar read)
{
    return GlyphForms::drawnMatch(ink, em, read.unicode());
}

bool isPlainlyRead(double readMatch)
{
    return readMatch >= matchesRead;
}

QChar fittest(const QImage &ink, int em, QChar read, const QString &proposals)
{
    // The proposals whose drawing alone matches the glyph best are fitted with the character read.
    std::vector<std::pair<double, QChar>> ranked;
    ranked.reserve(size_t(proposals.size()));
    for (const QChar proposal : proposals) {
        ranked.emplace_back(GlyphForms::drawnMatch(ink, em, proposal.unicode()), proposal);
    }
    const auto fitted = ranked.begin() + std::min<qsizetype>(fittedProposals, qsizetype(ranked.size()));
    std::partial_sort(ranked.begin(), fitted, ranked.end(),
                      [](const auto &a, const auto &b) { return a.first > b.first; });
    QChar best;
    double bestShare = clearlyBetter;
    for (auto it = ranked.begin(); it != fitted; ++it) {
        const auto share = GlyphForms::fittedShare(ink, em, read.unicode(), it->second.unicode());
        qCDebug(lcProposals) << read << "->" << it->second << "at" << em << "px, match" << it->first << "read's"
                             << GlyphForms::drawnMatch(ink, em, read.unicode()) << "share" << (share ? *share : qQNaN())
                             << "of" << proposals.size();
        if (share && *share >= bestShare) {
            bestShare = *share;
            best = it->second;
        }
    }
    return best;
}

} // namespace Tessary::DictionaryCandidates
