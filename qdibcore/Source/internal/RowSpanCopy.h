#pragma once
// Copying spans of pixels between two rows of any formats and palettes.
#include <atomic>
#include <new>
#include <vector>

#include "qdibcore/Source/RowIteratorBands.h"

struct SQSpanFormat {
    EQPixelFormat format = keFormatNone;
    const RGBQUAD* palette = nullptr;
    int paletteCount = 0;
    int pixelOffset = 0;  // first pixel inside its byte (1- and 4-bit)
};

// Converts `count` pixels. Indexed to indexed keeps the index when both sides
// share one palette and goes through the colour otherwise. `scratch` holds the
// intermediate colours of that case; it never grows (so the call cannot throw)
// once its capacity is QGDI_SpanScratchBytes(count). False when no converter exists.
bool QGDI_ConvertSpan(void* dst, const SQSpanFormat& dstFormat, const void* src, const SQSpanFormat& srcFormat,
                      int count, std::vector<uint8_t>& scratch);

// The span format of an iterator's presented rows starting at column x of a
// row whose pointer came from GetRow(row, y, x, ...) with `pixelOffset`.
constexpr size_t QGDI_SpanScratchBytes(int count) noexcept { return size_t(count) * 4; }

SQSpanFormat QGDI_SpanFormatOf(const CRowIteratorBands& it, int pixelOffset) noexcept;

// Copies `width` x `height` pixels from (sx, sy) of `src` to (dx, dy) of `dst`
// (iterator row and column indices), converting to the destination's presented
// format. Rows are processed in parallel when neither iterator converts.
CErrorAutoThrow QGDI_CopyIteratorRect(CRowIteratorBands& dst, int dx, int dy, const CRowIteratorBands& src, int sx,
                                      int sy, int width, int height, CStatusControl* status = nullptr);

// CRC-32 (the IEEE polynomial, reflected), continued from `crc`.
uint32_t QGDI_Crc32(const void* data, size_t bytes, uint32_t crc = 0) noexcept;

// The first failure of a row loop that may run in parallel: rows after it are
// skipped, and the loop returns it.
class CQRowLoopResult {
public:
    bool Failed() const noexcept { return m_code.load(std::memory_order_relaxed) != keQuorErrSuccess; }
    void Set(QuorErrorCode code) noexcept {
        QuorErrorCode expected = keQuorErrSuccess;
        if (code != keQuorErrSuccess) m_code.compare_exchange_strong(expected, code, std::memory_order_relaxed);
    }
    // Runs a parallel region's per-thread set-up (its allocations). An exception
    // leaving an OpenMP region terminates the process, so it becomes the loop's
    // code here and the thread's rows are skipped.
    template <class Fn>
    void Guard(Fn&& fn) noexcept {
        try {
            fn();
        } catch (const std::bad_alloc&) {
            Set(keQuorErrOutOfMemory);
        } catch (...) {
            Set(keQuorErrFailed);
        }
    }
    CErrorAutoThrow Result() const {
        const QuorErrorCode code = m_code.load(std::memory_order_relaxed);
        return code == keQuorErrSuccess ? CErrorAutoThrow() : QERR(code);
    }

private:
    std::atomic<QuorErrorCode> m_code{keQuorErrSuccess};
};
