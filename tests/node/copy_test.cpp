#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nodes.h"
#include "random_stack.h"
#include "tests/curve/talo_text.h"

using namespace nodetest;

namespace {

using Values = std::vector<double>;

std::string Stored(const YFCurveNode& node)
{
    return Written([&](YTalo& talo) { node.TaloStore(&talo); });
}

// A translation of three linear ramps on the base and on layers 2 and 5, each layer 1000 above the last,
// with a time warp.
YFCurveNodePtr Layered(float offset = 0.0f)
{
    YFCurveNodePtr base = Translation();
    for (const int id : {2, 5}) base->CreateLayerAt({id, nullptr});
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

// A copy of a property, as the only child of another node if it is to be.
YFCurveNodePtr CopyIn(bool tree, const YFCurveNode& property)
{
    YFCurveNodePtr copy(property.Clone());
    if (!tree) return copy;
    YFCurveNodePtr top(YFCurveNodeCreate("top", nullptr));
    top->Add(copy.release());
    return top;
}

void ExpectChainOf(YFCurveNode& base)
{
    for (YFCurveNode* layer = base.LayerGet(); layer != nullptr; layer = layer->LayerGet()) {
        EXPECT_EQ(layer->ObjectLayerGet(), &base);
        EXPECT_EQ(layer->GetReferenceCount(), 1);
        for (int i = 0; ChildNames(*layer) == ChildNames(base) && i < layer->GetCount(); ++i)
            EXPECT_EQ(layer->Get(i)->ObjectLayerGet(), base.Get(i));
    }
}

// Whether CopyFrom takes a tree: as many children, of the same names, on the base and the layers of both.
bool HaveOneShape(const RandomStack& a, const RandomStack& b)
{
    for (const auto& layer : a.Layers()) {
        const YFCurveNode* on = a.NodeOn(layer->id);
        const YFCurveNode* other = b.NodeOn(layer->id);
        if (on != nullptr && other != nullptr && ChildNames(*on) != ChildNames(*other)) return false;
    }
    return true;
}

TEST(NodeCopies, OfRandomStacksAreWhatTheyWereMadeOf)
{
    RandomCurves random;
    int copied = 0;
    for (int round = 0; round < 300 && !HasFailure(); ++round) {
        const Kind kind = random.Pick<Kind>({Kind::Plain, Kind::Scaling, Kind::RotationByAngle});
        const RandomStack source(random, kind, true, true), target(random, kind, true, true);
        const std::string text = Stored(source.Property());
        const std::string before = Stored(target.Property());
        const bool inTree = random.Chance(0.5);
        const YFCurveNodePtr copy = CopyIn(inTree, target.Property());
        YFCurveNode* const clone = inTree ? copy->Get(0) : copy.get();
        ASSERT_EQ(Stored(*clone), before);
        const YFCurveNodePtr read = yfc::test::Read(
            before, [](YTalo& talo) { return YFCurveNodePtr(YFCurveNodeCreate(&talo, false)); });
        ASSERT_EQ(Stored(*read), before) << "of a file";
        ASSERT_EQ(read->KeyGetCount(true), target.Property().KeyGetCount(true));
        ExpectChainOf(*clone);
        const bool expected = HaveOneShape(source, target);
        const YFCurveNodePtr from = CopyIn(inTree, source.Property());
        ASSERT_EQ(copy->CopyFrom(from.get()), expected) << source.Description();
        ASSERT_EQ(Stored(*clone), expected ? text : before) << source.Description();
        ExpectChainOf(*clone);
        EXPECT_EQ(Stored(target.Property()), before);
        copied += expected ? 1 : 0;
    }
    EXPECT_GT(copied, 100);
    EXPECT_LT(copied, 290);
}

TEST(NodeCopies, PartsOfATree)
{
    YFCurveNodePtr source = Layered();
    const YFCurveNodePtr layer(source->LayerGet(2)->SingleLayerCopy());
    EXPECT_EQ(layer->GetLayerID(), 2);
    EXPECT_EQ(layer->LayerGet(), nullptr);
    EXPECT_EQ(layer->ObjectLayerGet(), layer.get());
    EXPECT_EQ(ValuesAt(*layer, 1.0), (Values{1010, 1011, 1012}));
    source->SetIOType(true);
    source->SetTakeType(true);
    const YFCurveNodePtr span(source->Copy(Seconds(1.0), Seconds(2.5)));
    EXPECT_EQ(ValuesAt(*span, 0.0), (Values{10, 11, 12}));
    EXPECT_EQ(ValuesAt(*span, 1.5), ValuesAt(*source, 1.5));
    EXPECT_EQ(ValuesAt(*span->LayerGet(5), 3.0), (Values{2030, 2031, 2032}));
    EXPECT_TRUE(span->GetIOType() == 0x01 && span->GetTakeType() == 0x10);
    EXPECT_EQ(span->TemplateGet(), source.get());
    EXPECT_EQ(span->TimeWarpGet()->GetReferenceCount(), 2);
    source.reset();
    EXPECT_EQ(span->TimeWarpGet()->GetReferenceCount(), 1);
    EXPECT_STREQ(span->GetName(), "translation");
}

TEST(NodeCopies, ATemplateHasNoKeysAndIsOnTheGivenLayer)
{
    const YFCurveNodePtr source = Layered();
    CurveOf(*source, 1).SetPreExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
    CurveOf(*source, 1).SetWasData(30);
    TurnedLayer hostLayer;
    const YFCurveNodePtr copy(source->CloneTemplate({8, &hostLayer}));
    EXPECT_EQ(ChildNames(*copy), ChildNames(*source));
    EXPECT_EQ(copy->GetLayerInfo(), YFCurveLayerInfo(8, &hostLayer));
    EXPECT_EQ(copy->Get(2)->GetLayerInfo(), YFCurveLayerInfo(8, &hostLayer));
    EXPECT_EQ(copy->KeyGetCount(true), 0);
    EXPECT_EQ(CurveOf(*copy, 1).GetWasData(), 0);
    EXPECT_EQ(CurveOf(*copy, 1).GetPreExtrapolation(), YFCURVE_EXTRAPOLATION_REPETITION);
    EXPECT_TRUE(copy->LayerGet() == nullptr && copy->TimeWarpGet() == nullptr);
}

TEST(NodeCopyFrom, KeepsWhatIsThereAndTellsOfLayers)
{
    int layerEvents = 0;
    const YFCurveNodePtr source = Layered(50.0f), target = Layered();
    target->CallbackRegister(
        [](YFCurveNode*, YFCurveNodeEvent* event, void* count) {
            if ((event->type & YFCURVENODEEVENT_LAYER) != 0) ++*static_cast<int*>(count);
        },
        &layerEvents);
    source->SetRotationOrder(3);
    source->LayerGet(2)->SetUseQuaternion(true);
    source->Get(1)->FCurveReplace(nullptr);
    target->SetLockedByProperty(true);
    yfc::test::EventLog log(CurveOf(*target, 0));
    YFCurveNode* keptLayer = target->LayerGet(5);
    EXPECT_TRUE(target->CopyFrom(source.get()));
    EXPECT_EQ(target->Get(1)->FCurveGet(), nullptr);
    EXPECT_EQ(log.Take().size(), 1u);
    EXPECT_EQ(target->GetRotationOrder(), 3);
    EXPECT_TRUE(target->LayerGet(2)->GetUseQuaternion() && target->IsLockedByProperty());
    EXPECT_EQ(target->TimeWarpGet(), source->TimeWarpGet());
    EXPECT_EQ(layerEvents, 0);

    // A layer that goes from the middle leaves the one behind it the same; no layer becomes another.
    source->RemoveLayer(2, true);
    EXPECT_TRUE(target->CopyFrom(source.get()) && target->CopyFrom(target.get()));
    EXPECT_EQ(target->LayerGet(), keptLayer);
    EXPECT_EQ(layerEvents, 1);
    EXPECT_FALSE(target->CopyFrom(keptLayer) || target->CopyFrom(nullptr) || target->Replace(nullptr));
    for (const bool withInfo : {false, true}) {
        EXPECT_TRUE(target->SingleLayerCopyFrom(keptLayer, withInfo));
        EXPECT_EQ(target->GetLayerID(), withInfo ? 5 : 0);
    }
    EXPECT_EQ(ValuesAt(*target, 0.0)[2], 2052.0);
}

TEST(NodeReplace, ReplacesASpanOnEveryLayerThatBothHave)
{
    const YFCurveNodePtr before = Layered();
    const YFCurveNodePtr source = Layered(50.0f);
    source->LayerGet(5)->SetLayerInfo({6, nullptr});
    source->Get(2)->FCurveReplace(nullptr);
    for (const bool inTree : {false, true}) {
        const YFCurveNodePtr copy = CopyIn(inTree, *before);
        EXPECT_TRUE(copy->Replace(CopyIn(inTree, *source).get(), Seconds(0.5), Seconds(1.5)));
        YFCurveNode* const target = inTree ? copy->Get(0) : copy.get();
        // The third curve has nothing to take, and neither has layer 5.
        for (const double time : {-1.0, 0.25, 0.75, 1.0, 1.25, 1.75, 4.0}) {
            const double offset = time > 0.5 && time < 1.5 ? 50.0 : 0.0;
            const Values expected = ValuesAt(*before, time);
            const Values values = ValuesAt(*target, time);
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_NEAR(values[i], expected[i] + (i < 2 ? offset : 0.0), 1e-3) << time;
            EXPECT_NEAR(ValuesAt(*target->LayerGet(2), time)[2], expected[2] + 1000 + offset, 1e-3) << time;
            EXPECT_EQ(ValuesAt(*target->LayerGet(5), time), ValuesAt(*before->LayerGet(5), time));
        }
    }
}

}  // namespace
