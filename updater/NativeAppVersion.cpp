#include "updater/NativeAppVersion.h"

#include "updater/NativeBundle.h"
#include "updater/UpdaterCopy.h"

using namespace Qt::StringLiterals;

namespace Tessary::NativeAppVersion {

namespace {

const QString missing = QStringLiteral("—");

} // namespace

QString displayText(const NativeBundle &bundle)
{
    return displayText(bundle, currentUpdaterLanguage());
}

QString displayText(const NativeBundle &bundle, UpdaterLanguage language)
{
    return displayText(bundle.string(u"CFBundleShortVersionString"_s).value_or(missing),
                       bundle.string(u"CFBundleVersion"_s).value_or(missing), language);
}

QString displayText(const QString &shortVersion, const QString &build, UpdaterLanguage language)
{
    return updaterCopy(u"版本 %1（%2）"_s, language)
        .arg(shortVersion.isEmpty() ? missing : shortVersion, build.isEmpty() ? missing : build);
}

} // namespace Tessary::NativeAppVersion
