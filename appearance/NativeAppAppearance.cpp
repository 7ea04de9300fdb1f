#include "appearance/NativeAppAppearance.h"

#include <QGuiApplication>
#include <QPalette>
#include <QPointer>
#include <QWidget>

#include "platform/defaults/UserDefaults.h"

namespace Tessary {

NativeAppAppearance::NativeAppAppearance(NativeAccentPalette defaultPalette, const QString &defaultsKey,
                                         UserDefaults &defaults, IconBuilder iconBuilder, QObject *parent)
    : QObject(parent)
    , m_defaultsKey(defaultsKey)
    , m_defaults(defaults)
    , m_iconBuilder(std::move(iconBuilder))
    , m_selection(NativeAccentPalette::current(defaultPalette, defaultsKey, defaults))
{
}

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
    const auto apply = [window = QPointer<QWidget>(window)](const QColor &accent) {
        if (window == nullptr) {
            return;
        }
        // Only the accent roles are set on the window, so a later change of the application's palette (light or
        // dark) still reaches every other role.
        window->setPalette(accentPalette(accent));
    };
    apply(accent());
    connect(this, &NativeAppAppearance::selectionChanged, window,
            [apply](NativeAccentPalette palette) { apply(palette.color()); });
}

} // namespace Tessary
