// Keys out of the stretches where a curve does not move.

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string_view>

#include "yfcurve/curve/edit/descendingedit.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/yfcurvefilterconstantkeyreducer.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurvetangentchecks.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged"};

// A key is flat together with so many keys on either side: the two nearest ones give the keys next to a
// stretch their slopes.
constexpr int kNeighbours = 2;

// The values of a flat stretch.
struct Band
{
    Band(float value, double tolerance)
        : low(static_cast<float>(value - tolerance)), high(static_cast<float>(value + tolerance))
    {}

    bool Holds(const YFCurve& curve, int key) const
    {
        const float value = curve.KeyGetValue(key);
        return value >= low && value <= high &&
               (!yfc::KeyKind(curve, key).IsCubic() || curve.IsKeyInterpolationPureCubicAuto(key));
    }

    float low;
    float high;
};

struct KeySpan
{
    int first;
    int last;
};

bool IsFlat(const YFCurve& curve, int key, KeySpan span, const Band& band)
{
    const int from = std::max(key - kNeighbours, span.first);
    for (int i = std::min(key + kNeighbours, span.last); i >= from; --i) {
        if (!band.Holds(curve, i)) return false;
    }
    return true;
}

void EmptyCurve(YFCurve& curve)
{
    const float value = curve.KeyGetValue(0);
    curve.KeyClear();
    curve.SetValue(value);
}

bool HasName(const YFCurveNode* node, std::initializer_list<std::string_view> names)
{
    if (node == nullptr) return false;
    const char* name = node->GetName();
    return name != nullptr && std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

YClassDefinition& YFCurveFilterConstantKeyReducer::StaticClass()
{
    using Filter = YFCurveFilterConstantKeyReducer;
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&Filter::mDerivativeTolerance>(
            "DerivativeTolerance", 0.009, {.minimum = 0.0, .help = "kept for hosts, without effect"}),
        YPropertyOf<&Filter::mValueTolerance>(
            "ValueTolerance", 0.009, {.minimum = 0.0, .help = "difference of values that counts as flat"}),
        YPropertyOf<&Filter::mTranslationThreshold>(
            "TranslationThreshold", 0.00009,
            {.minimum = 0.0, .help = "value tolerance on translation nodes"}),
        YPropertyOf<&Filter::mRotationThreshold>(
            "RotationThreshold", 0.009,
            {.minimum = 0.0, .unit = "degrees", .help = "value tolerance on rotation nodes"}),
        YPropertyOf<&Filter::mScalingThreshold>("ScalingThreshold", 0.004,
                                                {.minimum = 0.0, .help = "value tolerance on scaling nodes"}),
        YPropertyOf<&Filter::mDefaultThreshold>("DefaultThreshold", 0.009,
                                                {.minimum = 0.0, .help = "value tolerance on other nodes"}),
        YPropertyOf<&Filter::mKeepFirstAndLastKeys>("KeepFirstAndLastKeys", false,
                                                    {.help = "kept for hosts, without effect"}),
        YPropertyOf<&Filter::mKeepOneKey>("KeepOneKey", false,
                                          {.help = "leave the first key of a curve that is flat throughout"}),
    };
    static constinit YClassDefinition definition("YFCurveFilterConstantKeyReducer",
                                                 &YFCurveFilter::StaticClass,
                                                 {.summary = "no keys where a curve does not move",
                                                  .properties = properties,
                                                  .create = &YCreateObject<Filter>,
                                                  .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterConstantKeyReducer::YFCurveFilterConstantKeyReducer()
    : YFCurveFilterOf("Constant Key Reducer", kMessages, 2)
{
    Reset();
}

// From the last key down, so that what has been decided stays where it is. A key that is not flat ends a
// stretch and is left alone. Neighbours are looked at as they are then: those of removed keys move up.
bool YFCurveFilterConstantKeyReducer::FilterCurve(YFCurve& curve)
{
    if (curve.KeyGetCount() == 0) return NothingToDo(0, "ConstantKeyReducer, No key to be filtered.");

    KeySpan span{GetStartKey(curve), GetStopKey(curve)};
    std::optional<YFCurveDescendingEdit> edit;  // where there is something to delete
    const auto remove = [&](int first, int last) {
        if (first > last) return;
        if (!edit) edit.emplace(curve);
        edit->Delete(first, last);
    };
    for (int i = span.last; i >= span.first;) {
        const Band band(curve.KeyGetValue(i), mValueTolerance);
        int lowest = i + 1;
        while (lowest > span.first && IsFlat(curve, lowest - 1, span, band)) --lowest;
        const int run = i + 1 - lowest;
        if (run > 0 && run < curve.KeyGetCount()) {
            remove(lowest, i);
        } else if (run > 0 && mKeepOneKey) {
            remove(lowest + 1, i);
        } else if (run > 0) {
            if (!edit) edit.emplace(curve);
            EmptyCurve(curve);
        }
        span.last -= run;
        i = lowest - 2;
    }
    return edit ? true : Untouched();
}

double YFCurveFilterConstantKeyReducer::ThresholdFor(const YFCurveNode& node) const
{
    const auto isOf = [&](std::initializer_list<std::string_view> names) {
        return HasName(&node, names) || HasName(node.GetParent(), names);
    };
    if (isOf({"R", "Lcl Rotation"})) return mRotationThreshold;
    if (isOf({"S", "Lcl Scaling"})) return mScalingThreshold;
    if (isOf({"T", "Lcl Translation"})) return mTranslationThreshold;
    return mDefaultThreshold;
}

bool YFCurveFilterConstantKeyReducer::FilterNode(YFCurveNode& node, bool recursive)
{
    if (node.IsNodeLocked()) return Locked();
    if (node.GetUseQuaternion() || YFCURVE_IsAllSameInterpolation(&node, YFCURVE_INTERP_CONSTANT, false)) {
        SetOutcome(eFilterOutcome::NothingToDo);
        return false;
    }
    const double derivativeTolerance = mDerivativeTolerance;
    const double valueTolerance = mValueTolerance;
    mDerivativeTolerance = mValueTolerance = ThresholdFor(node);
    const bool result = YFCurveFilter::FilterNode(node, recursive);
    mDerivativeTolerance = derivativeTolerance;
    mValueTolerance = valueTolerance;
    return result;
}
