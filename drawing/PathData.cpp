#include "drawing/PathData.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <string>

namespace {

class CReader {
public:
    CReader(const char* s, size_t n) : m_s(s), m_n(n) {}

    void SkipSpace() {
        while (m_i < m_n &&
               (m_s[m_i] == ' ' || m_s[m_i] == '\t' || m_s[m_i] == '\n' || m_s[m_i] == '\r' || m_s[m_i] == '\f'))
            ++m_i;
    }
    void SkipSeparator() {
        SkipSpace();
        if (m_i < m_n && m_s[m_i] == ',') {
            ++m_i;
            SkipSpace();
        }
    }
    bool AtEnd() {
        SkipSpace();
        return m_i >= m_n;
    }
    char Peek() const { return m_i < m_n ? m_s[m_i] : '\0'; }
    void Advance() { ++m_i; }
    size_t Pos() const { return m_i; }
    bool AtNumber() {
        SkipSpace();
        const char c = Peek();
        return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.';
    }

    // The SVG number grammar, scanned by hand: strtod would accept hex,
    // "inf" and locale-dependent forms.
    bool Number(double& v) {
        SkipSpace();
        const size_t start = m_i;
        size_t i = m_i;
        if (i < m_n && (m_s[i] == '+' || m_s[i] == '-')) ++i;
        size_t digits = 0;
        while (i < m_n && std::isdigit(static_cast<unsigned char>(m_s[i]))) ++i, ++digits;
        if (i < m_n && m_s[i] == '.') {
            ++i;
            while (i < m_n && std::isdigit(static_cast<unsigned char>(m_s[i]))) ++i, ++digits;
        }
        if (!digits) return false;
        if (i < m_n && (m_s[i] == 'e' || m_s[i] == 'E')) {
            size_t j = i + 1;
            if (j < m_n && (m_s[j] == '+' || m_s[j] == '-')) ++j;
            if (j < m_n && std::isdigit(static_cast<unsigned char>(m_s[j]))) {
                while (j < m_n && std::isdigit(static_cast<unsigned char>(m_s[j]))) ++j;
                i = j;
            }
        }
        const std::string text(m_s + start, i - start);
        v = std::strtod(text.c_str(), nullptr);
        if (!std::isfinite(v)) return false;
        m_i = i;
        SkipSeparator();
        return true;
    }
    bool Flag(bool& f) {
        SkipSpace();
        if (m_i >= m_n || (m_s[m_i] != '0' && m_s[m_i] != '1')) return false;
        f = m_s[m_i++] == '1';
        SkipSeparator();
        return true;
    }

private:
    const char* m_s;
    size_t m_n;
    size_t m_i = 0;
};

}  // namespace

bool QGDI_PathDataParse(const char* text, size_t length, VPathReceiver* r, size_t* errorOffset) {
    if (errorOffset) *errorOffset = 0;
    if (!r || (!text && length)) return false;
    CReader in(text, length);
    SQPOINT cur{0, 0}, start{0, 0}, lastCtrl{0, 0};
    char prev = 0, cmd = 0;
    bool closed = false, any = false;
    size_t cmdStart = 0;
    auto fail = [&]() {
        if (errorOffset) *errorOffset = cmdStart;
        return false;
    };
    while (!in.AtEnd()) {
        cmdStart = in.Pos();
        const char c = in.Peek();
        if (std::isalpha(static_cast<unsigned char>(c))) {
            cmd = c;
            in.Advance();
        } else if (!cmd || !in.AtNumber() || cmd == 'z' || cmd == 'Z') {
            return fail();
        } else if (cmd == 'm') {
            cmd = 'l';  // extra pairs after a move are lines
        } else if (cmd == 'M') {
            cmd = 'L';
        }
        if (!any && cmd != 'M' && cmd != 'm') return fail();
        any = true;
        const bool rel = std::islower(static_cast<unsigned char>(cmd)) != 0;
        const char up = char(std::toupper(static_cast<unsigned char>(cmd)));
        if (closed && up != 'M' && up != 'Z') {
            if (!r->MoveTo(start, nullptr)) return fail();
        }
        closed = false;
        auto pt = [&](SQPOINT& p) {
            if (!in.Number(p.x) || !in.Number(p.y)) return false;
            if (rel) {
                p.x += cur.x;
                p.y += cur.y;
            }
            return true;
        };
        const char prevUp = char(std::toupper(static_cast<unsigned char>(prev)));
        bool ok = true;
        switch (up) {
        case 'M': {
            SQPOINT p;
            if (!pt(p)) return fail();
            ok = r->MoveTo(p, nullptr);
            cur = start = lastCtrl = p;
            break;
        }
        case 'L': {
            SQPOINT p;
            if (!pt(p)) return fail();
            ok = r->LineTo(p, nullptr);
            cur = lastCtrl = p;
            break;
        }
        case 'H':
        case 'V': {
            double v;
            if (!in.Number(v)) return fail();
            SQPOINT p = cur;
            if (up == 'H') p.x = rel ? cur.x + v : v;
            else p.y = rel ? cur.y + v : v;
            ok = r->LineTo(p, nullptr);
            cur = lastCtrl = p;
            break;
        }
        case 'C':
        case 'S': {
            SQPOINT c1, c2, p;
            if (up == 'C') {
                if (!pt(c1)) return fail();
            } else {
                c1 = (prevUp == 'C' || prevUp == 'S') ? SQPOINT{2 * cur.x - lastCtrl.x, 2 * cur.y - lastCtrl.y} : cur;
            }
            if (!pt(c2) || !pt(p)) return fail();
            ok = r->CubicCurveTo(c1, c2, p, nullptr);
            lastCtrl = c2;
            cur = p;
            break;
        }
        case 'Q':
        case 'T': {
            SQPOINT c1, p;
            if (up == 'Q') {
                if (!pt(c1)) return fail();
            } else {
                c1 = (prevUp == 'Q' || prevUp == 'T') ? SQPOINT{2 * cur.x - lastCtrl.x, 2 * cur.y - lastCtrl.y} : cur;
            }
            if (!pt(p)) return fail();
            ok = r->QuadraticCurveTo(c1, p, nullptr);
            lastCtrl = c1;
            cur = p;
            break;
        }
        case 'A': {
            double rx, ry, rot;
            bool large, sweep;
            SQPOINT p;
            if (!in.Number(rx) || !in.Number(ry) || !in.Number(rot) || !in.Flag(large) || !in.Flag(sweep) || !pt(p))
                return fail();
            if (rx < 0.0 || ry < 0.0) return fail();
            if (p.x == cur.x && p.y == cur.y) {
                // Coincident end points: the arc is left out.
            } else if (!(std::fabs(rx * ry) >= 1e-6)) {
                ok = r->LineTo(p, nullptr);
            } else {
                ok = r->ArcTo(SQPOINT{rx, ry}, rot, large, sweep, p, nullptr);
            }
            cur = lastCtrl = p;
            break;
        }
        case 'Z':
            ok = r->ClosePath(nullptr);
            cur = lastCtrl = start;
            closed = true;
            break;
        default: return fail();
        }
        if (!ok) return fail();
        prev = cmd;
    }
    if (errorOffset) *errorOffset = length;
    return true;
}
