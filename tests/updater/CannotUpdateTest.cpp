// A copy that cannot update itself (run from the build tree, or installed and updated by the package manager)
// says so in the updates pane, the check button and the tray's check, in each interface language, offers no
// automatic checks and schedules none.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "app/TessaryPreferences.h"
#include "app/settings/SettingsTexts.h"
#include "app/settings/UpdatesPane.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/updater/support/DialogAnswerer.h"
#include "updater/NativeUpdater.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

TEST(CannotUpdateTest, SaysWhoUpdatesTheCopyAndSchedulesNothing)
{
    struct Row
    {
        bool packageManaged;
        QString language;
        QString status;
    };
    const QList<Row> rows{
        {false, u"en"_s, u"Development builds do not update automatically"_s},
        {false, u"zh-Hans"_s, u"开发版不自动更新"_s},
        {false, u"zh-Hant"_s, u"開發版不會自動更新"_s},
        {true, u"en"_s, u"This copy is updated by the system's package manager"_s},
        {true, u"zh-Hans"_s, u"此副本由系统的软件包管理器更新"_s},
        {true, u"zh-Hant"_s, u"此副本由系統的套件管理程式更新"_s},
    };
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    TessaryPreferences preferences(defaults);
    Tessary::Test::DialogAnswerer answerer;
    for (const Row &row : rows) {
        SCOPED_TRACE(row.status.toStdString());
        NativeUpdateConfiguration configuration{.product = u"tessary"_s,
                                                .appName = u"Tessary"_s,
                                                .bundleIdentifier = u"md.velmor.tessary"_s,
                                                .manifestURL = QUrl(u"https://127.0.0.1:9/update.json"_s),
                                                .isEnabled = false,
                                                .isPackageManaged = row.packageManaged};
        NativeUpdater updater(configuration, defaults);
        // Switched on earlier, by a copy that could update: kept, but not offered here.
        updater.setAutomaticallyChecksForUpdates(true);
        updater.startAutomaticChecks();
        for (const QTimer *timer : updater.findChildren<QTimer *>()) {
            EXPECT_FALSE(timer->isActive());
        }

        preferences.setLanguage(row.language);
        SettingsTexts texts(preferences);
        UpdatesPane pane(preferences, texts, &updater);
        pane.show();
        EXPECT_EQ(pane.findChild<QLabel *>(u"updateStatus"_s)->text(), row.status);
        const auto *automatic = pane.findChild<QCheckBox *>(u"automaticallyChecksForUpdates"_s);
        EXPECT_FALSE(automatic->isEnabled());
        EXPECT_FALSE(automatic->isChecked());
        EXPECT_EQ(defaults.boolean(updater.switchKey()), true);

        // The check button (and the tray's check, the same manual check) explains, in the system's language.
        answerer.clear();
        pane.findChild<QPushButton *>(u"updateAction"_s)->click();
        ASSERT_TRUE(QTest::qWaitFor([&] { return answerer.dialogs().size() == 1; }, 5000));
        EXPECT_EQ(answerer.dialogs()[0].text,
                  row.packageManaged
                      ? u"This copy is updated by the system's package manager. Get new versions through it."_s
                      : u"Development builds do not check for production updates."_s);
        EXPECT_EQ(updater.state(), NativeUpdateState::idle());
    }
}

} // namespace
