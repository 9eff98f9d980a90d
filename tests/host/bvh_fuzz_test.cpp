#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "host/diagnostic.h"
#include "support.h"

namespace {

/// Spoils a text here and there.
class Mutator
{
  public:
    explicit Mutator(std::uint64_t seed) : mEngine(seed) {}

    std::string Mutate(std::string text)
    {
        for (std::size_t i = 1 + Below(4); i > 0 && !text.empty(); --i) MutateOnce(text);
        return text;
    }

  private:
    std::size_t Below(std::size_t limit) { return mEngine() % limit; }

    /// A place in a text that is not empty: in the hierarchy as often as in the much longer motion.
    std::size_t PlaceIn(const std::string& text)
    {
        const std::size_t motion = std::min(text.find("MOTION"), text.size() - 1);
        return Below(2) == 0 ? Below(text.size()) : Below(std::min(motion + 60, text.size()));
    }

    void MutateOnce(std::string& text)
    {
        static constexpr const char* kWords[] = {
            "{",     "}",         " ",           "\n",       "\r",
            "\0x",   "ROOT x\n{", "JOINT y {",   "End Site", "OFFSET",
            "1e999", "CHANNELS",  "Xrotation ",  "MOTION",   "nan",
            "-",     "+",         ".",           ",",        "7 ",
            "e",     "Frames: 9", "Frame Time:", "\xFF",     "99999999999999999999999"};
        const std::size_t place = PlaceIn(text);
        const std::size_t length = 1 + Below(Below(8) == 0 ? 4000 : 8);
        switch (Below(6)) {
            case 0:
                text[place] = static_cast<char>(mEngine());
                break;
            case 1:
                text.erase(place, length);
                break;
            case 2:
                text.insert(place, kWords[Below(std::size(kWords))]);
                break;
            case 3:
                text.insert(PlaceIn(text), text.substr(place, length));
                break;
            case 4:
                text[place] = "0123456789{} \n"[Below(14)];
                break;
            default:
                if (Below(4) == 0) text.resize(place);
                break;
        }
    }

    std::mt19937_64 mEngine;
};

/// "test.bvh:LINE: what; advice", without anything that a terminal would act upon.
bool IsGoodMessage(const std::string& message)
{
    std::size_t at = std::string("test.bvh:").size();
    const std::size_t digits = message.find_first_not_of("0123456789", at);
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    return message.starts_with("test.bvh:") && digits != at && digits != std::string::npos &&
           message.substr(digits, 2) == ": " && message.size() < 500 &&
           std::none_of(message.begin(), message.end(), isControl);
}

void ReadMutations(const std::string& text, std::uint64_t firstSeed, int count)
{
    for (std::uint64_t seed = firstSeed; seed < firstSeed + static_cast<std::uint64_t>(count); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const std::string spoilt = Mutator(seed).Mutate(text);
        try {
            const host::BvhMotion motion = host::ParseBvh(spoilt, "test.bvh");
            // What is accepted is whole.
            ASSERT_EQ(motion.samples.size(),
                      motion.skeleton.ChannelCount() == 0
                          ? 0u
                          : static_cast<std::size_t>(motion.frameCount) * motion.skeleton.ChannelCount());
        } catch (const host::Failure& failure) {
            ASSERT_TRUE(IsGoodMessage(failure.what())) << failure.what();
        }
    }
}

}  // namespace

TEST(BvhFuzz, SpoiltFilesAreReadOrRefused)
{
    const std::string walk = FileContent(ExampleWalk());
    ASSERT_FALSE(walk.empty());
    ReadMutations(walk, 1000, 300);
    // Many more of a short one, where a mutation meets the structure more often.
    std::string head = walk.substr(0, walk.find("Frames:"));
    const std::size_t first = walk.find('\n', walk.find("Frame Time:")) + 1;
    head += "Frames: 1\nFrame Time: 0.01\n" + walk.substr(first, walk.find('\n', first) + 1 - first);
    ReadMutations(head, 100000, 20000);
}

TEST(BvhFuzz, EveryBeginningOfAFileIsRefused)
{
    const std::string text =
        "HIERARCHY\nROOT a b\n{\n OFFSET 1 2 3\n CHANNELS 2 Xposition Zrotation\n JOINT c\n {\n  OFFSET 0 0 "
        "0\n"
        "  CHANNELS 0\n  End Site\n  {\n   OFFSET 1 1 1\n  }\n }\n}\nMOTION\nFrames: 2\nFrame Time: 0.04\n"
        "1 2\n3 x";
    for (std::size_t length = 0; length <= text.size(); ++length) {
        EXPECT_TRUE(IsGoodMessage(RefusalOf(text.substr(0, length)))) << text.substr(0, length);
    }
}
