#include "vxZLib.h"

#include "vxGzipFile.h"

#include "platform/files.h"

#include <zlib.h>

#include <climits>
#include <cstdint>
#include <cstring>

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

// The stream state: the open file (or the memory in its place), zlib's stream and one buffer of
// compressed bytes.
struct gzipFile::state {
    static constexpr std::size_t kChunk = 64 * 1024;

    platform::fileHandle file;
    const unsigned char* memory = nullptr; // reading from memory: the bytes not yet taken
    std::uint64_t memoryLeft = 0;
    bool fromMemory = false;
    std::function<bool(const void*, std::size_t)> sink; // writing to memory
    z_stream stream{};
    bool writing = false;
    bool streamReady = false;  // inflateInit2 or deflateInit2 succeeded
    bool direct = false;       // reading data that is not gzip: passed through
    bool atEnd = false;        // nothing more to deliver
    bool failed = false;       // damaged data or a read or write error
    bool cutShort = false;     // the data ended inside a gzip member
    bool fileEnded = false;    // the file has no more bytes
    bool leftOut = false;      // a member ended and what followed was not another one
    unsigned char buffer[kChunk];

    ~state() {
        if (streamReady)
            writing ? deflateEnd(&stream) : inflateEnd(&stream);
    }

    // Refills the input from the file when it is empty; false on a read error.
    bool fill() {
        if (stream.avail_in > 0 || fileEnded)
            return true;
        std::size_t done = 0;
        if (!readSource(buffer, kChunk, done))
            return false;
        fileEnded = done < kChunk;
        stream.next_in = buffer;
        stream.avail_in = static_cast<uInt>(done);
        return true;
    }

    // Whether the unread input starts a gzip member; reads on when fewer than two bytes wait.
    bool gzipFollows() {
        if (stream.avail_in < 2 && !fileEnded) {
            unsigned char head[2];
            std::size_t have = stream.avail_in;
            for (std::size_t i = 0; i < have; ++i)
                head[i] = stream.next_in[i];
            std::size_t done = 0;
            if (!readSource(buffer + have, kChunk - have, done))
                return false;
            for (std::size_t i = 0; i < have; ++i)
                buffer[i] = head[i];
            fileEnded = done < kChunk - have;
            stream.next_in = buffer;
            stream.avail_in = static_cast<uInt>(have + done);
        }
        return stream.avail_in >= 2 && stream.next_in[0] == 0x1F && stream.next_in[1] == 0x8B;
    }

    // Writes what deflate produced into the buffer, if anything.
    bool drain() {
        const std::size_t produced = kChunk - stream.avail_out;
        stream.next_out = buffer;
        stream.avail_out = static_cast<uInt>(kChunk);
        return produced == 0 || (sink ? sink(buffer, produced) : file.write(buffer, produced));
    }

    bool readSource(unsigned char* into, std::size_t room, std::size_t& done) {
        if (!fromMemory)
            return file.read(into, room, done);
        done = memoryLeft < room ? static_cast<std::size_t>(memoryLeft) : room;
        if (done > 0)
            std::memcpy(into, memory, done);
        memory += done;
        memoryLeft -= done;
        return true;
    }

    // Sets zlib up once the source or target is there.
    bool start() {
        if (writing) {
            // The parameters of gzopen's "wb": the default level, a gzip wrapper, the default memory.
            if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK)
                return false;
            stream.next_out = buffer;
            stream.avail_out = static_cast<uInt>(kChunk);
        } else {
            if (inflateInit2(&stream, MAX_WBITS + 16) != Z_OK)
                return false;
            if (!gzipFollows()) {
                if (failed)
                    return false;
                direct = true;
            }
        }
        streamReady = true;
        return true;
    }
};

gzipFile::gzipFile() = default;

gzipFile::~gzipFile() {
    close();
}

bool gzipFile::open(const string& path, openMode mode) {
    close();
    auto s = std::make_unique<state>();
    s->writing = mode == forWriting;
    if (path.empty() ||
        !s->file.open(path, s->writing ? platform::fileHandle::openWrite : platform::fileHandle::openRead) ||
        !s->start())
        return false;
    mpState = std::move(s);
    return true;
}

bool gzipFile::openForReading(const void* data, std::uint64_t size) {
    close();
    auto s = std::make_unique<state>();
    s->fromMemory = true;
    s->memory = static_cast<const unsigned char*>(data);
    s->memoryLeft = data ? size : 0;
    if (!s->start())
        return false;
    mpState = std::move(s);
    return true;
}

bool gzipFile::openForWriting(std::function<bool(const void*, std::size_t)> sink) {
    close();
    auto s = std::make_unique<state>();
    s->writing = true;
    s->sink = std::move(sink);
    if (!s->sink || !s->start())
        return false;
    mpState = std::move(s);
    return true;
}

int gzipFile::read(void* buffer, unsigned size) {
    state* s = mpState.get();
    if (!s || s->writing || s->failed)
        return -1;
    if (size > static_cast<unsigned>(INT_MAX))
        size = static_cast<unsigned>(INT_MAX);
    unsigned char* out = static_cast<unsigned char*>(buffer);
    unsigned got = 0;
    while (got < size && !s->atEnd) {
        if (!s->fill()) {
            s->failed = true;
            return -1;
        }
        if (s->direct) {
            if (s->stream.avail_in == 0) {
                s->atEnd = true;
                break;
            }
            const unsigned n = s->stream.avail_in < size - got ? s->stream.avail_in : size - got;
            std::memcpy(out + got, s->stream.next_in, n);
            s->stream.next_in += n;
            s->stream.avail_in -= n;
            got += n;
            continue;
        }
        if (s->stream.avail_in == 0) {
            // The file ended inside a member: deliver what there is, and let close tell.
            s->cutShort = true;
            s->atEnd = true;
            break;
        }
        s->stream.next_out = out + got;
        s->stream.avail_out = size - got;
        const int result = inflate(&s->stream, Z_NO_FLUSH);
        got = size - s->stream.avail_out;
        if (result == Z_STREAM_END) {
            // Another member may follow; anything else after a member is ignored.
            if (s->gzipFollows())
                inflateReset(&s->stream);
            else
                s->atEnd = s->leftOut = true;
        } else if (result != Z_OK && result != Z_BUF_ERROR) {
            s->failed = true;
            return -1;
        }
    }
    return static_cast<int>(got);
}

std::uint64_t gzipFile::ignoredBytes() {
    state* s = mpState.get();
    if (!s || s->writing || !s->leftOut)
        return 0;
    std::uint64_t count = s->stream.avail_in;
    s->stream.avail_in = 0;
    while (!s->fileEnded) {
        std::size_t done = 0;
        if (!s->readSource(s->buffer, state::kChunk, done))
            break;
        s->fileEnded = done < state::kChunk;
        count += done;
    }
    return count;
}

bool gzipFile::write(const void* data, unsigned size) {
    state* s = mpState.get();
    if (!s || !s->writing || s->failed)
        return false;
    s->stream.next_in = static_cast<Bytef*>(const_cast<void*>(data));
    s->stream.avail_in = size;
    while (s->stream.avail_in > 0) {
        if (deflate(&s->stream, Z_NO_FLUSH) == Z_STREAM_ERROR || (s->stream.avail_out == 0 && !s->drain())) {
            s->failed = true;
            return false;
        }
    }
    return true;
}

bool gzipFile::close() {
    if (!mpState)
        return true;
    std::unique_ptr<state> s = std::move(mpState);
    bool ok = !s->failed;
    if (s->writing && ok) {
        for (;;) {
            const int result = deflate(&s->stream, Z_FINISH);
            if (result == Z_STREAM_ERROR || !s->drain()) {
                ok = false;
                break;
            }
            if (result == Z_STREAM_END)
                break;
        }
    }
    if (!s->writing && s->cutShort)
        ok = false;
    return (s->fromMemory || s->sink || s->file.close()) && ok;
}

} // namespace detail

} // namespace vx
