#include "ymotion/compare/foot_contacts.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include "ymotion/scene/world_pose.h"
#include "ymotion/text/ascii.h"

namespace ymotion {
namespace {

/// The speed of a foot is taken over so much to either side.
constexpr YTime kSpeedReach{YTIME_TICKS_PER_SECOND / 30};

bool HasWord(std::string_view name, std::initializer_list<std::string_view> words)
{
    std::string lower;
    for (const char c : name) lower += LowerCase(c);
    return std::any_of(words.begin(), words.end(),
                       [&lower](std::string_view word) { return lower.find(word) != std::string::npos; });
}

std::optional<std::size_t> FirstChild(const Skeleton& skeleton, std::size_t joint)
{
    for (std::size_t i = joint + 1; i < skeleton.joints.size(); ++i) {
        if (skeleton.joints[i].parent == static_cast<int>(joint)) return i;
    }
    return std::nullopt;
}

/// Joints with one of the words in their names that are not below another one.
std::vector<std::size_t> Named(const Skeleton& skeleton, std::initializer_list<std::string_view> words)
{
    std::vector<std::size_t> named;
    std::vector<bool> isBelow(skeleton.joints.size());
    for (std::size_t i = 0; i < skeleton.joints.size(); ++i) {
        const Joint& joint = skeleton.joints[i];
        isBelow[i] = joint.parent >= 0 && isBelow[static_cast<std::size_t>(joint.parent)];
        if (isBelow[i] || joint.endSite || !HasWord(joint.name, words)) continue;
        isBelow[i] = true;
        named.push_back(FirstChild(skeleton, i).value_or(i));
    }
    return named;
}

std::vector<std::size_t> Ends(const Skeleton& skeleton)
{
    std::vector<bool> hasChild(skeleton.joints.size());
    for (const Joint& joint : skeleton.joints) {
        if (joint.parent >= 0) hasChild[static_cast<std::size_t>(joint.parent)] = true;
    }
    std::vector<std::size_t> ends;
    for (std::size_t i = 0; i < hasChild.size(); ++i) {
        if (!hasChild[i]) ends.push_back(i);
    }
    return ends;
}

/// The highest joint that the end of a chain is less than the length of a foot away from, along the bones.
std::size_t TopOfFoot(const Skeleton& skeleton, std::size_t joint, double footLength)
{
    double length = 0;
    while (skeleton.joints[joint].parent >= 0) {
        const auto& [x, y, z] = skeleton.joints[joint].offset;
        length += std::hypot(double{x}, double{y}, double{z});
        if (!(length < footLength)) break;
        joint = static_cast<std::size_t>(skeleton.joints[joint].parent);
    }
    return joint;
}

/// The value below which so large a part of the finite values is; infinite where there are none.
double Quantile(std::vector<double> values, double part)
{
    std::erase_if(values, [](double value) { return !std::isfinite(value); });
    if (values.empty()) return std::numeric_limits<double>::infinity();
    const auto place =
        values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

}  // namespace

FigureTracks::FigureTracks(const Skeleton& skeleton) : mSkeleton(skeleton)
{
    mJoints = Named(skeleton, {"foot", "ankle"});
    if (mJoints.empty()) mJoints = Named(skeleton, {"toe"});
    mAreNamed = !mJoints.empty();
    if (!mAreNamed) mJoints = Ends(skeleton);
    mTracks.resize(mJoints.size());
}

void FigureTracks::Add(YTime time, const std::vector<Placement>& places)
{
    mTimes.push_back(time);
    for (std::size_t i = 0; i < mJoints.size(); ++i) {
        const YgeVector& at = places[mJoints[i]].origin;
        mTracks[i].push_back({static_cast<float>(at.x), static_cast<float>(at.y), static_cast<float>(at.z)});
    }
    YgeVector least = places.front().origin;
    YgeVector most = least;
    for (const Placement& place : places) {
        const YgeVector& at = place.origin;
        least = {std::min(least.x, at.x), std::min(least.y, at.y), std::min(least.z, at.z)};
        most = {std::max(most.x, at.x), std::max(most.y, at.y), std::max(most.z, at.z)};
    }
    mExtents[0].push_back(most.x - least.x);
    mExtents[1].push_back(most.y - least.y);
    mExtents[2].push_back(most.z - least.z);
}

std::vector<double> FigureTracks::HeightsOf(std::size_t track, Axis up) const
{
    std::vector<double> heights;
    heights.reserve(mTimes.size());
    for (const Point& point : mTracks[track]) heights.push_back(double{point[static_cast<std::size_t>(up)]});
    return heights;
}

/// Of the ends of all chains keeps those that are feet, one for each.
void FigureTracks::KeepLegs(StandingFigure& figure) const
{
    double lowest = std::numeric_limits<double>::infinity();
    std::vector<double> heights;
    for (const Foot& foot : figure.feet) {
        heights.push_back(Quantile(HeightsOf(foot.track, figure.up), 0.5));
        lowest = std::min(lowest, heights.back());
    }
    std::vector<std::size_t> taken;
    std::erase_if(figure.feet, [&](const Foot& foot) {
        if (!(heights[foot.track] <= lowest + kLegHeight * figure.height)) return true;
        const std::size_t top = TopOfFoot(mSkeleton, foot.joint, kFootLength * figure.height);
        if (std::find(taken.begin(), taken.end(), top) != taken.end()) return true;
        taken.push_back(top);
        return false;
    });
}

/// In lengths a second; 0 where there is one time only.
double FigureTracks::SpeedAt(std::size_t track, std::size_t i) const
{
    std::size_t first = i > 0 ? i - 1 : i;
    std::size_t last = std::min(i + 1, mTimes.size() - 1);
    while (first > 0 && mTimes[first - 1] >= mTimes[i] - kSpeedReach) --first;
    while (last + 1 < mTimes.size() && mTimes[last + 1] <= mTimes[i] + kSpeedReach) ++last;
    if (first == last) return 0.0;
    const Point& a = mTracks[track][first];
    const Point& b = mTracks[track][last];
    const double way =
        std::hypot(double{b[0]} - double{a[0]}, double{b[1]} - double{a[1]}, double{b[2]} - double{a[2]});
    return way / (mTimes[last] - mTimes[first]).GetSecondDouble();
}

std::vector<Contact> FigureTracks::ContactsOf(std::size_t track, const StandingFigure& figure) const
{
    const std::vector<double> heights = HeightsOf(track, figure.up);
    const double highest = Quantile(heights, 0.05) + kStandingHeight * figure.height;
    const auto stands = [&](std::size_t i) {
        return heights[i] <= highest && SpeedAt(track, i) < kStandingSpeed * figure.height;
    };
    std::vector<Contact> contacts;
    for (std::size_t i = 0; i < mTimes.size(); ++i) {
        if (!stands(i)) continue;
        const YTime start = mTimes[i];
        while (i + 1 < mTimes.size() && stands(i + 1)) ++i;
        if (mTimes[i] - start >= kShortestContact) contacts.push_back({start, mTimes[i]});
    }
    return contacts;
}

StandingFigure FigureTracks::Find() const
{
    StandingFigure figure;
    const double alongY = Quantile(mExtents[1], 0.5);
    const double alongZ = Quantile(mExtents[2], 0.5);
    figure.up = alongZ > alongY ? Axis::Z : Axis::Y;
    figure.height = std::max(alongY, alongZ);
    if (!std::isfinite(figure.height) || figure.height <= 0) return {};
    for (std::size_t i = 0; i < mJoints.size(); ++i) figure.feet.push_back({mJoints[i], i, {}});
    if (!mAreNamed) KeepLegs(figure);
    for (Foot& foot : figure.feet) foot.contacts = ContactsOf(foot.track, figure);
    return figure;
}

double FigureTracks::SlideOf(const Foot& foot, const Contact& contact, Axis up) const
{
    const std::size_t a = up == Axis::Y ? 2 : 1;  // the ground is spanned by X and this axis
    const auto start = std::lower_bound(mTimes.begin(), mTimes.end(), contact.start);
    double farthest = 0;
    std::optional<Point> from;
    for (auto time = start; time != mTimes.end() && *time <= contact.stop; ++time) {
        const Point& at = mTracks[foot.track][static_cast<std::size_t>(time - mTimes.begin())];
        if (!from) from = at;
        const double way = std::hypot(double{at[0]} - double{(*from)[0]}, double{at[a]} - double{(*from)[a]});
        farthest = way <= farthest ? farthest : way;  // what is no number stays
    }
    return farthest;
}

StandingFigure FindContacts(const Scene& scene, std::span<const YTime> times)
{
    WorldPoses poses(scene);
    FigureTracks tracks(scene.skeleton);
    for (const YTime time : times) tracks.Add(time, poses.PlacesAt(time));
    return tracks.Find();
}

}  // namespace ymotion
