// Tables of curves and of joints on the command line.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"

namespace {

// Both joints turn about z alone: the root by 90 and then by 250 degrees, which the file writes as -110, its
// child by 30 more.
constexpr const char* kArm =
    "HIERARCHY\nROOT a,b\n{\nOFFSET 0 0 0\nCHANNELS 6 Xposition Yposition Zposition Zrotation Yrotation "
    "Xrotation\nJOINT =b\n{\nOFFSET 0 2 0\nCHANNELS 1 Zrotation\nEnd Site\n{\nOFFSET 0 1 0\n}\n}\n}\n"
    "MOTION\nFrames: 2\nFrame Time: 0.5\n1 2 3 90 0 0 30\n1 2 3 -110 0 0 30\n";

class EvalCommand : public testing::Test
{
  protected:
    /// The table that the command writes to a file of that ending.
    std::string Eval(const std::string& ending, const Words& arguments)
    {
        const std::string out = mFolder.Path("out" + ending);
        EXPECT_TRUE(
            Ended(RunYFCurve(Joined({"eval", mFolder.Add("arm.bvh", kArm), "-o", out}, arguments)), 0));
        return FileContent(out);
    }

    nlohmann::json EvalJson(const Words& arguments)
    {
        return nlohmann::json::parse(Eval(".json", arguments), nullptr, false);
    }

    TemporaryFolder mFolder;
};

}  // namespace

TEST_F(EvalCommand, FormatsSayTheSame)
{
    const Words z{"--node", "Lcl Rotation/Z", "--node", "Lcl Translation/X"};
    EXPECT_EQ(Eval(".CSV", z),
              "time,\"a,b/Lcl Translation/X\",\"a,b/Lcl Rotation/Z\",\"a,b/=b/Lcl Rotation/Z\"\n"
              "0,1,90,30\n0.5,1,-110,30\n");
    EXPECT_EQ(Eval(".tsv", z),
              "time\ta,b/Lcl Translation/X\ta,b/Lcl Rotation/Z\ta,b/=b/Lcl Rotation/Z\n"
              "0\t1\t90\t30\n0.5\t1\t-110\t30\n");
    const nlohmann::json json = EvalJson(z);
    EXPECT_EQ(json["rate"], "2/1");
    EXPECT_EQ(json["columns"],
              (Words{"time", "a,b/Lcl Translation/X", "a,b/Lcl Rotation/Z", "a,b/=b/Lcl Rotation/Z"}));
    EXPECT_EQ(json["rows"], (std::vector<std::vector<double>>{{0, 1, 90, 30}, {0.5, 1, -110, 30}}));
}

TEST_F(EvalCommand, FramesAreCountedFromTimeZero)
{
    const std::vector<std::pair<Words, std::string>> cases{
        {{}, "0,0,1\n1,0.5,1\n"},
        {{"--start", "0.1"}, "1,0.5,1\n"},
        {{"--start", "-0.7", "--stop", "0.49"}, "-1,-0.5,1\n0,0,1\n"},
        {{"--start", "-0.7", "--stop", "-0.3"}, "-1,-0.5,1\n"},
        {{"--start", "0.1", "--stop", "0.3"}, ""},
        {{"--rate", "3", "--start", "0.3", "--stop", "0.7"}, "1,0.33333333333,1\n2,0.66666666667,1\n"},
    };
    for (const auto& [arguments, rows] : cases)
        EXPECT_EQ(Eval(".csv", Joined(arguments, {"--frames", "--node", "Lcl Translation/X"})),
                  "frame,time,\"a,b/Lcl Translation/X\"\n" + rows);
}

TEST_F(EvalCommand, JointsInTheWorld)
{
    // The child is 2 units up the root's y axis, its end 1 unit up its own.
    const double roots[] = {90, 250};
    for (const bool euler : {false, true}) {
        const nlohmann::json json =
            EvalJson(Joined({"--world", "--frames"}, euler ? Words{"--euler"} : Words{}));
        for (std::size_t frame = 0; frame < 2; ++frame) {
            std::vector<double> expected{static_cast<double>(frame), 0.5 * static_cast<double>(frame), 1, 2,
                                         3};
            double degrees = roots[frame];
            for (const double length : {2.0, 1.0}) {
                const double half = degrees * M_PI / 360;
                const double x = expected[expected.size() - 3] - length * std::sin(2 * half);
                const double y = expected[expected.size() - 2] + length * std::cos(2 * half);
                if (euler) expected.insert(expected.end(), {0, 0, degrees, x, y, 3});
                if (!euler) expected.insert(expected.end(), {0, 0, std::sin(half), std::cos(half), x, y, 3});
                degrees += 30;
            }
            const std::vector<double> row = json["rows"][frame];
            ASSERT_EQ(row.size(), expected.size());
            ASSERT_EQ(json["columns"].size(), row.size());
            for (std::size_t i = 0; i < row.size(); ++i)
                EXPECT_NEAR(row[i], expected[i], 3e-5) << json["columns"][i] << " in frame " << frame;
        }
        EXPECT_EQ(json["columns"].back(), "a,b/=b/End Site/World Position/Z");
    }
    EXPECT_EQ(EvalJson({"--world", "--euler", "--node", "Lcl Translation"})["columns"],
              (Words{"time", "a,b/World Position/X", "a,b/World Position/Y", "a,b/World Position/Z",
                     "a,b/World Rotation/X", "a,b/World Rotation/Y", "a,b/World Rotation/Z"}));
    const std::string bare = mFolder.Add("bare.ytalo", kLayered);
    EXPECT_TRUE(Holds(RunYFCurve({"eval", bare, "--world"}).errors, "has no skeleton"));
}
