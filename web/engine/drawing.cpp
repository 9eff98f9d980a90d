#include "web/engine/drawing.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "web/engine/keys.h"
#include "ymotion/text/failure.h"

namespace editor {

namespace {

/// From so many keys a pixel on, columns show their least and greatest value.
constexpr double kDenseKeysPerPixel = 1.0;
/// Lines of more points than these are slower and no finer than a picture.
constexpr double kManyPoints = 12'000.0;
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
            GatherSamples(mWindow.start, std::min(first, mWindow.stop), mCurve.MovesOutside(true));
        int index = std::max(FirstFrom(mCurve, mWindow.start) - 1, 0);
        for (; index + 1 < count && mCurve.KeyGetTime(index) <= mWindow.stop; ++index) GatherSegment(index);
        if (mWindow.stop > last)
            GatherSamples(std::max(last, mWindow.start), mWindow.stop, mCurve.MovesOutside(false));
    }

    void Add(YTime time, int heldKey = -1)
    {
        mTimes.push_back(time);
        mHeldKeys.push_back(heldKey);
    }

    void GatherSegment(int index)
    {
        const YTime start = std::max(mCurve.KeyGetTime(index), mWindow.start);
        const YTime stop = std::min(mCurve.KeyGetTime(index + 1), mWindow.stop);
        switch (InterpolationOf(mCurve, index)) {
            case Interpolation::Constant:
                return GatherStep(index, index);
            case Interpolation::ConstantNext:
                return GatherStep(index, index + 1);
            case Interpolation::Linear:
                return GatherSamples(start, stop, false);
            case Interpolation::Cubic:
                return GatherSamples(start, stop, true);
        }
    }

    /// \param held  the key whose value the segment shows
    void GatherStep(int index, int held)
    {
        Add(mCurve.KeyGetTime(index), index);
        Add(mCurve.KeyGetTime(index), held);
        Add(mCurve.KeyGetTime(index + 1), held);
        Add(mCurve.KeyGetTime(index + 1), index + 1);
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

namespace {

std::int64_t FloorDivide(std::int64_t number, std::int64_t by)
{
    const std::int64_t quotient = number / by;
    return number % by < 0 ? quotient - 1 : quotient;
}

int KeysIn(const YFCurve& curve, const Window& window)
{
    return FirstFrom(curve, window.stop) - FirstFrom(curve, window.start);
}

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
    return Values().Y(value);
}

YTime Window::TimeAt(double x) const
{
    return start + YTime(std::llround(static_cast<double>((stop - start).Get()) * (x / width)));
}

ValueScale Window::Values() const
{
    return {high, height / (high - low)};
}

ColumnGrid Window::Columns() const
{
    const double pixel = static_cast<double>((stop - start).Get()) / width;
    ColumnGrid grid;
    grid.step = std::max<std::int64_t>(1, std::llround(pixel));
    grid.first = FloorDivide(start.Get(), grid.step);
    grid.count = static_cast<std::size_t>(FloorDivide(stop.Get(), grid.step) - grid.first + 1);
    return grid;
}

// --- Drawing -------------------------------------------------------------------------------------------

std::span<const Extremes> CurveDrawer::ColumnsOf(const YFCurve& curve, const Window& window)
{
    return mColumns[curve.GetSerial()].Of(curve, window.Columns(), KeysIn(curve, window) / window.width);
}

/// Each column is a line from its least to its greatest value, or the other way where that is nearer.
void CurveDrawer::DrawDense(const YFCurve& curve, const Window& window, std::vector<float>& points)
{
    const ColumnGrid grid = window.Columns();
    const double pixelsPerTick = window.width / static_cast<double>((window.stop - window.start).Get());
    const double left = static_cast<double>((grid.Start(0) - window.start).Get()) * pixelsPerTick;
    const double width = static_cast<double>(grid.step) * pixelsPerTick;
    bool wasUp = false;
    double column = 0.5;
    for (const auto& [least, greatest] : ColumnsOf(curve, window)) {
        const auto x = static_cast<float>(left + column * width);
        column += 1.0;
        const float top = window.Y(static_cast<double>(greatest));
        const float bottom = window.Y(static_cast<double>(least));
        points.insert(points.end(), {x, wasUp ? top : bottom});
        if (top == bottom) continue;
        points.insert(points.end(), {x, wasUp ? bottom : top});
        wasUp = !wasUp;
    }
}

const Picture& CurveDrawer::Paint(std::span<const YFCurve* const> curves,
                                  std::span<const std::uint32_t> colors, const Window& window)
{
    window.Check();
    double points = 0.0;
    for (const YFCurve* curve : curves)
        if (curve != nullptr) points += std::min<double>(KeysIn(*curve, window), window.width);
    if (points < kManyPoints) return mPicture = {};
    if (mColumns.size() > 2 * curves.size() + 1000) mColumns.clear();
    std::vector<PaintedCurve> painted;
    for (std::size_t i = 0; i < curves.size(); ++i)
        if (curves[i] != nullptr) painted.push_back({ColumnsOf(*curves[i], window), colors[i]});
    const ColumnGrid grid = window.Columns();
    std::vector<std::uint32_t> columnOfPixel(static_cast<std::size_t>(window.width));
    for (std::size_t x = 0; x < columnOfPixel.size(); ++x) {
        const YTime middle = window.TimeAt(static_cast<double>(x) + 0.5);
        columnOfPixel[x] = static_cast<std::uint32_t>(FloorDivide(middle.Get(), grid.step) - grid.first);
    }
    PaintCurves(painted, columnOfPixel, static_cast<std::uint32_t>(window.height), window.Values(), mPicture);
    return mPicture;
}

CurveDrawing CurveDrawer::Draw(std::span<const YFCurve* const> curves, const Window& window)
{
    window.Check();
    if (mColumns.size() > 2 * curves.size() + 1000) mColumns.clear();
    CurveDrawing drawing;
    for (const YFCurve* curve : curves) {
        drawing.first.push_back(static_cast<std::uint32_t>(drawing.points.size() / 2));
        if (curve == nullptr) continue;
        if (KeysIn(*curve, window) > kDenseKeysPerPixel * window.width) {
            DrawDense(*curve, window, drawing.points);
        } else {
            SparseCurve(*curve, window).Draw(drawing.points);
        }
    }
    drawing.first.push_back(static_cast<std::uint32_t>(drawing.points.size() / 2));
    return drawing;
}

namespace {

void DrawSamples(ymotion::PlayedCurve& curve, const Window& window, std::vector<float>& points)
{
    Polyline line(points);
    for (double x = 0.0; x < window.width + kPixelsPerSample; x += kPixelsPerSample) {
        const double at = std::min(x, window.width);
        line.Add(static_cast<float>(at), window.Y(static_cast<double>(curve.At(window.TimeAt(at)))));
    }
}

}  // namespace

CurveDrawing CurveDrawer::DrawPlayed(const std::vector<std::optional<ymotion::SelectedCurve>>& curves,
                                     const Window& window)
{
    window.Check();
    std::vector<ymotion::SelectedCurve> present;
    for (const auto& curve : curves)
        if (curve) present.push_back(*curve);
    std::vector<ymotion::PlayedCurve> played = ymotion::PlayedCurves(present);
    auto next = played.begin();
    CurveDrawing drawing;
    for (const auto& curve : curves) {
        drawing.first.push_back(static_cast<std::uint32_t>(drawing.points.size() / 2));
        if (curve) DrawSamples(*next++, window, drawing.points);
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

    int InSight() const { return mLast - mFirst; }

    void DrawUnselected()
    {
        mIsSelected = false;
        if (IsDense()) return DrawOneForEachColumn();
        for (int i = mFirst; i < mLast; ++i)
            if (!mCurve.KeyGetSelected(i)) Add(i);
    }

    void DrawSelected(const std::vector<int>& selected)
    {
        mIsSelected = true;
        mHasPlace = false;
        const auto first = std::lower_bound(selected.begin(), selected.end(), mFirst);
        const auto last = std::lower_bound(first, selected.end(), mLast);
        const std::span<const int> keys(selected.data() + (first - selected.begin()),
                                        static_cast<std::size_t>(last - first));
        if (IsDense()) return DrawExtremesOfColumns(keys);
        for (const int index : keys) Add(index);
    }

  private:
    bool IsDense() const { return mLast - mFirst > kDenseKeysPerPixel * mWindow.width; }

    void DrawOneForEachColumn()
    {
        int index = mFirst;
        for (double x = 0.5; index < mLast && x <= mWindow.width; x += 1.0) {
            Add(index);
            index = FirstFrom(mCurve, mWindow.TimeAt(x), index);
        }
    }

    /// The lowest and the highest key of each column.
    void DrawExtremesOfColumns(std::span<const int> keys)
    {
        for (std::size_t i = 0; i < keys.size();) {
            const double column = std::floor(mWindow.X(mCurve.KeyGetTime(keys[i])));
            const YTime end = mWindow.TimeAt(column + 1.0);
            int lowest = keys[i];
            int highest = keys[i];
            for (++i; i < keys.size() && mCurve.KeyGetTime(keys[i]) < end; ++i) {
                const float value = mCurve.KeyGetValue(keys[i]);
                if (value < mCurve.KeyGetValue(lowest)) lowest = keys[i];
                if (value > mCurve.KeyGetValue(highest)) highest = keys[i];
            }
            Add(lowest);
            if (highest != lowest) Add(highest);
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

KeyDrawing CurveDrawer::DrawKeys(std::span<const YFCurve* const> curves, const Window& window,
                                 double leastGap)
{
    window.Check();
    if (mSelected.size() > 2 * curves.size() + 1000) mSelected.clear();
    KeyDrawing drawing;
    for (const YFCurve* curve : curves) {
        drawing.first.push_back(static_cast<std::uint32_t>(drawing.index.size()));
        KeyPlotter plotter(*curve, window, drawing);
        drawing.inSight.push_back(static_cast<std::uint32_t>(plotter.InSight()));
        if (plotter.InSight() * leastGap <= window.width) plotter.DrawUnselected();
        plotter.DrawSelected(SelectedOf(*curve));
    }
    drawing.first.push_back(static_cast<std::uint32_t>(drawing.index.size()));
    return drawing;
}

}  // namespace editor
