#include "app/settings/TessarySettingsWindow.h"

#include <algorithm>

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QLabel>
#include <QMainWindow>
#include <QMenuBar>
#include <QScreen>
#include <QTabWidget>
#include <QVBoxLayout>

#include "app/ShortcutRecorderWidget.h"
#include "app/SymbolIcon.h"
#include "app/TessaryPreferences.h"
#include "app/localization/TessaryLocalized.h"
#include "app/settings/AIPane.h"
#include "app/settings/AppearancePane.h"
#include "app/settings/GeneralPane.h"
#include "app/settings/SettingsSection.h"
#include "app/settings/SettingsTexts.h"
#include "app/settings/UpdatesPane.h"
#include "app/sync/TessaryCloudSettings.h"
#include "appearance/NativeAppAppearance.h"
#include "updater/NativeUpdater.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

// Tall enough for the general pane in English, the longest of the three languages, sync rows included; a pane with
// more rows (a Wayland session's permission and shortcut command) makes the window taller.
constexpr QSize contentSize(620, 600);

struct TabInfo
{
    QString titleKey;
    QString symbol;
};

const QList<TabInfo> tabs{
    {u"通用"_s, u"gearshape"_s},
    {u"AI 润色"_s, u"sparkles"_s},
    {u"外观"_s, u"paintpalette"_s},
    {u"更新"_s, u"arrow.triangle.2.circlepath"_s},
};

/** Closing hides the window: the application lives on in the tray and the next show() brings it back. */
class SettingsMainWindow final : public QMainWindow
{
public:
    using QMainWindow::QMainWindow;

protected:
    void closeEvent(QCloseEvent *event) override
    {
        event->ignore();
        hide();
    }
};

} // namespace

TessarySettingsWindow::TessarySettingsWindow(int selectedTab, TessaryPreferences &preferences,
                                             NativeAppAppearance &appearance, QNetworkAccessManager &session,
                                             QObject *parent)
    : QObject(parent)
    , m_selectedTab(selectedTab)
    , m_preferences(preferences)
    , m_appearance(appearance)
    , m_session(session)
{}

TessarySettingsWindow::~TessarySettingsWindow()
{
    // While the window is torn down it is no longer a QMainWindow: it must not reach the filter any more.
    if (m_window != nullptr) {
        m_window->removeEventFilter(this);
    }
    delete m_window;
}

void TessarySettingsWindow::show(std::optional<int> tab)
{
    if (tab) {
        setSelectedTab(*tab);
    }
    if (m_window == nullptr) {
        build();
    }
    m_window->show();
    m_window->setWindowState(m_window->windowState() & ~Qt::WindowMinimized);
    m_window->raise();
    m_window->activateWindow();
}

bool TessarySettingsWindow::isVisible() const
{
    return m_window != nullptr && m_window->isVisible();
}

int TessarySettingsWindow::selectedTab() const
{
    return m_selectedTab;
}

void TessarySettingsWindow::setSelectedTab(int tab)
{
    if (tab < General || tab > Updates) {
        return;
    }
    const bool changed = tab != m_selectedTab;
    m_selectedTab = tab;
    if (m_tabs != nullptr && m_tabs->currentIndex() != tab) {
        m_tabs->setCurrentIndex(tab);
    }
    if (changed) {
        Q_EMIT selectedTabChanged(tab);
    }
}

QMainWindow *TessarySettingsWindow::window() const
{
    return m_window;
}

AIPane *TessarySettingsWindow::aiPane() const
{
    return m_aiPane;
}

GeneralPane *TessarySettingsWindow::generalPane() const
{
    return m_generalPane;
}

void TessarySettingsWindow::localizeTitle()
{
    if (m_window != nullptr) {
        m_window->setWindowTitle(tessaryLocalized(u"Tessary 设置"_s, m_preferences.language()));
    }
}

void TessarySettingsWindow::setCloudSettings(TessaryCloudSettings *cloud)
{
    m_cloud = cloud;
}

void TessarySettingsWindow::setUpdater(NativeUpdater *updater)
{
    m_updater = updater;
}

void TessarySettingsWindow::setApplicationMenu(QMenuBar *menuBar)
{
    m_menuBar = menuBar;
    if (m_window != nullptr && menuBar != nullptr) {
        m_window->setMenuBar(menuBar);
    }
}

void TessarySettingsWindow::build()
{
    m_window = new SettingsMainWindow;
    m_window->setObjectName(u"TessarySettingsWindow"_s);
    m_window->setWindowFlag(Qt::WindowMaximizeButtonHint, false);
    m_texts = new SettingsTexts(m_preferences, m_window);

    auto *central = new QWidget(m_window);
    auto *layout = new QVBoxLayout(central);
    layout->setContentsMargins(20, 20, 20, 20);
    m_tabs = new QTabWidget(central);
    m_tabs->setObjectName(u"settingsTabs"_s);
    m_tabs->setDocumentMode(true);
    m_generalPane = new GeneralPane(m_preferences, *m_texts, m_cloud.data());
    m_aiPane = new AIPane(m_preferences, *m_texts, m_session);
    m_tabs->addTab(m_generalPane, QString());
    m_tabs->addTab(m_aiPane, QString());
    m_tabs->addTab(new AppearancePane(m_preferences, m_appearance, *m_texts), QString());
    m_tabs->addTab(new UpdatesPane(m_preferences, *m_texts, m_updater.data()), QString());
    for (int i = 0; i < tabs.size(); ++i) {
        // Drawn in the text colour of the moment: a switch between light and dark recolours them at once.
        m_tabs->setTabIcon(i, symbolIcon(tabs[i].symbol));
    }
    m_texts->bind([this] {
        for (int i = 0; i < tabs.size(); ++i) {
            m_tabs->setTabText(i, m_texts->text(tabs[i].titleKey));
        }
    });
    m_tabs->setCurrentIndex(m_selectedTab);
    connect(m_tabs, &QTabWidget::currentChanged, this, [this](int index) {
        stopRecording();
        setSelectedTab(index);
    });
    layout->addWidget(m_tabs);
    // The settings file could not be written: the user must know that changes will not survive a restart.
    auto *saveError = SettingsSection::errorLabel(central);
    saveError->setObjectName(u"saveError"_s);
    const auto showSaveError = [this, saveError] {
        saveError->setText(m_preferences.saveError());
        saveError->setVisible(!m_preferences.saveError().isEmpty());
    };
    showSaveError();
    connect(&m_preferences, &TessaryPreferences::saveErrorChanged, saveError, showSaveError);
    layout->addWidget(saveError);
    m_window->setCentralWidget(central);
    if (m_menuBar != nullptr) {
        m_window->setMenuBar(m_menuBar);
    }
    m_window->installEventFilter(this);
    // Selections, focus rings, checked controls and links in the accent palette's colour.
    m_appearance.tint(m_window);
    // Ctrl+W closes (hides) the window, as in other settings windows.
    auto *close = new QAction(m_window);
    close->setShortcut(QKeySequence::Close);
    connect(close, &QAction::triggered, m_window, &QWidget::close);
    m_window->addAction(close);

    localizeTitle();
    const int menuHeight = m_menuBar != nullptr ? m_menuBar->sizeHint().height() : 0;
    const int contentHeight = std::max(contentSize.height(), central->sizeHint().height());
    m_window->setFixedSize(contentSize.width(), contentHeight + menuHeight);
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        m_window->move(screen->availableGeometry().center() - m_window->rect().center());
    }
}

bool TessarySettingsWindow::eventFilter(QObject *watched, QEvent *event)
{
    // A recording ends when the window stops being the active one, as when the user clicks elsewhere.
    if (watched == m_window && (event->type() == QEvent::WindowDeactivate || event->type() == QEvent::Hide)) {
        stopRecording();
    }
    return QObject::eventFilter(watched, event);
}

void TessarySettingsWindow::stopRecording()
{
    if (m_generalPane != nullptr && m_generalPane->shortcutRow() != nullptr) {
        m_generalPane->shortcutRow()->recorder().stop();
    }
}

} // namespace Tessary
