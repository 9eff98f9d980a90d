#include "yfcurve/algorithms/tangentchecks.h"

#include <cmath>

#include "yfcurve/curve/edit/quietmodify.h"
#include "yfcurve/curve/pool/keyattributes.h"
#include "yfcurve/node/tree/animationkeep.h"
#include "yfcurve/node/tree/treewalk.h"
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
    yfc::Guarded([&] {
        const yfc::AttributeReserve reserve(2);
        const QuietModify modify(curve);
        curve.KeySetTangeantMode(index, YFCURVE_TANGENT_USER_BREAK, false);
        curve.KeySetLeftDerivative(index, static_cast<float>(slopes.left));
        curve.KeySetRightDerivative(index, static_cast<float>(slopes.right));
    });
}

namespace {

// In order and one by one: the slope to the left of a key may depend on the key before it. The bracket waits
// for the first change, since closing one has effects of its own.
void BreakTangentsOf(YFCurve& curve, const YFCurve* reference, YTime delta, double threshold)
{
    std::optional<yfc::QuietModify> modify;
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const auto slopes = yfc::FindDisagreement(&curve, reference, i, delta, threshold);
        if (!slopes) continue;
        if (!modify) modify.emplace(curve);
        yfc::BreakKeyTangents(curve, i, *slopes);
    }
}

}  // namespace

void YFCURVE_BreakTangents(YFCurveNode* node, YFCurveNode* reference, YTime delta, double threshold)
{
    if (node == nullptr || reference == nullptr || delta <= YTIME_ZERO) return;
    yfc::Safely(*node, false, [&] {
        return yfc::WalkPairs(*node, *reference, [=](const YFCurveNode& at, const YFCurveNode& referenceAt) {
            if (at.GetCount() != referenceAt.GetCount()) return yfc::EWalk::Past;
            YFCurve* const curve = at.FCurveGet();
            if (curve == nullptr) return yfc::EWalk::Into;
            BreakTangentsOf(*curve, referenceAt.FCurveGet(), delta, threshold);
            return yfc::EWalk::Past;
        });
    });
}

// --- Interpolation -------------------------------------------------------------------------------------

bool YFCURVE_IsAllSameInterpolation(YFCurveNode* node, unsigned int interpolationMask, bool includeLayers)
{
    if (node == nullptr) return false;
    bool seen = false;
    const auto childOf = includeLayers ? yfc::ChildOrLayerOf : yfc::ChildOf;
    const auto look = [&](const YFCurveNode& at) {
        const YFCurve* const curve = at.FCurveGet();
        for (int i = 0; curve != nullptr && i < curve->KeyGetCount(); ++i) {
            seen = true;
            if ((curve->KeyGetInterpolation(i) & interpolationMask) == 0) return yfc::EWalk::Stop;
        }
        return yfc::EWalk::Into;
    };
    const bool all =
        yfc::Guarded([&] { return yfc::WalkBelow(*node, childOf, look, [](const YFCurveNode&) {}); });
    return seen && all;
}
