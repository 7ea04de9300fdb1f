#pragma once

#include <QImage>
#include <QList>
#include <QStringList>

#include "app/recognition/RecognitionError.h"
#include "app/recognition/RecognitionPass.h"
#include "core/Result.h"

namespace Tessary {

/** What a line of text was found to be written in, which decides how it is read again and written out. */
enum class Script {
    Latin,       // no pass found Chinese: Tesseract's reading stands
    Simplified,  // Chinese, best read with the Simplified models
    Traditional, // Chinese, best read with the Traditional models
};

/**
 * Which reading of each line stands: the Simplified, Traditional and English passes read the same image, and the
 * script is settled line by line. Where the two Chinese readings of a line differ by a character that is written
 * differently in the two scripts (给 and 給), the glyph on the screen is compared with both forms drawn in a Chinese
 * font: Traditional forms have more strokes, and each model writes its own script whatever the screen shows. Lines
 * without such a character follow the lines around them; an image without any follows the confidence of the passes.
 */
namespace ScriptChoice {

using Reading = Result<RecognitionPass, RecognitionError>;

/** The lines chosen from the passes, each with its script. */
struct Choice
{
    RecognitionPass pass;
    QList<Script> scripts;       // one per line of pass
    QStringList traditionalText; // per line, the Traditional pass's reading of it, or empty
    QStringList otherReading;    // per line, the reading of the Chinese pass not taken where it has a vote, or empty

    /** Removes line i of pass and what is kept of it beside. */
    void removeLine(qsizetype i)
    {
        pass.lines.removeAt(i);
        for (auto *perLine : {&traditionalText, &otherReading}) {
            if (i < perLine->size()) {
                perLine->removeAt(i);
            }
        }
        if (i < scripts.size()) {
            scripts.removeAt(i);
        }
    }
};

/**
 * Chooses among the passes' readings of image (RGB888, dark text on light ground): any of them may be missing (an
 * error). Fails only when every one is.
 */
Result<Choice, RecognitionError> choose(const QImage &image, Reading simplified, Reading traditional, Reading english);

/**
 * How much more the glyph around centre, of about the given em size, looks like traditionalForm than like
 * simplifiedForm (GlyphForms::traditionalShare): above 0 when it is more like the Traditional form.
 */
double traditionalLikeness(const QImage &image, QPoint centre, int em, int background, char16_t simplifiedForm,
                           char16_t traditionalForm);

/** The glyph around centre and what is around it, bright on black, as the glyph comparisons take it. */
QImage glyphInk(const QImage &image, QPoint centre, int em, int background);

/**
 * The script of a Chinese line read by a model that writes Simplified characters whatever the screen shows: its
 * glyphs compared with the Traditional forms of its Simplified-only characters. Simplified when it has none;
 * Traditional when the reading holds Traditional forms, unless its glyphs are clearly more like the Simplified ones.
 */
Script scriptOfReading(const QImage &image, const PassLine &line);

/**
 * The scripts of lines of Chinese characters only (labels) settled again from their glyphs, where the passes did not
 * compare them: a Simplified line whose reading took a Traditional-only form the chosen pass did not read, from the
 * other pass's reading (the vote on a label's three readings, where the Simplified pass read 等 for 雙) or from the
 * line model, which writes Simplified forms unless the glyph plainly shows another; and any label whose glyphs of
 * characters written differently in the two scripts plainly show the other script's forms. lines are the readings
 * after the line model and the vote, one per line of pass.
 */
void settleTakenForms(const QImage &image, const RecognitionPass &pass, const QStringList &lines,
                      QList<Script> &scripts);

/**
 * Lines in their own script only: a Simplified line's Traditional-only characters in their Simplified form and the
 * reverse (the line model writes Simplified characters for Traditional glyphs now and then). hints are the
 * Traditional pass's readings, which choose among several Traditional forms.
 */
QStringList inTheirScripts(const QStringList &lines, const QList<Script> &scripts, const QStringList &hints);

} // namespace ScriptChoice

} // namespace Tessary
