// A moving average; of rotations that of Markley, Cheng, Crassidis and Oshman, "Averaging Quaternions", 2007:
// the unit quaternion that is nearest to all, whatever their signs.

#include "yfcurve/filters/framework/framerate.h"
#include "yfcurve/yfcurvefiltersmooth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "ybaselib/yrotation.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/filters/smoothing/smoothingwindow.h"
#include "yfcurve/node/curves/framegrid.h"
#include "yfcurve/node/curves/resampledkey.h"
#include "yfcurve/yfcurvefiltergimblekiller.h"
#include "yfcurve/yfcurvefilterkeyreducer.h"
#include "yfcurve/yfcurvefilterunroll.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurvesettings.h"

namespace {

constexpr const char* kMessages[] = {"Error"};

constexpr int kAngles = 3;
constexpr int kMostSamples = 4096;
constexpr std::uint64_t kMostEvaluations = std::uint64_t{64} * YFCurveFilterSmooth::MaximumSamples;

YTime DefaultWidth()
{
    return YFCURVE_GetPlotPeriod() * 4;
}

// --- What is averaged ----------------------------------------------------------------------------------

// One curve.
class CurveSource
{
  public:
    static constexpr int kCount = 1;

    explicit CurveSource(const YFCurve& curve) : mCurve(curve) {}

    void Add(YTime time, double weight)
    {
        mSum += weight * mCurve.Evaluate(time, &mHint);
        mWeight += weight;
    }
    std::array<double, 1> Take(YTime)
    {
        const double average = mSum / mWeight;
        mSum = 0.0;
        mWeight = 0.0;
        return {average};
    }
    std::array<double, 1> ValuesAt(YTime time) { return {mCurve.Evaluate(time, &mHint)}; }

  private:
    const YFCurve& mCurve;
    double mSum = 0.0;
    double mWeight = 0.0;
    int mHint = 0;
};

// The sum of the outer products of quaternions. Its eigenvector of the largest eigenvalue is their average.
class QuaternionSum
{
  public:
    void Add(const YgeQuaternion& q, double weight)
    {
        const double parts[4] = {q.x, q.y, q.z, q.w};
        for (std::size_t row = 0; row < 4; ++row) {
            for (std::size_t column = 0; column < 4; ++column) {
                mSum[row][column] += weight * parts[row] * parts[column];
            }
        }
    }

    // Power iteration, from a quaternion near the average: the closer the quaternions are to each other, the
    // faster it gets there.
    YgeQuaternion Average(const YgeQuaternion& start) const
    {
        YgeQuaternion average = start;
        constexpr int mostSteps = 64;
        for (int step = 0; step < mostSteps; ++step) {
            const double p[4] = {average.x, average.y, average.z, average.w};
            double next[4] = {};
            for (std::size_t row = 0; row < 4; ++row) {
                for (std::size_t column = 0; column < 4; ++column) next[row] += mSum[row][column] * p[column];
            }
            average = YgeQuaternion(next[0], next[1], next[2], next[3]).GetNormalized();
            const double change = std::max({std::abs(average.x - p[0]), std::abs(average.y - p[1]),
                                            std::abs(average.z - p[2]), std::abs(average.w - p[3])});
            if (!(change > 1e-15)) break;
        }
        return average;
    }

  private:
    double mSum[4][4] = {};
};

// The triples of recorded angles without the jumps that wrapping them makes: by whole turns, and by flips.
// Only where keys are close is such a step a jump; angles that take their time for it do turn.
std::vector<yfc::EulerForm> WithoutJumps(const yfc::RotationKeys& keys, const ybase::AxisOrder& axes,
                                         YTime close)
{
    constexpr double noPole = -1.0;
    std::vector<yfc::EulerForm> forms;
    std::optional<yfc::EulerForm> previous;  // of the last key with numbers
    YgeRVector turns;                        // whole ones, of the key before
    YTime time;
    for (int key = 0; key < keys.GetCount(); ++key) {
        const YgeRVector angles = keys.GetAngles(key);
        yfc::EulerForm form{angles};
        const bool usable = yfc::IsUsable(angles);
        if (usable && previous) {
            form.flipped = previous->flipped;
            const YgeRVector own = form.flipped ? yfc::Flipped(angles, axes) : angles;
            form.angles = {own.x + turns.x, own.y + turns.y, own.z + turns.z};
            if (keys.GetTime(key) - time <= close)
                form = yfc::NearestForm(angles, previous->angles, axes, noPole);
        }
        forms.push_back(form);
        if (!usable) continue;
        const YgeRVector own = form.flipped ? yfc::Flipped(angles, axes) : angles;
        turns = {form.angles.x - own.x, form.angles.y - own.y, form.angles.z - own.z};
        time = keys.GetTime(key);
        previous = form;
    }
    return forms;
}

// The three angles of a rotation node, averaged one by one.
class AngleSource
{
  public:
    static constexpr int kCount = kAngles;

    explicit AngleSource(const YFCurveNode& node) : mNode(node) {}

    std::array<double, kAngles> ValuesAt(YTime time)
    {
        const YgeRVector angles = yfc::PlayedAngles(mNode, time, mHint);
        return {angles.x, angles.y, angles.z};
    }

    void Add(YTime time, double weight)
    {
        const auto angles = ValuesAt(time);
        mWeight += weight;
        for (std::size_t i = 0; i < kAngles; ++i) mAngles[i] += weight * angles[i];
    }

    std::array<double, kAngles> Take(YTime)
    {
        std::array<double, kAngles> average;
        for (std::size_t i = 0; i < kAngles; ++i) average[i] = mAngles[i] / mWeight;
        mWeight = 0.0;
        mAngles = {};
        return average;
    }

  private:
    const YFCurveNode& mNode;
    double mWeight = 0.0;
    std::array<double, kAngles> mAngles = {};
    int mHint = 0;
};

// The orientations that a rotation node plays, in either form. Each triple is the one nearest to that before.
class TurnSource
{
  public:
    static constexpr int kCount = kAngles;

    /// \param start  the triple here is the node's own.
    /// \param close  how near keys are between which angles do not turn by more than half a turn.
    TurnSource(const YFCurveNode& node, YTime start, YTime close)
        : mNode(node), mOrder(static_cast<eRotationOrder>(node.GetRotationOrder()))
    {
        mPrevious = yfc::PlayedAngles(node, start, mHint);
        if (node.GetUseQuaternion()) return;
        mKeys.emplace(node, YTIME_MINUS_INFINITE, YTIME_INFINITE);
        const ybase::AxisOrder axes = ybase::AxesOf(mOrder);
        mKeys->SetForms(WithoutJumps(*mKeys, axes, close), axes);
    }

    void Add(YTime time, double weight) { mQuaternions.Add(YgeQuaternion(AnglesAt(time), mOrder), weight); }

    // The average of what was added around a time.
    std::array<double, kAngles> Take(YTime time)
    {
        const YgeQuaternion average = mQuaternions.Average(YgeQuaternion(AnglesAt(time), mOrder));
        mQuaternions = {};
        return Nearest(YgeRVector(average, mOrder));
    }

    std::array<double, kAngles> ValuesAt(YTime time) { return Nearest(AnglesAt(time)); }

  private:
    YgeRVector AnglesAt(YTime time)
    {
        return mKeys ? mKeys->Evaluate(time, mHint) : yfc::PlayedAngles(mNode, time, mHint);
    }

    std::array<double, kAngles> Nearest(const YgeRVector& angles)
    {
        mPrevious = V2VRef(angles, mPrevious, mOrder);
        return {mPrevious.x, mPrevious.y, mPrevious.z};
    }

    const YFCurveNode& mNode;
    const eRotationOrder mOrder;
    std::optional<yfc::RotationKeys> mKeys;  // without jumps; none in quaternion form
    YgeRVector mPrevious;
    QuaternionSum mQuaternions;
    int mHint = 0;
};

using Keys = std::array<YFCurve, kAngles>;

// --- Averaging -----------------------------------------------------------------------------------------

// Writes keys with the averages into one curve for each value. False when one is not finite.
template<class Source>
bool Average(Source& source, const yfc::SmoothingWindow& window, const yfc::SmoothedSpan& span, YTime period,
             std::array<YFCurve, Source::kCount>& targets)
{
    const auto add = [&](YTime time) {
        const YTime reach = window.ReachAt(time, span);
        if (reach > YTIME_ZERO) {
            for (int i = 0; i < window.GetCount(); ++i)
                source.Add(window.TimeAt(i, time, reach), window.Weight(i));
        }
        const auto values = reach > YTIME_ZERO ? source.Take(time) : source.ValuesAt(time);
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (!(std::abs(values[i]) <= std::numeric_limits<float>::max())) return false;
            targets[i].KeyAppendFast(time, static_cast<float>(values[i]));
        }
        return true;
    };
    if (!add(span.start)) return false;
    const yfc::FrameGrid grid(period);
    const YTime before = grid.LastUntil(span.start);
    const auto count = static_cast<std::int64_t>(grid.CountBetween(before, span.stop));
    for (std::int64_t i = 1; i <= count; ++i) {
        const YTime time = grid.On(before, i);
        if (time < span.stop && !add(time)) return false;
    }
    return span.start == span.stop || add(span.stop);
}

// Exchanges a span of a curve for smooth keys. Where it begins or ends with the curve itself nothing is
// outside that could need a key to hold it.
void Exchange(YFCurve& curve, const YFCurve& keys, const yfc::SmoothedSpan& span)
{
    const int last = curve.KeyGetCount() - 1;
    const bool fromFirst = last < 0 || span.start <= curve.KeyGetTime(0);
    const bool toLast = last < 0 || span.stop >= curve.KeyGetTime(last);
    curve.Replace(keys, fromFirst ? YTIME_MINUS_INFINITE : span.start, toLast ? YTIME_INFINITE : span.stop);
}

// Triples that go on from each other may end whole turns away from the keys behind the span. There, a key a
// tick later is what it was, and the slopes do not see the jump. \return  the span with that key.
yfc::SmoothedSpan JoinWhatFollows(const YFCurveNode& rotation, const yfc::SmoothedSpan& span, Keys& keys)
{
    constexpr double quarter = 90.0;
    if (span.stop >= rotation.GetLastKeyTime()) return span;
    int hint = 0;
    const YTime next = span.stop + YTIME_ONE_TICK;
    const YgeRVector angles = yfc::PlayedAngles(rotation, next, hint);
    const int last = keys[0].KeyGetCount() - 1;
    double largest = 0.0;
    for (int axis = 0; axis < kAngles; ++axis) {
        const double end = keys[static_cast<std::size_t>(axis)].KeyGetValue(last);
        largest = std::max(largest, std::abs(end - angles[axis]));
    }
    if (largest < quarter) return span;
    for (int axis = 0; axis < kAngles; ++axis) {
        YFCurve& curve = keys[static_cast<std::size_t>(axis)];
        const float slope = curve.KeyGetLeftDerivative(last);
        curve.KeyAppendFast(next, static_cast<float>(angles[axis]));
        YFCurveShape::Hold(curve, last, {slope, slope});
    }
    return {span.start, next};
}

}  // namespace

YClassDefinition& YFCurveFilterSmooth::StaticClass()
{
    using Filter = YFCurveFilterSmooth;
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&Filter::mWidth, &DefaultWidth>(
            "Width",
            {.minimum = 0.0, .unit = "s", .help = "length of the window that is averaged", .ofFrames = true}),
        YPropertyOf<&Filter::mSampleCount>(
            "SampleCount", 8, {.minimum = 1, .maximum = kMostSamples, .help = "equal parts of the window"}),
        YPropertyOf<&Filter::mFramePeriod, &yfc::OneFrame>("FramePeriod", {.minimum = 0.0,
                                                                           .aboveMinimum = true,
                                                                           .unit = "s",
                                                                           .help = "time from key to key",
                                                                           .ofFrames = true}),
        YPropertyOf<&Filter::mApplyGimbleKiller>("ApplyGimbleKiller", false,
                                                 {.help = "whether angles are freed of gimbal flips before"}),
        YPropertyOf<&Filter::mApplyUnroller>("ApplyUnroller", false,
                                             {.help = "whether angles are unrolled before"}),
        YPropertyOf<&Filter::mApplyKeyReducer>("ApplyKeyReducer", false,
                                               {.help = "whether keys are reduced afterwards"}),
        YPropertyOf<&Filter::mUseQuaternion>("UseQuaternion", true,
                                             {.help = "whether rotations are averaged as a whole"}),
    };
    static constinit YClassDefinition definition("YFCurveFilterSmooth", &YFCurveFilter::StaticClass,
                                                 {.summary = "smooths curves and rotations by averaging",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterSmooth>,
                                                  .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterSmooth::YFCurveFilterSmooth() : YFCurveFilterOf("FCurve Smooth", kMessages, 1)
{
    Reset();
}

// The span within the keys, provided that the parameters make something of it.
bool YFCurveFilterSmooth::FindSpan(YTime firstKey, YTime lastKey, yfc::SmoothedSpan& span)
{
    span = {std::max(GetStartTime(), firstKey), std::min(GetStopTime(), lastKey)};
    if (span.start > span.stop || mWidth < YTIME_ZERO || mFramePeriod <= YTIME_ZERO) return false;
    if (mSampleCount < 1 || mSampleCount > kMostSamples) return false;
    const std::uint64_t keys = yfc::PeriodsBetween(span.start, span.stop, mFramePeriod) + 2;
    return keys <= std::uint64_t{MaximumSamples} &&
           keys * static_cast<std::uint64_t>(mSampleCount) <= kMostEvaluations;
}

// Averages what a source shows into keys for one or more curves.
template<class Source, class Targets>
bool YFCurveFilterSmooth::Smooth(Source&& source, const yfc::SmoothedSpan& span, Targets& keys) const
{
    if (!Average(source, yfc::SmoothingWindow(mWidth, mSampleCount), span, mFramePeriod, keys)) return false;
    YFCurveFilterKeyReducer reducer;
    for (YFCurve& curve : keys) {
        if (mApplyKeyReducer) reducer.Apply(curve);
    }
    return true;
}

bool YFCurveFilterSmooth::FilterCurve(YFCurve& curve)
{
    const int count = curve.KeyGetCount();
    yfc::SmoothedSpan span;
    if (count == 0) return NothingToDo(0);
    if (!FindSpan(curve.KeyGetTime(0), curve.KeyGetTime(count - 1), span)) return Refuse(0);
    if (span.start == span.stop) return Untouched();
    std::array<YFCurve, 1> keys;
    if (!Smooth(CurveSource(curve), span, keys)) return Refuse(0);
    Exchange(curve, keys[0], span);
    return true;
}

bool YFCurveFilterSmooth::FilterNode(YFCurveNode& node, bool recursive)
{
    if (!node.IsRotationLayerType() || !yfc::FindRotationCurves(node))
        return YFCurveFilter::FilterNode(node, recursive);
    if (yfc::IsRotationLocked(node)) return Locked();
    if (node.KeyGetCount() == 0) return NothingToDo(0);
    const bool becomesAngles = yfc::IsQuaternionRotation(node) && (!mUseQuaternion || mApplyKeyReducer);
    if (!becomesAngles) return SmoothRotation(node) || Refuse(0);
    const bool isSmoothed =
        FilterAsAngles(node, [this](YFCurveNode& angles) { return SmoothRotation(angles); });
    if (isSmoothed || GetOutcome() == eFilterOutcome::Locked) return isSmoothed;
    return Refuse(0);
}

bool YFCurveFilterSmooth::SmoothRotation(YFCurveNode& node)
{
    yfc::SmoothedSpan span;
    if (!FindSpan(node.GetFirstKeyTime(), node.GetLastKeyTime(), span)) return false;
    if (span.start == span.stop) return Untouched();
    const bool cleans = !mUseQuaternion && (mApplyGimbleKiller || mApplyUnroller);
    const YFCurveNodePtr copy(cleans ? node.SingleLayerCopy() : nullptr);
    if (copy) Clean(*copy);
    Keys keys;
    const bool averaged = mUseQuaternion ? Smooth(TurnSource(node, span.start, CloseTogether()), span, keys)
                                         : Smooth(AngleSource(copy ? *copy : node), span, keys);
    if (!averaged) return false;
    const yfc::RotationCurves curves = *yfc::FindRotationCurves(node);
    if (yfc::IsQuaternionRotation(node)) {
        yfc::ExchangeSpan(curves, yfc::SynchronizedTurns(node, {span.start, span.stop}), keys, span.start,
                          span.stop);
        return true;
    }
    if (mUseQuaternion) span = JoinWhatFollows(node, span, keys);
    for (std::size_t axis = 0; axis < curves.size(); ++axis) {
        const YFCurveModify modify(*curves[axis]);
        Exchange(*curves[axis], keys[axis], span);
    }
    return true;
}

// Keys so near count as frames of one recording.
YTime YFCurveFilterSmooth::CloseTogether() const
{
    constexpr std::int64_t frames = 4;
    return std::min(yfc::FrameGrid(mFramePeriod).Longest(), YTIME_INFINITE / frames) * frames;
}

// What the two filters refuse, they leave as it is.
void YFCurveFilterSmooth::Clean(YFCurveNode& node)
{
    const auto apply = [&](YFCurveFilter&& filter) {
        filter.SetStartTime(GetStartTime());
        filter.SetStopTime(GetStopTime());
        filter.Apply(node, false);
    };
    if (mApplyGimbleKiller) apply(YFCurveFilterGimbleKiller());
    if (mApplyUnroller) apply(YFCurveFilterUnroll());
}
