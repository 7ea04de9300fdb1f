#include "platform/bundle/BundleLayout.h"

#include <QCoreApplication>
#include <QDir>

namespace Tessary::BundleLayout {

QString helperExecutable()
{
    const QString binDir = QCoreApplication::applicationDirPath();
    if (binDir.isEmpty()) {
        return {};
    }
    return QDir::cleanPath(binDir + u"/../libexec/tessary-helper");
}

} // namespace Tessary::BundleLayout
