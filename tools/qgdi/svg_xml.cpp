#include "tools/qgdi/svg_xml.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace qgdi::svg {
namespace {

constexpr int kMaxDepth = 256;

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool IsNameChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
           c == '.' || c == ':' || (static_cast<unsigned char>(c) >= 0x80);
}

void AppendUtf8(std::string& out, unsigned long cp) {
    if (cp == 0 || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) cp = 0xFFFD;
    if (cp < 0x80) {
        out += char(cp);
    } else if (cp < 0x800) {
        out += char(0xC0 | (cp >> 6));
        out += char(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += char(0xE0 | (cp >> 12));
        out += char(0x80 | ((cp >> 6) & 0x3F));
        out += char(0x80 | (cp & 0x3F));
    } else {
        out += char(0xF0 | (cp >> 18));
        out += char(0x80 | ((cp >> 12) & 0x3F));
        out += char(0x80 | ((cp >> 6) & 0x3F));
        out += char(0x80 | (cp & 0x3F));
    }
}

class CReader {
public:
    CReader(const char* d, size_t n) : m_d(d), m_n(n) {}

    bool Document(SXmlNode& root, std::string& error, size_t& offset) {
        bool ok = true;
        bool haveRoot = false;
        while (ok) {
            SkipSpace();
            if (m_p >= m_n) break;
            if (Starts("<?")) ok = SkipPast("?>");
            else if (Starts("<!--")) ok = SkipPast("-->");
            else if (Starts("<!DOCTYPE") || Starts("<!doctype")) ok = SkipDoctype();
            else if (Peek() == '<' && !haveRoot) {
                ok = Element(root, 0);
                haveRoot = true;
            } else if (haveRoot) {
                break;  // what follows the root element is ignored
            } else {
                ok = Fail("text before the root element");
            }
        }
        if (ok && !haveRoot) ok = Fail("no element");
        error = m_error;
        offset = m_errorAt;
        return ok;
    }

private:
    char Peek() const { return m_p < m_n ? m_d[m_p] : '\0'; }
    bool Starts(const char* s) const {
        const size_t k = std::strlen(s);
        return m_n - m_p >= k && std::memcmp(m_d + m_p, s, k) == 0;
    }
    void SkipSpace() {
        while (m_p < m_n && IsSpace(m_d[m_p])) ++m_p;
    }
    bool Fail(const char* why) {
        if (m_error.empty()) {
            m_error = why;
            m_errorAt = m_p;
        }
        return false;
    }
    bool SkipPast(const char* end) {
        const size_t k = std::strlen(end);
        for (; m_p + k <= m_n; ++m_p)
            if (std::memcmp(m_d + m_p, end, k) == 0) {
                m_p += k;
                return true;
            }
        m_p = m_n;
        return Fail("unterminated markup");
    }
    bool SkipDoctype() {
        int bracket = 0;
        for (; m_p < m_n; ++m_p) {
            const char c = m_d[m_p];
            if (c == '[') ++bracket;
            else if (c == ']') --bracket;
            else if (c == '>' && bracket <= 0) {
                ++m_p;
                return true;
            }
        }
        return Fail("unterminated document type");
    }
    bool Name(std::string& out) {
        const size_t start = m_p;
        while (m_p < m_n && IsNameChar(m_d[m_p])) ++m_p;
        if (m_p == start) return Fail("name expected");
        out.assign(m_d + start, m_p - start);
        return true;
    }
    // Character data up to `stop` with entities resolved.
    bool Text(char stop, std::string& out) {
        while (m_p < m_n && m_d[m_p] != stop) {
            if (stop == '<' && Starts("<![CDATA[")) break;
            const char c = m_d[m_p];
            if (c != '&') {
                out += c;
                ++m_p;
                continue;
            }
            const size_t semi = std::string_view(m_d + m_p, std::min<size_t>(m_n - m_p, 12)).find(';');
            if (semi == std::string_view::npos) {
                out += c;  // a lone ampersand, kept as browsers keep it
                ++m_p;
                continue;
            }
            const std::string_view e(m_d + m_p + 1, semi - 1);
            if (e == "lt") out += '<';
            else if (e == "gt") out += '>';
            else if (e == "amp") out += '&';
            else if (e == "quot") out += '"';
            else if (e == "apos") out += '\'';
            else if (e.size() > 1 && e[0] == '#') {
                unsigned long cp = 0;
                const bool hex = e[1] == 'x' || e[1] == 'X';
                for (size_t i = hex ? 2 : 1; i < e.size(); ++i) {
                    const char d = e[i];
                    const int v = d >= '0' && d <= '9' ? d - '0'
                                  : hex && d >= 'a' && d <= 'f' ? d - 'a' + 10
                                  : hex && d >= 'A' && d <= 'F' ? d - 'A' + 10
                                                                : -1;
                    if (v < 0 || cp > 0x10FFFF) {
                        cp = 0xFFFD;
                        break;
                    }
                    cp = cp * (hex ? 16 : 10) + unsigned(v);
                }
                AppendUtf8(out, cp);
            } else {
                out.append(m_d + m_p, semi + 1);  // unknown entity: kept as written
            }
            m_p += semi + 1;
        }
        return true;
    }
    bool Element(SXmlNode& node, int depth) {
        if (depth > kMaxDepth) return Fail("elements nested too deeply");
        ++m_p;  // '<'
        std::string name;
        if (!Name(name)) return false;
        const size_t colon = name.rfind(':');
        node.name = colon == std::string::npos ? name : name.substr(colon + 1);
        for (;;) {
            SkipSpace();
            if (m_p >= m_n) return Fail("unterminated tag");
            if (Starts("/>")) {
                m_p += 2;
                return true;
            }
            if (Peek() == '>') {
                ++m_p;
                break;
            }
            std::string key, value;
            if (!Name(key)) return false;
            SkipSpace();
            if (Peek() != '=') return Fail("'=' expected after an attribute name");
            ++m_p;
            SkipSpace();
            const char q = Peek();
            if (q != '"' && q != '\'') return Fail("quoted attribute value expected");
            ++m_p;
            Text(q, value);
            if (m_p >= m_n) return Fail("unterminated attribute value");
            ++m_p;
            node.attributes.emplace_back(std::move(key), std::move(value));
        }
        for (;;) {
            Text('<', node.text);
            if (m_p >= m_n) return Fail("unterminated element");
            if (Starts("<![CDATA[")) {
                const size_t start = m_p + 9;
                m_p = start;
                if (!SkipPast("]]>")) return false;
                node.text.append(m_d + start, m_p - 3 - start);
            } else if (Starts("<!--")) {
                if (!SkipPast("-->")) return false;
            } else if (Starts("<?")) {
                if (!SkipPast("?>")) return false;
            } else if (Starts("</")) {
                m_p += 2;
                std::string end;
                if (!Name(end)) return false;
                if (end != name) return Fail("end tag does not match");
                SkipSpace();
                if (Peek() != '>') return Fail("'>' expected");
                ++m_p;
                return true;
            } else {
                node.children.push_back(std::make_unique<SXmlNode>());
                if (!Element(*node.children.back(), depth + 1)) return false;
            }
        }
    }

    const char* m_d;
    size_t m_n;
    size_t m_p = 0;
    std::string m_error;
    size_t m_errorAt = 0;
};

}  // namespace

const std::string* SXmlNode::Attr(const char* key) const {
    for (const auto& [k, v] : attributes)
        if (k == key || (std::strcmp(key, "href") == 0 && k == "xlink:href")) return &v;
    return nullptr;
}

bool ParseXml(const char* data, size_t size, SXmlNode& root, std::string& error, size_t& offset) {
    root = SXmlNode{};
    if (!data) size = 0;
    CReader reader(data ? data : "", size);
    return reader.Document(root, error, offset);
}

}  // namespace qgdi::svg
