#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>

#include "ybaselib/ytalo.h"

/// \file
/// Scene files as texts, for the tests.

/// Keeps what is written; refuses what comes after `limit` bytes.
class TextOutput : public YTaloOutput
{
  public:
    explicit TextOutput(std::size_t limit = SIZE_MAX) : mLimit(limit) {}

    bool Write(const char* bytes, std::size_t count) override
    {
        if (text.size() + count > mLimit) return false;
        text.append(bytes, count);
        return true;
    }

    std::string text;

  private:
    std::size_t mLimit;
};

/// A text without the promise of an end mark in its first line, and without that mark.
inline std::string WithoutMarks(std::string text)
{
    const std::string promise = " # ends with # end\n", mark = "\n# end\n";
    EXPECT_EQ(text.find(promise), std::string("ytalo 1").size()) << text;
    EXPECT_TRUE(text.ends_with(mark)) << text;
    text.resize(text.size() - mark.size() + 1);
    return text.replace(text.find(promise), promise.size(), "\n");
}

/// A text in the first version of the format as the second one lays it out: without indentation, and without
/// the blank between a value and a character.
inline std::string InNewLayout(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        const bool isIndent = c == ' ' && result.ends_with('\n');
        if (c == '\'' && result.ends_with(' ') && !result.ends_with(": ")) result.pop_back();
        if (!isIndent) result += c;
    }
    return result.replace(6, 1, "2");
}

/// The text that `write` makes, without marks; empty when it is refused.
inline std::string Written(const std::function<void(YTalo&)>& write)
{
    TextOutput output;
    YTalo talo;
    talo.OutputCreate(&output);
    write(talo);
    return talo.FileClose() ? WithoutMarks(output.text) : "";
}
