#pragma once
// Image operations as nodes of an effect graph, and the node that runs a
// chain of sequential stages into its destination. The graph hands every
// node one CIoData: where to write, what to read and how to report.
#include <cstdint>
#include <vector>

#include "QuorRender/SeqOp.h"
#include "platform/windef.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

// Everything one run of a node sees. The graph owns the images; a node only
// reads its inputs and writes the destination's rectangle.
class QGDI_API CIoData {
public:
    CRowIterator* pDst = nullptr;               // written by the node
    const CRowIterator* pSrc = nullptr;         // the graph's source image
    const CRowIterator* pBackground = nullptr;  // optional image under the effect
    RECT rcDst = {0, 0, 0, 0};                  // what to render, in destination coordinates
    POINT ptOrigin = {0, 0};                    // destination position of the source's top-left pixel
    CStatusControl* pStatus = nullptr;

    // The node's input images by number (null entries are unconnected inputs).
    void SetInput(int index, const CRowIterator* image);
    const CRowIterator* GetInput(int index) const noexcept;
    int GetInputCount() const noexcept { return static_cast<int>(m_apInputs.size()); }

private:
    std::vector<const CRowIterator*> m_apInputs;
};

// One node of an effect graph.
class QGDI_API CImageOp {
public:
    CImageOp() noexcept = default;
    virtual ~CImageOp();
    CImageOp(const CImageOp&) = delete;
    CImageOp& operator=(const CImageOp&) = delete;

    // Renders the node's rectangle into data.pDst: 0, 100 when cancelled, or an error code.
    virtual CErrorAutoThrow Execute(CIoData& data) = 0;
    // How many numbered inputs the node reads.
    virtual int GetInputCount() const noexcept { return 0; }
};

// A node whose work is a chain of stages: input images 0 and 1 become the
// chain's sources 0 and 1 for one run.
class QGDI_API CIoSeqOp : public CImageOp {
public:
    explicit CIoSeqOp(VSeqOp* chain = nullptr, bool owned = true) noexcept : m_pChain(chain), m_bOwned(owned) {}
    ~CIoSeqOp() override;
    void SetChain(VSeqOp* chain, bool owned = true) noexcept;
    VSeqOp* GetChain() const noexcept { return m_pChain; }
    int GetInputCount() const noexcept override { return m_pChain ? 2 : 0; }

    // 101 when the chain cannot be reset (nothing is written), 100 when
    // cancelled (the rows before stay written), 0 otherwise.
    CErrorAutoThrow Execute(CIoData& data) override;

private:
    VSeqOp* m_pChain;
    bool m_bOwned;
};
