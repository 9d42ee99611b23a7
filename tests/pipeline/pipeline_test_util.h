#pragma once
// Helpers of the pipeline tests: images made from a function of (x, y,
// channel), their bytes read back, and a counting source stage.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "qgdi.h"

namespace qgdi::test {

using Bytes = std::vector<uint8_t>;

// Starts the library once for the whole program.
class CPipelineEnvironment : public ::testing::Environment {
public:
    void SetUp() override { ASSERT_FALSE(QGDI_SystemStartup().IsError()); }
};

inline int Bpp(EQPixelFormat f) { return CQPixelFormat(f).GetBitsPerPixel(); }

// Element c of pixel (x, y) is fn(x, y, c) in the format's own sample type
// (bytes for indexed and 8-bit formats).
inline std::unique_ptr<CRowIterator> MakeImage(int w, int h, EQPixelFormat f,
                                               const std::function<double(int, int, int)>& fn) {
    auto img = std::make_unique<CRowIterator>();
    if (img->Create(w, h, f).IsError()) return nullptr;
    const CQPixelFormat pf(f);
    const int channels = pf.IsIndexedColor() ? 1 : pf.GetChannelCount();
    const int bpc = pf.IsIndexedColor() ? 8 : pf.GetBitsPerChannel();
    for (int y = 0; y < h; ++y) {
        uint8_t* row = img->GetRow(y, 0, w);
        if (!row) return nullptr;
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < channels; ++c) {
                const double v = fn(x, y, c);
                const size_t i = static_cast<size_t>(x) * channels + c;
                if (bpc == 8) row[i] = static_cast<uint8_t>(v);
                else if (bpc == 16) reinterpret_cast<uint16_t*>(row)[i] = static_cast<uint16_t>(v);
                else reinterpret_cast<float*>(row)[i] = static_cast<float>(v);
            }
        img->ReleaseRow(y).Ignore();
    }
    return img;
}

// The rows of an image, packed one after another.
inline Bytes ImageBytes(const CRowIterator& img) {
    Bytes out;
    const size_t rowBytes = static_cast<size_t>(img.GetBytesPerRow());
    for (int y = 0; y < img.GetHeight(); ++y) {
        const uint8_t* row = img.GetRow(y, 0, img.GetWidth());
        if (!row) return {};
        out.insert(out.end(), row, row + rowBytes);
        img.ReleaseRow(y).Ignore();
    }
    return out;
}

// All rows a stage delivers through the copying GetNextRow.
inline Bytes PullAll(VSeqOp& op, int rows = -1) {
    const int w = op.GetWidth(), h = rows < 0 ? op.GetHeight() : rows;
    const size_t rowBytes = (static_cast<size_t>(Bpp(op.GetPixelFormat())) * w + 7) / 8;
    Bytes out(rowBytes * static_cast<size_t>(h));
    for (int y = 0; y < h; ++y)
        if (!op.GetNextRow(out.data() + rowBytes * y, 0, w)) return {};
    return out;
}

// A source of w x h Grey pixels whose row y holds y + x (mod 256); counts pulls.
class CCountingSource : public CSeqOp {
public:
    CCountingSource(int w, int h, EQPixelFormat f = keFormatGrey) : m_w(w), m_h(h), m_f(f) {}
    EQPixelFormat GetPixelFormat() const override { return m_f; }
    int32_t GetWidth() const override { return m_w; }
    int32_t GetHeight() const override { return m_h; }
    bool Reset() override {
        m_next = 0;
        ++resets;
        return CSeqOp::Reset();
    }
    using CSeqOp::GetNextRow;
    bool GetNextRow(void* dst, int x, int count) override {
        if (m_next >= m_h) return false;
        const int bytes = Bpp(m_f) / 8;
        auto* d = static_cast<uint8_t*>(dst);
        for (int i = 0; i < count * bytes; ++i) d[i] = static_cast<uint8_t>(m_next + x + i / bytes);
        ++m_next;
        ++pulls;
        return true;
    }
    int pulls = 0, resets = 0;

private:
    int m_w, m_h;
    EQPixelFormat m_f;
    int m_next = 0;
};

}  // namespace qgdi::test
