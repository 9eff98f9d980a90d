#include "program/batch/batch_inputs.h"

#include <glob.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <new>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "program/scene_work.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_name.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/percent.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> Matches(const std::string& pattern)
{
    // Where there is a file whose very name looks like a pattern, that file is meant.
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

/// One name for a file, however it is written.
std::string Identity(const std::string& path)
{
    std::error_code error;
    const fs::path identity = fs::weakly_canonical(path, error);
    return error ? path : identity.string();
}

fs::path Absolute(const std::string& path)
{
    fs::path whole = fs::absolute(path).lexically_normal();
    return whole.has_filename() ? whole : whole.parent_path();
}

fs::path CommonFolder(const fs::path& one, const fs::path& other)
{
    fs::path common;
    for (auto a = one.begin(), b = other.begin(); a != one.end() && b != other.end() && *a == *b; ++a, ++b)
        common /= *a;
    return common;
}

/// The files below the patterns.
class Gathering
{
  public:
    Gathering(const std::vector<std::string>& patterns, const std::string& output, bool recursive)
        : mOutput(Identity(output))
    {
        std::set<std::string> matches;
        for (const std::string& pattern : patterns) {
            for (std::string& path : Matches(pattern)) matches.insert(std::move(path));
        }
        std::error_code ignored;
        for (const std::string& path : matches) {
            if (!fs::is_directory(path, ignored)) {
                if (AddFile(path, matches.size() == 1)) ShareFolder(Absolute(path).parent_path());
            } else if (recursive) {
                AddWithLinks(path);
                ShareFolder(Absolute(path));
            } else {
                folders.push_back(path);
            }
        }
        if (files.empty()) Refuse();
    }

    std::set<std::string> files;
    std::vector<std::string> folders;
    std::unordered_map<std::string, std::string> identities;  ///< of the files, which they lead to
    std::vector<std::pair<std::string, std::string>> otherNames;
    std::size_t skipped = 0;
    fs::path common;  ///< the folder that all are below

  private:
    /// \return  whether it is one of the files, and was not before.
    bool AddFile(const std::string& path, bool whatever)
    {
        if (!whatever && !HasNameOfScene(path)) {
            ++skipped;
            return false;
        }
        const auto [same, isNew] = identities.emplace(Identity(path), path);
        if (isNew) return files.insert(path).second;
        if (Absolute(same->second) != Absolute(path)) otherNames.emplace_back(path, same->second);
        return false;
    }

    void AddWithLinks(const std::string& folder)
    {
        // Links come last and in order, so that names depend neither on them nor on the order in the folder.
        std::set<std::string> links;
        AddBelow(folder, links);
        while (!links.empty()) {
            const std::string link = links.extract(links.begin()).value();
            if (mLinked.insert(Identity(link)).second) AddBelow(link, links);
        }
    }

    /// \param links  takes symbolic links to folders, which may lead in a circle
    void AddBelow(const std::string& folder, std::set<std::string>& links)
    {
        std::error_code error;
        fs::recursive_directory_iterator at(folder, error);
        for (; !error && at != fs::recursive_directory_iterator(); at.increment(error)) {
            const std::string path = at->path().string();
            std::error_code ignored;
            const bool isFolder = at->is_directory(ignored);
            if (at->path().filename().string().front() == '.' || (isFolder && Identity(path) == mOutput)) {
                if (isFolder) at.disable_recursion_pending();
            } else if (!isFolder) {
                AddFile(path, false);
            } else if (at->is_symlink(ignored)) {
                links.insert(path);
            }
        }
        if (error) FailWithErrno(folder, "cannot go through the folder", error.value());
    }

    void ShareFolder(const fs::path& folder)
    {
        common = common.empty() ? folder : CommonFolder(common, folder);
    }

    [[noreturn]] void Refuse() const
    {
        if (folders.empty() || skipped > 0) {
            throw Failure(fmt::format("no motion among the inputs ({}); name files that end in {}",
                                      Counted(skipped, "other file"), KnownExtensions()));
        }
        throw Failure(fmt::format("{}: is a directory; name its files: '{}/*.bvh', or give --recursive",
                                  Printable(folders.front()),
                                  Printable(fs::path(folders.front()).lexically_normal().string())));
    }

    std::string mOutput;
    std::unordered_set<std::string> mLinked;  ///< folders that links have led to
};

bool HasEqualNames(const std::set<std::string>& files)
{
    std::unordered_set<std::string> names;
    return !std::all_of(files.begin(), files.end(), [&names](const std::string& file) {
        return names.insert(fs::path(file).filename().string()).second;
    });
}

/// A member of a task; empty where there is none.
std::string TextOf(const nlohmann::json& task, const char* member)
{
    const bool isThere = task.is_object() && task.contains(member) && task[member].is_string();
    return isThere ? task[member].get<std::string>() : std::string();
}

bool StaysBelow(const fs::path& name)
{
    const fs::path normal = name.lexically_normal();
    return normal.has_filename() && normal != "." && normal.is_relative() && *normal.begin() != "..";
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

BatchInputs FindTasks(const std::vector<std::string>& patterns, const std::string& folder,
                      const std::string& extension, bool recursive)
{
    Gathering found(patterns, folder, recursive);
    const bool keepsFolders = recursive || HasEqualNames(found.files);
    BatchInputs inputs{{}, std::move(found.folders), found.skipped, std::move(found.otherNames)};
    std::map<std::string, std::string> inputOf;
    for (const std::string& input : found.files) {
        fs::path name =
            keepsFolders ? Absolute(input).lexically_relative(found.common) : fs::path(input).filename();
        if (!extension.empty() && EndingOf(name) == ".gz") name.replace_extension();
        if (!extension.empty()) name.replace_extension(extension);
        const auto [other, isNew] = inputOf.emplace(name.string(), input);
        if (!isNew) {
            throw Failure(fmt::format(
                "{} and {} would both become {}; give them different names, or filter them "
                "into different folders",
                Printable(other->second), Printable(input), Printable((fs::path(folder) / name).string())));
        }
        std::error_code error;
        const std::uintmax_t bytes = fs::file_size(input, error);
        inputs.tasks.push_back({input, (fs::path(folder) / name).string(), name.string(), error ? 0 : bytes});
    }
    for (const BatchTask& task : inputs.tasks) {
        if (found.identities.contains(Identity(task.output))) {
            throw Failure(
                fmt::format("{}: the output would replace an input; choose another folder for --out",
                            Printable(task.output)));
        }
    }
    return inputs;
}

std::vector<BatchTask> TasksOf(const std::vector<BatchTask>& tasks, const Shard& shard)
{
    std::vector<BatchTask> part;
    for (std::size_t i = shard.index - 1; i < tasks.size(); i += shard.count) part.push_back(tasks[i]);
    return part;
}

void SaveTasks(const std::vector<BatchTask>& tasks, const std::string& path)
{
    OutputFile file(path);
    for (const BatchTask& task : tasks) {
        const nlohmann::ordered_json line{{"input", PercentEncoded(task.input)},
                                          {"name", PercentEncoded(task.name)},
                                          {"bytes", task.bytes}};
        file.Write(line.dump() + "\n");
    }
    file.Commit();
}

std::vector<BatchTask> LoadTasks(const std::string& path, const std::string& folder)
{
    const FileBytes file = ReadFile(path);
    std::string_view rest = file.View();
    std::vector<BatchTask> tasks;
    for (std::int64_t line = 1; !rest.empty(); ++line) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        const auto json = nlohmann::json::parse(rest.substr(0, end), nullptr, false);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const std::string name = PercentDecoded(TextOf(json, "name"));
        const std::string input = PercentDecoded(TextOf(json, "input"));
        const bool hasBytes =
            json.is_object() && json.contains("bytes") && json["bytes"].is_number_unsigned();
        if (input.empty() || !StaysBelow(name))
            FailAt(path, line, "is no task of a batch; make the list anew with --make-list");
        tasks.push_back({input, (fs::path(folder) / name).string(), name,
                         hasBytes ? json["bytes"].get<std::uint64_t>() : 0});
    }
    return tasks;
}

}  // namespace program
