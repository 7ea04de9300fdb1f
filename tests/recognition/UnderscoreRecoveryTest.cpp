#include <gtest/gtest.h>

#include "app/recognition/UnderscoreRecovery.h"
#include "tests/recognition/RenderedLine.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

/** The way Tesseract misreads underscores at screen sizes: "__" as "_", and a single "_" as a space. */
void asTheEngineReadsIt(const QString &text, const QList<float> &centres, QString &read, QList<float> &readCentres)
{
    read.clear();
    readCentres.clear();
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.mid(i, 2) == u"__"_s) {
            read += u'_';
            readCentres.append((centres[i] + centres[i + 1]) / 2);
            ++i;
        } else if (text.at(i) == u'_' && i > 0) {
            read += u' ';
            readCentres.append(centres[i]);
        } else {
            read += text.at(i);
            readCentres.append(centres[i]);
        }
    }
}

QList<UnderscoreRecovery::Run> runsIn(const Tessary::Test::RenderedLine &line, int lower = 0)
{
    return UnderscoreRecovery::findRuns(line.image, line.box, line.baseline + lower, line.pitch, 255);
}

/** The line drawn half a pixel lower, as a browser's pen can stand: a thin rule splits into two faint rows. */
QImage halfAPixelLower(const QImage &image)
{
    QImage lower = image.copy();
    for (int y = 1; y < image.height(); ++y) {
        for (int x = 0; x < 3 * image.width(); ++x) {
            lower.scanLine(y)[x] = uchar((image.constScanLine(y)[x] + image.constScanLine(y - 1)[x]) / 2);
        }
    }
    return lower;
}

TEST(UnderscoreRecovery, CountsTheUnderscoresOfEachRule)
{
    const QString code = u"x = option_tuples + __init__(a_b)"_s;
    // As drawn (0), drawn half a pixel lower (1), and with the engine's baseline two rows below the letters' feet (2).
    for (const int way : {0, 1, 2}) {
        for (const int size : {12, 15, 20}) {
            auto line = Tessary::Test::renderLine(code, Tessary::Test::fontOf(u"DejaVu Sans Mono"_s, size));
            line.image = way == 1 ? halfAPixelLower(line.image) : line.image;
            const auto runs = runsIn(line, way == 2 ? 2 : 0);
            ASSERT_EQ(runs.size(), 4) << "at " << size << " px, way " << way;
            const QList<int> counts{1, 2, 2, 1};
            const QList<qsizetype> firsts{code.indexOf(u"_tuples"_s), code.indexOf(u"__init"_s), code.indexOf(u"__("_s),
                                          code.indexOf(u"_b"_s)};
            for (int r = 0; r < 4; ++r) {
                EXPECT_EQ(runs[r].count, counts[r]) << "run " << r << " at " << size << " px";
                // The run starts where its first underscore was drawn.
                EXPECT_NEAR(runs[r].left, line.centres[firsts[r]] - line.pitch / 2, line.pitch / 2)
                    << "run " << r << " at " << size << " px";
            }
        }
    }
}

TEST(UnderscoreRecovery, UnderlinesAndDescendersAreNoUnderscores)
{
    QFont underlined = Tessary::Test::fontOf(u"DejaVu Sans"_s, 15);
    underlined.setUnderline(true);
    EXPECT_TRUE(runsIn(Tessary::Test::renderLine(u"open the link here"_s, underlined)).isEmpty());
    EXPECT_TRUE(runsIn(Tessary::Test::renderLine(u"gypsy jumping quickly, yay"_s,
                                                 Tessary::Test::fontOf(u"DejaVu Sans Mono"_s, 15)))
                    .isEmpty());
    EXPECT_TRUE(
        runsIn(Tessary::Test::renderLine(u"a - b -- c"_s, Tessary::Test::fontOf(u"DejaVu Sans Mono"_s, 15))).isEmpty());
}

TEST(UnderscoreRecovery, PutsTheUnderscoresBackIntoTheReading)
{
    for (const QString &code : {u"mytz = self._tzinfo"_s, u"__THROW __attribute_pure__ __nonnull ((1, 2));"_s,
                                u"if len(option_tuples) > 1: return __length_hint__"_s}) {
        const auto line = Tessary::Test::renderLine(code, Tessary::Test::fontOf(u"DejaVu Sans Mono"_s, 15));
        QString read;
        QList<float> centres;
        asTheEngineReadsIt(code, line.centres, read, centres);
        ASSERT_NE(read.toStdString(), code.toStdString());
        UnderscoreRecovery::apply(runsIn(line), line.pitch, read, centres);
        EXPECT_EQ(read.toStdString(), code.toStdString());
        EXPECT_EQ(centres.size(), read.size());
    }
    // A dash the engine wrote over a run stands for one of its underscores.
    const QString code = u"__attribute__ ((__noreturn__))"_s;
    const auto line = Tessary::Test::renderLine(code, Tessary::Test::fontOf(u"DejaVu Sans Mono"_s, 15));
    QString read = u"_-attribute__ ((__noreturn__))"_s;
    QList<float> centres = line.centres;
    UnderscoreRecovery::apply(runsIn(line), line.pitch, read, centres);
    EXPECT_EQ(read.toStdString(), code.toStdString());
}

TEST(UnderscoreRecovery, UnderscoresWithoutInkBecomeSpaces)
{
    // Tesseract sometimes writes "_" for a plain gap between two words.
    const QString code = u"struct conf_t *out_cfg"_s;
    const auto line = Tessary::Test::renderLine(code, Tessary::Test::fontOf(u"DejaVu Sans Mono"_s, 15));
    QString read = u"struct_conf_t *out_cfg"_s;
    UnderscoreRecovery::dropPhantoms(line.image, line.box, line.baseline, line.pitch, 255, read, line.centres);
    EXPECT_EQ(read.toStdString(), code.toStdString());
}

TEST(UnderscoreRecovery, PitchNeedsEnoughLetters)
{
    const auto line = Tessary::Test::renderLine(u"option_tuples"_s, Tessary::Test::fontOf(u"DejaVu Sans Mono"_s, 15));
    EXPECT_NEAR(UnderscoreRecovery::pitchOf(u"option_tuples"_s, line.centres), line.pitch, 0.5);
    EXPECT_EQ(UnderscoreRecovery::pitchOf(u"ab"_s, line.centres.mid(0, 2)), 0);
    EXPECT_EQ(UnderscoreRecovery::pitchOf(u"中文字符号"_s, line.centres.mid(0, 5)), 0);
}

} // namespace
