#include "tests/updater/support/UpdateFixtures.h"

#include <sys/stat.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryFile>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;

namespace Tessary::Test {

namespace {

bool succeeds(const QString &program, const QStringList &arguments, const QString &folder = {})
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(program, arguments);
    return process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

quint64 deviceOf(const QString &path)
{
    struct stat info
    {
    };
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? quint64(info.st_dev) : 0;
}

} // namespace

QString testDeveloperKey()
{
    return QStringLiteral(TESSARY_TEST_KEYS_DIR "/developer.pem");
}

QString testTeamIdentifier()
{
    return QStringLiteral(TESSARY_TEST_TEAM);
}

QString testTreePath(const QString &relative)
{
    return QStringLiteral(TESSARY_TEST_TREE "/") + relative;
}

NativeUpdateConfiguration testConfiguration()
{
    return {.product = u"tessary"_s,
            .appName = u"Tessary"_s,
            .bundleIdentifier = u"md.velmor.tessary"_s,
            .teamIdentifier = testTeamIdentifier(),
            .manifestURL = QUrl(u"https://127.0.0.1/downloads/update.json"_s),
            .allowedDownloadHosts = {u"127.0.0.1"_s},
            .isEnabled = true};
}

bool makeUntrustedKey(const QString &path)
{
    return succeeds(u"openssl"_s, {u"genpkey"_s, u"-algorithm"_s, u"ed25519"_s, u"-out"_s, path});
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
    const QJsonObject info{{u"CFBundleIdentifier"_s, contents.identifier},
                           {u"CFBundleShortVersionString"_s, contents.version},
                           {u"CFBundleVersion"_s, contents.build},
                           {u"CFBundleExecutable"_s, u"bin/tessary"_s},
                           {u"CFBundleLocalizations"_s, QJsonArray{u"zh-Hans"_s, u"zh-Hant"_s, u"en"_s}}};
    QMap<QString, QByteArray> files = contents.files;
    files.insert(u"Info.json"_s, QJsonDocument(info).toJson());
    files.insert(u"bin/tessary"_s,
                 contents.executable.isEmpty() ? "#!/bin/sh\nexit 0\n" : fileContents(contents.executable));
    if (contents.withHelper) {
        files.insert(u"libexec/tessary-helper"_s, fileContents(testTreePath(u"libexec/tessary-helper"_s)));
    }
    bool ok = true;
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        ok = ok && writeFile(path + u'/' + it.key(), it.value());
    }
    for (const QString &program : {u"/bin/tessary"_s, u"/libexec/tessary-helper"_s}) {
        ok = ok && (!QFile::exists(path + program) ||
                    QFile::setPermissions(path + program, QFile::permissions(path + program) | QFile::ExeOwner |
                                                              QFile::ExeGroup | QFile::ExeOther));
    }
    return ok;
}

bool signBundle(const QString &bundle, const QString &key, const QStringList &extra)
{
    return succeeds(sourcePath(u"tools/sign-bundle"_s), QStringList{u"--key"_s, key} + extra + QStringList{bundle});
}

bool notarizeBundle(const QString &bundle, const QString &key)
{
    const QString notary = key.isEmpty() ? QStringLiteral(TESSARY_TEST_KEYS_DIR "/notary.pem") : key;
    return succeeds(sourcePath(u"tools/notarize-bundle"_s), {u"--key"_s, notary, bundle});
}

bool makeReleasedBundle(const QString &path, const BundleContents &contents)
{
    return writeBundle(path, contents) && signBundle(path) && notarizeBundle(path);
}

bool zipFolderContents(const QString &folder, const QString &zipPath)
{
    QFile::remove(zipPath);
    const QStringList entries = QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    return succeeds(u"zip"_s, QStringList{u"-X"_s, u"-r"_s, u"-q"_s, zipPath} + entries, folder);
}

bool writeCraftedZip(const QString &zipPath, const QJsonArray &entries)
{
    QTemporaryFile list;
    if (!list.open() || list.write(QJsonDocument(entries).toJson()) < 0 || !list.flush()) {
        return false;
    }
    return succeeds(u"python3"_s,
                    {QStringLiteral(TESSARY_TEST_UPDATER_SOURCE_DIR "/support/make_zip.py"), zipPath, list.fileName()});
}

QString otherFileSystemFolder()
{
    const quint64 buildDevice = deviceOf(buildPath(QString()));
    for (const QString &candidate : {u"/dev/shm"_s, QDir::tempPath(), u"/tmp"_s, u"/run/user/%1"_s.arg(::getuid())}) {
        if (QFileInfo(candidate).isWritable() && deviceOf(candidate) != 0 && deviceOf(candidate) != buildDevice) {
            return candidate;
        }
    }
    return {};
}

} // namespace Tessary::Test
