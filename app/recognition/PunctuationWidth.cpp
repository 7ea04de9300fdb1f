#include "app/recognition/PunctuationWidth.h"

#include <cmath>
#include <vector>

#include "app/recognition/ChineseTextCleanup.h"

namespace Tessary::PunctuationWidth {

namespace {

struct Pair
{
    char16_t ascii;
    char16_t full;
};

constexpr Pair pairs[] = {
    {u',', u'，'}, {u'.', u'。'}, {u':', u'：'}, {u';', u'；'}, {u'!', u'！'}, {u'?', u'？'}, {u'(', u'（'}, {u')', u'）'},
};

const Pair *pairOf(QChar c)
{
    for (const Pair &pair : pairs) {
        if (c.unicode() == pair.ascii || c.unicode() == pair.full) {
            return &pair;
        }
    }
    return nullptr;
}

int greyAt(const uchar *row, int x)
{
    return (299 * row[3 * x] + 587 * row[3 * x + 1] + 114 * row[3 * x + 2]) / 1000;
}

struct Run
{
    int start;
    int end; // inclusive
};

bool hanBeside(const QString &text, qsizetype at)
{
    for (qsizetype i = at - 1; i >= 0; --i) {
        if (!text.at(i).isSpace()) {
            if (ChineseTextCleanup::isHan(text.at(i).unicode())) {
                return true;
            }
            break;
        }
    }
    for (qsizetype i = at + 1; i < text.size(); ++i) {
        if (!text.at(i).isSpace()) {
            return ChineseTextCleanup::isHan(text.at(i).unicode());
        }
    }
    return false;
}

} // namespace

QString settle(const QString &text, const QList<float> &centres, const QImage &source, int background)
{
    if (centres.size() != text.size() || source.isNull()) {
        return text;
    }
    const QImage crop = source.convertToFormat(QImage::Format_RGB888);
    constexpr int inkContrast = 48;
    std::vector<bool> inkColumn(size_t(crop.width()), false);
    int top = crop.height(), bottom = -1;
    for (int y = 0; y < crop.height(); ++y) {
        const uchar *row = crop.constScanLine(y);
        bool any = false;
        for (int x = 0; x < crop.width(); ++x) {
            if (std::abs(greyAt(row, x) - background) > inkContrast) {
                inkColumn[size_t(x)] = true;
                any = true;
            }
        }
        if (any) {
            top = std::min(top, y);
            bottom = y;
        }
    }
    if (bottom < top) {
        return text;
    }
    // Chinese glyphs fill about nine tenths of their cell's height.
    const double cell = (bottom - top + 1) / 0.9;
    std::vector<Run> runs;
    for (int x = 0; x < crop.width(); ++x) {
        if (inkColumn[size_t(x)]) {
            if (!runs.empty() && runs.back().end == x - 1) {
                runs.back().end = x;
            } else {
                runs.push_back({x, x});
            }
        }
    }

    QString settled = text;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const Pair *pair = pairOf(text.at(i));
        if (pair == nullptr) {
            continue;
        }
        // The run of ink at (or nearest to) where the reader saw the mark.
        const double x = centres[i];
        size_t nearest = runs.size();
        double distance = 0.35 * cell;
        for (size_t r = 0; r < runs.size(); ++r) {
            const double d = x < runs[r].start ? runs[r].start - x : (x > runs[r].end ? x - runs[r].end : 0);
            if (d <= distance) {
                distance = d;
                nearest = r;
            }
        }
        if (nearest == runs.size() || nearest == 0 || nearest + 1 == runs.size()) {
            continue;
        }
        const Run &mark = runs[nearest];
        if (mark.end - mark.start + 1 > 0.5 * cell) {
            continue; // too wide for a mark: the reader's position fell on another glyph
        }
        const int blank = (mark.start - runs[nearest - 1].end - 1) + (runs[nearest + 1].start - mark.end - 1);
        const bool full = blank > fullWidthBlank * cell;
        if (full && text.at(i).unicode() == pair->ascii && hanBeside(text, i)) {
            settled[i] = QChar(pair->full);
        } else if (!full && text.at(i).unicode() == pair->full) {
            settled[i] = QChar(pair->ascii);
        }
    }
    return settled;
}

} // namespace Tessary::PunctuationWidth
