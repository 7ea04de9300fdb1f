#pragma once

#include <QJsonArray>
#include <QMap>
#include <QStringList>

#include "tests/support/TestEnvironment.h"
#include "updater/NativeUpdateConfiguration.h"

namespace Tessary::Test {

/** The test build's update keys and tree (see tests/updater/CMakeLists.txt). */
QString testDeveloperKey();
QString testTeamIdentifier();
/** A file of the testkeys/ tree: "libexec/tessary-helper", "bin/tessary", "bin/update-test-app". */
QString testTreePath(const QString &relative);
/** The updater configuration of tessary built for the test keys. */
NativeUpdateConfiguration testConfiguration();

/** Makes a new Ed25519 private key (PEM) that nothing trusts. */
bool makeUntrustedKey(const QString &path);

/** What goes into a test bundle. */
struct BundleContents
{
    QString identifier = QStringLiteral("md.velmor.tessary");
    QString version = QStringLiteral("2.0.0");
    QString build = QStringLiteral("2");
    /** Copied to bin/tessary; empty for a small shell script. */
    QString executable;
    /** Whether libexec/tessary-helper (the test tools) is part of the bundle. */
    bool withHelper = false;
    /** Further files: relative path → content. */
    QMap<QString, QByteArray> files;
};

/** Writes a bundle folder (Info.json, bin/tessary, …). */
bool writeBundle(const QString &path, const BundleContents &contents);
/** Seals with tools/sign-bundle; extra arguments such as "--kind", "development". */
bool signBundle(const QString &bundle, const QString &key = testDeveloperKey(), const QStringList &extra = {});
/** Countersigns with tools/notarize-bundle, with the test notary key unless another is given. */
bool notarizeBundle(const QString &bundle, const QString &key = {});
/** Writes, signs and notarizes with the test keys. */
bool makeReleasedBundle(const QString &path, const BundleContents &contents);

/** Zips the folder's entries (bundle folders inside it) with "zip -X -r", keeping modes. */
bool zipFolderContents(const QString &folder, const QString &zipPath);
/** A zip written entry by entry (make_zip.py): [{"name", "data", "mode"}], for archives no good tool would make. */
bool writeCraftedZip(const QString &zipPath, const QJsonArray &entries);

bool writeFile(const QString &path, const QByteArray &content);
QString sha256Hex(const QByteArray &data);

/** A writable folder on another file system than the build tree, or empty when the machine has only one. */
QString otherFileSystemFolder();

} // namespace Tessary::Test
