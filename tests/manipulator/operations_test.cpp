#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

#include "manipulated.h"
#include "tests/node/nodes.h"

using namespace manipulatortest;
using namespace yfc::test;

namespace {

// Plays backwards before it starts: the host's times -1 and 1 are the same one of the node.
class PingPongClip final : public nodetest::Clip
{
  public:
    YTime ETIGlobalTime2NodeTime(YTime time) const override { return std::max(time, -time); }
};

// One node of auto keys at 0, 1, 2 ... seconds with the values 0, 1, 2 ..., some of them taken up.
class ManipulatorOperations : public testing::Test
{
  protected:
    void TakeUp(YFCurveNodePtr taken, int first, int last, bool keep = false, double parameter = 0.0)
    {
        node = std::move(taken);
        Mark(manipulator, *node, first, last);
        manipulator.BeginManipulation(kManipulationMove, keep, parameter);
    }
    YFCurve& Curve() const { return *node->FCurveGet(); }
    std::string Now() const { return Keys(Curve()); }

    YFCurveNodePtr node;
    YFCurveManipulator manipulator;
};

}  // namespace

TEST_F(ManipulatorOperations, KeepWithinTimeAndValues)
{
    TakeUp(Samples(6), 2, 3);
    manipulator.OffsetX(YTime(INT64_MAX - 1));
    EXPECT_EQ(Curve().KeyGetCount(), 5) << "together at the end of time";
    EXPECT_LT(Curve().KeyGetTime(4), YTIME_INFINITE);
    manipulator.OffsetY(1e39);
    EXPECT_EQ(Curve().KeyGetValue(3), std::numeric_limits<float>::max());
    manipulator.SetY(-1.0);
    manipulator.OffsetY(std::nan(""));
    manipulator.OffsetX(YTIME_INFINITE);
    EXPECT_EQ(Now(), "0:0 1:1 2:-1 3:-1 4:4 5:5") << "amounts that mean nothing do nothing";
    manipulator.EndManipulation();
    manipulator.OffsetY(1.0);
    EXPECT_EQ(Now(), "0:0 1:1 2:-1 3:-1 4:4 5:5");
}

TEST_F(ManipulatorOperations, KeepOrderWhereTheHostFoldsTime)
{
    manipulator.SetRippleMoveX(true);
    YFCurveNodePtr folded = Samples(11);
    folded->SetETI(new PingPongClip);
    TakeUp(std::move(folded), 7, 7);
    manipulator.OffsetX(Sec(-10));
    EXPECT_EQ(Now(), "0:10 1:9 2:8 3:7 4:4 5:5 6:6");
}

TEST_F(ManipulatorOperations, ScaleAndSetValues)
{
    TakeUp(NodeOf({UserKey(0, 1, 2), UserKey(4, 3, 4), UserKey(8, 5, 6), UserKey(9, 7, 8)}), 1, 2, false,
           2.0);
    manipulator.ScaleY(2.0);
    EXPECT_EQ(Now(), "0:0 1:6 2:14 3:9") << "about the parameter";
    // The left one of the second key is stored on a key that does not move, that of the last one on one that moves.
    EXPECT_EQ(Slopes(Curve()), (std::vector<float>{1, 1, 4, 6, 8, 10, 6, 6}));
    manipulator.SetY(5.0);
    EXPECT_EQ(Now(), "0:0 1:5 2:5 3:9");
    EXPECT_EQ(Curve().KeyGetRightDerivative(1), 3.0f);
}

TEST_F(ManipulatorOperations, CarryBothTangentsPastOthers)
{
    TakeUp(NodeOf({UserKey(0, 1, 2), UserKey(1, 3, 4), UserKey(2, 5, 6), UserKey(3, 7, 8)}), 1, 1);
    manipulator.OffsetX(Sec(1.5));
    ASSERT_EQ(Now(), "0:0 2:2 2.5:1 3:3");
    EXPECT_EQ(Slopes(Curve()), (std::vector<float>{1, 1, 4, 5, 2, 3, 6, 6}));
    manipulator.OffsetX(Sec(5));
    EXPECT_EQ(Curve().KeyGetLeftDerivative(3), 2.0f);
}

TEST_F(ManipulatorOperations, StopWhereAListenerEndsThem)
{
    const YFCurveNodePtr first = Samples(3), second = Samples(3);
    manipulator.Add(first.get());
    Mark(manipulator, *second, 0, 2);
    manipulator.MarkKeysForManip(true, first.get(), 0, 2);
    manipulator.BeginManipulation(kManipulationMove);
    first->FCurveGet()->CallbackRegister(
        [](YFCurve*, YFCurveEvent*, void* ended) {
            static_cast<YFCurveManipulator*>(ended)->EndManipulation();
        },
        &manipulator);
    manipulator.OffsetY(5.0);
    EXPECT_EQ(Keys(*first->FCurveGet()), "0:5 1:6 2:7");
    EXPECT_EQ(Keys(*second->FCurveGet()), "0:0 1:1 2:2") << "which may be gone by now";
}

TEST_F(ManipulatorOperations, SnapToNeighbours)
{
    TakeUp(Samples(6), 2, 3);
    for (const auto& [offset, snapped, takes] : {std::tuple(-0.9, -1.0, true),  // key 2 on key 1
                                                 {0.8, 1.0, true},              // key 3 on key 4
                                                 {0.5, 0.5, false}}) {
        double amount = offset;
        EXPECT_EQ(manipulator.AdjustYOffsetToSnapOnNeighbor(amount, 0.25), takes) << offset;
        EXPECT_EQ(amount, snapped);
    }
}

TEST(Recompose, LaterPiecesWinAndBringTheirTangents)
{
    const YFCurvePtr base = MakeCurve({UserKey(0, 1, 2), UserKey(1, 3, 4), UserKey(2, 5, 6)});
    const YFCurvePtr over = MakeCurve({UserKey(10, 7, 8), UserKey(11, 9, 0)});
    const YFCurvePtr target = MakeSamples(9);
    YFCurveTangeantInfo left;
    left.Derivative = -3.0f;
    YFCurveManipulator::RecomposeFCurve(target.get(), base.get(), Sec(0), {}, nullptr, YTIME_INFINITE, {},
                                        over.get(), Sec(1), left, nullptr, YTIME_INFINITE, {});
    EXPECT_EQ(Keys(*target), "0:0 1:10 2:11");
    EXPECT_EQ(Slopes(*target), (std::vector<float>{1, 1, -3, 7, 8, 8}));
    YFCurveManipulator::RecomposeFCurve(target.get(), base.get(), YTIME_INFINITE, {}, over.get(),
                                        YTime(INT64_MAX - 9), {}, nullptr, YTIME_ZERO, {}, nullptr,
                                        YTIME_ZERO, {});
    ASSERT_EQ(target->KeyGetCount(), 1) << "what time cannot count is left out";
    EXPECT_EQ(target->KeyGetTime(0), YTime(INT64_MAX - 9));
}
