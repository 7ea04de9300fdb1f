// Draws prose as applications draw it (Qt's FreeType engine, hinted, wrapped to a width, light and dark themes,
// some of it inside a chat bubble, under a page's header bar or in a dialog's frame) and writes it as a screen-text
// corpus that bench/ocr and the corpus's score.py read. Every choice is a hash of the text, so the corpus is the
// same on every run.

#include <QCryptographicHash>
#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QTextLayout>

#include "bench/CorpusDrawing.h"

using namespace Qt::StringLiterals;

namespace {

/** A number from 0 to range - 1 that depends only on the text and what it is asked for. */
int pick(const QString &text, const char *what, int range)
{
    const QByteArray hash = QCryptographicHash::hash(QByteArray(text.toUtf8() + what), QCryptographicHash::Sha1);
    return int(quint32(uchar(hash[0])) << 8 | uchar(hash[1])) % range;
}

struct Theme
{
    const char *name;
    QColor page, text, accent;
};

const Theme themes[] = {{"light", Qt::white, QColor(0x20, 0x20, 0x20), QColor(0xe9, 0xee, 0xf6)},
                        {"light", QColor(0xf6, 0xf5, 0xf4), QColor(0x2e, 0x34, 0x36), QColor(0xdc, 0xf8, 0xc6)},
                        {"dark", QColor(0x24, 0x24, 0x24), QColor(0xee, 0xee, 0xee), QColor(0x3a, 0x3f, 0x4b)},
                        {"dark", QColor(0x1e, 0x1e, 0x1e), QColor(0xd4, 0xd4, 0xd4), QColor(0x2b, 0x52, 0x78)},
                        {"tinted", QColor(0xfb, 0xf6, 0xe9), QColor(0x43, 0x3a, 0x2c), QColor(0xee, 0xe4, 0xcc)}};

QStringList familiesFor(const QString &group, const QString &script, const QString &text)
{
    const QString cjk = script == u"Hant"_s ? u"TC"_s : u"SC"_s;
    const QString sans = u"Noto Sans CJK "_s + cjk, serif = u"Noto Serif CJK "_s + cjk;
    const QList<QStringList> choices =
        group == u"en"_s      ? QList<QStringList>{{u"DejaVu Sans"_s}, {u"DejaVu Serif"_s}, {u"Noto Sans CJK SC"_s}}
        : group == u"mixed"_s ? QList<QStringList>{{u"DejaVu Sans"_s, sans}, {sans}, {u"DejaVu Serif"_s, serif}}
                              : QList<QStringList>{{sans}, {sans}, {serif}};
    return choices[pick(text, "font", int(choices.size()))];
}

struct Screen
{
    QImage image;
    QString truth, kind, theme, font;
    int pixelSize = 0, scale = 1;
};

Screen drawn(const QString &group, const QString &script, const QString &text)
{
    Screen screen;
    screen.scale = pick(text, "scale", 4) == 0 ? 2 : 1;
    screen.pixelSize = 12 + pick(text, "size", 13);
    const QStringList families = familiesFor(group, script, text);
    screen.font = families.first();
    QFont font;
    font.setFamilies(families);
    font.setPixelSize(screen.pixelSize * screen.scale);
    font.setWeight(pick(text, "weight", 6) == 0 ? QFont::DemiBold : QFont::Normal);
    font.setHintingPreference(CorpusDrawing::hinting(pick(text, "hinting", 2) == 0));
    const Theme &theme = themes[pick(text, "theme", 5)];
    screen.theme = QString::fromLatin1(theme.name);
    const char *kinds[] = {"document", "chat", "web", "dialog"};
    screen.kind = QString::fromLatin1(kinds[pick(text, "kind", 4)]);

    // Wrapped as the widget would wrap it: each paragraph laid out to the width, line by line.
    const QFontMetricsF metrics(font);
    const qreal width =
        metrics.averageCharWidth() * (group == u"en"_s ? 36 + pick(text, "width", 50) : 20 + pick(text, "width", 40));
    const qreal leading = metrics.height() * (0.1 + 0.1 * pick(text, "leading", 6));
    QList<QTextLayout *> layouts;
    QStringList lines;
    qreal height = 0, used = 0;
    for (const QString &paragraph : text.split(u"\\n"_s)) {
        auto *layout = new QTextLayout(paragraph, font);
        layout->beginLayout();
        for (QTextLine line = layout->createLine(); line.isValid(); line = layout->createLine()) {
            line.setLineWidth(width);
            line.setPosition(QPointF(0, height));
            height += line.height() + leading;
            used = qMax(used, line.naturalTextWidth());
            lines.append(paragraph.mid(line.textStart(), line.textLength()).trimmed());
        }
        layout->endLayout();
        layouts.append(layout);
        height += leading;
    }
    screen.truth = lines.join(u'\n');

    const int s = screen.scale, margin = (6 + pick(text, "margin", 14)) * s;
    const bool chrome = screen.kind != u"document"_s;
    const int top = screen.kind == u"web"_s ? 28 * s : screen.kind == u"dialog"_s ? 24 * s : 0;
    const QSize size(int(used) + 2 * margin + (chrome ? 2 * margin : 0),
                     int(height) + 2 * margin + top + (chrome ? margin : 0));
    screen.image = QImage(size, QImage::Format_RGB32);
    screen.image.fill(theme.page);
    QPainter painter(&screen.image);
    painter.setRenderHint(QPainter::Antialiasing);
    QPointF origin(margin, margin + top);
    if (screen.kind == u"chat"_s) {
        QPainterPath bubble;
        bubble.addRoundedRect(QRectF(margin / 2.0, margin / 2.0, used + 2.5 * margin, height + 2 * margin), 10 * s,
                              10 * s);
        painter.fillPath(bubble, theme.accent);
        origin += QPointF(margin * 0.75, margin * 0.5);
    } else if (screen.kind == u"web"_s) {
        painter.fillRect(QRect(0, 0, size.width(), top - 6 * s), theme.accent);
        painter.fillRect(QRect(margin, 8 * s, 60 * s, top - 22 * s), theme.page);
    } else if (screen.kind == u"dialog"_s) {
        painter.fillRect(QRect(0, 0, size.width(), top), theme.accent);
        painter.setPen(theme.accent.darker(130));
        painter.drawRect(QRect(0, 0, size.width() - 1, size.height() - 1));
        origin += QPointF(margin * 0.5, margin * 0.5);
    }
    painter.setPen(theme.text);
    for (QTextLayout *layout : std::as_const(layouts)) {
        layout->draw(&painter, origin);
    }
    painter.end();
    qDeleteAll(layouts);
    return screen;
}

} // namespace

int main(int argc, char **argv)
{
    return CorpusDrawing::run(
        argc, argv, "tessary-screen-corpus SCREENS.tsv OUT_DIR", [](const QByteArray &line, const QDir &out) {
            const QStringList fields = QString::fromUtf8(line).trimmed().split(u'\t');
            if (fields.size() != 4) {
                return QJsonObject();
            }
            const Screen screen = drawn(fields[0], fields[1], fields[3]);
            const QByteArray hash = QCryptographicHash::hash(fields[3].toUtf8(), QCryptographicHash::Sha1);
            const QString id = QString::fromLatin1(hash.toHex().left(10));
            const QString file = u"images/%1.png"_s.arg(id);
            screen.image.save(out.filePath(file));
            // Half A is looked into, half B only scored: the split is the file name's hash, not the group's order.
            return QJsonObject{{u"file"_s, file},
                               {u"group"_s, fields[0]},
                               {u"lang"_s, fields[0] == u"mixed"_s ? u"mixed"_s : fields[0]},
                               {u"script"_s, fields[1]},
                               {u"kind"_s, screen.kind},
                               {u"font_px"_s, screen.pixelSize},
                               {u"scale"_s, screen.scale},
                               {u"theme"_s, screen.theme},
                               {u"font"_s, screen.font},
                               {u"half"_s, (uchar(hash[0]) & 1) == 0 ? u"A"_s : u"B"_s},
                               {u"source"_s, fields[2]},
                               {u"text"_s, screen.truth}};
        });
}
