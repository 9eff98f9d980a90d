#include "ymotion/compare/world_errors.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ymotion/scene/vectors.h"
#include "ymotion/text/stopping.h"

namespace ymotion {

double PlaceError(const YgeVector& was, const YgeVector& is)
{
    const double distance = Distance(was, is);
    if (std::isfinite(distance)) return distance;
    const bool wasFinite = std::isfinite(was.x) && std::isfinite(was.y) && std::isfinite(was.z);
    return wasFinite ? std::numeric_limits<double>::infinity() : 0.0;
}

namespace {

FootSlide SlideOf(const Foot& foot, const Skeleton& skeleton, const FigureTracks& before,
                  const FigureTracks& after, Axis up)
{
    FootSlide slide;
    slide.joint = foot.joint;
    slide.name = JointTitle(skeleton, foot.joint);
    slide.contacts = foot.contacts.size();
    for (const Contact& contact : foot.contacts) {
        const double length = after.SlideOf(foot, contact, up);
        slide.seconds += contact.Length().GetSecondDouble();
        slide.before += before.SlideOf(foot, contact, up);
        slide.after += length;
        if (&contact != &foot.contacts.front() && !(length > slide.largest)) continue;
        slide.largest = length;
        slide.when = contact.start;
    }
    return slide;
}

}  // namespace

void JointError::Add(YTime time, const YgeVector& before, const YgeVector& after)
{
    const double distance = PlaceError(before, after);
    if (times == 0 || distance > largest) {
        largest = distance;
        when = time;
    }
    sum += distance;
    ++times;
}

const JointError* WorldErrors::Worst() const
{
    const auto worst =
        std::max_element(joints.begin(), joints.end(),
                         [](const JointError& a, const JointError& b) { return a.largest < b.largest; });
    return worst != joints.end() ? &*worst : nullptr;
}

double WorldErrors::Mean() const
{
    double sum = 0;
    for (const JointError& joint : joints) sum += joint.Mean();
    return joints.empty() ? 0.0 : sum / static_cast<double>(joints.size());
}

WorldErrors MeasureWorld(const Skeleton& skeleton, WorldPoses& before, WorldPoses& after,
                         std::span<const YTime> times, const std::optional<TimeSpan>& ofFeet)
{
    const auto placesOf = [](WorldPoses& poses) {
        return [&poses](YTime time) -> const std::vector<Placement>& { return poses.PlacesAt(time); };
    };
    return MeasureWorld(skeleton, placesOf(before), placesOf(after), times, ofFeet);
}

WorldErrors MeasureWorld(const Skeleton& skeleton, const PlacesOverTime& before, const PlacesOverTime& after,
                         std::span<const YTime> times, const std::optional<TimeSpan>& ofFeet)
{
    WorldErrors errors;
    for (std::size_t i = 0; i < skeleton.joints.size(); ++i) {
        errors.joints.emplace_back();
        errors.joints.back().joint = i;
        errors.joints.back().name = JointTitle(skeleton, i);
    }
    FigureTracks was(skeleton);
    FigureTracks is(skeleton);
    for (const YTime time : times) {
        StopIfAsked();
        const std::vector<Placement>& old = before(time);
        const std::vector<Placement>& now = after(time);
        if (!ofFeet || (time >= ofFeet->start && time <= ofFeet->stop)) {
            was.Add(time, old);
            is.Add(time, now);
        }
        for (JointError& joint : errors.joints)
            joint.Add(time, old[joint.joint].origin, now[joint.joint].origin);
    }
    const StandingFigure figure = was.Find();
    errors.height = figure.height;
    errors.up = figure.up;
    for (const Foot& foot : figure.feet) errors.feet.push_back(SlideOf(foot, skeleton, was, is, figure.up));
    return errors;
}

}  // namespace ymotion
