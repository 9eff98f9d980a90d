// The built-in colours were searched for the largest smallest difference (CIEDE2000) of any two as people
// with normal vision, protanopia, deuteranopia and tritanopia see them by the model of Machado, Oliveira and
// Fernandes, "A Physiologically-based Model for Simulation of Color Vision Deficiency", 2009: more than 20
// between axes, more than 10 between all.

#include <algorithm>
#include <iterator>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/node/tree/treewalk.h"
#include "yfcurve/yfcurvecolormanager.h"
#include "yfcurve/yfcurvenode.h"

namespace {

constexpr YFCurveColor Rgb(int code)
{
    constexpr float full = 255.0f;
    return {static_cast<float>(code >> 16 & 0xFF) / full, static_cast<float>(code >> 8 & 0xFF) / full,
            static_cast<float>(code & 0xFF) / full};
}

constexpr YFCurveColor kMagenta = Rgb(0xE65CCF);
constexpr YFCurveColor kBrown = Rgb(0x805233);
constexpr YFCurveColor kSteel = Rgb(0x547A8C);
constexpr YFCurveColor kGrey = Rgb(0x666666);

constexpr YFCurveColor kAxes[] = {Rgb(0xFF190D), Rgb(0x269973), Rgb(0x3041F2)};
constexpr YFCurveColor kOthers[] = {kMagenta, kBrown, kSteel, kGrey};

struct TypeColor
{
    eDataType type;
    YFCurveColor color;
};

// Of types of one number: those that are animated together differ, and none looks like an axis.
constexpr TypeColor kSingles[] = {
    {eDataType::Intensity, kBrown}, {eDataType::TimeWarp, kBrown},
    {eDataType::Time, kBrown},      {eDataType::FieldOfView, kSteel},
    {eDataType::Integer, kSteel},   {eDataType::Visibility, kGrey},
    {eDataType::Bool, kGrey},       {eDataType::VisibilityInheritance, kGrey},
    {eDataType::Enum, kGrey},
};
constexpr YFCurveColor kOtherSingles = kMagenta;

bool IsSingle(const YDataType* type)
{
    return type != nullptr && type->GetMemberCount() == 1;
}

YFCurveColor BuiltIn(const YDataType* type, int component)
{
    if (IsSingle(type) && component == 0) {
        for (const TypeColor& single : kSingles) {
            if (type == YDataType::Get(single.type)) return single.color;
        }
        return kOtherSingles;
    }
    constexpr int axes = static_cast<int>(std::size(kAxes));
    constexpr int others = static_cast<int>(std::size(kOthers));
    return component < axes ? kAxes[component] : kOthers[(component - axes) % others];
}

bool IsPart(float part)
{
    return part >= 0.0f && part <= 1.0f;
}

bool IsWhite(const float* color)
{
    return color[0] == 1.0f && color[1] == 1.0f && color[2] == 1.0f;
}

}  // namespace

int YFCurveColorManager::Find(const YDataType* type, int component) const
{
    for (int i = 0; i < mChoices.GetCount(); ++i) {
        if (mChoices[i].type == type && mChoices[i].component == component) return i;
    }
    return -1;
}

YFCurveColor YFCurveColorManager::GetColor(const YDataType* type, int component) const
{
    component = std::max(component, 0);
    int choice = Find(type, component);
    if (choice < 0 && !IsSingle(type)) choice = Find(nullptr, component);
    return choice >= 0 ? mChoices[choice].color : BuiltIn(type, component);
}

bool YFCurveColorManager::SetColor(const YDataType* type, int component, const YFCurveColor& color)
{
    const int count = type != nullptr ? type->GetMemberCount() : YDataType::MaximumMemberCount;
    if (component < 0 || component >= count) return false;
    if (!IsPart(color.red) || !IsPart(color.green) || !IsPart(color.blue)) return false;
    const int choice = Find(type, component);
    if (choice >= 0) {
        mChoices[choice].color = color;
        return true;
    }
    return yfc::Guarded([&] { return mChoices.Add({type, component, color}) >= 0; });
}

void YFCurveColorManager::ResetColor(const YDataType* type, int component)
{
    mChoices.RemoveAt(Find(type, component));
}

void YFCurveColorManager::ResetAllColors()
{
    mChoices.Clear();
}

void YFCurveColorManager::Apply(YFCurveNode& top, const YDataType* topType, int topComponent,
                                bool onlyUncolored) const
{
    struct Place
    {
        YFCurveNode* node;
        const YDataType* type;
        int component;
    };
    yfc::WalkStack<Place> waiting;
    waiting.Push({&top, topType, topComponent});
    while (!waiting.IsEmpty()) {
        const auto [node, type, component] = waiting.Take();
        const YDataType* const own = node->GetDataType();
        YFCurve* curve = node->FCurveGet();
        if (curve != nullptr && (!onlyUncolored || IsWhite(curve->GetColor()))) {
            const YFCurveColor color = own != nullptr ? GetColor(own) : GetColor(type, component);
            const float parts[] = {color.red, color.green, color.blue};
            curve->SetColor(parts);
        }
        if (YFCurveNode* layer = node->LayerGet()) waiting.Push({layer, type, component});
        for (int i = node->GetCount() - 1; i >= 0; --i) waiting.Push({node->Get(i), own, i});
    }
}

void YFCurveColorManager::ApplyTo(YFCurveNode* node, bool onlyUncolored) const
{
    if (node == nullptr) return;
    const YFCurveNode* parent = node->GetParent();
    const YDataType* const type =
        parent != nullptr ? parent->GetDataType() : YDataType::Get(eDataType::Number);
    yfc::Guarded([&] {
        Apply(*node, type, parent != nullptr ? parent->Find(node) : 0, onlyUncolored);
        return true;
    });
}
