// Compound documents: one file holding any number of named byte blocks.
//
// The blocks lie one after another from the start of the file, as given (nothing here compresses
// them). Behind them comes a dictionary, and a fixed trailer at the very end points to it, so a
// reader seeks from the end and then jumps straight to any block:
//
//     block data ... | "vxcompoundDoc" | entries, sorted bytewise by name | 0 | "vxcompoundDoc" | D
//
// D is the offset of the first magic. An entry is the length of its name (never 0), the name
// (8-bit text without a terminating null), the offset of the block's first byte and the offset
// one past its last. Every integer is unsigned 64-bit little-endian, on every platform. A
// document without blocks is 42 bytes long.
//
// Names are at most 127 bytes long: the reader refuses longer ones, so the writer refuses them
// too. A reader and a writer on one file at once are not supported; an object belongs to one
// thread.
#pragma once

#include "vxExport.h"
#include "vxFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vx {

class binaryBuffer;

// The open file, the dictionary and the position shared by reader and writer (internal).
struct compoundDocRecord;

class VX_API compoundDocWriter {
public:
    // The longest name a block may have, in bytes.
    static constexpr std::size_t maxNameLength = 127;

    // Opens nothing; create or the first write does.
    explicit compoundDocWriter(const vx::file& target);
    // Completes an open document as close does; a failure is not reported, and leaves the file
    // without a valid trailer.
    ~compoundDocWriter();
    compoundDocWriter(const compoundDocWriter&) = delete;
    compoundDocWriter& operator=(const compoundDocWriter&) = delete;

    // Starts a new, empty document: an existing file of that name is removed first. Throws
    // unexpectedErrorException when a document is already open, writeFileException when the
    // file cannot be removed or made (an existing file then stays as it was).
    void create();
    // Appends a block of n bytes behind the last one; an empty block is allowed. Creates the
    // document first if none is open. A name that is null, empty, longer than maxNameLength or
    // already written, and data that is null while n is not 0, throw unexpectedErrorException
    // before anything is touched. A failed write throws writeFileException; the block is then
    // not in the dictionary, and the next block, flush or close starts where it started.
    void write(const char* name, void* data, std::uint64_t n);
    // Whether a block of exactly this name (case counts) was written since create.
    bool has(const char* name);
    // Writes the dictionary and trailer behind the blocks, so the file is a complete document
    // now; a later write overwrites that dictionary, and the next flush or close writes the new
    // one behind it. Throws unexpectedErrorException when no document is open,
    // writeFileException when the dictionary cannot be written.
    void flush();
    // Completes the document as flush does and closes the file; nothing when none is open. The
    // file is closed even when the dictionary cannot be written, and writeFileException is
    // thrown. The names written stay known to has until the next create.
    void close();

    const vx::file& file() const;

private:
    compoundDocRecord* mpRecord;
};

class VX_API compoundDocReader {
public:
    // Opens nothing; open does.
    explicit compoundDocReader(const vx::file& source);
    ~compoundDocReader();
    compoundDocReader(const compoundDocReader&) = delete;
    compoundDocReader& operator=(const compoundDocReader&) = delete;

    // Opens the document and reads its dictionary. Throws unexpectedErrorException when it is
    // already open, readFileException when the file cannot be opened, and
    // invalidFileFormatException when the trailer, the magics or the dictionary are not as they
    // must be (a name longer than 127 bytes included). After either of the last two the reader
    // is closed and knows no blocks, so open may be tried again. Neither the offsets of the
    // blocks nor the uniqueness of names are checked: of two equal names the first stands, and a
    // name holding a null byte is listed but cannot be asked for.
    void open();
    // True when the document is open; otherwise whether the file ends in a trailer with the
    // magic (its size read as file::size gives it).
    bool isValid() const;
    // Whether the open document has a block of exactly this name (case counts).
    bool has(const char* name);
    // The length of the block, 0 for an unknown name (and for an entry whose end lies before
    // its start).
    std::uint64_t length(const char* name);
    // Replaces the content of out by the block. False for an unknown name and for a block that
    // does not lie inside the file (out then stays as it was), and when it cannot be read (out
    // is then empty).
    bool read(const char* name, binaryBuffer& out);
    // The names of the blocks in bytewise order; false when there are none.
    bool getDictionary(std::vector<std::string>& names) const;
    // Closes the document and forgets its dictionary; nothing when none is open.
    void close();

    const vx::file& file() const;

private:
    compoundDocRecord* mpRecord;
};

// The blocks the library knows by name, and access to them.
//
//   "thumbnail"        the bytes of an image file, unchanged
//   "thumbnailformat"  the image's extension in lower case: a 4-byte little-endian count of
//                      16-bit units, then the units as UTF-16LE; the count includes the
//                      terminating null, which is stored ("png" is 4, p n g 0)
//   "productioninfo"   application data
//   "info"             application data
class VX_API compoundDocUtils {
public:
    compoundDocUtils() = delete;

    // Writes the image file as "thumbnail" and its extension as "thumbnailformat". False when
    // the image does not exist or cannot be read; the exceptions of write pass through.
    static bool writeThumbnail(const vx::file& image, compoundDocWriter& writer);
    // Each empties out, opens doc and reads its block: true when out then holds something. The
    // exceptions of open pass through, so a file that is no compound document throws.
    static bool extractThumbnail(const vx::file& doc, binaryBuffer& out);
    static bool extractProductionInfo(const vx::file& doc, binaryBuffer& out);
    static bool extractInfo(const vx::file& doc, binaryBuffer& out);
};

} // namespace vx
