#include "app/KeyTables.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace Tessary::KeyTables {

namespace {

// {Carbon code, evdev code, US keysym, label}. The Carbon codes are the Mac's ANSI virtual key codes, which
// follow the physical position of the key, as evdev codes do.
constexpr std::array keyRows = std::to_array<KeyRow>({
    {0, 30, "a", u"A"},
    {11, 48, "b", u"B"},
    {8, 46, "c", u"C"},
    {2, 32, "d", u"D"},
    {14, 18, "e", u"E"},
    {3, 33, "f", u"F"},
    {5, 34, "g", u"G"},
    {4, 35, "h", u"H"},
    {34, 23, "i", u"I"},
    {38, 36, "j", u"J"},
    {40, 37, "k", u"K"},
    {37, 38, "l", u"L"},
    {46, 50, "m", u"M"},
    {45, 49, "n", u"N"},
    {31, 24, "o", u"O"},
    {35, 25, "p", u"P"},
    {12, 16, "q", u"Q"},
    {15, 19, "r", u"R"},
    {1, 31, "s", u"S"},
    {17, 20, "t", u"T"},
    {32, 22, "u", u"U"},
    {9, 47, "v", u"V"},
    {13, 17, "w", u"W"},
    {7, 45, "x", u"X"},
    {16, 21, "y", u"Y"},
    {6, 44, "z", u"Z"},

    {18, 2, "1", u"1"},
    {19, 3, "2", u"2"},
    {20, 4, "3", u"3"},
    {21, 5, "4", u"4"},
    {23, 6, "5", u"5"},
    {22, 7, "6", u"6"},
    {26, 8, "7", u"7"},
    {28, 9, "8", u"8"},
    {25, 10, "9", u"9"},
    {29, 11, "0", u"0"},

    {27, 12, "minus", u"-"},
    {24, 13, "equal", u"="},
    {33, 26, "bracketleft", u"["},
    {30, 27, "bracketright", u"]"},
    {42, 43, "backslash", u"\\"},
    {41, 39, "semicolon", u";"},
    {39, 40, "apostrophe", u"'"},
    {43, 51, "comma", u","},
    {47, 52, "period", u"."},
    {44, 53, "slash", u"/"},
    {50, 41, "grave", u"`"},
    // The extra key left of Z on ISO keyboards.
    {10, 86, "less", u"<"},

    {49, 57, "space", u"Space"},
    {36, 28, "Return", u"↩"},
    {48, 15, "Tab", nullptr},
    {51, 14, "BackSpace", nullptr},
    {53, 1, "Escape", nullptr},
    {117, 111, "Delete", nullptr},

    {122, 59, "F1", nullptr},
    {120, 60, "F2", nullptr},
    {99, 61, "F3", nullptr},
    {118, 62, "F4", nullptr},
    {96, 63, "F5", nullptr},
    {97, 64, "F6", nullptr},
    {98, 65, "F7", nullptr},
    {100, 66, "F8", nullptr},
    {101, 67, "F9", nullptr},
    {109, 68, "F10", nullptr},
    {103, 87, "F11", nullptr},
    {111, 88, "F12", nullptr},

    {123, 105, "Left", nullptr},
    {124, 106, "Right", nullptr},
    {125, 108, "Down", nullptr},
    {126, 103, "Up", nullptr},
    {115, 102, "Home", nullptr},
    {119, 107, "End", nullptr},
    {116, 104, "Prior", nullptr},
    {121, 109, "Next", nullptr},

    {82, 82, "KP_0", u"0"},
    {83, 79, "KP_1", u"1"},
    {84, 80, "KP_2", u"2"},
    {85, 81, "KP_3", u"3"},
    {86, 75, "KP_4", u"4"},
    {87, 76, "KP_5", u"5"},
    {88, 77, "KP_6", u"6"},
    {89, 71, "KP_7", u"7"},
    {91, 72, "KP_8", u"8"},
    {92, 73, "KP_9", u"9"},
});

constexpr std::array modifierRows = std::to_array<ModifierRow>({
    {0x1000, 0x04, Qt::ControlModifier, "CTRL", u"Ctrl"},
    {0x0800, 0x08, Qt::AltModifier, "ALT", u"Alt"},
    {0x0200, 0x01, Qt::ShiftModifier, "SHIFT", u"Shift"},
    {0x0100, 0x40, Qt::MetaModifier, "LOGO", u"Super"},
});

struct NamedKey
{
    const char *keysym;
    int qtKey;
};

constexpr std::array namedKeys = std::to_array<NamedKey>({
    {"space", Qt::Key_Space},
    {"Return", Qt::Key_Return},
    {"Tab", Qt::Key_Tab},
    {"BackSpace", Qt::Key_Backspace},
    {"Escape", Qt::Key_Escape},
    {"Delete", Qt::Key_Delete},
    {"Left", Qt::Key_Left},
    {"Right", Qt::Key_Right},
    {"Down", Qt::Key_Down},
    {"Up", Qt::Key_Up},
    {"Home", Qt::Key_Home},
    {"End", Qt::Key_End},
    {"Prior", Qt::Key_PageUp},
    {"Next", Qt::Key_PageDown},
});

struct KeyName
{
    const char *keysym;
    const char16_t *name;
};

// Names of keys whose label is not what a Linux desktop writes in a shortcut; function keys go by their keysym.
constexpr std::array keyNames = std::to_array<KeyName>({
    {"space", u"Space"},   {"Return", u"Return"},  {"Tab", u"Tab"},   {"BackSpace", u"Backspace"},
    {"Escape", u"Esc"},    {"Delete", u"Delete"},  {"Left", u"Left"}, {"Right", u"Right"},
    {"Down", u"Down"},     {"Up", u"Up"},          {"Home", u"Home"}, {"End", u"End"},
    {"Prior", u"Page Up"}, {"Next", u"Page Down"}, {"F1", u"F1"},     {"F2", u"F2"},
    {"F3", u"F3"},         {"F4", u"F4"},          {"F5", u"F5"},     {"F6", u"F6"},
    {"F7", u"F7"},         {"F8", u"F8"},          {"F9", u"F9"},     {"F10", u"F10"},
    {"F11", u"F11"},       {"F12", u"F12"},
});

} // namespace

std::span<const KeyRow> keys()
{
    return keyRows;
}

std::span<const ModifierRow> modifiers()
{
    return modifierRows;
}

const KeyRow *byCarbonCode(quint32 carbonCode)
{
    const auto row = std::ranges::find(keyRows, carbonCode, &KeyRow::carbonCode);
    return row != keyRows.end() ? &*row : nullptr;
}

const KeyRow *byEvdevCode(quint32 evdevCode)
{
    const auto row = std::ranges::find(keyRows, evdevCode, &KeyRow::evdevCode);
    return row != keyRows.end() ? &*row : nullptr;
}

quint32 carbonModifiers(Qt::KeyboardModifiers modifiers)
{
    quint32 bits = 0;
    for (const ModifierRow &row : modifierRows) {
        if (modifiers.testFlag(row.qtModifier)) {
            bits |= row.carbonBit;
        }
    }
    return bits;
}

Qt::KeyboardModifiers qtModifiers(quint32 carbonModifiers)
{
    Qt::KeyboardModifiers result;
    for (const ModifierRow &row : modifierRows) {
        if (carbonModifiers & row.carbonBit) {
            result |= row.qtModifier;
        }
    }
    return result;
}

quint16 x11Modifiers(quint32 carbonModifiers)
{
    quint16 mask = 0;
    for (const ModifierRow &row : modifierRows) {
        if (carbonModifiers & row.carbonBit) {
            mask |= row.x11Mask;
        }
    }
    return mask;
}

bool isKeypad(const KeyRow &row)
{
    return std::strncmp(row.keysym, "KP_", 3) == 0;
}

int qtKey(const KeyRow &row)
{
    const char *name = isKeypad(row) ? row.keysym + 3 : row.keysym;
    if (std::strlen(name) == 1) {
        // Letters, digits: Qt's key codes are the upper-case ASCII codes.
        const char c = name[0];
        return (c >= 'a' && c <= 'z') ? c - 'a' + Qt::Key_A : c;
    }
    if (name[0] == 'F' && name[1] >= '1' && name[1] <= '9') {
        return Qt::Key_F1 + std::atoi(name + 1) - 1;
    }
    for (const NamedKey &named : namedKeys) {
        if (std::strcmp(named.keysym, name) == 0) {
            return named.qtKey;
        }
    }
    // Punctuation: the label is the ASCII character, which is also Qt's key code.
    return row.label ? static_cast<int>(row.label[0]) : 0;
}

const char16_t *keyName(quint32 carbonCode)
{
    const KeyRow *row = byCarbonCode(carbonCode);
    if (row == nullptr) {
        return nullptr;
    }
    const auto named =
        std::ranges::find_if(keyNames, [row](const KeyName &key) { return std::strcmp(key.keysym, row->keysym) == 0; });
    return named != keyNames.end() ? named->name : nullptr;
}

std::optional<HotKeyCombination> hotKeyCombination(quint32 carbonCode, quint32 carbonModifiers)
{
    const KeyRow *row = byCarbonCode(carbonCode);
    if (row == nullptr) {
        return std::nullopt;
    }
    HotKeyCombination combination;
    combination.x11Keycode = row->evdevCode + x11KeycodeOffset;
    combination.x11Modifiers = x11Modifiers(carbonModifiers);
    combination.qtKey = qtKey(*row);
    combination.keypad = isKeypad(*row);
    combination.keysym = QString::fromLatin1(row->keysym);
    return combination;
}

} // namespace Tessary::KeyTables
