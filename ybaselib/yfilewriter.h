#pragma once

#include <cstddef>
#include <memory>

#include "ybaselib/yexport.h"

/// \file
/// Files that appear whole or not at all.

/// Writes a file under another name beside its place, and puts it there in one move when it is complete and
/// on the disk. Opening the path finds the old file or the new one, also after a crash or a loss of
/// power, which can leave the other file (".ysave-...") behind but nothing else; `RemoveAbandoned` clears it
/// away.
///
/// The new file has the permissions, extended attributes and group of the one that it replaces and, as far as
/// the process may give it away, its owner. A symbolic link stays, and the file that it leads to is replaced.
/// Other hard links keep the old file. Only regular files are replaced, and only those that the process may
/// write.
///
/// After a failure the object does nothing more until the next `Open`, and nothing is left of what was
/// written.
class YBASELIB_EXPORT YFileWriter
{
  public:
    YFileWriter();

    /// Abandons what has not been committed.
    ~YFileWriter();

    YFileWriter(const YFileWriter&) = delete;
    YFileWriter& operator=(const YFileWriter&) = delete;

    /// Begins a file; abandons one that was begun before.
    /// \return  false when none can be made there.
    bool Open(const char* path);

    /// Adds bytes. They are gathered, so that small pieces cost little.
    bool Write(const char* bytes, std::size_t count);

    /// Puts the file in its place.
    /// \return  false when writing has failed, now or earlier; the old file is then as it was.
    bool Commit();

    /// Removes what was written since `Open`.
    void Abandon();

    /// The value of errno of the first failure since `Open`; 0 while there is none. A directory at the path
    /// is EISDIR, anything else there that is no regular file EINVAL.
    int GetErrorNumber() const { return mErrorNumber; }

  private:
    struct Pending;

    bool Fail(int errorNumber);

    std::unique_ptr<Pending> mPending;  // null when nothing is open
    int mErrorNumber = 0;
};
