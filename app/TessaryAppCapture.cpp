// The capture pipeline of TessaryApp: select a region with the capture tool, recognise it off the GUI thread,
// optionally polish it, copy it and announce it.

#include "app/TessaryApp.h"

#include <QAction>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStringDecoder>
#include <QThreadPool>
#include <QTimer>
#include <QUuid>

#include "app/GraphemeCount.h"
#include "app/TessaryPreferences.h"
#include "app/TessaryToast.h"
#include "app/localization/FailureMessages.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/AIKeychain.h"
#include "app/recognition/RecognitionStop.h"
#include "app/recognition/TextRecognizer.h"
#include "app/settings/TessarySettingsWindow.h"
#include "core/TextPolisher.h"
#include "platform/bundle/BundleLayout.h"
#include "platform/capture/CaptureSelectionEnd.h"
#include "platform/clipboard/Clipboard.h"
#include "platform/session/PlatformSession.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

/** What the capture tool writes to standard error when it may not read the screen. */
constexpr auto noScreenAccess = "could not create image from rect";

/** How long the engines stay loaded after the last capture. */
constexpr int defaultEngineIdleSeconds = 180;

QString temporaryCapturePath()
{
    return QDir::tempPath() + u"/tessary-"_s + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + u".png"_s;
}

QString decodedErrorOutput(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(bytes);
    return decoder.hasError() ? QString() : text.trimmed();
}

} // namespace

void TessaryApp::beginCapture(bool polish)
{
    const bool replacing = m_recognition != nullptr;
    if (m_captureInProgress && !replacing) {
        return;
    }
    if (polish) {
        const auto key = AIKeychain::read();
        if (!key) {
            m_settingsWindow->show(TessarySettingsWindow::AIPolishing);
            showStatus(u"请先在设置中保存 AI Key"_s);
            // A missing key is what the settings window shows; a keyring that failed needs its reason said.
            if (key.error().status != KeychainError::ItemNotFound) {
                m_toast->showFailure(localized(u"AI 润色无法开始"_s),
                                     tessaryLocalizedMessage(key.error().description, m_preferences->language()));
            }
            return;
        }
    }
    beginRun(polish);
    setCaptureItemsEnabled(false);
    showStatus(u"框选要识别的区域"_s);

    m_capturePath = temporaryCapturePath();
    auto *tool = new QProcess(this);
    m_captureTool = tool;
    tool->setProcessChannelMode(QProcess::ForwardedOutputChannel);
    const QString path = m_capturePath;
    connect(tool, &QProcess::finished, this, [this, tool, path](int exitCode, QProcess::ExitStatus exitStatus) {
        tool->deleteLater();
        m_captureTool = nullptr;
        if (exitStatus == QProcess::NormalExit && exitCode == 0 && QFile::exists(path)) {
            m_toast->setPlacementPoint(captureSelectionEnd(path));
            recognizeCapture(path);
            return;
        }
        const QString error = decodedErrorOutput(tool->readAllStandardError());
        QFile::remove(path);
        captureFailed(error);
    });
    connect(tool, &QProcess::errorOccurred, this, [this, tool](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart) {
            return;
        }
        tool->deleteLater();
        m_captureTool = nullptr;
        endCapture();
        const QString reason = u"无法运行截图工具“%1”。"_s.arg(tool->program());
        showStatus(tessaryFormat(u"截图启动失败：%@"_s, reason));
        showFailure(u"截图失败"_s, reason);
    });
    tool->start(BundleLayout::helperExecutable(), {u"screencapture"_s, u"-i"_s, u"-x"_s, u"-t"_s, u"png"_s, path});
}

void TessaryApp::beginRun(bool polish)
{
    stopRecognition();
    if (m_engineRelease != nullptr) {
        m_engineRelease->stop();
    }
    prepareEngines();
    m_polishAfterCapture = polish;
    m_captureInProgress = true;
}

void TessaryApp::recognizeCapture(const QString &path, ImageOrigin origin)
{
    stopEngineWarmUp();
    QPointer<TessaryApp> self(this);
    auto stop = std::make_shared<RecognitionStop>();
    m_recognition = stop;
    showStatus(u"正在识别文字…"_s);
    // While the text is read, a new capture may start: it stops this recognition.
    setCaptureItemsEnabled(true);
    QThreadPool::globalInstance()->start([self, path, origin, stop] {
        auto outcome = TextRecognizer::recognize(path, stop.get());
        if (origin != ImageOrigin::UserFile) {
            QFile::remove(path);
        }
        if (!outcome && origin != ImageOrigin::UserFile) {
            // A temporary file's name means nothing to the user; the loader's message names where the image came from.
            RecognitionError error = outcome.error();
            error.description.replace(QFileInfo(path).absoluteFilePath(),
                                      origin == ImageOrigin::Clipboard ? u"剪贴板图像"_s : u"所选区域"_s);
            outcome = unexpected(std::move(error));
        }
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, stop, outcome = std::move(outcome)] {
                // A recognition that was stopped for a new capture, or by quitting, has nobody to tell.
                if (self && self->m_recognition == stop) {
                    self->m_recognition.reset();
                    self->finishRecognition(outcome);
                }
            },
            Qt::QueuedConnection);
    });
}

void TessaryApp::stopRecognition()
{
    if (m_recognition != nullptr) {
        m_recognition->cancel();
        m_recognition.reset();
    }
}

void TessaryApp::scheduleEngineRelease()
{
    if (m_engineRelease == nullptr) {
        bool valid = false;
        const int seconds = qEnvironmentVariableIntValue("TESSARY_ENGINE_IDLE_SECONDS", &valid);
        m_engineRelease = new QTimer(this);
        m_engineRelease->setSingleShot(true);
        m_engineRelease->setInterval(std::chrono::seconds(valid && seconds >= 0 ? seconds : defaultEngineIdleSeconds));
        connect(m_engineRelease, &QTimer::timeout, this, &TessaryApp::releaseEngines);
    }
    m_engineRelease->start();
}

void TessaryApp::releaseEngines()
{
    // Only idle engines go, in a few milliseconds; a capture starting later loads them again.
    if (m_captureInProgress) {
        return;
    }
    stopEngineWarmUp();
    TextRecognizer::releaseEngines();
    m_enginesReleased = true;
}

void TessaryApp::prepareEngines()
{
    if (!m_enginesReleased) {
        return;
    }
    m_enginesReleased = false;
    // Freshly loaded engines read their first image slower: the memory they read in and the libraries' code went
    // back to the system with them and come back page by page. Reading the warm-up image once brings most of it
    // back now, unless the capture's own recognition starts first.
    auto warmUp = std::make_shared<RecognitionStop>();
    m_engineWarmUp = warmUp;
    QThreadPool::globalInstance()->start([warmUp] {
        TextRecognizer::loadEngines();
        TextRecognizer::prewarm(warmUp.get());
    });
}

void TessaryApp::stopEngineWarmUp()
{
    if (m_engineWarmUp != nullptr) {
        m_engineWarmUp->cancel();
        m_engineWarmUp.reset();
    }
}

void TessaryApp::captureFailed(const QString &toolError)
{
    m_capturePath.clear();
    if (toolError.contains(QLatin1String(noScreenAccess))) {
        requestScreenCaptureAccess();
        endCapture();
        showStatus(u"请允许屏幕录制后重新打开应用"_s);
        showFailure(u"截图失败"_s, u"请允许屏幕录制后重新打开应用"_s);
        return;
    }
    endCapture();
    if (toolError.isEmpty()) {
        // The user pressed Escape: nothing to announce.
        showStatus(u"已取消截图"_s);
        return;
    }
    const QString reason = FailureMessages::captureTool(toolError);
    showStatus(reason);
    showFailure(u"截图失败"_s, reason);
}

void TessaryApp::finishRecognition(const Result<Recognition, RecognitionError> &outcome)
{
    m_capturePath.clear();
    if (!outcome) {
        endCapture();
        showStatus(tessaryFormat(u"识别失败：%@"_s, outcome.error().description));
        showFailure(u"识别失败"_s, outcome.error().description);
        return;
    }
    const QString text = outcome->text;
    if (text.isEmpty()) {
        endCapture();
        showStatus(u"未识别到文字"_s);
        showFailure(u"未识别到文字"_s, u"剪贴板未更改。"_s);
        return;
    }
    // A code's content (a link, a number) is copied as it is: there is no writing to polish.
    if (!m_polishAfterCapture || outcome->isCode()) {
        finishCopied(text, false, outcome->codeKinds);
        return;
    }

    showStatus(u"正在 AI 润色…"_s);
    setCaptureItemsEnabled(false);
    m_toast->showProgress(localized(u"正在 AI 润色…"_s));
    const QString baseURL = m_preferences->aiBaseURL();
    const QString model = m_preferences->aiModel();
    const QString prompt = m_preferences->polishPrompt();
    const auto key = AIKeychain::read();
    if (!key) {
        polishFailed(key.error().status == KeychainError::ItemNotFound ? u"请先保存 AI Key。"_s
                                                                       : key.error().description);
        return;
    }
    PolishReply *reply = TextPolisher::polish(text, baseURL, model, prompt, *key, *m_session);
    connect(reply, &PolishReply::finished, this, [this, reply](const PolishResult &result) {
        reply->deleteLater();
        if (result) {
            finishCopied(*result, true);
            return;
        }
        polishFailed(FailureMessages::polish(result.error()));
    });
}

void TessaryApp::polishFailed(const QString &reason)
{
    // The recognised text is not copied: the clipboard keeps what it held, and the toast says so.
    endCapture();
    showStatus(tessaryFormat(u"AI 润色失败：%@"_s, reason));
    showFailure(u"AI 润色失败"_s, tessaryFormat(u"剪贴板未更改。%@"_s, reason));
}

void TessaryApp::showFailure(const QString &titleKey, const QString &reason)
{
    const QString language = m_preferences->language();
    m_toast->showFailure(tessaryLocalized(titleKey, language),
                         reason.isEmpty() ? std::nullopt : std::optional(tessaryLocalizedMessage(reason, language)));
}

void TessaryApp::finishCopied(const QString &text, bool polished, const QStringList &codeKinds)
{
    const bool copied = m_clipboard->setText(text);
    endCapture();
    if (copied) {
        showStatus(!codeKinds.isEmpty() ? u"已复制二维码/条形码内容"_s
                   : polished           ? u"已复制润色文字"_s
                                        : u"已复制识别文字"_s);
        m_toast->showCopied(graphemeCount(text), polished, codeKinds);
        return;
    }
    showStatus(u"复制到剪贴板失败"_s);
    showFailure(u"复制到剪贴板失败"_s);
}

void TessaryApp::endCapture()
{
    m_captureInProgress = false;
    setCaptureItemsEnabled(true);
    scheduleEngineRelease();
}

void TessaryApp::abandonCapture()
{
    // Quitting in the middle of a capture: the tool goes and so does its file, and a recognition stops at its next
    // line.
    stopRecognition();
    if (m_captureTool != nullptr) {
        m_captureTool->disconnect(this);
        m_captureTool->kill();
        m_captureTool->waitForFinished(2000);
    }
    if (!m_capturePath.isEmpty()) {
        QFile::remove(m_capturePath);
    }
}

} // namespace Tessary
