// A moving average; of rotations that of Markley, Cheng, Crassidis and Oshman, "Averaging Quaternions", 2007:
// the unit quaternion that is nearest to all, whatever their signs.

#include "yfcurve/filters/oneframe.h"
#include "yfcurve/yfcurvefiltersmooth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>

#include "ybaselib/yrotation.h"
#include "yfcurve/filters/smoothingwindow.h"
#include "yfcurve/node/keykind.h"
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

// The three angles of a rotation node.
class RotationSource
{
  public:
    static constexpr int kCount = kAngles;

    RotationSource(const YFCurveNode& node, bool useQuaternion)
        : mNode(node),
          mOrder(static_cast<eRotationOrder>(node.GetRotationOrder())),
          mUseQuaternion(useQuaternion)
    {}

    std::array<double, kAngles> ValuesAt(YTime time)
    {
        std::array<double, kAngles> angles;
        for (int i = 0; i < kAngles; ++i) {
            angles[static_cast<std::size_t>(i)] = mNode.Get(i)->FCurveGet()->Evaluate(time, &mHint);
        }
        if (mNode.GetUseQuaternion()) mNode.Evaluate(angles.data(), time, &mHint);
        return angles;
    }

    void Add(YTime time, double weight)
    {
        const auto angles = ValuesAt(time);
        mWeight += weight;
        for (std::size_t i = 0; i < kAngles; ++i) mAngles[i] += weight * angles[i];
        if (mUseQuaternion) mQuaternions.Add(QuaternionOf(angles), weight);
    }

    // The average of what was added around a time.
    std::array<double, kAngles> Take(YTime time)
    {
        std::array<double, kAngles> average;
        for (std::size_t i = 0; i < kAngles; ++i) average[i] = mAngles[i] / mWeight;
        if (mUseQuaternion) {
            const auto old = ValuesAt(time);
            const YgeRVector angles(mQuaternions.Average(QuaternionOf(old)), mOrder);
            const YgeRVector nearest = V2VRef(angles, {old[0], old[1], old[2]}, mOrder);
            average = {nearest.x, nearest.y, nearest.z};
        }
        mWeight = 0.0;
        mAngles = {};
        mQuaternions = {};
        return average;
    }

  private:
    YgeQuaternion QuaternionOf(const std::array<double, kAngles>& angles) const
    {
        return YgeQuaternion(YgeRVector(angles[0], angles[1], angles[2]), mOrder);
    }

    const YFCurveNode& mNode;
    eRotationOrder mOrder;
    bool mUseQuaternion;
    double mWeight = 0.0;
    std::array<double, kAngles> mAngles = {};
    QuaternionSum mQuaternions;
    int mHint = 0;
};

// --- Averaging -----------------------------------------------------------------------------------------

// Writes keys with the averages into one curve for each value. False when one is not finite.
template<class Source>
bool Average(Source& source, const yfc::SmoothingWindow& window, const yfc::SmoothedSpan& span, YTime period,
             YFCurve* targets)
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
    const YTime before = yfc::LastMultipleUntil(span.start, period);
    const auto count = static_cast<std::int64_t>(yfc::PeriodsBetween(before, span.stop, period));
    for (std::int64_t i = 1; i <= count; ++i) {
        const YTime time = before + period * i;
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

bool IsRotation(const YFCurveNode& node)
{
    if (!node.IsRotationLayerType() || node.GetCount() != kAngles) return false;
    for (int i = 0; i < kAngles; ++i) {
        if (node.Get(i)->FCurveGet() == nullptr) return false;
    }
    return true;
}

bool IsLocked(const YFCurveNode& rotation)
{
    if (rotation.IsNodeLocked()) return true;
    for (int i = 0; i < kAngles; ++i) {
        if (rotation.Get(i)->IsNodeLocked() || rotation.Get(i)->FCurveGet()->IsLocked()) return true;
    }
    return false;
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
        YPropertyOf<&Filter::mApplyGimbleKiller>(
            "ApplyGimbleKiller", false, {.help = "whether rotations are freed of gimbal flips before"}),
        YPropertyOf<&Filter::mApplyUnroller>("ApplyUnroller", false,
                                             {.help = "whether rotations are unrolled before"}),
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

// Averages what a source shows into keys for one or more curves, whose spans they replace.
template<class Source>
bool YFCurveFilterSmooth::Smooth(Source& source, const yfc::SmoothedSpan& span, YFCurve* const* curves)
{
    YFCurve keys[Source::kCount];
    if (!Average(source, yfc::SmoothingWindow(mWidth, mSampleCount), span, mFramePeriod, keys)) return false;
    YFCurveFilterKeyReducer reducer;
    for (YFCurve& curve : keys) {
        if (mApplyKeyReducer) reducer.Apply(curve);
    }
    for (int i = 0; i < Source::kCount; ++i) {
        const YFCurveModify modify(*curves[i]);
        Exchange(*curves[i], keys[i], span);
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
    try {
        CurveSource source(curve);
        YFCurve* const target = &curve;
        return Smooth(source, span, &target) || Refuse(0);
    } catch (const std::bad_alloc&) {
        return Refuse(0);
    }
}

bool YFCurveFilterSmooth::FilterNode(YFCurveNode& node, bool recursive)
{
    if (!IsRotation(node)) return YFCurveFilter::FilterNode(node, recursive);
    if (IsLocked(node)) return Locked();
    if (node.KeyGetCount() == 0) return NothingToDo(0);
    try {
        return SmoothRotation(node) || Refuse(0);
    } catch (const std::bad_alloc&) {
        return Refuse(0);
    }
}

bool YFCurveFilterSmooth::SmoothRotation(YFCurveNode& node)
{
    yfc::SmoothedSpan span;
    if (!FindSpan(node.GetFirstKeyTime(), node.GetLastKeyTime(), span)) return false;
    if (span.start == span.stop) return Untouched();
    const YFCurveNodePtr copy(mApplyGimbleKiller || mApplyUnroller ? node.SingleLayerCopy() : nullptr);
    if (copy) Clean(*copy);
    RotationSource source(copy ? *copy : node, mUseQuaternion);
    YFCurve* curves[kAngles];
    for (int i = 0; i < kAngles; ++i) curves[i] = node.Get(i)->FCurveGet();
    return Smooth(source, span, curves);
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
