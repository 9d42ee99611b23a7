#include "drawing/FillPattern.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "drawing/Fill.h"
#include "drawing/FillImageSampler.h"
#include "geometry/MatrixFunctions.h"
#include "qdibcore/Source/internal/ResultTry.h"

CFillSrcPattern::CFillSrcPattern() noexcept = default;
CFillSrcPattern::~CFillSrcPattern() = default;

CErrorAutoThrow CFillSrcPattern::Create(const CRowIterator* image, const double* matrix, EQResampleMode mode) {
    m_sampler.reset(new (std::nothrow) qgdi::fill::CImageSampler(mode, keEdgeWrap));
    if (!m_sampler) return QERR(keQuorErrOutOfMemory);
    double toImage[9];
    if (matrix) {
        if (!QGDI_MatrixGetInverse(matrix, toImage)) return QERR(keQuorErrFailed);
        std::memcpy(m_matrix, matrix, sizeof(m_matrix));
    } else {
        QGDI_MatrixIdentity(toImage);
        QGDI_MatrixIdentity(m_matrix);
    }
    return m_sampler->Attach(image, toImage);
}

CErrorAutoThrow CFillSrcPattern::SetMatrix(const double* matrix) {
    if (!m_sampler || !m_sampler->GetImage()) return QERR(keQuorErrIteratorState);
    return Create(m_sampler->GetImage(), matrix, m_sampler->GetMode());
}

CQFillSrc* CFillSrcPattern::Clone() const {
    std::unique_ptr<CFillSrcPattern> copy(new (std::nothrow) CFillSrcPattern);
    if (!copy || !m_sampler) return nullptr;
    if (copy->Create(m_sampler->GetImage(), m_matrix, m_sampler->GetMode()).IsError()) return nullptr;
    return copy.release();
}

bool CFillSrcPattern::IsOpaque() const noexcept { return m_sampler && m_sampler->IsOpaque(); }

void CFillSrcPattern::GetSpan(int x, int y, int count, uint32_t* out) {
    // A row the image cannot give shows as transparent rather than as garbage.
    if (!m_sampler || !m_sampler->GetSpan(x, y, count, out)) std::fill_n(out, std::max(count, 0), 0u);
}

CFillSrcCheckerBoard::CFillSrcCheckerBoard(int cellSize, uint32_t rgba0, uint32_t rgba1) noexcept
    : m_cell(std::max(cellSize, 1)), m_bgra{QGDI_RGBAtoBGRA(rgba0), QGDI_RGBAtoBGRA(rgba1)} {}

CQFillSrc* CFillSrcCheckerBoard::Clone() const {
    return new (std::nothrow)
        CFillSrcCheckerBoard(m_cell, QGDI_RGBAtoBGRA(m_bgra[0]), QGDI_RGBAtoBGRA(m_bgra[1]));
}

void CFillSrcCheckerBoard::GetSpan(int x, int y, int count, uint32_t* out) {
    // Whole cells at a time: one division per run, none per pixel.
    auto floorDiv = [](int64_t a, int64_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); };
    const int64_t cell = m_cell;
    int64_t cx = floorDiv(x, cell);
    const int64_t cy = floorDiv(y, cell);
    int64_t left = (cx + 1) * cell - x;  // pixels until the next cell
    for (int done = 0; done < count;) {
        const int n = int(std::min<int64_t>(left, count - done));
        std::fill_n(out + done, n, m_bgra[(cx + cy) & 1]);
        done += n;
        ++cx;
        left = cell;
    }
}

CQFillSrc* QGDI_FillSrcPattern_Create(const CRowIterator* image, const double* matrix, EQResampleMode mode) {
    std::unique_ptr<CFillSrcPattern> src(new (std::nothrow) CFillSrcPattern);
    if (!src || src->Create(image, matrix, mode).IsError()) return nullptr;
    return src.release();
}

CQFillSrc* QGDI_FillSrcCheckerboard_Create(int cellSize, uint32_t rgba0, uint32_t rgba1) {
    if (cellSize < 1) return nullptr;
    return new (std::nothrow) CFillSrcCheckerBoard(cellSize, rgba0, rgba1);
}

VQFILL* QGDI_FillCreatePattern(const CRowIterator* image, const double* matrix, EQResampleMode mode) {
    CQFillSrc* src = QGDI_FillSrcPattern_Create(image, matrix, mode);
    return src ? QGDI_FillCreateFromFillSrc(src) : nullptr;
}

bool QGDI_FillSetPatternMatrix(VQFILL* fill, const double* matrix) {
    if (!fill || fill->GetType() != keFillPattern || !fill->GetFillSrc()) return false;
    return !static_cast<CFillSrcPattern*>(fill->GetFillSrc())->SetMatrix(matrix).IsError();
}

VQFILL* QGDI_FillCreateCheckerBoard(int cellSize, uint32_t rgba0, uint32_t rgba1) {
    CQFillSrc* src = QGDI_FillSrcCheckerboard_Create(cellSize, rgba0, rgba1);
    return src ? QGDI_FillCreateFromFillSrc(src) : nullptr;
}
