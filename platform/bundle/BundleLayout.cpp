#include "platform/bundle/BundleLayout.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace Tessary::BundleLayout {

QString helperExecutable()
{
    const QString binDir = QCoreApplication::applicationDirPath();
    if (binDir.isEmpty()) {
        return {};
    }
    return helperExecutable(binDir);
}

QString helperExecutable(const QString &programFolder)
{
    const QString bundled = QDir::cleanPath(programFolder + u"/../libexec/tessary-helper"_s);
    const QString packaged = QDir::cleanPath(programFolder + u"/../libexec/tessary/tessary-helper"_s);
    return !QFileInfo::exists(bundled) && QFileInfo::exists(packaged) ? packaged : bundled;
}

} // namespace Tessary::BundleLayout
