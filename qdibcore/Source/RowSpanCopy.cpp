#include "qdibcore/Source/internal/RowSpanCopy.h"

#include <array>
#include <cstring>

#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/RowIteratorState.h"

namespace {
bool SamePalette(const SQSpanFormat& a, const SQSpanFormat& b) noexcept {
    return a.paletteCount == b.paletteCount &&
           (a.palette == b.palette ||
            (a.palette && b.palette &&
             std::memcmp(a.palette, b.palette, sizeof(RGBQUAD) * size_t(a.paletteCount)) == 0));
}

SQRowConvertContext ContextFor(const SQSpanFormat& dst, const SQSpanFormat& src) noexcept {
    SQRowConvertContext c;
    // Whichever side is indexed brings its palette (a colour source reads none).
    const bool srcIndexed = CQPixelFormat(src.format).IsIndexedColor();
    c.palette = srcIndexed ? src.palette : dst.palette;
    c.paletteCount = srcIndexed ? src.paletteCount : dst.paletteCount;
    c.srcPixelOffset = src.pixelOffset;
    c.dstPixelOffset = dst.pixelOffset;
    return c;
}
}  // namespace

bool QGDI_ConvertSpan(void* dst, const SQSpanFormat& dstFormat, const void* src, const SQSpanFormat& srcFormat,
                      int count, std::vector<uint8_t>& scratch) {
    const bool srcIndexed = CQPixelFormat(srcFormat.format).IsIndexedColor();
    const bool dstIndexed = CQPixelFormat(dstFormat.format).IsIndexedColor();
    if (srcIndexed && dstIndexed && !SamePalette(srcFormat, dstFormat)) {
        // Through the colour: source palette to BGRA, BGRA to the nearest destination entry.
        SQSpanFormat middle;
        middle.format = keFormatBGRA;
        scratch.resize(QGDI_SpanScratchBytes(count));
        return QGDI_ConvertSpan(scratch.data(), middle, src, srcFormat, count, scratch) &&
               QGDI_ConvertSpan(dst, dstFormat, scratch.data(), middle, count, scratch);
    }
    const QRowConvertFn fn = CRowIteratorBands::FindConverter(srcFormat.format, dstFormat.format);
    if (!fn) return false;
    if (count > 0) fn(dst, src, count, ContextFor(dstFormat, srcFormat));
    return true;
}

SQSpanFormat QGDI_SpanFormatOf(const CRowIteratorBands& it, int pixelOffset) noexcept {
    SQSpanFormat f;
    f.format = it.GetPixelFormat();
    f.palette = it.GetPalette();
    f.paletteCount = it.GetPaletteCount();
    f.pixelOffset = pixelOffset;
    return f;
}

CErrorAutoThrow QGDI_CopyIteratorRect(CRowIteratorBands& dst, int dx, int dy, const CRowIteratorBands& src, int sx,
                                      int sy, int width, int height, CStatusControl* status) {
    if (!dst.IsAttached() || !src.IsAttached()) return QERR(keQuorErrIteratorState);
    if (width <= 0 || height <= 0) return CErrorAutoThrow();
    if (sx < 0 || sy < 0 || dx < 0 || dy < 0 || width > src.GetWidth() - sx || height > src.GetHeight() - sy ||
        width > dst.GetWidth() - dx || height > dst.GetHeight() - dy)
        return QERR(keQuorErrFailed);
    if (!CRowIteratorBands::FindConverter(src.GetPixelFormat(), dst.GetPixelFormat()))
        return QERR(keQuorErrFormatNotSupported);
    const bool parallel = &dst != &src && !status;
    CQRowLoopResult result;
    if (status) status->SetProgressRange(uint64_t(height));
    const uint64_t bytes = uint64_t(width) * uint64_t(src.GetBPP()) / 8 * uint64_t(height);
#pragma omp parallel if (parallel && uint64_t(width) * uint64_t(height) > 65536)
    {
        std::vector<uint8_t> scratch;
        result.Guard([&] { scratch.reserve(QGDI_SpanScratchBytes(width)); });
#pragma omp for schedule(static)
        for (int y = 0; y < height; ++y) {
            if (result.Failed()) continue;
            const uint8_t* in = nullptr;
            uint8_t* out = nullptr;
            int inOffset = 0, outOffset = 0;
            CErrorAutoThrow r = src.GetRow(in, sy + y, sx, width, &inOffset);
            if (!r.IsError()) {
                r = dst.GetRow(out, dy + y, dx, width, &outOffset);
                if (!r.IsError()) {
                    QGDI_ConvertSpan(out, QGDI_SpanFormatOf(dst, outOffset), in, QGDI_SpanFormatOf(src, inOffset),
                                     width, scratch);
                    dst.ReleaseRow(dy + y).Ignore();
                }
                src.ReleaseRow(sy + y).Ignore();
            }
            result.Set(r.Ignore());
            if (!result.Failed() && status && status->SetProgress(uint64_t(y + 1))) result.Set(keQuorErrCancelled);
        }
    }
    QGDI_IteratorStats().LogIteratorCopyEx(bytes, QMM_HERE);
    return result.Result();
}

namespace {
struct SCrcTable {
    uint32_t v[256];
    constexpr SCrcTable() : v{} {
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            v[i] = c;
        }
    }
};
constexpr SCrcTable kCrc{};
}  // namespace

uint32_t QGDI_Crc32(const void* data, size_t bytes, uint32_t crc) noexcept {
    const auto* p = static_cast<const uint8_t*>(data);
    crc = ~crc;
    for (size_t i = 0; i < bytes; ++i) crc = kCrc.v[(crc ^ p[i]) & 0xFF] ^ (crc >> 8);
    return ~crc;
}
