#include "appearance/NativeAppAppearance.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QPalette>
#include <QPointer>
#include <QWidget>

#include "platform/defaults/UserDefaults.h"

namespace Tessary {

namespace {

// Whether window was opened from owner: owner is somewhere up its chain of parents.
bool isOpenedFrom(const QWidget *window, const QWidget *owner)
{
    for (const QWidget *parent = window->parentWidget(); parent != nullptr; parent = parent->parentWidget()) {
        if (parent == owner) {
            return true;
        }
    }
    return false;
}

// Only the accent roles are set, so a later change of the application's palette (light or dark) still reaches every
// other role.
void applyTint(QWidget *window, const QPalette &tinted)
{
    window->setPalette(tinted);
    // Item delegates draw with their view's own palette roles over the application's (a drop-down list takes the
    // application's menu palette for every role its view does not set itself), so views get the roles explicitly.
    const QList<QAbstractItemView *> views = window->findChildren<QAbstractItemView *>();
    for (QAbstractItemView *view : views) {
        view->setPalette(tinted);
    }
}

} // namespace

NativeAppAppearance::NativeAppAppearance(NativeAccentPalette defaultPalette, const QString &defaultsKey,
                                         UserDefaults &defaults, IconBuilder iconBuilder, QObject *parent)
    : QObject(parent)
    , m_defaultsKey(defaultsKey)
    , m_defaults(defaults)
    , m_iconBuilder(std::move(iconBuilder))
    , m_selection(NativeAccentPalette::current(defaultPalette, defaultsKey, defaults))
{}

NativeAppAppearance::~NativeAppAppearance() = default;

NativeAccentPalette NativeAppAppearance::selection() const
{
    return m_selection;
}

QString NativeAppAppearance::defaultsKey() const
{
    return m_defaultsKey;
}

QColor NativeAppAppearance::accent() const
{
    return m_selection.color();
}

QIcon NativeAppAppearance::applicationIcon()
{
    return icon(m_selection);
}

QIcon NativeAppAppearance::icon(NativeAccentPalette palette)
{
    std::optional<QIcon> &cached = m_icons[std::size_t(palette.index())];
    if (!cached) {
        cached = m_iconBuilder ? m_iconBuilder(palette) : QIcon();
    }
    return *cached;
}

void NativeAppAppearance::select(NativeAccentPalette palette)
{
    if (palette == m_selection) {
        return;
    }
    m_defaults.setString(m_defaultsKey, palette.rawValue());
    m_selection = palette;
    Q_EMIT selectionChanged(palette);
    installWindowIcon();
}

void NativeAppAppearance::applyApplicationIcon()
{
    installWindowIcon();
}

void NativeAppAppearance::installWindowIcon()
{
    const QIcon icon = applicationIcon();
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()) != nullptr) {
        QGuiApplication::setWindowIcon(icon);
    }
    Q_EMIT applicationIconChanged(icon);
}

QPalette NativeAppAppearance::accentPalette(const QColor &accent)
{
    QPalette palette;
    // A default-constructed palette resolves nothing; only the roles set below override the application's.
    palette.setResolveMask(0);
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
        palette.setColor(group, QPalette::Highlight, accent);
        palette.setColor(group, QPalette::HighlightedText, Qt::white);
        palette.setColor(group, QPalette::Link, accent);
        palette.setColor(group, QPalette::LinkVisited, accent.darker(120));
    }
    return palette;
}

void NativeAppAppearance::tint(QWidget *window)
{
    if (window == nullptr) {
        return;
    }
    if (m_tintedWindows.isEmpty()) {
        // Popups and dialogs are windows of their own and take the application's palette, not their parent's; they
        // are caught as they show.
        QCoreApplication::instance()->installEventFilter(this);
    }
    m_tintedWindows.append(window);
    tintWindowsOf(window);
    connect(this, &NativeAppAppearance::selectionChanged, window, [this, window] { tintWindowsOf(window); });
}

void NativeAppAppearance::tintWindowsOf(QWidget *window)
{
    const QPalette tinted = accentPalette(accent());
    applyTint(window, tinted);
    const QList<QWidget *> windows = QApplication::topLevelWidgets();
    for (QWidget *each : windows) {
        if (isOpenedFrom(each, window)) {
            applyTint(each, tinted);
        }
    }
}

bool NativeAppAppearance::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Show && watched->isWidgetType()) {
        auto *shown = static_cast<QWidget *>(watched);
        if (shown->isWindow()) {
            m_tintedWindows.removeAll(nullptr);
            for (const QPointer<QWidget> &window : std::as_const(m_tintedWindows)) {
                if (isOpenedFrom(shown, window)) {
                    applyTint(shown, accentPalette(accent()));
                    break;
                }
            }
        }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace Tessary
