#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "drawing/QDC.h"
#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"
#include "tools/qgdi/svg_render.h"

int QgdiCmdDraw(const std::vector<std::string>& args) {
    const char* usage = "usage: qgdi draw IN.svg OUT.png [--size WxH]\n";
    std::vector<std::string> files;
    int w = 0, h = 0;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--size" && i + 1 < args.size()) {
            if (!QgdiParseSize(args[++i], w, h)) {
                std::fprintf(stderr, "qgdi draw: --size takes WxH, not '%s'\n", args[i].c_str());
                return 2;
            }
        } else {
            files.push_back(args[i]);
        }
    }
    if (files.size() != 2) {
        std::fputs(usage, stderr);
        return 2;
    }
    std::ifstream in(files[0], std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "qgdi draw: cannot open '%s'\n", files[0].c_str());
        return 1;
    }
    const std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    qgdi::svg::SXmlNode root;
    std::string error;
    size_t at = 0;
    if (!qgdi::svg::ParseXml(data.data(), data.size(), root, error, at)) {
        std::fprintf(stderr, "qgdi draw: %s: %s at byte %zu%s\n", files[0].c_str(), error.c_str(), at,
                     root.name == "svg" ? "; drawing what came before" : "");
        if (root.name != "svg") return 1;
    }
    if (root.name != "svg") {
        std::fprintf(stderr, "qgdi draw: %s: the root element is <%s>, not <svg>\n", files[0].c_str(), root.name.c_str());
        return 1;
    }
    if (w == 0) {
        double iw, ih;
        qgdi::svg::SvgIntrinsicSize(root, iw, ih);
        w = int(std::clamp(std::ceil(iw), 1.0, 16384.0));
        h = int(std::clamp(std::ceil(ih), 1.0, 16384.0));
    }
    CRowIterator canvas;
    if (canvas.Create(w, h, keFormatBGRxA).IsError()) {
        std::fprintf(stderr, "qgdi draw: cannot make a %d x %d canvas\n", w, h);
        return 1;
    }
    std::vector<std::string> warnings;
    CQgdiJob job("draw", files[1]);
    const int code = job.Run(
        [&](CStatusControl*) -> CErrorAutoThrow {
            CQDC dc;
            if (!dc.Initialize(keFormatBGRxA)) return QERR(keQuorErrOutOfMemory);
            if (CErrorAutoThrow r = dc.AttachIter(&canvas); r.IsError()) return r;
            CErrorAutoThrow r = qgdi::svg::SvgRender(root, *dc.GetQDC(), w, h, warnings);
            dc.DetachIter();
            return r;
        },
        "cannot draw");
    for (const std::string& warning : warnings) std::fprintf(stderr, "qgdi draw: %s: %s\n", files[0].c_str(), warning.c_str());
    if (code) return code;
    std::string note;
    if (const int c = job.Write(canvas, note)) return c;
    std::printf("%s: %d x %d%s%s\n", files[1].c_str(), w, h, note.empty() ? "" : ", ", note.c_str());
    return 0;
}
