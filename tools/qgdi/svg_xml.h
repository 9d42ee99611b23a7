#pragma once
// A small XML reader for drawings: elements, attributes, character data,
// entities; comments, processing instructions and the document type are
// skipped. Enough for SVG files, and bounded in depth for hostile input.
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qgdi::svg {

struct SXmlNode {
    std::string name;  // without a namespace prefix ("svg:path" is "path")
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<std::unique_ptr<SXmlNode>> children;
    std::string text;  // character data directly inside, entities resolved
    // Null when absent; "xlink:href" and "href" are both looked up as "href".
    const std::string* Attr(const char* name) const;
};

// False with a message and the byte offset of the fault for malformed
// input; the elements read before the fault are kept in `root`.
bool ParseXml(const char* data, size_t size, SXmlNode& root, std::string& error, size_t& offset);

}  // namespace qgdi::svg
