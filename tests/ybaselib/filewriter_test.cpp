#include "ybaselib/yfilewriter.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

#include "folder_testing.h"
#include "tests/test_environment.h"

namespace {

namespace fs = std::filesystem;

class FileWriter : public FolderTest
{
  protected:
    static bool Save(const std::string& to, const std::string& text)
    {
        YFileWriter writer;
        // In two pieces, the second of which may be larger than what is gathered.
        return writer.Open(to.c_str()) && writer.Write(text.data(), text.size() / 7) &&
               writer.Write(text.data() + text.size() / 7, text.size() - text.size() / 7) && writer.Commit();
    }

    mode_t Mode() const
    {
        struct stat status = {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0);
        return status.st_mode & 07777;
    }
};

TEST_F(FileWriter, KeepsLinksAndPermissions)
{
    const std::string link = (folder / "link").string();
    fs::create_symlink("file", link);
    const mode_t mask = ::umask(027);
    ASSERT_TRUE(Save(link, "made through a link that led nowhere"));
    ::umask(mask);
    EXPECT_EQ(Content(), "made through a link that led nowhere");
    EXPECT_EQ(Mode(), 0640u);
    ::chmod(path.c_str(), 0604);
    fs::create_symlink("link", folder / "second");
    ASSERT_TRUE(Save((folder / "second").string(), "replaced"));
    EXPECT_EQ(Content(), "replaced");
    EXPECT_EQ(Mode(), 0604u);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(CountFiles(), 3);
    // As long as names can be.
    EXPECT_TRUE(Save((folder / std::string(255, 'n')).string(), "x"));
}

TEST_F(FileWriter, KeepsExtendedAttributes)
{
    ASSERT_TRUE(Save(path, "old"));
    if (::setxattr(path.c_str(), "user.take", "7\0b", 3, 0) != 0 ||
        ::setxattr(path.c_str(), "user.empty", "", 0, 0) != 0) {
        GTEST_SKIP() << "the file system has no extended attributes";
    }
    ASSERT_TRUE(Save(path, "new"));
    char value[8] = {};
    EXPECT_EQ(::getxattr(path.c_str(), "user.take", value, sizeof value), 3);
    EXPECT_EQ(std::string(value, 3), std::string("7\0b", 3));
    EXPECT_EQ(::getxattr(path.c_str(), "user.empty", value, sizeof value), 0);
}

TEST_F(FileWriter, RefusesWhatItCannotReplace)
{
    YFileWriter writer;
    fs::create_symlink("loop", folder / "loop");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    const std::pair<std::string, int> cases[] = {{folder.string(), EISDIR},
                                                 {(folder / "fifo").string(), EINVAL},
                                                 {"", ENOENT},
                                                 {(folder / "no" / "file").string(), ENOENT},
                                                 {(folder / "loop").string(), ELOOP}};
    for (const auto& [name, error] : cases) {
        EXPECT_FALSE(writer.Open(name.c_str())) << name;
        EXPECT_EQ(writer.GetErrorNumber(), error) << name;
        EXPECT_FALSE(writer.Write("x", 1));
        EXPECT_FALSE(writer.Commit());
        EXPECT_EQ(writer.GetErrorNumber(), error) << "the first error stays";
    }
    EXPECT_FALSE(writer.Open(nullptr));
}

TEST_F(FileWriter, LeavesTheOldFileWhenTheNewOneCannotBeWritten)
{
    ASSERT_TRUE(Save(path, "old"));
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {1 << 20, 1 << 20};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::_exit(Save(path, std::string(3 << 20, 'n')) ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    YFileWriter abandoned;
    EXPECT_TRUE(abandoned.Open(path.c_str()) && abandoned.Write("new", 3));
    abandoned.Abandon();
    EXPECT_EQ(Content(), "old");
    EXPECT_EQ(CountFiles(), 1);
}

// A process that saves without end is killed at any moment: the file is always one of those it saves.
TEST_F(FileWriter, LeavesAWholeFileWhenItsProcessIsKilled)
{
    test::RandomEngine random;
    const std::string texts[] = {std::string(300000, 'a'), std::string(1500000, 'b')};
    ASSERT_TRUE(Save(path, texts[0]));
    for (int round = 0; round < 15; ++round) {
        const pid_t child = ::fork();
        if (child == 0) {
            for (unsigned i = 0;; ++i) {
                if (!Save(path, texts[i % 2])) ::_exit(1);
            }
        }
        ::usleep(static_cast<useconds_t>(random() % 20000));
        ::kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status));
        const std::string content = Content();
        ASSERT_TRUE(content == texts[0] || content == texts[1]) << content.size() << " bytes";
    }
    // What they left behind goes, and what is being written stays.
    YFileWriter writing;
    ASSERT_TRUE(writing.Open(path.c_str()));
    EXPECT_EQ(CountFiles(), 2);
    ASSERT_TRUE(Save(path, "meanwhile"));
    EXPECT_EQ(Content(), "meanwhile");
    EXPECT_TRUE(writing.Write("whole", 5) && writing.Commit());
    EXPECT_EQ(Content(), "whole");
}

}  // namespace
