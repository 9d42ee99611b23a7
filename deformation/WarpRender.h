#pragma once
// Drawing an image through a warp mesh: a preview kept up to date dab by dab
// (bilinear reads of a reduced copy of the source, only the rectangle a dab
// changed) and the full-quality image (the image distortion, bicubic, with
// the mesh as its coordinate map).
#include <cstdint>
#include <memory>

#include "deformation/WarpMesh.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;
namespace qgdi::warp {
struct SPaddedImage;
}

class QGDI_API CWarpRenderer {
public:
    CWarpRenderer();
    ~CWarpRenderer();
    CWarpRenderer(const CWarpRenderer&) = delete;
    CWarpRenderer& operator=(const CWarpRenderer&) = delete;

    // Copies the source, and its reduction by `previewFactor` (1 to 8,
    // premultiplied) for the preview. 110 for a detached source, 101 for a bad
    // factor, 102 when memory is short, or the conversion's code.
    CErrorAutoThrow SetSource(const CRowIterator& source, int previewFactor = 2);
    int GetWidth() const noexcept;
    int GetHeight() const noexcept;
    // Outside the source: transparent (the default), or the edge pixels repeated.
    void SetClampEdges(bool clamp) noexcept;

    // Draws the preview pixels that show the destination rectangle `dirty`
    // (full-size pixels; null: everything). 101 when the mesh is not of the
    // source's size or no source is set.
    CErrorAutoThrow UpdatePreview(const CWarpMesh& mesh, const RECT* dirty = nullptr);
    // Premultiplied BGRA, GetPreviewWidth() pixels a row, no padding.
    const uint32_t* GetPreview() const noexcept;
    int GetPreviewWidth() const noexcept;
    int GetPreviewHeight() const noexcept;
    int GetPreviewFactor() const noexcept { return m_nFactor; }

    // The full-quality image into a new `destination` of the source's size
    // and format. 101 as UpdatePreview, 100 when cancelled, 102.
    CErrorAutoThrow Render(const CWarpMesh& mesh, CRowIterator& destination, CStatusControl* status = nullptr) const;

private:
    CRowIterator m_source;
    std::unique_ptr<qgdi::warp::SPaddedImage> m_pReduced;
    std::unique_ptr<uint32_t[]> m_pPreview;
    int m_nWidth = 0, m_nHeight = 0;
    int m_nFactor = 2;
    bool m_bClamp = false;
};

// Source, mesh and renderer in one call: the image warped at full quality.
QGDI_API CErrorAutoThrow QGDI_WarpImage(const CRowIterator& source, const CWarpMesh& mesh, CRowIterator& destination,
                                        bool clampEdges = false, CStatusControl* status = nullptr);
