// Conflict copies as the sync tools name them, made as real files beside the configuration file: each one stops
// reading; names that only look alike do not.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "configuration/SecureConfigurationRepository.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

struct NameCase
{
    const char *name;
    const char *neighbour;
    bool isConflict;
};

class ConflictCopiesTest : public ::testing::TestWithParam<NameCase>
{
};

TEST_P(ConflictCopiesTest, OnlyTheToolsOwnNamesStopReading)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"config.json"_s);
    for (const QString &file : {path, dir.filePath(QString::fromUtf8(GetParam().neighbour))}) {
        QFile out(file);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly)) << file.toStdString();
        out.write("{}");
    }
    SecureConfigurationRepository repository(path);
    const auto read = repository.read();
    if (GetParam().isConflict) {
        ASSERT_FALSE(read);
        EXPECT_EQ(read.error().code, SecureConfigurationError::Code::Conflict);
        EXPECT_EQ(read.error().description, u"iCloud 配置存在冲突版本，请在访达中处理后重新加载。"_s);
        EXPECT_EQ(repository.revision(), 0);
        // Settled by removing the copy.
        ASSERT_TRUE(QFile::remove(dir.filePath(QString::fromUtf8(GetParam().neighbour))));
        EXPECT_TRUE(repository.read());
    } else {
        EXPECT_TRUE(read) << read.error().description.toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(
    SyncTools, ConflictCopiesTest,
    ::testing::Values(
        NameCase{"syncthing", "config.sync-conflict-20261123-101500-ABCDEFG.json", true},
        NameCase{"syncthingAnyCase", "Config.Sync-Conflict-20261123-101500-abc2def.JSON", true},
        NameCase{"nextcloud", "config (conflicted copy 2026-11-23 101500).json", true},
        NameCase{"nextcloudOlder", "config_conflict-20261123-101500.json", true},
        NameCase{"dropbox", "config (Mei's MacBook conflicted copy 2026-11-23).json", true},
        NameCase{"dropboxNumbered", "config (laptop conflicted copy 2026-11-23) (2).json", true},
        NameCase{"dropboxAnyCase", "CONFIG (Laptop's Conflicted Copy 2026-11-23).JSON", true},
        NameCase{"syncthingSixCharacterDevice", "config.sync-conflict-20261123-101500-ABCDEF.json", false},
        NameCase{"syncthingShortTime", "config.sync-conflict-20261123-1015-ABCDEFG.json", false},
        NameCase{"syncthingOfAnotherFile", "settings.sync-conflict-20261123-101500-ABCDEFG.json", false},
        NameCase{"syncthingOtherExtension", "config.sync-conflict-20261123-101500-ABCDEFG.txt", false},
        NameCase{"syncthingAfterExtension", "config.json.sync-conflict-20261123-101500-ABCDEFG", false},
        NameCase{"nextcloudDateOnly", "config (conflicted copy 2026-11-23).json", false},
        NameCase{"nextcloudOlderNoTime", "config_conflict-20261123.json", false},
        NameCase{"dropboxWithoutOwner", "config ( conflicted copy 2026-11-23).json", false},
        NameCase{"dropboxNumberNotInParentheses", "config (laptop conflicted copy 2026-11-23) 2.json", false},
        NameCase{"plainCopy", "config (copy).json", false},
        NameCase{"prefixedName", "old config.sync-conflict-20261123-101500-ABCDEFG.json", false},
        NameCase{"ourTemporaryFile", ".config.json.tessary-k3x9a7.tmp", false},
        NameCase{"syncthingTemporaryFile", ".syncthing.config.json.tmp", false},
        NameCase{"nextcloudPlaceholder", "config.json.nextcloud", false}),
    [](const auto &info) { return std::string(info.param.name); });

} // namespace
