#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ybaselib/yerror.h"
#include "ybaselib/yexport.h"
#include "ybaselib/ytime.h"

/// \file
/// Scene files: named fields with values and nested fields.

namespace ybase {
class TaloReader;
class TaloWriter;
}  // namespace ybase

/// Takes the bytes of a scene file that is written to somewhere else than a file.
class YBASELIB_EXPORT YTaloOutput
{
  public:
    virtual ~YTaloOutput();

    /// Takes the next bytes, in pieces of up to about a megabyte. Must not throw.
    /// \return  false when they could not be taken; nothing more is offered then.
    virtual bool Write(const char* bytes, std::size_t count) = 0;
};

/// Writes a scene file or reads one.
///
/// A scene file is text (docs/scene-file.md has the grammar). It holds fields; a field has a name, a
/// sequence of typed values, and after them, if it has one, a block of fields of its own:
///
///     ytalo 2
///     Channel: "X" {
///       Default: 0.0
///       Key:
///         @0 1.5 'U' 'a' 'n'
///         @46186158000 2.0 'L'
///     }
///
/// A value has one of six types, named by a letter: 'I' integer (32 bits), 'D' double, 'F' float, 'C'
/// character (one byte), 'S' string, 'T' time in ticks. Every value is read back as the bits that were
/// written.
///
/// Writing and reading follow the same nesting:
///
///     YTalo talo;                                   YTalo talo;
///     if (!talo.FileCreate("a.ytalo")) ...          if (!talo.FileOpen("a.ytalo")) ...
///     talo.FieldWriteBegin("Channel");              if (talo.FieldReadBegin("Channel")) {
///     talo.FieldWriteS("X");                            name = talo.FieldReadS();
///     talo.FieldWriteBlockBegin();                      talo.FieldReadBlockBegin();
///     talo.FieldWriteD("Default", 0.0);                 value = talo.FieldReadD("Default", 0.0);
///     talo.FieldWriteBlockEnd();                        talo.FieldReadBlockEnd();
///     talo.FieldWriteEnd();                             talo.FieldReadEnd();
///     if (!talo.FileClose()) ...                    }
///                                                   if (!talo.FileClose()) ...
///
/// Opening checks the whole file, so that what is read afterwards is well-formed. Only an index of the fields
/// is kept (24 bytes a field, and the different names); values are decoded from the file when they are asked
/// for, through a window of at most a megabyte.
///
/// Errors are sticky: after the first one writing does nothing and reading finds nothing, so that it is
/// enough to look at the result of `FileClose`. Calls that make no sense where they stand (a value outside of
/// a field, an end without its beginning) are errors while writing, and find nothing while reading.
///
/// An object belongs to one thread and handles one file at a time.
class YBASELIB_EXPORT YTalo
{
  public:
    /// Version of the format that is written, and the newest that is read.
    static constexpr int FormatVersion = 2;
    /// Blocks within blocks. A walk by recursion goes as deep as this.
    static constexpr int MaximumDepth = 1024;
    /// Bytes of a name or of a string value.
    static constexpr int MaximumStringBytes = 65535;
    /// Values of one field.
    static constexpr int MaximumValueCount = 0x7FFFFFFF;

    /// What `GetError().GetLastErrorID()` tells apart.
    enum EErrorID : int
    {
        eErrorOpen,     ///< the file cannot be opened, or is a directory, a device or a pipe
        eErrorRead,     ///< the file could be opened but not read to its end, or changed meanwhile
        eErrorFormat,   ///< this is not a scene file, or a malformed one; `GetErrorLine` says where
        eErrorVersion,  ///< the file was written by a newer version
        eErrorLimit,    ///< more than one of the limits above, or than an index of the fields can hold
        eErrorMemory,   ///< memory ran out
        eErrorUsage,    ///< a call while writing that does not fit where it stands
        eErrorWrite     ///< the file could not be written
    };

    YTalo();

    /// Abandons a file that is being written: what stood there before stays.
    ~YTalo();

    YTalo(const YTalo&) = delete;
    YTalo& operator=(const YTalo&) = delete;

    /// \name Errors
    /// @{

    /// The first error since the file was opened or created. The text is for people, says what was expected
    /// and what was found, and names neither the file nor the place in it.
    const YError& GetError() const { return mError; }

    /// The line in which the error was found, counted from 1; 0 for errors that have no place in the file.
    std::int64_t GetErrorLine() const { return mErrorLine; }

    /// The byte in that line, counted from 1; 0 for errors that have no place in the file.
    std::int64_t GetErrorColumn() const { return mErrorColumn; }

    /// @}
    /// \name Writing
    /// All return false after an error, which may be an earlier one.
    /// @{

    /// Begins a file. It appears under its name, whole, when `FileClose` succeeds; until then what stood
    /// there stays (see `YFileWriter`). Whatever this object did before is abandoned.
    bool FileCreate(const char* path);

    /// Begins a file that goes to `output`, which has to live until `FileClose`.
    bool OutputCreate(YTaloOutput* output);

    /// Begins a field in the block that is open, or outside of all blocks.
    /// \param name  UTF-8 by convention, other bytes are kept; not null, at most `MaximumStringBytes`.
    bool FieldWriteBegin(const char* name);

    /// Adds a value to the field that was begun last. Values come before the field's block.
    bool FieldWriteI(int value);
    bool FieldWriteD(double value);
    bool FieldWriteF(float value);
    /// A double of which single precision is what counts: as few digits as read back as this float, once the
    /// double is rounded to one.
    bool FieldWriteShortD(float value);
    bool FieldWriteCH(char value);
    /// \param value  as a name; null is written as the empty string.
    bool FieldWriteS(const char* value);
    /// Times start a line of their own in the file when more values follow.
    bool FieldWriteT(YTime value);

    /// Begins the block of the field that was begun last. A field has one block at most.
    bool FieldWriteBlockBegin();
    bool FieldWriteBlockEnd();

    bool FieldWriteEnd();

    /// Writes a whole field of one value.
    bool FieldWriteI(const char* name, int value);
    bool FieldWriteD(const char* name, double value);
    bool FieldWriteF(const char* name, float value);
    bool FieldWriteShortD(const char* name, float value);
    bool FieldWriteCH(const char* name, char value);
    bool FieldWriteS(const char* name, const char* value);
    bool FieldWriteT(const char* name, YTime value);

    /// @}
    /// \name Reading
    /// @{

    /// Opens a regular file and checks it from its beginning to its end. Whatever this object did before is
    /// abandoned.
    /// \return  false for a file that cannot be read or is malformed.
    bool FileOpen(const char* path);

    /// As `FileOpen`, for the content of a file in memory, which is not copied and has to stay until
    /// `FileClose`.
    bool TextOpen(const char* text, std::size_t size);

    /// Enters the next field of this name in the block that is open, or outside of all blocks. The fields of
    /// one name are found in the order of the file, each once; other fields may stand anywhere between.
    /// \return  false when there is none left.
    bool FieldReadBegin(const char* name);

    /// The letter of the next value's type; '\0' when there is none left.
    char FieldReadGetType();

    /// How many values of the field are left.
    int FieldReadGetRemain();

    /// Reads the next value. Numbers of another type convert when the value fits: an integer to a double or
    /// float, a double or float with an integral value to an integer in range, a double to the nearest float
    /// unless that overflows. Any other value is passed over and gives 0, as does reading past the last one.
    int FieldReadI();
    double FieldReadD();
    float FieldReadF();
    char FieldReadCH();
    YTime FieldReadT();
    /// \return  never null; valid until the next string is read or the file closed.
    const char* FieldReadS();

    /// Reads the first value of the next field of this name.
    /// \return  `defaultValue` when there is no such field, or its first value does not convert.
    int FieldReadI(const char* name, int defaultValue);
    double FieldReadD(const char* name, double defaultValue);
    float FieldReadF(const char* name, float defaultValue);
    char FieldReadCH(const char* name, char defaultValue);
    YTime FieldReadT(const char* name, YTime defaultValue);
    const char* FieldReadS(const char* name, const char* defaultValue);

    /// Enters the block of the field. All its fields are unread again.
    /// \return  false when the field has no block.
    bool FieldReadBlockBegin();

    /// Leaves the block, with what is still open in it, for the values of its field.
    void FieldReadBlockEnd();

    /// Leaves the field, with its block if that is still open.
    void FieldReadEnd();

    /// Enters the next field of the block that no call has entered, whatever its name. For those who walk a
    /// file without knowing its fields.
    /// \return  its name, valid until the file is closed; null when there is none left.
    const char* FieldReadNext();

    /// @}
    /// \name What reading leaves out
    /// Whoever reads a file goes on past what it does not understand. What was passed over so would be gone
    /// if the file were written anew, so it is counted. Values of a wrong type are counted by the functions
    /// above; those who interpret them note the rest.
    /// @{

    enum ELeftOut : int
    {
        eLeftOutKeys,    ///< keys that could not be read, and keys out of order
        eLeftOutValues,  ///< values that are missing, of a wrong type, or mean nothing, and wrong counts
        eLeftOutFields,  ///< fields that no reader of their block knows
        eLeftOutEnd      ///< the file's own end: it was cut between two fields outside of all blocks
    };
    static constexpr int LeftOutKinds = eLeftOutEnd + 1;

    /// \return  how many of a kind have been left out of the file that was read last. Known after
    ///          `FileClose`.
    int GetLeftOutCount(ELeftOut what) const { return mLeftOut[what].count; }

    /// \return  the line of the first of them, counted from 1; 0 if there is none.
    std::int64_t GetLeftOutLine(ELeftOut what) const { return mLeftOut[what].line; }

    /// Whether the file that is read says that it ends with a mark, by which a cut is noticed. Files of older
    /// versions of this library have none.
    bool HasEndMark() const { return mHasEndMark; }

    /// Counts `count` more, in the line of the value that was read last, or of the field if none was read in
    /// it.
    void NoteLeftOut(ELeftOut what, int count = 1);

    /// Counts the fields of the block that is open, or outside of all, that no call has entered.
    void NoteUnreadFields();

    /// The line of the value that was read last, or of the field if none was read in it, for messages: takes
    /// as long as reading the file up to there. 0 when no file is open.
    std::int64_t FieldReadGetLine();

    /// @}

    /// Ends writing or reading.
    /// \return  for writing, whether the whole file is on the disk under its name; when it is not, what was
    ///          there before still is. For reading, false when an error has come up, or the file has been
    ///          changed, since it was opened: what was read may then not belong together.
    bool FileClose();

  private:
    template<class Result, class Act>
    Result Guard(Result refusal, Act act);
    template<class Act>
    bool Open(Act act);
    template<class... Arguments>
    bool Write(bool (ybase::TaloWriter::*act)(Arguments...), Arguments... arguments);
    template<class Value>
    Value Take(Value (ybase::TaloReader::*act)(bool&), Value otherwise);
    template<class Value>
    Value TakeNamed(Value (ybase::TaloReader::*act)(bool&), const char* name, Value otherwise);

    void Reset();
    void NoteError(int identifier, const char* text, std::int64_t line = 0, std::int64_t column = 0);

    friend class ybase::TaloReader;
    friend class ybase::TaloWriter;

    std::unique_ptr<ybase::TaloReader> mReader;
    std::unique_ptr<ybase::TaloWriter> mWriter;
    struct LeftOut
    {
        int count = 0;
        std::int64_t line = 0;
    };

    LeftOut mLeftOut[LeftOutKinds];
    bool mHasEndMark = false;
    YError mError;
    std::int64_t mErrorLine = 0;
    std::int64_t mErrorColumn = 0;
};
