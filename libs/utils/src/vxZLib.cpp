#include "vxZLib.h"

#include "vxGzipFile.h"

#include "platform/vxPlatform.h"

#include <zlib.h>

namespace vx {

int vxcompress(unsigned char* destination, unsigned long* destinationLength, const unsigned char* source,
               unsigned long sourceLength) {
    // zlib would write through a null destination or read through a null source.
    if (destinationLength == nullptr || destination == nullptr || (source == nullptr && sourceLength != 0))
        return vxcompressNoRoom;
    uLongf room = *destinationLength;
    static const Bytef nothing = 0;
    const int result = ::compress(destination, &room, source ? source : &nothing, sourceLength);
    if (result == Z_OK)
        *destinationLength = room;
    return result == Z_OK ? vxcompressOk : result == Z_MEM_ERROR ? vxcompressNoMemory : vxcompressNoRoom;
}

unsigned long vxcompressBound(unsigned long sourceLength) {
    return ::compressBound(sourceLength);
}

namespace detail {

gzipFile::~gzipFile() {
    close();
}

bool gzipFile::open(const string& path, openMode mode) {
    close();
    platform::fileHandle handle;
    if (path.empty() ||
        !handle.open(path, mode == forReading ? platform::fileHandle::openRead : platform::fileHandle::openWrite))
        return false;
    // zlib closes what it is given; the handle closes its own descriptor.
    const int descriptor = platform::duplicateDescriptor(handle);
    handle.close();
    if (descriptor < 0)
        return false;
    gzFile file = ::gzdopen(descriptor, mode == forReading ? "rb" : "wb");
    if (file == nullptr) {
        platform::discardDescriptor(descriptor);
        return false;
    }
    mFile = file;
    return true;
}

int gzipFile::read(void* buffer, unsigned size) {
    return mFile ? ::gzread(static_cast<gzFile>(mFile), buffer, size) : -1;
}

bool gzipFile::write(const void* data, unsigned size) {
    return mFile && ::gzwrite(static_cast<gzFile>(mFile), data, size) == static_cast<int>(size);
}

bool gzipFile::close() {
    if (!mFile)
        return true;
    gzFile file = static_cast<gzFile>(mFile);
    mFile = nullptr;
    return ::gzclose(file) == Z_OK;
}

} // namespace detail

} // namespace vx
