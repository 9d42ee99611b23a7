#pragma once
// Image operations as nodes of an effect graph, and the node that runs a
// chain of sequential stages into its destination. The graph hands every
// node one CIoData: where to write, what to read and how to report.
#include <cstdint>
#include <vector>

#include "QuorRender/SeqOp.h"
#include "geometry/QRect.h"
#include "platform/windef.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

// Kinds of image operation; the effect graph is itself one (11).
enum EImageOpType : int32_t {
    keIoGeneric = 0,
    keIoSeqOp = 1,
    keIoRowOp = 2,
    keIoImage = 3,
    keIoArithmetic = 4,
    keIoComposite = 5,
    keIoColorMatrix = 6,
    keIoComponentTransfer = 7,
    keIoConvolveMatrix = 8,
    keIoMorphology = 9,
    keIoDisplacementMap = 10,
    keIoEffect = 11,
    keIoGaussianBlur = 12,
    keIoTile = 13,
    keIoTurbulence = 14,
    keIoNoise = 15,
    keIoLighting = 16,
    keIoDeformation = 17,
    keIoWind = 18,
    keIoRelief = 19,
};

// Everything one run of a node sees. The graph owns the images; a node only
// reads its inputs and writes the destination's rectangle.
class QGDI_API CIoData {
public:
    CRowIterator* pDst = nullptr;               // written by the node
    const CRowIterator* pSrc = nullptr;         // the graph's source image
    const CRowIterator* pBackground = nullptr;  // optional image under the effect
    RECT rcDst = {0, 0, 0, 0};                  // what to render, in destination coordinates
    // Destination position of the source's top-left pixel. Positions that
    // must not depend on how a run is cut into rectangles (noise, turbulence,
    // tiles) are taken relative to it.
    POINT ptOrigin = {0, 0};
    CStatusControl* pStatus = nullptr;

    // The node's input images by number (null entries are unconnected
    // inputs), each with the rectangle its producer wrote (its subregion; the
    // whole image when null).
    void SetInput(int index, const CRowIterator* image, const RECT* written = nullptr);
    const CRowIterator* GetInput(int index) const noexcept;
    // The rectangle input `index` was written in, or its whole image.
    RECT GetInputRect(int index) const noexcept;
    int GetInputCount() const noexcept { return static_cast<int>(m_apInputs.size()); }

    // Bracket a run: Begin checks the destination (101 when detached or the
    // rectangle misses it), clips rcDst to it and starts the clock; End stops
    // the clock. GetElapsed gives the seconds between them.
    CErrorAutoThrow Begin();
    void End() noexcept;
    double GetElapsed() const noexcept { return m_dElapsed; }

private:
    struct SInput {
        const CRowIterator* image = nullptr;
        RECT written = {0, 0, 0, 0};
        bool hasRect = false;
    };
    std::vector<SInput> m_apInputs;
    double m_dStart = 0, m_dElapsed = 0;
};

// One node of an effect graph.
class QGDI_API CImageOp {
public:
    explicit CImageOp(int type = keIoGeneric) noexcept : m_nType(type) {}
    virtual ~CImageOp();
    CImageOp(const CImageOp&) = delete;
    CImageOp& operator=(const CImageOp&) = delete;

    int GetType() const noexcept { return m_nType; }

    // Renders the node's rectangle into data.pDst: 0, 100 when cancelled, or an error code.
    virtual CErrorAutoThrow Execute(const CIoData& data) = 0;
    // How many numbered inputs the node reads.
    virtual int GetSourceCount() const noexcept { return 0; }
    int GetInputCount() const noexcept { return GetSourceCount(); }
    // The destination rectangle this operation can touch when its input
    // covers `input` placed at `origin`: the input moved by the origin, grown
    // by how far the operation reaches, cut to the subregion when one is set.
    virtual RECT CalculateRectangle(const RECT& input, POINT origin) const;
    // Rough cost of a run over width x height pixels, in nanoseconds of one
    // core; progress shares and benchmarks weigh operations by it.
    virtual double GetTime(int width, int height) const;

    // Runs the operation and keeps its result only where the 8-bit grey
    // `selection` (in destination coordinates) says so, weighing result and
    // original pixels by the mask's bytes. 120 for a mask of another format.
    CErrorAutoThrow ExecuteWithSelection(const CIoData& data, const CRowIterator& selection);

    // The rectangle the operation writes, in the source image's pixel
    // coordinates; null clears it (the whole run).
    void SetSubregion(const SQRECT* subregion) noexcept;
    bool GetSubregion(SQRECT& subregion) const noexcept;
    // The part of `image` (a destination of width x height whose source
    // top-left pixel sits at origin) that the subregion covers.
    RECT GetSubregionRect(int width, int height, POINT origin) const noexcept;

protected:
    // How many pixels the operation reaches beyond each output pixel, for CalculateRectangle.
    virtual RECT GetReach() const noexcept { return {0, 0, 0, 0}; }

private:
    int m_nType;
    bool m_bSubregion = false;
    SQRECT m_rcSubregion = {0, 0, 0, 0};
};

// A node whose work is a chain of stages: input images 0 and 1 become the
// chain's sources 0 and 1 for one run.
class QGDI_API CIoSeqOp : public CImageOp {
public:
    explicit CIoSeqOp(VSeqOp* chain = nullptr, bool owned = true) noexcept
        : CImageOp(keIoSeqOp), m_pChain(chain), m_bOwned(owned) {}
    ~CIoSeqOp() override;
    void SetChain(VSeqOp* chain, bool owned = true) noexcept;
    VSeqOp* GetChain() const noexcept { return m_pChain; }
    int GetSourceCount() const noexcept override { return m_pChain ? 2 : 0; }

    // 101 when the chain cannot be reset (nothing is written), 100 when
    // cancelled (the rows before stay written), 0 otherwise.
    CErrorAutoThrow Execute(const CIoData& data) override;

private:
    VSeqOp* m_pChain;
    bool m_bOwned;
};
