#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/curve/curve_fixtures.h"
#include "tests/filters/made_filter.h"
#include "tests/node/nodes.h"
#include "yfcurve/ydatafilterbase.h"
#include "yfcurve/yfcurvefilter.h"

namespace {

using namespace nodetest;

constexpr const char* kMessages[] = {"first", nullptr};

// Notes what it is asked, and says no.
class Refuser : public YFCurveFilter
{
  public:
    static YClassDefinition& StaticClass()
    {
        static constinit YClassDefinition definition("Refuser", &YFCurveFilter::StaticClass,
                                                     {.tag = static_cast<int>(eFilterScope::Property)});
        return definition;
    }
    YClassDefinition* GetClassDefinition() const override { return &StaticClass(); }

    Refuser() : YFCurveFilter("Refuser for people", kMessages, 2) {}

    using YFCurveFilter::NeedApply;
    bool NeedApply(YFCurve& curve) override
    {
        asked.push_back(&curve);
        return false;
    }
    bool Apply(YFCurve& curve) override
    {
        applied.push_back(&curve);
        GetError().SetLastErrorID(0);
        return false;
    }
    bool Apply(YFCurve** curves, int count) override { return YFCurveFilter::Apply(curves, count); }
    bool Apply(YFCurveNode& node, bool recursive) override { return YFCurveFilter::Apply(node, recursive); }
    std::vector<YFCurve*> asked;
    std::vector<YFCurve*> applied;
};

TEST(Filter, GoesThroughTheUnlockedPartsOfATree)
{
    const YFCurveNodePtr node = Translation();
    node->FCurveSet(YFCurveCreate());
    YFCurve* curves[] = {&CurveOf(*node, 0), &CurveOf(*node, 1), &CurveOf(*node, 2), node->FCurveGet()};
    using Curves = std::vector<YFCurve*>;
    Refuser filter;
    const auto appliedTo = [&](bool answer) {
        EXPECT_TRUE(answer);
        return std::exchange(filter.applied, {});
    };
    EXPECT_EQ(appliedTo(filter.Apply(*node, true)), Curves(curves, curves + 4));
    EXPECT_EQ(appliedTo(filter.Apply(*node, false)), Curves{curves[3]});
    EXPECT_EQ(appliedTo(filter.Apply(nullptr, 0) && filter.Apply(nullptr, -1)), Curves{});

    node->Get(0)->SetLockedByProperty(true);
    curves[1]->SetLockedByLayer(true);
    EXPECT_EQ(appliedTo(filter.Apply(*node, true)), (Curves{curves[2], curves[3]}));
    EXPECT_EQ(appliedTo(filter.Apply(curves, 4)), (Curves{curves[2], curves[3]}));
    TurnedLayer lockedLayer;
    lockedLayer.locked = true;
    node->Get(2)->SetLayerInfo(YFCurveLayerInfo(7, &lockedLayer));
    EXPECT_EQ(appliedTo(filter.Apply(*node, true)), Curves{curves[3]});
    node->Get(2)->SetLayerInfo(YFCurveLayerInfo::Base);

    // Whether something is to be done is asked of locked ones too.
    EXPECT_TRUE(filter.NeedApply(*node, true));
    EXPECT_EQ(filter.asked, Curves(curves, curves + 4));
}

TEST(Filter, FindsTheKeysOfItsSpan)
{
    const YFCurveNodePtr node = Translation();
    YFCurve& curve = CurveOf(*node, 0);
    Refuser filter;
    filter.Reset();
    EXPECT_EQ(filter.GetStartKey(curve), -1);
    EXPECT_EQ(filter.GetStopKey(curve), -1);
    for (int i = 0; i < 10; ++i) curve.KeyAppendFast(Seconds(i), 0.0f);
    const struct
    {
        YTime start, stop;
        int startKey, stopKey;
    } cases[] = {{YTIME_MINUS_INFINITE, YTIME_INFINITE, 0, 9},
                 {Seconds(5.5), Seconds(5.5), 5, 6},
                 {Seconds(5), Seconds(5), 5, 5},
                 {Seconds(20), Seconds(30), 9, 9},     // behind the keys: the position is 9.5
                 {Seconds(-30), Seconds(-20), 0, 0}};  // before them: -0.5
    for (const auto& c : cases) {
        filter.SetStartTime(c.start);
        filter.SetStopTime(c.stop);
        EXPECT_EQ(filter.GetStartKey(curve), c.startKey) << c.start.GetSecondDouble();
        EXPECT_EQ(filter.GetStopKey(curve), c.stopKey) << c.stop.GetSecondDouble();
    }
}

// A filter from elsewhere, with a sampling rate.
class RateFilter : public YDataFilterBase
{
  public:
    RateFilter() : YDataFilterBase("rate filter"), mRate("Rate", 25.0)
    {
        GetPropertyList().Add(&mRate);
        mSamplingRate = &mRate;
    }

    YPropertyT<double> mRate;
};

TEST(DataFilter, IsASheetOfProperties)
{
    RateFilter object;
    auto* filter = YQueryInterface<IFilter>(static_cast<YObject*>(&object));
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(YQueryInterface<YObject>(filter), &object);
    EXPECT_STREQ(filter->GetPropertySheetName(), "rate filter");
    ASSERT_EQ(filter->GetPropertyCount(), 3);
    EXPECT_EQ(filter->GetProperty(1), YDataType::Get(eDataType::Time));

    const char* shared = filter->GetPropertyString(0);
    EXPECT_STREQ(shared, "-inf");
    EXPECT_EQ(filter->GetPropertyString(1), shared);
    EXPECT_STREQ(shared, "inf");
    char half[] = "0.5";
    EXPECT_TRUE(filter->SetPropertyString(1, half));
    double value = 0.0;
    EXPECT_TRUE(filter->GetPropertyConstant(1, &value));
    EXPECT_EQ(value, 0.5);
    for (const int outside : {-1, 3}) EXPECT_EQ(filter->GetPropertyName(outside), nullptr);
    // A rate is refused only below 0, and is then that of the process.
    value = -1.0;
    EXPECT_FALSE(filter->SetPropertyConstant(2, &value));
    EXPECT_NEAR(object.mRate, 30.0, 1e-9);
    value = 0.0;
    EXPECT_TRUE(filter->SetPropertyConstant(2, &value));
}

TEST(Filter, RefusesArraysWithHoles)
{
    for (const std::string& name : FilterNames()) {
        SCOPED_TRACE(name);
        const FilterPtr filter = MadeFilter(name);
        const YFCurvePtr curve = yfc::test::MakeSamples(20);
        const std::uint32_t before = curve->GetUpdateId();
        YFCurve* holes[] = {curve.get(), nullptr, curve.get()};
        for (YFCurve** curves : {holes, static_cast<YFCurve**>(nullptr)}) {
            EXPECT_FALSE(filter->Apply(curves, 3));
            EXPECT_EQ(filter->GetOutcome(), eFilterOutcome::Refused);
            filter->NeedApply(curves, 3);
        }
        EXPECT_EQ(curve->GetUpdateId(), before);
    }
}

}  // namespace
