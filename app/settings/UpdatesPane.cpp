#include "app/settings/UpdatesPane.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/TessaryPreferences.h"
#include "app/localization/TessaryLocalized.h"
#include "app/settings/SettingsSection.h"
#include "app/settings/SettingsTexts.h"
#include "updater/NativeAppVersion.h"
#include "updater/NativeBundle.h"
#include "updater/NativeUpdater.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

QString versionText(UpdaterLanguage language)
{
    if (const std::optional<NativeBundle> &bundle = NativeBundle::main()) {
        return NativeAppVersion::displayText(*bundle, language);
    }
    // Run from the build tree or installed by a package: the version and build the program was built as.
    return NativeAppVersion::displayText(QCoreApplication::applicationVersion(),
                                         QStringLiteral(TESSARY_BUILD_NUMBER_TEXT), language);
}

} // namespace

UpdatesPane::UpdatesPane(TessaryPreferences &preferences, SettingsTexts &texts, NativeUpdater *updater, QWidget *parent)
    : QWidget(parent)
    , m_preferences(preferences)
    , m_updater(updater)
{
    auto *layout = new QVBoxLayout(this);
    auto *section = new SettingsSection(texts, u"软件更新"_s, this);
    auto *version = new QLabel(section);
    version->setObjectName(u"version"_s);
    version->setTextInteractionFlags(Qt::TextSelectableByMouse);
    texts.bind([this, version] { version->setText(versionText(language())); });
    section->addWidget(version);
    layout->addWidget(section);
    layout->addStretch(1);
    if (m_updater == nullptr) {
        return;
    }

    m_status = new QLabel(section);
    m_status->setObjectName(u"updateStatus"_s);
    m_status->setWordWrap(true);
    m_status->setForegroundRole(QPalette::PlaceholderText);
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    section->addWidget(m_status);

    m_progress = new QProgressBar(section);
    m_progress->setObjectName(u"downloadProgress"_s);
    m_progress->setTextVisible(false);
    m_progress->setMaximumHeight(m_progress->fontMetrics().height() / 2 + 4);
    m_progress->setVisible(false);
    section->addWidget(m_progress);

    m_automatic = new QCheckBox(section);
    m_automatic->setObjectName(u"automaticallyChecksForUpdates"_s);
    texts.bind(m_automatic, u"自动检查更新"_s);
    section->addWidget(m_automatic);

    auto *row = new QHBoxLayout;
    m_action = new QPushButton(section);
    m_action->setObjectName(u"updateAction"_s);
    row->addWidget(m_action);
    row->addStretch(1);
    section->addLayout(row);

    connect(m_automatic, &QCheckBox::toggled, m_updater, &NativeUpdater::setAutomaticallyChecksForUpdates);
    connect(m_action, &QPushButton::clicked, m_updater, &NativeUpdater::performPrimaryAction);
    connect(m_updater, &NativeUpdater::stateChanged, this, &UpdatesPane::showState);
    connect(m_updater, &NativeUpdater::automaticallyChecksForUpdatesChanged, this, &UpdatesPane::showState);
    connect(m_updater, &NativeUpdater::downloadProgressChanged, this, &UpdatesPane::showProgress);
    // The updater speaks the language of the system; this window speaks the one the user chose, so the texts are
    // asked for in that language, from the updater's own tables.
    texts.bind([this] { showState(); });
}

UpdaterLanguage UpdatesPane::language() const
{
    // The table the rest of the window is read from.
    return tessaryUpdaterLanguage(m_preferences.language());
}

void UpdatesPane::showState()
{
    if (m_updater == nullptr) {
        return;
    }
    m_status->setText(m_updater->statusText(language()));
    SettingsSection::setErrorStyle(m_status, m_updater->state().kind() == NativeUpdateState::Kind::Failed);
    m_action->setText(m_updater->actionTitle(language()));
    m_action->setEnabled(!m_updater->isActionDisabled());
    // A copy that cannot update itself (run from the build tree, or updated by the package manager) has no
    // automatic checks to switch; the stored choice is kept for a copy that can.
    const bool canUpdate = m_updater->configuration().isEnabled;
    const QSignalBlocker blocker(m_automatic);
    m_automatic->setEnabled(canUpdate);
    m_automatic->setChecked(canUpdate && m_updater->automaticallyChecksForUpdates());
    showProgress();
}

void UpdatesPane::showProgress()
{
    if (m_updater == nullptr) {
        return;
    }
    const bool downloading = m_updater->state().kind() == NativeUpdateState::Kind::Downloading;
    const double progress = m_updater->downloadProgress();
    if (progress < 0) {
        // Size not known yet: a busy bar.
        m_progress->setRange(0, 0);
    } else {
        m_progress->setRange(0, 1000);
        m_progress->setValue(int(progress * 1000));
    }
    m_progress->setVisible(downloading);
}

} // namespace Tessary
