#include "updater/NativeAppVersion.h"

#include "updater/NativeBundle.h"
#include "updater/UpdaterCopy.h"

using namespace Qt::StringLiterals;

namespace Tessary::NativeAppVersion {

QString displayText(const NativeBundle &bundle)
{
    const QString missing = u"—"_s;
    return updaterCopy(u"版本 %1（%2）"_s)
        .arg(bundle.string(u"CFBundleShortVersionString"_s).value_or(missing),
             bundle.string(u"CFBundleVersion"_s).value_or(missing));
}

} // namespace Tessary::NativeAppVersion
