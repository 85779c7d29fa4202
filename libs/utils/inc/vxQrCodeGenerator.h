// QR code images: one text as a QR symbol, written as a Windows bitmap or as SVG.
//
// The symbol comes from the qrcodegen library (Debian: libqrcodegencpp-dev), whose error
// correction levels this interface uses. The family exists where the library was built with
// qrcodegen (VX_HAVE_QRCODE); the Windows build has none for now.
#pragma once

#include "vxExport.h"
#include "vxFile.h"
#include "vxString.h"

// toSvgString is declared only in qrcodegen's compatible form.
#ifndef QRCODEGEN_COMPAT
#define QRCODEGEN_COMPAT
#endif
#include <qrcodegen/qrcodegen.hpp>

#include <memory>

namespace vx {

class VX_API qrCodeGenerator {
public:
    // The text is encoded as UTF-8. A text too long for any QR version makes the encoding
    // operations throw qrcodegen's data_too_long (a std::length_error).
    explicit qrCodeGenerator(const string& text);
    ~qrCodeGenerator();
    qrCodeGenerator(const qrCodeGenerator&) = delete;
    qrCodeGenerator& operator=(const qrCodeGenerator&) = delete;

    // The level; LOW unless set.
    qrcodegen::QrCode::Ecc errorCorrection() const;
    void setErrorCorrection(qrcodegen::QrCode::Ecc level);

    // Encodes the text and keeps its modules for getModule; the symbol's width in modules.
    int getSize();
    // Whether the module at column x, row y of the symbol last sized is dark. Before any getSize,
    // and for a position outside the symbol, false (light) instead of a read of nothing.
    bool getModule(int x, int y) const;

    // Encodes the text anew and writes an 8-bit, two-colour Windows bitmap of scale pixels per
    // module, without a quiet zone; a scale of 0 or less writes the header of an empty image. An
    // image whose size the format cannot hold (beyond 4 GiB) is not written.
    // Written beside the file and put in its place when complete.
    // True even when the file could not be written (as callers have always seen it): ask
    // lastWriteFailed() to know.
    bool saveAsBmp(file target, int scale);
    // The same as SVG, qrcodegen's own, without a border.
    bool saveAsSvg(file target);
    // Whether the last saveAsBmp or saveAsSvg could not write its file (false before any).
    bool lastWriteFailed() const;

private:
    qrcodegen::QrCode encode() const;

    string mText;
    qrcodegen::QrCode::Ecc mLevel;
    int mSize;
    std::unique_ptr<unsigned char[]> mModules; // one byte per module, row by row
    bool mWriteFailed;
};

} // namespace vx
