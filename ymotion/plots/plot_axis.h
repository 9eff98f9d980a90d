#pragma once

#include <string>
#include <vector>

/// \file
/// Axes of plots: where the ticks are and how they are written.

namespace ymotion {

/// What an axis counts, which decides which steps look round.
enum class AxisUnit
{
    Decimal,
    Degrees  ///< steps of 15, 30, 45, 90, ... as well
};

/// Maps values to places on paper.
class AxisScale
{
  public:
    /// \param from, to    the values at the ends; different and finite.
    /// \param start, end  where the ends are, in pixels.
    AxisScale(double from, double to, double start, double end)
        : mFrom(from), mTo(to), mStart(start), mFactor((end - start) / (to - from))
    {}

    double At(double value) const { return mStart + (value - mFrom) * mFactor; }
    /// Pixels of a distance, with its sign.
    double Length(double distance) const { return distance * mFactor; }
    double From() const { return mFrom; }
    double To() const { return mTo; }

  private:
    double mFrom;
    double mTo;
    double mStart;
    double mFactor;
};

struct Tick
{
    double value;
    std::string label;
};

/// Round values inside a range, at most `most` of them, all written with the same number of decimals.
/// \param most  2 at least.
std::vector<Tick> NiceTicks(double from, double to, int most, AxisUnit unit);

}  // namespace ymotion
