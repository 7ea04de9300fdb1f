#include "configuration/ConflictCopies.h"

#include <algorithm>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace Tessary::ConflictCopies {

// One expression for all the tools' names; the tools put their marker between stem and extension.
QRegularExpression expression(const QString &fileName)
{
    const QFileInfo file(fileName);
    const QString stem = QRegularExpression::escape(file.completeBaseName());
    const QString extension = file.suffix().isEmpty() ? QString() : QRegularExpression::escape(u"."_s + file.suffix());
    const QStringList markers{
        uR"(\.sync-conflict-\d{8}-\d{6}-[a-z0-9]{7})"_s,                // Syncthing
        uR"( \(conflicted copy \d{4}-\d{2}-\d{2} \d{6}\))"_s,           // Nextcloud, ownCloud
        uR"(_conflict-\d{8}-\d{6})"_s,                                  // Nextcloud, ownCloud before 3.x
        uR"( \(.+ conflicted copy \d{4}-\d{2}-\d{2}\)(?: \(\d+\))?)"_s, // Dropbox
    };
    return QRegularExpression(
        QRegularExpression::anchoredPattern(stem + u"(?:"_s + markers.join(u'|') + u')' + extension),
        QRegularExpression::CaseInsensitiveOption);
}

bool isConflictCopy(const QString &name, const QString &fileName)
{
    return expression(fileName).match(name).hasMatch();
}

bool exist(const QString &folder, const QString &fileName)
{
    const QRegularExpression copy = expression(fileName);
    const QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System);
    return std::ranges::any_of(names, [&](const QString &name) { return copy.match(name).hasMatch(); });
}

} // namespace Tessary::ConflictCopies
