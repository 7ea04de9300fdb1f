#include "app/recognition/ScreenImageLoader.h"

#include <cstdio>
#include <mutex>

#include <sys/mman.h>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QLoggingCategory>
#include <QPainter>

using namespace Qt::StringLiterals;

namespace Tessary::ScreenImageLoader {

namespace {

Q_LOGGING_CATEGORY(lcLoader, "tessary.recognition.loader", QtInfoMsg)

/**
 * Qt reports the size of a GIF's first frame, but decodes every frame onto the logical screen the file's header
 * declares, which may be far larger: that screen is what the image costs. Invalid for other files.
 */
QSize gifLogicalScreen(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray header = file.read(10);
    if (header.size() < 10 || !(header.startsWith("GIF87a") || header.startsWith("GIF89a"))) {
        return {};
    }
    const auto byte = [&header](int i) { return int(uchar(header[i])); };
    return QSize(byte(6) | byte(7) << 8, byte(8) | byte(9) << 8);
}

/**
 * What the decoders write to standard error while one image is decoded, caught instead of shown: libpng reports
 * a damaged file with "libpng error: …" on the process's standard error before Qt hears of it. The descriptor is
 * the process's, so decodings take turns; lines other threads write meanwhile are caught too and passed on
 * afterwards (to the debug log, with the decoders' own).
 */
class DecoderOutputCatch final
{
public:
    DecoderOutputCatch()
        : m_lock(s_mutex)
    {
        std::fflush(stderr);
        m_caught = memfd_create("tessary-decoder-output", MFD_CLOEXEC);
        m_saved = m_caught >= 0 ? dup(STDERR_FILENO) : -1;
        if (m_saved >= 0) {
            dup2(m_caught, STDERR_FILENO);
        }
    }

    ~DecoderOutputCatch()
    {
        if (m_saved >= 0) {
            std::fflush(stderr);
            dup2(m_saved, STDERR_FILENO);
            close(m_saved);
            QByteArray text(4096, '\0');
            const ssize_t length = pread(m_caught, text.data(), size_t(text.size()), 0);
            if (length > 0) {
                qCDebug(lcLoader).noquote() << "decoder output:" << text.left(length).trimmed();
            }
        }
        if (m_caught >= 0) {
            close(m_caught);
        }
    }

    DecoderOutputCatch(const DecoderOutputCatch &) = delete;
    DecoderOutputCatch &operator=(const DecoderOutputCatch &) = delete;

private:
    static inline std::mutex s_mutex;
    std::lock_guard<std::mutex> m_lock;
    int m_caught = -1;
    int m_saved = -1;
};

/** Qt's image plugins log their complaints ("Corrupt JPEG data…") as warnings; the loader's error says it. */
void quietImagePlugins()
{
    static std::once_flag once;
    std::call_once(once, [] {
        static QLoggingCategory::CategoryFilter previous = nullptr;
        previous = QLoggingCategory::installFilter([](QLoggingCategory *category) {
            if (previous != nullptr) {
                previous(category);
            }
            if (qstrncmp(category->categoryName(), "qt.gui.imageio", 14) == 0) {
                category->setEnabled(QtWarningMsg, false);
                category->setEnabled(QtInfoMsg, false);
            }
        });
    });
}

Unexpected<RecognitionError> failure(RecognitionError::Code code, const QString &description)
{
    return unexpected(RecognitionError{code, description});
}

} // namespace

Result<QImage, RecognitionError> load(const QString &path)
{
    using Code = RecognitionError::Code;
    const QFileInfo info(path);
    const QString shown = QFileInfo(path).absoluteFilePath();
    if (!info.exists()) {
        return failure(Code::FileNotFound, u"找不到文件“%1”。"_s.arg(shown));
    }
    if (!info.isFile()) {
        return failure(Code::NotAFile, u"“%1”不是图像文件。"_s.arg(shown));
    }
    if (!info.isReadable()) {
        return failure(Code::Unreadable, u"没有读取“%1”的权限。"_s.arg(shown));
    }

    quietImagePlugins();
    QImageReader reader(path);
    reader.setAutoTransform(true);
    if (!reader.canRead()) {
        return failure(Code::NotAnImage, u"“%1”不是可以识别的图像文件。"_s.arg(shown));
    }
    QSize declared = reader.size();
    if (const QSize screen = gifLogicalScreen(path); !screen.isEmpty()) {
        declared = declared.expandedTo(screen);
    }
    if (declared.isValid()) {
        if (declared.isEmpty()) {
            return failure(Code::EmptyImage,
                           u"图像“%1”没有像素（%2 × %3）。"_s.arg(shown).arg(declared.width()).arg(declared.height()));
        }
        if (declared.width() > maximumSide || declared.height() > maximumSide ||
            qint64(declared.width()) * declared.height() > maximumPixels) {
            return failure(
                Code::ImageTooLarge,
                u"图像“%1”太大（%2 × %3 像素），无法识别。"_s.arg(shown).arg(declared.width()).arg(declared.height()));
        }
    }
    // The header check above already bounds the size; lift Qt's own limit so large screens still load.
    reader.setAllocationLimit(int(maximumPixels * 4 / (1024 * 1024)) + 1);
    QImage image;
    {
        const DecoderOutputCatch caught;
        image = reader.read();
    }
    if (image.isNull()) {
        if (reader.error() == QImageReader::InvalidDataError ||
            reader.error() == QImageReader::UnsupportedFormatError) {
            return failure(Code::NotAnImage, u"无法读取图像“%1”：文件已损坏或格式不受支持。"_s.arg(shown));
        }
        return failure(Code::NotAnImage, u"无法读取图像“%1”。"_s.arg(shown));
    }
    if (image.width() > maximumSide || image.height() > maximumSide ||
        qint64(image.width()) * image.height() > maximumPixels) {
        return failure(Code::ImageTooLarge,
                       u"图像“%1”太大（%2 × %3 像素），无法识别。"_s.arg(shown).arg(image.width()).arg(image.height()));
    }
    return image;
}

QImage opaque(const QImage &image, const QColor &behind)
{
    if (!image.hasAlphaChannel()) {
        return image.convertToFormat(QImage::Format_RGB888);
    }
    QImage composited(image.size(), QImage::Format_RGB888);
    composited.setDevicePixelRatio(image.devicePixelRatio());
    composited.fill(behind);
    QPainter painter(&composited);
    painter.drawImage(0, 0, image);
    painter.end();
    return composited;
}

} // namespace Tessary::ScreenImageLoader
