#include "app/recognition/ChineseRecovery.h"

#include <algorithm>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/ImagePreparation.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/NeuralLineRecognizer.h"

namespace Tessary::ChineseRecovery {

namespace {

/** Chinese when at least half of what the model read is Chinese characters. */
bool mostlyChinese(const QString &text)
{
    const auto han =
        std::count_if(text.cbegin(), text.cend(), [](QChar c) { return ChineseTextCleanup::isHan(c.unicode()); });
    const auto shown = std::count_if(text.cbegin(), text.cend(), [](QChar c) { return !c.isSpace(); });
    return han > 0 && 2 * han >= shown;
}

/** The ink of the whole image when it holds one line of text: a line no pass found. Null otherwise. */
QRect singleLine(const QImage &image, int background)
{
    const int height = ImagePreparation::lineHeight(image);
    const QRect ink = LineRouting::inkBox(image, image.rect(), background);
    // The ink box has a tenth of its height as margin on either side; two lines and the gap between them are taller.
    return height > 0 && ink.height() < 2 * height ? ink : QRect();
}

} // namespace

void recover(const QImage &image, ScriptChoice::Choice &choice)
{
    if (image.isNull() || !NeuralLineRecognizer::isAvailable()) {
        return;
    }
    const int background = LineRouting::backgroundGrey(image);
    if (choice.pass.lines.isEmpty()) {
        PassLine unfound;
        unfound.box = singleLine(image, background);
        if (unfound.box.isNull()) {
            return;
        }
        choice.pass.lines.append(unfound);
        choice.scripts.append(Script::Latin);
        choice.traditionalText.append(QString());
        choice.otherReading.append(QString());
    }
    for (qsizetype i = choice.pass.lines.size() - 1; i >= 0; --i) {
        PassLine &line = choice.pass.lines[i];
        // Labels, not lines of code or prose: reading every unsure line of a screen of code costs seconds.
        const bool label = line.box.width() <= longestLabel * std::max(1, line.box.height());
        if (choice.scripts[i] != Script::Latin || line.confidence >= unsureBelow || !label) {
            continue;
        }
        const QRect area = LineRouting::inkBox(image, line.box, background);
        const LineReading reading = area.isEmpty() ? LineReading() : NeuralLineRecognizer::read(image.copy(area));
        // A short line of signs ("*/" closing a comment) comes back from Tesseract as unsure letters; the line
        // model reads signs, and where it reads nothing else and is surer, its reading stands.
        if (!line.text.isEmpty() && ChineseTextCleanup::signsOnly(reading.text) &&
            100 * reading.meanConfidence > line.confidence) {
            line.text = reading.text.trimmed();
            line.centres.clear();
            line.words.clear();
            continue;
        }
        if (!mostlyChinese(reading.text)) {
            if (line.text.isEmpty()) {
                choice.removeLine(i);
            }
            continue;
        }
        PassLine chinese;
        chinese.text = reading.text.trimmed();
        chinese.box = line.box;
        chinese.baseline = line.baseline;
        chinese.confidence = 100 * reading.meanConfidence;
        // The model gives a position per code point; the pass keeps one per UTF-16 unit.
        if (reading.centres.size() == chinese.text.size() && reading.text == chinese.text) {
            for (const float centre : reading.centres) {
                chinese.centres.append(centre + float(area.left()));
            }
        }
        choice.scripts[i] = ScriptChoice::scriptOfReading(image, chinese);
        line = std::move(chinese);
    }
}

} // namespace Tessary::ChineseRecovery
