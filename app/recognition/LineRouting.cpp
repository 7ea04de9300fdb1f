#include "app/recognition/LineRouting.h"

#include <algorithm>
#include <cmath>

#include <QGuiApplication>

#include "app/recognition/ChineseRecovery.h"
#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/DoubledHyphens.h"
#include "app/recognition/DroppedMarks.h"
#include "app/recognition/GreyLevel.h"
#include "app/recognition/MonospaceSpacing.h"
#include "app/recognition/NeuralLineRecognizer.h"
#include "app/recognition/PunctuationWidth.h"
#include "app/recognition/QuoteShapes.h"
#include "app/recognition/ReadingVote.h"
#include "app/recognition/ScriptVariants.h"
#include "app/recognition/UnderscoreRecovery.h"

namespace Tessary::LineRouting {

namespace {

using ChineseTextCleanup::allHan;
using ChineseTextCleanup::hasHan;

/**
 * A line of Chinese characters only that holds fewer of them than its width has room for: Tesseract drops a
 * character of a small label now and then and keeps its ink in the line's box. Each character is about an em wide,
 * and its ink about nine tenths of an em high.
 */
bool lostCharacters(const PassLine &line)
{
    const QString text = QString(line.text).remove(u' ');
    if (line.box.height() <= 0 || !allHan(text)) {
        return false;
    }
    const double room = line.box.width() / (line.box.height() / 0.92);
    return double(text.size()) < room - 0.75;
}

/**
 * The line model's reading of one line, with punctuation widths and word spaces settled; empty when it read nothing.
 * reading receives what the model read, its places in the image's pixels.
 */
QString readAgain(const QImage &image, const PassLine &line, int background, LineReading &reading)
{
    const QRect area = inkBox(image, line.box, background);
    if (area.isEmpty()) {
        return {};
    }
    const QImage crop = image.copy(area);
    reading = NeuralLineRecognizer::read(crop);
    if (reading.text.trimmed().isEmpty()) {
        return {};
    }
    QString text = reading.text;
    QList<float> centres = reading.centres;
    DoubledHyphens::restore(text, centres, crop, background);
    QuoteShapes::settle(text, centres, crop, background);
    text = PunctuationWidth::settle(text, centres, crop, background);
    // Settling keeps the length, so the centres still match.
    text = restoreWordSpaces(text, centres, area.left(), line);
    // The model's places of characters, from here on in the image's pixels.
    for (float &centre : reading.centres) {
        centre += float(area.left());
    }
    return ChineseTextCleanup::removeSpacesBetweenCjk(text.trimmed());
}

/**
 * Text with no Chinese anywhere has no full-width punctuation either; the models now and then write it for a comma
 * with a space after it in monospaced code, whose room looks like a full-width cell. A mark that stood for its
 * space too gets it back.
 */
QString halfWidthPunctuation(const QString &text)
{
    QString plain;
    plain.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text.at(i).unicode();
        if (c < 0xFF01 || c > 0xFF5E) {
            plain.append(text.at(i));
            continue;
        }
        const QChar ascii(char16_t(c - 0xFF01 + u'!'));
        plain.append(ascii);
        const bool separator = ascii == u',' || ascii == u';' || ascii == u':' || ascii == u'!' || ascii == u'?';
        if (separator && i + 1 < text.size() && text.at(i + 1).isLetterOrNumber()) {
            plain.append(u' ');
        }
    }
    return plain;
}

/** Whether the pass's reading of a line in a Chinese script is to be read again by the line model. */
bool needsAgain(const PassLine &line, Script script, float simplifiedSure)
{
    return line.confidence < unsureBelow || lostCharacters(line) ||
           (script == Script::Simplified && hasHan(line.text) && line.confidence < simplifiedSure);
}

/** A short line of Chinese characters only, as interface labels are. */
bool isLabel(const PassLine &line)
{
    return allHan(line.text) && line.box.width() <= ChineseRecovery::longestLabel * std::max(1, line.box.height());
}

bool hasLatinLetter(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80 && c.isLetter(); });
}

/**
 * text, the finished reading of a line mixing Chinese and Latin words, with the Chinese characters of each word
 * Tesseract is plainly unsure of replaced by what the line model reads at the same place. A long line's confidence is
 * the mean of its words', so one misread character (翰 for 輸, 审 for 串) hides among the many read well, while the
 * rest of the line is better left as Tesseract read it: it reads the Latin words beside the Chinese, their quotes and
 * brackets, better than the line model. A word is replaced only where the line model read as many Chinese characters
 * there. In lines of Chinese alone such a word was as often read worse as better (資料夾 as 資料爽), so they stay.
 */
QString withUnsureWordsReadAgain(const QImage &image, const PassLine &line, const QString &text, int background)
{
    const auto unsure = [](const PassWord &word) { return word.confidence < unsureWordBelow && hasHan(word.text); };
    if (std::none_of(line.words.cbegin(), line.words.cend(), unsure) || !NeuralLineRecognizer::isAvailable()) {
        return text;
    }
    // Only the part of the line that holds those words is read, with two characters on either side.
    const double cell = line.box.height() / 0.9;
    int left = line.box.right(), right = line.box.left();
    for (const PassWord &word : line.words) {
        if (unsure(word)) {
            left = std::min(left, word.box.left() - int(2 * cell));
            right = std::max(right, word.box.right() + int(2 * cell));
        }
    }
    const QRect part(QPoint(std::max(left, line.box.left()), line.box.top()),
                     QPoint(std::min(right, line.box.right()), line.box.bottom()));
    const QRect area = inkBox(image, part, background);
    if (area.isEmpty()) {
        return text;
    }
    const LineReading reading = NeuralLineRecognizer::read(image.copy(area));
    if (reading.centres.size() != reading.text.size()) {
        return text;
    }
    // The line model places a character within about a quarter of a cell of its ink.
    const double margin = cell / 4;
    QString spliced = text;
    qsizetype from = 0;
    std::vector<bool> used(size_t(reading.text.size()), false);
    for (const PassWord &word : line.words) {
        QString han;
        for (const QChar c : word.text) {
            if (ChineseTextCleanup::isHan(c.unicode())) {
                han.append(c);
            }
        }
        const qsizetype at = han.isEmpty() ? -1 : spliced.indexOf(han, from);
        if (at < 0) {
            continue;
        }
        from = at + han.size();
        if (!unsure(word) || !word.text.contains(han)) {
            continue;
        }
        QString read;
        QList<size_t> taken;
        for (qsizetype i = 0; i < reading.text.size(); ++i) {
            const double x = reading.centres[i] + area.left();
            if (x >= word.box.left() - margin && x <= word.box.right() + margin && !used[size_t(i)] &&
                ChineseTextCleanup::isHan(reading.text.at(i).unicode())) {
                read.append(reading.text.at(i));
                taken.append(size_t(i));
            }
        }
        // Each character the line model read stands for one character of the line.
        if (read.size() == han.size()) {
            spliced.replace(at, han.size(), read);
            for (const size_t i : taken) {
                used[i] = true;
            }
        }
    }
    return spliced;
}

} // namespace

QString finishedLine(const QImage &image, const PassLine &line, int background)
{
    QString text = line.text;
    QList<float> centres = line.centres;
    if (centres.size() != text.size() || line.box.isEmpty()) {
        return ChineseTextCleanup::cleanLine(text);
    }
    const double pitch = UnderscoreRecovery::pitchOf(text, centres);
    if (pitch > 0 && line.baseline >= 0) {
        UnderscoreRecovery::dropPhantoms(image, line.box, line.baseline, pitch, background, text, centres);
        const auto runs = UnderscoreRecovery::findRuns(image, line.box, line.baseline, pitch, background);
        UnderscoreRecovery::apply(runs, pitch, text, centres);
    }
    MonospaceSpacing::dropSpacesWithoutRoom(text, centres);
    const QRect area = inkBox(image, line.box, background);
    for (float &centre : centres) {
        centre -= float(area.left());
    }
    const QImage crop = image.copy(area);
    DoubledHyphens::restore(text, centres, crop, background);
    DroppedMarks::restore(text, centres, crop, background);
    QuoteShapes::settle(text, centres, crop, background);
    text = PunctuationWidth::settle(text, centres, crop, background);
    return ChineseTextCleanup::removeSpacesBetweenCjk(text).trimmed();
}

int backgroundGrey(const QImage &image)
{
    if (image.isNull()) {
        return 255;
    }
    std::vector<int> border;
    border.reserve(size_t(2 * (image.width() + image.height())));
    const uchar *first = image.constScanLine(0);
    const uchar *last = image.constScanLine(image.height() - 1);
    for (int x = 0; x < image.width(); ++x) {
        border.push_back(greyAt(first, x));
        border.push_back(greyAt(last, x));
    }
    for (int y = 0; y < image.height(); ++y) {
        border.push_back(greyAt(image.constScanLine(y), 0));
        border.push_back(greyAt(image.constScanLine(y), image.width() - 1));
    }
    std::nth_element(border.begin(), border.begin() + long(border.size() / 2), border.end());
    return border[border.size() / 2];
}

QRect inkBox(const QImage &image, const QRect &box, int background)
{
    const QRect area = box.intersected(image.rect());
    int top = area.bottom() + 1, bottom = -1, left = area.right() + 1, right = -1;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const uchar *row = image.constScanLine(y);
        for (int x = area.left(); x <= area.right(); ++x) {
            if (std::abs(greyAt(row, x) - background) > inkContrast) {
                top = std::min(top, y);
                bottom = std::max(bottom, y);
                left = std::min(left, x);
                right = std::max(right, x);
            }
        }
    }
    QRect ink = bottom < 0 ? area : QRect(QPoint(left, top), QPoint(right, bottom));
    const int margin = std::max(1, int(std::lround(0.1 * ink.height())));
    return ink.adjusted(-margin, -margin, margin, margin).intersected(image.rect());
}

QString restoreWordSpaces(const QString &text, const QList<float> &centres, int cropLeft, const PassLine &line)
{
    if (centres.size() != text.size() || line.words.size() < 2) {
        return text;
    }
    // A space is about a quarter of a Chinese character's cell; letters of one word stand much closer.
    const double cell = line.box.height() / 0.9;
    QString spaced = text;
    for (qsizetype w = line.words.size() - 1; w > 0; --w) {
        if (line.words[w - 1].box.isNull() || line.words[w].box.isNull()) {
            continue;
        }
        const int gapStart = line.words[w - 1].box.right() + 1;
        const int gapEnd = line.words[w].box.left() - 1;
        if (gapEnd - gapStart + 1 < 0.2 * cell) {
            continue;
        }
        const double middle = (gapStart + gapEnd) / 2.0 - cropLeft;
        qsizetype at = 0;
        while (at < centres.size() && centres[at] < middle) {
            ++at;
        }
        if (at > 0 && at < text.size() && !text.at(at - 1).isSpace() && !text.at(at).isSpace()) {
            spaced.insert(at, u' ');
        }
    }
    return spaced;
}

bool hasChinese(const RecognitionPass &pass)
{
    return std::any_of(pass.lines.cbegin(), pass.lines.cend(), [](const PassLine &line) { return hasHan(line.text); });
}

QStringList refinedLines(const QImage &image, const RecognitionPass &pass, Script script)
{
    return refinedLines(image, pass, QList<Script>(pass.lines.size(), script));
}

QStringList refinedLines(const QImage &image, const RecognitionPass &pass, const QList<Script> &scripts,
                         const QStringList &otherReadings, QList<LineReading> *modelReadings)
{
    if (modelReadings != nullptr) {
        *modelReadings = QList<LineReading>(pass.lines.size());
    }
    QStringList lines;
    QList<qsizetype> again;
    QList<bool> voting(pass.lines.size(), false);
    const int background = backgroundGrey(image);
    const auto chineseLines =
        std::count_if(pass.lines.cbegin(), pass.lines.cend(), [](const PassLine &line) { return hasHan(line.text); });
    const float simplifiedSure = chineseLines >= 2 ? simplifiedUnsureBelow : 101;
    for (qsizetype i = 0; i < pass.lines.size(); ++i) {
        const PassLine &line = pass.lines[i];
        const Script script = i < scripts.size() ? scripts[i] : Script::Latin;
        lines.append(script == Script::Latin ? halfWidthPunctuation(finishedLine(image, line, background))
                                             : finishedLine(image, line, background));
        const bool unsure = script != Script::Latin && needsAgain(line, script, simplifiedSure);
        // A label is read by the line model where it would be anyway, or where the other pass's reading makes three.
        voting[i] = script != Script::Latin && i < otherReadings.size() && isLabel(line) &&
                    (unsure || isLabel(PassLine{.text = otherReadings[i], .box = line.box}));
        if (voting[i] || unsure) {
            again.append(i);
        } else if (script != Script::Latin && hasLatinLetter(line.text)) {
            lines.last() = withUnsureWordsReadAgain(image, line, lines.last(), background);
        }
    }
    if (again.isEmpty() || !NeuralLineRecognizer::isAvailable()) {
        PunctuationWidth::matchBracketsAcrossLines(lines);
        return lines;
    }

    // Glyphs are drawn to be compared only where there is a font database.
    const bool drawsGlyphs = qobject_cast<QGuiApplication *>(QCoreApplication::instance()) != nullptr;
    // One line after the other with one network: a second network in parallel costs its own buffers (tens of
    // megabytes) and gains nothing while Tesseract's passes or other programs keep the cores busy.
    QStringList readings;
    LineReading raw;
    for (const qsizetype i : again) {
        readings.append(readAgain(image, pass.lines[i], background, raw));
        if (modelReadings != nullptr) {
            (*modelReadings)[i] = std::move(raw);
        }
        raw = {};
    }
    for (qsizetype k = 0; k < again.size(); ++k) {
        // Tesseract reads Latin text better than the line model; a Latin line it is unsure of is only replaced when
        // the line model sees Chinese there (Tesseract turns Chinese it cannot read into Latin letters).
        const PassLine &line = pass.lines[again[k]];
        const bool latin = !hasHan(line.text);
        // Nor does a reading stand that drops characters Tesseract kept.
        PassLine reading = line;
        reading.text = readings[k];
        const bool dropped = lostCharacters(reading) && !lostCharacters(line);
        const bool taken = !readings[k].isEmpty() && (!latin || hasHan(readings[k])) && !dropped;
        const qsizetype i = again[k];
        if (!voting[i]) {
            lines[i] = taken ? readings[k] : lines[i];
            continue;
        }
        // A label: the reading that would stand, corrected where the two others agree against it. The line model's
        // reading does not stand where it has fewer characters than every pass that read the line found.
        const Script script = i < scripts.size() ? scripts[i] : Script::Latin;
        const bool shorter = readings[k].size() < line.text.size() &&
                             (otherReadings[i].isEmpty() || readings[k].size() < otherReadings[i].size());
        if (taken && !shorter && needsAgain(line, script, simplifiedSure)) {
            lines[i] = line.confidence >= ReadingVote::votesFrom
                           ? ReadingVote::voted(readings[k], otherReadings[i], line.text)
                           : readings[k];
        } else {
            lines[i] = ReadingVote::voted(lines[i], otherReadings[i], readings[k]);
        }
        // Forms only Traditional text has, as the Traditional pass read them or as the Simplified pass's reading is
        // written in Traditional text (图 for the 圓 two models took 圖 for), come back where the glyph shows them.
        const auto restore = [&](const QString &forms) {
            // The label's characters share its width equally.
            const double pitch = double(line.box.width()) / double(forms.size());
            const auto shows = [&](qsizetype at, QChar form, QChar read) {
                const QPoint centre(int(std::lround(line.box.left() + (double(at) + 0.5) * pitch)),
                                    line.box.center().y());
                return ScriptChoice::traditionalLikeness(image, centre, int(std::lround(pitch)), background,
                                                         read.unicode(), form.unicode()) > 0;
            };
            lines[i] = ReadingVote::withTraditionalForms(lines[i], forms, shows);
        };
        if (script == Script::Traditional && line.confidence >= ReadingVote::votesFrom && drawsGlyphs) {
            restore(line.text);
            restore(ScriptVariants::toTraditional(otherReadings[i], line.text));
        }
    }
    PunctuationWidth::matchBracketsAcrossLines(lines);
    return lines;
}

} // namespace Tessary::LineRouting
