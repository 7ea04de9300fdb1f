#pragma once

// The fixture of the updater controller's tests: a loopback HTTPS server for the manifest and the archive, a
// user-defaults file of the test's own and the dialog answerer. The test programs run from testkeys/bin, whose
// bundle is build 42 of md.velmor.tessary.

#include <gtest/gtest.h>

#include <memory>

#include <QJsonObject>
#include <QTemporaryDir>

#include "platform/defaults/UserDefaults.h"
#include "tests/support/LoopbackHttpsServer.h"
#include "tests/updater/support/DialogAnswerer.h"
#include "updater/NativeUpdater.h"

namespace Tessary::Test {

class NativeUpdaterFixture : public ::testing::Test
{
protected:
    static inline const QString manifestPath = QStringLiteral("/downloads/update.json");
    static inline const QString archivePath = QStringLiteral("/downloads/Tessary-43.zip");

    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;
    void TearDown() override;

    static QString switchKey();
    NativeUpdateConfiguration configuration() const;
    std::unique_ptr<NativeUpdater> makeUpdater(const NativeUpdateConfiguration &configuration);
    std::unique_ptr<NativeUpdater> makeUpdater();

    /** Serves a manifest; fields given replace those of a valid manifest of build 43 pointing at our archive. */
    void serveManifest(const QJsonObject &changes = {});
    /**
     * Makes, signs, notarizes (unless told not to) and serves build 43 (version 1.5.0); route fields are added to
     * the archive's route.
     */
    void serveRelease(const QJsonObject &archiveRoute = {}, bool notarized = true);

    static bool waitForState(NativeUpdater &updater, NativeUpdateState::Kind kind);
    /** Runs a check and waits until its outcome (and any dialog) is settled. */
    static void check(NativeUpdater &updater, bool manual);

    static inline LoopbackHttpsServer *s_server = nullptr;
    QTemporaryDir m_dir;
    std::unique_ptr<UserDefaults> m_defaults;
    DialogAnswerer m_answerer;
    QString m_archiveChecksum;
};

} // namespace Tessary::Test
