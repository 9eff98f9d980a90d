#pragma once

#include <cstdint>
#include <random>
#include <string>

#include "yfcurve/yfcurve.h"

/// \file
/// Random curves of every kind of key, for properties that hold for all of them.

class RandomCurves
{
  public:
    RandomCurves() : RandomCurves(std::random_device{}()) {}
    explicit RandomCurves(unsigned seed) : mSeed(seed), mEngine(seed) {}

    /// For SCOPED_TRACE: how to see a failure again.
    std::string Seed() const { return "RandomCurves seed " + std::to_string(mSeed); }

    double Between(double low, double high)
    {
        return low + (high - low) * static_cast<double>(mEngine()) / 4294967295.0;
    }
    int Below(int count) { return static_cast<int>(mEngine() % static_cast<unsigned>(count)); }
    YTime TimeBetween(YTime low, YTime high)
    {
        return low +
               YTime(static_cast<std::int64_t>(Between(0.0, 1.0) * static_cast<double>((high - low).Get())));
    }

    /// Adds `count` keys of random interpolation, tangent mode, overrides, weights and velocities.
    void AddKeys(YFCurve& curve, int count, double largestWeight)
    {
        YTime time = YTime::FromSeconds(Between(-1.0, 1.0));
        for (int i = 0; i < count; ++i) {
            YFCurveKey key = Key(largestWeight);
            if (i > 0 && Below(5) == 0) key.SetValue(curve.KeyGetValue(i - 1));
            curve.KeyAdd(time, key);
            time += YTime::FromSeconds(Between(0.002, 2.0));
        }
    }

    /// `Evaluate` outside the keys: constant, or a straight line without end.
    void SetEndlessExtrapolation(YFCurve& curve)
    {
        curve.SetPreExtrapolation(Below(2) ? YFCURVE_EXTRAPOLATION_KEEP_SLOPE : YFCURVE_EXTRAPOLATION_CONST);
        curve.SetPreExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
        curve.SetPostExtrapolation(Below(2) ? YFCURVE_EXTRAPOLATION_KEEP_SLOPE : YFCURVE_EXTRAPOLATION_CONST);
        curve.SetPostExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
    }

    void SetAnyExtrapolation(YFCurve& curve)
    {
        static constexpr unsigned counts[] = {0, 1, 2, 3, YFCURVE_EXTRAPOLATION_UNLIMITED};
        curve.SetPreExtrapolation(static_cast<unsigned>(1 + Below(4)));
        curve.SetPostExtrapolation(static_cast<unsigned>(1 + Below(4)));
        curve.SetPreExtrapolationCount(counts[Below(5)]);
        curve.SetPostExtrapolationCount(counts[Below(5)]);
    }

  private:
    YFCurveKey Key(double largestWeight)
    {
        static constexpr unsigned interpolations[] = {YFCURVE_INTERP_CONSTANT, YFCURVE_INTERP_LINEAR,
                                                      YFCURVE_INTERP_CUBIC,    YFCURVE_INTERP_CUBIC,
                                                      YFCURVE_INTERP_CUBIC,    YFCURVE_INTERP_CUBIC};
        static constexpr unsigned modes[] = {YFCURVE_TANGENT_AUTO, YFCURVE_TANGENT_TCB, YFCURVE_TANGENT_USER,
                                             YFCURVE_TANGENT_AUTO_BREAK, YFCURVE_TANGENT_USER_BREAK};
        static constexpr unsigned overrides[] = {0, YFCURVE_TANGENT_CLAMP, YFCURVE_TANGENT_TIME_INDEPENDENT,
                                                 YFCURVE_TANGENT_OVERRIDES};
        const auto value = [this] { return static_cast<float>(Between(-10.0, 10.0)); };
        const unsigned interpolation = interpolations[Below(6)];
        unsigned mode = modes[Below(5)];
        YFCurveKey key;
        if (interpolation == YFCURVE_INTERP_CUBIC && mode == YFCURVE_TANGENT_TCB) {
            key.SetTCB(YTime(), value(), value() / 10.0f, value() / 10.0f, value() / 10.0f);
            return key;
        }
        const bool isAuto = (mode & YFCURVE_TANGENT_AUTO) != 0 && interpolation == YFCURVE_INTERP_CUBIC;
        if (isAuto) mode |= overrides[Below(4)];
        if (interpolation == YFCURVE_INTERP_CONSTANT)
            mode = Below(2) ? YFCURVE_CONSTANT_NEXT : YFCURVE_CONSTANT_STANDARD;
        const auto word = [&] { return isAuto ? (Below(3) ? 60.0f * value() : 0.0f) : 3.0f * value(); };
        const auto weight = [&] { return static_cast<float>(Between(0.0, largestWeight)); };
        const unsigned weightMode = largestWeight > 0.0 ? static_cast<unsigned>(Below(4)) << 24 : 0u;
        key.Set(YTime(), value(), interpolation, mode, word(), word(), weightMode, weight(), weight(),
                value() / 4.0f, value() / 4.0f);
        key.SetTangeantVelocityMode(static_cast<unsigned>(Below(4)) << 28);
        return key;
    }

    unsigned mSeed;
    std::mt19937 mEngine;
};
