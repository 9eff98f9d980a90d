#include <vector>

#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/rounding.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefilterscale.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged"};

// Whether the key has slopes of its own to scale: a cubic key in one of the user or auto modes.
bool HasSlopes(const YFCurve& curve, int index)
{
    const yfc::KeyKind kind(curve, index);
    return kind.IsUser() || kind.IsAuto();
}

void SetSlopes(YFCurve& curve, int index, YFCurveSlopes wanted)
{
    // An auto key whose neighbours were scaled with it has its slopes already, but for rounding, and keeps
    // the parameters that say so.
    const bool isAuto = yfc::KeyKind(curve, index).IsAuto();
    if (!isAuto || !yfc::SameSlope(curve.KeyGetRightDerivative(index), wanted.right))
        curve.KeySetRightDerivative(index, wanted.right);
    if (!isAuto || !yfc::SameSlope(curve.KeyGetLeftDerivative(index), wanted.left))
        curve.KeySetLeftDerivative(index, wanted.left);
}

}  // namespace

YClassDefinition& YFCurveFilterScale::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterScale::mScale>("Scale", 0.0,
                                                 {.help = "the factor; 0 is refused", .needed = true}),
        YPropertyOf<&YFCurveFilterScale::mApplyTangent>("ApplyTangent", false,
                                                        {.help = "whether slopes are scaled too"})};
    static constinit YClassDefinition definition("YFCurveFilterScale", &YFCurveFilter::StaticClass,
                                                 {.summary = "multiplies values by a factor",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterScale>});
    return definition;
}

YFCurveFilterScale::YFCurveFilterScale() : YFCurveFilterOf("Filter Scale", kMessages, 2)
{
    Reset();
}

bool YFCurveFilterScale::FilterCurve(YFCurve& curve)
{
    constexpr const char* unchanged = "FilterScale, No key were changed by filter.";
    if (mScale == 0.0) return Refuse(1, unchanged);
    if (mScale == 1.0) return NothingToDo(1, unchanged);
    if (curve.KeyGetCount() == 0) return Untouched();

    const int start = GetStartKey(curve);
    const int stop = GetStopKey(curve);
    // The slopes of auto keys are made of values, so all are read before any value changes.
    std::vector<YFCurveSlopes> slopes;
    if (mApplyTangent) {
        for (int i = start; i <= stop; ++i) slopes.push_back(YFCurveShape::SlopesAt(curve, i));
    }

    curve.KeyModifyBegin();
    curve.SetValue(static_cast<float>(curve.GetValue() * mScale));
    const auto factor = static_cast<float>(mScale);
    for (int i = start; i <= stop; ++i) curve.KeyMultValue(i, factor);
    for (int i = start; mApplyTangent && i <= stop; ++i) {
        const YFCurveSlopes& old = slopes[static_cast<std::size_t>(i - start)];
        if (HasSlopes(curve, i)) SetSlopes(curve, i, {old.left * factor, old.right * factor});
    }
    curve.KeyModifyEnd();
    return true;
}
