// Filters over scenes: what they reach, what is said of it, and what becomes of files.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/diagnostic.h"
#include "host/filter_catalogue.h"
#include "host/filter_pipeline.h"
#include "host/suggestion.h"
#include "support.h"
#include "xml_check.h"

namespace {

constexpr const char* kTwoFrames =
    "HIERARCHY\nROOT Hips\n{\nOFFSET 0 0 0\nCHANNELS 6 Xposition Yposition Zposition Zrotation Yrotation "
    "Xrotation\nEnd Site\n{\nOFFSET 0 1 0\n}\n}\n"
    "MOTION\nFrames: 2\nFrame Time: 0.5\n1 2 3 0 0 0\n4 5 6 0 0 90\n";

std::string RefusedStep(const std::string& text)
{
    try {
        host::ParseSteps({text});
        return {};
    } catch (const host::Failure& failure) {
        EXPECT_EQ(failure.Code(), host::kExitUsage);
        return failure.what();
    }
}

void SetAngles(host::Scene& scene, int key, std::array<float, 3> angles)
{
    YFCurveNode* rotation = scene.jointNodes.front()->Find(YDataType::Get(eDataType::LocalRotation));
    for (int i = 0; i < 3; ++i)
        rotation->Get(i)->FCurveGet()->KeySetValue(key, angles[static_cast<std::size_t>(i)]);
}

host::Deviation RotationDeviation(const host::Scene& a, const host::Scene& b)
{
    YDataType* type = YDataType::Get(eDataType::LocalRotation);
    return host::Compare(*a.jointNodes.front()->Find(type), *b.jointNodes.front()->Find(type),
                         host::KeySpan(a).value(), a.rate);
}

}  // namespace

TEST(FilterSteps, TakeParametersAndSayWhatIsWrong)
{
    const auto steps = host::ParseSteps({"unroll", "trs:T=1,0,-2.5,Stop=0:0:1:0,Start=0.5"});
    ASSERT_EQ(steps.size(), 2u);
    EXPECT_EQ(steps[0].name, "unroll");
    EXPECT_EQ(steps[1].filter->GetStartTime(), YTime::FromSeconds(0.5));
    EXPECT_EQ(steps[1].filter->GetStopTime(), YTime::FromSeconds(1.0));
    EXPECT_EQ(RefusedStep("buterworth"), "there is no filter 'buterworth'; did you mean butterworth?");
    EXPECT_EQ(RefusedStep("butterworth:CutOfFreq=7"),
              "butterworth has no parameter 'CutOfFreq'; did you mean CutOffFreq?");
    EXPECT_NE(RefusedStep("butterworth:CutOffFreq=-1").find("> 0"), std::string::npos);
    EXPECT_EQ(RefusedStep("unroll:"), "'' sets no parameter; write NAME=VALUE");
    EXPECT_EQ(host::EditDistance("kitten", "sitting"), 3u);
    EXPECT_EQ(host::NearestNames("LEFTLEG", {"LeftUpLeg", "LeftLeg", "Hips"}).front(), "LeftLeg");
}

TEST(Deviation, MeasuresOrientationsAndDistances)
{
    const host::Scene before = SceneOfText(kTwoFrames);
    host::Scene after = SceneOfText(kTwoFrames);
    // Half a turn about X is half a turn about Y and one about Z; whole turns are none.
    host::Scene half = SceneOfText(kTwoFrames);
    SetAngles(half, 0, {180, 0, 0});
    SetAngles(after, 0, {0, 180, -180});
    SetAngles(half, 1, {20, 30, 40});
    SetAngles(after, 1, {20 + 360, 30, 40 - 720});
    EXPECT_LT(RotationDeviation(half, after).largest, 1e-5);

    SetAngles(after, 0, {0, 30, 0});
    SetAngles(after, 1, {90, 0, 0});
    const host::Deviation turned = RotationDeviation(before, after);
    EXPECT_NEAR(turned.largest, 30, 1e-5);
    EXPECT_NEAR(turned.RootMeanSquare(), 30 / std::sqrt(2.0), 1e-5);
    EXPECT_EQ(turned.when, YTime::FromSeconds(0.0));
    EXPECT_EQ(turned.samples, 2);
    SetAngles(after, 1, {std::numeric_limits<float>::quiet_NaN(), 0, 0});
    EXPECT_TRUE(std::isinf(RotationDeviation(before, after).largest));
}

TEST(FilterCommand, FiltersWhatIsChosen)
{
    const TemporaryFolder folder;
    const std::string in = folder.Add("in.bvh", kTwoFrames);
    const std::string out = folder.Path("out.bvh");
    const ProgramRun run = RunYFCurve({"filter", in, out, "--apply", "offset:Offset=10", "--apply", "unroll",
                                       "--node", "Hips/Lcl Translation/Y", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    const std::string text = FileContent(out);
    EXPECT_NE(text.find("\n1 12 3 0 0 0\n4 15 6 0 0 90\n"), std::string::npos) << text;
    const auto json = nlohmann::json::parse(run.output);
    EXPECT_EQ(json.at("filters").at(0).at("changed"), 1);
    EXPECT_EQ(json.at("filters").at(1).at("refused"), 1);
    EXPECT_EQ(json.at("types").size(), 1u);
    EXPECT_EQ(json.at("types").at(0).at("error").at("largest"), 10.0);

    // The same file in and out; text on standard output.
    EXPECT_EQ(RunYFCurve({"filter", out, out, "--apply", "offset:Offset=-10", "--node", "Lcl Translation/Y"})
                  .exitCode,
              0);
    EXPECT_NE(FileContent(out).find("\n1 2 3 0 0 0\n"), std::string::npos);
    const ProgramRun piped = RunYFCurve({"filter", "-", "-", "--apply", "unroll"}, "<" + in + " 2>/dev/null");
    EXPECT_EQ(piped.output.substr(0, 9), "HIERARCHY");
}

TEST(FilterCommand, SceneFilesKeepTheKeysThatAreLeft)
{
    const TemporaryFolder folder;
    const std::string scene = folder.Path("few.ytalo");
    const ProgramRun first =
        RunYFCurve({"filter", ExampleWalk(), scene, "--apply", "key-reducer:Precision=0.5", "--json"});
    const ProgramRun second =
        RunYFCurve({"filter", scene, "--dry-run", "--apply", "test-template", "--json"});
    const auto keys = nlohmann::json::parse(first.output).at("keysAfter");
    EXPECT_LT(keys, 2000);
    EXPECT_EQ(nlohmann::json::parse(second.output).at("keysBefore"), keys);
}

TEST(FilterCommand, LeavesFilesAloneUnlessAllIsWell)
{
    const TemporaryFolder folder;
    const std::string in = folder.Add("in.bvh", kTwoFrames);
    const std::string out = folder.Add("out.bvh", "precious");
    const auto refuse = [&](const std::vector<std::string>& arguments, int exitCode) {
        const ProgramRun run = RunYFCurve(arguments);
        EXPECT_EQ(run.exitCode, exitCode) << run.errors;
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(FileContent(out), "precious");
    };
    refuse({"filter", in, out, "--apply", "dance"}, 2);
    refuse({"filter", in, out}, 2);
    refuse({"filter", in, "--apply", "unroll"}, 2);
    refuse({"filter", in, out, "--apply", "unroll", "--node", "Knee"}, 1);
    refuse({"filter", folder.Path("none.bvh"), out, "--apply", "unroll"}, 1);
    const ProgramRun dry = RunYFCurve({"filter", in, out, "--apply", "unroll", "--dry-run"});
    EXPECT_NE(dry.output.find("unroll: changed nothing"), std::string::npos) << dry.output;
    EXPECT_NE(dry.output.find("refused at 1 property (Hips/Lcl Translation)"), std::string::npos);
    EXPECT_EQ(FileContent(out), "precious");
    EXPECT_EQ(folder.Names().size(), 2u);
}

TEST(FilterCommand, ReachesEveryFilterOnTheWalk)
{
    std::vector<std::string> arguments{"filter", ExampleWalk(), "--dry-run", "--json"};
    for (const YClassDefinition* definition : host::FilterClasses()) {
        // It comes last: nothing is left after it.
        const std::string name = host::ShortName(*definition);
        if (name != "delete-key") arguments.insert(arguments.end(), {"--apply", name});
    }
    arguments.insert(arguments.end(), {"--apply", "delete-key"});
    const ProgramRun run = RunYFCurve(arguments);
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const auto json = nlohmann::json::parse(run.output);
    EXPECT_EQ(json.at("filters").size(), host::FilterClasses().size());
    for (const auto& step : json.at("filters")) {
        EXPECT_GT(
            step.at("changed").get<int>() + step.at("unchanged").get<int>() + step.at("refused").get<int>(),
            0);
    }
    EXPECT_EQ(json.at("keysAfter"), 0);
}

TEST(FilterCommand, ReportsAsAPage)
{
    const TemporaryFolder folder;
    const std::string page = folder.Path("page.html");
    const ProgramRun run =
        RunYFCurve({"filter", ExampleWalk(), "--dry-run", "--apply", "butterworth:CutOffFreq=5", "--apply",
                    "key-reducer", "--report", page});
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const std::string text = FileContent(page);
    const std::size_t start = text.find("<svg");
    const std::size_t stop = text.find("</svg>");
    ASSERT_NE(stop, std::string::npos);
    EXPECT_EQ(XmlFault(text.substr(start, stop + 6 - start)), "");
    for (const char* part :
         {"--apply butterworth:CutOffFreq=5", "<h2>Filters</h2>", "<h2>Keys and errors</h2>"})
        EXPECT_NE(text.find(part), std::string::npos) << part;
    EXPECT_EQ(text.find("http", text.find("</svg>")), std::string::npos) << "needs nothing from elsewhere";
}
