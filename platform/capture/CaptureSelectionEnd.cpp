#include "platform/capture/CaptureSelectionEnd.h"

#include <QImage>
#include <QImageReader>
#include <QString>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr auto key = "Selection-End";

} // namespace

void setCaptureSelectionEnd(QImage &image, const QPoint &end)
{
    image.setText(QString::fromLatin1(key), u"%1,%2"_s.arg(end.x()).arg(end.y()));
}

std::optional<QPoint> captureSelectionEnd(const QString &path)
{
    // Only the header is read: the text comes before the pixels.
    QImageReader reader(path);
    const QStringList parts = reader.text(QString::fromLatin1(key)).split(u',');
    bool xValid = false;
    bool yValid = false;
    const QPoint end(parts.value(0).toInt(&xValid), parts.value(1).toInt(&yValid));
    if (parts.size() != 2 || !xValid || !yValid) {
        return std::nullopt;
    }
    return end;
}

} // namespace Tessary
