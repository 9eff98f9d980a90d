#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "manipulated.h"

using namespace manipulatortest;

// Nodes that end without being taken out of the manipulator first, as layers do in many operations.

namespace {

YFCurveNodePtr Layered()
{
    YFCurveNodePtr base = Samples(3);
    base->CreateLayerAt({1, nullptr})->FCurveGet()->CopyFrom(*base->FCurveGet());
    return base;
}

// Three nodes under a manipulator; something happens when the curve of the second one tells of a change.
struct Host
{
    YFCurveNodePtr nodes[3] = {Samples(3), Samples(3), Samples(3)};
    YFCurveManipulator manipulator;
    std::function<void()> reaction;

    Host()
    {
        for (const YFCurveNodePtr& node : nodes) manipulator.Add(node.get());
        manipulator.MarkCurveNodeForManip(true, nullptr);
    }
    void Listen() { nodes[1]->FCurveGet()->CallbackRegister(&OnEvent, this); }

    static void OnEvent(YFCurve*, YFCurveEvent*, void* object)
    {
        if (const auto react = std::exchange(static_cast<Host*>(object)->reaction, nullptr)) react();
    }
};

void SelectAll(YFCurveManipulator& manipulator)
{
    manipulator.SelectKeys(kSelectionReplace, Sec(-100), Sec(100), -100.0, 100.0);
}

}  // namespace

TEST(ManipulatorNodes, ThatHaveEndedTakePartInNothing)
{
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

        base->RemoveLayer(1, true);
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

TEST(ManipulatorNodes, ThatEndWhileKeysAreSelectedArePassedOver)
{
    Host host;
    host.reaction = [&] {
        host.nodes[0].reset();
        host.nodes[2].reset();
    };
    host.Listen();
    SelectAll(host.manipulator);
    EXPECT_EQ(host.nodes[1]->FCurveGet()->KeyGetSelectionCount(), 3);
    EXPECT_EQ(LastSelected(host.manipulator).node, host.nodes[1].get()) << "the last one that is still there";
    host.manipulator.MarkKeysForManipFromSelection();
    EXPECT_EQ(host.manipulator.GetNodeCount(), 1);
}

TEST(ManipulatorNodes, ThatEndWhileTheyAreDraggedAreNotTouchedAnyMore)
{
    for (const int ended : {0, 1, 2}) {
        Host host;
        host.manipulator.MarkKeysForManip(true, nullptr, 0, 2);
        host.manipulator.BeginManipulation(kManipulationMove);
        host.reaction = [&] {
            host.manipulator.Remove(host.nodes[ended].get());
            host.nodes[ended].reset();
        };
        host.Listen();
        for (const double offset : {5.0, 6.0}) host.manipulator.OffsetY(offset);
        for (const YFCurveNodePtr& node : host.nodes)
            EXPECT_EQ(node ? Keys(*node->FCurveGet()) : "0:6 1:7 2:8", "0:6 1:7 2:8") << ended;
    }
}
