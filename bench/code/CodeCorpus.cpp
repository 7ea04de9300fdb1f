// Draws source snippets as an editor or a terminal draws them (Qt's FreeType engine, hinted, monospaced fonts,
// 12 to 18 px, light and dark themes, some with a line-number gutter) and writes them as a screen-text corpus that
// bench/ocr and the corpus's score.py and indent.py read. The snippets come from make_snippets.py.

#include <algorithm>

#include <QFontMetrics>
#include <QImage>
#include <QJsonObject>
#include <QPainter>

#include "bench/CorpusDrawing.h"

using namespace Qt::StringLiterals;

namespace {

struct Theme
{
    QColor background, text, gutter;
};

/** The snippet drawn with the look its entry asks for; the truth is what the screen shows, numbers included. */
QImage drawn(const QJsonObject &entry, QString *truth)
{
    QFont font(entry[u"font"_s].toString());
    font.setPixelSize(entry[u"font_px"_s].toInt());
    font.setHintingPreference(CorpusDrawing::hinting(entry[u"hinting"_s].toString() == u"full"_s));
    const Theme themes[] = {{Qt::white, QColor(0x1f, 0x1f, 0x1f), QColor(0x99, 0x99, 0x99)},
                            {QColor(0xf6, 0xf8, 0xfa), QColor(0x24, 0x29, 0x2f), QColor(0x8c, 0x95, 0x9f)},
                            {QColor(0x1e, 0x1e, 0x1e), QColor(0xd4, 0xd4, 0xd4), QColor(0x85, 0x85, 0x85)},
                            {QColor(0x00, 0x2b, 0x36), QColor(0x93, 0xa1, 0xa1), QColor(0x58, 0x6e, 0x75)},
                            {Qt::black, QColor(0xcc, 0xcc, 0xcc), QColor(0x80, 0x80, 0x80)}};
    const Theme &theme = themes[entry[u"theme_index"_s].toInt() % 5];
    const QStringList lines = entry[u"code"_s].toString().split(u'\n');
    const int first = entry[u"gutter_from"_s].toInt();
    const int digits = first > 0 ? int(QString::number(first + lines.size() - 1).size()) : 0;
    const QFontMetrics metrics(font);
    const int lineHeight = int(metrics.height() * entry[u"line_height"_s].toDouble(1.2) + 0.5);
    const int cell = metrics.horizontalAdvance(u'x');
    const int codeLeft = digits > 0 ? (digits + 2) * cell : 0;
    int width = 0;
    for (const QString &line : lines) {
        width = std::max(width, metrics.horizontalAdvance(line));
    }
    const int margin = entry[u"margin"_s].toInt(6);
    QImage image(codeLeft + width + 2 * margin, int(lines.size()) * lineHeight + 2 * margin, QImage::Format_RGB32);
    image.fill(theme.background);
    QPainter painter(&image);
    painter.setFont(font);
    QStringList shown;
    for (int i = 0; i < lines.size(); ++i) {
        const int baseline = margin + i * lineHeight + (lineHeight - metrics.height()) / 2 + metrics.ascent();
        QString number;
        if (digits > 0) {
            number = u"%1"_s.arg(first + i, digits);
            painter.setPen(theme.gutter);
            painter.drawText(QPoint(margin, baseline), number);
        }
        painter.setPen(theme.text);
        painter.drawText(QPoint(margin + codeLeft, baseline), lines[i]);
        shown.append(digits > 0 ? number + u"  "_s + lines[i] : lines[i]);
    }
    painter.end();
    *truth = shown.join(u'\n');
    return image;
}

} // namespace

int main(int argc, char **argv)
{
    return CorpusDrawing::run(argc, argv, "tessary-code-corpus SNIPPETS.jsonl OUT_DIR",
                              [](const QByteArray &line, const QDir &out) {
                                  QJsonObject entry = QJsonDocument::fromJson(line).object();
                                  if (entry.isEmpty()) {
                                      return entry;
                                  }
                                  QString text;
                                  drawn(entry, &text).save(out.filePath(entry[u"file"_s].toString()));
                                  entry.remove(u"code"_s);
                                  entry[u"text"_s] = text;
                                  entry[u"group"_s] = u"code"_s;
                                  return entry;
                              });
}
