#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// \file
/// Which files a batch goes through, and where they go to.

namespace program {

struct BatchTask
{
    std::string input;
    std::string output;
};

/// Part `index` of `count`, from 1: 2/8 is the second of eight machines.
struct Shard
{
    std::size_t index = 1;
    std::size_t count = 1;
};

/// Reads "2/8". Throws `Failure` for anything else.
Shard ParseShard(const std::string& text);

/// The files that the patterns (paths with *, ? and [...]) match, sorted and each once, and the files of the
/// same names in a folder.
/// \param extension  that the outputs get instead of their inputs', without a point; empty to keep it.
/// \param subfolders  gets the folders among the matches, which are passed over.
/// Throws `Failure` for a pattern that matches nothing, where there are folders alone, for two inputs whose
/// outputs would have the same name, and where an output would replace one of the inputs.
std::vector<BatchTask> FindTasks(const std::vector<std::string>& patterns, const std::string& folder,
                                 const std::string& extension, std::vector<std::string>& subfolders);

/// Every `count`-th task, so that shards take about equally long.
std::vector<BatchTask> TasksOf(const std::vector<BatchTask>& tasks, const Shard& shard);

}  // namespace program
