#include "platform/hotkey/HotKeyNull.h"

using namespace Qt::StringLiterals;

namespace Tessary {

bool HotKeyNull::registerShortcut(const HotKeyCombination &)
{
    return false;
}

void HotKeyNull::unregisterShortcut() {}

bool HotKeyNull::canRegister() const
{
    return false;
}

QString HotKeyNull::description() const
{
    return u"none"_s;
}

} // namespace Tessary
