// The configuration sync against real files in a real folder, with changes arriving from a second process and from
// "another device" (a file renamed into place the way sync tools deliver it). Which names are conflict copies, the
// size limit and the safe writing itself are the configuration layer's (tests/configuration); here is what the
// settings do with them and what the user reads.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QMainWindow>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>

#include "app/TessaryApp.h"
#include "app/TessaryPreferences.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/TessaryDefaultPrompt.h"
#include "app/settings/TessarySettingsWindow.h"
#include "app/sync/SyncLocation.h"
#include "app/sync/TessaryCloudSettings.h"
#include "appearance/NativeAppAppearance.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/configuration/PeerProcess.h"
#include "tests/support/TestEnvironment.h"
#include "tests/updater/support/DialogAnswerer.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using namespace Tessary::Test;

namespace {

/** Writes the file in place, making its folders. */
void writeFile(const QString &path, const QByteArray &bytes)
{
    ASSERT_TRUE(QDir().mkpath(QFileInfo(path).absolutePath()));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size());
}

/** Puts bytes at path as a sync tool delivers another device's version: a hidden file renamed over it. */
void deliver(const QString &path, const QByteArray &bytes)
{
    const QFileInfo target(path);
    const QString temporary = target.absolutePath() + u"/.syncthing."_s + target.fileName() + u".tmp"_s;
    writeFile(temporary, bytes);
    ASSERT_EQ(::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(path).constData()), 0);
}

/** A valid configuration as another installation writes it, with keys replaced; undefined removes a key. */
QByteArray configuration(std::initializer_list<std::pair<QString, QJsonValue>> overrides)
{
    QJsonObject object = QJsonDocument::fromJson(R"({"version":1,"aiBaseURL":"https://api.deepseek.com/v1",
        "aiModel":"synced-model","polishPrompt":"Polish.","hideMenuBarIcon":false,"colorMode":"system",
        "shortcut":{"keyCode":19,"modifiers":4864,"label":"2"},"language":"zh-Hans","accentPalette":"violet"})")
                             .object();
    for (const auto &[key, value] : overrides) {
        value.isUndefined() ? void(object.remove(key)) : void(object.insert(key, value));
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

const QString localOnly = u"仅保存在本机"_s;
const QString syncedUp = u"已同步到 iCloud"_s;
const QString syncedDown = u"已从 iCloud 同步"_s;

QString text(const QString &key)
{
    return tessaryLocalized(key, u"zh-Hans"_s);
}

/** A failure as the status shows it: the format's text with the reason's text, filled with argument if given. */
QString failure(const QString &formatKey, const QString &reasonKey, const QString &argument = {})
{
    return tessaryFormat(text(formatKey),
                         argument.isNull() ? text(reasonKey) : tessaryFormat(text(reasonKey), argument));
}

const QString unavailable = u"iCloud 配置暂不可用：%@"_s;
const QString saveFailed = u"iCloud 保存失败：%@"_s;

class TessaryCloudSettingsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDir().mkpath(syncFolder()));
        m_defaults.setString(u"language"_s, u"zh-Hans"_s);
        m_defaults.setString(u"tessary.syncFolder"_s, syncFolder());
        m_preferences = std::make_unique<TessaryPreferences>(m_defaults);
        m_appearance = std::make_unique<NativeAppAppearance>(NativeAccentPalette::Violet, u"tessary.accentPalette"_s,
                                                             m_defaults, [](NativeAccentPalette) { return QIcon(); });
        relaunch(false);
    }

    /** A new start of the sync, as at the application's launch; with a scripted answer to conflicts. */
    void relaunch(bool start = true)
    {
        m_cloud = std::make_unique<TessaryCloudSettings>(*m_preferences, *m_appearance, m_defaults);
        m_preferences->onConfigurationChange = [raw = m_cloud.get()] { raw->save(); };
        QObject::connect(m_appearance.get(), &NativeAppAppearance::selectionChanged, m_cloud.get(),
                         &TessaryCloudSettings::save);
        m_cloud->setConflictPrompt([this] {
            ++m_prompts;
            return m_answer;
        });
        if (start) {
            m_cloud->startIfEnabled();
        }
    }

    QString syncFolder() const { return m_dir.filePath(u"Sync"_s); }
    QString file(const QString &name = u"config.json"_s) const { return syncFolder() + u"/Tessary/"_s + name; }

    bool waitForStatus(const QString &status) const
    {
        return QTest::qWaitFor([&] { return m_cloud->status() == status; }, 10000);
    }

    void enable()
    {
        m_cloud->setEnabled(true);
        ASSERT_TRUE(m_cloud->isEnabled()) << m_cloud->status().toStdString();
    }

    /** A change in the settings, then the write that follows once the changes pause. */
    void changeModelAndWaitForTheWrite(const QString &model)
    {
        m_preferences->setAiModel(model);
        ASSERT_TRUE(m_cloud->hasPendingSave());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !m_cloud->hasPendingSave(); }, 10000));
    }

    QString writtenModel() const
    {
        return QJsonDocument::fromJson(fileContents(file())).object().value(u"aiModel"_s).toString();
    }

    QTemporaryDir m_dir;
    UserDefaults m_defaults{m_dir.filePath(u"defaults.ini"_s)};
    std::unique_ptr<TessaryPreferences> m_preferences;
    std::unique_ptr<NativeAppAppearance> m_appearance;
    std::unique_ptr<TessaryCloudSettings> m_cloud;
    SyncConflictChoice m_answer = SyncConflictChoice::Cancel;
    int m_prompts = 0;
};

TEST_F(TessaryCloudSettingsTest, SwitchingOnUploadsTheConfigurationByteForByteAsAMacWritesIt)
{
    EXPECT_EQ(m_cloud->status(), localOnly);
    m_preferences->setAiModel(u"model/with \"quotes\"\n"_s);
    m_preferences->setHideMenuBarIcon(true);
    m_appearance->select(NativeAccentPalette::Ocean);
    enable();
    EXPECT_EQ(m_cloud->status(), u"已启用 iCloud 同步"_s);
    EXPECT_EQ(m_defaults.boolean(u"iCloudSyncEnabled"_s), true);
    EXPECT_EQ(m_prompts, 0);
    // Neither the key, nor the switch, nor the folder travel.
    const QString prompt = TessaryDefaultPrompt::forLanguage(u"zh-Hans"_s);
    ASSERT_FALSE(prompt.contains(u'"') || prompt.contains(u'/') || prompt.contains(u'\\') || prompt.contains(u'\n'));
    EXPECT_EQ(fileContents(file()),
              "{\"version\":1,\"aiBaseURL\":\"https:\\/\\/api.deepseek.com\\/v1\",\"aiModel\":\"model\\/with "
              "\\\"quotes\\\"\\n\",\"polishPrompt\":\"" +
                  prompt.toUtf8() +
                  "\",\"hideMenuBarIcon\":true,\"shortcut\":{\"keyCode\":19,\"modifiers\":4864,\"label\":\"2\"},"
                  "\"colorMode\":\"system\",\"language\":\"zh-Hans\",\"accentPalette\":\"ocean\"}");
}

TEST_F(TessaryCloudSettingsTest, ChangesAreWrittenOnceThingsPauseAndAtSwitchOff)
{
    enable();
    const QByteArray before = fileContents(file());
    QElapsedTimer sinceLast;
    for (int i = 1; i <= 10; ++i) {
        m_preferences->setAiModel(u"model-"_s + QString::number(i));
        sinceLast.start();
    }
    EXPECT_EQ(fileContents(file()), before) << "nothing written during the burst";
    ASSERT_TRUE(QTest::qWaitFor([&] { return writtenModel() == u"model-10"; }, 10000));
    EXPECT_GE(sinceLast.elapsed(), 340) << "the write waits for quiet";
    EXPECT_EQ(m_cloud->status(), syncedUp);

    // Switching off writes a pending change at once; afterwards changes stay here.
    m_preferences->setAiModel(u"last-change"_s);
    m_cloud->setEnabled(false);
    EXPECT_EQ(writtenModel(), u"last-change"_s);
    EXPECT_EQ(m_cloud->status(), localOnly);
    m_preferences->setAiModel(u"local-only"_s);
    EXPECT_FALSE(m_cloud->hasPendingSave());
}

TEST_F(TessaryCloudSettingsTest, TheApplicationReadsTheFileAtLaunchAndWritesAPendingChangeAtQuit)
{
    deliver(file(), configuration({{u"aiModel"_s, u"initial"_s}}));
    m_defaults.setBoolean(u"iCloudSyncEnabled"_s, true);
    TessaryApp app({u"tessary"_s}, m_defaults);
    app.applicationDidFinishLaunching();
    EXPECT_EQ(app.cloud().status(), syncedDown);
    EXPECT_EQ(app.preferences().aiModel(), u"initial"_s);
    // Quit, SIGTERM and logout end here, within the wait for quiet after the change.
    app.preferences().setAiModel(u"before-quit"_s);
    app.applicationWillTerminate();
    EXPECT_EQ(writtenModel(), u"before-quit"_s);
}

TEST_F(TessaryCloudSettingsTest, ChangesFromAnotherProcessAreAppliedWithTheirSideEffects)
{
    enable();
    bool visibilityFollowed = false;
    m_preferences->onVisibilityChange = [&] { visibilityFollowed = m_preferences->hideMenuBarIcon(); };
    const QByteArray fromPeer = configuration(
        {{u"aiModel"_s, u"peer-model"_s}, {u"hideMenuBarIcon"_s, true}, {u"accentPalette"_s, u"amber"_s}});
    ASSERT_TRUE(PeerProcess::run({u"replace"_s, file(), QString::fromUtf8(fromPeer)}));
    ASSERT_TRUE(waitForStatus(syncedDown));
    EXPECT_EQ(m_preferences->aiModel(), u"peer-model"_s);
    EXPECT_TRUE(visibilityFollowed);
    EXPECT_EQ(m_appearance->selection(), NativeAccentPalette::Amber);
    EXPECT_FALSE(m_cloud->hasPendingSave());

    // Our next change builds on theirs.
    changeModelAndWaitForTheWrite(u"ours"_s);
    EXPECT_EQ(m_cloud->status(), syncedUp);
    EXPECT_EQ(QJsonDocument::fromJson(fileContents(file())).object().value(u"accentPalette"_s).toString(), u"amber"_s);
}

struct BadFile
{
    const char *name;
    QByteArray bytes;
    const char *reasonKey;
    const char *argument;
};

void PrintTo(const BadFile &badFile, std::ostream *out)
{
    *out << badFile.name;
}

class TessaryCloudSettingsBadFileTest : public TessaryCloudSettingsTest, public ::testing::WithParamInterface<BadFile>
{
};

TEST_P(TessaryCloudSettingsBadFileTest, IsNeitherAppliedNorOverwrittenAndTheStatusSaysWhy)
{
    enable();
    const QString refused = failure(unavailable, QString::fromUtf8(GetParam().reasonKey),
                                    *GetParam().argument ? QString::fromUtf8(GetParam().argument) : QString());
    const QByteArray bad = GetParam().bytes;
    deliver(file(), bad);
    ASSERT_TRUE(waitForStatus(refused)) << m_cloud->status().toStdString();
    EXPECT_EQ(m_preferences->aiModel(), TessaryPreferences::defaultModel());

    // Changes go on here: saved locally, but the file is not ours to overwrite, now or after the next launch.
    changeModelAndWaitForTheWrite(u"local-change"_s);
    EXPECT_EQ(m_defaults.string(u"aiModel"_s), u"local-change"_s);
    EXPECT_TRUE(m_cloud->status().startsWith(tessaryFormat(text(saveFailed), QString())));
    relaunch();
    EXPECT_EQ(m_cloud->status(), refused);
    changeModelAndWaitForTheWrite(u"after-launch"_s);
    EXPECT_TRUE(fileContents(file()) == bad) << "the file was overwritten";
}

INSTANTIATE_TEST_SUITE_P(
    FromElsewhere, TessaryCloudSettingsBadFileTest,
    ::testing::Values(BadFile{"overSizeLimit", configuration({{u"polishPrompt"_s, QString(5'000'000, u'x')}}),
                              "配置文件超过 5 MB。", ""},
                      BadFile{"missingKey", configuration({{u"accentPalette"_s, QJsonValue::Undefined}}),
                              "配置文件中的“%@”缺失或类型不正确。", "accentPalette"},
                      BadFile{"laterVersion", configuration({{u"version"_s, 2}}), "配置文件的格式版本 %@ 不受支持。",
                              "2"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(TessaryCloudSettingsTest, ConflictCopyOrPlaceholderStopsWritesUntilSettled)
{
    enable();
    const QString copy = file(u"config (conflicted copy 2026-11-23 101500).json"_s);
    const QString conflict = u"iCloud 配置存在冲突版本，请在访达中处理后重新加载。"_s;
    ASSERT_TRUE(PeerProcess::run({u"write"_s, copy, QString::fromUtf8(configuration({}))}));
    ASSERT_TRUE(waitForStatus(failure(unavailable, conflict)));
    const QByteArray before = fileContents(file());
    changeModelAndWaitForTheWrite(u"while-in-conflict"_s);
    EXPECT_EQ(m_cloud->status(), failure(saveFailed, conflict));
    EXPECT_TRUE(fileContents(file()) == before);
    // Settled by deleting the copy: the change that waited is written.
    ASSERT_TRUE(QFile::remove(copy));
    ASSERT_TRUE(waitForStatus(syncedUp)) << m_cloud->status().toStdString();
    EXPECT_EQ(writtenModel(), u"while-in-conflict"_s);

    // A file still on its way (a sync tool's placeholder): switching on is refused and writes nothing.
    m_cloud->setEnabled(false);
    QDir(syncFolder() + u"/Tessary"_s).removeRecursively();
    writeFile(file(u"config.json.nextcloud"_s), "");
    m_cloud->setEnabled(true);
    EXPECT_FALSE(m_cloud->isEnabled());
    EXPECT_EQ(m_cloud->status(), failure(u"iCloud 配置不可用：%@"_s, u"配置文件暂不可用。"_s));
    // Already on at launch: it waits, saves only say so, and the file is taken when it arrives.
    m_defaults.setBoolean(u"iCloudSyncEnabled"_s, true);
    relaunch();
    const QString waiting = u"等待 iCloud 配置下载；不会覆盖云端文件。"_s;
    EXPECT_EQ(m_cloud->status(), waiting);
    changeModelAndWaitForTheWrite(u"local"_s);
    EXPECT_EQ(m_cloud->status(), waiting);
    EXPECT_FALSE(QFileInfo::exists(file()));
    deliver(file(), configuration({{u"aiModel"_s, u"arrived"_s}}));
    ASSERT_TRUE(waitForStatus(syncedDown));
    EXPECT_EQ(m_preferences->aiModel(), u"arrived"_s);
}

TEST_F(TessaryCloudSettingsTest, MissingAndDeletedFoldersAreReportedAndNothingIsLost)
{
    m_cloud->setFolder(m_dir.filePath(u"Nowhere"_s));
    m_cloud->setEnabled(true);
    EXPECT_FALSE(m_cloud->isEnabled());
    EXPECT_EQ(m_cloud->status(), text(u"未找到 iCloud Drive，请先在系统设置中开启。"_s));
    EXPECT_FALSE(QFileInfo::exists(m_dir.filePath(u"Nowhere"_s))) << "the sync folder is never created by us";

    // The folder deleted while watched (watching it again when it comes back is the configuration layer's).
    m_cloud->setFolder(syncFolder());
    enable();
    ASSERT_TRUE(QDir(syncFolder() + u"/Tessary"_s).removeRecursively());
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return m_cloud->status().startsWith(tessaryFormat(text(unavailable), QString())); }, 10000))
        << m_cloud->status().toStdString();
    changeModelAndWaitForTheWrite(u"while-gone"_s);
    EXPECT_FALSE(QFileInfo::exists(file())) << "a deleted file is not brought back over the other devices";
}

TEST_F(TessaryCloudSettingsTest, AnotherFolderWhileOnMovesSyncAndALinkIsFollowed)
{
    enable();
    // ~/Nextcloud is a link to where the sync tool really keeps the folder, and already holds a configuration.
    const QString real = m_dir.filePath(u"Disk/Nextcloud"_s);
    deliver(real + u"/Tessary/config.json"_s, configuration({{u"aiModel"_s, u"in-other"_s}}));
    const QString other = m_dir.filePath(u"Nextcloud"_s);
    ASSERT_TRUE(QFile::link(real, other));
    m_preferences->setAiModel(u"last-in-first"_s);
    m_answer = SyncConflictChoice::UseSynced;
    m_cloud->setFolder(other);
    EXPECT_EQ(m_defaults.string(u"tessary.syncFolder"_s), other);
    EXPECT_TRUE(m_cloud->isEnabled());
    EXPECT_EQ(m_prompts, 1);
    EXPECT_EQ(writtenModel(), u"last-in-first"_s) << "the first folder got the pending change";
    EXPECT_EQ(m_preferences->aiModel(), u"in-other"_s);
    EXPECT_TRUE(QFileInfo(other).isSymLink());

    // The new folder is watched now, through the link.
    deliver(real + u"/Tessary/config.json"_s, configuration({{u"aiModel"_s, u"via-real-path"_s}}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_preferences->aiModel() == u"via-real-path"_s; }, 10000));
}

// Switching on in the settings when the folder holds another configuration: the alert a user sees, answered as a
// user would, and what each answer does.
TEST_F(TessaryCloudSettingsTest, DifferentConfigurationAsksWhichWinsAndTheSwitchShowsTheOutcome)
{
    deliver(file(), configuration({{u"aiModel"_s, u"their-model"_s},
                                   {u"polishPrompt"_s, TessaryDefaultPrompt::legacyPrompts().at(2)},
                                   {u"language"_s, u"zh-Hant"_s},
                                   {u"colorMode"_s, u"dark"_s},
                                   {u"accentPalette"_s, u"forest"_s}}));
    const QByteArray theirs = fileContents(file());
    m_cloud = std::make_unique<TessaryCloudSettings>(*m_preferences, *m_appearance, m_defaults);
    m_preferences->onConfigurationChange = [raw = m_cloud.get()] { raw->save(); };
    QNetworkAccessManager session;
    TessarySettingsWindow settings(TessarySettingsWindow::General, *m_preferences, *m_appearance, session);
    settings.setCloudSettings(m_cloud.get());
    settings.show();
    auto *box = settings.window()->findChild<QCheckBox *>(u"iCloudSync"_s);
    auto *status = settings.window()->findChild<QLabel *>(u"syncStatus"_s);
    ASSERT_TRUE(box && status);
    EXPECT_EQ(status->text(), text(localOnly));
    EXPECT_EQ(settings.window()->findChild<QLabel *>(u"syncFolder"_s)->toolTip(), syncFolder());

    // Cancel: sync stays off and nothing is written or remembered.
    Tessary::Test::DialogAnswerer answerer;
    answerer.answer({1, 2, 0});
    box->click();
    ASSERT_EQ(answerer.dialogs().size(), 1);
    EXPECT_EQ(answerer.dialogs()[0].text, text(u"iCloud 中已有 Tessary 配置"_s));
    EXPECT_FALSE(box->isChecked()) << "cancelled: the switch shows that sync is off";
    EXPECT_FALSE(m_defaults.contains(u"iCloudSyncEnabled"_s));
    EXPECT_EQ(fileContents(file()), theirs);
    EXPECT_EQ(m_preferences->aiModel(), TessaryPreferences::defaultModel());

    // Replace: ours is written, theirs kept as a backup outside the sync folder.
    QDir(SyncLocation::backupFolder()).removeRecursively();
    box->click();
    EXPECT_TRUE(box->isChecked());
    const QStringList backups = QDir(SyncLocation::backupFolder()).entryList(QDir::Files);
    ASSERT_EQ(backups.size(), 1);
    EXPECT_TRUE(backups.first().startsWith(u"icloud-"_s) && backups.first().endsWith(u".json"_s));
    EXPECT_EQ(fileContents(SyncLocation::backupFolder() + u'/' + backups.first()), theirs);
    EXPECT_FALSE(SyncLocation::backupFolder().startsWith(syncFolder()));
    EXPECT_EQ(writtenModel(), TessaryPreferences::defaultModel());

    // Use the synced one: every field arrives, and an old built-in prompt becomes today's in the file's language.
    box->click();
    EXPECT_EQ(status->text(), text(localOnly));
    deliver(file(), theirs);
    box->click();
    EXPECT_TRUE(box->isChecked());
    EXPECT_EQ(m_preferences->aiModel(), u"their-model"_s);
    EXPECT_EQ(m_preferences->language(), u"zh-Hant"_s);
    EXPECT_EQ(m_preferences->colorMode(), u"dark"_s);
    EXPECT_EQ(m_preferences->polishPrompt(), TessaryDefaultPrompt::forLanguage(u"zh-Hant"_s));
    EXPECT_EQ(m_appearance->selection(), NativeAccentPalette::Forest);
    EXPECT_EQ(m_defaults.string(u"aiModel"_s), u"their-model"_s) << "applied values are the user's settings now";
    EXPECT_FALSE(m_cloud->hasPendingSave()) << "applying is not a change to save";
    EXPECT_EQ(fileContents(file()), theirs);
    // The status follows the interface language.
    m_preferences->setLanguage(u"en"_s);
    EXPECT_EQ(status->text(), tessaryLocalized(u"已启用 iCloud 同步"_s, u"en"_s));
}

} // namespace
