#include "app/ReservedShortcuts.h"

#include <algorithm>
#include <array>

#include "app/CapturedShortcut.h"

using namespace Qt::StringLiterals;

namespace Tessary::ReservedShortcuts {

namespace {

enum class Owner {
    Applications,
    Desktop,
};

struct Reserved
{
    quint32 carbonCode;
    quint32 modifiers;
    Owner owner;
};

constexpr quint32 ctrl = CapturedShortcut::Control;
constexpr quint32 alt = CapturedShortcut::Option;
constexpr quint32 shift = CapturedShortcut::Shift;
constexpr quint32 super = CapturedShortcut::Command;

// Carbon key codes of the keys below.
enum Key : quint32 {
    A = 0,
    S = 1,
    D = 2,
    F = 3,
    Z = 6,
    X = 7,
    C = 8,
    V = 9,
    Q = 12,
    W = 13,
    R = 15,
    Y = 16,
    T = 17,
    O = 31,
    P = 35,
    L = 37,
    N = 45,
    Tab = 48,
    Space = 49,
    Backspace = 51,
    F2 = 120,
    F4 = 118,
    Delete = 117,
    PageUp = 116,
    PageDown = 121,
    Left = 123,
    Right = 124,
    Down = 125,
    Up = 126,
};

// Ctrl+letter and Ctrl+Shift+letter edit, save, close, quit, open, print, find or reopen in nearly every program
// (Ctrl+Shift+C and Ctrl+Shift+V copy and paste in terminals).
constexpr std::array editingKeys{C, X, V, Z, Y, A, S, W, Q, N, O, P, F, T, R};

constexpr std::array desktopShortcuts = std::to_array<Reserved>({
    {Tab, alt, Owner::Desktop},          {Tab, alt | shift, Owner::Desktop},
    {Tab, super, Owner::Desktop},        {Tab, super | shift, Owner::Desktop},
    {Tab, ctrl | alt, Owner::Desktop},   {F4, alt, Owner::Desktop},
    {F2, alt, Owner::Desktop},           {Space, alt, Owner::Desktop},
    {Space, super, Owner::Desktop},      {Delete, ctrl | alt, Owner::Desktop},
    {T, ctrl | alt, Owner::Desktop},     {L, ctrl | alt, Owner::Desktop},
    {L, super, Owner::Desktop},          {D, super, Owner::Desktop},
    {A, super, Owner::Desktop},          {Left, super, Owner::Desktop},
    {Right, super, Owner::Desktop},      {Up, super, Owner::Desktop},
    {Down, super, Owner::Desktop},       {Left, ctrl | alt, Owner::Desktop},
    {Right, ctrl | alt, Owner::Desktop}, {Up, ctrl | alt, Owner::Desktop},
    {Down, ctrl | alt, Owner::Desktop},  {PageUp, super, Owner::Desktop},
    {PageDown, super, Owner::Desktop},   {Backspace, ctrl, Owner::Applications},
    {Delete, ctrl, Owner::Applications},
});

QString messageFor(Owner owner)
{
    return owner == Owner::Applications
               ? u"%@ 是各应用里的编辑快捷键（复制、粘贴、撤销、保存等），占用后它们将无法使用。请换一个。"_s
               : u"%@ 是桌面自己的快捷键（切换或关闭窗口、锁屏等），请换一个。"_s;
}

} // namespace

std::optional<QString> reason(quint32 carbonCode, quint32 modifiers)
{
    if ((modifiers == ctrl || modifiers == (ctrl | shift)) &&
        std::ranges::find(editingKeys, carbonCode) != editingKeys.end()) {
        return messageFor(Owner::Applications);
    }
    const auto reserved = std::ranges::find_if(desktopShortcuts, [&](const Reserved &row) {
        return row.carbonCode == carbonCode && row.modifiers == modifiers;
    });
    if (reserved != desktopShortcuts.end()) {
        return messageFor(reserved->owner);
    }
    return std::nullopt;
}

QString printKeyReason()
{
    return u"%@ 由桌面用来截屏，请换一个。"_s;
}

QString superAloneReason()
{
    return u"单独按 Super 键由桌面用来打开概览或应用程序菜单，请与其他键一起按下。"_s;
}

} // namespace Tessary::ReservedShortcuts
