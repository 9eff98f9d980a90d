#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "web/engine/columns.h"
#include "web/engine/document.h"
#include "web/engine/picture.h"
#include "ymotion/scene/playback.h"

/// \file
/// Curves and keys as polylines and points of a window, no more than its pixels can show.

namespace editor {

/// Times of the left and right border, values of the lower and upper one, size in pixels.
struct Window
{
    YTime start;
    YTime stop;
    double low = 0.0;
    double high = 1.0;
    double width = 1.0;
    double height = 1.0;

    /// Throws for one without extent.
    void Check() const;
    double X(YTime time) const;
    float Y(double value) const;
    /// The time of a place between two pixels.
    YTime TimeAt(double x) const;
    ValueScale Values() const;
    /// Columns about as wide as a pixel, which cover the window.
    ColumnGrid Columns() const;
};

/// Curve i is the points `first[i]` to `first[i + 1]` - 1, each an x and a y in pixels.
struct CurveDrawing
{
    std::vector<std::uint32_t> first;
    std::vector<float> points;
};

struct KeyDrawing
{
    std::vector<std::uint32_t> first;
    std::vector<float> points;
    std::vector<std::uint32_t> index;
    std::vector<std::uint8_t> selected;
    std::vector<std::uint32_t> inSight;  ///< how many keys each curve has in the window, drawn or not
};

/// Draws curves, and keeps what it worked out of those with many keys until they change. A null pointer stands for a
/// curve that is not there: nothing is drawn of it.
class CurveDrawer
{
  public:
    CurveDrawing Draw(std::span<const YFCurve* const> curves, const Window& window);
    /// A picture of the curves, the last one on top, in colours with red in the lowest byte. Without pixels where the
    /// curves have so few points that lines show them better. Stays as it is until the next one.
    const Picture& Paint(std::span<const YFCurve* const> curves, std::span<const std::uint32_t> colors,
                         const Window& window);
    /// Without the unselected keys of curves whose keys are nearer to each other than `leastGap` pixels on the average.
    KeyDrawing DrawKeys(std::span<const YFCurve* const> curves, const Window& window, double leastGap = 0.0);
    /// What plays, all layers together. Without points where there is no curve.
    static CurveDrawing DrawPlayed(const std::vector<std::optional<ymotion::SelectedCurve>>& curves,
                                   const Window& window);

  private:
    struct Selected
    {
        std::uint32_t updateId = 0;
        int keyCount = -1;
        std::vector<int> keys;
    };

    std::span<const Extremes> ColumnsOf(const YFCurve& curve, const Window& window);
    const std::vector<int>& SelectedOf(const YFCurve& curve);
    void DrawDense(const YFCurve& curve, const Window& window, std::vector<float>& points);

    std::unordered_map<std::uint64_t, CurveColumns> mColumns;  ///< by the serials of curves
    std::unordered_map<std::uint64_t, Selected> mSelected;
    Picture mPicture;
};

}  // namespace editor
