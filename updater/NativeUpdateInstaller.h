#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include "core/Result.h"
#include "updater/NativeUpdateError.h"

namespace Tessary {

struct NativeUpdateConfiguration;
struct NativeUpdateManifest;

/**
 * Turns the bytes of a downloaded update archive into a verified bundle on disk, and starts the helper that puts
 * it in place of the running application. Stateless; every operation is synchronous and blocks the calling
 * thread (the GUI thread in the application) while the tools run.
 *
 * The checks run in the tools of the *running* application's tessary-helper (libexec/ beside the running
 * program), which carries the trusted keys; nothing from the download is run until every check has passed.
 */
class NativeUpdateInstaller final
{
public:
    using Failure = NativeUpdateInstallerFailure;

    /**
     * Checksum, unpacking, identity, version and build, developer signature for the configured team and
     * identifier, notarization. Each call unpacks into a new work folder, TMPDIR/<product>-update-<UUID>, which
     * it leaves behind (also on failure); returns the path of the staged bundle <appName>.app inside it.
     */
    static Result<QString, NativeUpdateError> prepare(const QByteArray &data, const NativeUpdateManifest &manifest,
                                                      const NativeUpdateConfiguration &configuration);

    /**
     * The same chain for a bundle that no manifest announces (its first install): everything but the checksum,
     * with the version and build taken from the bundle, which must have both.
     */
    static Result<QString, NativeUpdateError> prepareFirstInstall(const QByteArray &data,
                                                                  const NativeUpdateConfiguration &configuration);

    /**
     * Starts the staged bundle's executable in helper mode ("--native-update-helper", the running bundle's
     * path, our process identifier) and returns once it runs; the helper waits for us to exit.
     */
    static Result<void, NativeUpdateError> launchHelper(const QString &stagedApplication, const QString &replacing);

    /** The code requirement passed to the signature check, naming the configured team and identifier. */
    static QString requirement(const NativeUpdateConfiguration &configuration);

    /** The tools executable of the running program: its tessary-helper (BundleLayout). */
    static QString toolsExecutable();

private:
    static Result<QString, NativeUpdateError> stage(const QByteArray &data, const NativeUpdateManifest *manifest,
                                                    const NativeUpdateConfiguration &configuration);
    static Result<void, NativeUpdateError> run(const QString &tool, const QStringList &arguments);
};

} // namespace Tessary
