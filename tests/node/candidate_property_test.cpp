// What decides whether candidates are right, on random stacks of layers.

#include <gtest/gtest.h>

#include "random_stack.h"

using namespace nodetest;

namespace {

constexpr double kTolerance = 1e-4;  // units or degrees
constexpr bool kCandidate = true;

Triple Evaluate(const RandomStack& stack, YTime time, bool withCandidate = false)
{
    Triple values{};
    if (withCandidate) stack.Property().CandidateEvaluate(values.data(), time);
    if (!withCandidate) stack.Property().GeneralEvaluate(values.data(), time);
    return values;
}

/// Whether the values were taken.
bool SetCandidate(const RandomStack& stack, YTime time, const Triple& total, SwingingLayer& layer)
{
    const double* end = stack.Property().CandidateSet(time, total.data(), layer.Info());
    EXPECT_TRUE(end == total.data() || end == total.data() + stack.Components());
    return end != total.data();
}

/// \param time  infinity for the candidate's own.
void KeyCandidate(const RandomStack& stack, SwingingLayer& layer, YTime time = YTIME_INFINITE)
{
    EXPECT_TRUE(stack.Property().CandidateKey(nullptr, layer.Info(), nullptr, false, YFCURVE_INTERP_CUBIC,
                                              YFCURVE_TANGENT_AUTO, -1, true, time));
}

YTime RandomTime(RandomCurves& random)
{
    return random.Below(3) == 0 ? Seconds(0.25 * random.Below(17)) : Seconds(random.Between(-0.5, 4.5));
}

/// The curves of every layer that has a node.
std::vector<std::pair<int, std::vector<StoredCurve>>> Store(const RandomStack& stack)
{
    std::vector<std::pair<int, std::vector<StoredCurve>>> stored;
    for (const auto& layer : stack.Layers()) {
        YFCurveNode* node = stack.NodeOn(layer->id);
        if (node == nullptr) continue;
        stored.push_back({layer->id, {}});
        for (int i = 0; i < stack.Components(); ++i) stored.back().second.push_back(stack.Stored(*node, i));
    }
    return stored;
}

/// Values at moments all over, as bits.
std::vector<std::uint64_t> ValuesEverywhere(const RandomStack& stack, bool withCandidate)
{
    std::vector<std::uint64_t> bits;
    for (int i = -2; i < 40; ++i)
        for (const double value : Evaluate(stack, Seconds(i * 0.12), withCandidate))
            bits.push_back(std::bit_cast<std::uint64_t>(value));
    return bits;
}

/// A layer on which keys show, null when there is none.
SwingingLayer* LayerToKey(const RandomStack& stack, RandomCurves& random, YTime local)
{
    std::vector<SwingingLayer*> possible;
    for (const auto& layer : stack.Layers())
        if (stack.Shows(*layer, local)) possible.push_back(layer.get());
    if (possible.empty()) return nullptr;
    return possible[static_cast<std::size_t>(random.Below(static_cast<int>(possible.size())))];
}

/// A total that the stack can reach by what is on the layer: any for plain values, else one made of a share
/// there, since a part of a turn or a small power does not lead everywhere.
/// A component that the layer cannot move is to stay what it is.
/// \return  false when it would take a part of a turn near 180 degrees, which may go either way round.
bool ReachableTotal(RandomStack& stack, const SwingingLayer& layer, YTime local, Triple& wanted)
{
    wanted = stack.RandomValues();
    const Total total = stack.Model(local, &layer, wanted);
    if (stack.GetKind() == Kind::Rotation) {
        wanted = RandomStack::Rounded(layermodel::AnglesOf(total.Turn(), stack.Order()));
    } else if (layermodel::IsScaling(stack.GetKind())) {
        wanted = RandomStack::Rounded(total.Values());
    }
    const Triple now = stack.Model(local).Values();
    for (int i = 0; i < stack.Components(); ++i) {
        const auto at = static_cast<std::size_t>(i);
        if (!stack.Moves(layer, i)) wanted[at] = static_cast<double>(static_cast<float>(now[at]));
    }
    return total.WidestTurn() < 175.0;
}

/// The keys on the other layers, and those of the layer at other times, are those that were there.
void ExpectOthersUntouched(const RandomStack& stack, const decltype(Store(stack))& before, int keyedId,
                           YTime local)
{
    for (const auto& [id, curves] : before) {
        for (int i = 0; i < stack.Components(); ++i) {
            const StoredCurve& old = curves[static_cast<std::size_t>(i)];
            const StoredCurve now = stack.Stored(*stack.NodeOn(id), i);
            if (id == keyedId && stack.PartOn(*stack.NodeOn(id), i) != nullptr) {
                const YTime keyed = stack.CurveTime(id, i, local);
                EXPECT_TRUE(now.Without(keyed) == old.Without(keyed)) << "other times";
            } else {
                EXPECT_TRUE(now == old) << "layer " << id;
            }
        }
    }
}

/// One round of the property. False when the stack has no layer to key.
bool KeyAndCompare(RandomCurves& random, Kind kind)
{
    RandomStack stack(random, kind, true, true);
    SCOPED_TRACE(stack.Description());
    const YTime time = RandomTime(random);
    const YTime local = stack.LocalTime(time);
    SwingingLayer* layer = LayerToKey(stack, random, local);
    Triple wanted{};
    if (layer == nullptr || !ReachableTotal(stack, *layer, local, wanted)) return false;
    SCOPED_TRACE("keyed on layer " + std::to_string(layer->id) + " at second " +
                 std::to_string(time.GetSecondDouble()));

    const auto before = Store(stack);
    const bool elsewhere = random.Below(4) == 0;
    const YTime dragged = elsewhere ? RandomTime(random) : time;
    EXPECT_TRUE(SetCandidate(stack, dragged, wanted, *layer));
    if (!stack.Layers().front()->muted) {
        // While it is dragged, the candidate is what shows, to the bit.
        const Triple shown = Evaluate(stack, dragged, kCandidate);
        EXPECT_TRUE(std::equal(shown.begin(), shown.begin() + stack.Components(), wanted.begin()));
    }
    KeyCandidate(stack, *layer, elsewhere ? time : YTIME_INFINITE);

    const Triple reached = Evaluate(stack, time);
    Total asked(kind, stack.Order());
    asked.Take(wanted);
    EXPECT_LE(asked.Distance(reached), kTolerance);
    EXPECT_LE(stack.Model(local).Distance(wanted), kTolerance) << "by the model";
    EXPECT_LE(asked.Distance(Evaluate(stack, time, kCandidate)), kTolerance);
    ExpectOthersUntouched(stack, before, layer->id, local);
    for (int i = 0; i < stack.Components(); ++i) {
        const YFCurveNode* part = stack.PartOn(*stack.NodeOn(layer->id), i);
        if (part == nullptr) continue;
        const double position = part->FCurveGet()->KeyFind(stack.CurveTime(layer->id, i, local));
        EXPECT_TRUE(position >= 0.0 && position == std::floor(position)) << "no key of component " << i;
    }
    return !testing::Test::HasFailure();
}

using CandidateProperty = testing::TestWithParam<Kind>;

INSTANTIATE_TEST_SUITE_P(Kinds, CandidateProperty, testing::ValuesIn(kAllKinds));

}  // namespace

TEST_P(CandidateProperty, StacksEvaluateAsTheModelSays)
{
    RandomCurves random;
    for (int round = 0; round < 400; ++round) {
        RandomStack stack(random, GetParam(), true, true);
        const YTime time = RandomTime(random);
        const Total model = stack.Model(stack.LocalTime(time));
        if (model.WidestTurn() > 175.0) continue;
        ASSERT_LE(model.Distance(Evaluate(stack, time)), 1e-6) << stack.Description();
    }
}

TEST_P(CandidateProperty, KeyedTotalIsReachedAndNothingElseChanges)
{
    RandomCurves random;
    int keyed = 0;
    for (int round = 0; round < 1500 && !HasFailure(); ++round)
        keyed += KeyAndCompare(random, GetParam()) ? 1 : 0;
    EXPECT_GT(keyed, 500);
}

// A candidate leaves the keys alone: cleared, it leaves every bit as it was; restored, it shows as before.
TEST_P(CandidateProperty, ClearedItIsGoneAndRestoredItShows)
{
    RandomCurves random;
    for (int round = 0; round < 150 && !HasFailure(); ++round) {
        RandomStack stack(random, GetParam(), false);
        SCOPED_TRACE(stack.Description());
        const YTime time = RandomTime(random);
        const Triple wanted = stack.RandomValues();
        const auto plainValues = ValuesEverywhere(stack, false);
        const auto before = Store(stack);
        SwingingLayer& layer =
            *stack.Layers()[static_cast<std::size_t>(random.Below(static_cast<int>(stack.Layers().size())))];
        // One of a single layer may change the value of a curve without keys at once.
        const bool whole = random.Below(2) != 0;
        if (whole) {
            ASSERT_TRUE(SetCandidate(stack, time, wanted, layer));
        } else {
            stack.Property().CandidateSetSpecificLayer(stack.LocalTime(time), wanted.data(), layer.Info());
        }
        YFCurveNodeCandidateState original;
        ASSERT_TRUE(stack.Property().GetCandidateState(original));
        const YFCurveNodeCandidateState state = original;
        const bool wasCandidate = stack.Property().IsCandidate();
        const Triple shown = Evaluate(stack, time, kCandidate);
        const auto values = ValuesEverywhere(stack, true);

        stack.Property().CandidateClear();
        EXPECT_FALSE(stack.Property().IsCandidate());
        EXPECT_TRUE(!whole || Store(stack) == before);
        EXPECT_TRUE(!whole || ValuesEverywhere(stack, false) == plainValues);
        EXPECT_TRUE(Evaluate(stack, time, kCandidate) == Evaluate(stack, time));
        if (random.Below(2)) SetCandidate(stack, RandomTime(random), stack.RandomValues(), layer);
        stack.Property().SetCandidateState(state);
        EXPECT_EQ(stack.Property().IsCandidate(), wasCandidate);
        EXPECT_TRUE(Evaluate(stack, time, kCandidate) == shown);
        EXPECT_EQ(ValuesEverywhere(stack, true), values);
    }
}

TEST_P(CandidateProperty, LockedLayersTakeNothing)
{
    RandomCurves random;
    for (int round = 0; round < 100 && !HasFailure(); ++round) {
        RandomStack stack(random, GetParam(), true);
        SCOPED_TRACE(stack.Description());
        SwingingLayer& layer = *stack.Layers().back();
        const YTime time = RandomTime(random);
        // Nor does one that is locked while it holds a candidate, which it keeps.
        const bool holds = random.Below(2) != 0;
        if (holds) SetCandidate(stack, time, stack.RandomValues(), layer);
        layer.locked = true;
        const auto before = Store(stack);
        const Triple wanted = stack.RandomValues();
        EXPECT_FALSE(SetCandidate(stack, time, wanted, layer));
        EXPECT_EQ(stack.Property().CandidateSetSpecificLayer(time, wanted.data(), layer.Info()),
                  wanted.data());
        // Candidates of the whole stack are the base layer's alone.
        YFCurveNode* const upper = stack.Property().LayerGet();
        EXPECT_TRUE(upper == nullptr || upper->CandidateSet(time, wanted.data()) == wanted.data());
        EXPECT_EQ(stack.Property().IsCandidate(), holds);
        KeyCandidate(stack, layer);
        if (stack.Property().GetLayerInfo().GetLayer() == &layer) stack.Property().CandidateClear();
        EXPECT_TRUE(Store(stack) == before);
        EXPECT_EQ(stack.Property().IsCandidate(), holds);
    }
}

// Half turns, poles and quarter turns, from any to any: where conversions have their seams.
TEST(CandidateQuarterTurns, AreReached)
{
    RandomCurves random;
    const auto quarters = [&] { return static_cast<float>(90 * (random.Below(5) - 2)); };
    SwingingLayer layer(1);
    for (int round = 0; round < 4000; ++round) {
        layer.mode = static_cast<eLayerMode>(random.Below(3));
        const int order = random.Below(6);
        const YFCurveNodePtr node = Rotation(order);
        YFCurveNode* upper = node->CreateLayerAt(layer.Info());
        for (int i = 0; i < 3; ++i) {
            SetKeys(CurveOf(*node, i), {{0.0, quarters()}, {1.0, quarters()}});
            SetKeys(CurveOf(*upper, i), {{0.0, quarters()}, {1.0, quarters()}});
        }
        const Triple wanted{quarters(), quarters(), quarters()};
        const YTime time = Seconds(random.Below(2));
        const YFCurveLayerInfo keyed =
            random.Below(2) && layer.mode == YFCURVE_LAYER_ADDITIVE ? YFCurveLayerInfo::Base : layer.Info();
        node->CandidateSet(time, wanted.data(), keyed);
        node->CandidateKey(nullptr, keyed, nullptr, false, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO, -1,
                           random.Below(2) != 0);
        Triple reached{};
        node->GeneralEvaluate(reached.data(), time);
        ASSERT_LE(layermodel::DegreesBetween(layermodel::OfAngles(reached, order),
                                             layermodel::OfAngles(wanted, order)),
                  kTolerance)
            << "order " << order << " mode " << layer.mode << " keyed " << keyed.GetLayerID() << " wanted "
            << wanted[0] << " " << wanted[1] << " " << wanted[2];
    }
}
