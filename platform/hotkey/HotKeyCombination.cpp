#include "platform/hotkey/HotKeyCombination.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

// The X11 core modifier bits; the values are fixed by the protocol.
constexpr quint16 shiftMask = 1 << 0;
constexpr quint16 controlMask = 1 << 2;
constexpr quint16 mod1Mask = 1 << 3;
constexpr quint16 mod4Mask = 1 << 6;

} // namespace

Qt::KeyboardModifiers HotKeyCombination::qtModifiers() const
{
    Qt::KeyboardModifiers modifiers;
    modifiers.setFlag(Qt::ShiftModifier, (x11Modifiers & shiftMask) != 0);
    modifiers.setFlag(Qt::ControlModifier, (x11Modifiers & controlMask) != 0);
    modifiers.setFlag(Qt::AltModifier, (x11Modifiers & mod1Mask) != 0);
    modifiers.setFlag(Qt::MetaModifier, (x11Modifiers & mod4Mask) != 0);
    modifiers.setFlag(Qt::KeypadModifier, keypad);
    return modifiers;
}

int HotKeyCombination::qtCombination() const
{
    if (qtKey == 0) {
        return 0;
    }
    return qtKey | int(qtModifiers().toInt());
}

QString HotKeyCombination::portalTrigger() const
{
    if (keysym.isEmpty()) {
        return {};
    }
    QStringList parts;
    if ((x11Modifiers & controlMask) != 0) {
        parts.append(u"CTRL"_s);
    }
    if ((x11Modifiers & mod1Mask) != 0) {
        parts.append(u"ALT"_s);
    }
    if ((x11Modifiers & shiftMask) != 0) {
        parts.append(u"SHIFT"_s);
    }
    if ((x11Modifiers & mod4Mask) != 0) {
        parts.append(u"LOGO"_s);
    }
    parts.append(keysym);
    return parts.join(u'+');
}

} // namespace Tessary
