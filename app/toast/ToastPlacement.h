#pragma once

#include <optional>

#include <QList>
#include <QPoint>
#include <QRect>
#include <QSize>

namespace Tessary {

/** A screen as the toast sees it, in device-independent pixels with y growing downwards. */
struct ToastScreen
{
    QRect geometry;
    /** The part not covered by panels and docks. */
    QRect availableGeometry;
};

/** The toast's fixed size. */
inline constexpr QSize toastSize{360, 82};
/** Gap between the top of the screen's usable area and the toast. */
inline constexpr int toastTopMargin = 28;

/**
 * Where the toast goes: on the first screen (in the system's order) whose geometry contains the pointer, else on the
 * primary screen (primaryIndex into screens, -1 for none), horizontally centred on that screen, toastTopMargin below
 * the top of its available area. Nothing when there is no screen to use.
 */
std::optional<QRect> toastGeometry(const QList<ToastScreen> &screens, qsizetype primaryIndex, const QPoint &pointer);

} // namespace Tessary
