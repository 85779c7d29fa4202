// Benchmarks of the binary buffer's codecs: the CRC-32 of a memory block next to zlib's crc32, and
// base64 encoding and decoding next to OpenSSL's EVP_EncodeBlock and EVP_DecodeBlock.
//
// Names follow BM_<operation>_<implementation>/<bytes>; the implementation part starts with "vx"
// for the library and with "zlib" or "openssl" for the neighbour. Each neighbour checks once,
// before its loop, that it gives what the library gives; if not, it reports an error instead of a
// time.
#include "vxBinaryBuffer.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <zlib.h>

#include <cstdint>
#include <random>
#include <string>

namespace {

const std::string& randomBlock(std::size_t size) {
    static std::string bytes;
    if (bytes.size() != size) {
        std::mt19937 generator(42);
        bytes.resize(size);
        for (char& b : bytes)
            b = static_cast<char>(generator() & 0xFF);
    }
    return bytes;
}

unsigned long vxCrc(const std::string& bytes) {
    vx::calcCrc32 crc;
    crc.crc(bytes.data(), bytes.size());
    return ~crc.value() & 0xFFFFFFFFul;
}

unsigned long zlibCrc(const std::string& bytes) {
    return crc32(crc32(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
}

// --- CRC-32 -------------------------------------------------------------------------------------------

void BM_crc32_vxCalcCrc32(benchmark::State& state) {
    const std::string& bytes = randomBlock(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(vxCrc(bytes));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void BM_crc32_zlibCrc32(benchmark::State& state) {
    const std::string& bytes = randomBlock(static_cast<std::size_t>(state.range(0)));
    if (zlibCrc(bytes) != vxCrc(bytes)) {
        state.SkipWithError("zlib's crc32 and vx::calcCrc32 disagree");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(zlibCrc(bytes));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

BENCHMARK(BM_crc32_vxCalcCrc32)->Arg(64)->Arg(4096)->Arg(1 << 20);
BENCHMARK(BM_crc32_zlibCrc32)->Arg(64)->Arg(4096)->Arg(1 << 20);

// --- base64 -------------------------------------------------------------------------------------------

// Bytes processed are the binary bytes, in both directions, so the two rows compare.
void BM_base64Encode_vx(benchmark::State& state) {
    const std::string& bytes = randomBlock(static_cast<std::size_t>(state.range(0)));
    std::string text;
    for (auto _ : state) {
        text.clear();
        vx::base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(bytes.size()),
                          text);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void BM_base64Decode_vx(benchmark::State& state) {
    const std::string& bytes = randomBlock(static_cast<std::size_t>(state.range(0)));
    std::string text, back;
    vx::base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(bytes.size()), text);
    vx::base64_decode(text, back);
    if (back != bytes) {
        state.SkipWithError("base64 does not give the bytes back");
        return;
    }
    for (auto _ : state) {
        back.clear();
        vx::base64_decode(text, back);
        benchmark::DoNotOptimize(back.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

// OpenSSL writes a terminating null after the text, and decodes the padding of the last group
// as zero bytes, which the comparison leaves out.
void BM_base64Encode_openssl(benchmark::State& state) {
    const std::string& bytes = randomBlock(static_cast<std::size_t>(state.range(0)));
    std::string expected;
    vx::base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(bytes.size()),
                      expected);
    std::string text(expected.size() + 1, '\0');
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&text[0]),
                                       reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    if (text.compare(0, static_cast<std::size_t>(length), expected) != 0) {
        state.SkipWithError("EVP_EncodeBlock and vx::base64_encode disagree");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&text[0]),
                                                 reinterpret_cast<const unsigned char*>(bytes.data()),
                                                 static_cast<int>(bytes.size())));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void BM_base64Decode_openssl(benchmark::State& state) {
    const std::string& bytes = randomBlock(static_cast<std::size_t>(state.range(0)));
    std::string text;
    vx::base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(bytes.size()), text);
    std::string back(text.size() / 4 * 3, '\0');
    const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(&back[0]),
                                       reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    if (length < static_cast<int>(bytes.size()) || back.compare(0, bytes.size(), bytes) != 0) {
        state.SkipWithError("EVP_DecodeBlock does not give the bytes back");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(EVP_DecodeBlock(reinterpret_cast<unsigned char*>(&back[0]),
                                                 reinterpret_cast<const unsigned char*>(text.data()),
                                                 static_cast<int>(text.size())));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

// The buffer's own form: the content replaced by its text, and back.
void BM_base64RoundTrip_vxBinaryBuffer(benchmark::State& state) {
    const std::string& bytes = randomBlock(static_cast<std::size_t>(state.range(0)));
    vx::binaryBuffer buffer;
    for (auto _ : state) {
        buffer.clear();
        buffer.write(bytes.data(), bytes.size());
        buffer.base64Encode();
        buffer.base64Decode();
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

BENCHMARK(BM_base64Encode_vx)->Arg(64)->Arg(1 << 20);
BENCHMARK(BM_base64Decode_vx)->Arg(64)->Arg(1 << 20);
BENCHMARK(BM_base64Encode_openssl)->Arg(64)->Arg(1 << 20);
BENCHMARK(BM_base64Decode_openssl)->Arg(64)->Arg(1 << 20);
BENCHMARK(BM_base64RoundTrip_vxBinaryBuffer)->Arg(1 << 20);

} // namespace

BENCHMARK_MAIN();
