// QR symbols: a text as a Windows bitmap, an SVG file, or block characters on the terminal.
#include "command.h"

#include <vxQrCodeGenerator.h>

#include <cstddef>

namespace {

using vxutil::arguments;
using vxutil::usageError;
using Ecc = qrcodegen::QrCode::Ecc;

// Takes "NAME VALUE" out of args; false when NAME is not there.
bool takeValue(arguments& args, const wchar_t* name, vx::string& value) {
    for (std::size_t i = 0; i < args.size() && args[i] != L"--"; ++i) {
        if (args[i] != name)
            continue;
        if (i + 1 >= args.size())
            throw usageError(vx::string(name).getMBCS() + " needs a value");
        value = args[i + 1];
        args.erase(args.begin() + static_cast<std::ptrdiff_t>(i), args.begin() + static_cast<std::ptrdiff_t>(i) + 2);
        return true;
    }
    return false;
}

Ecc parseLevel(const vx::string& text) {
    const struct {
        const wchar_t* name;
        Ecc level;
    } levels[] = {{L"L", Ecc::LOW}, {L"M", Ecc::MEDIUM}, {L"Q", Ecc::QUARTILE}, {L"H", Ecc::HIGH}};
    for (const auto& l : levels)
        if (text.isEqualTo(l.name, false))
            return l.level;
    throw usageError("--ecc takes L, M, Q or H, not " + vxutil::quoted(text));
}

// Two rows of modules a line, with a quiet zone of four modules. Light modules are drawn, dark
// ones left blank: on the usual dark terminal the symbol then shows dark on light.
void printSymbol(vx::qrCodeGenerator& qr) {
    const int size = qr.getSize(), quiet = 4;
    const auto light = [&](int x, int y) { return !qr.getModule(x, y); }; // outside the symbol: light
    for (int y = -quiet; y < size + quiet; y += 2) {
        vx::string line;
        for (int x = -quiet; x < size + quiet; ++x) {
            const bool top = light(x, y), bottom = y + 1 < size + quiet && light(x, y + 1);
            line += top && bottom ? L'\u2588' : top ? L'\u2580' : bottom ? L'\u2584' : L' ';
        }
        vxutil::printLine(line);
    }
}

int runQr(arguments args) {
    vx::string level, bmp, svg, scale;
    const bool hasLevel = takeValue(args, L"--ecc", level);
    const bool toBmp = takeValue(args, L"--bmp", bmp);
    const bool toSvg = takeValue(args, L"--svg", svg);
    const bool hasScale = takeValue(args, L"--scale", scale);
    const vxutil::options given = vxutil::takeOptions(args, {"--terminal"});
    vxutil::expectCount(args, 1, 1);
    if (toBmp + toSvg + given.has("--terminal") != 1)
        throw usageError("give one of --bmp FILE, --svg FILE and --terminal");
    if (hasScale && !toBmp)
        throw usageError("--scale belongs to --bmp");

    vx::qrCodeGenerator qr(args[0]);
    if (hasLevel)
        qr.setErrorCorrection(parseLevel(level));
    try {
        if (given.has("--terminal")) {
            printSymbol(qr);
            return 0;
        }
        if (toBmp)
            qr.saveAsBmp(vx::file(bmp), hasScale ? static_cast<int>(vxutil::toInteger(scale, 1, 100)) : 4);
        else
            qr.saveAsSvg(vx::file(svg));
    } catch (const std::length_error&) {
        return vxutil::failure(args[0], "is too long for a QR symbol at this level");
    }
    if (qr.lastWriteFailed())
        return vxutil::failure(toBmp ? bmp : svg, "cannot be written");
    vxutil::printLine(vx::string::sformat(L"%d modules", qr.getSize()));
    return 0;
}

const vxutil::registration registered{
    {"qr", "a text as a QR symbol: bitmap, SVG or on the terminal",
     "TEXT [--ecc L|M|Q|H] (--bmp FILE [--scale N] | --svg FILE | --terminal)\n\n"
     "Encodes TEXT (as UTF-8) at the error correction level given (default L).\n"
     "--bmp       writes an 8-bit Windows bitmap of N pixels a module (default 4, at most 100),\n"
     "            without a quiet zone, and prints the symbol's size in modules.\n"
     "--svg       writes SVG without a border, and prints the size.\n"
     "--terminal  prints the symbol with block characters and a quiet zone, for a phone to read\n"
     "            off a dark terminal.\n"
     "A text too long for any QR version fails with status 1.",
     runQr},
};

} // namespace
