#include "updater/NativeUpdatePolicy.h"

#include "updater/DecimalInteger.h"
#include "updater/NativeBundle.h"
#include "updater/NativeUpdateConfiguration.h"
#include "updater/NativeUpdateManifest.h"
#include "updater/UpdaterCopy.h"

using namespace Qt::StringLiterals;

namespace Tessary {

QString NativeUpdatePolicy::description(Failure failure)
{
    return description(failure, currentUpdaterLanguage());
}

QString NativeUpdatePolicy::description(Failure failure, UpdaterLanguage language)
{
    switch (failure) {
    case Failure::InvalidSchema:
        return updaterCopy(u"更新清单版本不受支持。"_s, language);
    case Failure::WrongProduct:
        return updaterCopy(u"更新包不属于当前应用。"_s, language);
    case Failure::InvalidVersion:
        return updaterCopy(u"更新版本信息无效。"_s, language);
    case Failure::InvalidDownloadURL:
        return updaterCopy(u"更新下载地址无效。"_s, language);
    case Failure::InvalidChecksum:
        return updaterCopy(u"更新包校验值无效。"_s, language);
    }
    return {};
}

Result<void, NativeUpdatePolicy::Failure> NativeUpdatePolicy::validate(const NativeUpdateManifest &manifest,
                                                                       const NativeUpdateConfiguration &configuration)
{
    if (manifest.schemaVersion != 1) {
        return unexpected(Failure::InvalidSchema);
    }
    if (manifest.product != configuration.product) {
        return unexpected(Failure::WrongProduct);
    }
    if (manifest.version.isEmpty() || manifest.build < 1) {
        return unexpected(Failure::InvalidVersion);
    }
    // The scheme is compared as written, so "HTTPS:" does not pass; QUrl lower-cases it, hence the original text.
    if (manifest.downloadURL.scheme() != u"https"_s || !manifest.downloadURLText.startsWith(u"https:"_s)) {
        return unexpected(Failure::InvalidDownloadURL);
    }
    const QString host = manifest.downloadURL.host();
    if (host.isEmpty() || !configuration.allowedDownloadHosts.contains(host.toLower())) {
        return unexpected(Failure::InvalidDownloadURL);
    }
    const QString checksum = manifest.sha256.toLower();
    const bool hexadecimal =
        std::ranges::all_of(checksum, [](QChar c) { return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f'); });
    if (checksum.size() != 64 || !hexadecimal) {
        return unexpected(Failure::InvalidChecksum);
    }
    return {};
}

bool NativeUpdatePolicy::isNewer(const NativeUpdateManifest &manifest, std::int64_t build)
{
    return manifest.build > build;
}

std::int64_t NativeUpdatePolicy::buildOf(const NativeBundle *bundle)
{
    if (bundle == nullptr) {
        return 0;
    }
    return parseDecimalInteger(bundle->string(u"CFBundleVersion"_s).value_or(u"0"_s)).value_or(0);
}

std::int64_t NativeUpdatePolicy::runningBuild()
{
    const std::optional<NativeBundle> &bundle = NativeBundle::main();
    return buildOf(bundle ? &*bundle : nullptr);
}

} // namespace Tessary
