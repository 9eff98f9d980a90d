// The error record, and what the keys of a curve or a tree have in common.

#include "yfcurve/yfcurveutils.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <new>

#include "yfcurve/curve/edit/quietmodify.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/pool/keyattributes.h"
#include "yfcurve/node/tree/treewalk.h"

namespace {

constexpr std::array<const char*, YFCurveUtils::eErrorCount> kMessages = {
    "YFCurveFilter, No key to be filtered.",
    "YFCurveFilter, No single interpolation type.",
    "YFCurveUtils, Not an interpolation and tangent mode of keys.",
    "YFCurveUtils, The period is not positive.",
    "YFCurveUtils, The span is empty or has too many samples.",
};

// The records of errors, one for each thread that has asked for its own. A `thread_local` one would keep the
// library from being unloaded until the thread ends. Threads that find no memory for one share one.
class ThreadErrors
{
  public:
    ThreadErrors() : mHasKey(pthread_key_create(&mKey, [](void* error) { End(error); }) == 0) {}
    ~ThreadErrors()
    {
        if (!mHasKey) return;
        End(pthread_getspecific(mKey));
        pthread_key_delete(mKey);
        mHasKey = false;
    }
    ThreadErrors(const ThreadErrors&) = delete;
    ThreadErrors& operator=(const ThreadErrors&) = delete;

    YError& Get()
    {
        if (!mHasKey) return mShared;
        if (void* const error = pthread_getspecific(mKey)) return *static_cast<YError*>(error);
        std::unique_ptr<YError> error(new (std::nothrow) YError(kMessages.data(), YFCurveUtils::eErrorCount));
        if (!error || pthread_setspecific(mKey, error.get()) != 0) return mShared;
        return *error.release();
    }

  private:
    static void End(void* error) { delete static_cast<YError*>(error); }

    YError mShared{kMessages.data(), YFCurveUtils::eErrorCount};
    pthread_key_t mKey = 0;
    bool mHasKey;
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
    switch (yfc::KeyKind(curve, index).GetInterpolation()) {
        case yfc::EInterpolation::None:
            return -1;
        case yfc::EInterpolation::Constant:
            return 0;
        case yfc::EInterpolation::Linear:
            return 1;
        case yfc::EInterpolation::Cubic:
            break;
    }
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
    static ThreadErrors errors;
    return errors.Get();
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

// NOLINTNEXTLINE(performance-unnecessary-value-param): hosts call it with a copy
YTime YFCurveUtils::FindTimeOffsetBefore(YFCurve curve, YTime time)
{
    if (curve.KeyGetCount() == 0) return YTIME_ZERO;
    const YTime first = curve.KeyGetTime(0);
    return first > time ? first - time : YTIME_ZERO;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): hosts call it with a copy
YTime YFCurveUtils::FindTimeOffsetAfter(YFCurve curve, YTime time)
{
    if (curve.KeyGetCount() == 0) return YTIME_ZERO;
    const YTime last = curve.KeyGetTime(curve.KeyGetCount() - 1);
    return last < time ? last - time : YTIME_ZERO;
}
