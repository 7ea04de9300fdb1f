#pragma once

#include <QSet>
#include <QString>
#include <QUrl>

namespace Tessary {

/**
 * What the updater needs to know about the application it updates. Made once per application; the module
 * itself names no application.
 */
struct NativeUpdateConfiguration
{
    /** Product word the manifest's "product" must equal; also the middle of the updater's user-defaults keys. */
    QString product;
    /** Display name, used in messages and as the name of the bundle inside an update archive (appName + ".app"). */
    QString appName;
    /** Identifier a downloaded bundle must carry and its code signature must name. */
    QString bundleIdentifier;
    /** The 10-character team identifier whose developer key must have signed a downloaded bundle. */
    QString teamIdentifier;
    /** Where the manifest is fetched (HTTPS). */
    QUrl manifestURL;
    /** Lower-case host names an archive may be downloaded from. */
    QSet<QString> allowedDownloadHosts;
    /** Whether this process may check for and install updates at all; false in developer builds. */
    bool isEnabled = false;
    /**
     * The copy was installed by the system's package manager, which also updates it: the updater then says so
     * instead of speaking of a development build. Such a copy never updates itself (isEnabled is false).
     */
    bool isPackageManaged = false;
};

} // namespace Tessary
