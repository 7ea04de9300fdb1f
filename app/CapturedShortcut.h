#pragma once

#include <optional>

#include <QByteArray>
#include <QMetaType>
#include <QString>

class QJsonObject;

namespace Tessary {

/**
 * The global capture shortcut: a physical key and its modifiers in the Mac's terms (virtual key code and classic
 * event-modifier bits, see KeyTables), so that a configuration shared with a Mac means the same keys, plus the label
 * fixed when it was recorded. Two shortcuts are equal when all three fields are.
 */
struct CapturedShortcut
{
    enum Modifier : quint32 {
        Command = 0x100,
        Shift = 0x200,
        Option = 0x800,
        Control = 0x1000,
    };
    /** Every bit a stored shortcut may carry. */
    static constexpr quint32 allModifiers = Command | Shift | Option | Control;

    quint32 keyCode = 19;
    quint32 modifiers = Control | Shift | Command;
    QString label = QStringLiteral("2");

    /** Ctrl+Shift+Super+2: key code 19 (the 2 of the main keyboard), modifiers 0x1300. */
    static CapturedShortcut defaultShortcut();

    /**
     * The display form, as Linux desktops write shortcuts: Ctrl, Alt, Shift, Super for the modifiers present, in that
     * order, then the key, joined with "+" ("Shift+Super+K"). The key is its label, or its name for keys without
     * characters ("Ctrl+Alt+F1", "Super+Return"). The same in every interface language.
     */
    QString title() const;

    /**
     * The JSON form, byte for byte as the Mac's default JSON encoder writes it: compact, keys in the order
     * "keyCode", "modifiers", "label", "/" escaped as "\/", other non-ASCII text as UTF-8.
     */
    QByteArray encodedJson() const;

    /**
     * Reads the JSON form. All three keys are required: "keyCode" and "modifiers" must be whole numbers from 0 to
     * 2^32 - 1, "modifiers" may only carry the four modifier bits, "label" must be a string. Other keys are ignored.
     * Nothing when anything is wrong.
     */
    static std::optional<CapturedShortcut> decodeJson(const QByteArray &json);
    static std::optional<CapturedShortcut> fromJsonObject(const QJsonObject &object);

    friend bool operator==(const CapturedShortcut &, const CapturedShortcut &) = default;
};

} // namespace Tessary

Q_DECLARE_METATYPE(Tessary::CapturedShortcut)
