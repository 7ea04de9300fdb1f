#include <gtest/gtest.h>

#include "app/recognition/PassMerging.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

/**
 * A word drawn from left at 10 pixels per character on the row starting at top; its characters are placed evenly
 * and read with the word's confidence.
 */
PassWord word(const QString &text, int left, int top, float confidence)
{
    PassWord word;
    word.text = text;
    word.box = QRect(left, top, 10 * int(text.size()), 20);
    word.confidence = confidence;
    for (qsizetype i = 0; i < text.size(); ++i) {
        word.symbols.append({text.mid(i, 1), float(left + 10 * i + 5), confidence});
    }
    return word;
}

/** A line of the given words, its text the words joined by one space. */
PassLine line(const QList<PassWord> &words)
{
    PassLine line;
    QStringList texts;
    QRect box;
    for (const PassWord &word : words) {
        texts.append(word.text);
        box = box.united(word.box);
    }
    line.text = texts.join(u' ');
    line.words = words;
    line.box = box;
    line.centres = characterCentres(line.text, symbolsOf(line));
    float sum = 0;
    for (const PassWord &word : words) {
        sum += word.confidence;
    }
    line.confidence = sum / float(words.size());
    return line;
}

RecognitionPass pass(const QByteArray &languages, const QList<PassLine> &lines)
{
    RecognitionPass pass;
    pass.languages = languages;
    pass.lines = lines;
    return pass;
}

TEST(PassMerging, TheScriptIsWeighedOnlyWhereEitherReadingIsChinese)
{
    // Both read the English word alike; they differ on the Chinese one.
    const RecognitionPass traditional =
        pass("chi_tra", {line({word(u"PostgreSQL"_s, 0, 0, 60), word(u"資料庫"_s, 110, 0, 95)})});
    const RecognitionPass simplified =
        pass("chi_sim", {line({word(u"PostgreSQL"_s, 0, 0, 96), word(u"资料库"_s, 110, 0, 80)})});
    EXPECT_DOUBLE_EQ(PassMerging::chineseConfidence(traditional, simplified), 95);
    EXPECT_DOUBLE_EQ(PassMerging::chineseConfidence(simplified, traditional), 80);

    // Where one reading made letters of what the other read as Chinese, the letters count against it.
    const RecognitionPass letters =
        pass("chi_sim", {line({word(u"PostgreSQL"_s, 0, 0, 96), word(u"A8#"_s, 110, 0, 30)})});
    EXPECT_DOUBLE_EQ(PassMerging::chineseConfidence(letters, traditional), 30);
    EXPECT_DOUBLE_EQ(PassMerging::hanWordConfidence(letters), -1);
    EXPECT_DOUBLE_EQ(PassMerging::hanWordConfidence(traditional), 95);

    // Chinese the other reading has where this one found nothing at all: this one is not sure of it in the least.
    const RecognitionPass nothingThere = pass("chi_sim", {line({word(u"PostgreSQL"_s, 0, 0, 96)})});
    EXPECT_DOUBLE_EQ(PassMerging::chineseConfidence(nothingThere, traditional), 0);

    // No Chinese in either reading: nothing to weigh.
    EXPECT_DOUBLE_EQ(PassMerging::chineseConfidence(nothingThere, letters), -1);
}

TEST(PassMerging, LatinWordsComeFromTheEnglishReading)
{
    // The Chinese model alone garbles the English words of a Traditional line; one of them appears twice.
    RecognitionPass traditional =
        pass("chi_tra", {line({word(u"使用"_s, 0, 0, 95), word(u"5sh"_s, 30, 0, 40), word(u"和"_s, 70, 0, 94),
                               word(u"5sh"_s, 90, 0, 41), word(u"。，"_s, 130, 0, 50)})});
    const RecognitionPass simplified =
        pass("chi_sim", {line({word(u"使用"_s, 0, 0, 70), word(u"ssh"_s, 30, 0, 92), word(u"和"_s, 70, 0, 90),
                               word(u"ssh"_s, 90, 0, 91), word(u".,"_s, 130, 0, 60), word(u"|P"_s, 160, 0, 50)})});
    traditional.lines.first() = line(traditional.lines.first().words + QList<PassWord>{word(u"IP"_s, 160, 0, 80)});
    PassMerging::takeLatinWords(traditional, simplified);
    const PassLine &merged = traditional.lines.first();
    // Chinese stays the Traditional reading's, and so does punctuation, whose width the pixels settle later, and a
    // Latin word that this reading is surer of.
    EXPECT_EQ(merged.text, u"使用 ssh 和 ssh 。， IP"_s);
    EXPECT_EQ(merged.centres.size(), merged.text.size());
    EXPECT_FLOAT_EQ(merged.centres[merged.text.indexOf(u"ssh"_s) + 1], 45);
    EXPECT_FLOAT_EQ(merged.words[3].confidence, 91);
    EXPECT_NEAR(merged.confidence, (95 + 92 + 94 + 91 + 50 + 80) / 6.0, 0.01);
}

TEST(PassMerging, LatinInsideAChineseWordIsTakenWhenTheChineseLinesUp)
{
    // Chinese has no spaces: a clause with an English abbreviation in it is one word.
    RecognitionPass traditional = pass("chi_tra", {line({word(u"使用的|P位址"_s, 0, 0, 60)})});
    PassMerging::takeLatinWords(traditional, pass("eng", {line({word(u"使用的IP位址"_s, 0, 0, 85)})}));
    EXPECT_EQ(traditional.lines.first().text, u"使用的IP位址"_s);
    EXPECT_FLOAT_EQ(traditional.lines.first().words.first().confidence, 60);
    EXPECT_EQ(traditional.lines.first().centres.size(), traditional.lines.first().text.size());

    // Less sure of its Latin part than this reading: nothing changes.
    RecognitionPass surer = pass("chi_tra", {line({word(u"使用的IP位址"_s, 0, 0, 90)})});
    PassMerging::takeLatinWords(surer, pass("eng", {line({word(u"使用的|P位址"_s, 0, 0, 70)})}));
    EXPECT_EQ(surer.lines.first().text, u"使用的IP位址"_s);

    // The other reading has a different number of Chinese characters before the Latin part: nothing lines up.
    RecognitionPass shifted = pass("chi_tra", {line({word(u"使用的|P位址"_s, 0, 0, 90)})});
    PassMerging::takeLatinWords(shifted, pass("chi_sim", {line({word(u"使用IP位址址"_s, 0, 0, 85)})}));
    EXPECT_EQ(shifted.lines.first().text, u"使用的|P位址"_s);
}

TEST(PassMerging, WordsSplitDifferentlyAreLeftAlone)
{
    // The other reading split "Z3_API" where this one read one word: swapping one for the other would lose text.
    RecognitionPass traditional = pass("chi_tra", {line({word(u"函式"_s, 0, 0, 90), word(u"73_API"_s, 30, 0, 40)})});
    const RecognitionPass simplified =
        pass("chi_sim", {line({word(u"函式"_s, 0, 0, 80), word(u"Z3"_s, 30, 0, 90), word(u"API"_s, 60, 0, 90)})});
    PassMerging::takeLatinWords(traditional, simplified);
    EXPECT_EQ(traditional.lines.first().text, u"函式 73_API"_s);
}

TEST(PassMerging, ALineWithoutChineseIsTakenWhole)
{
    // Split differently word by word, but the whole line is Latin in both readings.
    RecognitionPass traditional =
        pass("chi_tra", {line({word(u"說明"_s, 0, 0, 93)}), line({word(u"netlibeyornl.gov"_s, 0, 30, 35)})});
    const RecognitionPass simplified =
        pass("chi_sim", {line({word(u"说明"_s, 0, 0, 85)}),
                         line({word(u"netlib@"_s, 0, 30, 90), word(u"ornl.gov"_s, 80, 30, 93)})});
    PassMerging::takeLatinWords(traditional, simplified);
    ASSERT_EQ(traditional.lines.size(), 2);
    EXPECT_EQ(traditional.lines[0].text, u"說明"_s);
    EXPECT_EQ(traditional.lines[1].text, u"netlib@ ornl.gov"_s);
    EXPECT_EQ(traditional.lines[1].words.size(), 2);
    EXPECT_FLOAT_EQ(traditional.lines[1].confidence, 91.5);

    // A line the Chinese reading is about as sure of keeps its own reading, full-width punctuation and all.
    RecognitionPass chinese = pass("chi_sim", {line({word(u"SVr4，POSIX.1-2001。"_s, 0, 0, 90)})});
    PassMerging::takeLatinWords(chinese,
                                pass("eng", {line({word(u"SVr4,"_s, 0, 0, 93), word(u"POSIX.1-2001."_s, 60, 0, 92)})}));
    EXPECT_EQ(chinese.lines.first().text, u"SVr4，POSIX.1-2001。"_s);
    // ... but not its words run together.
    chinese = pass("chi_sim", {line({word(u"Tessaryturns"_s, 0, 0, 92)})});
    PassMerging::takeLatinWords(chinese,
                                pass("eng", {line({word(u"Tessary"_s, 0, 0, 96), word(u"turns"_s, 80, 0, 96)})}));
    EXPECT_EQ(chinese.lines.first().text, u"Tessary turns"_s);
}

} // namespace
