#pragma once

#include "curve_fixtures.h"
#include "tests/test_environment.h"

/// \file
/// Random curves of every kind of key, for properties that hold for all of them. As long as they are there, each
/// failure tells how to run the test with them again.

class RandomCurves : public yfc::test::Random
{
  public:
    RandomCurves() : Random(test::Seed()) {}
    explicit RandomCurves(unsigned seed) : Random(seed) {}

    double Between(double low, double high) { return Real(low, high); }
    int Below(int count) { return Int(0, count - 1); }
    YTime TimeBetween(YTime low, YTime high) { return YTime(Integer(low.Get(), high.Get())); }

    /// Keys from 2 ms to 2 s apart, with weights from 0 up to `largestWeight` (0: none).
    void AddKeys(YFCurve& curve, int count, double largestWeight)
    {
        YTime time = YTime::FromSeconds(Between(-1.0, 1.0));
        for (int i = 0; i < count; ++i) {
            YFCurveKey key = yfc::test::RandomKey(*this, largestWeight);
            if (i > 0 && Chance(0.2)) key.SetValue(curve.KeyGetValue(i - 1));
            curve.KeyAdd(time, key);
            time += YTime::FromSeconds(Between(0.002, 2.0));
        }
    }

    YFCurvePtr Curve(int count, double largestWeight = 1.0)
    {
        YFCurvePtr curve(YFCurveCreate());
        AddKeys(*curve, count, largestWeight);
        return curve;
    }

    /// Outside the keys constant, or a straight line without end.
    void SetEndlessExtrapolation(YFCurve& curve)
    {
        const auto mode = [this] {
            return Pick<unsigned>({YFCURVE_EXTRAPOLATION_KEEP_SLOPE, YFCURVE_EXTRAPOLATION_CONST});
        };
        curve.SetPreExtrapolation(mode());
        curve.SetPreExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
        curve.SetPostExtrapolation(mode());
        curve.SetPostExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
    }

    /// Any mode before and after the keys, over no, a few, or endless periods.
    void SetAnyExtrapolation(YFCurve& curve)
    {
        const auto mode = [this] { return static_cast<unsigned>(Int(1, 4)); };
        const auto count = [this] { return Pick({0u, 1u, 2u, 3u, YFCURVE_EXTRAPOLATION_UNLIMITED}); };
        curve.SetPreExtrapolation(mode());
        curve.SetPostExtrapolation(mode());
        curve.SetPreExtrapolationCount(count());
        curve.SetPostExtrapolationCount(count());
    }

  private:
    testing::ScopedTrace mHowToRepeat{__FILE__, __LINE__, test::HowToRepeat()};
};
