#include "app/recognition/ChineseTextCleanup.h"

#include <algorithm>

#include <QList>
#include <QStringView>

namespace Tessary::ChineseTextCleanup {

namespace {

QList<char32_t> codePoints(const QString &text)
{
    QList<char32_t> points;
    points.reserve(text.size());
    for (const char32_t c : QStringView(text).toUcs4()) {
        points.append(c);
    }
    return points;
}

QString fromCodePoints(const QList<char32_t> &points)
{
    return QString::fromUcs4(points.constData(), points.size());
}

bool isSpace(char32_t c)
{
    return c == U' ' || c == U'\t' || c == U'\u3000' || c == U'\u00a0';
}

char32_t fullWidth(char32_t c)
{
    switch (c) {
    case U',':
        return U'，';
    case U'.':
        return U'。';
    case U':':
        return U'：';
    case U';':
        return U'；';
    case U'?':
        return U'？';
    case U'!':
        return U'！';
    case U'(':
        return U'（';
    case U')':
        return U'）';
    default:
        return 0;
    }
}

} // namespace

bool isHan(char32_t c)
{
    return QChar::script(c) == QChar::Script_Han;
}

bool hasHan(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), [](QChar c) { return isHan(c.unicode()); });
}

bool hasDoubleWidth(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c.isSurrogate() || isHan(c.unicode()); });
}

bool signsOnly(const QString &text)
{
    const QString shown = text.trimmed();
    return !shown.isEmpty() && std::all_of(shown.cbegin(), shown.cend(), [](QChar c) {
        return c.isSpace() || (c.unicode() < 0x80 && (c.isPunct() || c.isSymbol()));
    });
}

bool allHan(const QString &text)
{
    return !text.isEmpty() && std::all_of(text.cbegin(), text.cend(), [](QChar c) { return isHan(c.unicode()); });
}

bool isCjk(char32_t c)
{
    return isHan(c) || (c >= 0x3000 && c <= 0x303f) || (c >= 0xff00 && c <= 0xffef) || c == U'“' || c == U'”' ||
           c == U'‘' || c == U'’' || c == U'…' || c == U'—';
}

QString removeSpacesBetweenCjk(const QString &line)
{
    // The empty half of a corner bracket's cell reads as a space beside an ASCII bracket (`「both」 (兩者)`).
    const auto cornerAndBracket = [](char32_t before, char32_t after) {
        return ((before == U'」' || before == U'』') && after == U'(') ||
               (before == U')' && (after == U'「' || after == U'『'));
    };
    const QList<char32_t> in = codePoints(line);
    QList<char32_t> out;
    out.reserve(in.size());
    for (qsizetype i = 0; i < in.size(); ++i) {
        if (isSpace(in[i]) && !out.isEmpty()) {
            qsizetype next = i;
            while (next < in.size() && isSpace(in[next])) {
                ++next;
            }
            if (next < in.size() &&
                ((isCjk(out.back()) && isCjk(in[next])) || cornerAndBracket(out.back(), in[next]))) {
                i = next - 1;
                continue;
            }
        }
        out.append(in[i]);
    }
    return fromCodePoints(out);
}

QString restoreFullWidthPunctuation(const QString &line)
{
    QList<char32_t> points = codePoints(line);
    for (qsizetype i = 1; i + 1 < points.size(); ++i) {
        const char32_t wide = fullWidth(points[i]);
        if (wide == 0) {
            continue;
        }
        qsizetype before = i - 1;
        while (before > 0 && isSpace(points[before])) {
            --before;
        }
        qsizetype after = i + 1;
        while (after + 1 < points.size() && isSpace(points[after])) {
            ++after;
        }
        if (isHan(points[before]) && isHan(points[after])) {
            points[i] = wide;
        }
    }
    return fromCodePoints(points);
}

QString cleanLine(const QString &line)
{
    qsizetype end = line.size();
    while (end > 0 && line.at(end - 1).isSpace()) {
        --end;
    }
    // Punctuation first: once full-width, it counts as Chinese and loses the spaces around it too.
    return removeSpacesBetweenCjk(restoreFullWidthPunctuation(line.left(end)));
}

} // namespace Tessary::ChineseTextCleanup
