#include <gtest/gtest.h>

#include <QPainter>

#include <tesseract/baseapi.h>

#include "app/recognition/ChineseRecovery.h"
#include "app/recognition/CodeReading.h"
#include "app/recognition/DictionaryCandidates.h"
#include "app/recognition/GlyphHeights.h"
#include "app/recognition/ImagePreparation.h"
#include "app/recognition/LabelCells.h"
#include "app/recognition/LargerReading.h"
#include "app/recognition/LineIndentation.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/LookAlikeGlyphs.h"
#include "app/recognition/MissedLines.h"
#include "app/recognition/ReadingVote.h"
#include "app/recognition/ScriptChoice.h"
#include "app/recognition/TesseractPool.h"
#include "app/recognition/TextRecognizer.h"
#include "app/recognition/WordCheck.h"
#include "tests/recognition/RenderedLine.h"
#include "tests/support/CodeImage.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

QString read(const QImage &image)
{
    const auto text = TextRecognizer::recognizeImage(image);
    return text ? text->text : u"(failed)"_s;
}

/** Pairs of one character in its Simplified and its Traditional form. */
constexpr char16_t pairs[][2] = {{u'无', u'無'}, {u'给', u'給'}, {u'记', u'記'}, {u'会', u'會'},
                                 {u'库', u'庫'}, {u'兰', u'蘭'}, {u'问', u'問'}, {u'这', u'這'},
                                 {u'处', u'處'}, {u'与', u'與'}, {u'装', u'裝'}, {u'简', u'簡'}};

TEST(CodeReading, CodesAreReadInReadingOrderAndOnlyAsText)
{
    using ZXing::BarcodeFormat;
    const auto qr = [](const QString &content) { return Tessary::Test::codeImage(BarcodeFormat::QRCode, content, 3); };
    QString bytes;
    for (int i = 0; i < 40; ++i) {
        bytes.append(QChar(i * 37 % 256));
    }
    const struct
    {
        const char *name;
        QList<std::pair<QImage, QPoint>> codes;
        QString text;
        QStringList kinds;
    } cases[] = {
        {"a row beside a code a little higher, then one below",
         {{qr(u"right"_s), {300, 0}}, {qr(u"below"_s), {0, 200}}, {qr(u"left"_s), {0, 20}}},
         u"left\nright\nbelow"_s,
         {u"二维码"_s}},
        {"kinds in order, once each",
         {{qr(u"a"_s), {0, 0}},
          {Tessary::Test::codeImage(BarcodeFormat::Code128, u"b"_s, 2), {0, 200}},
          {qr(u"c"_s), {0, 300}}},
         u"a\nb\nc"_s,
         {u"二维码"_s, u"Code 128"_s}},
        {"controls that would act in a terminal go, line breaks stay",
         {{qr(u"one\r\ntwo\x7f\u0085"_s), {0, 0}}},
         u"one\ntwo"_s,
         {u"二维码"_s}},
        {"an escape sequence makes it data", {{qr(u"one\x1b[2J"_s), {}}}},
        {"binary data is no text",
         {{Tessary::Test::codeImage(BarcodeFormat::QRCode, bytes, 3, ZXing::CharacterSet::BINARY), {}}}},
    };
    for (const auto &run : cases) {
        QImage page(700, 450, QImage::Format_RGB888);
        page.fill(Qt::white);
        QPainter painter(&page);
        for (const auto &[code, at] : run.codes) {
            painter.drawImage(at, code);
        }
        painter.end();
        const Recognition found = CodeReading::read(page);
        EXPECT_EQ(found.text, run.text) << run.name;
        EXPECT_EQ(found.codeKinds, run.kinds) << run.name;
    }
}

TEST(ScriptChoice, GlyphsLookLikeTheirOwnForm)
{
    for (const int size : {12, 14, 16, 24}) {
        for (const auto &[simplified, traditional] : pairs) {
            for (const bool drawnTraditional : {false, true}) {
                const QChar shown(drawnTraditional ? traditional : simplified);
                const QString font = drawnTraditional ? u"Noto Sans CJK TC"_s : u"Noto Sans CJK SC"_s;
                const QImage image =
                    Tessary::Test::renderText({QString(shown)}, font, size).convertToFormat(QImage::Format_RGB888);
                const QPoint centre = LineRouting::inkBox(image, image.rect(), 255).center();
                const double likeness =
                    ScriptChoice::traditionalLikeness(image, centre, size, 255, simplified, traditional);
                EXPECT_EQ(likeness > 0, drawnTraditional) << QString(shown).toStdString() << " at " << size << " px";
            }
        }
    }
}

TEST(ScriptChoice, LinesAreWrittenInTheirOwnScript)
{
    using enum Script;
    // Traditional forms are the ones Taiwan and Hong Kong write (為, not 爲); 群 is written in both scripts.
    const QStringList lines{u"信件數 发给 ok"_s, u"信件数 發給 ok"_s, u"头发 ok"_s, u"头发"_s, u"为群组"_s};
    const QList<Script> scripts{Simplified, Traditional, Latin, Traditional, Traditional};
    EXPECT_EQ(ScriptChoice::inTheirScripts(lines, scripts, {{}, {}, {}, u"頭髮"_s, {}}),
              (QStringList{u"信件数 发给 ok"_s, u"信件數 發給 ok"_s, u"头发 ok"_s, u"頭髮"_s, u"為群組"_s}));
    // A Simplified reading (等面) outvoted by the other two (雙面): the glyph settles the script again, where it
    // clearly shows a form. Two characters read as one (鬧鐘 as 鐘) are compared at a wrong size: the form stands.
    // A label's glyphs settle its script also where no pass read them in either form (晶 for 疊).
    const struct
    {
        QString shown, read, voted;
        Script script, from = Simplified;
    } labels[] = {{u"雙面"_s, u"等面"_s, u"雙面"_s, Traditional},
                  {u"双面"_s, u"等面"_s, u"雙面"_s, Simplified},
                  {u"鬧鐘"_s, u"钟"_s, u"鐘"_s, Traditional},
                  {u"堆疊"_s, u"堆晶"_s, u"堆叠"_s, Traditional},
                  {u"罗马"_s, u"罗马"_s, u"羅马"_s, Simplified, Traditional}};
    for (const auto &c : labels) {
        const QImage label =
            Tessary::Test::renderText({c.shown}, u"Noto Sans CJK TC"_s, 14).convertToFormat(QImage::Format_RGB888);
        RecognitionPass pass{
            .lines = {PassLine{c.read, {}, LineRouting::inkBox(label, label.rect(), 255), {}, -1, 90}}};
        QList<Script> settled{c.from};
        ScriptChoice::settleTakenForms(label, pass, {c.voted}, settled);
        EXPECT_EQ(settled, QList<Script>{c.script}) << c.shown.toStdString();
    }
}

TEST(ScriptChoice, SmallLinesAreComparedAtTheirOwnEm)
{
    // At 9 px the engine places characters up to most of an em off, most of them late, and reads the dashes as 一:
    // an em taken from single steps is a third too large, and the glyphs compared at it lean the wrong way. At 10 px
    // it places them late and early by turns, each compared glyph on its neighbour's place. The Simplified pass reads
    // a Traditional-only character as one both scripts write (鄰 as 卷): the Traditional reading's alone is compared.
    const struct
    {
        QStringList texts; // drawn, read by the Simplified and by the Traditional pass
        int size;
        QList<float> off;
        qsizetype unread; // drawn units the engine left out at the start
        Script script;
    } lines[] = {{{u"-- 与之相关的设置。"_s, u"一 与之相关的设置。"_s, u"一 與之相關的設置。"_s},
                  9,
                  {0, 0, 4, 8, 5, 1, 6, 2, 7, 0},
                  1,
                  Script::Simplified},
                 {{u"不能设置子字段为 DEFAULT"_s, u"不能设置子字段为 DEFAULT"_s, u"不能設置子字段為 DEFAULT"_s},
                  10,
                  {0, 8, -8, 8, -8, 8, -8, 8},
                  0,
                  Script::Simplified},
                 {{u"開關 C 期望一個數字值"_s, u"开关 C 期望一个数字值"_s, u"開關 C 期望一個數字值"_s},
                  10,
                  {8, -8, 0, 0, 0, -8, 8, -8, 8, -8, 8, -8},
                  0,
                  Script::Traditional},
                 {{u"鄰接的元件 (至 900)"_s, u"卷接的元件 (至 900)"_s, u"鄰接的元件 (至 900)"_s},
                  12,
                  {},
                  0,
                  Script::Traditional}};
    for (const auto &c : lines) {
        QFont font = Tessary::Test::fontOf(
            c.script == Script::Simplified ? u"Noto Sans CJK SC"_s : u"Noto Sans CJK TC"_s, c.size);
        font.setHintingPreference(QFont::PreferVerticalHinting);
        const auto drawn = Tessary::Test::renderLine(c.texts[0], font);
        PassLine line{c.texts[1], drawn.centres.mid(c.unread),
                      LineRouting::inkBox(drawn.image, drawn.image.rect(), 255)};
        for (qsizetype i = 0; i < c.off.size(); ++i) {
            line.centres[i] += c.off[i];
        }
        line.words = {PassWord{line.text, line.box, 80}};
        PassLine other = line;
        other.text = other.words[0].text = c.texts[2];
        auto choice = ScriptChoice::choose(drawn.image, RecognitionPass{.lines = {line}},
                                           RecognitionPass{.lines = {other}}, RecognitionPass{});
        EXPECT_EQ(choice->scripts, QList<Script>{c.script}) << c.texts[0].toStdString();
    }
    // A label the Simplified pass read with a glyph as two (備 as 人备): its glyphs are compared at the places of the
    // reading that fits its box, and the Traditional pass, far surer, stands.
    const QImage label =
        Tessary::Test::renderText({u"備註"_s}, u"Noto Sans CJK TC"_s, 15).convertToFormat(QImage::Format_RGB888);
    const QRect box = LineRouting::inkBox(label, label.rect(), 255);
    const auto pass = [&](const QString &text, float confidence) {
        return RecognitionPass{.lines = {PassLine{text, QList<float>(text.size()), box, {{text, box, confidence}}}}};
    };
    EXPECT_EQ(ScriptChoice::choose(label, pass(u"人备注"_s, 60), pass(u"備註"_s, 90), RecognitionPass{})->scripts,
              QList<Script>{Script::Traditional});
}

TEST(ScriptChoice, EachLineKeepsItsOwnScript)
{
    const QStringList lines{u"请把这个文件发给我"_s, u"請把這個檔案發給我"_s};
    EXPECT_EQ(read(Tessary::Test::renderText(lines, u"Noto Sans CJK SC"_s, 20)), lines.join(u'\n'));
}

TEST(ReadingVote, TwoReadingsAgreeingAgainstTheThirdWin)
{
    const struct
    {
        QString own, first, second, expected;
    } cases[] = {
        {u"設定擋案"_s, u"設定檔案"_s, u"设定档案"_s, u"設定檔案"_s},               // misread; the scripts do not count
        {u"網路設"_s, u"網路設定"_s, u"网路设定"_s, u"網路設定"_s},                 // dropped at the end
        {u"關輸入管道"_s, u"閱閉輸入管道"_s, u"关闭输入管道"_s, u"關閉輸入管道"_s}, // dropped next to a misread
        {u"空白和行"_s, u"空白行"_s, u"空白行"_s, u"空白行"_s},                     // one too many
        {u"設定檔案"_s, u"設定擋案"_s, u"設定檔桉"_s, u"設定檔案"_s},               // the others disagree
        {u"均源遺失"_s, u"识源遗失"_s, u"資源遣失"_s, u"均源遺失"_s},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ReadingVote::voted(c.own, c.first, c.second), c.expected) << c.own.toStdString();
    }
    // Only Traditional forms come back (烏 for 扁; not 舟, nor 爾 over 尔), and only where the glyph shows them.
    const auto shows = [](qsizetype at, QChar, QChar) { return at < 3; };
    EXPECT_EQ(ReadingVote::withTraditionalForms(u"扁德穆尔特語扁"_s, u"烏德舟爾特語烏"_s, shows), u"烏德穆尔特語扁"_s);
}

TEST(WordCheck, ACharacterInNoWordTakesTheCandidateThatMakesOne)
{
    // First, while no engine is borrowed here: the word check borrows the same engines for their dictionaries.
    {
        // The other pass's reading gives its candidates though it wrote a 和 between two characters.
        const QString shown = u"超過的名稱會被忽略。如果列表"_s, read = u"超過的名稱會被忽咯。如果列表"_s;
        const auto drawn = Tessary::Test::renderLine(shown, Tessary::Test::fontOf(u"Noto Sans CJK TC"_s, 15));
        ScriptChoice::Choice choice{.scripts = {Script::Traditional},
                                    .traditionalText = {read},
                                    .otherReading = {u"超过的名称会被和忽略。如果列表"_s}};
        choice.pass.lines.append(
            PassLine{.text = read, .centres = drawn.centres, .box = LineRouting::inkBox(drawn.image, drawn.box, 255)});
        QStringList lines{read};
        WordCheck::mend(drawn.image, choice, {LineReading{}}, lines);
        EXPECT_EQ(lines.first().toStdString(), shown.toStdString());
    }
    const auto engine = TesseractPool::shared().borrow("chi_tra");
    ASSERT_TRUE(engine);
    const auto knows = [&](const QString &word) { return engine->IsValidWord(word.toUtf8().constData()) != 0; };
    const auto shows = [](qsizetype at, QChar) { return at == 0; }; // the glyph is against every other place
    const struct
    {
        QString line, expected;
        QStringList candidates;
    } cases[] = {
        {u"均源"_s, u"資源"_s, {u"均資"_s, u"源"_s}},
        {u"遣漏命令"_s, u"遺漏命令"_s, {u"寸遺"_s}},
        {u"資源"_s, u"資源"_s, {u"均"_s}},
        {u"中目"_s, u"中目"_s, {{}, u"止"_s}},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(WordCheck::mended(c.line, c.candidates, knows, shows), c.expected) << c.line.toStdString();
    }
    // A character no model read: the dictionary proposes it, and only its glyph takes it, drawn as the desktop or a
    // browser draws it (hinted or not); a glyph of another font fits the drawings too poorly to change anything.
    EXPECT_TRUE(DictionaryCandidates::proposed(u"街突"_s, 0, *engine.get()).contains(u'衝'));
    const struct
    {
        QString drawn, family;
        QFont::HintingPreference hinting;
        QChar expected;
    } glyphs[] = {{u"衝突"_s, u"Noto Sans CJK TC"_s, QFont::PreferFullHinting, u'衝'},
                  {u"街突"_s, u"Noto Sans CJK TC"_s, QFont::PreferFullHinting, {}},
                  {u"衝突"_s, u"Noto Sans CJK TC"_s, QFont::PreferNoHinting, u'衝'},
                  {u"衝突"_s, u"Noto Serif CJK TC"_s, QFont::PreferFullHinting, {}}};
    for (const auto &g : glyphs) {
        QFont font = Tessary::Test::fontOf(g.family, 13);
        font.setHintingPreference(g.hinting);
        const auto line = Tessary::Test::renderLine(g.drawn, font);
        const QPoint centre(int(line.centres[0]), line.box.center().y());
        const QImage ink = ScriptChoice::glyphInk(line.image, centre, 13, 255);
        EXPECT_EQ(DictionaryCandidates::fittest(ink, 13, u'街', u"沖衝"_s), g.expected) << g.drawn.toStdString();
    }
}

TEST(ChineseRecovery, LabelsTesseractMissedAreReadByTheLineModelInTheirScript)
{
    const QString sc = u"Noto Sans CJK SC"_s, tc = u"Noto Sans CJK TC"_s;
    const struct
    {
        QString text, font, asRead;
        float confidence;
        QString expected;
    } cases[] = {{u"應用程式設定"_s, tc, {}, 0, u"應用程式設定"_s}, // no pass found a line
                 {u"网络设置"_s, sc, {}, 0, u"网络设置"_s},
                 {u"暫停"_s, tc, {}, 0, u"暫停"_s},                  // read 暂停: the glyph tells
                 {u"網路連線"_s, tc, u"Shame"_s, 30, u"網路連線"_s}, // read as Latin letters, unsure
                 {u"网络设置"_s, sc, u"FRX"_s, 90, u"FRX"_s},        // a confident Latin reading stands
                 {u"   "_s, sc, {}, 0, {}}};
    for (const auto &c : cases) {
        const QImage image = Tessary::Test::renderText({c.text}, c.font, 14).convertToFormat(QImage::Format_RGB888);
        ScriptChoice::Choice choice;
        if (!c.asRead.isEmpty()) {
            choice.pass.lines = {
                PassLine{c.asRead, {}, LineRouting::inkBox(image, image.rect(), 255), {}, -1, c.confidence}};
            choice.scripts = {Script::Latin};
            choice.traditionalText = {QString()};
        }
        ChineseRecovery::recover(image, choice);
        QStringList lines;
        for (const PassLine &line : choice.pass.lines) {
            lines.append(line.text);
        }
        EXPECT_EQ(ScriptChoice::inTheirScripts(lines, choice.scripts, {}).join(u'\n'), c.expected)
            << c.text.toStdString();
    }
}

TEST(LabelCells, LabelsHoldAsManyCharactersAsTheirInkHasCells)
{
    const struct
    {
        QString text;
        QStringList asRead;                              // one line each, parted where its cells meet
    } cases[] = {{u"標準輸出"_s, {u"標輸出"_s}},         // a character dropped
                 {u"幾內亞法郎"_s, {u"幾內亞法人郎"_s}}, // a glyph read as two
                 {u"聖克里斯多福及尼維斯"_s, {u"聖克里斯多福有太尼維斯"_s}}, // ... beside a character
                 {u"關鍵字"_s, {u"關"_s, u"鍵字"_s}},                        // found as two lines
                 {u"土耳其共和国"_s, {u"土耳其共和"_s}}}; // the last glyph outside the box: compared at its own place
    for (auto c : cases) {
        const QImage ink =
            Tessary::Test::renderText({c.text}, u"Noto Sans CJK TC"_s, 13).convertToFormat(QImage::Format_RGB888);
        const LabelCells::Cells cells = LabelCells::cellsOf(ink, ink.rect(), 255);
        ScriptChoice::Choice choice{.scripts = QList<Script>(c.asRead.size(), Script::Traditional)};
        for (qsizetype i = 0, from = 0; i < c.asRead.size(); from += c.asRead[i++].size()) {
            const qsizetype last = std::min(from + c.asRead[i].size(), cells.count()) - 1;
            const QRect box(QPoint(cells.lefts.value(from), cells.top), QPoint(cells.rights.value(last), cells.bottom));
            choice.pass.lines.append({c.asRead[i], {}, box});
        }
        LabelCells::complete(ink, choice, c.asRead);
        EXPECT_EQ(ScriptChoice::inTheirScripts(c.asRead, choice.scripts, {}).join(u'\n'), c.text) << cells.count();
    }
}

TEST(LargerReading, GlyphsOfSmallLabelsTheirReadingDoesNotShowAreReadAgain)
{
    const struct
    {
        QString drawn, font, asRead;
        Script script;
    } cases[] = {{u"埃及鎊"_s, u"Noto Sans CJK TC"_s, u"埃及鉻"_s, Script::Traditional}, // 鎊: no look-alike's drawing
                 {u"切換至鏈模型"_s, u"Noto Sans CJK TC"_s, u"切換至鏈模型"_s, Script::Traditional},
                 {u"苏丹镑"_s, u"Noto Sans CJK SC"_s, u"苏丹锈"_s, Script::Simplified}};
    for (const auto &c : cases) {
        const QImage image = Tessary::Test::renderText({c.drawn}, c.font, 12).convertToFormat(QImage::Format_RGB888);
        ScriptChoice::Choice choice{.scripts = {c.script}};
        choice.pass.lines = {PassLine{c.asRead, {}, LineRouting::inkBox(image, image.rect(), 255)}};
        QStringList lines{c.asRead};
        LargerReading::mend(image, choice, lines);
        EXPECT_EQ(lines, QStringList{c.drawn}) << c.asRead.toStdString();
    }
}

TEST(ImagePreparation, ShortLabelsAtDesktopSizes)
{
    const struct
    {
        QString text, font;
    } labels[] = {{u"顯示隱藏檔案"_s, u"Noto Sans CJK TC"_s},
                  {u"鍵盤快捷鍵"_s, u"Noto Sans CJK TC"_s},
                  {u"网络设置"_s, u"Noto Sans CJK SC"_s},
                  {u"打开最近的文件"_s, u"Noto Sans CJK SC"_s}};
    for (const int size : {12, 14}) {
        for (const auto &label : labels) {
            EXPECT_EQ(read(Tessary::Test::renderText({label.text}, label.font, size)), label.text) << size << " px";
        }
    }
    // Rows of light ink across 警告 at 15-17 px part it: found as two lines, they are one.
    for (const int size : {15, 16}) {
        EXPECT_EQ(read(Tessary::Test::renderText({u"警告"_s}, u"Noto Sans CJK TC"_s, size)), u"警告"_s) << size;
    }
}

TEST(ImagePreparation, FramesAroundTheSelectionAreCut)
{
    const QImage text = Tessary::Test::renderText({u"Tessary turns text"_s}, u"DejaVu Sans"_s, 18);
    const struct
    {
        const char *name;
        QColor outside, frame;
        QMargins frameWidths, bar; // the bar: a strip of the frame's colour inside it, on the panel's edge
        std::pair<int, int> rows, columns;
    } cases[] = {
        // A margin of the text's background, a one-pixel frame and a panel around it, as a wide selection takes in.
        {"panel", {0xe8, 0xe8, 0xec}, {0x9a, 0x9a, 0x9a}, {12, 12, 12, 12}, {1, 1, 1, 1}, {13, 13}, {13, 13}},
        // A dark window edge of uneven width, the light panel inside it with a title bar of its own along the top.
        {"window", {0x20, 0x20, 0x20}, {0xe0, 0xe0, 0xe0}, {10, 12, 4, 7}, {0, 14, 0, 0}, {26, 7}, {10, 4}},
    };
    for (const auto &c : cases) {
        const QRect white(QPoint(c.frameWidths.left() + c.bar.left(), c.frameWidths.top() + c.bar.top()),
                          text.size() + QSize(14, 14));
        QImage framed(white.marginsAdded(c.bar).size().grownBy(c.frameWidths), QImage::Format_RGB32);
        framed.fill(c.outside);
        QPainter painter(&framed);
        painter.fillRect(white.marginsAdded(c.bar), c.frame);
        painter.fillRect(white, Qt::white);
        painter.drawImage(white.topLeft() + QPoint(7, 7), text);
        painter.end();
        const QImage rgb = framed.convertToFormat(QImage::Format_RGB888);
        EXPECT_EQ(ImagePreparation::edgeBands(rgb, false), c.rows) << c.name;
        EXPECT_EQ(ImagePreparation::edgeBands(rgb, true), c.columns) << c.name;
        EXPECT_EQ(read(framed), u"Tessary turns text"_s) << c.name;
    }
    // A dark page's header bar with a tab on it stays (a title could stand there) and is not read as a character.
    const QColor ground(0x1e, 0x1e, 0x1e);
    const QStringList lines{u"当从子目录运行，排除目录之外的变更并显示相对路径"_s,
                            u"滚动窗口的内容要如何与滚动条进行协调排列。"_s};
    QImage page(752, 174, QImage::Format_RGB32);
    page.fill(ground);
    QPainter painter(&page);
    painter.fillRect(0, 0, page.width(), 22, QColor(0x2b, 0x52, 0x78));
    painter.fillRect(20, 8, 60, 6, ground);
    painter.drawImage(14, 40, Tessary::Test::renderText(lines, u"Noto Sans CJK SC"_s, 20, QColor(0xd4d4d4), ground));
    painter.end();
    EXPECT_EQ(read(page), lines.join(u'\n'));
    // Grey on grey, as disabled labels are drawn.
    EXPECT_EQ(read(Tessary::Test::renderText({u"Disabled label"_s}, u"DejaVu Sans"_s, 16, QColor(0x9c9c9c),
                                             QColor(0xc8c8c8))),
              u"Disabled label"_s);
}

TEST(LineIndentation, MonospacedLinesKeepTheirIndentation)
{
    // Runs of spaces inside a line keep their width too, and blank lines stay.
    const QStringList indented{u"#  the sum of both"_s,
                               u"    total = compute(first, second)"_s,
                               u""_s,
                               u"    if total:"_s,
                               u"        return total"_s,
                               u""_s,
                               u""_s,
                               u"return None"_s};
    const QStringList proportional{u"A sentence of plain text"_s, u"and another one"_s};
    for (const int size : {13, 18}) {
        EXPECT_EQ(read(Tessary::Test::renderText(indented, u"DejaVu Sans Mono"_s, size)), indented.join(u'\n'))
            << size << " px";
    }
    EXPECT_EQ(read(Tessary::Test::renderText(proportional, u"DejaVu Sans"_s, 16)), proportional.join(u'\n'));
    // Light code on a washed-out dark ground, small: faint leading underscores, positions a pixel off.
    const QStringList faint{u"#define grow(h) \\"_s, u"  __extension__ \\"_s, u"    ({ int *__p = h; })"_s};
    const auto indents = [](const QString &text) {
        QList<qsizetype> spaces;
        for (const QString &line : text.split(u'\n')) {
            spaces.append(line.size() - line.trimmed().size());
        }
        return spaces;
    };
    for (const int size : {12, 13}) {
        const QImage image = Tessary::Test::renderText(faint, u"DejaVu Sans Mono"_s, size, 0xb2b2b2, 0x5a5a5a);
        EXPECT_EQ(indents(read(image)), indents(faint.join(u'\n'))) << read(image).toStdString();
    }
    // Small CJK monospaced glyphs the engine places up to half a cell off: the ends of the lines give the cell.
    const QStringList offCells{u"while queue:"_s, u"    del item"_s, u"    queue.flush()"_s};
    const QImage noto = Tessary::Test::renderText(offCells, u"Noto Sans Mono CJK SC"_s, 12);
    EXPECT_EQ(indents(read(noto)), indents(offCells.join(u'\n'))) << read(noto).toStdString();
    // Drawn unhinted, as a browser draws it, light on dark: the engine's positions stray around a cell of 7.5 px.
    const QStringList json{u"{"_s, u"  \"name\": \"OutputType\","_s, u"  \"value\": \"Library\","_s, u"}"_s};
    const QImage unhinted =
        Tessary::Test::renderText(json, u"Noto Sans Mono CJK SC"_s, 15, 0xd4d4d4, 0x1e1e1e, QFont::PreferNoHinting);
    EXPECT_EQ(indents(read(unhinted)), indents(json.join(u'\n'))) << read(unhinted).toStdString();
    // The same lines with positions too far off for any grid and straight quotes read curly: the ink gives the cell.
    QImage stacked(300, 40 * int(json.size()), QImage::Format_RGB888);
    stacked.fill(Qt::white);
    RecognitionPass strayed;
    QStringList curly;
    QPainter painter(&stacked);
    for (qsizetype i = 0; i < json.size(); ++i) {
        auto line = Tessary::Test::renderLine(json[i], Tessary::Test::fontOf(u"Noto Sans Mono CJK SC"_s, 15));
        painter.drawImage(0, 40 * int(i), line.image);
        QList<float> centres = line.centres.mid(json[i].size() - json[i].trimmed().size());
        for (qsizetype k = 0; k < centres.size(); ++k) {
            centres[k] += float(k % 4 == 3 ? 0.45 * line.pitch : 0);
        }
        curly.append(json[i].trimmed().replace(u"\": \""_s, u"\": “"_s));
        strayed.lines.append(
            {curly.back(), centres, line.box.translated(0, 40 * int(i)), {}, line.baseline + 40 * int(i)});
    }
    painter.end();
    EXPECT_EQ(LineIndentation::indented(stacked, curly, strayed), json);
    // A space the engine wrote between two characters a cell apart goes.
    auto swap = Tessary::Test::renderLine(u"std::swap(a, b);"_s, Tessary::Test::fontOf(u"DejaVu Sans Mono"_s, 15));
    swap.centres.insert(4, (swap.centres[3] + swap.centres[4]) / 2);
    const RecognitionPass pass{{}, {PassLine{u"std: :swap(a, b);"_s, swap.centres, swap.box, {}, swap.baseline, 90}}};
    EXPECT_EQ(LineIndentation::indented(swap.image, {pass.lines[0].text}, pass), QStringList{u"std::swap(a, b);"_s});
    // The line model's full-width marks are narrow ones in monospaced text, unless the line holds Chinese, and its
    // curly quotes straight beside straight ones.
    EXPECT_EQ(LineIndentation::indented(swap.image, {u"std::swap(a，b）;"_s}, pass),
              QStringList{u"std::swap(a, b);"_s});
    EXPECT_EQ(LineIndentation::indented(swap.image, {u"std::swap(“a\", b);"_s}, pass),
              QStringList{u"std::swap(\"a\", b);"_s});
    EXPECT_EQ(LineIndentation::indented(swap.image, {u"交换（a，b）"_s}, pass), QStringList{u"交换（a，b）"_s});
}

TEST(LookAlikeGlyphs, OnesAndEllsAreReadFromTheirFoot)
{
    // Every "l" and "1" taken for the other, and an "l" for an "L": told apart where the font's sure letter l (in
    // "self") shows a serif that an L lacks, as DejaVu's does, or else by the length of the foot. A straight quote read
    // curly, a small x read as a capital and twice, a dollar sign as an S.
    const QString shown = u"unsigned long l = x1 + l1; i = 10; self.list(\"$s\")"_s;
    const QString misread = u"unsigned 1ong 1 = Xxl + 1l; i = l0; self.List(“Ss\")"_s;
    for (const QString &family : {u"DejaVu Sans Mono"_s, u"Noto Sans Mono CJK SC"_s}) {
        for (const int size : {12, 14, 18}) {
            // An l without a serif (Noto's; DejaVu's too faint at 12 px) ends in a tail shorter than an L's bar, too
            // short to tell in Noto's 6 px cells at 12 px.
            const bool tells = family.startsWith(u"DejaVu") || size > 12;
            QString expected = tells ? shown : QString(shown).replace(u"list"_s, u"List"_s);
            if (size < 18) { // the x-height and the capitals' too close to tell the case or the dollar sign's bar
                expected.replace(u"x1"_s, u"X1"_s).replace(u"$s"_s, u"Ss"_s);
            }
            const auto drawn = Tessary::Test::renderLine(shown, Tessary::Test::fontOf(family, size));
            RecognitionPass pass;
            QList<float> centres = drawn.centres;
            centres.insert(19, centres[18] + float(drawn.pitch) / 5);
            pass.lines = {PassLine{misread, centres, drawn.box, {}, drawn.baseline, 80}};
            LookAlikeGlyphs::settle(drawn.image, pass);
            GlyphHeights::settle(drawn.image, pass);
            EXPECT_EQ(pass.lines[0].text.toStdString(), expected.toStdString())
                << family.toStdString() << " at " << size;
        }
    }
    // Both engines read a lone "l" as a digit.
    const QStringList code{u"unsigned long l;"_s, u"return l - i;"_s};
    for (const int size : {15, 18}) {
        EXPECT_EQ(read(Tessary::Test::renderText(code, u"DejaVu Sans Mono"_s, size)), code.join(u'\n')) << size;
    }
}

TEST(MissedLines, RowsOfQuoteMarksReadAsLettersComeBack)
{
    // The engines read a lone """ as letters ("wa", "nun"), and a shell case's ";;" too or find no line there:
    // dots over commas; a brace closing a block ("i," for "},") too. A row of letters with dots ("ij"), of colons or
    // of a digit stays as read.
    for (const QString &shown : {u"\"\"\""_s, u"''"_s, u";;"_s, u"ij"_s, u":;"_s, u"},"_s, u"{"_s, u"1,"_s}) {
        for (const int size : {11, 13, 18}) {
            const QFont font = Tessary::Test::fontOf(u"DejaVu Sans Mono"_s, size);
            const auto code = Tessary::Test::renderLine(u"def quote(self):"_s, font);
            const auto marks = Tessary::Test::renderLine(shown, font);
            const int below = code.image.height();
            QImage image(code.image.width(), 2 * below, QImage::Format_RGB888);
            image.fill(Qt::white);
            QPainter(&image).drawImage(0, 0, marks.image);
            QPainter(&image).drawImage(0, below, code.image);
            const PassLine misread{u"wa"_s, {}, marks.box, {}, marks.baseline, 40};
            const PassLine found{u"def quote(self):"_s, code.centres, code.box.translated(0, below), {}, -1, 90};
            for (const bool missed : {false, shown == u";;"_s}) {
                ScriptChoice::Choice choice{{{}, {misread, found}}, {Script::Latin, Script::Latin}, {{}, {}}, {{}, {}}};
                if (missed) {
                    choice.removeLine(0);
                }
                MissedLines::add(image, choice);
                const QString first = choice.pass.lines.size() == 2 ? choice.pass.lines[0].text : u"wa"_s;
                // A brace row (not a "1,") too, surely where the brace's point sticks out 2 px (18 px hinted).
                const bool stays = shown.contains(u'i') || shown.contains(u':') || shown == u"1,"_s;
                const bool unsure = (shown.contains(u'{') || shown.contains(u'}')) && size < 18 && first == u"wa"_s;
                EXPECT_EQ(first, stays || unsure ? u"wa"_s : shown) << shown.toStdString() << size << missed;
            }
        }
    }
    // Rows no pass finds at all: a lone closing quote (its two ticks run together at 16 px), a map's "=:" key.
    const QStringList opts{u"    --lines"_s, u"    --version"_s, u"\""_s,
                           u"COMPREPLY=( $(compgen -W \"${OPTS[*]}\") )"_s};
    const QStringList map{u"type: map"_s,
                          u"mapping:"_s,
                          u"  =:"_s,
                          u"    type: text"_s,
                          u"build_requires: *requires_common"_s,
                          u"requires:       *requires_common"_s};
    for (const QStringList &code : {opts, map}) {
        const QImage image = Tessary::Test::renderText(code, u"Noto Sans Mono CJK SC"_s, 16, 0xd4d4d4, 0x1e1e1e);
        EXPECT_EQ(read(image).toStdString(), code.join(u'\n').toStdString());
    }
    // Rules of a sign over and over across a comment, read as letters ("SEES", "RnRn"), as many as drawn.
    const QString stars(75, u'*'), bars = QString(74, u'=') + u" */"_s;
    for (const auto &[rule, size] : {std::pair{stars, 13}, std::pair{stars, 17}, std::pair{bars, 17}}) {
        const QStringList comment{u"/* Execution Slots:       SLOT23"_s, u"   Instruction Type:      M"_s, rule,
                                  u"#define Q6_P_vraddub_PP 1"_s};
        const QString text = read(Tessary::Test::renderText(comment, u"DejaVu Sans Mono"_s, size));
        EXPECT_TRUE(text.split(u'\n').contains(rule)) << text.toStdString() << size;
    }
}

} // namespace
