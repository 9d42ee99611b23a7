#pragma once
// Fills: the scan receivers that turn coverage into pixels. Coverage runs
// arrive from scan conversion; the fill's colour source produces the run's
// colours and the fill's composite row operation lays them over the
// destination row under coverage x opacity. The eraser and the uneraser have
// no colours: they lower or raise the destination's alpha by the same weight.
#include <cstdint>
#include <memory>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/RowOp.h"
#include "QuorRender/SeqOpResample.h"
#include "drawing/FillSrc.h"
#include "drawing/Gradient.h"
#include "drawing/Refed.h"
#include "drawing/ScanReceiver.h"
#include "geometry/QPoint.h"
#include "geometry/QRect.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qgdi_export.h"

namespace qgdi::fill {
class CImageSampler;
}

// One run of a run-length coverage row: `length` pixels at `coverage`.
struct SScanRLE {
    int32_t length;
    int32_t coverage;
};

// The fill interface. A fill is attached to a destination iterator, receives
// coverage runs in device pixels of that iterator (row 0 its top), and is
// detached. Reference-counted; one thread at a time.
class QGDI_API VQFILL : public VQGDIRefed, public VScanReceiver {
public:
    // `count` runs from (x, y) rightwards, one after the other.
    virtual bool AddScanRLE(int x, int y, const SScanRLE* runs, int count) = 0;
    // Binds the composite operation to the iterator's format; 110 when it is
    // not attached, 101 for a fill that cannot work on it.
    virtual CErrorAutoThrow Attach(CRowIterator* destination) = 0;
    virtual void Detach() noexcept = 0;
    virtual bool IsAttached() const noexcept = 0;
    // Whether filling a pixel at full coverage leaves it opaque whatever it was.
    virtual bool IsOpaque() const noexcept = 0;
    // Returns the previous opacity.
    virtual uint8_t SetOpacity(uint8_t opacity) noexcept = 0;
    virtual uint8_t GetOpacity() const noexcept = 0;
    // The operation that combines the colours with the destination (copied;
    // null: source-over). Takes effect at the next Attach.
    virtual bool SetCompositeOp(const CRowOpDef* op) = 0;
    virtual const CRowOpDef* GetCompositeOp() const noexcept = 0;
    // An image that modulates the fill's colours (every channel, alpha
    // included), sampled at device-to-texture `matrix` (null: identity)
    // through `mode` and `edge`. Null removes it. The image must outlive the fill.
    virtual CErrorAutoThrow SetTexture(const CRowIterator* texture, const double* matrix = nullptr,
                                       EQResampleMode mode = keResampleBilinear, EEdgeMode edge = keEdgeWrap) = 0;
    virtual VScanReceiver* GetScanReceiver() noexcept = 0;
    virtual EQFillType GetType() const noexcept = 0;
    // The colour source (null for the eraser and uneraser).
    virtual CQFillSrc* GetFillSrc() const noexcept = 0;
    // An independent copy, detached, with the same source state, opacity,
    // composite operation and texture; null when memory runs out.
    virtual VQFILL* Clone() const = 0;
    // False once a run was left undone (a row could not be had, or memory ran out).
    virtual bool IsOk() const noexcept = 0;

protected:
    VQFILL() noexcept = default;
};

class QGDI_API SQFILL : public VQFILL {
public:
    // Takes over one reference to `source` (null with the eraser types).
    SQFILL(EQFillType type, CQFillSrc* source) noexcept;

    bool AddScan(int x, int y, int coverage, int length) override;
    bool AddScanMask(int x, int y, const uint8_t* mask, int length) override;
    bool AddScanRLE(int x, int y, const SScanRLE* runs, int count) override;
    CErrorAutoThrow Attach(CRowIterator* destination) override;
    void Detach() noexcept override;
    bool IsAttached() const noexcept override { return m_dst != nullptr; }
    bool IsOpaque() const noexcept override;
    uint8_t SetOpacity(uint8_t opacity) noexcept override;
    uint8_t GetOpacity() const noexcept override { return m_opacity; }
    bool SetCompositeOp(const CRowOpDef* op) override;
    const CRowOpDef* GetCompositeOp() const noexcept override { return m_composite.get(); }
    CErrorAutoThrow SetTexture(const CRowIterator* texture, const double* matrix = nullptr,
                               EQResampleMode mode = keResampleBilinear, EEdgeMode edge = keEdgeWrap) override;
    VScanReceiver* GetScanReceiver() noexcept override { return this; }
    EQFillType GetType() const noexcept override { return m_type; }
    CQFillSrc* GetFillSrc() const noexcept override { return m_src; }
    VQFILL* Clone() const override;
    bool IsOk() const noexcept override { return m_ok; }

protected:
    ~SQFILL() override;

private:
    // Which way runs reach the row.
    enum class EPath { Colours, Solid, Erase, Unerase };
    bool Run(int x, int y, int length, int coverage, const uint8_t* mask);
    bool Bind();
    void Modulate(int x, int y, int count, uint32_t* colours);

    EQFillType m_type;
    CQFillSrc* m_src;
    uint8_t m_opacity = 255;
    std::unique_ptr<CRowOpDef> m_composite;  // null: source-over
    CRowIterator* m_dst = nullptr;
    EQPixelFormat m_format = keFormatNone;
    int m_width = 0, m_height = 0;
    EPath m_path = EPath::Colours;
    CRowOpData m_data;
    CRowOp m_op;    // the composite (or the solid colour's or the eraser's) operation
    CRowOp m_full;  // runs at full weight, when a plainer operation does the same
    std::unique_ptr<CRowOpDef> m_solidDef, m_fullDef;
    std::vector<uint32_t> m_colours;
    std::vector<uint8_t> m_mask;
    // Texture.
    std::unique_ptr<qgdi::fill::CImageSampler> m_texture;
    std::vector<uint32_t> m_texels;
    bool m_ok = true;
};

// The public wrapper: owns one reference to a fill.
class QGDI_API CQFill {
public:
    CQFill() noexcept = default;
    ~CQFill();
    CQFill(const CQFill&) = delete;
    CQFill& operator=(const CQFill&) = delete;

    // Each replaces the held fill; false (and no fill) on bad arguments or
    // when memory runs out. Colours are RGBA words (red in the low byte).
    bool CreateSolidRGBA(uint32_t rgba);
    bool CreateLinearGradient(const SQRECT& bounds, const SQPOINT& start, const SQPOINT& end, int flag,
                              const uint32_t* colours, const double* offsets, int count, ESpreadMethod spread,
                              const double* matrix = nullptr);
    bool CreateRadialGradient(const SQRECT& bounds, const SQPOINT& centre, double radius, const SQPOINT& focal,
                              int flag, const uint32_t* colours, const double* offsets, int count,
                              ESpreadMethod spread, const double* matrix = nullptr);
    bool CreateAngularGradient(const SQRECT& bounds, const SQPOINT& centre, double angle, int flag,
                               const uint32_t* colours, const double* offsets, int count, ESpreadMethod spread,
                               const double* matrix = nullptr);
    bool CreateRectangularGradient(const SQRECT& bounds, const SQPOINT& corner0, const SQPOINT& corner1, int flag,
                                   const uint32_t* colours, const double* offsets, int count,
                                   ESpreadMethod spread, const double* matrix = nullptr);
    bool CreatePattern(const CRowIterator* image, const double* matrix = nullptr,
                       EQResampleMode mode = keResampleBilinear);
    bool CreateCheckerBoard(int cellSize, uint32_t rgba0, uint32_t rgba1);
    bool CreateEraser();
    bool CreateUneraser();
    // Takes over one reference to `source`.
    bool CreateFromFillSrc(CQFillSrc* source);
    // Holds `fill` (a reference is added; null releases the held one).
    void SetFill(VQFILL* fill) noexcept;
    VQFILL* GetFill() const noexcept { return m_fill; }
    CErrorAutoThrow SetTexture(const CRowIterator* texture, const double* matrix = nullptr,
                               EQResampleMode mode = keResampleBilinear, EEdgeMode edge = keEdgeWrap);
    bool SetPatternMatrix(const double* matrix);
    EQFillType GetFillType() const noexcept;

private:
    bool Take(VQFILL* fill) noexcept;
    VQFILL* m_fill = nullptr;
};

// Fill creation: null on bad arguments or when memory runs out. Gradients take
// `count` stops of RGBA `colours` at `offsets` (0..1), the spread, and the
// matrix from the gradient's space (its points, or the unit square of
// `bounds` with keGradientBoundingBox as `flag`) to device pixels (null: identity).
QGDI_API VQFILL* QGDI_FillCreateRGBA(uint32_t rgba);
QGDI_API VQFILL* QGDI_FillCreateLinearGradient(const SQRECT& bounds, const SQPOINT& start, const SQPOINT& end,
                                               int flag, const uint32_t* colours, const double* offsets, int count,
                                               ESpreadMethod spread, const double* matrix);
// SVG's two-circle rule: t = 0 at the focal point, t = 1 on the circle.
QGDI_API VQFILL* QGDI_FillCreateRadialGradient(const SQRECT& bounds, const SQPOINT& centre, double radius,
                                               const SQPOINT& focal, int flag, const uint32_t* colours,
                                               const double* offsets, int count, ESpreadMethod spread,
                                               const double* matrix);
// t grows from 0 at `angle` (radians, towards +y first) to 1 a full turn later.
QGDI_API VQFILL* QGDI_FillCreateAngularGradient(const SQRECT& bounds, const SQPOINT& centre, double angle, int flag,
                                                const uint32_t* colours, const double* offsets, int count,
                                                ESpreadMethod spread, const double* matrix);
// t = 0 at the centre of the rectangle of the two corners, 1 on its edge.
QGDI_API VQFILL* QGDI_FillCreateRectangularGradient(const SQRECT& bounds, const SQPOINT& corner0,
                                                    const SQPOINT& corner1, int flag, const uint32_t* colours,
                                                    const double* offsets, int count, ESpreadMethod spread,
                                                    const double* matrix);
// The image repeats in every direction; `matrix` maps pattern to device pixels.
QGDI_API VQFILL* QGDI_FillCreatePattern(const CRowIterator* image, const double* matrix,
                                        EQResampleMode mode = keResampleBilinear);
QGDI_API bool QGDI_FillSetPatternMatrix(VQFILL* fill, const double* matrix);
// Squares of `cellSize` device pixels, rgba0 where (x / size + y / size) is even.
QGDI_API VQFILL* QGDI_FillCreateCheckerBoard(int cellSize, uint32_t rgba0, uint32_t rgba1);
QGDI_API VQFILL* QGDI_FillCreateEraser();
QGDI_API VQFILL* QGDI_FillCreateUneraser();
// Takes over one reference to `source` (released when creation fails).
QGDI_API VQFILL* QGDI_FillCreateFromFillSrc(CQFillSrc* source);
QGDI_API EQFillType QGDI_FillGetType(const VQFILL* fill) noexcept;
