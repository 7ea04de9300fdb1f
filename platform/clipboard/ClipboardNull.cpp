#include "platform/clipboard/ClipboardNull.h"

namespace Tessary {

bool ClipboardNull::setText(const QString &)
{
    return false;
}

bool ClipboardNull::keepAfterExit(const QString &)
{
    return false;
}

QStringList ClipboardNull::imageTypes() const
{
    return {};
}

QByteArray ClipboardNull::data(const QString &) const
{
    return {};
}

void ClipboardNull::watchChanges(QObject *, std::function<void()>) {}

} // namespace Tessary
