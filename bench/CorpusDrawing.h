// What the tools that draw a screen-text corpus share: the command line (INPUT OUT_DIR), reading the input line by
// line, and writing OUT_DIR/truth.jsonl in the format bench/ocr and the corpus's score.py read.

#pragma once

#include <cstdio>
#include <functional>

#include <QDir>
#include <QFile>
#include <QFont>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>

namespace CorpusDrawing {

/**
 * The hinting text is drawn with: as Qt and GTK draw it, fully or vertically only as the corpus chose, or unhinted as
 * browsers draw it when TESSARY_BENCH_HINTING=none.
 */
inline QFont::HintingPreference hinting(bool full)
{
    return qEnvironmentVariable("TESSARY_BENCH_HINTING") == QStringLiteral("none") ? QFont::PreferNoHinting
           : full                                                                  ? QFont::PreferFullHinting
                                                                                   : QFont::PreferVerticalHinting;
}

/**
 * Hands every line of INPUT to draw, which saves its image under OUT_DIR/images/ and returns the image's truth entry
 * (an empty entry is skipped). usage is the command line as the tool's usage message shows it. Returns the exit code.
 */
inline int run(int argc, char **argv, const char *usage,
               const std::function<QJsonObject(const QByteArray &line, const QDir &out)> &draw)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fprintf(stderr, "usage: %s\n", usage);
        return 1;
    }
    QFile input(arguments[1]);
    const QDir out(arguments[2]);
    QFile truth(out.filePath(QStringLiteral("truth.jsonl")));
    if (!input.open(QIODevice::ReadOnly) || !out.mkpath(QStringLiteral("images")) ||
        !truth.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        std::fprintf(stderr, "cannot read %s or write the corpus in %s\n", argv[1], argv[2]);
        return 1;
    }
    while (!input.atEnd()) {
        const QJsonObject entry = draw(input.readLine(), out);
        if (!entry.isEmpty()) {
            truth.write(QJsonDocument(entry).toJson(QJsonDocument::Compact) + '\n');
        }
    }
    return 0;
}

} // namespace CorpusDrawing
