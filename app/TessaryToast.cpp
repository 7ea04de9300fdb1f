#include "app/TessaryToast.h"

#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

#include "app/localization/TessaryLocalized.h"
#include "app/toast/ToastCompositing.h"
#include "app/toast/ToastNotification.h"
#include "app/toast/ToastPanel.h"
#include "app/toast/ToastPlacement.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace Tessary {

namespace {

bool isNativeWayland()
{
    return QGuiApplication::platformName().startsWith(u"wayland");
}

QList<ToastScreen> currentScreens(qsizetype *primaryIndex)
{
    QList<ToastScreen> screens;
    const QList<QScreen *> all = QGuiApplication::screens();
    *primaryIndex = all.indexOf(QGuiApplication::primaryScreen());
    for (const QScreen *screen : all) {
        screens.append({.geometry = screen->geometry(), .availableGeometry = screen->availableGeometry()});
    }
    return screens;
}

} // namespace

TessaryToast::TessaryToast(const UserDefaults &defaults, QObject *parent)
    : QObject(parent)
    , m_defaults(defaults)
{
    m_dismissTimer.setSingleShot(true);
    // A coarse timer may fire up to 5 % early.
    m_dismissTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_dismissTimer, &QTimer::timeout, this, &TessaryToast::dismiss);
}

TessaryToast::~TessaryToast() = default;

QColor TessaryToast::systemGreen()
{
    return QColor(0x34, 0xC7, 0x59);
}

QColor TessaryToast::systemOrange()
{
    return QColor(0xFF, 0x95, 0x00);
}

QColor TessaryToast::progressColor()
{
    return QColor(0x0A, 0x84, 0xFF);
}

void TessaryToast::showCopied(qsizetype characterCount, bool polished, const QStringList &codeKinds)
{
    const QString language = tessaryStoredLanguage(m_defaults);
    const QString title = polished ? tessaryLocalized(u"润色完成，已复制到剪贴板"_s, language)
                                   : tessaryLocalized(u"识别成功，已复制到剪贴板"_s, language);
    QStringList kinds;
    for (const QString &kind : codeKinds) {
        kinds.append(tessaryLocalized(kind, language));
    }
    const QString detail = kinds.isEmpty()
                               ? tessaryFormat(tessaryLocalized(u"%d 个字 · 按 ⌘V 粘贴"_s, language), characterCount)
                               : tessaryFormat(tessaryLocalized(u"%@ · 按 ⌘V 粘贴"_s, language), kinds.join(u", "_s));
    show(title, detail, u"checkmark.circle.fill"_s, systemGreen());
}

void TessaryToast::showFailure(const QString &title, const std::optional<QString> &reason)
{
    present(title, reason, u"exclamationmark.triangle.fill"_s, systemOrange(), failureDismissDelay());
}

void TessaryToast::showProgress(const QString &title)
{
    present(title, std::nullopt, u"sparkles"_s, progressColor(), std::nullopt);
    m_showingProgress = true;
}

void TessaryToast::hideProgress()
{
    if (m_showingProgress) {
        m_dismissTimer.stop();
        dismiss();
    }
}

void TessaryToast::show(const QString &title, const std::optional<QString> &detail, const QString &symbol,
                        const QColor &color)
{
    present(title, detail, symbol, color, dismissDelay());
}

void TessaryToast::present(const QString &title, const std::optional<QString> &detail, const QString &symbol,
                           const QColor &color, std::optional<std::chrono::milliseconds> delay)
{
    m_dismissTimer.stop();
    m_showingProgress = false;

    if (isNativeWayland()) {
        if (!m_notification) {
            m_notification = std::make_unique<ToastNotification>();
        }
        // A notification cannot stay for ever; one minute covers any polish, and the outcome replaces it.
        m_notification->show(title, detail, delay.value_or(std::chrono::minutes(1)));
        return;
    }

    if (!m_panel) {
        m_panel = std::make_unique<ToastPanel>(isCompositingManagerRunning());
    }
    m_panel->setContent({.title = title, .detail = detail, .symbol = symbol, .color = color});

    qsizetype primaryIndex = -1;
    const QList<ToastScreen> screens = currentScreens(&primaryIndex);
    if (const std::optional<QRect> geometry =
            toastGeometry(screens, primaryIndex, m_placementPoint.value_or(QCursor::pos()))) {
        m_panel->setGeometry(*geometry);
    }
    m_panel->show();
    m_panel->raise();
    m_panel->repaint();

    if (delay) {
        m_dismissTimer.start(*delay);
    }
}

std::chrono::milliseconds TessaryToast::dismissDelay() const
{
    if (m_testDelay) {
        return *m_testDelay;
    }
    // The launch preview stays long enough to be looked at: a minute, unless TESSARY_PREVIEW_TOAST_MS says otherwise
    // (tests shorten it).
    if (QCoreApplication::arguments().contains(u"--preview-toast"_s)) {
        const int milliseconds = qEnvironmentVariableIntValue("TESSARY_PREVIEW_TOAST_MS");
        return milliseconds > 0 ? std::chrono::milliseconds(milliseconds) : 60000ms;
    }
    return 1500ms;
}

std::chrono::milliseconds TessaryToast::failureDismissDelay() const
{
    if (m_testDelay) {
        return *m_testDelay;
    }
    return QCoreApplication::arguments().contains(u"--preview-toast"_s) ? 60000ms : 4000ms;
}

void TessaryToast::setDismissDelayForTesting(std::optional<std::chrono::milliseconds> delay)
{
    m_testDelay = delay;
}

QWidget *TessaryToast::panel() const
{
    return m_panel.get();
}

bool TessaryToast::isShowing() const
{
    return m_panel && m_panel->isVisible();
}

void TessaryToast::setPlacementPoint(const std::optional<QPoint> &point)
{
    m_placementPoint = point;
}

void TessaryToast::dismiss()
{
    m_showingProgress = false;
    m_placementPoint.reset();
    if (m_panel) {
        m_panel->hide();
    }
    Q_EMIT dismissed();
}

} // namespace Tessary
