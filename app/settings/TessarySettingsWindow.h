#pragma once

#include <optional>

#include <QObject>
#include <QPointer>

class QMainWindow;
class QMenuBar;
class QNetworkAccessManager;
class QTabWidget;

namespace Tessary {

class AIPane;
class GeneralPane;
class NativeAppAppearance;
class NativeUpdater;
class SettingsTexts;
class TessaryCloudSettings;
class TessaryPreferences;

/**
 * The settings window: four panes (general, AI polishing, appearance, updates) that edit the shared objects
 * directly; there is no OK or Apply. The window is built on the first show() and kept: closing it only hides it,
 * and the next show() brings back the same window with what was typed into it. It is tinted with the accent
 * palette and follows a new pick at once. GUI thread only.
 */
class TessarySettingsWindow final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int selectedTab READ selectedTab WRITE setSelectedTab NOTIFY selectedTabChanged)
public:
    enum Tab { General = 0, AIPolishing = 1, Appearance = 2, Updates = 3 };

    /** selectedTab: the pane the window opens on; the shared objects must outlive the window. */
    TessarySettingsWindow(int selectedTab, TessaryPreferences &preferences, NativeAppAppearance &appearance,
                          QNetworkAccessManager &session, QObject *parent = nullptr);
    ~TessarySettingsWindow() override;

    /** Selects the tab when one is given, builds the window if needed and brings it to the front. */
    void show(std::optional<int> tab = std::nullopt);
    bool isVisible() const;

    int selectedTab() const;
    void setSelectedTab(int tab);

    /** The window once built, else null. */
    QMainWindow *window() const;
    AIPane *aiPane() const;
    GeneralPane *generalPane() const;

    /** Sets the window title in the current language (called when the language changes). */
    void localizeTitle();
    /** The configuration sync the general pane shows and switches; set before the window is first shown. */
    void setCloudSettings(TessaryCloudSettings *cloud);
    /** The updater the updates pane shows and drives; set before the window is first shown. */
    void setUpdater(NativeUpdater *updater);
    /** The application menu, shown on the window's menu bar; the window takes it over when it is built. */
    void setApplicationMenu(QMenuBar *menuBar);

Q_SIGNALS:
    void selectedTabChanged(int tab);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void build();
    void stopRecording();

    int m_selectedTab = 0;
    TessaryPreferences &m_preferences;
    NativeAppAppearance &m_appearance;
    QNetworkAccessManager &m_session;
    QPointer<TessaryCloudSettings> m_cloud;
    QPointer<NativeUpdater> m_updater;
    QPointer<QMainWindow> m_window;
    QPointer<QMenuBar> m_menuBar;
    QTabWidget *m_tabs = nullptr;
    SettingsTexts *m_texts = nullptr;
    GeneralPane *m_generalPane = nullptr;
    AIPane *m_aiPane = nullptr;
};

} // namespace Tessary
