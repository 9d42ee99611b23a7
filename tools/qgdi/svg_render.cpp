#include "tools/qgdi/svg_render.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>

#include "drawing/PathData.h"
#include "geometry/MatrixFunctions.h"
#include "qdibcore/Source/internal/ResultTry.h"

namespace qgdi::svg {
namespace {

constexpr double kPi = 3.14159265358979;
constexpr int kMaxUseDepth = 32;

// --- Numbers, lengths, colours, transforms ----------------------------------

const char* SkipSep(const char* s) {
    while (*s == ' ' || *s == '\t' || *s == '\r' || *s == '\n' || *s == ',') ++s;
    return s;
}

bool Number(const char*& s, double& v) {
    s = SkipSep(s);
    char* end = nullptr;
    v = std::strtod(s, &end);
    if (end == s || !std::isfinite(v)) return false;
    s = end;
    return true;
}

std::vector<double> Numbers(const std::string& text) {
    std::vector<double> out;
    const char* s = text.c_str();
    double v;
    while (Number(s, v)) out.push_back(v);
    return out;
}

// A length with its unit; `ref` is what 100 % means.
double Length(const std::string* text, double ref, double fontSize, double fallback) {
    if (!text) return fallback;
    const char* s = text->c_str();
    double v;
    if (!Number(s, v)) return fallback;
    std::string unit(s);
    while (!unit.empty() && std::isspace(static_cast<unsigned char>(unit.back()))) unit.pop_back();
    if (unit.empty() || unit == "px") return v;
    if (unit == "%") return v * ref / 100.0;
    if (unit == "pt") return v * 96.0 / 72.0;
    if (unit == "pc") return v * 16.0;
    if (unit == "mm") return v * 96.0 / 25.4;
    if (unit == "cm") return v * 96.0 / 2.54;
    if (unit == "in") return v * 96.0;
    if (unit == "em") return v * fontSize;
    if (unit == "ex") return v * fontSize / 2;
    return v;
}

struct SNamedColour {
    const char* name;
    uint32_t rgb;  // 0xRRGGBB
};
const SNamedColour kColours[] = {
    {"black", 0x000000},   {"silver", 0xC0C0C0},    {"gray", 0x808080},    {"grey", 0x808080},
    {"white", 0xFFFFFF},   {"maroon", 0x800000},    {"red", 0xFF0000},     {"purple", 0x800080},
    {"fuchsia", 0xFF00FF}, {"magenta", 0xFF00FF},   {"green", 0x008000},   {"lime", 0x00FF00},
    {"olive", 0x808000},   {"yellow", 0xFFFF00},    {"navy", 0x000080},    {"blue", 0x0000FF},
    {"teal", 0x008080},    {"aqua", 0x00FFFF},      {"cyan", 0x00FFFF},    {"orange", 0xFFA500},
    {"brown", 0xA52A2A},   {"pink", 0xFFC0CB},      {"gold", 0xFFD700},    {"skyblue", 0x87CEEB},
    {"steelblue", 0x4682B4}, {"darkgreen", 0x006400}, {"darkblue", 0x00008B}, {"darkred", 0x8B0000},
    {"lightgray", 0xD3D3D3}, {"lightgrey", 0xD3D3D3}, {"darkgray", 0xA9A9A9}, {"darkgrey", 0xA9A9A9},
    {"orangered", 0xFF4500}, {"tomato", 0xFF6347}, {"coral", 0xFF7F50}, {"salmon", 0xFA8072},
    {"crimson", 0xDC143C}, {"indigo", 0x4B0082},   {"violet", 0xEE82EE},  {"khaki", 0xF0E68C},
    {"tan", 0xD2B48C},     {"beige", 0xF5F5DC},     {"ivory", 0xFFFFF0},   {"wheat", 0xF5DEB3},
    {"chocolate", 0xD2691E}, {"sienna", 0xA0522D}, {"forestgreen", 0x228B22}, {"seagreen", 0x2E8B57},
    {"royalblue", 0x4169E1}, {"dodgerblue", 0x1E90FF}, {"slategray", 0x708090}, {"midnightblue", 0x191970},
    {"turquoise", 0x40E0D0}, {"limegreen", 0x32CD32}, {"lightblue", 0xADD8E6}, {"lightgreen", 0x90EE90},
};

// RGBA word (red in the low byte); false for what is not a colour.
bool Colour(std::string t, uint32_t& rgba) {
    while (!t.empty() && std::isspace(static_cast<unsigned char>(t.back()))) t.pop_back();
    size_t b = 0;
    while (b < t.size() && std::isspace(static_cast<unsigned char>(t[b]))) ++b;
    t = t.substr(b);
    if (t.empty()) return false;
    auto pack = [](double r, double g, double bl, double a) {
        auto c = [](double v) { return uint32_t(std::clamp(v, 0.0, 255.0) + 0.5) & 0xFF; };
        return c(r) | (c(g) << 8) | (c(bl) << 16) | (c(a * 255.0) << 24);
    };
    if (t[0] == '#') {
        const std::string h = t.substr(1);
        for (char ch : h)
            if (!std::isxdigit(static_cast<unsigned char>(ch))) return false;
        const unsigned long v = std::strtoul(h.c_str(), nullptr, 16);
        if (h.size() == 3)
            rgba = pack(((v >> 8) & 15) * 17.0, ((v >> 4) & 15) * 17.0, (v & 15) * 17.0, 1.0);
        else if (h.size() == 6)
            rgba = pack((v >> 16) & 255, (v >> 8) & 255, v & 255, 1.0);
        else
            return false;
        return true;
    }
    if (t.compare(0, 4, "rgb(") == 0 || t.compare(0, 5, "rgba(") == 0) {
        const char* s = t.c_str() + t.find('(') + 1;
        double v[4] = {0, 0, 0, 1};
        for (int i = 0; i < 4; ++i) {
            if (!Number(s, v[i])) {
                if (i < 3) return false;
                break;
            }
            s = SkipSep(s);
            if (*s == '%') {
                v[i] = i < 3 ? v[i] * 2.55 : v[i] / 100.0;
                ++s;
            }
        }
        rgba = pack(v[0], v[1], v[2], v[3]);
        return true;
    }
    for (char& ch : t) ch = char(std::tolower(static_cast<unsigned char>(ch)));
    if (t == "transparent") {
        rgba = 0;
        return true;
    }
    for (const SNamedColour& c : kColours)
        if (t == c.name) {
            rgba = pack((c.rgb >> 16) & 255, (c.rgb >> 8) & 255, c.rgb & 255, 1.0);
            return true;
        }
    return false;
}

using Matrix = std::array<double, 9>;
Matrix Identity() { return {1, 0, 0, 0, 1, 0, 0, 0, 1}; }
Matrix Mul(const Matrix& a, const Matrix& b) {
    Matrix r;
    QGDI_MatrixMultiply(r.data(), a.data(), b.data());
    return r;
}

// The transform list; what comes after an error is dropped, as browsers do.
Matrix Transform(const std::string& text) {
    Matrix m = Identity();
    const char* s = text.c_str();
    for (;;) {
        s = SkipSep(s);
        const char* name = s;
        while (std::isalpha(static_cast<unsigned char>(*s))) ++s;
        const std::string fn(name, size_t(s - name));
        s = SkipSep(s);
        if (fn.empty() || *s != '(') break;
        ++s;
        double a[6];
        int n = 0;
        while (n < 6 && Number(s, a[n])) ++n;
        s = SkipSep(s);
        if (*s != ')') break;
        ++s;
        Matrix t = Identity();
        if (fn == "matrix" && n == 6) t = {a[0], a[2], a[4], a[1], a[3], a[5], 0, 0, 1};
        else if (fn == "translate" && n >= 1) t = {1, 0, a[0], 0, 1, n > 1 ? a[1] : 0, 0, 0, 1};
        else if (fn == "scale" && n >= 1) t = {a[0], 0, 0, 0, n > 1 ? a[1] : a[0], 0, 0, 0, 1};
        else if (fn == "rotate" && n >= 1) {
            const double r = a[0] * kPi / 180, c = std::cos(r), sn = std::sin(r);
            const double cx = n >= 3 ? a[1] : 0, cy = n >= 3 ? a[2] : 0;
            t = {c, -sn, cx - c * cx + sn * cy, sn, c, cy - sn * cx - c * cy, 0, 0, 1};
        } else if (fn == "skewX" && n == 1) t = {1, std::tan(a[0] * kPi / 180), 0, 0, 1, 0, 0, 0, 1};
        else if (fn == "skewY" && n == 1) t = {1, 0, 0, std::tan(a[0] * kPi / 180), 1, 0, 0, 0, 1};
        else break;
        m = Mul(m, t);
    }
    return m;
}

// --- Style ------------------------------------------------------------------

struct SPaint {
    enum EKind { None, Colour, Url, Current } kind = None;
    uint32_t rgba = 0xFF000000u;
    std::string url;
};

bool Paint(const std::string& v, SPaint& p) {
    std::string t = v;
    while (!t.empty() && std::isspace(static_cast<unsigned char>(t.front()))) t.erase(t.begin());
    if (t.compare(0, 4, "none") == 0) {
        p.kind = SPaint::None;
        return true;
    }
    if (t.compare(0, 12, "currentColor") == 0) {
        p.kind = SPaint::Current;
        return true;
    }
    if (t.compare(0, 4, "url(") == 0) {
        const size_t close = t.find(')');
        if (close == std::string::npos) return false;
        std::string id = t.substr(4, close - 4);
        id.erase(std::remove_if(id.begin(), id.end(), [](char c) { return c == '\'' || c == '"' || c == ' '; }),
                 id.end());
        if (!id.empty() && id[0] == '#') id.erase(0, 1);
        p.kind = SPaint::Url;
        p.url = id;
        // A fallback colour after the reference is used when it is missing.
        uint32_t c;
        if (Colour(t.substr(close + 1), c)) p.rgba = c;
        else p.rgba = 0;
        return true;
    }
    uint32_t c;
    if (!Colour(t, c)) return false;
    p.kind = SPaint::Colour;
    p.rgba = c;
    return true;
}

struct SStyle {
    SPaint fill{SPaint::Colour, 0xFF000000u, {}};
    SPaint stroke;
    uint32_t color = 0xFF000000u;
    double fillOpacity = 1, strokeOpacity = 1, opacity = 1;
    bool evenOdd = false;
    double strokeWidth = 1;
    ELineCap cap = keLineCapButt;
    ELineJoin join = keLineJoinMiter;
    double miterLimit = 4;
    std::vector<double> dash;
    double dashOffset = 0;
    std::string fontFamily = "sans-serif";
    double fontSize = 16;
    int fontStyle = keTextStyleRegular;
    ETextAlign anchor = keTextAlignStart;
    bool visible = true;
    bool display = true;
};

double Opacity(const std::string& v) {
    const char* s = v.c_str();
    double x;
    if (!Number(s, x)) return 1.0;
    if (*SkipSep(s) == '%') x /= 100.0;
    return std::clamp(x, 0.0, 1.0);
}

void Property(SStyle& st, std::string name, std::string value, double diag) {
    auto trim = [](std::string& s) {
        while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.pop_back();
        while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.erase(s.begin());
    };
    trim(name);
    trim(value);
    if (value == "inherit" || value.empty()) return;
    if (name == "fill") Paint(value, st.fill);
    else if (name == "stroke") Paint(value, st.stroke);
    else if (name == "color") Colour(value, st.color);
    else if (name == "fill-opacity") st.fillOpacity = Opacity(value);
    else if (name == "stroke-opacity") st.strokeOpacity = Opacity(value);
    else if (name == "opacity") st.opacity = Opacity(value);
    else if (name == "fill-rule") st.evenOdd = value == "evenodd";
    else if (name == "stroke-width") st.strokeWidth = Length(&value, diag, st.fontSize, st.strokeWidth);
    else if (name == "stroke-linecap")
        st.cap = value == "round" ? keLineCapRound : value == "square" ? keLineCapSquare : keLineCapButt;
    else if (name == "stroke-linejoin")
        st.join = value == "round" ? keLineJoinRound : value == "bevel" ? keLineJoinBevel : keLineJoinMiter;
    else if (name == "stroke-miterlimit") {
        const char* s = value.c_str();
        double m;
        if (Number(s, m) && m >= 1) st.miterLimit = m;
    } else if (name == "stroke-dasharray") {
        st.dash.clear();
        if (value != "none") {
            const char* s = value.c_str();
            while (*(s = SkipSep(s))) {
                const char* start = s;
                double v;
                if (!Number(s, v)) break;
                std::string token(start, size_t(s - start));
                while (*s && *s != ',' && *s != ' ') token += *s++;
                st.dash.push_back(Length(&token, diag, st.fontSize, v));
            }
            double sum = 0;
            bool bad = false;
            for (double d : st.dash) {
                sum += d;
                bad |= d < 0;
            }
            if (bad || !(sum > 0)) st.dash.clear();
        }
    } else if (name == "stroke-dashoffset") st.dashOffset = Length(&value, diag, st.fontSize, 0);
    else if (name == "font-family") {
        const size_t comma = value.find(',');
        std::string f = value.substr(0, comma);
        f.erase(std::remove_if(f.begin(), f.end(), [](char c) { return c == '\'' || c == '"'; }), f.end());
        trim(f);
        if (!f.empty()) st.fontFamily = f;
    } else if (name == "font-size") st.fontSize = Length(&value, st.fontSize, st.fontSize, st.fontSize);
    else if (name == "font-weight") {
        const bool bold = value == "bold" || value == "bolder" || std::atoi(value.c_str()) >= 600;
        st.fontStyle = (st.fontStyle & ~keTextStyleBold) | (bold ? keTextStyleBold : 0);
    } else if (name == "font-style") {
        const bool it = value == "italic" || value == "oblique";
        st.fontStyle = (st.fontStyle & ~keTextStyleItalic) | (it ? keTextStyleItalic : 0);
    } else if (name == "text-anchor")
        st.anchor = value == "middle" ? keTextAlignMiddle : value == "end" ? keTextAlignEnd : keTextAlignStart;
    else if (name == "visibility") st.visible = value == "visible";
    else if (name == "display") st.display = value != "none";
}

// --- The renderer -----------------------------------------------------------

class CRenderer {
public:
    // Draw paints through the context; Measure only grows the ink box; Record
    // keeps the solid shapes.
    enum EMode { keDraw, keMeasure, keRecord };

    CRenderer(const SXmlNode& root, QDCBASIC* dc, std::vector<std::string>& warnings, EMode mode = keDraw)
        : m_dc(dc), m_warnings(warnings), m_mode(mode) {
        Index(root);
    }

    std::vector<SSvgItem> items;
    SQRECT ink{0, 0, 0, 0};
    bool hasInk = false;

    // The ink box in the root's user space.
    bool MeasureInk(const SXmlNode& root) {
        SStyle st;
        m_viewW = m_viewH = 512;
        Children(root, st, Identity(), 0).Ignore();
        return hasInk;
    }

    CErrorAutoThrow Document(const SXmlNode& root, int width, int height) {
        double w, h;
        SvgIntrinsicSize(root, w, h);
        Matrix m = Identity();
        const std::string* vb = root.Attr("viewBox");
        std::vector<double> box = vb ? Numbers(*vb) : std::vector<double>{};
        const std::string* par = root.Attr("preserveAspectRatio");
        std::string mode = par ? *par : "xMidYMid meet";
        if (box.size() != 4 || !(box[2] > 0) || !(box[3] > 0)) {
            // Without a viewBox the document's own size (its width and
            // height, or the extent of its ink, as other renderers take it:
            // the user-space origin stays in the corner) is stretched to the output.
            box = {0, 0, w, h};
            mode = "none";
        }
        m_viewW = box[2];
        m_viewH = box[3];
        double sx = width / box[2], sy = height / box[3];
        double tx = 0, ty = 0;
        if (mode.compare(0, 4, "none") != 0) {
            const bool slice = mode.find("slice") != std::string::npos;
            const double s = slice ? std::max(sx, sy) : std::min(sx, sy);
            const double ex = width - box[2] * s, ey = height - box[3] * s;
            tx = mode.find("xMin") != std::string::npos ? 0 : mode.find("xMax") != std::string::npos ? ex : ex / 2;
            ty = mode.find("YMin") != std::string::npos ? 0 : mode.find("YMax") != std::string::npos ? ey : ey / 2;
            sx = sy = s;
        }
        m = {sx, 0, tx - box[0] * sx, 0, sy, ty - box[1] * sy, 0, 0, 1};
        SStyle st;
        return Children(root, st, m, 0);
    }

private:
    void Index(const SXmlNode& n) {
        if (const std::string* id = n.Attr("id")) m_ids.emplace(*id, &n);
        for (const auto& c : n.children) Index(*c);
    }

    double Diag() const { return std::sqrt((m_viewW * m_viewW + m_viewH * m_viewH) / 2); }

    SStyle Cascade(const SXmlNode& n, const SStyle& parent) const {
        SStyle st = parent;
        st.opacity = 1;  // not inherited
        st.display = true;
        // Attributes first, then the style attribute, which wins.
        for (const auto& [k, v] : n.attributes)
            if (k != "style") Property(st, k, v, Diag());
        if (const std::string* style = n.Attr("style")) {
            size_t p = 0;
            while (p < style->size()) {
                const size_t semi = std::min(style->find(';', p), style->size());
                const std::string decl = style->substr(p, semi - p);
                const size_t colon = decl.find(':');
                if (colon != std::string::npos) Property(st, decl.substr(0, colon), decl.substr(colon + 1), Diag());
                p = semi + 1;
            }
        }
        return st;
    }

    CErrorAutoThrow Children(const SXmlNode& n, const SStyle& st, const Matrix& m, int depth) {
        for (const auto& c : n.children) QGDI_TRY(Element(*c, st, m, depth));
        return CErrorAutoThrow();
    }

    CErrorAutoThrow Element(const SXmlNode& n, const SStyle& parent, const Matrix& parentM, int depth) {
        static const std::set<std::string> skipped = {"defs", "linearGradient", "radialGradient", "clipPath", "mask",
                                                      "pattern", "symbol", "marker", "style", "title", "desc",
                                                      "metadata", "filter", "script"};
        if (skipped.count(n.name)) return CErrorAutoThrow();
        const SStyle st = Cascade(n, parent);
        if (!st.display) return CErrorAutoThrow();
        Matrix m = parentM;
        if (const std::string* t = n.Attr("transform")) m = Mul(m, Transform(*t));
        const bool layer = st.opacity < 1.0 && m_mode == keDraw;
        if (layer) QGDI_TRY(m_dc->BeginLayer(uint8_t(std::lround(st.opacity * 255)), 0));
        CErrorAutoThrow r = Draw(n, st, m, depth);
        if (layer) {
            CErrorAutoThrow e = m_dc->EndLayer();
            QGDI_TRY(std::move(r));
            return e;
        }
        return r;
    }

    CErrorAutoThrow Draw(const SXmlNode& n, const SStyle& st, const Matrix& m, int depth) {
        const std::string& k = n.name;
        if (k == "g" || k == "a" || k == "switch") return Children(n, st, m, depth);
        if (k == "svg") {
            const double x = Length(n.Attr("x"), m_viewW, st.fontSize, 0), y = Length(n.Attr("y"), m_viewH, st.fontSize, 0);
            return Children(n, st, Mul(m, Matrix{1, 0, x, 0, 1, y, 0, 0, 1}), depth);
        }
        if (k == "use") {
            const std::string* href = n.Attr("href");
            if (!href || href->empty() || (*href)[0] != '#' || depth >= kMaxUseDepth) return CErrorAutoThrow();
            auto it = m_ids.find(href->substr(1));
            if (it == m_ids.end()) {
                m_warnings.push_back("use: no element " + *href);
                return CErrorAutoThrow();
            }
            if (m_using.count(it->second)) return CErrorAutoThrow();  // a reference to itself
            const double x = Length(n.Attr("x"), m_viewW, st.fontSize, 0), y = Length(n.Attr("y"), m_viewH, st.fontSize, 0);
            m_using.insert(it->second);
            const SXmlNode& target = *it->second;
            CErrorAutoThrow r = target.name == "symbol"
                                    ? Children(target, Cascade(target, st), Mul(m, Matrix{1, 0, x, 0, 1, y, 0, 0, 1}), depth + 1)
                                    : Element(target, st, Mul(m, Matrix{1, 0, x, 0, 1, y, 0, 0, 1}), depth + 1);
            m_using.erase(it->second);
            return r;
        }
        if (k == "text") return Text(n, st, m);
        CQPath path;
        if (!Shape(n, st, path)) return CErrorAutoThrow();
        return Paint(path, st, m);
    }

    bool Shape(const SXmlNode& n, const SStyle& st, CQPath& p) {
        const std::string& k = n.name;
        auto len = [&](const char* a, double ref, double fallback = 0) {
            return Length(n.Attr(a), ref, st.fontSize, fallback);
        };
        if (k == "path") {
            const std::string* d = n.Attr("d");
            if (!d) return false;
            size_t at = 0;
            if (!QGDI_PathDataParse(d->c_str(), d->size(), p.GetPathReceiver(), &at) && at < d->size())
                m_warnings.push_back("path data error at offset " + std::to_string(at));
            return !p.IsEmpty();
        }
        if (k == "rect") {
            const double x = len("x", m_viewW), y = len("y", m_viewH), w = len("width", m_viewW), h = len("height", m_viewH);
            if (!(w > 0) || !(h > 0)) return false;
            const std::string* rxa = n.Attr("rx");
            const std::string* rya = n.Attr("ry");
            double rx = len("rx", m_viewW, -1), ry = len("ry", m_viewH, -1);
            if (!rxa) rx = ry;
            if (!rya) ry = rx;
            if (rx > 0 && ry > 0) return p.CreateRoundRect({x, y, x + w, y + h}, rx, ry);
            return p.CreateRect({x, y, x + w, y + h});
        }
        if (k == "circle" || k == "ellipse") {
            const double cx = len("cx", m_viewW), cy = len("cy", m_viewH);
            const double rx = k == "circle" ? len("r", Diag()) : len("rx", m_viewW);
            const double ry = k == "circle" ? rx : len("ry", m_viewH);
            if (!(rx > 0) || !(ry > 0)) return false;
            return p.CreateEllipse({cx - rx, cy - ry, cx + rx, cy + ry});
        }
        if (k == "line") {
            return p.MoveTo(len("x1", m_viewW), len("y1", m_viewH)) && p.LineTo(len("x2", m_viewW), len("y2", m_viewH));
        }
        if (k == "polyline" || k == "polygon") {
            const std::string* pts = n.Attr("points");
            if (!pts) return false;
            const std::vector<double> v = Numbers(*pts);
            if (v.size() < 4) return false;
            p.MoveTo(v[0], v[1]);
            for (size_t i = 2; i + 1 < v.size(); i += 2) p.LineTo(v[i], v[i + 1]);
            if (k == "polygon") p.ClosePath();
            return true;
        }
        return false;
    }

    // The fill for a paint, or null for none; `box` is the shape's box in user space.
    VQFILL* MakeFill(const SPaint& paint, const SStyle& st, const SQRECT& box, const Matrix& m) {
        if (paint.kind == SPaint::None) return nullptr;
        if (paint.kind == SPaint::Current) return QGDI_FillCreateRGBA(st.color);
        if (paint.kind == SPaint::Colour) return QGDI_FillCreateRGBA(paint.rgba);
        auto it = m_ids.find(paint.url);
        if (it == m_ids.end() || (it->second->name != "linearGradient" && it->second->name != "radialGradient")) {
            if (paint.rgba) return QGDI_FillCreateRGBA(paint.rgba);
            m_warnings.push_back("paint: no gradient #" + paint.url);
            return nullptr;
        }
        return Gradient(*it->second, box, m);
    }

    // An attribute of a gradient or of the ones it refers to.
    const std::string* GradientAttr(const SXmlNode* g, const char* name) const {
        for (int i = 0; g && i < 16; ++i) {
            if (const std::string* v = g->Attr(name)) return v;
            const std::string* href = g->Attr("href");
            if (!href || href->size() < 2) return nullptr;
            auto it = m_ids.find(href->substr(1));
            g = it == m_ids.end() ? nullptr : it->second;
        }
        return nullptr;
    }

    VQFILL* Gradient(const SXmlNode& g, const SQRECT& box, const Matrix& m) {
        // Stops come from the first gradient in the reference chain that has some.
        const SXmlNode* withStops = &g;
        for (int i = 0; i < 16 && withStops; ++i) {
            bool has = false;
            for (const auto& c : withStops->children) has |= c->name == "stop";
            if (has) break;
            const std::string* href = withStops->Attr("href");
            auto it = href && href->size() > 1 ? m_ids.find(href->substr(1)) : m_ids.end();
            withStops = it == m_ids.end() ? nullptr : it->second;
        }
        std::vector<uint32_t> colours;
        std::vector<double> offsets;
        if (withStops)
            for (const auto& c : withStops->children) {
                if (c->name != "stop") continue;
                SStyle s;
                double offset = 0, stopOpacity = 1;
                uint32_t colour = 0xFF000000u;
                auto prop = [&](const std::string& k, const std::string& v) {
                    if (k == "offset") offset = std::clamp(Opacity(v), 0.0, 1.0);
                    else if (k == "stop-color") Colour(v, colour);
                    else if (k == "stop-opacity") stopOpacity = Opacity(v);
                };
                for (const auto& [k, v] : c->attributes) prop(k, v);
                if (const std::string* style = c->Attr("style")) {
                    size_t p = 0;
                    while (p < style->size()) {
                        const size_t semi = std::min(style->find(';', p), style->size());
                        const std::string decl = style->substr(p, semi - p);
                        const size_t colon = decl.find(':');
                        if (colon != std::string::npos) {
                            std::string key = decl.substr(0, colon);
                            key.erase(std::remove_if(key.begin(), key.end(), ::isspace), key.end());
                            prop(key, decl.substr(colon + 1));
                        }
                        p = semi + 1;
                    }
                }
                const uint32_t a = uint32_t(std::lround(((colour >> 24) / 255.0) * stopOpacity * 255.0));
                colours.push_back((colour & 0xFFFFFFu) | (a << 24));
                // Offsets never go back (SVG's rule).
                offsets.push_back(offsets.empty() ? offset : std::max(offset, offsets.back()));
            }
        if (colours.empty()) return nullptr;
        if (colours.size() == 1) return QGDI_FillCreateRGBA(colours[0]);

        const std::string* units = GradientAttr(&g, "gradientUnits");
        const bool userSpace = units && *units == "userSpaceOnUse";
        Matrix gm = m;
        if (!userSpace) {
            const double w = box.right - box.left, h = box.bottom - box.top;
            if (!(w > 0) || !(h > 0)) return nullptr;  // a box without area has no gradient
            gm = Mul(gm, Matrix{w, 0, box.left, 0, h, box.top, 0, 0, 1});
        }
        if (const std::string* t = GradientAttr(&g, "gradientTransform")) gm = Mul(gm, Transform(*t));
        const std::string* spreadAttr = GradientAttr(&g, "spreadMethod");
        const ESpreadMethod spread = !spreadAttr             ? keSpreadPad
                                     : *spreadAttr == "reflect" ? keSpreadReflect
                                     : *spreadAttr == "repeat"  ? keSpreadRepeat
                                                                : keSpreadPad;
        const double refW = userSpace ? m_viewW : 1.0, refH = userSpace ? m_viewH : 1.0;
        const double refD = userSpace ? Diag() : std::sqrt(0.5);
        auto len = [&](const char* name, double ref, const char* fallback) {
            const std::string* v = GradientAttr(&g, name);
            const std::string def = fallback;
            return Length(v ? v : &def, ref, 16, 0);
        };
        const int n = int(colours.size());
        if (g.name == "linearGradient") {
            const SQPOINT a{len("x1", refW, "0%"), len("y1", refH, "0%")};
            const SQPOINT b{len("x2", refW, "100%"), len("y2", refH, "0%")};
            return QGDI_FillCreateLinearGradient(box, a, b, keGradientUserSpace, colours.data(), offsets.data(), n,
                                                 spread, gm.data());
        }
        const SQPOINT c{len("cx", refW, "50%"), len("cy", refH, "50%")};
        const double r = len("r", refD, "50%");
        const std::string* fx = GradientAttr(&g, "fx");
        const std::string* fy = GradientAttr(&g, "fy");
        const SQPOINT f{fx ? Length(fx, refW, 16, c.x) : c.x, fy ? Length(fy, refH, 16, c.y) : c.y};
        if (!(r > 0)) return QGDI_FillCreateRGBA(colours.back());
        return QGDI_FillCreateRadialGradient(box, c, r, f, keGradientUserSpace, colours.data(), offsets.data(), n,
                                             spread, gm.data());
    }

    SStrokeProps Pen(const SStyle& st) const {
        SStrokeProps pen;
        pen.width = st.strokeWidth;
        pen.lineJoin = st.join;
        for (auto& c : pen.caps) c.type = st.cap;
        pen.miterLimit = st.miterLimit;
        pen.SetDash(st.dash.empty() ? nullptr : st.dash.data(), int(st.dash.size()), st.dashOffset);
        return pen;
    }

    void GrowInk(VPathIteratorRefed* it) {
        SQRECT b;
        if (it && QGDI_PathIteratorGetBBox(it, b, true)) {
            if (!hasInk) ink = b;
            ink = SQRECT{std::min(ink.left, b.left), std::min(ink.top, b.top), std::max(ink.right, b.right),
                         std::max(ink.bottom, b.bottom)};
            hasInk = true;
        }
        if (it) it->Unreference();
    }

    CErrorAutoThrow Paint(const CQPath& path, const SStyle& st, const Matrix& m) {
        if (!st.visible) return CErrorAutoThrow();
        const bool stroked = st.stroke.kind != SPaint::None && st.strokeWidth > 0;
        if (m_mode == keMeasure) {
            if (st.fill.kind != SPaint::None) GrowInk(QGDI_PathIteratorCreateFlat(path.GetPath(), 0.05, m.data()));
            if (stroked)
                GrowInk(QGDI_PathIteratorCreateStroke(path.GetPath(), keQPathStroke, Pen(st), m.data(), 0.05, 0, false));
            return CErrorAutoThrow();
        }
        if (m_mode == keRecord) {
            SSvgItem item;
            item.path = path;
            std::copy(m.begin(), m.end(), item.matrix);
            item.fill = st.fill.kind == SPaint::Colour || st.fill.kind == SPaint::Current;
            item.fillRGBA = st.fill.kind == SPaint::Current ? st.color : st.fill.rgba;
            item.fillOpacity = st.fillOpacity;
            item.evenOdd = st.evenOdd;
            item.stroke = stroked && (st.stroke.kind == SPaint::Colour || st.stroke.kind == SPaint::Current);
            item.strokeRGBA = st.stroke.kind == SPaint::Current ? st.color : st.stroke.rgba;
            item.strokeOpacity = st.strokeOpacity;
            item.pen = Pen(st);
            items.push_back(std::move(item));
            return CErrorAutoThrow();
        }
        SQRECT box{0, 0, 0, 0};
        path.GetBBox(box);
        QDCBASIC& dc = *m_dc;
        dc.SetCurrentMatrix(m.data());
        if (VQFILL* fill = MakeFill(st.fill, st, box, m)) {
            dc.SetFill(fill);
            fill->Unreference();
            dc.SetFillOpacity(uint8_t(std::lround(st.fillOpacity * 255)));
            dc.SetPolyFillMode(st.evenOdd ? kePolyFillEvenOdd : kePolyFillNonZero);
            QGDI_TRY(dc.FillPath(path));
        }
        if (stroked) {
            if (VQFILL* fill = MakeFill(st.stroke, st, box, m)) {
                dc.SetStrokeFill(fill);
                fill->Unreference();
                dc.SetStrokeOpacity(uint8_t(std::lround(st.strokeOpacity * 255)));
                if (!dc.SetStrokeProps(Pen(st))) return QERR(keQuorErrOutOfMemory);
                QGDI_TRY(dc.StrokePath(path));
            }
        }
        return CErrorAutoThrow();
    }

    // Character data of the element and its tspans, in order, spaces collapsed.
    static void Collect(const SXmlNode& n, std::string& out) {
        out += n.text;
        for (const auto& c : n.children)
            if (c->name == "tspan" || c->name == "textPath") Collect(*c, out);
    }

    CErrorAutoThrow Text(const SXmlNode& n, const SStyle& st, const Matrix& m) {
        if (!st.visible || (st.fill.kind == SPaint::None && st.stroke.kind == SPaint::None) || m_mode == keRecord)
            return CErrorAutoThrow();
        std::string raw, text;
        Collect(n, raw);
        for (char c : raw) {
            const bool space = c == ' ' || c == '\n' || c == '\t' || c == '\r';
            if (space && (text.empty() || text.back() == ' ')) continue;
            text += space ? ' ' : c;
        }
        while (!text.empty() && text.back() == ' ') text.pop_back();
        if (text.empty()) return CErrorAutoThrow();
        const std::vector<double> xs = n.Attr("x") ? Numbers(*n.Attr("x")) : std::vector<double>{};
        const std::vector<double> ys = n.Attr("y") ? Numbers(*n.Attr("y")) : std::vector<double>{};
        const SQPOINT origin{xs.empty() ? 0 : xs[0], ys.empty() ? 0 : ys[0]};
        std::string family = st.fontFamily;
        if (family == "sans-serif" || family == "Arial" || family == "Helvetica") family = "DejaVu Sans";
        else if (family == "serif" || family == "Times New Roman" || family == "Times") family = "DejaVu Serif";
        else if (family == "monospace" || family == "Courier New" || family == "Courier") family = "DejaVu Sans Mono";
        STextProps props;
        props.size = st.fontSize;
        props.style = st.fontStyle;
        props.align = st.anchor;
        if (m_mode == keMeasure) {
            auto font = CQFont::Find(family.c_str(), st.fontStyle);
            STextMetrics metrics;
            if (!font || !QGDI_TextLayout(*font, props, text.c_str(), int(text.size()), origin, nullptr, nullptr, &metrics))
                return CErrorAutoThrow();
            SQRECT b{origin.x + metrics.ink.left, origin.y + metrics.ink.top, origin.x + metrics.ink.right,
                     origin.y + metrics.ink.bottom};
            CQPath box;
            if (box.CreateRect(b)) GrowInk(QGDI_PathIteratorCreateFlat(box.GetPath(), 0.05, m.data()));
            return CErrorAutoThrow();
        }
        QDCBASIC& dc = *m_dc;
        if (!dc.SetFont(family.c_str(), st.fontStyle, st.fontSize)) {
            m_warnings.push_back("text: no font");
            return CErrorAutoThrow();
        }
        dc.SetTextProps(props);
        // The glyphs become one path, filled and stroked like any shape (a
        // gradient then spans the whole text).
        CQPath glyphs;
        QGDI_TRY(dc.ReceiveGlyphPath(text.c_str(), int(text.size()), origin, glyphs.GetPathReceiver()));
        SStyle textStyle = st;
        textStyle.evenOdd = false;
        return Paint(glyphs, textStyle, m);
    }

    QDCBASIC* m_dc;
    std::vector<std::string>& m_warnings;
    EMode m_mode;
    std::map<std::string, const SXmlNode*> m_ids;
    std::set<const SXmlNode*> m_using;
    double m_viewW = 512, m_viewH = 512;
};

}  // namespace

void SvgIntrinsicSize(const SXmlNode& root, double& width, double& height) {
    const std::string* vb = root.Attr("viewBox");
    const std::vector<double> box = vb ? Numbers(*vb) : std::vector<double>{};
    const bool hasBox = box.size() == 4 && box[2] > 0 && box[3] > 0;
    const std::string* w = root.Attr("width");
    const std::string* h = root.Attr("height");
    const bool wPercent = w && w->find('%') != std::string::npos;
    const bool hPercent = h && h->find('%') != std::string::npos;
    width = w && !wPercent ? Length(w, 0, 16, 0) : 0;
    height = h && !hPercent ? Length(h, 0, 16, 0) : 0;
    if (!(width > 0) || !(height > 0) || width > 1e5 || height > 1e5) {
        width = height = 512;
        std::vector<std::string> ignored;
        CRenderer measure(root, nullptr, ignored, CRenderer::keMeasure);
        if (hasBox) {
            width = box[2];
            height = box[3];
        } else if (!w && !h && root.name == "svg" && measure.MeasureInk(root)) {
            width = std::clamp(std::round(measure.ink.right - measure.ink.left), 1.0, 1e5);
            height = std::clamp(std::round(measure.ink.bottom - measure.ink.top), 1.0, 1e5);
        }
    }
}

bool SvgCollect(const SXmlNode& root, int width, int height, std::vector<SSvgItem>& items) {
    if (root.name != "svg") return false;
    std::vector<std::string> ignored;
    CRenderer r(root, nullptr, ignored, CRenderer::keRecord);
    if (r.Document(root, width, height).IsError()) return false;
    items = std::move(r.items);
    return true;
}

CErrorAutoThrow SvgRender(const SXmlNode& root, QDCBASIC& dc, int width, int height, std::vector<std::string>& warnings) {
    if (root.name != "svg") return QERR(keQuorErrFailed);
    CRenderer r(root, &dc, warnings);
    return r.Document(root, width, height);
}

}  // namespace qgdi::svg
