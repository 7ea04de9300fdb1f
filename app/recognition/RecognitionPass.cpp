#include "app/recognition/RecognitionPass.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include <dlfcn.h>

#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>
#include <tesseract/resultiterator.h>

#include "app/recognition/GreyLevel.h"
#include "app/recognition/RecognitionStop.h"
#include "app/recognition/TesseractPool.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

/**
 * Debian's Tesseract is built with OpenMP and spreads each recognition over every core; on small screenshots that
 * is several times slower than one thread, and we get our parallelism from overlapping recognitions instead.
 * OMP_THREAD_LIMIT would do, but the OpenMP runtime reads it while it is loaded, before main() runs, and Tesseract
 * asks for its thread counts explicitly. Allowing no active parallel level makes every region run on the calling
 * thread alone. The setting belongs to the calling thread, so every thread that recognises makes it once. A limit
 * the user set in the environment is left to the runtime.
 */
void limitEngineThreads()
{
    using SetMaxActiveLevels = void (*)(int);
    static const auto setLevels = [] {
        const bool userChose =
            qEnvironmentVariableIsSet("OMP_THREAD_LIMIT") || qEnvironmentVariableIsSet("OMP_MAX_ACTIVE_LEVELS");
        return userChose ? nullptr
                         : reinterpret_cast<SetMaxActiveLevels>(dlsym(RTLD_DEFAULT, "omp_set_max_active_levels"));
    }();
    thread_local bool limited = false;
    if (setLevels != nullptr && !limited) {
        setLevels(0);
        limited = true;
    }
}

QString takeText(char *text)
{
    const std::unique_ptr<char[]> owned(text);
    return owned ? QString::fromUtf8(owned.get()) : QString();
}

QString trimmedEnd(const QString &text)
{
    qsizetype end = text.size();
    while (end > 0 && text.at(end - 1).isSpace()) {
        --end;
    }
    return text.left(end);
}

/**
 * Which of the positions of placed form the longest chain from left to right. Two characters never share a
 * position, so a repeated one counts as out of order too.
 */
std::vector<bool> inOrder(const QList<float> &centres, const std::vector<qsizetype> &placed)
{
    const size_t n = placed.size();
    std::vector<int> length(n, 1), previous(n, -1);
    size_t bestEnd = 0;
    for (size_t a = 0; a < n; ++a) {
        for (size_t b = 0; b < a; ++b) {
            if (centres[placed[b]] < centres[placed[a]] && length[b] + 1 > length[a]) {
                length[a] = length[b] + 1;
                previous[a] = int(b);
            }
        }
        if (length[a] > length[bestEnd]) {
            bestEnd = a;
        }
    }
    std::vector<bool> member(n, false);
    for (int k = n == 0 ? -1 : int(bestEnd); k >= 0; k = previous[size_t(k)]) {
        member[size_t(k)] = true;
    }
    return member;
}

} // namespace

QList<PlacedSymbol> symbolsOf(const PassLine &line)
{
    QList<PlacedSymbol> symbols;
    for (const PassWord &word : line.words) {
        symbols.append(word.symbols);
    }
    return symbols;
}

QList<float> characterCentres(const QString &text, const QList<PlacedSymbol> &symbols)
{
    QList<float> centres(text.size(), -1);
    qsizetype at = 0;
    for (const PlacedSymbol &symbol : symbols) {
        while (at < text.size() && text.at(at).isSpace()) {
            ++at;
        }
        if (symbol.text.isEmpty() || QStringView(text).mid(at, symbol.text.size()) != symbol.text) {
            return {};
        }
        for (qsizetype i = 0; i < symbol.text.size(); ++i) {
            centres[at++] = symbol.centre;
        }
    }
    // The engine places a character now and then far from its ink; positions that break the left-to-right order
    // of the rest are dropped and filled in from their neighbours like white space.
    std::vector<qsizetype> placed;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!text.at(i).isSpace() && !text.at(i).isLowSurrogate()) {
            placed.push_back(i);
        }
    }
    const std::vector<bool> ordered = inOrder(centres, placed);
    for (size_t k = 0; k < placed.size(); ++k) {
        const qsizetype i = placed[k];
        if (!ordered[k]) {
            centres[i] = -1;
            if (i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
                centres[i + 1] = -1;
            }
        }
    }
    // Several characters in a row at (nearly) one position were not really placed: they are spread out like white
    // space.
    for (size_t k = 0; k + 1 < placed.size();) {
        size_t end = k;
        while (end + 1 < placed.size() && centres[placed[end + 1]] >= 0 && centres[placed[k]] >= 0 &&
               std::abs(centres[placed[end + 1]] - centres[placed[end]]) < 1.0f) {
            ++end;
        }
        if (end > k && centres[placed[k]] >= 0) {
            for (size_t j = k; j <= end; ++j) {
                centres[placed[j]] = -1;
                if (placed[j] + 1 < text.size() && text.at(placed[j] + 1).isLowSurrogate()) {
                    centres[placed[j] + 1] = -1;
                }
            }
        }
        k = end + 1;
    }
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (centres[i] >= 0) {
            continue;
        }
        qsizetype next = i;
        while (next < text.size() && centres[next] < 0) {
            ++next;
        }
        const float before = i > 0 ? centres[i - 1] : (next < text.size() ? centres[next] : 0);
        const float after = next < text.size() ? centres[next] : before;
        for (qsizetype k = i; k < next; ++k) {
            centres[k] = before + (after - before) * float(k - i + 1) / float(next - i + 1);
        }
        i = next - 1;
    }
    return centres;
}

namespace {

/** What the engine's monitor asks: the caller's own flag and the recognition's stop. */
struct Stops
{
    const std::atomic<bool> *own;
    const RecognitionStop *outer;

    bool requested() const { return (own != nullptr && own->load()) || (outer != nullptr && outer->isRequested()); }
};

/** Images up to about a 4K screen are read whole; larger ones in bands of about this many pixels. */
constexpr qint64 wholeImagePixels = 9'000'000;
constexpr qint64 bandPixels = 4'000'000;

/** A row of one shade (within a few grey levels): the room between two text lines. */
bool plainRow(const QImage &image, int y)
{
    const uchar *row = image.constScanLine(y);
    int darkest = 255, lightest = 0;
    for (int x = 0; x < image.width(); ++x) {
        const int grey = greyAt(row, x);
        darkest = std::min(darkest, grey);
        lightest = std::max(lightest, grey);
    }
    return lightest - darkest <= 24;
}

/**
 * Where the band that starts at top ends (exclusive): the whole image when it is small, else a run of plain rows
 * in the last third of a band of bandPixels, so that no line is cut (at the band's full height when there is none).
 */
int bandEnd(const QImage &image, int top)
{
    if (!readInBands(image.size())) {
        return image.height();
    }
    const int height = std::max(64, int(bandPixels / std::max(1, image.width())));
    if (top + height >= image.height()) {
        return image.height();
    }
    for (int y = top + height - 2; y > top + 2 * height / 3; --y) {
        if (plainRow(image, y - 1) && plainRow(image, y) && plainRow(image, y + 1)) {
            return y;
        }
    }
    return top + height;
}

void moveDown(PassLine &line, int top)
{
    line.box.translate(0, top);
    line.baseline = line.baseline >= 0 ? line.baseline + top : -1;
    for (PassWord &word : line.words) {
        word.box.translate(0, top);
    }
}

/** Appends to the pass every line the engine read in its last recognition. */
void collectLines(tesseract::TessBaseAPI &engine, RecognitionPass &pass)
{
    const std::unique_ptr<tesseract::ResultIterator> lines(engine.GetIterator());
    if (lines == nullptr || lines->Empty(tesseract::RIL_TEXTLINE)) {
        return;
    }
    do {
        PassLine line;
        line.text = trimmedEnd(takeText(lines->GetUTF8Text(tesseract::RIL_TEXTLINE)));
        if (line.text.trimmed().isEmpty()) {
            continue;
        }
        int left = 0, top = 0, right = 0, bottom = 0;
        if (lines->BoundingBox(tesseract::RIL_TEXTLINE, &left, &top, &right, &bottom)) {
            line.box = QRect(QPoint(left, top), QPoint(right - 1, bottom - 1));
        }
        int x1 = 0, y1 = 0, x2 = 0, y2 = 0;
        if (lines->Baseline(tesseract::RIL_TEXTLINE, &x1, &y1, &x2, &y2)) {
            line.baseline = (y1 + y2) / 2;
        }
        line.confidence = lines->Confidence(tesseract::RIL_TEXTLINE);
        do {
            if (lines->IsAtBeginningOf(tesseract::RIL_WORD) || line.words.isEmpty()) {
                PassWord word;
                word.text = takeText(lines->GetUTF8Text(tesseract::RIL_WORD));
                word.confidence = lines->Confidence(tesseract::RIL_WORD);
                if (lines->BoundingBox(tesseract::RIL_WORD, &left, &top, &right, &bottom)) {
                    word.box = QRect(QPoint(left, top), QPoint(right - 1, bottom - 1));
                }
                line.words.append(word);
            }
            if (lines->BoundingBox(tesseract::RIL_SYMBOL, &left, &top, &right, &bottom)) {
                line.words.last().symbols.append({takeText(lines->GetUTF8Text(tesseract::RIL_SYMBOL)),
                                                  float(left + right) / 2, lines->Confidence(tesseract::RIL_SYMBOL)});
            }
        } while (!lines->IsAtFinalElement(tesseract::RIL_TEXTLINE, tesseract::RIL_SYMBOL) &&
                 lines->Next(tesseract::RIL_SYMBOL));
        line.centres = characterCentres(line.text, symbolsOf(line));
        pass.lines.append(line);
    } while (lines->Next(tesseract::RIL_TEXTLINE));
}

} // namespace

Result<RecognitionPass, RecognitionError> runRecognitionPass(const QByteArray &languages, const QImage &image,
                                                             const std::atomic<bool> *stop)
{
    limitEngineThreads();
    RecognitionStop *outer = RecognitionStop::current();
    if (outer != nullptr && outer->isRequested()) {
        return unexpected(stoppedError(*outer));
    }
    const auto borrowed = RecognitionStop::Clock::now();
    TesseractPool::Lease engine = TesseractPool::shared().borrow(languages);
    if (outer != nullptr) {
        outer->postpone(RecognitionStop::Clock::now() - borrowed);
    }
    if (!engine) {
        return unexpected(RecognitionError{RecognitionError::Code::EngineUnavailable,
                                           u"无法加载文字识别模型（%1）。"_s.arg(QString::fromLatin1(languages))});
    }
    // The engine asks after every word whether to go on: the caller's flag, the recognition's stop.
    const Stops stops{stop, outer};
    tesseract::ETEXT_DESC monitor;
    monitor.cancel = [](void *both, int) { return static_cast<const Stops *>(both)->requested(); };
    monitor.cancel_this = const_cast<Stops *>(&stops);

    RecognitionPass pass;
    pass.languages = languages;
    // A large image is read in bands: the engine's copies of the whole (the colour page, its grey and binary
    // forms, several bytes a pixel) would otherwise dominate the memory of a recognition.
    for (int top = 0; top < image.height();) {
        const int bottom = bandEnd(image, top);
        const bool whole = top == 0 && bottom == image.height();
        const QImage band = whole ? image : image.copy(0, top, image.width(), bottom - top);
        engine->SetImage(band.constBits(), band.width(), band.height(), 3, int(band.bytesPerLine()));
        const int status = engine->Recognize(&monitor);
        if (outer != nullptr && outer->isRequested()) {
            return unexpected(stoppedError(*outer));
        }
        if (status != 0) {
            return unexpected(
                RecognitionError{RecognitionError::Code::EngineFailed, u"文字识别引擎未能处理这张图像。"_s});
        }
        const qsizetype first = pass.lines.size();
        collectLines(*engine.get(), pass);
        for (qsizetype i = first; i < pass.lines.size() && top > 0; ++i) {
            moveDown(pass.lines[i], top);
        }
        top = bottom;
    }
    // The mean over every word read, as the engine counts it for one image.
    double sum = 0;
    int count = 0;
    for (const PassLine &line : pass.lines) {
        for (const PassWord &word : line.words) {
            sum += word.confidence;
            ++count;
        }
    }
    pass.meanConfidence = count == 0 ? 0 : int(sum / count);
    return pass;
}

bool readInBands(const QSize &size)
{
    return qint64(size.width()) * size.height() > wholeImagePixels;
}

RecognitionError stoppedError(const RecognitionStop &stop)
{
    if (stop.reason() == RecognitionStop::Reason::Cancelled) {
        return RecognitionError{RecognitionError::Code::Cancelled, u"识别已停止。"_s};
    }
    return RecognitionError{RecognitionError::Code::TimedOut, u"用时过长，已停止。"_s};
}

} // namespace Tessary
