#pragma once

#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "program/batch/batch_inputs.h"

/// \file
/// What a folder of outputs was made of, so that a batch can go on where it stopped.

namespace program {

/// The record of a folder: a hidden file beside the outputs, written whole or not at all. Each shard writes
/// its own and reads all of them, so that machines share a folder and shards may be cut anew.
class BatchManifest
{
  public:
    /// Reads what is there. Records that cannot be read count as missing: their files are made again. Throws
    /// `Failure` where something else than a file has the name of one: a folder, a pipe, a device.
    BatchManifest(std::string folder, const Shard& shard);

    /// The path of the shard's own record.
    const std::string& Path() const { return mPath; }

    /// Whether an output is there as it was made, of the input as it is, with the same settings.
    bool IsUpToDate(const BatchTask& task, const std::string& settings) const;
    /// Notes an output that has just been made.
    void Add(const BatchTask& task, const std::string& settings);
    /// Throws `Failure` where it cannot be written.
    void Save() const;

  private:
    std::string mFolder;
    std::string mPath;
    nlohmann::json mOwn = nlohmann::json::object();             ///< record by name of the output
    std::map<std::string, std::vector<nlohmann::json>> mKnown;  ///< of all shards
};

}  // namespace program
