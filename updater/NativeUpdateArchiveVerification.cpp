#include "updater/NativeUpdateArchiveVerification.h"

#include <cstdio>

#include <QFile>
#include <QFileInfo>

#include "updater/DecimalInteger.h"
#include "updater/NativeFileMove.h"
#include "updater/NativeUpdateConfiguration.h"
#include "updater/NativeUpdateInstaller.h"
#include "updater/NativeUpdateManifest.h"

using namespace Qt::StringLiterals;

namespace Tessary::NativeUpdateArchiveVerification {

namespace {

Result<QString, NativeUpdateError> verify(const NativeUpdateConfiguration &configuration, const QStringList &arguments)
{
    const std::optional<std::int64_t> build = parseDecimalInteger(arguments[4]);
    if (!build) {
        return unexpected(NativeUpdateError(NativeUpdateInstallerFailure::InvalidArchive));
    }
    // The manifest policy is not applied: the download address is not consulted by the checks.
    const NativeUpdateManifest manifest{
        .schemaVersion = 1,
        .product = configuration.product,
        .version = arguments[3],
        .build = *build,
        .downloadURL = configuration.manifestURL,
        .downloadURLText = configuration.manifestURL.toString(),
        .sha256 = arguments[5],
    };
    QFile archive(arguments[2]);
    const QString shown = QFileInfo(arguments[2]).absoluteFilePath();
    if (!archive.open(QIODevice::ReadOnly)) {
        if (!QFileInfo::exists(arguments[2])) {
            return unexpected(NativeUpdateError::message(u"找不到更新包“%1”。"_s, {shown}));
        }
        if (archive.error() == QFileDevice::PermissionsError) {
            return unexpected(NativeUpdateError::message(u"没有读取更新包“%1”的权限。"_s, {shown}));
        }
        return unexpected(NativeUpdateError::message(u"无法读取更新包“%1”。"_s, {shown}));
    }
    const QByteArray data = archive.readAll();
    if (archive.error() != QFileDevice::NoError) {
        return unexpected(NativeUpdateError::message(u"无法读取更新包“%1”。"_s, {shown}));
    }
    return NativeUpdateInstaller::prepare(data, manifest, configuration);
}

} // namespace

std::optional<int> runIfRequested(const NativeUpdateConfiguration &configuration, const QStringList &arguments)
{
    if (arguments.size() != 6 || arguments[1] != u"--verify-update-archive"_s) {
        return std::nullopt;
    }
    const auto staged = verify(configuration, arguments);
    if (!staged) {
        const QByteArray line = "UPDATE VERIFY FAILED: " + staged.error().localizedDescription().toUtf8() + '\n';
        std::fputs(line.constData(), stderr);
        return 1;
    }
    removeItem(QFileInfo(*staged).path());
    std::fputs("UPDATE VERIFY PASS: checksum, app identity, Developer ID signature and notarization\n", stdout);
    return 0;
}

} // namespace Tessary::NativeUpdateArchiveVerification
