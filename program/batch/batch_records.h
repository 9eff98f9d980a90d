#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <nlohmann/json.hpp>

#include "program/batch/batch_inputs.h"

/// \file
/// What came of each file of a batch, so that it can go on where it stopped, and reports can be made on any
/// machine.

namespace program {

/// Size and time of change, in nanoseconds, which tell a file from a later one of the same name. Both are -1
/// for one that is not there.
struct FileState
{
    std::int64_t size = -1;
    std::int64_t time = -1;

    bool operator==(const FileState&) const = default;
};

FileState StateOf(const std::string& path);

/// What came of a file. Reports and records have the names: "filtered", "nothing to do", "refused", "failed",
/// "busy", "not done".
enum class BatchState
{
    Filtered,
    NothingToDo,
    Refused,
    Failed,
    Busy,
    NotDone
};

/// Whether the output was made.
constexpr bool IsDone(BatchState state)
{
    return state == BatchState::Filtered || state == BatchState::NothingToDo;
}
const char* NameOf(BatchState state);
/// The state that a line tells; `NotDone` for a name that is none.
BatchState StateIn(const nlohmann::ordered_json& line);

/// Makes a folder, and those that it is in, where they are not there. Throws `Failure`.
void MakeFolder(const std::filesystem::path& folder);

/// A short text that stands for all that an output depends on besides its input.
std::string SettingsMark(const std::string& settings);

/// The records beside the outputs of a batch: files of lines of JSON, to which a line is added for each file
/// that is done. A line that was cut off by a kill or a full disk is passed over, and its file is made again.
/// Each shard adds to a file of its own, so that machines share the folder.
class BatchRecords
{
  public:
    /// Where one line is.
    struct Record
    {
        std::string input;  ///< absolute, percent-encoded
        FileState inputState;
        FileState outputState;
        std::string settings;
        bool isDone = false;        ///< the output was made
        std::int64_t finished = 0;  ///< milliseconds since 1970
        std::string source;         ///< the file, empty for a line that could not be written
        std::int64_t offset = 0;
        std::size_t length = 0;
    };

    /// \param shard  adds to records of its own, and reads those of all
    /// \param tasks  that records are read of; those of other files are passed over
    /// Throws `Failure` where something else than a file has the name of one: a folder, a pipe, a device.
    BatchRecords(const std::string& folder, const Shard& shard, const std::vector<BatchTask>& tasks);

    ~BatchRecords();
    BatchRecords(const BatchRecords&) = delete;
    BatchRecords& operator=(const BatchRecords&) = delete;

    /// The hidden folder beside the outputs.
    static std::string FolderOf(const std::string& outputs);

    /// The path of the shard's own records.
    const std::string& Path() const { return mPath; }

    /// Reads lines that have been added since the last time.
    /// \return  the names of their outputs.
    std::vector<std::string> Refresh();

    /// The record of what a task has come to with its input as it is: that of the output if that is as it was
    /// made, or else the latest of a failure; null without one.
    const Record* Find(const BatchTask& task, const std::string& settings) const;
    /// The line of a record; null where it can no longer be read.
    nlohmann::ordered_json LineOf(const BatchTask& task, const Record& record) const;

    /// Keeps room on the disk for the lines of so many files until the records end, so that outputs that fill
    /// the disk can still be told of. Throws `Failure` where there is no such room; file systems that cannot
    /// keep any go without.
    void KeepRoom(std::size_t files);
    /// Adds a line, and keeps what cannot be written for reports of this process.
    void Add(const nlohmann::ordered_json& line);
    /// Why lines could not be written; empty when all were.
    const std::string& Unsaved() const { return mUnsaved; }

  private:
    void Take(const nlohmann::ordered_json& line, const std::string& source, std::int64_t offset,
              std::size_t length);
    bool IsOfTasks(std::string_view line) const;
    void ReadNew(const std::string& path, std::vector<std::string>& names);

    std::string mFolder;
    std::string mPath;
    std::unordered_set<std::string> mNames;  ///< of the tasks, encoded
    bool mStartsNewLine = false;             ///< the last line may have been cut off
    bool mKeepsRoom = false;
    std::string mUnsaved;
    std::unordered_map<std::string, std::vector<Record>> mRecords;  ///< by encoded name, one for each source
    std::unordered_map<std::string, std::string> mLines;  ///< that could not be written, by encoded name
    std::unordered_map<std::string, std::int64_t> mRead;  ///< bytes of each source so far
};

/// A line for `BatchRecords`, with the output as it is now.
/// \param input  the state of the input before it was read: one that is written to meanwhile counts as another
/// \param notes  what there is to know of the file
nlohmann::ordered_json RecordLine(const BatchTask& task, const FileState& input, const std::string& settings,
                                  BatchState state, const std::string& message, nlohmann::ordered_json report,
                                  const std::vector<std::string>& notes);

}  // namespace program
