#include "app/recognition/ScreenImageLoader.h"

#include <QFileInfo>
#include <QImageReader>

using namespace Qt::StringLiterals;

namespace Tessary::ScreenImageLoader {

namespace {

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

    QImageReader reader(path);
    reader.setAutoTransform(true);
    if (!reader.canRead()) {
        return failure(Code::NotAnImage, u"“%1”不是可以识别的图像文件。"_s.arg(shown));
    }
    const QSize declared = reader.size();
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
    QImage image = reader.read();
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

} // namespace Tessary::ScreenImageLoader
