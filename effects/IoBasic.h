#pragma once
// Image operations that place, combine and repeat images: a row operation
// as a node, an external image, the arithmetic and Porter-Duff compositing of
// two inputs, and tiling.
#include <memory>

#include "QuorRender/IoSeqOp.h"
#include "QuorRender/RowOpArithmetic.h"
#include "QuorRender/RowOpBlend.h"
#include "QuorRender/SeqOpResample.h"
#include "qgdi_export.h"

// A row operation applied to every row of the node's rectangle.
enum EIoRowOpInputs : int32_t {
    keIoRowOpOneInput = 0,   // runs on a copy of input 0
    keIoRowOpTwoInputs = 1,  // runs on a copy of input 1 with input 0 as the kernel's source
};

class QGDI_API CIoRowOp : public CImageOp {
public:
    // Keeps its own copy of def. The kernels run on premultiplied BGRA.
    CIoRowOp(const CRowOpDef& def, int inputs);
    int GetSourceCount() const noexcept override { return m_nInputs == keIoRowOpTwoInputs ? 2 : 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;
    const CRowOpDef* GetDef() const noexcept { return m_pDef.get(); }

private:
    std::unique_ptr<CRowOpDef> m_pDef;
    int m_nInputs;
};

// An image of its own, fitted into the node's rectangle keeping its aspect
// (centred, as large as fits) and resampled with the given mode. The node
// reads no input. The image must outlive the operation.
class QGDI_API CIoImage : public CImageOp {
public:
    CIoImage(const CRowIterator* image, EQResampleMode mode) noexcept;
    CErrorAutoThrow Execute(const CIoData& data) override;

private:
    const CRowIterator* m_pImage;
    EQResampleMode m_eMode;
};

// result = k1 i1 i2 + k2 i1 + k3 i2 + k4 on premultiplied channels, clamped
// to 0..1 and the colour to the alpha.
class QGDI_API CIoArithmetic : public CImageOp {
public:
    CIoArithmetic(double k1, double k2, double k3, double k4) noexcept;
    int GetSourceCount() const noexcept override { return 2; }
    CErrorAutoThrow Execute(const CIoData& data) override;
    const CRowOpDefRowArithmetic& GetDef() const noexcept { return m_def; }

private:
    CRowOpDefRowArithmetic m_def;
};

// Input 0 composited onto input 1 with a Porter-Duff operator.
class QGDI_API CIoComposite : public CImageOp {
public:
    explicit CIoComposite(EQCompositeOp op) noexcept;
    int GetSourceCount() const noexcept override { return 2; }
    CErrorAutoThrow Execute(const CIoData& data) override;
    const CRowOpDefRowBlend& GetDef() const noexcept { return m_def; }

private:
    CRowOpDefRowBlend m_def;
};

// The part of input 0 its producer wrote, repeated over the node's
// rectangle; the tile keeps its place, so the copy at the input's own
// position is the original. scale enlarges the tile (nearest pixel); values
// that are not positive and finite mean 1.
class QGDI_API CIoTile : public CImageOp {
public:
    explicit CIoTile(double scale = 1.0) noexcept;
    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;

private:
    double m_dScale;
};
