#include <gtest/gtest.h>

#include <memory>
#include <set>

#include <QApplication>
#include <QLabel>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>

#include "appearance/NativeAppAppearance.h"
#include "appearance/NativeAppearancePicker.h"
#include "appearance/NativeAppearanceTile.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/appearance/AppearanceTestSupport.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

const QString key = u"tessary.accentPalette"_s;

QIcon paletteIcon(NativeAccentPalette palette)
{
    QPixmap pixmap(64, 64);
    pixmap.fill(palette.color());
    return QIcon(pixmap);
}

int colorDistance(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue());
}

// The picker in a real window on the X server, driven with real clicks and key presses.
class NativeAppearancePickerTest : public ::testing::Test
{
protected:
    void show(const QString &language)
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
        m_window = std::make_unique<QWidget>();
        auto *layout = new QVBoxLayout(m_window.get());
        m_picker = new NativeAppearancePicker(*m_appearance, language, m_window.get());
        layout->addWidget(m_picker);
        m_window->resize(560, 240);
        m_window->show();
        m_window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_window.get()));
    }

    NativeAppearanceTile *tile(NativeAccentPalette palette) const { return m_picker->tiles().at(palette.index()); }
    QString label(const QString &name) const { return m_picker->findChild<QLabel *>(name)->text(); }

    QTemporaryDir m_dir;
    QString m_path = m_dir.filePath(u"defaults.ini"_s);
    UserDefaults m_defaults{m_path};
    std::unique_ptr<NativeAppAppearance> m_appearance =
        std::make_unique<NativeAppAppearance>(NativeAccentPalette::Violet, key, m_defaults, &paletteIcon);
    std::unique_ptr<QWidget> m_window;
    NativeAppearancePicker *m_picker = nullptr;
};

TEST_F(NativeAppearancePickerTest, ShowsSixTilesInTwoRowsWithOnlyTheSelectionMarked)
{
    show(u"en"_s);
    m_appearance->select(NativeAccentPalette::Ocean);
    const QList<NativeAppearanceTile *> tiles = m_picker->tiles();
    ASSERT_EQ(tiles.size(), 6);
    std::set<int> columns;
    std::set<int> rows;
    for (int i = 0; i < tiles.size(); ++i) {
        EXPECT_EQ(tiles[i]->accentPalette(), NativeAccentPalette::allCases()[std::size_t(i)]);
        EXPECT_EQ(tiles[i]->height(), 56);
        EXPECT_EQ(tiles[i]->x(), tiles[i % 3]->x()) << "palette order runs along the rows";
        columns.insert(tiles[i]->x());
        rows.insert(tiles[i]->y());
    }
    EXPECT_EQ(columns.size(), 3u);
    EXPECT_EQ(rows.size(), 2u);
    EXPECT_EQ(tiles[1]->x() - tiles[0]->geometry().right() - 1, 10);
    EXPECT_EQ(tiles[3]->y() - tiles[0]->geometry().bottom() - 1, 10);

    const QColor background = m_window->palette().color(QPalette::Window);
    for (NativeAppearanceTile *each : tiles) {
        const bool selected = each->accentPalette() == NativeAccentPalette::Ocean;
        EXPECT_EQ(each->isSelected(), selected);
        EXPECT_EQ(each->accessibleName(), each->text() + u" icon color"_s);
        EXPECT_EQ(each->accessibleDescription(), selected ? u"Selected"_s : u"Not selected"_s);
        // As drawn: the check mark's disc (above its white tick) in the palette colour, and a stronger fill.
        const QImage drawn = each->grab().toImage();
        const qreal ratio = drawn.devicePixelRatio();
        const QColor check = drawn.pixelColor(QPointF((each->width() - 20) * ratio, 24 * ratio).toPoint());
        EXPECT_EQ(colorDistance(check, each->accentPalette().color()) < 20, selected)
            << each->objectName().toStdString();
        const QColor fill = drawn.pixelColor(QPointF(60 * ratio, 6 * ratio).toPoint());
        EXPECT_EQ(colorDistance(fill, background) > 25, selected) << each->objectName().toStdString();
    }
}

TEST_F(NativeAppearancePickerTest, AClickSelectsStoresAndChangesTheIconAtOnce)
{
    show(u"en"_s);
    QSignalSpy selectionChanged(m_appearance.get(), &NativeAppAppearance::selectionChanged);

    ASSERT_TRUE(Tessary::Test::clickOn(tile(NativeAccentPalette::Forest)));
    ASSERT_TRUE(QTest::qWaitFor([&] { return selectionChanged.count() == 1; }, 5000));
    EXPECT_TRUE(tile(NativeAccentPalette::Forest)->isSelected());
    EXPECT_FALSE(tile(NativeAccentPalette::Violet)->isSelected());
    EXPECT_EQ(QApplication::windowIcon().cacheKey(), m_appearance->icon(NativeAccentPalette::Forest).cacheKey());
    EXPECT_EQ(m_defaults.string(key), u"forest"_s);

    // Clicking the selected tile again changes nothing.
    ASSERT_TRUE(Tessary::Test::clickOn(tile(NativeAccentPalette::Forest)));
    QTest::qWait(100);
    EXPECT_EQ(selectionChanged.count(), 1);

    // The arrow keys move the selection as in a group of radio buttons.
    ASSERT_TRUE(QTest::qWaitFor([&] { return tile(NativeAccentPalette::Forest)->hasFocus(); }, 2000));
    ASSERT_TRUE(Tessary::Test::pressKeys(u"Right"_s));
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_appearance->selection() == NativeAccentPalette::Ocean; }, 5000));

    // A new controller on the same file, as at the next launch, starts on the pick.
    m_window.reset();
    m_appearance.reset();
    UserDefaults reopened(m_path);
    EXPECT_EQ(NativeAppAppearance(NativeAccentPalette::Violet, key, reopened, &paletteIcon).selection(),
              NativeAccentPalette::Ocean);
}

TEST_F(NativeAppearancePickerTest, SpeaksTheChosenLanguage)
{
    show(u"zh-Hant"_s);
    EXPECT_EQ(label(u"title"_s), u"圖示與強調色"_s);
    EXPECT_EQ(label(u"description"_s), u"同步更改 App 圖示，以及按鈕、開關和選取狀態的顏色。"_s);
    EXPECT_EQ(tile(NativeAccentPalette::Ocean)->text(), u"海藍"_s);
    EXPECT_EQ(tile(NativeAccentPalette::Ocean)->accessibleName(), u"海藍圖示顏色"_s);
    EXPECT_EQ(tile(NativeAccentPalette::Violet)->accessibleDescription(), u"已選取"_s);

    m_picker->setLanguage(u"zh-Hans"_s);
    EXPECT_EQ(label(u"title"_s), u"图标与高亮色"_s);
    EXPECT_EQ(tile(NativeAccentPalette::Terracotta)->accessibleName(), u"陶土图标颜色"_s);
    EXPECT_EQ(tile(NativeAccentPalette::Ocean)->accessibleDescription(), u"未选择"_s);

    m_picker->setLanguage(u"ja"_s);
    EXPECT_EQ(label(u"title"_s), u"Icon & Accent Color"_s);
    EXPECT_EQ(label(u"description"_s),
              u"Update the app icon and the color of buttons, switches, and selected states together."_s);
    EXPECT_EQ(tile(NativeAccentPalette::Terracotta)->accessibleName(), u"Terracotta icon color"_s);
}

} // namespace
