#include "vxQrCodeGenerator.h"

#include "vxUnicode.h"
#include "detail/writeBeside.h"
#include "platform/files.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vx {

namespace {

constexpr std::uint32_t kBmpHeaderSize = 62; // file header, information header, two colours

void put16(unsigned char* at, std::uint32_t value) {
    at[0] = static_cast<unsigned char>(value);
    at[1] = static_cast<unsigned char>(value >> 8);
}

void put32(unsigned char* at, std::uint32_t value) {
    put16(at, value);
    put16(at + 2, value >> 16);
}

// Writes text, then closes; false when either fails.
bool writeAll(const file& target, const void* data, std::size_t size) {
    platform::fileHandle out;
    return out.open(target.fullName(), platform::fileHandle::openWrite) && out.write(data, size) && out.close();
}

} // namespace

qrCodeGenerator::qrCodeGenerator(const string& text)
    : mText(text), mLevel(qrcodegen::QrCode::Ecc::LOW), mSize(0), mWriteFailed(false) {}

qrCodeGenerator::~qrCodeGenerator() = default;

qrcodegen::QrCode::Ecc qrCodeGenerator::errorCorrection() const {
    return mLevel;
}

void qrCodeGenerator::setErrorCorrection(qrcodegen::QrCode::Ecc level) {
    mLevel = level;
}

qrcodegen::QrCode qrCodeGenerator::encode() const {
    std::string utf8;
    unicode::appendUtf8(utf8, mText.c_str(), mText.size());
    // A C string: a null character ends the text.
    return qrcodegen::QrCode::encodeText(utf8.c_str(), mLevel);
}

int qrCodeGenerator::getSize() {
    const qrcodegen::QrCode code = encode();
    const int size = code.getSize();
    std::unique_ptr<unsigned char[]> modules(new unsigned char[static_cast<std::size_t>(size) * size]);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x)
            modules[static_cast<std::size_t>(y) * size + x] = code.getModule(x, y) ? 1 : 0;
    mModules = std::move(modules);
    mSize = size;
    return size;
}

bool qrCodeGenerator::getModule(int x, int y) const {
    if (!mModules || x < 0 || y < 0 || x >= mSize || y >= mSize)
        return false;
    return mModules[static_cast<std::size_t>(y) * mSize + x] != 0;
}

bool qrCodeGenerator::saveAsBmp(file target, int scale) {
    const qrcodegen::QrCode code = encode();
    const int size = code.getSize();
    const std::uint64_t width = scale > 0 ? static_cast<std::uint64_t>(size) * static_cast<std::uint64_t>(scale) : 0;
    const std::uint64_t stride = (width + 3) / 4 * 4;
    const std::uint64_t pixels = stride * width;
    if (pixels + kBmpHeaderSize > 0xFFFFFFFFu) {
        mWriteFailed = true; // the format's fields cannot hold it
        return true;
    }
    const auto w = static_cast<std::uint32_t>(width), s = static_cast<std::uint32_t>(stride);

    unsigned char header[kBmpHeaderSize] = {};
    put16(header + 0, 0x4D42); // "BM"
    put32(header + 2, s * w + kBmpHeaderSize);
    put32(header + 10, kBmpHeaderSize);
    put32(header + 14, 40);
    put32(header + 18, w);
    put32(header + 22, w);
    put16(header + 26, 1);
    put16(header + 28, 8);
    put32(header + 34, s * w);
    put32(header + 46, 2);
    put32(header + 54, 0x00FFFFFF); // palette entry 0: white
    put32(header + 58, 0x00000000); // palette entry 1: black

    mWriteFailed = !detail::writeBeside(target, [&](const file& temporary) {
        platform::fileHandle out;
        if (!out.open(temporary.fullName(), platform::fileHandle::openWrite) || !out.write(header, sizeof header))
            return false;
        std::vector<unsigned char> row(s, 0);
        for (int y = size - 1; y >= 0 && w > 0; --y) { // bottom row first
            for (int x = 0; x < size; ++x) {
                const unsigned char index = code.getModule(x, y) ? 1 : 0;
                for (int i = 0; i < scale; ++i)
                    row[static_cast<std::size_t>(x) * scale + i] = index;
            }
            for (int i = 0; i < scale; ++i)
                if (!out.write(row.data(), row.size()))
                    return false;
        }
        return out.close();
    });
    return true;
}

bool qrCodeGenerator::saveAsSvg(file target) {
    const std::string svg = encode().toSvgString(0);
    mWriteFailed = !detail::writeBeside(
        target, [&](const file& temporary) { return writeAll(temporary, svg.data(), svg.size()); });
    return true;
}

bool qrCodeGenerator::lastWriteFailed() const {
    return mWriteFailed;
}

} // namespace vx
