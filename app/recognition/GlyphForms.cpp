#include "app/recognition/GlyphForms.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include <QFont>
#include <QPainter>

#include "app/recognition/GreyLevel.h"

namespace Tessary::GlyphForms {

namespace {

/** The Chinese font the forms are drawn in. */
const char *const chineseFont = "Noto Sans CJK SC";

/** The em size (pixels) at which a glyph of larger text and the forms it may be are compared. */
constexpr int compareAt = 16;

/**
 * The share of the glyph's variance the best drawing must explain for its mix of the forms to count: drawings of the
 * right character explain nine tenths and more; a glyph misread as another character, or looked for at a wrong em,
 * is matched by chance (a fifth to a half).
 */
constexpr double fitsWell = 0.75;

/**
 * How far from half-way between the forms the mix of a glyph that fits well must be to tell its form: a drawing of
 * the glyph's own form is mixed nine tenths of the way and more; where the strokes that differ are a pixel or two
 * (删 and 刪 in bold at 13 px) and the drawing is not quite the screen's, the mix stays near the middle.
 */
constexpr double plainMix = 0.5;

/** Grey levels of a drawn form under which its anti-aliased edge is left out of the compared box. */
constexpr int faintEdge = 24;

/** The tight box of the values above threshold in a grey image; null when there are none. */
QRect inkOf(const QImage &grey, int threshold)
{
    int top = grey.height(), bottom = -1, left = grey.width(), right = -1;
    for (int y = 0; y < grey.height(); ++y) {
        const uchar *row = grey.constScanLine(y);
        for (int x = 0; x < grey.width(); ++x) {
            if (row[x] > threshold) {
                top = std::min(top, y);
                bottom = std::max(bottom, y);
                left = std::min(left, x);
                right = std::max(right, x);
            }
        }
    }
    return bottom < 0 ? QRect() : QRect(QPoint(left, top), QPoint(right, bottom));
}

/** A character drawn bright on black at the given em size, cut to its ink. */
QImage drawn(char16_t character, int em)
{
    const int side = 2 * em + 8;
    QImage image(side, side, QImage::Format_Grayscale8);
    image.fill(0);
    QPainter painter(&image);
    QFont font(QString::fromLatin1(chineseFont));
    font.setPixelSize(std::max(6, em));
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(image.rect(), Qt::AlignCenter, QString(QChar(character)));
    painter.end();
    const QRect ink = inkOf(image, inkContrast);
    return ink.isNull() ? QImage() : image.copy(ink);
}

/** How well the pattern matches the ink at its best place: the highest normalised correlation over every shift. */
double bestMatch(const QImage &ink, const QImage &pattern)
{
    const int tw = pattern.width(), th = pattern.height();
    if (pattern.isNull() || tw > ink.width() || th > ink.height()) {
        return 0;
    }
    const int n = tw * th;
    std::vector<double> t(static_cast<size_t>(n), 0.0);
    double mean = 0;
    for (int y = 0; y < th; ++y) {
        for (int x = 0; x < tw; ++x) {
            t[size_t(y * tw + x)] = pattern.constScanLine(y)[x];
            mean += t[size_t(y * tw + x)];
        }
    }
    mean /= n;
    double norm = 0;
    for (double &v : t) {
        v -= mean;
        norm += v * v;
    }
    if (norm <= 0) {
        return 0;
    }
    double best = -1;
    for (int oy = 0; oy + th <= ink.height(); ++oy) {
        for (int ox = 0; ox + tw <= ink.width(); ++ox) {
            double sum = 0, squares = 0, cross = 0;
            for (int y = 0; y < th; ++y) {
                const uchar *row = ink.constScanLine(oy + y) + ox;
                for (int x = 0; x < tw; ++x) {
                    const double v = row[x];
                    sum += v;
                    squares += v * v;
                    cross += v * t[size_t(y * tw + x)];
                }
            }
            const double variance = squares - sum * sum / n;
            if (variance > 0) {
                best = std::max(best, cross / std::sqrt(variance * norm));
            }
        }
    }
    return best;
}

/** One way the desktop may have drawn the glyph. */
struct Drawing
{
    int size;
    QFont::HintingPreference hinting;
    bool emboldened;
    qreal shift = 0; // of the pen, in pixels: unhinted text stands at fractions of a pixel
};

/** The two forms drawn the same way at the same pen position, cut to their joint ink: the same size each. */
struct FormPair
{
    QImage simplified, traditional;
};

QImage drawnAlone(char16_t character, const Drawing &drawing)
{
    const int side = 2 * drawing.size + 8;
    QImage image(side, side, QImage::Format_Grayscale8);
    image.fill(0);
    QPainter painter(&image);
    QFont font(QString::fromLatin1(chineseFont));
    font.setPixelSize(std::max(6, drawing.size));
    font.setHintingPreference(drawing.hinting);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.translate(drawing.shift, 0);
    painter.drawText(image.rect(), Qt::AlignCenter, QString(QChar(character)));
    painter.end();
    if (drawing.emboldened) {
        // Bold text as the rasteriser makes it from the regular face: each vertical edge a pixel further right.
        for (int y = 0; y < side; ++y) {
            uchar *row = image.scanLine(y);
            for (int x = side - 1; x > 0; --x) {
                row[x] = std::max(row[x], row[x - 1]);
            }
        }
    }
    return image;
}

FormPair drawnPair(char16_t simplifiedForm, char16_t traditionalForm, const Drawing &drawing)
{
    const QImage simplified = drawnAlone(simplifiedForm, drawing);
    const QImage traditional = drawnAlone(traditionalForm, drawing);
    QImage both = simplified;
    for (int y = 0; y < both.height(); ++y) {
        uchar *row = both.scanLine(y);
        const uchar *other = traditional.constScanLine(y);
        for (int x = 0; x < both.width(); ++x) {
            row[x] = std::max(row[x], other[x]);
        }
    }
    const QRect box = inkOf(both, faintEdge);
    return box.isNull() ? FormPair() : FormPair{simplified.copy(box), traditional.copy(box)};
}

/** How the glyph fits a pair of forms at its best place: the share of its variance the fit explains, and the mix. */
struct Fit
{
    double explained = 0;
    double share = 0;
    QPoint at; // where the forms' box stands in the ink
};

/**
 * Fits the ink at every place as an offset plus a gain times a mix of the two forms, by least squares. Where the
 * forms agree the mix does not matter; where one has a stroke the other lacks, the ink says which it is.
 */
Fit fitted(const QImage &ink, const FormPair &pair, const QRect &places)
{
    const int w = pair.simplified.width(), h = pair.simplified.height();
    Fit best;
    if (pair.simplified.isNull() || w > ink.width() || h > ink.height()) {
        return best;
    }
    const double n = double(w) * h;
    std::vector<double> base(size_t(w * h)), difference(size_t(w * h));
    double sumBase = 0, sumDifference = 0, baseBase = 0, differenceDifference = 0, baseDifference = 0;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const double s = pair.simplified.constScanLine(y)[x];
            const double d = double(pair.traditional.constScanLine(y)[x]) - s;
            base[size_t(y * w + x)] = s;
            difference[size_t(y * w + x)] = d;
            sumBase += s;
            sumDifference += d;
            baseBase += s * s;
            differenceDifference += d * d;
            baseDifference += s * d;
        }
    }
    const double bb = baseBase - sumBase * sumBase / n;
    const double dd = differenceDifference - sumDifference * sumDifference / n;
    const double bd = baseDifference - sumBase * sumDifference / n;
    const double determinant = bb * dd - bd * bd;
    if (bb <= 0 || dd <= 0 || determinant <= 1e-9 * bb * dd) {
        return best;
    }
    const QRect within = places.intersected(QRect(0, 0, ink.width() - w + 1, ink.height() - h + 1));
    for (int oy = within.top(); oy <= within.bottom(); ++oy) {
        for (int ox = within.left(); ox <= within.right(); ++ox) {
            double sum = 0, squares = 0, withBase = 0, withDifference = 0;
            for (int y = 0; y < h; ++y) {
                const uchar *row = ink.constScanLine(oy + y) + ox;
                const double *b = base.data() + size_t(y * w);
                const double *d = difference.data() + size_t(y * w);
                for (int x = 0; x < w; ++x) {
                    const double v = row[x];
                    sum += v;
                    squares += v * v;
                    withBase += v * b[x];
                    withDifference += v * d[x];
                }
            }
            const double variance = squares - sum * sum / n;
            if (variance <= 0) {
                continue;
            }
            const double vb = withBase - sum * sumBase / n;
            const double vd = withDifference - sum * sumDifference / n;
            const double gain = (vb * dd - vd * bd) / determinant;
            const double mix = (vd * bb - vb * bd) / determinant;
            const double explained = (gain * vb + mix * vd) / variance;
            if (gain > 0 && explained > best.explained) {
                best.explained = explained;
                best.share = std::clamp(2 * mix / gain - 1, -1.0, 1.0);
                best.at = QPoint(ox, oy);
            }
        }
    }
    return best;
}

/** How much better the Traditional form's whole shape matches the glyph than the Simplified one's, at its best size. */
double wholeShapes(const QImage &glyph, const QList<int> &sizes, char16_t simplifiedForm, char16_t traditionalForm)
{
    const auto match = [&](char16_t form) {
        double best = -1;
        for (const int size : sizes) {
            best = std::max(best, bestMatch(glyph, drawn(form, size)));
        }
        return best;
    };
    return match(traditionalForm) - match(simplifiedForm);
}

/**
 * The glyph with ground around it. A glyph at the edge of a region cut tightly around its text (a label at the edge of
 * the selection) is cut there, and a drawing of a candidate a pixel taller than what the edge leaves of it could stand
 * nowhere. The two forms of one character are compared on the glyph as it is: placed partly over that ground, the
 * drawings of 图 and 圖 fitted a bold 图 leaning Traditional.
 */
QImage withGround(const QImage &ink)
{
    constexpr int margin = 2;
    QImage padded(ink.width() + 2 * margin, ink.height() + 2 * margin, QImage::Format_Grayscale8);
    padded.fill(0);
    for (int y = 0; y < ink.height(); ++y) {
        std::copy_n(ink.constScanLine(y), ink.width(), padded.scanLine(y + margin) + margin);
    }
    return padded;
}

/** The best fit of the glyph among the ways the desktop may have drawn the two forms at about the em size. */
Fit mixOfForms(const QImage &glyph, int em, char16_t simplifiedForm, char16_t traditionalForm)
{
    Fit best;
    bool found = false;
    const auto fitWays = [&](std::initializer_list<Drawing> ways) {
        for (const int size : {em, em - 1, em + 1}) {
            for (Drawing drawing : ways) {
                for (const bool emboldened : {false, true}) {
                    drawing.size = size;
                    drawing.emboldened = emboldened;
                    const FormPair pair = drawnPair(simplifiedForm, traditionalForm, drawing);
                    // The glyph is looked for everywhere once; the other drawings are fitted around where it was found.
                    const Fit fit =
                        fitted(glyph, pair, found ? QRect(best.at - QPoint(2, 2), QSize(5, 5)) : glyph.rect());
                    if (fit.explained > best.explained) {
                        best = fit;
                        found = true;
                    }
                }
            }
        }
    };
    fitWays({{0, QFont::PreferFullHinting, false},
             {0, QFont::PreferVerticalHinting, false},
             {0, QFont::PreferNoHinting, false},
             {0, QFont::PreferNoHinting, false, 0.5}});
    // Unhinted text stands wherever the layout put it: a browser places glyphs at fractions of a pixel, and at 14 px a
    // quarter of a pixel changes which strokes a column holds (數 fitted at whole and half pixels mixes near the
    // middle). Where no drawing so far tells the form plainly, the pen is tried at the quarters too.
    if (best.explained < fitsWell || std::abs(best.share) < plainMix) {
        fitWays({{0, QFont::PreferNoHinting, false, 0.25}, {0, QFont::PreferNoHinting, false, 0.75}});
    }
    return best;
}

} // namespace

double traditionalShare(const QImage &ink, int em, char16_t simplifiedForm, char16_t traditionalForm)
{
    if (ink.isNull() || em <= 0) {
        return 0;
    }
    // Larger text is compared at one size, where an image scaled down (or a blurred one) is as smooth as the forms,
    // and its glyphs have strokes enough to tell the forms apart as a whole.
    if (em > desktopEm) {
        const double scale = double(compareAt) / em;
        const QImage glyph = ink.scaled(std::max(1, int(std::lround(ink.width() * scale))),
                                        std::max(1, int(std::lround(ink.height() * scale))), Qt::IgnoreAspectRatio,
                                        Qt::SmoothTransformation);
        return wholeShapes(glyph, {compareAt}, simplifiedForm, traditionalForm);
    }
    // At desktop sizes the forms are drawn as the desktop draws them, at the screen's own size, where hinting puts
    // their strokes on whole pixels as it did the glyph's: scaling the glyph instead blurs the few pixels that tell a
    // form with more strokes at 12 px; unhinted text is drawn unhinted. The em is known to a pixel or so. Where no
    // drawing fits (another font, an em further off) or the mix does not tell, the whole shapes are compared.
    const Fit fit = mixOfForms(ink, em, simplifiedForm, traditionalForm);
    return fit.explained >= fitsWell && std::abs(fit.share) >= plainMix
               ? fit.share
               : wholeShapes(ink, {em - 1, em, em + 1}, simplifiedForm, traditionalForm);
}

std::optional<double> fittedShare(const QImage &ink, int em, char16_t first, char16_t second)
{
    if (ink.isNull() || em <= 0 || em > desktopEm) {
        return std::nullopt;
    }
    const Fit fit = mixOfForms(withGround(ink), em, first, second);
    return fit.explained >= fitsWell ? std::optional(fit.share) : std::nullopt;
}

double drawnMatch(const QImage &ink, int em, char16_t character)
{
    return ink.isNull() || em <= 0 ? -1 : bestMatch(withGround(ink), drawn(character, em));
}

} // namespace Tessary::GlyphForms
