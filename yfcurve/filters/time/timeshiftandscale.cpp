#include <vector>

#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefiltertimeshiftandscale.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged"};
constexpr const char* kUnchanged = "TimeShiftAndScaleFilter, No key were changed by filter.";

}  // namespace

YClassDefinition& YFCurveFilterTimeShiftAndScale::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterTimeShiftAndScale::mShift>(
            "Shift", YTIME_ZERO,
            {.unit = "s", .help = "how much later keys move, before scaling", .needed = true}),
        YPropertyOf<&YFCurveFilterTimeShiftAndScale::mScale>(
            "Scale", 1.0,
            {.help = "the factor of their distance from time 0; 0 and less count as 1", .needed = true})};
    static constinit YClassDefinition definition("YFCurveFilterTimeShiftAndScale",
                                                 &YFCurveFilter::StaticClass,
                                                 {.summary = "moves and stretches keys in time",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterTimeShiftAndScale>});
    return definition;
}

// The span stays as the base makes it, so this is no `Reset`.
YFCurveFilterTimeShiftAndScale::YFCurveFilterTimeShiftAndScale()
    : YFCurveFilterOf("TimeShiftAndScaleFilter", kMessages, 2)
{
    ResetProperties(StaticClass());
}

// False for a time that leaves the range.
bool YFCurveFilterTimeShiftAndScale::TimeAfter(YTime time, YTime& moved) const
{
    std::int64_t ticks = 0;
    if (__builtin_add_overflow(time.Get(), mShift.Get(), &ticks)) return false;
    moved = YTime(ticks);
    if (mScale > 0.0 && mScale != 1.0) moved = YTime::FromSeconds(moved.GetSecondDouble() * mScale);
    return moved > YTIME_MINUS_INFINITE && moved < YTIME_INFINITE;
}

// False also after a change, deliberately.
bool YFCurveFilterTimeShiftAndScale::Apply(YFCurve& curve)
{
    YFCurveFilterOf::Apply(curve);
    return false;
}

void YFCurveFilterTimeShiftAndScale::Reset()
{
    // The span alone: shift and scale stay, deliberately.
    YFCurveFilter::Reset();  // NOLINT(bugprone-parent-virtual-call)
}

bool YFCurveFilterTimeShiftAndScale::FilterCurve(YFCurve& curve)
{
    const bool scales = mScale > 0.0 && mScale != 1.0;
    if (!scales && mShift == YTIME_ZERO) return NothingToDo(1, kUnchanged);
    const int count = curve.KeyGetCount();
    if (count == 0) return NothingToDo(0, "TimeShiftAndScaleFilter, No key to be filtered.");
    std::vector<YTime> times;
    times.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        YTime moved;
        if (!TimeAfter(curve.KeyGetTime(i), moved) || (i > 0 && moved <= times.back()))
            return Refuse(1, kUnchanged);
        times.push_back(moved);
    }
    curve.KeyModifyBegin();
    for (int i = 0; i < count; ++i) curve.KeySetTime(i, times[static_cast<std::size_t>(i)]);
    curve.KeyModifyEnd();
    return true;
}

bool YFCurveFilterTimeShiftAndScale::FilterNode(YFCurveNode& node, bool recursive)
{
    return FilterKeyTimes(node, recursive);
}
