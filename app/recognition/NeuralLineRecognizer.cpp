#include "app/recognition/NeuralLineRecognizer.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStringList>
#include <QThread>

#include "app/recognition/DepthwiseConvolution.h"
#include "app/recognition/LastAxisSoftmax.h"
#include "app/recognition/RecognitionStop.h"

using namespace Qt::StringLiterals;

namespace Tessary::NeuralLineRecognizer {

namespace {

constexpr int modelHeight = 48;
/**
 * Lines are narrowed to this share of their width at the model's height. The network's time grows with the width;
 * it was trained on long lines squeezed into a fixed width and reads a Chinese character from 29 instead of 48
 * pixels as well (measured on the corpus; at half width mixed text suffers).
 */
constexpr double squeeze = 0.6;
/** The widest piece of a line read at once, in pixels at the model's height. */
constexpr int longestPiece = 960;
constexpr auto modelFile = "ppocr-v4-rec.onnx";
constexpr auto alphabetFile = "ppocr-keys-v1.txt";

QString modelFolder()
{
    QStringList candidates;
    const QString overridden = qEnvironmentVariable("TESSARY_LINE_MODEL_DIR");
    if (!overridden.isEmpty()) {
        candidates.append(overridden);
    }
    if (QCoreApplication::instance() != nullptr) {
        candidates.append(QCoreApplication::applicationDirPath() + u"/../share/tessary/ocr"_s);
    }
#ifdef TESSARY_BUILD_LINE_MODEL_DIR
    candidates.append(QString::fromUtf8(TESSARY_BUILD_LINE_MODEL_DIR));
#endif
#ifdef TESSARY_INSTALLED_LINE_MODEL_DIR
    candidates.append(QString::fromUtf8(TESSARY_INSTALLED_LINE_MODEL_DIR));
#endif
    for (const QString &folder : candidates) {
        const QDir dir(folder);
        if (dir.exists(QString::fromLatin1(modelFile)) && dir.exists(QString::fromLatin1(alphabetFile))) {
            return dir.absolutePath();
        }
    }
    return {};
}

/** The model's output classes: 0 is the CTC blank, 1..n the alphabet's lines, n+1 a space. */
struct Alphabet
{
    std::vector<QString> symbols;
};

class NetworkPool
{
public:
    static NetworkPool &shared()
    {
        static NetworkPool pool;
        return pool;
    }

    bool available()
    {
        std::call_once(m_located, [this] { locate(); });
        return !m_folder.isEmpty();
    }

    const Alphabet &alphabet() const { return m_alphabet; }

    std::unique_ptr<cv::dnn::Net> borrow()
    {
        if (!available()) {
            return {};
        }
        {
            std::lock_guard lock(m_mutex);
            if (!m_idle.empty()) {
                auto net = std::move(m_idle.back());
                m_idle.pop_back();
                return net;
            }
        }
        try {
            auto net = std::make_unique<cv::dnn::Net>(cv::dnn::readNetFromONNX(
                QFile::encodeName(m_folder + u'/' + QString::fromLatin1(modelFile)).toStdString()));
            if (net->empty()) {
                return {};
            }
            net->setPreferableBackend(cv::dnn::DNN_BACKEND_OPENCV);
            net->setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
            return net;
        } catch (const cv::Exception &) {
            return {};
        }
    }

    void giveBack(std::unique_ptr<cv::dnn::Net> net)
    {
        std::lock_guard lock(m_mutex);
        m_idle.push_back(std::move(net));
    }

    void releaseIdle()
    {
        std::vector<std::unique_ptr<cv::dnn::Net>> idle;
        {
            std::lock_guard lock(m_mutex);
            idle.swap(m_idle);
        }
    }

private:
    void locate()
    {
        const QString folder = modelFolder();
        if (folder.isEmpty()) {
            return;
        }
        QFile keys(folder + u'/' + QString::fromLatin1(alphabetFile));
        if (!keys.open(QIODevice::ReadOnly)) {
            return;
        }
        m_alphabet.symbols.push_back(QString()); // the blank
        for (const QByteArray &line : keys.readAll().split('\n')) {
            const QByteArray symbol = line.endsWith('\r') ? line.chopped(1) : line;
            if (!symbol.isEmpty()) {
                m_alphabet.symbols.push_back(QString::fromUtf8(symbol));
            }
        }
        m_alphabet.symbols.push_back(u" "_s);
        // Lines are read one after the other once both Tesseract passes are done, so the other core is free by
        // then: a network's convolutions split over two threads take about a fifth less time per line. More
        // threads gain nothing on lines this narrow.
        cv::setNumThreads(std::clamp(QThread::idealThreadCount(), 1, 2));
        DepthwiseConvolution::install();
        LastAxisSoftmax::install();
        m_folder = folder;
    }

    std::once_flag m_located;
    QString m_folder;
    Alphabet m_alphabet;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<cv::dnn::Net>> m_idle;
};

/** The crop scaled to the model's height, as a 1 × 3 × 48 × W blob of BGR planes normalised to [-1, 1]. */
cv::Mat blobFrom(const QImage &crop)
{
    const int width =
        std::max(8, int(std::lround(double(crop.width()) * modelHeight / std::max(1, crop.height()) * squeeze)));
    const QImage scaled = crop.convertToFormat(QImage::Format_RGB888)
                              .scaled(width, modelHeight, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const int sizes[] = {1, 3, modelHeight, width};
    cv::Mat blob(4, sizes, CV_32F);
    float *planes = blob.ptr<float>();
    const size_t plane = size_t(modelHeight) * width;
    for (int y = 0; y < modelHeight; ++y) {
        const uchar *row = scaled.constScanLine(y);
        for (int x = 0; x < width; ++x) {
            const size_t at = size_t(y) * width + x;
            // BGR order, as the model was trained.
            planes[at] = float(row[3 * x + 2]) / 127.5f - 1.0f;
            planes[plane + at] = float(row[3 * x + 1]) / 127.5f - 1.0f;
            planes[2 * plane + at] = float(row[3 * x]) / 127.5f - 1.0f;
        }
    }
    return blob;
}

} // namespace

bool isAvailable()
{
    return NetworkPool::shared().available();
}

bool prepare(int count)
{
    NetworkPool &pool = NetworkPool::shared();
    std::vector<std::unique_ptr<cv::dnn::Net>> nets;
    for (int i = 0; i < count; ++i) {
        auto net = pool.borrow();
        if (!net) {
            break;
        }
        nets.push_back(std::move(net));
    }
    const bool prepared = int(nets.size()) == count;
    for (auto &net : nets) {
        pool.giveBack(std::move(net));
    }
    return prepared;
}

void release()
{
    NetworkPool::shared().releaseIdle();
}

namespace {

bool stopRequested()
{
    const RecognitionStop *stop = RecognitionStop::current();
    return stop != nullptr && stop->isRequested();
}

/** Classes a character's reading may be mistaken for: at least this score at one of its steps. */
constexpr float runnerUpFloor = 0.0001f;
constexpr int runnersUpKept = 8;

/**
 * The classes other than chosen (and the blank) that scored at least runnerUpFloor at one of the steps from first
 * to before last, by their best score, likeliest first.
 */
QString runnersUp(const cv::Mat &probabilities, int first, int last, int chosen, const std::vector<QString> &symbols)
{
    const int classes = probabilities.size[2];
    std::vector<std::pair<float, int>> found;
    for (int t = first; t < last; ++t) {
        const float *scores = probabilities.ptr<float>(0, t);
        for (int c = 1; c < classes && c < int(symbols.size()); ++c) {
            if (c == chosen || scores[c] < runnerUpFloor) {
                continue;
            }
            const auto same = std::find_if(found.begin(), found.end(), [c](const auto &f) { return f.second == c; });
            if (same == found.end()) {
                found.emplace_back(scores[c], c);
            } else {
                same->first = std::max(same->first, scores[c]);
            }
        }
    }
    std::sort(found.begin(), found.end(), std::greater<>());
    QString kept;
    for (size_t k = 0; k < found.size() && k < size_t(runnersUpKept); ++k) {
        if (symbols[size_t(found[k].second)].size() == 1) {
            kept += symbols[size_t(found[k].second)];
        }
    }
    return kept;
}

LineReading readPiece(const QImage &crop)
{
    LineReading reading;
    if (stopRequested()) {
        return reading;
    }
    NetworkPool &pool = NetworkPool::shared();
    const auto borrowed = RecognitionStop::Clock::now();
    auto net = pool.borrow();
    if (RecognitionStop *stop = RecognitionStop::current()) {
        stop->postpone(RecognitionStop::Clock::now() - borrowed);
    }
    if (!net) {
        return reading;
    }
    cv::Mat probabilities;
    try {
        net->setInput(blobFrom(crop));
        probabilities = net->forward().clone();
    } catch (const cv::Exception &) {
        pool.giveBack(std::move(net));
        return reading;
    }
    pool.giveBack(std::move(net));

    // Output: 1 × steps × classes of softmax scores. Greedy CTC: best class per step, repeats and blanks dropped.
    const auto &symbols = pool.alphabet().symbols;
    const int steps = probabilities.size[1];
    const int classes = probabilities.size[2];
    // Every step covers 8 pixels of the scaled line; the crop was scaled by modelHeight / crop.height().
    const double pixelsPerStep = 8.0 * crop.height() / modelHeight / squeeze;
    int previous = 0;
    int runStart = 0;
    double sum = 0;
    for (int t = 0; t <= steps; ++t) {
        int best = 0;
        if (t < steps) {
            const float *scores = probabilities.ptr<float>(0, t);
            best = int(std::max_element(scores, scores + classes) - scores);
            if (best != 0 && best != previous && best < int(symbols.size())) {
                reading.text += symbols[size_t(best)];
                reading.confidences.append(scores[best]);
                sum += scores[best];
            }
        }
        if (best != previous) {
            if (previous != 0 && previous < int(symbols.size())) {
                reading.centres.append(float((runStart + t) / 2.0 * pixelsPerStep));
                reading.alternatives.append(runnersUp(probabilities, runStart, t, previous, symbols));
            }
            runStart = t;
        }
        previous = best;
    }
    if (!reading.confidences.isEmpty()) {
        reading.meanConfidence = float(sum / double(reading.confidences.size()));
    }
    return reading;
}

/**
 * Where to cut a line too long for one reading: the middle of the widest blank between the last third of each
 * piece and its end, so that no character is cut. Returns the start column of every piece after the first.
 */
QList<int> cutsOf(const QImage &crop, int longest)
{
    QList<int> cuts;
    if (crop.width() <= longest) {
        return cuts;
    }
    const QImage grey = crop.convertToFormat(QImage::Format_Grayscale8);
    std::vector<int> darkest(size_t(grey.width()), 255);
    int lightest = 0;
    for (int y = 0; y < grey.height(); ++y) {
        const uchar *row = grey.constScanLine(y);
        for (int x = 0; x < grey.width(); ++x) {
            darkest[size_t(x)] = std::min<int>(darkest[size_t(x)], row[x]);
            lightest = std::max<int>(lightest, row[x]);
        }
    }
    auto blank = [&](int x) { return lightest - darkest[size_t(x)] < 48; };
    int start = 0;
    while (grey.width() - start > longest) {
        int best = start + longest, bestLength = 0;
        for (int x = start + longest - 1; x > start + 2 * longest / 3;) {
            if (!blank(x)) {
                --x;
                continue;
            }
            int first = x;
            while (first - 1 > start && blank(first - 1)) {
                --first;
            }
            if (x - first + 1 > bestLength) {
                bestLength = x - first + 1;
                best = (first + x + 1) / 2;
            }
            x = first - 1;
        }
        cuts.append(best);
        start = best;
    }
    return cuts;
}

} // namespace

LineReading read(const QImage &crop)
{
    if (crop.isNull() || crop.width() < 2 || crop.height() < 2) {
        return {};
    }
    // The network's memory grows with the line's width; long lines are read in pieces cut at blanks.
    const int longest = std::max(modelHeight, int(double(longestPiece) * crop.height() / modelHeight / squeeze));
    const QList<int> cuts = cutsOf(crop, longest);
    if (cuts.isEmpty()) {
        return readPiece(crop);
    }
    LineReading whole;
    double sum = 0;
    for (qsizetype i = 0; i <= cuts.size(); ++i) {
        const int left = i == 0 ? 0 : cuts[i - 1];
        const int right = i == cuts.size() ? crop.width() : cuts[i];
        const LineReading piece = readPiece(crop.copy(left, 0, right - left, crop.height()));
        whole.text += piece.text;
        whole.confidences += piece.confidences;
        whole.alternatives += piece.alternatives;
        for (const float centre : piece.centres) {
            whole.centres.append(centre + float(left));
        }
        for (const float confidence : piece.confidences) {
            sum += confidence;
        }
    }
    if (!whole.confidences.isEmpty()) {
        whole.meanConfidence = float(sum / double(whole.confidences.size()));
    }
    return whole;
}

} // namespace Tessary::NeuralLineRecognizer
