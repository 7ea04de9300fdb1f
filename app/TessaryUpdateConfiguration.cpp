// The application's update configuration. Updates are published on our web site:
//   manifest  https://velmor.md/downloads/update.json
//   archives  https://velmor.md/downloads/… or https://static.velmor.md/… (the static mirror)
// The team identifier belongs to the release developer key in app/update-keys/ and is filled in by the build.

#include "app/TessaryUpdateConfiguration.h"

#include <QDir>
#include <QFileInfo>

#include "updater/NativeBundle.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

// A distribution package (configured with TESSARY_PACKAGE_MANAGED) installs this file beside its data, in
// <prefix>/share/tessary/; the package manager then updates the copy.
bool isPackageManaged()
{
    // /proc/self/exe works before QCoreApplication exists, which the command-line modes need.
    const QFileInfo program(QFileInfo(u"/proc/self/exe"_s).canonicalFilePath());
    return QFileInfo::exists(QDir::cleanPath(program.path() + u"/../share/tessary/package-managed"_s));
}

} // namespace

NativeUpdateConfiguration tessaryUpdateConfiguration()
{
    const QString bundleIdentifier = u"md.velmor.tessary"_s;
    // Only an installed bundle updates itself; a program run from the build tree has no bundle.
    const std::optional<NativeBundle> &bundle = NativeBundle::main();
    return NativeUpdateConfiguration{
        .product = u"tessary"_s,
        .appName = u"Tessary"_s,
        .bundleIdentifier = bundleIdentifier,
        .teamIdentifier = QStringLiteral(TESSARY_UPDATE_TEAM_IDENTIFIER),
        .manifestURL = QUrl(u"https://velmor.md/downloads/update.json"_s),
        .allowedDownloadHosts = {u"velmor.md"_s, u"static.velmor.md"_s},
        .isEnabled = bundle && bundle->identifier() == bundleIdentifier,
        .isPackageManaged = !bundle && isPackageManaged(),
    };
}

} // namespace Tessary
