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

} // namespace Tessary
