// The file-system mutex: a lock file beside a file or directory, meant to keep processes apart.
//
// The lock file of "C:\a\b.txt" is "C:\a\b.txt$$lock$$"; the lock file of the directory "C:\a\"
// lies in that directory and is "C:\a\a$$lock$$". A name of more than 248 characters is cut to
// its first 248 before the suffix. The lock file is made read-only (and hidden where the system
// has that attribute).
//
// What lock() means for a caller: it does NOT wait for another holder. It tries to make the lock
// file and answers true whether it made it or found it there already (or could not make it at
// all), and either way the object then counts as holding the lock, so release() (and the
// destructor) removes the lock file, even one another process made. That is how applications
// built on it have always behaved, and it stays so. A caller who needs real exclusion uses
// tryLock(), which waits while another holder's lock file exists and never removes a lock file
// it did not make.
//
// A stale lock file (left by a process that crashed) stays until somebody removes it: nothing
// looks at its age.
#pragma once

#include "vxDirectory.h"
#include "vxExport.h"
#include "vxFile.h"

namespace vx {

class VX_API fsEntryMutex {
public:
    // Passed to tryLock, waits without end.
    static constexpr unsigned int infinite = 0xFFFFFFFFu;

    // An empty mutex with no target: lock and release throw the bool false, which the library's
    // exception handlers let pass.
    fsEntryMutex();
    // As setFsEntry.
    explicit fsEntryMutex(const file& target);
    explicit fsEntryMutex(const directory& target);
    // Releases a lock it holds; a failing removal is not reported from here.
    ~fsEntryMutex();
    fsEntryMutex(const fsEntryMutex&) = delete;
    fsEntryMutex& operator=(const fsEntryMutex&) = delete;

    // Releases a held lock first. The target must exist, else unexpectedErrorException with
    // "mutex on a not-existing file is not possible!" (or "... directory ...").
    void setFsEntry(const file& target);
    void setFsEntry(const directory& target);

    // Makes the lock file if it can and answers true in every case (see above). The timeout of
    // the second form is therefore never reached.
    bool lock();
    bool lock(unsigned int timeout);

    // Closes and removes the lock file (its read-only attribute is taken away first). A lock
    // file that stays throws unexpectedErrorException "Error removing lockfile <path>!"; one
    // that is already gone is no error.
    void release();

    // The careful lock: true once this object has made the lock file itself (at once when it
    // already holds one it made); false when another holder's lock file was still there after
    // timeoutMs milliseconds (0 tries once, infinite waits without end). It never removes a lock
    // file it did not make: after false the object does not hold the lock (even after a lock()
    // that counted another's file as held), so its destructor leaves the file alone; do not call
    // release(), which removes whatever lock file is there. A lock file that cannot be made
    // for another reason (a missing folder, no right to write there) throws
    // unexpectedErrorException "Error creating lockfile <path> (<system error>)!".
    bool tryLock(unsigned int timeoutMs);

    // The lock file's full name; empty without a target.
    string lockFileName() const;
    // Whether the object counts as holding the lock (after lock(), or a successful tryLock()).
    bool isHeld() const;

private:
    struct record;
    record* mp;
};

} // namespace vx
