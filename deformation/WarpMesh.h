#pragma once
// The interactive warp: a coarse mesh of displacements over the image that
// brush dabs reshape. Node (i, j) sits at (i·cell, j·cell) and holds the
// offset from that destination position to the source position it shows;
// between nodes the offsets are bilinear. Every brush composes a small motion
// with the warp already there (the destination looks up where the motion came
// from, then where the old warp took that), so strokes accumulate the way
// the pixels appear to move under the brush.
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/windef.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CCoordinator;

enum EWarpTool : int32_t {
    keWarpPush = 0,                  // drags the pixels under the brush along the stroke
    keWarpTwirlClockwise = 1,        // turns them about the brush centre
    keWarpTwirlCounterClockwise = 2,
    keWarpPinch = 3,                 // draws them toward the centre
    keWarpBloat = 4,                 // pushes them away from it
    keWarpReconstruct = 5,           // takes the warp back toward the original
};

// How a dab's effect fades from the centre (t = 0) to the rim (t = 1).
enum EWarpFalloff : int32_t {
    keWarpFalloffSmooth = 0,    // (1 - t²)²
    keWarpFalloffLinear = 1,    // 1 - t
    keWarpFalloffGaussian = 2,  // exp(-4.5 t²), lowered to reach 0 at the rim
    keWarpFalloffHard = 3,      // 1 inside the brush
};

struct SWarpBrush {
    EWarpTool eTool = keWarpPush;
    double fRadius = 50;     // pixels
    double fStrength = 0.5;  // 0..1, the tool's rate
    double fPressure = 1;    // 0..1, from the stylus
    EWarpFalloff eFalloff = keWarpFalloffSmooth;
    // At full strength and pressure, one dab turns by this many degrees
    // (twirl), scales by this fraction (pinch, bloat: at most 0.5) or takes
    // the warp this fraction of the way back (reconstruct: 1 restores).
    double fTwirlDegrees = 20;
    double fScaleRate = 0.2;
};

class QGDI_API CWarpMesh {
public:
    static constexpr int kDefaultCell = 8;

    CWarpMesh() noexcept = default;
    // An identity mesh over a width x height image; 101 for sizes below 1 or
    // a cell outside 2..256, 102 when memory is short.
    CErrorAutoThrow Create(int width, int height, int cell = kDefaultCell);
    bool IsEmpty() const noexcept { return m_nCols == 0; }
    int GetWidth() const noexcept { return m_nWidth; }
    int GetHeight() const noexcept { return m_nHeight; }
    int GetCell() const noexcept { return m_nCell; }
    int GetCols() const noexcept { return m_nCols; }
    int GetRows() const noexcept { return m_nRows; }

    void Reset() noexcept;
    // The largest offset, in pixels (0: the identity).
    double MaxDisplacement() const noexcept;

    // One dab centred at (x, y); push moves by (dx, dy) scaled by the
    // falloff. Returns the destination pixels whose source changed (empty
    // when none: a brush wholly outside the image, zero strength).
    RECT Dab(const SWarpBrush& brush, double x, double y, double dx = 0, double dy = 0);
    // Dabs every radius/4 pixels from (x0, y0) to (x1, y1), push moving each
    // by its share of the segment; the union of their rectangles.
    RECT Stroke(const SWarpBrush& brush, double x0, double y0, double x1, double y1);
    // Composes a coordinate map with the warp (the map first, as if applied
    // to the image already warped). Maps whose destination size differs are
    // centred. False when the map cannot be realised at the image's size.
    bool ApplyCoordinator(CCoordinator& map);

    // The source position shown at destination (x, y).
    void Map(double x, double y, double& sx, double& sy) const noexcept;
    // Node offsets, row by row, x and y interleaved.
    const float* GetNodes() const noexcept { return m_aNodes.data(); }
    float* GetNodes() noexcept { return m_aNodes.data(); }
    // Fills the offsets of one destination row, pixels x0, x0 + step, ...
    // (count of them), into ox and oy: per cell one linear run, so that the
    // loop vectorises.
    void RowOffsets(int y, int x0, int step, int count, float* ox, float* oy) const noexcept;

    // The warp as a coordinate map (a copy of the mesh; null when empty or
    // short of memory), for renderers that take one.
    CCoordinator* CreateCoordinator() const;

    // Undo: the whole state is the node array, saved and put back.
    std::vector<float> SaveState() const { return m_aNodes; }
    // False (and nothing changed) when the state is not of this mesh's size.
    bool RestoreState(const std::vector<float>& state);

private:
    void Sample(const float* nodes, double x, double y, double& ox, double& oy) const noexcept;
    RECT DirtyRect(int i0, int j0, int i1, int j1) const noexcept;

    int m_nWidth = 0, m_nHeight = 0, m_nCell = kDefaultCell, m_nCols = 0, m_nRows = 0;
    std::vector<float> m_aNodes;
    std::vector<float> m_aScratch;  // the field before a dab, read while writing the new one
};

// Undo and redo of whole mesh states: Record before each stroke.
class QGDI_API CWarpHistory {
public:
    explicit CWarpHistory(size_t depth = 64) noexcept : m_nDepth(depth ? depth : 1) {}
    void Record(const CWarpMesh& mesh);
    bool Undo(CWarpMesh& mesh);
    bool Redo(CWarpMesh& mesh);
    bool CanUndo() const noexcept { return !m_aUndo.empty(); }
    bool CanRedo() const noexcept { return !m_aRedo.empty(); }

private:
    size_t m_nDepth;
    std::vector<std::vector<float>> m_aUndo, m_aRedo;
};
