#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "ybaselib/ytalo.h"

/// \file
/// Scene files as texts.

namespace yfc::test {

class TextOutput final : public YTaloOutput
{
  public:
    std::string text;

    bool Write(const char* bytes, std::size_t count) override
    {
        text.append(bytes, count);
        return true;
    }
};

/// What `write(talo)` writes.
template<class Function>
std::string Written(Function write)
{
    TextOutput output;
    YTalo talo;
    EXPECT_TRUE(talo.OutputCreate(&output));
    write(talo);
    EXPECT_TRUE(talo.FileClose()) << talo.GetError().GetLastErrorString();
    return output.text;
}

/// Answers what `read(talo)` makes of a text.
template<class Function>
auto Read(const std::string& text, Function read)
{
    YTalo talo;
    EXPECT_TRUE(talo.TextOpen(text.data(), text.size()))
        << talo.GetErrorLine() << ": " << talo.GetError().GetLastErrorString();
    return read(talo);
}

/// A file of tests/data.
inline std::string DataFile(const std::string& name)
{
    std::ifstream file(YFCURVE_SOURCE_DIR "/tests/data/" + name, std::ios::binary);
    EXPECT_TRUE(file) << name;
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

}  // namespace yfc::test
