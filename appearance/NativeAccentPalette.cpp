#include "appearance/NativeAccentPalette.h"

#include "appearance/NativeAppearanceLanguage.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

struct PaletteRow
{
    const char16_t *rawValue;
    const char16_t *simplifiedChinese;
    const char16_t *traditionalChinese;
    const char16_t *english;
    float red;
    float green;
    float blue;
};

// Indexed by NativeAccentPalette::Case.
constexpr std::array<PaletteRow, 6> paletteRows{{
    {u"terracotta", u"陶土", u"陶土", u"Terracotta", 0.706f, 0.357f, 0.263f},
    {u"coral", u"珊瑚", u"珊瑚", u"Coral", 0.835f, 0.267f, 0.302f},
    {u"amber", u"琥珀", u"琥珀", u"Amber", 0.706f, 0.424f, 0.102f},
    {u"forest", u"森林", u"森林", u"Forest", 0.161f, 0.455f, 0.345f},
    {u"ocean", u"海蓝", u"海藍", u"Ocean", 0.125f, 0.42f, 0.682f},
    {u"violet", u"紫罗兰", u"紫羅蘭", u"Violet", 0.408f, 0.302f, 0.655f},
}};

const PaletteRow &rowOf(NativeAccentPalette palette)
{
    return paletteRows[std::size_t(palette.index())];
}

} // namespace

QString NativeAccentPalette::standardDefaultsKey()
{
    return u"appearance.accentPalette"_s;
}

const std::array<NativeAccentPalette, 6> &NativeAccentPalette::allCases()
{
    static constexpr std::array<NativeAccentPalette, 6> cases{Terracotta, Coral, Amber, Forest, Ocean, Violet};
    return cases;
}

std::optional<NativeAccentPalette> NativeAccentPalette::fromRawValue(const QString &rawValue)
{
    for (const NativeAccentPalette palette : allCases()) {
        if (rawValue == QStringView(rowOf(palette).rawValue)) {
            return palette;
        }
    }
    return std::nullopt;
}

NativeAccentPalette NativeAccentPalette::current(NativeAccentPalette defaultPalette, const QString &key,
                                                 const UserDefaults &defaults)
{
    const std::optional<QString> stored = defaults.string(key);
    if (!stored) {
        return defaultPalette;
    }
    return fromRawValue(*stored).value_or(defaultPalette);
}

QString NativeAccentPalette::rawValue() const
{
    return QString::fromUtf16(rowOf(*this).rawValue);
}

QString NativeAccentPalette::id() const
{
    return rawValue();
}

QString NativeAccentPalette::title() const
{
    return title(u"system"_s);
}

QString NativeAccentPalette::title(const QString &language) const
{
    const PaletteRow &row = rowOf(*this);
    return NativeAppearanceLanguage::from(language).pick(QString::fromUtf16(row.simplifiedChinese),
                                                         QString::fromUtf16(row.traditionalChinese),
                                                         QString::fromUtf16(row.english));
}

QColor NativeAccentPalette::color() const
{
    const PaletteRow &row = rowOf(*this);
    return QColor::fromRgbF(row.red, row.green, row.blue, 1.0f);
}

} // namespace Tessary
