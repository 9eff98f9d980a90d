#pragma once

#include <memory>

#include "ybaselib/yexport.h"

/// \file
/// Settings in a text file that people edit too.

/// The settings of one configuration file.
///
/// The file is text with one entry a line:
///
///     ; a comment (also with #)
///     [Section]
///     key = value
///
/// Names of sections and keys are compared without regard to ASCII case, and of several equal ones the
/// first counts. Entries before the first section belong to the section "". Spaces and tabs around names
/// and values do not count; a value in double quotes keeps those inside. Every other line is kept as it
/// is, and so are comments, order, line ends and everything that is not changed when the file is written.
///
/// The constructor reads the file. Changes are written by `Save` or the destructor, to a temporary file
/// beside it that then takes its place, so that a reader sees the old file or the new one and nothing in
/// between; the file's permissions are kept. A file that another program changed meanwhile is read again,
/// and only the entries that were set here are changed in it.
///
/// There are no errors to handle: settings of a file that cannot be read (no permission, not a regular
/// file, larger than `MaximumFileSize`) or written live in memory for as long as the object does, and a
/// file that cannot be read is never overwritten.
///
/// An object belongs to one thread.
class YBASELIB_EXPORT YConfigFile
{
  public:
    /// Bytes; far more than people write.
    static constexpr int MaximumFileSize = 1 << 20;

    /// \param name  a path, relative to the current directory of this moment. After a leading "@" it is
    ///              relative to the directory in the environment variable YBASELIB_CONFIG_DIR, else to
    ///              "ybaselib" in XDG_CONFIG_HOME, else to ~/.config/ybaselib; that directory is made
    ///              when the file is first written. Null or empty: settings in memory only.
    explicit YConfigFile(const char* name);

    /// Saves.
    ~YConfigFile();

    YConfigFile(const YConfigFile&) = delete;
    YConfigFile& operator=(const YConfigFile&) = delete;

    /// The value of an entry. The text stays valid and unchanged for the life of this object, even when
    /// the entry is set to another value.
    /// \param section, key  null means "".
    /// \return  `defaultValue` itself, which may be null, when there is no such entry.
    const char* Get(const char* section, const char* key, const char* defaultValue = nullptr);

    /// As `Get`; when there is no such entry it is created with the default value, under the comment, if
    /// one is given, as comment lines of its own. An entry that exists is left as it is.
    const char* GetOrSet(const char* section, const char* key, const char* defaultValue,
                         const char* comment = nullptr);

    /// Changes an entry, or creates it as `GetOrSet` does; a comment is only used when it is created.
    /// \param value  null means "".
    /// \return  false, with nothing changed, when no line can hold the entry or memory has run out. Lines
    ///          hold anything but: a line break (a comment may have several lines), an empty key, "=" in
    ///          a key, "]" in a section, a key that starts like a comment, a section heading or a byte order
    ///          mark, and spaces or tabs at the ends of a section or key.
    bool Set(const char* section, const char* key, const char* value, const char* comment = nullptr);

    /// Writes what has changed since the file was read or written last; nothing when nothing has.
    /// \return  false when there are changes that could not be written; the next call tries again.
    bool Save();

  private:
    class Settings;
    std::unique_ptr<Settings> mSettings;  // null when memory ran out
};
