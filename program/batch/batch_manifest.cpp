#include "program/batch/batch_manifest.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include <fmt/format.h>

#include "program/scene_work.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

constexpr std::string_view kPrefix = ".yfcurve-batch";

/// What tells a file from a later one of the same name: its size and when it was changed, in nanoseconds.
/// Null for one that is not there.
Json StateOf(const std::string& path)
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return nullptr;
    const auto time = std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
    return Json::array({status.st_size, time});
}

Json RecordOf(const BatchTask& task, const std::string& settings)
{
    std::error_code ignored;
    Json record;
    record["input"] = fs::absolute(task.input, ignored).lexically_normal().string();
    record["inputState"] = StateOf(task.input);
    record["outputState"] = StateOf(task.output);
    record["settings"] = settings;
    return record;
}

std::string NameOf(const BatchTask& task)
{
    return fs::path(task.output).filename().string();
}

void CheckIsFile(const fs::path& path)
{
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status) || fs::is_regular_file(status)) return;
    throw Failure(fmt::format("{}: is {}, where the record of the batch has to be; remove it",
                              Printable(path.string()), fs::is_directory(status) ? "a folder" : "no file"));
}

Json ReadRecords(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    Json json = Json::parse(file, nullptr, false);
    return json.is_object() ? json : Json::object();
}

}  // namespace

BatchManifest::BatchManifest(std::string folder, const Shard& shard) : mFolder(std::move(folder))
{
    std::string name(kPrefix);
    if (shard.count > 1) name += fmt::format("-{}-of-{}", shard.index, shard.count);
    mPath = (fs::path(mFolder) / (name + ".json")).string();
    std::error_code error;
    for (fs::directory_iterator at(mFolder, error), end; !error && at != end; at.increment(error)) {
        const std::string found = at->path().filename().string();
        if (!found.starts_with(kPrefix) || at->path().extension() != ".json") continue;
        CheckIsFile(at->path());
        Json records = ReadRecords(at->path());
        for (const auto& [output, record] : records.items()) mKnown[output].push_back(record);
        if (found == name + ".json") mOwn = std::move(records);
    }
}

bool BatchManifest::IsUpToDate(const BatchTask& task, const std::string& settings) const
{
    const auto known = mKnown.find(NameOf(task));
    if (known == mKnown.end()) return false;
    const Json record = RecordOf(task, settings);
    if (record["inputState"].is_null() || record["outputState"].is_null()) return false;
    return std::find(known->second.begin(), known->second.end(), record) != known->second.end();
}

void BatchManifest::Add(const BatchTask& task, const std::string& settings)
{
    mOwn[NameOf(task)] = RecordOf(task, settings);
}

void BatchManifest::Save() const
{
    SaveText(mPath, mOwn.dump(1, ' ', false, Json::error_handler_t::replace) + "\n");
}

}  // namespace program
