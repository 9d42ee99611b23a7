#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "deformation/WarpMesh.h"
#include "deformation/WarpRender.h"
#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"

namespace {

// "a,b,c" into exactly `count` numbers.
bool ParseList(const std::string& text, size_t count, std::vector<double>& values) {
    values.clear();
    std::stringstream in(text);
    std::string part;
    while (std::getline(in, part, ',')) {
        double v;
        if (!QgdiParseNumber(part, v)) return false;
        values.push_back(v);
    }
    return values.size() == count;
}

struct SWarpStep {
    EWarpTool tool;
    std::vector<double> v;
};

}  // namespace

int QgdiCmdWarp(const std::vector<std::string>& args) {
    const char* usage =
        "usage: qgdi warp IN OUT [--push X,Y,DX,DY,RADIUS] [--twirl X,Y,DEGREES,RADIUS] [--pinch X,Y,AMOUNT,RADIUS]\n"
        "                 [--bloat X,Y,AMOUNT,RADIUS] [--reconstruct X,Y,RADIUS] ... [--strength S] [--falloff F]\n"
        "                 [--edge transparent|clamp]   (strokes in the order given; negative DEGREES turn\n"
        "                 counter-clockwise; F is smooth, linear, gaussian or hard; IN '-' is the built-in sample)\n";
    std::vector<std::string> files;
    std::vector<SWarpStep> steps;
    SWarpBrush brush;
    brush.fStrength = 1;
    bool clamp = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        const struct {
            const char* name;
            EWarpTool tool;
            size_t count;
        } tools[] = {{"--push", keWarpPush, 5},   {"--twirl", keWarpTwirlClockwise, 4}, {"--pinch", keWarpPinch, 4},
                     {"--bloat", keWarpBloat, 4}, {"--reconstruct", keWarpReconstruct, 3}};
        bool matched = false;
        for (const auto& t : tools) {
            if (a != t.name || !hasValue) continue;
            SWarpStep step{t.tool, {}};
            if (!ParseList(args[++i], t.count, step.v)) {
                std::fprintf(stderr, "qgdi warp: %s takes %zu numbers separated by commas, not '%s'\n%s", t.name,
                             t.count, args[i].c_str(), usage);
                return 2;
            }
            steps.push_back(step);
            matched = true;
        }
        if (matched) continue;
        if (a == "--strength" && hasValue) {
            if (!QgdiParseNumber(args[++i], brush.fStrength) || !(brush.fStrength > 0 && brush.fStrength <= 1)) {
                std::fprintf(stderr, "qgdi warp: --strength takes a number in (0, 1]\n");
                return 2;
            }
        } else if (a == "--falloff" && hasValue) {
            const std::string f = args[++i];
            if (f == "smooth") brush.eFalloff = keWarpFalloffSmooth;
            else if (f == "linear") brush.eFalloff = keWarpFalloffLinear;
            else if (f == "gaussian") brush.eFalloff = keWarpFalloffGaussian;
            else if (f == "hard") brush.eFalloff = keWarpFalloffHard;
            else {
                std::fprintf(stderr, "qgdi warp: unknown falloff '%s'\n%s", f.c_str(), usage);
                return 2;
            }
        } else if (a == "--edge" && hasValue) {
            const std::string e = args[++i];
            if (e != "transparent" && e != "clamp") {
                std::fprintf(stderr, "qgdi warp: unknown edge '%s'\n%s", e.c_str(), usage);
                return 2;
            }
            clamp = e == "clamp";
        } else {
            files.push_back(a);
        }
    }
    if (files.size() != 2) {
        std::fputs(usage, stderr);
        return 2;
    }
    const auto image = QgdiLoadInput("warp", files[0]);
    if (!image) return 1;
    CWarpMesh mesh;
    if (mesh.Create(image->GetWidth(), image->GetHeight()).IsError()) {
        std::fprintf(stderr, "qgdi warp: cannot make a mesh for a %d x %d image\n", image->GetWidth(), image->GetHeight());
        return 1;
    }
    for (const SWarpStep& s : steps) {
        SWarpBrush b = brush;
        b.eTool = s.tool;
        const std::vector<double>& v = s.v;
        b.fRadius = v.back();
        if (s.tool == keWarpPush) {
            mesh.Stroke(b, v[0], v[1], v[0] + v[2], v[1] + v[3]);
            continue;
        }
        if (s.tool == keWarpTwirlClockwise) {
            // Several dabs of at most 15 degrees each: large single turns tear the mesh.
            const int dabs = std::max(1, static_cast<int>(std::ceil(std::fabs(v[2]) / 15)));
            b.eTool = v[2] < 0 ? keWarpTwirlCounterClockwise : keWarpTwirlClockwise;
            b.fTwirlDegrees = std::fabs(v[2]) / dabs;
            for (int k = 0; k < dabs; ++k) mesh.Dab(b, v[0], v[1]);
            continue;
        }
        if (s.tool != keWarpReconstruct) b.fScaleRate = v[2];
        mesh.Dab(b, v[0], v[1]);
    }
    CWarpRenderer renderer;
    renderer.SetClampEdges(clamp);
    CRowIterator out;
    CQgdiJob job("warp", files[1]);
    std::string note;
    if (const int code = job.Run(
            [&](CStatusControl* status) {
                const CErrorAutoThrow set = renderer.SetSource(*image, 1);
                if (set.IsError()) return set;
                return renderer.Render(mesh, out, status);
            },
            "cannot warp"))
        return code;
    if (const int code = job.Write(out, note)) return code;
    std::printf("%s: %zu stroke%s, largest displacement %.1f px%s%s\n", files[1].c_str(), steps.size(),
                steps.size() == 1 ? "" : "s", mesh.MaxDisplacement(), note.empty() ? "" : ", ", note.c_str());
    return 0;
}
