#include "vxLocFile.h"

#include "detail/caseFolding.h"

#include "vxException.h"
#include "vxLocMessage.h"
#include "vxUnicode.h"

#include "platform/fileSystem.h"
#include "platform/files.h"
#include "platform/text.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>

namespace vx {

namespace {

// A line is read into a buffer of 1024 characters that keeps one for the terminating null, as
// the wide line reader of the C runtime fills it: longer lines arrive in pieces.
constexpr std::size_t kLineBufferSize = 1024;
constexpr std::size_t kLineChunk = kLineBufferSize - 1;

constexpr wchar_t kCommandMark[] = L";;cmd(";
constexpr wchar_t kIncludeMark[] = L"#include";
constexpr std::size_t kIncludeLength = 8;
constexpr wchar_t kAliasMark[] = L"$$";
constexpr wchar_t kCommandFieldSeparator[] = L":::";
constexpr wchar_t kReplaceVerb[] = L"replace";

bool isBlankOrTab(wchar_t c) {
    return c == L' ' || c == L'\t';
}

bool isLineEnd(wchar_t c) {
    return c == L'\r' || c == L'\n';
}

void trimTrailingBlanks(string& text) {
    std::size_t end = text.size();
    while (end > 0 && isBlankOrTab(text[end - 1]))
        --end;
    text.erase(end);
}

void trimLeadingBlanks(string& text) {
    std::size_t begin = 0;
    while (begin < text.size() && isBlankOrTab(text[begin]))
        ++begin;
    text.erase(0, begin);
}

// Leading blanks and tabs, then trailing CR and LF, then trailing blanks and tabs. The same rule
// serves lines of a file and ids asked for.
void trimLine(string& text) {
    trimLeadingBlanks(text);
    std::size_t end = text.size();
    while (end > 0 && isLineEnd(text[end - 1]))
        --end;
    text.erase(end);
    trimTrailingBlanks(text);
}

// The lines of a file as the line reader of the C runtime in text mode gives them, read block by
// block: a UTF-16LE or UTF-8 byte-order mark decides the encoding, and without one the bytes
// are text of the active code page; CR LF becomes LF. Each block is converted up to its last
// whole character, so the text is the same as that of the whole file converted at once, while
// only a block of bytes and a little more than a line of text are held. A read error ends the
// file as its end does.
class lineReader {
public:
    bool open(const string& path) { return !path.empty() && mHandle.open(path, platform::fileHandle::openRead); }

    // The next line, prepared: at most 1023 characters up to and including a line feed, cut at
    // a null character; then trimmed (trimLine), tabs made blanks. Empty lines are left out.
    // The backslash that continues a value is left to the caller. number is the line of the
    // file it comes from, counted from 1.
    bool next(string& line, std::size_t& number) {
        for (;;) {
            fill();
            if (mPos == mText.size())
                return false;
            const auto begin = mText.begin() + static_cast<std::ptrdiff_t>(mPos);
            const auto limit = mText.begin() + static_cast<std::ptrdiff_t>(std::min(mText.size(), mPos + kLineChunk));
            auto end = std::find(begin, limit, L'\n');
            if (end != limit)
                ++end;
            line.assign(begin, std::find(begin, end, L'\0'));
            number = mNumber;
            if (*(end - 1) == L'\n')
                ++mNumber;
            mPos = static_cast<std::size_t>(end - mText.begin());
            trimLine(line);
            line.replace(L'\t', L' ');
            if (!line.empty())
                return true;
        }
    }

    // The characters of the text read so far, after CR LF became LF.
    std::size_t characters() const { return mCharacters; }

private:
    enum encoding { codePage, utf8, utf16Le };
    static constexpr std::size_t kBlock = 65536;

    // Makes a whole line piece (and the character behind it) available, or reaches the end.
    void fill() {
        while (!mEnded && mText.size() - mPos <= kLineChunk) {
            mText.erase(0, mPos);
            mPos = 0;
            const std::size_t kept = mBytes.size();
            mBytes.resize(kept + kBlock);
            std::size_t got = 0;
            if (!mHandle.read(&mBytes[kept], kBlock, got))
                got = 0;
            mBytes.resize(kept + got);
            mEnded = got < kBlock;
            if (mFirst) {
                mFirst = false;
                skipByteOrderMark();
            }
            convert();
        }
    }

    void skipByteOrderMark() {
        std::size_t length = 0;
        const unicode::byteOrderMark mark =
            unicode::markAt(reinterpret_cast<const unsigned char*>(mBytes.data()), mBytes.size(), length);
        mEncoding = mark == unicode::byteOrderMark::utf16Le ? utf16Le
                    : mark == unicode::byteOrderMark::utf8  ? utf8
                                                            : codePage;
        mBytes.erase(0, length);
    }

    // Converts the bytes up to the last whole character (all of them at the end of the file),
    // and appends the text with CR LF made LF; a CR at the end waits for what follows it.
    void convert() {
        const auto* data = reinterpret_cast<const unsigned char*>(mBytes.data());
        std::size_t whole = mBytes.size();
        if (!mEnded)
            whole = mEncoding == utf16Le ? unicode::utf16LeWholePrefix(data, whole)
                    : mEncoding == utf8  ? unicode::utf8WholePrefix(mBytes.data(), whole)
                                         : platform::activeCodePageWholePrefix(mBytes.data(), whole);
        mWide.clear();
        if (mEncoding == utf16Le)
            unicode::appendFromUtf16Le(mWide, data, whole);
        else if (mEncoding == utf8)
            unicode::appendFromUtf8(mWide, mBytes.data(), whole);
        else
            platform::appendFromActiveCodePage(mWide, mBytes.data(), whole);
        mBytes.erase(0, whole);
        const std::size_t before = mText.size(), n = mWide.size();
        std::size_t from = 0;
        if (mHeldReturn && n > 0) {
            if (mWide[0] != L'\n')
                mText.push_back(L'\r');
            mHeldReturn = false;
        }
        while (from < n) {
            const std::size_t cr = mWide.find(L'\r', from);
            if (cr == std::wstring::npos) {
                mText.append(mWide, from, std::wstring::npos);
                break;
            }
            mText.append(mWide, from, cr - from);
            if (cr + 1 == n) {
                mHeldReturn = true;
                break;
            }
            if (mWide[cr + 1] != L'\n')
                mText.push_back(L'\r');
            from = cr + 1;
        }
        if (mEnded && mHeldReturn) {
            mText.push_back(L'\r');
            mHeldReturn = false;
        }
        mCharacters += mText.size() - before;
    }

    platform::fileHandle mHandle;
    std::string mBytes;  // read and not yet converted
    std::wstring mWide;  // the last block converted
    std::wstring mText;  // converted; lines are taken from mPos on
    std::size_t mPos = 0;
    std::size_t mNumber = 1;
    std::size_t mCharacters = 0;
    encoding mEncoding = codePage;
    bool mFirst = true;
    bool mEnded = false;
    bool mHeldReturn = false;
};

// The value part of a line: quoted, it loses its opening quote and ends at the last quote (the
// end of the line when there is none); otherwise it ends before the last ';', without trailing
// blanks.
string valuePart(const string& text) {
    if (!text.empty() && text[0] == L'"') {
        string value(text.substr(1));
        const std::size_t quote = value.rfind(L'"');
        if (quote != string::npos)
            value.erase(quote);
        return value;
    }
    string value(text.substr(0, text.rfind(L';')));
    trimTrailingBlanks(value);
    return value;
}

// Every two-character "\n" becomes a line feed; the search goes on behind the inserted one.
void insertLineFeeds(string& value) {
    for (std::size_t at = value.find(L"\\n"); at != string::npos; at = value.find(L"\\n", at + 1))
        value.replace(at, 2, 1, L'\n');
}

// How often string::replace finds pattern in text: the search goes on behind each find.
std::size_t occurrences(const string& text, const string& pattern) {
    std::size_t count = 0;
    for (std::size_t at = text.find(pattern); at != string::npos; at = text.find(pattern, at + pattern.size()))
        ++count;
    return count;
}

std::size_t totalLength(const std::map<string, string>& messages) {
    std::size_t total = 0;
    for (const auto& entry : messages)
        total += entry.second.size();
    return total;
}

// Whether a regular file of that name exists, and its modification time (0 when it does not).
bool fileTime(const file& f, std::int64_t& time) {
    platform::fileStatus status;
    if (f.fullName().empty() || !platform::statPath(f.fullName(), status) || status.isDirectory) {
        time = 0;
        return false;
    }
    time = status.modificationTime;
    return true;
}

} // namespace

locFile::locFile() = default;

locFile::locFile(const wchar_t* path) : file(string(path)) {}

locFile::locFile(const wchar_t* folderText, const wchar_t* name) : file(string(folderText), string(name)) {}

locFile::locFile(const file& f) : file(f) {}

locFile::locFile(const locFile& other) = default;

locFile::locFile(locFile&& other) noexcept
    : file(other),
      mIncludes(std::move(other.mIncludes)),
      mOverlay(other.mOverlay),
      mOverlayTime(other.mOverlayTime),
      mCommands(std::move(other.mCommands)),
      mCommandLines(std::move(other.mCommandLines)),
      mCharacters(other.mCharacters),
      mLoadError(std::move(other.mLoadError)),
      mMessages(std::move(other.mMessages)),
      mFileTime(other.mFileTime),
      mIncludedFrom(std::move(other.mIncludedFrom)) {}

locFile& locFile::operator=(const locFile& other) = default;

locFile& locFile::operator=(locFile&& other) noexcept {
    if (this != &other) {
        file::operator=(other);
        mIncludes = std::move(other.mIncludes);
        mOverlay = other.mOverlay;
        mOverlayTime = other.mOverlayTime;
        mCommands = std::move(other.mCommands);
        mCommandLines = std::move(other.mCommandLines);
        mCharacters = other.mCharacters;
        mLoadError = std::move(other.mLoadError);
        mMessages = std::move(other.mMessages);
        mFileTime = other.mFileTime;
        mIncludedFrom = std::move(other.mIncludedFrom);
    }
    return *this;
}

locFile& locFile::operator=(const file& f) {
    file::operator=(f);
    mIncludes.clear();
    mOverlayTime = 0;
    mCommands.clear();
    mCommandLines.clear();
    mCharacters = 0;
    mLoadError.clear();
    mMessages.clear();
    mFileTime = 0;
    mIncludedFrom.reset();
    return *this;
}

locFile::~locFile() = default;

void locFile::setOverlay(const file& overlay) {
    mOverlay = overlay;
    // Another overlay may carry the same time as the old one: only a new load is sure.
    mMessages.clear();
}

bool locFile::getMessage(const wchar_t* id, locMessage& msg) const {
    string key(id ? id : L"");
    trimLine(key);
    return lookup(std::move(key), msg);
}

bool locFile::isFresh() const {
    if (mMessages.empty())
        return false;
    std::int64_t time = 0;
    fileTime(*this, time);
    if (time != mFileTime)
        return false;
    std::int64_t overlayTime = 0;
    return fileTime(mOverlay, overlayTime) ? overlayTime == mOverlayTime : mOverlayTime == 0;
}

// One file of a chain of includes. The files included along a chain share their links, so a
// deep chain costs one link per file, not a copy of the chain per file.
struct locFile::includeLink {
    string name; // case-folded full name
    bool known = false;
    platform::entryIdentity id; // when known
    std::size_t depth = 1;      // files in the chain up to this one
    std::shared_ptr<const includeLink> parent;
};

// The files met in one scan of includes: by case-folded name, and by identity on disk, so that a
// file reached again through a link or through ".." counts as met.
struct locFile::includeScan {
    std::set<string> names;
    std::set<platform::entryIdentity> ids;

    // Notes a file; false when it was met before.
    bool meet(const string& fullName) {
        const bool newName = names.insert(detail::foldedCase(fullName)).second;
        platform::entryIdentity id;
        const bool newId = !platform::fileIdentity(fullName, id) || ids.insert(id).second;
        return newName && newId;
    }
};

bool locFile::reload() const {
    includeScan scan;
    for (const includeLink* link = mIncludedFrom.get(); link; link = link->parent.get()) {
        scan.names.insert(link->name);
        if (link->known)
            scan.ids.insert(link->id);
    }
    scan.meet(fullName());
    return load(scan, true);
}

bool locFile::lookup(string key, locMessage& msg) const {
    // Brought up to date once: each step along an alias chain is then a map lookup, so a chain
    // costs time in proportion to its length.
    if (!isFresh() && !reload())
        return false;
    // Followed in a loop, not by recursion: a long chain of aliases cannot exhaust the stack.
    std::set<string> visited;
    for (;;) {
        const auto found = mMessages.find(key);
        if (found == mMessages.end())
            break;
        const string& text = found->second;
        if (text.compare(0, 2, kAliasMark) != 0) {
            msg.setMessage(text.c_str());
            return true;
        }
        visited.insert(key);
        string target(text.substr(2));
        if (visited.count(target) != 0) {
            // A cycle: the alias text itself is the message.
            msg.setMessage(text.c_str());
            return true;
        }
        key = std::move(target);
    }
    for (const locFile& include : mIncludes)
        if (include.getMessage(key.c_str(), msg))
            return true;
    return false;
}

bool locFile::load(includeScan& scan, bool followIncludes) const {
    mLoadError.clear();
    try {
        if (loadContent(scan, followIncludes))
            return true;
        if (mLoadError.empty())
            return false;
    } catch (const outOfMemoryException&) {
        mLoadError = fullName() + L"(0): out of memory while loading";
    } catch (const std::bad_alloc&) {
        mLoadError = fullName() + L"(0): out of memory while loading";
    }
    // A failed load holds nothing, as a file that cannot be read.
    mIncludes.clear();
    mCommands.clear();
    mCommandLines.clear();
    mMessages.clear();
    return false;
}

bool locFile::loadContent(includeScan& scan, bool followIncludes) const {
    mIncludes.clear();
    mCommands.clear();
    mCommandLines.clear();
    mMessages.clear();
    mCharacters = 0;
    // Noted before reading, so that a change made while the file is read shows at the next
    // lookup.
    fileTime(*this, mFileTime);
    lineReader reader;
    const bool opened = reader.open(fullName());
    if (opened) {
        // One pass over the lines: the commands are collected (they apply once all entries are
        // read), the entries stored, the includes followed in their order.
        string line, key, value;
        std::size_t number = 0;
        bool pending = false; // a value that goes on in the next line
        std::shared_ptr<includeLink> link;
        const auto store = [this](const string& k, string v) {
            insertLineFeeds(v);
            mMessages.emplace(k, std::move(v)); // the first definition wins
        };
        while (reader.next(line, number)) {
            const std::size_t mark = line.find(kCommandMark);
            if (mark != string::npos) {
                string command(line.substr(mark + (sizeof kCommandMark / sizeof(wchar_t) - 1)));
                trimTrailingBlanks(command);
                if (!command.empty() && command.back() == L')')
                    command.pop_back();
                mCommands.push_back(std::move(command));
                mCommandLines.push_back(number);
            }
            if (followIncludes && line.find(kIncludeMark) != string::npos)
                followInclude(line, link, scan);

            const bool continued = line.back() == L'\\';
            if (continued)
                line.pop_back();
            if (pending) {
                value += valuePart(line);
            } else {
                const std::size_t blank = line.find(L' ');
                if (blank == string::npos)
                    continue;
                key = line.substr(0, blank);
                if (key.find(L';') != string::npos)
                    continue; // a comment
                string rest(line.substr(blank + 1));
                trimLeadingBlanks(rest);
                value = valuePart(rest);
            }
            if (value.size() > kMaxMessageLength) {
                mLoadError = fullName() + L"(" + std::to_wstring(number) + L"): the text of " + key +
                             L" would be longer than " + std::to_wstring(kMaxMessageLength) + L" characters";
                return false;
            }
            pending = continued;
            if (!pending)
                store(key, value);
        }
        if (pending)
            store(key, value);
        mCharacters = reader.characters();
    }

    if (!applyCommands(mMessages, kGrowthFactor * mCharacters + kGrowthAllowance))
        return false;

    if (fileTime(mOverlay, mOverlayTime)) {
        locFile overlay(mOverlay);
        includeScan none;
        overlay.load(none, false);
        if (!overlay.mLoadError.empty()) {
            mLoadError = overlay.mLoadError;
            return false;
        }
        for (auto& entry : overlay.mMessages)
            mMessages[entry.first] = std::move(entry.second);
        if (!overlay.applyCommands(mMessages, kGrowthFactor * (mCharacters + overlay.mCharacters) + kGrowthAllowance)) {
            mLoadError = overlay.mLoadError;
            return false;
        }
    }
    return opened;
}

bool locFile::applyCommands(std::map<string, string>& messages, std::size_t budget) const {
    std::size_t total = totalLength(messages);
    for (std::size_t i = 0; i < mCommands.size(); ++i) {
        std::vector<string> fields;
        mCommands[i].splitAt(kCommandFieldSeparator, fields);
        if (fields.size() < 3 || fields[0] != kReplaceVerb || fields[1].empty())
            continue;
        const string& from = fields[1];
        const string& to = fields[2];
        // The growth is counted before anything is replaced, so a command that would multiply
        // the texts stops before it takes the memory.
        std::size_t after = total;
        for (const auto& entry : messages) {
            const std::size_t found = occurrences(entry.second, from);
            after = after - found * from.size() + found * to.size();
            if (after > budget) {
                mLoadError = fullName() + L"(" + std::to_wstring(mCommandLines[i]) +
                             L"): the command would make the texts longer than " + std::to_wstring(budget) +
                             L" characters";
                return false;
            }
        }
        for (auto& entry : messages)
            entry.second.replace(from, to);
        total = after;
    }
    return true;
}

// The link of this file in the chain is made at its first include line and shared by all.
void locFile::followInclude(const string& line, std::shared_ptr<includeLink>& link, includeScan& scan) const {
    if (!link) {
        link = std::make_shared<includeLink>();
        link->depth = mIncludedFrom ? mIncludedFrom->depth + 1 : 1;
        link->name = detail::foldedCase(fullName());
        link->known = platform::fileIdentity(fullName(), link->id);
        link->parent = mIncludedFrom;
    }
    // Nested too deep: this file's includes are not followed.
    if (link->depth >= kMaxIncludeDepth)
        return;
    string name(line.substr(0, line.rfind(L';')));
    const std::size_t first = name.find_first_of(kIncludeMark);
    name.erase(0, first == string::npos ? name.size() : std::min(name.size(), first + kIncludeLength));
    trimLeadingBlanks(name);
    trimTrailingBlanks(name);
    if (name.empty())
        return;
    const file candidate(path(0), name);
    if (!candidate.exists() || !candidate.isReadable())
        return;
    // A file met before in this scan (by name, case ignored, or as the same file on disk) is
    // not included again, so every cycle ends and no file is read twice.
    if (!scan.meet(candidate.fullName()))
        return;
    locFile include(candidate);
    include.mIncludedFrom = link;
    include.load(scan, true);
    mIncludes.push_back(std::move(include));
}

void locFile::collectKeys(std::set<string>& out) const {
    if (!isFresh())
        reload();
    for (const auto& entry : mMessages)
        out.insert(entry.first);
    for (const locFile& include : mIncludes)
        include.collectKeys(out);
}

void locFile::keys(std::vector<string>& out) const {
    std::set<string> all;
    collectKeys(all);
    out.assign(all.begin(), all.end());
}

// Defined here as well, so that the library exports them: on Windows a caller that takes one by
// reference finds it in the DLL.
constexpr std::size_t locFile::kMaxIncludeDepth;
constexpr std::size_t locFile::kGrowthFactor;
constexpr std::size_t locFile::kGrowthAllowance;
constexpr std::size_t locFile::kMaxMessageLength;

} // namespace vx
