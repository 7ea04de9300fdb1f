#include <gtest/gtest.h>

#include <QString>

#include "app/recognition/ChineseTextCleanup.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

struct CleanupCase
{
    const char *name;
    const char *raw;
    const char *expected;
};

class ChineseTextCleanupTest : public ::testing::TestWithParam<CleanupCase>
{
};

TEST_P(ChineseTextCleanupTest, CleansOneLine)
{
    const CleanupCase &row = GetParam();
    EXPECT_EQ(ChineseTextCleanup::cleanLine(QString::fromUtf8(row.raw)).toStdString(), std::string(row.expected));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ChineseTextCleanupTest,
    ::testing::Values(CleanupCase{"spacesBetweenHanGo", "截 图 识 字", "截图识字"},
                      CleanupCase{"runsOfSpacesBetweenHanGo", "截图   识字", "截图识字"},
                      CleanupCase{"spaceBeforeFullWidthPunctuationGoes", "你好 ， 世界 。", "你好，世界。"},
                      CleanupCase{"spaceBetweenHanAndLatinStays", "中文 English 混合", "中文 English 混合"},
                      CleanupCase{"latinWordSpacesStay", "Tessary turns  text", "Tessary turns  text"},
                      CleanupCase{"asciiCommaBetweenHanBecomesFullWidth", "你好,世界", "你好，世界"},
                      CleanupCase{"asciiPunctuationWithSpacesBetweenHan", "你好 , 世界", "你好，世界"},
                      CleanupCase{"colonAndQuestionMark", "问题:为什么?因为", "问题：为什么？因为"},
                      CleanupCase{"parenthesesBetweenHan", "文件(本地)目录", "文件（本地）目录"},
                      CleanupCase{"asciiPunctuationInLatinStays", "a, b. c: d", "a, b. c: d"},
                      CleanupCase{"punctuationBetweenHanAndLatinStays", "版本:1.2", "版本:1.2"},
                      CleanupCase{"trailingPunctuationStays", "结束.", "结束."},
                      CleanupCase{"codeIsUntouched", "if (x == 1) { return; }", "if (x == 1) { return; }"},
                      CleanupCase{"trailingWhiteSpaceIsTrimmed", "行尾  \n", "行尾"},
                      CleanupCase{"leadingIndentationIsKept", "    return 0;", "    return 0;"},
                      CleanupCase{"hanOutsideTheBasicPlane", "\xF0\xA0\x80\x80 \xF0\xA0\x80\x81",
                                  "\xF0\xA0\x80\x80\xF0\xA0\x80\x81"},
                      CleanupCase{"empty", "", ""}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(ChineseTextCleanup, NoSpaceBetweenACornerBracketAndABracketOutsideIt)
{
    EXPECT_EQ(ChineseTextCleanup::removeSpacesBetweenCjk(u"有「both」 (兩者) 「x」 y"_s), u"有「both」(兩者)「x」 y"_s);
}

} // namespace
