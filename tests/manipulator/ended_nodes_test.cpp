#include <gtest/gtest.h>

#include <memory>

#include "manipulated.h"
#include "yfcurve/yfcurvemergelayers.h"

using namespace manipulatortest;

// Nodes that end without being taken out of the manipulator first, as layers do in many operations.

namespace {

YFCurveNodePtr Layered()
{
    YFCurveNodePtr base = Samples(3);
    base->CreateLayerAt({1, nullptr})->FCurveGet()->CopyFrom(*base->FCurveGet());
    return base;
}

void SelectAll(YFCurveManipulator& manipulator)
{
    manipulator.SelectKeys(kSelectionReplace, Sec(-100), Sec(100), -100.0, 100.0);
}

}  // namespace

TEST(ManipulatorNodes, ThatHaveEndedTakePartInNothing)
{
    using End = void (*)(YFCurveNode & base);
    const End ends[] = {
        [](YFCurveNode& base) { base.RemoveLayer(1, true); },
        [](YFCurveNode& base) { YFCURVE_MergeLayers(&base); },
        [](YFCurveNode& base) { base.CopyFrom(Samples(3).get()); },
        [](YFCurveNode& base) { base.LayerGet()->Destroy(); },
    };
    for (const End end : ends) {
        for (const bool dragging : {false, true}) {
            const YFCurveNodePtr first = Samples(3);
            const YFCurveNodePtr base = Layered();
            const YFCurveNodePtr behind = Samples(3);
            YFCurveManipulator manipulator;
            for (YFCurveNode* node : {first.get(), base->LayerGet(), behind.get()}) manipulator.Add(node);
            manipulator.MarkCurveNodeForManip(true, base->LayerGet());
            manipulator.MarkCurveNodeForManip(true, behind.get());
            manipulator.MarkKeysForManip(true, nullptr, 0, 2);
            SelectAll(manipulator);
            manipulator.SelectKeys(kSelectionAdd, Sec(0), Sec(0), -1.0, 1.0);
            if (dragging) manipulator.BeginManipulation(kManipulationMove);
            YFCurveManipulator copy(manipulator);

            end(*base);
            ASSERT_EQ(base->LayerGet(), nullptr);
            EXPECT_EQ(manipulator.GetNode(1), nullptr);
            for (YFCurveManipulator* one : {&manipulator, &copy}) {
                one->FrameSelection();
                one->FrameManipulation();
                double offset = 0.0;
                one->AdjustYOffsetToSnapOnNeighbor(offset, 1.0);
                one->OffsetY(0.0);
                one->SetTangentVisibility(true);
            }
            SelectAll(manipulator);
            EXPECT_EQ(manipulator.GetNodeCount(), 2);
            EXPECT_EQ(manipulator.GetNode(1), behind.get());
            EXPECT_FALSE(manipulator.IsCurveNodeMarkedForManip(first.get()));
            EXPECT_TRUE(manipulator.IsCurveNodeMarkedForManip(behind.get())) << "marks stay with their nodes";
            manipulator.BeginManipulation(kManipulationMove);
            manipulator.OffsetY(5.0);
            EXPECT_EQ(Keys(*first->FCurveGet()), "0:0 1:1 2:2");
            EXPECT_EQ(Keys(*behind->FCurveGet()), "0:5 1:6 2:7");
            copy.Remove(behind.get());
            EXPECT_EQ(copy.GetNodeCount(), 1);
        }
    }
}

TEST(ManipulatorNodes, ThatEndWhileKeysAreSelectedArePassedOver)
{
    struct Host
    {
        YFCurveNodePtr nodes[3] = {Samples(3), Samples(3), Samples(3)};
        YFCurveManipulator manipulator;

        static void OnEvent(YFCurve*, YFCurveEvent*, void* object)
        {
            auto& host = *static_cast<Host*>(object);
            host.nodes[0].reset();
            host.nodes[2].reset();
        }
    };
    Host host;
    for (const YFCurveNodePtr& node : host.nodes) host.manipulator.Add(node.get());
    host.manipulator.MarkCurveNodeForManip(true, nullptr);
    host.nodes[1]->FCurveGet()->CallbackRegister(&Host::OnEvent, &host);
    SelectAll(host.manipulator);
    EXPECT_EQ(host.nodes[1]->FCurveGet()->KeyGetSelectionCount(), 3);
    YFCurveNode* node = nullptr;
    YFCurve* curve = nullptr;
    int index = 0;
    host.manipulator.GetLastSelectedKey(node, curve, index);
    EXPECT_EQ(node, host.nodes[1].get()) << "the last one that is still there";
    host.manipulator.MarkKeysForManipFromSelection();
    EXPECT_EQ(host.manipulator.GetNodeCount(), 1);
}
