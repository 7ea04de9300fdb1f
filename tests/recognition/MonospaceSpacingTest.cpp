#include <gtest/gtest.h>

#include "app/recognition/MonospaceSpacing.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

/** Centres on a grid of 9-pixel cells, one cell per character, spaces included; shift moves single characters. */
QList<float> grid(const QString &text, const QList<std::pair<qsizetype, float>> &shift = {})
{
    QList<float> centres;
    for (qsizetype i = 0; i < text.size(); ++i) {
        centres.append(float(10 + 9 * i));
    }
    for (const auto &[at, by] : shift) {
        centres[at] += by;
    }
    return centres;
}

TEST(MonospaceSpacing, ASpaceWithoutACellOfItsOwnGoes)
{
    // The engine wrote "def f(self, x) :" with the colon in the cell right after the parenthesis.
    QString text = u"def f(self, x):"_s;
    QList<float> centres = grid(text);
    text.insert(14, u' ');
    centres.insert(14, (centres[13] + centres[14]) / 2);
    MonospaceSpacing::dropSpacesWithoutRoom(text, centres);
    EXPECT_EQ(text, u"def f(self, x):"_s);

    // With only one real space to go by, the line might as well be proportional: it stays as it is.
    text = u"f(x):"_s;
    centres = grid(text);
    text.insert(4, u' ');
    centres.insert(4, (centres[3] + centres[4]) / 2);
    const QString unsure = text;
    MonospaceSpacing::dropSpacesWithoutRoom(text, centres);
    EXPECT_EQ(text, unsure);
    EXPECT_EQ(centres.size(), text.size());

    // Spaces that have their cells stay, single or in a run, and so do glyphs drawn a little off their cell's middle.
    text = u"x = a_b  # note"_s;
    centres = grid(text, {{4, 2.0f}, {9, -1.5f}});
    MonospaceSpacing::dropSpacesWithoutRoom(text, centres);
    EXPECT_EQ(text, u"x = a_b  # note"_s);
}

TEST(MonospaceSpacing, ProportionalTextIsLeftAlone)
{
    // A proportional font: narrow letters stand close, wide ones far apart, and a space is narrower than a letter.
    QString text = u"fill it in, mom will ask"_s;
    QList<float> centres;
    float x = 10;
    for (const QChar c : text) {
        const float width = c == u'i' || c == u'l' ? 4.0f : c == u'm' || c == u'w' ? 14.0f : c == u' ' ? 5.0f : 9.0f;
        centres.append(x + width / 2);
        x += width;
    }
    const QString before = text;
    EXPECT_EQ(MonospaceSpacing::cellOf(text, centres), 0);
    MonospaceSpacing::dropSpacesWithoutRoom(text, centres);
    EXPECT_EQ(text, before);

    // Letters as even as a grid, but spaces narrower than a cell: not monospaced.
    text = u"Dark mode text here"_s;
    centres.clear();
    float at = 10;
    for (const QChar c : text) {
        centres.append(at + (c == u' ' ? 2.5f : 4.5f));
        at += c == u' ' ? 5.0f : 9.0f;
    }
    MonospaceSpacing::dropSpacesWithoutRoom(text, centres);
    EXPECT_EQ(text, u"Dark mode text here"_s);

    // Too few characters to see a grid.
    text = u"a :"_s;
    centres = {10, 14, 19};
    MonospaceSpacing::dropSpacesWithoutRoom(text, centres);
    EXPECT_EQ(text, u"a :"_s);
}

} // namespace
