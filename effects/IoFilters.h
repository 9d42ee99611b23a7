#pragma once
// Neighbourhood filters as effect operations: convolution with a matrix,
// dilation and erosion, and displacement by a map, run by the filters of
// QuorRender on premultiplied BGRA.
#include <vector>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/IoSeqOp.h"
#include "QuorRender/SeqOpConvolve.h"
#include "QuorRender/SeqOpMorphology.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qgdi_export.h"

// sum over the kernel of input(x - anchorX + j, y - anchorY + i) k(columns - 1 - j, rows - 1 - i),
// divided by the divisor, plus bias: a true convolution, the kernel (given
// row by row) turned half a turn against its reading order. A channel set
// without alpha filters the colour straight and keeps alpha;
// keChannelSetAll filters every premultiplied channel.
class QGDI_API CIoConvolveMatrix : public CImageOp {
public:
    // Anchor at columns / 2, rows / 2; a divisor of 0 means the kernel's sum (1 when that is 0).
    CIoConvolveMatrix(const double* matrix, double divisor, EEdgeMode edge, EQChannelSet channels, int columns,
                      int rows);
    CIoConvolveMatrix(EQFilterMatrix which, EEdgeMode edge, EQChannelSet channels);
    // The output pixel's position in the kernel, and the bias in 0..1 of full scale.
    void SetTarget(int x, int y) noexcept { m_oKernel.nAnchorX = x, m_oKernel.nAnchorY = y; }
    void SetBias(double bias) noexcept;
    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;

protected:
    RECT GetReach() const noexcept override;

private:
    SConvolveKernel m_oKernel;
    EEdgeMode m_eEdge;
    EQChannelSet m_eChannels;
};

// The largest (dilate) or smallest (erode) premultiplied value of each
// channel within rx, ry of the pixel.
class QGDI_API CIoMorphology : public CImageOp {
public:
    enum EShape : int32_t {
        keShapeRound = 0,   // the ellipse of radii rx, ry
        keShapeSquare = 1,  // the (2 rx + 1) x (2 ry + 1) rectangle
    };
    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;

protected:
    CIoMorphology(bool dilate, EShape shape, int rx, int ry) noexcept;
    RECT GetReach() const noexcept override { return {m_nRx, m_nRy, m_nRx, m_nRy}; }

private:
    bool m_bDilate;
    EShape m_eShape;
    int m_nRx, m_nRy;
};

class QGDI_API CIoDilate : public CIoMorphology {
public:
    CIoDilate(EShape shape, int rx, int ry) noexcept : CIoMorphology(true, shape, rx, ry) {}
};

class QGDI_API CIoErode : public CIoMorphology {
public:
    CIoErode(EShape shape, int rx, int ry) noexcept : CIoMorphology(false, shape, rx, ry) {}
};

// Input 0 displaced by input 1: the pixel comes from
// (x + scale (X - 0.5), y + scale (Y - 0.5)) where X and Y are the map's
// straight x and y channels in 0..1; bilinear between premultiplied pixels,
// transparent outside.
class QGDI_API CIoDisplacementMap : public CImageOp {
public:
    CIoDisplacementMap(EQChannel xChannel, EQChannel yChannel, double scale) noexcept;
    int GetSourceCount() const noexcept override { return 2; }
    CErrorAutoThrow Execute(const CIoData& data) override;

protected:
    RECT GetReach() const noexcept override;

private:
    EQChannel m_eX, m_eY;
    double m_dScale;
};
