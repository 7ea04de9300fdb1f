#pragma once

#include <QAbstractButton>
#include <QIcon>

#include "appearance/NativeAccentPalette.h"

namespace Tessary {

/**
 * One palette of the appearance picker: a rounded tile with the palette's icon, its name and, when it is the
 * selection, a check mark, a semibold name, a stronger fill and a thicker border. It behaves like a radio button:
 * clicks and Space report clicked(), the arrow keys move to the neighbouring tile and click it; the picker decides
 * what a click means. A click never changes the tile's own state: only setSelected() does (isChecked() reads it).
 */
class NativeAppearanceTile final : public QAbstractButton
{
    Q_OBJECT
public:
    NativeAppearanceTile(NativeAccentPalette palette, const QIcon &icon, QWidget *parent = nullptr);

    NativeAccentPalette accentPalette() const;

    bool isSelected() const;
    void setSelected(bool selected);

    /** name: the palette's name; labelSuffix, selectedText, notSelectedText: for assistive technologies. */
    void setTexts(const QString &name, const QString &labelSuffix, const QString &selectedText,
                  const QString &notSelectedText);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void nextCheckState() override;

private:
    void updateAccessibleTexts();
    QFont nameFont() const;

    NativeAccentPalette m_palette;
    QIcon m_icon;
    QString m_name;
    QString m_labelSuffix;
    QString m_selectedText;
    QString m_notSelectedText;
};

} // namespace Tessary
