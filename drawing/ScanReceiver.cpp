#include "drawing/ScanReceiver.h"

VScanReceiver::~VScanReceiver() = default;

bool VScanReceiver::AddScanRect(int x, int y, int width, int height, int coverage) {
    for (int row = y; row < y + height; ++row)
        if (!AddScan(x, row, coverage, width)) return false;
    return true;
}

bool VScanReceiver::AddScanMask(int x, int y, const uint8_t* mask, int length) {
    int i = 0;
    while (i < length) {
        const uint8_t c = mask[i];
        int j = i + 1;
        while (j < length && mask[j] == c) ++j;
        if (c != 0 && !AddScan(x + i, y, c, j - i)) return false;
        i = j;
    }
    return true;
}
