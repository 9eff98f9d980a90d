#pragma once

#include <algorithm>
#include <cmath>

#include "curve_fixtures.h"

namespace yfc::test {

using Real = long double;

inline constexpr Real kTicksPerSecond = YTIME_TICKS_PER_SECOND;

/// What a curve means, worked out slowly: keys found one by one, weighted segments solved by bisection, all
/// in extended precision. Times are ticks. Slopes and weights are the curve's own, tested elsewhere.
class PlainCurve
{
  public:
    explicit PlainCurve(const YFCurve& curve) : mCurve(curve) {}

    Real At(Real time) const
    {
        if (Count() == 0) return mCurve.GetValue();
        if (Count() == 1) return mCurve.KeyGetValue(0);
        if (time < First() && mCurve.GetPreExtrapolation() == YFCURVE_EXTRAPOLATION_KEEP_SLOPE) {
            const Real distance = std::min(First() - time, Reach(mCurve.GetPreExtrapolationCount(), true));
            return mCurve.KeyGetValue(0) - mCurve.KeyGetRightDerivative(0) * distance / kTicksPerSecond;
        }
        if (time > Last() && mCurve.GetPostExtrapolation() == YFCURVE_EXTRAPOLATION_KEEP_SLOPE) {
            const Real distance = std::min(time - Last(), Reach(mCurve.GetPostExtrapolationCount(), false));
            const int end = Count() - 1;
            return mCurve.KeyGetValue(end) + mCurve.KeyGetLeftDerivative(end) * distance / kTicksPerSecond;
        }
        return Inside(Mapped(time), 0.0L).value;
    }

    // How far a value may be off: single precision of what is summed up, and on weighted segments what the
    // curve changes over the residual of the single-precision search for the parameter: relative to the time
    // from the nearer end, as all terms of the residual there have one sign. Nearer than the step that ends
    // the search there is none.
    Real Tolerance(Real time) const
    {
        if (Count() < 2) return 0;
        if (time < First() || time > Last()) {
            const Real outside = At(time);
            const Real inside = Inside(Mapped(time), 1e-6L).tolerance;
            return inside + 2e-7L * std::abs(outside) + 1e-12L;
        }
        return Inside(time, 1e-6L).tolerance;
    }

    // 15 steps of the secant do not find the parameter where one handle spans nearly all of the segment
    // and the other nothing: those segments are left out.
    bool SearchEnds(Real time) const
    {
        if (Count() < 2) return true;
        const Real mapped = Mapped(time);
        const int i = KeyUpTo(mapped);
        if (Time(i) == mapped || mCurve.KeyGetTangeantWeightMode(i) == YFCURVE_WEIGHT_NONE) return true;
        const auto [small, large] =
            std::minmax({mCurve.KeyGetRightTangeantWeight(i), mCurve.KeyGetLeftTangeantWeight(i + 1)});
        return small > 0.025f || large < 0.85f;
    }

    Real First() const { return Time(0); }
    Real Last() const { return Time(Count() - 1); }
    Real Period() const { return Last() - First(); }

  private:
    struct Result
    {
        Real value, tolerance;
    };

    int Count() const { return mCurve.KeyGetCount(); }
    Real Time(int key) const { return static_cast<Real>(mCurve.KeyGetTime(key).Get()); }
    // How far from the keys the copies go: no further than the last whole one that is within time.
    Real Reach(std::uint32_t count, bool before) const
    {
        if (count == YFCURVE_EXTRAPOLATION_UNLIMITED) return HUGE_VALL;
        const Real room = before ? First() + 0x1p63L : 0x1p63L - 1 - Last();
        return std::min<Real>(count, std::floor(room / Period())) * Period();
    }

    // The time inside the key range that a time outside shows.
    Real Mapped(Real time) const
    {
        if (time >= First() && time <= Last()) return time;
        const bool before = time < First();
        const unsigned mode = before ? mCurve.GetPreExtrapolation() : mCurve.GetPostExtrapolation();
        const Real reach =
            Reach(before ? mCurve.GetPreExtrapolationCount() : mCurve.GetPostExtrapolationCount(), before);
        const Real distance = before ? First() - time : time - Last();
        const bool mirrors = mode == YFCURVE_EXTRAPOLATION_MIRROR_REPETITION;
        if ((mode != YFCURVE_EXTRAPOLATION_REPETITION && !mirrors) || distance >= reach)
            return before ? First() : Last();
        const Real copy = std::floor(distance / Period());
        const Real repeated = time + (before ? 1 : -1) * (copy + 1) * Period();
        return mirrors && std::fmod(copy, 2.0L) == 0 ? First() + Last() - repeated : repeated;
    }

    // The key at a time inside the key range, or else the one before it.
    int KeyUpTo(Real time) const
    {
        int i = 0;
        while (i + 1 < Count() && Time(i + 1) <= time) ++i;
        return i;
    }

    static Real Bezier(Real p0, Real p1, Real p2, Real p3, Real u)
    {
        const Real v = 1 - u;
        return v * v * v * p0 + 3 * v * v * u * p1 + 3 * v * u * u * p2 + u * u * u * p3;
    }

    static Real Bisect(Real right, Real left, Real fraction)
    {
        Real low = 0, high = 1;
        for (int i = 0; i < 70; ++i) {
            const Real middle = (low + high) / 2;
            const bool isBelow = Bezier(0, right, 1 - left, 1, middle) < fraction;
            low = isBelow ? middle : low;
            high = isBelow ? high : middle;
        }
        return low;
    }

    Result Inside(Real time, Real residual) const
    {
        const int i = KeyUpTo(time);
        const Real v0 = mCurve.KeyGetValue(i);
        if (Time(i) == time) return {v0, 0};
        const Real v3 = mCurve.KeyGetValue(i + 1);
        const Real u = (time - Time(i)) / (Time(i + 1) - Time(i));
        const Real endRounding = 2e-7L * std::max(std::abs(v0), std::abs(v3)) + 1e-12L;
        const unsigned kind = mCurve.KeyGetInterpolation(i);
        if (kind == YFCURVE_INTERP_CONSTANT) return {mCurve.KeyGetConstantMode(i) ? v3 : v0, 0};
        if (kind == YFCURVE_INTERP_LINEAR) return {v0 + u * (v3 - v0), endRounding};
        if (kind != YFCURVE_INTERP_CUBIC) return {0, 0};
        const Real duration = (Time(i + 1) - Time(i)) / kTicksPerSecond;
        const bool weighted = mCurve.KeyGetTangeantWeightMode(i) != YFCURVE_WEIGHT_NONE;
        const Real right = weighted ? mCurve.KeyGetRightTangeantWeight(i) : 1.0L / 3;
        const Real left = weighted ? mCurve.KeyGetLeftTangeantWeight(i + 1) : 1.0L / 3;
        const Real v1 = v0 + mCurve.KeyGetRightDerivative(i) * duration * right;
        const Real v2 = v3 - mCurve.KeyGetLeftDerivative(i + 1) * duration * left;
        const auto valueAt = [&](Real parameter) { return Bezier(v0, v1, v2, v3, parameter); };
        if (!weighted) return {valueAt(u), endRounding + 1e-7L * std::max(std::abs(v1), std::abs(v2))};

        const Real value = valueAt(Bisect(right, left, u));
        Real spread = 0;
        if (residual > 0) {
            const Real near = std::min(u, 1 - u);
            const Real off = near < residual ? near : near * residual;
            const Real low = Bisect(right, left, u - off), high = Bisect(right, left, u + off);
            for (int k = 0; k <= 8; ++k)
                spread = std::max(spread, std::abs(valueAt(low + (high - low) * k / 8) - value));
            // The parameter itself is a single-precision number near 1.
            spread += 1e-6L * std::max({std::abs(v1 - v0), std::abs(v2 - v1), std::abs(v3 - v2)});
        }
        return {value, spread + endRounding + 1e-7L * std::max(std::abs(v1), std::abs(v2))};
    }

    const YFCurve& mCurve;
};

}  // namespace yfc::test
