#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// \file
/// A folder of the test's own, and a file in it.

class FolderTest : public testing::Test
{
  protected:
    FolderTest()
    {
        std::string pattern = testing::TempDir() + "testXXXXXX";
        folder = ::mkdtemp(pattern.data());
        path = folder / "file";
    }
    ~FolderTest() override { std::filesystem::remove_all(folder); }

    void Put(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }
    std::string Content() const
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::ptrdiff_t CountFiles() const
    {
        return std::distance(std::filesystem::directory_iterator(folder), {});
    }

    std::filesystem::path folder;
    std::string path;
};
