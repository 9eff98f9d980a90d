#include "web/engine/drawing.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "ymotion/text/failure.h"

namespace editor {

namespace {

/// From so many keys a pixel on, columns show their least and greatest value.
constexpr double kDenseKeysPerPixel = 1.0;
/// A cubic segment has a point at every so many pixels.
constexpr double kPixelsPerSample = 2.0;
/// Points that far from a straight line are left out.
constexpr float kFlatness = 0.1f;

/// Takes points in, and leaves out those that the straight line between others passes within `kFlatness`.
class Polyline
{
  public:
    explicit Polyline(std::vector<float>& points) : mPoints(points) {}

    void Add(float x, float y)
    {
        const float slope = (y - mAnchorY) / (x - mAnchorX);
        if (mHasTail && slope >= mLeastSlope && slope <= mGreatestSlope) {
            *(mPoints.end() - 2) = x;
            *(mPoints.end() - 1) = y;
        } else {
            Push(x, y);
        }
        // The line to a later point has to pass here as well.
        const float distance = x - mAnchorX;
        mLeastSlope = std::max(mLeastSlope, (y - kFlatness - mAnchorY) / distance);
        mGreatestSlope = std::min(mGreatestSlope, (y + kFlatness - mAnchorY) / distance);
    }

  private:
    /// The line goes on from what was its last point.
    void Push(float x, float y)
    {
        mAnchorX = mHasAny ? *(mPoints.end() - 2) : x;
        mAnchorY = mHasAny ? *(mPoints.end() - 1) : y;
        mPoints.push_back(x);
        mPoints.push_back(y);
        mHasTail = mHasAny && x > mAnchorX;
        mHasAny = true;
        mLeastSlope = -std::numeric_limits<float>::infinity();
        mGreatestSlope = std::numeric_limits<float>::infinity();
    }

    std::vector<float>& mPoints;
    bool mHasAny = false;
    bool mHasTail = false;  ///< the last point may give way to one that is farther on
    float mAnchorX = 0.0f;  ///< the point before it
    float mAnchorY = 0.0f;
    float mLeastSlope = 0.0f;  ///< of lines from there that pass all points that were left out
    float mGreatestSlope = 0.0f;
};

/// The first key that is not before a time.
/// \param from  an index at or before it: quickest near to it
int FirstFrom(const YFCurve& curve, YTime time, int from = 0)
{
    const int count = curve.KeyGetCount();
    int low = from;
    int high = from;
    for (int stride = 1; high < count && curve.KeyGetTime(high) < time; stride *= 2) {
        low = high + 1;
        high = high < count - stride ? high + stride : count;
    }
    while (low < high) {
        const int middle = low + (high - low) / 2;
        if (curve.KeyGetTime(middle) < time) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

/// A curve with fewer keys than pixels: each segment as what it is. Its points are gathered first, and worked out
/// together.
class SparseCurve
{
  public:
    SparseCurve(const YFCurve& curve, const Window& window) : mCurve(curve), mWindow(window) {}

    void Draw(std::vector<float>& points)
    {
        Gather();
        mValues.resize(mTimes.size());
        mCurve.Evaluate(mTimes, mValues);
        Polyline line(points);
        for (std::size_t i = 0; i < mTimes.size(); ++i) {
            // Steps have two values at one time.
            const bool isHeld = mHeldKeys[i] >= 0;
            const float value = isHeld ? mCurve.KeyGetValue(mHeldKeys[i]) : mValues[i];
            line.Add(static_cast<float>(mWindow.X(mTimes[i])), mWindow.Y(static_cast<double>(value)));
        }
    }

  private:
    void Gather()
    {
        const int count = mCurve.KeyGetCount();
        if (count == 0) return GatherSamples(mWindow.start, mWindow.stop, false);
        const YTime first = mCurve.KeyGetTime(0);
        const YTime last = mCurve.KeyGetTime(count - 1);
        if (mWindow.start < first)
            GatherSamples(mWindow.start, std::min(first, mWindow.stop), Moves(mCurve.GetPreExtrapolation()));
        int index = std::max(FirstFrom(mCurve, mWindow.start) - 1, 0);
        for (; index + 1 < count && mCurve.KeyGetTime(index) <= mWindow.stop; ++index) GatherSegment(index);
        if (mWindow.stop > last)
            GatherSamples(std::max(last, mWindow.start), mWindow.stop, Moves(mCurve.GetPostExtrapolation()));
    }

    static bool Moves(unsigned extrapolation) { return extrapolation > YFCURVE_EXTRAPOLATION_CONST; }

    void Add(YTime time, int heldKey = -1)
    {
        mTimes.push_back(time);
        mHeldKeys.push_back(heldKey);
    }

    void GatherSegment(int index)
    {
        const YTime start = mCurve.KeyGetTime(index);
        const YTime stop = mCurve.KeyGetTime(index + 1);
        switch (mCurve.KeyGetInterpolation(index)) {
            case YFCURVE_INTERP_CONSTANT: {
                const int held =
                    mCurve.KeyGetConstantMode(index) == YFCURVE_CONSTANT_NEXT ? index + 1 : index;
                Add(start, index);
                Add(start, held);
                Add(stop, held);
                return Add(stop, index + 1);
            }
            case YFCURVE_INTERP_LINEAR:
                Add(start, index);
                return Add(stop, index + 1);
            default:
                return GatherSamples(std::max(start, mWindow.start), std::min(stop, mWindow.stop), true);
        }
    }

    /// From one time to another; with points at every other pixel in between where the curve moves.
    void GatherSamples(YTime start, YTime stop, bool moves)
    {
        const double width = mWindow.X(stop) - mWindow.X(start);
        const int count = moves ? std::max(1, static_cast<int>(std::ceil(width / kPixelsPerSample))) : 1;
        const double step = static_cast<double>((stop - start).Get()) / count;
        for (int i = 0; i < count; ++i) Add(start + YTime(std::llround(step * i)));
        Add(stop);
    }

    const YFCurve& mCurve;
    const Window& mWindow;
    std::vector<YTime> mTimes;
    std::vector<int> mHeldKeys;  ///< whose value holds there; -1 for what the curve shows
    std::vector<float> mValues;
};

}  // namespace

// --- Window --------------------------------------------------------------------------------------------

void Window::Check() const
{
    const bool isWindow = start < stop && high > low && width >= 1.0 && height >= 1.0 &&
                          std::isfinite(high - low) && width <= 100'000.0 && height <= 100'000.0;
    if (!isWindow)
        throw ymotion::Failure("the window shows no stretch of time or no values; choose a larger one");
}

double Window::X(YTime time) const
{
    const double part = static_cast<double>((time - start).Get()) / static_cast<double>((stop - start).Get());
    return std::clamp(part * width, -1e6, 1e6);
}

float Window::Y(double value) const
{
    const double y = (high - value) / (high - low) * height;
    return std::isnan(y) ? 0.0f : static_cast<float>(std::clamp(y, -1e6, 1e6));
}

YTime Window::TimeAt(double x) const
{
    return start + YTime(std::llround(static_cast<double>((stop - start).Get()) * (x / width)));
}

// --- Extremes ------------------------------------------------------------------------------------------

void ValuePyramid::Extremes::Include(const Extremes& other)
{
    least = std::min(least, other.least);
    greatest = std::max(greatest, other.greatest);
}

namespace {

ValuePyramid::Extremes ExtremesOf(const YFCurve& curve, std::size_t index)
{
    const float value = curve.KeyGetValue(static_cast<int>(index));
    return {value, value};
}

/// The extremes of runs of `size`, of `count` elements that `at` gives.
template<class At>
std::vector<ValuePyramid::Extremes> RunsOf(std::size_t count, std::size_t size, const At& at)
{
    std::vector<ValuePyramid::Extremes> runs;
    for (std::size_t i = 0; i < count; i += size) {
        ValuePyramid::Extremes run = at(i);
        for (std::size_t j = i + 1; j < std::min(i + size, count); ++j) run.Include(at(j));
        runs.push_back(run);
    }
    return runs;
}

}  // namespace

ValuePyramid::ValuePyramid(const YFCurve& curve)
{
    mLevels.push_back(RunsOf(static_cast<std::size_t>(curve.KeyGetCount()), kRun,
                             [&](std::size_t i) { return ExtremesOf(curve, i); }));
    while (mLevels.back().size() > kRun) {
        const std::vector<Extremes>& below = mLevels.back();
        mLevels.push_back(RunsOf(below.size(), kRun, [&](std::size_t i) { return below[i]; }));
    }
}

ValuePyramid::Extremes ValuePyramid::Between(const YFCurve& curve, std::size_t first, std::size_t last) const
{
    Extremes found = ExtremesOf(curve, first);
    // What does not fill a run of the next level, at both ends.
    const auto takeEnds = [&](const auto& at) {
        while (first < last && first % kRun != 0) found.Include(at(first++));
        while (first < last && last % kRun != 0) found.Include(at(--last));
        first /= kRun;
        last /= kRun;
    };
    takeEnds([&](std::size_t i) { return ExtremesOf(curve, i); });
    for (const std::vector<Extremes>& level : mLevels) takeEnds([&](std::size_t i) { return level[i]; });
    // The last level has no more than one run.
    for (std::size_t i = first * kRun; i < last * kRun; ++i) found.Include(mLevels.back()[i]);
    return found;
}

// --- Drawing -------------------------------------------------------------------------------------------

const ValuePyramid& CurveDrawer::PyramidOf(const YFCurve& curve)
{
    Kept& kept = mKept[curve.GetSerial()];
    if (!kept.pyramid || kept.updateId != curve.GetValuesUpdateId()) {
        kept.pyramid = std::make_unique<ValuePyramid>(curve);
        kept.updateId = curve.GetValuesUpdateId();
    }
    return *kept.pyramid;
}

namespace {

/// With so many keys in a column those beside it stand for what the curve shows at its borders.
constexpr int kManyKeys = 2;

/// The columns of a window, from left to right, with the keys in each.
class Columns
{
  public:
    Columns(const YFCurve& curve, const Window& window)
        : mCurve(curve), mWindow(window), mKey(FirstFrom(curve, window.start))
    {}

    /// The least and greatest value in the next column.
    ValuePyramid::Extremes Next(const ValuePyramid& pyramid)
    {
        const YTime start = mWindow.TimeAt(mColumn);
        mColumn += 1.0;
        const YTime end = mWindow.TimeAt(mColumn);
        const int first = mKey;
        // Most columns have about as many keys as the one before.
        const int guess = std::min(first + std::max(mCount - 2, 0), mCurve.KeyGetCount());
        const bool isEarly = guess == first || mCurve.KeyGetTime(guess - 1) < end;
        mKey = FirstFrom(mCurve, end, isEarly ? guess : first);
        mCount = mKey - first;
        const bool isInside = first > 0 && mKey < mCurve.KeyGetCount();
        if (isInside && mCount >= kManyKeys) return Between(pyramid, first - 1, mKey + 1);
        const float left = mCurve.Evaluate(start, &mHint);
        const float right = mCurve.Evaluate(end, &mHint);
        ValuePyramid::Extremes extremes{std::min(left, right), std::max(left, right)};
        if (mKey > first) extremes.Include(Between(pyramid, first, mKey));
        return extremes;
    }

  private:
    ValuePyramid::Extremes Between(const ValuePyramid& pyramid, int first, int last) const
    {
        return pyramid.Between(mCurve, static_cast<std::size_t>(first), static_cast<std::size_t>(last));
    }

    const YFCurve& mCurve;
    const Window& mWindow;
    int mKey;
    int mCount = 0;
    int mHint = 0;
    double mColumn = 0.0;
};

}  // namespace

/// Each column is a line from its least to its greatest value, or the other way where that is nearer.
void CurveDrawer::DrawDense(const YFCurve& curve, const Window& window, std::vector<float>& points)
{
    const ValuePyramid& pyramid = PyramidOf(curve);
    Columns columns(curve, window);
    bool wasUp = false;
    for (double column = 0.0; column < window.width; column += 1.0) {
        const auto [least, greatest] = columns.Next(pyramid);
        const auto x = static_cast<float>(column + 0.5);
        const float top = window.Y(static_cast<double>(greatest));
        const float bottom = window.Y(static_cast<double>(least));
        points.insert(points.end(), {x, wasUp ? top : bottom});
        if (top == bottom) continue;
        points.insert(points.end(), {x, wasUp ? bottom : top});
        wasUp = !wasUp;
    }
}

CurveDrawing CurveDrawer::Draw(std::span<const YFCurve* const> curves, const Window& window)
{
    window.Check();
    if (mKept.size() > 2 * curves.size() + 1000) mKept.clear();
    CurveDrawing drawing;
    for (const YFCurve* curve : curves) {
        drawing.first.push_back(static_cast<std::uint32_t>(drawing.points.size() / 2));
        const int keys = FirstFrom(*curve, window.stop) - FirstFrom(*curve, window.start);
        if (keys > kDenseKeysPerPixel * window.width) {
            DrawDense(*curve, window, drawing.points);
        } else {
            SparseCurve(*curve, window).Draw(drawing.points);
        }
    }
    drawing.first.push_back(static_cast<std::uint32_t>(drawing.points.size() / 2));
    return drawing;
}

CurveDrawing CurveDrawer::DrawPlayed(const std::vector<ymotion::SelectedCurve>& curves, const Window& window)
{
    window.Check();
    std::vector<ymotion::PlayedCurve> played = ymotion::PlayedCurves(curves);
    CurveDrawing drawing;
    for (ymotion::PlayedCurve& curve : played) {
        drawing.first.push_back(static_cast<std::uint32_t>(drawing.points.size() / 2));
        Polyline line(drawing.points);
        for (double x = 0.0; x < window.width + kPixelsPerSample; x += kPixelsPerSample) {
            const double at = std::min(x, window.width);
            line.Add(static_cast<float>(at), window.Y(static_cast<double>(curve.At(window.TimeAt(at)))));
        }
    }
    drawing.first.push_back(static_cast<std::uint32_t>(drawing.points.size() / 2));
    return drawing;
}

namespace {

/// Keys of one curve, one for each pixel; selected ones go after others.
class KeyPlotter
{
  public:
    KeyPlotter(const YFCurve& curve, const Window& window, KeyDrawing& drawing)
        : mCurve(curve), mWindow(window), mDrawing(drawing)
    {
        const YTime pixel((mWindow.stop - mWindow.start).Get() / static_cast<std::int64_t>(mWindow.width) +
                          1);
        mFirst = FirstFrom(curve, mWindow.start - pixel);
        mLast = FirstFrom(curve, mWindow.stop + pixel, mFirst);
    }

    void DrawUnselected()
    {
        mIsSelected = false;
        if (mLast - mFirst > kDenseKeysPerPixel * mWindow.width) return DrawOneForEachColumn();
        for (int i = mFirst; i < mLast; ++i)
            if (!mCurve.KeyGetSelected(i)) Add(i);
    }

    void DrawSelected(const std::vector<int>& selected)
    {
        mIsSelected = true;
        mHasPlace = false;
        for (auto each = std::lower_bound(selected.begin(), selected.end(), mFirst);
             each != selected.end() && *each < mLast; ++each) {
            Add(*each);
        }
    }

  private:
    void DrawOneForEachColumn()
    {
        int index = mFirst;
        for (double x = 0.5; index < mLast && x <= mWindow.width; x += 1.0) {
            Add(index);
            index = FirstFrom(mCurve, mWindow.TimeAt(x), index);
        }
    }

    void Add(int index)
    {
        const auto x = static_cast<float>(mWindow.X(mCurve.KeyGetTime(index)));
        const float y = mWindow.Y(static_cast<double>(mCurve.KeyGetValue(index)));
        const std::pair<long, long> place{std::lround(x), std::lround(y)};
        if (mHasPlace && place == mPlace) return;
        mHasPlace = true;
        mPlace = place;
        mDrawing.points.insert(mDrawing.points.end(), {x, y});
        mDrawing.index.push_back(static_cast<std::uint32_t>(index));
        mDrawing.selected.push_back(mIsSelected);
    }

    const YFCurve& mCurve;
    const Window& mWindow;
    KeyDrawing& mDrawing;
    int mFirst = 0;
    int mLast = 0;
    bool mIsSelected = false;
    bool mHasPlace = false;
    std::pair<long, long> mPlace;  ///< the pixel that the last key took
};

}  // namespace

const std::vector<int>& CurveDrawer::SelectedOf(const YFCurve& curve)
{
    Selected& kept = mSelected[curve.GetSerial()];
    if (kept.updateId == curve.GetUpdateId() && kept.keyCount == curve.KeyGetCount()) return kept.keys;
    kept = {curve.GetUpdateId(), curve.KeyGetCount(), {}};
    for (int i = 0; i < curve.KeyGetCount(); ++i)
        if (curve.KeyGetSelected(i)) kept.keys.push_back(i);
    return kept.keys;
}

KeyDrawing CurveDrawer::DrawKeys(std::span<const YFCurve* const> curves, const Window& window)
{
    window.Check();
    if (mSelected.size() > 2 * curves.size() + 1000) mSelected.clear();
    KeyDrawing drawing;
    for (const YFCurve* curve : curves) {
        drawing.first.push_back(static_cast<std::uint32_t>(drawing.index.size()));
        KeyPlotter plotter(*curve, window, drawing);
        plotter.DrawUnselected();
        plotter.DrawSelected(SelectedOf(*curve));
    }
    drawing.first.push_back(static_cast<std::uint32_t>(drawing.index.size()));
    return drawing;
}

}  // namespace editor
