#pragma once
// The path data of an SVG drawing, for benchmarks: every d="..." attribute,
// in document order, parsed by the library's path-data reader. Only path
// elements are read (no styles, no transforms): enough for drawings made of
// plain paths under one group transform.
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "bench_util.h"
#include "drawing/drawing.h"

namespace qgdi::bench {

// False when the file cannot be read or a path fails to parse.
inline bool ReadSvgPaths(const std::string& file, std::vector<CQPath>& paths) {
    std::ifstream in(file, std::ios::binary);
    if (!in) return false;
    std::stringstream ss;
    ss << in.rdbuf();
    const std::string svg = ss.str();
    for (size_t p = svg.find("<path"); p != std::string::npos; p = svg.find("<path", p + 5)) {
        const size_t end = svg.find('>', p);
        const size_t d = svg.find(" d=\"", p);
        if (d == std::string::npos || d > end) continue;
        const size_t q = svg.find('"', d + 4);
        if (q == std::string::npos) return false;
        CQPath path;
        if (!QGDI_PathDataParse(svg.data() + d + 4, q - d - 4, path.GetPathReceiver())) return false;
        paths.push_back(std::move(path));
    }
    return !paths.empty();
}

}  // namespace qgdi::bench
