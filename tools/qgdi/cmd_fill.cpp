// qgdi fill: paints a shape (the whole canvas, an ellipse or SVG path data)
// with a solid colour, a gradient or a checkerboard into a new image, through
// the scan converter and a fill, and writes it.
#include <cctype>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "drawing/drawing.h"
#include "qdibcore/Source/DibIterator.h"
#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"

namespace {

constexpr double kPi = 3.14159265358979;

bool ParseNumbers(const std::string& s, std::vector<double>& out) {
    std::stringstream ss(s);
    std::string item;
    out.clear();
    while (std::getline(ss, item, ',')) {
        double v;
        if (!QgdiParseNumber(item, v)) return false;
        out.push_back(v);
    }
    return !out.empty();
}

// "RRGGBB" or "RRGGBBAA" (an optional leading '#') as an RGBA word, red low.
bool ParseColour(std::string s, uint32_t& rgba) {
    if (!s.empty() && s[0] == '#') s.erase(0, 1);
    if (s.size() != 6 && s.size() != 8) return false;
    for (char c : s)
        if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
    const unsigned long v = std::stoul(s, nullptr, 16);
    const uint32_t r = s.size() == 8 ? uint32_t(v >> 24) : uint32_t(v >> 16),
                   g = (s.size() == 8 ? v >> 16 : v >> 8) & 0xFF, b = (s.size() == 8 ? v >> 8 : v) & 0xFF,
                   a = s.size() == 8 ? v & 0xFF : 0xFF;
    rgba = (r & 0xFF) | g << 8 | b << 16 | a << 24;
    return true;
}

// "OFFSET:COLOUR,OFFSET:COLOUR,..."
bool ParseStops(const std::string& s, std::vector<double>& offsets, std::vector<uint32_t>& colours) {
    std::stringstream ss(s);
    std::string item;
    while (std::getline(ss, item, ',')) {
        const size_t colon = item.find(':');
        double offset;
        uint32_t colour;
        if (colon == std::string::npos || !QgdiParseNumber(item.substr(0, colon), offset) ||
            !ParseColour(item.substr(colon + 1), colour))
            return false;
        offsets.push_back(offset);
        colours.push_back(colour);
    }
    return !offsets.empty();
}

}  // namespace

int QgdiCmdFill(const std::vector<std::string>& args) {
    const char* usage =
        "usage: qgdi fill OUT --size WxH (--solid COLOUR | --linear X0,Y0,X1,Y1 | --radial CX,CY,R[,FX,FY] |\n"
        "       --conic CX,CY[,DEGREES] | --rect X0,Y0,X1,Y1 | --checker CELL) [--stops OFF:COLOUR,...]\n"
        "       [--spread pad|reflect|repeat] [--shape canvas|ellipse | --path DATA] [--background COLOUR]\n"
        "       [--opacity 0-255] [--level 1-8] [--evenodd]   (COLOUR: RRGGBB or RRGGBBAA)\n";
    std::string out, kind, shape = "canvas", pathData;
    std::vector<double> geometry, offsets;
    std::vector<uint32_t> colours;
    uint32_t solid = 0xFF000000u, background = 0xFFFFFFFFu;
    int w = 0, h = 0, level = 8;
    double opacity = 255;
    ESpreadMethod spread = keSpreadPad;
    EPolyFillMode mode = kePolyFillNonZero;
    auto bad = [&](const std::string& what) {
        std::fprintf(stderr, "qgdi fill: %s\n%s", what.c_str(), usage);
        return 2;
    };
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool more = i + 1 < args.size();
        if (a == "--size" && more) {
            if (!QgdiParseSize(args[++i], w, h)) return bad("--size takes WxH");
        } else if ((a == "--linear" || a == "--radial" || a == "--conic" || a == "--rect") && more) {
            kind = a.substr(2);
            if (!ParseNumbers(args[++i], geometry)) return bad(a + " takes numbers separated by commas");
        } else if (a == "--solid" && more) {
            kind = "solid";
            if (!ParseColour(args[++i], solid)) return bad("--solid takes RRGGBB or RRGGBBAA");
        } else if (a == "--checker" && more) {
            kind = "checker";
            if (!ParseNumbers(args[++i], geometry) || geometry.size() != 1) return bad("--checker takes a cell size");
        } else if (a == "--stops" && more) {
            if (!ParseStops(args[++i], offsets, colours)) return bad("--stops takes OFFSET:COLOUR,...");
        } else if (a == "--spread" && more) {
            const std::string s = args[++i];
            if (s == "pad") spread = keSpreadPad;
            else if (s == "reflect") spread = keSpreadReflect;
            else if (s == "repeat") spread = keSpreadRepeat;
            else return bad("unknown spread '" + s + "'");
        } else if (a == "--shape" && more) {
            shape = args[++i];
            if (shape != "canvas" && shape != "ellipse") return bad("unknown shape '" + shape + "'");
        } else if (a == "--path" && more) {
            pathData = args[++i];
        } else if (a == "--background" && more) {
            if (!ParseColour(args[++i], background)) return bad("--background takes RRGGBB or RRGGBBAA");
        } else if (a == "--opacity" && more) {
            if (!QgdiParseNumber(args[++i], opacity) || opacity < 0 || opacity > 255)
                return bad("--opacity takes 0-255");
        } else if (a == "--level" && more) {
            double l;
            if (!QgdiParseNumber(args[++i], l) || l < 1 || l > 8 || l != int(l)) return bad("--level takes 1-8");
            level = int(l);
        } else if (a == "--evenodd") {
            mode = kePolyFillEvenOdd;
        } else if (out.empty() && a.rfind("--", 0) != 0) {
            out = a;
        } else {
            return bad("unexpected '" + a + "'");
        }
    }
    if (out.empty() || w <= 0 || kind.empty()) return bad("OUT, --size and a fill are required");
    const size_t need = kind == "linear" || kind == "rect" ? 4 : kind == "radial" ? 3 : kind == "conic" ? 2 : 0;
    if (geometry.size() < need || (kind == "radial" && geometry.size() != 3 && geometry.size() != 5))
        return bad("--" + kind + " needs more numbers");
    if (need && offsets.empty()) {
        offsets = {0, 1};
        colours = {0xFF000000u, 0xFFFFFFFFu};
    }

    const SQRECT bounds{0, 0, double(w), double(h)};
    const int n = int(offsets.size());
    VQFILL* fill = nullptr;
    if (kind == "solid") fill = QGDI_FillCreateRGBA(solid);
    else if (kind == "checker") fill = QGDI_FillCreateCheckerBoard(int(geometry[0]), 0xFFFFFFFFu, 0xFFCCCCCCu);
    else if (kind == "linear")
        fill = QGDI_FillCreateLinearGradient(bounds, {geometry[0], geometry[1]}, {geometry[2], geometry[3]},
                                             keGradientUserSpace, colours.data(), offsets.data(), n, spread, nullptr);
    else if (kind == "radial") {
        const SQPOINT centre{geometry[0], geometry[1]};
        const SQPOINT focal = geometry.size() == 5 ? SQPOINT{geometry[3], geometry[4]} : centre;
        fill = QGDI_FillCreateRadialGradient(bounds, centre, geometry[2], focal, keGradientUserSpace, colours.data(),
                                             offsets.data(), n, spread, nullptr);
    } else if (kind == "conic")
        fill = QGDI_FillCreateAngularGradient(bounds, {geometry[0], geometry[1]},
                                              geometry.size() > 2 ? geometry[2] * kPi / 180 : 0.0, keGradientUserSpace,
                                              colours.data(), offsets.data(), n, spread, nullptr);
    else
        fill = QGDI_FillCreateRectangularGradient(bounds, {geometry[0], geometry[1]}, {geometry[2], geometry[3]},
                                                  keGradientUserSpace, colours.data(), offsets.data(), n, spread,
                                                  nullptr);
    if (!fill) {
        std::fprintf(stderr, "qgdi fill: cannot make that fill (bad stops or degenerate geometry)\n");
        return 1;
    }
    fill->SetOpacity(uint8_t(opacity));

    CQPath path;
    bool shaped = true;
    if (!pathData.empty()) {
        size_t at = 0;
        shaped = QGDI_PathDataParse(pathData.data(), pathData.size(), path.GetPathReceiver(), &at);
        if (!shaped) std::fprintf(stderr, "qgdi fill: path data stops at offset %zu\n", at);
    } else if (shape == "ellipse") {
        shaped = path.CreateEllipse(bounds);
    } else {
        shaped = path.CreateRect(bounds);
    }
    if (!shaped) {
        fill->Unreference();
        return 1;
    }

    CDibIterator image;
    CQgdiJob job("fill", out);
    const int code = job.Run(
        [&](CStatusControl*) -> CErrorAutoThrow {
            const CColorRef bg = CColorRef::FromRGBA(background);
            if (image.Create(w, h, keFormatBGRA, &bg).IsError()) return QERR(keQuorErrOutOfMemory);
            if (fill->Attach(&image).IsError()) return QERR(keQuorErrFailed);
            const int scale = QGDI_PolygonAntialiasingLevelToScale(keAAFilterBox, level, keQPathFill);
            SQPolygon* poly = QGDI_PolygonCreate(RECT{0, 0, w, h}, mode, scale, kePolygonTableAuto, keQPathFill);
            if (!poly) return QERR(keQuorErrOutOfMemory);
            CPolygonPathReceiver rx(poly);
            const bool ok = path.Send(&rx) && poly->Fill(fill->GetScanReceiver());
            poly->Unreference();
            fill->Detach();
            return ok && fill->IsOk() ? CErrorAutoThrow() : QERR(keQuorErrFailed);
        },
        "cannot fill");
    const EQFillType type = fill->GetType();
    fill->Unreference();
    if (code) return code;
    std::string note;
    if (const int written = job.Write(image, note)) return written;
    static const char* const kNames[] = {
        "none",    "solid",        "linear gradient", "radial gradient", "conic gradient", "rectangular gradient",
        "pattern", "checkerboard", "eraser",          "uneraser"};
    std::printf("%s: %d x %d, %s, %d stops%s%s\n", out.c_str(), w, h, kNames[type], n, note.empty() ? "" : ", ",
                note.c_str());
    return 0;
}
