// Images the user already has, handed to the running tessary through its tray menu: one another program put on the
// clipboard (xclip) and a file chosen in the file dialog. Their text is copied as a capture's is; an image too large
// to read gets the capture's failure and leaves the clipboard and the file as they were.

#include <gtest/gtest.h>

#include <optional>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QTest>

#include "tests/appearance/AppearanceTestSupport.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

TEST(ImageInputTest, ClipboardImageAndChosenFileAreRecognisedLikeACapture)
{
    TrayHost tray;
    ASSERT_TRUE(tray.start()) << "runs under with-xvfb with-keyring";
    PrivateHome home;
    home.writeDefaults("language=en\n");
    const QString clipboardItem = translated(u"en"_s, u"识别剪贴板中的图像"_s);
    const auto clipboardItemEnabled = [&]() -> std::optional<bool> {
        for (const QJsonValue row : tray.item().value(u"rows"_s).toArray()) {
            if (row[u"label"_s].toString() == clipboardItem) {
                return row[u"enabled"_s].toBool();
            }
        }
        return std::nullopt;
    };
    ASSERT_TRUE(offerClipboardElsewhere("before"));
    QProcess app;
    app.setProcessEnvironment(home.environment());
    app.start(buildPath(u"bin/tessary"_s));
    ASSERT_TRUE(QTest::qWaitFor([&] { return clipboardItemEnabled().has_value(); }, 30000)) << "no tray item";
    EXPECT_EQ(clipboardItemEnabled(), false) << "the clipboard holds only text";

    const QByteArray sample = fileContents(sourcePath(u"samples/tessary-sample.png"_s));
    const QString sampleText = QString::fromUtf8(fileContents(sourcePath(u"samples/tessary-sample.txt"_s))).trimmed();
    // A header that declares more pixels than any screen has: refused before anything is decoded.
    const QByteArray huge = "P6\n20000 20000\n255\n";
    const QString tooLarge = u"Recognition failed: The image “%1” is too large to recognize (20000 × 20000 pixels)."_s;
    const struct
    {
        QByteArray image;
        QString type; // a MIME type on the clipboard, a file name's suffix
        bool onClipboard;
        QString failure;
    } rows[] = {
        {sample, u"image/png"_s, true, {}},
        {huge, u"image/x-portable-pixmap"_s, true, tooLarge.arg(u"Clipboard image"_s)},
        {sample, u"png"_s, false, {}},
        {huge, u"ppm"_s, false, tooLarge.arg(home.path(u"image.ppm"_s))},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.type.toStdString());
        const QString file = home.path(u"image."_s + row.type);
        if (row.onClipboard) {
            ASSERT_TRUE(offerClipboardElsewhere(row.image, row.type));
            ASSERT_TRUE(QTest::qWaitFor([&] { return clipboardItemEnabled() == true; }, 10000));
            tray.click(clipboardItem);
        } else {
            ASSERT_TRUE(offerClipboardElsewhere("before"));
            QFile out(file);
            ASSERT_TRUE(out.open(QIODevice::WriteOnly) && out.write(row.image) == row.image.size());
            out.close();
            tray.click(translated(u"en"_s, u"识别图像文件…"_s));
            const QString title = u"^"_s + translated(u"en"_s, u"选择要识别的图像"_s) + u'$';
            ASSERT_TRUE(waitForWindow(title));
            xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, title, u"windowfocus"_s, u"--sync"_s});
            xdotool({u"type"_s, u"--delay"_s, u"20"_s, file});
            xdotool({u"key"_s, u"Return"_s});
        }
        if (row.failure.isEmpty()) {
            EXPECT_TRUE(QTest::qWaitFor([&] { return clipboardTextElsewhere() == sampleText; }, 60000))
                << clipboardTextElsewhere().value_or(QString()).toStdString();
            EXPECT_TRUE(QTest::qWaitFor([&] { return clipboardItemEnabled() == false; }, 10000)) << "text replaced it";
        } else {
            EXPECT_TRUE(QTest::qWaitFor([&] { return tray.statusLine() == row.failure; }, 30000))
                << tray.statusLine().toStdString();
            EXPECT_TRUE(waitForWindow(u"^Tessary Toast$"_s, true, 0));
            EXPECT_EQ(row.onClipboard ? clipboardItemEnabled() : std::optional(clipboardTextElsewhere() == u"before"_s),
                      true);
        }
        EXPECT_EQ(QFile::exists(file), !row.onClipboard) << "the user's own file stays";
        EXPECT_TRUE(QDir(home.path(u"tmp"_s)).entryList({u"tessary-*"_s}, QDir::Files).isEmpty());
    }
    app.terminate();
    EXPECT_TRUE(app.waitForFinished(20000));
}

} // namespace
