// The configuration sync against real files in a real folder, with changes arriving from a second process and from
// "another device" (a file renamed into place the way sync tools deliver it).

#include <gtest/gtest.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QMainWindow>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include "app/TessaryPreferences.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/TessaryDefaultPrompt.h"
#include "app/settings/TessarySettingsWindow.h"
#include "app/sync/SyncLocation.h"
#include "app/sync/TessaryCloudSettings.h"
#include "appearance/NativeAppAppearance.h"
#include "configuration/SecureConfigurationFileMonitor.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/app/SyncTestSupport.h"
#include "tests/configuration/PeerProcess.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::PeerProcess;

namespace {

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
        m_cloud = makeCloud();
    }

    std::unique_ptr<TessaryCloudSettings> makeCloud()
    {
        auto cloud = std::make_unique<TessaryCloudSettings>(*m_preferences, *m_appearance, m_defaults);
        m_preferences->onConfigurationChange = [raw = cloud.get()] { raw->save(); };
        QObject::connect(m_appearance.get(), &NativeAppAppearance::selectionChanged, cloud.get(),
                         &TessaryCloudSettings::save);
        cloud->setConflictPrompt([this] {
            ++m_prompts;
            return m_answer;
        });
        return cloud;
    }

    QString syncFolder() const { return m_dir.filePath(u"Sync"_s); }
    QString file(const QString &name = u"config.json"_s) const { return syncFolder() + u"/Tessary/"_s + name; }

    QString text(const QString &key) const { return tessaryLocalized(key, u"zh-Hans"_s); }
    QString failure(const QString &formatKey, const QString &reason) const
    {
        return tessaryFormat(text(formatKey), reason);
    }

    bool waitForStatus(const QString &status, int timeoutMs = 10000) const
    {
        return QTest::qWaitFor([&] { return m_cloud->status() == status; }, timeoutMs);
    }

    /** Switches on over an empty folder: the local configuration becomes the file. */
    void enable()
    {
        m_cloud->setEnabled(true);
        ASSERT_TRUE(m_cloud->isEnabled()) << m_cloud->status().toStdString();
    }

    /** A change in the settings, then the debounced write. */
    void changeModelAndWaitForTheWrite(const QString &model)
    {
        m_preferences->setAiModel(model);
        ASSERT_TRUE(m_cloud->hasPendingSave());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !m_cloud->hasPendingSave(); }, 10000));
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
    EXPECT_EQ(m_cloud->status(), u"仅保存在本机"_s);
    m_preferences->setAiModel(u"model/with \"quotes\"\n"_s);
    m_preferences->setHideMenuBarIcon(true);
    m_appearance->select(NativeAccentPalette::Ocean);
    m_cloud->setEnabled(true);

    EXPECT_TRUE(m_cloud->isEnabled());
    EXPECT_EQ(m_cloud->status(), u"已启用 iCloud 同步"_s);
    EXPECT_EQ(m_defaults.boolean(u"iCloudSyncEnabled"_s), true);
    EXPECT_EQ(m_prompts, 0);
    const QString prompt = TessaryDefaultPrompt::forLanguage(u"zh-Hans"_s);
    ASSERT_FALSE(prompt.contains(u'"') || prompt.contains(u'/') || prompt.contains(u'\\') || prompt.contains(u'\n'));
    const QByteArray expected =
        "{\"version\":1,\"aiBaseURL\":\"https:\\/\\/api.deepseek.com\\/v1\",\"aiModel\":\"model\\/with "
        "\\\"quotes\\\"\\n\","
        "\"polishPrompt\":\"" +
        prompt.toUtf8() + '"' +
        ",\"hideMenuBarIcon\":true,\"shortcut\":{\"keyCode\":19,\"modifiers\":4864,\"label\":\"2\"},"
        "\"colorMode\":\"system\",\"language\":\"zh-Hans\",\"accentPalette\":\"ocean\"}";
    EXPECT_EQ(Tessary::Test::contents(file()), expected);
    // Neither the key, nor the switch, nor the folder travel.
    const QJsonObject keys = QJsonDocument::fromJson(Tessary::Test::contents(file())).object();
    EXPECT_EQ(keys.size(), 9);
}

TEST_F(TessaryCloudSettingsTest, SwitchingOnOverTheSameConfigurationInAnotherKeyOrderAsksNothing)
{
    m_cloud->setEnabled(true);
    const QJsonObject same = QJsonDocument::fromJson(Tessary::Test::contents(file())).object();
    m_cloud->setEnabled(false);
    EXPECT_EQ(m_defaults.boolean(u"iCloudSyncEnabled"_s), false);
    // Written by someone else: indented, keys sorted.
    Tessary::Test::deliver(file(), QJsonDocument(same).toJson(QJsonDocument::Indented));
    const QByteArray theirs = Tessary::Test::contents(file());

    m_cloud->setEnabled(true);
    EXPECT_TRUE(m_cloud->isEnabled());
    EXPECT_EQ(m_prompts, 0);
    EXPECT_EQ(Tessary::Test::contents(file()), theirs) << "equal configurations: nothing to write";
}

TEST_F(TessaryCloudSettingsTest, DifferentConfigurationAsksWhichWins)
{
    Tessary::Test::deliver(
        file(), Tessary::Test::configuration({{u"aiModel"_s, u"their-model"_s},
                                              {u"polishPrompt"_s, TessaryDefaultPrompt::legacyPrompts().at(2)},
                                              {u"language"_s, u"zh-Hant"_s},
                                              {u"colorMode"_s, u"dark"_s},
                                              {u"accentPalette"_s, u"forest"_s}}));
    const QByteArray theirs = Tessary::Test::contents(file());

    // Cancel: sync stays off and nothing is written or remembered.
    m_answer = SyncConflictChoice::Cancel;
    m_cloud->setEnabled(true);
    EXPECT_EQ(m_prompts, 1);
    EXPECT_FALSE(m_cloud->isEnabled());
    EXPECT_FALSE(m_defaults.contains(u"iCloudSyncEnabled"_s));
    EXPECT_EQ(m_cloud->status(), u"仅保存在本机"_s);
    EXPECT_EQ(Tessary::Test::contents(file()), theirs);
    EXPECT_EQ(m_preferences->aiModel(), TessaryPreferences::defaultModel());

    // Use the synced one: every field arrives, the palette too, and an old built-in prompt becomes today's one in
    // the file's language.
    m_answer = SyncConflictChoice::UseSynced;
    m_cloud->setEnabled(true);
    EXPECT_TRUE(m_cloud->isEnabled());
    EXPECT_EQ(m_preferences->aiModel(), u"their-model"_s);
    EXPECT_EQ(m_preferences->language(), u"zh-Hant"_s);
    EXPECT_EQ(m_preferences->colorMode(), u"dark"_s);
    EXPECT_EQ(m_preferences->polishPrompt(), TessaryDefaultPrompt::forLanguage(u"zh-Hant"_s));
    EXPECT_EQ(m_appearance->selection(), NativeAccentPalette::Forest);
    EXPECT_EQ(m_defaults.string(u"aiModel"_s), u"their-model"_s) << "applied values are the user's settings now";
    EXPECT_FALSE(m_cloud->hasPendingSave()) << "applying is not a change to save";
    EXPECT_EQ(Tessary::Test::contents(file()), theirs);
}

TEST_F(TessaryCloudSettingsTest, ReplacingKeepsABackupOfTheSyncedFileOutsideTheSyncFolder)
{
    Tessary::Test::deliver(file(), Tessary::Test::configuration({{u"aiModel"_s, u"their-model"_s}}));
    const QByteArray theirs = Tessary::Test::contents(file());
    QDir(SyncLocation::backupFolder()).removeRecursively();

    m_answer = SyncConflictChoice::ReplaceSynced;
    m_cloud->setEnabled(true);
    ASSERT_TRUE(m_cloud->isEnabled());
    const QStringList backups = QDir(SyncLocation::backupFolder()).entryList(QDir::Files);
    ASSERT_EQ(backups.size(), 1);
    EXPECT_TRUE(QRegularExpression(u"^icloud-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\\.json$"_s)
                    .match(backups.first())
                    .hasMatch())
        << backups.first().toStdString();
    EXPECT_EQ(Tessary::Test::contents(SyncLocation::backupFolder() + u'/' + backups.first()), theirs);
    EXPECT_FALSE(SyncLocation::backupFolder().startsWith(syncFolder()));
    EXPECT_EQ(QJsonDocument::fromJson(Tessary::Test::contents(file())).object().value(u"aiModel"_s).toString(),
              TessaryPreferences::defaultModel());
    EXPECT_EQ(m_preferences->aiModel(), TessaryPreferences::defaultModel());
}

TEST_F(TessaryCloudSettingsTest, ABurstOfChangesIsOneWriteAfterTheLast)
{
    enable();
    int writes = 0;
    SecureConfigurationFileMonitor watch(file(), [&writes] { ++writes; });
    watch.start();
    const QByteArray before = Tessary::Test::contents(file());

    QElapsedTimer sinceLast;
    qint64 longestGap = 0;
    for (int i = 1; i <= 10; ++i) {
        if (i > 1) {
            QTest::qWait(25);
            longestGap = std::max(longestGap, sinceLast.elapsed());
        }
        m_preferences->setAiModel(u"model-"_s + QString::number(i));
        sinceLast.start();
    }
    EXPECT_EQ(Tessary::Test::contents(file()), before) << "nothing written during the burst";
    ASSERT_TRUE(QTest::qWaitFor([&] { return Tessary::Test::contents(file()).contains("model-10"); }, 10000));
    const qint64 delay = sinceLast.elapsed();
    QTest::qWait(500);
    EXPECT_EQ(m_cloud->status(), u"已同步到 iCloud"_s) << "our own write, seen again, is not a foreign change";
    if (longestGap < 350) {
        EXPECT_EQ(writes, 1);
    }
    EXPECT_GE(delay, 340) << "the write waits for quiet";
    std::printf("[ debounce ] 10 changes, longest gap %lld ms; one write %lld ms after the last change\n",
                static_cast<long long>(longestGap), static_cast<long long>(delay));
}

TEST_F(TessaryCloudSettingsTest, ChangesFromAnotherProcessAreAppliedWithTheirSideEffects)
{
    enable();
    QByteArray fromPeer = Tessary::Test::configuration(
        {{u"aiModel"_s, u"peer-model"_s}, {u"hideMenuBarIcon"_s, true}, {u"accentPalette"_s, u"amber"_s}});
    bool visibilityFollowed = false;
    m_preferences->onVisibilityChange = [&] { visibilityFollowed = m_preferences->hideMenuBarIcon(); };
    ASSERT_TRUE(PeerProcess::run({u"replace"_s, file(), QString::fromUtf8(fromPeer)}));

    ASSERT_TRUE(waitForStatus(u"已从 iCloud 同步"_s));
    EXPECT_EQ(m_preferences->aiModel(), u"peer-model"_s);
    EXPECT_TRUE(m_preferences->hideMenuBarIcon());
    EXPECT_TRUE(visibilityFollowed);
    EXPECT_EQ(m_appearance->selection(), NativeAccentPalette::Amber);
    EXPECT_FALSE(m_cloud->hasPendingSave());

    // And our next change builds on theirs.
    changeModelAndWaitForTheWrite(u"ours"_s);
    EXPECT_EQ(m_cloud->status(), u"已同步到 iCloud"_s);
    const QJsonObject written = QJsonDocument::fromJson(Tessary::Test::contents(file())).object();
    EXPECT_EQ(written.value(u"aiModel"_s).toString(), u"ours"_s);
    EXPECT_EQ(written.value(u"accentPalette"_s).toString(), u"amber"_s);
}

TEST_F(TessaryCloudSettingsTest, SwitchingOffAndQuittingWriteAPendingSaveAtOnce)
{
    enable();
    m_preferences->setAiModel(u"last-change"_s);
    ASSERT_TRUE(m_cloud->hasPendingSave());
    m_cloud->setEnabled(false);
    EXPECT_TRUE(Tessary::Test::contents(file()).contains("last-change"));
    EXPECT_EQ(m_cloud->status(), u"仅保存在本机"_s);
    m_preferences->setAiModel(u"local-only"_s);
    EXPECT_FALSE(m_cloud->hasPendingSave());

    // At launch with sync on, and at quit.
    m_answer = SyncConflictChoice::ReplaceSynced;
    m_cloud->setEnabled(true);
    m_cloud = makeCloud();
    m_cloud->startIfEnabled();
    EXPECT_EQ(m_cloud->status(), u"已从 iCloud 同步"_s);
    m_preferences->setAiModel(u"before-quit"_s);
    m_cloud->flushPendingSave();
    EXPECT_FALSE(m_cloud->hasPendingSave());
    EXPECT_TRUE(Tessary::Test::contents(file()).contains("before-quit"));
}

struct BadFile
{
    const char *name;
    QByteArray (*bytes)();
    /** The reason in the status: a key, with %@ filled by argument. */
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
    const QString reason =
        tessaryFormat(text(QString::fromUtf8(GetParam().reasonKey)), QString::fromUtf8(GetParam().argument));
    const QByteArray bad = GetParam().bytes();
    Tessary::Test::deliver(file(), bad);
    ASSERT_TRUE(waitForStatus(failure(u"iCloud 配置暂不可用：%@"_s, reason))) << m_cloud->status().toStdString();
    EXPECT_EQ(m_preferences->aiModel(), TessaryPreferences::defaultModel());

    // The user goes on changing settings here: saved locally, but the file is not ours to overwrite.
    changeModelAndWaitForTheWrite(u"local-change"_s);
    EXPECT_EQ(m_preferences->aiModel(), u"local-change"_s);
    EXPECT_EQ(m_defaults.string(u"aiModel"_s), u"local-change"_s);
    EXPECT_TRUE(m_cloud->status().startsWith(failure(u"iCloud 保存失败：%@"_s, QString())));
    EXPECT_TRUE(Tessary::Test::contents(file()) == bad) << "the file was overwritten";

    // At the next launch it is refused the same way, and still kept.
    m_cloud = makeCloud();
    m_cloud->startIfEnabled();
    EXPECT_EQ(m_cloud->status(), failure(u"iCloud 配置暂不可用：%@"_s, reason));
    changeModelAndWaitForTheWrite(u"after-launch"_s);
    EXPECT_TRUE(Tessary::Test::contents(file()) == bad);
}

INSTANTIATE_TEST_SUITE_P(
    FromElsewhere, TessaryCloudSettingsBadFileTest,
    ::testing::Values(
        BadFile{"overSizeLimit",
                [] {
                    return Tessary::Test::configuration({{u"polishPrompt"_s, QString(5'000'000, u'x')}});
                },
                "配置文件超过 5 MB。", ""},
        BadFile{"notJson", [] { return QByteArray("version = 1\naiModel = x\n"); }, "配置文件不是有效的 JSON。", ""},
        BadFile{"jsonButNotAnObject", [] { return QByteArray("[1, 2, 3]"); }, "配置文件不是有效的 JSON。", ""},
        BadFile{"wrongType",
                [] {
                    return Tessary::Test::configuration({{u"hideMenuBarIcon"_s, u"yes"_s}});
                },
                "配置文件中的“%@”缺失或类型不正确。", "hideMenuBarIcon"},
        BadFile{"missingKey",
                [] {
                    return Tessary::Test::configuration({{u"accentPalette"_s, QJsonValue::Undefined}});
                },
                "配置文件中的“%@”缺失或类型不正确。", "accentPalette"},
        BadFile{"badShortcut",
                [] {
                    return Tessary::Test::configuration({{u"shortcut"_s, QJsonObject{{u"keyCode"_s, -1}}}});
                },
                "配置文件中的“%@”缺失或类型不正确。", "shortcut"},
        BadFile{"laterVersion",
                [] {
                    return Tessary::Test::configuration({{u"version"_s, 2}, {u"aiModel"_s, u"v2"_s}});
                },
                "配置文件的格式版本 %@ 不受支持。", "2"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(TessaryCloudSettingsTest, UnknownPaletteAndAMegabytePromptAreTakenAsFarAsTheyGo)
{
    enable();
    const QString longPrompt = QString(1'000'000, u'提');
    Tessary::Test::deliver(file(), Tessary::Test::configuration({{u"accentPalette"_s, u"ultraviolet"_s},
                                                                 {u"aiModel"_s, u"from-mac"_s},
                                                                 {u"polishPrompt"_s, longPrompt}}));
    ASSERT_TRUE(waitForStatus(u"已从 iCloud 同步"_s));
    EXPECT_EQ(m_preferences->aiModel(), u"from-mac"_s);
    EXPECT_EQ(m_preferences->polishPrompt(), longPrompt);
    EXPECT_EQ(m_appearance->selection(), NativeAccentPalette::Violet);

    // A prompt that no longer fits the file is refused when saving; everything stays.
    const QByteArray before = Tessary::Test::contents(file());
    m_preferences->setPolishPrompt(QString(1'000'000, QChar(1)));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !m_cloud->hasPendingSave(); }, 10000));
    EXPECT_EQ(m_cloud->status(), failure(u"iCloud 保存失败：%@"_s, text(u"配置文件超过 5 MB。"_s)));
    EXPECT_TRUE(Tessary::Test::contents(file()) == before);
}

TEST_F(TessaryCloudSettingsTest, ConflictCopyOfEachSyncToolStopsWritesUntilTheUserSettlesIt)
{
    enable();
    const QString conflictReason = text(u"iCloud 配置存在冲突版本，请在访达中处理后重新加载。"_s);
    const QStringList copies{u"config.sync-conflict-20261123-101500-ABCDEFG.json"_s,
                             u"config (conflicted copy 2026-11-23 101500).json"_s,
                             u"config (Mei's MacBook conflicted copy 2026-11-23).json"_s};
    int round = 0;
    for (const QString &copy : copies) {
        SCOPED_TRACE(copy.toStdString());
        ASSERT_TRUE(PeerProcess::run({u"write"_s, file(copy), QString::fromUtf8(Tessary::Test::configuration({}))}));
        ASSERT_TRUE(waitForStatus(failure(u"iCloud 配置暂不可用：%@"_s, conflictReason)));

        const QByteArray before = Tessary::Test::contents(file());
        const QString model = u"while-in-conflict-"_s + QString::number(++round);
        changeModelAndWaitForTheWrite(model);
        EXPECT_EQ(m_cloud->status(), failure(u"iCloud 保存失败：%@"_s, conflictReason));
        EXPECT_TRUE(Tessary::Test::contents(file()) == before);

        // Settled by deleting the copy: the change that waited is written.
        ASSERT_TRUE(QFile::remove(file(copy)));
        ASSERT_TRUE(waitForStatus(u"已同步到 iCloud"_s)) << m_cloud->status().toStdString();
        EXPECT_TRUE(Tessary::Test::contents(file()).contains(model.toUtf8()));
    }
}

TEST_F(TessaryCloudSettingsTest, PlaceholderOfAFileOnItsWayIsNeverOverwritten)
{
    for (const QString &placeholder : {u".syncthing.config.json.tmp"_s, u"config.json.nextcloud"_s}) {
        SCOPED_TRACE(placeholder.toStdString());
        QDir(syncFolder() + u"/Tessary"_s).removeRecursively();
        Tessary::Test::writeFile(file(placeholder), "");
        m_cloud->setEnabled(true);
        EXPECT_FALSE(m_cloud->isEnabled());
        EXPECT_EQ(m_cloud->status(), failure(u"iCloud 配置不可用：%@"_s, text(u"配置文件暂不可用。"_s)));
        EXPECT_FALSE(QFileInfo::exists(file()));
    }

    // Sync already on at launch: it waits, saves only say so, and the file is taken when it arrives.
    m_defaults.setBoolean(u"iCloudSyncEnabled"_s, true);
    m_cloud = makeCloud();
    m_cloud->startIfEnabled();
    EXPECT_EQ(m_cloud->status(), u"等待 iCloud 配置下载；不会覆盖云端文件。"_s);
    changeModelAndWaitForTheWrite(u"local"_s);
    EXPECT_EQ(m_cloud->status(), u"等待 iCloud 配置下载；不会覆盖云端文件。"_s);
    EXPECT_FALSE(QFileInfo::exists(file()));
    Tessary::Test::writeFile(file(u".syncthing.config.json.tmp"_s),
                             Tessary::Test::configuration({{u"aiModel"_s, u"arrived"_s}}));
    ASSERT_EQ(::rename(QFile::encodeName(file(u".syncthing.config.json.tmp"_s)).constData(),
                       QFile::encodeName(file()).constData()),
              0);
    ASSERT_TRUE(waitForStatus(u"已从 iCloud 同步"_s));
    EXPECT_EQ(m_preferences->aiModel(), u"arrived"_s);
}

TEST_F(TessaryCloudSettingsTest, MissingUnwritableAndDeletedFoldersAreReportedAndNothingIsLost)
{
    // No such folder: switching on is refused.
    m_cloud->setFolder(m_dir.filePath(u"Nowhere"_s));
    m_cloud->setEnabled(true);
    EXPECT_FALSE(m_cloud->isEnabled());
    EXPECT_EQ(m_cloud->status(), text(u"未找到 iCloud Drive，请先在系统设置中开启。"_s));
    EXPECT_FALSE(QFileInfo::exists(m_dir.filePath(u"Nowhere"_s))) << "the sync folder is never created by us";

    // A folder we may not write to.
    const QString readOnly = m_dir.filePath(u"ReadOnly"_s);
    ASSERT_TRUE(QDir().mkpath(readOnly));
    {
        const Tessary::Test::ReadOnlyFolder locked(readOnly);
        m_cloud->setFolder(readOnly);
        m_cloud->setEnabled(true);
        EXPECT_FALSE(m_cloud->isEnabled());
        EXPECT_EQ(m_cloud->status(), failure(u"iCloud 配置不可用：%@"_s,
                                             tessaryFormat(text(u"没有访问“%@”的权限。"_s), readOnly + u"/Tessary"_s)));
    }

    // Write permission taken away while on: the save fails and says so; the change stays here.
    m_cloud->setFolder(syncFolder());
    enable();
    {
        const Tessary::Test::ReadOnlyFolder locked(syncFolder() + u"/Tessary"_s);
        changeModelAndWaitForTheWrite(u"while-read-only"_s);
        EXPECT_EQ(m_cloud->status(), failure(u"iCloud 保存失败：%@"_s, tessaryFormat(text(u"没有访问“%@”的权限。"_s),
                                                                                     syncFolder() + u"/Tessary"_s)));
        EXPECT_EQ(m_preferences->aiModel(), u"while-read-only"_s);
    }

    // The folder deleted while watched, then brought back by the sync tool with the other device's file.
    ASSERT_TRUE(QDir(syncFolder() + u"/Tessary"_s).removeRecursively());
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return m_cloud->status().startsWith(failure(u"iCloud 配置暂不可用：%@"_s, QString())); }, 10000))
        << m_cloud->status().toStdString();
    changeModelAndWaitForTheWrite(u"while-gone"_s);
    EXPECT_FALSE(QFileInfo::exists(file())) << "a deleted file is not brought back over the other devices";
    Tessary::Test::deliver(file(), Tessary::Test::configuration({{u"aiModel"_s, u"restored"_s}}));
    ASSERT_TRUE(waitForStatus(u"已从 iCloud 同步"_s)) << m_cloud->status().toStdString();
    EXPECT_EQ(m_preferences->aiModel(), u"restored"_s);
}

TEST_F(TessaryCloudSettingsTest, ChoosingAnotherFolderWhileOnMovesSyncThere)
{
    enable();
    const QString other = m_dir.filePath(u"Nextcloud"_s);
    Tessary::Test::deliver(other + u"/Tessary/config.json"_s,
                           Tessary::Test::configuration({{u"aiModel"_s, u"in-other"_s}}));
    m_preferences->setAiModel(u"last-in-first"_s);
    m_answer = SyncConflictChoice::UseSynced;
    m_cloud->setFolder(other);

    EXPECT_EQ(m_defaults.string(u"tessary.syncFolder"_s), other);
    EXPECT_TRUE(m_cloud->isEnabled());
    EXPECT_EQ(m_prompts, 1);
    EXPECT_TRUE(Tessary::Test::contents(file()).contains("last-in-first")) << "the first folder got the pending change";
    EXPECT_EQ(m_preferences->aiModel(), u"in-other"_s);
    // Only the new folder is watched now.
    Tessary::Test::deliver(file(), Tessary::Test::configuration({{u"aiModel"_s, u"old-folder"_s}}));
    Tessary::Test::deliver(other + u"/Tessary/config.json"_s,
                           Tessary::Test::configuration({{u"aiModel"_s, u"new-folder"_s}}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_preferences->aiModel() == u"new-folder"; }, 10000));
    QTest::qWait(300);
    EXPECT_EQ(m_preferences->aiModel(), u"new-folder"_s);
}

TEST_F(TessaryCloudSettingsTest, SymlinkedFolderAndFileAreFollowedAndKept)
{
    // ~/Sync is a link to where the sync tool really keeps the folder; a second installation uses the real path.
    const QString real = m_dir.filePath(u"Disk/Sync"_s);
    ASSERT_TRUE(QDir().mkpath(real + u"/Tessary"_s));
    const QString link = m_dir.filePath(u"Linked"_s);
    ASSERT_TRUE(QFile::link(real, link));
    m_cloud->setFolder(link);
    enable();
    EXPECT_TRUE(QFileInfo::exists(real + u"/Tessary/config.json"_s));
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    Tessary::Test::deliver(real + u"/Tessary/config.json"_s,
                           Tessary::Test::configuration({{u"aiModel"_s, u"via-real-path"_s}}));
    ASSERT_TRUE(waitForStatus(u"已从 iCloud 同步"_s));
    EXPECT_EQ(m_preferences->aiModel(), u"via-real-path"_s);

    // config.json itself a link to a file elsewhere: written through, and still a link.
    m_cloud->setEnabled(false);
    const QString target = m_dir.filePath(u"Elsewhere/tessary.json"_s);
    Tessary::Test::writeFile(target, Tessary::Test::contents(real + u"/Tessary/config.json"_s));
    ASSERT_TRUE(QFile::remove(real + u"/Tessary/config.json"_s));
    ASSERT_TRUE(QFile::link(target, real + u"/Tessary/config.json"_s));
    m_cloud->setEnabled(true);
    ASSERT_TRUE(m_cloud->isEnabled()) << m_cloud->status().toStdString();
    changeModelAndWaitForTheWrite(u"through-the-link"_s);
    EXPECT_EQ(m_cloud->status(), u"已同步到 iCloud"_s);
    EXPECT_TRUE(QFileInfo(real + u"/Tessary/config.json"_s).isSymLink());
    EXPECT_TRUE(Tessary::Test::contents(target).contains("through-the-link"));
}

TEST_F(TessaryCloudSettingsTest, SettingsPaneSwitchesSyncThroughTheRealAlertAndShowsTheStatus)
{
    Tessary::Test::deliver(file(), Tessary::Test::configuration({{u"aiModel"_s, u"their-model"_s}}));
    // The alert a user sees, not a scripted answer.
    m_cloud = std::make_unique<TessaryCloudSettings>(*m_preferences, *m_appearance, m_defaults);
    QNetworkAccessManager session;
    TessarySettingsWindow settings(TessarySettingsWindow::General, *m_preferences, *m_appearance, session);
    settings.setCloudSettings(m_cloud.get());
    settings.show();
    auto *box = settings.window()->findChild<QCheckBox *>(u"iCloudSync"_s);
    auto *status = settings.window()->findChild<QLabel *>(u"syncStatus"_s);
    auto *folder = settings.window()->findChild<QLabel *>(u"syncFolder"_s);
    ASSERT_TRUE(box && status && folder);
    EXPECT_FALSE(box->isChecked());
    EXPECT_EQ(status->text(), text(u"仅保存在本机"_s));
    EXPECT_EQ(folder->toolTip(), syncFolder());

    // Answers the alert once it is up; records what it said.
    QString alertText;
    const auto answer = [&](const QString &button) {
        QTimer::singleShot(0, [&alertText, button] {
            (void)QTest::qWaitFor(
                [] { return qobject_cast<QMessageBox *>(QApplication::activeModalWidget()) != nullptr; }, 10000);
            auto *alert = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            if (alert == nullptr) {
                return;
            }
            alertText = alert->text();
            if (button.isEmpty()) {
                QTest::keyClick(alert, Qt::Key_Escape);
            } else {
                alert->findChild<QPushButton *>(button)->click();
            }
        });
    };

    answer(QString());
    box->click();
    EXPECT_EQ(alertText, text(u"iCloud 中已有 Tessary 配置"_s));
    EXPECT_FALSE(box->isChecked()) << "cancelled: the switch shows that sync is off";
    EXPECT_FALSE(m_cloud->isEnabled());

    answer(u"useSynced"_s);
    box->click();
    EXPECT_TRUE(box->isChecked());
    EXPECT_EQ(m_preferences->aiModel(), u"their-model"_s);
    EXPECT_EQ(status->text(), text(u"已启用 iCloud 同步"_s));

    // The status follows the interface language, and failures show in the pane too.
    m_preferences->setLanguage(u"en"_s);
    EXPECT_EQ(status->text(), tessaryLocalized(u"已启用 iCloud 同步"_s, u"en"_s));
    Tessary::Test::writeFile(file(u"config.sync-conflict-20261123-101500-ABCDEFG.json"_s), "{}");
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return status->text().endsWith(
                tessaryLocalized(u"iCloud 配置存在冲突版本，请在访达中处理后重新加载。"_s, u"en"_s));
        },
        10000))
        << status->text().toStdString();
    box->click();
    EXPECT_FALSE(box->isChecked());
    EXPECT_EQ(status->text(), tessaryLocalized(u"仅保存在本机"_s, u"en"_s));
}

} // namespace
