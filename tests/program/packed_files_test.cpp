// Files packed by gzip, those that gzip itself makes and those that are meant to do harm.

#include <gtest/gtest.h>

#include "tests/motion_support.h"

namespace {

std::string Shell(const std::string& command)
{
    const ProgramRun run = RunProgram("sh", {"-c", command});
    EXPECT_EQ(run.exitCode, 0) << command << run.errors;
    return run.output;
}

}  // namespace

TEST(PackedFiles, AreReadByContentAndWrittenByEnding)
{
    const TemporaryFolder folder;
    const auto convert = [&](const std::string& from, const std::string& to) {
        EXPECT_TRUE(Ended(RunYFCurve({"convert", folder.Path(from), folder.Path(to)}), 0));
    };
    folder.Add("a.bvh", FileContent(ExampleWalk()));
    convert("a.bvh", "plain.ytalo");
    convert("a.bvh", "b.BVH.GZ");
    convert("b.BVH.GZ", "c.ytalo.gz");
    convert("c.ytalo.gz", "d.bvh");
    convert("a.bvh", "e.bvh");
    EXPECT_EQ(FileContent(folder.Path("d.bvh")), FileContent(folder.Path("e.bvh")));
    EXPECT_EQ(Shell("gzip -dc < " + folder.Path("b.BVH.GZ")), FileContent(folder.Path("e.bvh")));
    EXPECT_EQ(Shell("gzip -dc < " + folder.Path("c.ytalo.gz")), FileContent(folder.Path("plain.ytalo")));
    // What gzip packed, in two parts and under a name that says nothing, by path and through a pipe.
    const std::string odd = folder.Path("odd");
    Shell("(head -c 5000 " + folder.Path("e.bvh") + " | gzip; tail -c +5001 " + folder.Path("e.bvh") +
          " | gzip -9) > " + odd);
    for (const char* command : {" convert - - <", " convert - - --to bvh <", " convert - - --to bvh.gz <"}) {
        const std::string unpack = std::string(command).find(".gz") != std::string::npos ? " | gzip -dc" : "";
        EXPECT_EQ(Shell(kProgram + command + odd + unpack), FileContent(folder.Path("e.bvh"))) << command;
    }
    EXPECT_EQ(RunYFCurve({"check", odd}).exitCode, 0);
    // Edited in place a file stays packed, whatever its name, and the same text gives the same bytes.
    Shell("cp " + folder.Path("c.ytalo.gz") + " " + odd);
    EXPECT_EQ(RunYFCurve({"layer", "add", odd, "Up"}).exitCode, 0);
    EXPECT_TRUE(Holds(Shell("gzip -dc < " + odd), "Layer: \"Up\""));
    EXPECT_EQ(RunYFCurve({"layer", "remove", odd, "Up"}).exitCode, 0);
    convert("d.bvh", "f.ytalo.gz");
    EXPECT_EQ(FileContent(folder.Path("f.ytalo.gz")), FileContent(folder.Path("c.ytalo.gz")));
    EXPECT_TRUE(Holds(RunYFCurve({"convert", odd, "x.csv.gz"}).errors, ".ytalo.gz"));
}

TEST(PackedFiles, ClipsAreKnownByTheirContent)
{
    const TemporaryFolder folder;
    const std::string clip = folder.Path("a.yclip");
    ASSERT_EQ(RunYFCurve({"convert", ExampleWalk(), clip}).exitCode, 0);
    Shell("gzip -c " + clip + " > " + clip + ".gz");
    const std::string known = RunYFCurve({"info", clip}).output;
    const std::string content = known.substr(clip.size());
    EXPECT_TRUE(content.starts_with(": clip\n66 channels") && Holds(content, "Hips/Lcl Translation/X"));
    EXPECT_EQ(RunYFCurve({"info", clip + ".gz"}).output, clip + ".gz" + content);
    EXPECT_EQ(RunYFCurve({"info", "-"}, "<" + clip).output, "<standard input>" + content);
    EXPECT_TRUE(Holds(RunYFCurve({"info", "-"}, "<" + ExampleWalk()).output, "<standard input>: BVH"));
    for (const std::string& file : {clip, clip + ".gz"})
        EXPECT_EQ(RunYFCurve({"check", file}).output, file + ": clip, nothing to report\n");
    folder.Add("a.yclip", FileContent(clip).substr(0, 900));
    EXPECT_EQ(RunYFCurve({"check", clip}).exitCode, 1);
}

TEST(PackedFiles, HostileOnesGetOneMessage)
{
    const TemporaryFolder folder;
    const std::string walk = folder.Path("walk.bvh.gz");
    ASSERT_EQ(RunYFCurve({"convert", ExampleWalk(), walk}).exitCode, 0);
    const std::string packed = FileContent(walk);
    std::string flipped = packed;
    flipped[packed.size() / 2] ^= 1;
    std::string wrongSum = packed;
    wrongSum[packed.size() - 6] ^= 1;
    const std::string bomb = folder.Path("bomb");
    Shell("head -c 200000000 /dev/zero | gzip -9 > " + bomb);
    std::vector<std::pair<std::string, std::string>> cases{
        {FileContent(bomb), "has more than 1.0 MiB, the most that is read"},
        {packed + "x", "something else stands behind"},
        {packed + std::string(1, '\0'), "something else stands behind"},
        {packed + packed.substr(0, 11), "what gzip packed has been cut off"},
        {flipped, "what gzip packed is damaged"},
        {wrongSum, "what gzip packed is damaged"},
    };
    for (const std::size_t size : {2u, 9u, 10u, 200u})
        cases.emplace_back(packed.substr(0, size), "what gzip packed has been cut off");
    for (std::size_t less = 1; less < 9; ++less)
        cases.emplace_back(packed.substr(0, packed.size() - less), "what gzip packed has been cut off");
    for (const auto& [content, part] : cases) {
        const std::string file = folder.Add("x.bvh.gz", content);
        ExpectRefused({"convert", file, folder.Path("y.bvh"), "--max-size", "1M"}, 1, file + ": " + part);
    }
    // What it unpacks to is what counts, to the byte.
    const std::size_t size = Shell("gzip -dc < " + walk).size();
    EXPECT_EQ(RunYFCurve({"info", walk, "--max-size", std::to_string(size)}).exitCode, 0);
    EXPECT_EQ(RunYFCurve({"info", walk, "--max-size", std::to_string(size - 1)}).exitCode, 1);
    EXPECT_EQ(folder.Names(), (Words{"bomb", "walk.bvh.gz", "x.bvh.gz"}));
}
