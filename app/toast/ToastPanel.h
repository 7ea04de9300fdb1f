#pragma once

#include <optional>

#include <QColor>
#include <QImage>
#include <QString>
#include <QWidget>

namespace Tessary {

/** What one toast shows: already localised texts, a symbol name and the symbol's tint. */
struct ToastContent
{
    QString title;
    /** Second line (wrapped into a third when it is long); absent for a one-line toast. */
    std::optional<QString> detail;
    /** Name of a bundled symbol (":/symbols/<name>.svg"), for example "checkmark.circle.fill". */
    QString symbol;
    QColor color;
};

/**
 * The toast's window: a parentless, frameless, always-on-top, override-redirect tool-tip window that never takes the
 * focus and lets clicks through to whatever lies below. It paints its content itself: a rounded card, the tinted
 * symbol, the title and, when present, the detail line.
 *
 * With translucent false (no compositing manager, where translucent pixels would come out black) the card is opaque
 * and the window is shaped to the card's rounded outline instead.
 *
 * GUI thread only.
 */
class ToastPanel final : public QWidget
{
    Q_OBJECT
public:
    explicit ToastPanel(bool translucent);

    void setContent(const ToastContent &content);
    const ToastContent &content() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QImage tintedSymbol() const;

    bool m_translucent;
    ToastContent m_content;
};

} // namespace Tessary
