#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

class OcrCommandLineTest : public ::testing::Test
{
protected:
    static ProcessResult tessary(const QStringList &arguments,
                                 const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
    {
        return runProcess(buildPath(u"bin/tessary"_s), arguments, environment);
    }

    static QString clipboard()
    {
        return QString::fromUtf8(runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s}).standardOutput);
    }

    static void setClipboard(const QString &text)
    {
        // xclip keeps serving the selection from the background until someone else takes it.
        const ProcessResult result = runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-i"_s},
                                                QProcessEnvironment::systemEnvironment(), text.toUtf8());
        ASSERT_EQ(result.exitCode, 0);
        ASSERT_TRUE(QTest::qWaitFor([&] { return clipboard() == text; }, 5000));
    }

    QString blankImage()
    {
        QImage blank(300, 100, QImage::Format_RGB32);
        blank.fill(Qt::white);
        const QString path = m_dir.filePath(u"blank.png"_s);
        blank.save(path);
        return path;
    }

    static QString sampleText()
    {
        QFile file(sourcePath(u"samples/tessary-sample.txt"_s));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return QString::fromUtf8(file.readAll()).trimmed();
    }

    QTemporaryDir m_dir;
};

TEST_F(OcrCommandLineTest, PrintsTheTextAndLeavesItOnTheClipboardAfterExiting)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    const ProcessResult result = tessary({u"--ocr-file"_s, sourcePath(u"samples/tessary-sample.png"_s)});
    ASSERT_TRUE(result.finished);
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_EQ(QString::fromUtf8(result.standardOutput), sampleText() + u'\n');
    EXPECT_TRUE(result.standardError.isEmpty()) << result.standardError.toStdString();

    // Read from another process, after tessary has gone: the text outlives it, offered as plain text only.
    EXPECT_EQ(clipboard(), sampleText());
    const QString targets = QString::fromUtf8(
        runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s, u"-t"_s, u"TARGETS"_s}).standardOutput);
    EXPECT_FALSE(targets.contains(u"text/html"_s));
    EXPECT_FALSE(targets.contains(u"image/"_s));

    // Whoever takes the clipboard next ends the helper that served it.
    setClipboard(u"next owner"_s);
    EXPECT_EQ(clipboard(), u"next owner"_s);
}

TEST_F(OcrCommandLineTest, PathsWithSpacesAndNonAsciiCharactersWork)
{
    const QString path = m_dir.filePath(u"截图 sample ü.png"_s);
    ASSERT_TRUE(QFile::copy(sourcePath(u"samples/tessary-sample.png"_s), path));
    const ProcessResult result = tessary({u"--ocr-file"_s, path});
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_EQ(QString::fromUtf8(result.standardOutput).trimmed(), sampleText());
}

TEST_F(OcrCommandLineTest, FailuresLeaveTheClipboardAlone)
{
    setClipboard(u"what the user copied before"_s);

    const ProcessResult blank = tessary({u"--ocr-file"_s, blankImage()});
    EXPECT_EQ(blank.exitCode, 2);
    // The tests run with LANG=C.UTF-8 and no language chosen: English.
    EXPECT_EQ(QString::fromUtf8(blank.standardError), u"No text recognized\n"_s);
    EXPECT_TRUE(blank.standardOutput.isEmpty());

    QFile notes(m_dir.filePath(u"notes.txt"_s));
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly));
    notes.write("plain text, not an image\n");
    notes.close();
    for (const QString &path : {notes.fileName(), m_dir.filePath(u"missing.png"_s), m_dir.path()}) {
        const ProcessResult failed = tessary({u"--ocr-file"_s, path});
        EXPECT_EQ(failed.exitCode, 1) << path.toStdString();
        const QString error = QString::fromUtf8(failed.standardError);
        EXPECT_TRUE(error.startsWith(u"Recognition failed: "_s)) << error.toStdString();
        EXPECT_FALSE(error.contains(QRegularExpression(u"\\p{Han}"_s))) << error.toStdString();
        EXPECT_TRUE(error.endsWith(u'\n'));
        EXPECT_EQ(error.count(u'\n'), 1) << error.toStdString();
    }

    EXPECT_EQ(clipboard(), u"what the user copied before"_s);
    EXPECT_TRUE(QDir(m_dir.path()).entryList(QDir::Files).size() == 2) << "no file left behind";
}

TEST_F(OcrCommandLineTest, WithoutADisplayTheCopyFails)
{
    QProcessEnvironment headless = QProcessEnvironment::systemEnvironment();
    headless.remove(u"DISPLAY"_s);
    headless.remove(u"WAYLAND_DISPLAY"_s);
    const ProcessResult result = tessary({u"--ocr-file"_s, sourcePath(u"samples/tessary-sample.png"_s)}, headless);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(QString::fromUtf8(result.standardError), u"Could not copy to the clipboard\n"_s);
    EXPECT_TRUE(result.standardOutput.isEmpty());
}

TEST_F(OcrCommandLineTest, BenchmarksReportTimeAndCharacters)
{
    const QRegularExpression fileLine(u"^ocr_seconds=\\d+\\.\\d{3} output_characters=(\\d+)\\n$"_s);
    const ProcessResult sample = tessary({u"--benchmark-ocr-file"_s, sourcePath(u"samples/tessary-sample.png"_s)});
    EXPECT_EQ(sample.exitCode, 0);
    const auto match = fileLine.match(QString::fromUtf8(sample.standardOutput));
    ASSERT_TRUE(match.hasMatch()) << sample.standardOutput.toStdString();
    // Grapheme clusters, line feeds included: the text printed by --ocr-file.
    EXPECT_EQ(match.captured(1).toInt(), sampleText().size());

    const ProcessResult blank = tessary({u"--benchmark-ocr-file"_s, blankImage()});
    EXPECT_EQ(blank.exitCode, 0);
    EXPECT_TRUE(QString::fromUtf8(blank.standardOutput).endsWith(u" output_characters=0\n"_s));

    const ProcessResult missing = tessary({u"--benchmark-ocr-file"_s, m_dir.filePath(u"missing.png"_s)});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(QString::fromUtf8(missing.standardError).startsWith(u"OCR benchmark failed: "_s));

    const ProcessResult warmup = tessary({u"--benchmark-ocr-warmup"_s});
    EXPECT_EQ(warmup.exitCode, 0);
    EXPECT_TRUE(QRegularExpression(u"^warmup_seconds=\\d+\\.\\d{3} recognized=true\\n$"_s)
                    .match(QString::fromUtf8(warmup.standardOutput))
                    .hasMatch())
        << warmup.standardOutput.toStdString();
}

TEST_F(OcrCommandLineTest, AnythingElseStartsTheApplication)
{
    const QString sample = sourcePath(u"samples/tessary-sample.png"_s);
    const QList<QStringList> launches{
        {u"--ocr-file"_s},
        {u"--ocr-file"_s, sample, sample},
        {u"--OCR-FILE"_s, sample},
        {u"--verbose"_s, u"--ocr-file"_s, sample},
        {u"--benchmark-ocr-warmup"_s, u"extra"_s},
    };
    for (const QStringList &arguments : launches) {
        QProcess process;
        process.start(buildPath(u"bin/tessary"_s), arguments);
        ASSERT_TRUE(process.waitForStarted());
        // A mode would have finished by now; the application keeps running until it is told to quit.
        EXPECT_FALSE(process.waitForFinished(1500)) << arguments.join(u' ').toStdString();
        process.terminate();
        ASSERT_TRUE(process.waitForFinished(5000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << arguments.join(u' ').toStdString();
        EXPECT_EQ(process.exitCode(), 0);
        EXPECT_TRUE(process.readAllStandardOutput().isEmpty());
    }
}

} // namespace
