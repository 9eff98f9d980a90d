#include <gtest/gtest.h>

#include <cmath>

#include "tests/curve/random_curve.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveplot.h"
#include "yfcurve/yfcurveutils.h"

using namespace yfc::test;

namespace {

double Farthest(const YFCurve& first, const YFCurve& second)
{
    YFCurveDifference difference;
    YFCurveUtils::CompareCurve(first, second, 0.0, &difference);
    return difference.value;
}

}  // namespace

TEST(IncreaseFidelity, AddsKeysOnlyWhereTheCurveStrays)
{
    // 0 to 1 s alike; from 1 to 2 s a bump that the curve does not have.
    const YFCurvePtr reference =
        MakeCurve({UserKey(0.0f, 0.0f, 0.0f), UserKey(1.0f, 0.0f, 0.0f), UserKey(1.0f, 0.0f, 0.0f)});
    reference->KeyAdd(Sec(1.5), UserKey(3.0f, 0.0f, 0.0f));
    const YFCurvePtr curve =
        MakeCurve({UserKey(0.0f, 0.0f, 0.0f), UserKey(1.0f, 0.0f, 0.0f), UserKey(1.0f, 0.0f, 0.0f)});
    EXPECT_EQ(YFCURVE_IncreaseFidelity(curve.get(), reference.get(), 1e-3), 1);
    EXPECT_EQ(curve->KeyGetTime(2), Sec(1.5));
    EXPECT_LE(Farthest(*curve, *reference), 1e-3);
    EXPECT_EQ(YFCURVE_IncreaseFidelity(curve.get(), reference.get(), 1e-3), 0);
}

TEST(IncreaseFidelity, KeepsJumpsAndSetsKeysThatAreOff)
{
    const YFCurvePtr reference = MakeCurve({ConstantKey(0.0f), ConstantKey(5.0f), LinearKey(2.0f)});
    const YFCurvePtr curve = MakeCurve({LinearKey(1.0f), LinearKey(1.0f), LinearKey(1.0f)});
    EXPECT_GT(YFCURVE_IncreaseFidelity(curve.get(), reference.get(), 0.0), 0);
    EXPECT_LE(Farthest(*curve, *reference), 1e-5);
}

TEST(IncreaseFidelity, ReachesRandomReferencesAndKeepsWhatIsOutside)
{
    RandomCurves random;
    SCOPED_TRACE(random.Seed());
    for (int round = 0; round < 300; ++round) {
        YFCurve curve;
        YFCurve reference;
        random.AddKeys(curve, random.Below(8), 0.9);
        random.AddKeys(reference, random.Below(8), 0.9);
        random.SetAnyExtrapolation(reference);
        const YTime start = Sec(random.Between(-1.0, 2.0));
        const YTime stop = start + Sec(random.Between(0.1, 3.0));
        const double tolerance = random.Between(0.01, 1.0);
        const YFCurve former(curve);
        ASSERT_GE(YFCURVE_IncreaseFidelity(&curve, &reference, tolerance, start, stop), 0);
        YFCurveDifference farthest;
        EXPECT_TRUE(YFCurveUtils::CompareCurve(curve, reference, tolerance + 1e-4, &farthest, start, stop))
            << farthest.value << " at " << farthest.time.GetSecondDouble();
        for (int i = 0; i < former.KeyGetCount(); ++i) {
            const YTime time = former.KeyGetTime(i);
            if (time >= start && time <= stop) continue;
            EXPECT_EQ(curve.Evaluate(time), former.KeyGetValue(i));
        }
        ASSERT_FALSE(testing::Test::HasFailure()) << "round " << round << " tolerance " << tolerance;
    }
}

TEST(IncreaseFidelity, RefusesWhatItCannotDo)
{
    YFCurve curve;
    YFCurve reference;
    reference.SetValue(1.0f);
    EXPECT_EQ(YFCURVE_IncreaseFidelity(&curve, &reference, -1.0), -1);
    EXPECT_EQ(YFCURVE_IncreaseFidelity(&curve, &reference, NAN), -1);
    EXPECT_EQ(YFCURVE_IncreaseFidelity(static_cast<YFCurve*>(nullptr), &reference, 1.0), -1);
    curve.SetLockedByLayer(true);
    EXPECT_EQ(YFCURVE_IncreaseFidelity(&curve, &reference, 0.1), -1);
    EXPECT_EQ(curve.KeyGetCount(), 0);
}
