#include <cstdio>
#include <cstdlib>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"

namespace {

std::wstring WidePath(const std::string& path) {
    // Paths reach the library as wide strings; the tool's arguments are UTF-8.
    std::wstring out;
    for (size_t i = 0; i < path.size();) {
        const unsigned char c = static_cast<unsigned char>(path[i]);
        const int extra = c < 0x80 ? 0 : c < 0xE0 ? 1 : c < 0xF0 ? 2 : 3;
        uint32_t v = extra == 0 ? c : extra == 1 ? c & 0x1F : extra == 2 ? c & 0x0F : c & 0x07;
        for (int k = 1; k <= extra && i + size_t(k) < path.size(); ++k) v = v << 6 | (path[i + size_t(k)] & 0x3F);
        out += static_cast<wchar_t>(v);
        i += size_t(extra) + 1;
    }
    return out;
}

bool EndsWith(const std::string& s, const std::string& tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

int Usage() {
    std::fprintf(stderr,
                 "usage: qgdi palette show FILE\n"
                 "       qgdi palette save FILE (--builtin vga16|netscape|quick8|grey | --image IN [--colors 16|256])"
                 " [--text|--riff]\n"
                 "       (FILE ending in .pal is written as RIFF unless --text is given)\n");
    return 2;
}

}  // namespace

int QgdiCmdPalette(const std::vector<std::string>& args) {
    if (args.size() < 2) return Usage();
    const std::string& verb = args[0];
    const std::string& file = args[1];
    if (verb == "show") {
        if (args.size() != 2) return Usage();
        CQPalette palette;
        const CErrorAutoThrow r = palette.Load(WidePath(file).c_str());
        if (r.IsError()) {
            std::fprintf(stderr, "qgdi palette: cannot read %s: error %d\n", file.c_str(), int(r.Ignore()));
            return 1;
        }
        std::printf("%s: %d entries\n", file.c_str(), palette.GetCount());
        for (int i = 0; i < palette.GetCount(); ++i) {
            const RGBQUAD e = palette.GetEntry(i);
            std::printf("%3d  %3d %3d %3d  #%02X%02X%02X\n", i, e.rgbRed, e.rgbGreen, e.rgbBlue, e.rgbRed, e.rgbGreen,
                        e.rgbBlue);
        }
        return 0;
    }
    if (verb != "save") return Usage();
    std::string builtin, imagePath;
    int colours = 256;
    bool riff = EndsWith(file, ".pal");
    for (size_t i = 2; i < args.size(); ++i) {
        if (args[i] == "--builtin" && i + 1 < args.size()) builtin = args[++i];
        else if (args[i] == "--image" && i + 1 < args.size()) imagePath = args[++i];
        else if (args[i] == "--colors" && i + 1 < args.size()) colours = std::atoi(args[++i].c_str());
        else if (args[i] == "--text") riff = false;
        else if (args[i] == "--riff") riff = true;
        else return Usage();
    }
    if (builtin.empty() == imagePath.empty() || (colours != 16 && colours != 256)) return Usage();
    CQPalette palette;
    if (!builtin.empty()) {
        const RGBQUAD* table = nullptr;
        int n = 0;
        if (builtin == "vga16") table = QPalette_PaletteGetVGA16(&n);
        else if (builtin == "netscape") table = QPalette_PaletteGetNetscape(&n);
        else if (builtin == "quick8") table = QPalette_PaletteGetQuick8(&n);
        else if (builtin == "grey") table = QPalette_PaletteGetGreyscale(&n);
        else return Usage();
        palette.SetEntries(table, n).Ignore();
    } else {
        std::string error;
        const std::unique_ptr<CRowIterator> image = QgdiReadImage(imagePath, error);
        if (!image) {
            std::fprintf(stderr, "qgdi palette: %s\n", error.c_str());
            return 1;
        }
        if (MakeCPalFromDIB(*image, palette, colours).IsError()) {
            std::fprintf(stderr, "qgdi palette: cannot reduce %s\n", imagePath.c_str());
            return 1;
        }
        // The files hold 16 or 256 entries: an image of fewer colours is padded with black.
        palette.SetCount(colours).Ignore();
    }
    const CErrorAutoThrow r = palette.Save(WidePath(file).c_str(), riff ? CQPalette::keFileRiff : CQPalette::keFileText);
    if (r.IsError()) {
        std::fprintf(stderr, "qgdi palette: cannot write %s: error %d\n", file.c_str(), int(r.Ignore()));
        return 1;
    }
    std::printf("%s: %d entries, %s\n", file.c_str(), palette.GetCount(), riff ? "RIFF PAL" : "text");
    return 0;
}
