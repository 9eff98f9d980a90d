// Keys moved to frames: each to the nearest one, and one of those that come to the same.

#include <vector>

#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/filters/framework/framerate.h"
#include "yfcurve/node/curves/framegrid.h"
#include "yfcurve/yfcurvefilterkeysonframe.h"
#include "yfcurve/yfcurveptr.h"

namespace {

constexpr const char* kMessages[] = {"No key"};

struct Frames
{
    yfc::FrameGrid grid;
    YTime start;  // frames before and after these do not count
    YTime stop;

    // The nearest frame, the later of two; the time itself where there is none.
    YTime Nearest(YTime time) const
    {
        const YTime below = grid.LastUntil(time);
        const YTime above = grid.On(below, 1);
        // Beyond all time it comes out infinite, or before.
        const bool hasAbove = above > below && above < YTIME_INFINITE && above <= stop;
        if (below < start) return hasAbove ? above : time;
        return hasAbove && time - below >= above - time ? above : below;
    }
};

// The keys that come to one frame.
struct Group
{
    int first;
    int last;
    int nearest;
    YTime time;
};

// Keys that stay where they are are groups of their own.
std::vector<Group> GroupKeys(const YFCurve& curve, const Frames& frames)
{
    std::vector<Group> groups;
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const YTime time = curve.KeyGetTime(i);
        const bool moves = time >= frames.start && time <= frames.stop;
        const YTime frame = moves ? frames.Nearest(time) : time;
        if (groups.empty() || groups.back().time != frame) {
            groups.push_back({i, i, i, frame});
            continue;
        }
        Group& group = groups.back();
        const auto distance = [&](int key) {
            const YTime at = curve.KeyGetTime(key);
            return at < frame ? yfc::Ticks(at, frame) : yfc::Ticks(frame, at);
        };
        if (distance(i) < distance(group.nearest)) group.nearest = i;
        group.last = i;
    }
    return groups;
}

bool MovesNothing(const YFCurve& curve, const std::vector<Group>& groups)
{
    for (const Group& group : groups) {
        if (group.first != group.last || curve.KeyGetTime(group.first) != group.time) return false;
    }
    return true;
}

// The record of a key holds its right side and the end of its segment, so the last key of each group stands
// for the group. What is on its left comes from the group before, but for the slope where several keys met.
void Move(const YFCurve& curve, const std::vector<Group>& groups, YFCurve& moved)
{
    const YFCurveModify modify(moved, static_cast<int>(groups.size()));
    int hint = 0;
    for (const Group& group : groups) {
        YFCurveKey key = curve.KeyGet(group.last);
        key.SetValue(curve.KeyGetValue(group.nearest));
        moved.KeyAdd(group.time, key, &hint);
    }
    for (int i = 0; i < moved.KeyGetCount(); ++i) {
        const Group& group = groups[static_cast<std::size_t>(i)];
        if (group.first == group.last) continue;
        YFCurveShape::Hold(
            moved, i, {curve.KeyGetLeftDerivative(group.first), curve.KeyGetRightDerivative(group.last)});
    }
}

}  // namespace

YClassDefinition& YFCurveFilterKeysOnFrame::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterKeysOnFrame::mPeriod, &yfc::OneFrame>("Period",
                                                                        {.minimum = 0.0,
                                                                         .aboveMinimum = true,
                                                                         .unit = "s",
                                                                         .help = "from frame to frame",
                                                                         .ofFrames = true}),
    };
    static constinit YClassDefinition definition(
        "YFCurveFilterKeysOnFrame", &YFCurveFilter::StaticClass,
        {.summary = "moves keys to the nearest frame; all of them where Start and Stop are 0",
         .properties = properties,
         .create = &YCreateObject<YFCurveFilterKeysOnFrame>});
    return definition;
}

// The span stays from 0 to 0.
YFCurveFilterKeysOnFrame::YFCurveFilterKeysOnFrame() : YFCurveFilterOf("KeysOnFrame", kMessages, 1)
{
    ResetProperties(StaticClass());
}

bool YFCurveFilterKeysOnFrame::FilterCurve(YFCurve& curve)
{
    if (curve.KeyGetCount() == 0) return NothingToDo(0, "KeysOnFrame, No key to be filtered.");

    if (mPeriod <= YTIME_ZERO) return Refuse(1, "KeysOnFrame, The period is not positive.");
    Frames frames{yfc::FrameGrid(mPeriod), GetStartTime(), GetStopTime()};
    if (frames.start == YTIME_ZERO && frames.stop == YTIME_ZERO) {
        frames.start = YTIME_MINUS_INFINITE;
        frames.stop = YTIME_INFINITE;
    }
    return yfc::Guarded([&] {
        const std::vector<Group> groups = GroupKeys(curve, frames);
        if (MovesNothing(curve, groups)) return Untouched();
        YFCurve moved;
        moved.CopyFrom(curve, false);
        Move(curve, groups, moved);
        const YFCurveModify modify(curve);
        curve.CopyFrom(moved);
        return true;
    });
}

bool YFCurveFilterKeysOnFrame::FilterNode(YFCurveNode& node, bool recursive)
{
    return FilterKeyTimes(node, recursive);
}
