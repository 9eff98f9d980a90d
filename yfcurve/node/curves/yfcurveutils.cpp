// The error record, and what the keys of a curve or a tree have in common.

#include "yfcurve/yfcurveutils.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keyattributes.h"
#include "yfcurve/curve/quietmodify.h"
#include "yfcurve/node/tree/treewalk.h"

namespace {

constexpr std::array<const char*, YFCurveUtils::eErrorCount> kMessages = {
    "YFCurveFilter, No key to be filtered.",
    "YFCurveFilter, No single interpolation type.",
    "YFCurveUtils, Not an interpolation and tangent mode of keys.",
    "YFCurveUtils, The period is not positive.",
    "YFCurveUtils, The span is empty or has too many samples.",
};

// ORs a part of the flags of all keys, and complains once when they differ.
template<class Bits>
bool Survey(unsigned& result, const YFCurve& curve, const char* differ, Bits bitsOf)
{
    result = 0;
    const int count = curve.KeyGetCount();
    if (count == 0) {
        YFCurveUtils::GetError().SetLastErrorID(YFCurveUtils::eNoKey);
        return false;
    }
    bool single = true;
    for (int i = 0; i < count; ++i) {
        const unsigned bits = bitsOf(i);
        result |= bits;
        if (single && result != bits) {
            single = false;
            YFCurveUtils::GetError().SetLastError(YFCurveUtils::eNotSingle, differ);
        }
    }
    return true;
}

// Which of the seven kinds a key is; -1 for none of them.
int KindOf(const YFCurve& curve, int index)
{
    const unsigned interpolation = curve.KeyGetInterpolation(index);
    if (interpolation == YFCURVE_INTERP_CONSTANT) return 0;
    if (interpolation == YFCURVE_INTERP_LINEAR) return 1;
    if (interpolation != YFCURVE_INTERP_CUBIC) return -1;
    switch (curve.KeyGetTangeantMode(index)) {
        case YFCURVE_TANGENT_AUTO:
            return 2;
        case YFCURVE_TANGENT_AUTO_BREAK:
            return 3;
        case YFCURVE_TANGENT_USER:
            return 4;
        case YFCURVE_TANGENT_USER_BREAK:
            return 5;
        case YFCURVE_TANGENT_TCB:
            return 6;
        default:
            return -1;
    }
}

void ConvertKeys(YFCurve& curve, unsigned interpolation, unsigned tangentMode)
{
    if (curve.KeyGetCount() == 0) return;
    const yfc::QuietModify modify(curve);
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        curve.KeySetInterpolation(i, interpolation);
        curve.KeySetTangeantMode(i, tangentMode);
    }
}

// How many keys and how many levels a tree has.
struct Extent
{
    std::int64_t keys = 0;
    int levels = 0;
};

// Throws when memory runs out.
Extent ExtentOf(const YFCurveNode& top)
{
    Extent extent;
    extent.levels = yfc::LevelsOf(top, [&](const YFCurveNode& node) {
        if (const YFCurve* curve = node.FCurveGet()) extent.keys += curve->KeyGetCount();
        return yfc::EWalk::Into;
    });
    return extent;
}

}  // namespace

YError& YFCurveUtils::GetError()
{
    static YError error(kMessages.data(), eErrorCount);
    return error;
}

int YFCurveUtils::GetLastErrorID()
{
    return GetError().GetLastErrorID();
}

const char* YFCurveUtils::GetLastErrorString()
{
    return GetError().GetLastErrorString();
}

bool YFCurveUtils::GetGlobalInterpolation(unsigned& result, const YFCurve& curve)
{
    return Survey(result, curve, "YFCurveFilter, No single interpolation type.",
                  [&](int i) { return curve.KeyGetInterpolation(i); });
}

bool YFCurveUtils::GetGlobalTangeant(unsigned& result, const YFCurve& curve)
{
    return Survey(result, curve, "YFCurveFilter, No single tangeant mode.",
                  [&](int i) { return curve.KeyGetTangeantMode(i); });
}

bool YFCurveUtils::GetInterpolationAndTangeantCount(const YFCurve& curve, int counts[7])
{
    std::fill_n(counts, 7, 0);
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const int kind = KindOf(curve, i);
        if (kind >= 0) ++counts[kind];
    }
    return true;
}

YFCurveNode* YFCurveUtils::ConvertCurveInterpolationRecursive(unsigned interpolation, unsigned tangentMode,
                                                              YFCurveNode* node)
{
    if (node == nullptr) return node;
    yfc::Guarded([&] {
        const Extent extent = ExtentOf(*node);
        const yfc::AttributeReserve reserve(extent.keys);
        yfc::WalkBelow(
            *node, yfc::ChildOf, [](const YFCurveNode&) { return yfc::EWalk::Into; },
            [=](const YFCurveNode& at) {
                if (YFCurve* curve = at.FCurveGet()) ConvertKeys(*curve, interpolation, tangentMode);
            },
            extent.levels);
    });
    return node;
}

YTime YFCurveUtils::FindTimeOffsetBefore(YFCurve curve, YTime time)
{
    if (curve.KeyGetCount() == 0) return YTIME_ZERO;
    const YTime first = curve.KeyGetTime(0);
    return first > time ? first - time : YTIME_ZERO;
}

YTime YFCurveUtils::FindTimeOffsetAfter(YFCurve curve, YTime time)
{
    if (curve.KeyGetCount() == 0) return YTIME_ZERO;
    const YTime last = curve.KeyGetTime(curve.KeyGetCount() - 1);
    return last < time ? last - time : YTIME_ZERO;
}
