#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <sstream>
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

// The defaults and limits that the manual states, and which error tells that a lone curve and a rotation have
// no keys.
struct Manual
{
    const char *name, *defaults;
    int onCurve, onRotation;
};
constexpr Manual kManual[] = {
    {"_TestTemplate", "", 0, 0},
    {"Butterworth",
     "CutOffFreq=7>0 SamplingRate=30>0 KeysOnFrame=true OrderOfFilter=4>=1<=18 InternalRate=240>0 ", 1, 1},
    {"Clamp", "ApplyCeilClamping=false Ceil=1 ApplyFloorClamping=false Floor=0 Tolerance=0.00001>=0 ", 1, 1},
    {"ConstantKeyReducer",
     "DerivativeTolerance=0.009>=0 ValueTolerance=0.009>=0 TranslationThreshold=0.00009>=0 "
     "RotationThreshold=0.009>=0 ScalingThreshold=0.004>=0 DefaultThreshold=0.009>=0 "
     "KeepFirstAndLastKeys=false KeepOneKey=false ",
     0, 0},
    {"DeleteKey", "CutTimeInterval=true ", 0, 0},
    {"EulerToQuat", "Precision=0.1>=0<=180 ", 1, 0},
    {"GimbleKiller", "PoleTolerance=0.0005>=0<=45 RotationOrder=XYZ ", 2, 0},
    {"GimbleKiller2", "PoleTolerance=0.0005>=0<=45 RotationOrder=XYZ ", 2, 0},
    {"KeyReducer", "Precision=1>=0 KeySync=false ", 1, 1},
    {"KeySync", "", 1, 1},
    {"KeysOnFrame", "Period=0.03333333333333333>0 ", 0, 0},
    {"MatrixConverter",
     "ResamplingPeriod=0>=0 ResamplingOnFrameRateMultiple=true ApplyUnroll=true ApplyConstantKeyReducer=true "
     "GenerateLastKeyExactlyAtEndTime=true ResampleTranslation=true SrcRotateOrder=Node "
     "DestRotateOrder=Node ",
     2, 3},
    {"Offset", "Offset=0 ", 1, 1},
    {"PeakRemover", "TimeTolerance=3>=0 ValueTolerance=3>=0 ", 0, 0},
    {"QuatToEuler", "Precision=0.1>=0<=180 ", 2, 2},
    {"Resample", "KeysOnFrame=false Period=0.03333333333333333>0 IntelligentMode=false ", 1, 1},
    {"Roll", "AngleInterval=0>=0 KeyRateMode=None LowerBound=-180 UpperBound=180 Tolerance=0.00001>=0 ", 2,
     0},
    {"Scale", "Scale=0 ApplyTangent=false ", 1, 1},
    {"Smooth",
     "Width=0.13333333333333333>=0 SampleCount=8>=1<=4096 FramePeriod=0.03333333333333333>0 "
     "ApplyGimbleKiller=false ApplyUnroller=false ApplyKeyReducer=false UseQuaternion=true ",
     0, 0},
    {"Smooth2", "Factor=1.5>=0.01 Width=0.26666666666666666>0 SampleCount=8>=1<=1024 ", 3, 2},
    {"TRS", "T=0,0,0 R=0,0,0 S=1,1,1 ", 0, 0},
    {"TimeClamp", "ApplyMinClamp=true Min=-inf ApplyMaxClamp=true Max=inf ", 0, 0},
    {"TimeShiftAndScale", "Shift=0 Scale=1 ", 1, 1},
    {"Unroll", "QualityTolerance=0.25>=0 TestForPath=false RotationOrder=XYZ ", 2, 0},
    {"UnrollDof",
     "EnableMinX=false EnableMinY=false EnableMinZ=false MinFreedom=0,0,0 EnableMaxX=false EnableMaxY=false "
     "EnableMaxZ=false MaxFreedom=0,0,0 QualityTolerance=0.25>=0 TestForPath=false RotationOrder=XYZ ",
     2, 0}};

std::string TextOf(const YProperty& property)
{
    char text[YPropertyTextSize];
    property.GetString(text, sizeof text);
    return text;
}

// Names and values, and behind them the limits of the values.
std::string TextOf(YPropertyList& properties)
{
    std::ostringstream text;
    for (int i = 0; i < properties.GetCount(); ++i) {
        const YPropertyOptions& range = properties.Get(i)->GetDescription()->GetOptions();
        text << properties.Get(i)->GetName() << "=" << TextOf(*properties.Get(i));
        if (range.minimum > std::numeric_limits<double>::lowest())
            text << (range.aboveMinimum ? ">" : ">=") << range.minimum;
        if (range.maximum < std::numeric_limits<double>::max()) text << "<=" << range.maximum;
        text << " ";
    }
    return text.str();
}

TEST_P(AllFilters, DoWhatTheManualSaysByDefault)
{
    const auto* manual = std::find_if(std::begin(kManual), std::end(kManual), [](const Manual& entry) {
        return "YFCurveFilter" + std::string(entry.name) == GetParam();
    });
    ASSERT_NE(manual, std::end(kManual));
    const FilterPtr filter = Make();
    YPropertyList& properties = filter->GetPropertyList();
    // These two start with an empty span, and the second has no defaults to go back to.
    const bool startsEmpty = GetParam().ends_with("KeysOnFrame") || GetParam().ends_with("ShiftAndScale");
    const std::string endless = std::string("Start=-inf Stop=inf ") + manual->defaults;
    EXPECT_EQ(TextOf(properties), startsEmpty ? std::string("Start=0 Stop=0 ") + manual->defaults : endless);
    for (int i = 0; i < properties.GetCount(); ++i) {
        const YProperty& property = *properties.Get(i);
        const std::string before = TextOf(property);
        for (const char* other : {"false", "true", "3,2,1", "XZY", "EachAngle", "0.75", "5"}) {
            if (TextOf(property) == before) filter->SetParameter(property.GetName(), other);
        }
        EXPECT_NE(TextOf(property), before) << property.GetName();
    }
    filter->Reset();
    if (!GetParam().ends_with("ShiftAndScale")) {
        EXPECT_EQ(TextOf(properties), endless);
    }

    const Joint joint;
    const FilterPtr fresh = Make();
    fresh->Apply(*joint.single);
    EXPECT_EQ(fresh->GetLastErrorID(), manual->onCurve);
    fresh->Apply(joint.Property(1), true);
    EXPECT_EQ(fresh->GetLastErrorID(), manual->onRotation);
}

INSTANTIATE_TEST_SUITE_P(Registry, AllFilters, ::testing::ValuesIn(FilterNames()),
                         [](const auto& info) { return info.param; });

}  // namespace
