#include "tests/updater/support/UpdateFixtures.h"

#include <sys/stat.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryFile>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;

namespace Tessary::Test {

namespace {

// Records its arguments, environment and folder, then exits; tests read the file it names.
const QByteArray recordingScript = R"SH(#!/bin/sh
out="${TESSARY_TEST_RECORD:-/dev/null}"
{
    echo "argc=$#"
    for argument in "$@"; do echo "arg=$argument"; done
    echo "new_instance=${TESSARY_NEW_INSTANCE:-}"
    echo "cwd=$(pwd)"
    echo "bundle=$(cd "$(dirname "$0")/.." && pwd)"
} > "$out.tmp" && mv "$out.tmp" "$out"
)SH";

bool succeeds(const QString &program, const QStringList &arguments, const QString &workingDirectory = {})
{
    QProcess process;
    if (!workingDirectory.isEmpty()) {
        process.setWorkingDirectory(workingDirectory);
    }
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(program, arguments);
    return process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace

QString testDeveloperKey()
{
    return QStringLiteral(TESSARY_TEST_KEYS_DIR "/developer.pem");
}

QString testNotaryKey()
{
    return QStringLiteral(TESSARY_TEST_KEYS_DIR "/notary.pem");
}

QString testTeamIdentifier()
{
    return QStringLiteral(TESSARY_TEST_TEAM);
}

QString testTreePath(const QString &relative)
{
    return QStringLiteral(TESSARY_TEST_TREE) + u'/' + relative;
}

bool makeUntrustedKey(const QString &path)
{
    return succeeds(u"openssl"_s, {u"genpkey"_s, u"-algorithm"_s, u"ed25519"_s, u"-out"_s, path});
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(content) == content.size();
}

QString sha256Hex(const QByteArray &data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex());
}

bool writeBundle(const QString &path, const BundleContents &contents)
{
    const QJsonObject info{
        {u"CFBundleIdentifier"_s, contents.identifier},
        {u"CFBundleShortVersionString"_s, contents.version},
        {u"CFBundleVersion"_s, contents.build},
        {u"CFBundleExecutable"_s, u"bin/tessary"_s},
        {u"CFBundleLocalizations"_s, QJsonArray{u"zh-Hans"_s, u"zh-Hant"_s, u"en"_s}},
    };
    bool ok = writeFile(path + u"/Info.json"_s, QJsonDocument(info).toJson());
    const QString executable = path + u"/bin/tessary"_s;
    ok = ok && writeFile(executable, contents.executable.isEmpty() ? recordingScript : readFile(contents.executable));
    ok = ok && QFile::setPermissions(executable, QFile::permissions(executable) | QFile::ExeOwner | QFile::ExeGroup |
                                                     QFile::ExeOther);
    if (contents.withHelper) {
        const QString helper = path + u"/libexec/tessary-helper"_s;
        ok = ok && writeFile(helper, readFile(testTreePath(u"libexec/tessary-helper"_s)));
        ok = ok && QFile::setPermissions(helper, QFile::permissions(executable));
    }
    for (auto it = contents.files.cbegin(); it != contents.files.cend(); ++it) {
        ok = ok && writeFile(path + u'/' + it.key(), it.value());
    }
    return ok;
}

bool signBundle(const QString &bundle, const QString &key, const QStringList &extra)
{
    return succeeds(sourcePath(u"tools/sign-bundle"_s), QStringList{u"--key"_s, key} + extra + QStringList{bundle});
}

bool notarizeBundle(const QString &bundle, const QString &key)
{
    return succeeds(sourcePath(u"tools/notarize-bundle"_s), {u"--key"_s, key, bundle});
}

bool makeReleasedBundle(const QString &path, const BundleContents &contents)
{
    return writeBundle(path, contents) && signBundle(path) && notarizeBundle(path);
}

bool zipFolderContents(const QString &folder, const QString &zipPath)
{
    const QStringList entries = QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    QFile::remove(zipPath);
    return succeeds(u"zip"_s, QStringList{u"-X"_s, u"-r"_s, u"-q"_s, zipPath} + entries, folder);
}

bool writeCraftedZip(const QString &zipPath, const QJsonArray &entries)
{
    QTemporaryFile list;
    if (!list.open()) {
        return false;
    }
    list.write(QJsonDocument(entries).toJson());
    list.flush();
    return succeeds(u"python3"_s,
                    {QStringLiteral(TESSARY_TEST_UPDATER_SOURCE_DIR "/support/make_zip.py"), zipPath, list.fileName()});
}

NativeUpdateConfiguration testConfiguration()
{
    return NativeUpdateConfiguration{
        .product = u"tessary"_s,
        .appName = u"Tessary"_s,
        .bundleIdentifier = u"md.velmor.tessary"_s,
        .teamIdentifier = testTeamIdentifier(),
        .manifestURL = QUrl(u"https://127.0.0.1/downloads/update.json"_s),
        .allowedDownloadHosts = {u"127.0.0.1"_s},
        .isEnabled = true,
    };
}

quint64 deviceOf(const QString &path)
{
    struct stat info
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0) {
        return 0;
    }
    return quint64(info.st_dev);
}

QString otherFileSystemFolder()
{
    const quint64 buildDevice = deviceOf(buildPath(QString()));
    for (const QString &candidate : {u"/dev/shm"_s, QDir::tempPath(), u"/tmp"_s, u"/run/user/%1"_s.arg(::getuid())}) {
        const QFileInfo folder(candidate);
        if (folder.isDir() && folder.isWritable() && deviceOf(candidate) != 0 && deviceOf(candidate) != buildDevice) {
            return candidate;
        }
    }
    return {};
}

} // namespace Tessary::Test
