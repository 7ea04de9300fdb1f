// Draws short interface labels as the desktop draws them (Qt's FreeType engine, hinted, grey-scale anti-aliasing,
// 12 to 16 px) and writes them as a screen-text corpus that bench/ocr and the corpus's score.py read.

#include <QCryptographicHash>
#include <QFontMetrics>
#include <QImage>
#include <QPainter>

#include "bench/CorpusDrawing.h"

using namespace Qt::StringLiterals;

namespace {

/** A number from 0 to range - 1 that depends only on the label and what it is asked for. */
int pick(const QString &label, const char *what, int range)
{
    const QByteArray hash = QCryptographicHash::hash(QByteArray(label.toUtf8() + what), QCryptographicHash::Sha1);
    return int(quint32(uchar(hash[0])) << 8 | uchar(hash[1])) % range;
}

QImage drawn(const QString &label, bool traditional)
{
    QFont font(traditional ? u"Noto Sans CJK TC"_s : u"Noto Sans CJK SC"_s);
    font.setPixelSize(12 + pick(label, "size", 5));
    font.setWeight(pick(label, "weight", 5) == 0 ? QFont::DemiBold : QFont::Normal);
    font.setHintingPreference(CorpusDrawing::hinting(pick(label, "hinting", 2) == 0));
    struct Theme
    {
        QColor background, text;
    };
    const Theme themes[] = {{Qt::white, QColor(0x20, 0x20, 0x20)},
                            {QColor(0xf6, 0xf5, 0xf4), QColor(0x2e, 0x34, 0x36)},
                            {QColor(0x24, 0x24, 0x24), QColor(0xee, 0xee, 0xee)},
                            {QColor(0x1e, 0x1e, 0x1e), QColor(0xcc, 0xcc, 0xcc)},
                            {QColor(0xe8, 0xf0, 0xfe), QColor(0x1a, 0x47, 0x8a)}};
    const Theme &theme = themes[pick(label, "theme", 5)];
    const QFontMetrics metrics(font);
    const int margin = 2 + pick(label, "margin", 6);
    QImage image(metrics.horizontalAdvance(label) + 2 * margin, metrics.height() + 2 * margin, QImage::Format_RGB32);
    image.fill(theme.background);
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(theme.text);
    painter.drawText(QPoint(margin, margin + metrics.ascent()), label);
    painter.end();
    return image;
}

} // namespace

int main(int argc, char **argv)
{
    int count = 0;
    return CorpusDrawing::run(
        argc, argv, "tessary-label-corpus LABELS.tsv OUT_DIR", [&](const QByteArray &line, const QDir &out) {
            const QStringList fields = QString::fromUtf8(line).trimmed().split(u'\t');
            if (fields.size() != 2) {
                return QJsonObject();
            }
            const bool traditional = fields[0] == u"Hant"_s;
            const QString file = u"images/%1.png"_s.arg(++count, 4, 10, QChar(u'0'));
            drawn(fields[1], traditional).save(out.filePath(file));
            return QJsonObject{
                {u"file"_s, file}, {u"group"_s, traditional ? u"zh-Hant"_s : u"zh-Hans"_s}, {u"text"_s, fields[1]}};
        });
}
