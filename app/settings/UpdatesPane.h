#pragma once

#include <QPointer>
#include <QWidget>

#include "updater/UpdaterCopy.h"

class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;

namespace Tessary {

class NativeUpdater;
class SettingsTexts;
class TessaryPreferences;

/**
 * The updates pane: the installed version, the updater's status, the automatic-check switch, the one action the
 * state calls for (check, download, or restart and install) and the progress of a running download. Everything is
 * re-read when the updater changes and relabelled, in the updater's own words, when the interface language
 * changes. Without an updater only the version is shown.
 */
class UpdatesPane final : public QWidget
{
    Q_OBJECT
public:
    UpdatesPane(TessaryPreferences &preferences, SettingsTexts &texts, NativeUpdater *updater,
                QWidget *parent = nullptr);

private:
    /** The interface language, as one of the updater's. */
    UpdaterLanguage language() const;
    void showState();
    void showProgress();

    TessaryPreferences &m_preferences;
    QPointer<NativeUpdater> m_updater;
    QLabel *m_status = nullptr;
    QProgressBar *m_progress = nullptr;
    QCheckBox *m_automatic = nullptr;
    QPushButton *m_action = nullptr;
};

} // namespace Tessary
