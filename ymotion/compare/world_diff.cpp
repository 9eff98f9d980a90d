#include "ymotion/compare/world_diff.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "ymotion/compare/deviation.h"
#include "ymotion/scene/curve_selection.h"

namespace ymotion {
namespace {

std::vector<std::string> PathsOf(const Skeleton& skeleton)
{
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < skeleton.joints.size(); ++i) {
        const int parent = skeleton.joints[i].parent;
        paths.push_back(parent < 0 ? "" : paths[static_cast<std::size_t>(parent)] + "/");
        paths.back() += JointTitle(skeleton, i);
    }
    return paths;
}

/// A joint of either scene under one path.
struct Pair
{
    std::size_t a;
    std::size_t b;
    JointError error;
};

std::vector<Pair> PairsOf(const Scene& a, const Scene& b, WorldDifference& difference)
{
    const std::vector<std::string> paths = PathsOf(b.skeleton);
    std::multimap<std::string, std::size_t> others;
    for (std::size_t i = 0; i < paths.size(); ++i) others.emplace(paths[i], i);
    std::vector<Pair> pairs;
    for (const std::string& path : PathsOf(a.skeleton)) {
        const std::size_t joint = pairs.size() + difference.onlyA.size();
        const auto other = others.lower_bound(path);
        if (other == others.end() || other->first != path) {
            difference.onlyA.push_back(path);
            continue;
        }
        pairs.push_back({joint, other->second, {}});
        pairs.back().error.joint = joint;
        pairs.back().error.name = path;
        others.erase(other);
    }
    std::vector<std::size_t> left;
    for (const auto& [path, joint] : others) left.push_back(joint);
    std::sort(left.begin(), left.end());
    for (const std::size_t joint : left) difference.onlyB.push_back(paths[joint]);
    return pairs;
}

TimeSpan SpanOf(const Scene& a, const Scene& b)
{
    const std::optional<TimeSpan> spanA = KeySpan(a);
    const std::optional<TimeSpan> spanB = KeySpan(b);
    if (!spanA || !spanB) return spanA ? *spanA : spanB.value_or(TimeSpan{});
    return {std::min(spanA->start, spanB->start), std::max(spanA->stop, spanB->stop)};
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

/// How far the rounding of angles and values may move each joint: by the turns of all joints above it, each times
/// its distance along the bones.
std::vector<double> RoundingOf(const Scene& scene, double largestAngle)
{
    constexpr double kRounding = 2e-7;
    constexpr double kRadians = 0.017453292519943295;
    struct Reach
    {
        double bones = 0;  ///< from all joints above, together
        double depth = 0;
        double fromRoot = 0;
    };
    std::vector<Reach> reaches;
    std::vector<double> rounding;
    for (const Joint& joint : scene.skeleton.joints) {
        const auto& [x, y, z] = joint.offset;
        const double bone = std::hypot(double{x}, double{y}, double{z});
        Reach reach;
        if (joint.parent >= 0) {
            const Reach& above = reaches[static_cast<std::size_t>(joint.parent)];
            reach.depth = above.depth + 1;
            reach.bones = above.bones + reach.depth * bone;
            reach.fromRoot = above.fromRoot + bone;
        }
        reaches.push_back(reach);
        rounding.push_back(kRounding * (largestAngle * kRadians * reach.bones + reach.fromRoot));
    }
    return rounding;
}

}  // namespace

const JointError* WorldDifference::Largest() const
{
    const auto largest =
        std::max_element(joints.begin(), joints.end(),
                         [](const JointError& x, const JointError& y) { return x.largest < y.largest; });
    return largest != joints.end() ? &*largest : nullptr;
}

WorldDifference CompareWorlds(const Scene& a, const Scene& b, double tolerance)
{
    WorldPoses posesA(a);
    WorldPoses posesB(b);
    WorldDifference difference;
    std::vector<Pair> pairs = PairsOf(a, b, difference);
    difference.compared = pairs.size();
    const TimeSpan span = SpanOf(a, b);
    for (const YTime time : TimesToCompare(span, a.rate, FramesBetweenErrors(span, a.rate), true)) {
        const std::vector<Placement>& placesA = posesA.PlacesAt(time);
        const std::vector<Placement>& placesB = posesB.PlacesAt(time);
        for (Pair& pair : pairs) {
            const YgeVector& placeA = placesA[pair.a].origin;
            const YgeVector& placeB = placesB[pair.b].origin;
            // Numbers that are none count on either side.
            const bool isFinite = std::isfinite(placeA.x + placeA.y + placeA.z);
            pair.error.Add(time, isFinite ? placeA : placeB, isFinite ? placeB : placeA);
        }
    }
    const std::vector<double> rounding = RoundingOf(a, std::max(LargestAngle(a), LargestAngle(b)));
    for (Pair& pair : pairs) {
        if (pair.error.largest > std::max(tolerance, rounding[pair.a]))
            difference.joints.push_back(pair.error);
    }
    return difference;
}

}  // namespace ymotion
