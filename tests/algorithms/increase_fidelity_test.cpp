#include <gtest/gtest.h>

#include <cmath>

#include "tests/curve/random_curve.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveplot.h"

using namespace yfc::test;

TEST(IncreaseFidelity, AddsKeysOnlyWhereTheCurveStrays)
{
    // 0 to 1 s alike; from 1 to 2 s a bump that the curve does not have.
    const YFCurvePtr reference = MakeCurve({UserKey(0.0f), UserKey(1.0f), UserKey(1.0f)});
    const YFCurvePtr curve(reference->Copy());
    reference->KeyAdd(Sec(1.5), UserKey(3.0f));
    EXPECT_EQ(YFCURVE_IncreaseFidelity(curve.get(), reference.get(), 1e-3), 1);
    EXPECT_EQ(curve->KeyGetTime(2), Sec(1.5));
    EXPECT_LE(Farthest(*curve, *reference), 1e-3);
    EXPECT_EQ(YFCURVE_IncreaseFidelity(curve.get(), reference.get(), 1e-3), 0);
}

TEST(IncreaseFidelity, SetsWhatIsOffBeforeItAdds)
{
    // Auto slopes follow the value that is set, and nothing is left to be added.
    const YFCurvePtr reference = MakeCurve({AutoKey(0.0f), AutoKey(3.0f), AutoKey(1.0f), AutoKey(4.0f)});
    YFCurve curve(*reference);
    for (int i = 0; i < 4; ++i) curve.KeySetValue(i, curve.KeyGetValue(i) + 1.0f);
    EXPECT_EQ(YFCURVE_IncreaseFidelity(&curve, reference.get(), 1e-5), 0);
    EXPECT_LE(Farthest(curve, *reference), 1e-5);
}

TEST(IncreaseFidelity, DoesNotChaseRoundingErrors)
{
    YFCurveKey key = UserKey(0.0f, 40.0f, -40.0f);
    key.SetTangeantWeightMode(YFCURVE_WEIGHT_ALL);
    key.SetDataDouble(YFCURVEKEY_RIGHT_WEIGHT, 0.7f);
    key.SetDataDouble(YFCURVEKEY_NEXT_LEFT_WEIGHT, 0.1f);
    const YFCurvePtr reference = MakeCurve({key, UserKey(20.0f, -40.0f)});
    const YFCurvePtr curve = MakeCurve({LinearKey(0.0f), LinearKey(20.0f)});
    const int added = YFCURVE_IncreaseFidelity(curve.get(), reference.get(), 0.0);
    EXPECT_GT(added, 5);
    EXPECT_LT(added, 100);
    EXPECT_LE(Farthest(*curve, *reference), 1e-3);
}

namespace {

// What single precision leaves open: the last places of a value, and the time within a weighted segment.
double Rounding(const YFCurve& curve, YTime time)
{
    const double rounding = 4e-7 * std::abs(curve.Evaluate(time));
    const int key = static_cast<int>(curve.KeyFind(time));
    if (key < 0 || key + 1 >= curve.KeyGetCount() || curve.KeyGetTangeantWeightMode(key) == 0)
        return rounding;
    const YTime duration = curve.KeyGetTime(key + 1) - curve.KeyGetTime(key);
    return rounding + 1.5e-6 * duration.GetSecondDouble() * std::abs(curve.EvaluateRightDerivative(time));
}

}  // namespace

TEST(IncreaseFidelity, ReachesRandomReferencesAndKeepsWhatIsOutside)
{
    RandomCurves random;
    for (int round = 0; round < 300; ++round) {
        YFCurve curve, reference;
        random.AddKeys(curve, random.Below(8), 0.0);
        random.AddKeys(reference, random.Below(8), 0.9);
        random.SetEndlessExtrapolation(curve);
        random.SetAnyExtrapolation(reference);
        const YTime start = Sec(random.Between(-1.0, 2.0)), stop = start + Sec(random.Between(0.1, 3.0));
        const double tolerance = random.Between(0.01, 1.0);
        const YFCurve former(curve);
        ASSERT_GE(YFCURVE_IncreaseFidelity(&curve, &reference, tolerance, start, stop), 0);
        for (int i = 0; i < 1000; ++i) {
            const YTime inside = random.TimeBetween(start, stop);
            const double wanted = reference.Evaluate(inside);
            const double open = Rounding(reference, inside) + Rounding(curve, inside);
            ASSERT_NEAR(curve.Evaluate(inside), wanted, tolerance + 1e-4 + open)
                << "at " << inside.GetSecondDouble() << " round " << round << " tolerance " << tolerance;
            const YTime away = Sec(random.Between(1e-9, 4.0));
            for (const YTime outside : {start - away, stop + away}) {
                const double value = former.Evaluate(outside);
                ASSERT_NEAR(curve.Evaluate(outside), value, 1e-4 + 1e-6 * std::abs(value))
                    << "at " << outside.GetSecondDouble() << " round " << round;
            }
        }
    }
}

TEST(IncreaseFidelity, RefusesWhatItCannotDo)
{
    YFCurve curve, reference;
    reference.SetValue(1.0f);
    EXPECT_EQ(YFCURVE_IncreaseFidelity(&curve, &reference, -1.0), -1);
    EXPECT_EQ(YFCURVE_IncreaseFidelity(&curve, &reference, NAN), -1);
    EXPECT_EQ(YFCURVE_IncreaseFidelity(static_cast<YFCurve*>(nullptr), &reference, 1.0), -1);
    curve.SetLockedByLayer(true);
    EXPECT_EQ(YFCURVE_IncreaseFidelity(&curve, &reference, 0.1), -1);
    EXPECT_EQ(curve.KeyGetCount(), 0);
}
