#include "appearance/NativeAppearancePicker.h"

#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "appearance/NativeAppAppearance.h"
#include "appearance/NativeAppearanceLanguage.h"
#include "appearance/NativeAppearanceTile.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr int columns = 3;
constexpr qreal bodyPointSize = 13;
constexpr qreal descriptionPointSize = 11;

} // namespace

NativeAppearancePicker::NativeAppearancePicker(NativeAppAppearance &appearance, const QString &language,
                                               QWidget *parent)
    : QWidget(parent)
    , m_appearance(appearance)
    , m_language(language)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(14);

    auto *header = new QVBoxLayout;
    header->setSpacing(4);
    m_title = new QLabel(this);
    m_title->setObjectName(u"title"_s);
    m_description = new QLabel(this);
    m_description->setObjectName(u"description"_s);
    m_description->setWordWrap(true);
    m_description->setForegroundRole(QPalette::PlaceholderText);
    QFont descriptionFont = m_description->font();
    descriptionFont.setPointSizeF(descriptionFont.pointSizeF() * descriptionPointSize / bodyPointSize);
    m_description->setFont(descriptionFont);
    header->addWidget(m_title);
    header->addWidget(m_description);
    layout->addLayout(header);

    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(10);
    for (int column = 0; column < columns; ++column) {
        grid->setColumnMinimumWidth(column, 10);
        grid->setColumnStretch(column, 1);
    }
    int position = 0;
    for (const NativeAccentPalette palette : NativeAccentPalette::allCases()) {
        auto *tile = new NativeAppearanceTile(palette, appearance.icon(palette), this);
        connect(tile, &QAbstractButton::clicked, this, [this, palette] { m_appearance.select(palette); });
        grid->addWidget(tile, position / columns, position % columns);
        m_tiles.append(tile);
        ++position;
    }
    layout->addLayout(grid);

    showTexts();
    showSelection();
    connect(&m_appearance, &NativeAppAppearance::selectionChanged, this, &NativeAppearancePicker::showSelection);
}

NativeAppearancePicker::~NativeAppearancePicker() = default;

QString NativeAppearancePicker::language() const
{
    return m_language;
}

void NativeAppearancePicker::setLanguage(const QString &language)
{
    if (language == m_language) {
        return;
    }
    m_language = language;
    showTexts();
}

QList<NativeAppearanceTile *> NativeAppearancePicker::tiles() const
{
    return m_tiles;
}

void NativeAppearancePicker::showTexts()
{
    const NativeAppearanceLanguage language = NativeAppearanceLanguage::from(m_language);
    m_title->setText(language.pick(u"图标与高亮色"_s, u"圖示與強調色"_s, u"Icon & Accent Color"_s));
    m_description->setText(language.pick(u"同步更改应用图标，以及按钮、开关和选中状态的颜色。"_s,
                                         u"同步更改 App 圖示，以及按鈕、開關和選取狀態的顏色。"_s,
                                         u"Update the app icon and the color of buttons, switches, and selected "
                                         u"states together."_s));
    const QString suffix = language.pick(u"图标颜色"_s, u"圖示顏色"_s, u" icon color"_s);
    const QString selected = language.pick(u"已选择"_s, u"已選取"_s, u"Selected"_s);
    const QString notSelected = language.pick(u"未选择"_s, u"未選取"_s, u"Not selected"_s);
    for (NativeAppearanceTile *tile : std::as_const(m_tiles)) {
        tile->setTexts(tile->accentPalette().title(m_language), suffix, selected, notSelected);
    }
}

void NativeAppearancePicker::showSelection()
{
    const NativeAccentPalette selection = m_appearance.selection();
    for (NativeAppearanceTile *tile : std::as_const(m_tiles)) {
        tile->setSelected(tile->accentPalette() == selection);
    }
}

} // namespace Tessary
