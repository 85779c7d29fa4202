#include "vxFile.h"

#include "detail/caseFolding.h"
#include "detail/decimal.h"

#include "vxCrc32.h"
#include "vxGzipFile.h"
#include "vxDirectory.h"
#include "vxEnvironment.h"
#include "vxTimeStamp.h"
#include "vxVersion.h"

#include "platform/fileSystem.h"
#include "platform/files.h"
#include "platform/modules.h"

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
        running = detail::crc32Update(running, buffer.get(), got);
        if (got < kCrcBlockSize)
            break;
    }
    crc = ~running;
    return true;
}

// The gzip copies move chunks of this size.
constexpr std::size_t kGzipChunk = 1024;

// The progress of the gzip copies: (done / size) * 100 in 32-bit unsigned integers, as sizes are
// 32-bit values. A size of 0 (a file that was empty when asked, or a multiple of 4 GiB) would
// divide by zero; it counts as complete.
double gzipProgress(std::uint64_t done, unsigned long size) {
    const auto done32 = static_cast<std::uint32_t>(done), size32 = static_cast<std::uint32_t>(size);
    if (size32 == 0)
        return 100.0;
    return static_cast<double>(static_cast<std::uint32_t>(done32 / size32 * 100u));
}

// Little-endian fields of a PE image, read where they stand (only the headers are needed, not
// the whole image); false when they lie beyond the end or cannot be read.
bool readLe(platform::fileHandle& image, std::uint64_t at, std::size_t bytes, std::uint32_t& value) {
    unsigned char field[4] = {};
    std::size_t done = 0;
    if (!image.seek(at) || !image.read(field, bytes, done) || done != bytes)
        return false;
    value = 0;
    for (std::size_t i = bytes; i-- > 0;)
        value = value << 8 | field[i];
    return true;
}

bool readLe16(platform::fileHandle& image, std::uint64_t at, std::uint32_t& value) {
    return readLe(image, at, 2, value);
}

bool readLe32(platform::fileHandle& image, std::uint64_t at, std::uint32_t& value) {
    return readLe(image, at, 4, value);
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

bool file::setLastModificationTime(const timestamp& t) const {
    std::int64_t seconds;
    if (!t.toTimer(&seconds))
        return false;
    return setLastModificationTime(seconds);
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
    if (detail::equalIgnoringCase(mName.text(), other.mName.text()))
        return true;
    file self(*this), that(other);
    unsigned long mine = 0, theirs = 0;
    return self.getCrc32(mine) && that.getCrc32(theirs) && mine == theirs;
}

// --- gzip ----------------------------------------------------------------------------------------------------

bool file::gzCompressTo(const file& target, bool (*progress)(double, void*), void* context) const {
    if (mName.empty() || target.mName.empty() || platform::sameFile(mName.text(), target.mName.text()))
        return false;
    // The source first: a missing source must not cost the target its bytes.
    platform::fileHandle source;
    if (!source.open(mName.text(), platform::fileHandle::openRead))
        return false;
    const unsigned long total = size();
    detail::gzipFile sink;
    if (!sink.open(target.mName.text(), detail::gzipFile::forWriting))
        return false;
    std::uint64_t written = 0;
    char chunk[kGzipChunk];
    for (;;) {
        std::size_t got = 0;
        if (!source.read(chunk, sizeof chunk, got))
            return false;
        if (got == 0)
            break;
        if (!sink.write(chunk, static_cast<unsigned>(got)))
            return false;
        written += got;
        if (progress && !progress(gzipProgress(written, total), context))
            return false;
        if (got < sizeof chunk)
            break; // the end of the file
    }
    // Closing writes what zlib still holds: a full disk shows here.
    return sink.close();
}

bool file::gzUncompressTo(const file& target, bool (*progress)(double, void*), void* context) const {
    std::uint64_t ignored = 0;
    return gzUncompressTo(target, ignored, progress, context);
}

bool file::gzUncompressTo(const file& target, std::uint64_t& ignoredBytes, bool (*progress)(double, void*),
                          void* context) const {
    ignoredBytes = 0;
    if (mName.empty() || target.mName.empty() || platform::sameFile(mName.text(), target.mName.text()))
        return false;
    // The source first: a source that cannot be opened must not cost the target its bytes.
    detail::gzipFile source;
    if (!source.open(mName.text(), detail::gzipFile::forReading))
        return false;
    const unsigned long total = size();
    platform::fileHandle sink;
    if (!sink.open(target.mName.text(), platform::fileHandle::openWrite))
        return false;
    std::uint64_t written = 0;
    char chunk[kGzipChunk];
    for (;;) {
        const int got = source.read(chunk, sizeof chunk);
        if (got < 0)
            return false;
        if (got == 0)
            break;
        if (!sink.write(chunk, static_cast<std::size_t>(got)))
            return false;
        written += static_cast<std::uint64_t>(got);
        if (progress && !progress(gzipProgress(written, total), context))
            return false;
    }
    ignoredBytes = source.ignoredBytes();
    // Data cut short reads as a quiet end; zlib tells it at the close.
    const bool complete = source.close();
    return sink.close() && complete;
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
        const string number = detail::decimal(numbers[i]);
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
    const string stem = detail::decimal(getCurrentThreadId()) + L"_";
    const long long now = std::chrono::duration_cast<std::chrono::seconds>(
                              std::chrono::system_clock::now().time_since_epoch())
                              .count();
    unsigned long long counter = now < 0 ? 0 : static_cast<unsigned long long>(now);
    const string base = dir.fullName().empty() ? directory::systemTempDir().fullName() : dir.fullName();
    int failedCreations = 0;
    for (long tried = 0; tried < kMaxNamesTried; ++tried, ++counter) {
        string name = stem + detail::decimal(counter);
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

// --- executable images ---------------------------------------------------------------------------------------

_pe_architecture imageArchitecture(const file& f) {
    // Offsets of a PE image: the offset of the "PE" signature at 0x3C; behind the signature the
    // section count (+6), the size of the optional header (+20), its magic (+24); the 8 bytes at
    // +0xF8 are the managed header's directory entry of a 64-bit image (address, then size), read
    // for 32-bit images too. A section header is 40 bytes: virtual size (+8), virtual address
    // (+12), raw size (+16), raw offset (+20). The managed header's flags lie at +16; bit 1
    // says that the image needs 32 bits.
    platform::fileHandle image;
    if (f.fullName().empty() || !image.open(f.fullName(), platform::fileHandle::openRead))
        return peArchitectureUnknown;
    std::uint32_t mz = 0, peAt = 0, signature = 0, magic = 0;
    if (!readLe16(image, 0, mz) || mz != 0x5A4D || !readLe32(image, 0x3C, peAt) || !readLe32(image, peAt, signature) ||
        signature != 0x4550 || !readLe16(image, std::uint64_t(peAt) + 24, magic))
        return peArchitectureUnknown;
    if (magic != peArchitecture32)
        return static_cast<_pe_architecture>(magic);

    const std::uint64_t pe = peAt;
    std::uint32_t managedAddress = 0, managedSize = 0, sections = 0, optionalSize = 0;
    if (!readLe32(image, pe + 0xF8, managedAddress) || !readLe32(image, pe + 0xFC, managedSize))
        return peArchitectureUnknown;
    if (managedSize == 0)
        return peArchitecture32;
    if (!readLe16(image, pe + 6, sections) || !readLe16(image, pe + 20, optionalSize))
        return peArchitectureUnknown;
    const std::uint64_t table = pe + 24 + optionalSize;
    for (std::uint32_t i = 0; i < sections; ++i) {
        const std::uint64_t header = table + 40ull * i;
        std::uint32_t virtualSize = 0, virtualAddress = 0, rawSize = 0, rawOffset = 0;
        if (!readLe32(image, header + 8, virtualSize) || !readLe32(image, header + 12, virtualAddress) ||
            !readLe32(image, header + 16, rawSize) || !readLe32(image, header + 20, rawOffset))
            return peArchitectureUnknown;
        // A section without a virtual size spans its raw data.
        const std::uint64_t span = virtualSize != 0 ? virtualSize : rawSize;
        if (managedAddress < virtualAddress || managedAddress - virtualAddress >= span)
            continue;
        std::uint32_t flags = 0;
        if (!readLe32(image, std::uint64_t(rawOffset) + (managedAddress - virtualAddress) + 16, flags))
            return peArchitectureUnknown;
        return (flags & 0x2) == 0 ? peArchitectureAny : peArchitecture32;
    }
    return peArchitecture32;
}

} // namespace vx
