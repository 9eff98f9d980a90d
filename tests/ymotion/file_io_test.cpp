#include "ymotion/formats/file_io.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/motion_support.h"
#include "ymotion/text/failure.h"

using ymotion::OutputFile;
using ymotion::ReadFile;

TEST(FileIo, ReadsFilesOfAnySize)
{
    const TemporaryFolder folder;
    EXPECT_EQ(ReadFile(folder.Add("empty", "")).View(), "");
    std::string large;
    for (int i = 0; i < 60000; ++i) large += std::to_string(i) + ' ';
    const std::string path = folder.Add("large", large);
    EXPECT_EQ(ReadFile(path).View(), large);
    // What does not say its size in advance.
    const std::string pipe = folder.Path("pipe");
    ASSERT_EQ(std::system(("mkfifo " + pipe + " && (cat " + path + " > " + pipe + " &)").c_str()), 0);
    EXPECT_EQ(ReadFile(pipe).View(), large);
    EXPECT_TRUE(Holds(FailureOf([&] { ReadFile(folder.Path("none")); }), "No such file"));
    EXPECT_TRUE(Holds(FailureOf([&] { ReadFile(folder.Path("")); }), "is a directory"));
}

TEST(FileIo, AFileAppearsWholeOrNotAtAll)
{
    const TemporaryFolder folder;
    const std::string path = folder.Add("target", "before");
    {
        OutputFile out(path);
        out.Write(std::string(1000000, 'y'));
        EXPECT_EQ(FileContent(path), "before");
    }
    EXPECT_EQ(FileContent(path), "before");
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"target"});
    OutputFile out(path);
    out.Write("af");
    out.Write("ter");
    out.Commit();
    EXPECT_EQ(FileContent(path), "after");
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"target"});
}

TEST(FileIo, WriteErrorsAreFailures)
{
    const TemporaryFolder folder;
    const auto writing = [](const std::string& path) {
        return FailureOf([&] {
            OutputFile out(path);
            out.Write("x");
            out.Commit();
        });
    };
    EXPECT_TRUE(Holds(writing(folder.Path("no/such/file")), "No such file"));
    EXPECT_TRUE(Holds(writing(folder.Path("")), "is a directory"));
    EXPECT_TRUE(Holds(writing("/dev/full"), "No space left"));
}
