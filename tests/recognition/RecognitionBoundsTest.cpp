// What keeps a recognition bounded: files that claim to be larger than any screen, transparency, a deadline,
// cancellation, and engines released while idle.

#include <gtest/gtest.h>

#include <QBuffer>
#include <QFile>
#include <QPainter>
#include <QTemporaryDir>
#include <QtConcurrent/QtConcurrentRun>

#include "app/recognition/RecognitionStop.h"
#include "app/recognition/TextRecognizer.h"
#include "tests/recognition/RenderedLine.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

QByteArray encoded(const QImage &image, const char *format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, format));
    return bytes;
}

/** A tiny JPEG whose frame header (SOF0) claims side × side pixels. */
QByteArray jpegClaiming(int side)
{
    QImage pixel(8, 8, QImage::Format_RGB32);
    pixel.fill(Qt::white);
    QByteArray jpeg = encoded(pixel, "JPEG");
    const qsizetype frame = jpeg.indexOf("\xff\xc0");
    EXPECT_GE(frame, 0);
    // Marker, length (2), precision (1), then height and width, big-endian.
    for (const qsizetype at : {frame + 5, frame + 7}) {
        jpeg[at] = char(side >> 8);
        jpeg[at + 1] = char(side & 0xff);
    }
    return jpeg;
}

/** Black text whose background is fully transparent, as browsers and editors copy it. */
QImage transparentText(const QString &text)
{
    const QImage drawn =
        Tessary::Test::renderText({text}, u"DejaVu Sans"_s, 22).convertToFormat(QImage::Format_Grayscale8);
    QImage image(drawn.size(), QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            image.setPixel(x, y, qRgba(0, 0, 0, 255 - drawn.pixelColor(x, y).red()));
        }
    }
    return image;
}

QString textOf(const Result<Recognition, RecognitionError> &result)
{
    return result ? result->text : u"<error: "_s + result.error().description + u'>';
}

TEST(RecognitionBoundsTest, RefusesImagesLargerThanAnyScreenFromTheirHeader)
{
    QTemporaryDir dir;
    QImage blankMono(11800, 11800, QImage::Format_Mono);
    blankMono.fill(1);
    const struct
    {
        const char *name;
        QByteArray bytes;
    } cases[] = {
        {"claims-11800.jpg", jpegClaiming(11800)},
        {"blank-1bit-11800.png", encoded(blankMono, "PNG")},
    };
    for (const auto &file : cases) {
        QFile out(dir.filePath(QString::fromLatin1(file.name)));
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(file.bytes);
        out.close();
        const auto result = TextRecognizer::recognize(out.fileName());
        ASSERT_FALSE(result.hasValue()) << file.name;
        EXPECT_EQ(result.error().code, RecognitionError::Code::ImageTooLarge) << file.name;
        EXPECT_TRUE(result.error().description.contains(u"11800"_s)) << file.name;
    }
}

TEST(RecognitionBoundsTest, ADamagedFileGetsOnlyOurMessageOnStandardError)
{
    QTemporaryDir dir;
    const QByteArray png = encoded(Tessary::Test::renderText({u"Damaged"_s}, u"DejaVu Sans"_s, 24), "PNG");
    QFile out(dir.filePath(u"damaged.png"_s));
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(png.left(png.size() / 2));
    out.close();
    // libpng reports the short file on standard error itself, before the loader hears of it.
    const auto run = Tessary::Test::runProcess(Tessary::Test::buildPath(u"bin/tessary"_s),
                                               {u"--benchmark-ocr-file"_s, out.fileName()});
    EXPECT_EQ(run.exitCode, 1);
    const QString error = QString::fromUtf8(run.standardError);
    EXPECT_TRUE(error.startsWith(u"OCR benchmark failed: "_s)) << error.toStdString();
    EXPECT_EQ(error.count(u'\n'), 1) << error.toStdString();
}

TEST(RecognitionBoundsTest, TransparencyIsCompositedOntoWhiteAndReleasedEnginesComeBack)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"transparent.png"_s);
    ASSERT_TRUE(transparentText(u"Transparent background"_s).save(path));
    EXPECT_EQ(textOf(TextRecognizer::recognize(path)), u"Transparent background"_s);

    // Reloaded as at the start of a capture, whose recognition stops their warm-up.
    TextRecognizer::releaseEngines();
    TextRecognizer::loadEngines();
    RecognitionStop capture;
    capture.cancel();
    EXPECT_FALSE(TextRecognizer::prewarm(&capture));
    EXPECT_EQ(textOf(TextRecognizer::recognizeImage(transparentText(u"Loaded again"_s))), u"Loaded again"_s);
}

TEST(RecognitionBoundsTest, AStoppedRecognitionSaysWhy)
{
    // A page of dense text takes seconds: long enough to be stopped while it reads.
    const QImage sample(Tessary::Test::sourcePath(u"samples/tessary-sample.png"_s));
    ASSERT_FALSE(sample.isNull());
    QImage page(sample.width() * 3, sample.height() * 6, QImage::Format_RGB32);
    {
        QPainter painter(&page);
        for (int y = 0; y < page.height(); y += sample.height()) {
            for (int x = 0; x < page.width(); x += sample.width()) {
                painter.drawImage(x, y, sample);
            }
        }
    }

    using Code = RecognitionError::Code;
    RecognitionStop cancelled;
    RecognitionStop late;
    late.limitTo(RecognitionStop::Clock::now());
    RecognitionStop whileReading;
    auto reading = QtConcurrent::run([&] { return TextRecognizer::recognizeImage(page, &whileReading); });
    whileReading.cancel();
    cancelled.cancel();
    const struct
    {
        const char *name;
        Result<Recognition, RecognitionError> result;
        Code code;
    } cases[] = {
        {"cancelled before it starts", TextRecognizer::recognizeImage(page, &cancelled), Code::Cancelled},
        {"past its deadline", TextRecognizer::recognizeImage(page, &late), Code::TimedOut},
        {"cancelled while it reads", reading.result(), Code::Cancelled},
    };
    for (const auto &run : cases) {
        ASSERT_FALSE(run.result.hasValue()) << run.name;
        EXPECT_EQ(run.result.error().code, run.code) << run.name;
        EXPECT_FALSE(run.result.error().description.isEmpty()) << run.name;
    }
}

} // namespace
