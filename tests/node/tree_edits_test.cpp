#include <gtest/gtest.h>
#include <malloc.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/node/nodes.h"
#include "tests/ybaselib/talo_testing.h"
#include "yfcurve/yfcurvemergelayers.h"

using namespace nodetest;

// A session in an editor that tries everything: random edits of properties with layers. A file holds what they
// are at any time, and at the end nothing of them is left.

namespace {

constexpr int kMostProperties = 20;
constexpr int kMostKeys = 30;
constexpr int kHostLayers = 4;

class TreeEdits
{
  public:
    explicit TreeEdits(unsigned seed) : mRandom(seed)
    {
        for (TurnedLayer& layer : mLayers) {
            layer.mode = static_cast<eLayerMode>(mRandom.Below(3));
            layer.weight = mRandom.Pick<double>({0.25, 0.5, 1.0});
        }
    }

    void Edit(int edits)
    {
        for (int i = 0; i < edits && !testing::Test::HasFailure(); ++i) {
            const int count = mTop->GetCount();
            if (count < 2 || (count < kMostProperties && mRandom.Chance(0.1))) AddProperty();
            if (mRandom.Chance(0.5)) {
                EditKeys();
            } else if (mRandom.Chance(0.5)) {
                EditLayers(AnyProperty());
            } else {
                EditProperty(AnyProperty());
            }
            if (i % 100 == 0) StoreAndRead();
        }
    }

  private:
    static YTime At(int frame) { return YTime::FromSeconds(frame / 10.0); }
    YTime AnyTime() { return At(mRandom.Below(41)); }
    float AnyValue() { return static_cast<float>(mRandom.Int(-100, 100)) * 0.5f; }

    YFCurveNode& AnyProperty() { return *mTop->Get(mRandom.Below(mTop->GetCount())); }

    YFCurveLayerInfo AnyLayer()
    {
        const int id = mRandom.Int(0, kHostLayers);
        return id == 0 ? YFCurveLayerInfo::Base
                       : YFCurveLayerInfo(id, &mLayers[static_cast<std::size_t>(id - 1)]);
    }

    void AddProperty()
    {
        const auto type = mRandom.Pick<eDataType>({eDataType::LocalTranslation, eDataType::LocalRotation,
                                                   eDataType::LocalScaling, eDataType::Number});
        YFCurveNode* const made = PropertyOf(type, std::to_string(++mNames).c_str()).release();
        made->SetUseQuaternion(type == eDataType::LocalRotation && mRandom.Chance(0.3));
        ASSERT_GE(mTop->Add(made), 0);
    }

    // Without what a file does not keep: velocities, and weights of auto keys.
    YFCurveKey AnyKey()
    {
        const float value = AnyValue();
        switch (mRandom.Below(6)) {
            case 0:
                return yfc::test::AutoKey(value);
            case 1:
                return yfc::test::TCBKey(value, AnyValue() * 0.01f, AnyValue() * 0.01f, AnyValue() * 0.01f);
            case 2:
                return yfc::test::LinearKey(value);
            case 3:
                return yfc::test::ConstantKey(
                    value, mRandom.Pick<unsigned>({YFCURVE_CONSTANT_STANDARD, YFCURVE_CONSTANT_NEXT}));
            default:
                return yfc::test::UserKey(value, AnyValue(), AnyValue());
        }
    }

    // On the base layer or another one.
    void EditKeys()
    {
        YFCurveNode* node = &AnyProperty();
        while (node->LayerGet() != nullptr && mRandom.Chance(0.6)) node = node->LayerGet();
        const int count = node->GetCount();
        YFCurve& curve = *(count > 0 ? node->Get(mRandom.Below(count)) : node)->FCurveGet();
        if (curve.KeyGetCount() > kMostKeys || mRandom.Chance(0.2)) {
            const YTime start = AnyTime();
            curve.Delete(start, start + At(mRandom.Below(11)));
            return;
        }
        if (mRandom.Chance(0.3)) curve.KeyInsert(AnyTime());
        curve.KeyAdd(AnyTime(), AnyKey());
    }

    void EditLayers(YFCurveNode& property)
    {
        std::vector<double> values(3, static_cast<double>(AnyValue()));
        YMergeLayerOptions options;
        options.plot.period = At(2);
        options.plot.tolerance = 1.0;
        switch (mRandom.Below(8)) {
            case 0:
                static_cast<void>(YFCurveNodePtr(property.RemoveLayer(mRandom.Int(1, kHostLayers), false)));
                break;
            case 1:
                options.removeMerged = mRandom.Chance(0.7);
                if (mRandom.Chance(0.3)) YFCURVE_MergeLayers(&property, options);
                YFCURVE_ConstantCurveMerge(&property, options);
                break;
            case 2:
                property.CandidateKey(nullptr, AnyLayer());
                break;
            case 3:
                property.CandidateSetSpecificLayer(AnyTime(), values.data(), AnyLayer());
                break;
            case 4:
                property.CandidateSet(AnyTime(), values.data(), AnyLayer());
                property.CandidateEvaluate(values.data(), AnyTime());
                break;
            case 5:
                property.GetCandidateState(mState);
                property.CandidateClear();
                break;
            case 6:
                property.SetCandidateState(mState);
                break;
            default:
                property.GetCorrectLayerAndCreateIfMissing(AnyLayer())->KeyAdd(AnyTime(), values.data());
                break;
        }
    }

    void EditProperty(YFCurveNode& property)
    {
        const YFCurveNodePtr copy(mRandom.Chance(0.5) ? property.Clone() : property.Copy(At(5), At(25)));
        if (mRandom.Chance(0.5)) copy->RemoveLayer(mRandom.Int(1, kHostLayers), true);
        YFCurveNode& target = AnyProperty();
        if (mRandom.Chance(0.3)) {
            if (mRandom.Chance(0.5)) property.Clear();
            property.Destroy();
        } else if (mRandom.Chance(0.5)) {
            target.CopyFrom(copy.get());
        } else {
            target.Replace(copy.get(), At(10), At(20), true, mRandom.Chance(0.5));
        }
    }

    // A slope of 0 has no sign: the two sides of a key share one.
    static std::string Stored(const YFCurveNode& node)
    {
        std::string text = Written([&](YTalo& talo) { node.TaloStore(&talo); });
        for (const char* zero : {"-0.0 ", "-0.0'"}) {
            for (std::size_t at = 0; (at = text.find(zero, at)) != std::string::npos;) text.erase(at, 1);
        }
        return text;
    }

    void StoreAndRead()
    {
        const std::string text = Stored(*mTop);
        YTalo talo;
        ASSERT_TRUE(talo.TextOpen(text.data(), text.size()));
        const YFCurveNodePtr read(YFCurveNodeCreate(&talo, false));
        ASSERT_TRUE(talo.FileClose() && read);
        ASSERT_EQ(Stored(*read), text);
        for (int frame = -3; frame < 50; frame += 7) {
            EXPECT_EQ(ValuesAt(*read, frame / 10.0), ValuesAt(*mTop, frame / 10.0)) << frame;
        }
    }

    RandomCurves mRandom;
    std::array<TurnedLayer, kHostLayers> mLayers;
    YFCurveNodePtr mTop{YFCurveNodeCreate("top", nullptr, 0)};
    YFCurveNodeCandidateState mState;
    int mNames = 0;
};

}  // namespace

TEST(TreeEdits, AreWhatAFileHoldsAndLeaveNothingBehind)
{
    const std::string howToRepeat = test::HowToRepeat();
    const int records = YFCURVE_GetKeyAttrCount();
    const unsigned seed = test::Seed();
    constexpr std::size_t kRounding = 128;  // where blocks happen to lie
    // A thread gives back what it has put by for itself. Pools keep what they have had: from the second time
    // on that is the same.
    std::size_t left = 0;
    for (int round = 0; round < 3; ++round) {
        std::thread([&] {
            SCOPED_TRACE(howToRepeat);
            TreeEdits(seed).Edit(6000);
        }).join();
        EXPECT_EQ(YFCURVE_GetKeyAttrCount(), records);
        const std::size_t used = mallinfo2().uordblks;
        EXPECT_TRUE(round < 2 || used <= left + kRounding) << used - left << " bytes more\n" << howToRepeat;
        left = used;
    }
}
