#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <optional>
#include <string>

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

/// Holds each root over the place where it starts: takes its way over the ground from it and from all that hangs on it.
class RootsHeld
{
  public:
    explicit RootsHeld(const Skeleton& skeleton) : mStarts(skeleton.joints.size())
    {
        for (const Joint& joint : skeleton.joints)
            mRoots.push_back(joint.parent < 0 ? mRoots.size()
                                              : mRoots[static_cast<std::size_t>(joint.parent)]);
    }

    void Add(std::size_t root, const YgeVector& start) { mStarts[root] = start; }

    void operator()(std::vector<Placement>& places, YTime) const
    {
        for (std::size_t i = places.size(); i-- > 0;) {
            const std::size_t root = mRoots[i];  // comes before what hangs on it
            if (!mStarts[root]) continue;
            places[i].origin.x += mStarts[root]->x - places[root].origin.x;
            places[i].origin.z += mStarts[root]->z - places[root].origin.z;
        }
    }

  private:
    std::vector<std::size_t> mRoots;  ///< of each joint
    std::vector<std::optional<YgeVector>> mStarts;
};

ClipChange StayInPlace(Scene& scene)
{
    CheckHasSkeleton(scene, "hold in place");
    const YTime start = SpanOf(scene).start;
    const std::string note = GroundNote(scene);
    RootsHeld held(scene.skeleton);
    std::array<double, 2> farthest{};
    for (const std::size_t root : RootsOf(scene)) {
        held.Add(root, RootPoseAt(scene, root, start).position);
        if (YFCurve* x = GroundCurveOf(scene, root, Axis::X))
            farthest[0] = std::max(farthest[0], Hold(*x, start));
        if (YFCurve* z = GroundCurveOf(scene, root, Axis::Z))
            farthest[1] = std::max(farthest[1], Hold(*z, start));
    }
    if (farthest[0] == 0 && farthest[1] == 0) return {false, "nothing to do: it stays in place already"};
    return {true,
            fmt::format("takes away a way of up to {:.6g} along X and {:.6g} along Z{}", farthest[0],
                        farthest[1], note),
            {{}, held}};
}

}  // namespace

ClipWork ParseInPlace(const std::string&, const ClipSettings&)
{
    return StayInPlace;
}

}  // namespace ymotion
