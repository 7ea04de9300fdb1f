#include "app/settings/AppearancePane.h"

#include <algorithm>

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/TessaryPreferences.h"
#include "app/settings/SettingsSection.h"
#include "app/settings/SettingsTexts.h"
#include "appearance/NativeAppearancePicker.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

const QStringList colorModeValues{u"system"_s, u"light"_s, u"dark"_s};
const QStringList colorModeTitles{u"跟随系统"_s, u"浅色"_s, u"深色"_s};
// Space on each side of a segment's title.
constexpr int segmentPadding = 14;

} // namespace

AppearancePane::AppearancePane(TessaryPreferences &preferences, NativeAppAppearance &appearance, SettingsTexts &texts,
                               QWidget *parent)
    : QWidget(parent)
    , m_preferences(preferences)
    , m_colorModes(new QButtonGroup(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(12);
    // A titled section like those of the other panes, so that titles, frames and rows line up from pane to pane.
    auto *section = new SettingsSection(texts, u"外观"_s, this);
    layout->addWidget(section);

    // A segmented control: three buttons, one checked.
    auto *row = new QHBoxLayout;
    auto *label = new QLabel(section);
    texts.bind(label, u"界面模式"_s);
    row->addWidget(label);
    auto *segments = new QHBoxLayout;
    segments->setSpacing(0);
    for (int i = 0; i < colorModeValues.size(); ++i) {
        auto *button = new QPushButton(section);
        button->setObjectName(u"colorMode-"_s + colorModeValues[i]);
        button->setCheckable(true);
        texts.bind(button, colorModeTitles[i]);
        m_colorModes->addButton(button, i);
        segments->addWidget(button);
    }
    // Segments of one width, whatever the language makes of their titles (bound after the titles, so run after them),
    // with room beside the longest title: the style's own margin is a few pixels, and the segments touch.
    texts.bind([this] {
        int widest = 0;
        const QList<QAbstractButton *> buttons = m_colorModes->buttons();
        for (QAbstractButton *button : buttons) {
            widest = std::max(widest, button->fontMetrics().horizontalAdvance(button->text()));
        }
        for (QAbstractButton *button : buttons) {
            button->setFixedWidth(widest + 2 * segmentPadding);
        }
    });
    row->addLayout(segments);
    row->addStretch(1);
    section->addLayout(row);

    // The palette picker carries its texts in the three languages; it only needs to know which one is chosen.
    auto *picker = new NativeAppearancePicker(appearance, m_preferences.language(), this);
    picker->setObjectName(u"accentPalettePicker"_s);
    texts.bind([this, picker] { picker->setLanguage(m_preferences.language()); });
    layout->addWidget(picker);
    layout->addStretch(1);

    showColorMode();
    connect(m_colorModes, &QButtonGroup::idClicked, this,
            [this](int id) { m_preferences.setColorMode(colorModeValues[id]); });
    connect(&m_preferences, &TessaryPreferences::colorModeChanged, this, &AppearancePane::showColorMode);
}

void AppearancePane::showColorMode()
{
    const qsizetype index = colorModeValues.indexOf(m_preferences.colorMode());
    // Anything unknown behaves as "system".
    m_colorModes->button(index >= 0 ? int(index) : 0)->setChecked(true);
}

} // namespace Tessary
