#include <cstdio>

#include "qgdi.h"
#include "tools/qgdi/commands.h"

namespace {
const char* ClassName(EQFormatClass c) {
    switch (c) {
    case keFormatClassCustom: return "custom";
    case keFormatClassNone: return "none";
    case keFormatClassIndexed: return "indexed";
    case keFormatClassGreyscale: return "grey";
    case keFormatClassRGB: return "RGB";
    default: return "?";
    }
}

char ChannelLetter(EQChannel c) { return c >= 0 && c <= 5 ? "BGRAYX"[c] : '-'; }

const char* FormatWord(EQPixelFormat f) {
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(f);
    return t ? t->shortName : "?";
}
}  // namespace

int QgdiCmdFormats(const std::vector<std::string>&) {
    std::printf("%4s  %-20s %4s %4s %-5s %-8s %-7s %-5s %-6s  %-9s %-9s %-9s %-9s %-9s\n", "id", "name", "bpp", "bpc",
                "chan", "type", "class", "alpha", "premul", "8-bit", "16-bit", "float", "flat", "with-A");
    for (int f = keFormatFirst; f <= keFormatLast; ++f) {
        CQPixelFormat pf(static_cast<EQPixelFormat>(f));
        int count = 0;
        EQChannel list[4];
        pf.GetChannels(count, list);
        char channels[5] = "-";
        for (int i = 0; i < count; ++i) channels[i] = ChannelLetter(list[i]);
        if (count) channels[count] = '\0';
        std::printf("%4d  %-20ls %4d %4d %-5s %-8s %-7s %-5s %-6s  %-9s %-9s %-9s %-9s %-9s\n", f,
                    pf.GetFormatAsString(), pf.GetBitsPerPixel(), pf.GetBitsPerChannel(), channels,
                    quor::GetName(pf.GetChannelType()), ClassName(pf.GetFormatClass()),
                    pf.IsAlphaChannelPresent() ? "yes" : "no", pf.IsAlphaPremultiplied() ? "yes" : "no",
                    FormatWord(pf.Get8bitFormat()), FormatWord(pf.Get16bitFormat()), FormatWord(pf.GetFloatFormat()),
                    FormatWord(pf.GetFlatFormat()), FormatWord(pf.GetNonFlatFormat()));
    }
    return 0;
}
