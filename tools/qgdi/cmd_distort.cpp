#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/filter_options.h"

namespace {

// One coordinate map: its parameters in order with their neutral (or
// usual) values, and how to make it from them for a W x H source.
struct SMapEntry {
    const char* name;
    const char* params;  // "name=default ..."; W and H stand for the source size
    CCoordinator* (*make)(const double* p, int w, int h);
};

int I(double v) { return static_cast<int>(std::lround(v)); }

const SMapEntry kMaps[] = {
    {"flip", "", [](const double*, int, int) { return Create_CCoordinatorFlip(); }},
    {"mirror", "", [](const double*, int, int) { return Create_CCoordinatorMirror(); }},
    {"circle", "", [](const double*, int, int) { return Create_CCoordinatorCircle(); }},
    {"pentagon", "", [](const double*, int, int) { return Create_CCoordinatorPentagon(); }},
    {"rotate", "degrees=0", [](const double* p, int, int) { return Create_CCoordinatorRotate(p[0]); }},
    {"scale", "sx=1 sy=1", [](const double* p, int, int) { return Create_CCoordinatorScale(p[0], p[1]); }},
    {"skew", "degrees-x=0 degrees-y=0", [](const double* p, int, int) { return Create_CCoordinatorSkew(p[0], p[1]); }},
    {"h-perspective", "amount=0", [](const double* p, int, int) { return Create_CCoordinatorHPerspective(p[0]); }},
    {"v-perspective", "amount=0", [](const double* p, int, int) { return Create_CCoordinatorVPerspective(p[0]); }},
    {"offset", "dx=0 dy=0", [](const double* p, int, int) { return Create_CCoordinatorOffset(I(p[0]), I(p[1])); }},
    {"thinify", "amount-x=0 amount-y=0",
     [](const double* p, int, int) { return Create_CCoordinatorThinify(p[0], p[1]); }},
    {"h-cylinder", "amount=0", [](const double* p, int, int) { return Create_CCoordinatorHCylinder(p[0]); }},
    {"v-cylinder", "amount=0", [](const double* p, int, int) { return Create_CCoordinatorVCylinder(p[0]); }},
    {"twirl", "degrees=0", [](const double* p, int, int) { return Create_CCoordinatorTwirl(p[0]); }},
    {"ripple", "amplitude=0 wavelength=20 phase=0 damping=0",
     [](const double* p, int, int) { return Create_CCoordinatorRipple(p[0], p[1], p[2], p[3]); }},
    {"warp", "centre-x=0.5 centre-y=0.5 radius=1 amount=0",
     [](const double* p, int, int) { return Create_CCoordinatorWarp(p[0], p[1], p[2], p[3]); }},
    {"wave", "amplitude-x=0 wavelength-x=40 amplitude-y=0 wavelength-y=40",
     [](const double* p, int, int) { return Create_CCoordinatorWave(p[0], p[1], p[2], p[3]); }},
    {"curlicues", "cell=64 degrees=0 offset-x=0 offset-y=0 alternate=1",
     [](const double* p, int, int) { return Create_CCoordinatorCurlicues(p[0], p[1], p[2], p[3], p[4] != 0); }},
    {"polar", "to-polar=1", [](const double* p, int, int) { return Create_CCoordinatorPolar(p[0] != 0); }},
    {"barrel", "amount=0 horizontal=1 vertical=1 centre-x=50 centre-y=50",
     [](const double* p, int, int) {
         return Create_CCoordinatorBarrel(I(p[0]), p[1] != 0, p[2] != 0, I(p[3]), I(p[4]), keEdgeClamp);
     }},
    {"pincushion", "amount=0 horizontal=1 vertical=1 centre-x=50 centre-y=50",
     [](const double* p, int, int) {
         return Create_CCoordinatorPincushion(I(p[0]), p[1] != 0, p[2] != 0, I(p[3]), I(p[4]));
     }},
    {"fisheye", "amount=0 horizontal=1 vertical=1 circle=0 centre-x=50 centre-y=50",
     [](const double* p, int, int) {
         return Create_CCoordinatorFishEye(I(p[0]), p[1] != 0, p[2] != 0, p[3] != 0, I(p[4]), I(p[5]), keEdgeClamp);
     }},
    {"spherize", "amount=0 shape=0",
     [](const double* p, int, int) {
         return Create_CCoordinatorSpherize(I(p[0]), static_cast<TYPEeSpherizeShape>(std::min(2, std::max(0, I(p[1])))));
     }},
    {"glasses", "centre-x=W/2 centre-y=H/2 radius=H/5 separation=H/2 magnification=1 degrees=0",
     [](const double* p, int, int) {
         return Create_CCoordinatorGlasses(I(p[0]), I(p[1]), p[2], p[3], p[4], p[5]);
     }},
    {"kaleidoscope", "segments=1 mirror=0 centre-x=0.5 centre-y=0.5 degrees=0 source-degrees=0 zoom=1",
     [](const double* p, int, int) {
         return Create_CCoordinatorKaleidoscope(I(p[0]), I(p[1]), p[2], p[3], p[4], p[5], p[6]);
     }},
    {"mosaic", "tile-width=32 tile-height=32 degrees=0 zoom=1 brick=0",
     [](const double* p, int, int) { return Create_CCoordinatorMosaicAdvanced(I(p[0]), I(p[1]), p[2], p[3], p[4]); }},
    {"rays", "rays=8 profile=0 strength=0 phase=0 falloff=1",
     [](const double* p, int, int) { return Create_CCoordinatorRays(I(p[0]), I(p[1]), p[2], p[3], p[4]); }},
    {"reflections", "axis=0 position=H-1 side=0 wavelength=20 amplitude=0",
     [](const double* p, int, int) { return Create_CCoordinatorReflections(I(p[0]), I(p[1]), I(p[2]), I(p[3]), p[4]); }},
    {"ornament", "tile-width=W tile-height=H symmetry=0 centred=0 degrees=0 zoom=1 offset-x=0 offset-y=0",
     [](const double* p, int, int) {
         return Create_CCoordinatorOrnament(I(p[0]), I(p[1]), I(p[2]), I(p[3]), p[4], p[5], p[6], p[7]);
     }},
    {"lens", "magnification=1 left=0.25 top=0.25 right=0.75 bottom=0.75 softness=0.3",
     [](const double* p, int, int) { return Create_CCoordinatorRectangularLens4(p[0], p + 1, p[5]); }},
};

// The defaults of `entry` for a w x h source: numbers, or W, H, W/2, H/2, H/5, H-1.
std::vector<double> Defaults(const SMapEntry& entry, int w, int h, std::vector<std::string>* names) {
    std::vector<double> out;
    const std::string params = entry.params;
    size_t pos = 0;
    while (pos < params.size()) {
        size_t end = params.find(' ', pos);
        if (end == std::string::npos) end = params.size();
        const std::string item = params.substr(pos, end - pos);
        const size_t eq = item.find('=');
        const std::string value = item.substr(eq + 1);
        if (names) names->push_back(item.substr(0, eq));
        double v = 0;
        if (value == "W") v = w;
        else if (value == "H") v = h;
        else if (value == "W/2") v = w / 2;
        else if (value == "H/2") v = h / 2;
        else if (value == "H/5") v = h / 5;
        else if (value == "H-1") v = h - 1;
        else QgdiParseNumber(value, v);
        out.push_back(v);
        pos = end + 1;
    }
    return out;
}

}  // namespace

int QgdiCmdDistort(const std::vector<std::string>& args) {
    const char* usage =
        "usage: qgdi distort IN OUT --map NAME [--param V ...] [--mode nearest|bilinear|bicubic]\n"
        "       [--edge wrap|clamp|constant]   (qgdi distort --list names the maps and their parameters;\n"
        "       each --param gives the next parameter in order, the rest keep their defaults)\n";
    SQgdiFilterArgs a;
    if (!QgdiSplitFilterArgs("distort", usage, args, {"--map", "--param", "--mode", "--edge"}, {"--list"}, a)) return 2;
    if (a.flags.count("--list")) {
        for (const SMapEntry& m : kMaps) std::printf("%-14s %s\n", m.name, m.params);
        return 0;
    }
    if (a.files.size() != 2 || !a.Has("--map")) {
        std::fputs(usage, stderr);
        return 2;
    }
    const std::string& name = a.values["--map"].back();
    const SMapEntry* entry = nullptr;
    for (const SMapEntry& m : kMaps)
        if (name == m.name) entry = &m;
    if (!entry) {
        std::fprintf(stderr, "qgdi distort: unknown map '%s' (qgdi distort --list)\n", name.c_str());
        return 2;
    }
    EQResampleMode mode = keResampleBilinear;
    if (a.Has("--mode")) {
        const int m = QGDI_ParseResampleMode(a.values["--mode"].back().c_str());
        if (m < 0) {
            std::fprintf(stderr, "qgdi distort: unknown mode '%s'\n", a.values["--mode"].back().c_str());
            return 2;
        }
        mode = static_cast<EQResampleMode>(m);
    }
    EEdgeMode edge = keEdgeClamp;
    if (!QgdiParseEdge("distort", a, edge)) return 2;
    const auto image = QgdiLoadInput("distort", a.files[0]);
    if (!image) return 1;
    std::vector<std::string> names;
    std::vector<double> p = Defaults(*entry, image->GetWidth(), image->GetHeight(), &names);
    const std::vector<std::string> given = a.Has("--param") ? a.values["--param"] : std::vector<std::string>{};
    if (given.size() > p.size()) {
        std::fprintf(stderr, "qgdi distort: %s takes %zu parameters (%s)\n", entry->name, p.size(), entry->params);
        return 2;
    }
    std::string what = std::string("map ") + entry->name;
    for (size_t i = 0; i < given.size(); ++i)
        if (!QgdiParseNumber(given[i], p[i])) {
            std::fprintf(stderr, "qgdi distort: %s takes a number, not '%s'\n", names[i].c_str(), given[i].c_str());
            return 2;
        }
    for (size_t i = 0; i < p.size(); ++i) {
        char item[64];
        std::snprintf(item, sizeof item, "%s %s=%g", i ? "" : ",", names[i].c_str(), p[i]);
        what += item;
    }
    p.resize(8, 0.0);
    std::unique_ptr<CCoordinator> map(entry->make(p.data(), image->GetWidth(), image->GetHeight()));
    if (!map) {
        std::fprintf(stderr, "qgdi distort: out of memory\n");
        return 1;
    }
    CRowIterator out;
    return QgdiRunFilter(
        "distort", a.files[1], out,
        [&](CStatusControl* status) { return QGDI_DistortImage(*image, *map, out, mode, edge, 0, status); },
        "cannot distort", what);
}
