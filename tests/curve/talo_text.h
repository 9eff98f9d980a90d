#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "tests/test_environment.h"
#include "tests/ybaselib/talo_testing.h"

/// \file
/// Scene files as texts.

namespace yfc::test {

/// What `read(talo)` makes of a text.
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
    std::ifstream file(::test::SourceFile("tests/data/" + name), std::ios::binary);
    EXPECT_TRUE(file) << name;
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

}  // namespace yfc::test
