#include "QuorRender/IoSeqOp.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "QuorRender/RowOpApply.h"
#include "QuorRender/RowOpCopy.h"
#include "diagnostics/Profile.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/ResultTry.h"

void CIoData::SetInput(int index, const CRowIterator* image, const RECT* written) {
    if (index < 0) return;
    if (static_cast<size_t>(index) >= m_apInputs.size()) m_apInputs.resize(static_cast<size_t>(index) + 1);
    SInput& in = m_apInputs[static_cast<size_t>(index)];
    in.image = image;
    in.hasRect = written != nullptr;
    in.written = written ? *written : RECT{0, 0, 0, 0};
}

const CRowIterator* CIoData::GetInput(int index) const noexcept {
    return index >= 0 && static_cast<size_t>(index) < m_apInputs.size() ? m_apInputs[static_cast<size_t>(index)].image
                                                                        : nullptr;
}

RECT CIoData::GetInputRect(int index) const noexcept {
    const CRowIterator* image = GetInput(index);
    if (!image || !image->IsAttached()) return {0, 0, 0, 0};
    const RECT whole = {0, 0, image->GetWidth(), image->GetHeight()};
    const SInput& in = m_apInputs[static_cast<size_t>(index)];
    if (!in.hasRect) return whole;
    return {std::max(whole.left, in.written.left), std::max(whole.top, in.written.top),
            std::min(whole.right, in.written.right), std::min(whole.bottom, in.written.bottom)};
}

namespace {
double Seconds() noexcept {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
}  // namespace

CErrorAutoThrow CIoData::Begin() {
    if (!pDst || !pDst->IsAttached()) return QERR(keQuorErrFailed);
    rcDst.left = std::max<int>(rcDst.left, 0);
    rcDst.top = std::max<int>(rcDst.top, 0);
    rcDst.right = std::min<int>(rcDst.right, pDst->GetWidth());
    rcDst.bottom = std::min<int>(rcDst.bottom, pDst->GetHeight());
    if (rcDst.right <= rcDst.left || rcDst.bottom <= rcDst.top) return QERR(keQuorErrFailed);
    m_dStart = Seconds();
    m_dElapsed = 0;
    return {};
}

void CIoData::End() noexcept { m_dElapsed = Seconds() - m_dStart; }

namespace {
// The pixels a subregion covers; edges within the geometry tolerance of an
// integer do not grow it by a pixel.
RECT CoverRect(const SQRECT& rc) noexcept {
    const auto fix = [](double v) { return std::isnan(v) ? 0.0 : std::clamp(v, -1e9, 1e9); };
    const auto lo = [&](double v) { return static_cast<LONG>(std::floor(fix(v) + 1e-6)); };
    const auto hi = [&](double v) { return static_cast<LONG>(std::ceil(fix(v) - 1e-6)); };
    return {lo(rc.left), lo(rc.top), hi(rc.right), hi(rc.bottom)};
}
}  // namespace

CImageOp::~CImageOp() = default;

RECT CImageOp::CalculateRectangle(const RECT& input, POINT origin) const {
    const RECT reach = GetReach();
    RECT out = {input.left + origin.x - reach.left, input.top + origin.y - reach.top,
                input.right + origin.x + reach.right, input.bottom + origin.y + reach.bottom};
    if (m_bSubregion) {
        RECT sub = CoverRect(m_rcSubregion);
        ::OffsetRect(&sub, origin.x, origin.y);
        out = {std::max(out.left, sub.left), std::max(out.top, sub.top), std::min(out.right, sub.right),
               std::min(out.bottom, sub.bottom)};
        if (out.right < out.left) out.right = out.left;
        if (out.bottom < out.top) out.bottom = out.top;
    }
    return out;
}

double CImageOp::GetTime(int width, int height) const { return 2.0 * width * height; }

void CImageOp::SetSubregion(const SQRECT* subregion) noexcept {
    m_bSubregion = subregion != nullptr;
    m_rcSubregion = subregion ? *subregion : SQRECT{0, 0, 0, 0};
}

bool CImageOp::GetSubregion(SQRECT& subregion) const noexcept {
    if (m_bSubregion) subregion = m_rcSubregion;
    return m_bSubregion;
}

RECT CImageOp::GetSubregionRect(int width, int height, POINT origin) const noexcept {
    RECT out = {0, 0, width, height};
    if (!m_bSubregion) return out;
    const RECT sub = CoverRect(m_rcSubregion);
    out = {std::max<int>(0, sub.left + origin.x), std::max<int>(0, sub.top + origin.y),
           std::min<int>(width, sub.right + origin.x), std::min<int>(height, sub.bottom + origin.y)};
    if (out.right < out.left) out.right = out.left;
    if (out.bottom < out.top) out.bottom = out.top;
    return out;
}

CErrorAutoThrow CImageOp::ExecuteWithSelection(const CIoData& data, const CRowIterator& selection) {
    if (!data.pDst || !data.pDst->IsAttached() || !selection.IsAttached()) return QERR(keQuorErrFailed);
    if (selection.GetPixelFormat() != keFormatGrey) return QERR(keQuorErrFormatNotSupported);
    // The operation renders into a copy, so that it may read the destination
    // (as its source or an input) while the mask decides what survives.
    CRowIterator result;
    QGDI_TRY(result.CreateFromCopy(*data.pDst));
    CIoData run = data;
    run.pDst = &result;
    QGDI_TRY(Execute(run));
    RECT rc = {std::max<int>(data.rcDst.left, 0), std::max<int>(data.rcDst.top, 0),
               std::min<int>(data.rcDst.right, data.pDst->GetWidth()),
               std::min<int>(data.rcDst.bottom, data.pDst->GetHeight())};
    if (rc.right <= rc.left || rc.bottom <= rc.top) return {};
    const CRowOpDefRowCopy copy;
    return PixelIterator_ApplyRowOpChecked(copy, *data.pDst, &result, &selection, &rc, &rc, &rc, data.pStatus);
}

CIoSeqOp::~CIoSeqOp() {
    if (m_bOwned) delete m_pChain;
}

void CIoSeqOp::SetChain(VSeqOp* chain, bool owned) noexcept {
    if (m_bOwned && m_pChain != chain) delete m_pChain;
    m_pChain = chain;
    m_bOwned = owned;
}

CErrorAutoThrow CIoSeqOp::Execute(const CIoData& data) {
    QGDI_PROFILE_SCOPE("pipeline");
    if (!m_pChain || !data.pDst || !data.pDst->IsAttached()) return QERR(keQuorErrFailed);
    CRowIterator& dst = *data.pDst;
    const int left = std::max<int>(data.rcDst.left, 0), top = std::max<int>(data.rcDst.top, 0);
    const int right = std::min<int>(data.rcDst.right, dst.GetWidth()),
              bottom = std::min<int>(data.rcDst.bottom, dst.GetHeight());
    const int width = right - left, height = bottom - top;

    CSeqOpRowIterator adapter0(nullptr, keFormatNone), adapter1(nullptr, keFormatNone);
    if (const CRowIterator* in0 = data.GetInput(0)) {
        adapter0.SetImage(in0);
        m_pChain->SetSrc(&adapter0, 0, false);
        if (const CRowIterator* in1 = data.GetInput(1)) {
            adapter1.SetImage(in1);
            m_pChain->SetSrc(&adapter1, 1, false);
        }
    }
    // The adapters die with this call: the chain must not keep them.
    const auto detach = [&] {
        if (m_pChain->GetSrc(0) == &adapter0) m_pChain->SetSrc(nullptr, 0, false);
        if (m_pChain->GetSrc(1) == &adapter1) m_pChain->SetSrc(nullptr, 1, false);
    };
    if (!m_pChain->Reset()) {
        detach();
        return QERR(keQuorErrFailed);
    }
    if (top > 0) static_cast<void>(m_pChain->Seek(top));
    QuorErrorCode code = keQuorErrSuccess;
    {
        CStatusControl status(data.pStatus);
        status.SetProgressRange(static_cast<uint64_t>(std::max(height, 0)));
        for (int i = 0; i < height; ++i) {
            if (status.SetProgress(static_cast<uint64_t>(i))) {
                code = keQuorErrCancelled;
                break;
            }
            uint8_t* row = dst.GetRow(top + i, left, width);
            if (!row) continue;
            static_cast<void>(m_pChain->GetNextRow(row, left, width));
            // The row given back is the loop's index, as the graph's other
            // nodes do; it is the row taken when the rectangle starts at the top.
            dst.ReleaseRow(i).Ignore();
        }
    }
    detach();
    return code == keQuorErrSuccess ? CErrorAutoThrow() : QERR(code);
}
