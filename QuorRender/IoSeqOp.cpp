#include "QuorRender/IoSeqOp.h"

#include <algorithm>

#include "qdibcore/Source/StatusControl.h"
#include "diagnostics/Profile.h"

void CIoData::SetInput(int index, const CRowIterator* image) {
    if (index < 0) return;
    if (static_cast<size_t>(index) >= m_apInputs.size()) m_apInputs.resize(static_cast<size_t>(index) + 1, nullptr);
    m_apInputs[static_cast<size_t>(index)] = image;
}

const CRowIterator* CIoData::GetInput(int index) const noexcept {
    return index >= 0 && static_cast<size_t>(index) < m_apInputs.size() ? m_apInputs[static_cast<size_t>(index)]
                                                                        : nullptr;
}

CImageOp::~CImageOp() = default;

CIoSeqOp::~CIoSeqOp() {
    if (m_bOwned) delete m_pChain;
}

void CIoSeqOp::SetChain(VSeqOp* chain, bool owned) noexcept {
    if (m_bOwned && m_pChain != chain) delete m_pChain;
    m_pChain = chain;
    m_bOwned = owned;
}

CErrorAutoThrow CIoSeqOp::Execute(CIoData& data) {
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
