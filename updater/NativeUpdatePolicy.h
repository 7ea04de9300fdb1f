#pragma once

#include <cstdint>

#include <QString>

#include "core/Result.h"
#include "updater/UpdaterCopy.h"

namespace Tessary {

class NativeBundle;
struct NativeUpdateConfiguration;
struct NativeUpdateManifest;

/** Whether a manifest may be trusted, and whether it is newer than a build. Stateless. */
class NativeUpdatePolicy final
{
public:
    enum class Failure {
        InvalidSchema,
        WrongProduct,
        InvalidVersion,
        InvalidDownloadURL,
        InvalidChecksum,
    };

    /** The failure's text in the updater's current language. */
    static QString description(Failure failure);
    static QString description(Failure failure, UpdaterLanguage language);

    /** Passes, or names the first rule the manifest breaks (schema, product, version, download URL, checksum). */
    static Result<void, Failure> validate(const NativeUpdateManifest &manifest,
                                          const NativeUpdateConfiguration &configuration);

    /** True exactly when the manifest's build is greater than build; the marketing version plays no part. */
    static bool isNewer(const NativeUpdateManifest &manifest, std::int64_t build);

    /**
     * The build number of a bundle: its "CFBundleVersion" string read as a decimal integer. No bundle, a missing
     * or non-string value, or one that is not a whole number counts as 0, so every valid manifest is newer.
     */
    static std::int64_t buildOf(const NativeBundle *bundle);

    /** buildOf() for the running program's bundle. */
    static std::int64_t runningBuild();
};

} // namespace Tessary
