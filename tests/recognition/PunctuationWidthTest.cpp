#include <gtest/gtest.h>

#include "app/recognition/DoubledHyphens.h"
#include "app/recognition/DroppedMarks.h"
#include "app/recognition/PunctuationWidth.h"
#include "app/recognition/QuoteShapes.h"
#include "tests/recognition/RenderedLine.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

struct WidthCase
{
    const char *name;
    const char *family;
    const char *shown; // as drawn on the screen
    const char *read;  // as a recogniser read it: same length, marks of the other width
    const char *expected;
};

class PunctuationWidthTest : public ::testing::TestWithParam<WidthCase>
{
};

// The width is told from the drawn line alone: the reading's marks and digits are of the other width (or right)
// and must come out as drawn.
TEST_P(PunctuationWidthTest, SettlesWidthsFromTheScreen)
{
    const WidthCase &row = GetParam();
    for (const int size : {13, 16, 22}) {
        const Tessary::Test::RenderedLine line = Tessary::Test::renderLine(
            QString::fromUtf8(row.shown), Tessary::Test::fontOf(QString::fromUtf8(row.family), size));
        const QString settled = PunctuationWidth::settle(QString::fromUtf8(row.read), line.centres, line.image, 255);
        EXPECT_EQ(settled.toStdString(), std::string(row.expected)) << "at " << size << " px";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Lines, PunctuationWidthTest,
    ::testing::Values(WidthCase{"FullWidthMarksBetweenHan", "Noto Sans CJK SC",
                                "打开文件，然后保存。再关闭；好吗？是的", "打开文件,然后保存.再关闭;好吗?是的",
                                "打开文件，然后保存。再关闭；好吗？是的"},
                      WidthCase{"AsciiMarksBetweenHanStayAscii", "Noto Sans CJK TC", "資訊. 在除錯, 認證和配置",
                                "資訊。 在除錯， 認證和配置", "資訊. 在除錯, 認證和配置"},
                      WidthCase{"FullWidthMarkAtLineEnd", "Noto Sans CJK TC", "證和配置，", "證和配置,", "證和配置，"},
                      WidthCase{"CommaReadAsFullStop", "Noto Sans CJK TC", "進行狀態，但無法顯示。此模式",
                                "進行狀態。但無法顯示。此模式", "進行狀態，但無法顯示。此模式"},
                      WidthCase{"CommaReadAsFullStopSerif", "Noto Serif CJK TC", "整個螢幕，或是只佔。以像素",
                                "整個螢幕。或是只佔。以像素", "整個螢幕，或是只佔。以像素"},
                      WidthCase{"AsciiMarkAtLineEnd", "Noto Sans CJK TC", "認證和配置:", "認證和配置:", "認證和配置:"},
                      WidthCase{"BracketPairsKeepOneWidth", "DejaVu Sans", "从 0（左对齐）$(a.b) 使用",
                                "从 0〈左对齐)$(a.b） 使用", "从 0（左对齐）$(a.b) 使用"},
                      WidthCase{"AsciiBracketsAfterSpaces", "DejaVu Sans", "修改引用規格 (refspec) 以便",
                                "修改引用規格 （refspec） 以便", "修改引用規格 (refspec) 以便"},
                      WidthCase{"BracketsBesideCornerBrackets", "DejaVu Serif", "有「both」(兩者)、「圖」（示）",
                                "有「both」（兩者）、「圖」(示)", "有「both」(兩者)、「圖」（示）"},
                      WidthCase{"CornerBracketsReadAsSigns", "Noto Sans CJK TC", "像「orange」或 user的 「左」、「上」",
                                "像Torangej或 user的 [左，、「上>", "像「orange」或 user的 「左」、「上」"},
                      WidthCase{"CornerBracketsReadAsSignsSerif", "Noto Serif CJK TC", "為「右」和「左」、[是]",
                                "為[右]和{左J、[是]", "為「右」和「左」、[是]"},
                      WidthCase{"LettersShapedLikeCornerBrackets", "Noto Sans CJK TC", "開啟Java和JPEG或jar檔",
                                "開啟Java和JPEG或jar檔", "開啟Java和JPEG或jar檔"},
                      WidthCase{"AsciiFullStopsTakenForCommas", "Noto Sans CJK SC", "会丢失. 值0表示缺省.",
                                "会丢失， 值0表示缺省，", "会丢失. 值0表示缺省."},
                      WidthCase{"AsciiBracketTouchingHan", "Noto Sans CJK TC", "抽出檔案 (預設用於使用者)",
                                "抽出檔案 （預設用於使用者）", "抽出檔案 (預設用於使用者)"},
                      WidthCase{"FullWidthDigitsAndHyphen", "Noto Sans CJK SC", "作者:朱熹（１１３０－１２００）",
                                "作者:朱熹(1130-1200)", "作者:朱熹（１１３０－１２００）"},
                      WidthCase{"AsciiDigitsInChineseStayAscii", "Noto Sans CJK SC",
                                "流程开始前 15 分钟 (2006-03) 创建", "流程开始前 １５ 分钟 (2006-03) 创建",
                                "流程开始前 15 分钟 (2006-03) 创建"},
                      WidthCase{"LatinLineNeverGetsFullWidth", "DejaVu Sans", "Hello ,  world : 1130  4567 ! ok",
                                "Hello ,  world : 1130  4567 ! ok", "Hello ,  world : 1130  4567 ! ok"}),
    [](const ::testing::TestParamInfo<WidthCase> &info) { return std::string(info.param.name); });

TEST(DoubledHyphens, TwoBarsReadAsOneHyphenAreTwoAndSingleHyphensStaySingle)
{
    for (const char *family : {"DejaVu Sans", "DejaVu Serif", "Noto Sans CJK SC"}) {
        for (const QString &drawn : {u"-a, --text 所有檔案都以文"_s, u"x - y — 2006-03 -p 之一"_s, u"會忽略 --"_s}) {
            for (const QString &bar : {u"-"_s, u"一"_s}) { // in Chinese lines, also read as 一
                auto line = Tessary::Test::renderLine(drawn, Tessary::Test::fontOf(QString::fromUtf8(family), 18));
                QString read = QString(drawn).replace(u"--"_s, bar);
                line.centres.remove(std::max<qsizetype>(0, drawn.indexOf(u"--"_s)), drawn.size() - read.size());
                DoubledHyphens::restore(read, line.centres, line.image, 255);
                EXPECT_EQ(read, drawn) << family;
            }
        }
    }
}

// A mark whose ink no character was read from comes back, also where the reader placed 能 on it; a line read whole
// (the dots of 心 and 小 too) stays.
TEST(DroppedMarks, MarksLostBesideLatinWordsComeBack)
{
    for (const auto &[family, size] :
         {std::pair{"Noto Sans CJK SC", 16}, {"Noto Sans CJK TC", 20}, {"DejaVu Sans", 26}}) {
        for (const QString &drawn : {u"定為‘TRUE’，GtkProgress 進入"_s, u"识别“flatpak”。"_s, u"見 ls、cp 與"_s,
                                     u"機能，也提供"_s, u"小心以必 TRUE 的"_s}) {
            auto line = Tessary::Test::renderLine(drawn, Tessary::Test::fontOf(QString::fromUtf8(family), size));
            const qsizetype at = std::max({drawn.indexOf(u'，'), drawn.indexOf(u'。'), drawn.indexOf(u'、')});
            QString read = at < 0 ? drawn : QString(drawn).remove(at, 1);
            if (drawn.startsWith(u'機')) { // the reader took the mark into 能's box and placed 能 on it
                line.centres[at - 1] = (3 * line.centres[at] + line.centres[at - 1]) / 4;
            }
            line.centres.remove(std::max<qsizetype>(at, 0), drawn.size() - read.size());
            DroppedMarks::restore(read, line.centres, line.image, 255);
            EXPECT_EQ(read.toStdString(), drawn.toStdString()) << family;
        }
    }
}

// A bracket read on the full stop after it keeps its own width; one at a line's end takes its partner's. A comma
// placed late on the letter after it, with the character before it placed late on the comma, is still found.
TEST(PunctuationWidth, MarksTakeTheWidthTheirOwnInkShows)
{
    for (const int size : {12, 16, 22}) {
        auto late = Tessary::Test::renderLine(u"错误，GRANT和"_s, Tessary::Test::fontOf(u"DejaVu Serif"_s, size));
        late.centres[2] = late.centres[3] - 0.3f * float(size);
        late.centres[1] += 0.6f * float(size);
        EXPECT_EQ(PunctuationWidth::settle(u"错误,GRANT和"_s, late.centres, late.image, 255), u"错误，GRANT和"_s);
        auto line = Tessary::Test::renderLine(u"到 1 (右)。相"_s, Tessary::Test::fontOf(u"Noto Sans CJK TC"_s, size));
        line.centres[6] = line.centres[7];
        EXPECT_EQ(PunctuationWidth::settle(u"到 1 （右）。相"_s, line.centres, line.image, 255), u"到 1 (右)。相"_s);
        EXPECT_EQ(PunctuationWidth::settle(u"到 1 （右）。相"_s, {}, line.image, 255), u"到 1 （右）。相"_s);
    }
    QStringList lines{u"組件（不建"_s, u"議再使用)"_s, u"識別碼 (PIN"_s, u"碼）"_s, u"(x"_s, u"y）"_s};
    PunctuationWidth::matchBracketsAcrossLines(lines);
    EXPECT_EQ(lines, (QStringList{u"組件（不建"_s, u"議再使用）"_s, u"識別碼 (PIN"_s, u"碼)"_s, u"(x"_s, u"y）"_s}));
}

// Latin fonts draw curly quotes as narrow as straight ones; the readers write both straight, drop a quote touching a
// Chinese character (# below: no character read) and never read a backtick. A star stays where nothing pairs it.
TEST(QuoteShapes, QuotesComeBackInTheShapesTheirInkShows)
{
    const std::pair<QString, QString> rows[] = {
        {u"设为“rgba”时，選擇“打开文件夹”的‘TRUE’"_s, u"设为\"rgba\"时，選擇\"打开文件夹\"的'TRUE'"_s},
        {u"执行 \"git\" 與 'abc' 後"_s, u"执行 \"git\" 與 'abc' 後"_s},
        {u"如設為定為‘TRUE’，當"_s, u"如設為定為#TRUE’，當"_s},
        {u"使用 `copy' 的時候，在 `requires` 标签"_s, u"使用 #copy' 的時候，在 ‘requires# 标签"_s},
        {u"要呼叫 `--bisect-state`，或 x-content/* 類"_s, u"要呼叫 *--bisect-state’，或 x-content/* 類"_s}};
    for (const auto &[family, size] : {std::pair{"DejaVu Sans", 13}, {"DejaVu Serif", 18}, {"DejaVu Sans", 24}}) {
        for (const auto &[drawn, shown] : rows) {
            auto line = Tessary::Test::renderLine(drawn, Tessary::Test::fontOf(QString::fromUtf8(family), size));
            QString read = shown;
            for (qsizetype at = read.lastIndexOf(u'#'); at >= 0; at = read.lastIndexOf(u'#')) {
                read.remove(at, 1);
                line.centres.remove(at);
            }
            QuoteShapes::settle(read, line.centres, line.image, 255);
            EXPECT_EQ(read.toStdString(), drawn.toStdString()) << family << " at " << size << " px";
        }
    }
}

} // namespace
