#include "colour/TransferCurves.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "colour/internal/TransferCurveKernels.h"

namespace qgdi::colour {
namespace {

enum : int { keTableEmpty = 0, keTableFilling = 1, keTableReady = 2 };

double g_ytolTable[kYtoLTableSize];
std::atomic<int> g_ytolState{keTableEmpty};
std::atomic<int> g_ytolBuilds{0};

}  // namespace

const double* YtoLTable() noexcept {
    if (g_ytolState.load(std::memory_order_acquire) == keTableReady) return g_ytolTable;
    int expected = keTableEmpty;
    if (g_ytolState.compare_exchange_strong(expected, keTableFilling, std::memory_order_acq_rel)) {
        for (int i = 0; i < kYtoLTableSize; ++i)
            g_ytolTable[i] = EncodeMagnitude(double(i) / (kYtoLTableSize - 1), ECurve::LStar, 0);
        g_ytolBuilds.fetch_add(1, std::memory_order_relaxed);
        g_ytolState.store(keTableReady, std::memory_order_release);
        return g_ytolTable;
    }
    // Someone else is filling it; the build takes well under one sleep.
    while (g_ytolState.load(std::memory_order_acquire) != keTableReady)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return g_ytolTable;
}

int YtoLTableBuildCount() noexcept { return g_ytolBuilds.load(std::memory_order_relaxed); }

void YtoLTableResetForTest() noexcept {
    g_ytolBuilds.store(0, std::memory_order_relaxed);
    g_ytolState.store(keTableEmpty, std::memory_order_release);
}

}  // namespace qgdi::colour

using namespace qgdi::colour;

double DtoY(double x, const SColorSpecRGB& cs) noexcept { return Decode(x, ResolveCurve(cs), cs.dGamma); }

double YtoD(double y, const SColorSpecRGB& cs) noexcept { return Encode(y, ResolveCurve(cs), cs.dGamma); }

double YtoL(double y) noexcept {
    const double t = y * (kYtoLTableSize - 1);
    // Truncation toward zero: indices 0..8191 cover (-1/8191, 8192/8191).
    if (t > -1.0 && t < double(kYtoLTableSize)) return YtoLTable()[int(t)];
    return Encode(y, ECurve::LStar, 0);
}

double LtoY(double l) noexcept { return Decode(l, ECurve::LStar, 0); }

double DtoL(double x, const SColorSpecRGB& cs) noexcept { return YtoL(DtoY(x, cs)); }

double LtoD(double l, const SColorSpecRGB& cs) noexcept { return YtoD(LtoY(l), cs); }

namespace {

// One per-channel rule applied to the three channels.
template <class Fn>
void EachChannel(double r, double g, double b, double& ro, double& go, double& bo, Fn fn) noexcept {
    ro = fn(r);
    go = fn(g);
    bo = fn(b);
}

}  // namespace

void RGBDtoRGBY(double r, double g, double b, double& rY, double& gY, double& bY, const SColorSpecRGB& cs) noexcept {
    const ECurve curve = ResolveCurve(cs);
    EachChannel(r, g, b, rY, gY, bY, [&](double v) { return Decode(v, curve, cs.dGamma); });
}

void RGBDtoRGBL(double r, double g, double b, double& rL, double& gL, double& bL, const SColorSpecRGB& cs) noexcept {
    EachChannel(r, g, b, rL, gL, bL, [&](double v) { return DtoL(v, cs); });
}

void RGBLtoRGBD(double r, double g, double b, double& rD, double& gD, double& bD, const SColorSpecRGB& cs) noexcept {
    EachChannel(r, g, b, rD, gD, bD, [&](double v) { return LtoD(v, cs); });
}

void RGBLtoRGBY(double r, double g, double b, double& rY, double& gY, double& bY) noexcept {
    EachChannel(r, g, b, rY, gY, bY, LtoY);
}

void RGBYtoRGBD(double r, double g, double b, double& rD, double& gD, double& bD, const SColorSpecRGB& cs) noexcept {
    const ECurve curve = ResolveCurve(cs);
    EachChannel(r, g, b, rD, gD, bD, [&](double v) { return Encode(v, curve, cs.dGamma); });
}

void RGBYtoRGBL(double r, double g, double b, double& rL, double& gL, double& bL) noexcept {
    EachChannel(r, g, b, rL, gL, bL, YtoL);
}
