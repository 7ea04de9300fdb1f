#include <gtest/gtest.h>

#include <unistd.h>

#include <QBuffer>
#include <QFile>
#include <QFuture>
#include <QTemporaryDir>
#include <QtConcurrent/QtConcurrentRun>

#include "app/recognition/TextRecognizer.h"
#include "tests/recognition/RenderedLine.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

quint32 crc32(const QByteArray &bytes)
{
    quint32 crc = 0xffffffffu;
    for (const char byte : bytes) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
        }
    }
    return ~crc;
}

void appendBigEndian(QByteArray &bytes, quint32 value)
{
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes.append(char((value >> shift) & 0xff));
    }
}

void appendChunk(QByteArray &png, const QByteArray &type, const QByteArray &data)
{
    appendBigEndian(png, quint32(data.size()));
    png.append(type + data);
    appendBigEndian(png, crc32(type + data));
}

/** A PNG whose header declares the given size, followed by a tiny (far too short) image body. */
QByteArray pngWithDeclaredSize(quint32 width, quint32 height)
{
    QByteArray png("\x89PNG\r\n\x1a\n", 8);
    QByteArray header;
    appendBigEndian(header, width);
    appendBigEndian(header, height);
    header.append("\x08\x02\x00\x00\x00", 5); // 8 bit RGB
    appendChunk(png, "IHDR", header);
    appendChunk(png, "IDAT", qCompress(QByteArray(64, '\0')).mid(4));
    appendChunk(png, "IEND", {});
    return png;
}

class TextRecognizerTest : public ::testing::Test
{
protected:
    QString write(const QString &name, const QByteArray &bytes)
    {
        QFile file(m_dir.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    }

    QString save(const QString &name, const QImage &image)
    {
        const QString path = m_dir.filePath(name);
        EXPECT_TRUE(image.save(path));
        return path;
    }

    QString recognized(const QImage &image, const QString &name = u"image.png"_s)
    {
        const auto text = TextRecognizer::recognize(save(name, image));
        EXPECT_TRUE(text.hasValue()) << (text ? "" : text.error().description.toStdString());
        return text ? text->text : QString();
    }

    RecognitionError::Code failureOf(const QString &path)
    {
        const auto text = TextRecognizer::recognize(path);
        EXPECT_FALSE(text.hasValue());
        if (text) {
            return RecognitionError::Code{};
        }
        EXPECT_FALSE(text.error().description.isEmpty());
        return text.error().code;
    }

    QTemporaryDir m_dir;
};

TEST_F(TextRecognizerTest, ReadsScreenTextLineByLine)
{
    const QString english = u"The quick brown fox jumps"_s;
    const QString second = u"over the lazy dog"_s;
    EXPECT_EQ(recognized(Tessary::Test::renderText({english, second}, u"DejaVu Sans"_s, 20)), english + u'\n' + second);

    // Chinese comes back without the spaces the models put between characters, in either script.
    EXPECT_EQ(recognized(Tessary::Test::renderText({u"今天的天气很好"_s}, u"Noto Sans CJK SC"_s, 24)),
              u"今天的天气很好"_s);
    EXPECT_EQ(recognized(Tessary::Test::renderText({u"請選擇要開啟的檔案"_s}, u"Noto Sans CJK TC"_s, 24)),
              u"請選擇要開啟的檔案"_s);
}

TEST_F(TextRecognizerTest, TraditionalTextStaysTraditional)
{
    const QStringList lines{u"這個選項會讓程式在背景執行"_s, u"並且把所有輸出寫入記錄檔"_s, u"請確認網路連線正常"_s};
    EXPECT_EQ(recognized(Tessary::Test::renderText(lines, u"Noto Sans CJK TC"_s, 22)), lines.join(u'\n'));
    EXPECT_EQ(recognized(Tessary::Test::renderText({u"選擇檔案"_s}, u"Noto Sans CJK TC"_s, 20)), u"選擇檔案"_s);
}

TEST_F(TextRecognizerTest, EnglishInTraditionalTextIsReadByTheEnglishModel)
{
    // The Traditional model reads without English; the words it would garble come from the English reading.
    const QStringList lines{u"請使用 ssh 連線到伺服器"_s, u"PostgreSQL database"_s};
    EXPECT_EQ(recognized(Tessary::Test::renderText(lines, u"Noto Sans CJK TC"_s, 22)), lines.join(u'\n'));
}

TEST_F(TextRecognizerTest, ReadsSimplifiedParagraphsWithTheirPunctuation)
{
    const QStringList lines{u"如果没有指定文件，就从标准输入读取。"_s, u"这个命令会把结果写到标准输出，"_s,
                            u"出错时返回一个非零的状态。"_s};
    EXPECT_EQ(recognized(Tessary::Test::renderText(lines, u"Noto Sans CJK SC"_s, 20)), lines.join(u'\n'));
}

TEST_F(TextRecognizerTest, CodeKeepsItsUnderscoresAndQuotes)
{
    // A docstring's opening quotes stand alone on their line, or are read as one mark before text.
    const QStringList lines{u"def __init__(self, other_value):"_s, u"    \"\"\""_s,
                            u"    self._tzinfo = make_tz(other_value)"_s, u"    \"\"\"Return the zone.\"\"\""_s};
    const QString expected = lines.join(u'\n');
    for (const int size : {15, 16}) {
        EXPECT_EQ(recognized(Tessary::Test::renderText(lines, u"DejaVu Sans Mono"_s, size)).toStdString(),
                  expected.toStdString())
            << "at " << size << " px";
    }
}

TEST_F(TextRecognizerTest, ReadsDarkModeText)
{
    const QImage dark =
        Tessary::Test::renderText({u"Dark mode text"_s}, u"DejaVu Sans"_s, 20, QColor(0xd4d4d4), QColor(0x1e1e1e));
    EXPECT_EQ(recognized(dark), u"Dark mode text"_s);
}

TEST_F(TextRecognizerTest, ImageWithoutTextGivesEmptyString)
{
    QImage blank(400, 120, QImage::Format_RGB32);
    blank.fill(Qt::white);
    EXPECT_EQ(recognized(blank, u"blank.png"_s), QString());
    EXPECT_EQ(recognized(Tessary::Test::renderText({u"   "_s, u"\t"_s}, u"DejaVu Sans"_s, 20), u"spaces.png"_s),
              QString());
}

TEST_F(TextRecognizerTest, PathsWithSpacesAndNonAsciiCharactersWork)
{
    const QImage image = Tessary::Test::renderText({u"Hello"_s}, u"DejaVu Sans"_s, 24);
    EXPECT_EQ(recognized(image, u"截图 with spaces ü.png"_s), u"Hello"_s);
}

TEST_F(TextRecognizerTest, RefusesWhatIsNotARecognisableImage)
{
    using Code = RecognitionError::Code;
    EXPECT_EQ(failureOf(m_dir.filePath(u"missing.png"_s)), Code::FileNotFound);
    EXPECT_EQ(failureOf(m_dir.path()), Code::NotAFile);
    EXPECT_EQ(failureOf(write(u"notes.txt"_s, "just some text\n")), Code::NotAnImage);
    EXPECT_EQ(failureOf(write(u"empty.png"_s, QByteArray())), Code::NotAnImage);

    QByteArray png;
    {
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        Tessary::Test::renderText({u"Truncated"_s}, u"DejaVu Sans"_s, 24).save(&buffer, "PNG");
    }
    EXPECT_EQ(failureOf(write(u"truncated.png"_s, png.left(png.size() / 2))), Code::NotAnImage);

    const auto zeroSized = failureOf(write(u"zero.png"_s, pngWithDeclaredSize(0, 0)));
    EXPECT_TRUE(zeroSized == Code::NotAnImage || zeroSized == Code::EmptyImage);
}

TEST_F(TextRecognizerTest, RefusesFilesItMayNotRead)
{
    if (geteuid() == 0) {
        GTEST_SKIP() << "root reads every file";
    }
    const QString path = save(u"secret.png"_s, Tessary::Test::renderText({u"Secret"_s}, u"DejaVu Sans"_s, 24));
    QFile::setPermissions(path, QFileDevice::WriteOwner);
    EXPECT_EQ(failureOf(path), RecognitionError::Code::Unreadable);
}

TEST_F(TextRecognizerTest, OverlappingCallsEachGetTheirOwnResult)
{
    const QString latin =
        save(u"latin.png"_s, Tessary::Test::renderText({u"Overlapping calls"_s}, u"DejaVu Sans"_s, 22));
    const QString chinese =
        save(u"chinese.png"_s, Tessary::Test::renderText({u"同时识别两张图片"_s}, u"Noto Sans CJK SC"_s, 24));
    QList<QFuture<QString>> runs;
    for (int i = 0; i < 6; ++i) {
        const QString path = i % 2 == 0 ? latin : chinese;
        runs.append(QtConcurrent::run([path] {
            const auto text = TextRecognizer::recognize(path);
            return text ? text->text : u"<error>"_s;
        }));
    }
    for (int i = 0; i < runs.size(); ++i) {
        EXPECT_EQ(runs[i].result(), i % 2 == 0 ? u"Overlapping calls"_s : u"同时识别两张图片"_s) << "run " << i;
    }
}

TEST_F(TextRecognizerTest, WarmUpRecognisesItsOwnImage)
{
    const QImage image = TextRecognizer::warmupImage();
    EXPECT_EQ(image.size(), QSize(320, 90));
    EXPECT_TRUE(TextRecognizer::prewarm());
}

TEST_F(TextRecognizerTest, MissingModelsAreAnErrorAndTheWarmUpSaysFalse)
{
    const QByteArray previous = qgetenv("TESSDATA_PREFIX");
    qputenv("TESSDATA_PREFIX", QFile::encodeName(m_dir.path()));
    const QString path = save(u"image.png"_s, Tessary::Test::renderText({u"No models"_s}, u"DejaVu Sans"_s, 24));
    const auto text = TextRecognizer::recognize(path);
    const bool warmed = TextRecognizer::prewarm();
    if (previous.isNull()) {
        qunsetenv("TESSDATA_PREFIX");
    } else {
        qputenv("TESSDATA_PREFIX", previous);
    }
    ASSERT_FALSE(text.hasValue());
    EXPECT_EQ(text.error().code, RecognitionError::Code::EngineUnavailable);
    EXPECT_FALSE(warmed);
}

} // namespace
