// Single outliers between samples that agree with each other, told by the lines through their neighbours: the
// same reasoning as in the decision filters of Hampel, "The Influence Curve and Its Role in Robust
// Estimation", 1974, but with lines in place of medians, which would take turning points for outliers.

#include "yfcurve/filters/framework/framerate.h"
#include "yfcurve/yfcurvefilterpeakremover.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "yfcurve/curve/edit/descendingedit.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/node/curves/framegrid.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged"};

struct Point
{
    double seconds;  // from the key in question
    double value;
};

// Where the line through two points passes the key in question.
double LineAtKey(const Point& a, const Point& b)
{
    return a.value + (b.value - a.value) * (a.seconds / (a.seconds - b.seconds));
}

// What stands around a key: the nearest keys first, none that are peaks or have no finite value.
class Neighbours
{
  public:
    Neighbours(const YFCurve& curve, int index) : mCurve(curve), mIndex(index) {}

    void AddBefore(int index) { mBefore[mBeforeCount++] = PointAt(index); }
    void AddAfter(int index) { mAfter[mAfterCount++] = PointAt(index); }

    bool AreWithin(double seconds) const
    {
        return mBeforeCount > 0 && mAfterCount > 0 && -mBefore[0].seconds <= seconds &&
               mAfter[0].seconds <= seconds;
    }

    // How far a value is from what the neighbours lead to expect: their own values, and where either side is
    // heading. Not-a-number for a value that is none.
    double DistanceOf(double value) const
    {
        double low = std::min(mBefore[0].value, mAfter[0].value);
        double high = std::max(mBefore[0].value, mAfter[0].value);
        const auto extend = [&](double expected) {
            low = std::min(low, expected);
            high = std::max(high, expected);
        };
        if (mBeforeCount == 2) extend(LineAtKey(mBefore[0], mBefore[1]));
        if (mAfterCount == 2) extend(LineAtKey(mAfter[0], mAfter[1]));
        if (std::isnan(value)) return value;
        return std::max({low - value, value - high, 0.0});
    }

  private:
    Point PointAt(int index) const
    {
        const YTime from = mCurve.KeyGetTime(std::min(index, mIndex));
        const YTime to = mCurve.KeyGetTime(std::max(index, mIndex));
        const double seconds = yfc::SecondsBetween(from, to);
        return {index < mIndex ? -seconds : seconds, mCurve.KeyGetValue(index)};
    }

    const YFCurve& mCurve;
    int mIndex;
    Point mBefore[2] = {};
    Point mAfter[2] = {};
    int mBeforeCount = 0;
    int mAfterCount = 0;
};

// The keys from one to another that are peaks. Both are inner keys of the curve.
std::vector<int> FindPeaks(const YFCurve& curve, int first, int last, double seconds, double tolerance)
{
    std::vector<int> finite;
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        if (std::isfinite(curve.KeyGetValue(i))) finite.push_back(i);
    }
    auto next = std::upper_bound(finite.begin(), finite.end(), first);
    std::vector<int> kept(finite.begin(), std::lower_bound(finite.begin(), finite.end(), first));
    std::vector<int> peaks;
    for (int i = first; i <= last; ++i) {
        while (next != finite.end() && *next <= i) ++next;
        Neighbours neighbours(curve, i);
        for (std::size_t k = 1; k <= std::min<std::size_t>(kept.size(), 2); ++k) {
            neighbours.AddBefore(kept[kept.size() - k]);
        }
        for (auto after = next; after != finite.end() && after - next < 2; ++after)
            neighbours.AddAfter(*after);
        const float value = curve.KeyGetValue(i);
        const bool isPeak = neighbours.AreWithin(seconds) && !(neighbours.DistanceOf(value) <= tolerance);
        if (isPeak) {
            peaks.push_back(i);
        } else if (std::isfinite(value)) {
            kept.push_back(i);
        }
    }
    return peaks;
}

}  // namespace

YClassDefinition& YFCurveFilterPeakRemover::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterPeakRemover::mTimeTolerance>(
            "TimeTolerance", 3.0,
            {.minimum = 0.0, .unit = "frames", .help = "how far the keys beside a peak may be from it"}),
        YPropertyOf<&YFCurveFilterPeakRemover::mValueTolerance>(
            "ValueTolerance", 3.0,
            {.minimum = 0.0, .help = "how far a key may stick out, in units of the curve's values"}),
    };
    static constinit YClassDefinition definition("YFCurveFilterPeakRemover", &YFCurveFilter::StaticClass,
                                                 {.summary = "removes single keys that stick out",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterPeakRemover>});
    return definition;
}

YFCurveFilterPeakRemover::YFCurveFilterPeakRemover() : YFCurveFilterOf("Peak Remover", kMessages, 2)
{
    Reset();
}

bool YFCurveFilterPeakRemover::FilterCurve(YFCurve& curve)
{
    const int count = curve.KeyGetCount();
    if (count == 0) return NothingToDo(0, "PeakRemover, No key to be filtered.");
    const int first = std::max(yfc::FirstKeyFrom(curve, GetStartTime()), 1);
    const int last = std::min(yfc::LastKeyUntil(curve, GetStopTime()), count - 2);
    // NaN tolerances tell nothing apart: no time is within one, and within the other everything is.
    const double tolerance = std::isnan(mValueTolerance) ? HUGE_VAL : std::max(mValueTolerance, 0.0);
    const double frame = yfc::FrameGrid(yfc::OneFrame()).Longest().GetSecondDouble();
    const std::vector<int> peaks = FindPeaks(curve, first, last, mTimeTolerance * frame, tolerance);
    if (peaks.empty()) return Untouched();
    YFCurveDescendingEdit edit(curve);
    for (std::size_t i = peaks.size(); i > 0; --i) edit.Delete(peaks[i - 1], peaks[i - 1]);
    return true;
}
