#pragma once

#include <QList>
#include <QString>
#include <QWidget>

class QLabel;

namespace Tessary {

class NativeAppAppearance;
class NativeAppearanceTile;

/**
 * The settings section in which the user picks an accent palette: a title, a description and one tile per palette
 * (icon, name, check mark) in a grid of three columns. Clicking a tile selects its palette through the controller,
 * so the choice is stored and the application icon changes at once; the section follows the controller's selection
 * whoever changes it.
 *
 * Texts come in three languages carried by the module, chosen from a language preference value ("system" or a
 * language code); setLanguage() relabels. GUI thread only; the controller must outlive the picker.
 */
class NativeAppearancePicker final : public QWidget
{
    Q_OBJECT
public:
    NativeAppearancePicker(NativeAppAppearance &appearance, const QString &language, QWidget *parent = nullptr);
    ~NativeAppearancePicker() override;

    QString language() const;
    void setLanguage(const QString &language);

    /** The tiles in palette order (for hosts that tie focus or tests). */
    QList<NativeAppearanceTile *> tiles() const;

private:
    void showTexts();
    void showSelection();

    NativeAppAppearance &m_appearance;
    QString m_language;
    QLabel *m_title = nullptr;
    QLabel *m_description = nullptr;
    QList<NativeAppearanceTile *> m_tiles;
};

} // namespace Tessary
