#include "web/engine/picture.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace editor {

namespace {

/// Columns that are painted together, so that what curves show in them is fetched from memory in long runs.
constexpr std::uint32_t kStrip = 64;
/// From the middle of a line to its edge, in pixels.
constexpr float kHalf = 0.5f;
constexpr std::uint32_t kOpaque = 0xFF000000u;

/// A colour seen through what is painted over it: `over` with its opacity, and `color` with a coverage from 0 to 1.
std::uint32_t SeenThrough(std::uint32_t over, std::uint32_t color, float coverage)
{
    if (over == 0) return color | static_cast<std::uint32_t>(coverage * 255.0f + 0.5f) << 24;
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

/// A column of pixels, painted from the uppermost line to the lowest one. It remembers by a bit for each row which ones
/// let nothing be seen below them, so that what is hidden costs next to nothing.
class PixelColumn
{
  public:
    explicit PixelColumn(std::uint32_t height)
        : mPixels(height), mOpaque(height / kRows + 1), mTouched(height / kRows + 1)
    {}

    std::span<const std::uint32_t> Pixels() const { return mPixels; }

    void Clear()
    {
        std::fill(mPixels.begin(), mPixels.end(), 0u);
        std::fill(mOpaque.begin(), mOpaque.end(), 0u);
        std::fill(mTouched.begin(), mTouched.end(), 0u);
    }

    /// An upright line; parts of pixels at its ends are covered in part.
    void PaintBelow(float top, float bottom, std::uint32_t color)
    {
        const auto height = static_cast<float>(mPixels.size());
        if (!(bottom > 0.0f && top < height)) return;
        top = std::max(top, -1.0f);
        bottom = std::min(bottom, height + 1.0f);
        const int first = static_cast<int>(std::floor(top));
        const int last = static_cast<int>(std::floor(bottom));
        PaintRow(first, std::min(bottom, static_cast<float>(first + 1)) - top, color);
        if (last > first) PaintRow(last, bottom - static_cast<float>(last), color);
        const int from = std::max(first + 1, 0);
        const int to = std::min(last, static_cast<int>(mPixels.size()));
        if (from < to) PaintRows(static_cast<unsigned>(from), static_cast<unsigned>(to), color);
    }

  private:
    /// One bit for each of so many rows.
    using Rows = std::uint64_t;
    static constexpr unsigned kRows = 64;

    void PaintRow(int row, float coverage, std::uint32_t color)
    {
        if (row < 0 || row >= static_cast<int>(mPixels.size())) return;
        const auto at = static_cast<std::size_t>(row);
        const Rows bit = Rows{1} << (at % kRows);
        if ((mOpaque[at / kRows] & bit) != 0) return;
        mPixels[at] = SeenThrough(mPixels[at], color, coverage);
        mTouched[at / kRows] |= bit;
        if (mPixels[at] >= kOpaque) mOpaque[at / kRows] |= bit;
    }

    void PaintRows(unsigned from, unsigned to, std::uint32_t color)
    {
        for (unsigned start = from; start < to;) {
            const unsigned word = start / kRows;
            const unsigned stop = std::min(to, (word + 1) * kRows);
            const Rows wanted = (~Rows{0} >> (kRows - (stop - start))) << (start % kRows);
            const Rows open = wanted & ~mOpaque[word];
            if (open != 0) {
                mOpaque[word] |= wanted;
                Fill(word * kRows, open & ~mTouched[word], color);
                FillBelow(word * kRows, open & mTouched[word], color);
            }
            start = stop;
        }
    }

    /// Rows in which nothing is, run by run.
    void Fill(unsigned first, Rows rows, std::uint32_t color)
    {
        while (rows != 0) {
            const auto skipped = static_cast<unsigned>(std::countr_zero(rows));
            const auto count = static_cast<unsigned>(std::countr_one(rows >> skipped));
            std::fill_n(&mPixels[first + skipped], count, color | kOpaque);
            if (skipped + count == kRows) return;
            rows &= ~Rows{0} << (skipped + count);
        }
    }

    /// Rows in which ends of lines are.
    void FillBelow(unsigned first, Rows rows, std::uint32_t color)
    {
        for (; rows != 0; rows &= rows - 1) {
            std::uint32_t& pixel = mPixels[first + static_cast<unsigned>(std::countr_zero(rows))];
            pixel = SeenThrough(pixel, color, 1.0f);
        }
    }

    std::vector<std::uint32_t> mPixels;
    std::vector<Rows> mOpaque;
    std::vector<Rows> mTouched;  ///< by ends of lines
};

/// Some columns of pixels next to each other, each in one piece of memory, as lines run down them.
class Strip
{
  public:
    explicit Strip(std::uint32_t height) : mHeight(height), mColumns(kStrip, PixelColumn(height)) {}

    void Clear()
    {
        for (PixelColumn& column : mColumns) column.Clear();
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

    /// Some rows at a time, so that a line of the cache that has been fetched from a column is used up.
    void CopyTo(Picture& picture, std::uint32_t left, std::uint32_t width) const
    {
        constexpr std::uint32_t rowsInLine = 16;
        std::array<const std::uint32_t*, kStrip> columns;
        for (std::uint32_t x = 0; x < width; ++x) columns[x] = mColumns[x].Pixels().data();
        for (std::uint32_t top = 0; top < mHeight; top += rowsInLine) {
            for (std::uint32_t y = top; y < std::min(top + rowsInLine, mHeight); ++y) {
                std::uint32_t* row = picture.pixels.data() + std::size_t{y} * picture.width + left;
                for (std::uint32_t x = 0; x < width; ++x) row[x] = columns[x][y];
            }
        }
    }

  private:
    std::uint32_t mHeight;
    std::vector<PixelColumn> mColumns;
};

}  // namespace

float ValueScale::Y(double value) const
{
    const double y = (high - value) * pixelsPerUnit;
    return std::isnan(y) ? 0.0f : static_cast<float>(std::clamp(y, -1e6, 1e6));
}

void PaintCurves(std::span<const PaintedCurve> curves, std::span<const std::uint32_t> columnOfPixel,
                 std::uint32_t height, const ValueScale& scale, Picture& picture)
{
    const auto width = static_cast<std::uint32_t>(columnOfPixel.size());
    picture.width = width;
    picture.height = height;
    picture.pixels.resize(std::size_t{width} * height);
    Strip strip(height);
    for (std::uint32_t left = 0; left < width; left += kStrip) {
        const std::uint32_t wide = std::min(kStrip, width - left);
        strip.Clear();
        for (auto curve = curves.rbegin(); curve != curves.rend(); ++curve)
            strip.PaintBelow(*curve, columnOfPixel, left, wide, scale);
        strip.CopyTo(picture, left, wide);
    }
}

}  // namespace editor
