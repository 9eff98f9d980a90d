#include "ymotion/text/printable.h"

#include <gtest/gtest.h>

using namespace ymotion;

TEST(Printable, KeepsTextAndReplacesWhatIsNone)
{
    EXPECT_EQ(Printable("H\xC3\xBC\x66te \xE8\x85\xB0 \xF0\x9F\xA6\xB5"),
              "H\xC3\xBC\x66te \xE8\x85\xB0 \xF0\x9F\xA6\xB5");
    const std::string bad = "\xEF\xBF\xBD";
    EXPECT_EQ(Printable("a\x1b[31mb\n"), "a" + bad + "[31mb" + bad);
    EXPECT_EQ(Printable("\x7F\xC2\x9B"), bad + bad);  // delete, and a terminal control in two bytes
    // Line and paragraph separators, right-to-left override and marks, an isolate; but the joiners that some
    // scripts and pictures are written with stay.
    for (const char* steering : {"\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAE", "\xE2\x80\x8E",
                                 "\xE2\x80\x8F", "\xD8\x9C", "\xE2\x81\xA6"})
        EXPECT_EQ(Printable(steering), bad) << steering;
    EXPECT_EQ(Printable("\xE2\x80\x8C\xE2\x80\x8D"), "\xE2\x80\x8C\xE2\x80\x8D");
    EXPECT_EQ(Printable("\xFC"
                        "ber"),
              bad + "ber");                                           // Latin-1
    EXPECT_EQ(Printable("\xC0\xAF"), bad + bad);                      // overlong
    EXPECT_EQ(Printable("\xED\xA0\x80"), bad + bad + bad);            // half a surrogate pair
    EXPECT_EQ(Printable("\xF4\x90\x80\x80"), bad + bad + bad + bad);  // beyond Unicode
    EXPECT_EQ(Printable("\xE8\x85"), bad + bad);                      // cut off
}

TEST(Printable, MeasuresAndClipsInColumns)
{
    EXPECT_EQ(DisplayWidth("Hips"), 4u);
    EXPECT_EQ(DisplayWidth("├─ é"), 4u);
    EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1u);  // a combining accent
    EXPECT_EQ(DisplayWidth("腰"), 2u);
    EXPECT_EQ(ClippedTo("LeftUpLeg", 9), "LeftUpLeg");
    EXPECT_EQ(ClippedTo("腰腰腰", 4), "腰…");
    EXPECT_EQ(ClippedTo("abc", 0), "");
    EXPECT_EQ(EndOf("LeftUpLeg", 5), "…pLeg");
    EXPECT_EQ(EndOf("腰腰腰", 4), "…腰");
    EXPECT_EQ(EndOf("abce\xCC\x81x", 2), "…x");
    EXPECT_EQ(Wrapped("one two three", 7, 2), "one two\n  three");
    EXPECT_EQ(Wrapped("abcdefgh i", 4), "abcd\nefgh\ni");
    EXPECT_EQ(Wrapped("run 'a b c' d", 9, 1, 0, " \\"), "run \\\n 'a b c' \\\n d");
    EXPECT_EQ(Quoted("it"), "'it'");
    EXPECT_EQ(QuotedName("Hips/Spine/Head", 10), "'…pine/Head'");
    EXPECT_EQ(QuotedName("Hips/Spine\x1b/Head", 60), "'Hips/Spine\xEF\xBF\xBD/Head'");
    EXPECT_EQ(QuotedName(std::string(1000, 'x') + "腰", 4), "'…x腰'");
    EXPECT_EQ(DisplayWidth(Quoted(std::string(1000, 'x'))), 42u);
}
