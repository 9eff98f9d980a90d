#include "program/batch/batch_inputs.h"

#include <glob.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <iterator>
#include <map>
#include <new>
#include <set>

#include <fmt/format.h>

#include "ymotion/formats/file_io.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> Matches(const std::string& pattern)
{
    // A name that has signs of patterns in it is a name first.
    std::error_code ignored;
    if (fs::exists(pattern, ignored)) return {pattern};
    glob_t found = {};
    const int result = glob(pattern.c_str(), GLOB_BRACE | GLOB_TILDE, nullptr, &found);
    std::vector<std::string> paths(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    globfree(&found);
    if (result == GLOB_NOSPACE) throw std::bad_alloc();
    if (paths.empty()) {
        throw Failure(fmt::format("{}: no such file; put patterns between quotes: 'captures/*.bvh'",
                                  Printable(pattern)));
    }
    return paths;
}

/// Takes the folders out of the inputs.
std::vector<std::string> TakeFolders(std::set<std::string>& inputs)
{
    std::vector<std::string> folders;
    std::error_code ignored;
    std::copy_if(inputs.begin(), inputs.end(), std::back_inserter(folders),
                 [&](const std::string& path) { return fs::is_directory(path, ignored); });
    for (const std::string& folder : folders) inputs.erase(folder);
    if (!inputs.empty() || folders.empty()) return folders;
    throw Failure(fmt::format("{}: is a directory; name its files: '{}/*.bvh'", Printable(folders.front()),
                              Printable(fs::path(folders.front()).lexically_normal().string())));
}

/// One name for a file, however it is written.
std::string Identity(const std::string& path)
{
    std::error_code error;
    const fs::path identity = fs::weakly_canonical(path, error);
    return error ? path : identity.string();
}

bool ParsePart(std::string_view text, std::size_t& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

Shard ParseShard(const std::string& text)
{
    Shard shard;
    const std::size_t slash = text.find('/');
    if (slash != std::string::npos && ParsePart(std::string_view(text).substr(0, slash), shard.index) &&
        ParsePart(std::string_view(text).substr(slash + 1), shard.count) && shard.index >= 1 &&
        shard.index <= shard.count) {
        return shard;
    }
    throw Failure(fmt::format("--shard: {} is no part of a whole; write I/N, from 1/N to N/N", Quoted(text)),
                  kExitUsage);
}

std::vector<BatchTask> FindTasks(const std::vector<std::string>& patterns, const std::string& folder,
                                 const std::string& extension, std::vector<std::string>& subfolders)
{
    std::set<std::string> inputs;
    for (const std::string& pattern : patterns) {
        for (const std::string& path : Matches(pattern)) inputs.insert(path);
    }
    subfolders = TakeFolders(inputs);
    std::vector<BatchTask> tasks;
    std::map<std::string, std::string> inputOf;
    std::set<std::string> identities;
    for (const std::string& input : inputs) {
        if (!identities.insert(Identity(input)).second) continue;
        fs::path name = fs::path(input).filename();
        if (!extension.empty() && EndingOf(name) == ".gz") name.replace_extension();
        if (!extension.empty()) name.replace_extension(extension);
        const auto [other, isNew] = inputOf.emplace(name.string(), input);
        if (!isNew) {
            throw Failure(fmt::format(
                "{} and {} would both become {}; give them different names, or filter them "
                "into different folders",
                Printable(other->second), Printable(input), Printable((fs::path(folder) / name).string())));
        }
        tasks.push_back({input, (fs::path(folder) / name).string()});
    }
    for (const BatchTask& task : tasks) {
        if (identities.contains(Identity(task.output))) {
            throw Failure(
                fmt::format("{}: the output would replace an input; choose another folder for --out",
                            Printable(task.output)));
        }
    }
    return tasks;
}

std::vector<BatchTask> TasksOf(const std::vector<BatchTask>& tasks, const Shard& shard)
{
    std::vector<BatchTask> part;
    for (std::size_t i = shard.index - 1; i < tasks.size(); i += shard.count) part.push_back(tasks[i]);
    return part;
}

}  // namespace program
