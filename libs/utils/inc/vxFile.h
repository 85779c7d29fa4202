// file: a file that may or may not exist.
//
// A file object is its path and nothing more: it holds no open handle, and each operation
// opens, acts and closes. Operations report failure by their result and leave the object as it
// was; none of them throws. Every operation answers false (0, or accessMissing) for a file with
// an empty name.
#pragma once

#include "vxExport.h"
#include "vxFsEntry.h"
#include "vxFsEntryName.h"
#include "vxString.h"

#include <cstdint>

namespace vx {

class directory;
class version;
class timestamp;

// What an executable image is built for: the magic of its optional header, or 1 for a managed
// image that runs as either width. Based on int, so that any other magic (0x107 of a ROM image)
// is carried as it is.
enum _pe_architecture : int {
    peArchitectureUnknown = 0, // unknown, or the file could not be read
    peArchitectureAny = 1,     // a managed image that may run as 32 or 64 bits
    peArchitecture32 = 0x10B,
    peArchitecture64 = 0x20B,
};

class VX_API file : public fsEntry {
public:
    // The bit values of the C access functions.
    enum eAccessMode {
        accessNone = 0,      // neither readable nor writeable
        accessWrite = 2,     // may be written
        accessRead = 4,      // may be read
        accessReadWrite = 6, // both
        accessMissing = -1,  // the file does not exist
    };

    // An empty name.
    file();
    // text normalised by fsEntryName::setName: a relative text is taken from the current
    // directory.
    explicit file(const string& text);
    // directoryText and name joined by fsEntryName(directoryText, name, false). An empty
    // directoryText gives an empty name, whatever name holds.
    file(const string& directoryText, const string& name);
    // name within dir (an empty dir gives an empty name).
    file(const directory& dir, const string& name);
    // name as it stands or, when extra is not empty, fsEntryName(name, extra, false).
    explicit file(const fsEntryName& name, const string& extra = string());
    file(const file& other);
    file& operator=(const file& other);
    ~file() override;

    // Takes the text of name as it stands.
    file& operator=(const fsEntryName& name);

    // True if the name exists and is not a directory.
    bool exists() const override;
    // Whether the file may be accessed as m asks (accessNone tests existence alone).
    bool check(eAccessMode m) const;
    // accessMissing, or accessRead and accessWrite (by isWriteable) combined.
    eAccessMode accessMode() const;
    bool isReadable() const;
    // For an existing file, whether it may be written. For a missing one, whether it could be
    // made: the file is created, tested and removed again, which answers for the directory's
    // rights too.
    bool isWriteable() const;

    // Sets the rights of an existing file: accessRead and accessWrite of m.
    bool change(eAccessMode m) const;
    // Makes a new empty file with the rights of m; false if the name exists.
    bool create(eAccessMode m = accessReadWrite) const;
    // Give or take away one right. Giving a right to a file that has neither answers true and
    // changes nothing. False for a missing file.
    bool allowRead(bool allow) const;
    bool allowWrite(bool allow) const;

    // Copies bytes, rights and times to target; with overwrite false an existing target is
    // false.
    bool copy(const file& target, bool overwrite) const;
    // Moves the file to target, which must not exist. This object keeps its name.
    bool move(const file& target) const;
    // Removes an existing file; false for a read-only one.
    bool remove() const;
    // newName is a name in the same directory. False, with nothing done, if a file of that
    // name exists. On success this object takes the new name.
    bool rename(const string& newName) override;
    // Renames to the bare name (cut at the last dot when lastDot is true, at the first when it
    // is false), followed by "." and ext when ext is neither null nor empty.
    bool setExtension(const wchar_t* ext, bool lastDot = true);

    // The size in bytes modulo 2^32 (the size is a 32-bit value); 0 when the name cannot be
    // examined.
    unsigned long size() const;
    // Seconds since 1970: the time of the last status change, which stands in for the creation
    // time, and the time of the last modification. 0 when the name cannot be examined.
    std::int64_t creationTime() const;
    std::int64_t lastModificationTime() const;
    // Sets the modification time of an existing file to the low 32 bits of t, sign-extended.
    // True once the file exists, also when the time could not be set (a read-only file).
    bool setLastModificationTime(const std::int64_t& t) const;
    // The same with a local timestamp, converted to seconds since 1970. A timestamp the system
    // cannot convert answers false and changes nothing.
    bool setLastModificationTime(const timestamp& t) const;
    // Gives this file the times (unless it is read-only) and the rights of other. True
    // whatever happens, unless a name is empty.
    bool setFilePropsLike(const file& other) const;
    // Appends this file's bytes to target in items of 2 bytes: an odd last byte is left out.
    // At most the bytes the file held when the copy began are read, so appending a file to
    // itself ends.
    bool appendTo(const file& target) const;
    // The CRC-32 of the file's bytes (IEEE 802.3, as zlib's crc32). False for a missing file,
    // with crc not written; 0 and false when it cannot be opened.
    bool getCrc32(unsigned long& crc);
    // True for the same name in any case, without looking at the files; otherwise true only
    // when both files can be read and have the same CRC-32.
    bool isIdenticalTo(const file& other) const;

    // Writes this file's bytes to target in gzip form, reading chunks of 1024 bytes. After each
    // chunk, progress (when not null) is called with (written / size) * 100, computed in 32-bit
    // unsigned integers (so 0 until the last chunk, then 100; 100 when the size is 0), and with
    // context; false from it cancels. A missing source leaves target untouched; a failure or a
    // cancel after target was opened leaves the partial target on disk. False when target is
    // this very file.
    bool gzCompressTo(const file& target, bool (*progress)(double, void*) = nullptr, void* context = nullptr) const;
    // Writes the bytes that this gzip file holds to target (a file that is not gzip data is
    // copied unchanged), 1024 bytes at a time. Progress as for gzCompressTo, with the bytes
    // written and the size of this file: a whole multiple of 100 that can pass 100. Damaged or
    // cut gzip data, a failed write and a cancel give false and leave the partial target; a
    // source that cannot be opened leaves target untouched. False when target is this file.
    bool gzUncompressTo(const file& target, bool (*progress)(double, void*) = nullptr, void* context = nullptr) const;
    // As above; ignoredBytes receives the number of bytes after the last gzip member that are
    // not gzip data and were left out (0 when there are none), so that a caller can say so.
    bool gzUncompressTo(const file& target, std::uint64_t& ignoredBytes, bool (*progress)(double, void*) = nullptr,
                        void* context = nullptr) const;

    // The four numbers of the version resource of an executable. This system's executables
    // have none: the answer is false and the arguments are not written.
    bool getFixedFileVersion(unsigned& a, unsigned& b, unsigned& c, unsigned& d) const;
    bool getFixedFileVersion(version& v) const;
    bool getFixedProductVersion(unsigned& a, unsigned& b, unsigned& c, unsigned& d) const;
    bool getFixedProductVersion(version& v) const;
    // "a.b.c.d" with each number padded with '0' to width digits (at most 32). False, with text
    // emptied, when there is no version resource.
    bool getFixedFileVersionString(string& text, unsigned width) const;
    bool getFixedProductVersionString(string& text, unsigned width) const;

    // Reserves a new file name in dir (the temporary directory when dir's name is empty) by
    // creating an empty file: "<thread id>_<counter>[.extension]", the counter starting at
    // the current time in seconds and counting up past names in use. When no file can be
    // made there (a missing or read-only directory, or a million names in use), the result
    // has an empty name.
    static file generateRandomFile(const directory& dir, const string& extension);
    // text without \ / : ? " < > |  (* and # stay).
    static string removeIllegalFileChars(const string& text);

private:
    bool versionNumbers(bool product, unsigned (&numbers)[4]) const;
    bool versionString(bool product, string& text, unsigned width) const;
};

// The architecture a Windows executable (PE image) is built for, read from the file's bytes on
// every system: the magic of the optional header (0x10B, 0x20B), or peArchitectureAny for an image
// whose magic is 0x10B and whose managed header, found through the 8 bytes at 0xF8 behind the
// "PE" signature, does not require 32 bits. peArchitectureUnknown when the file cannot be read,
// the "MZ" or "PE\0\0" signature is missing, or a structure needed lies beyond its end.
VX_API _pe_architecture imageArchitecture(const file& f);

} // namespace vx
