#include <cmath>
#include <new>

#include <fmt/format.h>

#include "yfcurve/yfcurveptr.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/clipping/root_motion.h"

namespace ymotion {
namespace {

/// Holds the value that a curve starts with, between two keys where it had some, so that the clip stays as long.
/// \return  how far from there it went.
double Hold(YFCurve& curve, YTime start)
{
    const std::optional<TimeSpan> span = KeySpan(curve);
    if (!span) return 0;
    const float value = curve.Evaluate(start);
    double farthest = 0;
    for (int i = 0; i < curve.KeyGetCount(); ++i)
        farthest = std::max(farthest, std::abs(double{curve.KeyGetValue(i)} - value));
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
