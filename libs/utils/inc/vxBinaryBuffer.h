// binaryBuffer: an owned, growable block of bytes, and the codecs that work on such blocks:
// base64, gzip, a CRC-32 and file helpers.
//
// The block comes from the C heap. Its logical length is the bytes in use, its physical length
// the bytes allocated. Growth is exact: every growth allocates exactly the bytes needed, copies
// and frees the old block, so a caller who knows the size reserves it first (in the constructor,
// with reserve, or through readFromFile). Memory is given back only by shrink, unlinkBuffer and
// the destructor. The buffer is not terminated by a null byte.
//
// A cursor is a pointer into the buffer; a null cursor stands for the start.
//
// A buffer belongs to one thread. An allocation that fails throws outOfMemoryException; the
// codecs that answer bool turn it into false and keep the content.
#pragma once

#include "vxExport.h"
#include "vxString.h"

#include <cstdint>
#include <functional>
#include <string>

namespace vx {

class file;

class VX_API binaryBuffer {
public:
    // size bytes of room (none for 0); the logical length is 0.
    explicit binaryBuffer(std::uint64_t size = 0);
    // Adopts data, which must come from the C heap (malloc); both lengths are size. A null data
    // gives an empty buffer.
    binaryBuffer(char* data, std::uint64_t size);
    // Room of exactly the source's logical length.
    binaryBuffer(const binaryBuffer& other);
    // Takes the block of other, which is left empty.
    binaryBuffer(binaryBuffer&& other) noexcept;
    // Resets the logical length, grows only if the room is short, copies. Assigning a buffer to
    // itself changes nothing.
    binaryBuffer& operator=(const binaryBuffer& other);
    // Frees the own block and takes the block of other, which is left empty.
    binaryBuffer& operator=(binaryBuffer&& other) noexcept;
    ~binaryBuffer();

    // Equal logical lengths and equal bytes; the room does not count.
    bool operator==(const binaryBuffer& other) const;
    bool operator!=(const binaryBuffer& other) const { return !(*this == other); }

    // --- content ---------------------------------------------------------------------------

    // Appends n bytes. src may point into this buffer. A null src with n > 0 does nothing.
    void write(const void* src, std::uint64_t n);
    // Moves the content up by n bytes and puts the n bytes of src in front.
    void writeAtStart(const void* src, std::uint64_t n);
    // Copies up to n bytes from cursor on to dest and moves the cursor by the bytes copied;
    // answers that count. A null cursor is first set to the start. A cursor before the start,
    // or at or beyond the end of the logical content, copies nothing.
    std::uint64_t read(void*& cursor, void* dest, std::uint64_t n) const;
    // True for a cursor at or after the start and before the end of the logical content; null
    // is the start, so it is valid exactly when the buffer holds something.
    bool isValidCursor(const void* cursor) const;
    // Sets the logical length to 0; the room stays.
    void clear();
    // When the logical length is below the physical one, the room becomes the larger of the
    // logical length and 8 bytes (a room below 8 bytes therefore grows to 8).
    void shrink();
    // Gives the block to the caller, who frees it with free(); the buffer is left empty.
    char* unlinkBuffer();

    std::uint64_t logicalLength() const { return mLogicalLength; }
    std::uint64_t physicalLength() const { return mPhysicalLength; }

    // The block itself (null while nothing is allocated): the logical content, then unused room.
    char* data() { return mData; }
    const char* data() const { return mData; }
    // Grows the room to exactly n bytes when it is smaller; never shrinks.
    void reserve(std::uint64_t n);
    // Sets the logical length within the room, for a caller who filled the room through data().
    // False, with nothing changed, when n exceeds the physical length.
    bool setLogicalLength(std::uint64_t n);

    // --- files -----------------------------------------------------------------------------

    // Appends the bytes of f: the room grows once by the file's size, then blocks of 1024
    // bytes are appended. Before each block, cancel (when it holds a target) may end the read
    // with false; the blocks appended before stay. False when f cannot be opened.
    bool readFromFile(const file& f, const std::function<bool()>& cancel = {});
    // Writes the logical content to f, appending when append is true, else replacing the
    // file: written to a new file beside it and put in its place when complete, so that a failed
    // write leaves the old file as it was (its permissions pass to the new one). True if every
    // byte was written.
    bool writeToFile(const file& f, bool append) const;

    // --- codecs ----------------------------------------------------------------------------

    // Replaces the content by its base64 text (RFC 4648, '=' padding, no line breaks). Only the
    // low 32 bits of the logical length are encoded: beyond 4 GiB content is lost.
    bool base64Encode();
    // Appends a null byte when the content does not end in one, then replaces the content by
    // the decoding of the text up to the first null. Decoding stops, silently, at the first '='
    // and at the first character outside the alphabet, so a line break ends it.
    bool base64Decode();

    // Replaces the content by its gzip form: the bytes a gzip file written by zlib holds, made
    // in memory (no file is touched). A failure keeps the content.
    bool gzCompress();
    // Replaces gzip content by the bytes it holds, in memory; content that is not gzip data
    // comes back as it was. Before each block of 1024 bytes, cancel (when it holds a target)
    // may end the run with false. A cancelled or failed run keeps the content. Runs of the
    // whole process take turns. The room grows at least twofold when it is short.
    bool gzUncompress(const std::function<bool()>& cancel = {});
    // As above, and false (content kept) as soon as the result would pass maxLength bytes, for
    // data from elsewhere whose expanded size is not to be trusted.
    bool gzUncompress(const std::function<bool()>& cancel, std::uint64_t maxLength);
    // At least 3 bytes, the first three 0x1F 0x8B 0x08; nothing else is inspected.
    bool isGZCompressed() const;

    // Converts the content from the system's narrow encoding (UTF-8 here) to UTF-16LE units,
    // with surrogate pairs above U+FFFF and no terminating null. Ill-formed input becomes
    // U+FFFD per maximal ill-formed part.
    void mbcsToWideChar();

    // --- scrambling ------------------------------------------------------------------------
    // Each scrambles the content in place with the bytes of key (its UTF-8 form). Each is its
    // own inverse: applying it twice with the same key gives the content back. An empty key
    // leaves the content unchanged; the length never changes.

    // Byte i is combined by exclusive or with key byte i mod n.
    void bitwiseXor(const string& key);
    // The general-purpose scrambling: byte i is combined with key byte i mod n and with byte
    // i of a stream drawn from the CRC-32 of the key, so runs of equal bytes do not show the key.
    void xxor(const string& key);
    // The former scrambling, kept to read old data: byte i is combined with key byte i mod n
    // and with the low byte of i.
    void xxorDontUseAnyLonger(const string& key);

private:
    // Grows the room to exactly n bytes when it is smaller.
    void reAllocate(std::uint64_t n);

    char* mData;
    std::uint64_t mLogicalLength;
    std::uint64_t mPhysicalLength;
};

// Appends the base64 text of the n bytes at src to out. A group of one or two final bytes is
// padded with '=' to four characters; no line breaks.
VX_API void base64_encode(const unsigned char* src, unsigned int n, std::string& out);
// Appends to out the bytes that the base64 text src holds. Decoding stops, silently, at the
// first '=' and at the first character that is not a letter, a digit, '+' or '/'. Four
// characters give three bytes; a final group of two or three characters gives one or two; a
// single character left over gives nothing.
VX_API void base64_decode(const std::string& src, std::string& out);

// Files as base64 text, one character per byte.
class VX_API binaryBufferUtil {
public:
    binaryBufferUtil() = delete;

    // Decodes text (the low byte of each character) and writes the bytes to target, replacing
    // its bytes. With skipEmpty, an empty text does nothing. Failures are not reported.
    static void readFile(const file& target, const string& text, bool skipEmpty);
    // Appends the base64 text of source's bytes to text; text stays as it was when source
    // cannot be read.
    static void writeFile(const file& source, string& text);
};

// The running CRC-32 of IEEE 802.3 (reflected polynomial 0xEDB88320, as zlib's crc32). Start
// value and final inversion are the caller's: start at 0xFFFFFFFF and invert value() at the
// end for the standard checksum.
class VX_API calcCrc32 {
public:
    // Only the low 32 bits of start count.
    explicit calcCrc32(unsigned long start = 0xFFFFFFFFul);

    // Feeds n bytes.
    void crc(const void* data, std::uint64_t n);
    // The running value, not inverted.
    unsigned long value() const { return mValue; }
    void setValue(unsigned long value);

private:
    unsigned long mValue;
};

// The table of the CRC-32. The table is made when the library is compiled and shared by the
// whole process, so there is no first use to guard, and an object of this class owns nothing:
// constructing or destroying one allocates and frees nothing.
class VX_API CCrc32Dynamic {
public:
    CCrc32Dynamic();
    ~CCrc32Dynamic();

    // Entry i of the 256-entry table.
    static unsigned long tableEntry(unsigned char i);
    // The standard checksum of n bytes: started at 0xFFFFFFFF, inverted at the end.
    static unsigned long crc32(const void* data, std::uint64_t n);
};

} // namespace vx
