// qgdi path: reads SVG path data (an .svg file's path elements, or the data
// itself), prints what the path is made of and what flattening, dashing and
// combining make of it, and optionally writes the resulting outline as SVG.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "drawing/drawing.h"
#include "tools/qgdi/commands.h"

namespace {

// All d attributes of an SVG file's path elements as one path; false when
// the file cannot be read or a path does not parse.
bool ReadSource(const std::string& arg, CQPath& path, std::string& error) {
    const bool isFile = arg.size() > 4 && arg.compare(arg.size() - 4, 4, ".svg") == 0;
    if (!isFile) {
        size_t at;
        if (!QGDI_PathDataParse(arg.data(), arg.size(), path.GetPathReceiver(), &at)) {
            error = "path data stops at offset " + std::to_string(at);
            return false;
        }
        return true;
    }
    std::ifstream in(arg, std::ios::binary);
    if (!in) {
        error = "cannot read " + arg;
        return false;
    }
    std::stringstream ss;
    ss << in.rdbuf();
    const std::string svg = ss.str();
    int n = 0;
    for (size_t p = svg.find("<path"); p != std::string::npos; p = svg.find("<path", p + 5)) {
        const size_t end = svg.find('>', p), d = svg.find(" d=\"", p);
        if (d == std::string::npos || d > end) continue;
        const size_t q = svg.find('"', d + 4);
        size_t at;
        if (q == std::string::npos || !QGDI_PathDataParse(svg.data() + d + 4, q - d - 4, path.GetPathReceiver(), &at)) {
            error = "path " + std::to_string(n) + " does not parse";
            return false;
        }
        ++n;
    }
    if (!n) {
        error = "no path elements in " + arg;
        return false;
    }
    return true;
}

bool ParseList(const std::string& s, std::vector<double>& out) {
    std::stringstream ss(s);
    std::string item;
    while (std::getline(ss, item, ',')) {
        char* end = nullptr;
        const double v = std::strtod(item.c_str(), &end);
        if (end == item.c_str() || *end) return false;
        out.push_back(v);
    }
    return !out.empty();
}

void Describe(const char* what, const CQPath& path) {
    int counts[4] = {0, 0, 0, 0}, contours = 0, closed = 0;
    double length = 0, area = 0;
    for (const SQCONTOUR* c = path.GetPath()->first; c; c = c->next) {
        if (!c->first) continue;
        ++contours;
        closed += c->closed != 0;
        for (const SQEDGE* e = c->first; e; e = e->next) ++counts[std::min(std::max(e->type, 0), 3)];
        length += QGDI_ContourGetLength(c);
        area += QGDI_ContourGetArea(c);
    }
    std::printf("%s: %d contours (%d closed), %d lines, %d quadratics, %d cubics, %d arcs\n", what, contours, closed,
                counts[0], counts[1], counts[2], counts[3]);
    SQRECT box, loose;
    if (path.GetBBox(box) && path.GetLooseBBox(loose))
        std::printf("  box %.3f %.3f %.3f %.3f (with control points %.3f %.3f %.3f %.3f)\n", box.left, box.top,
                    box.right, box.bottom, loose.left, loose.top, loose.right, loose.bottom);
    std::printf("  length %.3f, signed area %.3f (positive: clockwise on screen)\n", length, area);
}

// Counts the commands of an iterator: contours and line segments.
void CountStream(CQPathIterator& it, int& contours, int& lines) {
    contours = lines = 0;
    SQPATHCMD c;
    it.Reset();
    while (it.Next(c)) {
        contours += c.command == keCmdMoveTo;
        lines += c.command == keCmdLineTo;
    }
    it.Reset();
}

bool WriteSvg(const std::string& file, CQPathIterator& it, const SQRECT& box) {
    std::ofstream out(file);
    if (!out) return false;
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"" << box.left << ' ' << box.top << ' '
        << box.right - box.left << ' ' << box.bottom - box.top << "\">\n<path fill=\"none\" stroke=\"black\" "
        << "stroke-width=\"" << std::max(box.right - box.left, box.bottom - box.top) / 500 << "\" d=\"";
    SQPATHCMD c;
    it.Reset();
    while (it.Next(c)) {
        if (c.command == keCmdMoveTo) out << 'M' << c.end.x << ' ' << c.end.y;
        else if (c.command == keCmdLineTo) out << 'L' << c.end.x << ' ' << c.end.y;
        else if (c.command == keCmdClosePath) out << 'Z';
    }
    out << "\"/>\n</svg>\n";
    return bool(out);
}

}  // namespace

int QgdiCmdPath(const std::vector<std::string>& args) {
    std::string source, other, outFile;
    double scale = 1.0, flatness = QGDI_GetFlatnessFactor();
    std::vector<double> dash;
    EQPathBoolOp op = keBoolUnion;
    bool combine = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == "--scale" && hasValue) scale = std::atof(args[++i].c_str());
        else if (a == "--flatness" && hasValue) flatness = std::atof(args[++i].c_str());
        else if (a == "--dash" && hasValue) {
            if (!ParseList(args[++i], dash)) {
                std::fprintf(stderr, "qgdi path: --dash wants lengths separated by commas\n");
                return 2;
            }
        } else if ((a == "--union" || a == "--intersect" || a == "--difference" || a == "--xor") && hasValue) {
            op = a == "--union"        ? keBoolUnion
                 : a == "--intersect"  ? keBoolIntersection
                 : a == "--difference" ? keBoolDifference
                                       : keBoolXor;
            other = args[++i];
            combine = true;
        } else if (a == "--out" && hasValue) outFile = args[++i];
        else if (source.empty() && (a.empty() || a[0] != '-' || std::isdigit(static_cast<unsigned char>(a[1]))))
            source = a;
        else {
            std::fprintf(stderr, "qgdi path: unexpected argument %s\n", a.c_str());
            return 2;
        }
    }
    if (source.empty()) {
        std::fprintf(stderr, "qgdi path: give an .svg file or path data\n");
        return 2;
    }
    if (!(scale > 0) || !std::isfinite(scale) || !(flatness > 0) || !std::isfinite(flatness)) {
        std::fprintf(stderr, "qgdi path: scale and flatness must be positive numbers\n");
        return 2;
    }
    CQPath path;
    std::string error;
    if (!ReadSource(source, path, error)) {
        std::fprintf(stderr, "qgdi path: %s\n", error.c_str());
        return 1;
    }
    Describe("path", path);
    double m[9];
    QGDI_MatrixIdentity(m);
    QGDI_MatrixScale(m, scale, scale);

    if (combine) {
        CQPath b, result;
        if (!ReadSource(other, b, error)) {
            std::fprintf(stderr, "qgdi path: second operand: %s\n", error.c_str());
            return 1;
        }
        path.Transform(m);
        b.Transform(m);
        QGDI_MatrixIdentity(m);
        CQPathBoolean boolean;
        const auto t0 = std::chrono::steady_clock::now();
        if (boolean.SetPaths(path, b, flatness).IsError() || boolean.GetPath(result, op).IsError()) {
            std::fprintf(stderr, "qgdi path: the paths could not be combined\n");
            return 1;
        }
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
        std::printf("combined in %.3f ms\n", ms);
        Describe("result", result);
        path = std::move(result);
    }

    CQPathIterator it;
    const auto t0 = std::chrono::steady_clock::now();
    const bool made = dash.empty() ? it.CreateFlat(path, flatness, m)
                                   : it.CreateDashed(path, SQDASH{dash.data(), int(dash.size()), 0.0}, flatness, m);
    const double us = std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - t0).count();
    if (!made) {
        std::fprintf(stderr, "qgdi path: %s refused (bad lengths, or far too many dashes)\n",
                     dash.empty() ? "flattening" : "dashing");
        return 1;
    }
    int contours, lines;
    CountStream(it, contours, lines);
    std::printf("%s at scale %g, flatness %g: %d contours, %d line segments in %.1f us\n",
                dash.empty() ? "flattened" : "dashed", scale, flatness, contours, lines, us);
    if (!outFile.empty()) {
        SQRECT box{0, 0, 1, 1};
        it.GetBBox(box);
        if (!WriteSvg(outFile, it, box)) {
            std::fprintf(stderr, "qgdi path: cannot write %s\n", outFile.c_str());
            return 1;
        }
        std::printf("wrote %s\n", outFile.c_str());
    }
    return 0;
}
