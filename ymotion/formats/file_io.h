#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ybaselib/yfilewriter.h"
#include "ymotion/text/note.h"

/// \file
/// Whole files in, whole files out.

namespace ymotion {

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

/// Bytes of a file that does not say how many they are. They grow up to one more than is read.
class GrowingBytes
{
  public:
    /// \param first  how many there is room for at first
    explicit GrowingBytes(std::size_t first);

    std::size_t Size() const { return mSize; }
    /// Behind the last one.
    char* End() { return mBytes.get() + mSize; }
    std::size_t Room() const { return mCapacity - mSize; }
    /// Takes in what has been written there.
    void Add(std::size_t size) { mSize += size; }
    /// Makes more room.
    void Grow();

    FileBytes Take() { return {std::move(mBytes), mSize}; }

  private:
    std::size_t mSize = 0;
    std::size_t mCapacity;
    std::unique_ptr<char[]> mBytes;
};

/// How a path is named in messages and titles: "-" is standard input.
std::string InputName(const std::string& path);

/// The most bytes of a file that is read, 4 GiB unless set: input without an end comes to one.
std::uint64_t MostBytes();
void SetMostBytes(std::uint64_t bytes);

/// Throws `Failure` for a file of more bytes than that.
/// \param name  of the file, for people.
void CheckSize(const std::string& name, std::uint64_t bytes);

/// Reads a file, a pipe, or standard input ("-") to its end. Throws `Failure` for what cannot be read, or is
/// larger than `MostBytes`; a directory is said to be one.
FileBytes ReadFile(const std::string& path);

/// The first bytes of a regular file, as many as there are up to `most`; nothing for what is none, or cannot
/// be read.
std::optional<std::string> BeginningOf(const std::string& path, std::size_t most);

/// The ending of a file's name, in lower case and with its point; empty without one.
std::string EndingOf(const std::filesystem::path& name);

/// Takes the content of a file, piece by piece.
class Output
{
  public:
    virtual ~Output() = default;
    virtual void Write(std::string_view text) = 0;
};

/// Keeps it in memory.
class OutputText final : public Output
{
  public:
    void Write(std::string_view text) override { mText.append(text); }
    std::string Take() { return std::move(mText); }

  private:
    std::string mText;
};

/// A file that appears whole or not at all (see `YFileWriter`). "-" is standard output; it, /dev/stderr, devices and
/// pipes are written as they come. Every failure, a full disk or a reader that has gone included, throws
/// `Failure`.
class OutputFile final : public Output
{
  public:
    /// \param note  is told where the file has other names (hard links), which keep the content of before.
    explicit OutputFile(const std::string& path, const NoteTaker& note = {});
    /// Removes what was written unless `Commit` has been called.
    ~OutputFile() override;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(std::string_view text) override;
    /// Puts the file in its place.
    void Commit();

  private:
    void Flush();

    std::string mName;     ///< for messages
    YFileWriter mFile;     ///< when a file is replaced
    std::string mBuffer;   ///< otherwise
    int mDescriptor = -1;  ///< of what is written as it comes; negative when a file is replaced
};

/// The ending, in lower case and with its point, of a file's name, if it is one of those that can be written;
/// the first of these for standard output ("-"), devices and pipes. Throws `Failure` for other names, which
/// says what can be written.
std::string EndingToWrite(const std::string& path, const std::vector<std::string>& endings);

/// Writes a whole file, or to standard output ("-"), as `OutputFile` does.
void WriteFile(const std::string& path, std::string_view text, const NoteTaker& note = {});

}  // namespace ymotion
