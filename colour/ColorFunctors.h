#pragma once
// Per-pixel colour functors for the row-operation engine. Three-channel pixels
// are in memory order blue, green, red; Lab pixels in order L, a, b. Inputs are
// divided by 255 (8-bit) or 65535 (16-bit); outputs are multiplied by 255.9999
// or 65535.9999, truncated and clamped. Each functor keeps its own copy of the
// colour space and may be used from several threads at once.
//
// QGDI_ApplyUserFunctor8/16 run any functor along a row; steps are in channels
// per pixel, so BGRA rows (step 4) work too and keep their fourth channel. The
// table-driven 8-bit classes (grey, lightness and Lab) also have Row(), the
// same without a virtual call per pixel. Their tables are built at
// construction and give exactly the bytes of the double-precision conversion.
#include <cstdint>
#include <memory>

#include "colour/ColourSpaceRGB.h"

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

// Holds the colour space, and for most functors one extra value, for the functors
// that compute per pixel in double precision.
template <class Base>
class TSpecFunctor : public Base {
public:
    explicit TSpecFunctor(const SColorSpecRGB& cs) : m_spec(cs) {}

protected:
    SColorSpecRGB m_spec;
};

template <class Base, class Extra>
class TSpecFunctorWith : public TSpecFunctor<Base> {
public:
    TSpecFunctorWith(const SColorSpecRGB& cs, Extra extra) : TSpecFunctor<Base>(cs), m_extra(extra) {}

protected:
    Extra m_extra;
};

struct SFunctorTables8;

// The table-driven 8-bit functors: their tables are built by the constructor
// and shared, read-only, between copies.
class QGDI_API CTableFunctor8 : public TSpecFunctor<VUserFunctor8> {
protected:
    CTableFunctor8(const SColorSpecRGB& cs, bool bL100, std::shared_ptr<const SFunctorTables8> tables)
        : TSpecFunctor(cs), m_bL100(bL100), m_tables(std::move(tables)) {}

    bool m_bL100;
    std::shared_ptr<const SFunctorTables8> m_tables;
};

// Three channels in, one out: g = YtoD(wR DtoY(R) + wG DtoY(G) + wB DtoY(B)) with
// w the Y row of the colour space's matrix.
class QGDI_API RGBtoGrey8 : public CTableFunctor8 {
public:
    explicit RGBtoGrey8(const SColorSpecRGB& cs);
    void operator()(const uint8_t* src, uint8_t* dst) const override;
    void Row(const uint8_t* src, uint8_t* dst, int count, int srcStep = 3, int dstStep = 1) const;
};

// Three channels in, one out: YtoL of the same weighted linear sum.
class QGDI_API RGBtoL8 : public CTableFunctor8 {
public:
    explicit RGBtoL8(const SColorSpecRGB& cs);
    void operator()(const uint8_t* src, uint8_t* dst) const override;
    void Row(const uint8_t* src, uint8_t* dst, int count, int srcStep = 3, int dstStep = 1) const;
};

// Device RGB to packed Lab (EncodeLab); bL100: the L byte spans 0..100.
class QGDI_API CRGBDtoLab8 : public CTableFunctor8 {
public:
    CRGBDtoLab8(const SColorSpecRGB& cs, bool bL100);
    void operator()(const uint8_t* src, uint8_t* dst) const override;
    void Row(const uint8_t* src, uint8_t* dst, int count, int srcStep = 3, int dstStep = 3) const;
};

// Packed Lab (DecodeLab) to device RGB.
class QGDI_API CLabtoRGBD8 : public CTableFunctor8 {
public:
    CLabtoRGBD8(const SColorSpecRGB& cs, bool bL100);
    void operator()(const uint8_t* src, uint8_t* dst) const override;
    void Row(const uint8_t* src, uint8_t* dst, int count, int srcStep = 3, int dstStep = 3) const;
};

// One channel in, one out: YtoL(DtoY(g)), from a 256-byte table.
class QGDI_API GreyToL8 : public TSpecFunctor<VUserFunctor8> {
public:
    explicit GreyToL8(const SColorSpecRGB& cs);
    void operator()(const uint8_t* src, uint8_t* dst) const override;
    void Row(const uint8_t* src, uint8_t* dst, int count, int srcStep = 1, int dstStep = 1) const;

private:
    uint8_t m_table[256];
};

// Relative saturation raised (amount > 0) or lowered (amount < 0, -100 removes
// it) in the highlights or in the shadows; amount in -100..100, 0 is the identity.
class QGDI_API CRGBSetRelHighlightSaturation8 : public TSpecFunctorWith<VUserFunctor8, double> {
public:
    using TSpecFunctorWith::TSpecFunctorWith;
    void operator()(const uint8_t* src, uint8_t* dst) const override;
};

class QGDI_API CRGBSetRelShadowSaturation8 : public TSpecFunctorWith<VUserFunctor8, double> {
public:
    using TSpecFunctorWith::TSpecFunctorWith;
    void operator()(const uint8_t* src, uint8_t* dst) const override;
};

// The 16-bit forms compute in double precision per pixel. The bool of the Lab
// ones is the L range (true: 0..100), the double of the saturation ones the amount.
class QGDI_API RGBtoGrey16 : public TSpecFunctor<VUserFunctor16> {
public:
    using TSpecFunctor::TSpecFunctor;
    void operator()(const uint16_t* src, uint16_t* dst) const override;
};

class QGDI_API RGBtoL16 : public TSpecFunctor<VUserFunctor16> {
public:
    using TSpecFunctor::TSpecFunctor;
    void operator()(const uint16_t* src, uint16_t* dst) const override;
};

class QGDI_API GreyToL16 : public TSpecFunctor<VUserFunctor16> {
public:
    using TSpecFunctor::TSpecFunctor;
    void operator()(const uint16_t* src, uint16_t* dst) const override;
};

class QGDI_API CRGBDtoLab16 : public TSpecFunctorWith<VUserFunctor16, bool> {
public:
    using TSpecFunctorWith::TSpecFunctorWith;
    void operator()(const uint16_t* src, uint16_t* dst) const override;
};

class QGDI_API CLabtoRGBD16 : public TSpecFunctorWith<VUserFunctor16, bool> {
public:
    using TSpecFunctorWith::TSpecFunctorWith;
    void operator()(const uint16_t* src, uint16_t* dst) const override;
};

class QGDI_API CRGBSetRelHighlightSaturation16 : public TSpecFunctorWith<VUserFunctor16, double> {
public:
    using TSpecFunctorWith::TSpecFunctorWith;
    void operator()(const uint16_t* src, uint16_t* dst) const override;
};

class QGDI_API CRGBSetRelShadowSaturation16 : public TSpecFunctorWith<VUserFunctor16, double> {
public:
    using TSpecFunctorWith::TSpecFunctorWith;
    void operator()(const uint16_t* src, uint16_t* dst) const override;
};
