// Reduction by recursive subdivision: the whole span as one cubic segment, split at the key that it misses
// most, and so on with both parts. The scheme is that of Ramer, "An Iterative Procedure for the Polygonal
// Approximation of Plane Curves", 1972, and Douglas and Peucker, "Algorithms for the Reduction of the Number
// of Points Required to Represent a Digitized Line or its Caricature", 1973, with Hermite segments in place
// of chords and the distance measured in value.

#include <algorithm>
#include <utility>
#include <vector>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/segment.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/filters/keys/farthestkey.h"
#include "yfcurve/yfcurvefilterkeyreducer.h"
#include "yfcurve/yfcurvefilterkeysync.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurveutils.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged"};

// Ranges this deep in the subdivision and deeper report no progress: they are too many and too short.
constexpr int kProgressDepth = 10;

YFCurveKey CubicKey(const YFCurve& source, int index, unsigned tangentMode, float right, float nextLeft)
{
    YFCurveKey key;
    key.Set(source.KeyGetTime(index), source.KeyGetValue(index), YFCURVE_INTERP_CUBIC, tangentMode, right,
            nextLeft, YFCURVE_WEIGHT_NONE, YFCURVE_DEFAULT_WEIGHT, YFCURVE_DEFAULT_WEIGHT,
            YFCURVE_DEFAULT_VELOCITY, YFCURVE_DEFAULT_VELOCITY);
    return key;
}

// Puts key `middle` of the source in place of the last key of the reduced curve, so that the reduced curve
// ends there. The slope with which the segment arrived at the last key goes on to the new one.
// \return  the key that was last.
YFCurveKey EndAt(const YFCurve& source, YFCurve& reduced, int middle)
{
    const int end = reduced.KeyGetCount() - 1;
    const YFCurveKey lastKey = reduced.KeyGet(end);
    const float right = source.KeyGetRightDerivative(middle);
    const float left = source.KeyGetLeftDerivative(middle);
    const unsigned mode = right == left ? YFCURVE_TANGENT_USER : YFCURVE_TANGENT_USER_BREAK;
    const float nextLeft = reduced.KeyGetDataDouble(end - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE);
    reduced.KeySetDataDouble(end - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, left);
    // Not set over the last one: words that compare equal would stay, and there are two zeros.
    reduced.KeyRemove(end);
    reduced.KeyAdd(source.KeyGetTime(middle), CubicKey(source, middle, mode, right, nextLeft));
    return lastKey;
}

// A range of source keys that has been split at one of them.
struct SplitRange
{
    enum EStep
    {
        kLeft,
        kRight,
        kDone
    };
    int first;
    int middle;
    int last;
    YFCurveKey lastKey;  // waits here until everything before it is in the reduced curve
    EStep next = kLeft;
};

}  // namespace

YClassDefinition& YFCurveFilterKeyReducer::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterKeyReducer::mPrecision>(
            "Precision", 1.0, {.minimum = 0.0, .help = "how far the curve may be from the value of a key"}),
        YPropertyOf<&YFCurveFilterKeyReducer::mKeySync>(
            "KeySync", false, {.help = "give the curves of a node keys at the same times afterwards"}),
    };
    static constinit YClassDefinition definition("YFCurveFilterKeyReducer", &YFCurveFilter::StaticClass,
                                                 {.summary = "few cubic keys in place of many",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterKeyReducer>,
                                                  .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterKeyReducer::YFCurveFilterKeyReducer() : YFCurveFilterOf("Bezier Fit/Key Reducer", kMessages, 2)
{
    Reset();
}

// --- One curve -----------------------------------------------------------------------------------------

bool YFCurveFilterKeyReducer::FilterCurve(YFCurve& curve)
{
    const int count = curve.KeyGetCount();
    if (count < 2) return NothingToDo(1, "KeyReducer, No key were changed by filter.");
    const YTime start = std::max(GetStartTime(), curve.KeyGetTime(0));
    const YTime stop = std::min(GetStopTime(), curve.KeyGetTime(count - 1));
    if (start >= stop) return Refuse(1, "KeyReducer, Invalid Time Span. No key were changed by filter.");
    return yfc::Guarded([&] {
        YFCurve reduced;
        reduced.CopyFrom(curve, false);
        if (!KeyReducer(curve, reduced, start, stop)) return false;
        const YFCurve original(curve);
        const YFCurveModify modify(curve);
        YFCurveUtils::Merge(original, reduced, curve);
        return true;
    });
}

// The first segment starts and ends with the slopes of the source. Its last key is an auto key, to which the
// stored slope is a parameter: at the end of the keys that is the way along the segment up to 500 a second,
// and above that swings out of it.
bool YFCurveFilterKeyReducer::KeyReducer(YFCurve& source, YFCurve& reduced, YTime start, YTime stop)
{
    mDepth = 0;
    const int first = std::max(yfc::LastKeyUntil(source, start), 0);
    const int last = std::min(yfc::FirstKeyFrom(source, stop), source.KeyGetCount() - 1);
    const YFCurveKey firstKey =
        CubicKey(source, first, YFCURVE_TANGENT_USER, source.KeyGetRightDerivative(first),
                 source.KeyGetLeftDerivative(last));
    const YFCurveKey lastKey = CubicKey(source, last, YFCURVE_TANGENT_AUTO, 0.0f, 0.0f);
    const YFCurveModify modify(reduced);
    reduced.KeyAdd(firstKey.GetTime(), firstKey);
    reduced.KeyAdd(lastKey.GetTime(), lastKey);
    Subdivise(source, reduced, first, last);
    return true;
}

// Goes through the ranges from left to right, depth first. The reduced curve always ends with the range at
// hand, both keys of it, so that keys are only ever added at its end; the ends of the ranges around, which
// belong behind, wait in the splits that are under way. No segment depends on a key beyond its own two, so
// each has the shape that it has in the whole curve. The splits are a stack of their own, since ranges may
// nest as deep as there are keys.
bool YFCurveFilterKeyReducer::Subdivise(YFCurve& source, YFCurve& reduced, int firstKey, int lastKey)
{
    std::vector<SplitRange> splits;
    const yfc::ValueBounds bounds(source);
    const auto split = [&](int first, int last) {
        int worst = first;
        const double error = FindMaxError(bounds, reduced, first, last, worst);
        if (!(error > mPrecision * mPrecision)) return;
        ++mDepth;
        splits.push_back({first, worst, last, EndAt(source, reduced, worst)});
    };
    // The indices themselves are what is reported, deliberately.
    const auto report = [&](int from, int to) {
        if (to - from > 1 && mDepth < kProgressDepth) UpdateProgressInformation(YTime(from), YTime(to));
    };

    split(firstKey, lastKey);
    const bool changed = !splits.empty();
    while (!splits.empty()) {
        SplitRange& range = splits.back();
        const int first = range.first;
        const int middle = range.middle;
        const int last = range.last;
        switch (std::exchange(range.next, static_cast<SplitRange::EStep>(range.next + 1))) {
            case SplitRange::kLeft:
                split(first, middle);
                break;
            case SplitRange::kRight:
                report(first, middle);
                reduced.KeyAdd(range.lastKey.GetTime(), range.lastKey);
                split(middle, last);
                break;
            case SplitRange::kDone:
                report(middle, last);
                --mDepth;
                splits.pop_back();
        }
    }
    return changed;
}

// The reduced curve ends with the two keys of the range. The first key is met exactly, the last one is not
// asked for.
double YFCurveFilterKeyReducer::FindMaxError(const yfc::ValueBounds& source, YFCurve& reduced, int firstKey,
                                             int lastKey, int& worstKey)
{
    if (lastKey - firstKey < 2) return 0.0;
    const int end = reduced.KeyGetCount() - 1;
    const yfc::CubicEnds ends{reduced.KeyGetValue(end - 1), reduced.KeyGetValue(end),
                              reduced.KeyGetRightDerivative(end - 1), reduced.KeyGetLeftDerivative(end)};
    const double ticks = yfc::Ticks(reduced.KeyGetTime(end - 1), reduced.KeyGetTime(end));
    return yfc::FindFarthestKey(source, ends, ticks, firstKey, lastKey, worstKey);
}

// --- Several curves ------------------------------------------------------------------------------------
// The curves come back through the functions above one by one or, in a tree, node by node: with the option
// off, they leave it to the outermost call to bring them in step. It is switched on again only where there
// was something to bring in step, deliberately.

bool YFCurveFilterKeyReducer::FilterCurves(YFCurve** curves, int count)
{
    const bool keySync = std::exchange(mKeySync, false);
    const bool result = YFCurveFilter::FilterCurves(curves, count);
    if (!keySync || count < 2) return result;
    YFCurveFilterKeySync synchroniser;
    synchroniser.SetStartTime(GetStartTime());
    synchroniser.SetStopTime(GetStopTime());
    synchroniser.Apply(curves, count);
    mKeySync = true;
    return result;
}

bool YFCurveFilterKeyReducer::FilterNode(YFCurveNode& node, bool recursive)
{
    const bool keySync = std::exchange(mKeySync, false);
    const bool result = YFCurveFilter::FilterNode(node, recursive);
    if (!keySync || node.GetCount() < 2) return result;
    mKeySync = true;
    if (GetOutcome() == eFilterOutcome::Locked) return result;
    YFCurveFilterKeySync synchroniser;
    synchroniser.SetStartTime(GetStartTime());
    synchroniser.SetStopTime(GetStopTime());
    synchroniser.Apply(node, recursive);
    return result;
}
