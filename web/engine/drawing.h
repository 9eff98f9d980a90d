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

/// The least and greatest of some values.
struct Extremes
{
    float least;
    float greatest;

    void Include(const Extremes& other);
};

/// The keys of a curve in runs of 8, 64, 512 and so on, so that where many are in a pixel few are looked at.
class KeyRuns
{
  public:
    struct Run
    {
        YTime start;  ///< of its first key
        Extremes values;
    };

    explicit KeyRuns(const YFCurve& curve);

    /// Runs of which a column has two at least; none where it has fewer than 16 keys.
    std::span<const Run> For(double keysInColumn) const;

  private:
    static constexpr std::size_t kRun = 8;

    std::vector<std::vector<Run>> mLevels;
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
        std::unique_ptr<KeyRuns> runs;
    };

    struct Selected
    {
        std::uint32_t updateId = 0;
        int keyCount = -1;
        std::vector<int> keys;
    };

    const KeyRuns& RunsOf(const YFCurve& curve);
    const std::vector<int>& SelectedOf(const YFCurve& curve);
    void DrawDense(const YFCurve& curve, double keysInColumn, const Window& window,
                   std::vector<float>& points);

    std::unordered_map<std::uint64_t, Kept> mKept;  ///< by the serials of curves
    std::unordered_map<std::uint64_t, Selected> mSelected;
};

}  // namespace editor
