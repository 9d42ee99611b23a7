#pragma once
// The common end of the multi-row filter stages: a stage that makes each
// whole row into its row buffer delivers it through both GetNextRow forms
// the same way.
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "QuorRender/KernelSource.h"
#include "QuorRender/SeqOp.h"
#include "qgdi_export.h"

class QGDI_API CSeqOpRowMaker : public CSeqOp {
public:
    const void* GetNextRow(int x, int count) override {
        if (x < 0 || count < 0 || x + count > m_nMadeWidth || !MakeRow()) return nullptr;
        return m_oRowBuffer.Data() + static_cast<size_t>(x) * m_nMadePixelBytes;
    }
    bool GetNextRow(void* dst, int x, int count) override {
        const void* row = GetNextRow(x, count);
        if (!row) return false;
        std::memcpy(dst, row, static_cast<size_t>(count) * m_nMadePixelBytes);
        return true;
    }

protected:
    // A new window (arguments as CKernelSource's) attached to source 0 with
    // every channel; the source's width and the channel count. False when it
    // cannot be made or the format has samples that are not channels.
    bool OpenWindow(std::unique_ptr<CKernelSource>& window, quor::EQType type, int m, int n, int ax, int ay,
                    EEdgeMode edge, uint32_t colour, int& width, int& channels) {
        VSeqOp* src = Src(0);
        if (!src) return false;
        try {
            window = std::make_unique<CKernelSource>(type, m, n, ax, ay, edge, colour);
        } catch (const std::bad_alloc&) {
            return false;
        }
        if (!window->Attach(src, keChannelSetAll)) return false;
        const CQPixelFormat pf(src->GetPixelFormat());
        width = src->GetWidth();
        channels = window->GetChannelCount();
        return pf.GetBitsPerPixel() == channels * pf.GetBitsPerChannel();
    }
    // The row buffer sized for `width` pixels of `format`, and the made rows' shape recorded.
    bool SizeRows(EQPixelFormat format, int width) {
        const CQPixelFormat pf(format);
        m_oRowBuffer.Free();
        if (!m_oRowBuffer.Grow(static_cast<size_t>(RowBytes(pf.GetBitsPerPixel(), width)))) return false;
        m_nMadeWidth = width;
        m_nMadePixelBytes = static_cast<size_t>(pf.GetBytesPerPixel());
        return true;
    }
    // The next whole row into the row buffer; false at the end or on failure.
    virtual bool MakeRow() = 0;
    // Set by Reset: pixels per row and bytes per pixel of the made rows.
    int m_nMadeWidth = 0;
    size_t m_nMadePixelBytes = 0;
};
