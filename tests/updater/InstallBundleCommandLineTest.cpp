// "tessary --install-bundle ZIP" with tessary built for the test keys: a released archive becomes
// ~/.local/opt/Tessary.app with a launcher entry that starts it; what an update would refuse is refused, and an
// installed bundle is left as it was.

#include <gtest/gtest.h>

#include <functional>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "tests/support/TestEnvironment.h"
#include "tests/updater/support/UpdateFixtures.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

class InstallBundleCommandLineTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        QDir().mkpath(path(u"home"_s));
        QDir().mkpath(path(u"tmp"_s));
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(u"HOME"_s, path(u"home"_s));
        m_environment.insert(u"TMPDIR"_s, path(u"tmp"_s));
        m_environment.insert(u"LANGUAGE"_s, u"en"_s);
        for (const QString &name : {u"XDG_DATA_HOME"_s, u"XDG_CONFIG_HOME"_s}) {
            m_environment.remove(name);
        }
    }

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString installed() const { return path(u"home/.local/opt/Tessary.app"_s); }

    /** Releases a bundle of the given build, lets change alter it, zips it and installs the zip. */
    ProcessResult install(const QString &build, const std::function<bool(const QString &)> &change = {})
    {
        const QString release = path(u"release-"_s + build);
        const QString app = release + u"/Tessary.app"_s;
        const QString zip = release + u".zip"_s;
        const bool made = makeReleasedBundle(
            app, {.build = build, .files = {{u"share/icons/hicolor/scalable/apps/md.velmor.tessary.svg"_s, "<svg/>"}}});
        if (!made || (change && !change(app)) || !zipFolderContents(release, zip)) {
            ADD_FAILURE() << "cannot make the archive";
            return {};
        }
        return runProcess(testTreePath(u"bin/tessary"_s), {u"--install-bundle"_s, zip}, m_environment);
    }

    QTemporaryDir m_dir;
    QProcessEnvironment m_environment;
};

TEST_F(InstallBundleCommandLineTest, ReleasedArchiveIsInstalledWithItsLauncherEntry)
{
    const ProcessResult result = install(u"2"_s);
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_EQ(result.standardOutput, "Installed Tessary 2.0.0 (2) in " + installed().toUtf8() + '\n');
    EXPECT_TRUE(readFile(installed() + u"/Info.json"_s).contains("\"CFBundleVersion\": \"2\""));
    const QByteArray launcher = readFile(path(u"home/.local/share/applications/md.velmor.tessary.desktop"_s));
    EXPECT_TRUE(launcher.contains(QByteArray("\nExec=" + installed().toUtf8() + "/bin/tessary\n")))
        << launcher.toStdString();
    EXPECT_TRUE(launcher.contains(QByteArray("\nExec=" + installed().toUtf8() + "/bin/tessary --capture\n")));
    EXPECT_EQ(readFile(path(u"home/.local/share/icons/hicolor/scalable/apps/md.velmor.tessary.svg"_s)), "<svg/>");
    EXPECT_TRUE(QDir(path(u"tmp"_s)).isEmpty());

    // Installing again replaces the bundle, leaving no backup beside it.
    EXPECT_EQ(install(u"3"_s).exitCode, 0);
    EXPECT_TRUE(readFile(installed() + u"/Info.json"_s).contains("\"CFBundleVersion\": \"3\""));
    EXPECT_EQ(QDir(path(u"home/.local/opt"_s)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
              QStringList{u"Tessary.app"_s});
}

TEST_F(InstallBundleCommandLineTest, WhatAnUpdateRefusesIsRefusedAndTheInstalledBundleStays)
{
    ASSERT_EQ(install(u"2"_s).exitCode, 0);
    const QByteArray refused =
        "Installation failed: The update failed developer signature or notarization verification.\n";
    const QList<std::pair<const char *, std::function<bool(const QString &)>>> attacks{
        {"fileChangedAfterSigning",
         [](const QString &app) { return writeFile(app + u"/bin/tessary"_s, "#!/bin/sh\necho owned\n"); }},
        {"noBuildNumber",
         [](const QString &app) {
             QFile::remove(app + u"/Info.json"_s);
             return writeBundle(app, {.build = u"none"_s}) && signBundle(app) && notarizeBundle(app);
         }},
    };
    for (const auto &[name, attack] : attacks) {
        const ProcessResult result = install(u"4"_s, attack);
        EXPECT_EQ(result.exitCode, 1) << name;
        EXPECT_EQ(result.standardError, refused) << name;
        EXPECT_TRUE(readFile(installed() + u"/Info.json"_s).contains("\"CFBundleVersion\": \"2\"")) << name;
        QDir(path(u"release-4"_s)).removeRecursively();
        QFile::remove(path(u"release-4.zip"_s));
    }
    const ProcessResult missing =
        runProcess(testTreePath(u"bin/tessary"_s), {u"--install-bundle"_s, path(u"missing.zip"_s)}, m_environment);
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.standardError.startsWith("Installation failed: ")) << missing.standardError.toStdString();
}

} // namespace
