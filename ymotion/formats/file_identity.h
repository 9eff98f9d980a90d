#pragma once

#include <string>

#include "ymotion/text/note.h"

/// \file
/// Which paths lead to the same file, so that no command writes over what it reads.

namespace ymotion {

/// Whether two paths lead to one file, through links or under another name of it; a file that is yet to be
/// made included. "-" is what standard input comes from. Devices and pipes are never the same: both may be
/// written to.
bool IsSameFile(const std::string& one, const std::string& other);

/// Throws `Failure` where a table, picture or page would replace the file that a command reads.
void RefuseToReplaceInput(const std::string& input, const std::string& output);

/// Throws `Failure` where two inputs of a command are both standard input, of which the second would be
/// empty.
void RefuseSameStandardInput(const std::string& one, const std::string& other);

/// Throws `Failure` where two outputs of a command would go to one file.
void RefuseSameOutput(const std::string& one, const std::string& other);

/// Keeps other processes of this program from editing a file in place until the end of the block: from before
/// it is read until it is replaced. The lock is on the file itself, so that nothing is left behind by a
/// process that is killed. Waits for the others.
class EditLock
{
  public:
    /// Locks only where `output` is the file `input`, and a regular one. File systems without locks go
    /// without.
    /// \param waiting  is told before it waits.
    EditLock(const std::string& input, const std::string& output, const NoteTaker& waiting = {});
    ~EditLock();
    EditLock(const EditLock&) = delete;
    EditLock& operator=(const EditLock&) = delete;

  private:
    int mDescriptor = -1;
};

}  // namespace ymotion
