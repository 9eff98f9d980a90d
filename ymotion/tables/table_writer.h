#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ymotion/formats/file_io.h"
#include "ymotion/scene/scene.h"

/// \file
/// Tables of motion as text.

namespace ymotion {

enum class TableFormat
{
    Csv,  ///< fields between commas, names in quotes where they need it (RFC 4180)
    Tsv,  ///< the same between tabs
    Json  ///< an object of "file", "rate", "columns" (names) and "rows" (arrays of numbers)
};

/// The endings of their files: ".csv", ".tsv", ".json", which is the order of `TableFormat`.
const std::vector<std::string>& TableEndings();
/// The format of one of these endings.
TableFormat TableFormatOf(std::string_view ending);

/// The name of a column as such a file has it, in quotes where it would be misread: separators, quotes. One
/// that a spreadsheet would run as a formula gets an apostrophe in front, which makes it text there.
std::string TableName(std::string_view head, TableFormat format);

/// Writes a table row by row. Values have the fewest digits that read back as the same bits; JSON has null
/// for what is not a finite number. The first columns are "frame", where rows have one, and "time", in
/// seconds.
class TableWriter
{
  public:
    TableWriter(Output& out, TableFormat format) : mOut(out), mFormat(format) {}

    void Begin(const Scene& scene, FrameRate rate, bool hasFrames, const std::vector<std::string>& heads);
    /// \param frame  given for all rows or for none, as `Begin` was told.
    void Row(std::optional<std::int64_t> frame, YTime time, std::span<const float> values);
    void End();

  private:
    Output& mOut;
    TableFormat mFormat;
    std::string mLine;
    bool mIsFirst = true;
};

}  // namespace ymotion
