#include <gtest/gtest.h>

#include "tests/curve/curve_fixtures.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurvetangentchecks.h"

using namespace yfc::test;

namespace {

YFCurveNodePtr NodeWith(const std::vector<YFCurveKey>& keys)
{
    YFCurveNodePtr node(YFCurveNodeCreate("node", nullptr));
    node->CreateFCurve();
    node->FCurveGet()->CopyFrom(*MakeCurve(keys));
    return node;
}

// A parent with children of the given keys.
YFCurveNodePtr Parent(const std::vector<std::vector<YFCurveKey>>& children)
{
    YFCurveNodePtr parent(YFCurveNodeCreate("parent", nullptr));
    for (const std::vector<YFCurveKey>& keys : children) parent->Add(NodeWith(keys).release());
    return parent;
}

// Flat user keys at 0, 1 and 2 s, and a reference that is a line of slope 4 through them.
struct FlatAgainstLine
{
    YFCurveNodePtr node = NodeWith({UserKey(0), UserKey(4), UserKey(8)});
    YFCurveNodePtr reference = NodeWith({LinearKey(0), LinearKey(4), LinearKey(8)});
    YFCurve& curve = *node->FCurveGet();
};

TEST(BreakTangents, TakesTheSlopesOfTheReference)
{
    FlatAgainstLine pair;
    EventLog log(pair.curve);
    YFCURVE_BreakTangents(pair.node.get(), pair.reference.get(), Sec(0.25), 3.999);
    EXPECT_EQ(log.Take().size(), 1u);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(pair.curve.KeyGetTangeantMode(i), 0xC00u);
    EXPECT_EQ(Slopes(pair.curve), std::vector<float>(6, 4.0f));
}

TEST(BreakTangents, LeavesWhatAgrees)
{
    FlatAgainstLine pair;
    pair.curve.KeySetTangeantMode(1, YFCURVE_TANGENT_AUTO, true);  // slope 4 by itself
    YFCURVE_BreakTangents(pair.node.get(), pair.reference.get(), Sec(0.25), 1.0);
    EXPECT_EQ(pair.curve.KeyGetTangeantMode(0), 0xC00u);
    EXPECT_EQ(pair.curve.KeyGetTangeantMode(1), unsigned{YFCURVE_TANGENT_AUTO});

    // A difference of exactly the threshold, and every way to have nothing to do, leave all keys alone.
    FlatAgainstLine same;
    EventLog log(same.curve);
    YFCURVE_BreakTangents(same.node.get(), same.reference.get(), Sec(0.25), 4.0);
    YFCURVE_BreakTangents(same.node.get(), same.reference.get(), Sec(0), 0.0);
    YFCURVE_BreakTangents(same.node.get(), nullptr, Sec(1), 0.0);
    YFCURVE_BreakTangents(nullptr, same.reference.get(), Sec(1), 0.0);
    YFCURVE_BreakTangents(same.node.get(), Parent({}).get(), Sec(1), 0.0);
    EXPECT_TRUE(log.Take().empty());

    // What the reference does before the first key and after the last one does not count.
    const YFCurveNodePtr inner = NodeWith({UserKey(0, 4, 4), UserKey(4, 4, 4), UserKey(8, 4, 4)});
    YFCurve& longer = *same.reference->FCurveGet();
    longer.KeyAdd(Sec(-1), LinearKey(9));
    longer.KeyAdd(Sec(3), LinearKey(-9));
    YFCURVE_BreakTangents(inner.get(), same.reference.get(), Sec(0.25), 0.5);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(inner->FCurveGet()->KeyGetTangeantMode(i), 0x400u) << i;
}

TEST(BreakTangents, WalksTreesOfOneShape)
{
    const std::vector<YFCurveKey> flat{UserKey(0), UserKey(1)};
    const YFCurveNodePtr tree = Parent({flat, flat});
    const YFCurveNodePtr reference = Parent({flat, {LinearKey(0), LinearKey(1)}});
    YFCURVE_BreakTangents(tree.get(), Parent({}).get(), Sec(0.5), 0.5);
    EXPECT_EQ(tree->Get(1)->FCurveGet()->KeyGetTangeantMode(0), unsigned{YFCURVE_TANGENT_USER});
    YFCURVE_BreakTangents(tree.get(), reference.get(), Sec(0.1), 0.5);
    EXPECT_EQ(tree->Get(0)->FCurveGet()->KeyGetTangeantMode(0), unsigned{YFCURVE_TANGENT_USER});
    EXPECT_EQ(tree->Get(1)->FCurveGet()->KeyGetTangeantMode(0), 0xC00u);
}

TEST(IsAllSameInterpolation, AsksEveryKey)
{
    constexpr unsigned constant = YFCURVE_INTERP_CONSTANT;
    const YFCurveNodePtr tree = Parent({{ConstantKey(0), ConstantKey(1)}, {ConstantKey(0)}});
    EXPECT_TRUE(YFCURVE_IsAllSameInterpolation(tree.get(), constant, false));
    EXPECT_TRUE(YFCURVE_IsAllSameInterpolation(tree.get(), constant | YFCURVE_INTERP_CUBIC, true));
    EXPECT_FALSE(YFCURVE_IsAllSameInterpolation(tree.get(), YFCURVE_INTERP_LINEAR, true));
    EXPECT_FALSE(YFCURVE_IsAllSameInterpolation(tree.get(), ~0xEu, true)) << "other flags do not count";
    EXPECT_FALSE(YFCURVE_IsAllSameInterpolation(Parent({}).get(), constant, true)) << "no keys";

    YFCurveNode* layer = tree->Get(1)->CreateLayerAt({1, nullptr});
    layer->FCurveGet()->KeyAdd(Sec(0), LinearKey(1));
    EXPECT_TRUE(YFCURVE_IsAllSameInterpolation(tree.get(), constant, false));
    EXPECT_FALSE(YFCURVE_IsAllSameInterpolation(tree.get(), constant, true));
}

}  // namespace
