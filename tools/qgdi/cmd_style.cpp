#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "layerstyles/LayerStyle.h"
#include "layerstyles/StyleRender.h"
#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"

namespace {

const char* kUsage =
    "usage: qgdi style IN OUT [EFFECT SETTINGS]... [--opacity O] [--fill-opacity F] [--light ANGLE,ALTITUDE]\n"
    "                 [--background FILE [--at X,Y]]\n"
    "  EFFECT is --drop-shadow, --inner-shadow, --outer-glow, --inner-glow, --bevel, --satin, --colour-overlay,\n"
    "  --gradient-overlay, --pattern-overlay or --stroke; SETTINGS is 'on' or KEY=VALUE pairs joined by commas:\n"
    "    mode=NAME opacity=0..1 colour=#RRGGBB angle=DEG distance=PX size=PX spread=0..1 noise=0..1\n"
    "    contour=linear|cone|cone-inverted|gaussian|half-round|ring|ring-double|sawtooth|cove-deep|rolling-slope\n"
    "    technique=softer|precise|smooth|chisel-hard|chisel-soft  source=edge|centre  range=0..1 jitter=0..1\n"
    "    style=inner|outer|emboss|pillow|stroke-emboss  depth=0.01..10 direction=up|down soften=PX altitude=DEG\n"
    "    gloss=CONTOUR highlight=#RRGGBB shadow=#RRGGBB highlight-mode=NAME shadow-mode=NAME\n"
    "    highlight-opacity=0..1 shadow-opacity=0..1 invert=0|1 global-light=0|1 knockout=0|1\n"
    "    position=outside|inside|centre fill=colour|gradient|pattern  gradient=#RRGGBB-#RRGGBB\n"
    "    gradient-type=linear|radial|angle|reflected|diamond scale=S reverse=0|1 pattern=FILE\n"
    "  Without --background the layer is drawn over a checkerboard just large enough for its effects.\n"
    "  (IN '-' is the built-in sample)\n";

using KeyValues = std::map<std::string, std::string>;

bool ParseKeyValues(const std::string& text, KeyValues& out) {
    out.clear();
    if (text == "on") return true;
    std::stringstream in(text);
    std::string part;
    while (std::getline(in, part, ',')) {
        const size_t eq = part.find('=');
        if (eq == std::string::npos || eq == 0) return false;
        out[part.substr(0, eq)] = part.substr(eq + 1);
    }
    return true;
}

bool ParseColour(const std::string& text, uint32_t& rgb) {
    const std::string hex = !text.empty() && text[0] == '#' ? text.substr(1) : text;
    if (hex.size() != 6) return false;
    char* end = nullptr;
    const unsigned long v = std::strtoul(hex.c_str(), &end, 16);
    if (*end) return false;
    rgb = static_cast<uint32_t>(v);
    return true;
}

// Applies one effect's keys; `error` names the first key that could not be used.
class CSettings {
public:
    CSettings(const KeyValues& kv, std::string& error) : m_kv(kv), m_error(error) {}
    ~CSettings() {
        for (const auto& [key, value] : m_kv)
            if (!m_used.count(key) && m_error.empty()) m_error = "unknown setting '" + key + "'";
    }
    void Number(const char* key, double& v) {
        if (const std::string* s = Get(key); s && !QgdiParseNumber(*s, v)) Fail(key, *s);
    }
    void Flag(const char* key, bool& v) {
        if (const std::string* s = Get(key)) {
            if (*s == "1" || *s == "0") v = *s == "1";
            else Fail(key, *s);
        }
    }
    void Colour(const char* key, uint32_t& v) {
        if (const std::string* s = Get(key); s && !ParseColour(*s, v)) Fail(key, *s);
    }
    void Mode(const char* key, EQBlendMoxMode& v) {
        if (const std::string* s = Get(key); s && !QGDI_FindBlendMoxMode(s->c_str(), v)) Fail(key, *s);
    }
    template <class E>
    void Choice(const char* key, E& v, const std::vector<std::pair<const char*, E>>& names) {
        const std::string* s = Get(key);
        if (!s) return;
        for (const auto& [name, value] : names)
            if (*s == name) {
                v = value;
                return;
            }
        Fail(key, *s);
    }
    void Contour(const char* key, SStyleContour& c) {
        Choice<EStyleContour>(key, c.ePreset,
                              {{"linear", keContourLinear}, {"cone", keContourCone}, {"cone-inverted", keContourConeInverted},
                               {"gaussian", keContourGaussian}, {"half-round", keContourHalfRound}, {"ring", keContourRing},
                               {"ring-double", keContourRingDouble}, {"sawtooth", keContourSawtooth},
                               {"cove-deep", keContourCoveDeep}, {"rolling-slope", keContourRollingSlope}});
    }
    void Gradient(SStyleGradient& g) {
        if (const std::string* s = Get("gradient")) {
            const size_t dash = s->find('-', 1);
            uint32_t a = 0, b = 0;
            if (dash == std::string::npos || !ParseColour(s->substr(0, dash), a) || !ParseColour(s->substr(dash + 1), b))
                Fail("gradient", *s);
            else
                g.aStops = {{0, a, 1}, {1, b, 1}};
        }
        Choice<EStyleGradientType>("gradient-type", g.eType,
                                   {{"linear", keStyleGradientLinear}, {"radial", keStyleGradientRadial},
                                    {"angle", keStyleGradientAngle}, {"reflected", keStyleGradientReflected},
                                    {"diamond", keStyleGradientDiamond}});
        Number("gradient-angle", g.fAngle);
        Number("scale", g.fScale);
        Flag("reverse", g.bReverse);
    }
    const std::string* Get(const char* key) {
        const auto it = m_kv.find(key);
        if (it == m_kv.end()) return nullptr;
        m_used[key] = true;
        return &it->second;
    }

private:
    void Fail(const char* key, const std::string& value) {
        if (m_error.empty()) m_error = std::string("bad value '") + value + "' for " + key;
    }
    const KeyValues& m_kv;
    std::string& m_error;
    std::map<std::string, bool> m_used;
};

void Shadow(CSettings& k, SStyleShadow& e) {
    e.bEnabled = true;
    k.Mode("mode", e.eMode);
    k.Number("opacity", e.fOpacity);
    k.Colour("colour", e.nColour);
    if (k.Get("angle")) e.bUseGlobalLight = false;
    k.Number("angle", e.fAngle);
    k.Flag("global-light", e.bUseGlobalLight);
    k.Number("distance", e.fDistance);
    k.Number("spread", e.fSpread);
    k.Number("size", e.fSize);
    k.Number("noise", e.fNoise);
    k.Contour("contour", e.contour);
    k.Flag("knockout", e.bLayerKnocksOut);
}

void Glow(CSettings& k, SStyleGlow& e) {
    e.bEnabled = true;
    k.Mode("mode", e.eMode);
    k.Number("opacity", e.fOpacity);
    k.Colour("colour", e.nColour);
    k.Number("noise", e.fNoise);
    k.Number("spread", e.fSpread);
    k.Number("size", e.fSize);
    k.Number("range", e.fRange);
    k.Number("jitter", e.fJitter);
    k.Contour("contour", e.contour);
    k.Choice<EStyleGlowTechnique>("technique", e.eTechnique, {{"softer", keGlowSofter}, {"precise", keGlowPrecise}});
    k.Choice<EStyleGlowSource>("source", e.eSource, {{"edge", keGlowEdge}, {"centre", keGlowCentre}});
    if (k.Get("gradient")) e.bUseGradient = true;
    k.Gradient(e.gradient);
}

void Bevel(CSettings& k, SStyleBevel& e) {
    e.bEnabled = true;
    k.Choice<EStyleBevelStyle>("style", e.eStyle,
                               {{"inner", keBevelInner}, {"outer", keBevelOuter}, {"emboss", keBevelEmboss},
                                {"pillow", keBevelPillow}, {"stroke-emboss", keBevelStrokeEmboss}});
    k.Choice<EStyleBevelTechnique>("technique", e.eTechnique,
                                   {{"smooth", keBevelSmooth}, {"chisel-hard", keBevelChiselHard},
                                    {"chisel-soft", keBevelChiselSoft}});
    k.Number("depth", e.fDepth);
    k.Choice<bool>("direction", e.bDown, {{"up", false}, {"down", true}});
    k.Number("size", e.fSize);
    k.Number("soften", e.fSoften);
    if (k.Get("angle") || k.Get("altitude")) e.bUseGlobalLight = false;
    k.Number("angle", e.fAngle);
    k.Number("altitude", e.fAltitude);
    k.Contour("gloss", e.gloss);
    k.Contour("contour", e.contour);
    k.Colour("highlight", e.nHighlightColour);
    k.Colour("shadow", e.nShadowColour);
    k.Mode("highlight-mode", e.eHighlightMode);
    k.Mode("shadow-mode", e.eShadowMode);
    k.Number("highlight-opacity", e.fHighlightOpacity);
    k.Number("shadow-opacity", e.fShadowOpacity);
}

}  // namespace

int QgdiCmdStyle(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    SLayerStyles s;
    std::string backgroundPath;
    int atX = 0, atY = 0;
    bool atGiven = false;
    std::vector<std::unique_ptr<CRowIterator>> patterns;
    const auto loadPattern = [&](CSettings& k, SStylePattern& p) -> bool {
        const std::string* file = k.Get("pattern");
        if (!file) return true;
        auto image = QgdiLoadInput("style", *file);
        if (!image) return false;
        p.pImage = image.get();
        patterns.push_back(std::move(image));
        return true;
    };
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a.rfind("--", 0) == 0 && a.size() > 2 && hasValue && a != "--background" && a != "--at") {
            const std::string value = args[++i];
            if (a == "--opacity" || a == "--fill-opacity") {
                if (!QgdiParseNumber(value, a == "--opacity" ? s.fOpacity : s.fFillOpacity)) {
                    std::fprintf(stderr, "qgdi style: %s takes a number, not '%s'\n", a.c_str(), value.c_str());
                    return 2;
                }
                continue;
            }
            if (a == "--light") {
                const size_t comma = value.find(',');
                if (comma == std::string::npos || !QgdiParseNumber(value.substr(0, comma), s.light.fAngle) ||
                    !QgdiParseNumber(value.substr(comma + 1), s.light.fAltitude)) {
                    std::fprintf(stderr, "qgdi style: --light takes ANGLE,ALTITUDE\n");
                    return 2;
                }
                continue;
            }
            KeyValues kv;
            std::string error;
            if (!ParseKeyValues(value, kv)) error = "settings are KEY=VALUE pairs joined by commas";
            bool known = true, loaded = true;
            {
                CSettings k(kv, error);
                if (a == "--drop-shadow") Shadow(k, s.dropShadow);
                else if (a == "--inner-shadow") Shadow(k, s.innerShadow);
                else if (a == "--outer-glow") Glow(k, s.outerGlow);
                else if (a == "--inner-glow") Glow(k, s.innerGlow);
                else if (a == "--bevel") Bevel(k, s.bevel);
                else if (a == "--satin") {
                    s.satin.bEnabled = true;
                    k.Mode("mode", s.satin.eMode);
                    k.Number("opacity", s.satin.fOpacity);
                    k.Colour("colour", s.satin.nColour);
                    k.Number("angle", s.satin.fAngle);
                    k.Number("distance", s.satin.fDistance);
                    k.Number("size", s.satin.fSize);
                    k.Contour("contour", s.satin.contour);
                    k.Flag("invert", s.satin.bInvert);
                } else if (a == "--colour-overlay" || a == "--color-overlay") {
                    s.colourOverlay.bEnabled = true;
                    k.Mode("mode", s.colourOverlay.eMode);
                    k.Number("opacity", s.colourOverlay.fOpacity);
                    k.Colour("colour", s.colourOverlay.nColour);
                } else if (a == "--gradient-overlay") {
                    s.gradientOverlay.bEnabled = true;
                    k.Mode("mode", s.gradientOverlay.eMode);
                    k.Number("opacity", s.gradientOverlay.fOpacity);
                    k.Number("angle", s.gradientOverlay.gradient.fAngle);
                    k.Gradient(s.gradientOverlay.gradient);
                } else if (a == "--pattern-overlay") {
                    s.patternOverlay.bEnabled = true;
                    k.Mode("mode", s.patternOverlay.eMode);
                    k.Number("opacity", s.patternOverlay.fOpacity);
                    k.Number("pattern-scale", s.patternOverlay.pattern.fScale);
                    loaded = loadPattern(k, s.patternOverlay.pattern);
                } else if (a == "--stroke") {
                    SStyleStroke& e = s.stroke;
                    e.bEnabled = true;
                    k.Number("size", e.fSize);
                    k.Choice<EStyleStrokePosition>("position", e.ePosition,
                                                   {{"outside", keStrokeOutside}, {"inside", keStrokeInside}, {"centre", keStrokeCentre}});
                    k.Mode("mode", e.eMode);
                    k.Number("opacity", e.fOpacity);
                    k.Colour("colour", e.nColour);
                    k.Choice<EStyleFillType>("fill", e.eFill,
                                             {{"colour", keStyleFillColour}, {"gradient", keStyleFillGradient}, {"pattern", keStyleFillPattern}});
                    k.Number("angle", e.gradient.fAngle);
                    k.Gradient(e.gradient);
                    k.Number("pattern-scale", e.pattern.fScale);
                    loaded = loadPattern(k, e.pattern);
                } else {
                    known = false;
                }
            }
            if (!loaded) return 1;
            if (!known) {
                std::fprintf(stderr, "qgdi style: unknown option '%s'\n%s", a.c_str(), kUsage);
                return 2;
            }
            if (!error.empty()) {
                std::fprintf(stderr, "qgdi style: %s: %s\n", a.c_str(), error.c_str());
                return 2;
            }
        } else if (a == "--background" && hasValue) {
            backgroundPath = args[++i];
        } else if (a == "--at" && hasValue) {
            const std::string v = args[++i];
            const size_t comma = v.find(',');
            double x = 0, y = 0;
            if (comma == std::string::npos || !QgdiParseNumber(v.substr(0, comma), x) || !QgdiParseNumber(v.substr(comma + 1), y)) {
                std::fprintf(stderr, "qgdi style: --at takes X,Y\n");
                return 2;
            }
            atX = static_cast<int>(x);
            atY = static_cast<int>(y);
            atGiven = true;
        } else {
            files.push_back(a);
        }
    }
    if (files.size() != 2) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const auto layer = QgdiLoadInput("style", files[0]);
    if (!layer) return 1;
    const CLayerStyleRenderer renderer(s);
    CRowIterator canvas;
    if (!backgroundPath.empty()) {
        auto background = QgdiLoadInput("style", backgroundPath);
        if (!background) return 1;
        if (canvas.CreateFromCopy(*background, nullptr, keFormatBGRA).IsError()) {
            std::fprintf(stderr, "qgdi style: cannot use the background\n");
            return 1;
        }
        if (!atGiven) {
            atX = (canvas.GetWidth() - layer->GetWidth()) / 2;
            atY = (canvas.GetHeight() - layer->GetHeight()) / 2;
        }
    } else {
        // A checkerboard holding the layer and everything its effects reach.
        const RECT extent = renderer.CalculateRectangle(RECT{0, 0, layer->GetWidth(), layer->GetHeight()});
        const int w = extent.right - extent.left, h = extent.bottom - extent.top;
        if (canvas.Create(w, h, keFormatBGRA).IsError()) {
            std::fprintf(stderr, "qgdi style: cannot make a %d x %d canvas\n", w, h);
            return 1;
        }
        for (int y = 0; y < h; ++y) {
            uint8_t* row = canvas.GetRow(y, 0, w);
            for (int x = 0; x < w; ++x) {
                const uint8_t v = ((x >> 3) ^ (y >> 3)) & 1 ? 204 : 255;
                row[4 * x] = row[4 * x + 1] = row[4 * x + 2] = v;
                row[4 * x + 3] = 255;
            }
            canvas.ReleaseRow(y).Ignore();
        }
        atX = -extent.left;
        atY = -extent.top;
    }
    CQgdiJob job("style", files[1]);
    std::string note;
    if (const int code = job.Run([&](CStatusControl* status) { return renderer.Render(*layer, POINT{atX, atY}, canvas, status); },
                                 "cannot draw the styles"))
        return code;
    if (const int code = job.Write(canvas, note)) return code;
    std::printf("%s: %d x %d, layer at %d,%d%s%s\n", files[1].c_str(), canvas.GetWidth(), canvas.GetHeight(), atX, atY,
                note.empty() ? "" : ", ", note.c_str());
    return 0;
}
