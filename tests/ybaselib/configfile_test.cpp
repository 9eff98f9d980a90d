#include "ybaselib/yconfigfile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/test_environment.h"

namespace {

namespace fs = std::filesystem;

// A directory of the test's own, and the environment put back afterwards.
class ConfigFile : public testing::Test
{
  protected:
    ConfigFile()
    {
        std::string pattern = testing::TempDir() + "configXXXXXX";
        mDirectory = ::mkdtemp(pattern.data());
        mPath = (mDirectory / "Application.txt").string();
        for (const char* name : variables) {
            const char* value = std::getenv(name);
            mEnvironment.emplace_back(value != nullptr ? value : "");
        }
    }
    ~ConfigFile() override
    {
        for (std::size_t i = 0; i < std::size(variables); ++i) SetVariable(variables[i], mEnvironment[i]);
        fs::remove_all(mDirectory);
    }

    static void SetVariable(const char* name, const std::string& value)
    {
        value.empty() ? ::unsetenv(name) : ::setenv(name, value.c_str(), 1);
    }

    void Write(const std::string& text) { std::ofstream(mPath, std::ios::binary) << text; }

    static std::string Read(const fs::path& path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string Read() const { return Read(mPath); }

    // The text of the file after `edit(file)`.
    template<class Edit>
    std::string Edited(const std::string& before, Edit edit)
    {
        Write(before);
        {
            YConfigFile file(mPath.c_str());
            edit(file);
        }
        return Read();
    }

    std::size_t CountFiles() const
    {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(mDirectory), {}));
    }

    static constexpr const char* variables[] = {"YBASELIB_CONFIG_DIR", "XDG_CONFIG_HOME", "HOME"};
    fs::path mDirectory;
    std::string mPath;
    std::vector<std::string> mEnvironment;
};

TEST_F(ConfigFile, CreatesTheKeyWithItsCommentOnce)
{
    for (int i = 0; i < 2; ++i) {
        YConfigFile file(mPath.c_str());
        EXPECT_STREQ(file.Get("FCurve", "Mode"), i == 0 ? nullptr : "Yes");
        EXPECT_STREQ(file.GetOrSet("FCurve", "Mode", "Yes", "What it does (Yes/No)"), "Yes");
        EXPECT_STREQ(file.Get("fcurve", "MODE", "No"), "Yes");
    }
    EXPECT_EQ(Read(), "[FCurve]\n; What it does (Yes/No)\nMode = Yes\n");
    EXPECT_EQ(CountFiles(), 1u);
}

TEST_F(ConfigFile, ReadsWhatPeopleWrite)
{
    Write(
        "\xEF\xBB\xBFtop = 1\r\n"
        "# comment = 2\n"
        " [ A ] trailing words\n"
        "\t key with spaces\t=  a = b ; c  \n"
        "quoted = \"  two  \"\n"
        "halfQuoted = \"\n"
        "empty =\n"
        "no equals sign\n"
        "= no key\n"
        "[broken\n"
        "still = in A\n"
        "[B]\n"
        "x = first\n"
        "X = second\n"
        "[a]\n"
        "still = too late\n"
        "last = no line end\r");
    YConfigFile file(mPath.c_str());
    EXPECT_STREQ(file.Get("", "top"), "1");
    EXPECT_STREQ(file.Get(nullptr, "top"), "1");
    EXPECT_STREQ(file.Get("A", "key with spaces"), "a = b ; c");
    EXPECT_STREQ(file.Get("A", "quoted"), "  two  ");
    EXPECT_STREQ(file.Get("A", "halfQuoted"), "\"");
    EXPECT_STREQ(file.Get("A", "empty", "default"), "");
    EXPECT_STREQ(file.Get("A", "still"), "in A");
    EXPECT_STREQ(file.Get("A", "last"), "no line end");
    EXPECT_STREQ(file.Get("B", "x"), "first");
    for (const char* key : {"# comment", "", "no equals sign", "top"}) EXPECT_EQ(file.Get("A", key), nullptr);
}

TEST_F(ConfigFile, ChangesOnlyTheLinesConcerned)
{
    const auto set = [](const char* section, const char* key, const char* value) {
        return [=](YConfigFile& file) { EXPECT_TRUE(file.Set(section, key, value)); };
    };
    EXPECT_EQ(Edited("; head\r\n[A]\r\n  x  =  1 \r\n\r\n; of B\r\n[B]", set("a", "X", "2")),
              "; head\r\n[A]\r\n  x  =  2\r\n\r\n; of B\r\n[B]");
    EXPECT_EQ(Edited("[A]\r\nx=1\r\n\r\n; of B\r\n[B]\r\n", set("A", "y", "2")),
              "[A]\r\nx=1\r\ny = 2\r\n\r\n; of B\r\n[B]\r\n");
    EXPECT_EQ(Edited("[A]\nx=1", set("A", "y", " 2")), "[A]\nx=1\ny = \" 2\"\n");
    EXPECT_EQ(Edited("[A]\nx=1", set("C", "y", "\"2\"")), "[A]\nx=1\n\n[C]\ny = \"\"2\"\"\n");
    EXPECT_EQ(Edited("\xEF\xBB\xBF[A]\n", set("", "y", "2")), "\xEF\xBB\xBFy = 2\n[A]\n");
    EXPECT_EQ(Edited("", [](YConfigFile& file) { file.GetOrSet("A", "k", nullptr, "one\r\n\ntwo"); }),
              "[A]\n; one\n; two\nk = \n");
}

TEST_F(ConfigFile, WritesOnlyWhenSomethingChanged)
{
    const auto inode = [this] {
        struct stat status = {};
        ::stat(mPath.c_str(), &status);
        return status.st_ino;
    };
    Write("[A]\nx = 1\n\n \nnonsense");
    const auto before = inode();
    {
        YConfigFile file(mPath.c_str());
        file.GetOrSet("A", "x", "7", "comment");
        EXPECT_TRUE(file.Set("A", "x", "1"));
        EXPECT_TRUE(file.Set("A", "x", "2"));
        EXPECT_TRUE(file.Set("A", "x", "1"));
        EXPECT_TRUE(file.Save());
    }
    EXPECT_EQ(inode(), before);
    YConfigFile(mPath.c_str()).Set("A", "x", "3");
    EXPECT_NE(inode(), before);
    EXPECT_EQ(Read(), "[A]\nx = 3\n\n \nnonsense");
}

TEST_F(ConfigFile, AnswersStayValid)
{
    const char* own = "default";
    YConfigFile file(mPath.c_str());
    EXPECT_EQ(file.Get("A", "x", own), own);
    const char* first = file.GetOrSet("A", "x", "a value that is too long to be stored in place");
    for (int i = 0; i < 100; ++i) {
        const std::string value = "another value that is as long, number " + std::to_string(i);
        file.Set("A", "x", value.c_str());
        EXPECT_EQ(file.Get("A", "x"), value);
    }
    file.Save();
    EXPECT_STREQ(first, "a value that is too long to be stored in place");
}

TEST_F(ConfigFile, RefusesWhatNoLineCanHold)
{
    YConfigFile file(mPath.c_str());
    const char* const bad[][3] = {
        {"A\nB", "k", "v"}, {"A]", "k", "v"},           {" A", "k", "v"},  {"A", "k\rl", "v"},
        {"A", "", "v"},     {"A", nullptr, "v"},        {"A", "k=l", "v"}, {"A", ";k", "v"},
        {"A", "#k", "v"},   {"A", "[k", "v"},           {"A", "k ", "v"},  {"A", "k", "v\n[B]"},
        {"A", "k", "v\r"},  {"A", "\xEF\xBB\xBFk", "v"}};
    for (const auto& [section, key, value] : bad) {
        EXPECT_FALSE(file.Set(section, key, value)) << section << '/' << (key != nullptr ? key : "");
        EXPECT_STREQ(file.GetOrSet(section, key, value), value);
    }
    EXPECT_TRUE(file.Save());
    EXPECT_FALSE(fs::exists(mPath));
}

TEST_F(ConfigFile, KeepsWhatAnotherProgramWroteMeanwhile)
{
    Write("[A]\nx = 1\ny = 1\n");
    {
        YConfigFile ours(mPath.c_str());
        ours.Set("A", "x", "ours");
        ours.GetOrSet("A", "z", "ours", "of z");
        ours.GetOrSet("A", "w", "ours", "of w");
        ours.Set("A", "w", "ours, changed");
        YConfigFile(mPath.c_str()).Set("A", "y", "theirs");
        YConfigFile(mPath.c_str()).Set("A", "z", "theirs");
    }
    EXPECT_EQ(Read(), "[A]\nx = ours\ny = theirs\nz = theirs\n; of w\nw = ours, changed\n");
}

TEST_F(ConfigFile, FindsTheConfigurationDirectory)
{
    const auto writeOne = [] { YConfigFile("@App.txt").Set("A", "x", "1"); };
    SetVariable("YBASELIB_CONFIG_DIR", (mDirectory / "own" / "deep").string());
    SetVariable("XDG_CONFIG_HOME", (mDirectory / "xdg").string());
    SetVariable("HOME", (mDirectory / "home").string());
    writeOne();
    EXPECT_TRUE(fs::exists(mDirectory / "own/deep/App.txt"));
    SetVariable("YBASELIB_CONFIG_DIR", "");
    writeOne();
    EXPECT_TRUE(fs::exists(mDirectory / "xdg/ybaselib/App.txt"));
    SetVariable("XDG_CONFIG_HOME", "relative");
    writeOne();
    EXPECT_TRUE(fs::exists(mDirectory / "home/.config/ybaselib/App.txt"));
    SetVariable("HOME", "");
    YConfigFile nowhere("@App.txt");
    EXPECT_STREQ(nowhere.GetOrSet("A", "x", "2"), "2");
    EXPECT_FALSE(nowhere.Save());
}

// Files that cannot be read or written: the settings live on in memory and the file stays as it is.
TEST_F(ConfigFile, GoesOnInMemory)
{
    const auto worksInMemory = [](const char* name) {
        YConfigFile file(name);
        EXPECT_STREQ(file.GetOrSet("A", "x", "1"), "1");
        EXPECT_TRUE(file.Set("A", "x", "2"));
        EXPECT_STREQ(file.Get("A", "x"), "2");
        EXPECT_FALSE(file.Save());
    };
    worksInMemory(nullptr);
    worksInMemory("");
    worksInMemory(mDirectory.c_str());
    worksInMemory((mDirectory / "missing" / "file.txt").c_str());
    const fs::path pipe = mDirectory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    worksInMemory(pipe.c_str());
    worksInMemory("/dev/zero");

    const std::string huge = "y = 1\n" + std::string(YConfigFile::MaximumFileSize - 5, 'x');
    Write(huge);
    EXPECT_EQ(YConfigFile(mPath.c_str()).Get("", "y"), nullptr);
    worksInMemory(mPath.c_str());
    worksInMemory((mPath + "/below").c_str());
    EXPECT_EQ(Read(), huge);

    // Just small enough to be read, too large with another entry.
    const std::string large = huge.substr(0, YConfigFile::MaximumFileSize);
    Write(large);
    EXPECT_STREQ(YConfigFile(mPath.c_str()).Get("", "y"), "1");
    worksInMemory(mPath.c_str());
    EXPECT_EQ(Read(), large);
    EXPECT_EQ(CountFiles(), 2u);

    if (::geteuid() == 0) return;  // to whom no file is read-only
    Write("[A]\n");
    ASSERT_EQ(::chmod(mPath.c_str(), 0400), 0);
    worksInMemory(mPath.c_str());
    EXPECT_EQ(Read(), "[A]\n");
}

// Bytes at random, rich in those that mean something.
class Bytes
{
  public:
    explicit Bytes(unsigned seed) : mRandom(seed) {}

    std::size_t Below(std::size_t limit) { return mRandom() % limit; }

    std::string Text(std::size_t maximumLength, bool withZero)
    {
        static const std::string pieces[] = {
            "[",  "]", "=",  ";",   "#", "\"", "\n",           "\r\n",     "\r", " ",
            "\t", "A", "bb", "[A]", "k", "\n", "\xEF\xBB\xBF", "\nk = \"", "\v", "\xFF"};
        std::string text;
        for (std::size_t length = Below(maximumLength); length > 0; --length) {
            const std::size_t choice = Below(std::size(pieces) + 1);
            if (choice < std::size(pieces))
                text += pieces[choice];
            else if (withZero)
                text += '\0';
        }
        return text;
    }

  private:
    std::mt19937 mRandom;
};

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

// How many lines of `before` are neither among those that start `after` nor among those that end it.
std::ptrdiff_t CountChangedLines(const std::string& before, const std::string& after)
{
    const std::vector<std::string> a = Lines(before), b = Lines(after);
    const auto head = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    const auto tail = std::mismatch(a.rbegin(), std::make_reverse_iterator(head.first), b.rbegin(),
                                    std::make_reverse_iterator(head.second));
    return std::make_reverse_iterator(head.first) - tail.first;
}

TEST_F(ConfigFile, SurvivesRandomBytes)
{
    SCOPED_TRACE(test::HowToRepeat());
    Bytes bytes(test::Seed());
    for (int trial = 0; trial < 200; ++trial) {
        const std::string before = bytes.Text(60, true);
        const std::string section = bytes.Text(3, false), key = bytes.Text(4, false),
                          value = bytes.Text(6, false);
        bool accepted = false;
        const std::string after = Edited(before, [&](YConfigFile& file) {
            accepted = file.Set(section.c_str(), key.c_str(), value.c_str());
            if (accepted) {
                EXPECT_EQ(file.Get(section.c_str(), key.c_str(), "absent"), value);
            }
        });
        YConfigFile reread(mPath.c_str());
        if (accepted) {
            ASSERT_EQ(reread.Get(section.c_str(), key.c_str(), "absent"), value) << before;
        } else {
            ASSERT_EQ(after, before);
        }
        ASSERT_LE(CountChangedLines(before, after), 1) << before << "\n-->\n" << after;
    }
}

}  // namespace
