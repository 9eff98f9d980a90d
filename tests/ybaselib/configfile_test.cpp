#include "ybaselib/yconfigfile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

#include "folder_testing.h"
#include "tests/test_environment.h"

namespace {

namespace fs = std::filesystem;

class ConfigFile : public FolderTest
{
  protected:
    static void SetVariable(const char* name, const std::string& value)
    {
        value.empty() ? ::unsetenv(name) : ::setenv(name, value.c_str(), 1);
    }

    // The text of the file after `edit(file)`.
    template<class Edit>
    std::string Edited(const std::string& before, Edit edit)
    {
        Put(before);
        {
            YConfigFile file(path.c_str());
            edit(file);
        }
        return Content();
    }
};

TEST_F(ConfigFile, ReadsWhatPeopleWrite)
{
    Put("\xEF\xBB\xBFtop = 1\r\n"
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
    YConfigFile file(path.c_str());
    const char* const expected[][3] = {
        {"", "top", "1"},           {nullptr, "top", "1"},     {"A", "key with spaces", "a = b ; c"},
        {"A", "quoted", "  two  "}, {"A", "halfQuoted", "\""}, {"A", "empty", ""},
        {"A", "still", "in A"},     {"B", "x", "first"},       {"A", "last", "no line end"}};
    for (const auto& [section, key, value] : expected) EXPECT_STREQ(file.Get(section, key), value) << key;
    for (const char* key : {"# comment", "", "no equals sign", "top"}) EXPECT_EQ(file.Get("A", key), nullptr);
}

TEST_F(ConfigFile, ChangesOnlyTheLinesConcerned)
{
    const auto set = [](const char* section, const char* key, const char* value) {
        return [=](YConfigFile& file) { EXPECT_TRUE(file.Set(section, key, value)); };
    };
    EXPECT_EQ(Edited("; head\r\n[A]\r\n  x  =  1 \r\n\r\n; of B\r\n[B]", set("a", "X", "2")),
              "; head\r\n[A]\r\n  x  =  2\r\n\r\n; of B\r\n[B]");
    EXPECT_EQ(Edited("[A]\nx=1", set("A", "y", " 2")), "[A]\nx=1\ny = \" 2\"\n");
    EXPECT_EQ(Edited("[A]\nx=1", set("C", "y", "\"2\"")), "[A]\nx=1\n\n[C]\ny = \"\"2\"\"\n");
    EXPECT_EQ(Edited("\xEF\xBB\xBF[A]\n", set("", "y", "2")), "\xEF\xBB\xBFy = 2\n[A]\n");
    // What was handed out stays valid.
    const auto getOrSet = [](YConfigFile& file) {
        const char* first = file.GetOrSet("A", "k", "Yes", "one\r\n\ntwo");
        EXPECT_STREQ(file.GetOrSet("a", "K", "No"), "Yes");
        for (int i = 0; i < 100; ++i) file.Set("A", "k", std::to_string(i).c_str());
        EXPECT_STREQ(first, "Yes");
    };
    EXPECT_EQ(Edited("", getOrSet), "[A]\n; one\n; two\nk = 99\n");
}

TEST_F(ConfigFile, WritesOnlyWhenSomethingChanged)
{
    const auto inode = [this] {
        struct stat status = {};
        ::stat(path.c_str(), &status);
        return status.st_ino;
    };
    const std::string text = "[A]\nx = 1\n\n \nnonsense";
    Put(text);
    const auto before = inode();
    {
        YConfigFile file(path.c_str());
        file.GetOrSet("A", "x", "7", "comment");
        for (const char* value : {"1", "2", "1"}) EXPECT_TRUE(file.Set("A", "x", value));
        EXPECT_TRUE(file.Save());
    }
    EXPECT_EQ(inode(), before);
    EXPECT_EQ(Edited(text, [](YConfigFile& file) { file.Set("A", "x", "3"); }), "[A]\nx = 3\n\n \nnonsense");
    EXPECT_NE(inode(), before);
}

TEST_F(ConfigFile, KeepsWhatAnotherProgramWroteMeanwhile)
{
    Put("[A]\nx = 1\ny = 1\n");
    {
        YConfigFile ours(path.c_str());
        ours.Set("A", "x", "ours");
        ours.GetOrSet("A", "z", "ours", "of z");
        YConfigFile(path.c_str()).Set("A", "y", "theirs");
        YConfigFile(path.c_str()).Set("A", "z", "theirs");
    }
    EXPECT_EQ(Content(), "[A]\nx = ours\ny = theirs\nz = theirs\n");
}

TEST_F(ConfigFile, FindsTheConfigurationDirectory)
{
    SetVariable("YBASELIB_CONFIG_DIR", (folder / "own" / "deep").string());
    SetVariable("XDG_CONFIG_HOME", (folder / "xdg").string());
    SetVariable("HOME", (folder / "home").string());
    const std::pair<const char*, const char*> inTurn[] = {{"YBASELIB_CONFIG_DIR", "own/deep/App.txt"},
                                                          {"XDG_CONFIG_HOME", "xdg/ybaselib/App.txt"},
                                                          {"HOME", "home/.config/ybaselib/App.txt"}};
    for (const auto& [variable, place] : inTurn) {
        YConfigFile("@App.txt").Set("A", "x", "1");
        EXPECT_TRUE(fs::exists(folder / place)) << place;
        SetVariable(variable, variable[0] == 'X' ? "relative" : "");
    }
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
    const fs::path pipe = folder / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::string below = path + "/below", missing = folder / "missing" / "file.txt";
    for (const char* name :
         {static_cast<const char*>(nullptr), "", folder.c_str(), missing.c_str(), pipe.c_str(), "/dev/zero"})
        worksInMemory(name);

    // Too large to be read; and just small enough, but too large with another entry.
    const std::string huge = "y = 1\n" + std::string(YConfigFile::MaximumFileSize - 5, 'x');
    for (const std::string& text : {huge, huge.substr(0, YConfigFile::MaximumFileSize)}) {
        Put(text);
        EXPECT_STREQ(YConfigFile(path.c_str()).Get("", "y"), text == huge ? nullptr : "1");
        for (const std::string& name : {path, below}) worksInMemory(name.c_str());
        EXPECT_EQ(Content(), text);
    }
    EXPECT_EQ(CountFiles(), 2);

    if (::geteuid() == 0) return;  // to whom no file is read-only
    Put("[A]\n");
    ASSERT_EQ(::chmod(path.c_str(), 0400), 0);
    worksInMemory(path.c_str());
    EXPECT_EQ(Content(), "[A]\n");
}

// Bytes at random, rich in those that mean something.
std::string RandomText(test::RandomEngine& random, std::size_t maximumLength)
{
    static const std::string pieces[] = {
        "[",  "]", "=",  ";",   "#", "\"", "\n",           "\r\n",     "\r", " ",
        "\t", "A", "bb", "[A]", "k", "\n", "\xEF\xBB\xBF", "\nk = \"", "\v", "\xFF"};
    std::string text;
    for (std::size_t length = random() % maximumLength; length > 0; --length)
        text += pieces[random() % std::size(pieces)];
    return text;
}

TEST_F(ConfigFile, GivesBackWhatItTookAmongRandomBytes)
{
    test::RandomEngine random;
    for (int trial = 0; trial < 300; ++trial) {
        const std::string before = RandomText(random, 60) + std::string(random() % 2, '\0');
        const std::string section = RandomText(random, 3), key = RandomText(random, 4),
                          value = RandomText(random, 6);
        const auto get = [&](YConfigFile& file) { return file.Get(section.c_str(), key.c_str(), "absent"); };
        bool accepted = false;
        const std::string after = Edited(before, [&](YConfigFile& file) {
            accepted = file.Set(section.c_str(), key.c_str(), value.c_str());
            EXPECT_TRUE(!accepted || get(file) == value);
        });
        YConfigFile reread(path.c_str());
        ASSERT_TRUE(accepted ? get(reread) == value : after == before) << before << "\n-->\n" << after;
    }
}

}  // namespace
