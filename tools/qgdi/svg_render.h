#pragma once
// Renders an SVG document read by svg_xml through the drawing context:
// paths and basic shapes, fill and stroke properties, nested groups with
// transforms and opacity, linear and radial gradients, text, <use> of
// elements kept in <defs>. Unknown elements and attributes are ignored, as
// browsers ignore them.
#include <string>
#include <vector>

#include "drawing/QDC.h"
#include "tools/qgdi/svg_xml.h"

namespace qgdi::svg {

// The drawing's own size from width and height, else from its viewBox, else
// the box of its ink (fills and strokes), else 512 x 512.
void SvgIntrinsicSize(const SXmlNode& root, double& width, double& height);

// One painted shape as the renderer sees it: the path in its own space, the
// matrix to the device, and solid paints (gradients and text are left out).
struct SSvgItem {
    CQPath path;
    double matrix[9];
    bool fill = false, stroke = false;
    uint32_t fillRGBA = 0, strokeRGBA = 0;  // red in the low byte
    double fillOpacity = 1, strokeOpacity = 1;
    bool evenOdd = false;
    SStrokeProps pen;
};

// The shapes of the document as drawn at `width` x `height`, for replaying
// them elsewhere (the benchmark's peer draws the same paths).
bool SvgCollect(const SXmlNode& root, int width, int height, std::vector<SSvgItem>& items);

// Draws the document into the context's device of `width` x `height`
// pixels, the viewBox fitted as preserveAspectRatio says. `warnings` gets
// one line per thing left out (path data errors, missing references).
CErrorAutoThrow SvgRender(const SXmlNode& root, QDCBASIC& dc, int width, int height,
                          std::vector<std::string>& warnings);

}  // namespace qgdi::svg
