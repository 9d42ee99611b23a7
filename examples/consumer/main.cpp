#include <cstdio>

#include <qgdi.h>

int main() {
    CQPixelFormat format(keFormatBGRA_u16);
    std::printf("%ls: %d bits per pixel\n", format.GetFormatAsString(), format.GetBitsPerPixel());
    CStatusControl status;
    return status.SetProgress(50) ? 1 : 0;
}
