// Tables that come back in as motion.

#include <gtest/gtest.h>

#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "ymotion/formats/scene_file.h"

namespace {

constexpr const char* kSkeleton =
    "HIERARCHY\nROOT a\n{\nOFFSET 0 0 0\nCHANNELS 2 Xposition Yposition\nJOINT =b\n{\nOFFSET 0 2 0\n"
    "CHANNELS 1 Zrotation\n}\nJOINT =b\n{\nOFFSET 0 2 0\nCHANNELS 1 Zrotation\n}\n}\n"
    "MOTION\nFrames: 2\nFrame Time: 0.5\n1 2 3 4\n5 6 7 8\n";

/// The numbers of the frames that a table becomes, with the rate's frame time in front.
std::string Frames(const TemporaryFolder& folder, const std::string& table)
{
    const std::string skeleton = folder.Add("skeleton.bvh", kSkeleton);
    const ProgramRun run = RunYFCurve({"convert", folder.Add("t.csv", table), "-", "--skeleton", skeleton});
    if (run.exitCode != 0) return run.errors;
    return run.output.substr(run.output.find("Frame Time: ") + 12);
}

}  // namespace

TEST(Tables, GiveTheSameBitsBack)
{
    const TemporaryFolder folder;
    for (const std::string& file : RecordedMotions()) {
        SCOPED_TRACE(file);
        const std::string plain = folder.Path("plain.bvh");
        ASSERT_EQ(RunYFCurve({"convert", file, plain}).exitCode, 0);
        // The curves of the skeleton have other values at first.
        const std::string other = folder.Path("other.ytalo");
        ASSERT_EQ(RunYFCurve({"keys", file, "--select", ":", "--set", "7", "-o", other}).exitCode, 0);
        for (const std::string ending : {".csv", ".tsv"}) {
            for (const char* frames : {"--frames", "--start=0"}) {
                const std::string table = folder.Path("table" + ending);
                const std::string back = folder.Path("back.bvh");
                ASSERT_EQ(RunYFCurve({"eval", file, frames, "-o", table}).exitCode, 0);
                EXPECT_TRUE(Ended(RunYFCurve({"convert", table, back, "--skeleton", other}), 0));
                EXPECT_TRUE(FileContent(back) == FileContent(plain)) << ending << frames;
            }
        }
        // Without a skeleton, at another rate: the table of the curves is the table again.
        const std::string table = folder.Path("table.csv");
        const std::string scene = folder.Path("curves.ytalo");
        ASSERT_EQ(RunYFCurve({"eval", file, "--rate", "23.976", "-o", table}).exitCode, 0);
        ASSERT_EQ(RunYFCurve({"convert", table, scene}).exitCode, 0);
        const std::string again = RunYFCurve({"eval", scene}).output;
        EXPECT_EQ(again.size(), FileContent(table).size());
        EXPECT_TRUE(again == FileContent(table));
    }
}

TEST(Tables, OfPeopleAreReadAndRefusedByLine)
{
    const TemporaryFolder folder;
    const std::string x = "a/Lcl Translation/X";
    const std::string z = "a/=b/Lcl Rotation/Z";
    const std::pair<std::string, std::string> cases[] = {
        // One joint called "=b" stands behind the other; a curve without a column stays.
        {"time," + z + "," + z + "\n0,30,40\n0.5,70,80\n", "0.5\n1 2 30 40\n5 6 70 80\n"},
        {"\xEF\xBB\xBF\"time\",\"" + x + "\"\r\n\"0\",\"1e1\"\r\n\r\n0.5,-0.1",
         "0.5\n10 2 3 4\n-0.1 6 7 8\n"},
        {"frame\t" + x + "\n0\t10\n1\t\n2\t30\n", "0.5\n10 2 3 4\n20 6 7 8\n30 6 7 8\n"},
        {"time," + x + "\n0,10\n0.25,11\n0.5,12\n", "0.5\n10 2 3 4\n12 6 7 8\n"},
        {"time;" + x + ";a/Lcl Translation/Y\n0;9;\n0.5;;5\n", "0.5\n9 5 3 4\n9 5 7 8\n"},
        {"{\n\"file\": \"walk.bvh\",\n", "t.csv:1: is JSON"},
        {"", "t.csv:1: the file is empty"},
        {x + "\n1\n", "no column is called 'time' or 'frame'"},
        {"time,b\n0,1\n", "t.csv:1: column 'b' is no curve of"},
        {"time," + x + "\n0,1\n\n0.5\n", "t.csv:4: there are 1 cells and 2 columns"},
        {"time," + x + "\n0,1\n0,2\n", "t.csv:3: the time is not later"},
        {"time," + x + "\nx,1\n", "t.csv:2: 'x' is no time"},
        {"time," + x + "\n0,1e39\n", "t.csv:2: '1e39' in column 'a/Lcl Translation/X' is no number"},
        {"time," + x + "\n0,1\n0.5,nan\n", "t.csv:3: 'nan' in column"},
        {"time," + x + "\n0,-inf\n", "t.csv:2: '-inf' in column"},
        {"time," + x + "\n0,\"1\"2\n", "t.csv:2: something stands behind a cell in quotes"},
    };
    for (const auto& [table, expected] : cases) EXPECT_TRUE(Holds(Frames(folder, table), expected)) << table;
    const std::string file = folder.Add("t.csv", "time,p,p/q\n0,1,2\n");
    EXPECT_TRUE(Holds(RunYFCurve({"convert", file, folder.Path("o.ytalo")}).errors, "is a part of another"));
    const std::string layered = folder.Add("layered.ytalo", kLayered);
    folder.Add("t.csv", "time,Lcl Translation/X\n0,1\n");
    EXPECT_TRUE(Holds(RunYFCurve({"convert", file, folder.Path("o.ytalo"), "--skeleton", layered}).errors,
                      "has layers"));
    const std::string locked = folder.Path("skeleton.bvh.ytalo");
    ASSERT_EQ(RunYFCurve({"layer", "lock", folder.Path("skeleton.bvh"), "0", "-o", locked}).exitCode, 0);
    EXPECT_TRUE(
        Holds(RunYFCurve({"convert", file, folder.Path("o.ytalo"), "--skeleton", locked}).errors,
              "skeleton.bvh.ytalo: the layer 'BaseAnimation' is locked; unlock it, as 'yfcurve layer lock "));
    EXPECT_EQ(RunYFCurve({"convert", file, file}).exitCode, 2);
    EXPECT_EQ(folder.Names(), (Words{"layered.ytalo", "skeleton.bvh", "skeleton.bvh.ytalo", "t.csv"}));
}

TEST(Tables, OfPartOfTheTimeLeaveTheRest)
{
    const TemporaryFolder folder;
    std::string skeleton = kSkeleton;
    skeleton = skeleton.substr(0, skeleton.find("Frames")) + "Frames: 5\nFrame Time: 0.5\n";
    for (const char* frame : {"1 2 3 4", "5 6 7 8", "9 8 7 6", "5 4 3 2", "1 0 1 0"})
        skeleton += std::string(frame) + "\n";
    folder.Add("skeleton.bvh", skeleton);
    const std::string file = folder.Add("t.csv", "time,a/Lcl Translation/X\n0.5,50\n1,90\n");
    const auto convert = [&](const std::string& output) {
        return RunYFCurve({"convert", file, output, "--skeleton", folder.Path("skeleton.bvh")});
    };
    const ProgramRun run = convert("-");
    EXPECT_TRUE(Holds(run.output, "\n1 2 3 4\n50 6 7 8\n90 8 7 6\n5 4 3 2\n1 0 1 0\n")) << run.output;
    EXPECT_TRUE(Holds(run.errors, "t.csv: is from 0.5 s to 1 s; what " + folder.Path("skeleton.bvh")));
    // Between the frames, too, and up to the first row itself.
    ASSERT_EQ(convert(folder.Path("o.ytalo")).exitCode, 0);
    const auto values = [&](const std::string& of) {
        return RunYFCurve({"eval", folder.Path(of), "--node", "a/Lcl Translation/X", "--rate", "16", "--stop",
                           "0.45"})
            .output;
    };
    EXPECT_EQ(values("o.ytalo"), values("skeleton.bvh"));
    // An empty cell of the first row is none that the curve keeps.
    folder.Add("t.csv", "time,a/Lcl Translation/X\n0.5,\n1,90\n1.5,\n");
    EXPECT_TRUE(Holds(convert("-").output, "\n90 8 7 6\n"));
}
