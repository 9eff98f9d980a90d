// glTF against a plain model: files are put together here, byte by byte, and what they mean is worked out from
// the numbers that went into them.

#include "ymotion/formats/gltf.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "tests/ymotion/plain_kinematics.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/scene_copy.h"

using namespace ymotion;

namespace {

using Json = nlohmann::json;
using layermodel::DegreesBetween;
using layermodel::Quaternion;
using plainkinematics::Vector;

/// A file with one buffer.
struct File
{
    Json json = {{"asset", {{"version", "2.0"}}}};
    std::string bytes;

    template<class Number>
    int View(const std::vector<Number>& numbers, int stride = 0)
    {
        bytes.append((4 - bytes.size() % 4) % 4, '\0');
        const std::size_t start = bytes.size();
        bytes.append(reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(Number));
        json["bufferViews"].push_back(
            {{"buffer", 0}, {"byteOffset", start}, {"byteLength", bytes.size() - start}});
        if (stride > 0) json["bufferViews"].back()["byteStride"] = stride;
        return static_cast<int>(json["bufferViews"].size()) - 1;
    }
    int Accessor(int view, int component, std::size_t count, const char* type)
    {
        json["accessors"].push_back({{"componentType", component}, {"count", count}, {"type", type}});
        if (view >= 0) json["accessors"].back()["bufferView"] = view;
        return static_cast<int>(json["accessors"].size()) - 1;
    }
    int Floats(const std::vector<float>& numbers, int width)
    {
        const std::size_t count = numbers.size() / static_cast<std::size_t>(width);
        return Accessor(View(numbers), 5126, count, width == 1 ? "SCALAR" : width == 3 ? "VEC3" : "VEC4");
    }
    void Animate(int node, const char* path, const char* interpolation, int input, int output)
    {
        Json& animation = json["animations"][0];
        animation["channels"].push_back(
            {{"sampler", animation["samplers"].size()}, {"target", {{"node", node}, {"path", path}}}});
        animation["samplers"].push_back(
            {{"input", input}, {"output", output}, {"interpolation", interpolation}});
    }
    std::string Glb() const
    {
        Json whole = json;
        whole["buffers"] = Json::array({{{"byteLength", bytes.size()}}});
        std::string text = whole.dump();
        text.append((4 - text.size() % 4) % 4, ' ');
        const auto word = [](std::size_t number) {
            const auto value = static_cast<std::uint32_t>(number);
            return std::string(reinterpret_cast<const char*>(&value), sizeof value);
        };
        return "glTF" + word(2) + word(28 + text.size() + bytes.size()) + word(text.size()) + "JSON" + text +
               word(bytes.size()) + std::string("BIN\0", 4) + bytes;
    }
};

Scene SceneOf(const std::string& bytes, const GltfReading& reading = {})
{
    return ReadSceneText(bytes, "test.glb", reading);
}

std::array<double, 3> ValuesAt(const Scene& scene, std::size_t joint, eDataType type, double seconds)
{
    std::array<double, 3> values{};
    const YFCurveNode* property = scene.jointNodes[joint]->Find(YDataType::Get(type));
    property->Evaluate(values.data(), YTime::FromSeconds(seconds));
    return values;
}

Quaternion OrientationAt(const Scene& scene, std::size_t joint, double seconds)
{
    const auto angles = ValuesAt(scene, joint, eDataType::LocalRotation, seconds);
    const YFCurveNode* node = scene.jointNodes[joint]->Find(YDataType::Get(eDataType::LocalRotation));
    return layermodel::OfAngles({angles[0], angles[1], angles[2]}, node->GetRotationOrder());
}

Quaternion Unit(std::array<double, 4> q)
{
    const double length = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
    return {q[0] / length, q[1] / length, q[2] / length, q[3] / length};
}

/// What a sampler means at a time: `width` numbers.
std::array<double, 4> Meant(const std::vector<float>& times, const std::vector<float>& values,
                            std::size_t width, const std::string& kind, double t)
{
    std::size_t k = 0;
    while (k + 2 < times.size() && t >= double{times[k + 1]}) ++k;
    const double d = double{times[k + 1]} - double{times[k]};
    const double u = (t - double{times[k]}) / d;
    std::array<double, 4> result{};
    double dot = 0;
    for (std::size_t i = 0; i < width; ++i)
        dot += double{values[k * width + i]} * double{values[(k + 1) * width + i]};
    const double angle = std::acos(std::min(std::abs(dot), 1.0));
    for (std::size_t i = 0; i < width; ++i) {
        const auto at = [&](std::size_t key, std::size_t part) {
            return double{values[(3 * key + part) * width + i]};
        };
        const auto plain = [&](std::size_t key) { return double{values[key * width + i]}; };
        if (kind == "STEP") {
            result[i] = plain(u >= 1 ? k + 1 : k);
        } else if (kind == "CUBICSPLINE") {
            result[i] = (2 * u * u * u - 3 * u * u + 1) * at(k, 1) +
                        d * (u * u * u - 2 * u * u + u) * at(k, 2) +
                        (3 * u * u - 2 * u * u * u) * at(k + 1, 1) + d * (u * u * u - u * u) * at(k + 1, 0);
        } else if (width == 4) {
            result[i] = std::sin((1 - u) * angle) * plain(k) +
                        std::sin(u * angle) * plain(k + 1) * (dot < 0 ? -1 : 1);
        } else {
            result[i] = (1 - u) * plain(k) + u * plain(k + 1);
        }
    }
    return result;
}

}  // namespace

TEST(Gltf, EverySamplerMeansWhatItSays)
{
    test::RandomEngine random;
    std::uniform_real_distribution<float> anything(-1, 1);
    for (const std::string kind : {"STEP", "LINEAR", "CUBICSPLINE"}) {
        for (int order = 0; order < 6; ++order) {
            SCOPED_TRACE(kind + " in order " + RotationOrderName(order));
            const std::vector<float> times{0.1f, 0.5f, 0.6f, 1.3f, 2.0f, 2.25f};
            const std::size_t values = times.size() * (kind == "CUBICSPLINE" ? 3 : 1);
            File file;
            file.json["nodes"] = Json::array({{{"children", {1}}}, {{"name", "child"}}});
            const int input = file.Floats(times, 1);
            std::array<std::vector<float>, 3> numbers;
            const std::array<const char*, 3> paths{"translation", "scale", "rotation"};
            for (std::size_t path = 0; path < 3; ++path) {
                const std::size_t width = path == 2 ? 4 : 3;
                for (std::size_t i = 0; i < values; ++i) {
                    std::array<double, 4> value{};
                    for (std::size_t k = 0; k < width; ++k) value[k] = double{anything(random)};
                    const Quaternion unit = Unit(value);
                    const bool turns = width == 4 && (kind != "CUBICSPLINE" || i % 3 == 1);
                    if (turns) value = {unit.x, unit.y, unit.z, unit.w};
                    for (std::size_t k = 0; k < width; ++k)
                        numbers[path].push_back(static_cast<float>(value[k]));
                }
                file.Animate(1, paths[path], kind.c_str(), input,
                             file.Floats(numbers[path], static_cast<int>(width)));
            }
            const Scene scene = SceneOf(file.Glb(), {.animation = {}, .rotationOrder = order, .note = {}});
            for (double t = 0.1001; t < 2.25; t += 0.0123) {
                const auto place = Meant(times, numbers[0], 3, kind, t);
                const auto scale = Meant(times, numbers[1], 3, kind, t);
                const auto isPlace = ValuesAt(scene, 1, eDataType::LocalTranslation, t);
                const auto isScale = ValuesAt(scene, 1, eDataType::LocalScaling, t);
                for (std::size_t i = 0; i < 3; ++i) {
                    ASSERT_NEAR(isPlace[i], place[i], 1e-6) << t;
                    ASSERT_NEAR(isScale[i], scale[i], 1e-6) << t;
                }
                const Quaternion turn = Unit(Meant(times, numbers[2], 4, kind, t));
                ASSERT_LT(DegreesBetween(OrientationAt(scene, 1, t), turn), 0.012) << t;
            }
        }
    }
}

TEST(Gltf, EveryKindOfAccessor)
{
    // Half a turn about each axis in between, as each kind of number says it; the second key is the sparse one.
    const std::vector<float> times{0, 1};
    const Quaternion meant{0.6, 0, 0, 0.8};
    const auto expectMeant = [&](File& file, int output, double within) {
        file.json["nodes"] = Json::array({Json{{"name", "joint"}}});
        file.Animate(0, "rotation", "LINEAR", file.Floats(times, 1), output);
        EXPECT_LT(DegreesBetween(OrientationAt(SceneOf(file.Glb()), 0, 1), meant), within);
    };
    const auto expectNormalised = [&](const auto& numbers, int component, int stride, double within) {
        File file;
        const int accessor = file.Accessor(file.View(numbers, stride), component, 2, "VEC4");
        file.json["accessors"].back()["normalized"] = true;
        expectMeant(file, accessor, within);
    };
    expectNormalised(std::vector<std::int8_t>{0, 0, 0, 127, 76, 0, 0, 102}, 5120, 0, 0.5);
    expectNormalised(std::vector<std::uint8_t>{0, 0, 0, 255, 153, 0, 0, 204}, 5121, 0, 1e-4);
    expectNormalised(std::vector<std::int16_t>{0, 0, 0, 32767, 19660, 0, 0, 26214, 0, 0}, 5122, 0, 0.01);
    expectNormalised(std::vector<std::uint16_t>{0, 0, 0, 65535, 9, 9, 39321, 0, 0, 52428}, 5123, 12, 1e-4);
    const auto expectSparse = [&](int component, const auto& indices) {
        File sparse;
        const int output = sparse.Accessor(sparse.View<float>({0, 0, 0, 1, 1, 0, 0, 0}), 5126, 2, "VEC4");
        const int index = sparse.View(indices);
        const int value = sparse.View<float>({0.6f, 0, 0, 0.8f});
        sparse.json["accessors"][0]["sparse"] = {
            {"count", 1},
            {"indices", {{"bufferView", index}, {"componentType", component}}},
            {"values", {{"bufferView", value}}}};
        expectMeant(sparse, output, 1e-4);
    };
    expectSparse(5121, std::vector<std::uint8_t>{1});
    expectSparse(5123, std::vector<std::uint16_t>{1});
    expectSparse(5125, std::vector<std::uint32_t>{1});
    File zeros;
    zeros.json["nodes"] =
        Json::array({{{"translation", {1, 2, 3}}}, {{"children", {0}}, {"scale", {2, 2, 2}}}});
    zeros.Animate(0, "translation", "LINEAR", zeros.Floats(times, 1), zeros.Accessor(-1, 5126, 2, "VEC3"));
    const Scene scene = SceneOf(zeros.Glb());
    EXPECT_EQ(scene.skeleton.joints[1].offset, (std::array<float, 3>{1, 2, 3}));
    EXPECT_EQ(ValuesAt(scene, 1, eDataType::LocalTranslation, 0.5)[1], 0.0);
    EXPECT_EQ(ValuesAt(scene, 0, eDataType::LocalScaling, 0.5)[2], 2.0);
}

TEST(Gltf, MatricesAreTakenApart)
{
    test::RandomEngine random;
    std::uniform_real_distribution<double> anything(-3, 3);
    for (int run = 0; run < 50; ++run) {
        // Columns: turned axes, one of them reversed every other time, and the place.
        const Quaternion turn =
            Unit({anything(random), anything(random), anything(random), anything(random)});
        const auto columnsOf = [](const Quaternion& turn, const Vector& scale, const Vector& place) {
            std::vector<double> numbers;
            for (std::size_t column = 0; column < 4; ++column) {
                Vector axis{};
                if (column < 3) axis[column] = scale[column];
                const Vector part = column < 3 ? plainkinematics::Turned(turn, axis) : place;
                numbers.insert(numbers.end(), part.begin(), part.end());
                numbers.push_back(column == 3 ? 1 : 0);
            }
            return numbers;
        };
        const std::vector<double> meant = columnsOf(turn, {0.5, run % 2 == 0 ? -1.5 : 1.5, 2.5},
                                                    {anything(random), anything(random), anything(random)});
        File file;
        file.json["nodes"] = Json::array({{{"matrix", meant}}});
        file.View<float>({0});
        const Scene scene = SceneOf(file.Glb());
        const std::vector<double> is =
            columnsOf(OrientationAt(scene, 0, 0), ValuesAt(scene, 0, eDataType::LocalScaling, 0),
                      ValuesAt(scene, 0, eDataType::LocalTranslation, 0));
        for (std::size_t i = 0; i < meant.size(); ++i) EXPECT_NEAR(is[i], meant[i], 1e-5) << i;
    }
}

TEST(Gltf, AnimationsAreChosen)
{
    File file;
    // What moves with the joint is one as well, unless it is a thing to look at.
    file.json["nodes"] = {{{"name", "joint"}, {"children", {1, 2}}},
                          {{"name", "mesh"}, {"mesh", 0}},
                          {{"name", "hand"}},
                          {{"name", "elsewhere"}},
                          {{"name", "beside"}, {"children", {5}}},
                          {{"name", "tip"}}};
    file.json["meshes"] = Json::array({Json{{"primitives", Json::array()}}});
    const int input = file.Floats({0, 0.5f}, 1);
    file.Animate(0, "translation", "LINEAR", input, file.Floats({1, 1, 1, 1, 1, 1}, 3));
    file.Animate(4, "translation", "LINEAR", input, file.Floats({1, 1, 1, 1, 1, 1}, 3));
    Json second = file.json["animations"][0];
    second["name"] = "Run";
    second["samplers"][0]["output"] = file.Floats({2, 2, 2, 2, 2, 2}, 3);
    second["channels"].push_back({{"sampler", 0}, {"target", {{"node", 0}, {"path", "weights"}}}});
    file.json["animations"].push_back(second);
    for (const auto& [choice, value, leftOut] :
         {std::tuple{"", 1.0, "1 other animation left out; 1 mesh left out; 1 other node left out"},
          {"animation 1", 1.0, "1 other animation left out; 1 mesh left out; 1 other node left out"},
          {"Run", 2.0,
           "1 animation channel left out; 1 other animation left out; 1 mesh left out; 1 other node left "
           "out"},
          {"2", 2.0,
           "1 animation channel left out; 1 other animation left out; 1 mesh left out; 1 other node left "
           "out"}}) {
        std::string notes;
        const auto take = [&notes](const std::string& note) { notes += note; };
        const Scene scene = SceneOf(file.Glb(), {.animation = choice, .note = take});
        ASSERT_EQ(scene.skeleton.joints.size(), 4u);
        EXPECT_EQ(scene.skeleton.joints[1].name + scene.skeleton.joints[3].name, "handtip");
        EXPECT_EQ(ValuesAt(scene, 0, eDataType::LocalTranslation, 0.25)[0], value) << choice;
        EXPECT_EQ(LeftOutText(scene), leftOut);
        EXPECT_EQ(notes.find("the first of 2") != std::string::npos, *choice == '\0') << notes;
        EXPECT_EQ(CopyOf(scene).animations, (Words{"animation 1", "Run"}));
    }
}

TEST(Gltf, RandomMotionsComeBack)
{
    test::RandomEngine random;
    std::uniform_real_distribution<double> angle(-200, 200);
    for (const bool sampled : {false, true}) {
        for (const bool steps : {false, true}) {
            std::string text =
                "HIERARCHY ROOT a\n{ OFFSET 1 2 3 CHANNELS 6 Xposition Yposition Zposition Zrotation "
                "Xrotation "
                "Yrotation JOINT b\n{ OFFSET 0 50 0 CHANNELS 3 Yrotation Xrotation Zrotation "
                "End Site { OFFSET 0 20 0 } } }\nMOTION\nFrames: 60\nFrame Time: 0.033333\n";
            std::array<double, 9> phase{};
            for (double& each : phase) each = angle(random);
            for (int frame = 0; frame < 60; ++frame) {
                const double way = 0.05 * (steps ? frame / 20 * 20 : frame);
                for (const double each : phase) text += std::to_string(each * std::sin(way + each)) + " ";
                text += "\n";
            }
            const Scene scene = SceneOfText(text);
            const std::string written =
                SceneText(scene, "gltf", GltfWriting{.sampled = sampled, .tolerance = 0.02, .note = {}});
            const Scene read = SceneOf(written);
            EXPECT_EQ(KeySpan(read)->stop, TimeOfFrame(59, scene.rate));
            const Scene back = SceneOfText(BvhTextOf(read));
            ASSERT_EQ(back.skeleton.joints.size(), scene.skeleton.joints.size());
            EXPECT_TRUE(back.skeleton.joints[2].endSite);
            EXPECT_EQ(back.rate, scene.rate);
            for (int frame = 0; frame < 60; ++frame) {
                const double t = TimeOfFrame(frame, scene.rate).GetSecondDouble();
                for (const std::size_t joint : {0u, 1u})
                    ASSERT_LT(DegreesBetween(OrientationAt(scene, joint, t), OrientationAt(back, joint, t)),
                              0.0305);
                // What 0.02 degrees move at the end of 70 units.
                const auto place = [t](const Scene& of) {
                    return ValuesAt(of, 0, eDataType::LocalTranslation, t);
                };
                for (std::size_t i = 0; i < 3; ++i)
                    ASSERT_NEAR(place(back)[i], place(scene)[i], 0.0245) << frame;
            }
            // Smooth motion takes less than half a key for each frame of its two rotations and one position.
            std::size_t keys = 0;
            const Json json = Json::parse(written);
            const Json& samplers = json["animations"][0]["samplers"];
            for (const Json& sampler : samplers)
                keys += json["accessors"][sampler["input"].get<std::size_t>()]["count"].get<std::size_t>();
            EXPECT_LT(keys, steps || sampled ? 540u : 90u);
            // Tracks with the same times share them.
            EXPECT_TRUE(!sampled || samplers[0]["input"] == samplers[2]["input"]);
            EXPECT_NE(samplers[0]["output"], samplers[2]["output"]);
        }
    }
}

TEST(Gltf, AuthoredCurvesArriveBetweenFrames)
{
    // Weights, slopes, corners, jumps off the frames, and a start before 0 s, which becomes 0 s.
    Scene scene = SceneOfText(
        OneJoint("6 Xposition Yposition Zposition Zrotation Xrotation Yrotation", {"0 0 0 0 0 0"}));
    scene.rate = {24, 1};
    const auto curveOf = [&](eDataType type, int axis) {
        YFCurve* curve = scene.jointNodes[0]->Find(YDataType::Get(type))->Get(axis)->FCurveGet();
        curve->KeyClear();
        return curve;
    };
    const auto at = [](double seconds) { return YTime::FromSeconds(seconds); };
    YFCurve* x = curveOf(eDataType::LocalTranslation, 0);
    x->KeySet(0, at(-1), 0, YFCURVE_INTERP_LINEAR);
    x->KeySet(1, at(0.123), 30, YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_STANDARD);
    x->KeySet(2, at(0.987), -20, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER_BREAK, 90, -70,
              YFCURVE_WEIGHT_ALL, 0.9f, 0.1f);
    x->KeySet(3, at(2), 5);
    YFCurve* y = curveOf(eDataType::LocalTranslation, 1);
    y->KeySet(0, at(-0.5), 0, YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_NEXT);
    y->KeySet(1, at(0.5), 7, YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_STANDARD);
    YFCurve* turn = curveOf(eDataType::LocalRotation, 1);
    turn->KeySet(0, at(0), 0);
    turn->KeySet(1, at(0.07), 500, YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_NEXT);
    turn->KeySet(2, at(0.09), 480);
    turn->KeySet(3, at(1), 30, YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_STANDARD);
    turn->KeySet(4, at(1.5), 80);
    // A whole turn at once is no turn.
    YFCurve* other = curveOf(eDataType::LocalRotation, 2);
    other->KeySet(0, at(0), 10, YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_STANDARD);
    other->KeySet(1, at(0.5), 370);
    const std::string written = SceneText(scene, "glb");
    EXPECT_LT(written.size(), 3960u) << "more keys than jumps and turns need";
    const Scene back = SceneOf(written);
    EXPECT_EQ(back.rate, scene.rate);
    for (double t = -1; t < 2; t += 0.00371) {
        const auto place = ValuesAt(scene, 0, eDataType::LocalTranslation, t);
        const auto isPlace = ValuesAt(back, 0, eDataType::LocalTranslation, t + 1);
        for (std::size_t i = 0; i < 3; ++i) ASSERT_NEAR(isPlace[i], place[i], 50 * 0.01 * 0.0175 * 1.1) << t;
        ASSERT_LT(DegreesBetween(OrientationAt(back, 0, t + 1), OrientationAt(scene, 0, t)), 0.03) << t;
    }
}

TEST(Gltf, FramesBehindAStartAndPosesWithoutKeys)
{
    // Frames of 24000/1001 a second are not evenly apart in ticks.
    Scene scene = SceneOfText(OneJoint("2 Xposition Yrotation", {"0 0"}, "0.0417083"));
    const auto timeOf = [&](int k) { return TimeOfFrame(2 + k, scene.rate); };
    const YFCurveNode& turn = *PropertyOf(*scene.jointNodes[0], ChannelKind::Rotation);
    turn.Get(1)->FCurveGet()->KeyClear();
    for (int k = 0; k < 9; ++k) turn.Get(1)->FCurveGet()->KeyAppendFast(timeOf(k), static_cast<float>(k * k));
    YFCurve& x = *CurveOf(*scene.jointNodes[0], {ChannelKind::Translation, Axis::X});
    x.KeyClear();
    x.SetValue(4);  // not the offset, which is 7
    const Scene back = SceneOf(SceneText(scene, "glb", {true, false, 0.01, {}}));
    for (int k = 0; k < 9; ++k)
        EXPECT_EQ(CurveOf(*back.jointNodes[0], {ChannelKind::Rotation, Axis::Y})->KeyGetTime(k), timeOf(k));
    EXPECT_EQ(ValuesAt(back, 0, eDataType::LocalTranslation, 0.2)[0], 4);
}

TEST(Gltf, Refusals)
{
    File good;
    good.json["nodes"] = Json::array({{{"children", {1}}}, Json::object()});
    const int input = good.Floats({0, 1}, 1);
    good.Animate(1, "translation", "LINEAR", input, good.Floats({1, 2, 3, 4, 5, 6}, 3));
    EXPECT_EQ(SceneOf(good.Glb()).skeleton.joints.size(), 2u);
    const std::array<std::tuple<const char*, Json, const char*>, 16> cases{{
        {"/asset/version", "1.0", "glTF of version '1.0'"},
        {"/nodes/0/children/0", 2, "nodes[0].children: an element is 2, but there are 2 nodes"},
        {"/nodes/1/children", {0}, "below themselves"},
        {"/nodes/0/children", {1, 1}, "child of nodes[0] already"},
        {"/nodes/0/name", 3, "nodes[0]: name is not text"},
        {"/animations/0/samplers/0/interpolation", "BEZIER", "'BEZIER' is not known"},
        {"/animations/0/channels/0/sampler", 1, "animations[0].samplers[1]: there is no such sampler"},
        {"/animations/0/samplers/0/input", 7, "samplers[0]: input is 7"},
        {"/accessors/1/count", 3, "it has 2 keys and 3 values, but needs 2;"},
        {"/accessors/0/count", 0, "it has 0 keys and 2 values, but needs a key;"},
        {"/accessors/0/componentType", 5124, "accessors[0]: componentType 5124"},
        {"/accessors/0/byteOffset", 4, "accessors[0]: 2 elements do not fit into bufferViews[0]"},
        {"/asset/times", "0, 0", "key 2 of 2 is at 0 s"},
        {"/bufferViews/0/byteLength", 1e9, "bufferViews[0]: it ends behind the"},
        {"/accessors/0/sparse", {{"count", 1}}, "accessors[0].sparse: there are no indices"},
        {"/accessors/1/sparse",
         {{"count", 1},
          {"indices", {{"bufferView", 0}, {"componentType", 5121}}},
          {"values", {{"bufferView", 1}}}},
         "index 2 is beyond the 2 elements"},
    }};
    for (const auto& [place, value, message] : cases) {
        File file = good;
        file.json[Json::json_pointer(place)] = value;
        if (std::string_view(message).starts_with("index 2")) file.bytes[0] = 2;
        if (value == "0, 0") file.bytes.replace(0, 8, 8, '\0');
        EXPECT_TRUE(Holds(FailureOf([&] { SceneOf(file.Glb()); }), message)) << place;
    }
    const std::string whole = good.Glb();
    for (std::size_t size = 4; size < whole.size(); size += 7)
        EXPECT_NE(FailureOf([&] { SceneOf(whole.substr(0, size)); }), "") << size;
    // A count without bytes behind it must not ask for memory.
    File zeros = good;
    zeros.json["accessors"].push_back({{"componentType", 5126}, {"count", 4e9}, {"type", "SCALAR"}});
    zeros.json["accessors"].push_back({{"componentType", 5126}, {"count", 4e9}, {"type", "VEC3"}});
    zeros.json["animations"][0]["samplers"][0] = {{"input", 2}, {"output", 3}};
    EXPECT_TRUE(Holds(FailureOf([&] { SceneOf(zeros.Glb()); }), "more numbers than the file can hold"));
}

TEST(Gltf, BuffersBesideTheFile)
{
    File file;
    file.json["nodes"] = Json::array({Json{{"name", "joint"}}});
    file.Animate(0, "translation", "LINEAR", file.Floats({0, 1}, 1), file.Floats({1, 2, 3, 4, 5, 6}, 3));
    const TemporaryFolder folder;
    folder.Add("the numbers.bin", file.bytes);
    const auto read = [&](const char* uri) {
        Json json = file.json;
        json["buffers"] = Json::array({{{"byteLength", file.bytes.size()}, {"uri", uri}}});
        return ReadScene(folder.Add("scene.gltf", "\n " + json.dump()));
    };
    EXPECT_EQ(ValuesAt(read("the%20numbers.bin"), 0, eDataType::LocalTranslation, 1)[2], 6.0);
    for (const auto& [uri, message] : {std::pair{"other.bin", "cannot open"},
                                       {"../the numbers.bin", "outside of the file's folder"},
                                       {"/etc/passwd", "outside"},
                                       {"a/%2e%2e/b", "outside"},
                                       {"http://a/b", "outside"},
                                       {"scene.gltf%00", "outside"},
                                       {"data:;base64,@@", "no base64"},
                                       {"data:;base64,AAAA", "it has 3 of 32 bytes"}})
        EXPECT_TRUE(Holds(FailureOf([&] { read(uri); }), message)) << uri;
}
