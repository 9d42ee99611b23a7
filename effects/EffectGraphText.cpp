#include "effects/EffectGraphText.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>
#include <sstream>
#include <vector>

#include "effects/EffectBuilder.h"

namespace {

// The parameters of one line, each read at most once; what is left unread
// at the end is an unknown parameter.
class CParams {
public:
    std::map<std::string, std::string> values;
    std::string error;

    double Num(const char* key, double otherwise) {
        const auto it = values.find(key);
        if (it == values.end()) return otherwise;
        const std::string text = it->second;
        values.erase(it);
        char* end = nullptr;
        const double v = std::strtod(text.c_str(), &end);
        if (text.empty() || *end || !std::isfinite(v)) Fail(std::string(key) + " takes a number, not '" + text + "'");
        return v;
    }
    int Int(const char* key, int otherwise) {
        const double v = Num(key, otherwise);
        if (v != std::floor(v) || v < -2147483647.0 || v > 2147483647.0) Fail(std::string(key) + " takes a whole number");
        return static_cast<int>(std::clamp(v, -2147483647.0, 2147483647.0));
    }
    std::vector<double> List(const char* key, size_t minimum, size_t maximum) {
        std::vector<double> out;
        const auto it = values.find(key);
        if (it == values.end()) return out;
        std::string text = it->second;
        values.erase(it);
        std::replace(text.begin(), text.end(), ',', ' ');
        std::istringstream in(text);
        std::string item;
        while (in >> item) {
            char* end = nullptr;
            const double v = std::strtod(item.c_str(), &end);
            if (*end || !std::isfinite(v)) {
                Fail(std::string(key) + " takes numbers separated by commas");
                return {};
            }
            out.push_back(v);
        }
        if (out.size() < minimum || out.size() > maximum) {
            Fail(std::string(key) + " takes " + std::to_string(minimum) +
                 (maximum > minimum ? " to " + std::to_string(maximum) : std::string()) + " numbers");
            out.clear();
        }
        return out;
    }
    std::string Word(const char* key, const char* otherwise) {
        const auto it = values.find(key);
        if (it == values.end()) return otherwise;
        std::string v = it->second;
        values.erase(it);
        return v;
    }
    CColorRef Colour(const char* key, const CColorRef& otherwise) {
        const std::string text = Word(key, "");
        if (text.empty()) return otherwise;
        char* end = nullptr;
        const unsigned long v = std::strtoul(text.c_str() + (text[0] == '#'), &end, 16);
        if (*end || text.size() != 7 || text[0] != '#') {
            Fail(std::string(key) + " takes a colour as #rrggbb");
            return otherwise;
        }
        return CColorRef(int(v >> 16 & 255), int(v >> 8 & 255), int(v & 255));
    }
    void Fail(const std::string& why) {
        if (error.empty()) error = why;
    }
};

using Maker = std::function<bool(CIoEffectBuilder&, CParams&)>;

struct SPrimitive {
    SEffectPrimitiveInfo info;
    Maker make;
};

// Tables of a transfer function given as its values at equal steps (linear between them).
std::vector<uint8_t> Table(const std::vector<double>& v) {
    std::vector<uint8_t> t(256);
    for (int i = 0; i < 256; ++i) {
        const double c = i / 255.0;
        double out = c;
        if (v.size() == 1) out = v[0];
        else if (v.size() > 1) {
            const int n = int(v.size()) - 1, k = std::min(int(c * n), n - 1);
            out = v[size_t(k)] + (c - double(k) / n) * n * (v[size_t(k) + 1] - v[size_t(k)]);
        }
        t[size_t(i)] = uint8_t(std::lround(std::clamp(out, 0.0, 1.0) * 255));
    }
    return t;
}

bool Light(CIoEffectBuilder& b, CParams& p, bool specular) {
    const std::string type = p.Word("light", "distant");
    const CColorRef colour = p.Colour("colour", CColorRef(255, 255, 255));
    const double surface = p.Num("surface", 1), k = p.Num("k", 1);
    const double shine = specular ? p.Num("shine", 8) : 0;
    if (type == "distant") {
        const double az = p.Num("azimuth", 45), el = p.Num("elevation", 45);
        return specular ? b.LightSpecularDistant(colour, az, el, shine, surface, k)
                        : b.LightDiffuseDistant(colour, az, el, surface, k);
    }
    const double x = p.Num("x", 0), y = p.Num("y", 0), z = p.Num("z", 100);
    if (type == "point")
        return specular ? b.LightSpecularPoint(colour, x, y, z, shine, surface, k)
                        : b.LightDiffusePoint(colour, x, y, z, surface, k);
    if (type == "spot") {
        const double tx = p.Num("tx", 0), ty = p.Num("ty", 0), tz = p.Num("tz", 0);
        const double e = p.Num("exponent", 1), cone = p.Num("cone", 0);
        return specular ? b.LightSpecularSpot(colour, x, y, z, tx, ty, tz, e, cone, shine, surface, k)
                        : b.LightDiffuseSpot(colour, x, y, z, tx, ty, tz, e, cone, surface, k);
    }
    p.Fail("light is distant, point or spot, not '" + type + "'");
    return false;
}

const std::vector<SPrimitive>& Primitives() {
    static const std::vector<SPrimitive> kList = {
        {{"arithmetic", 2, "k1=0 k2=0 k3=0 k4=0", "k1 i1 i2 + k2 i1 + k3 i2 + k4"},
         [](auto& b, auto& p) { return b.Arithmetic(p.Num("k1", 0), p.Num("k2", 0), p.Num("k3", 0), p.Num("k4", 0)); }},
        {{"composite", 2, "op=over", "input 1 onto input 2 (over, in, out, atop, xor, copy, destination-over, lighter...)"},
         [](auto& b, auto& p) {
             EQCompositeOp op = keCompositeOver;
             const std::string name = p.Word("op", "over");
             // The SVG names (over, in, out, atop) are the source-... operators.
             if (!QGDI_FindCompositeOp(name.c_str(), op) && !QGDI_FindCompositeOp(("source-" + name).c_str(), op))
                 p.Fail("unknown composite operator '" + name + "'");
             return b.Composite(op);
         }},
        {{"matrix", 1, "values=(20 numbers)", "5 x 4 colour matrix, rows red, green, blue, alpha"},
         [](auto& b, auto& p) {
             const auto m = p.List("values", 20, 20);
             return m.size() == 20 && b.ColorMatrix(m.data());
         }},
        {{"saturate", 1, "value=1", "saturation (0 grey, 1 unchanged)"},
         [](auto& b, auto& p) { return b.ColorSaturate(p.Num("value", 1)); }},
        {{"huerotate", 1, "angle=0", "hue turned by degrees"},
         [](auto& b, auto& p) { return b.ColorHueRotate(p.Num("angle", 0)); }},
        {{"luminance-to-alpha", 1, "", "alpha from luminance, colour black"},
         [](auto& b, auto&) { return b.ColorLuminanceToAlpha(); }},
        {{"greyscale", 1, "", "luminance grey"}, [](auto& b, auto&) { return b.Greyscale(); }},
        {{"channel-constant", 1, "channel=alpha value=1", "one channel set to a value"},
         [](auto& b, auto& p) {
             const std::string c = p.Word("channel", "alpha");
             const EQChannel ch = c == "red" ? keChannelRed : c == "green" ? keChannelGreen : c == "blue" ? keChannelBlue : keChannelAlpha;
             if (c != "red" && c != "green" && c != "blue" && c != "alpha") p.Fail("channel is red, green, blue or alpha");
             return b.ColorChannelConstant(ch, p.Num("value", 1));
         }},
        {{"colorize", 1, "hue=30 saturation=0.5", "luminance tinted towards a hue"},
         [](auto& b, auto& p) { return b.Colorize(p.Num("hue", 30), p.Num("saturation", 0.5)); }},
        {{"transfer", 1, "red=.. green=.. blue=.. alpha=..", "per-channel curves through comma-separated values"},
         [](auto& b, auto& p) {
             const char* keys[4] = {"red", "green", "blue", "alpha"};
             std::vector<uint8_t> t[4];
             for (int c = 0; c < 4; ++c) t[c] = Table(p.List(keys[c], 0, 256));
             return b.ComponentTransfer(t[0].data(), t[1].data(), t[2].data(), t[3].data());
         }},
        {{"gamma", 1, "amplitude=1 exponent=1 offset=0", "amplitude c^exponent + offset"},
         [](auto& b, auto& p) { return b.Gamma(p.Num("amplitude", 1), p.Num("exponent", 1), p.Num("offset", 0)); }},
        {{"invert", 1, "", "colour inverted"}, [](auto& b, auto&) { return b.Invert(); }},
        {{"chrome", 1, "colour=#ffffff periods=2", "metallic waves of luminance"},
         [](auto& b, auto& p) { return b.Chrome(p.Colour("colour", CColorRef(255, 255, 255)), p.Num("periods", 2)); }},
        {{"blur", 1, "sigma=2", "Gaussian blur"},
         [](auto& b, auto& p) {
             const double s = p.Num("sigma", 2);
             return b.GaussianBlur(s, s);
         }},
        {{"convolve", 1, "kernel=a,b,...;... | matrix=NAME divisor=sum edge=clamp|wrap|none alpha=1",
          "convolution; rows separated by ';'; alpha=0 keeps alpha and filters straight colour"},
         [](auto& b, auto& p) {
             const std::string e = p.Word("edge", "clamp");
             const EEdgeMode edge = e == "wrap" ? keEdgeWrap : e == "none" ? keEdgeConstant : keEdgeClamp;
             if (e != "clamp" && e != "wrap" && e != "none") p.Fail("edge is clamp, wrap or none");
             const EQChannelSet channels = p.Int("alpha", 1) ? keChannelSetAll : keChannelSetAllButAlpha;
             const std::string name = p.Word("matrix", "");
             if (!name.empty()) {
                 const int which = QGDI_ParseFilterMatrix(name.c_str());
                 if (which < 0) p.Fail("unknown matrix '" + name + "'");
                 return b.ConvolveMatrix(EQFilterMatrix(std::max(which, 0)), edge, channels);
             }
             std::string text = p.Word("kernel", "");
             const int rows = int(std::count(text.begin(), text.end(), ';')) + 1;
             std::replace(text.begin(), text.end(), ';', ',');
             p.values["kernel"] = text;
             const auto k = p.List("kernel", 1, 255 * 255);
             if (k.empty() || k.size() % size_t(rows)) {
                 p.Fail("kernel takes rows of equal length separated by ';'");
                 return false;
             }
             return b.ConvolveMatrix(k.data(), p.Num("divisor", 0), edge, channels, int(k.size()) / rows, rows);
         }},
        {{"dilate", 1, "rx=1 ry=rx shape=square|round", "largest value within the radii"},
         [](auto& b, auto& p) {
             const int rx = p.Int("rx", 1), ry = p.Int("ry", rx);
             return p.Word("shape", "square") == "round" ? b.DilateRound(rx, ry) : b.DilateSquare(rx, ry);
         }},
        {{"erode", 1, "rx=1 ry=rx shape=square|round", "smallest value within the radii"},
         [](auto& b, auto& p) {
             const int rx = p.Int("rx", 1), ry = p.Int("ry", rx);
             return p.Word("shape", "square") == "round" ? b.ErodeRound(rx, ry) : b.ErodeSquare(rx, ry);
         }},
        {{"displace", 2, "scale=10 x=red y=green", "input 1 displaced by the channels of input 2"},
         [](auto& b, auto& p) {
             const auto channel = [&](const char* key, const char* otherwise) {
                 const std::string c = p.Word(key, otherwise);
                 if (c == "red") return keChannelRed;
                 if (c == "green") return keChannelGreen;
                 if (c == "blue") return keChannelBlue;
                 if (c != "alpha") p.Fail(std::string(key) + " is red, green, blue or alpha");
                 return keChannelAlpha;
             };
             const EQChannel x = channel("x", "red"), y = channel("y", "green");
             return b.DisplacementMap(x, y, p.Num("scale", 10));
         }},
        {{"tile", 1, "scale=1", "input's written rectangle repeated"},
         [](auto& b, auto& p) { return b.Tile(p.Num("scale", 1)); }},
        {{"turbulence", 0, "fx=0.05 fy=fx octaves=2 type=turbulence seed=0 stitch=0", "Perlin turbulence or fractal noise"},
         [](auto& b, auto& p) {
             const double fx = p.Num("fx", 0.05), fy = p.Num("fy", fx);
             const std::string type = p.Word("type", "turbulence");
             if (type != "turbulence" && type != "fractal") p.Fail("type is turbulence or fractal");
             return b.Turbulence(fx, fy, p.Int("octaves", 2), type == "fractal", p.Int("seed", 0), p.Num("stitch", 0));
         }},
        {{"noise", 1, "amount=10", "random noise, percent"}, [](auto& b, auto& p) { return b.Noise(p.Int("amount", 10)); }},
        {{"diffuse", 1, "light=distant colour=#ffffff azimuth elevation | x y z [tx ty tz exponent cone] surface=1 k=1",
          "diffuse lighting of the alpha surface"},
         [](auto& b, auto& p) { return Light(b, p, false); }},
        {{"specular", 1, "as diffuse, shine=8", "specular lighting of the alpha surface"},
         [](auto& b, auto& p) { return Light(b, p, true); }},
        {{"offset", 1, "dx=0 dy=0", "moved by dx, dy"},
         [](auto& b, auto& p) { return b.Offset(p.Num("dx", 0), p.Num("dy", 0)); }},
        {{"rotate", 1, "angle=0", "turned about the centre"}, [](auto& b, auto& p) { return b.Rotate(p.Num("angle", 0)); }},
        {{"twirl", 1, "angle=90", "twirled inside the inscribed circle"},
         [](auto& b, auto& p) { return b.Twirl(p.Num("angle", 90)); }},
        {{"hperspective", 1, "amount=0.3", "horizontal perspective taper"},
         [](auto& b, auto& p) { return b.HPerspective(p.Num("amount", 0.3)); }},
        {{"vperspective", 1, "amount=0.3", "vertical perspective taper"},
         [](auto& b, auto& p) { return b.VPerspective(p.Num("amount", 0.3)); }},
        {{"wave", 1, "ax=4 wx=32 ay=4 wy=32", "rows and columns waved"},
         [](auto& b, auto& p) { return b.Wave(p.Num("ax", 4), p.Num("wx", 32), p.Num("ay", 4), p.Num("wy", 32)); }},
        {{"circle", 1, "", "square mapped onto the inscribed circle"}, [](auto& b, auto&) { return b.Circle(); }},
        {{"pentagon", 1, "", "mapped onto a pentagon"}, [](auto& b, auto&) { return b.Pentagon(); }},
        {{"transform", 1, "m=(9 numbers)", "3 x 3 matrix, source to destination"},
         [](auto& b, auto& p) {
             const auto m = p.List("m", 9, 9);
             return m.size() == 9 && b.TransformationMatrix(m.data());
         }},
        {{"wind", 1, "strength=20 from=left seed=1", "light pixels trail downwind"},
         [](auto& b, auto& p) {
             const std::string from = p.Word("from", "left");
             if (from != "left" && from != "right") p.Fail("from is left or right");
             return b.Wind(p.Int("strength", 20), from == "right" ? keWindFromRight : keWindFromLeft,
                           static_cast<uint32_t>(p.Int("seed", 1)));
         }},
        {{"bevel", 1, "width=6 depth=2 azimuth=225", "bevelled edges of the shape"},
         [](auto& b, auto& p) { return b.Bevel(p.Int("width", 6), p.Num("depth", 2), p.Num("azimuth", 225)); }},
        {{"bumpmap", 2, "depth=2 azimuth=225 elevation=45", "input 1 shaded by the luminance of input 2"},
         [](auto& b, auto& p) { return b.BumpMap(p.Num("depth", 2), p.Num("azimuth", 225), p.Num("elevation", 45)); }},
        {{"sculpture", 1, "depth=2 azimuth=225", "grey relief"},
         [](auto& b, auto& p) { return b.Sculpture(p.Num("depth", 2), p.Num("azimuth", 225)); }},
        {{"tiles", 1, "size=16 shift=3 seed=1", "cut into shifted tiles"},
         [](auto& b, auto& p) {
             return b.Tiles(p.Int("size", 16), p.Int("shift", 3), static_cast<uint32_t>(p.Int("seed", 1)));
         }},
    };
    return kList;
}

bool ParseInput(const std::string& token, int& id) {
    static const std::pair<const char*, int> kStock[] = {{"source", keEffectSourceGraphic},
                                                         {"source-alpha", keEffectSourceAlpha},
                                                         {"background", keEffectBackgroundImage},
                                                         {"background-alpha", keEffectBackgroundAlpha}};
    for (const auto& [name, value] : kStock)
        if (token == name) return id = value, true;
    char* end = nullptr;
    const long v = std::strtol(token.c_str(), &end, 10);
    if (token.empty() || *end || v < -1000000 || v > 1000000) return false;
    id = static_cast<int>(v);
    return true;
}

}  // namespace

const SEffectPrimitiveInfo* QGDI_GetEffectPrimitives() noexcept {
    static const std::vector<SEffectPrimitiveInfo> kInfo = [] {
        std::vector<SEffectPrimitiveInfo> v;
        for (const SPrimitive& p : Primitives()) v.push_back(p.info);
        v.push_back({nullptr, 0, nullptr, nullptr});
        return v;
    }();
    return kInfo.data();
}

bool QGDI_ParseEffectGraph(const std::string& text, CIoEffect& effect, std::string* error) {
    CIoEffectBuilder builder(effect);
    std::istringstream lines(text);
    std::string line;
    int number = 0;
    const auto fail = [&](const std::string& why) {
        if (error) *error = "line " + std::to_string(number) + ": " + why;
        return false;
    };
    while (std::getline(lines, line)) {
        ++number;
        if (const size_t hash = line.find('#'); hash != std::string::npos) line.resize(hash);
        std::istringstream words(line);
        std::vector<std::string> tokens;
        for (std::string w; words >> w;) tokens.push_back(w);
        if (tokens.empty()) continue;
        int id = 0;
        if (!ParseInput(tokens[0], id) || id < 0) return fail("a node starts with its number (0 or more), not '" + tokens[0] + "'");
        if (tokens.size() < 2) return fail("node " + tokens[0] + " names no primitive");
        const auto& list = Primitives();
        const auto prim = std::find_if(list.begin(), list.end(), [&](const SPrimitive& p) { return tokens[1] == p.info.name; });
        if (prim == list.end()) return fail("unknown primitive '" + tokens[1] + "' (qgdi effect --list names them)");
        int inputs[2] = {keEffectNone, keEffectNone};
        int count = 0;
        CParams params;
        for (size_t i = 2; i < tokens.size(); ++i) {
            const size_t eq = tokens[i].find('=');
            if (eq == std::string::npos) {
                if (count == 2) return fail("a node has at most two inputs");
                if (!ParseInput(tokens[i], inputs[count])) return fail("unknown input '" + tokens[i] + "'");
                ++count;
            } else {
                const std::string key = tokens[i].substr(0, eq);
                if (key.empty() || !params.values.emplace(key, tokens[i].substr(eq + 1)).second)
                    return fail("parameter '" + key + "' given twice or unnamed");
            }
        }
        if (count < prim->info.inputs)
            return fail(std::string(prim->info.name) + " takes " + std::to_string(prim->info.inputs) + " input(s)");
        const std::vector<double> sub = params.List("subregion", 4, 4);
        builder(id, inputs[0], inputs[1]);
        const bool added = prim->make(builder, params);
        if (!params.error.empty()) return fail(params.error);
        if (!params.values.empty()) return fail("unknown parameter '" + params.values.begin()->first + "' for " + prim->info.name);
        if (!added) return fail("the node could not be added");
        if (sub.size() == 4) {
            const SQRECT rc = {sub[0], sub[1], sub[0] + sub[2], sub[1] + sub[3]};
            effect.SetSubregion(id, &rc);
        }
    }
    return true;
}
