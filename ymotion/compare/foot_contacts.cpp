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

/// Whether one of the words is in a name, in small letters or capitals. Namespaces ("Bigfoot:Hips") do not count.
bool HasWord(std::string_view name, std::initializer_list<std::string_view> words)
{
    name.remove_prefix(name.rfind(':') + 1);
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

/// What is looked at of the joints with one of the words in their names: of several along one chain the highest,
/// but none from which chains with such joints part.
std::vector<std::size_t> Named(const Skeleton& skeleton, std::initializer_list<std::string_view> words)
{
    const std::vector<Joint>& joints = skeleton.joints;
    std::vector<bool> isNamed(joints.size());
    std::vector<std::size_t> feet(joints.size());  // at each joint and below
    for (std::size_t i = joints.size(); i-- > 0;) {
        isNamed[i] = feet[i] < 2 && !joints[i].endSite && HasWord(joints[i].name, words);
        if (isNamed[i]) feet[i] = 1;
        if (joints[i].parent >= 0) feet[static_cast<std::size_t>(joints[i].parent)] += feet[i];
    }
    std::vector<std::size_t> named;
    std::vector<bool> isBelow(joints.size());
    for (std::size_t i = 0; i < joints.size(); ++i) {
        isBelow[i] = joints[i].parent >= 0 && isBelow[static_cast<std::size_t>(joints[i].parent)];
        if (isBelow[i] || !isNamed[i]) continue;
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

/// The joint from which the chains to all of these part; the first of the skeleton for one alone.
std::size_t PartingOf(const Skeleton& skeleton, const std::vector<std::size_t>& joints)
{
    if (joints.size() < 2) return 0;
    std::size_t parting = joints.front();
    for (std::size_t other : joints) {
        while (other != parting) {
            // Parents come before their children.
            std::size_t& lower = other > parting ? other : parting;
            if (skeleton.joints[lower].parent < 0) return 0;
            lower = static_cast<std::size_t>(skeleton.joints[lower].parent);
        }
    }
    return parting;
}

/// Whether both joints are less than the length of a foot away from the one where their chains part.
bool AreOfOneFoot(const Skeleton& skeleton, std::size_t a, std::size_t b, double footLength)
{
    double fromA = 0;
    double fromB = 0;
    while (a != b) {
        // Parents come before their children.
        std::size_t& lower = a > b ? a : b;
        double& length = a > b ? fromA : fromB;
        const Joint& joint = skeleton.joints[lower];
        if (joint.parent < 0) return false;
        const auto& [x, y, z] = joint.offset;
        length += std::hypot(double{x}, double{y}, double{z});
        lower = static_cast<std::size_t>(joint.parent);
    }
    return fromA < footLength && fromB < footLength;
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
    mHips = PartingOf(skeleton, mJoints);
    mTracks.resize(mJoints.size());
}

void FigureTracks::Add(YTime time, const std::vector<Placement>& places)
{
    mTimes.push_back(time);
    for (std::size_t i = 0; i < mJoints.size(); ++i) {
        const YgeVector& at = places[mJoints[i]].origin;
        mTracks[i].push_back({static_cast<float>(at.x), static_cast<float>(at.y), static_cast<float>(at.z)});
    }
    AddDepths(places[mHips].origin);
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

/// How far below the hips the feet are, if up were along Y, and along Z: at least two of them, as a tail may be longer
/// than legs are high, and as one foot is behind in a stride.
void FigureTracks::AddDepths(const YgeVector& hips)
{
    if (mJoints.empty()) return;
    const auto depth = [this](std::size_t axis, double from) {
        double deepest = -std::numeric_limits<double>::infinity();
        double second = deepest;
        for (const std::vector<Point>& track : mTracks) {
            const double each = from - double{track.back()[axis]};
            second = std::max(second, std::min(deepest, each));
            deepest = std::max(deepest, each);
        }
        return mTracks.size() > 1 ? second : deepest;
    };
    mDepthsAlongY.push_back(depth(1, hips.y));
    mDepthsAlongZ.push_back(depth(2, hips.z));
}

std::vector<double> FigureTracks::HeightsOf(std::size_t track, Axis up) const
{
    std::vector<double> heights;
    heights.reserve(mTimes.size());
    for (const Point& point : mTracks[track]) heights.push_back(double{point[static_cast<std::size_t>(up)]});
    return heights;
}

/// Of the ends of all chains keeps those that are low.
void FigureTracks::KeepLowest(StandingFigure& figure) const
{
    double lowest = std::numeric_limits<double>::infinity();
    std::vector<double> heights;
    for (const Foot& foot : figure.feet) {
        heights.push_back(Quantile(HeightsOf(foot.track, figure.up), 0.5));
        lowest = std::min(lowest, heights.back());
    }
    std::erase_if(figure.feet, [&](const Foot& foot) {
        return !(heights[foot.track] <= lowest + kLegHeight * figure.height);
    });
}

/// Of what is looked at of one foot keeps the first.
void FigureTracks::KeepOneForEachFoot(StandingFigure& figure) const
{
    std::vector<Foot> kept;
    for (const Foot& foot : figure.feet) {
        const bool isKept = std::any_of(kept.begin(), kept.end(), [&](const Foot& other) {
            return AreOfOneFoot(mSkeleton, foot.joint, other.joint, kFootLength * figure.height);
        });
        if (!isKept) kept.push_back(foot);
    }
    figure.feet = std::move(kept);
}

/// At each time, in lengths a second; 0 where there is one time only.
std::vector<double> FigureTracks::SpeedsOf(std::size_t track) const
{
    const std::size_t count = mTimes.size();
    std::vector<double> speeds(count);
    if (count < 2) return speeds;
    const auto length = [this](std::size_t from, std::size_t to) {
        return TimeSpan{mTimes[from], mTimes[to]}.Length();
    };
    std::size_t low = 0;  // the first and last time within reach
    std::size_t high = 0;
    for (std::size_t i = 0; i < count; ++i) {
        while (length(low, i) > kSpeedReach) ++low;
        while (high + 1 < count && length(i, high + 1) <= kSpeedReach) ++high;
        const std::size_t first = i > 0 ? std::min(low, i - 1) : low;
        const std::size_t last = std::min(std::max(high, i + 1), count - 1);
        const Point& a = mTracks[track][first];
        const Point& b = mTracks[track][last];
        const double way =
            std::hypot(double{b[0]} - double{a[0]}, double{b[1]} - double{a[1]}, double{b[2]} - double{a[2]});
        speeds[i] = way / length(first, last).GetSecondDouble();
    }
    return speeds;
}

std::vector<Contact> FigureTracks::ContactsOf(std::size_t track, const StandingFigure& figure) const
{
    const std::vector<double> heights = HeightsOf(track, figure.up);
    const double highest = Quantile(heights, 0.05) + kStandingHeight * figure.height;
    const std::vector<double> speeds = SpeedsOf(track);
    const auto stands = [&](std::size_t i) {
        return heights[i] <= highest && speeds[i] < kStandingSpeed * figure.height;
    };
    std::vector<Contact> contacts;
    for (std::size_t i = 0; i < mTimes.size(); ++i) {
        if (!stands(i)) continue;
        const YTime start = mTimes[i];
        while (i + 1 < mTimes.size() && stands(i + 1)) ++i;
        const Contact standing{start, mTimes[i]};
        if (standing.Length() >= kShortestContact) contacts.push_back(standing);
    }
    return contacts;
}

StandingFigure FigureTracks::Find() const
{
    StandingFigure figure;
    const bool isZUp = Quantile(mDepthsAlongZ, 0.5) > Quantile(mDepthsAlongY, 0.5);
    figure.up = isZUp ? Axis::Z : Axis::Y;
    figure.height = Quantile(mExtents[static_cast<std::size_t>(figure.up)], 0.5);
    if (!std::isfinite(figure.height) || figure.height <= 0) return {};
    for (std::size_t i = 0; i < mJoints.size(); ++i) figure.feet.push_back({mJoints[i], i, {}});
    if (!mAreNamed) KeepLowest(figure);
    KeepOneForEachFoot(figure);
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
        if (!std::isfinite(way)) return std::numeric_limits<double>::infinity();
        farthest = std::max(farthest, way);
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
