#include "app/recognition/ImagePreparation.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "app/recognition/GreyLevel.h"
#include "app/recognition/LineRouting.h"

namespace Tessary::ImagePreparation {

namespace {

/** Text lines lower than this (in pixels, ink of a line) are scaled up to about readHeight before reading. */
constexpr int smallText = 16;
constexpr int readHeight = 30;

/** The greys of one row or column, leaving out inset pixels at either end. */
std::vector<int> greys(const QImage &image, int index, bool column, int inset)
{
    std::vector<int> values;
    const int length = column ? image.height() : image.width();
    values.reserve(size_t(std::max(0, length - 2 * inset)));
    for (int i = inset; i < length - inset; ++i) {
        const int x = column ? index : i;
        const int y = column ? i : index;
        values.push_back(greyAt(image.constScanLine(y), x));
    }
    return values;
}

/** The median grey of a row or column when nearly all of it is that grey (compression leaves some noise), else -1. */
int uniformGrey(std::vector<int> values)
{
    if (values.empty()) {
        return -1;
    }
    std::vector<int> sorted = values;
    std::nth_element(sorted.begin(), sorted.begin() + long(sorted.size() / 2), sorted.end());
    const int median = sorted[sorted.size() / 2];
    // Nearly all of it near that grey (compression leaves some noise), and nothing as far off as ink: the top row of
    // a line of text holds only a few dots of ink.
    const auto near =
        std::count_if(values.cbegin(), values.cend(), [median](int v) { return std::abs(v - median) <= 16; });
    const bool inked =
        std::any_of(values.cbegin(), values.cend(), [median](int v) { return std::abs(v - median) > inkContrast; });
    return !inked && double(near) >= 0.97 * double(values.size()) ? median : -1;
}

/** Pixels within this many grey levels of a band's grey are of its colour. */
constexpr int bandNoise = 16;

/** The share of values within bandNoise of grey. */
double shareOf(const std::vector<int> &values, int grey)
{
    const auto near =
        std::count_if(values.cbegin(), values.cend(), [grey](int v) { return std::abs(v - grey) <= bandNoise; });
    return values.empty() ? 0 : double(near) / double(values.size());
}

/**
 * The most common grey (give or take the noise) of the pixels inside inset from every edge (at most a third of the
 * image), from at most about 64K of them: the ground the text stands on, however dense the text.
 */
int groundInside(const QImage &image, int inset)
{
    const int across = std::min(inset, image.width() / 3);
    const int down = std::min(inset, image.height() / 3);
    const QRect inside = image.rect().adjusted(across, down, -across, -down);
    const int step = std::max(1, int(std::sqrt(double(inside.width()) * inside.height() / 65536.0)));
    std::vector<int> histogram(256, 0);
    for (int y = inside.top(); y <= inside.bottom(); y += step) {
        const uchar *row = image.constScanLine(y);
        for (int x = inside.left(); x <= inside.right(); x += step) {
            ++histogram[size_t(greyAt(row, x))];
        }
    }
    int ground = 0;
    int most = -1;
    for (int grey = 0; grey < 256; ++grey) {
        int near = 0;
        for (int v = std::max(0, grey - bandNoise / 2); v <= std::min(255, grey + bandNoise / 2); ++v) {
            near += histogram[size_t(v)];
        }
        if (near > most) {
            most = near;
            ground = grey;
        }
    }
    return ground;
}

/** How many rows (or columns) from one edge inwards belong to bands around the text. */
int bandsFrom(const QImage &image, bool columns, bool fromEnd, bool concentric)
{
    const int count = columns ? image.width() : image.height();
    int previous = -1;
    int cut = 0;
    int k = 0;
    for (; k < count; ++k) {
        const int index = fromEnd ? count - 1 - k : k;
        // Frames and panels go all round: the k-th row from the edge is looked at between the k-th columns.
        const int grey = uniformGrey(greys(image, index, columns, concentric ? k : 0));
        if (grey < 0) {
            break; // text
        }
        if (previous >= 0 && std::abs(grey - previous) > 8) {
            cut = k; // a new band starts here; everything outside it goes
        }
        previous = grey;
    }
    // The band next to the text stays when it is the text's own margin or a panel the text stands on (a title bar
    // with its title): much of the row or column inside it is of its grey, or the text stands on that grey. A
    // band of another grey than both is the edge of a window whose panel reaches the text on this side, and goes
    // too: beside a line, the engines take such a bar for a letter or run the line's first words together.
    if (previous >= 0 && k < count) {
        const std::vector<int> inside = greys(image, fromEnd ? count - 1 - k : k, columns, concentric ? k : 0);
        if (!inside.empty() && shareOf(inside, previous) < 0.2 &&
            std::abs(groundInside(image, k) - previous) > bandNoise) {
            cut = k;
        }
    }
    return cut;
}

QImage invertedWhenDark(QImage image)
{
    qint64 sum = 0;
    for (int y = 0; y < image.height(); ++y) {
        const uchar *row = image.constScanLine(y);
        for (int x = 0; x < image.width(); ++x) {
            sum += greyAt(row, x);
        }
    }
    const qint64 pixels = qint64(image.width()) * image.height();
    if (pixels > 0 && sum / pixels < 128) {
        image.invertPixels();
    }
    return image;
}

/** Grey text on a grey ground (disabled labels, washed-out frames) stretched to the full range. */
QImage stretched(QImage image)
{
    std::vector<int> histogram(256, 0);
    for (int y = 0; y < image.height(); ++y) {
        const uchar *row = image.constScanLine(y);
        for (int x = 0; x < 3 * image.width(); ++x) {
            ++histogram[row[x]];
        }
    }
    const qint64 total = 3 * qint64(image.width()) * image.height();
    int low = 0, high = 255;
    for (qint64 seen = 0; low < 255 && (seen += histogram[size_t(low)]) < total / 500;) {
        ++low;
    }
    for (qint64 seen = 0; high > 0 && (seen += histogram[size_t(high)]) < total / 500;) {
        --high;
    }
    // A range narrower than ink's contrast is a plain ground with noise; text as faint as a third of the range
    // still reads and is stretched.
    if (high - low >= 160 || high - low < inkContrast) {
        return image;
    }
    uchar table[256];
    for (int v = 0; v < 256; ++v) {
        table[v] = uchar(std::clamp((v - low) * 255 / (high - low), 0, 255));
    }
    for (int y = 0; y < image.height(); ++y) {
        uchar *row = image.scanLine(y);
        for (int x = 0; x < 3 * image.width(); ++x) {
            row[x] = table[row[x]];
        }
    }
    return image;
}

} // namespace

std::pair<int, int> edgeBands(const QImage &image, bool columns, bool concentric)
{
    if (image.isNull()) {
        return {0, 0};
    }
    const int start = bandsFrom(image, columns, false, concentric);
    const int end = bandsFrom(image, columns, true, concentric);
    // Bands from edge to edge hold no text to cut them down to.
    return start + end < (columns ? image.width() : image.height()) ? std::make_pair(start, end) : std::make_pair(0, 0);
}

int lineHeight(const QImage &image)
{
    const int background = LineRouting::backgroundGrey(image);
    std::vector<int> heights;
    int run = 0;
    for (int y = 0; y <= image.height(); ++y) {
        bool ink = false;
        if (y < image.height()) {
            const uchar *row = image.constScanLine(y);
            for (int x = 0; x < image.width() && !ink; ++x) {
                ink = std::abs(greyAt(row, x) - background) > inkContrast;
            }
        }
        if (ink) {
            ++run;
        } else if (run > 0) {
            // Punctuation, underlines and dots of a line of their own are too low to be a line of text.
            if (run >= 4) {
                heights.push_back(run);
            }
            run = 0;
        }
    }
    if (heights.empty()) {
        return 0;
    }
    std::nth_element(heights.begin(), heights.begin() + long(heights.size() / 2), heights.end());
    return heights[heights.size() / 2];
}

QImage prepared(const QImage &source)
{
    QImage image = source.convertToFormat(QImage::Format_RGB888);
    // Once the frame's sides that show within the others are cut, the rest show as whole rows and columns.
    for (int round = 0; round < 3; ++round) {
        const auto [top, bottom] = edgeBands(image, false, round == 0);
        const auto [left, right] = edgeBands(image, true, round == 0);
        if (top + bottom + left + right == 0) {
            break;
        }
        image = image.copy(left, top, image.width() - left - right, image.height() - top - bottom);
    }
    return stretched(invertedWhenDark(std::move(image)));
}

double readingScale(const QImage &image)
{
    const int height = lineHeight(image);
    if (height <= 0 || height >= smallText) {
        return 1.0;
    }
    // The engines' memory and time grow with the pixels: small text is scaled up to at most two 4K screens' worth.
    constexpr double largestScaledPixels = 2 * 3840.0 * 2160.0;
    const double room = std::sqrt(largestScaledPixels / (double(image.width()) * image.height()));
    return std::max(1.0, std::min({3.0, double(readHeight) / height, room}));
}

QImage scaled(const QImage &image, double scale)
{
    if (scale == 1.0) {
        return image;
    }
    return image.scaled(int(std::lround(image.width() * scale)), int(std::lround(image.height() * scale)),
                        Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

void scaleBack(RecognitionPass &pass, double scale)
{
    if (scale == 1.0) {
        return;
    }
    const auto x = [scale](double value) { return value / scale; };
    const auto back = [&](const QRect &box) {
        if (box.isNull()) {
            return box;
        }
        const int left = int(std::floor(x(box.left())));
        const int top = int(std::floor(x(box.top())));
        const int right = int(std::ceil(x(box.right() + 1))) - 1;
        const int bottom = int(std::ceil(x(box.bottom() + 1))) - 1;
        return QRect(QPoint(left, top), QPoint(right, bottom));
    };
    for (PassLine &line : pass.lines) {
        line.box = back(line.box);
        line.baseline = line.baseline >= 0 ? int(std::lround(x(line.baseline))) : -1;
        for (float &centre : line.centres) {
            centre = float(x(centre));
        }
        for (PassWord &word : line.words) {
            word.box = back(word.box);
            for (PlacedSymbol &symbol : word.symbols) {
                symbol.centre = float(x(symbol.centre));
            }
        }
    }
}

} // namespace Tessary::ImagePreparation
