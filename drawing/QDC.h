#pragma once
// The drawing context: the state through which vector content reaches an
// image (current fill and stroke fill, opacities, composite operations,
// matrices, clip and viewport rectangles, stroke and raster settings, text
// state), a stack of saved states, and the drawing operations that turn
// paths into scan conversion and fills over a destination row iterator.
//
// Coordinates: world (user) coordinates go through the current matrix, then
// the viewport matrix (the viewport's corner and the scale factor) to device
// coordinates; device coordinates minus the device origin are image
// coordinates, the destination iterator's pixels.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "drawing/Fill.h"
#include "drawing/PathIterator.h"
#include "drawing/QPath.h"
#include "drawing/RegionRect.h"
#include "drawing/Stroke.h"
#include "drawing/Text.h"
#include "qdibcore/Source/RowIteratorBands.h"

class CRowOpDefRowBlendMox;
struct SQDCState;

// The drawing operations every context offers.
class QGDI_API VQDC {
public:
    virtual ~VQDC();
    // The path (commands in world coordinates) filled with the current fill
    // under the fill mode; stroked with the stroke fill along the stroke properties.
    virtual CErrorAutoThrow FillPath(VPathIterator* path) = 0;
    virtual CErrorAutoThrow StrokePath(VPathIterator* path) = 0;
    // The device coverage a fill or a stroke would give, kept to be filled
    // later; null when memory runs out. One reference for the caller.
    virtual VQRegion* CreateFillRegion(VPathIterator* path) = 0;
    virtual VQRegion* CreateStrokeRegion(VPathIterator* path) = 0;
    virtual bool Push() = 0;
    virtual bool Pop() = 0;
    virtual void PopAll() = 0;
};

class QGDI_API QDCBASIC : public VQDC, public VGlyphPathReceiver {
public:
    // A context for images of `format` (keFormatNone: whatever is attached).
    explicit QDCBASIC(EQPixelFormat format = keFormatNone);
    ~QDCBASIC() override;
    QDCBASIC(const QDCBASIC&) = delete;
    QDCBASIC& operator=(const QDCBASIC&) = delete;

    // --- Destination -------------------------------------------------------
    // The device becomes the iterator's size with the clip on all of it; 110
    // for a detached iterator. The iterator must outlive its attachment.
    CErrorAutoThrow AttachIter(CRowIterator* destination);
    // Returns the iterator that was attached (null when none).
    CRowIterator* DetachIter() noexcept;
    CRowIterator* GetIter() const noexcept { return m_dst; }

    void SetDeviceSize(const SIZE& size) noexcept { m_deviceSize = size; }
    SIZE GetDeviceSize() const noexcept { return m_deviceSize; }
    // The device coordinates of the image's top-left pixel.
    POINT SetDeviceOrg(const POINT& origin) noexcept;
    POINT GetDeviceOrg() const noexcept { return m_deviceOrg; }
    // Drawing stays inside this rectangle (device coordinates); returns the previous one.
    RECT SetDeviceClipRect(const RECT& clip) noexcept;
    RECT GetDeviceClipRect() const noexcept { return m_clip; }

    // --- Stroke -----------------------------------------------------------
    // Each returns the previous value. A set flag makes the width a device width.
    double SetStrokeWidth(double width, int flag = 0) noexcept;
    double GetStrokeWidth() const noexcept { return m_stroke.width; }
    double SetStrokeMiterLimit(double limit) noexcept;
    ELineJoin SetStrokeLineJoin(ELineJoin join) noexcept;
    // Position 0..3 sets that cap and returns its previous type; -2 sets all
    // four and returns -1; any other position changes nothing and returns -1.
    int SetStrokeLineCap(int cap, int position);
    // The same positions; the previous scale of a single position, else (0, 0).
    SQPOINT SetStrokeLineCapScale(double sx, double sy, int position);
    // Null or a negative count clears the array; false when out of memory.
    bool SetStrokeDash(const double* lengths, int count, double offset);
    const SStrokeProps& GetStrokeProps() const noexcept { return m_stroke; }
    bool SetStrokeProps(const SStrokeProps& props);

    // --- Fills and compositing --------------------------------------------
    // A reference to the fill is taken and the old one released; false for null.
    bool SetFill(VQFILL* fill);
    bool SetStrokeFill(VQFILL* fill);
    VQFILL* GetFill() const noexcept { return m_fill; }
    VQFILL* GetStrokeFill() const noexcept { return m_strokeFill; }
    // Stored, and passed on to the current fill; return the previous opacity.
    uint8_t SetFillOpacity(uint8_t opacity) noexcept;
    uint8_t SetStrokeOpacity(uint8_t opacity) noexcept;
    uint8_t GetFillOpacity() const noexcept { return m_fillOpacity; }
    uint8_t GetStrokeOpacity() const noexcept { return m_strokeOpacity; }
    // How the fill meets the destination (copied; null: source-over). Kept for
    // fills set later too.
    bool SetFillCompositeOp(const CRowOpDef* op);
    bool SetStrokeCompositeOp(const CRowOpDef* op);
    // An 8-bit grey image whose bytes weigh every drawing (image coordinates
    // of its top-left pixel at `offset`); null removes it. Must outlive its use.
    bool SetMask(const CRowIterator* mask, POINT offset = {0, 0});
    const CRowIterator* GetMask() const noexcept { return m_mask; }

    // --- Raster settings (this context's copy) ----------------------------
    EPolyFillMode SetPolyFillMode(EPolyFillMode mode) noexcept;
    EPolyFillMode GetPolyFillMode() const noexcept { return m_raster.polyFillMode; }
    // Clamped to 1..8.
    int SetAntialiasingLevel(int level) noexcept;
    int GetAntialiasingLevel() const noexcept { return m_raster.antialiasingLevel; }
    EAntialiasingFilter SetAntialiasingFilter(EAntialiasingFilter filter) noexcept;
    EAntialiasingFilter GetAntialiasingFilter() const noexcept { return m_raster.antialiasingFilter; }
    double SetPathFlatness(double flatness) noexcept;
    bool SetLineDraw(bool lineDraw) noexcept;
    const SRasterProps& GetRasterProps() const noexcept { return m_raster; }
    // Text switches of the raster settings: the library's own text path and its memory budget.
    void SetSystemTextRenderProps(bool render, uint32_t memory) noexcept;
    void GetSystemTextRenderProps(bool& render, uint32_t& memory) const noexcept;

    // --- Matrices and viewport --------------------------------------------
    // World to viewport (null: identity); the previous one into `previous` when given.
    void SetCurrentMatrix(const double* m, double* previous = nullptr) noexcept;
    const double* GetCurrentMatrix() const noexcept { return m_current; }
    // The pen's own space: with style transforms off, strokes are shaped
    // through this matrix alone instead of the current one.
    void SetCurrentStyleMatrix(const double* m) noexcept;
    const double* GetCurrentStyleMatrix() const noexcept { return m_style; }
    bool SetTransformStyle(bool transform) noexcept;
    bool GetTransformStyle() const noexcept { return m_transformStyle; }
    // The viewport's corner and the scale factor make the viewport matrix.
    RECT SetViewPortDC(const RECT& viewport) noexcept;
    RECT GetViewPortDC() const noexcept { return m_viewport; }
    // An empty rectangle clips nothing.
    RECT SetViewPortClipRectDC(const RECT& clip) noexcept;
    RECT GetViewPortClipRectDC() const noexcept { return m_viewportClip; }
    double SetScaleFactor(double scale) noexcept;
    double GetScaleFactor() const noexcept { return m_scale; }
    // Viewport matrix x current matrix: world to device.
    const double* GetCurrentViewPortMatrix() const noexcept;
    // World to image pixels: the matrix every drawing uses.
    const double* GetDeviceMatrix() const noexcept;

    EQPixelFormat SetPixelFormat(EQPixelFormat format) noexcept;
    EQPixelFormat GetPixelFormat() const noexcept { return m_format; }

    // --- Text -------------------------------------------------------------
    // A family ("DejaVu Sans", or a font file's path), a style and a size in
    // world units. A missing family falls back to the default font; false
    // only when no font at all can be had.
    bool SetFont(const char* family, int style, double size);
    const CQFont* GetFont() const noexcept { return m_font.get(); }
    const STextProps& GetTextProps() const noexcept { return m_text; }
    void SetTextProps(const STextProps& props) noexcept { m_text = props; }
    // The pen position of the next text drawn without a position; previous one back.
    SQPOINT SetTextCP(const SQPOINT& position) noexcept;
    SQPOINT GetTextCP() const noexcept { return m_textCP; }
    bool SetTextKerning(bool kerning) noexcept;
    // Text runs along this path (world coordinates) when set; null: along a line.
    bool SetTextPath(const CQPath* path);
    // Characters [first, first + count) take the stroke fill instead of the fill.
    void SetTextSelection(int first, int count) noexcept;
    // Receives every glyph's outline in device space as text is drawn (null: none).
    VPathReceiver* SetGlyphsBoundPathReceiver(VPathReceiver* receiver) noexcept;
    VPathReceiver* GetGlyphsBoundPathReceiver() const noexcept { return m_glyphBounds; }

    // UTF-8 text at `origin` (world coordinates, on the baseline; null: the
    // text position, which then moves past the text).
    CErrorAutoThrow QDrawText(const char* utf8, int length = -1, const SQPOINT* origin = nullptr);
    // Advance and ink box of the text in world units (box relative to the origin).
    CErrorAutoThrow MeasureText(const char* utf8, int length, STextMetrics& metrics);
    // Each glyph's outline, as text would be drawn, to `receiver` in world coordinates.
    CErrorAutoThrow ReceiveGlyphPath(const char* utf8, int length, const SQPOINT& origin, VPathReceiver* receiver);
    // VGlyphPathReceiver: one glyph outline (world coordinates) drawn with the fill.
    bool ReceiveGlyph(const CQPath& glyph, int cluster) override;

    // --- Tests --------------------------------------------------------------
    bool IsFillOpaque() const noexcept;
    bool IsStrokeFillOpaque() const noexcept;
    // A stroke would change pixels: positive width, a stroke fill, some opacity.
    bool IsThereStrokeToRender() const noexcept;
    // Glyphs are outlines through the scan converter here, never cached bitmaps.
    bool SupportsGlyphMasks() const noexcept { return false; }
    // Set: drawing calls return at once (a host skipping invisible work).
    bool OmitOperation(bool omit) noexcept;
    // Set: drawing touches only the device rectangle given (empty: everything).
    void SelectiveRendering(const RECT& area) noexcept { m_selective = area; }

    // --- Conversions ------------------------------------------------------
    void DCtoIC(SQPOINT& p) const noexcept;
    void ICtoDC(SQPOINT& p) const noexcept;
    void DCtoIC(RECT& r) const noexcept;
    void ICtoDC(RECT& r) const noexcept;
    // The device pixels (image coordinates) a world rectangle touches, within the clip; false when none.
    bool RectOnDevice(const SQRECT& world, RECT& device) const noexcept;

    // --- Drawing ----------------------------------------------------------
    CErrorAutoThrow FillPath(VPathIterator* path) override;
    CErrorAutoThrow StrokePath(VPathIterator* path) override;
    CErrorAutoThrow FillPath(const CQPath& path);
    CErrorAutoThrow StrokePath(const CQPath& path);
    VQRegion* CreateFillRegion(VPathIterator* path) override;
    VQRegion* CreateStrokeRegion(VPathIterator* path) override;
    // A region (image coordinates) filled with the fill or the stroke fill.
    CErrorAutoThrow FillFillRegion(const VQRegion* region);
    CErrorAutoThrow FillStrokeRegion(const VQRegion* region);
    // An 8-bit grey image's bytes as coverage, its top-left pixel at `offset` (image coordinates).
    CErrorAutoThrow FillFillMask(const CRowIterator* mask, POINT offset);
    CErrorAutoThrow FillStrokeMask(const CRowIterator* mask, POINT offset);
    // A world rectangle with exact coverage when the matrix keeps it upright.
    CErrorAutoThrow FillRect(const SQRECT& rect);
    // Every pixel inside the clip.
    CErrorAutoThrow FillCanvas();

    // --- Images and layers ------------------------------------------------
    // `image` placed by `matrix` (image pixels to world; null: identity),
    // resampled by `mode`, composited over with the fill opacity.
    CErrorAutoThrow DrawImageWC(const CRowIterator* image, const double* matrix,
                                EQResampleMode mode = keResampleBilinear);
    // Composites the image inside `rect` (image coordinates; null: the clip)
    // over a checkerboard of `cell` pixels, leaving it opaque.
    CErrorAutoThrow BlendOverCheckboard(const RECT* rect, int cell = 8, uint32_t rgba0 = 0xFFFFFFFFu,
                                        uint32_t rgba1 = 0xFFCCCCCCu);
    // Moves the pixels inside the clip by (dx, dy); what is uncovered keeps its pixels.
    CErrorAutoThrow Scroll(int dx, int dy);
    // A row operation on the device rectangle, or under the coverage of a world rectangle.
    CErrorAutoThrow ExecuteOpDC(const CRowOpDef& op, const RECT& device);
    CErrorAutoThrow ExecuteOpWC(const CRowOpDef& op, const SQRECT& world);
    // Drawing goes to a transparent canvas until EndLayer composites it back
    // through `blendMode` (an EQBlendMoxMode) at `opacity`. Layers nest.
    CErrorAutoThrow BeginLayer(uint8_t opacity = 255, int blendMode = 0);
    CErrorAutoThrow EndLayer();
    int GetLayerDepth() const noexcept { return int(m_layers.size()); }
    // The current layer's canvas, and the image under it (null without a layer).
    CRowIterator* GetCanvasImage() const noexcept;
    CRowIterator* GetUnderlayerCanvasImage() const noexcept;

    // --- State stack --------------------------------------------------------
    bool Push() override;
    bool Pop() override;
    void PopAll() override;
    int GetStackDepth() const noexcept;

private:
    friend struct SQDCState;
    struct SLayer;
    // Drawing's clip in image coordinates; false when nothing is left.
    bool ClipIC(RECT& clip) const noexcept;
    // Path to coverage into `receiver` (through the mask when there is one).
    CErrorAutoThrow Rasterize(VPathIterator* path, bool stroke, VScanReceiver* receiver);
    CErrorAutoThrow RunFill(VQFILL* fill, const std::function<CErrorAutoThrow(VScanReceiver*)>& send);
    CErrorAutoThrow FillRegionWith(VQFILL* fill, const VQRegion* region);
    CErrorAutoThrow FillMaskWith(VQFILL* fill, const CRowIterator* mask, POINT offset);
    VPathIteratorRefed* MakeStroke(VPathIterator* path, const SStrokeProps& pen, bool& lineDraw);
    void UpdateMatrices() noexcept;
    bool Busy() const noexcept;

    CRowIterator* m_dst = nullptr;
    EQPixelFormat m_format;
    RECT m_clip{0, 0, 0, 0};
    RECT m_selective{0, 0, 0, 0};
    RECT m_viewport{0, 0, 0, 0};
    RECT m_viewportClip{0, 0, 0, 0};
    POINT m_deviceOrg{0, 0};
    SIZE m_deviceSize{0, 0};
    double m_scale = 1.0;
    uint8_t m_fillOpacity = 255;
    uint8_t m_strokeOpacity = 255;
    VQFILL* m_fill = nullptr;
    VQFILL* m_strokeFill = nullptr;
    std::unique_ptr<CRowOpDef> m_fillOp, m_strokeOp;
    double m_current[9];
    double m_viewportMatrix[9];
    double m_style[9];
    double m_device[9];  // world to image pixels, kept with the other three
    bool m_transformStyle = true;
    SStrokeProps m_stroke;
    SRasterProps m_raster;
    // Text.
    std::shared_ptr<CQFont> m_font;
    STextProps m_text;
    SQPOINT m_textCP{0, 0};
    std::unique_ptr<CQPath> m_textPath;
    int m_selFirst = 0, m_selCount = 0;
    VPathReceiver* m_glyphBounds = nullptr;
    const CRowIterator* m_mask = nullptr;
    POINT m_maskOffset{0, 0};
    bool m_omit = false;
    SQDCState* m_stack = nullptr;
    std::vector<std::unique_ptr<SLayer>> m_layers;
};

// Shapes drawn by CQDC: filled, stroked or both.
enum EQDrawMode : int32_t {
    keDrawFill = 1,
    keDrawStroke = 2,
    keDrawFillAndStroke = 3,
};

// The public context: owns one QDCBASIC and adds shapes, colour setters and
// transform shortcuts. Everything else is reached through GetQDC().
class QGDI_API CQDC {
public:
    CQDC();
    ~CQDC();
    CQDC(const CQDC&) = delete;
    CQDC& operator=(const CQDC&) = delete;

    // Makes a fresh engine for `format`; false when memory runs out.
    bool Initialize(EQPixelFormat format = keFormatNone);
    QDCBASIC* GetQDC() const noexcept { return m_dc; }
    // Takes over `dc` (the old engine is deleted).
    void SetQDC(QDCBASIC* dc) noexcept;
    QDCBASIC* operator->() const noexcept { return m_dc; }

    CErrorAutoThrow AttachIter(CRowIterator* it) { return m_dc->AttachIter(it); }
    CRowIterator* DetachIter() noexcept { return m_dc->DetachIter(); }
    // Detaches and hands the iterator over; InsertIter attaches one again.
    CRowIterator* ExtractIter() noexcept { return m_dc->DetachIter(); }
    CErrorAutoThrow InsertIter(CRowIterator* it) { return m_dc->AttachIter(it); }
    void SetDeviceSize(const SIZE& s) noexcept { m_dc->SetDeviceSize(s); }
    SIZE GetDeviceSize() const noexcept { return m_dc->GetDeviceSize(); }
    POINT SetDeviceOrg(const POINT& p) noexcept { return m_dc->SetDeviceOrg(p); }
    POINT GetDeviceOrg() const noexcept { return m_dc->GetDeviceOrg(); }
    RECT SetDeviceClipRect(const RECT& r) noexcept { return m_dc->SetDeviceClipRect(r); }
    RECT GetDeviceClipRect() const noexcept { return m_dc->GetDeviceClipRect(); }

    // Shapes in world coordinates.
    CErrorAutoThrow Line(const SQPOINT& a, const SQPOINT& b);
    CErrorAutoThrow Polyline(const SQPOINT* points, int count);
    CErrorAutoThrow Polygon(const SQPOINT* points, int count, EQDrawMode mode = keDrawFillAndStroke);
    CErrorAutoThrow Rectangle(const SQRECT& rect, EQDrawMode mode = keDrawFillAndStroke);
    CErrorAutoThrow RoundRect(const SQRECT& rect, double rx, double ry, EQDrawMode mode = keDrawFillAndStroke);
    CErrorAutoThrow Ellipse(const SQRECT& rect, EQDrawMode mode = keDrawFillAndStroke);
    CErrorAutoThrow FillPath(const CQPath& path) { return m_dc->FillPath(path); }
    CErrorAutoThrow StrokePath(const CQPath& path) { return m_dc->StrokePath(path); }
    CErrorAutoThrow StrokeAndFillPath(const CQPath& path);
    CErrorAutoThrow FillRect(const SQRECT& rect) { return m_dc->FillRect(rect); }
    CErrorAutoThrow FillCanvas() { return m_dc->FillCanvas(); }
    CErrorAutoThrow FillFillRegion(const VQRegion* r) { return m_dc->FillFillRegion(r); }
    CErrorAutoThrow FillStrokeRegion(const VQRegion* r) { return m_dc->FillStrokeRegion(r); }
    CErrorAutoThrow FillFillMask(const CRowIterator* m, POINT o) { return m_dc->FillFillMask(m, o); }
    CErrorAutoThrow FillStrokeMask(const CRowIterator* m, POINT o) { return m_dc->FillStrokeMask(m, o); }
    CErrorAutoThrow DrawImageWC(const CRowIterator* image, const double* m, EQResampleMode mode = keResampleBilinear) {
        return m_dc->DrawImageWC(image, m, mode);
    }
    CErrorAutoThrow ExecuteOpDC(const CRowOpDef& op, const RECT& r) { return m_dc->ExecuteOpDC(op, r); }
    CErrorAutoThrow ExecuteOpWC(const CRowOpDef& op, const SQRECT& r) { return m_dc->ExecuteOpWC(op, r); }
    CErrorAutoThrow Scroll(int dx, int dy) { return m_dc->Scroll(dx, dy); }
    CErrorAutoThrow BlendOverCheckboard(const RECT* r, int cell = 8) { return m_dc->BlendOverCheckboard(r, cell); }
    CErrorAutoThrow BeginLayer(uint8_t opacity = 255, int blendMode = 0) { return m_dc->BeginLayer(opacity, blendMode); }
    CErrorAutoThrow EndLayer() { return m_dc->EndLayer(); }
    CRowIterator* GetCanvasImage() const noexcept { return m_dc->GetCanvasImage(); }
    CRowIterator* GetUnderlayerCanvasImage() const noexcept { return m_dc->GetUnderlayerCanvasImage(); }

    // Solid fills from colour channels in 0..255 (each makes a new solid fill).
    bool SetFillColorRGB(int r, int g, int b) { return SetFillColorRGBA(r, g, b, 255); }
    bool SetFillColorRGBA(int r, int g, int b, int a);
    bool SetStrokeColorRGB(int r, int g, int b) { return SetStrokeColorRGBA(r, g, b, 255); }
    bool SetStrokeColorRGBA(int r, int g, int b, int a);
    // Level 1 (off) or the given level.
    int SetAntialiasing(bool on, int level = 8) noexcept;

    // The current matrix: each operation acts before what it holds (world space).
    void Translate(double dx, double dy) noexcept;
    void Scale(double sx, double sy) noexcept;
    void Rotate(double radians) noexcept;
    void SkewX(double k) noexcept;
    void SkewY(double k) noexcept;
    void Transform(const double* m) noexcept;
    // false for a singular matrix.
    bool InverseTransform(const double* m) noexcept;
    // World <-> device points; distances ignore the translation.
    void TransformToDevice(SQPOINT& p) const noexcept;
    bool TransformToWorld(SQPOINT& p) const noexcept;
    void DistanceTransform(SQPOINT& d) const noexcept;
    bool InverseDistanceTransform(SQPOINT& d) const noexcept;

    bool Push() { return m_dc->Push(); }
    bool Pop() { return m_dc->Pop(); }
    void PopAll() { m_dc->PopAll(); }

private:
    CErrorAutoThrow Shape(const CQPath& path, EQDrawMode mode);
    QDCBASIC* m_dc = nullptr;
};

// A new engine, owned by the caller (delete); null when memory runs out.
QGDI_API QDCBASIC* QGDI_CreateQDC(EQPixelFormat format = keFormatNone);
