#include "app/desktop/BundleInstall.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include "app/CommandLineOutput.h"
#include "app/desktop/DesktopEntries.h"
#include "updater/NativeBundle.h"
#include "updater/NativeFileMove.h"
#include "updater/NativeUpdateConfiguration.h"
#include "updater/NativeUpdateHelper.h"
#include "updater/NativeUpdateInstaller.h"
#include "updater/UpdaterCopy.h"

using namespace Qt::StringLiterals;

namespace Tessary::BundleInstall {

namespace {

// A release archive is some tens of megabytes; the whole of it is held in memory while it is checked.
constexpr qint64 maximumArchiveSize = 1024LL * 1024 * 1024;

const QString iconName = u"md.velmor.tessary.svg"_s;

Result<QByteArray, NativeUpdateError> readArchive(const QString &path)
{
    QFile archive(path);
    if (!archive.open(QIODevice::ReadOnly)) {
        return unexpected(NativeUpdateError::system(archive.errorString()));
    }
    if (archive.size() > maximumArchiveSize) {
        return unexpected(NativeUpdateError(NativeUpdateInstallerFailure::InvalidArchive));
    }
    QByteArray data = archive.readAll();
    if (archive.error() != QFileDevice::NoError) {
        return unexpected(NativeUpdateError::system(archive.errorString()));
    }
    return data;
}

/** Puts the staged bundle at destination; a bundle already there is replaced, and restored if that fails. */
Result<void, NativeUpdateError> putInPlace(const QString &staged, const QString &destination)
{
    if (!QDir().mkpath(QFileInfo(destination).path())) {
        return unexpected(NativeUpdateError(NativeUpdateInstallerFailure::CannotReplace));
    }
    if (!QFileInfo::exists(destination) && !QFileInfo(destination).isSymLink()) {
        return moveItem(staged, destination);
    }
    return NativeUpdateHelper::replaceApplication(
        staged, destination, [](const QString &) -> Result<void, NativeUpdateError> { return {}; });
}

/** The user's launcher entry and icon for the bundle; empty on success, else what went wrong. */
QString writeLauncher(const NativeBundle &bundle)
{
    const QString written = DesktopEntries::write(DesktopEntries::launcherPath(),
                                                  DesktopEntries::text(bundle.executablePath().value_or(QString())));
    if (!written.isEmpty()) {
        return written;
    }
    const QString icon = bundle.path() + u"/share/icons/hicolor/scalable/apps/"_s + iconName;
    const QString iconFolder =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/icons/hicolor/scalable/apps"_s;
    QFile::remove(iconFolder + u'/' + iconName);
    if (QFileInfo::exists(icon) && (!QDir().mkpath(iconFolder) || !QFile::copy(icon, iconFolder + u'/' + iconName))) {
        return u"Cannot copy the icon to “%1”."_s.arg(iconFolder);
    }
    return {};
}

int fail(const QString &reason)
{
    CommandLineOutput::write(stderr, updaterCopy(u"安装失败：%1"_s).arg(reason) + u'\n');
    return 1;
}

} // namespace

QString installPath(const NativeUpdateConfiguration &configuration)
{
    return QDir::homePath() + u"/.local/opt/"_s + configuration.appName + u".app"_s;
}

std::optional<int> runIfRequested(const NativeUpdateConfiguration &configuration, const QStringList &arguments)
{
    if (arguments.size() != 3 || arguments[1] != u"--install-bundle"_s) {
        return std::nullopt;
    }
    const auto data = readArchive(arguments[2]);
    if (!data) {
        return fail(data.error().localizedDescription());
    }
    const auto staged = NativeUpdateInstaller::prepareFirstInstall(*data, configuration);
    if (!staged) {
        return fail(staged.error().localizedDescription());
    }
    const QString workFolder = QFileInfo(*staged).path();
    const QString destination = installPath(configuration);
    const auto placed = putInPlace(*staged, destination);
    removeItem(workFolder);
    if (!placed) {
        return fail(placed.error().localizedDescription());
    }
    const std::optional<NativeBundle> bundle = NativeBundle::open(destination);
    if (!bundle) {
        return fail(NativeUpdateError(NativeUpdateInstallerFailure::InvalidApplication).localizedDescription());
    }
    if (const QString launcher = writeLauncher(*bundle); !launcher.isEmpty()) {
        return fail(updaterCopy(u"无法写入启动器项：%1"_s).arg(launcher));
    }
    CommandLineOutput::write(
        stdout, updaterCopy(u"已安装 %1 %2（%3）：%4"_s)
                        .arg(configuration.appName, bundle->string(u"CFBundleShortVersionString"_s).value_or(QString()),
                             bundle->string(u"CFBundleVersion"_s).value_or(QString()), destination) +
                    u'\n');
    return 0;
}

} // namespace Tessary::BundleInstall
