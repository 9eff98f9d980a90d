#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// The text of a configuration file, for `YConfigFile` alone; the format is described there.

namespace ybase {

/// What is asked for an entry.
struct ConfigEdit
{
    std::string section;
    std::string key;
    std::string value;
    std::string comment;     // line by line above an entry that is created
    bool overwrites = true;  // false: an entry that exists is left alone

    /// Whether lines of the format can hold it and give it back.
    bool IsExpressible() const;

    bool IsForSameEntry(const ConfigEdit& other) const;
};

/// The lines of a configuration file, kept as they are but for the entries that are edited.
class ConfigDocument
{
  public:
    explicit ConfigDocument(std::string_view text);

    std::optional<std::string> Find(std::string_view section, std::string_view key) const;

    /// Makes an expressible edit.
    /// \return  whether a line has changed.
    bool Apply(const ConfigEdit& edit);

    std::string GetText() const;

  private:
    struct Line
    {
        std::string text;
        std::string ending;  // "\n", "\r\n", or nothing on the last line of some files
    };

    int FindLine(std::string_view section, std::string_view key) const;
    int FindInsertionPlace(std::string_view section) const;
    void InsertLine(int index, std::string text);
    int AppendSection(std::string_view section);
    void InsertEntry(const ConfigEdit& edit);

    bool mHasByteOrderMark = false;
    std::vector<Line> mLines;
    std::string mLineEnding = "\n";  // of lines that are added
};

}  // namespace ybase
