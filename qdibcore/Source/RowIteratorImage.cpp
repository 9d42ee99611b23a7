// Whole-image operations of the row iterator: fill, palette, solid state.
#include <algorithm>
#include <cstring>

#include "qdibcore/Source/internal/ResultTry.h"
#include "qdibcore/Source/internal/RowIteratorState.h"

CErrorAutoThrow CRowIteratorBands::Fill(const CColorRef& colour) {
    SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    const EQPixelFormat format = s.pres.format;
    if (CQPixelFormat(format).IsIndexedColor() && s.paletteCount == 0) return QERR(keQuorErrFormatNotSupported);
    const int height = s.Height(), width = s.Width();
    if (!s.pres.converting) {
        // Direct rows: one pattern row, copied into every row.
        const size_t bytes = QGDI_SpanBytes(s.nativeBpp, width, s.pixelOffset);
        std::vector<uint8_t> pattern;
        try {
            pattern.resize(bytes);
        } catch (const std::bad_alloc&) {
            return QERR(keQuorErrOutOfMemory);
        }
        colour.FillPixels(pattern.data(), width, format, s.palette, s.paletteCount, s.pixelOffset);
#pragma omp parallel for schedule(static) if (size_t(height) * bytes > (size_t(1) << 20))
        for (int y = 0; y < height; ++y) {
            uint8_t* row = s.NativeRow(y);
            // Packed pixels are written one by one: the edge bytes hold pixels outside the rectangle.
            if (s.nativeBpp < 8) colour.FillPixels(row, width, format, s.palette, s.paletteCount, s.pixelOffset);
            else std::memcpy(row, pattern.data(), bytes);
            QGDI_IteratorStats().LogIteratorGetRowEx(QMM_HERE);
            QGDI_IteratorStats().LogIteratorReleaseRowEx(QMM_HERE);
        }
    } else {
        for (int y = 0; y < height; ++y) {
            uint8_t* row = nullptr;
            QGDI_TRY(GetRow(row, y));
            colour.FillPixels(row, width, format, s.palette, s.paletteCount, 0);
            ReleaseRow(y).Ignore();
        }
    }
    s.solid.store(true, std::memory_order_relaxed);
    s.solidColour = colour;
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::SetSolidState(bool solid, const CColorRef& colour) {
    SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    if (!solid) {
        s.solid.store(false, std::memory_order_relaxed);
        return CErrorAutoThrow();
    }
    return Fill(colour);
}

CErrorAutoThrow CRowIteratorBands::SetPalette(const RGBQUAD* palette, int count) {
    SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    if (count < 0 || count > 256 || (count > 0 && !palette)) return QERR(keQuorErrFailed);
    if (!CQPixelFormat(s.native).IsIndexedColor()) return QERR(keQuorErrFormatNotSupported);
    if (!s.writablePalette) return QERR(keQuorErrFailed);
    // A packed bitmap holds its palette in the block: it cannot grow there.
    if (s.storage->header && count > s.storage->paletteSlots) return QERR(keQuorErrFailed);
    std::memmove(s.palette, palette, sizeof(RGBQUAD) * size_t(count));
    std::memset(s.palette + count, 0, sizeof(RGBQUAD) * size_t(256 - count));
    s.paletteCount = count;
    if (s.storage->palette) std::memcpy(s.storage->palette, s.palette, sizeof(RGBQUAD) * size_t(count));
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::SetPaletteCount(int count) {
    SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    if (count < 0 || count > 256) return QERR(keQuorErrFailed);
    if (!CQPixelFormat(s.native).IsIndexedColor()) return QERR(keQuorErrFormatNotSupported);
    if (s.storage->header && count > s.storage->paletteSlots) return QERR(keQuorErrFailed);
    s.paletteCount = count;
    return CErrorAutoThrow();
}
