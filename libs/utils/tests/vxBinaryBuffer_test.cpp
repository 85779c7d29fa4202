#include <vxBinaryBuffer.h>
#include <vxDirectory.h>
#include <vxEnvironment.h>
#include <vxException.h>
#include <vxZLib.h>

#include "testSupport.h"

#include <cstring>
#include <utility>

using vx::binaryBuffer, vx::file, vx::string;

// Under AddressSanitizer too a request for more memory than can be had must answer null.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

using vxtest::bytesOf, vxtest::check, vxtest::crcRunning, vxtest::openDescriptors, vxtest::randomBytes;

binaryBuffer bufferOf(const std::string& bytes, std::uint64_t room = 0) {
    binaryBuffer b(room);
    b.write(bytes.data(), bytes.size());
    return b;
}

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Base64 as a stream of 6-bit groups, independent of the library's three-byte steps.
std::string referenceBase64(const std::string& bytes) {
    std::string text;
    const std::size_t bits = bytes.size() * 8;
    for (std::size_t at = 0; at < bits; at += 6) {
        unsigned value = 0;
        for (std::size_t b = at; b < at + 6; ++b)
            value = value << 1 | (b < bits ? (static_cast<unsigned char>(bytes[b / 8]) >> (7 - b % 8)) & 1u : 0u);
        text += kAlphabet[value];
    }
    while (text.size() % 4)
        text += '=';
    return text;
}

// A fresh temporary directory whose "tmp" is the gzip codecs' temporary directory, to see what they leave.
class bufferTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir.makeDirs("tmp");
        vxtest::setMode(dir.path(), 0777); // reachable for the unprivileged child too
        vxtest::setMode(dir / "tmp", 0777);
        vx::directory::setThreadTempDir(vx::getCurrentThreadId(), temp());
    }
    void TearDown() override { vx::directory::setThreadTempDir(vx::getCurrentThreadId(), vx::directory()); }

    file at(const std::string& name) const { return file(dir.windowsForm(name)); }
    void write(const std::string& name, const std::string& bytes) const { dir.makeFile(name, bytes, 0666); }
    std::string read(const std::string& name) const { return dir.read(name); }
    vx::directory temp() const { return vx::directory(dir.windowsForm("tmp")); }
    std::size_t leftovers() const { return dir.count("tmp"); }

    vxtest::tempDir dir;
};

TEST(binaryBufferRoom, constructorsGrowthAndShrinkSetExactLengths) {
    const binaryBuffer none(0), room(16);
    EXPECT_TRUE(none.data() == nullptr && none.physicalLength() == 0u && room.data() && room.physicalLength() == 16u);
    char* block = static_cast<char*>(std::malloc(5));
    std::memcpy(block, "abcde", 5);
    binaryBuffer adopted(block, 5);
    EXPECT_TRUE(adopted.data() == block && adopted.logicalLength() == 5u && adopted.physicalLength() == 5u);
    EXPECT_EQ(binaryBuffer(nullptr, 7).physicalLength(), 0u);
    // A copy has room for exactly the source's content.
    const binaryBuffer source = bufferOf("xyz", 32), copy(source), emptyRoom(9), emptyCopy(emptyRoom);
    EXPECT_TRUE(copy.physicalLength() == 3u && bytesOf(copy) == "xyz" && emptyCopy.data() == nullptr);
    // Growth is exact, without slack.
    binaryBuffer b(16);
    const struct { const char* bytes; bool atStart; std::uint64_t room; } steps[] = {
        {"12345", false, 16}, {"abcdefghijklmnopqrst", false, 25}, {"#", false, 26}, {">>", true, 28}};
    for (const auto& step : steps) {
        const auto n = std::strlen(step.bytes);
        step.atStart ? b.writeAtStart(step.bytes, n) : b.write(step.bytes, n);
        EXPECT_EQ(b.physicalLength(), step.room) << step.bytes;
    }
    EXPECT_EQ(bytesOf(b), ">>12345abcdefghijklmnopqrst#");
    // Room asked for ahead is exact too, and never taken back by a smaller request.
    b.reserve(100), b.reserve(50), b.clear();
    EXPECT_TRUE(b.logicalLength() == 0u && b.physicalLength() == 100u);
    // Shrinking leaves at least eight bytes of room: below that it grows. A full buffer stays as it is.
    const struct { std::uint64_t room, content, expected; } cases[] = {
        {16, 3, 8}, {20, 10, 10}, {9, 0, 8}, {8, 8, 8}, {10, 10, 10}, {0, 0, 0}, {5, 2, 8}, {3, 3, 3}};
    for (const auto& c : cases) {
        binaryBuffer shrunk = bufferOf(std::string("0123456789", c.content), c.room);
        shrunk.shrink();
        EXPECT_TRUE(shrunk.physicalLength() == c.expected && bytesOf(shrunk) == std::string("0123456789", c.content))
            << c.room << "/" << c.content;
    }
}

// Assignment grows only when short, moves take the block, equality looks at the content; unlinking leaves it empty.
TEST(binaryBufferRoom, assignmentMovesWritesFromInsideAndReadsFollowTheCursorRules) {
    binaryBuffer big = bufferOf("0123456789", 32), small(4);
    const binaryBuffer abc = bufferOf("abc"), ten = bufferOf("0123456789");
    big = abc, small = ten;
    EXPECT_TRUE(bytesOf(big) == "abc" && big.physicalLength() == 32u);
    EXPECT_TRUE(bytesOf(small) == "0123456789" && small.physicalLength() == 10u);
    small = static_cast<const binaryBuffer&>(small); // onto itself
    binaryBuffer moved(std::move(small));
    EXPECT_TRUE(small.data() == nullptr && small.physicalLength() == 0u && bytesOf(moved) == "0123456789");
    EXPECT_TRUE(big == bufferOf("abc") && binaryBuffer(5) == binaryBuffer(0));
    EXPECT_FALSE(big == bufferOf("abd") || big == bufferOf("ab") || big == bufferOf(""));
    // Writes from inside the buffer survive its growth.
    binaryBuffer b = bufferOf("abcdef");
    b.write(b.data(), b.logicalLength());
    EXPECT_EQ(bytesOf(b), "abcdefabcdef");
    b.writeAtStart(b.data() + 3, 4);
    b.write(nullptr, 5), b.writeAtStart(nullptr, 5); // null sources write nothing
    EXPECT_EQ(bytesOf(b), "defaabcdefabcdef");
    // The logical length may only grow within the room.
    b.clear();
    b.write("abc", 3);
    EXPECT_FALSE(b.setLogicalLength(b.physicalLength() + 1));
    std::memcpy(b.data() + 3, "de", 2);
    EXPECT_TRUE(b.setLogicalLength(5));
    char* block = b.unlinkBuffer();
    EXPECT_EQ(std::string(block, 5), "abcde");
    std::free(block);
    EXPECT_TRUE(b.data() == nullptr && b.logicalLength() == 0u && b.physicalLength() == 0u);
    // Room that cannot be had throws and keeps the content.
    b = bufferOf("abc");
    EXPECT_THROW(b.reserve(1ull << 62), vx::outOfMemoryException);
    EXPECT_THROW(b.write("x", UINT64_MAX), vx::outOfMemoryException); // the length would wrap
    EXPECT_THROW(binaryBuffer(UINT64_MAX), vx::outOfMemoryException);
    EXPECT_TRUE(bytesOf(b) == "abc" && b.physicalLength() == 3u);
    // read follows the cursor rules.
    const binaryBuffer r = bufferOf("abcdefg", 16);
    void* cursor = nullptr;
    char out[16] = {};
    EXPECT_TRUE(r.read(cursor, out, 3) == 3u && cursor == r.data() + 3);
    EXPECT_TRUE(r.read(cursor, out, 10) == 4u && std::string(out, 4) == "defg"); // what remains
    EXPECT_TRUE(r.read(cursor, out, 1) == 0u && cursor == r.data() + 7); // at the end: nothing, the cursor stays
    EXPECT_EQ(r.read(cursor = nullptr, nullptr, 3), 0u);
    // Valid cursors lie within the content; only they are read from. One byte before the block is formed as a number,
    // as no pointer arithmetic forms it.
    const struct { const void* cursor; bool valid; } cases[] = {
        {r.data(), true}, {r.data() + 6, true}, {r.data() + 7, false}, {r.data() + 10, false}, {nullptr, true},
        {reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(r.data()) - 1), false}};
    for (const auto& c : cases) {
        void* at = const_cast<void*>(c.cursor);
        EXPECT_TRUE(r.isValidCursor(c.cursor) == c.valid && (r.read(at, out, 1) == 1u) == c.valid) << c.cursor;
    }
    // A null cursor on an empty buffer: nothing read, the cursor at the start of nothing.
    const binaryBuffer empty(16), none;
    void *start = nullptr, *still = nullptr;
    EXPECT_TRUE(!empty.isValidCursor(nullptr) && empty.read(start, out, 4) == 0u && start == empty.data());
    EXPECT_TRUE(none.read(still, out, 4) == 0u && still == nullptr);
}

TEST(codecs, base64Crc32Utf16AndScramblingAgreeWithTheirDefinitions) {
    const struct { std::string text, bytes; } cases[] = {
        {"TWFu", "Man"}, {"TQ", "M"}, {"TWE", "Ma"}, {"T", ""}, {"TQ==", "M"}, {"TWFuTQ==", "ManM"}, {"", ""},
        {"TWFu\nTWFu", "Man"}, {"TW=Fu", "M"}, {"=TWFu", ""}}; // every other stop: see the test of every place
    for (const auto& c : cases) {
        std::string out = "head:";
        vx::base64_decode(c.text, out);
        EXPECT_EQ(out, "head:" + c.bytes) << c.text;
    }
    std::string out = "head:";
    vx::base64_encode(reinterpret_cast<const unsigned char*>("Man"), 3, out);
    vx::base64_encode(nullptr, 3, out);
    EXPECT_EQ(out, "head:TWFu");
    // In a buffer a null is appended (one byte more of room) unless one ends it; the text ends at the first null.
    const struct { std::string in, out; std::uint64_t room; } inBuffer[] = {
        {"TWFu", "Man", 5}, {std::string("TQ\0", 3), "M", 3}, {std::string("TWE\0TWFu", 8), "Ma", UINT64_MAX},
        {"", "", UINT64_MAX}};
    for (const auto& c : inBuffer) {
        binaryBuffer b = bufferOf(c.in);
        ASSERT_TRUE(b.base64Decode());
        EXPECT_TRUE(bytesOf(b) == c.out && (c.room == UINT64_MAX || b.physicalLength() == c.room)) << c.in;
    }
    // Encoding keeps a wider room and grows a short one to the text.
    const struct { std::string bytes; std::uint64_t roomBefore, roomAfter; } encoded[] = {
        {"Man", 3, 4}, {"Man", 64, 64}, {"M", 4, 4}, {std::string(300, 'x'), 300, 400}, {"", 0, 0}, {"", 16, 16}};
    for (const auto& c : encoded) {
        binaryBuffer b = bufferOf(c.bytes, c.roomBefore);
        ASSERT_TRUE(b.base64Encode());
        EXPECT_TRUE(bytesOf(b) == referenceBase64(c.bytes) && b.physicalLength() == c.roomAfter) << c.bytes;
    }
    // Every length from 0 to 300 and a few large ones take each way through the fast steps and the final group.
    std::vector<std::size_t> sizes = {4095, 65537, 1 << 20};
    for (std::size_t n = 0; n <= 300; ++n)
        sizes.push_back(n);
    for (const std::size_t n : sizes) {
        const std::string bytes = randomBytes(n, static_cast<unsigned>(n));
        std::string text, back;
        vx::base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(n), text);
        vx::base64_decode(text, back);
        ASSERT_EQ(back, bytes) << n;
        ASSERT_TRUE(n > 300 || text == referenceBase64(bytes)) << n;
    }
    // Any byte outside the alphabet at character k, wherever in a fast step, leaves the first k * 6 / 8 bytes.
    const std::string bytes = randomBytes(54, 3), whole = referenceBase64(bytes);
    for (int value = 0; value < 256; ++value) {
        const char stop = static_cast<char>(value);
        for (std::size_t at = 0; at < whole.size() && kAlphabet.find(stop) == std::string::npos; ++at) {
            std::string text = whole;
            text[at] = stop;
            std::string out = "head:";
            vx::base64_decode(text, out);
            ASSERT_EQ(out, "head:" + bytes.substr(0, at * 3 / 4)) << at << " " << value;
            binaryBuffer b = bufferOf(text); // decoded in place
            ASSERT_TRUE(b.base64Decode());
            ASSERT_EQ(bytesOf(b), bytes.substr(0, at * 3 / 4)) << at << " " << value;
        }
    }
    // CRC-32 matches the bitwise definition on random data fed in pieces, and at every length to 4096 from every
    // start within 16 bytes at once: the folding from 64 bytes on, its steps and the tail.
    std::mt19937 generator(7);
    for (std::size_t size : {0, 1, 7, 15, 16, 17, 33, 255, 4096, 65537, 300001}) {
        const std::string bytes = randomBytes(size, static_cast<unsigned>(size));
        vx::calcCrc32 running;
        for (std::size_t at = 0, piece = 0; at < size; at += piece)
            running.crc(bytes.data() + at, piece = std::min<std::size_t>(size - at, generator() % 40));
        EXPECT_EQ(~running.value() & 0xFFFFFFFFul, vxtest::referenceCrc(bytes)) << size;
    }
    const std::string data = randomBytes(4096 + 16, 99);
    for (std::size_t start = 0; start < 16; ++start) {
        std::uint32_t reference = 0xFFFFFFFFu;
        for (std::size_t n = 0; n <= 4096; reference = crcRunning(data.data() + start + n++, 1, reference))
            ASSERT_EQ(vx::CCrc32Dynamic::crc32(data.data() + start, n), ~reference & 0xFFFFFFFFul) << start << " " << n;
    }
    // The start value is the caller's, and only its low 32 bits count.
    vx::calcCrc32 zero(0), wide(static_cast<unsigned long>(0x1FFFFFFFFull)); // 32-bit long on Windows
    zero.crc("a", 1);
    EXPECT_TRUE(zero.value() == crcRunning("a", 1, 0) && wide.value() == 0xFFFFFFFFul);
    wide.setValue(static_cast<unsigned long>(0xABCDEF0123ull));
    EXPECT_EQ(wide.value(), 0xCDEF0123ul);
    // mbcsToWideChar gives UTF-16 in little-endian order.
    const struct { std::string in, out; } utf16[] = {
        {"", ""}, {"A", std::string("A\0", 2)}, {"\xC3\xA9", std::string("\xE9\0", 2)}, {"\xE2\x82\xAC", "\xAC\x20"},
        {"\xF0\x9F\x98\x80", std::string("\x3D\xD8\x00\xDE", 4)}, // a surrogate pair
        {std::string("a\0b", 3), std::string("a\0\0\0b\0", 6)},   // nulls are characters
        {"\xFF", "\xFD\xFF"}, {"\xE2\x82", "\xFD\xFF"}};         // ill-formed: U+FFFD
    for (const auto& c : utf16) {
        binaryBuffer b = bufferOf(c.in);
        b.mbcsToWideChar();
        EXPECT_EQ(bytesOf(b), c.out) << c.in;
    }
    // Scrambling is its own inverse and keeps the length.
    using scramble = void (binaryBuffer::*)(const string&);
    const std::string plain = randomBytes(1000, 3) + std::string(64, '\0');
    for (scramble s : {&binaryBuffer::bitwiseXor, &binaryBuffer::xxor, &binaryBuffer::xxorDontUseAnyLonger}) {
        for (const wchar_t* key : {L"k", L"secret key", L"\u00e9\u20ac", L""}) {
            binaryBuffer b = bufferOf(plain);
            (b.*s)(key);
            EXPECT_EQ(bytesOf(b) != plain, *key != 0) << "an empty key changes nothing";
            (b.*s)(key);
            EXPECT_EQ(bytesOf(b), plain);
        }
    }
    // The key's bytes are its UTF-8 form; zero bytes scrambled by xxor do not repeat the key.
    const struct { scramble s; const wchar_t* key; std::string bytes, scrambled; } known[] = {
        {&binaryBuffer::bitwiseXor, L"\u00e9", std::string(4, '\0'), "\xC3\xA9\xC3\xA9"},
        {&binaryBuffer::xxorDontUseAnyLonger, L"A", std::string(3, '\0'), "A@C"}};
    for (const auto& c : known) {
        binaryBuffer b = bufferOf(c.bytes);
        (b.*c.s)(c.key);
        EXPECT_EQ(bytesOf(b), c.scrambled);
    }
    binaryBuffer stream = bufferOf(std::string(64, '\0'));
    stream.xxor(L"k");
    EXPECT_NE(bytesOf(stream), std::string(64, 'k'));
}

// readFromFile appends and cancels between blocks, writeToFile replaces or appends; files also travel as base64 text.
TEST_F(bufferTest, filesReadWriteAndAsBase64Text) {
    write("f", "0123456789");
    binaryBuffer b = bufferOf("ab");
    ASSERT_TRUE(b.readFromFile(at("f")));
    EXPECT_TRUE(bytesOf(b) == "ab0123456789" && b.physicalLength() == 12u);
    binaryBuffer kept = bufferOf("x");
    EXPECT_FALSE(kept.readFromFile(at("missing")) || kept.readFromFile(file(dir.windowsForm())) ||
                 kept.readFromFile(file()));
    EXPECT_TRUE(bytesOf(kept) == "x" && kept.physicalLength() == 1u);
    // A cancel keeps the blocks read and closes the file; a callback is asked once per block.
    write("f", randomBytes(5000, 1));
    const std::size_t descriptors = openDescriptors();
    int calls = 0;
    binaryBuffer cancelled, whole;
    EXPECT_FALSE(cancelled.readFromFile(at("f"), [&calls] { return ++calls == 3; }));
    EXPECT_TRUE(calls == 3 && cancelled.logicalLength() == 2048u && cancelled.physicalLength() == 5000u);
    EXPECT_EQ(openDescriptors(), descriptors);
    calls = 0;
    EXPECT_TRUE(whole.readFromFile(at("f"), [&calls] { return ++calls < 0; }));
    EXPECT_TRUE(calls == 5 && bytesOf(whole) == read("f"));
    b = bufferOf("abc");
    EXPECT_TRUE(b.writeToFile(at("f"), false) && b.writeToFile(at("f"), true) && read("f") == "abcabc");
    EXPECT_TRUE(b.writeToFile(at("f"), false) && read("f") == "abc");
    EXPECT_TRUE(binaryBuffer().writeToFile(at("f"), false) && read("f").empty());
    EXPECT_FALSE(b.writeToFile(file(), false) || b.writeToFile(file(dir.windowsForm()), false));
    vxtest::setMode(dir / "f", 0444); // read-only for everyone, as on Windows
    EXPECT_TRUE(!b.writeToFile(at("f"), true) && !b.writeToFile(at("f"), false) && read("f").empty());
    // Files as base64 text, appended; a missing file adds nothing. Long enough for the fast steps, both ways.
    const std::string bytes = randomBytes(1000, 9), base64 = referenceBase64(bytes);
    write("in", bytes);
    string text = L"<";
    vx::binaryBufferUtil::writeFile(at("in"), text);
    vx::binaryBufferUtil::writeFile(at("missing"), text);
    EXPECT_EQ(text, L"<" + std::wstring(base64.begin(), base64.end()));
    vx::binaryBufferUtil::readFile(at("out"), text.substr(1), true);
    EXPECT_EQ(read("out"), bytes);
    // Only the low byte of each character counts: U+0154 reads as 'T'.
    vx::binaryBufferUtil::readFile(at("out"), L"\u0154WFu", true);
    vx::binaryBufferUtil::readFile(at("out"), L"", true); // skipped
    EXPECT_EQ(read("out"), "Man");
    vx::binaryBufferUtil::readFile(at("out"), L"", false);
    EXPECT_EQ(read("out"), "");
}

// gzip in memory gives the bytes of a gzip file, refuses damaged data, grows twofold and stops at a limit or a cancel;
// vxcompress makes a zlib stream.
TEST_F(bufferTest, gzipRoundTripsGrowthLimitsCancelsAndZlibStreams) {
    const auto gzipOf = [](const std::string& bytes) {
        binaryBuffer b = bufferOf(bytes);
        EXPECT_TRUE(b.gzCompress());
        return bytesOf(b);
    };
    const struct { const char* name; std::string bytes; } cases[] = {
        {"empty", ""}, {"1 MiB", std::string(1 << 20, 'z') + "end"}, {"incompressible", randomBytes(300000, 9)}};
    for (const auto& c : cases) {
        write("plain", c.bytes);
        ASSERT_TRUE(at("plain").gzCompressTo(at("packed"), nullptr, nullptr)) << c.name;
        binaryBuffer b = bufferOf(c.bytes);
        ASSERT_TRUE(b.gzCompress()) << c.name;
        EXPECT_TRUE(bytesOf(b) == read("packed") && b.isGZCompressed()) << c.name;
        EXPECT_TRUE(b.physicalLength() == b.logicalLength() && leftovers() == 0u) << c.name;
        ASSERT_TRUE(b.gzUncompress()) << c.name;
        EXPECT_TRUE(bytesOf(b) == c.bytes && leftovers() == 0u) << c.name;
    }
    const struct { std::string bytes; bool gzip; } magic[] = {
        {"", false}, {"\x1F\x8B", false}, {"\x1F\x8B\x08rest", true}, {"\x1F\x8B\x09", false}, {"\x8B\x1F\x08", false}};
    for (const auto& c : magic)
        EXPECT_EQ(bufferOf(c.bytes).isGZCompressed(), c.gzip) << c.bytes.size();
    // gzUncompress reads members as gzip files are read and refuses damaged data.
    const std::string a = gzipOf("first "), b = gzipOf("second");
    const struct { const char* what; std::string bytes; std::string expected; } members[] = {
        {"two members in turn", a + b, "first second"},
        {"anything after a member that starts no other is ignored", a + "garbage", "first "},
        {"so is a single byte", a + "\x1F", "first "}, {"plain data passes through", "plain", "plain"},
        {"a single byte too", "\x1F", "\x1F"}};
    for (const auto& c : members) {
        binaryBuffer buffer = bufferOf(c.bytes);
        EXPECT_TRUE(buffer.gzUncompress() && bytesOf(buffer) == c.expected) << c.what;
    }
    const std::string whole = gzipOf(randomBytes(10000, 4));
    std::string damaged = whole;
    for (std::size_t i = 20; i < 60; ++i)
        damaged[i] = static_cast<char>(~damaged[i]);
    const std::string cut = whole.substr(0, whole.size() / 2), badTrailer = whole.substr(0, whole.size() - 4) + "CRC!";
    for (const std::string& bytes : {damaged, cut, badTrailer}) {
        binaryBuffer refused = bufferOf(bytes);
        const std::size_t descriptors = openDescriptors();
        EXPECT_TRUE(!refused.gzUncompress() && bytesOf(refused) == bytes && openDescriptors() == descriptors);
    }
    // The room starts at twice the packed size and at least doubles when short: it ends below twice the content.
    const std::string zeros(64u << 20, '\0'), packed = gzipOf(zeros);
    binaryBuffer big = bufferOf(packed);
    ASSERT_TRUE(big.gzUncompress());
    EXPECT_TRUE(bytesOf(big) == zeros && big.physicalLength() < 2 * zeros.size());
    const struct { std::uint64_t limit; bool done; } limits[] = {
        {zeros.size(), true}, {zeros.size() - 1, false}, {1000, false}, {0, false}};
    for (const auto& l : limits) {
        binaryBuffer limited = bufferOf(packed);
        EXPECT_TRUE(limited.gzUncompress({}, l.limit) == l.done &&
                    limited.logicalLength() == (l.done ? zeros.size() : packed.size())) << l.limit;
    }
    // A cancel keeps the content too.
    const std::string small = gzipOf(std::string(3000, 'q'));
    binaryBuffer cancelled = bufferOf(small);
    int calls = 0;
    EXPECT_TRUE(!cancelled.gzUncompress([&calls] { return ++calls == 2; }) && calls == 2 &&
                bytesOf(cancelled) == small && cancelled.physicalLength() == small.size());
    EXPECT_TRUE(!cancelled.gzUncompress([] { return true; }) && bytesOf(cancelled) == small && leftovers() == 0u);
    // Asked once per block of 1024 bytes, and a callback may itself uncompress.
    calls = 0;
    const auto nested = [&calls] { binaryBuffer inner = bufferOf("x"); inner.gzUncompress(); return ++calls < 0; };
    EXPECT_TRUE(cancelled.gzUncompress(nested) && calls == 3 && bytesOf(cancelled) == std::string(3000, 'q'));
    // vxcompress makes a zlib stream that inflates.
    const std::string data = randomBytes(5000, 11) + std::string(20000, 'r');
    const auto* source = reinterpret_cast<const unsigned char*>(data.data());
    const auto size = static_cast<unsigned long>(data.size());
    std::vector<unsigned char> deflated(vx::vxcompressBound(size));
    unsigned long length = static_cast<unsigned long>(deflated.size());
    ASSERT_EQ(vx::vxcompress(deflated.data(), &length, source, size), vx::vxcompressOk);
    ASSERT_GT(length, 6u);
    EXPECT_TRUE(deflated[0] == 0x78 && (deflated[0] * 256 + deflated[1]) % 31 == 0);
    // The deflate data in a gzip frame (header, data, CRC-32, size) inflates to the bytes.
    std::string gzip("\x1F\x8B\x08\0\0\0\0\0\0\x03", 10);
    gzip.append(reinterpret_cast<const char*>(deflated.data()) + 2, length - 6);
    for (std::uint32_t value : {vxtest::referenceCrc(data), static_cast<std::uint32_t>(size)})
        for (int i = 0; i < 4; ++i)
            gzip += static_cast<char>(value >> (8 * i));
    binaryBuffer framed = bufferOf(gzip);
    ASSERT_TRUE(framed.gzUncompress());
    EXPECT_EQ(bytesOf(framed), data);
    unsigned long tooSmall = 10;
    EXPECT_EQ(vx::vxcompress(deflated.data(), &tooSmall, source, size), vx::vxcompressNoRoom);
    EXPECT_EQ(vx::vxcompress(nullptr, &length, nullptr, 0), vx::vxcompressNoRoom);
    EXPECT_EQ(vx::vxcompress(deflated.data(), &length, nullptr, 5), vx::vxcompressNoRoom);
    length = static_cast<unsigned long>(deflated.size());
    EXPECT_EQ(vx::vxcompress(deflated.data(), &length, nullptr, 0), vx::vxcompressOk);
}

#ifndef _WIN32 // a child process with a file-size limit, as another user
TEST_F(bufferTest, gzipCodecsNeedNoTemporaryFolderAndAFullDiskLosesNoData) {
    // The child is a thread of its own: it is given the temporary directory anew.
    ASSERT_EQ(::chmod((dir / "tmp").c_str(), 0555), 0);
    EXPECT_EQ(vxtest::inRestrictedChild(0, true, [&](std::string& errors) {
        vx::directory::setThreadTempDir(vx::getCurrentThreadId(), temp());
        binaryBuffer b = bufferOf("content");
        check(errors, b.gzCompress() && b.gzUncompress() && bytesOf(b) == "content", "a round trip failed");
    }), "");
    ASSERT_EQ(::chmod((dir / "tmp").c_str(), 0777), 0);
    // The files of the child may hold at most 64 KiB.
    const std::string bigText = randomBytes(100000, 5), smallText = randomBytes(60000, 6);
    write("keep", "old bytes");
    write("target", "old target");
    const file keep = at("keep"), target = at("target");
    EXPECT_EQ(vxtest::inRestrictedChild(65536, false, [&](std::string& errors) {
        vx::directory::setThreadTempDir(vx::getCurrentThreadId(), temp());
        binaryBuffer big = bufferOf(bigText);
        check(errors, !big.writeToFile(target, false), "writing 100000 bytes succeeded");
        check(errors, !big.writeToFile(keep, true), "appending beyond the limit succeeded");
        check(errors, bytesOf(big) == bigText, "a failed write changed the buffer");
        binaryBuffer small = bufferOf(smallText);
        check(errors, small.gzCompress() && small.gzUncompress() && bytesOf(small) == smallText,
              "a round trip within the limit failed");
    }), "");
    // A replacing write that fails leaves the old file whole, and nothing beside it.
    EXPECT_TRUE(read("keep").substr(0, 9) == "old bytes" && read("target") == "old target");
    EXPECT_TRUE(dir.count() == 3u && leftovers() == 0u); // tmp, keep, target
}
#endif

} // namespace
