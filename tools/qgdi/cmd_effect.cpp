#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"

namespace {

struct SPreset {
    const char* name;
    const char* graph;
};

const SPreset kPresets[] = {
    {"drop-shadow",
     "1 blur source-alpha sigma=4\n"
     "2 offset 1 dx=6 dy=6\n"
     "3 matrix 2 values=0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0.6,0\n"
     "4 composite source 3 op=over\n"},
    {"emboss",
     "1 luminance-to-alpha source\n"
     "2 diffuse 1 light=distant azimuth=225 elevation=40 surface=6 k=1\n"
     "3 arithmetic source 2 k1=1.4\n"},
    {"chrome",
     "1 blur source sigma=1.2\n"
     "2 chrome 1 colour=#e8f0ff periods=2\n"
     "3 composite 2 source-alpha op=in\n"},
    {"glow",
     "1 blur source-alpha sigma=8\n"
     "2 matrix 1 values=0,0,0,0,1,0,0,0,0,0.85,0,0,0,0,0.3,0,0,0,1.6,0\n"
     "3 composite source 2 op=over\n"},
};

int List() {
    std::printf("primitives (NODE PRIMITIVE INPUTS... name=value...):\n");
    for (const SEffectPrimitiveInfo* p = QGDI_GetEffectPrimitives(); p->name; ++p)
        std::printf("  %-19s %d input%s  %s\n      %s\n", p->name, p->inputs, p->inputs == 1 ? " " : "s", p->summary,
                    p->parameters);
    std::printf("inputs: node numbers, source, source-alpha, background, background-alpha; any node takes "
                "subregion=x,y,w,h\npresets:");
    for (const SPreset& p : kPresets) std::printf(" %s", p.name);
    std::printf("\n");
    return 0;
}

}  // namespace

int QgdiCmdEffect(const std::vector<std::string>& args) {
    const char* usage = "usage: qgdi effect IN OUT GRAPH | qgdi effect IN OUT --preset NAME | qgdi effect --list\n";
    if (args.size() == 1 && args[0] == "--list") return List();
    std::vector<std::string> files;
    std::string preset;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--preset" && i + 1 < args.size()) preset = args[++i];
        else files.push_back(args[i]);
    }
    if (files.size() != (preset.empty() ? 3u : 2u)) {
        std::fputs(usage, stderr);
        return 2;
    }
    std::string text, origin;
    if (!preset.empty()) {
        for (const SPreset& p : kPresets)
            if (preset == p.name) text = p.graph;
        if (text.empty()) {
            std::fprintf(stderr, "qgdi effect: unknown preset '%s' (qgdi effect --list names them)\n", preset.c_str());
            return 2;
        }
        origin = "preset " + preset;
    } else {
        std::ifstream in(files[2], std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "qgdi effect: cannot read '%s'\n", files[2].c_str());
            return 1;
        }
        std::ostringstream all;
        all << in.rdbuf();
        text = all.str();
        origin = files[2];
    }
    CIoEffect effect;
    std::string error;
    if (!QGDI_ParseEffectGraph(text, effect, &error)) {
        std::fprintf(stderr, "qgdi effect: %s: %s\n", origin.c_str(), error.c_str());
        return 2;
    }
    if (!effect.IsValidEffect()) {
        std::fprintf(stderr, "qgdi effect: %s: the graph has an unknown input, no result node or a cycle\n",
                     origin.c_str());
        return 2;
    }
    const auto image = QgdiLoadInput("effect", files[0]);
    if (!image) return 1;
    // The effect works on BGRA; the result keeps the alpha it makes.
    CRowIterator out;
    const CColorRef clear(0, 0, 0, 0);
    if (out.Create(image->GetWidth(), image->GetHeight(), keFormatBGRA, &clear).IsError()) {
        std::fprintf(stderr, "qgdi effect: out of memory\n");
        return 1;
    }
    CQgdiJob job("effect", files[1]);
    const int code = job.Run(
        [&](CStatusControl* status) {
            CIoData run;
            run.pDst = &out;
            run.pSrc = image.get();
            run.pBackground = image.get();
            run.rcDst = {0, 0, image->GetWidth(), image->GetHeight()};
            run.pStatus = status;
            return effect.Run(run);
        },
        "cannot run the effect");
    if (code) return code;
    std::string note;
    if (const int written = job.Write(out, note)) return written;
    std::printf("%s: %d nodes from %s%s%s\n", files[1].c_str(), effect.GetNodeCount(), origin.c_str(),
                note.empty() ? "" : ", ", note.c_str());
    return 0;
}
