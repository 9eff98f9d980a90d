#include "program/batch/batch_inputs.h"

#include <glob.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <new>
#include <set>
#include <unordered_set>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "program/scene_work.h"
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

/// One name for a file, however it is written.
std::string Identity(const std::string& path)
{
    std::error_code error;
    const fs::path identity = fs::weakly_canonical(path, error);
    return error ? path : identity.string();
}

bool HasNameOfMotion(const fs::path& path)
{
    const std::string ending = EndingOf(EndingOf(path) == ".gz" ? path.stem() : path);
    return ending == ".bvh" || ending == ".ytalo" || ending == ".glb" || ending == ".gltf";
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
                AddFile(path, matches.size() == 1);
                ShareFolder(Absolute(path).parent_path());
            } else if (recursive) {
                AddBelow(path);
                ShareFolder(Absolute(path));
            } else {
                folders.push_back(path);
            }
        }
        if (files.empty()) Refuse();
    }

    std::set<std::string> files;
    std::vector<std::string> folders;
    std::size_t skipped = 0;
    fs::path common;  ///< the folder that all are below

  private:
    void AddFile(const std::string& path, bool whatever)
    {
        if (!whatever && !HasNameOfMotion(path)) {
            ++skipped;
        } else if (mIdentities.insert(Identity(path)).second) {
            files.insert(path);
        }
    }

    void AddBelow(const std::string& folder)
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
            throw Failure(
                fmt::format("no motion among the inputs ({} other {}); name files that end in .bvh, .ytalo, "
                            ".glb or .gltf",
                            skipped, skipped == 1 ? "file" : "files"));
        }
        throw Failure(fmt::format("{}: is a directory; name its files: '{}/*.bvh', or give --recursive",
                                  Printable(folders.front()),
                                  Printable(fs::path(folders.front()).lexically_normal().string())));
    }

    std::string mOutput;
    std::unordered_set<std::string> mIdentities;
};

bool HasEqualNames(const std::set<std::string>& files)
{
    std::unordered_set<std::string> names;
    return !std::all_of(files.begin(), files.end(), [&names](const std::string& file) {
        return names.insert(fs::path(file).filename().string()).second;
    });
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
    BatchInputs inputs{{}, std::move(found.folders), found.skipped};
    std::map<std::string, std::string> inputOf;
    std::unordered_set<std::string> identities;
    for (const std::string& input : found.files) {
        identities.insert(Identity(input));
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
        if (identities.contains(Identity(task.output))) {
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
        if (!json.is_object() || !json.contains("input") || !json.contains("name"))
            FailAt(path, line, "is no task of a batch; make the list anew with --make-list");
        const std::string name = PercentDecoded(json["name"].get<std::string>());
        tasks.push_back({PercentDecoded(json["input"].get<std::string>()), (fs::path(folder) / name).string(),
                         name, json.value("bytes", std::uint64_t{0})});
    }
    return tasks;
}

std::string PercentEncoded(std::string_view path)
{
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./,@";
    std::string text;
    for (const char c : path) {
        if (plain.find(c) != std::string_view::npos) {
            text += c;
        } else {
            text += fmt::format("%{:02X}", static_cast<unsigned char>(c));
        }
    }
    return text;
}

std::string PercentDecoded(std::string_view text)
{
    std::string path;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned byte = 0;
        const bool isCode = text[i] == '%' && i + 2 < text.size() &&
                            std::from_chars(&text[i + 1], &text[i + 1] + 2, byte, 16).ptr == &text[i + 1] + 2;
        path += isCode ? static_cast<char>(byte) : text[i];
        if (isCode) i += 2;
    }
    return path;
}

}  // namespace program
