// Images the user already has, recognised as a capture is: the one on the clipboard and a file chosen in a dialog.

#include "app/TessaryApp.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QImageReader>
#include <QMimeDatabase>
#include <QStandardPaths>
#include <QUuid>

#include "app/localization/TessaryLocalized.h"
#include "platform/clipboard/Clipboard.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

/** The offered image type the loader reads, PNG first (lossless, and what screenshot tools offer); empty if none. */
QString readableImageType(const QStringList &offered)
{
    const QList<QByteArray> readable = QImageReader::supportedMimeTypes();
    if (offered.contains(u"image/png"_s) && readable.contains("image/png")) {
        return u"image/png"_s;
    }
    for (const QString &type : offered) {
        if (readable.contains(type.toLatin1())) {
            return type;
        }
    }
    return {};
}

/** "*.png *.jpg …": the file names of every image type the loader reads. */
QString readableImagePatterns()
{
    const QMimeDatabase types;
    QStringList patterns;
    for (const QByteArray &name : QImageReader::supportedMimeTypes()) {
        for (const QString &pattern : types.mimeTypeForName(QString::fromLatin1(name)).globPatterns()) {
            if (!patterns.contains(pattern)) {
                patterns.append(pattern);
            }
        }
    }
    return patterns.join(u' ');
}

/** A new file for the clipboard's image, readable by this user only; empty when none could be written. */
QString writeTemporaryImage(const QByteArray &bytes, const QString &type)
{
    QString suffix = QMimeDatabase().mimeTypeForName(type).preferredSuffix();
    const QString path = QDir::tempPath() + u"/tessary-"_s +
                         QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + u'.' +
                         (suffix.isEmpty() ? u"img"_s : suffix);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly, QFile::ReadOwner | QFile::WriteOwner)) {
        return {};
    }
    if (file.write(bytes) != bytes.size() || !file.flush()) {
        file.remove();
        return {};
    }
    return path;
}

} // namespace

void TessaryApp::setCaptureItemsEnabled(bool enabled)
{
    m_captureItem->setEnabled(enabled);
    m_polishItem->setEnabled(enabled);
    m_imageFileItem->setEnabled(enabled);
    updateClipboardImageItem();
}

void TessaryApp::updateClipboardImageItem()
{
    if (m_clipboardImageItem == nullptr) {
        return;
    }
    m_clipboardImageItem->setEnabled(m_captureItem->isEnabled() && m_clipboardHasImage);
}

void TessaryApp::clipboardChanged()
{
    m_clipboardHasImage = !readableImageType(m_clipboard->imageTypes()).isEmpty();
    updateClipboardImageItem();
}

void TessaryApp::recognizeClipboardImage()
{
    // As for a capture: ignored while a region is selected or text polished, replacing a running recognition.
    if (m_captureInProgress && m_recognition == nullptr) {
        return;
    }
    const QString type = readableImageType(m_clipboard->imageTypes());
    const QByteArray bytes = type.isEmpty() ? QByteArray() : m_clipboard->data(type);
    // The owner may have changed the clipboard since the menu was shown, or may not answer.
    const QString path = bytes.isEmpty() ? QString() : writeTemporaryImage(bytes, type);
    if (path.isEmpty()) {
        clipboardChanged();
        const QString reason = bytes.isEmpty() ? u"剪贴板中没有图像。"_s : u"剪贴板图像无法写入临时文件。"_s;
        showStatus(tessaryFormat(u"识别失败：%@"_s, reason));
        showFailure(u"识别失败"_s, reason);
        return;
    }
    beginRun(false);
    m_capturePath = path;
    recognizeCapture(path, ImageOrigin::Clipboard);
}

void TessaryApp::chooseImageFile()
{
    if (m_imageDialog != nullptr) {
        m_imageDialog->raise();
        m_imageDialog->activateWindow();
        return;
    }
    // XDG names a pictures folder even where none was made; the dialog would offer its name as the file's.
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    auto *dialog = new QFileDialog(nullptr, localized(u"选择要识别的图像"_s),
                                   QDir(pictures).exists() ? pictures : QDir::homePath(),
                                   localized(u"图像文件"_s) + u" ("_s + readableImagePatterns() + u')');
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, &TessaryApp::recognizeImageFile);
    connect(this, &QObject::destroyed, dialog, &QObject::deleteLater);
    m_imageDialog = dialog;
    dialog->open();
}

void TessaryApp::recognizeImageFile(const QString &path)
{
    if (m_captureInProgress && m_recognition == nullptr) {
        return;
    }
    beginRun(false);
    // The user's own file: nothing to clean up, whatever happens.
    m_capturePath.clear();
    recognizeCapture(path, ImageOrigin::UserFile);
}

} // namespace Tessary
