#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

#include <opencv2/dnn/all_layers.hpp>

#include <QFontMetrics>

#include "app/recognition/DepthwiseConvolution.h"
#include "app/recognition/LastAxisSoftmax.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/NeuralLineRecognizer.h"
#include "app/recognition/RecognitionPass.h"
#include "tests/recognition/RenderedLine.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Script = LineRouting::Script;

namespace {

/** Lines drawn as the test support draws them, with the box of every line, and a pass that "read" them. */
struct Screen
{
    QImage image; // RGB888
    QList<QRect> boxes;
};

Screen draw(const QStringList &lines, const QString &family, int size)
{
    Screen screen;
    screen.image = Tessary::Test::renderText(lines, family, size).convertToFormat(QImage::Format_RGB888);
    QFont font(family);
    font.setPixelSize(size);
    const QFontMetrics metrics(font);
    const int margin = size / 2 + 4;
    const int lineHeight = metrics.lineSpacing() + size / 3;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        screen.boxes.append(
            QRect(margin, margin + int(i) * lineHeight, metrics.horizontalAdvance(lines[i]), metrics.height()));
    }
    return screen;
}

RecognitionPass passOf(const Screen &screen, const QStringList &texts, float confidence)
{
    RecognitionPass pass;
    for (qsizetype i = 0; i < texts.size(); ++i) {
        PassLine line;
        line.text = texts[i];
        line.box = screen.boxes[i];
        line.confidence = confidence;
        pass.lines.append(line);
    }
    return pass;
}

TEST(LineRouting, TheLineModelReadsOnlyWhereTesseractFailsOnChinese)
{
    ASSERT_TRUE(NeuralLineRecognizer::isAvailable());
    const Screen chinese = draw({u"今天的天气很好"_s}, u"Noto Sans CJK SC"_s, 24);
    // Tesseract turned the Chinese into Latin letters and is unsure of them.
    const RecognitionPass garbled = passOf(chinese, {u"AE RH BEF"_s}, 40);
    EXPECT_EQ(LineRouting::refinedLines(chinese.image, garbled, Script::Latin), QStringList{u"AE RH BEF"_s});
    EXPECT_EQ(LineRouting::refinedLines(chinese.image, garbled, Script::Simplified), QStringList{u"今天的天气很好"_s});
    EXPECT_EQ(LineRouting::refinedLines(chinese.image, garbled, Script::Traditional), QStringList{u"今天的天气很好"_s});

    // An unsure Latin line that really is Latin stays as Tesseract read it: it reads Latin better.
    const Screen latin = draw({u"Hello world"_s}, u"DejaVu Sans"_s, 24);
    EXPECT_EQ(LineRouting::refinedLines(latin.image, passOf(latin, {u"HeIIo worId"_s}, 40), Script::Simplified),
              QStringList{u"HeIIo worId"_s});
}

TEST(LineRouting, TextWithoutChineseHasNoFullWidthPunctuation)
{
    // A monospaced comma and its space take the room of a full-width comma; in code it is the ASCII one.
    const Screen code = draw({u"grow(OBSTACK, aint);"_s}, u"DejaVu Sans Mono"_s, 15);
    const RecognitionPass read = passOf(code, {u"grow(OBSTACK，aint)；"_s}, 80);
    EXPECT_EQ(LineRouting::refinedLines(code.image, read, Script::Latin), QStringList{u"grow(OBSTACK, aint);"_s});
}

TEST(LineRouting, ConfidentSimplifiedLinesStandOnlyInLongerText)
{
    const Screen one = draw({u"今天的天气很好"_s}, u"Noto Sans CJK SC"_s, 24);
    // A label alone is always read again: the choice of script rests on too little text.
    EXPECT_EQ(LineRouting::refinedLines(one.image, passOf(one, {u"今天的天氣很好"_s}, 95), Script::Simplified),
              QStringList{u"今天的天气很好"_s});

    const Screen two = draw({u"今天的天气很好"_s, u"我们一起去公园"_s}, u"Noto Sans CJK SC"_s, 24);
    const QStringList asRead{u"今天的天氣很好"_s, u"我們一起去公園"_s};
    EXPECT_EQ(LineRouting::refinedLines(two.image, passOf(two, asRead, 95), Script::Simplified), asRead);
    EXPECT_EQ(LineRouting::refinedLines(two.image, passOf(two, asRead, 80), Script::Simplified),
              (QStringList{u"今天的天气很好"_s, u"我们一起去公园"_s}));
    // Traditional text keeps Tesseract's Traditional reading of lines it is sure of.
    EXPECT_EQ(LineRouting::refinedLines(two.image, passOf(two, asRead, 80), Script::Traditional), asRead);
}

TEST(LineRouting, AWordTesseractIsUnsureOfIsReadAgainInALineItIsSureOf)
{
    const QString shown = u"请打开 GtkIconSize 设置窗口"_s;
    const Screen screen = draw({shown, u"我们一起去公园"_s}, u"Noto Sans CJK SC"_s, 24);
    RecognitionPass pass = passOf(screen, {u"请打开 GtkIconSize 设置窗日"_s, u"我们一起去公园"_s}, 95);
    const QFontMetrics metrics(Tessary::Test::fontOf(u"Noto Sans CJK SC"_s, 24));
    const QRect word = screen.boxes.first().adjusted(metrics.horizontalAdvance(shown.chopped(2)), 0, 0, 0);
    pass.lines[0].words = {PassWord{u"窗日"_s, word, 30, {}}};
    EXPECT_EQ(LineRouting::refinedLines(screen.image, pass, Script::Simplified).first(), shown);
}

TEST(LineRouting, ReadingsAgainKeepTheirLinesPlaces)
{
    const Screen screen = draw({u"打开设置窗口"_s, u"Second line here"_s, u"保存所有文件"_s, u"fourth line"_s},
                               u"Noto Sans CJK SC"_s, 22);
    const RecognitionPass pass = passOf(screen, {u"x"_s, u"Second line here"_s, u"y"_s, u"fourth line"_s}, 60);
    EXPECT_EQ(LineRouting::refinedLines(screen.image, pass, Script::Simplified),
              (QStringList{u"打开设置窗口"_s, u"Second line here"_s, u"保存所有文件"_s, u"fourth line"_s}));
}

TEST(LineRouting, LongLinesAreReadWhole)
{
    // Far wider than one reading of the network: read in pieces cut between characters.
    const QString text =
        u"这是一行很长的中文文字，用来检查分段读取时不会丢失或重复任何一个字符，每一段都在空白处切开，直到最后一个字"_s;
    const auto line = Tessary::Test::renderLine(text, Tessary::Test::fontOf(u"Noto Sans CJK SC"_s, 20));
    const QRect ink = LineRouting::inkBox(line.image, line.image.rect(), 255);
    // At least two pieces, squeezed to 0.6 of the width: more than 1600 px at the model's height.
    ASSERT_GT(ink.width() * 48 / ink.height(), 2000);
    const LineReading reading = NeuralLineRecognizer::read(line.image.copy(ink));
    EXPECT_EQ(reading.text.toStdString(), text.toStdString());
    ASSERT_EQ(reading.centres.size(), reading.text.size());
    for (qsizetype i = 1; i < reading.centres.size(); ++i) {
        EXPECT_GT(reading.centres[i], reading.centres[i - 1]) << "at " << i;
    }
}

TEST(LineRouting, TheLineModelsOwnDepthwiseConvolutionMatchesOpenCVs)
{
    DepthwiseConvolution::install();
    for (const auto &[stride, width] : {std::pair{1, 13}, {2, 13}, {1, 3}, {2, 6}}) {
        cv::dnn::LayerParams params;
        const int weightsShape[] = {3, 1, 5, 5}, inputShape[] = {2, 3, 7, width}, five[] = {5, 5}, two[] = {2, 2},
                  strides[] = {stride, 1};
        std::vector<cv::Mat> inputs{cv::Mat(4, inputShape, CV_32F)}, expected(1), actual(1), none;
        params.blobs = {cv::Mat(4, weightsShape, CV_32F), cv::Mat(1, 3, CV_32F)};
        cv::randu(params.blobs[0], -1, 1), cv::randu(params.blobs[1], -1, 1), cv::randu(inputs[0], -1, 1);
        params.set("kernel_size", cv::dnn::DictValue::arrayInt(five, 2));
        params.set("pad", cv::dnn::DictValue::arrayInt(two, 2)), params.set("group", 3), params.set("num_output", 3);
        params.set("stride", cv::dnn::DictValue::arrayInt(strides, 2)), params.set("bias_term", true);
        const int outShape[] = {2, 3, (7 - 1) / stride + 1, width};
        expected[0].create(4, outShape, CV_32F), actual[0].create(4, outShape, CV_32F);
        const auto reference = cv::dnn::ConvolutionLayer::create(params);
        reference->finalize(inputs, expected), reference->forward(inputs, expected, none);
        cv::dnn::LayerFactory::createLayerInstance("Convolution", params)->forward(inputs, actual, none);
        EXPECT_LT(cv::norm(expected[0], actual[0], cv::NORM_INF), 1e-5) << "stride " << stride << ", width " << width;
    }
}

TEST(LineRouting, TheLineModelsOwnSoftmaxIsOpenCVsToTheBit)
{
    LastAxisSoftmax::install();
    for (const auto &[shape, axis] : {std::pair{std::vector{1, 7, 6625}, 2}, {{1, 2, 5, 5}, -1}, {{1, 3, 4}, 1}}) {
        cv::dnn::LayerParams params;
        params.set("axis", axis);
        std::vector<cv::Mat> inputs{cv::Mat(shape, CV_32F)}, expected{inputs[0].clone()}, actual{inputs[0].clone()};
        cv::randn(inputs[0], 0, 8);
        for (auto &&[layer, outputs] :
             {std::pair{cv::Ptr<cv::dnn::Layer>(cv::dnn::SoftmaxLayer::create(params)), &expected},
              {cv::dnn::LayerFactory::createLayerInstance("Softmax", params), &actual}}) {
            std::vector<cv::dnn::MatShape> outputShapes, internalShapes;
            layer->getMemoryShapes({shape}, 1, outputShapes, internalShapes);
            std::vector<cv::Mat> internals(internalShapes.size());
            std::transform(internalShapes.cbegin(), internalShapes.cend(), internals.begin(),
                           [](const cv::dnn::MatShape &internal) { return cv::Mat(internal, CV_32F); });
            layer->finalize(cv::InputArrayOfArrays(inputs), cv::OutputArrayOfArrays(*outputs));
            layer->forward(inputs, *outputs, internals);
        }
        EXPECT_EQ(cv::norm(expected[0], actual[0], cv::NORM_INF), 0) << "axis " << axis;
    }
}

TEST(RecognitionPass, PlacesEveryCharacterLeftToRight)
{
    const QString code = u"int value = compute(first, second);"_s;
    const auto line = Tessary::Test::renderLine(code, Tessary::Test::fontOf(u"DejaVu Sans Mono"_s, 18));
    const auto pass = runRecognitionPass("eng", line.image);
    ASSERT_TRUE(pass.hasValue());
    ASSERT_EQ(pass->lines.size(), 1);
    const PassLine &read = pass->lines.first();
    EXPECT_EQ(read.text, code);
    ASSERT_EQ(read.centres.size(), read.text.size());
    for (qsizetype i = 0; i < read.text.size(); ++i) {
        EXPECT_NEAR(read.centres[i], line.centres[i], line.pitch) << "at " << i;
    }
    EXPECT_NEAR(read.baseline, line.baseline, 2);
}

TEST(RecognitionPass, RepairsPositionsTheEngineGotWrong)
{
    // As Tesseract placed "get(key name," on a screen with a pitch of 9 px: "y" at the "a", "n" out of order.
    const QList<PlacedSymbol> symbols{{u"("_s, 214.5f}, {u"k"_s, 224.5f}, {u"e"_s, 232.5f}, {u"y"_s, 267.5f},
                                      {u"n"_s, 258.0f}, {u"a"_s, 267.5f}, {u"m"_s, 277.0f}, {u"e"_s, 286.0f}};
    const QList<float> centres = characterCentres(u"(key name"_s, symbols);
    ASSERT_EQ(centres.size(), 9);
    const QList<float> drawn{214.5f, 223.5f, 232.5f, 241.5f, 250.5f, 259.5f, 268.5f, 277.5f, 286.5f};
    for (qsizetype i = 0; i < centres.size(); ++i) {
        EXPECT_NEAR(centres[i], drawn[i], 3.0) << "at " << i;
    }
    // Symbols that do not spell the text give no positions at all.
    EXPECT_TRUE(characterCentres(u"(key"_s, {{u"("_s, 1}, {u"x"_s, 2}}).isEmpty());
}

TEST(RecognitionPass, StopsWhenAskedTo)
{
    const auto line =
        Tessary::Test::renderLine(u"Nobody waits for this reading"_s, Tessary::Test::fontOf(u"DejaVu Sans"_s, 18));
    const std::atomic<bool> stop = true;
    EXPECT_FALSE(runRecognitionPass("eng", line.image, &stop).hasValue());
    const std::atomic<bool> go = false;
    EXPECT_TRUE(runRecognitionPass("eng", line.image, &go).hasValue());
}

} // namespace
