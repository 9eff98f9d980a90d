#include "ymotion/clipping/join.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/joint_names.h"
#include "ymotion/clipping/root_motion.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

std::string ChannelsText(const Joint& joint)
{
    std::vector<const char*> names;
    for (const Channel channel : joint.channels) names.push_back(ChannelName(channel));
    return names.empty() ? "no channels" : fmt::format("{}", fmt::join(names, " "));
}

/// A joint by its name and that of the joint which it hangs on.
std::string PlaceText(const Skeleton& skeleton, std::size_t index)
{
    const Joint& joint = skeleton.joints[index];
    std::string name = joint.endSite ? "end site" : QuotedName(joint.name);
    if (joint.parent < 0) return name;
    return fmt::format("{} below {}", name,
                       QuotedName(skeleton.joints[static_cast<std::size_t>(joint.parent)].name));
}

/// How two joints of one place differ; empty for those that do not.
std::string JointDifference(const Joint& joint, const Joint& other, const std::string& place,
                            double tolerance)
{
    if (joint.channels != other.channels) {
        return fmt::format("{} has {} instead of {}", place, ChannelsText(joint), ChannelsText(other));
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const bool used = joint.Has({ChannelKind::Translation, static_cast<Axis>(i)});
        if (used || std::abs(double{joint.offset[i]} - other.offset[i]) <= tolerance) continue;
        return fmt::format("the offset of {} is {} instead of {} along {}", place, joint.offset[i],
                           other.offset[i], kAxisNames[i]);
    }
    return {};
}

}  // namespace

std::string SkeletonDifference(const Scene& scene, const Scene& other)
{
    const std::vector<std::string> paths = JointPaths(scene.skeleton);
    const std::vector<std::string> others = JointPaths(other.skeleton);
    const double tolerance = kSamePlace * LargestOffset(other.skeleton);
    std::vector<std::string> differences;
    for (std::size_t i = 0; i < others.size(); ++i) {
        const auto found = std::find(paths.begin(), paths.end(), others[i]);
        if (found == paths.end()) {
            differences.push_back(fmt::format("there is no {}", PlaceText(other.skeleton, i)));
            continue;
        }
        const Joint& joint = scene.skeleton.joints[static_cast<std::size_t>(found - paths.begin())];
        const std::string text =
            JointDifference(joint, other.skeleton.joints[i], PlaceText(other.skeleton, i), tolerance);
        if (!text.empty()) differences.push_back(text);
    }
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (std::find(others.begin(), others.end(), paths[i]) == others.end())
            differences.push_back(fmt::format("there is {} in addition", PlaceText(scene.skeleton, i)));
    }
    constexpr std::size_t kShown = 3;
    if (differences.size() > kShown) {
        const std::size_t more = differences.size() - kShown;
        differences.resize(kShown);
        differences.push_back(fmt::format("and {} more", more));
    }
    return fmt::format("{}", fmt::join(differences, ", "));
}

void CheckCanJoin(const Scene& scene, const Scene& next, const Seam& seam)
{
    if (const std::string difference = SkeletonDifference(next, scene); !difference.empty()) {
        throw Failure(
            fmt::format("{}: has another skeleton than {}: {}; make them alike with 'yfcurve clip' "
                        "(--order, --rename, --drop, --scale)",
                        next.file, scene.file, difference));
    }
    for (const Scene* each : {&scene, &next}) {
        CheckTakesSeam(*each, seam);
        for (const NamedProperty& property : NamedProperties(*each)) CheckHasNoLayers(*each, *property.node);
    }
    if (seam.align) CheckHasSkeleton(scene, "align");
    CheckHasSameProperties(scene, next);
}

std::string Join(Scene& scene, Scene next, const Seam& seam)
{
    CheckCanJoin(scene, next, seam);
    const YTime start = SpanOf(scene).stop - seam.blend;
    const std::string file = next.file;
    const std::string rate = next.rate == scene.rate
                                 ? std::string()
                                 : fmt::format("; keys of {} frames a second stay where they are at {}",
                                               RateText(next.rate), RateText(scene.rate));
    // A blend reads both between their frames, and a file has frames where the second one has none at another rate.
    std::string unrolled;
    for (Scene* each : {&scene, &next}) {
        if (seam.blend == YTIME_ZERO && (rate.empty() || each == &scene)) continue;
        const std::string text = UnrollRecordings(*each);
        if (!text.empty()) unrolled += fmt::format("; {} {}", QuotedName(each->file), text);
    }
    const GroundMove move = Append(scene, std::move(next), seam);
    std::string text = fmt::format("{}: plays from {} s to {} s", file, ShortSecondsText(start),
                                   ShortSecondsText(SpanOf(scene).stop));
    if (seam.blend != YTIME_ZERO) text += fmt::format(", blended for {} s", ShortSecondsText(seam.blend));
    if (seam.align) {
        text += fmt::format("; turned by {:.6g} degrees and moved by {:.6g} along X and {:.6g} along Z{}",
                            move.degrees, move.x, move.z, GroundNote(scene));
    }
    return text + rate + unrolled;
}

}  // namespace ymotion
