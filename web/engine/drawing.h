#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "web/engine/document.h"
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
};

/// The least and greatest values of runs of keys, so that those of any run take few steps to find.
class ValuePyramid
{
  public:
    explicit ValuePyramid(const YFCurve& curve);

    struct Extremes
    {
        float least;
        float greatest;

        void Include(const Extremes& other);
    };
    /// Of the keys `first` to `last` - 1 of the curve that it was made of; at least one.
    Extremes Between(const YFCurve& curve, std::size_t first, std::size_t last) const;

  private:
    static constexpr std::size_t kRun = 8;

    std::vector<std::vector<Extremes>> mLevels;  ///< runs of 8 keys, runs of 8 of those ...
};

/// Draws curves, and keeps what it worked out of those with many keys until they change.
class CurveDrawer
{
  public:
    CurveDrawing Draw(std::span<const YFCurve* const> curves, const Window& window);
    KeyDrawing DrawKeys(std::span<const YFCurve* const> curves, const Window& window);
    /// What plays, all layers together.
    static CurveDrawing DrawPlayed(const std::vector<ymotion::SelectedCurve>& curves, const Window& window);

  private:
    struct Kept
    {
        std::uint32_t updateId = 0;
        std::unique_ptr<ValuePyramid> pyramid;
    };

    struct Selected
    {
        std::uint32_t updateId = 0;
        int keyCount = -1;
        std::vector<int> keys;
    };

    const ValuePyramid& PyramidOf(const YFCurve& curve);
    const std::vector<int>& SelectedOf(const YFCurve& curve);
    void DrawDense(const YFCurve& curve, const Window& window, std::vector<float>& points);

    std::unordered_map<std::uint64_t, Kept> mKept;  ///< by the serials of curves
    std::unordered_map<std::uint64_t, Selected> mSelected;
};

}  // namespace editor
