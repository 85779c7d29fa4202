// gzip files through zlib, opened by the platform layer, and gzip data in memory (internal).
//
// zlib's stream functions run over a file that the platform layer opened, never over a path of
// zlib's own: the library's path mapping (drives, case, shares) stays the only way from a name to
// a file. The bytes and the reading rules are those of zlib's gz functions: one gzip member
// written, concatenated members read in turn, data that is not gzip passed through, and
// anything after the last member that does not start a new one ignored.
#pragma once

#include "vxString.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace vx::detail {

class gzipFile {
public:
    enum openMode {
        forReading, // gzip data is inflated; anything else is passed through unchanged
        forWriting, // created or truncated; written as one gzip member
    };

    gzipFile();
    ~gzipFile();
    gzipFile(const gzipFile&) = delete;
    gzipFile& operator=(const gzipFile&) = delete;

    // False when the file cannot be opened or zlib refuses it.
    bool open(const string& path, openMode mode);
    // Reads the size bytes at data, which must stay as they are until close, as a file of them.
    bool openForReading(const void* data, std::uint64_t size);
    // Writes to sink instead of a file, in pieces; a false from sink is a failed write.
    bool openForWriting(std::function<bool(const void* data, std::size_t size)> sink);
    // The bytes read (at most size), 0 at the end, negative on failure (damaged or cut data).
    int read(void* buffer, unsigned size);
    // True when all size bytes were taken.
    bool write(const void* data, unsigned size);
    // After read has answered 0: the bytes after the last gzip member that were not gzip data
    // and were left out (read to the end to count them); 0 for data that is not gzip at all.
    std::uint64_t ignoredBytes();
    // Flushes and closes; false when anything could not be written or closed, and after reading
    // when the gzip data ended in the middle of a stream (zlib's reads end quietly there).
    bool close();

private:
    struct state;
    std::unique_ptr<state> mpState;
};

} // namespace vx::detail
