#pragma once

#include <array>
#include <functional>
#include <optional>

#include <QColor>
#include <QIcon>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

#include "appearance/NativeAccentPalette.h"

class QPalette;
class QWidget;

namespace Tessary {

class UserDefaults;

/**
 * The user's accent palette: remembers the selection in the user defaults, builds and caches one application icon
 * per palette, installs the selected palette's icon as the application's window icon and tints windows with the
 * palette's colour.
 *
 * The host supplies the defaults key, the default palette and the icon artwork; the controller knows nothing else
 * of it. A stored value that is not a palette's raw value is ignored (the default palette shows) and stays in the
 * file until the user picks a palette.
 *
 * GUI thread only. The defaults must outlive the controller.
 */
class NativeAppAppearance final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(Tessary::NativeAccentPalette selection READ selection WRITE select NOTIFY selectionChanged)
    Q_PROPERTY(QColor accent READ accent NOTIFY selectionChanged)
    Q_PROPERTY(QIcon applicationIcon READ applicationIcon NOTIFY applicationIconChanged)
public:
    /** Draws the application icon in a palette; runs at most once per palette for the controller's lifetime. */
    using IconBuilder = std::function<QIcon(NativeAccentPalette)>;

    /** Reads the selection; writes nothing and leaves the application's icon alone (see applyApplicationIcon()). */
    NativeAppAppearance(NativeAccentPalette defaultPalette, const QString &defaultsKey, UserDefaults &defaults,
                        IconBuilder iconBuilder, QObject *parent = nullptr);
    ~NativeAppAppearance() override;

    NativeAccentPalette selection() const;
    QString defaultsKey() const;

    /** The selected palette's colour. */
    QColor accent() const;

    /** The icon of the selected palette. */
    QIcon applicationIcon();

    /** The icon of a palette, built on first use and kept. */
    QIcon icon(NativeAccentPalette palette);

    /**
     * Makes palette the selection: stores its raw value, announces selectionChanged and applicationIconChanged and
     * installs its icon as the application's window icon. Selecting the current palette does nothing at all.
     */
    void select(NativeAccentPalette palette);

    /** Installs the selected palette's icon as the application's window icon (once at launch). */
    void applyApplicationIcon();

    /**
     * The accent roles of a palette for the given colour: Highlight, HighlightedText and links of the active and
     * inactive groups. Only those roles are set, so a widget given it keeps following the application's palette
     * (light or dark) for everything else; disabled selections stay grey.
     */
    static QPalette accentPalette(const QColor &accent);

    /**
     * Tints a window (and its children) with the selected palette's colour, now and after every change. The windows
     * it opens (menus, drop-down lists, dialogs: any window whose parent chain leads to it) are tinted when they show.
     * Their own palettes are replaced by accentPalette(): tint windows that set no palette roles of their own.
     */
    void tint(QWidget *window);

Q_SIGNALS:
    void selectionChanged(Tessary::NativeAccentPalette selection);
    /** The application icon changed (a new selection); a tray icon or other view of it can follow. */
    void applicationIconChanged(const QIcon &icon);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void installWindowIcon();
    void tintWindowsOf(QWidget *window);

    QString m_defaultsKey;
    UserDefaults &m_defaults;
    IconBuilder m_iconBuilder;
    NativeAccentPalette m_selection;
    std::array<std::optional<QIcon>, 6> m_icons;
    QList<QPointer<QWidget>> m_tintedWindows;
};

} // namespace Tessary
