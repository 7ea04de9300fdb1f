// Recognises every image of a screen-text corpus in one process with the engine warm and writes the predictions
// and the timings. The scoring itself is the corpus's own score.py (see bench/ocr/run).

#include <algorithm>
#include <cstdio>

#include <sys/resource.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include "app/recognition/TextRecognizer.h"

using namespace Qt::StringLiterals;

namespace {

double percentile(std::vector<double> values, double p)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const double rank = p * double(values.size() - 1);
    const size_t low = size_t(rank);
    const size_t high = std::min(low + 1, values.size() - 1);
    return values[low] + (values[high] - values[low]) * (rank - double(low));
}

/** Resident memory in MB: now (VmRSS) or the peak so far (VmHWM). */
double residentMegabytes(const QByteArray &field = "VmRSS:")
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(field)) {
            return line.mid(field.size()).trimmed().split(' ').first().toDouble() / 1024.0;
        }
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fputs("usage: tessary-ocr-bench CORPUS_DIR OUT_DIR\n", stderr);
        return 1;
    }
    const QDir corpus(arguments[1]);
    const QDir out(arguments[2]);

    QFile truth(corpus.filePath(u"truth.jsonl"_s));
    if (!truth.open(QIODevice::ReadOnly)) {
        std::fputs("cannot read truth.jsonl\n", stderr);
        return 1;
    }
    QFile predictions(out.filePath(u"predictions.jsonl"_s));
    if (!predictions.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        std::fputs("cannot write predictions.jsonl\n", stderr);
        return 1;
    }

    const double startRss = residentMegabytes();
    QElapsedTimer warmupTimer;
    warmupTimer.start();
    const bool warm = Tessary::TextRecognizer::prewarm();
    const double warmupSeconds = double(warmupTimer.nsecsElapsed()) / 1e9;
    const double warmRss = residentMegabytes();

    std::vector<double> seconds;
    while (!truth.atEnd()) {
        const QByteArray line = truth.readLine().trimmed();
        if (line.isEmpty()) {
            continue;
        }
        const QString file = QJsonDocument::fromJson(line).object().value(u"file"_s).toString();
        QElapsedTimer timer;
        timer.start();
        const auto text = Tessary::TextRecognizer::recognize(corpus.filePath(file));
        seconds.push_back(double(timer.nsecsElapsed()) / 1e9);
        const QJsonObject prediction{{u"file"_s, file},
                                     {u"text"_s, text ? text->text : QString()},
                                     {u"seconds"_s, seconds.back()},
                                     {u"peak_rss_mb"_s, residentMegabytes("VmHWM:")}};
        predictions.write(QJsonDocument(prediction).toJson(QJsonDocument::Compact) + '\n');
    }

    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const QJsonObject timing{
        {u"images"_s, qint64(seconds.size())},
        {u"warmup_seconds"_s, warmupSeconds},
        {u"warmup_recognized"_s, warm},
        {u"p50_seconds"_s, percentile(seconds, 0.5)},
        {u"p90_seconds"_s, percentile(seconds, 0.9)},
        {u"peak_rss_mb"_s, double(usage.ru_maxrss) / 1024.0},
        {u"rss_at_start_mb"_s, startRss},
        {u"rss_after_warmup_mb"_s, warmRss},
    };
    QFile timingFile(out.filePath(u"timing.json"_s));
    if (timingFile.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        timingFile.write(QJsonDocument(timing).toJson());
    }
    std::printf("images=%zu warmup=%.3fs p50=%.3fs p90=%.3fs peak_rss=%.0fMB (%.0fMB at start, %.0fMB warm)\n",
                seconds.size(), warmupSeconds, percentile(seconds, 0.5), percentile(seconds, 0.9),
                double(usage.ru_maxrss) / 1024.0, startRss, warmRss);
    return 0;
}
