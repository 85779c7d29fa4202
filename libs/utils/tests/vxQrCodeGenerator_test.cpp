#include "testSupport.h"
#include "vxQrCodeGenerator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Ecc = qrcodegen::QrCode::Ecc;
using vxtest::tempDir;

std::uint32_t le(const std::string& bytes, std::size_t at, int width) {
    std::uint32_t value = 0;
    for (int i = width - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return value;
}

// The output of a command, and whether it ended well.
bool run(const std::string& command, std::string& output) {
    output.clear();
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe)
        return false;
    char chunk[4096];
    for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;)
        output.append(chunk, n);
    return ::pclose(pipe) == 0;
}

// The symbol of a bitmap, as a plain grey map with a quiet zone of four modules of scale pixels.
void writePaddedPgm(const std::string& bmp, const std::string& path, std::uint32_t scale) {
    const std::uint32_t w = le(bmp, 18, 4), stride = (w + 3) / 4 * 4, border = 4 * scale;
    const std::uint32_t side = w + 2 * border;
    std::string pixels(static_cast<std::size_t>(side) * side, '\xFF');
    for (std::uint32_t y = 0; y < w; ++y)
        for (std::uint32_t x = 0; x < w; ++x)
            if (bmp.at(62 + static_cast<std::size_t>(w - 1 - y) * stride + x) == 1)
                pixels[static_cast<std::size_t>(y + border) * side + x + border] = 0;
    std::ofstream(path, std::ios::binary) << "P5\n" << side << " " << side << "\n255\n" << pixels;
}

// What zbarimg reads in an image, as bytes.
std::string decoded(const std::string& image) {
    std::string out;
    if (!run("zbarimg -q --raw -Sbinary '" + image + "' 2>/dev/null", out))
        return "<unreadable>";
    return out;
}

std::string utf8(const std::wstring& text) {
    return vx::string(text).getMBCS();
}

const std::wstring kTexts[] = {
    L"HELLO",
    L"https://example.org/velmora?id=42&lang=de",
    L"Grüße, 日本語, Ελληνικά, 😀",
    L"\x01\x02\x7F bytes|~{}^`\\$$lock$$\t\r\n",
    std::wstring(300, L'x') + L"0123456789",
};

TEST(qrCodeGenerator, bitmapLayout) {
    tempDir dir;
    const struct {
        int scale;
        std::uint32_t w, stride;
    } rows[] = {{3, 63, 64}, {1, 21, 24}, {4, 84, 84}, {0, 0, 0}, {-2, 0, 0}};
    for (const auto& r : rows) {
        vx::qrCodeGenerator qr(L"HELLO");
        ASSERT_EQ(qr.getSize(), 21);
        EXPECT_TRUE(qr.saveAsBmp(vx::file(dir.windowsForm("a.bmp")), r.scale));
        EXPECT_FALSE(qr.lastWriteFailed());
        const std::string bmp = dir.read("a.bmp");
        const std::uint32_t pixels = r.stride * r.w;
        ASSERT_EQ(bmp.size(), 62 + pixels) << r.scale;
        const struct {
            std::size_t at;
            int width;
            std::uint32_t value;
        } fields[] = {{0, 2, 0x4D42}, {2, 4, pixels + 62}, {6, 4, 0},  {10, 4, 62}, {14, 4, 40}, {18, 4, r.w},
                      {22, 4, r.w},   {26, 2, 1},          {28, 2, 8}, {30, 4, 0},  {34, 4, pixels}, {38, 4, 0},
                      {42, 4, 0},     {46, 4, 2},          {50, 4, 0}, {54, 4, 0x00FFFFFF}, {58, 4, 0}};
        for (const auto& f : fields)
            EXPECT_EQ(le(bmp, f.at, f.width), f.value) << "scale " << r.scale << ", offset " << f.at;
        // Every pixel, padding included, bottom row first.
        std::size_t wrong = 0;
        for (std::uint32_t y = 0; y < r.w; ++y)
            for (std::uint32_t x = 0; x < r.stride; ++x) {
                const char expected =
                    x < r.w && qr.getModule(static_cast<int>(x) / r.scale, static_cast<int>(y) / r.scale) ? 1 : 0;
                wrong += bmp[62 + (r.w - 1 - y) * r.stride + x] != expected;
            }
        EXPECT_EQ(wrong, 0u) << r.scale;
    }
}

TEST(qrCodeGenerator, modulesAndLevels) {
    vx::qrCodeGenerator qr(L"HELLO");
    EXPECT_EQ(qr.errorCorrection(), Ecc::LOW);
    // Before getSize there is nothing to read, and outside the symbol there is nothing either.
    EXPECT_FALSE(qr.getModule(0, 0));
    qr.getSize();
    const struct {
        int x, y;
        bool dark;
    } cells[] = {{0, 0, true}, {6, 6, true}, {7, 7, false}, {1, 1, false}, {20, 0, true},
                 {-1, 0, false}, {0, 21, false}, {21, 21, false}};
    for (const auto& c : cells)
        EXPECT_EQ(qr.getModule(c.x, c.y), c.dark) << c.x << "," << c.y;
    // A higher level needs more modules for a long text.
    const struct {
        Ecc level;
        int size;
    } levels[] = {{Ecc::LOW, 29}, {Ecc::MEDIUM, 33}, {Ecc::QUARTILE, 37}, {Ecc::HIGH, 41}};
    vx::qrCodeGenerator longer(std::wstring(50, L'a'));
    for (const auto& l : levels) {
        longer.setErrorCorrection(l.level);
        EXPECT_EQ(longer.errorCorrection(), l.level);
        EXPECT_EQ(longer.getSize(), l.size);
    }
    vx::qrCodeGenerator tooLong(std::wstring(3000, L'x'));
    tooLong.setErrorCorrection(Ecc::HIGH);
    EXPECT_THROW(tooLong.getSize(), std::length_error);
    EXPECT_THROW(tooLong.saveAsBmp(vx::file(L"C:\\nowhere\\a.bmp"), 1), qrcodegen::data_too_long);
}

TEST(qrCodeGenerator, failedWritesAnswerTrue) {
    tempDir dir;
    dir.makeFile("old.bmp", "old");
    vx::qrCodeGenerator qr(L"HELLO");
    EXPECT_TRUE(qr.saveAsBmp(vx::file(dir.windowsForm("missing/a.bmp")), 2));
    EXPECT_TRUE(qr.lastWriteFailed());
    EXPECT_TRUE(qr.saveAsSvg(vx::file(dir.windowsForm("missing/a.svg"))));
    EXPECT_TRUE(qr.lastWriteFailed());
    // An image too large for the format is not written, and the old file stays.
    EXPECT_TRUE(qr.saveAsBmp(vx::file(dir.windowsForm("old.bmp")), 5000));
    EXPECT_TRUE(qr.lastWriteFailed());
    EXPECT_EQ(dir.read("old.bmp"), "old");
    EXPECT_TRUE(qr.saveAsSvg(vx::file(dir.windowsForm("old.bmp"))));
    EXPECT_FALSE(qr.lastWriteFailed());
    EXPECT_EQ(dir.read("old.bmp").rfind("<?xml", 0), 0u);
}

TEST(qrCodeGenerator, bitmapsReadBack) {
    tempDir dir;
    for (const auto& text : kTexts)
        for (const Ecc level : {Ecc::LOW, Ecc::MEDIUM, Ecc::QUARTILE, Ecc::HIGH}) {
            vx::qrCodeGenerator qr(text);
            qr.setErrorCorrection(level);
            ASSERT_TRUE(qr.saveAsBmp(vx::file(dir.windowsForm("q.bmp")), 3));
            writePaddedPgm(dir.read("q.bmp"), dir / "q.pgm", 3);
            EXPECT_EQ(decoded(dir / "q.pgm"), utf8(text)) << utf8(text) << ", level " << static_cast<int>(level);
        }
}

TEST(qrCodeGenerator, svgReadsBack) {
    tempDir dir;
    for (const auto& text : kTexts)
        for (const Ecc level : {Ecc::LOW, Ecc::MEDIUM, Ecc::QUARTILE, Ecc::HIGH}) {
            vx::qrCodeGenerator qr(text);
            qr.setErrorCorrection(level);
            const int size = qr.getSize();
            ASSERT_TRUE(qr.saveAsSvg(vx::file(dir.windowsForm("q.svg"))));
            EXPECT_FALSE(qr.lastWriteFailed());
            const std::string svg = dir.read("q.svg");
            const std::string box = "viewBox=\"0 0 " + std::to_string(size) + " " + std::to_string(size) + "\"";
            EXPECT_NE(svg.find(box), std::string::npos) << "no border: " << box;
            // Rendered at 4 pixels a module on a white page with a quiet zone of four modules.
            const int side = size * 4, page = side + 32;
            std::string ignored;
            ASSERT_TRUE(run("rsvg-convert -b white -w " + std::to_string(side) + " -h " + std::to_string(side) +
                                " --page-width " + std::to_string(page) + " --page-height " + std::to_string(page) +
                                " --left 16 --top 16 -o '" + (dir / "q.png") + "' '" + (dir / "q.svg") + "'",
                            ignored));
            EXPECT_EQ(decoded(dir / "q.png"), utf8(text)) << utf8(text) << ", level " << static_cast<int>(level);
        }
}

} // namespace
