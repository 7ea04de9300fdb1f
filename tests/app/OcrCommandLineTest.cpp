// The recognition modes of the command line as a user runs them: the real executable on a private X server and a
// private home, the clipboard read by another program (xclip).

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include "tests/appearance/AppearanceTestSupport.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

class OcrCommandLineTest : public ::testing::Test
{
protected:
    ProcessResult tessary(const QStringList &arguments) const
    {
        return runProcess(buildPath(u"bin/tessary"_s), arguments, m_home.environment());
    }

    QString blankImage() const
    {
        QImage blank(300, 100, QImage::Format_RGB32);
        blank.fill(Qt::white);
        blank.save(m_home.path(u"files/blank.png"_s));
        return m_home.path(u"files/blank.png"_s);
    }

    static QString sampleText()
    {
        return QString::fromUtf8(fileContents(sourcePath(u"samples/tessary-sample.txt"_s))).trimmed();
    }

    void SetUp() override { ASSERT_TRUE(QDir().mkpath(m_home.path(u"files"_s))); }

    PrivateHome m_home;
};

TEST_F(OcrCommandLineTest, PrintsTheTextAndLeavesItOnTheClipboardAfterExiting)
{
    // A path with spaces and characters beyond ASCII.
    const QString path = m_home.path(u"files/截图 sample ü.png"_s);
    ASSERT_TRUE(QFile::copy(sourcePath(u"samples/tessary-sample.png"_s), path));
    const ProcessResult result = tessary({u"--ocr-file"_s, path});
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_EQ(QString::fromUtf8(result.standardOutput), sampleText() + u'\n');
    EXPECT_TRUE(result.standardError.isEmpty()) << result.standardError.toStdString();

    // Read from another process, after tessary has gone: the text outlives it, offered as plain text only.
    EXPECT_EQ(clipboardTextElsewhere(), sampleText());
    const QByteArray targets =
        runServingEvents(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s, u"-t"_s, u"TARGETS"_s}).value_or("");
    EXPECT_FALSE(targets.contains("text/html") || targets.contains("image/")) << targets.toStdString();
    // Whoever takes the clipboard next ends the helper that served it.
    ASSERT_TRUE(offerClipboardElsewhere("next owner"));
    EXPECT_TRUE(QTest::qWaitFor([] { return clipboardTextElsewhere() == u"next owner"_s; }, 10000));
}

TEST_F(OcrCommandLineTest, FailuresLeaveTheClipboardAlone)
{
    ASSERT_TRUE(offerClipboardElsewhere("what the user copied before"));
    ASSERT_TRUE(QTest::qWaitFor([] { return clipboardTextElsewhere() == u"what the user copied before"_s; }, 10000));

    const ProcessResult blank = tessary({u"--ocr-file"_s, blankImage()});
    EXPECT_EQ(blank.exitCode, 2);
    // The tests run with LANG=C.UTF-8 and no language chosen: English.
    EXPECT_EQ(QString::fromUtf8(blank.standardError), u"No text recognized\n"_s);
    EXPECT_TRUE(blank.standardOutput.isEmpty());

    QFile notes(m_home.path(u"files/notes.txt"_s));
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly));
    notes.write("plain text, not an image\n");
    notes.close();
    for (const QString &path : {notes.fileName(), m_home.path(u"files/missing.png"_s), m_home.path(u"files"_s)}) {
        const ProcessResult failed = tessary({u"--ocr-file"_s, path});
        const QString error = QString::fromUtf8(failed.standardError);
        EXPECT_EQ(failed.exitCode, 1);
        EXPECT_TRUE(error.startsWith(u"Recognition failed: "_s)) << error.toStdString();
        EXPECT_FALSE(error.contains(QRegularExpression(u"\\p{Han}"_s))) << error.toStdString();
        EXPECT_TRUE(error.endsWith(u'\n'));
        EXPECT_EQ(error.count(u'\n'), 1) << error.toStdString();
    }
    EXPECT_EQ(clipboardTextElsewhere(), u"what the user copied before"_s);
    EXPECT_EQ(QDir(m_home.path(u"files"_s)).entryList(QDir::Files).size(), 2) << "no file left behind";

    // Without a display the copy fails, and says so.
    QProcessEnvironment headless = m_home.environment();
    headless.remove(u"DISPLAY"_s);
    const ProcessResult result = runProcess(buildPath(u"bin/tessary"_s),
                                            {u"--ocr-file"_s, sourcePath(u"samples/tessary-sample.png"_s)}, headless);
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
    EXPECT_TRUE(blank.standardOutput.endsWith(" output_characters=0\n"));
    const ProcessResult missing = tessary({u"--benchmark-ocr-file"_s, m_home.path(u"files/missing.png"_s)});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.standardError.startsWith("OCR benchmark failed: "));
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
    for (const QStringList &arguments : QList<QStringList>{{u"--ocr-file"_s},
                                                           {u"--ocr-file"_s, sample, sample},
                                                           {u"--OCR-FILE"_s, sample},
                                                           {u"--verbose"_s, u"--ocr-file"_s, sample},
                                                           {u"--benchmark-ocr-warmup"_s, u"extra"_s}}) {
        SCOPED_TRACE(arguments.join(u' ').toStdString());
        QProcess process;
        process.setProcessEnvironment(m_home.environment());
        process.start(buildPath(u"bin/tessary"_s), arguments);
        ASSERT_TRUE(process.waitForStarted());
        // The application, with no tray to sit in, shows its settings window; a mode would have ended instead.
        EXPECT_TRUE(QTest::qWaitFor(
            [&] {
                return process.state() == QProcess::NotRunning ||
                       !xdotool({u"search"_s, u"--onlyvisible"_s, u"--pid"_s, QString::number(process.processId())})
                            .isEmpty();
            },
            30000));
        EXPECT_EQ(process.state(), QProcess::Running);
        process.terminate();
        ASSERT_TRUE(process.waitForFinished(10000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 0);
        EXPECT_TRUE(process.readAllStandardOutput().isEmpty());
    }
}

} // namespace
