#pragma once
// The mesh warp: a grid of control points over the image that the user drags.
// The grid's points at rest are spread evenly from the first pixel to the
// last; dragged, they carry the image with them along bicubic (Catmull-Rom)
// patches, so that the surface bends smoothly through every point. Beyond
// the outer points the patches continue in straight lines.
//
// The image is drawn through the warp mesh: the patches are cut into small
// triangles whose moved corners know where they came from, and every mesh
// node inside a triangle looks its source position up there.
#include <vector>

#include "deformation/WarpMesh.h"
#include "geometry/QPoint.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class QGDI_API CMeshWarp {
public:
    CMeshWarp() noexcept = default;
    // A cols x rows grid (each 2..64) at rest over a width x height image; 101 otherwise.
    CErrorAutoThrow Create(int width, int height, int cols = 4, int rows = 4);
    int GetCols() const noexcept { return m_nCols; }
    int GetRows() const noexcept { return m_nRows; }

    // Where point (i, j) rests, and where it is now.
    SQPOINT GetRestPoint(int i, int j) const noexcept;
    SQPOINT GetPoint(int i, int j) const noexcept;
    // Drags point (i, j) to (x, y); false for a point outside the grid or a
    // position that is not finite.
    bool SetPoint(int i, int j, double x, double y) noexcept;
    void Reset() noexcept;
    bool IsIdentity() const noexcept;

    // The position of grid parameter (u, v), u in 0..cols-1: the bicubic surface.
    SQPOINT Evaluate(double u, double v) const noexcept;

    // Writes the warp into `mesh` (created over the same image size, any
    // cell): every node gets the source position its destination shows.
    // Nodes no patch covers continue the offset of their nearest covered
    // neighbour. 101 for a mesh of another size.
    CErrorAutoThrow ToWarpMesh(CWarpMesh& mesh, int subdivisions = 8) const;

    // Undo: the moved points, row by row.
    std::vector<SQPOINT> SaveState() const { return m_aPoints; }
    bool RestoreState(const std::vector<SQPOINT>& state);

private:
    SQPOINT Control(int i, int j) const noexcept;

    int m_nWidth = 0, m_nHeight = 0, m_nCols = 0, m_nRows = 0;
    std::vector<SQPOINT> m_aPoints;
};
