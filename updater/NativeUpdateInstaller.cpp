#include "updater/NativeUpdateInstaller.h"

#include <unistd.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QSaveFile>
#include <QUuid>

#include "platform/bundle/BundleLayout.h"
#include "updater/DecimalInteger.h"
#include "updater/NativeBundle.h"
#include "updater/NativeUpdateConfiguration.h"
#include "updater/NativeUpdateManifest.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

Result<QString, NativeUpdateError> makeWorkFolder(const NativeUpdateConfiguration &configuration)
{
    const QString name =
        configuration.product + u"-update-"_s + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    const QString path = QDir(QDir::tempPath()).filePath(name);
    // The temporary folder is shared with other users: keep ours to ourselves.
    if (!QDir().mkpath(path) || !QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner)) {
        return unexpected(NativeUpdateError::message(u"无法创建文件夹“%1”。"_s, {path}));
    }
    return path;
}

Result<void, NativeUpdateError> writeArchive(const QString &path, const QByteArray &data)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        return unexpected(NativeUpdateError::message(u"无法写入文件“%1”。"_s, {path}));
    }
    return {};
}

// Without a manifest (a first install) the bundle still needs a version and a build an update could follow.
bool matchesManifest(const NativeBundle &bundle, const NativeUpdateManifest *manifest,
                     const NativeUpdateConfiguration &configuration)
{
    if (bundle.identifier() != configuration.bundleIdentifier) {
        return false;
    }
    const std::optional<QString> version = bundle.string(u"CFBundleShortVersionString"_s);
    if (manifest ? version != manifest->version : version.value_or(QString()).isEmpty()) {
        return false;
    }
    const std::optional<QString> build = bundle.string(u"CFBundleVersion"_s);
    const std::optional<std::int64_t> number = build ? parseDecimalInteger(*build) : std::nullopt;
    if (manifest ? number != manifest->build : number.value_or(0) < 1) {
        return false;
    }
    return bundle.executablePath().has_value();
}

} // namespace

QString NativeUpdateInstaller::toolsExecutable()
{
    const QFileInfo program(u"/proc/self/exe"_s);
    return BundleLayout::helperExecutable(QFileInfo(program.canonicalFilePath()).path());
}

QString NativeUpdateInstaller::requirement(const NativeUpdateConfiguration &configuration)
{
    return u"=anchor apple generic and certificate leaf[subject.OU] = \""_s + configuration.teamIdentifier +
           u"\" and identifier \""_s + configuration.bundleIdentifier +
           u"\" and certificate leaf[field.1.2.840.113635.100.6.1.13] exists"_s;
}

Result<void, NativeUpdateError> NativeUpdateInstaller::run(const QString &tool, const QStringList &arguments)
{
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.setInputChannelMode(QProcess::ForwardedInputChannel);
    process.start(toolsExecutable(), QStringList{tool} + arguments);
    if (!process.waitForStarted(-1)) {
        return unexpected(NativeUpdateError::message(u"无法运行“%1”。"_s, {toolsExecutable()}));
    }
    process.waitForFinished(-1);
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        return unexpected(NativeUpdateError(Failure::InvalidApplication));
    }
    return {};
}

Result<QString, NativeUpdateError> NativeUpdateInstaller::prepare(const QByteArray &data,
                                                                  const NativeUpdateManifest &manifest,
                                                                  const NativeUpdateConfiguration &configuration)
{
    const QByteArray checksum = QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex();
    if (QString::fromLatin1(checksum) != manifest.sha256.toLower()) {
        return unexpected(NativeUpdateError(Failure::InvalidArchive));
    }
    return stage(data, &manifest, configuration);
}

Result<QString, NativeUpdateError>
NativeUpdateInstaller::prepareFirstInstall(const QByteArray &data, const NativeUpdateConfiguration &configuration)
{
    return stage(data, nullptr, configuration);
}

Result<QString, NativeUpdateError> NativeUpdateInstaller::stage(const QByteArray &data,
                                                                const NativeUpdateManifest *manifest,
                                                                const NativeUpdateConfiguration &configuration)
{
    const auto folder = makeWorkFolder(configuration);
    if (!folder) {
        return unexpected(folder.error());
    }
    const QString archive = *folder + u"/update.zip"_s;
    if (const auto written = writeArchive(archive, data); !written) {
        return unexpected(written.error());
    }
    if (const auto unpacked = run(u"ditto"_s, {u"-x"_s, u"-k"_s, archive, *folder}); !unpacked) {
        return unexpected(unpacked.error());
    }

    const QString application = *folder + u'/' + configuration.appName + u".app"_s;
    const std::optional<NativeBundle> bundle = NativeBundle::open(application);
    if (!bundle || !matchesManifest(*bundle, manifest, configuration)) {
        return unexpected(NativeUpdateError(Failure::InvalidApplication));
    }
    const auto signature = run(
        u"codesign"_s, {u"--verify"_s, u"--deep"_s, u"--strict"_s, u"-R"_s, requirement(configuration), application});
    if (!signature) {
        return unexpected(NativeUpdateError(Failure::InvalidApplication));
    }
    if (const auto assessed = run(u"spctl"_s, {u"--assess"_s, u"--type"_s, u"execute"_s, application}); !assessed) {
        return unexpected(NativeUpdateError(Failure::InvalidApplication));
    }
    return application;
}

Result<void, NativeUpdateError> NativeUpdateInstaller::launchHelper(const QString &stagedApplication,
                                                                    const QString &replacing)
{
    const std::optional<NativeBundle> bundle = NativeBundle::open(stagedApplication);
    const std::optional<QString> executable = bundle ? bundle->executablePath() : std::nullopt;
    if (!executable) {
        return unexpected(NativeUpdateError(Failure::InvalidApplication));
    }
    QProcess helper;
    helper.setProgram(*executable);
    helper.setArguments({u"--native-update-helper"_s, replacing, QString::number(::getpid())});
    if (!helper.startDetached()) {
        return unexpected(NativeUpdateError::message(u"无法启动更新助手“%1”。"_s, {*executable}));
    }
    return {};
}

} // namespace Tessary
