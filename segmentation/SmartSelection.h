#pragma once
// Smart selection: the object a user points at with a rectangle or brush
// strokes, found as the minimum-energy split of the pixels into foreground
// and background. Colour mixtures of both sides price each pixel's label, a
// contrast-sensitive term prices the border, and a graph cut finds the best
// split; mixtures and cut alternate until the energy settles. Later strokes
// refine the result from where the last solve stopped.
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/platform.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

struct SSmartSelectionOptions {
    // Rounds of mixture fitting and cutting (stops earlier once settled).
    int nIterations = 5;
    // Weight of the border term against the colour term.
    double fSmoothness = 50.0;
    // Gaussians per mixture, 1..16.
    int nComponents = 5;
    // Rounds of refitting after the strokes of a refinement are cut in
    // (0: the new strokes are honoured with the colour models unchanged:
    // a stroke is answered in milliseconds).
    int nRefineIterations = 0;
    // Images above this many pixels are cut at a halved (quartered...) size
    // first, then only a band along the border at full size.
    int64_t nCoarseAbove = 1 << 21;
    // Partial alpha across the border (hair, fur, blur), from a local linear
    // colour model fitted in windows of this radius.
    bool bSoftEdge = false;
    int nSoftRadius = 4;
};

class QGDI_API CSmartSelection {
public:
    CSmartSelection();
    ~CSmartSelection();
    CSmartSelection(const CSmartSelection&) = delete;
    CSmartSelection& operator=(const CSmartSelection&) = delete;

    // Takes a copy of the image as 8-bit colour (any format the library
    // converts, grey included) and forgets every input. 110 for a detached
    // iterator, 101 for an empty image, 120 when the format cannot be converted.
    CErrorAutoThrow SetImage(const CRowIterator& image);
    // 101 for counts or weights out of range; takes effect at the next Segment.
    CErrorAutoThrow SetOptions(const SSmartSelectionOptions& options);
    const SSmartSelectionOptions& GetOptions() const noexcept { return m_options; }

    // The object lies inside `rect` (right and bottom exclusive): everything
    // outside is background. Clipped to the image; 101 when nothing is left.
    CErrorAutoThrow SetRect(const RECT& rect);
    // A round brush dab of `radius` pixels (0: the pixel alone) that is
    // certainly foreground or background; later dabs win where they overlap.
    // 101 for a negative radius or a dab wholly outside the image.
    CErrorAutoThrow AddStroke(bool foreground, int x, int y, int radius);
    // A brush stroke: dabs along the polyline through `points`.
    CErrorAutoThrow AddStroke(bool foreground, const POINT* points, int count, int radius);
    // A selection to start from instead of the rectangle (grey 8-bit or any
    // convertible format; 128 and above is foreground). 101 for a size mismatch.
    CErrorAutoThrow SetMask(const CRowIterator& mask);
    // Forgets rectangle, strokes, starting mask and result.
    void ClearInputs();

    // Segments from the inputs, starting over. 101 when the inputs imply no
    // foreground or no background to learn from (no image, strokes of one
    // kind only), 102 when memory is short, 100 when cancelled.
    CErrorAutoThrow Segment(CStatusControl* status = nullptr);
    // Honours the strokes added since the last Segment or Refine, reusing the
    // last cut (its graph, flow and colour models); segments when none exists.
    CErrorAutoThrow Refine(CStatusControl* status = nullptr);

    // The selection, 255 inside and 0 outside (partial along the border with
    // the soft edge): a grey 8-bit image of the image's size is created in a
    // detached `mask`, an attached one of that size receives it converted. 101
    // before a segmentation.
    CErrorAutoThrow GetMask(CRowIterator& mask) const;

    // The energy of the last cut (colour plus border terms) and the rounds run.
    double GetEnergy() const noexcept;
    int GetIterationsRun() const noexcept;

private:
    struct SState;
    std::unique_ptr<SState> m;
    SSmartSelectionOptions m_options;
};
