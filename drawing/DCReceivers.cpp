#include "drawing/DCReceivers.h"

#include <algorithm>

namespace qgdi::drawing {

bool CClipReceiver::AddScan(int x, int y, int coverage, int length) {
    if (y < m_clip.top || y >= m_clip.bottom) return true;
    const int x0 = std::max(x, int(m_clip.left)), x1 = std::min(x + length, int(m_clip.right));
    return x1 <= x0 || m_target->AddScan(x0, y, coverage, x1 - x0);
}

bool CClipReceiver::AddScanMask(int x, int y, const uint8_t* mask, int length) {
    if (y < m_clip.top || y >= m_clip.bottom) return true;
    const int x0 = std::max(x, int(m_clip.left)), x1 = std::min(x + length, int(m_clip.right));
    return x1 <= x0 || m_target->AddScanMask(x0, y, mask + (x0 - x), x1 - x0);
}

bool CMaskReceiver::Weigh(int x, int y, int length, const uint8_t* coverage, int constant) {
    if (length <= 0) return true;
    m_row.assign(size_t(length), 0);
    const int my = y - m_offset.y;
    const int mx0 = x - m_offset.x;
    if (my >= 0 && my < m_mask->GetHeight()) {
        const uint8_t* row = nullptr;
        if (!m_mask->GetRow(row, my).IsError() && row) {
            const int first = std::max(0, -mx0), last = std::min(length, m_mask->GetWidth() - mx0);
            // Both factors are 0..255; (a·b + 127) / 255 keeps 255·255 at 255.
            for (int i = first; i < last; ++i) {
                const int c = coverage ? coverage[i] : constant;
                m_row[size_t(i)] = uint8_t((c * row[mx0 + i] + 127) / 255);
            }
            m_mask->ReleaseRow(my).Ignore();
        }
    }
    return m_target->AddScanMask(x, y, m_row.data(), length);
}

bool CMaskReceiver::AddScan(int x, int y, int coverage, int length) { return Weigh(x, y, length, nullptr, coverage); }

bool CMaskReceiver::AddScanMask(int x, int y, const uint8_t* mask, int length) { return Weigh(x, y, length, mask, 0); }

bool CScaleReceiver::AddScan(int x, int y, int coverage, int length) {
    const int c = (coverage * m_k + 128) >> 8;
    return c == 0 || m_target->AddScan(x, y, c, length);
}

bool CScaleReceiver::AddScanMask(int x, int y, const uint8_t* mask, int length) {
    if (length <= 0) return true;
    m_row.resize(size_t(length));
    for (int i = 0; i < length; ++i) m_row[size_t(i)] = uint8_t((mask[i] * m_k + 128) >> 8);
    return m_target->AddScanMask(x, y, m_row.data(), length);
}

}  // namespace qgdi::drawing
