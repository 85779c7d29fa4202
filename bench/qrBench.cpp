// A QR symbol of 300 characters written as a bitmap and as SVG, next to qrcodegen's own encoding
// and toSvgString alone (no file): the difference is what the library's file writing adds.
//
// Names follow BM_<operation>_<implementation>: "vx" for the library, "qrcodegen" for the
// neighbour.
#include "vxFile.h"
#include "vxQrCodeGenerator.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

const std::string kText = [] {
    std::string text;
    for (int i = 0; text.size() < 300; ++i)
        text += "velmora-" + std::to_string(i) + ";";
    return text.substr(0, 300);
}();

vx::string target(const char* name) {
    const char* temporary = std::getenv("TMPDIR");
    return vx::string::fromMBCtoWC((std::string(temporary ? temporary : "/tmp") + "/vxQrBench." + name).c_str());
}

void BM_encodeToSvgString_qrcodegen(benchmark::State& state) {
    for (auto _ : state) {
        const auto code = qrcodegen::QrCode::encodeText(kText.c_str(), qrcodegen::QrCode::Ecc::MEDIUM);
        benchmark::DoNotOptimize(code.toSvgString(0));
    }
}
BENCHMARK(BM_encodeToSvgString_qrcodegen);

void BM_saveAsSvg_vx(benchmark::State& state) {
    vx::qrCodeGenerator qr{vx::string::fromMBCtoWC(kText.c_str())};
    qr.setErrorCorrection(qrcodegen::QrCode::Ecc::MEDIUM);
    const vx::file file(target("svg"));
    for (auto _ : state)
        qr.saveAsSvg(file);
    if (qr.lastWriteFailed())
        state.SkipWithError("the SVG file could not be written");
    file.remove();
}
BENCHMARK(BM_saveAsSvg_vx);

void BM_saveAsBmp_vx(benchmark::State& state) {
    vx::qrCodeGenerator qr{vx::string::fromMBCtoWC(kText.c_str())};
    qr.setErrorCorrection(qrcodegen::QrCode::Ecc::MEDIUM);
    const vx::file file(target("bmp"));
    for (auto _ : state)
        qr.saveAsBmp(file, static_cast<int>(state.range(0)));
    if (qr.lastWriteFailed())
        state.SkipWithError("the bitmap could not be written");
    file.remove();
}
BENCHMARK(BM_saveAsBmp_vx)->Arg(1)->Arg(4);

} // namespace

BENCHMARK_MAIN();
