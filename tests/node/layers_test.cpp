#include <gtest/gtest.h>

#include <vector>

#include "nodes.h"

using namespace nodetest;

namespace {

// A layer info without a layer of the host's: weight 1, additive.
YFCurveLayerInfo Id(int layerId)
{
    return {layerId, nullptr};
}

std::vector<int> ChainOf(const YFCurveNode& base)
{
    std::vector<int> ids;
    for (const YFCurveNode* node = &base; node != nullptr; node = node->LayerGet()) {
        ids.push_back(node->GetLayerID());
    }
    return ids;
}

int layerEvents = 0;

void CountLayerEvents(YFCurveNode*, YFCurveNodeEvent* event, void*)
{
    if ((event->type & YFCURVENODEEVENT_LAYER) != 0) ++layerEvents;
}

TEST(Layers, AreCreatedInTheOrderOfTheirIds)
{
    const YFCurveNodePtr base = Translation();
    base->CallbackRegister(CountLayerEvents, nullptr);
    layerEvents = 0;
    EXPECT_EQ(base->CreateLayerAt(Id(0)), nullptr);
    YFCurveNode* seven = base->CreateLayerAt(Id(7));
    YFCurveNode* three = base->CreateLayerAt(Id(3));
    YFCurveNode* five = base->CreateLayerAt(Id(5));
    EXPECT_EQ(layerEvents, 3);
    EXPECT_EQ(ChainOf(*base), (std::vector{0, 3, 5, 7}));
    EXPECT_EQ(base->CreateLayerAt(Id(3)), three);
    EXPECT_EQ(three->CreateLayerAt(Id(5)), five);
    EXPECT_EQ(three->CreateLayerAt(Id(3)), nullptr);
    EXPECT_EQ(five->CreateLayerAt(Id(4)), nullptr);
    EXPECT_EQ(layerEvents, 3);
    for (YFCurveNode* layer : {three, five, seven}) {
        EXPECT_EQ(layer->ObjectLayerGet(), base.get());
        EXPECT_EQ(layer->GetReferenceCount(), 1);
        EXPECT_EQ(layer->Get(2)->ObjectLayerGet(), base->Get(2));
    }

    base->SetMultiLayer(false);
    EXPECT_EQ(base->CreateLayerAt(Id(9)), nullptr);
}

TEST(Layers, NewOnesAreNeutral)
{
    const YFCurveNodePtr scaling = PropertyOf(eDataType::LocalScaling, "S");
    const float red[3] = {1.0f, 0.0f, 0.0f};
    SetKeys(CurveOf(*scaling, 1), {{0.0, 5.0f}, {1.0, 6.0f}});
    CurveOf(*scaling, 0).SetValue(4.0f);
    CurveOf(*scaling, 2).SetColor(red);
    const YFCurveNode* layer = scaling->CreateLayerAt(Id(1));
    EXPECT_EQ(layer->GetLayerType(), 3);
    EXPECT_EQ(layer->KeyGetCount(), 0);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(CurveOf(*layer, i).GetValue(), 1.0f);
    EXPECT_EQ(CurveOf(*layer, 2).GetColor()[1], 0.0f);
    EXPECT_EQ(layer->Get(0)->GetLayerID(), 1);

    const YFCurveNodePtr group(YFCurveNodeCreate("group", nullptr));
    group->Add(PropertyOf(eDataType::LocalScaling, "S").release());
    EXPECT_EQ(CurveOf(*group->CreateLayerAt(Id(1))->Get(0), 0).GetValue(), 1.0f);

    const YFCurveNodePtr single(YFCurveNodeCreate("single", nullptr));
    single->CreateFCurve();
    single->FCurveGet()->SetValue(3.0f);
    EXPECT_EQ(single->CreateLayerAt(Id(1))->FCurveGet()->GetValue(), 0.0f);
}

TEST(Layers, AreFound)
{
    const YFCurveNodePtr base = Translation();
    YFCurveNode* three = base->CreateLayerAt(Id(3));
    YFCurveNode* seven = base->CreateLayerAt(Id(7));
    EXPECT_EQ(base->LayerGet(7), seven);
    EXPECT_EQ(base->LayerGet(5), nullptr);
    EXPECT_EQ(base->GetLayerNode(3), three);
    EXPECT_EQ(three->LayerGet(0), nullptr);

    EXPECT_EQ(base->GetPreviousLayer(0), nullptr);
    EXPECT_EQ(base->GetPreviousLayer(3), base.get());
    EXPECT_EQ(base->GetPreviousLayer(7), three);
    EXPECT_EQ(base->GetPreviousLayer(99), seven);
    EXPECT_EQ(seven->GetPreviousLayer(1), seven);

    EXPECT_EQ(base->GetCorrectLayerAndCreateIfMissing(Id(3)), three);
    EXPECT_EQ(base->GetCorrectLayerAndCreateIfMissing(Id(0)), base.get());
    EXPECT_EQ(base->GetCorrectLayerAndCreateIfMissing(Id(4))->GetLayerID(), 4);
    EXPECT_EQ(base->GetCorrectLayerID(7), 7);

    base->SetMultiLayer(false);
    EXPECT_EQ(base->GetCorrectLayerID(7), 0);
    EXPECT_EQ(base->GetCorrectLayer(7), base.get());
    EXPECT_EQ(base->GetLayerNode(7), base.get());
    EXPECT_EQ(base->GetCorrectLayerInfo(Id(7)), YFCurveLayerInfo::Base);
    EXPECT_EQ(base->GetCorrectLayerAndCreateIfMissing(Id(7)), base.get());
}

TEST(Layers, AreCopiedIn)
{
    const YFCurveNodePtr base = Translation();
    const YFCurveNodePtr source = Translation();
    SetKeys(CurveOf(*source, 1), {{0.0, 2.0f}});
    YFCurveNode* layer = base->InsertOrCopyLayer(Id(2), source.get());
    ASSERT_NE(layer, nullptr);
    EXPECT_EQ(layer->GetLayerID(), 2);
    EXPECT_EQ(CurveOf(*layer, 1).KeyGetCount(), 1);
    SetKeys(CurveOf(*source, 1), {{0.0, 2.0f}, {1.0, 2.0f}});
    EXPECT_EQ(base->InsertOrCopyLayer(Id(2), source.get()), layer);
    EXPECT_EQ(CurveOf(*layer, 1).KeyGetCount(), 2);
    EXPECT_EQ(base->InsertOrCopyLayer(Id(0), source.get()), base.get());
    EXPECT_EQ(base->KeyGetCount(), 2);
    EXPECT_EQ(base->InsertOrCopyLayer(Id(2), nullptr), nullptr);
}

TEST(Layers, AreTakenOut)
{
    const YFCurveNodePtr base = Translation();
    for (const int id : {1, 2, 3}) base->CreateLayerAt(Id(id));
    YFCurveNode* three = base->LayerGet(3);
    EXPECT_EQ(base->RemoveLayer(0, true), nullptr);
    EXPECT_EQ(base->RemoveLayer(9, true), nullptr);
    EXPECT_EQ(ChainOf(*base), (std::vector{0, 1, 2, 3}));

    const YFCurveNodePtr two(base->RemoveLayer(2, false));
    ASSERT_NE(two, nullptr);
    EXPECT_EQ(ChainOf(*base), (std::vector{0, 1, 3}));
    EXPECT_EQ(two->LayerGet(), nullptr);
    EXPECT_EQ(two->ObjectLayerGet(), base.get());
    EXPECT_EQ(two->GetReferenceCount(), 0);
    EXPECT_EQ(three->GetReferenceCount(), 1);
    EXPECT_EQ(three->ObjectLayerGet(), base.get());

    // A layer that somebody else counts on stays alive.
    three->IncReferenceCount();
    EXPECT_EQ(base->RemoveLayer(3, true), nullptr);
    EXPECT_EQ(three->GetReferenceCount(), 1);
    three->Destroy();
    EXPECT_EQ(base->RemoveLayer(1, true), nullptr);
    EXPECT_EQ(ChainOf(*base), (std::vector{0}));
}

TEST(Layers, ModeCases)
{
    TurnedLayer layer;
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr, 1, {5, &layer}));
    const auto caseOf = [&](int mode, double weight, int reference) {
        layer.mode = static_cast<eLayerMode>(mode);
        layer.weight = weight;
        return static_cast<int>(node->CheckLayerMode(Seconds(0.0), reference));
    };
    EXPECT_EQ(caseOf(0, 1.0, 3), 1);
    EXPECT_EQ(caseOf(3, 1.0, 3), 1);
    EXPECT_EQ(caseOf(1, 0.5, 3), 0);
    EXPECT_EQ(caseOf(1, 0.5, 5), 3);
    EXPECT_EQ(caseOf(1, 0.5, 6), 3);
    EXPECT_EQ(caseOf(2, 0.5, 3), 2);
    EXPECT_EQ(caseOf(2, 0.99998, 3), 2);
    EXPECT_EQ(caseOf(2, 0.999995, 3), 0);
    EXPECT_EQ(caseOf(2, 1.0, 5), 3);
    layer.muted = true;
    EXPECT_EQ(caseOf(1, 1.0, 3), 1);
}

// Keys somewhere else, at every whole second from 2 to 5.
class Clip : public IYFCurveETI
{
  public:
    IObject* IQuery(unsigned long, int) override { return nullptr; }
    void Destroy(int) override { delete this; }
    int ETIKeyGetCount() const override { return 4; }
    YTime ETIKeyGetTime(int index) const override { return Seconds(2.0 + index); }
    YTime ETIGetGlobalActiveStart() const override { return start; }
    YTime ETIGetDuration() const override { return duration; }
    virtual ~Clip() = default;

    YTime start = YTIME_MINUS_INFINITE;
    YTime duration = YTIME_ZERO;
};

TEST(Layers, ExternalTimesAnswerForTheCurvesAndKeepToTheBaseLayer)
{
    const YFCurveNodePtr node = Translation();
    for (int i = 0; i < 3; ++i) SetKeys(CurveOf(*node, i), {{0.0, 1.0f}, {2.5, 1.0f}});
    EXPECT_EQ(node->ETIKeyGetCount(), 0);
    EXPECT_FALSE(node->ETIIsKey(Seconds(2.0)));
    EXPECT_EQ(node->ETIGetNextKeyTime(Seconds(0.0)), YTIME_INFINITE);
    EXPECT_EQ(node->ETIGetPrevKeyTime(Seconds(9.0)), YTIME_MINUS_INFINITE);

    YFCurveNode& x = *node->Get(0);
    x.SetETI(new Clip());
    EXPECT_EQ(x.ETIKeyGetCount(), 4);
    EXPECT_TRUE(x.ETIIsKey(Seconds(3.0)));
    EXPECT_FALSE(x.ETIIsKey(Seconds(3.5)));
    EXPECT_EQ(x.ETIGetNextKeyTime(Seconds(3.0)), Seconds(4.0));
    EXPECT_EQ(x.ETIGetPrevKeyTime(Seconds(3.0)), Seconds(2.0));
    EXPECT_EQ(x.ETIGetFirstKeyTime(), Seconds(2.0));
    EXPECT_EQ(x.ETIGetLastKeyTime(), Seconds(5.0));
    EXPECT_EQ(x.GetFirstKeyTime(), Seconds(2.0));
    EXPECT_EQ(node->GetFirstKeyTime(), Seconds(0.0));
    EXPECT_EQ(node->GetLastKeyTime(), Seconds(5.0));

    EXPECT_EQ(node->GetCorrectLayerInfo(Id(2)), YFCurveLayerInfo::Base);
    EXPECT_EQ(node->GetCorrectLayerAndCreateIfMissing(Id(2)), node.get());
    x.SetETI(nullptr);
    EXPECT_EQ(node->GetCorrectLayerInfo(Id(2)), Id(2));
}

TEST(Layers, ExternalTimesSayWhenANodeIsActive)
{
    const YFCurveNodePtr node = Translation();
    auto* clip = new Clip();
    node->SetETI(clip);
    const auto isActive = [&](YTime start, YTime duration, YTime time) {
        clip->start = start;
        clip->duration = duration;
        return node->ETIIsGlobalTimeInSpan(time);
    };
    const YTime one = Seconds(1.0);
    EXPECT_TRUE(isActive(one, YTIME_ZERO, -one)) << "no limit";
    EXPECT_TRUE(isActive(one, one * 2, one));
    EXPECT_TRUE(isActive(one, one * 2, one * 3));
    EXPECT_FALSE(isActive(one, one * 2, one - YTime(1)));
    EXPECT_FALSE(isActive(one, one * 2, one * 3 + YTime(1)));
    EXPECT_FALSE(isActive(one, -one, one));

    // Ends that are later than any time.
    const YTime huge = YTIME_INFINITE - YTime(1);
    EXPECT_TRUE(isActive(one, huge, huge));
    EXPECT_FALSE(isActive(one, huge, YTIME_ZERO));
    EXPECT_TRUE(isActive(-one, huge, huge - one));
    EXPECT_FALSE(isActive(-one, huge, huge - one + YTime(1)));
    EXPECT_TRUE(isActive(YTIME_MINUS_INFINITE, YTIME_INFINITE, one));
}

}  // namespace
