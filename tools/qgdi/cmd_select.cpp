#include <cstdio>
#include <sstream>
#include <string>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"

namespace {

// "a,b,c[,d]" of whole numbers.
bool ParseInts(const std::string& text, int* out, int count) {
    std::stringstream in(text);
    std::string part;
    int n = 0;
    while (std::getline(in, part, ',')) {
        double v = 0;
        if (n == count || !QgdiParseNumber(part, v) || v != static_cast<int>(v)) return false;
        out[n++] = static_cast<int>(v);
    }
    return n == count;
}

}  // namespace

int QgdiCmdSelect(const std::vector<std::string>& args) {
    const char* usage =
        "usage: qgdi select IN MASK_OUT --rect X,Y,W,H [--fg X,Y,R ...] [--bg X,Y,R ...] [--soft] "
        "[--iterations N] [--smoothness S] [--components K]   (IN '-' is the built-in sample)\n";
    std::vector<std::string> files;
    struct SDab {
        bool fg;
        int v[3];
    };
    std::vector<SDab> dabs;
    int rect[4] = {0, 0, 0, 0};
    bool hasRect = false;
    SSmartSelectionOptions options;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == "--rect" && hasValue) {
            if (!ParseInts(args[++i], rect, 4)) {
                std::fprintf(stderr, "qgdi select: --rect takes X,Y,W,H, not '%s'\n", args[i].c_str());
                return 2;
            }
            hasRect = true;
        } else if ((a == "--fg" || a == "--bg") && hasValue) {
            SDab d{a == "--fg", {0, 0, 0}};
            if (!ParseInts(args[++i], d.v, 3) || d.v[2] < 0) {
                std::fprintf(stderr, "qgdi select: %s takes X,Y,R, not '%s'\n", a.c_str(), args[i].c_str());
                return 2;
            }
            dabs.push_back(d);
        } else if (a == "--soft") {
            options.bSoftEdge = true;
        } else if ((a == "--iterations" || a == "--components" || a == "--smoothness") && hasValue) {
            double v = 0;
            if (!QgdiParseNumber(args[++i], v)) {
                std::fprintf(stderr, "qgdi select: %s takes a number, not '%s'\n", a.c_str(), args[i].c_str());
                return 2;
            }
            if (a == "--iterations") options.nIterations = static_cast<int>(v);
            else if (a == "--components") options.nComponents = static_cast<int>(v);
            else options.fSmoothness = v;
        } else {
            files.push_back(a);
        }
    }
    if (files.size() != 2 || (!hasRect && dabs.empty())) {
        std::fputs(usage, stderr);
        return 2;
    }
    const auto image = QgdiLoadInput("select", files[0]);
    if (!image) return 1;
    CSmartSelection select;
    if (select.SetImage(*image).IsError() || select.SetOptions(options).IsError()) {
        std::fputs("qgdi select: options out of range (iterations 1..100, components 1..16, smoothness 0..10000)\n",
                   stderr);
        return 2;
    }
    if (hasRect && select.SetRect(RECT{rect[0], rect[1], rect[0] + rect[2], rect[1] + rect[3]}).IsError()) {
        std::fprintf(stderr, "qgdi select: the rectangle %d,%d,%d,%d leaves nothing of the %dx%d image\n", rect[0],
                     rect[1], rect[2], rect[3], image->GetWidth(), image->GetHeight());
        return 2;
    }
    for (const SDab& d : dabs)
        if (select.AddStroke(d.fg, d.v[0], d.v[1], d.v[2]).IsError()) {
            std::fprintf(stderr, "qgdi select: the stroke %d,%d,%d is outside the image\n", d.v[0], d.v[1], d.v[2]);
            return 2;
        }
    CRowIterator mask;
    CQgdiJob job("select", files[1]);
    const int code = job.Run(
        [&](CStatusControl* status) -> CErrorAutoThrow {
            const CErrorAutoThrow r = select.Segment(status);
            if (r.IsError()) return r;
            return select.GetMask(mask);
        },
        "cannot segment (a selection needs a rectangle, or strokes of both kinds)");
    if (code) return code;
    std::string note;
    if (const int w = job.Write(mask, note)) return w;
    uint64_t inside = 0;
    for (int y = 0; y < mask.GetHeight(); ++y) {
        const uint8_t* row = mask.GetRow(y, 0, mask.GetWidth());
        for (int x = 0; x < mask.GetWidth(); ++x) inside += row[x];
        mask.ReleaseRow(y).Ignore();
    }
    std::printf("%s: %.1f%% selected after %d round%s%s%s\n", files[1].c_str(),
                100.0 * double(inside) / 255.0 / (double(mask.GetWidth()) * mask.GetHeight()), select.GetIterationsRun(),
                select.GetIterationsRun() == 1 ? "" : "s", note.empty() ? "" : ", ", note.c_str());
    return 0;
}
