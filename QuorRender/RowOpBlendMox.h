#pragma once
// Layer blend modes: a source row composited onto a destination row in one of
// the editor's modes, with an opacity, optional blend ranges (coverage taken
// from the channel values of both layers) and straight alpha.
#include <cstdint>

#include "QuorRender/RowOp.h"

// The blend modes. Values are stored in documents: never renumber them.
enum EQBlendMoxMode : int32_t {
    keBlendMoxNormal = 0,
    keBlendMoxDarken = 1,
    keBlendMoxLighten = 2,
    keBlendMoxHue = 3,         // hue of the source, chroma and luma of the destination
    keBlendMoxSaturation = 4,  // chroma of the source
    keBlendMoxColor = 5,       // hue and chroma of the source
    keBlendMoxLuminosity = 6,  // luma of the source
    keBlendMoxMultiply = 7,
    keBlendMoxScreen = 8,
    keBlendMoxDissolve = 9,  // the source shows where a fixed noise pattern lies below its coverage
    keBlendMoxOverlay = 10,
    keBlendMoxHardLight = 11,
    keBlendMoxSoftLight = 12,
    keBlendMoxDifference = 13,
    keBlendMoxDodge = 14,
    keBlendMoxBurn = 15,
    keBlendMoxExclusion = 16,
    keBlendMoxHSLHue = 17,  // the same four in hue, saturation and lightness
    keBlendMoxHSLSaturation = 18,
    keBlendMoxHSLColor = 19,
    keBlendMoxHSLLuminosity = 20,
    keBlendMoxLinearLight = 21,  // d + 2s - 1: burns below mid grey, dodges above, linearly
    keBlendMoxVividLight = 22,   // burn by 2s below mid grey, dodge by 2s - 1 above
    keBlendMoxPinLight = 23,     // darken with 2s below mid grey, lighten with 2s - 1 above
    keBlendMoxHardMix = 253,     // white where d + s reaches full scale, else black
    keBlendMoxBehind = 254,      // the source shows only where the destination is transparent
};

// Name of a mode ("multiply", "hard-light", ...), or null for a value without one.
QGDI_API const char* QGDI_GetBlendMoxModeName(int mode) noexcept;
// The mode of a name given by QGDI_GetBlendMoxModeName; false for an unknown name.
QGDI_API bool QGDI_FindBlendMoxMode(const char* name, EQBlendMoxMode& mode) noexcept;
// Every mode with a kernel, in the order users meet them in a mode menu.
QGDI_API const EQBlendMoxMode* QGDI_GetBlendMoxModes(int& count) noexcept;

// Blend ranges: coverage of a pixel taken from tables of its channel values,
// the source's and the destination's. Active when nCount is at least 1.
struct SBlendRanges {
    int32_t nCount;
    uint8_t bSkipSrcGrey;  // set: the source grey table is not consulted
    uint8_t reserved1[4];
    uint8_t bSkipDstGrey;  // set: the destination grey table is not consulted
    uint8_t reserved2[4];
    uint8_t srcGrey[256];
    uint8_t srcRed[256];
    uint8_t srcGreen[256];
    uint8_t srcBlue[256];
    uint8_t unused[256];
    uint8_t dstGrey[256];
    uint8_t dstRed[256];
    uint8_t dstGreen[256];
    uint8_t dstBlue[256];
};

// f(d, s, k) of a separable mode on one 8-bit channel, already mixed with the
// destination by the coverage k.
using QBlendChannelFn = uint8_t (*)(uint32_t d, uint32_t s, uint32_t k);

// The channel function of a separable mode (1, 2, 7, 8, 10 to 16, 21 to 23,
// 253), or null.
QGDI_API QBlendChannelFn QGDI_GetBlendChannelFunction(int mode) noexcept;

QGDI_API const SRowOpDictEntry* GetRowBlendMoxDict() noexcept;

// Pairs without a kernel of their own (premultiplied, float, mixed classes)
// bind to the no-op; SetAllowConversion(true) serves them through BGRA.
class QGDI_API CRowOpDefRowBlendMox : public CRowOpDef {
public:
    CRowOpDefRowBlendMox() noexcept;
    explicit CRowOpDefRowBlendMox(EQBlendMoxMode mode, uint32_t opacity = 255) noexcept;
    CRowOpDefRowBlendMox(const CRowOpDefRowBlendMox& other);
    CRowOpDefRowBlendMox& operator=(const CRowOpDefRowBlendMox& other);
    ~CRowOpDefRowBlendMox() override;

    // Back to normal mode, full opacity, no blend ranges, alpha written.
    void Clear() noexcept;
    CRowOpDef* Copy() const override;
    // Chooses the kernel: the special modes take their own; the others store
    // their channel function and go through Find.
    bool Attach(CRowOp& op, const CRowOpData& data, EQCPURequest request, bool report) const override;
    void Detach(CRowOp& op) const override;
    QRowOpFn Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const override;
    // Find, and the special modes that Attach reaches on its own, so that
    // rows of other formats reach them too through an intermediate format.
    QRowOpFn FindForBinding(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const override;
    // The coverage in the destination's scale and the blend ranges widened
    // for the kernels' table reads, once per binding.
    std::shared_ptr<const CRowOpPrepared> Prepare(EQPixelFormat dst, EQPixelFormat src) const override;

    EQBlendMoxMode GetMode() const noexcept { return m_eMode; }
    void SetMode(EQBlendMoxMode mode) noexcept;
    uint32_t GetOpacity() const noexcept { return m_nOpacity; }
    void SetOpacity(uint32_t opacity) noexcept { m_nOpacity = opacity > 255 ? 255 : opacity; }
    // The record is copied; null removes the blend ranges.
    void SetBlendRanges(const SBlendRanges* ranges);
    const SBlendRanges* GetBlendRanges() const noexcept { return m_pBlendRanges; }
    bool HasActiveBlendRanges() const noexcept { return m_pBlendRanges && m_pBlendRanges->nCount >= 1; }
    // Set: the destination's alpha is read but never written.
    void SetPreserveDstAlpha(bool preserve) noexcept { m_bPreserveDstAlpha = preserve ? 1 : 0; }
    bool GetPreserveDstAlpha() const noexcept { return m_bPreserveDstAlpha != 0; }
    QBlendChannelFn GetChannelFunction() const noexcept { return m_pfnChannel; }

protected:
    // For kinds that reuse the blend machinery under another kind value.
    CRowOpDefRowBlendMox(EQRowOpType kind, EQBlendMoxMode mode) noexcept;

private:
    EQBlendMoxMode m_eMode;
    uint32_t m_nOpacity;
    SBlendRanges* m_pBlendRanges;  // owned copy, or null
    uint16_t m_bPreserveDstAlpha;
    // Chosen at binding from the mode; binding may run on several threads, so
    // it is written only when it changes (which SetMode already did).
    mutable QBlendChannelFn m_pfnChannel;
};
