// What clip tools leave alone, and what they refuse.

#include <gtest/gtest.h>

#include <functional>

#include "tests/ymotion/clipped.h"

using namespace ymotion;

TEST(Clip, TellsWhatItDoesNotDo)
{
    const std::pair<Words, const char*> nothing[] = {
        {{"trim=0:9"}, "that is all that plays"},
        {{"shift=0"}, "no shift"},
        {{"scale=1"}, "lengths stay"},
        {{"rate=20"}, "20 frames a second already"},
        {{"rate=20", "resample"}, "already, with keys at exactly these frames"}};
    for (const auto& [steps, text] : nothing) {
        SCOPED_TRACE(text);
        Scene scene = SceneOfText(test::kSmallMotion);
        const std::string before = TaloTextOf(scene);
        const ClipChange change = Clip(scene, steps).at(0).change;
        EXPECT_TRUE(!change.changed && Holds(change.text, text));
        EXPECT_EQ(TaloTextOf(scene), before);
    }
    const auto refused = [](const Words& steps, const char* part, int code,
                            const std::function<void(Scene&)>& change = {}) {
        Scene scene = SceneOfText(test::kSmallMotion);
        if (change) change(scene);
        EXPECT_TRUE(Holds(FailureOf([&] { Clip(scene, steps); }, code), part));
    };
    for (const auto& [step, part] :
         std::vector<std::pair<const char*, const char*>>{{"trim=3:1", "ends before it starts"},
                                                          {"trim=a", "is not a range of times"},
                                                          {"speed=0", "from 0.001 to 1000"},
                                                          {"scale=-1", "above 0"},
                                                          {"order=XYX", "none of"},
                                                          {"rename=a", "OLD=NEW"},
                                                          {"trimm=1:2", "did you mean trim"},
                                                          {"loop", "needs a value"},
                                                          {"blend=1", "--blend is about --loop"},
                                                          {"rename=*=**", "stars"}}) {
        refused({step}, part, kExitUsage);
    }
    refused({}, "nothing to do", kExitUsage);
    refused({"loop=2", "blend=0.1", "blend=0.2"}, "blend is given twice", kExitUsage);
    refused({"trim=7:8"}, "nothing plays from 7:8", kExitFailure);
    refused({"drop=Hip"}, "did you mean Hips", kExitFailure);
    refused({"rename=Leg=Hips"}, "'Hips' is the name of another joint", kExitFailure);
    refused({"rename=Leg="}, "the new name of 'Leg' would be empty", kExitFailure);
    refused({"loop=2", "blend=0.1"}, "less than twice the blend", kExitFailure);
    refused({"mirror", "pairs=Hips=Arm"}, "'Arm' are no two joints", kExitFailure);
    refused({"mirror", "pairs=Hips=Leg", "pairs=Leg=Hips"}, "is in another pair", kExitFailure);
    refused({"drop=Leg", "drop=Hips"}, "nothing would be left", kExitFailure);
    refused({"scale=1e9"}, "offsets of 1e+35 become too large", kExitFailure,
            [](Scene& scene) { scene.skeleton.joints[2].offset[1] = 1e35f; });
    refused({"loop=1000"}, "rounds have 20,100,000 keys, more than", kExitFailure,
            [](Scene& scene) { scene = SceneOfText(OneJoint("1 Xposition", Words(20100, "1"))); });
    refused({"drop=Hips"}, "has layers", kExitFailure, [](Scene& scene) {
        YDataType& type = *YDataType::Get(eDataType::LocalScaling);
        YFCurveNode& scale = *AddTo(*scene.jointNodes[0], MakePropertyNode(type, type.GetName()));
        scale.CreateLayerAt(scene.layers.Add("Up")->Info());
    });
    refused({"rename=Leg=Arm"}, "has a time warp", kExitFailure, [](Scene& scene) {
        scene.jointNodes[1]->TimeWarpSet(PropertyOf(*scene.jointNodes[0], ChannelKind::Rotation)->Get(0));
    });
    refused({"shift=1"}, "'Up' is locked", kExitFailure, [](Scene& scene) {
        Layer& layer = *scene.layers.Add("Up");
        PropertyOf(*scene.jointNodes[0], ChannelKind::Rotation)->CreateLayerAt(layer.Info());
        layer.SetLocked(true);
        scene.layers.Bind(*scene.root);
    });
    for (const char* step : {"scale=2", "drop=Hips", "mirror"}) {
        refused({step}, "is locked", kExitFailure, [](Scene& scene) {
            PropertyOf(*scene.jointNodes[0], ChannelKind::Translation)->SetLockedByProperty(true);
        });
    }
    for (const char* step : {"in-place", "root-origin", "loop=2"}) {
        refused({step}, "has layers", kExitFailure, [](Scene& scene) {
            YFCurveNode& property = *PropertyOf(*scene.jointNodes[0], ChannelKind::Translation);
            property.CreateLayerAt(scene.layers.Add("Up")->Info())->Get(0)->FCurveGet()->SetValue(1.0f);
        });
    }
    refused({"in-place"}, "'BaseAnimation' does not play", kExitFailure, [](Scene& scene) {
        Layer& layer = *scene.layers.Add("Up");
        PropertyOf(*scene.jointNodes[0], ChannelKind::Translation)->CreateLayerAt(layer.Info());
        scene.layers.SetSolo(layer, true);
    });
    refused({"root-origin"}, "give it six channels", kExitFailure,
            [](Scene& scene) { scene = SceneOfText(OneJoint("1 Xposition", {"1"})); });
    // Of a rotation in quaternion form, what plays beyond the keys depends on how they lie on all its curves.
    for (const bool turns : {false, true}) {
        refused({turns ? "reverse" : "loop=2"}, "repeats its keys", kExitFailure, [turns](Scene& scene) {
            PropertyOf(*scene.jointNodes[1], ChannelKind::Rotation)->SetUseQuaternion(turns);
            YFCurve& curve = *CurveOf(*scene.jointNodes[1], {ChannelKind::Rotation, Axis::Z});
            curve.KeyRemove(3);
            curve.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
            curve.SetPostExtrapolationCount(2);
        });
    }
    for (const char* step : {"mirror", "drop=a", "order=XYZ", "in-place", "root-origin", "rename=a=b"})
        refused({step}, "has no skeleton", kExitFailure,
                [](Scene& scene) { scene = ReadTaloText(kLayered, "a"); });
}

TEST(Clip, InPlaceLeavesWhatIsThereAlready)
{
    Scene scene = SceneOfText(OneJoint("3 Xposition Yposition Zposition", {"4 0 1", "4 5 1", "4 6 1"}));
    const std::string before = TaloTextOf(scene);
    EXPECT_FALSE(Clip(scene, {"in-place"}).at(0).change.changed);
    EXPECT_EQ(TaloTextOf(scene), before);
    // Equal keys with a slope: a cubic that starts with 8 a second is 8 * 0.5 * 4/27 away at most.
    YFCurve& curve = *CurveOf(*scene.jointNodes[0], {ChannelKind::Translation, Axis::X});
    for (const int key : {0, 1})
        curve.KeySet(key, curve.KeyGetTime(key), 4.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER_BREAK,
                     key == 0 ? 8.0f : 0.0f);
    const ClipChange change = Clip(scene, {"in-place"}).at(0).change;
    EXPECT_TRUE(change.changed && Holds(change.text, "up to 0.5") && Holds(change.text, "along X"))
        << change.text;
    EXPECT_EQ(curve.Evaluate(YTime::FromSeconds(0.2)), 4.0f);
}
