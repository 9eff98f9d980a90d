#include "yfcurve/algorithms/tangentchecks.h"

#include <cmath>

#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurvetangentchecks.h"

// --- Breaking ------------------------------------------------------------------------------------------

std::optional<yfc::ReferenceSlopes> yfc::FindDisagreement(const YFCurve* curve, const YFCurve* reference,
                                                          int index, YTime delta, double threshold)
{
    if (curve == nullptr || reference == nullptr || delta <= YTIME_ZERO) return std::nullopt;
    const int count = curve->KeyGetCount();
    if (index < 0 || index >= count) return std::nullopt;
    const YTime time = curve->KeyGetTime(index);
    const double value = curve->KeyGetValue(index);
    ReferenceSlopes slopes;
    bool disagree = false;
    if (index != 0) {
        const YTime before = time - delta;
        slopes.left = (value - reference->Evaluate(before)) / (time - before).GetSecondDouble();
        disagree = std::abs(slopes.left - curve->KeyGetLeftDerivative(index)) > threshold;
    }
    if (index != count - 1) {
        const YTime after = time + delta;
        slopes.right = (reference->Evaluate(after) - value) / (after - time).GetSecondDouble();
        disagree |= std::abs(slopes.right - curve->KeyGetRightDerivative(index)) > threshold;
    }
    if (!disagree) return std::nullopt;
    return slopes;
}

void yfc::BreakKeyTangents(YFCurve& curve, int index, ReferenceSlopes slopes)
{
    const YFCurveModify modify(curve);
    curve.KeySetTangeantMode(index, YFCURVE_TANGENT_USER_BREAK, false);
    curve.KeySetLeftDerivative(index, static_cast<float>(slopes.left));
    curve.KeySetRightDerivative(index, static_cast<float>(slopes.right));
}

void YFCURVE_BreakTangents(YFCurveNode* node, YFCurveNode* reference, YTime delta, double threshold)
{
    if (node == nullptr || reference == nullptr || delta <= YTIME_ZERO) return;
    const int childCount = node->GetCount();
    if (childCount != reference->GetCount()) return;
    YFCurve* curve = node->FCurveGet();
    if (curve == nullptr) {
        for (int i = 0; i < childCount; ++i) {
            YFCURVE_BreakTangents(node->Get(i), reference->Get(i), delta, threshold);
        }
        return;
    }
    // In order and one by one: the slope to the left of a key may depend on the key before it. The bracket
    // waits for the first change, since closing one has effects of its own.
    std::optional<YFCurveModify> modify;
    for (int i = 0; i < curve->KeyGetCount(); ++i) {
        const auto slopes = yfc::FindDisagreement(curve, reference->FCurveGet(), i, delta, threshold);
        if (!slopes) continue;
        if (!modify) modify.emplace(*curve);
        yfc::BreakKeyTangents(*curve, i, *slopes);
    }
}

// --- Interpolation -------------------------------------------------------------------------------------

namespace {

struct InterpolationSurvey
{
    unsigned mask;
    bool includeLayers;
    bool seen = false;
    bool all = true;

    void Visit(YFCurveNode& node)
    {
        YFCurveNode* layer = includeLayers ? node.LayerGet() : nullptr;
        if (layer != nullptr) Visit(*layer);
        for (int i = 0; i < node.GetCount(); ++i) Visit(*node.Get(i));
        const YFCurve* curve = node.FCurveGet();
        if (curve == nullptr) return;
        for (int i = 0; i < curve->KeyGetCount(); ++i) {
            seen = true;
            if ((curve->KeyGetInterpolation(i) & mask) == 0) all = false;
        }
    }
};

}  // namespace

bool YFCURVE_IsAllSameInterpolation(YFCurveNode* node, unsigned int interpolationMask, bool includeLayers)
{
    if (node == nullptr) return false;
    InterpolationSurvey survey{interpolationMask, includeLayers};
    survey.Visit(*node);
    return survey.seen && survey.all;
}
