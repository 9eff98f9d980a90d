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
    for (const bool commits : {false, true}) {
        {
            OutputFile out(path);
            out.Write(std::string(1000000, 'y'));
            out.Write("z");
            EXPECT_EQ(FileContent(path), "before");
            if (commits) out.Commit();
        }
        EXPECT_EQ(FileContent(path), commits ? std::string(1000000, 'y') + "z" : "before");
        EXPECT_EQ(folder.Names(), std::vector<std::string>{"target"});
    }
}
