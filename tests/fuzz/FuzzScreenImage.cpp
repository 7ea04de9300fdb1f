// An image file given to "--ocr-file" or "--benchmark-ocr-file": header checks, then decoding.
#include <cstdint>
#include <cstdlib>

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImageReader>
#include <QTemporaryDir>

#include "app/recognition/ScreenImageLoader.h"

namespace {
QString s_path;
}

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication application(*argc, *argv);
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/fuzz-image-XXXXXX"));
    s_path = dir.filePath(QStringLiteral("input"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QFile file(s_path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(reinterpret_cast<const char *>(data), qint64(size)) != qint64(size)) {
        std::abort();
    }
    file.close();
    // Decoding a large image takes seconds under the sanitizers; how large images fare is measured in bench/, and
    // the fuzzer spends its time on the formats instead.
    const QSize declared = QImageReader(s_path).size();
    if (qint64(declared.width()) * declared.height() > 4'000'000) {
        return -1;
    }
    const auto image = Tessary::ScreenImageLoader::load(s_path);
    if (image ? image->isNull() : image.error().description.isEmpty()) {
        std::abort();
    }
    return 0;
}
