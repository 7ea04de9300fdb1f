#include "app/recognition/ReadingVote.h"

#include <cmath>
#include <vector>

#include "app/recognition/ScriptVariants.h"

namespace Tessary::ReadingVote {

namespace {

/** What another reading holds at each character of a line: the character matched to it, and what stands before it. */
struct Alignment
{
    QString matched;             // per character of the line, its counterpart, or a null character where there is none
    std::vector<qsizetype> from; // per character of the line, its counterpart's place in the other reading, or -1
    std::vector<QString> before; // per character, and once more for the end: the other reading's extra characters
};

/**
 * The fewest changes that turn line into other (an edit distance on the Simplified forms). Where several alignments
 * cost the same (a character dropped next to one misread), the one that keeps characters nearest their share of the
 * line's width wins: both readings span the same ink.
 */
Alignment aligned(const QString &line, const QString &other)
{
    const QString a = ScriptVariants::toSimplified(line);
    const QString b = ScriptVariants::toSimplified(other);
    const qsizetype n = a.size(), m = b.size();
    const auto at = [](qsizetype i, qsizetype count) { return (double(i) + 0.5) / double(count); };
    std::vector<std::vector<double>> cost(size_t(n + 1), std::vector<double>(size_t(m + 1), 0.0));
    for (qsizetype i = 0; i <= n; ++i) {
        cost[size_t(i)][0] = double(i);
    }
    for (qsizetype j = 0; j <= m; ++j) {
        cost[0][size_t(j)] = double(j);
    }
    const auto substitution = [&](qsizetype i, qsizetype j) {
        return (a.at(i) == b.at(j) ? 0.0 : 1.0) + 0.01 * std::abs(at(i, n) - at(j, m));
    };
    for (qsizetype i = 1; i <= n; ++i) {
        for (qsizetype j = 1; j <= m; ++j) {
            cost[size_t(i)][size_t(j)] =
                std::min({cost[size_t(i - 1)][size_t(j - 1)] + substitution(i - 1, j - 1),
                          cost[size_t(i - 1)][size_t(j)] + 1, cost[size_t(i)][size_t(j - 1)] + 1});
        }
    }
    Alignment alignment{QString(n, QChar()), std::vector<qsizetype>(size_t(n), -1),
                        std::vector<QString>(size_t(n + 1))};
    qsizetype i = n, j = m;
    while (i > 0 || j > 0) {
        const double here = cost[size_t(i)][size_t(j)];
        if (i > 0 && j > 0 && std::abs(here - cost[size_t(i - 1)][size_t(j - 1)] - substitution(i - 1, j - 1)) < 1e-9) {
            alignment.matched[i - 1] = other.at(j - 1);
            alignment.from[size_t(i - 1)] = j - 1;
            --i;
            --j;
        } else if (i > 0 && std::abs(here - cost[size_t(i - 1)][size_t(j)] - 1) < 1e-9) {
            --i; // line's character i - 1 has no counterpart
        } else {
            alignment.before[size_t(i)].prepend(other.at(j - 1));
            --j;
        }
    }
    return alignment;
}

} // namespace

std::vector<qsizetype> counterparts(const QString &line, const QString &other)
{
    return aligned(line, other).from;
}

QString voted(const QString &own, const QString &first, const QString &second)
{
    if (own.isEmpty() || first.isEmpty() || second.isEmpty()) {
        return own;
    }
    const Alignment one = aligned(own, first);
    const Alignment two = aligned(own, second);
    const auto same = [](const QString &x, const QString &y) {
        return ScriptVariants::toSimplified(x) == ScriptVariants::toSimplified(y);
    };
    QString result;
    for (qsizetype i = 0; i <= own.size(); ++i) {
        const QString &inserted = one.before[size_t(i)];
        if (!inserted.isEmpty() && same(inserted, two.before[size_t(i)])) {
            result += inserted;
        }
        if (i == own.size()) {
            break;
        }
        const QChar mine = one.matched.at(i), theirs = two.matched.at(i);
        const bool agree = mine.isNull() == theirs.isNull() && (mine.isNull() || same(mine, theirs));
        if (!agree || (!mine.isNull() && same(mine, own.at(i)))) {
            result += own.at(i);
        } else if (!mine.isNull()) {
            result += mine;
        }
    }
    return result;
}

QString withTraditionalForms(const QString &reading, const QString &traditional,
                             const std::function<bool(qsizetype at, QChar form, QChar read)> &shows)
{
    if (reading.isEmpty() || traditional.isEmpty()) {
        return reading;
    }
    const Alignment alignment = aligned(reading, traditional);
    QString result = reading;
    for (qsizetype i = 0; i < reading.size(); ++i) {
        const QChar form = alignment.matched.at(i);
        const QString simplified = ScriptVariants::toSimplified(QString(form));
        if (!form.isNull() && simplified != QString(form) &&
            ScriptVariants::toSimplified(QString(reading.at(i))) != simplified &&
            shows(alignment.from[size_t(i)], form, reading.at(i))) {
            result[i] = form;
        }
    }
    return result;
}

} // namespace Tessary::ReadingVote
