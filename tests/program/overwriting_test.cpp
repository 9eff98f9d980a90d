// No command writes over what it reads unless that is what it is for, and edits of one file wait for each
// other.

#include <gtest/gtest.h>

#include <filesystem>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"

namespace {

/// The file in every spelling that leads to it.
Words NamesOf(const TemporaryFolder& folder, const std::string& name)
{
    std::filesystem::create_symlink(name, folder.Path("link.bvh"));
    std::filesystem::create_hard_link(folder.Path(name), folder.Path("hard"));
    return {folder.Path(name), folder.Path("./" + name), folder.Path("link.bvh"), folder.Path("hard")};
}

}  // namespace

// The file has blanks and trailing zeros that the program itself would not write.
TEST(Overwriting, AFileStaysAsItIsWhereNothingChanges)
{
    const TemporaryFolder folder;
    const std::string text =
        "HIERARCHY ROOT a { OFFSET 0 0 0 CHANNELS 1 Xposition }\n"
        "MOTION Frames: 2 Frame Time: 0.5\n  1.50 \n  2.000\n";
    const std::string in = folder.Add("in.bvh", text);
    for (const Words& command :
         {Words{"clip", in, in, "--scale", "1"}, {"filter", in, in, "--apply", "unroll"}}) {
        EXPECT_EQ(RunYFCurve(command).exitCode, 0);
        EXPECT_EQ(FileContent(in), text) << command[0];
        Words elsewhere = command;
        elsewhere[2] = folder.Path("out.bvh");
        EXPECT_EQ(RunYFCurve(elsewhere).exitCode, 0);
        EXPECT_TRUE(Holds(FileContent(elsewhere[2]), "Frames: 2"));
    }
}

TEST(Overwriting, TablesPicturesAndPagesDoNotReplaceTheirInput)
{
    const TemporaryFolder folder;
    const std::string text = FileContent(ExampleWalk());
    const std::string file = folder.Add("a.bvh", text);
    for (const std::string& name : NamesOf(folder, "a.bvh")) {
        const std::vector<Words> commands = {
            {"eval", file, "-o", name},
            {"plot", file, "-o", name},
            {"filter", file, folder.Path("new.bvh"), "--apply", "unroll", "--report", name},
        };
        for (const Words& command : commands) ExpectRefused(command, 2, name);
        EXPECT_TRUE(FileContent(file) == text);
        EXPECT_EQ(RunYFCurve({"eval", "-", "-o", name}, "<'" + file + "'").exitCode, 2);
    }
    EXPECT_EQ(folder.Names(), (Words{"a.bvh", "hard", "link.bvh"}));
    // Nor do two outputs go to one file, also one that is yet to be made.
    const std::string page = folder.Path("new.bvh");
    const Words both{"filter", file, folder.Path("./new.bvh"), "--apply", "unroll", "--report", page};
    EXPECT_EQ(RunYFCurve(both).exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(page));
}

TEST(Overwriting, MotionInPlaceIsMeantAndSaysThatLinksBreak)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add("a.bvh", FileContent(ExampleWalk()));
    const Words names = NamesOf(folder, "a.bvh");
    EXPECT_TRUE(Ended(RunYFCurve({"filter", file, folder.Path("link.bvh"), "--apply", "butterworth"}), 0, "",
                      "2 names"));
    EXPECT_TRUE(FileContent(file) != FileContent(ExampleWalk()));
    EXPECT_TRUE(FileContent(folder.Path("hard")) == FileContent(ExampleWalk()));
    EXPECT_EQ(RunYFCurve({"convert", file, file}).errors, "");
}

TEST(Overwriting, EditsOfOneFileWaitForEachOther)
{
    const TemporaryFolder folder;
    const std::string file = folder.Path("a.ytalo");
    ASSERT_EQ(RunYFCurve({"convert", ExampleWalk(), file}).exitCode, 0);
    // Ten processes add four layers each, through two names of the file; two more rewrite it meanwhile.
    std::filesystem::create_symlink("a.ytalo", folder.Path("link.ytalo"));
    std::string script = "cd '" + folder.Path("") + "'; ";
    for (int process = 0; process < 10; ++process)
        script += "(for i in 1 2 3 4; do '" + kProgram + "' layer add " +
                  (process % 2 == 0 ? "a.ytalo" : "link.ytalo") + " p" + std::to_string(process) +
                  "-$i || echo failed; done) & ";
    script += "('" + kProgram + "' convert a.ytalo a.ytalo || echo failed) & ";
    script +=
        "('" + kProgram + "' filter link.ytalo a.ytalo --apply unroll >/dev/null || echo failed) & wait";
    const ProgramRun run = RunProgram("sh", {"-c", script});
    EXPECT_EQ(run.output + run.errors, "");
    const auto layers = nlohmann::json::parse(RunYFCurve({"layers", file, "--json"}).output)["layers"];
    EXPECT_EQ(layers.size(), 41u);
    EXPECT_EQ(folder.Names(), (Words{"a.ytalo", "link.ytalo"}));
}
