#include "drawing/FillSrc.h"

#include <algorithm>
#include <new>

#include "QuorRender/RowOpCopy.h"

bool QGDI_IsBufferOpaqueBGRA(const void* buffer, int count) noexcept {
    if (!buffer || count <= 0) return true;
    const uint32_t* p = static_cast<const uint32_t*>(buffer);
    // AND of every word: one compare at the end instead of a branch per pixel.
    uint32_t all = 0xFFFFFFFFu;
    for (int i = 0; i < count; ++i) all &= p[i];
    return (all >> 24) == 0xFFu;
}

bool CQFillSrc::Row(CRowOpData& data) {
    const int n = data.nCount;
    if (n <= 0) return true;
    if (data.eDstFormat == keFormatBGRA) {
        GetSpan(data.x, data.y, n, reinterpret_cast<uint32_t*>(data.pDst));
        return true;
    }
    try {
        if (m_scratch.size() < size_t(n)) m_scratch.resize(size_t(n));
    } catch (const std::bad_alloc&) {
        return false;
    }
    GetSpan(data.x, data.y, n, m_scratch.data());
    if (m_convertFormat != data.eDstFormat) {
        static const CRowOpDefRowCopy kCopy;
        CRowOpData bind = data;
        bind.eSrcFormat = keFormatBGRA;
        m_convert.Attach(&kCopy, bind);
        m_convertFormat = data.eDstFormat;
    }
    CRowOpData row = data;
    row.eSrcFormat = keFormatBGRA;
    row.pSrc = reinterpret_cast<const uint8_t*>(m_scratch.data());
    row.pMask = nullptr;
    return m_convert.RunCode(row) == keQuorErrSuccess;
}

CFillSrcRGBA::CFillSrcRGBA(uint32_t rgba) noexcept : m_bgra(QGDI_RGBAtoBGRA(rgba)) {}

uint32_t CFillSrcRGBA::GetRGBA() const noexcept { return QGDI_RGBAtoBGRA(m_bgra); }

CQFillSrc* CFillSrcRGBA::Clone() const { return new (std::nothrow) CFillSrcRGBA(GetRGBA()); }

void CFillSrcRGBA::GetSpan(int, int, int count, uint32_t* out) { std::fill_n(out, std::max(count, 0), m_bgra); }

CQFillSrc* QGDI_FillSrcSolid_Create(uint32_t rgba) { return new (std::nothrow) CFillSrcRGBA(rgba); }
