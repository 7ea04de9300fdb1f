#include "app/settings/SettingsSection.h"

#include <QLabel>
#include <QVBoxLayout>

#include "app/settings/SettingsTexts.h"

namespace Tessary {

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
    label->setStyleSheet(QStringLiteral("color: #d70015;"));
    label->setVisible(false);
    return label;
}

} // namespace Tessary
