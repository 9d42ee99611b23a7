// SVG drawings: whatever the XML reader makes of the bytes, rendering it into
// a small canvas ends with a code, never a fault, a leak or a hang; what it
// reports as the fault's offset lies inside the input.
#include <cstdlib>
#include <string>

#include "qgdi.h"
#include "tools/qgdi/svg_render.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1 << 16) return 0;
    qgdi::svg::SXmlNode root;
    std::string error;
    size_t at = 0;
    const bool ok = qgdi::svg::ParseXml(reinterpret_cast<const char*>(data), size, root, error, at);
    if (!ok && (at > size || error.empty())) std::abort();
    if (root.name != "svg") return 0;
    double w = 0, h = 0;
    qgdi::svg::SvgIntrinsicSize(root, w, h);
    if (!(w > 0) || !(h > 0)) std::abort();
    CRowIterator canvas;
    if (canvas.Create(48, 48, keFormatBGRxA).IsError()) return 0;
    CQDC dc;
    if (!dc.Initialize(keFormatBGRxA) || dc.AttachIter(&canvas).IsError()) return 0;
    std::vector<std::string> warnings;
    qgdi::svg::SvgRender(root, *dc.GetQDC(), 48, 48, warnings).Ignore();
    std::vector<qgdi::svg::SSvgItem> items;
    qgdi::svg::SvgCollect(root, 48, 48, items);
    return 0;
}
