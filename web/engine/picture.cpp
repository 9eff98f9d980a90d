#include "web/engine/picture.h"

#include <algorithm>
#include <cmath>

namespace editor {

namespace {

/// So many pixels of a row are a line of the processor's cache.
constexpr std::uint32_t kStrip = 16;
/// From the middle of a line to its edge, in pixels.
constexpr float kHalf = 0.5f;
constexpr std::uint32_t kOpaque = 0xFF000000u;

/// A colour seen through what is painted over it: `over` with its opacity, and `color` with a coverage from 0 to 1.
std::uint32_t SeenThrough(std::uint32_t over, std::uint32_t color, float coverage)
{
    const float opacityOver = static_cast<float>(over >> 24) / 255.0f;
    const float opacityUnder = coverage * (1.0f - opacityOver);
    const float opacity = opacityOver + opacityUnder;
    if (opacity <= 0.0f) return 0;
    const float part = opacityOver / opacity;
    std::uint32_t blended = static_cast<std::uint32_t>(opacity * 255.0f + 0.5f) << 24;
    for (const unsigned shift : {0u, 8u, 16u}) {
        const auto below = static_cast<float>((color >> shift) & 0xFFu);
        const auto above = static_cast<float>((over >> shift) & 0xFFu);
        blended |= static_cast<std::uint32_t>(below + (above - below) * part + 0.5f) << shift;
    }
    return blended;
}

/// A column of pixels, painted from the uppermost line to the lowest one, so that what is hidden costs next to nothing.
class PixelColumn
{
  public:
    explicit PixelColumn(std::span<std::uint32_t> pixels) : mPixels(pixels) {}

    /// An upright line; parts of pixels at its ends are covered in part.
    void PaintBelow(float top, float bottom, std::uint32_t color)
    {
        const float height = static_cast<float>(mPixels.size());
        if (!(bottom > 0.0f && top < height)) return;
        top = std::max(top, -1.0f);
        bottom = std::min(bottom, height + 1.0f);
        const int first = static_cast<int>(std::floor(top));
        const int last = static_cast<int>(std::floor(bottom));
        if (first >= mHiddenFrom && last < mHiddenTo) return;
        PaintRow(first, std::min(bottom, static_cast<float>(first + 1)) - top, color);
        if (last > first) PaintRow(last, bottom - static_cast<float>(last), color);
        const int from = std::max(first + 1, 0);
        const int to = std::min(last, static_cast<int>(mPixels.size()));
        PaintRows(from, std::min(to, mHiddenFrom), color);
        PaintRows(std::max(from, mHiddenTo), to, color);
        Hide(from, to);
    }

  private:
    void PaintRow(int row, float coverage, std::uint32_t color)
    {
        if (row < 0 || row >= static_cast<int>(mPixels.size())) return;
        std::uint32_t& pixel = mPixels[static_cast<std::size_t>(row)];
        if (pixel < kOpaque) pixel = SeenThrough(pixel, color, coverage);
    }

    void PaintRows(int from, int to, std::uint32_t color)
    {
        for (int row = from; row < to; ++row) {
            std::uint32_t& pixel = mPixels[static_cast<std::size_t>(row)];
            if (pixel == 0) {
                pixel = color | kOpaque;
            } else if (pixel < kOpaque) {
                pixel = SeenThrough(pixel, color, 1.0f);
            }
        }
    }

    /// These rows let nothing be seen below them. Of two such stretches the longer one is remembered.
    void Hide(int from, int to)
    {
        if (from >= to) return;
        const bool doTouch = from <= mHiddenTo && mHiddenFrom <= to;
        if (doTouch) {
            mHiddenFrom = std::min(mHiddenFrom, from);
            mHiddenTo = std::max(mHiddenTo, to);
        } else if (to - from > mHiddenTo - mHiddenFrom) {
            mHiddenFrom = from;
            mHiddenTo = to;
        }
    }

    std::span<std::uint32_t> mPixels;
    int mHiddenFrom = 0;
    int mHiddenTo = 0;
};

/// Some columns of pixels next to each other, each in one piece of memory, as lines run down them.
class Strip
{
  public:
    explicit Strip(std::uint32_t height)
        : mHeight(height), mStride(std::size_t{height} + kStrip), mPixels(kStrip * mStride)
    {}

    void Clear()
    {
        std::fill(mPixels.begin(), mPixels.end(), 0u);
        mColumns.clear();
        for (std::uint32_t x = 0; x < kStrip; ++x)
            mColumns.emplace_back(std::span(mPixels.data() + x * mStride, mHeight));
    }

    void PaintBelow(const PaintedCurve& curve, std::span<const std::uint32_t> columnOfPixel,
                    std::uint32_t left, std::uint32_t width, const ValueScale& scale)
    {
        Extremes before = curve.columns[columnOfPixel[left == 0 ? 0 : left - 1]];
        for (std::uint32_t x = 0; x < width; ++x) {
            const Extremes extremes = curve.columns[columnOfPixel[left + x]];
            // The line goes on from where it left the column before.
            const float least = std::min(extremes.least, before.greatest);
            const float greatest = std::max(extremes.greatest, before.least);
            const float top = scale.Y(static_cast<double>(greatest)) - kHalf;
            const float bottom = scale.Y(static_cast<double>(least)) + kHalf;
            mColumns[x].PaintBelow(top, bottom, curve.color);
            before = extremes;
        }
    }

    void CopyTo(Picture& picture, std::uint32_t left, std::uint32_t width) const
    {
        for (std::uint32_t y = 0; y < mHeight; ++y) {
            std::uint32_t* row = picture.pixels.data() + std::size_t{y} * picture.width + left;
            for (std::uint32_t x = 0; x < width; ++x) row[x] = mPixels[x * mStride + y];
        }
    }

  private:
    std::uint32_t mHeight;
    std::size_t mStride;  ///< longer, so that columns do not meet in the same place of the cache
    std::vector<std::uint32_t> mPixels;
    std::vector<PixelColumn> mColumns;
};

}  // namespace

float ValueScale::Y(double value) const
{
    const double y = (high - value) * pixelsPerUnit;
    return std::isnan(y) ? 0.0f : static_cast<float>(std::clamp(y, -1e6, 1e6));
}

Picture PaintCurves(std::span<const PaintedCurve> curves, std::span<const std::uint32_t> columnOfPixel,
                    std::uint32_t height, const ValueScale& scale)
{
    const auto width = static_cast<std::uint32_t>(columnOfPixel.size());
    Picture picture{width, height, std::vector<std::uint32_t>(std::size_t{width} * height)};
    Strip strip(height);
    for (std::uint32_t left = 0; left < width; left += kStrip) {
        const std::uint32_t wide = std::min(kStrip, width - left);
        strip.Clear();
        for (auto curve = curves.rbegin(); curve != curves.rend(); ++curve)
            strip.PaintBelow(*curve, columnOfPixel, left, wide, scale);
        strip.CopyTo(picture, left, wide);
    }
    return picture;
}

}  // namespace editor
