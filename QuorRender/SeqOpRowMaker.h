#pragma once
// The common end of the multi-row filter stages: a stage that makes each
// whole row into its row buffer delivers it through both GetNextRow forms
// the same way.
#include <cstddef>
#include <cstring>

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
    // The next whole row into the row buffer; false at the end or on failure.
    virtual bool MakeRow() = 0;
    // Set by Reset: pixels per row and bytes per pixel of the made rows.
    int m_nMadeWidth = 0;
    size_t m_nMadePixelBytes = 0;
};
