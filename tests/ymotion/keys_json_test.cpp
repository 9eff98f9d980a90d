#include "ymotion/formats/keys_json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/motion_support.h"
#include "tests/test_environment.h"

namespace {

using namespace ymotion;

Scene TwoFrames()
{
    return SceneOfText(OneJoint("2 Xposition Yposition", {"1 2", "3 4"}));
}

YFCurve& CurveX(const Scene& scene)
{
    return *scene.root->FindRecursive("X")->FCurveGet();
}

std::string Exported(const Scene& scene)
{
    OutputText out;
    WriteKeysJson(scene, SelectCurves(scene, {"X"}), {&scene.layers.Base()}, out);
    return out.Take();
}

/// Every part of a key at random, weights and velocities at any step that they can have.
class RandomKeys
{
  public:
    YFCurveKey Key(YTime time)
    {
        YFCurveKey key;
        key.ResetCubic();
        key.SetTime(time);
        key.SetValue(Number());
        std::uint32_t flags = Of({YFCURVE_INTERP_CUBIC, YFCURVE_INTERP_LINEAR, YFCURVE_INTERP_CONSTANT, 0});
        const std::uint32_t tangent =
            flags == YFCURVE_INTERP_CUBIC
                ? Of({YFCURVE_TANGENT_AUTO, YFCURVE_TANGENT_USER, YFCURVE_TANGENT_TCB, 0})
                : Of({0, YFCURVE_CONSTANT_NEXT});
        flags |= tangent;
        for (const std::uint32_t bit : {0x800u, 0x1000u, 0x2000u, 0x10000u, 0x80000u, 0x100000u, 0x200000u,
                                        0x1000000u, 0x2000000u, 0x10000000u, 0x20000000u})
            flags |= Of({0, bit});
        key.SetFlags(flags);
        for (int word = 0; word < 2; ++word) key.SetDataFloat(static_cast<EYFCurveDataIndex>(word), Number());
        for (const auto weight : {YFCURVEKEY_RIGHT_WEIGHT, YFCURVEKEY_NEXT_LEFT_WEIGHT})
            if (Of({0, 1}) == 1) key.SetDataDouble(weight, static_cast<float>(mEngine() % 10000) / 9999.0f);
        for (const auto velocity : {YFCURVEKEY_RIGHT_VELOCITY, YFCURVEKEY_NEXT_LEFT_VELOCITY}) {
            const int step = static_cast<int>(mEngine() % 8 == 0 ? 0xffff : mEngine() % 0x10000) - 0x8000;
            if (Of({0, 1}) == 1) key.SetDataDouble(velocity, static_cast<float>(step) / 9999.0f);
        }
        if (tangent == YFCURVE_TANGENT_TCB) key.SetDataFloat(YFCURVEKEY_TCB_BIAS, Number());
        return key;
    }

    std::uint32_t Of(std::initializer_list<std::uint32_t> values)
    {
        return values.begin()[mEngine() % values.size()];
    }

  private:
    float Number()
    {
        switch (mEngine() % 8) {
            case 0:
                return -0.0f;
            case 1:
                return 0.0f;
            case 2:
                return std::copysign(INFINITY, mEngine() % 2 == 0 ? 1.0f : -1.0f);
            default: {
                const float any = std::bit_cast<float>(static_cast<std::uint32_t>(mEngine()));
                return std::isfinite(any) ? any : 1.5f;
            }
        }
    }

    test::RandomEngine mEngine;
};

}  // namespace

TEST(KeysJson, LosesNothing)
{
    RandomKeys random;
    for (int round = 0; round < 30; ++round) {
        const Scene scene = TwoFrames();
        YFCurve& curve = CurveX(scene);
        curve.KeyClear();
        curve.SetValue(0.1f);
        curve.SetPreExtrapolation(random.Of({0, 1, 2, 3, 4}));
        curve.SetPostExtrapolation(random.Of({0, 1, 2, 3, 4}));
        curve.SetPostExtrapolationCount(random.Of({0, 7, YFCURVE_EXTRAPOLATION_UNLIMITED}));
        for (int i = 0; i < 50; ++i)
            ASSERT_TRUE(curve.KeySet(i, random.Key(YTime((i - 25) * 0x20000000000001 + round))));
        Scene other = TwoFrames();
        const ImportedKeys imported = ReadKeysJson(Exported(scene), "k.json", other);
        EXPECT_EQ(imported.keys, 50);
        EXPECT_EQ(imported.curves, 1);
        const YFCurve& read = CurveX(other);
        ASSERT_EQ(read.KeyGetCount(), 50);
        EXPECT_EQ(read.GetValue(), 0.1f);
        EXPECT_EQ(read.GetPreExtrapolation(), curve.GetPreExtrapolation());
        EXPECT_EQ(read.GetPostExtrapolation(), curve.GetPostExtrapolation());
        EXPECT_EQ(read.GetPostExtrapolationCount(), curve.GetPostExtrapolationCount());
        for (int i = 0; i < 50; ++i) {
            const YFCurveKey a = curve.KeyGet(i);
            const YFCurveKey b = read.KeyGet(i);
            EXPECT_EQ(a.GetTime(), b.GetTime());
            EXPECT_EQ(a.GetFlags(), b.GetFlags());
            EXPECT_EQ(std::bit_cast<std::uint32_t>(a.GetValue()), std::bit_cast<std::uint32_t>(b.GetValue()));
            // Zeros of both signs are one in the records that keys share.
            for (int word = 0; word < 4; ++word) {
                const float x = a.GetDataPtr()[word];
                const float y = b.GetDataPtr()[word];
                ASSERT_TRUE(x == y || std::bit_cast<std::uint32_t>(x) == std::bit_cast<std::uint32_t>(y))
                    << "key " << i << " in " << Exported(scene);
            }
        }
        EXPECT_EQ(other.root->FindRecursive("Y")->FCurveGet()->KeyGetCount(), 2) << "a curve not named";
    }
}

TEST(KeysJson, RefusalsSayWhereAndWhat)
{
    const std::string good = Exported(TwoFrames());
    const std::pair<std::array<std::string, 2>, std::string> cases[] = {
        {{"}\n", ""}, "k.json:12: this is not JSON"},
        {{"yfcurve-keys", "other"}, "k.json: the format is not"},
        {{"\"version\":1", "\"version\":2"}, "newer program"},
        {{"\"curves\":", "\"curve\":"}, "unknown member 'curve'"},
        {{"Lcl Translation/X", "Lcl Translation/W"},
         "'a/Lcl Translation/W' on layer 'BaseAnimation': the scene has"},
        {{"BaseAnimation", "Down"}, "the scene has no such layer"},
        {{"BaseAnimation", "Up"}, "'a/Lcl Translation/X' on layer 'Up': that layer has no curve of it"},
        {{"\"ticks\":23", "\"ticks\":-23"}, "key 2: it is not later"},
        {{"\"ticks\":0,", "\"ticks\":9223372036854775808,"}, "key 1: 'ticks' is not a whole number"},
        {{"\"ticks\":0,\"seconds\":0", "\"seconds\":1e9"}, "'seconds' is not a time"},
        {{"\"value\":1", "\"value\":1e39"}, "'value' is not a number of single precision"},
        {{"\"tangent\":\"auto\"", "\"tangent\":\"Auto\""}, "'tangent' is 'Auto'"},
        {{"\"tangent\":\"auto\"", "\"tangent\":\"user\",\"rightWeight\":1.5"},
         "'rightWeight' is not from 0 to 1"},
        {{"\"count\":0", "\"count\":-2"}, "'count' is not a whole number from -1"},
    };
    for (const auto& [change, part] : cases) {
        std::string text = good;
        const std::size_t at =
            change[1].empty() && change[0] == "}\n" ? text.rfind(change[0]) : text.find(change[0]);
        ASSERT_NE(at, std::string::npos) << change[0] << " in " << good;
        text.replace(at, change[0].size(), change[1]);
        Scene scene = TwoFrames();
        scene.layers.Add("Up");
        EXPECT_TRUE(Holds(FailureOf([&] { ReadKeysJson(text, "k.json", scene); }), part)) << text;
    }
    Scene locked = TwoFrames();
    CurveX(locked).SetLockedByLayer(true);
    const std::string refusal = FailureOf([&] { ReadKeysJson(good, "k.json", locked); });
    EXPECT_TRUE(refusal.ends_with("it is locked, and has to be unlocked first")) << refusal;
}
