#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// \file
/// Which files a batch goes through, and where they go to.

namespace program {

struct BatchTask
{
    std::string input;
    std::string output;
    std::string name;         ///< of the output below the folder of the batch: "day1/walk.bvh"
    std::uint64_t bytes = 0;  ///< of the input, for the progress
};

struct BatchInputs
{
    std::vector<BatchTask> tasks;      ///< sorted by their inputs
    std::vector<std::string> folders;  ///< among the inputs, that were passed over
    std::size_t skipped = 0;           ///< files that are no motion by their names
    /// Other names of files that are among the tasks, as by symbolic links, with the names that are there.
    std::vector<std::pair<std::string, std::string>> otherNames;
};

/// Part `index` of `count`, from 1: 2/8 is the second of eight machines.
struct Shard
{
    std::size_t index = 1;
    std::size_t count = 1;
};

/// Reads "2/8". Throws `Failure` for anything else.
Shard ParseShard(const std::string& text);

/// The motion files that the patterns (paths with *, ? and [...]) match, sorted and each once, and their
/// outputs in a folder. Outputs have the names of their inputs. Where two of these are equal, and with
/// `recursive`, they keep the folders below the deepest one that all inputs have in common. A name says that
/// a file is no motion by an ending that no format has; a file that is alone among the inputs is taken
/// whatever its name.
/// \param extension  that the outputs get instead of their inputs', without a point; empty to keep it.
/// \param recursive  goes through folders and what is below them, also by symbolic links, but for hidden files
///                   and the outputs themselves. A file that is found twice has the name that has no link.
/// Throws `Failure` for a pattern that matches nothing, where no file is left, for two inputs whose outputs
/// would have the same name, and where an output would replace one of the inputs.
BatchInputs FindTasks(const std::vector<std::string>& patterns, const std::string& folder,
                      const std::string& extension, bool recursive = false);

/// Every `count`-th task, so that shards take about equally long.
std::vector<BatchTask> TasksOf(const std::vector<BatchTask>& tasks, const Shard& shard);

/// Tasks as a file for the machines of a cluster, which then agree on them: a line of JSON for each.
void SaveTasks(const std::vector<BatchTask>& tasks, const std::string& path);
/// Reads them back, with outputs in a folder. Throws `Failure` for a file that is no such list.
std::vector<BatchTask> LoadTasks(const std::string& path, const std::string& folder);

}  // namespace program
