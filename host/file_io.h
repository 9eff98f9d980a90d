#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

/// \file
/// Whole files in, whole files out.

namespace host {

/// The content of a file in memory.
class FileBytes
{
  public:
    FileBytes() = default;
    FileBytes(std::unique_ptr<char[]> bytes, std::size_t size) : mBytes(std::move(bytes)), mSize(size) {}

    std::string_view View() const { return {mBytes.get(), mSize}; }

  private:
    std::unique_ptr<char[]> mBytes;
    std::size_t mSize = 0;
};

/// How a path is named in messages and titles: "-" is standard input.
std::string InputName(const std::string& path);

/// Reads a file, a pipe, or standard input ("-") to its end. Throws `Failure` for what cannot be read;
/// a directory is said to be one.
FileBytes ReadFile(const std::string& path);

/// A file that appears whole or not at all: it is written under another name beside its place, flushed to
/// the disk and renamed. "-" is standard output; it and devices and pipes are written as they come.
/// Every failure, a full disk or a reader that has gone included, throws `Failure`.
class OutputFile
{
  public:
    explicit OutputFile(const std::string& path);
    /// Removes what was written unless `Commit` has been called.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(std::string_view text);
    /// Puts the file in its place, with the permissions of the one that it replaces.
    void Commit();

  private:
    void OpenBeside();
    void Flush();
    void GiveUp();

    std::string mName;       ///< for messages
    std::string mTarget;     ///< empty when written in place
    std::string mTemporary;  ///< what is written meanwhile
    std::string mBuffer;
    int mDescriptor = -1;
};

}  // namespace host
