// What commands report of a small scene, for people and with the members that their help promises.

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/motion_support.h"

using nlohmann::json;

namespace {

constexpr const char* kMotion =
    "HIERARCHY ROOT a { OFFSET 1 2 3 CHANNELS 2 Xposition Zrotation\nEnd Site { OFFSET 0 1 0 } } MOTION\n"
    "Frames: 3 Frame Time: 0.5\n1 10\n2 20\n4 30\n";

/// Keys of 0 and 270 degrees, between which quaternions turn by -90. The angles nearest to the curve are
/// those down to -45, then those from 315 on.
constexpr const char* kTurning =
    "ytalo 1\nScene: {\n FrameRate: \"24/1\"\n QuaternionRotation: \"Lcl Rotation\"\n}\n"
    "Channel: \"Lcl Rotation\" {\n LayerType: 2\n Channel: \"X\" {\n Default: 0.0\n }\n"
    " Channel: \"Y\" {\n Default: 0.0\n }\n Channel: \"Z\" {\n Default: 0.0\n KeyVer: 4006\n KeyCount: 2\n"
    " Key: @0 0.0 'L' @46186158000 270.0 'L'\n }\n}\n";

/// Where the first does not hold the second: "" where it does. A star stands for any number; members beside
/// those of the second are allowed.
std::string Missing(const json& actual, const json& expected, const std::string& path = "")
{
    if (expected == "*") return actual.is_number() ? "" : path;
    if (expected.is_number_float()) {
        return actual.is_number() && std::abs(actual.get<double>() - expected.get<double>()) < 1e-6 ? ""
                                                                                                    : path;
    }
    if (!expected.is_structured()) return actual == expected ? "" : path;
    if (actual.type() != expected.type() || (expected.is_array() && actual.size() != expected.size()))
        return path;
    for (const auto& [name, value] : expected.items()) {
        const std::string below = path + "/" + name;
        if (expected.is_object() && !actual.contains(name)) return below;
        const json& member = expected.is_array() ? actual[std::stoul(name)] : actual[name];
        const std::string missing = Missing(member, value, below);
        if (!missing.empty()) return missing;
    }
    return "";
}

}  // namespace

struct Case
{
    Words command;
    const char* expected;     ///< as JSON
    const char* text = "\n";  ///< a part of what people read
};

TEST(Reports, HoldWhatTheHelpPromises)
{
    const TemporaryFolder folder;
    const std::string a = folder.Add("a.bvh", kMotion);
    const std::string b =
        folder.Add("b.bvh", std::string(kMotion).replace(std::string(kMotion).rfind('4'), 1, "4.5"));
    const std::string layered = folder.Add("l.ytalo", kLayered);
    const std::string turning = folder.Add("t.ytalo", kTurning);
    const std::string locked = folder.Add(
        "k.ytalo", std::string(kLayered).insert(std::string(kLayered).find(" Layer:"),
                                                " Layer: \"base\" {\n LayerID: 0\n Lock: 1\n }\n"));
    const std::string out = folder.Path("out.ytalo");
    const Case cases[] = {
        {{"info", a},
         R"({"format": "BVH", "framesPerSecond": 2.0, "rate": [2, 1], "frames": 3, "start": 0.0,
            "stop": 1.0, "curveBytes": "*", "layers": ["BaseAnimation"], "keyCount": 6,
            "joints": [{"name": "a", "path": "a", "parent": null, "offset": [1.0, 2.0, 3.0],
                "channels": ["Xposition", "Zrotation"], "endSites": [[0.0, 1.0, 0.0]]}],
            "curves": [{"path": "a/Lcl Translation/X", "property": "Lcl Translation", "unit": "units", "keys": 3,
                        "start": 0.0, "stop": 1.0, "min": 1.0, "max": 4.0},
                       {"path": "a/Lcl Translation/Y", "keys": 0}, {}, {}, {},
                       {"path": "a/Lcl Rotation/Z", "property": "Lcl Rotation", "unit": "degrees", "keys": 3,
                        "start": 0.0, "stop": 1.0, "min": 10.0, "max": 30.0}]})",
         "  time    0 to 1 s, 3 frames at 2 frames/s (frame time 0.5)\n  codes   00:00:00:00 to 00:00:01:00\n"
         "  curves  6, 2 of them with keys\n"
         "  keys    6\n  memory  2.5 KiB, 426.7 bytes a key\n"},
        {{"info", turning},
         R"({"keyCount": 2, "curves": [{"path": "Lcl Rotation/X", "interpolated": "as quaternions"},
                                       {}, {"keys": 2, "min": 0.0, "max": 270.0}]})",
         "  Lcl Rotation  quaternion XYZ     2  Z  -45.00 … 314.9    Z ▁▁▁▁▁▁▁▁████████\n"},
        {{"keys", a, "--select", ":", "--move", "0.5,1", "--node", "X", "--dry-run"},
         R"({"dryRun": true, "keys": 3, "curves": 1, "replaced": 0, "lockedCurves": 0})"},
        {{"filter", a, "--dry-run", "--apply", "offset:Offset=10", "--node", "Lcl Translation", "--apply",
          "unroll"},
         R"({"keysBefore": 3, "keysAfter": 3, "milliseconds": "*",
            "filters": [{"filter": "offset", "parameters": "Offset=10", "changed": 1, "unchanged": 2, "refused": 0,
                         "locked": 0, "keysBefore": 3, "keysAfter": 3, "milliseconds": "*", "refusals": []},
                        {"filter": "unroll", "skipped": 1, "ofFrames": []}],
            "errorsEvery": 1,
            "types": [{"type": "translation", "unit": "units", "properties": 1, "keysBefore": 3, "keysAfter": 3,
                "error": {"largest": 10.0, "rms": 10.0, "where": "a/Lcl Translation", "time": 0.0}}]})",
         "\n  unroll: 1 property skipped; it is for whole rotations\n"},
        // Of 1, 2 and 4 the middle one is gone.
        {{"clip", a, "--dry-run", "--rate", "1", "--resample"},
         R"({"steps": [{"step": "rate=1", "changed": true}], "errorsEvery": 1,
            "world": {"largest": 0.5, "joint": "a", "time": 0.5, "mean": 0.16666667, "height": 0.0, "up": "Y", "feet": [],
                "joints": [{"joint": "a", "largest": 0.5, "mean": 0.16666667, "time": 0.5},
                           {"joint": "a/End Site", "largest": 0.5, "mean": 0.16666667, "time": 0.5}]}})",
         "\n\n  joints in the world: largest error 0.500 units at 0.5 s (0.5f), a; mean 0.167\n    units\n"},
        {{"filter", locked, "--dry-run", "--apply", "offset:Offset=1"},
         R"({"filters": [{"changed": 0, "unchanged": 0, "refused": 0, "locked": 3}]})"},
        {{"diff", a, b, "--tolerance", "0.25"},
         R"({"tolerance": 0.25, "equal": false, "curvesCompared": 6, "keysCompared": 12, "only": [[], []],
            "settings": [], "differences": [{"path": "a/Lcl Translation/X", "time": 1.0, "values": [4.0, 4.5],
                                             "difference": 0.5}]})",
         "a/Lcl Translation/X: 4 and 4.5 at 1 s, 0.5 apart\n"
         "6 curves compared (12 keys): 1 differs, most of all a/Lcl Translation/X by 0.5\n"},
        {{"diff", a,
          folder.Add("c.bvh", std::string(kMotion).replace(std::string(kMotion).rfind("30"), 2, "35")),
          "--orientation"},
         R"({"differences": [{"path": "a/Lcl Rotation", "time": 1.0, "difference": 5.0}]})"},
        {{"diff", a, b, "--world"},
         R"({"equal": false, "jointsCompared": 2, "only": [[], []], "joints": [{"difference": 0.5, "mean": 0.15}, {}]})",
         "a: 0.500 units apart at 1 s (2f), 0.150 on average\n"},
        {{"layers", layered},
         R"({"layers": [{"id": 0, "name": "BaseAnimation", "mode": "additive", "weight": 1.0, "mute": false,
                "solo": false, "lock": false, "plays": true, "rotations": "by-layer", "scalings": "multiply",
                "exempt": [], "curves": 3, "keys": 0},
               {"id": 1, "name": "up", "weight": 0.5, "curves": 3, "keys": 1}]})",
         "   1  up             additive  0.5          3     1\n"},
        {{"layer", "merge", layered, "-o", out},
         R"({"merged": ["BaseAnimation", "up"], "into": "BaseAnimation", "gone": ["up"], "stillUsed": [],
            "passedOver": [], "keysBefore": 1, "keysAfter": 1, "milliseconds": "*",
            "properties": [{"path": "Lcl Translation", "how": "exact", "keysBefore": 1, "keysAfter": 1,
                            "largestDifference": 0.0, "unit": "units", "time": 0.0}]})",
         "  translation      1          0            1      1  0 units\n  gone from the scene: up\n"},
        {{"plot-into-layer", layered, "up", "-o", out},
         R"({"layer": "up", "keysBefore": 1, "milliseconds": "*", "unchanged": 0, "passedOver": 0,
            "properties": [{"path": "Lcl Translation", "how": "plotted", "keysBefore": 1,
                            "largestDifference": 0.0, "unit": "units", "time": 0.0}]})",
         "  translation      1            1      3  0 units\n"}};
    for (const auto& [command, expected, text] : cases) {
        const ProgramRun forPeople = RunYFCurve(command);
        EXPECT_TRUE(Holds(forPeople.output, text)) << forPeople.errors;
        const ProgramRun run = RunYFCurve(Joined(command, {"--json"}));
        const json actual = json::parse(run.output, nullptr, false);
        EXPECT_EQ(Missing(actual, json::parse(expected)), "") << command[0] << run.output << run.errors;
        EXPECT_TRUE(command[0] == "diff" || actual.contains("file")) << command[0];
    }
    const json smooth2 = json::parse(RunYFCurve({"filters", "smooth2", "--json"}).output);
    EXPECT_EQ(smooth2[0]["parameters"].size(), 5u) << smooth2;
    EXPECT_TRUE(Holds(RunYFCurve({"filters", "smooth2"}).output, " 1 .. 1024\n"));
}

TEST(Reports, PagesDrawWhatRotationsAsQuaternionsPlay)
{
    const TemporaryFolder folder;
    const std::string page = folder.Path("page.html");
    RunYFCurve(
        {"filter", folder.Add("t.ytalo", kTurning), "--dry-run", "--apply", "trs:R=0,0,1", "--report", page});
    const std::string text = FileContent(page);
    EXPECT_TRUE(Holds(text, "Lcl Rotation Z: 2 keys, then 2, as quaternions"));
    // Both fall where the keys rise; upwards is less in pictures.
    std::size_t place = 0;
    for (int side = 0; side < 2; ++side) {
        place = text.find(" d=\"M", text.find("class=\"curve", place));
        ASSERT_NE(place, std::string::npos);
        double x = 0, first = 0, second = 0;
        ASSERT_EQ(std::sscanf(text.c_str() + place, " d=\"M%lf %lfL%lf %lf", &x, &first, &x, &second), 4);
        EXPECT_GT(second, first);
    }
}
