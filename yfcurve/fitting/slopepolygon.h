#pragma once

#include <array>
#include <limits>

/// \file
/// The slopes at both ends of a segment that serve, as a convex polygon of the plane that the two make.

namespace yfc {

/// Two slopes, each times the duration of the segment: what a value would rise by along the tangent.
struct SlopePair
{
    double start;
    double end;
};

/// What one point of the source asks for: `low` <= `start` p.start + `end` p.end <= `high`.
struct SlopeStrip
{
    double start;
    double end;
    double low;
    double high;

    double At(const SlopePair& pair) const { return start * pair.start + end * pair.end; }
};

/// From `low` to `high`; empty where `low` is greater.
struct SlopeRange
{
    double low;
    double high;

    bool IsEmpty() const { return !(low <= high); }
    bool Contains(double slope) const { return slope >= low && slope <= high; }
    bool Contains(const SlopeRange& other) const { return other.low >= low && other.high <= high; }
};

inline constexpr SlopeRange kAnySlope{-std::numeric_limits<double>::infinity(),
                                      std::numeric_limits<double>::infinity()};

class SlopePolygon
{
  public:
    /// The parallelogram that two strips of different directions have in common.
    SlopePolygon(const SlopeStrip& first, const SlopeStrip& second);
    /// A single pair.
    explicit SlopePolygon(const SlopePair& pair) : mCount(1) { mCorners[0] = pair; }
    SlopePolygon() = default;

    int GetCount() const { return mCount; }
    const SlopePair& operator[](int corner) const { return mCorners[static_cast<std::size_t>(corner)]; }

    /// Leaves what is in the strip as well; the polygon has corners.
    /// \return  whether there is anything left.
    bool Clip(const SlopeStrip& strip)
    {
        double least = strip.At(mCorners[0]);
        double most = least;
        for (int i = 1; i < mCount; ++i) {
            const double at = strip.At((*this)[i]);
            least = at < least ? at : least;
            most = at > most ? at : most;
        }
        if (most <= strip.high && least >= strip.low) return true;
        return CutOff(strip, least, most);
    }

    /// The end slopes of the pairs whose start slope is in a range, and the other way round.
    SlopeRange EndsFor(const SlopeRange& starts) const { return Project<&SlopePair::start>(starts); }
    SlopeRange StartsFor(const SlopeRange& ends) const { return Project<&SlopePair::end>(ends); }

    /// The corner whose end slope is nearest to one.
    const SlopePair& NearestTo(double end) const;

  private:
    static constexpr int kMostCorners = 24;

    template<double SlopePair::*along>
    SlopeRange Project(const SlopeRange& range) const;
    bool CutOff(const SlopeStrip& strip, double least, double most);
    void CutHalf(double start, double end, double most);
    void Add(const SlopePair& corner);

    std::array<SlopePair, kMostCorners> mCorners;
    int mCount = 0;
};

}  // namespace yfc
