#pragma once

#include <QGroupBox>

class QLabel;
class QVBoxLayout;

namespace Tessary {

class SettingsTexts;

/** A titled group of rows in a settings pane, with helpers for the caption lines under controls. */
class SettingsSection final : public QGroupBox
{
    Q_OBJECT
public:
    SettingsSection(SettingsTexts &texts, const QString &titleKey, QWidget *parent = nullptr);

    QVBoxLayout *rows() const;
    void addWidget(QWidget *widget);
    void addLayout(QLayout *layout);
    /** A wrapped line in the secondary style. */
    QLabel *addCaption(const QString &key);

    /** A label in the secondary, smaller style; its text is set by the caller. */
    static QLabel *captionLabel(QWidget *parent = nullptr);
    /** A label for errors: red, wrapped; hidden while empty. */
    static QLabel *errorLabel(QWidget *parent = nullptr);
    /** Makes a label read as an error (red, in a shade for the light or dark palette) or as ordinary text. */
    static void setErrorStyle(QLabel *label, bool error);

private:
    SettingsTexts &m_texts;
    QVBoxLayout *m_rows = nullptr;
};

} // namespace Tessary
