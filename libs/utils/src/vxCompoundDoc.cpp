#include "vxCompoundDoc.h"

#include "vxBinaryBuffer.h"
#include "vxException.h"
#include "vxString.h"
#include "vxUnicode.h"

#include "platform/files.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace vx {

// One record serves reader and writer alike: the file, its open handle (closed when no document
// is open), the dictionary, and where the writer puts its next byte.
struct compoundDocRecord {
    explicit compoundDocRecord(const vx::file& f) : mFile(f) {}

    vx::file mFile;
    platform::fileHandle mStream;
    // By name, in the order the dictionary is written, and looked up without a copy of the name.
    // A map rather than a hash table: a forged file cannot make its lookups slow.
    std::map<std::string, std::pair<std::uint64_t, std::uint64_t>, std::less<>> mDictionary;
    std::uint64_t mPosition = 0;
    bool mAtPosition = true; // whether the handle stands where the next bytes go to the file

    // The writer's: small blocks gathered to be sent in one system call, the position of their
    // first byte, and their names (left out of the dictionary again when the sending fails).
    std::vector<char> mPending;
    std::uint64_t mPendingStart = 0;
    std::vector<std::string> mPendingNames;

    // The reader's: the file's length when it was opened, and a window of the file from which
    // small blocks are served, so many small blocks cost one system call per window, not per block.
    std::uint64_t mLength = 0;
    std::vector<char> mWindow;
    std::uint64_t mWindowStart = 0;
    std::size_t mWindowFill = 0;
};

namespace {

constexpr char kMagic[] = {'v', 'x', 'c', 'o', 'm', 'p', 'o', 'u', 'n', 'd', 'D', 'o', 'c'};
constexpr std::size_t kMagicLength = sizeof kMagic;             // 13, no terminating null
constexpr std::size_t kTrailerLength = kMagicLength + 8;        // magic and D
// The reader holds names in a buffer of 128 bytes with a terminating null, so 127 is the limit.
constexpr std::uint64_t kMaxNameLength = compoundDocWriter::maxNameLength;
// The dictionary is read in pieces of this size rather than entry by entry.
constexpr std::size_t kDictionaryChunk = 65536;
// Blocks up to kSmallBlock bytes are read through a window of kWindowSize bytes.
constexpr std::size_t kWindowSize = 65536;
constexpr std::uint64_t kSmallBlock = 16384;
// Blocks below kWriteGather bytes are gathered and written kWriteGather bytes at a time.
constexpr std::size_t kWriteGather = 65536;

void putLittleEndian64(std::string& out, std::uint64_t value) {
    for (int i = 0; i < 8; ++i)
        out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

std::uint64_t getLittleEndian64(const unsigned char* p) {
    std::uint64_t value = 0;
    for (int i = 7; i >= 0; --i)
        value = value << 8 | p[i];
    return value;
}

bool isMagic(const unsigned char* p) {
    return std::memcmp(p, kMagic, kMagicLength) == 0;
}

// A block name for a message: its bytes read as UTF-8.
vx::string nameForMessage(const char* name) {
    std::wstring text;
    unicode::appendFromUtf8(text, name, std::strlen(name));
    return vx::string(text);
}

// Reads exactly size bytes at the current position; false on an error or at the end of the file.
bool readExactly(platform::fileHandle& stream, void* buffer, std::size_t size) {
    std::size_t done = 0;
    return stream.read(buffer, size, done) && done == size;
}

// The dictionary as a run of bytes read from its start to the end of the file, in pieces.
class dictionarySource {
public:
    explicit dictionarySource(platform::fileHandle& stream) : mStream(stream), mBuffer(kDictionaryChunk) {}

    // Exactly size bytes, or false when the file ends first or cannot be read.
    bool take(void* out, std::size_t size) {
        char* target = static_cast<char*>(out);
        while (size > 0) {
            if (mAt == mEnd && !refill())
                return false;
            const std::size_t n = std::min(size, mEnd - mAt);
            std::memcpy(target, mBuffer.data() + mAt, n);
            mAt += n;
            target += n;
            size -= n;
        }
        return true;
    }

private:
    bool refill() {
        std::size_t done = 0;
        if (!mStream.read(mBuffer.data(), mBuffer.size(), done) || done == 0)
            return false;
        mAt = 0;
        mEnd = done;
        return true;
    }

    platform::fileHandle& mStream;
    std::vector<char> mBuffer;
    std::size_t mAt = 0;
    std::size_t mEnd = 0;
};

// Reads the trailer and the dictionary of the open document into the record. Throws
// invalidFileFormatException for anything that is not as the format says.
void readDictionary(compoundDocRecord& r) {
    std::uint64_t& length = r.mLength;
    r.mWindowFill = 0;
    if (!r.mStream.length(length) || length < kTrailerLength ||
        !r.mStream.seek(length - kTrailerLength))
        throw invalidFileFormatException(r.mFile);
    unsigned char trailer[kTrailerLength];
    if (!readExactly(r.mStream, trailer, sizeof trailer) || !isMagic(trailer))
        throw invalidFileFormatException(r.mFile);
    const std::uint64_t dictionaryStart = getLittleEndian64(trailer + kMagicLength);
    unsigned char magic[kMagicLength];
    if (!r.mStream.seek(dictionaryStart) || !readExactly(r.mStream, magic, sizeof magic) ||
        !isMagic(magic))
        throw invalidFileFormatException(r.mFile);

    // Entries run until the length 0; every entry takes at least 8 bytes of a finite file, so
    // the loop ends. Offsets are not checked here, and the first of two equal names stands.
    dictionarySource source(r.mStream);
    char name[kMaxNameLength];
    for (;;) {
        unsigned char field[16];
        if (!source.take(field, 8))
            throw invalidFileFormatException(r.mFile);
        const std::uint64_t nameLength = getLittleEndian64(field);
        if (nameLength == 0)
            break;
        if (nameLength > kMaxNameLength)
            throw invalidFileFormatException(r.mFile);
        if (!source.take(name, static_cast<std::size_t>(nameLength)) || !source.take(field, 16))
            throw invalidFileFormatException(r.mFile);
        // A dictionary is written in order, so each entry goes in at the end without a search; a
        // file in any other order still gives the same map.
        r.mDictionary.emplace_hint(r.mDictionary.end(), std::string(name, static_cast<std::size_t>(nameLength)),
                                   std::make_pair(getLittleEndian64(field), getLittleEndian64(field + 8)));
    }
}

// Sends the gathered blocks to the file. When that fails, they are left out of the dictionary
// and the writer's position returns to the first of them, so nothing of them stays in the
// document; false then.
bool sendPending(compoundDocRecord& r) {
    if (r.mPending.empty())
        return true;
    const bool sent = (r.mAtPosition || r.mStream.seek(r.mPendingStart)) &&
                      r.mStream.write(r.mPending.data(), r.mPending.size());
    if (!sent) {
        for (const std::string& name : r.mPendingNames)
            r.mDictionary.erase(name);
        r.mPosition = r.mPendingStart;
    }
    r.mAtPosition = sent;
    r.mPending.clear();
    r.mPendingNames.clear();
    return sent;
}

// Sends the gathered blocks, then writes magic, entries, the end mark, magic and D at the
// writer's position, cuts the file behind the trailer (bytes of a block whose write failed may
// lie there) and leaves the position at D, where the next block overwrites the dictionary. False
// when any of it fails; the dictionary is written even when the gathered blocks could not be.
bool writeDictionary(compoundDocRecord& r) {
    const bool sent = sendPending(r);
    const std::uint64_t dictionaryStart = r.mPosition;
    std::string bytes(kMagic, kMagicLength);
    for (const auto& entry : r.mDictionary) {
        putLittleEndian64(bytes, entry.first.size());
        bytes += entry.first;
        putLittleEndian64(bytes, entry.second.first);
        putLittleEndian64(bytes, entry.second.second);
    }
    putLittleEndian64(bytes, 0);
    bytes.append(kMagic, kMagicLength);
    putLittleEndian64(bytes, dictionaryStart);
    const bool ok = r.mStream.seek(dictionaryStart) && r.mStream.write(bytes.data(), bytes.size()) &&
                    r.mStream.truncate(dictionaryStart + bytes.size());
    r.mAtPosition = r.mStream.seek(dictionaryStart);
    return r.mAtPosition && ok && sent;
}

// The block names and data the writer accepts; throws unexpectedErrorException for others.
void checkBlock(const char* name, const void* data, std::uint64_t n) {
    if (!name || !*name)
        throw unexpectedErrorException(L"compoundDocWriter::write: datablock without a name");
    if (std::strlen(name) > kMaxNameLength)
        throw unexpectedErrorException(L"compoundDocWriter::write: name of datablock %s longer than %d bytes",
                                       nameForMessage(name).c_str(), static_cast<int>(kMaxNameLength));
    if (!data && n > 0)
        throw unexpectedErrorException(L"compoundDocWriter::write: datablock %s without data",
                                       nameForMessage(name).c_str());
}

// The extension as UTF-16LE units behind their count, the terminating null included.
std::string thumbnailFormat(const vx::string& extension) {
    std::string units;
    unicode::appendUtf16Le(units, extension.c_str(), extension.size() + 1); // with its null
    std::string bytes;
    const auto count = static_cast<std::uint32_t>(units.size() / 2);
    for (int i = 0; i < 4; ++i)
        bytes.push_back(static_cast<char>((count >> (8 * i)) & 0xFF));
    return bytes + units;
}

// Reads n bytes at the current position into out, which is emptied first and given room for
// exactly n bytes when it has less. False, with out empty, when fewer bytes come.
bool readBlockInto(platform::fileHandle& stream, std::uint64_t n, binaryBuffer& out) {
    out.clear();
    out.reserve(n);
    if (n > 0 && !readExactly(stream, out.data(), static_cast<std::size_t>(n)))
        return false;
    return out.setLogicalLength(n);
}

// Copies the bytes from start to end out of the window, which is first moved to start when it
// does not hold them. False, with out empty, when the file does not give them.
bool readThroughWindow(compoundDocRecord& r, std::uint64_t start, std::uint64_t end, binaryBuffer& out) {
    out.clear();
    if (start < end && (start < r.mWindowStart || end > r.mWindowStart + r.mWindowFill)) {
        r.mWindow.resize(kWindowSize);
        r.mWindowFill = 0;
        const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(kWindowSize, r.mLength - start));
        std::size_t done = 0;
        if (!r.mStream.seek(start) || !r.mStream.read(r.mWindow.data(), want, done))
            return false;
        r.mWindowStart = start;
        r.mWindowFill = done;
        if (end > start + done)
            return false;
    }
    const std::uint64_t n = end - start;
    out.reserve(n);
    if (n > 0)
        std::memcpy(out.data(), r.mWindow.data() + (start - r.mWindowStart), static_cast<std::size_t>(n));
    return out.setLogicalLength(n);
}

bool extractBlock(const vx::file& doc, const char* name, binaryBuffer& out) {
    out.clear();
    compoundDocReader reader(doc);
    reader.open();
    reader.read(name, out);
    return out.logicalLength() > 0;
}

} // namespace

// --- writer ------------------------------------------------------------------------------------------

compoundDocWriter::compoundDocWriter(const vx::file& target) : mpRecord(new compoundDocRecord(target)) {}

compoundDocWriter::~compoundDocWriter() {
    if (mpRecord->mStream.isOpen()) {
        // A destructor cannot report: a document that cannot be completed stays without trailer.
        try {
            writeDictionary(*mpRecord);
        } catch (...) {
        }
        mpRecord->mStream.close();
    }
    delete mpRecord;
}

void compoundDocWriter::create() {
    compoundDocRecord& r = *mpRecord;
    if (r.mStream.isOpen())
        throw unexpectedErrorException(L"compoundDocWriter::create: file already open");
    // A file that cannot be removed is not truncated either, so its data stays.
    if (r.mFile.exists() && !r.mFile.remove())
        throw writeFileException(r.mFile);
    if (!r.mStream.open(r.mFile.fullName(), platform::fileHandle::openWrite))
        throw writeFileException(r.mFile);
    r.mDictionary.clear();
    r.mPosition = 0;
    r.mAtPosition = true;
    r.mPending.clear();
    r.mPendingNames.clear();
}

void compoundDocWriter::write(const char* name, void* data, std::uint64_t n) {
    checkBlock(name, data, n);
    compoundDocRecord& r = *mpRecord;
    if (!r.mStream.isOpen())
        create();
    // One search: where the name would stand tells whether it is there, and is where it goes.
    const std::string_view key(name);
    const auto place = r.mDictionary.lower_bound(key);
    if (place != r.mDictionary.end() && place->first == key)
        throw unexpectedErrorException(L"compoundDocWriter::write: datablock %s already existing",
                                       nameForMessage(name).c_str());
    // Small blocks are gathered and sent together, as a buffered stream does: a failure shows at
    // the write, flush or close that sends them, and leaves all of them out of the document. A
    // large block goes to the system at once. After a failure the next block, flush or close
    // starts again where the failed bytes started, so nothing of them stays in the document.
    if (n >= kWriteGather || r.mPending.size() + n > kWriteGather) {
        if (!sendPending(r))
            throw writeFileException(r.mFile);
    }
    const std::uint64_t start = r.mPosition;
    if (n < kWriteGather) {
        if (r.mPending.empty()) {
            r.mPending.reserve(kWriteGather);
            r.mPendingStart = start;
        }
        const char* bytes = static_cast<const char*>(data);
        r.mPending.insert(r.mPending.end(), bytes, bytes + n);
        r.mPendingNames.emplace_back(name);
    } else {
        if (!r.mAtPosition && !(r.mAtPosition = r.mStream.seek(start)))
            throw writeFileException(r.mFile);
        if (!r.mStream.write(data, static_cast<std::size_t>(n))) {
            r.mAtPosition = false;
            throw writeFileException(r.mFile);
        }
    }
    // Nothing left the dictionary since the search: sendPending takes names out only when it fails.
    r.mDictionary.emplace_hint(place, key, std::make_pair(start, start + n));
    r.mPosition = start + n;
}

bool compoundDocWriter::has(const char* name) {
    return name && mpRecord->mDictionary.count(std::string_view(name)) != 0;
}

void compoundDocWriter::flush() {
    compoundDocRecord& r = *mpRecord;
    if (!r.mStream.isOpen())
        throw unexpectedErrorException(L"compoundDocWriter::flush: file not opened");
    if (!writeDictionary(r))
        throw writeFileException(r.mFile);
}

void compoundDocWriter::close() {
    compoundDocRecord& r = *mpRecord;
    if (!r.mStream.isOpen())
        return;
    bool ok = writeDictionary(r);
    ok = r.mStream.close() && ok;
    if (!ok)
        throw writeFileException(r.mFile);
}

const vx::file& compoundDocWriter::file() const {
    return mpRecord->mFile;
}

// --- reader ------------------------------------------------------------------------------------------

compoundDocReader::compoundDocReader(const vx::file& source) : mpRecord(new compoundDocRecord(source)) {}

compoundDocReader::~compoundDocReader() {
    delete mpRecord;
}

void compoundDocReader::open() {
    compoundDocRecord& r = *mpRecord;
    if (r.mStream.isOpen())
        throw unexpectedErrorException(L"compoundDocReader::open: file already open");
    if (!r.mStream.open(r.mFile.fullName(), platform::fileHandle::openRead))
        throw readFileException(r.mFile);
    try {
        readDictionary(r);
    } catch (...) {
        // A document that failed to open is not half open: isValid and open start afresh.
        r.mStream.close();
        r.mDictionary.clear();
        throw;
    }
}

bool compoundDocReader::isValid() const {
    const compoundDocRecord& r = *mpRecord;
    if (r.mStream.isOpen())
        return true;
    platform::fileHandle stream;
    if (!stream.open(r.mFile.fullName(), platform::fileHandle::openRead))
        return false;
    const std::uint64_t size = r.mFile.size();
    unsigned char magic[kMagicLength];
    return size >= kTrailerLength && stream.seek(size - kTrailerLength) &&
           readExactly(stream, magic, sizeof magic) && isMagic(magic);
}

bool compoundDocReader::has(const char* name) {
    return name && mpRecord->mDictionary.count(std::string_view(name)) != 0;
}

std::uint64_t compoundDocReader::length(const char* name) {
    if (!name)
        return 0;
    const auto it = mpRecord->mDictionary.find(std::string_view(name));
    if (it == mpRecord->mDictionary.end() || it->second.second < it->second.first)
        return 0;
    return it->second.second - it->second.first;
}

bool compoundDocReader::read(const char* name, binaryBuffer& out) {
    compoundDocRecord& r = *mpRecord;
    if (!name)
        return false;
    const auto it = r.mDictionary.find(std::string_view(name));
    if (it == r.mDictionary.end())
        return false;
    const std::uint64_t start = it->second.first, end = it->second.second;
    // Offsets come from the file unchecked: a block that does not lie inside the file is refused
    // before any room is made for it, so a forged length cannot ask for memory the file never had.
    if (end < start || end > r.mLength)
        return false;
    if (end - start <= kSmallBlock)
        return readThroughWindow(r, start, end, out);
    if (!r.mStream.seek(start))
        return false;
    return readBlockInto(r.mStream, end - start, out);
}

bool compoundDocReader::getDictionary(std::vector<std::string>& names) const {
    names.clear();
    for (const auto& entry : mpRecord->mDictionary)
        names.push_back(entry.first);
    return !names.empty();
}

void compoundDocReader::close() {
    mpRecord->mStream.close();
    mpRecord->mDictionary.clear();
    mpRecord->mWindowFill = 0;
}

const vx::file& compoundDocReader::file() const {
    return mpRecord->mFile;
}

// --- the known blocks --------------------------------------------------------------------------------

bool compoundDocUtils::writeThumbnail(const vx::file& image, compoundDocWriter& writer) {
    if (!image.exists())
        return false;
    binaryBuffer content(0);
    if (!content.readFromFile(image))
        return false;
    writer.write("thumbnail", content.data(), content.logicalLength());
    std::string format = thumbnailFormat(image.extension().lower());
    writer.write("thumbnailformat", format.data(), format.size());
    return true;
}

bool compoundDocUtils::extractThumbnail(const vx::file& doc, binaryBuffer& out) {
    return extractBlock(doc, "thumbnail", out);
}

bool compoundDocUtils::extractProductionInfo(const vx::file& doc, binaryBuffer& out) {
    return extractBlock(doc, "productioninfo", out);
}

bool compoundDocUtils::extractInfo(const vx::file& doc, binaryBuffer& out) {
    return extractBlock(doc, "info", out);
}

// The constants are defined here once as well, so that the library exports them: on Windows a
// caller that takes one by reference finds it in the DLL.
constexpr std::size_t compoundDocWriter::maxNameLength;

} // namespace vx
