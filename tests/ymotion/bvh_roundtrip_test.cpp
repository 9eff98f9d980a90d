#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <tuple>

#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "ymotion/filtering/plot_into_layer.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/world_pose.h"
#include "ymotion/text/number_text.h"

using namespace ymotion;

namespace {

/// Reads, writes and reads again.
void ExpectRoundTrip(const std::string& text, bool throughTalo = true)
{
    const BvhMotion before = ParseBvh(text, "before");
    const std::string copy = BvhTextOf(SceneOfBvh(before));
    const BvhMotion after = ParseBvh(copy, "after");
    EXPECT_TRUE(before.skeleton.joints == after.skeleton.joints);
    EXPECT_EQ(before.frameCount, after.frameCount);
    EXPECT_EQ(before.frameTime, after.frameTime);
    EXPECT_EQ(before.rate, after.rate);
    const auto bits = [](float number) { return std::bit_cast<std::uint32_t>(number); };
    EXPECT_TRUE(std::ranges::equal(before.samples, after.samples, {}, bits, bits));
    // What is written once is written the same way again.
    EXPECT_EQ(BvhTextOf(SceneOfBvh(after)), copy);
    if (!throughTalo) return;
    // A scene file in between changes nothing, and is itself written the same way again.
    const Scene scene = ThroughTalo(SceneOfBvh(before));
    EXPECT_EQ(BvhTextOf(scene), copy);
    EXPECT_EQ(TaloTextOf(scene), TaloTextOf(SceneOfBvh(before)));
}

/// A file of random shape: joints, end sites, channels, values of any size, rates.
class RandomBvh
{
  public:
    std::string Text()
    {
        mText = "HIERARCHY\n";
        mChannels = 0;
        for (int root = Below(2); root >= 0; --root) AddJoint("ROOT", 0);
        // A file without any channel has no frames to give back.
        const int frames = mChannels == 0 ? 0 : Below(20);
        static constexpr const char* kFrameTimes[] = {".0083333", "0.033367", "0.0123457",
                                                      "1",        "0.04",     "3e-5"};
        mText +=
            "MOTION\nFrames: " + std::to_string(frames) + "\nFrame Time: " + kFrameTimes[Below(6)] + "\n";
        for (int frame = 0; frame < frames; ++frame) {
            for (int i = 0; i < mChannels; ++i) mText += Number() + (i + 1 == mChannels ? "\n" : " ");
        }
        return mText;
    }

  private:
    int Below(int limit) { return static_cast<int>(mEngine() % static_cast<unsigned>(limit)); }

    std::string Number()
    {
        float value = 0;
        do {
            value = std::bit_cast<float>(static_cast<std::uint32_t>(mEngine()));
        } while (!std::isfinite(value));
        if (Below(3) > 0) value = static_cast<float>(Below(360001) - 180000) / 1000.0f;
        std::string text;
        AppendFloat(text, value);
        return text;
    }

    void AddOffset() { mText += "OFFSET " + Number() + " " + Number() + " " + Number() + "\n"; }

    void AddEndSite()
    {
        mText += Below(2) == 0 ? "End Site\n{\n" : "End Site tip " + std::to_string(Below(5)) + "\n{\n";
        AddOffset();
        mText += "}\n";
    }

    void AddJoint(const std::string& keyword, int depth)
    {
        static constexpr const char* kNames[] = {"Hips",    "Left Leg", "arm:2", "x",           "a/b",
                                                 "x (\\1)", "T",        "X",     "Lcl Rotation"};
        mText += keyword + " " + kNames[Below(9)] + "\n{\n";
        AddOffset();
        Words names{"Xposition", "Yposition", "Zposition", "Xrotation", "Yrotation", "Zrotation"};
        std::shuffle(names.begin(), names.end(), mEngine);
        names.resize(static_cast<std::size_t>(Below(7)));
        mText += "CHANNELS " + std::to_string(names.size());
        for (const std::string& name : names) mText += " " + name;
        mText += "\n";
        mChannels += static_cast<int>(names.size());
        for (int child = Below(3); child > 0 && depth < 5; --child) {
            if (Below(4) == 0) AddEndSite();
            AddJoint("JOINT", depth + 1);
        }
        for (int site = Below(3) - 1; site > 0; --site) AddEndSite();
        mText += "}\n";
    }

    test::RandomEngine mEngine;
    std::string mText;
    int mChannels = 0;
};

}  // namespace

TEST(BvhRoundTrip, ExampleWalkAndRecordings)
{
    for (const std::string& file : RecordedMotions()) {
        SCOPED_TRACE(file);
        const std::string text = FileContent(file);
        ExpectRoundTrip(text);
        EXPECT_LE(TaloTextOf(SceneOfText(text)).size(), 4 * text.size());
        EXPECT_EQ(RunYFCurve({"info", file}).exitCode, 0);
        EXPECT_EQ(XmlFault(RunYFCurve({"plot", file, "-o", "-"}).output), "");
    }
}

TEST(BvhRoundTrip, RandomFiles)
{
    RandomBvh random;
    for (int round = 0; round < 100; ++round) {
        ExpectRoundTrip(random.Text(), round % 5 == 0);
        if (HasFailure()) return;
    }
}

TEST(BvhRoundTrip, AChannelWhoseCurveIsGoneRests)
{
    Scene scene = SceneOfText(OneJoint("3 Xposition Yposition Xrotation", {"1 2 3"}));
    EXPECT_TRUE(scene.jointNodes[0]->Get(0)->Get(0)->FCurveGet()->IsKeyInterpolationPureCubicAuto(0));
    EXPECT_FALSE(KeySpan(SceneOfText(OneJoint("1 Xposition", {}))).has_value());
    scene.jointNodes[0]->Delete(1);
    scene.jointNodes[0]->Get(0)->Get(1)->FCurveSet(nullptr, true);
    EXPECT_EQ(ParseBvh(BvhTextOf(scene), "copy").samples, (std::vector<float>{1, 8, 0}));
}

TEST(BvhRoundTrip, AxesWithoutChannelsGetThemWhereTheyTurn)
{
    for (const auto& [channels, frame, whole, angle] :
         {std::tuple{"1 Xrotation", "40", "3 Zrotation Yrotation Xrotation", 70.0f},
          {"2 Zrotation Xrotation", "40 50", "3 Yrotation Zrotation Xrotation", -70.0f},
          {"3 Yrotation Xposition Zrotation", "40 5 50", "4 Xrotation Yrotation Xposition Zrotation",
           0.005f}}) {
        Scene scene = SceneOfText(OneJoint(channels, {frame, frame}));
        const std::string still = BvhTextOf(scene);
        std::vector<YFCurve*> others;
        for (const Axis axis : kAxes) {
            YFCurve* curve = CurveOf(*scene.jointNodes[0], {ChannelKind::Rotation, axis});
            if (curve->KeyGetCount() == 0) others.push_back(curve);
        }
        for (YFCurve* curve : others) curve->KeyAppendFast(YTIME_ZERO, 0.0f);
        EXPECT_EQ(BvhTextOf(scene), still);
        for (YFCurve* curve : others) curve->KeyAppendFast(YTime::FromSeconds(0.5), angle);
        const std::string text = BvhTextOf(scene);
        EXPECT_TRUE(Holds(text, std::string("CHANNELS ") + whole + "\n"));
        const Scene back = SceneOfText(text);
        for (const double seconds : {0.0, 0.5}) {
            const YTime time = YTime::FromSeconds(seconds);
            const YgeQuaternion turn = WorldPoses(scene).At(time)[0].rotation;
            EXPECT_LT(turn.GetAngleTo(WorldPoses(back).At(time)[0].rotation), 1e-4) << whole << seconds;
        }
    }
}

TEST(BvhRoundTrip, RatesOfFewDigitsComeBack)
{
    for (const FrameRate rate :
         {FrameRate{25, 2}, {125, 2}, {125, 4}, {100, 7}, {25, 3}, {24000, 1001}, {30, 1}}) {
        Scene scene = SceneOfText(OneJoint("1 Xrotation", {"1", "2"}));
        scene.SetRate(rate);
        EXPECT_EQ(SceneOfText(BvhTextOf(scene)).rate, rate) << RateText(rate);
    }
}

TEST(BvhRoundTrip, PositionsOnLayersCountWhereTheyPlay)
{
    Scene scene = SceneOfText(OneJoint("4 Xposition Yposition Zposition Xrotation", {"7 3 1 0", "7 3 5 0"}));
    scene.skeleton.joints[0].channels = {{ChannelKind::Rotation, Axis::X}};
    YFCurveNode& place = *PropertyOf(*scene.jointNodes[0], ChannelKind::Translation);
    for (const int axis : {0, 1}) place.Get(axis)->FCurveGet()->KeyClear();
    LayerPlotting plotting{scene.layers.Add("Over"), {}, {}};
    plotting.layer->SetMode(YFCURVE_LAYER_OVERRIDE);
    PlotIntoLayer(scene, plotting, nullptr, {&place});
    EXPECT_EQ(WorldPoses(scene).At(YTIME_ZERO)[0].position.y, 8);  // the offset, as before
    place.LayerGet()->Get(1)->FCurveGet()->KeyAppendFast(YTIME_ZERO, 20.0f);
    EXPECT_EQ(ParseBvh(BvhTextOf(scene), "copy").samples, (std::vector<float>{20, 1, 0, 20, 5, 0}));
}
