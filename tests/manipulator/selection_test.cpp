#include <gtest/gtest.h>

#include "manipulated.h"
#include "tests/node/nodes.h"

using namespace manipulatortest;

namespace {

// Starts 10 seconds late, and is active for 3.
class LateClip final : public nodetest::Clip
{
  public:
    YTime ETINodeTime2GlobalTime(YTime time) const override { return time + Sec(10); }
    YTime ETIGlobalTime2NodeTime(YTime time) const override { return time - Sec(10); }
    YTime ETIGetGlobalActiveStart() const override { return Sec(11); }
    YTime ETIGetDuration() const override { return Sec(3); }
};

std::string Selected(const YFCurve& curve)
{
    std::string text;
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const char plain = curve.KeyGetTangeantVisibility(i) == YFCURVE_SHOW_BOTH ? 'v' : '-';
        text += curve.KeyGetSelected(i) ? (plain == 'v' ? 'S' : 's') : plain;
    }
    return text;
}

}  // namespace

class ManipulatorSelection : public testing::Test
{
  protected:
    void SetUp() override
    {
        manipulator.Add(node.get());
        manipulator.MarkCurveNodeForManip(true, nullptr);
    }
    void Select(eSelectionMode mode, double start, double stop, double low = -100.0, double high = 100.0)
    {
        manipulator.SelectKeys(mode, Sec(start), Sec(stop), low, high);
    }
    int Last() const
    {
        const LastSelected last(manipulator);
        EXPECT_EQ(last.node, last.index < 0 ? nullptr : node.get());
        EXPECT_EQ(last.curve, last.index < 0 ? nullptr : &curve);
        return last.index;
    }
    void ExpectRange(double start, double stop, double low, double high) const
    {
        EXPECT_EQ(SelectionRange(manipulator), (Range{Sec(start), Sec(stop), low, high}));
        YTime from, to, lowTime, highTime;
        manipulator.GetSelectionRange(from, to, lowTime, highTime);
        EXPECT_TRUE(lowTime == Sec(low) && highTime == Sec(high)) << "values as times";
    }

    YFCurveNodePtr node = Samples(6);
    YFCurve& curve = *node->FCurveGet();
    YFCurveManipulator manipulator;
};

TEST_F(ManipulatorSelection, FollowsTheModes)
{
    Select(kSelectionReplace, 1, 3, 0, 2);
    EXPECT_EQ(Selected(curve), "-SS---") << "borders count, values too";
    ExpectRange(1, 2, 1, 2);
    Select(kSelectionAdd, 4, 5);
    EXPECT_EQ(Selected(curve), "-SS-SS");
    EXPECT_EQ(Last(), 5);
    Select(kSelectionToggle, 2, 4);
    EXPECT_EQ(Selected(curve), "-SvSvS") << "each key inside shows its tangents";
    EXPECT_EQ(Last(), 4);
    Select(kSelectionRemove, 3, 5);
    EXPECT_EQ(Selected(curve), "-Sv---");
    EXPECT_EQ(Last(), -1);
    ExpectRange(1, 1, 1, 1);
    manipulator.SelectKeys(kSelectionReplace, Sec(0), Sec(9), Sec(3), Sec(4));
    EXPECT_EQ(Selected(curve), "---SS-") << "values given as times";
    Select(static_cast<eSelectionMode>(4), 0, 9);
    EXPECT_EQ(Selected(curve), "---SS-");

    yfc::test::EventLog log(curve);
    Select(kSelectionReplace, 0, 9);
    ASSERT_EQ(log.events.size(), 1u);
    EXPECT_EQ(log.events[0].type, unsigned{YFCURVEEVENT_SELECTION});
    log.Take();
    curve.SetLockedByLayer(true);
    Select(kSelectionReplace, 7, 9);
    manipulator.MarkCurveNodeForManip(false, nullptr);
    curve.SetLockedByLayer(false);
    Select(kSelectionReplace, 7, 9);
    EXPECT_TRUE(log.events.empty()) << "locked, and then unmarked";
}

TEST_F(ManipulatorSelection, ShowsTheTangentsOfTheLastKeyAlone)
{
    Select(kSelectionReplace, 0, 1);
    manipulator.SetShowManyTangents(false);
    Select(kSelectionAdd, 3, 4);
    EXPECT_EQ(Selected(curve), "ss-sS-");
    manipulator.SetTangentVisibility(true);
    EXPECT_EQ(Selected(curve), "SS-SS-");
}

TEST_F(ManipulatorSelection, StaysInsideTheActiveSpan)
{
    Select(kSelectionReplace, 0, 9);
    node->SetETI(new LateClip);
    Select(kSelectionAdd, 10, 12);
    EXPECT_EQ(Selected(curve), "-SSSS-") << "keys are at 10 to 15 seconds, active from 11 to 14";
    ExpectRange(11, 14, 1, 4);
    Select(kSelectionReplace, 12, 20);
    EXPECT_EQ(Selected(curve), "--SSS-");

    manipulator.MarkKeysForManipFromSelection();
    manipulator.BeginManipulation(kManipulationStretchX);
    manipulator.StretchX(0.5, Sec(12));
    EXPECT_EQ(Keys(curve), "0:0 1:1 2:2 2.5:3 3:4 5:5");
    ExpectRange(12, 13, 2, 4);
    manipulator.FrameManipulation();
    ExpectRange(12, 13, 2, 4);
}
