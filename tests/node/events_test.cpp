#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "nodes.h"

using namespace nodetest;

namespace {

// Writes down what it hears as "name:type*count".
struct Listener
{
    std::string name;
    std::vector<std::string>* heard;
    std::function<void(YFCurveNode&)> reaction = {};

    static void Call(YFCurveNode* node, YFCurveNodeEvent* event, void* object)
    {
        const auto* self = static_cast<Listener*>(object);
        self->heard->push_back(self->name + ":" + std::to_string(event->type) + "*" +
                               std::to_string(event->count));
        if (self->reaction) self->reaction(*node);
    }
};

class NodeEvents : public testing::Test
{
  protected:
    using Heard = std::vector<std::string>;

    Heard Take() { return std::exchange(heard, {}); }

    Heard heard;
    Listener a{"a", &heard};
    Listener b{"b", &heard};
    Listener c{"c", &heard};
};

TEST_F(NodeEvents, LinksRaiseEvents)
{
    YFCurveNodePtr base(YFCurveNodeCreate("base", nullptr));
    YFCurveNode* layer = YFCurveNodeCreate("layer", nullptr, 1, {1, nullptr});
    base->CallbackRegister(Listener::Call, &a);
    layer->CallbackRegister(Listener::Call, &b);

    base->CreateFCurve();
    base->CreateFCurve();
    EXPECT_EQ(Take(), (Heard{"a:4*1"}));
    base->FCurveSet(base->FCurveGet(), true);
    EXPECT_EQ(Take(), Heard{});
    base->FCurveSet(YFCurveCreate(), true);
    base->FCurveReplace(nullptr);
    EXPECT_EQ(Take(), (Heard{"a:4*1", "a:4*1"}));

    YFCurveNode* warp = YFCurveNodeCreate("warp", nullptr);
    base->TimeWarpSet(warp);
    base->TimeWarpSet(warp);
    base->TimeWarpSet(nullptr);
    EXPECT_EQ(Take(), (Heard{"a:8*1", "a:8*1"}));

    // The base node hears of the whole chain.
    base->LayerSet(layer);
    base->LayerSet(layer);
    layer->LayerSet(YFCurveNodeCreate("next", nullptr, 1, {2, nullptr}));
    layer->LayerSet(layer);
    EXPECT_EQ(Take(), (Heard{"a:16*1", "a:16*1"}));
    EXPECT_EQ(base->GetNodeUpdateId(), 7);
    EXPECT_EQ(layer->GetNodeUpdateId(), 0);

    base.reset();
    EXPECT_EQ(Take(), (Heard{"a:2*1", "b:2*1"}));
}

TEST_F(NodeEvents, TheLeafThatGetsACurveIsTheOneToTell)
{
    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    root->CallbackRegister(Listener::Call, &a);
    root->FindOrCreate("x", false)->CallbackRegister(Listener::Call, &b);
    EXPECT_EQ(Take(), Heard{});
    root->FindOrCreate("x", true);
    root->FindOrCreate("x", true);
    EXPECT_EQ(Take(), (Heard{"b:4*1"}));
}

TEST_F(NodeEvents, NobodyCountsWhatNobodyWaitsFor)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    EXPECT_FALSE(node->CallbackIsEnable());
    node->CreateFCurve();
    EXPECT_EQ(node->GetNodeUpdateId(), 0);
    node->CallbackEnable(true);
    EXPECT_TRUE(node->CallbackIsEnable());
    node->FCurveReplace(nullptr);
    EXPECT_EQ(node->GetNodeUpdateId(), 1);
    node->CallbackRegister(Listener::Call, &a);
    EXPECT_EQ(Take(), Heard{});
    EXPECT_FALSE(node->CallbackRegister(nullptr, &a));
}

TEST_F(NodeEvents, DisabledCallbacksMergeIntoOneEvent)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    node->CallbackEnable(false);
    node->CallbackRegister(Listener::Call, &a);
    EXPECT_FALSE(node->CallbackIsEnable());
    node->CreateFCurve();
    node->TimeWarpSet(YFCurveNodeCreate("warp", nullptr));
    node->FCurveReplace(nullptr);
    EXPECT_EQ(Take(), Heard{});
    EXPECT_EQ(node->GetNodeUpdateId(), 3);
    node->CallbackEnable(true);
    EXPECT_EQ(Take(), (Heard{"a:12*3"}));
    node->CallbackEnable(true);
    EXPECT_EQ(Take(), Heard{});

    node->CallbackEnable(false);
    node->CreateFCurve();
    node->CallbackClear();
    node->CallbackEnable(true);
    EXPECT_EQ(Take(), Heard{});
    node->CallbackEnable(false);
}

TEST_F(NodeEvents, ListenersAreCalledFromTheLatestToTheFirst)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    for (Listener* listener : {&a, &b, &a, &c}) node->CallbackRegister(Listener::Call, listener);
    node->CreateFCurve();
    EXPECT_EQ(Take(), (Heard{"c:4*1", "a:4*1", "b:4*1", "a:4*1"}));
    node->CallbackUnregister(Listener::Call, &a);
    node->CallbackUnregister(Listener::Call, nullptr);
    node->FCurveReplace(nullptr);
    EXPECT_EQ(Take(), (Heard{"c:4*1", "b:4*1", "a:4*1"}));
    for (Listener* listener : {&a, &b, &c}) node->CallbackUnregister(Listener::Call, listener);
    node->CallbackUnregister(Listener::Call, &a);
    node->CreateFCurve();
    EXPECT_EQ(Take(), Heard{});
}

TEST_F(NodeEvents, ListenersMayComeAndGoDuringAnEvent)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    for (Listener* listener : {&a, &b, &c}) node->CallbackRegister(Listener::Call, listener);
    Listener late{"late", &heard};
    c.reaction = [&](YFCurveNode& sender) {
        sender.CallbackUnregister(Listener::Call, &c);
        sender.CallbackUnregister(Listener::Call, &b);
        for (int i = 0; i < 20; ++i) sender.CallbackRegister(Listener::Call, &late);
        for (int i = 0; i < 19; ++i) sender.CallbackUnregister(Listener::Call, &late);
    };
    node->CreateFCurve();
    EXPECT_EQ(Take(), (Heard{"c:4*1", "a:4*1"}));
    node->FCurveReplace(nullptr);
    EXPECT_EQ(Take(), (Heard{"late:4*1", "a:4*1"}));
    node->CallbackUnregister(Listener::Call, &late);
}

TEST_F(NodeEvents, AListenerThatChangesTheNodeStartsAnEventOfItsOwn)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    node->CallbackRegister(Listener::Call, &a);
    node->CallbackRegister(Listener::Call, &b);
    b.reaction = [](YFCurveNode& sender) {
        if (sender.TimeWarpGet() == nullptr) sender.TimeWarpSet(YFCurveNodeCreate("warp", nullptr));
    };
    node->CreateFCurve();
    EXPECT_EQ(Take(), (Heard{"b:4*1", "b:8*1", "a:8*1", "a:4*1"}));
    node->CallbackUnregister(Listener::Call, &a);
}

TEST_F(NodeEvents, AListenerMayEndTheNode)
{
    YFCurveNode* node = YFCurveNodeCreate("n", nullptr);
    node->CallbackRegister(Listener::Call, &a);
    node->CallbackRegister(Listener::Call, &b);
    b.reaction = [&](YFCurveNode& sender) {
        b.reaction = nullptr;
        sender.Destroy();
    };
    node->TimeWarpSet(YFCurveNodeCreate("warp", nullptr));
    EXPECT_EQ(Take(), (Heard{"b:8*1", "b:2*1", "a:2*1"}));
}

// A curve that the host keeps for itself.
class KeptCurve : public YFCurve
{
  public:
    void Destroy(int) override {}
};

TEST_F(NodeEvents, NobodyHearsOfACurveThatOutlivesItsNode)
{
    KeptCurve curve;
    YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    node->CallbackRegister(Listener::Call, &a);
    node->FCurveSet(&curve);
    node.reset();
    curve.SetValue(1.0f);
    EXPECT_EQ(Take(), (Heard{"a:4*1", "a:2*1"}));
}

TEST_F(NodeEvents, WhatAListenerMarksIsThereAtTheNextEvent)
{
    std::vector<int> marks;
    const auto mark = [](YFCurveNode*, YFCurveNodeEvent* sent, void* object) {
        static_cast<std::vector<int>*>(object)->push_back(sent->mark++);
    };
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    node->CallbackRegister(mark, &marks);
    node->CreateFCurve();
    node->FCurveReplace(nullptr);
    EXPECT_EQ(marks, (std::vector<int>{0, 1}));
    node->CallbackUnregister(mark, &marks);
}

}  // namespace
