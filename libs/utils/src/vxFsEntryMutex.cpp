#include "vxFsEntryMutex.h"

#include "vxEnvironment.h"
#include "vxException.h"
#include "vxMutex.h"
#include "detail/mutexHold.h"
#include "platform/fileSystem.h"

#include <chrono>

namespace vx {

namespace {

constexpr wchar_t kSuffix[] = L"$$lock$$";
constexpr std::size_t kNameLimit = 256 - 8;
// How often tryLock looks again while another holder's lock file is there.
constexpr unsigned int kPollMs = 20;

} // namespace

constexpr unsigned int fsEntryMutex::infinite;

struct fsEntryMutex::record {
    mutex guard;
    directory lockDirectory;
    string lockName;
    // Whether the lock counts as held, and whether this object made the lock file.
    enum { none, assumed, made } handle = none;

    file lockFile() const { return file(lockDirectory, lockName); }
    void target(const directory& folder, const string& name) {
        lockDirectory = folder;
        lockName = string(name.substr(0, kNameLimit)) + kSuffix;
    }
    // The bool false for an object without a target.
    void needTarget() const {
        if (lockName.empty())
            throw false;
    }
};

fsEntryMutex::fsEntryMutex() : mp(new record) {}

// Delegating: when setFsEntry throws, the destructor frees the record.
fsEntryMutex::fsEntryMutex(const file& target) : fsEntryMutex() {
    setFsEntry(target);
}

// Delegating: when setFsEntry throws, the destructor frees the record.
fsEntryMutex::fsEntryMutex(const directory& target) : fsEntryMutex() {
    setFsEntry(target);
}

fsEntryMutex::~fsEntryMutex() {
    if (mp->handle != record::none) {
        try {
            release();
        } catch (...) {
            // A destructor reports nothing; the lock file stays, as after a crash.
        }
    }
    delete mp;
}

void fsEntryMutex::setFsEntry(const file& target) {
    const detail::mutexHold lock(mp->guard);
    if (mp->handle != record::none)
        release();
    if (!target.exists())
        throw unexpectedErrorException(L"mutex on a not-existing file is not possible!");
    mp->target(directory(target.path(0)), target.name(0));
}

void fsEntryMutex::setFsEntry(const directory& target) {
    const detail::mutexHold lock(mp->guard);
    if (mp->handle != record::none)
        release();
    if (!target.exists())
        throw unexpectedErrorException(L"mutex on a not-existing directory is not possible!");
    // The directory's own name: its text without the trailing delimiter, taken apart as a file's.
    string text = target.fullName();
    while (text.size() > 1 && (text.back() == L'\\' || text.back() == L'/'))
        text.pop_back();
    fsEntryName name;
    name.assignText(text);
    mp->target(target, name.name(0));
}

bool fsEntryMutex::lock() {
    const detail::mutexHold lock(mp->guard);
    mp->needTarget();
    // Made or not, the lock counts as held: see the header.
    if (platform::createLockFile(mp->lockFile().fullName()) == 0)
        mp->handle = record::made;
    else if (mp->handle == record::none)
        mp->handle = record::assumed;
    return true;
}

bool fsEntryMutex::lock(unsigned int) {
    return lock();
}

bool fsEntryMutex::tryLock(unsigned int timeoutMs) {
    const auto start = std::chrono::steady_clock::now();
    for (;;) {
        {
            const detail::mutexHold lock(mp->guard);
            mp->needTarget();
            if (mp->handle == record::made)
                return true;
            const string path = mp->lockFile().fullName();
            const int error = platform::createLockFile(path);
            if (error == 0) {
                mp->handle = record::made;
                return true;
            }
            if (error != platform::kLockFileExists)
                throw unexpectedErrorException(L"Error creating lockfile %s (%d)!", path.c_str(), error);
        }
        // The guard is not held while waiting, so another thread may release meanwhile.
        const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(
                                std::chrono::steady_clock::now() - start)
                                .count();
        if (timeoutMs != infinite && waited >= static_cast<long long>(timeoutMs)) {
            // A lock() before may have counted another holder's file as held: this answer says
            // the object does not hold it, so neither release nor the destructor may remove it.
            const detail::mutexHold lock(mp->guard);
            if (mp->handle == record::assumed)
                mp->handle = record::none;
            return false;
        }
        const long long left = timeoutMs == infinite ? kPollMs : static_cast<long long>(timeoutMs) - waited;
        sleep(static_cast<unsigned int>(left < kPollMs ? left : kPollMs));
    }
}

void fsEntryMutex::release() {
    const detail::mutexHold lock(mp->guard);
    mp->needTarget();
    mp->handle = record::none;
    const file lockFile = mp->lockFile();
    // The lock file is read-only; its own mutex may take that away to remove it.
    lockFile.allowWrite(true);
    if (!lockFile.remove() && lockFile.exists()) {
        lockFile.allowWrite(false);
        throw unexpectedErrorException(L"Error removing lockfile %s!", lockFile.fullName().c_str());
    }
}

string fsEntryMutex::lockFileName() const {
    const detail::mutexHold lock(mp->guard);
    return mp->lockName.empty() ? string() : mp->lockFile().fullName();
}

bool fsEntryMutex::isHeld() const {
    const detail::mutexHold lock(mp->guard);
    return mp->handle != record::none;
}

} // namespace vx
