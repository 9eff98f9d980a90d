#include "program/batch/batch_records.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>

#include "program/scene_work.h"
#include "ybaselib/core/fnv1a.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/percent.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr std::string_view kFolder = ".yfcurve-batch";
constexpr std::string_view kPrefix = "records";
constexpr std::string_view kEnding = ".jsonl";
constexpr std::size_t kRoomForRecord = 4096;  // twice what records of figures have

Json JsonOf(const FileState& state)
{
    return Json::array({state.size, state.time});
}

FileState FileStateOf(const Json& json)
{
    return {json.at(0).get<std::int64_t>(), json.at(1).get<std::int64_t>()};
}

std::string EncodedPath(const std::string& path)
{
    std::error_code ignored;
    return PercentEncoded(fs::absolute(path, ignored).lexically_normal().string());
}

void CheckIsFile(const fs::path& path)
{
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status) || fs::is_regular_file(status)) return;
    throw Failure(fmt::format("{}: is {}, where records of the batch have to be; remove it",
                              Printable(path.string()), fs::is_directory(status) ? "a folder" : "no file"));
}

/// Opens records for adding to them, with a lock until they are closed where the file system has locks.
/// \return  -1 with errno where that fails.
int OpenLocked(const std::string& path)
{
    const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (file >= 0) flock(file, LOCK_EX);
    return file;
}

/// Adds to the end of a file at once.
/// \return  errno of a failure, 0 for none.
int Append(const std::string& path, const std::string& text)
{
    const int file = OpenLocked(path);
    if (file < 0) return errno;
    const ssize_t written = write(file, text.data(), text.size());
    int error = written < 0 ? errno : 0;
    // Of a write that was cut short, the system tells the reason only when more is written.
    if (written >= 0 && static_cast<std::size_t>(written) < text.size())
        error = write(file, "\n", 1) < 0 ? errno : ENOSPC;
    if (close(file) != 0 && error == 0) error = errno;
    return error;
}

bool EndsInsideLine(const std::string& path)
{
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file || file.tellg() == 0) return false;
    file.seekg(-1, std::ios::end);
    return file.get() != '\n';
}

/// What reports and records call the states, in the order of `BatchState`.
constexpr std::array<const char*, 6> kStateNames{"filtered", "nothing to do", "refused",
                                                 "failed",   "busy",          "not done"};

}  // namespace

const char* NameOf(BatchState state)
{
    return kStateNames.at(static_cast<std::size_t>(state));
}

BatchState StateIn(const Json& line)
{
    const auto name = std::find(kStateNames.begin(), kStateNames.end(), line.at("state").get<std::string>());
    if (name == kStateNames.end()) return BatchState::NotDone;
    return static_cast<BatchState>(name - kStateNames.begin());
}

void MakeFolder(const fs::path& folder)
{
    std::error_code error;
    if (!folder.empty()) fs::create_directories(folder, error);
    if (error) FailWithErrno(Printable(folder.string()), "cannot make the folder", error.value());
}

FileState StateOf(const std::string& path)
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return {};
    return {status.st_size, std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec};
}

std::string SettingsMark(const std::string& settings)
{
    return fmt::format("{:016x}", ybase::Fnv1a(settings));
}

BatchRecords::BatchRecords(const std::string& folder, const Shard& shard, const std::vector<BatchTask>& tasks)
    : mFolder(FolderOf(folder))
{
    for (const BatchTask& task : tasks) mNames.insert(PercentEncoded(task.name));
    std::string name(kPrefix);
    if (shard.count > 1) name += fmt::format("-{}-of-{}", shard.index, shard.count);
    mPath = (fs::path(mFolder) / name).string() + std::string(kEnding);
    MakeFolder(mFolder);
    CheckIsFile(mPath);
    mStartsNewLine = EndsInsideLine(mPath);
    Refresh();
}

BatchRecords::~BatchRecords()
{
    if (!mKeepsRoom) return;
    const int file = OpenLocked(mPath);
    if (file < 0) return;
    // Setting the size that the file has anyway gives back the room that was kept behind its end.
    struct stat status;
    if (fstat(file, &status) == 0) [[maybe_unused]]
        const int unneeded = ftruncate(file, status.st_size);
    close(file);
}

void BatchRecords::KeepRoom(std::size_t files)
{
    const int file = OpenLocked(mPath);
    if (file < 0) return;  // the first line will say why
    struct stat status;
    const auto bytes = static_cast<off_t>(files * kRoomForRecord);
    const bool isKept =
        fstat(file, &status) == 0 && fallocate(file, FALLOC_FL_KEEP_SIZE, status.st_size, bytes) == 0;
    const int error = isKept ? 0 : errno;
    close(file);
    // Where it does not fit, a part of it may have been taken.
    mKeepsRoom = isKept || error == ENOSPC || error == EDQUOT;
    if (mKeepsRoom && !isKept)
        FailWithErrno(Printable(mPath), fmt::format("cannot keep room for the records of {} files", files),
                      error);
}

std::string BatchRecords::FolderOf(const std::string& outputs)
{
    return (fs::path(outputs) / kFolder).string();
}

std::vector<std::string> BatchRecords::Refresh()
{
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator at(mFolder, error), end; !error && at != end; at.increment(error)) {
        const std::string found = at->path().filename().string();
        if (!found.starts_with(kPrefix) || at->path().extension() != kEnding) continue;
        CheckIsFile(at->path());
        ReadNew(at->path().string(), names);
    }
    return names;
}

void BatchRecords::ReadNew(const std::string& path, std::vector<std::string>& names)
{
    std::int64_t& offset = mRead[path];
    std::ifstream file(path, std::ios::binary);
    file.seekg(offset);
    for (std::string text; std::getline(file, text) && !file.eof();) {
        const std::size_t length = text.size();
        try {
            if (IsOfTasks(text)) {
                const Json line = Json::parse(text);
                Take(line, path, offset, length);
                names.push_back(PercentDecoded(line.at("name").get<std::string>()));
            }
        } catch (const Json::exception&) {
            // Cut off, or no record.
        }
        offset += static_cast<std::int64_t>(length) + 1;
    }
}

bool BatchRecords::IsOfTasks(std::string_view line) const
{
    // Parsing takes most of the time, and a shard of many needs few of the lines.
    constexpr std::string_view start = "{\"name\":\"";
    if (!line.starts_with(start)) return true;
    line.remove_prefix(start.size());
    return mNames.contains(std::string(line.substr(0, line.find('"'))));
}

void BatchRecords::Take(const Json& line, const std::string& source, std::int64_t offset, std::size_t length)
{
    Record record{line.at("input"),
                  FileStateOf(line.at("inputState")),
                  FileStateOf(line.at("outputState")),
                  line.at("settings"),
                  IsDone(StateIn(line)),
                  line.at("run").at("finished"),
                  source,
                  offset,
                  length};
    std::vector<Record>& records = mRecords[line.at("name")];
    const auto old = std::find_if(records.begin(), records.end(),
                                  [&source](const Record& each) { return each.source == source; });
    if (old == records.end()) {
        records.push_back(std::move(record));
    } else {
        *old = std::move(record);
    }
}

const BatchRecords::Record* BatchRecords::Find(const BatchTask& task, const std::string& settings) const
{
    const auto known = mRecords.find(PercentEncoded(task.name));
    if (known == mRecords.end()) return nullptr;
    const std::string input = EncodedPath(task.input);
    const FileState inputState = program::StateOf(task.input);
    const FileState outputState = program::StateOf(task.output);
    const Record* found = nullptr;
    for (const Record& record : known->second) {
        if (record.settings != settings || record.input != input || record.inputState != inputState) continue;
        if (record.isDone && record.outputState != outputState) continue;
        const bool isBetter = found == nullptr || (record.isDone && !found->isDone) ||
                              (record.isDone == found->isDone && record.finished > found->finished);
        if (isBetter) found = &record;
    }
    return found;
}

Json BatchRecords::LineOf(const BatchTask& task, const Record& record) const
{
    if (record.source.empty()) return Json::parse(mLines.at(PercentEncoded(task.name)));
    std::ifstream file(record.source, std::ios::binary);
    file.seekg(record.offset);
    std::string text(record.length, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    Json line = Json::parse(text, nullptr, false);
    return line.is_object() ? line : Json(nullptr);
}

void BatchRecords::Add(const Json& line)
{
    const std::string text = line.dump(-1, ' ', false, Json::error_handler_t::replace);
    const int error = Append(mPath, (mStartsNewLine ? "\n" : "") + text + "\n");
    mStartsNewLine = error != 0;
    if (error == 0) {
        std::vector<std::string> names;
        ReadNew(mPath, names);
        return;
    }
    try {
        FailWithErrno(Printable(mPath), "cannot write", error);
    } catch (const Failure& failure) {
        mUnsaved = failure.what();
    }
    mLines[line.at("name")] = text;
    Take(line, {}, 0, 0);
}

Json RecordLine(const BatchTask& task, const FileState& input, const std::string& settings, BatchState state,
                const std::string& message, Json report, const std::vector<std::string>& notes)
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    Json run{{"finished", std::chrono::duration_cast<std::chrono::milliseconds>(now).count()},
             {"host", Printable(host)}};
    // Times are kept apart from what is the same on every machine.
    if (report.is_object() && report.contains("milliseconds")) {
        run["milliseconds"] = report["milliseconds"];
        report.erase("milliseconds");
        for (Json& step : report["filters"]) step.erase("milliseconds");
    }
    return {{"name", PercentEncoded(task.name)},
            {"input", EncodedPath(task.input)},
            {"inputState", JsonOf(input)},
            {"outputState", JsonOf(StateOf(task.output))},
            {"settings", settings},
            {"state", NameOf(state)},
            {"message", message},
            {"notes", notes},
            {"report", std::move(report)},
            {"run", std::move(run)}};
}

}  // namespace program
