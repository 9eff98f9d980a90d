// The palette is that of Okabe and Ito, "Color Universal Design", 2008, whose colours people with any colour
// vision tell apart, with black and yellow left out, which one of the usual backgrounds swallows.

#include <algorithm>
#include <map>
#include <utility>

#include "yfcurve/node/nodedata.h"
#include "yfcurve/yfcurvecolormanager.h"
#include "yfcurve/yfcurvenode.h"

namespace {

constexpr YFCurveColor Rgb(int code)
{
    constexpr float full = 255.0f;
    return {static_cast<float>(code >> 16 & 0xFF) / full, static_cast<float>(code >> 8 & 0xFF) / full,
            static_cast<float>(code & 0xFF) / full};
}

constexpr YFCurveColor kRed = Rgb(0xD55E00);
constexpr YFCurveColor kGreen = Rgb(0x009E73);
constexpr YFCurveColor kBlue = Rgb(0x0072B2);
constexpr YFCurveColor kPurple = Rgb(0xCC79A7);
constexpr YFCurveColor kOrange = Rgb(0xE69F00);
constexpr YFCurveColor kSky = Rgb(0x56B4E9);
constexpr YFCurveColor kGrey = Rgb(0x808080);

constexpr YFCurveColor kComponents[] = {kRed, kGreen, kBlue, kPurple, kOrange, kSky, kGrey};

struct TypeColor
{
    eDataType type;
    YFCurveColor color;
};

// Of properties of one number: those that are animated together differ, and none looks like an axis.
constexpr TypeColor kSingles[] = {
    {eDataType::Opacity, kPurple},  {eDataType::Intensity, kOrange},
    {eDataType::FieldOfView, kSky}, {eDataType::Weight, kPurple},
    {eDataType::Visibility, kGrey}, {eDataType::VisibilityInheritance, kGrey},
    {eDataType::TimeWarp, kOrange}, {eDataType::Time, kOrange},
    {eDataType::Bool, kGrey},       {eDataType::Enum, kGrey},
    {eDataType::Integer, kSky},
};
constexpr YFCurveColor kOtherSingles = kPurple;

using Key = std::pair<const YDataType*, int>;

std::map<Key, YFCurveColor>& Chosen()
{
    static std::map<Key, YFCurveColor> chosen;
    return chosen;
}

const YFCurveColor* FindChosen(const YDataType* type, int component)
{
    const auto found = Chosen().find({type, component});
    return found != Chosen().end() ? &found->second : nullptr;
}

YFCurveColor BuiltIn(const YDataType* type, int component)
{
    if (type != nullptr && type->GetMemberCount() == 1 && component == 0) {
        for (const TypeColor& single : kSingles) {
            if (type == YDataType::Get(single.type)) return single.color;
        }
        return kOtherSingles;
    }
    constexpr int count = static_cast<int>(std::size(kComponents));
    constexpr int axes = 3;
    return kComponents[component < count ? component : axes + (component - axes) % (count - axes)];
}

bool IsPart(float part)
{
    return part >= 0.0f && part <= 1.0f;
}

void Apply(YFCurveNode& node, const YDataType* type, int component, bool onlyUncolored)
{
    const YDataType* const own = node.GetDataType();
    if (YFCurve* curve = node.FCurveGet()) {
        const float* is = curve->GetColor();
        const bool isWhite = is[0] == 1.0f && is[1] == 1.0f && is[2] == 1.0f;
        if (isWhite || !onlyUncolored) {
            const YFCurveColor color = own != nullptr ? YFCurveColorManager::GetColor(own)
                                                      : YFCurveColorManager::GetColor(type, component);
            const float parts[] = {color.red, color.green, color.blue};
            curve->SetColor(parts);
        }
    }
    for (int i = 0; i < node.GetCount(); ++i) Apply(*node.Get(i), own, i, onlyUncolored);
    if (YFCurveNode* layer = node.LayerGet()) Apply(*layer, type, component, onlyUncolored);
}

}  // namespace

YFCurveColor YFCurveColorManager::GetColor(const YDataType* type, int component)
{
    component = std::max(component, 0);
    if (const YFCurveColor* color = FindChosen(type, component)) return *color;
    if (const YFCurveColor* color = FindChosen(nullptr, component)) return *color;
    return BuiltIn(type, component);
}

bool YFCurveColorManager::SetColor(const YDataType* type, int component, const YFCurveColor& color)
{
    if (component < 0 || component >= MaximumComponentCount) return false;
    if (!IsPart(color.red) || !IsPart(color.green) || !IsPart(color.blue)) return false;
    return yfc::Guarded([&] {
        Chosen()[{type, component}] = color;
        return true;
    });
}

void YFCurveColorManager::ResetColor(const YDataType* type, int component)
{
    Chosen().erase({type, component});
}

void YFCurveColorManager::ResetAllColors()
{
    Chosen().clear();
}

void YFCurveColorManager::ApplyTo(YFCurveNode* node, bool onlyUncolored)
{
    if (node != nullptr) Apply(*node, nullptr, 0, onlyUncolored);
}
