#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/node/nodes.h"
#include "yfcurve/yfcurvefilter.h"
#include "yfcurve/yfcurvenode.h"

/// \file
/// What holds for every filter of the registry, whatever it does.

namespace {

struct FilterEnd
{
    void operator()(YFCurveFilter* filter) const { filter->Destroy(); }
};
using FilterPtr = std::unique_ptr<YFCurveFilter, FilterEnd>;

std::vector<std::string> FilterNames()
{
    std::vector<std::string> names;
    for (YClassDefinition* found = YClassRegistry::GetFirst(); found != nullptr;
         found = YClassRegistry::GetNext(*found)) {
        if (found->IsDerivedFrom(YFCurveFilter::StaticClass()) && found->GetOptions().create != nullptr)
            names.emplace_back(found->GetName());
    }
    return names;
}

// Everything that a curve holds, as bytes.
std::string BytesOf(const YFCurve& curve)
{
    std::string bytes;
    const auto add = [&bytes](const auto& value) {
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    };
    add(curve.GetValue());
    add(curve.GetUpdateId());
    add(curve.GetPreExtrapolation());
    add(curve.GetPostExtrapolation());
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        add(curve.KeyGetTime(i));
        add(curve.KeyGetValue(i));
        add(curve.KeyGetInterpolation(i));
        add(curve.KeyGetTangeantMode(i, true));
        add(curve.KeyGetTangeantWeightMode(i));
        for (int word = 0; word < 4; ++word) add(curve.KeyGetDataPtr(i)[word]);
    }
    return bytes;
}

// The node of a joint, with a translation, a rotation and a scaling, and a curve beside it.
struct Joint
{
    YFCurveNodePtr node{YFCurveNodeCreate("Joint", static_cast<YDataType*>(nullptr))};
    std::vector<YFCurve*> curves;
    YFCurvePtr single{YFCurveCreate()};

    Joint()
    {
        for (const eDataType type :
             {eDataType::LocalTranslation, eDataType::LocalRotation, eDataType::LocalScaling}) {
            YFCurveNodePtr property = nodetest::PropertyOf(type, YDataType::Get(type)->GetName());
            for (int i = 0; i < 3; ++i) curves.push_back(property->Get(i)->FCurveGet());
            node->Add(property.release());
        }
        curves.push_back(single.get());
    }

    YFCurveNode& Property(int index) const { return *node->Get(index); }

    std::string Bytes() const
    {
        std::string bytes;
        for (const YFCurve* curve : curves) bytes += BytesOf(*curve) + "|";
        return bytes;
    }

    void Lock()
    {
        for (YFCurve* curve : curves) curve->SetLockedByProperty(true);
    }
};

// Applies a filter in every way that there is. \return  the answers of those calls.
std::vector<bool> ApplyEverywhere(YFCurveFilter& filter, const Joint& joint)
{
    std::vector<bool> answers;
    for (int property = 0; property < 3; ++property) {
        YFCurve* curves[3];
        for (int i = 0; i < 3; ++i) curves[i] = joint.Property(property).Get(i)->FCurveGet();
        filter.NeedApply(curves, 3);
        answers.push_back(filter.Apply(curves, 3));
        answers.push_back(filter.Apply(joint.Property(property), true));
    }
    answers.push_back(filter.Apply(*joint.node, true));
    answers.push_back(filter.Apply(*joint.single));
    return answers;
}

class AllFilters : public ::testing::TestWithParam<std::string>
{
  protected:
    FilterPtr Make() const { return FilterPtr(YFCurveFilterCreate(GetParam().c_str())); }
};

TEST_P(AllFilters, LockedCurvesKeepEveryByte)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    Joint joint;
    for (YFCurve* curve : joint.curves) random.AddKeys(*curve, 20, 0.5);
    joint.Lock();
    const std::string before = joint.Bytes();
    ApplyEverywhere(*Make(), joint);
    EXPECT_EQ(joint.Bytes(), before);
}

TEST_P(AllFilters, WhatIsNotChangedKeepsEveryByte)
{
    // Moves its keys and answers false all the same.
    const bool answersFalse = GetParam() == "YFCurveFilterTimeShiftAndScale";
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (const int keyCount : {0, 1, 2, 30}) {
        Joint joint;
        for (YFCurve* curve : joint.curves) random.AddKeys(*curve, keyCount, 0.5);
        const FilterPtr filter = Make();
        for (const char* name : {"Shift", "Scale", "Offset"}) filter->SetParameter(name, "2");
        const auto expectKept = [&](const std::string& before, bool answer) {
            const bool changed = filter->GetOutcome() == eFilterOutcome::Changed;
            if (!changed) {
                EXPECT_EQ(joint.Bytes(), before) << keyCount;
            }
            if (!answersFalse) {
                EXPECT_TRUE(answer || !changed) << keyCount;
            }
            if (keyCount == 0) {
                EXPECT_NE(filter->GetOutcome(), eFilterOutcome::Refused);
            }
        };
        std::string before = joint.Bytes();
        expectKept(before, filter->Apply(*joint.single));
        for (int property = 0; property < 3; ++property) {
            before = joint.Bytes();
            expectKept(before, filter->Apply(joint.Property(property), true));
        }
    }
}

TEST_P(AllFilters, KeysStayInOrderWhateverTheyHold)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    constexpr float odd[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                             -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::max()};
    for (const int keyCount : {0, 1, 2, 3, 40}) {
        for (const bool withOddValues : {false, true}) {
            Joint joint;
            for (YFCurve* curve : joint.curves) {
                random.AddKeys(*curve, keyCount, 0.9);
                for (int i = 0; withOddValues && i < keyCount; ++i) {
                    if (random.Chance(0.2)) curve->KeySetValue(i, odd[random.Below(4)]);
                }
            }
            joint.Property(1).SetUseQuaternion(random.Chance(0.5));
            const FilterPtr filter = Make();
            if (random.Chance(0.5))
                filter->SetStartTime(random.TimeBetween(YTIME_ZERO, YTime::FromSeconds(3)));
            if (random.Chance(0.5))
                filter->SetStopTime(random.TimeBetween(YTIME_ZERO, YTime::FromSeconds(20)));
            ApplyEverywhere(*filter, joint);
            for (const YFCurve* curve : joint.curves) {
                for (int i = 1; i < curve->KeyGetCount(); ++i)
                    ASSERT_LT(curve->KeyGetTime(i - 1), curve->KeyGetTime(i));
            }
        }
    }
}

TEST_P(AllFilters, InAnOpenBracketThereIsOneEvent)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    Joint joint;
    for (YFCurve* curve : joint.curves) random.AddKeys(*curve, 20, 0.5);
    joint.Property(1).SetUseQuaternion(random.Chance(0.5));
    int events = 0;
    const auto count = [](YFCurve*, YFCurveEvent*, void* object) { ++*static_cast<int*>(object); };
    for (YFCurve* curve : joint.curves) {
        curve->CallbackRegister(count, &events);
        curve->KeyModifyBegin();
    }
    ApplyEverywhere(*Make(), joint);
    EXPECT_EQ(events, 0);
    for (YFCurve* curve : joint.curves) {
        events = 0;
        curve->KeyModifyEnd();
        EXPECT_LE(events, 1);
        curve->CallbackUnregister(count, &events);
    }
}

INSTANTIATE_TEST_SUITE_P(Registry, AllFilters, ::testing::ValuesIn(FilterNames()),
                         [](const auto& info) { return info.param; });

}  // namespace
