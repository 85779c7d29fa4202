#include "vxFile.h"

#include "vxCrc32.h"
#include "vxDirectory.h"
#include "vxEnvironment.h"
#include "vxVersion.h"

#include "platform/vxPlatform.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <new>

namespace vx {

namespace {

// The mode bits of _wcreat and _wchmod: read 0x100, write 0x80.
constexpr int kModeShift = 6;
constexpr int kWriteModeBit = 0x80;

// appendTo moves items of 2 bytes, 1024 of them at a time.
constexpr std::size_t kAppendItemSize = 2;
constexpr std::size_t kAppendBlockItems = 1024;

// getCrc32 reads 512 KiB at a time.
constexpr std::size_t kCrcBlockSize = 524288;

// generateRandomFile gives up after this many free names that could not be created (the
// directory is missing or may not be written), or after this many names tried in all.
constexpr int kMaxFailedCreations = 16;
constexpr long kMaxNamesTried = 1L << 20;

// Version numbers are padded to at most this many digits.
constexpr unsigned kMaxVersionWidth = 32;

// --- CRC-32, sixteen bytes per step --------------------------------------------------------------
// Slicing by 16 gives the same values as the byte-wise table update, several times faster: table
// k holds the effect of a byte followed by k zero bytes, so sixteen lookups that do not depend on
// each other replace sixteen dependent steps.

constexpr std::size_t kSlices = 16;
using sliceTables = std::array<std::array<std::uint32_t, 256>, kSlices>;

constexpr sliceTables makeSliceTables() {
    sliceTables tables{};
    for (std::size_t i = 0; i < 256; ++i)
        tables[0][i] = detail::crc32Table[i];
    for (std::size_t k = 1; k < kSlices; ++k)
        for (std::size_t i = 0; i < 256; ++i)
            tables[k][i] = (tables[k - 1][i] >> 8) ^ tables[0][tables[k - 1][i] & 0xFF];
    return tables;
}

constexpr sliceTables kSliceTables = makeSliceTables();

inline std::uint32_t loadLittleEndian32(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

// The four lookups of one 32-bit word whose first byte stands `first` bytes before the end of
// the step.
inline std::uint32_t sliceWord(std::uint32_t word, std::size_t first) {
    return kSliceTables[first][word & 0xFF] ^ kSliceTables[first - 1][(word >> 8) & 0xFF] ^
           kSliceTables[first - 2][(word >> 16) & 0xFF] ^ kSliceTables[first - 3][word >> 24];
}

std::uint32_t crc32Sliced(std::uint32_t running, const unsigned char* p, std::size_t size) {
    for (; size >= kSlices; p += kSlices, size -= kSlices) {
        running = sliceWord(loadLittleEndian32(p) ^ running, 15) ^ sliceWord(loadLittleEndian32(p + 4), 11) ^
                  sliceWord(loadLittleEndian32(p + 8), 7) ^ sliceWord(loadLittleEndian32(p + 12), 3);
    }
    return detail::crc32Update(running, p, size);
}

// The CRC of a file; false when it cannot be opened (or the buffer cannot be had).
bool crc32OfFile(const string& path, std::uint32_t& crc) {
    platform::fileHandle handle;
    std::unique_ptr<unsigned char[]> buffer(new (std::nothrow) unsigned char[kCrcBlockSize]);
    if (!buffer || !handle.open(path, platform::fileHandle::openRead))
        return false;
    std::uint32_t running = 0xFFFFFFFFu;
    for (;;) {
        std::size_t got = 0;
        // A failing read ends the file as its end does.
        if (!handle.read(buffer.get(), kCrcBlockSize, got) || got == 0)
            break;
        running = crc32Sliced(running, buffer.get(), got);
        if (got < kCrcBlockSize)
            break;
    }
    crc = ~running;
    return true;
}

string decimal(unsigned long long value) {
    wchar_t digits[24];
    wchar_t* p = digits + 24;
    *--p = 0;
    do {
        *--p = static_cast<wchar_t>(L'0' + value % 10);
        value /= 10;
    } while (value != 0);
    return string(p);
}

} // namespace

// --- construction ------------------------------------------------------------------------------------

file::file() : fsEntry(fsEntryName(), string(), false) {}

file::file(const string& text) : fsEntry(fsEntryName(text), string(), false) {}

file::file(const string& directoryText, const string& name) : fsEntry(directoryText, name, false) {}

file::file(const directory& dir, const string& name) : fsEntry(dir.fullName(), name, false) {}

file::file(const fsEntryName& name, const string& extra) : fsEntry(name, extra, false) {}

file::file(const file& other) = default;

file& file::operator=(const file& other) = default;

file::~file() = default;

file& file::operator=(const fsEntryName& name) {
    fsEntry::operator=(name);
    return *this;
}

// --- existence and rights -------------------------------------------------------------------------------

bool file::exists() const {
    if (mName.empty() || !platform::accessPath(mName.text(), 0))
        return false;
    platform::fileStatus status;
    return platform::statPath(mName.text(), status) && !status.isDirectory;
}

bool file::check(eAccessMode m) const {
    return !mName.empty() && platform::accessPath(mName.text(), m);
}

file::eAccessMode file::accessMode() const {
    if (!exists())
        return accessMissing;
    int mode = platform::accessPath(mName.text(), accessRead) ? accessRead : accessNone;
    if (isWriteable())
        mode |= accessWrite;
    return static_cast<eAccessMode>(mode);
}

bool file::isReadable() const {
    return check(accessRead);
}

bool file::isWriteable() const {
    if (mName.empty())
        return false;
    if (exists())
        return platform::accessPath(mName.text(), accessWrite);
    // The probe answers for the directory's rights as well: make the file, see it, remove it.
    if (!platform::createNewFile(mName.text(), kWriteModeBit))
        return false;
    const bool seen = exists();
    const bool removed = platform::removeFile(mName.text());
    return seen && removed;
}

bool file::change(eAccessMode m) const {
    return exists() && platform::changeMode(mName.text(), (m & accessReadWrite) << kModeShift);
}

bool file::create(eAccessMode m) const {
    return !mName.empty() && !exists() && platform::createNewFile(mName.text(), (m & accessReadWrite) << kModeShift);
}

bool file::allowRead(bool allow) const {
    if (mName.empty())
        return false;
    const int mode = accessMode();
    if (!allow) {
        if ((mode & accessRead) == 0)
            return true;
        return exists() && platform::changeMode(mName.text(), (mode & accessWrite) << kModeShift);
    }
    // Also true for a file with neither right, which stays as it is.
    if ((mode & ~accessRead) == 0)
        return true;
    return exists() && platform::changeMode(mName.text(), ((mode & accessWrite) | accessRead) << kModeShift);
}

bool file::allowWrite(bool allow) const {
    if (mName.empty())
        return false;
    const int mode = accessMode();
    if (!allow) {
        if ((mode & accessWrite) == 0)
            return true;
        return exists() && platform::changeMode(mName.text(), (mode & accessRead) << kModeShift);
    }
    // Also true for a file with neither right, which stays as it is.
    if ((mode & ~accessWrite) == 0)
        return true;
    return exists() && platform::changeMode(mName.text(), ((mode & accessRead) | accessWrite) << kModeShift);
}

// --- copying, moving, naming ------------------------------------------------------------------------------

bool file::copy(const file& target, bool overwrite) const {
    return !mName.empty() && !target.mName.empty() &&
           platform::copyFile(mName.text(), target.mName.text(), !overwrite);
}

bool file::move(const file& target) const {
    // An empty text would name the current directory.
    return !mName.empty() && !target.mName.empty() && platform::movePath(mName.text(), target.mName.text());
}

bool file::remove() const {
    return exists() && platform::removeFile(mName.text());
}

bool file::rename(const string& newName) {
    // A text of one character cannot be taken apart (only assignText can store one).
    if (mName.text().size() < 2)
        return false;
    const file target(mName.path(0), newName);
    if (target.mName.empty() || target.exists())
        return false;
    if (!platform::renamePath(mName.text(), target.mName.text()))
        return false;
    mName = target.mName;
    return true;
}

bool file::setExtension(const wchar_t* ext, bool lastDot) {
    if (mName.text().size() < 2)
        return false;
    string newName = mName.name(lastDot ? fsEntryName::noExtension : fsEntryName::noExtension | fsEntryName::firstDot);
    if (ext != nullptr && *ext != 0) {
        newName += L'.';
        newName += ext;
    }
    return rename(newName);
}

// --- size and times --------------------------------------------------------------------------------------

unsigned long file::size() const {
    platform::fileStatus status;
    if (mName.empty() || !platform::statPath(mName.text(), status))
        return 0;
    return static_cast<unsigned long>(static_cast<std::uint32_t>(status.size));
}

std::int64_t file::creationTime() const {
    platform::fileStatus status;
    if (mName.empty() || !platform::statPath(mName.text(), status))
        return 0;
    return status.creationTime;
}

std::int64_t file::lastModificationTime() const {
    platform::fileStatus status;
    if (mName.empty() || !platform::statPath(mName.text(), status))
        return 0;
    return status.modificationTime;
}

bool file::setLastModificationTime(const std::int64_t& t) const {
    if (!exists())
        return false;
    const std::int64_t seconds = static_cast<std::int32_t>(static_cast<std::uint32_t>(t));
    // Whether the time could be set is not part of the answer.
    platform::setModificationTime(mName.text(), seconds);
    return true;
}

bool file::setFilePropsLike(const file& other) const {
    if (mName.empty() || other.mName.empty())
        return false;
    // Nothing here is checked: a missing file simply keeps what it has.
    platform::copyFileProperties(other.mName.text(), mName.text());
    return true;
}

// --- contents ------------------------------------------------------------------------------------------

bool file::appendTo(const file& target) const {
    if (mName.empty() || target.mName.empty())
        return false;
    platform::fileHandle source, sink;
    if (!source.open(mName.text(), platform::fileHandle::openRead))
        return false;
    platform::fileStatus status;
    if (!platform::statPath(mName.text(), status) || !sink.open(target.mName.text(), platform::fileHandle::openAppend))
        return false;
    // Only the bytes present now are read, so a file appended to itself does not grow for ever.
    std::uint64_t left = status.size;
    unsigned char buffer[kAppendItemSize * kAppendBlockItems];
    while (left >= kAppendItemSize) {
        const std::size_t want = left < sizeof buffer ? static_cast<std::size_t>(left) : sizeof buffer;
        std::size_t got = 0;
        if (!source.read(buffer, want, got))
            return false;
        // Whole items only: the odd last byte of a file is not written.
        const std::size_t items = got / kAppendItemSize;
        if (items == 0)
            break;
        if (!sink.write(buffer, items * kAppendItemSize))
            return false;
        if (got < want)
            break; // the end of the file came early
        left -= got;
    }
    source.close();
    return sink.close();
}

bool file::getCrc32(unsigned long& crc) {
    if (!exists())
        return false;
    std::uint32_t value = 0;
    if (!crc32OfFile(mName.text(), value)) {
        crc = 0;
        return false;
    }
    crc = value;
    return true;
}

bool file::isIdenticalTo(const file& other) const {
    if (mName.empty() || other.mName.empty())
        return false;
    if (mName.text().lower() == other.mName.text().lower())
        return true;
    file self(*this), that(other);
    unsigned long mine = 0, theirs = 0;
    return self.getCrc32(mine) && that.getCrc32(theirs) && mine == theirs;
}

// --- version resources ------------------------------------------------------------------------------------

bool file::versionNumbers(bool product, unsigned (&numbers)[4]) const {
    std::uint32_t fileVersion[2], productVersion[2];
    if (mName.empty() || !platform::fixedVersionInfo(mName.text(), fileVersion, productVersion))
        return false;
    const std::uint32_t* fields = product ? productVersion : fileVersion;
    numbers[0] = fields[0] >> 16;
    numbers[1] = fields[0] & 0xFFFF;
    numbers[2] = fields[1] >> 16;
    numbers[3] = fields[1] & 0xFFFF;
    return true;
}

bool file::versionString(bool product, string& text, unsigned width) const {
    text.clear();
    unsigned numbers[4];
    if (!versionNumbers(product, numbers))
        return false;
    const unsigned digits = width < kMaxVersionWidth ? width : kMaxVersionWidth;
    for (int i = 0; i < 4; ++i) {
        if (i > 0)
            text += L'.';
        const string number = decimal(numbers[i]);
        if (number.size() < digits)
            text.append(digits - number.size(), L'0');
        text += number;
    }
    return true;
}

bool file::getFixedFileVersion(unsigned& a, unsigned& b, unsigned& c, unsigned& d) const {
    unsigned numbers[4];
    if (!versionNumbers(false, numbers))
        return false;
    a = numbers[0], b = numbers[1], c = numbers[2], d = numbers[3];
    return true;
}

bool file::getFixedFileVersion(version& v) const {
    unsigned numbers[4];
    if (!versionNumbers(false, numbers))
        return false;
    v = version(numbers[0], numbers[1], numbers[2], numbers[3]);
    return true;
}

bool file::getFixedProductVersion(unsigned& a, unsigned& b, unsigned& c, unsigned& d) const {
    unsigned numbers[4];
    if (!versionNumbers(true, numbers))
        return false;
    a = numbers[0], b = numbers[1], c = numbers[2], d = numbers[3];
    return true;
}

bool file::getFixedProductVersion(version& v) const {
    unsigned numbers[4];
    if (!versionNumbers(true, numbers))
        return false;
    v = version(numbers[0], numbers[1], numbers[2], numbers[3]);
    return true;
}

bool file::getFixedFileVersionString(string& text, unsigned width) const {
    return versionString(false, text, width);
}

bool file::getFixedProductVersionString(string& text, unsigned width) const {
    return versionString(true, text, width);
}

// --- static helpers -----------------------------------------------------------------------------------------

file file::generateRandomFile(const directory& dir, const string& extension) {
    const string stem = decimal(getCurrentThreadId()) + L"_";
    const long long now = std::chrono::duration_cast<std::chrono::seconds>(
                              std::chrono::system_clock::now().time_since_epoch())
                              .count();
    unsigned long long counter = now < 0 ? 0 : static_cast<unsigned long long>(now);
    const string base = dir.fullName().empty() ? directory::systemTempDir().fullName() : dir.fullName();
    int failedCreations = 0;
    for (long tried = 0; tried < kMaxNamesTried; ++tried, ++counter) {
        string name = stem + decimal(counter);
        if (!extension.empty())
            name += L"." + extension;
        const file candidate(base, name);
        if (candidate.fullName().empty())
            break;
        // A name in use by any entry, a directory too, is passed by.
        if (candidate.fsEntry::exists())
            continue;
        // Exclusive creation: the empty file reserves the name.
        if (platform::createNewFile(candidate.fullName(), kWriteModeBit))
            return candidate;
        // Another process may have taken the name meanwhile; anything else is a real failure.
        if (!candidate.fsEntry::exists() && ++failedCreations >= kMaxFailedCreations)
            break;
    }
    return file();
}

string file::removeIllegalFileChars(const string& text) {
    string result;
    result.reserve(text.size());
    for (const wchar_t c : text) {
        switch (c) {
        case L'\\': case L'/': case L':': case L'?': case L'"': case L'<': case L'>': case L'|':
            break;
        default:
            result += c;
        }
    }
    return result;
}

} // namespace vx
