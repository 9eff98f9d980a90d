#include "ymotion/compare/world_diff.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>

#include "ybaselib/rotation/degrees.h"
#include "ymotion/compare/deviation.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/node_walk.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

std::vector<std::string> PathsOf(const Skeleton& skeleton)
{
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < skeleton.joints.size(); ++i) {
        const int parent = skeleton.joints[i].parent;
        paths.push_back(parent < 0 ? "" : paths[static_cast<std::size_t>(parent)] + "/");
        paths.back() += JointName(skeleton, i);
    }
    return paths;
}

/// A joint of either scene under one path.
struct Pair
{
    std::size_t a;
    std::size_t b;
    JointError error;
    double bone = 0;  ///< how far it is from its parent, at most, in either scene
};

std::vector<Pair> PairsOf(const Scene& a, const Scene& b, WorldDifference& difference)
{
    const std::vector<std::string> paths = PathsOf(b.skeleton);
    std::multimap<std::string, std::size_t> others;
    for (std::size_t i = 0; i < paths.size(); ++i) others.emplace(paths[i], i);
    std::vector<Pair> pairs;
    const std::vector<std::string> pathsA = PathsOf(a.skeleton);
    for (std::size_t joint = 0; joint < pathsA.size(); ++joint) {
        const auto other = others.lower_bound(pathsA[joint]);
        if (other == others.end() || other->first != pathsA[joint]) {
            difference.onlyA.push_back(pathsA[joint]);
            continue;
        }
        pairs.push_back({joint, other->second, {}});
        pairs.back().error.joint = joint;
        pairs.back().error.name = pathsA[joint];
        others.erase(other);
    }
    std::vector<std::size_t> left;
    for (const auto& [path, joint] : others) left.push_back(joint);
    std::sort(left.begin(), left.end());
    for (const std::size_t joint : left) difference.onlyB.push_back(paths[joint]);
    return pairs;
}

void AddKeyTimes(const Scene& scene, std::vector<YTime>& times)
{
    VisitNodesAndLayers(*scene.root, [&times](const YFCurveNode& node) {
        const YFCurve* curve = node.FCurveGet();
        if (curve == nullptr) return;
        for (int i = 0; i < curve->KeyGetCount(); ++i) times.push_back(curve->KeyGetTime(i));
    });
}

/// All keys, and from the first to the last of them the frames of A and the times half-way between.
std::vector<YTime> TimesOf(const Scene& a, const Scene& b)
{
    const std::optional<TimeSpan> spanB = KeySpan(b);
    const TimeSpan spanA = KeySpan(a).value_or(spanB.value_or(TimeSpan{}));
    const TimeSpan span{std::min(spanA.start, spanB.value_or(spanA).start),
                        std::max(spanA.stop, spanB.value_or(spanA).stop)};
    const std::int64_t before = LastFrame(TimeSpan{span.start, spanA.start}.Length(), a.rate);
    const TimeSpan frames{TimeOfFrame(spanA.start, -before, a.rate), span.stop};
    std::vector<YTime> times = TimesToCompare(frames, a.rate, FramesBetweenErrors(frames, a.rate), true);
    AddKeyTimes(a, times);
    AddKeyTimes(b, times);
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

/// The largest size of an angle in degrees, 180 at least: the rounding of angles goes with it.
double LargestAngle(const Scene& scene)
{
    double largest = 180;
    for (const SelectedCurve& selected : SelectCurves(scene, {})) {
        if (!selected.property->IsRotationLayerType()) continue;
        const std::optional<ValueRange> range = KeyRange(*selected.curve);
        if (!range) continue;
        const float size = std::max(std::abs(range->least), std::abs(range->greatest));
        if (std::isfinite(size)) largest = std::max(largest, double{size});
    }
    return largest;
}

/// How far a joint is from its parent.
double BoneOf(const Skeleton& skeleton, const std::vector<Placement>& places, std::size_t joint)
{
    const int parent = skeleton.joints[joint].parent;
    if (parent < 0) return 0;
    const YgeVector& at = places[joint].origin;
    const YgeVector& above = places[static_cast<std::size_t>(parent)].origin;
    const double length = std::hypot(at.x - above.x, at.y - above.y, at.z - above.z);
    return std::isfinite(length) ? length : 0;
}

/// How far the rounding of angles and values may move each joint of a skeleton: by the turns of all joints above it,
/// each times its distance along the bones.
std::vector<double> RoundingOf(const Skeleton& skeleton, const std::vector<double>& bones,
                               double largestAngle)
{
    constexpr double kRounding = 2e-7;
    constexpr double kRadians = ybase::kRadiansPerDegree;
    struct Reach
    {
        double bones = 0;  ///< from all joints above, together
        double depth = 0;
        double fromRoot = 0;
    };
    std::vector<Reach> reaches;
    std::vector<double> rounding;
    for (std::size_t i = 0; i < bones.size(); ++i) {
        const int parent = skeleton.joints[i].parent;
        Reach reach;
        if (parent >= 0) {
            const Reach& above = reaches[static_cast<std::size_t>(parent)];
            reach.depth = above.depth + 1;
            reach.bones = above.bones + reach.depth * bones[i];
            reach.fromRoot = above.fromRoot + bones[i];
        }
        reaches.push_back(reach);
        rounding.push_back(kRounding * (largestAngle * kRadians * reach.bones + reach.fromRoot));
    }
    return rounding;
}

WorldDifference Compare(const Scene& a, const Scene& b, double tolerance)
{
    WorldPoses posesA(a);
    WorldPoses posesB(b);
    WorldDifference difference;
    std::vector<Pair> pairs = PairsOf(a, b, difference);
    difference.compared = pairs.size();
    for (const YTime time : TimesOf(a, b)) {
        StopIfAsked();
        const std::vector<Placement>& placesA = posesA.PlacesAt(time);
        const std::vector<Placement>& placesB = posesB.PlacesAt(time);
        for (Pair& pair : pairs) {
            const YgeVector& placeA = placesA[pair.a].origin;
            const YgeVector& placeB = placesB[pair.b].origin;
            // Numbers that are none count on either side.
            const bool isFinite = std::isfinite(placeA.x + placeA.y + placeA.z);
            pair.error.Add(time, isFinite ? placeA : placeB, isFinite ? placeB : placeA);
            pair.bone = std::max(
                {pair.bone, BoneOf(a.skeleton, placesA, pair.a), BoneOf(b.skeleton, placesB, pair.b)});
        }
    }
    std::vector<double> bones(a.skeleton.joints.size());
    for (const Pair& pair : pairs) bones[pair.a] = pair.bone;
    const std::vector<double> rounding =
        RoundingOf(a.skeleton, bones, std::max(LargestAngle(a), LargestAngle(b)));
    for (const Pair& pair : pairs) {
        if (pair.error.largest > std::max(tolerance, rounding[pair.a]))
            difference.joints.push_back(pair.error);
    }
    return difference;
}

}  // namespace

const JointError* WorldDifference::Largest() const
{
    const auto largest =
        std::max_element(joints.begin(), joints.end(),
                         [](const JointError& x, const JointError& y) { return x.largest < y.largest; });
    return largest != joints.end() ? &*largest : nullptr;
}

// What angles that jump by whole turns pass through between two frames is no motion, on either side.
WorldDifference CompareWorlds(const Scene& a, const Scene& b, double tolerance)
{
    const std::optional<Scene> unrolledA = UnrolledCopy(a), unrolledB = UnrolledCopy(b);
    return Compare(unrolledA ? *unrolledA : a, unrolledB ? *unrolledB : b, tolerance);
}

}  // namespace ymotion
