#pragma once
// Per-pixel colour functors for the row-operation engine. Three-channel pixels
// are in memory order blue, green, red; Lab pixels in order L, a, b. Inputs are
// divided by 255 (8-bit) or 65535 (16-bit); outputs are multiplied by 255.9999
// or 65535.9999, truncated and clamped. Each functor keeps its own copy of the
// colour spec and may be used from several threads at once.
//
// QGDI_ApplyUserFunctor8/16 run any functor along a row; steps are in channels
// per pixel, so BGRA rows (step 4) work too and keep their fourth channel. The
// table-driven 8-bit classes (grey, lightness and Lab) also have Row(), the
// same without a virtual call per pixel. Their tables are built at
// construction and give exactly the bytes of the double-precision conversion.
#include <cstdint>
#include <memory>

#include "colour/ColorSpec.h"

class QGDI_API VUserFunctor8 {
public:
    virtual ~VUserFunctor8();
    virtual void operator()(const uint8_t* src, uint8_t* dst) const = 0;
};

class QGDI_API VUserFunctor16 {
public:
    virtual ~VUserFunctor16();
    virtual void operator()(const uint16_t* src, uint16_t* dst) const = 0;
};

QGDI_API void QGDI_ApplyUserFunctor8(const VUserFunctor8& functor, const uint8_t* src, uint8_t* dst, int count,
                                     int srcStep, int dstStep);
QGDI_API void QGDI_ApplyUserFunctor16(const VUserFunctor16& functor, const uint16_t* src, uint16_t* dst, int count,
                                      int srcStep, int dstStep);

struct SFunctorTables8;

// Three channels in, one out: g = YtoD(wR DtoY(R) + wG DtoY(G) + wB DtoY(B)) with
// w the Y row of the spec.
class QGDI_API RGBtoGrey8 : public VUserFunctor8 {
public:
    explicit RGBtoGrey8(const SColorSpecRGB& spec);
    ~RGBtoGrey8() override;
    void operator()(const uint8_t* src, uint8_t* dst) const override;
    void Row(const uint8_t* src, uint8_t* dst, int count, int srcStep = 3, int dstStep = 1) const;

private:
    SColorSpecRGB m_spec;
    std::shared_ptr<const SFunctorTables8> m_tables;
};

// Three channels in, one out: YtoL of the same weighted linear sum.
class QGDI_API RGBtoL8 : public VUserFunctor8 {
public:
    explicit RGBtoL8(const SColorSpecRGB& spec);
    ~RGBtoL8() override;
    void operator()(const uint8_t* src, uint8_t* dst) const override;
    void Row(const uint8_t* src, uint8_t* dst, int count, int srcStep = 3, int dstStep = 1) const;

private:
    SColorSpecRGB m_spec;
    std::shared_ptr<const SFunctorTables8> m_tables;
};

// One channel in, one out: YtoL(DtoY(g)).
class QGDI_API GreyToL8 : public VUserFunctor8 {
public:
    explicit GreyToL8(const SColorSpecRGB& spec);
    ~GreyToL8() override;
    void operator()(const uint8_t* src, uint8_t* dst) const override;
    void Row(const uint8_t* src, uint8_t* dst, int count, int srcStep = 1, int dstStep = 1) const;

private:
    SColorSpecRGB m_spec;
    uint8_t m_table[256];
};

// Device RGB to packed Lab (EncodeLab); bL100: the L byte spans 0..100.
class QGDI_API CRGBDtoLab8 : public VUserFunctor8 {
public:
    CRGBDtoLab8(const SColorSpecRGB& spec, bool bL100);
    ~CRGBDtoLab8() override;
    void operator()(const uint8_t* src, uint8_t* dst) const override;
    void Row(const uint8_t* src, uint8_t* dst, int count, int srcStep = 3, int dstStep = 3) const;

private:
    SColorSpecRGB m_spec;
    bool m_bL100;
    std::shared_ptr<const SFunctorTables8> m_tables;
};

// Packed Lab (DecodeLab) to device RGB.
class QGDI_API CLabtoRGBD8 : public VUserFunctor8 {
public:
    CLabtoRGBD8(const SColorSpecRGB& spec, bool bL100);
    ~CLabtoRGBD8() override;
    void operator()(const uint8_t* src, uint8_t* dst) const override;
    void Row(const uint8_t* src, uint8_t* dst, int count, int srcStep = 3, int dstStep = 3) const;

private:
    SColorSpecRGB m_spec;
    bool m_bL100;
    std::shared_ptr<const SFunctorTables8> m_tables;
};

// Relative saturation raised (amount > 0) or lowered (amount < 0, -100 removes
// it) in the highlights or in the shadows; amount in -100..100, 0 is the identity.
class QGDI_API CRGBSetRelHighlightSaturation8 : public VUserFunctor8 {
public:
    CRGBSetRelHighlightSaturation8(const SColorSpecRGB& spec, double amount);
    void operator()(const uint8_t* src, uint8_t* dst) const override;

private:
    SColorSpecRGB m_spec;
    double m_amount;
};

class QGDI_API CRGBSetRelShadowSaturation8 : public VUserFunctor8 {
public:
    CRGBSetRelShadowSaturation8(const SColorSpecRGB& spec, double amount);
    void operator()(const uint8_t* src, uint8_t* dst) const override;

private:
    SColorSpecRGB m_spec;
    double m_amount;
};

// The 16-bit forms compute in double precision per pixel.
class QGDI_API RGBtoGrey16 : public VUserFunctor16 {
public:
    explicit RGBtoGrey16(const SColorSpecRGB& spec) : m_spec(spec) {}
    void operator()(const uint16_t* src, uint16_t* dst) const override;

private:
    SColorSpecRGB m_spec;
};

class QGDI_API RGBtoL16 : public VUserFunctor16 {
public:
    explicit RGBtoL16(const SColorSpecRGB& spec) : m_spec(spec) {}
    void operator()(const uint16_t* src, uint16_t* dst) const override;

private:
    SColorSpecRGB m_spec;
};

class QGDI_API GreyToL16 : public VUserFunctor16 {
public:
    explicit GreyToL16(const SColorSpecRGB& spec) : m_spec(spec) {}
    void operator()(const uint16_t* src, uint16_t* dst) const override;

private:
    SColorSpecRGB m_spec;
};

class QGDI_API CRGBDtoLab16 : public VUserFunctor16 {
public:
    CRGBDtoLab16(const SColorSpecRGB& spec, bool bL100) : m_spec(spec), m_bL100(bL100) {}
    void operator()(const uint16_t* src, uint16_t* dst) const override;

private:
    SColorSpecRGB m_spec;
    bool m_bL100;
};

class QGDI_API CLabtoRGBD16 : public VUserFunctor16 {
public:
    CLabtoRGBD16(const SColorSpecRGB& spec, bool bL100) : m_spec(spec), m_bL100(bL100) {}
    void operator()(const uint16_t* src, uint16_t* dst) const override;

private:
    SColorSpecRGB m_spec;
    bool m_bL100;
};

class QGDI_API CRGBSetRelHighlightSaturation16 : public VUserFunctor16 {
public:
    CRGBSetRelHighlightSaturation16(const SColorSpecRGB& spec, double amount) : m_spec(spec), m_amount(amount) {}
    void operator()(const uint16_t* src, uint16_t* dst) const override;

private:
    SColorSpecRGB m_spec;
    double m_amount;
};

class QGDI_API CRGBSetRelShadowSaturation16 : public VUserFunctor16 {
public:
    CRGBSetRelShadowSaturation16(const SColorSpecRGB& spec, double amount) : m_spec(spec), m_amount(amount) {}
    void operator()(const uint16_t* src, uint16_t* dst) const override;

private:
    SColorSpecRGB m_spec;
    double m_amount;
};
