#include "vxDirectory.h"

#include "detail/caseFolding.h"
#include "detail/decimal.h"
#include "detail/wildcard.h"

#include "vxEnvironment.h"

#include "platform/directories.h"
#include "platform/fileSystem.h"
#include "platform/paths.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>

namespace vx {

namespace {

// The directory bit of the find attributes; a fileIterator adds it to its mask.
constexpr int kDirectoryAttribute = 0x10;

// remove and clear leave read-only, hidden and system entries alone; isEmpty and listAllFiles
// pass over hidden and system ones.
constexpr int kKeepMask = DI_RDONLY | DI_HIDDEN | DI_SYSTEM;
constexpr int kHiddenSystemMask = DI_HIDDEN | DI_SYSTEM;

// generateRandomDirectory gives up after this many names in use.
constexpr long kMaxNamesTried = 1L << 20;

const wchar_t kEveryName[] = L"*.*";

// --- filters -----------------------------------------------------------------------------------------

bool wildcardMatch(const string& pattern, std::size_t patternEnd, const string& name, std::size_t nameEnd) {
    return detail::wildcardMatch(pattern.data(), patternEnd, name.data(), nameEnd);
}

// The find functions' matching; see directoryIterator in the header for the rules.
// The pattern is folded already.
bool filterMatches(const string& pattern, const string& rawName) {
    if (pattern.empty())
        return false;
    const string name = detail::foldedCase(rawName);
    if (wildcardMatch(pattern, pattern.size(), name, name.size()))
        return true;

    // A tail of '.' and nothing but '*' may also match the end of the name: "*.*", "x.*".
    std::size_t stars = pattern.size();
    while (stars > 0 && pattern[stars - 1] == L'*')
        --stars;
    if (stars < pattern.size() && stars > 0 && pattern[stars - 1] == L'.')
        return wildcardMatch(pattern, stars - 1, name, name.size());

    // A trailing '.' matches where the name ends without a further dot: a '*' right before it
    // takes no dot, so "*." matches the names without a dot.
    if (pattern.back() == L'.') {
        const std::size_t stem = pattern.size() - 1;
        if (stem > 0 && pattern[stem - 1] == L'*') {
            // The name splits into what the pattern before that '*' matches and a rest without a dot.
            const std::size_t lastDot = name.rfind(L'.');
            for (std::size_t cut = lastDot == string::npos ? 0 : lastDot + 1; cut <= name.size(); ++cut)
                if (wildcardMatch(pattern, stem - 1, name, cut))
                    return true;
            return false;
        }
        return wildcardMatch(pattern, stem, name, name.size());
    }
    return false;
}

// The text of an entry's name below a base that ends in '\'. The name is put together as text and
// not normalised again: a native name may hold '%', which normalising would take for a variable.
fsEntryName childName(const string& baseText, const string& entry) {
    fsEntryName name;
    name.assignText(baseText + entry);
    return name;
}

// --- temporary directories -------------------------------------------------------------------------

// The overriding directory and the directories of single threads. One lock guards both, so
// threads may set and read them at the same time.
struct temporaryDirectories {
    std::mutex lock;
    directory override;
    std::map<unsigned long, directory> threads;
};

temporaryDirectories& temporaries() {
    // Never destroyed: threads may ask for their directory while the process ends.
    static temporaryDirectories* instance = new temporaryDirectories;
    return *instance;
}

// A directory from a name in Windows form that the platform gave, normalised already.
directory fromWindowsForm(const std::wstring& text) {
    fsEntryName name;
    name.assignText(text);
    return directory(name);
}

directory knownFolderDirectory(int csidl, const wchar_t* subFolder, bool create) {
    std::wstring folder;
    if (!platform::knownFolder(csidl, folder) || folder.empty())
        return directory(string(L"c:\\"));
    directory result = fromWindowsForm(folder);
    if (subFolder && *subFolder)
        result = directory(result, string(subFolder));
    if (create)
        result.create(false);
    return result;
}

void listInto(const directory& dir, const fsEntryName& root, std::vector<string>& out, bool recursive,
              const string& filter, int mask) {
    for (fileIterator it(dir, filter, mask); !it.fullName().empty(); it.next())
        out.push_back(it.relativeNameTo(root));
    if (!recursive)
        return;
    for (directoryIterator it(dir, kEveryName, kHiddenSystemMask); !it.fullName().empty(); it.next())
        if (!(it.attributes() & DI_LINK))
            listInto(it, root, out, true, filter, mask);
}

} // namespace

// One search of a directory: the listing and the pattern its entries must match.
struct directorySearch {
    platform::directoryListing listing;
    string pattern; // lower case
    bool everything = false;
    int attributes = 0;

    // The search text is base plus filter; what stands before its last delimiter is the
    // directory searched, the rest the pattern. Null when there is nothing to search.
    static directorySearch* open(const string& base, const string& filter) {
        if (base.empty() || filter.empty())
            return nullptr;
        const string text = base + filter;
        const std::size_t delimiter = text.find_last_of(L"\\/");
        if (delimiter == string::npos || delimiter + 1 == text.size())
            return nullptr;
        auto* search = new directorySearch;
        search->pattern = detail::foldedCase(text.substr(delimiter + 1));
        search->everything = search->pattern.find_first_not_of(L"*") == string::npos || search->pattern == L"*.*";
        if (!search->listing.open(text.substr(0, delimiter + 1))) {
            delete search;
            return nullptr;
        }
        return search;
    }

    // The next entry that matches the pattern and has no attribute of mask; false at the end.
    // Names are tested first, so an entry that cannot count is never examined.
    bool next(int mask, bool wantDirectory, string& name) {
        using listing_t = platform::directoryListing;
        // What the listing knows already passes over the entries of the other kind unexamined.
        const listing_t::entryKind otherKind = wantDirectory ? listing_t::kindOther : listing_t::kindDirectory;
        listing_t::entryKind kind;
        std::wstring found;
        while (listing.next(found, kind)) {
            if (kind == otherKind)
                continue;
            if (wantDirectory && (found == L"." || found == L".."))
                continue;
            if (!everything && !filterMatches(pattern, found))
                continue;
            std::uint32_t examined = 0;
            if (!listing.examine(examined))
                continue;
            const int bits = static_cast<int>(examined);
            if ((bits & mask) != 0 || (wantDirectory && !(bits & kDirectoryAttribute)))
                continue;
            attributes = bits;
            name = found;
            return true;
        }
        return false;
    }
};

// --- directory -------------------------------------------------------------------------------------

directory::directory() : fsEntry(fsEntryName(), string(), true) {}

directory::directory(const string& text) : fsEntry(fsEntryName(text), string(), true) {}

directory::directory(const string& directoryText, const string& name) : fsEntry(directoryText, name, true) {}

directory::directory(const directory& base, const string& name) : directory(base.fullName(), name) {}

directory::directory(const fsEntryName& name, const string& extra) : fsEntry(name, extra, true) {}

directory::directory(const directory& other) = default;

directory& directory::operator=(const directory& other) = default;

directory::~directory() = default;

directory& directory::operator=(const fsEntryName& name) {
    fsEntry::operator=(name);
    return *this;
}

bool directory::create(bool recursive) const {
    if (mName.empty())
        return false;
    if (exists())
        return true;
    // The parent's text is normalised already; normalising it again would expand a '%' pair.
    fsEntryName parentName;
    parentName.assignText(mName.path(0));
    const directory parent(parentName);
    // At a root the parent is the directory itself; a parent that is no shorter would never end.
    if (parent == *this || parent.fullName().size() >= fullName().size())
        return false;
    if (!recursive || parent.exists() || parent.create(true))
        return platform::createDirectory(fullName());
    return false;
}

bool directory::remove(bool recursive) const {
    if (mName.empty())
        return false;
    if (recursive) {
        for (directoryIterator it(*this, kEveryName, kKeepMask); !it.fullName().empty(); it.next()) {
            // Never through a link: the link goes, what it points to stays.
            if (it.attributes() & DI_LINK)
                platform::removeDirectory(it.fullName());
            else
                it.remove(true);
        }
    }
    for (fileIterator it(*this, kEveryName, kKeepMask); !it.fullName().empty(); it.next())
        it.remove();
    return platform::removeDirectory(fullName());
}

bool directory::clear(bool recursive) const {
    if (recursive) {
        for (directoryIterator it(*this, kEveryName, kKeepMask); !it.fullName().empty(); it.next())
            if (!(it.attributes() & DI_LINK))
                it.clear(true);
    }
    for (fileIterator it(*this, kEveryName, kKeepMask); !it.fullName().empty(); it.next())
        it.remove();
    return true;
}

bool directory::rename(const string& newName) {
    if (mName.empty())
        return false;
    // The target is normalised first, so the name this object takes is the one renamed to.
    fsEntryName target;
    target.setName(mName.path(0) + newName, true);
    if (target.empty() || !platform::renamePath(fullName(), target.text()))
        return false;
    mName = target;
    return true;
}

bool directory::isEmpty() const {
    return directoryIterator(*this, kEveryName, kHiddenSystemMask).fullName().empty() &&
           fileIterator(*this, kEveryName, kHiddenSystemMask).fullName().empty();
}

bool directory::isRoot() const {
    string text = fullName();
    while (!text.empty() && text.back() == L'\\')
        text.pop_back();
    return !text.empty() && text.find(L'\\', 2) == string::npos;
}

bool directory::isCurrent() const {
    return *this == directory(string(L"."));
}

bool directory::makeCurrent() const {
    if (mName.empty() || fullName().size() < 2 || !exists())
        return false;
    // The drive must be known; the change of drive and directory is then one step, so a failure
    // leaves both as they were.
    const wchar_t letter = mName.driveLetter();
    if (letter != L' ' && !platform::driveExists(letter))
        return false;
    return platform::changeCurrentDirectory(fullName());
}

unsigned long directory::numberOfFiles(const wchar_t* filter, int mask) const {
    unsigned long count = 0;
    for (fileIterator it = fileIt(filter, mask); !it.fullName().empty(); it.next())
        ++count;
    return count;
}

bool directory::containsReadOnlyFiles(bool recursive) const {
    if (recursive) {
        for (directoryIterator it(*this, kEveryName, 0); !it.fullName().empty(); it.next())
            if (!(it.attributes() & DI_LINK) && it.containsReadOnlyFiles(true))
                return true;
    }
    for (fileIterator it(*this, kEveryName, 0); !it.fullName().empty(); it.next())
        if (!it.check(file::accessWrite))
            return true;
    return false;
}

void directory::listAllFiles(std::vector<string>& out, bool recursive, const wchar_t* filter, int mask) const {
    listInto(*this, mName, out, recursive, filter ? string(filter) : string(), mask);
}

directoryIterator directory::dirIt(const wchar_t* filter, int mask) const {
    return directoryIterator(*this, filter, mask);
}

fileIterator directory::fileIt(const wchar_t* filter, int mask) const {
    return fileIterator(*this, filter ? string(filter) : string(), mask);
}

bool directory::getDiskSpace(eDSType type, eDSBaseSize base, unsigned long* value) const {
    std::uint64_t freeToCaller = 0, total = 0, totalFree = 0;
    if (!value || mName.empty() || !platform::diskSpace(fullName(), freeToCaller, total, totalFree))
        return false;
    std::uint64_t bytes;
    switch (type) {
    case dsFreeToCaller: bytes = freeToCaller; break;
    case dsTotal: bytes = total; break;
    case dsTotalFree: bytes = totalFree; break;
    default: *value = 0; return true;
    }
    switch (base) {
    case dsBytes: break;
    case dsKilo: bytes >>= 10; break;
    case dsMega: bytes >>= 20; break;
    case dsGiga: bytes >>= 30; break;
    default: *value = 0; return true;
    }
    *value = bytes > 0xFFFFFFFFu ? 0xFFFFFFFFul : static_cast<unsigned long>(bytes);
    return true;
}

bool directory::operator==(const directory& other) const {
    if (fullName().empty() && other.fullName().empty())
        return false;
    return detail::equalIgnoringCase(fullName(), other.fullName());
}

directory directory::allUserAppdataDir(const wchar_t* subFolder, bool create) {
    return knownFolderDirectory(platform::csidlCommonAppData, subFolder, create);
}

directory directory::userAppdataDir(const wchar_t* subFolder, bool create) {
    return knownFolderDirectory(platform::csidlAppData, subFolder, create);
}

directory directory::userLocalAppdataDir(const wchar_t* subFolder, bool create) {
    return knownFolderDirectory(platform::csidlLocalAppData, subFolder, create);
}

directory directory::commonDocumentsDir(bool create) {
    return knownFolderDirectory(platform::csidlCommonDocuments, nullptr, create);
}

directory directory::desktopDir(bool create) {
    return knownFolderDirectory(platform::csidlDesktop, nullptr, create);
}

directory directory::userDocumentsDir(bool create) {
    return knownFolderDirectory(platform::csidlPersonal, nullptr, create);
}

directory directory::userHomeDir() {
    return knownFolderDirectory(platform::csidlPersonal, nullptr, false);
}

directory directory::systemTempDir() {
    directory override;
    {
        temporaryDirectories& state = temporaries();
        std::lock_guard<std::mutex> guard(state.lock);
        const auto own = state.threads.find(getCurrentThreadId());
        if (own != state.threads.end())
            return own->second;
        override = state.override;
    }
    if (!override.fullName().empty() && override.exists())
        return override;
    // A variable that is set but gives no name counts as unset.
    for (const wchar_t* variable : {L"TMP", L"TEMP"}) {
        string value;
        if (getEnvironmentVariable(variable, value)) {
            const directory fromVariable(value);
            if (!fromVariable.fullName().empty())
                return fromVariable;
        }
    }
    std::wstring system;
    if (platform::systemTemporaryDirectory(system))
        return fromWindowsForm(system);
    return directory(string(L"."));
}

void directory::overwriteSystemTempDir(const directory& dir) {
    if (dir.fullName().empty() || !dir.exists())
        return;
    temporaryDirectories& state = temporaries();
    std::lock_guard<std::mutex> guard(state.lock);
    state.override = dir;
}

void directory::setThreadTempDir(unsigned long threadId, const directory& dir) {
    temporaryDirectories& state = temporaries();
    std::lock_guard<std::mutex> guard(state.lock);
    const auto entry = state.threads.find(threadId);
    if (entry != state.threads.end()) {
        if (dir.fullName().empty())
            state.threads.erase(entry);
        else
            entry->second = dir;
    } else if (!dir.fullName().empty()) {
        state.threads.emplace(threadId, dir);
    }
}

directory directory::generateRandomDirectory(const directory& base) {
    const directory parent = base.fullName().empty() ? systemTempDir() : base;
    if (parent.fullName().empty())
        return directory();
    parent.create(true);
    long long counter =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
    for (long tried = 0; tried < kMaxNamesTried; ++tried, ++counter) {
        const directory candidate(childName(parent.fullName(), detail::decimal(counter)));
        if (candidate.exists())
            continue;
        // Creation is exclusive: a name another thread or process took meanwhile is passed by.
        if (platform::createDirectory(candidate.fullName()) || !candidate.exists())
            return candidate;
    }
    return directory();
}

// --- entryWalk ---------------------------------------------------------------------------------------

namespace detail {

entryWalk::entryWalk(const string& base, const string& filter, int mask)
    : mBase(base), mpSearch(directorySearch::open(base, filter)), mMask(mask) {}

entryWalk::entryWalk(entryWalk&& other) noexcept
    : mBase(std::move(other.mBase)), mpSearch(other.mpSearch), mMask(other.mMask) {
    other.mpSearch = nullptr;
}

entryWalk& entryWalk::operator=(entryWalk&& other) noexcept {
    if (this != &other) {
        delete mpSearch;
        mBase = std::move(other.mBase);
        mpSearch = other.mpSearch;
        mMask = other.mMask;
        other.mpSearch = nullptr;
    }
    return *this;
}

entryWalk::~entryWalk() {
    delete mpSearch;
}

fsEntryName entryWalk::next(bool wantDirectory) {
    string entry;
    if (mpSearch && mpSearch->next(mMask, wantDirectory, entry))
        return childName(mBase, entry);
    // Exhausted: the search is closed at once rather than with the iterator.
    delete mpSearch;
    mpSearch = nullptr;
    return fsEntryName();
}

int entryWalk::attributes() const {
    return mpSearch ? mpSearch->attributes : 0;
}

} // namespace detail

// --- directoryIterator -----------------------------------------------------------------------------

directoryIterator::directoryIterator(const directory& base, const wchar_t* filter, int mask)
    : directory(), mWalk(base.fullName(), filter ? string(filter) : string(), mask) {
    next();
}

directoryIterator::directoryIterator(directoryIterator&& other) noexcept
    : directory(static_cast<const directory&>(other)), mWalk(std::move(other.mWalk)) {
    other.mName = fsEntryName();
}

directoryIterator& directoryIterator::operator=(directoryIterator&& other) noexcept {
    if (this != &other) {
        directory::operator=(static_cast<const directory&>(other));
        mWalk = std::move(other.mWalk);
        other.mName = fsEntryName();
    }
    return *this;
}

directoryIterator::~directoryIterator() = default;

void directoryIterator::next() {
    fsEntry::operator=(mWalk.next(true));
}

directoryIterator& directoryIterator::operator++() {
    next();
    return *this;
}

void directoryIterator::operator++(int) {
    next();
}

int directoryIterator::attributes() const {
    return mName.empty() ? 0 : mWalk.attributes();
}

// --- fileIterator ----------------------------------------------------------------------------------

// Directories are never reported, whatever the mask says.
fileIterator::fileIterator(const directory& base, const string& filter, int mask)
    : file(), mWalk(base.fullName(), filter, mask | kDirectoryAttribute) {
    next();
}

fileIterator::fileIterator(fileIterator&& other) noexcept
    : file(static_cast<const file&>(other)), mWalk(std::move(other.mWalk)) {
    other.mName = fsEntryName();
}

fileIterator& fileIterator::operator=(fileIterator&& other) noexcept {
    if (this != &other) {
        file::operator=(static_cast<const file&>(other));
        mWalk = std::move(other.mWalk);
        other.mName = fsEntryName();
    }
    return *this;
}

fileIterator::~fileIterator() = default;

void fileIterator::next() {
    fsEntry::operator=(mWalk.next(false));
}

fileIterator& fileIterator::operator++() {
    next();
    return *this;
}

void fileIterator::operator++(int) {
    next();
}

int fileIterator::attributes() const {
    return mName.empty() ? 0 : mWalk.attributes();
}

// --- recursiveFileIterator -------------------------------------------------------------------------

recursiveFileIterator::recursiveFileIterator(const directory& base, const string& fileFilter, int fileMask,
                                             const string& dirFilter, int dirMask)
    : mpDirs(new directoryIterator(base, dirFilter.c_str(), dirMask)), mDirFilter(dirFilter), mDirMask(dirMask),
      mFileFilter(fileFilter), mFileMask(fileMask) {
    settle();
}

recursiveFileIterator::recursiveFileIterator(recursiveFileIterator&& other) noexcept = default;

recursiveFileIterator& recursiveFileIterator::operator=(recursiveFileIterator&& other) noexcept = default;

recursiveFileIterator::~recursiveFileIterator() = default;

void recursiveFileIterator::settle() {
    for (; !mpDirs->fullName().empty(); mpDirs->next()) {
        // A link to a directory is not entered, so a link back up cannot make the walk endless.
        if (mpDirs->attributes() & DI_LINK)
            continue;
        std::unique_ptr<recursiveFileIterator> child(
            new recursiveFileIterator(*mpDirs, mFileFilter, mFileMask, mDirFilter, mDirMask));
        if (!child->finished()) {
            mpChild = std::move(child);
            return;
        }
    }
    // The directory's own files come after everything below it.
    fsEntryName base;
    base.assignText(mpDirs->mWalk.base());
    mpDirs.reset();
    mpFiles.reset(new fileIterator(directory(base), mFileFilter, mFileMask));
    if (mpFiles->fullName().empty())
        mpFiles.reset();
}

recursiveFileIterator::operator const file&() const {
    static const file none;
    for (const recursiveFileIterator* level = this; level; level = level->mpChild.get())
        if (!level->mpChild)
            return level->mpFiles ? static_cast<const file&>(*level->mpFiles) : none;
    return none;
}

void recursiveFileIterator::next() {
    if (mpChild) {
        mpChild->next();
        if (mpChild->finished()) {
            mpChild.reset();
            mpDirs->next();
            settle();
        }
    } else if (mpFiles) {
        mpFiles->next();
        if (mpFiles->fullName().empty())
            mpFiles.reset();
    }
}

recursiveFileIterator& recursiveFileIterator::operator++() {
    next();
    return *this;
}

void recursiveFileIterator::operator++(int) {
    next();
}

} // namespace vx
