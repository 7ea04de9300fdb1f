#include "app/settings/SettingsSection.h"

#include <QEvent>
#include <QLabel>
#include <QVBoxLayout>

#include "app/settings/SettingsTexts.h"

namespace Tessary {

namespace {

void applyErrorColor(QLabel *label)
{
    QString wanted;
    if (label->property("tessaryError").toBool()) {
        // The system's red, lighter on a dark window so that it stays readable.
        const bool dark = label->palette().color(QPalette::Window).lightness() < 128;
        wanted = dark ? QStringLiteral("color: #ff6961;") : QStringLiteral("color: #d70015;");
    }
    // A style sheet changes the palette in turn; setting the same one again would never end.
    if (label->styleSheet() != wanted) {
        label->setStyleSheet(wanted);
    }
}

class ErrorColorFollower final : public QObject
{
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::PaletteChange) {
            applyErrorColor(static_cast<QLabel *>(watched));
        }
        return false;
    }
};

} // namespace

SettingsSection::SettingsSection(SettingsTexts &texts, const QString &titleKey, QWidget *parent)
    : QGroupBox(parent)
    , m_texts(texts)
    , m_rows(new QVBoxLayout(this))
{
    m_texts.bind(this, titleKey);
    m_rows->setSpacing(6);
}

QVBoxLayout *SettingsSection::rows() const
{
    return m_rows;
}

void SettingsSection::addWidget(QWidget *widget)
{
    m_rows->addWidget(widget);
}

void SettingsSection::addLayout(QLayout *layout)
{
    m_rows->addLayout(layout);
}

QLabel *SettingsSection::addCaption(const QString &key)
{
    QLabel *label = captionLabel(this);
    m_texts.bind(label, key);
    m_rows->addWidget(label);
    return label;
}

QLabel *SettingsSection::captionLabel(QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QLabel *SettingsSection::errorLabel(QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setWordWrap(true);
    setErrorStyle(label, true);
    label->setVisible(false);
    return label;
}

void SettingsSection::setErrorStyle(QLabel *label, bool error)
{
    label->setProperty("tessaryError", error);
    applyErrorColor(label);
    if (label->property("tessaryErrorWatched").toBool()) {
        return;
    }
    label->setProperty("tessaryErrorWatched", true);
    // The shade depends on the palette, which changes with the colour mode.
    label->installEventFilter(new ErrorColorFollower(label));
}

} // namespace Tessary
