// A robust local line through a path: local regression as in Cleveland, "Robust Locally Weighted Regression
// and Smoothing Scatterplots", 1979, with the weights of Huber, "Robust Estimation of a Location Parameter",
// 1964, on the distance in space, and the spread of the points taken from their median distance (Hampel, "The
// Influence Curve and Its Role in Robust Estimation", 1974).

#include "yfcurve/curve/keykind.h"
#include "yfcurve/yfcurvefiltersmooth2.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "ybaselib/ydatatype.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/filters/smoothing/smoothingwindow.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

namespace {

enum EStatus : int
{
    eNoKey = 0,
    eLeftUnchanged = 1,
    eNotATranslation = 2,
    eNot3Curves = 3
};
constexpr const char* kMessages[] = {"No key", "Left unchanged", "Not a translation", "No 3 curves"};

constexpr int kAxes = 3;
constexpr double kSmallestFactor = 0.01;
constexpr int kMostSamples = 1024;

using Point = std::array<double, kAxes>;

// A straight motion; `place` 0 is the middle of the window, 1 its end.
struct Line
{
    Point value = {};
    Point rise = {};

    double DistanceOf(const Point& point, double place) const
    {
        double sum = 0.0;
        for (std::size_t axis = 0; axis < kAxes; ++axis) {
            const double off = point[axis] - (value[axis] + rise[axis] * place);
            sum += off * off;
        }
        return std::sqrt(sum);
    }
};

double Median(std::vector<double>& values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 != 0) return *middle;
    return 0.5 * (*middle + *std::max_element(values.begin(), middle));
}

// The three curves as a path, and the line that it follows around a time.
class Path
{
  public:
    Path(YFCurve* const* curves, const yfc::SmoothingWindow& window, double factor)
        : mCurves(curves),
          mWindow(window),
          mFactor(factor),
          mPoints(static_cast<std::size_t>(window.GetCount())),
          mWeights(mPoints.size()),
          mDistances(mPoints.size())
    {}

    Line FitAt(YTime time, YTime reach)
    {
        for (std::size_t i = 0; i < mPoints.size(); ++i) {
            const YTime at = mWindow.TimeAt(static_cast<int>(i), time, reach);
            for (std::size_t axis = 0; axis < kAxes; ++axis) {
                mPoints[i][axis] = mCurves[axis]->Evaluate(at, &mHints[axis]);
            }
            mWeights[i] = mWindow.Weight(static_cast<int>(i));
        }
        Line line = FitRobustly();
        KeepAmongPoints(line);
        return line;
    }

  private:
    double Place(std::size_t index) const { return mWindow.Place(static_cast<int>(index)); }

    // Least squares with the weights.
    Line Fit() const
    {
        double sum = 0.0;
        double places = 0.0;
        for (std::size_t i = 0; i < mPoints.size(); ++i) {
            sum += mWeights[i];
            places += mWeights[i] * Place(i);
        }
        const double middle = places / sum;
        double spread = 0.0;
        Point mean = {};
        Line line;
        for (std::size_t i = 0; i < mPoints.size(); ++i) {
            const double place = Place(i) - middle;
            spread += mWeights[i] * place * place;
            for (std::size_t axis = 0; axis < kAxes; ++axis) {
                mean[axis] += mWeights[i] * mPoints[i][axis] / sum;
                line.rise[axis] += mWeights[i] * place * mPoints[i][axis];
            }
        }
        for (std::size_t axis = 0; axis < kAxes; ++axis) {
            line.rise[axis] = spread > 0.0 ? line.rise[axis] / spread : 0.0;
            line.value[axis] = mean[axis] - line.rise[axis] * middle;
        }
        return line;
    }

    // First the line with the least sum of distances, which a few stray points do not turn even at one end of
    // the window; it tells the spread of the points, and with that who is stray.
    Line FitRobustly()
    {
        constexpr int firstRounds = 16;
        constexpr int rounds = 8;
        constexpr double deviationOfMedian = 1.4826;  // of a normal distribution
        Line line = Fit();
        for (int round = 0; round < firstRounds; ++round) {
            Measure(line);
            const double limit = 1e-6 * Median(mDistances);
            if (limit == 0.0) return line;  // the majority is on it: nothing is left to weigh
            Weigh(line, limit);
            line = Fit();
        }
        Measure(line);
        const double limit = mFactor * deviationOfMedian * Median(mDistances);
        if (limit == 0.0) return line;
        for (int round = 0; round < rounds; ++round) {
            Weigh(line, limit);
            line = Fit();
        }
        return line;
    }

    // Where a path jumps, the points left in weight may all be on one side of the window: so the line is not
    // let to lead out of the points at the middle, nor to rise by more than they do.
    void KeepAmongPoints(Line& line) const
    {
        const double places = Place(mPoints.size() - 1) - Place(0);
        for (std::size_t axis = 0; axis < kAxes; ++axis) {
            const auto [low, high] =
                std::minmax_element(mPoints.begin(), mPoints.end(),
                                    [axis](const Point& a, const Point& b) { return a[axis] < b[axis]; });
            const double least = (*low)[axis];
            const double most = (*high)[axis];
            const double steepest = places > 0.0 ? (most - least) / places : 0.0;
            line.value[axis] = std::min(std::max(line.value[axis], least), most);
            line.rise[axis] = std::min(std::max(line.rise[axis], -steepest), steepest);
        }
    }

    void Measure(const Line& line)
    {
        for (std::size_t i = 0; i < mPoints.size(); ++i)
            mDistances[i] = line.DistanceOf(mPoints[i], Place(i));
    }

    // Points count in full up to a distance, and beyond it as if they were pulling no more than from there.
    void Weigh(const Line& line, double limit)
    {
        for (std::size_t i = 0; i < mPoints.size(); ++i) {
            const double distance = line.DistanceOf(mPoints[i], Place(i));
            mWeights[i] = mWindow.Weight(static_cast<int>(i)) * (distance > limit ? limit / distance : 1.0);
        }
    }

    YFCurve* const* mCurves;
    const yfc::SmoothingWindow& mWindow;
    double mFactor;
    std::vector<Point> mPoints;
    std::vector<double> mWeights;
    std::vector<double> mDistances;
    int mHints[kAxes] = {};
};

// --- Keys ----------------------------------------------------------------------------------------------

struct NewKey
{
    int index;
    float value;
    float leftSlope;
    float rightSlope;
};

double LengthAfter(const YFCurve& curve, int index)
{
    const bool isSegment = index >= 0 && index + 1 < curve.KeyGetCount();
    return isSegment ? yfc::SecondsBetween(curve.KeyGetTime(index), curve.KeyGetTime(index + 1)) : 0.0;
}

// The slopes of a user key, turned towards the line. A slope shapes the whole segment beside the key, moving
// it by 4/27 of change times length, while the line knows the path no further than its window reaches. So a
// segment longer than the window takes on that much less of the change; else it would swing off the path, and
// by any amount near the ends of the span, where windows are short. Slopes that are one remain one.
void TurnSlopes(const YFCurve& curve, double slope, double width, NewKey& key)
{
    const auto turned = [&](double old, double length) {
        const double share = length > width ? width / length : 1.0;
        return static_cast<float>(old + share * (slope - old));
    };
    const double before = LengthAfter(curve, key.index - 1);
    const double after = LengthAfter(curve, key.index);
    const float left = curve.KeyGetLeftDerivative(key.index);
    const float right = curve.KeyGetRightDerivative(key.index);
    const double longest = std::max(before, after);
    key.leftSlope = turned(left, left == right ? longest : before);
    key.rightSlope = turned(right, left == right ? longest : after);
}

bool HasUserSlopes(const YFCurve& curve, int index)
{
    return yfc::KeyKind(curve, index).IsUser();
}

// What becomes of the keys of one axis. False when a number is not finite.
bool SmoothKeys(const YFCurve& curve, std::size_t axis, Path& path, const yfc::SmoothingWindow& window,
                const yfc::SmoothedSpan& span, std::vector<NewKey>& keys)
{
    const int last = yfc::LastKeyUntil(curve, span.stop);
    for (int i = yfc::FirstKeyFrom(curve, span.start); i <= last; ++i) {
        const YTime time = curve.KeyGetTime(i);
        const YTime reach = window.ReachAt(time, span);
        if (reach <= YTIME_ZERO || window.GetCount() < 2) continue;
        const Line line = path.FitAt(time, reach);
        NewKey key{i, static_cast<float>(line.value[axis]), 0.0f, 0.0f};
        const double seconds = reach.GetSecondDouble();
        if (HasUserSlopes(curve, i)) TurnSlopes(curve, line.rise[axis] / seconds, 2.0 * seconds, key);
        for (const float number : {key.value, key.leftSlope, key.rightSlope})
            if (!std::isfinite(number)) return false;
        keys.push_back(key);
    }
    return true;
}

void Write(YFCurve& curve, const std::vector<NewKey>& keys)
{
    const YFCurveModify modify(curve);
    for (const NewKey& key : keys) curve.KeySetValue(key.index, key.value);
    for (const NewKey& key : keys) {
        if (!HasUserSlopes(curve, key.index)) continue;
        curve.KeySetLeftDerivative(key.index, key.leftSlope);
        curve.KeySetRightDerivative(key.index, key.rightSlope);
    }
}

bool IsTranslation(const YFCurveNode& node)
{
    for (const eDataType type : {eDataType::Translation, eDataType::LocalTranslation,
                                 eDataType::MatrixTranslation, eDataType::UVTranslation}) {
        if (node.GetDataType() == YDataType::Get(type)) return true;
    }
    return false;
}

}  // namespace

YClassDefinition& YFCurveFilterSmooth2::StaticClass()
{
    constexpr YTime defaultWidth(8 * YTIME_TICKS_PER_SECOND / 30);
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterSmooth2::mFactor>(
            "Factor", 1.5,
            {.minimum = kSmallestFactor, .help = "how many standard deviations off a point counts in full"}),
        YPropertyOf<&YFCurveFilterSmooth2::mWidth>(
            "Width", defaultWidth,
            {.minimum = 0.0, .aboveMinimum = true, .unit = "s", .help = "length of the window"}),
        YPropertyOf<&YFCurveFilterSmooth2::mSampleCount>(
            "SampleCount", 8, {.minimum = 1, .maximum = kMostSamples, .help = "equal parts of the window"}),
    };
    static constinit YClassDefinition definition("YFCurveFilterSmooth2", &YFCurveFilter::StaticClass,
                                                 {.summary = "smooths the path of a translation",
                                                  .worksOn = "whole translations",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterSmooth2>,
                                                  .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterSmooth2::YFCurveFilterSmooth2() : YFCurveFilterOf("FCurve Smooth2", kMessages, 4)
{
    Reset();
}

bool YFCurveFilterSmooth2::FilterCurve(YFCurve&)
{
    return DoesNotApply(eNot3Curves, "FCurveSmooth2, This filter only works on 3 curves.");
}

bool YFCurveFilterSmooth2::FilterCurves(YFCurve** curves, int count)
{
    if (count != kAxes) return DoesNotApply(eNot3Curves, "FCurveSmooth2, You need 3 curves.");
    if (std::all_of(curves, curves + kAxes, [](const YFCurve* curve) { return curve->IsLocked(); }))
        return Locked();

    yfc::SmoothedSpan span{YTIME_INFINITE, YTIME_MINUS_INFINITE};
    for (int axis = 0; axis < kAxes; ++axis) {
        const int keyCount = curves[axis]->KeyGetCount();
        if (keyCount == 0) continue;
        span.start = std::min(span.start, curves[axis]->KeyGetTime(0));
        span.stop = std::max(span.stop, curves[axis]->KeyGetTime(keyCount - 1));
    }
    if (span.start > span.stop) return NothingToDo(eNoKey, "FCurveSmooth2, No keys.");
    span.start = std::max(span.start, GetStartTime());
    span.stop = std::min(span.stop, GetStopTime());
    constexpr const char* badSpan = "FCurveSmooth2, Invalid Time Span.";
    if (span.start > span.stop || mWidth <= YTIME_ZERO) return Refuse(eLeftUnchanged, badSpan);

    const yfc::SmoothingWindow window(mWidth, std::clamp(mSampleCount, 1, kMostSamples));
    Path path(curves, window, mFactor >= kSmallestFactor ? mFactor : kSmallestFactor);
    std::vector<NewKey> keys[kAxes];
    for (std::size_t axis = 0; axis < kAxes; ++axis) {
        if (curves[axis]->IsLocked()) continue;
        const YFCurve& curve = *curves[axis];
        if (!SmoothKeys(curve, axis, path, window, span, keys[axis])) return Refuse(eLeftUnchanged, badSpan);
    }
    for (std::size_t axis = 0; axis < kAxes; ++axis) Write(*curves[axis], keys[axis]);
    return true;
}

bool YFCurveFilterSmooth2::FilterNode(YFCurveNode& node, bool recursive)
{
    if (node.IsNodeLocked()) return Locked();
    if (IsTranslation(node)) return ApplyToTranslation(node);
    if (recursive && ApplyBelow(node, false) > 0) return true;
    return DoesNotApply(eNotATranslation, "FCurveSmooth2, No translation. No key to be filtered.");
}

// How many translations there are, locked ones included.
int YFCurveFilterSmooth2::ApplyBelow(YFCurveNode& node, bool isLocked)
{
    int found = 0;
    eFilterOutcome outcome = eFilterOutcome::Locked;
    for (int i = 0; i < node.GetCount(); ++i) {
        YFCurveNode& child = *node.Get(i);
        const bool locked = isLocked || child.IsNodeLocked();
        if (IsTranslation(child)) {
            if (locked) {
                Locked();
            } else {
                ApplyToTranslation(child);
            }
            ++found;
        } else {
            found += ApplyBelow(child, locked);
        }
        outcome = std::max(outcome, GetOutcome());
    }
    SetOutcome(outcome);
    return found;
}

bool YFCurveFilterSmooth2::ApplyToTranslation(YFCurveNode& node)
{
    YFCurve* curves[kAxes];
    int count = 0;
    for (int i = 0; i < node.GetCount(); ++i) {
        YFCurve* curve = node.Get(i)->FCurveGet();
        if (curve != nullptr && count < kAxes) curves[count] = curve;
        if (curve != nullptr) ++count;
    }
    return Apply(curves, count);
}
