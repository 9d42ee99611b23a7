#include "drawing/Fill.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "QuorRender/RowOpBlend.h"
#include "QuorRender/RowOpComposite.h"
#include "QuorRender/RowOpFill.h"
#include "drawing/FillImageSampler.h"
#include "drawing/FillUnerase.h"
#include "qdibcore/Source/internal/ResultTry.h"

namespace {
// coverage x opacity / 255, rounded: the one weight every fill path applies.
inline int Weigh(int coverage, int opacity) noexcept {
    const int t = coverage * opacity + 128;
    return (t + (t >> 8)) >> 8;
}
}  // namespace

SQFILL::SQFILL(EQFillType type, CQFillSrc* source) noexcept : m_type(type), m_src(source) {}

SQFILL::~SQFILL() {
    Detach();
    if (m_src) m_src->Unreference();
}

bool SQFILL::IsOpaque() const noexcept {
    if (m_opacity != 255 || !m_src || m_composite) return false;
    return m_src->IsOpaque() && (!m_texture || m_texture->IsOpaque());
}

uint8_t SQFILL::SetOpacity(uint8_t opacity) noexcept { return std::exchange(m_opacity, opacity); }

bool SQFILL::SetCompositeOp(const CRowOpDef* op) {
    std::unique_ptr<CRowOpDef> copy;
    if (op) {
        copy.reset(op->Copy());
        if (!copy) return false;
    }
    m_composite = std::move(copy);
    return true;
}

CErrorAutoThrow SQFILL::SetTexture(const CRowIterator* texture, const double* matrix, EQResampleMode mode,
                                   EEdgeMode edge) {
    if (!texture) {
        m_texture.reset();
        return CErrorAutoThrow();
    }
    std::unique_ptr<qgdi::fill::CImageSampler> sampler(new (std::nothrow) qgdi::fill::CImageSampler(mode, edge));
    if (!sampler) return QERR(keQuorErrOutOfMemory);
    QGDI_TRY(sampler->Attach(texture, matrix));
    m_texture = std::move(sampler);
    // Colours now vary per pixel: a bound solid path would ignore the texture.
    if (m_dst && !Bind()) return QERR(keQuorErrOutOfMemory);
    return CErrorAutoThrow();
}

CErrorAutoThrow SQFILL::Attach(CRowIterator* destination) {
    Detach();
    if (!destination || !destination->IsAttached()) return QERR(keQuorErrIteratorState);
    const CQPixelFormat format(destination->GetPixelFormat());
    // Fills paint colours: palette rows have none to blend with.
    if (!format.IsValid() || format.IsIndexedColor() || format.Get() <= keFormatNone)
        return QERR(keQuorErrFormatNotSupported);
    m_dst = destination;
    m_format = format.Get();
    m_width = destination->GetWidth();
    m_height = destination->GetHeight();
    if (!Bind()) {
        Detach();
        return QERR(keQuorErrOutOfMemory);
    }
    return CErrorAutoThrow();
}

void SQFILL::Detach() noexcept {
    m_dst = nullptr;
    m_op.Detach();
    m_full.Detach();
}

bool SQFILL::Bind() {
    m_data = CRowOpData();
    m_data.eDstFormat = m_format;
    m_data.nImageWidth = m_width;
    m_data.nImageHeight = m_height;
    m_op.Detach();
    m_full.Detach();
    try {
        uint32_t bgra = 0;
        if (m_type == keFillEraser) {
            m_path = EPath::Erase;
            m_solidDef = std::make_unique<CRowOpDefRowErase>();
            m_op.Attach(m_solidDef.get(), m_data);
        } else if (m_type == keFillUneraser) {
            m_path = EPath::Unerase;
        } else if (!m_composite && !m_texture && m_src && m_src->GetSolidColour(bgra)) {
            // One colour over the row needs no colour row at all.
            m_path = EPath::Solid;
            const uint32_t rgba = QGDI_RGBAtoBGRA(bgra);
            m_solidDef = std::make_unique<CRowOpDefRowMaskOverSolid>(rgba);
            m_op.Attach(m_solidDef.get(), m_data);
            if ((bgra >> 24) == 0xFF) {
                m_fullDef = std::make_unique<CRowOpDefRowFill>(rgba);
                m_full.Attach(m_fullDef.get(), m_data);
            }
        } else {
            m_path = EPath::Colours;
            if (!m_composite) m_solidDef = std::make_unique<CRowOpDefRowBlend>(keCompositeOver);
            m_data.eSrcFormat = keFormatBGRA;
            m_op.Attach(m_composite ? m_composite.get() : m_solidDef.get(), m_data);
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool SQFILL::AddScan(int x, int y, int coverage, int length) {
    return Run(x, y, length, std::clamp(coverage, 0, 255), nullptr);
}

bool SQFILL::AddScanMask(int x, int y, const uint8_t* mask, int length) {
    if (!mask) return true;
    return Run(x, y, length, 255, mask);
}

bool SQFILL::AddScanRLE(int x, int y, const SScanRLE* runs, int count) {
    if (!runs) return true;
    for (int i = 0; i < count; ++i) {
        if (runs[i].length <= 0) continue;
        if (runs[i].coverage > 0 && !AddScan(x, y, runs[i].coverage, runs[i].length)) return false;
        x += runs[i].length;
    }
    return true;
}

void SQFILL::Modulate(int x, int y, int count, uint32_t* colours) {
    if (m_texels.size() < size_t(count)) m_texels.resize(size_t(count));
    if (!m_texture->GetSpan(x, y, count, m_texels.data())) {
        m_ok = false;
        return;
    }
    const uint8_t* t = reinterpret_cast<const uint8_t*>(m_texels.data());
    uint8_t* c = reinterpret_cast<uint8_t*>(colours);
    for (int i = 0; i < count * 4; ++i) {
        const int p = c[i] * t[i] + 128;
        c[i] = uint8_t((p + (p >> 8)) >> 8);
    }
}

bool SQFILL::Run(int x, int y, int length, int coverage, const uint8_t* mask) {
    if (!m_dst) return false;
    if (y < 0 || y >= m_height || length <= 0) return true;
    const int skip = x < 0 ? -x : 0;
    x += skip;
    length = std::min(length - skip, m_width - x);
    if (length <= 0) return true;
    if (mask) mask += skip;
    const int weight = Weigh(coverage, m_opacity);
    if (weight == 0) return true;
    try {
        if (mask && m_opacity != 255) {
            if (m_mask.size() < size_t(length)) m_mask.resize(size_t(length));
            for (int i = 0; i < length; ++i) m_mask[size_t(i)] = uint8_t(Weigh(mask[i], m_opacity));
            mask = m_mask.data();
        }
        if (m_path == EPath::Colours && m_colours.size() < size_t(length)) m_colours.resize(size_t(length));
    } catch (const std::bad_alloc&) {
        m_ok = false;
        return true;
    }
    uint8_t* row = nullptr;
    if (m_dst->GetRow(row, y, x, length).IsError() || !row) {
        m_ok = false;
        return true;
    }
    m_data.pDst = row;
    m_data.nCount = length;
    m_data.x = x;
    m_data.y = y;
    QuorErrorCode code = keQuorErrSuccess;
    switch (m_path) {
    case EPath::Unerase: qgdi::fill::Unerase(m_format, row, length, mask, uint8_t(weight)); break;
    case EPath::Colours:
        m_src->GetSpan(x, y, length, m_colours.data());
        if (m_texture) Modulate(x, y, length, m_colours.data());
        m_data.pSrc = reinterpret_cast<const uint8_t*>(m_colours.data());
        [[fallthrough]];
    default:
        if (mask)
            code = m_op.SpanMasked(m_data, mask).Ignore();
        else
            code = (weight == 255 && m_full.IsAttached() ? m_full : m_op).Span(m_data, uint8_t(weight)).Ignore();
        break;
    }
    if (code != keQuorErrSuccess) m_ok = false;
    if (m_dst->ReleaseRow(y).IsError()) m_ok = false;
    return true;
}

VQFILL* SQFILL::Clone() const {
    CQFillSrc* src = nullptr;
    if (m_src && !(src = m_src->Clone())) return nullptr;
    SQFILL* copy = new (std::nothrow) SQFILL(m_type, src);
    if (!copy) {
        if (src) src->Unreference();
        return nullptr;
    }
    copy->m_opacity = m_opacity;
    if ((m_composite && !copy->SetCompositeOp(m_composite.get())) ||
        (m_texture && copy->SetTexture(m_texture->GetImage(), m_texture->GetMatrix(), m_texture->GetMode(),
                                       m_texture->GetEdge())
                          .IsError())) {
        copy->Unreference();
        return nullptr;
    }
    return copy;
}

// ---- CQFill -----------------------------------------------------------------

CQFill::~CQFill() { SetFill(nullptr); }

void CQFill::SetFill(VQFILL* fill) noexcept {
    if (fill) fill->Reference();
    if (m_fill) m_fill->Unreference();
    m_fill = fill;
}

bool CQFill::Take(VQFILL* fill) noexcept {
    if (m_fill) m_fill->Unreference();
    m_fill = fill;
    return fill != nullptr;
}

bool CQFill::CreateSolidRGBA(uint32_t rgba) { return Take(QGDI_FillCreateRGBA(rgba)); }

bool CQFill::CreateLinearGradient(const SQRECT& bounds, const SQPOINT& start, const SQPOINT& end, int flag,
                                  const uint32_t* colours, const double* offsets, int count, ESpreadMethod spread,
                                  const double* matrix) {
    return Take(QGDI_FillCreateLinearGradient(bounds, start, end, flag, colours, offsets, count, spread, matrix));
}

bool CQFill::CreateRadialGradient(const SQRECT& bounds, const SQPOINT& centre, double radius, const SQPOINT& focal,
                                  int flag, const uint32_t* colours, const double* offsets, int count,
                                  ESpreadMethod spread, const double* matrix) {
    return Take(QGDI_FillCreateRadialGradient(bounds, centre, radius, focal, flag, colours, offsets, count, spread,
                                              matrix));
}

bool CQFill::CreateAngularGradient(const SQRECT& bounds, const SQPOINT& centre, double angle, int flag,
                                   const uint32_t* colours, const double* offsets, int count, ESpreadMethod spread,
                                   const double* matrix) {
    return Take(
        QGDI_FillCreateAngularGradient(bounds, centre, angle, flag, colours, offsets, count, spread, matrix));
}

bool CQFill::CreateRectangularGradient(const SQRECT& bounds, const SQPOINT& corner0, const SQPOINT& corner1,
                                       int flag, const uint32_t* colours, const double* offsets, int count,
                                       ESpreadMethod spread, const double* matrix) {
    return Take(QGDI_FillCreateRectangularGradient(bounds, corner0, corner1, flag, colours, offsets, count, spread,
                                                   matrix));
}

bool CQFill::CreatePattern(const CRowIterator* image, const double* matrix, EQResampleMode mode) {
    return Take(QGDI_FillCreatePattern(image, matrix, mode));
}

bool CQFill::CreateCheckerBoard(int cellSize, uint32_t rgba0, uint32_t rgba1) {
    return Take(QGDI_FillCreateCheckerBoard(cellSize, rgba0, rgba1));
}

bool CQFill::CreateEraser() { return Take(QGDI_FillCreateEraser()); }
bool CQFill::CreateUneraser() { return Take(QGDI_FillCreateUneraser()); }
bool CQFill::CreateFromFillSrc(CQFillSrc* source) { return Take(QGDI_FillCreateFromFillSrc(source)); }

CErrorAutoThrow CQFill::SetTexture(const CRowIterator* texture, const double* matrix, EQResampleMode mode,
                                   EEdgeMode edge) {
    if (!m_fill) return QERR(keQuorErrFailed);
    return m_fill->SetTexture(texture, matrix, mode, edge);
}

bool CQFill::SetPatternMatrix(const double* matrix) { return QGDI_FillSetPatternMatrix(m_fill, matrix); }

EQFillType CQFill::GetFillType() const noexcept { return QGDI_FillGetType(m_fill); }

// ---- Creation ---------------------------------------------------------------

VQFILL* QGDI_FillCreateFromFillSrc(CQFillSrc* source) {
    if (!source) return nullptr;
    SQFILL* fill = new (std::nothrow) SQFILL(source->GetType(), source);
    if (!fill) source->Unreference();
    return fill;
}

VQFILL* QGDI_FillCreateRGBA(uint32_t rgba) { return QGDI_FillCreateFromFillSrc(QGDI_FillSrcSolid_Create(rgba)); }

VQFILL* QGDI_FillCreateEraser() { return new (std::nothrow) SQFILL(keFillEraser, nullptr); }
VQFILL* QGDI_FillCreateUneraser() { return new (std::nothrow) SQFILL(keFillUneraser, nullptr); }

EQFillType QGDI_FillGetType(const VQFILL* fill) noexcept { return fill ? fill->GetType() : keFillNone; }
