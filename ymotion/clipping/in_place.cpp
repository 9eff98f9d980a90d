#include <algorithm>
#include <array>
#include <cmath>
#include <new>

#include <fmt/format.h>

#include "yfcurve/yfcurveptr.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/clipping/root_motion.h"

namespace ymotion {
namespace {

/// How far a curve goes from a value, at its keys and between them.
double FarthestFrom(const YFCurve& curve, float value)
{
    constexpr int kParts = 8;  // of a segment
    double farthest = 0;
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const TimeSpan segment{curve.KeyGetTime(i),
                               curve.KeyGetTime(std::min(i + 1, curve.KeyGetCount() - 1))};
        for (int part = 0; part < kParts; ++part) {
            const float there = curve.Evaluate(segment.At(static_cast<double>(part) / kParts));
            farthest = std::max(farthest, std::abs(double{there} - value));
        }
    }
    return farthest;
}

/// Holds the value that a curve starts with, between two keys, so that the clip stays as long. Curves that hold it
/// already keep their keys.
/// \return  how far from there it went.
double Hold(YFCurve& curve, YTime start)
{
    const std::optional<TimeSpan> span = KeySpan(curve);
    if (!span || IsStill(curve)) return 0;
    const float value = curve.Evaluate(start);
    const double farthest = FarthestFrom(curve, value);
    const YFCurveModify bracket(curve);
    curve.KeyClear();
    curve.SetValue(value);
    YFCurveKey key;
    key.Set(span->start, value);
    for (const YTime time : {span->start, span->stop}) {
        if (curve.KeyAdd(time, key) < 0) throw std::bad_alloc();
    }
    return farthest;
}

ClipChange StayInPlace(Scene& scene)
{
    CheckHasSkeleton(scene, "hold in place");
    const YTime start = SpanOf(scene).start;
    std::array<double, 2> farthest{};
    for (const std::size_t root : RootsOf(scene)) {
        if (YFCurve* x = GroundCurveOf(scene, root, Axis::X))
            farthest[0] = std::max(farthest[0], Hold(*x, start));
        if (YFCurve* z = GroundCurveOf(scene, root, Axis::Z))
            farthest[1] = std::max(farthest[1], Hold(*z, start));
    }
    if (farthest[0] == 0 && farthest[1] == 0) return {false, "nothing to do: it stays in place already"};
    return {true, fmt::format("takes away a way of up to {:.6g} along X and {:.6g} along Z", farthest[0],
                              farthest[1])};
}

}  // namespace

ClipWork ParseInPlace(const std::string&, const ClipSettings&)
{
    return StayInPlace;
}

}  // namespace ymotion
