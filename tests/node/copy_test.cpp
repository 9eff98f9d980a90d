#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nodes.h"

using namespace nodetest;

namespace {

using Values = std::vector<double>;

// A translation of three linear ramps on the base and on layers 2 and 5, each layer 1000 above the last,
// with a time warp.
YFCurveNodePtr Layered(float offset = 0.0f)
{
    YFCurveNodePtr base = Translation();
    YFCurveNode* tail = base.get();
    for (const int id : {2, 5}) {
        YFCurveNode* layer = base->CloneTemplate({id, nullptr});
        tail->LayerSet(layer);
        tail = layer;
    }
    float layerOffset = offset;
    for (YFCurveNode* layer = base.get(); layer != nullptr; layer = layer->LayerGet()) {
        for (int i = 0; i < 3; ++i) {
            const float value = layerOffset + static_cast<float>(i);
            SetKeys(CurveOf(*layer, i), {{0.0, value}, {1.0, value + 10}, {2.0, value + 30}, {3.0, value}});
        }
        layerOffset += 1000.0f;
    }
    base->TimeWarpSet(YFCurveNodeCreate("warp", YDataType::Get(eDataType::TimeWarp)));
    return base;
}

std::vector<int> LayerIds(const YFCurveNode& base)
{
    std::vector<int> ids;
    for (const YFCurveNode* layer = base.LayerGet(); layer != nullptr; layer = layer->LayerGet()) {
        ids.push_back(layer->GetLayerID());
    }
    return ids;
}

void ExpectChainOf(YFCurveNode& base)
{
    for (YFCurveNode* layer = base.LayerGet(); layer != nullptr; layer = layer->LayerGet()) {
        EXPECT_EQ(layer->ObjectLayerGet(), &base);
        EXPECT_EQ(layer->GetReferenceCount(), 1);
        for (int i = 0; i < layer->GetCount(); ++i) {
            EXPECT_EQ(layer->Get(i)->ObjectLayerGet(), base.Get(i));
        }
    }
}

void ExpectSameAnimation(YFCurveNode& a, YFCurveNode& b)
{
    const YFCurveNode* layerB = &b;
    for (const YFCurveNode* layerA = &a; layerA != nullptr; layerA = layerA->LayerGet()) {
        ASSERT_NE(layerB, nullptr);
        EXPECT_EQ(layerA->GetLayerID(), layerB->GetLayerID());
        for (int i = -2; i <= 14; ++i) EXPECT_EQ(ValuesAt(*layerA, i * 0.25), ValuesAt(*layerB, i * 0.25));
        layerB = layerB->LayerGet();
    }
    EXPECT_EQ(layerB, nullptr);
}

TEST(NodeCopies, ACloneIsATreeOfItsOwn)
{
    YFCurveNodePtr source = Layered();
    YFCurveNode* warp = source->TimeWarpGet();
    source->SetIOType(true);
    source->SetMultiLayer(false);
    source->SetLayerType(5);
    source->SetWeightRotationAccumulationMode(YFCURVE_LAYER_ROTATION_BY_LAYER);
    const float red[3] = {1.0f, 0.0f, 0.0f};
    source->Get(1)->SetColor(red);
    CurveOf(*source, 2).SetPostExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
    CurveOf(*source, 2).SetPostExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);

    const YFCurveNodePtr clone(source->Clone());
    ExpectSameAnimation(*clone, *source);
    ExpectChainOf(*clone);
    EXPECT_EQ(clone->TemplateGet(), source.get());
    EXPECT_EQ(clone->ObjectLayerGet(), clone.get());
    EXPECT_EQ(clone->Get(0)->GetParent(), clone.get());
    EXPECT_EQ(clone->GetIOType(), 0x01);
    EXPECT_EQ(clone->IsMultiLayer(), 0);
    EXPECT_EQ(clone->GetLayerType(), 5);
    EXPECT_EQ(clone->GetWeightRotationAccumulationMode(), 0);
    EXPECT_EQ(clone->Get(1)->GetColor()[1], 0.0f);
    EXPECT_EQ(clone->TimeWarpGet(), warp);
    EXPECT_EQ(warp->GetReferenceCount(), 2);

    CurveOf(*clone, 0).KeySetValue(0, -1.0f);
    CurveOf(*clone->LayerGet(), 1).KeyClear();
    EXPECT_EQ(ValuesAt(*source, 0.0), (Values{0, 1, 2}));
    EXPECT_EQ(source->LayerGet()->KeyGetCount(), 12);
    source.reset();
    EXPECT_EQ(warp->GetReferenceCount(), 1);
    EXPECT_EQ(ValuesAt(*clone, 0.0), (Values{-1, 1, 2}));
    EXPECT_EQ(LayerIds(*clone), (std::vector<int>{2, 5}));
    EXPECT_STREQ(clone->GetName(), "translation");
}

TEST(NodeCopies, ASingleLayerCopyLeavesTheLayersBehind)
{
    const YFCurveNodePtr source = Layered();
    const YFCurveNodePtr base(source->SingleLayerCopy());
    EXPECT_EQ(LayerIds(*base), std::vector<int>{});
    EXPECT_EQ(ValuesAt(*base, 0.5), ValuesAt(*source, 0.5));
    const YFCurveNodePtr layer(source->LayerGet(5)->SingleLayerCopy());
    EXPECT_EQ(layer->GetLayerID(), 5);
    EXPECT_EQ(layer->ObjectLayerGet(), layer.get());
    EXPECT_EQ(ValuesAt(*layer, 1.0), (Values{2010, 2011, 2012}));
}

TEST(NodeCopies, ATemplateHasNoKeysAndIsOnTheGivenLayer)
{
    const YFCurveNodePtr source = Layered();
    CurveOf(*source, 1).SetWasData(30);
    CurveOf(*source, 1).SetPreExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
    source->SetTakeType(true);
    TestLayer hostLayer;
    const YFCurveNodePtr copy(source->CloneTemplate({8, &hostLayer}));
    EXPECT_EQ(ChildNames(*copy), (std::vector<std::string>{"X", "Y", "Z"}));
    EXPECT_EQ(copy->GetDataType(), source->GetDataType());
    EXPECT_EQ(copy->GetTakeType(), 0x10);
    EXPECT_EQ(copy->GetLayerInfo(), YFCurveLayerInfo(8, &hostLayer));
    EXPECT_EQ(copy->Get(2)->GetLayerInfo(), YFCurveLayerInfo(8, &hostLayer));
    EXPECT_TRUE(copy->FCurveCreated());
    EXPECT_EQ(copy->KeyGetCount(true), 0);
    EXPECT_EQ(CurveOf(*copy, 1).GetWasData(), 0);
    EXPECT_EQ(CurveOf(*copy, 1).GetPreExtrapolation(), YFCURVE_EXTRAPOLATION_REPETITION);
    EXPECT_EQ(copy->LayerGet(), nullptr);
    EXPECT_EQ(copy->TimeWarpGet(), nullptr);

    const YFCurveNodePtr bare(YFCurveNodeCreate("bare", nullptr));
    EXPECT_EQ(YFCurveNodePtr(bare->CloneTemplate())->FCurveGet(), nullptr);
}

TEST(NodeCopies, ACopyOfASpanHasTheKeysInIt)
{
    const YFCurveNodePtr source = Layered();
    const YFCurveNodePtr copy(source->Copy(Seconds(1.0), Seconds(2.5)));
    EXPECT_EQ(copy->KeyGetCount(true), 18);
    EXPECT_EQ(ValuesAt(*copy, 1.5), ValuesAt(*source, 1.5));
    EXPECT_EQ(ValuesAt(*copy, 0.0), (Values{10, 11, 12}));
    EXPECT_EQ(ValuesAt(*copy->LayerGet(5), 3.0), (Values{2030, 2031, 2032}));
    ExpectChainOf(*copy);
    const YFCurveNodePtr whole(source->Copy());
    ExpectSameAnimation(*whole, *source);
}

TEST(NodeCopies, ACopiedContainerListsTheSameChildren)
{
    const YFCurveNodePtr owner = Translation();
    const YFCurveNodePtr container(YFCurveNodeCreate("selection", nullptr));
    container->SetContainerType(true);
    for (int i = 0; i < 2; ++i) container->Add(owner->Get(i));
    const YFCurveNodePtr copy(container->Clone());
    EXPECT_EQ(copy->GetContainerType(), 0x08);
    ASSERT_EQ(copy->GetCount(), 2);
    EXPECT_EQ(copy->Get(1), owner->Get(1));
    EXPECT_EQ(owner->Get(1)->GetParent(), owner.get());
}

TEST(NodeCopyFrom, RefusesOtherShapesBeforeAnythingChanges)
{
    const YFCurveNodePtr target = Layered();
    const YFCurveNodePtr before(target->Clone());
    const auto expectRefused = [&](const YFCurveNode* source) {
        EXPECT_FALSE(target->CopyFrom(source));
        EXPECT_FALSE(target->Replace(source));
        ExpectSameAnimation(*target, *before);
    };
    expectRefused(nullptr);
    EXPECT_FALSE(target->SingleLayerCopyFrom(nullptr));

    const YFCurveNodePtr more = Layered(50.0f);
    more->FindOrCreate("W", true);
    expectRefused(more.get());
    EXPECT_FALSE(target->SingleLayerCopyFrom(more.get()));

    const YFCurveNodePtr renamed = Layered(50.0f);
    renamed->Delete(2);
    renamed->FindOrCreate("W", true);
    expectRefused(renamed.get());

    const YFCurveNodePtr deeper = Layered(50.0f);
    deeper->Get(2)->FindOrCreate("detail", true);
    expectRefused(deeper.get());

    const YFCurveNodePtr otherLayer = Layered(50.0f);
    otherLayer->LayerGet(5)->Delete(0);
    expectRefused(otherLayer.get());

    expectRefused(target->LayerGet());
}

TEST(NodeCopyFrom, MakesTheTreeAnimateAlike)
{
    int events = 0;
    const YFCurveNodePtr source = Layered(50.0f);
    const YFCurveNodePtr target = Layered();
    source->SetRotationOrder(3);
    source->SetIOType(true);
    source->LayerGet(2)->SetUseQuaternion(true);
    target->SetLockedByProperty(true);
    YFCurve* kept = &CurveOf(*target, 0);
    kept->CallbackRegister([](YFCurve*, YFCurveEvent*, void* count) { ++*static_cast<int*>(count); },
                           &events);
    YFCurveNode* keptLayer = target->LayerGet(2);
    YFCurveNode* warp = source->TimeWarpGet();

    EXPECT_TRUE(target->CopyFrom(source.get()));
    ExpectSameAnimation(*target, *source);
    EXPECT_EQ(&CurveOf(*target, 0), kept);
    EXPECT_EQ(events, 1);
    EXPECT_EQ(target->LayerGet(2), keptLayer);
    EXPECT_EQ(target->GetRotationOrder(), 3);
    EXPECT_EQ(target->GetIOType(), 0x01);
    EXPECT_TRUE(keptLayer->GetUseQuaternion());
    EXPECT_TRUE(target->IsLockedByProperty());
    EXPECT_EQ(target->TimeWarpGet(), warp);
    EXPECT_EQ(warp->GetReferenceCount(), 2);
    CurveOf(*target, 0).KeySetValue(0, -7.0f);
    EXPECT_EQ(ValuesAt(*source, 0.0)[0], 50.0);
    EXPECT_TRUE(target->CopyFrom(target.get()));
}

TEST(NodeCopyFrom, AddsAndDropsCurvesAndLayers)
{
    int layerEvents = 0;
    const YFCurveNodePtr source = Layered(50.0f);
    const YFCurveNodePtr target = Layered();
    target->CallbackRegister(
        [](YFCurveNode*, YFCurveNodeEvent* event, void* count) {
            if ((event->type & YFCURVENODEEVENT_LAYER) != 0) ++*static_cast<int*>(count);
        },
        &layerEvents);
    // The source's layers become 2 -> 3 -> 9, the target's are 2 and 5.
    source->LayerGet(5)->SetLayerInfo({9, nullptr});
    YFCurveNode* three = source->CloneTemplate({3, nullptr});
    YFCurveNode* nine = source->LayerGet(2)->LayerSet(three);
    three->LayerSet(nine);
    source->Get(1)->FCurveReplace(nullptr);
    target->Get(2)->FCurveReplace(nullptr);

    EXPECT_TRUE(target->CopyFrom(source.get()));
    EXPECT_EQ(LayerIds(*target), (std::vector<int>{2, 3, 9}));
    ExpectSameAnimation(*target, *source);
    ExpectChainOf(*target);
    EXPECT_EQ(target->Get(1)->FCurveGet(), nullptr);
    EXPECT_NE(target->Get(2)->FCurveGet(), nullptr);
    EXPECT_EQ(layerEvents, 1);

    const YFCurveNodePtr base(source->SingleLayerCopy());
    EXPECT_TRUE(target->CopyFrom(base.get()));
    EXPECT_EQ(LayerIds(*target), std::vector<int>{});
    EXPECT_EQ(layerEvents, 2);
    EXPECT_TRUE(target->CopyFrom(source.get()));
    EXPECT_EQ(LayerIds(*target), (std::vector<int>{2, 3, 9}));
    ExpectChainOf(*target);
    EXPECT_TRUE(target->CopyFrom(source.get()));
    EXPECT_EQ(layerEvents, 3);

    // A layer that goes from the middle leaves the one behind it the same.
    const YFCurveNode* kept = target->LayerGet(9);
    three = source->LayerGet(3);
    source->LayerGet(2)->LayerSet(three->LayerGet(), true);
    EXPECT_TRUE(target->CopyFrom(source.get()));
    EXPECT_EQ(LayerIds(*target), (std::vector<int>{2, 9}));
    EXPECT_EQ(target->LayerGet(9), kept);
    ExpectChainOf(*target);
}

TEST(NodeCopyFrom, OneLayerAlone)
{
    const YFCurveNodePtr node = Layered();
    const Values two = ValuesAt(*node->LayerGet(2), 0.5);
    EXPECT_TRUE(node->LayerGet(5)->SingleLayerCopyFrom(node->LayerGet(2)));
    EXPECT_EQ(ValuesAt(*node->LayerGet(5), 0.5), two);
    EXPECT_EQ(LayerIds(*node), (std::vector<int>{2, 5}));

    TestLayer hostLayer;
    const YFCurveNodePtr other = Layered(50.0f);
    other->SetLayerInfo({0, &hostLayer});
    EXPECT_TRUE(node->SingleLayerCopyFrom(other.get()));
    EXPECT_EQ(node->GetLayerInfo().GetLayer(), nullptr);
    EXPECT_TRUE(node->SingleLayerCopyFrom(other.get(), true));
    EXPECT_EQ(node->GetLayerInfo().GetLayer(), &hostLayer);
    EXPECT_EQ(ValuesAt(*node, 0.0), (Values{50, 51, 52}));
    EXPECT_EQ(ValuesAt(*node->LayerGet(2), 0.5), two);
}

TEST(NodeReplace, ReplacesASpanOnEveryLayerThatBothHave)
{
    const YFCurveNodePtr target = Layered();
    const YFCurveNodePtr before(target->Clone());
    const YFCurveNodePtr source = Layered(50.0f);
    source->LayerGet(5)->SetLayerInfo({6, nullptr});
    source->Get(2)->FCurveReplace(nullptr);
    EXPECT_TRUE(target->Replace(source.get(), Seconds(0.5), Seconds(1.5)));

    for (const double time : {-1.0, 0.25, 1.75, 4.0}) {
        const Values expected = ValuesAt(*before, time);
        const Values values = ValuesAt(*target, time);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(values[i], expected[i], 1e-3) << time;
    }
    for (const double time : {0.75, 1.0, 1.25}) {
        const Values values = ValuesAt(*target, time);
        const Values layer = ValuesAt(*target->LayerGet(2), time);
        const Values base = ValuesAt(*before, time);
        EXPECT_NEAR(values[0], base[0] + 50, 1e-3);
        EXPECT_NEAR(values[1], base[1] + 50, 1e-3);
        EXPECT_NEAR(values[2], base[2], 1e-3);
        EXPECT_NEAR(layer[2], base[2] + 1050, 1e-3);
        EXPECT_EQ(ValuesAt(*target->LayerGet(5), time), ValuesAt(*before->LayerGet(5), time));
    }
}

TEST(NodeReplace, RepeatsASpanOfItsOwn)
{
    const YFCurveNodePtr node = Layered();
    const YFCurveNodePtr before(node->Clone());
    EXPECT_TRUE(node->Replace(node.get(), Seconds(2.0), Seconds(3.0), true, true, Seconds(2.0)));
    for (const double time : {0.25, 0.5, 0.75}) {
        EXPECT_NEAR(ValuesAt(*node, time)[1], ValuesAt(*before, time)[1], 1e-3);
        EXPECT_NEAR(ValuesAt(*node, time + 2.0)[1], ValuesAt(*before, time)[1], 1e-3);
    }
}

}  // namespace
