#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "manipulated.h"
#include "tests/test_environment.h"

using namespace manipulatortest;
using namespace yfc::test;

namespace {

struct Options
{
    bool rippleX = false;
    bool rippleY = false;
    bool rippleAllY = false;
    bool keep = false;
};

struct Amounts
{
    double timeFactor = 1.0;
    YTime pivot;
    YTime shift;
    double valueShift = 0.0;
};

// Where every key belongs, put down one after another: what stays, what ripples, what moves.
std::map<YTime, float> Expected(const std::vector<YFCurveKey>& keys, const Options& options,
                                const Amounts& amounts)
{
    const auto moved = [&](YTime time) {
        const double ticks = static_cast<double>((time - amounts.pivot).Get());
        if (amounts.timeFactor == 1.0) return time + amounts.shift;
        return amounts.pivot + YTime(std::llround(ticks * amounts.timeFactor));
    };
    const YFCurveKey* last = nullptr;
    YTime end = YTIME_MINUS_INFINITE;
    for (const YFCurveKey& key : keys) {
        if (!key.GetMarkedForManipulation()) continue;
        last = &key;
        end = std::max(end, moved(key.GetTime()));
    }
    std::map<YTime, float> expected;
    const auto raised = [&](float value) { return static_cast<float>(value + amounts.valueShift); };
    for (int pass = 0; pass < 3; ++pass) {
        for (const YFCurveKey& key : keys) {
            const bool marked = key.GetMarkedForManipulation();
            const bool after = last != nullptr && key.GetTime() > last->GetTime();
            const bool up = last != nullptr && !marked && (options.rippleAllY || (after && options.rippleY));
            const float value = up ? raised(key.GetValue()) : key.GetValue();
            if (pass == 0 && !after && (!marked || options.keep)) expected[key.GetTime()] = value;
            if (pass == 1 && after) {
                const YTime ripple = options.rippleX ? end - last->GetTime() : YTIME_ZERO;
                expected[key.GetTime() + ripple] = value;
            }
            if (pass == 2 && marked) expected[moved(key.GetTime())] = raised(key.GetValue());
        }
    }
    return expected;
}

// Auto parameters beyond 500 add a slope that does not depend on the curve, and with two weights near 1 a
// value changes in no time.
void KeepModerate(YFCurve& curve)
{
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        if (curve.KeyGetTangeantMode(i) == YFCURVE_TANGENT_TCB) continue;
        for (const auto word : {YFCURVEKEY_RIGHT_DERIVATIVE, YFCURVEKEY_NEXT_LEFT_DERIVATIVE}) {
            curve.KeySetDataFloat(i, word, std::fmod(curve.KeyGetDataFloat(i, word), 500.0f));
        }
        for (const auto weight : {YFCURVEKEY_RIGHT_WEIGHT, YFCURVEKEY_NEXT_LEFT_WEIGHT}) {
            curve.KeySetDataDouble(i, weight, std::min(curve.KeyGetDataDouble(i, weight), 0.7f));
        }
    }
}

}  // namespace

TEST(ManipulatorProperty, RandomDragsAgreeWithAPlainModel)
{
    SCOPED_TRACE(test::HowToRepeat());
    Random random(test::Seed());
    const int records = YFCURVE_GetKeyAttrCount();
    for (int round = 0; round < 150; ++round) {
        std::vector<YFCurveNodePtr> nodes;
        YFCurveManipulator manipulator;
        for (int i = random.Int(1, 4); i > 0; --i) {
            nodes.push_back(Samples(0));
            nodes.back()->FCurveGet()->CopyFrom(*RandomCurve(random, random.Int(0, 40)));
            manipulator.Add(nodes.back().get());
        }
        for (const YFCurveNodePtr& node : nodes)
            manipulator.MarkCurveNodeForManip(random.Chance(0.8), node.get());
        const double from = random.Real(-5.0, 20.0);
        manipulator.SelectKeys(kSelectionReplace, Sec(from), Sec(from + random.Real(0.0, 20.0)),
                               random.Real(-60.0, 0.0), random.Real(0.0, 60.0));
        manipulator.MarkKeysForManipFromSelection();
        const Options options{random.Chance(0.3), random.Chance(0.3), random.Chance(0.2), random.Chance(0.3)};
        manipulator.SetRippleMoveX(options.rippleX);
        manipulator.SetRippleStretchX(options.rippleX);
        manipulator.SetRippleMoveY(options.rippleY);
        manipulator.SetRippleAllY(options.rippleAllY);
        std::vector<std::vector<YFCurveKey>> keys;
        std::vector<std::string> originals;
        for (const YFCurveNodePtr& node : nodes) {
            const YFCurve& curve = *node->FCurveGet();
            keys.emplace_back();
            for (int i = 0; i < curve.KeyGetCount(); ++i) keys.back().push_back(curve.KeyGet(i));
            originals.push_back(Bits(curve));
        }
        manipulator.BeginManipulation(kManipulationMove, options.keep);
        for (int call = 0; call < 8; ++call) {
            Amounts amounts;
            amounts.pivot = Sec(random.Real(-5.0, 20.0));
            const bool restores = call == 7;
            if (restores) {
                manipulator.Offset(YTIME_ZERO, 0.0);
            } else if (random.Chance(0.5)) {
                amounts.timeFactor = random.Pick({0.0, -1.0, 0.25, -1.7, random.Real(-2.0, 2.0)});
                manipulator.StretchX(amounts.timeFactor, amounts.pivot);
            } else {
                amounts.shift = Sec(random.Real(-8.0, 8.0));
                amounts.valueShift = random.Pick({0.0, random.Real(-9.0, 9.0)});
                manipulator.Offset(amounts.shift, amounts.valueShift);
            }
            YTime start, stop;
            double low, high;
            YTime expectedStart = YTIME_INFINITE;
            double expectedHigh = -1.7976931348623157e308;
            for (std::size_t n = 0; n < nodes.size(); ++n) {
                const YFCurve& curve = *nodes[n]->FCurveGet();
                const bool taken = manipulator.IsCurveNodeMarkedForManip(nodes[n].get());
                const auto expected =
                    Expected(keys[n], taken ? options : Options(), taken ? amounts : Amounts());
                ASSERT_EQ(curve.KeyGetCount(), static_cast<int>(expected.size())) << round << ' ' << call;
                int i = 0;
                for (const auto& [time, value] : expected) {
                    ASSERT_EQ(curve.KeyGetTime(i), time) << round << ' ' << call << ' ' << i;
                    ASSERT_EQ(curve.KeyGetValue(i), value) << round << ' ' << call << ' ' << i;
                    if (curve.KeyGetSelected(i)) {
                        expectedStart = std::min(expectedStart, time);
                        expectedHigh = std::max(expectedHigh, double{value});
                    }
                    ++i;
                }
                ASSERT_TRUE(!restores || Bits(curve) == originals[n]) << round;
            }
            manipulator.GetSelectionRange(start, stop, low, high);
            ASSERT_EQ(start, expectedStart);
            ASSERT_EQ(high, expectedHigh);
        }
        if (random.Chance(0.5)) manipulator.EndManipulation();
    }
    EXPECT_EQ(YFCURVE_GetKeyAttrCount(), records);
}

// A curve whose keys are all stretched is the stretched curve: f'(pivot + factor (t - pivot)) = f(t).
TEST(ManipulatorProperty, StretchedCurvesAreStretched)
{
    SCOPED_TRACE(test::HowToRepeat());
    Random random(test::Seed());
    for (int round = 0; round < 200; ++round) {
        const YFCurveNodePtr node = Samples(0);
        YFCurve& curve = *node->FCurveGet();
        curve.CopyFrom(*RandomCurve(random, random.Int(2, 30)));
        KeepModerate(curve);
        const YFCurve before(curve);
        YFCurveManipulator manipulator;
        Mark(manipulator, *node, 0, curve.KeyGetCount() - 1);
        manipulator.BeginManipulation(kManipulationStretchXY);
        const double timeFactor = random.Pick({1.0, -1.0, -0.5, 2.0});
        const double valueFactor = random.Pick({1.0, 2.0, 0.5});
        manipulator.StretchXY(timeFactor, valueFactor, YTIME_ZERO, 0.0);
        const YTime first = before.KeyGetTime(0);
        const YTime last = before.KeyGetTime(before.KeyGetCount() - 1);
        for (int i = 0; i < 100; ++i) {
            const YTime time(random.Integer(first.Get(), last.Get()) / 2 * 2);
            const double expected = before.Evaluate(time) * valueFactor;
            const YTime stretched(std::llround(static_cast<double>(time.Get()) * timeFactor));
            ASSERT_NEAR(curve.Evaluate(stretched), expected, 5e-3 * std::max(1.0, std::abs(expected)))
                << round << " factor " << timeFactor << " at " << before.KeyFind(time) << " of "
                << before.KeyGetCount();
        }
    }
}
