// Open files (internal).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vx::platform {

// An open regular file; closed when the object ends. Only regular files open: a directory,
// a pipe or a device gives false, without waiting for a peer.
class fileHandle {
public:
    enum openMode {
        openRead,   // existing file, from its start
        openWrite,  // created or truncated
        openAppend, // created or appended to
    };

    fileHandle() = default;
    ~fileHandle();
    fileHandle(fileHandle&& other) noexcept;
    fileHandle& operator=(fileHandle&& other) noexcept;
    fileHandle(const fileHandle&) = delete;
    fileHandle& operator=(const fileHandle&) = delete;

    bool open(const std::wstring& path, openMode mode);
    bool isOpen() const { return mHandle != kClosed; }
    // Reads up to size bytes; fewer only at the end of the file. False on a read error.
    bool read(void* buffer, std::size_t size, std::size_t& done);
    // Writes all size bytes or answers false.
    bool write(const void* data, std::size_t size);
    // False when closing reports an error (written data may be lost).
    bool close();

    // Moves the position to offset bytes from the start. A position beyond the end is allowed:
    // a read there gives nothing and a write extends the file. False for a closed handle and
    // for an offset the system cannot represent.
    bool seek(std::uint64_t offset);
    // The current length of the open file, whatever the position.
    bool length(std::uint64_t& bytes) const;
    // The length as above, and whether the file's name has been removed while it is open (what
    // is written after that is lost with the file). One system call on each side.
    bool lengthAndRemoved(std::uint64_t& bytes, bool& removed) const;
    // Cuts the open file to length bytes (or extends it with zero bytes); the position stays.
    bool truncate(std::uint64_t bytes);

private:
    // A descriptor on POSIX systems, a HANDLE on Windows; both systems use -1 for none.
    static constexpr std::intptr_t kClosed = -1;
    std::intptr_t mHandle = kClosed;
};

} // namespace vx::platform
