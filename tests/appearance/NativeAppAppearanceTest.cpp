#include <gtest/gtest.h>

#include <memory>

#include <QApplication>
#include <QFile>
#include <QComboBox>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "appearance/NativeAppAppearance.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

const QString key = u"tessary.accentPalette"_s;

QRgb colorOf(NativeAccentPalette palette)
{
    return palette.color().rgba();
}

// The controller on a real defaults file, with an icon per palette that is a square of its colour.
class NativeAppAppearanceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // A known icon beforehand, to tell whether the controller touched the application's icon.
        QPixmap sentinel(16, 16);
        sentinel.fill(Qt::black);
        m_sentinel = QIcon(sentinel);
        QApplication::setWindowIcon(m_sentinel);
    }

    std::unique_ptr<NativeAppAppearance> makeAppearance()
    {
        return std::make_unique<NativeAppAppearance>(NativeAccentPalette::Violet, key, *m_defaults,
                                                     [this](NativeAccentPalette palette) {
                                                         ++m_builds[std::size_t(palette.index())];
                                                         QPixmap pixmap(16, 16);
                                                         pixmap.fill(palette.color());
                                                         return QIcon(pixmap);
                                                     });
    }

    static QRgb windowIconColor() { return QApplication::windowIcon().pixmap(16, 16).toImage().pixel(8, 8); }

    QTemporaryDir m_dir;
    QString m_path = m_dir.filePath(u"defaults.ini"_s);
    std::unique_ptr<UserDefaults> m_defaults = std::make_unique<UserDefaults>(m_path);
    std::array<int, 6> m_builds{};
    QIcon m_sentinel;
};

TEST_F(NativeAppAppearanceTest, StartsOnTheDefaultAndWritesNothingUntilTheUserPicks)
{
    auto appearance = makeAppearance();
    QSignalSpy selectionChanged(appearance.get(), &NativeAppAppearance::selectionChanged);
    EXPECT_EQ(appearance->selection(), NativeAccentPalette::Violet);
    EXPECT_EQ(QApplication::windowIcon().cacheKey(), m_sentinel.cacheKey()) << "the icon waits for the host";
    EXPECT_EQ(m_builds, (std::array<int, 6>{})) << "icons are built on demand";

    // At launch the host installs the icon; picking the palette already shown is no pick.
    appearance->applyApplicationIcon();
    EXPECT_EQ(windowIconColor(), colorOf(NativeAccentPalette::Violet));
    QApplication::setWindowIcon(m_sentinel);
    appearance->select(NativeAccentPalette::Violet);
    EXPECT_EQ(selectionChanged.count(), 0);
    EXPECT_EQ(QApplication::windowIcon().cacheKey(), m_sentinel.cacheKey());
    EXPECT_FALSE(QFile::exists(m_path));
}

TEST_F(NativeAppAppearanceTest, KeepsAnUnknownStoredValueUntilTheUserPicks)
{
    m_defaults->setString(key, u"Ocean"_s);
    auto appearance = makeAppearance();
    EXPECT_EQ(appearance->selection(), NativeAccentPalette::Violet);
    appearance->select(NativeAccentPalette::Violet);
    EXPECT_EQ(m_defaults->string(key), u"Ocean"_s);
    appearance->select(NativeAccentPalette::Forest);
    EXPECT_EQ(m_defaults->string(key), u"forest"_s);
}

TEST_F(NativeAppAppearanceTest, APickIsStoredAnnouncedAndShownAsTheIconWithEachIconBuiltOnce)
{
    auto appearance = makeAppearance();
    QSignalSpy selectionChanged(appearance.get(), &NativeAppAppearance::selectionChanged);
    QSignalSpy iconChanged(appearance.get(), &NativeAppAppearance::applicationIconChanged);

    appearance->select(NativeAccentPalette::Ocean);

    QFile file(m_path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("tessary.accentPalette=ocean"));
    ASSERT_EQ(selectionChanged.count(), 1);
    EXPECT_EQ(selectionChanged.at(0).at(0).value<NativeAccentPalette>(), NativeAccentPalette::Ocean);
    ASSERT_EQ(iconChanged.count(), 1);
    const qint64 ocean = appearance->icon(NativeAccentPalette::Ocean).cacheKey();
    EXPECT_EQ(iconChanged.at(0).at(0).value<QIcon>().cacheKey(), ocean);
    EXPECT_EQ(QApplication::windowIcon().cacheKey(), ocean);
    EXPECT_EQ(windowIconColor(), colorOf(NativeAccentPalette::Ocean));
    EXPECT_EQ(appearance->property("accent").value<QColor>().rgba(), colorOf(NativeAccentPalette::Ocean));

    // Back and forth: the cached icons come back, the builder is not asked again.
    appearance->select(NativeAccentPalette::Forest);
    appearance->select(NativeAccentPalette::Ocean);
    EXPECT_EQ(QApplication::windowIcon().cacheKey(), ocean);
    for (const NativeAccentPalette palette : NativeAccentPalette::allCases()) {
        appearance->icon(palette);
        appearance->icon(palette);
    }
    EXPECT_EQ(m_builds, (std::array<int, 6>{1, 1, 1, 1, 1, 1}));

    // The next launch starts on the pick.
    m_defaults = std::make_unique<UserDefaults>(m_path);
    EXPECT_EQ(makeAppearance()->selection(), NativeAccentPalette::Ocean);
}

TEST_F(NativeAppAppearanceTest, TintsWindowsAndFollowsBothSelectionAndColourMode)
{
    const QPalette applicationPalette = QApplication::palette();
    auto appearance = makeAppearance();
    QWidget window;
    auto *field = new QLineEdit(&window);
    appearance->tint(&window);
    const auto highlight = [&](QPalette::ColorGroup group) {
        return field->palette().color(group, QPalette::Highlight);
    };
    EXPECT_EQ(highlight(QPalette::Active).rgba(), colorOf(NativeAccentPalette::Violet));
    EXPECT_EQ(highlight(QPalette::Inactive).rgba(), colorOf(NativeAccentPalette::Violet));
    EXPECT_EQ(highlight(QPalette::Disabled), applicationPalette.color(QPalette::Disabled, QPalette::Highlight));

    appearance->select(NativeAccentPalette::Forest);
    EXPECT_EQ(highlight(QPalette::Active).rgba(), colorOf(NativeAccentPalette::Forest));

    // A dark application palette (delivered as posted events) reaches every other role of the tinted window.
    QPalette dark(QColor(0x2B, 0x2B, 0x2D));
    dark.setColor(QPalette::Base, QColor(0x1E, 0x1E, 0x20));
    QApplication::setPalette(dark);
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return field->palette().color(QPalette::Base) == QColor(0x1E, 0x1E, 0x20); }, 2000));
    EXPECT_EQ(highlight(QPalette::Active).rgba(), colorOf(NativeAccentPalette::Forest));
    QApplication::setPalette(applicationPalette);
    QCoreApplication::processEvents();
}

TEST_F(NativeAppAppearanceTest, TintsTheMenusListsAndDialogsATintedWindowOpens)
{
    auto appearance = makeAppearance();
    QWidget window;
    auto *languages = new QComboBox(&window);
    languages->addItems({u"English"_s, u"Deutsch"_s});
    auto *field = new QLineEdit(&window);
    appearance->tint(&window);
    window.show();
    const auto highlight = [](const QWidget *widget) { return widget->palette().color(QPalette::Highlight).rgba(); };

    // A drop-down list and a context menu are windows of their own.
    languages->showPopup();
    QWidget *list = languages->view()->window();
    ASSERT_NE(list, &window);
    ASSERT_TRUE(QTest::qWaitFor([&] { return list->isVisible(); }, 5000));
    EXPECT_EQ(highlight(list), colorOf(NativeAccentPalette::Violet));
    // The current entry is drawn selected: in the accent, not in the application's highlight.
    const auto drawnInAccent = [&](QWidget *widget, NativeAccentPalette palette) {
        const QImage image = widget->grab().toImage();
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixel(x, y) == colorOf(palette)) {
                    return true;
                }
            }
        }
        return false;
    };
    EXPECT_TRUE(drawnInAccent(languages->view(), NativeAccentPalette::Violet));
    QMenu *menu = field->createStandardContextMenu();
    menu->popup(QPoint(10, 10));
    ASSERT_TRUE(QTest::qWaitFor([&] { return menu->isVisible(); }, 5000));
    EXPECT_EQ(highlight(menu), colorOf(NativeAccentPalette::Violet));

    // A pick reaches the open ones at once.
    appearance->select(NativeAccentPalette::Coral);
    EXPECT_EQ(highlight(list), colorOf(NativeAccentPalette::Coral));
    EXPECT_TRUE(drawnInAccent(languages->view(), NativeAccentPalette::Coral));
    EXPECT_EQ(highlight(menu), colorOf(NativeAccentPalette::Coral));
    menu->close();
    delete menu;
    languages->hidePopup();

    // A window that nothing tinted opened keeps the application's colours.
    QWidget other;
    QMenu otherMenu(&other);
    otherMenu.addAction(u"Item"_s);
    otherMenu.popup(QPoint(10, 10));
    ASSERT_TRUE(QTest::qWaitFor([&] { return otherMenu.isVisible(); }, 5000));
    EXPECT_EQ(otherMenu.palette().color(QPalette::Highlight), QApplication::palette().color(QPalette::Highlight));
}

} // namespace
