#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/node/nodes.h"
#include "yfcurve/yfcurvefilterkeyreducer.h"
#include "yfcurve/yfcurveutils.h"

namespace {

using namespace nodetest;
using yfc::test::ExpectSameKeys;
using Progress = std::vector<std::pair<std::int64_t, std::int64_t>>;

class WatchedReducer : public YFCurveFilterKeyReducer
{
  public:
    Progress progress;

  protected:
    void UpdateProgressInformation(YTime start, YTime stop) override
    {
        progress.emplace_back(start.Get(), stop.Get());
    }
};

// The reduction as a recursion that inserts into the whole reduced curve and evaluates that.
class PlainReducer
{
  public:
    PlainReducer(const YFCurve& source, double precision) : mSource(source), mPrecision(precision) {}

    Progress progress;

    YFCurve Reduce(YTime start, YTime stop)
    {
        const int first = static_cast<int>(std::floor(mSource.KeyFind(start)));
        const int last = static_cast<int>(std::ceil(mSource.KeyFind(stop)));
        AddKey(first, YFCURVE_TANGENT_USER, mSource.KeyGetRightDerivative(first),
               mSource.KeyGetLeftDerivative(last));
        AddKey(last, YFCURVE_TANGENT_AUTO, 0.0f, 0.0f);
        Subdivide(first, last);
        YFCurve result(mSource);
        YFCurveUtils::Merge(mSource, mReduced, result);
        return result;
    }

  private:
    void AddKey(int index, unsigned mode, float data0, float data1)
    {
        SetKey(mReduced.KeyAdd(mSource.KeyGetTime(index)), index, mode, data0, data1);
    }

    void SetKey(int at, int index, unsigned mode, float data0, float data1)
    {
        YFCurveKey key;
        key.Set(mSource.KeyGetTime(index), mSource.KeyGetValue(index), YFCURVE_INTERP_CUBIC, mode, data0,
                data1, YFCURVE_WEIGHT_NONE, 0.33333334f, 0.33333334f, 0.0f, 0.0f);
        EXPECT_TRUE(mReduced.KeySet(at, key));
    }

    void Subdivide(int a, int b)
    {
        double largest = 0.0;
        int k = -1;
        int hint = 0;
        for (int i = a; i < b; ++i) {
            const double miss =
                static_cast<double>(mReduced.Evaluate(mSource.KeyGetTime(i), &hint)) - mSource.KeyGetValue(i);
            if (miss * miss > largest) {
                largest = miss * miss;
                k = i;
            }
        }
        if (!(largest > mPrecision * mPrecision)) return;
        ++mDepth;
        const float right = mSource.KeyGetRightDerivative(k), left = mSource.KeyGetLeftDerivative(k);
        const int n = mReduced.KeyAdd(mSource.KeyGetTime(k));
        SetKey(n, k, right == left ? 0x400 : 0xC00, right,
               mReduced.KeyGetDataDouble(n - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE));
        mReduced.KeySetDataDouble(n - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, left);
        for (const auto& [from, to] : {std::pair(a, k), std::pair(k, b)}) {
            if (to - from <= 1) continue;
            Subdivide(from, to);
            if (mDepth < 10) progress.emplace_back(from, to);
        }
        --mDepth;
    }

    const YFCurve& mSource;
    double mPrecision;
    YFCurve mReduced;
    int mDepth = 0;
};

// A swing that grows is split off at its end, key after key; others have ties, or values beside which a difference is
// a matter of rounding.
void AddSwing(YFCurve& curve, RandomCurves& random)
{
    const int count = random.Int(300, 1500);
    const double growth = random.Pick({0.0, 0.01, -0.01}), drift = random.Pick({0.0, 0.001, 3.0});
    const double noise = random.Pick({0.0, 1e-5, 0.5});
    const float offset = random.Pick({0.0f, 1e4f, 1e30f});
    const int steps = random.Pick({1, 7, 400});
    for (int i = 0; i < count; ++i) {
        const double swing = (i / steps % 2 == 0 ? 1.0 : -1.0) * (10.0 + growth * i);
        const double value = swing + drift * i + random.Between(-noise, noise);
        curve.KeyAppendFast(Seconds(i / 30.0 + random.Between(0.0, 0.02)),
                            offset + static_cast<float>(value));
    }
}

}  // namespace

// Long ranges are not searched key by key.
TEST(KeyReducer, MatchesThePlainRecursion)
{
    RandomCurves random;
    for (int round = 0; round < 240 && !HasFailure(); ++round) {
        const bool isLong = round % 6 == 0;
        YFCurve source;
        if (isLong) {
            AddSwing(source, random);
        } else {
            random.AddKeys(source, 2 + random.Below(80), round % 2 == 0 ? 0.9 : 0.0);
        }
        if (random.Chance(isLong ? 0.3 : 0.1)) {
            const float odd = random.Pick({std::numeric_limits<float>::quiet_NaN(), HUGE_VALF, 1e30f, 1e38f});
            source.KeySetValue(random.Below(source.KeyGetCount()), odd);
        }
        YTime start = source.KeyGetTime(0), stop = source.KeyGetTime(source.KeyGetCount() - 1);
        WatchedReducer filter;
        filter.SetPrecision(isLong ? random.Pick({0.0, 0.1, 12.0})
                                   : random.Pick({0.0, 0.1, 5.0, 30.0, std::nan("")}));
        if (!isLong && random.Chance(0.5)) {
            stop = random.TimeBetween(start + YTime(1), stop);
            start = random.TimeBetween(start, stop - YTime(1));
            filter.SetStartTime(start);
            filter.SetStopTime(stop);
        }
        PlainReducer model(source, filter.GetPrecision());
        YFCurve reduced(source);
        EXPECT_TRUE(filter.Apply(reduced));
        ExpectSameKeys(model.Reduce(start, stop), reduced);
        EXPECT_EQ(model.progress, filter.progress);
    }
}

// Of the span alone, whether it is given the node or its curves.
TEST(KeyReducer, SynchronisesCurves)
{
    for (const bool ofNode : {true, false}) {
        const YFCurveNodePtr node = nodetest::Translation();
        YFCurve* curves[3];
        for (int axis = 0; axis < 3; ++axis) {
            curves[axis] = &CurveOf(*node, axis);
            for (int i = 0; i < 90; ++i) {
                const double value = 10.0 * std::sin(i * 0.1 * (axis + 1));
                curves[axis]->KeyAppendFast(Seconds(i / 30.0), static_cast<float>(value));
            }
        }
        for (const double second : {0.21, 2.51}) curves[0]->KeyAdd(Seconds(second));
        YFCurveFilterKeyReducer filter;
        filter.SetKeySync(true);
        filter.SetStartTime(Seconds(0.5));
        filter.SetStopTime(Seconds(2.0));
        EXPECT_TRUE(ofNode ? filter.Apply(*node, true) : filter.Apply(curves, 3));
        EXPECT_TRUE(filter.GetKeySync());
        std::vector<double> times = yfc::test::KeySeconds(*curves[0]);
        EXPECT_LT(times.size(), 75u);
        std::erase_if(times, [](double time) { return std::abs(std::abs(time - 1.36) - 1.15) < 1e-6; });
        for (int axis = 1; axis < 3; ++axis) EXPECT_EQ(yfc::test::KeySeconds(*curves[axis]), times);
        // With nothing to bring in step, the option stays switched off.
        EXPECT_TRUE(filter.Apply(*node->Get(0), true));
        EXPECT_FALSE(filter.GetKeySync());
    }
}
