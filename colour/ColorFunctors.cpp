#include "colour/ColorFunctors.h"

#include "colour/internal/FunctorReference.h"

using namespace qgdi::colour;

VUserFunctor8::~VUserFunctor8() = default;
VUserFunctor16::~VUserFunctor16() = default;

namespace {

template <class F, class T>
void ApplyRow(const F& functor, const T* src, T* dst, int count, int srcStep, int dstStep) {
    if (!src || !dst) return;
    for (int i = 0; i < count; ++i, src += srcStep, dst += dstStep) functor(src, dst);
}

// The table-driven classes convert a whole run faster than pixel by pixel;
// finding out which one this is costs a few casts per row.
template <class F>
bool TryRow(const VUserFunctor8& functor, const uint8_t* src, uint8_t* dst, int count, int srcStep, int dstStep) {
    const F* f = dynamic_cast<const F*>(&functor);
    if (f) f->Row(src, dst, count, srcStep, dstStep);
    return f != nullptr;
}

}  // namespace

void QGDI_ApplyUserFunctor8(const VUserFunctor8& functor, const uint8_t* src, uint8_t* dst, int count, int srcStep,
                            int dstStep) {
    if (!src || !dst || count <= 0) return;
    if (TryRow<CRGBDtoLab8>(functor, src, dst, count, srcStep, dstStep) ||
        TryRow<CLabtoRGBD8>(functor, src, dst, count, srcStep, dstStep) ||
        TryRow<RGBtoGrey8>(functor, src, dst, count, srcStep, dstStep) ||
        TryRow<RGBtoL8>(functor, src, dst, count, srcStep, dstStep) ||
        TryRow<GreyToL8>(functor, src, dst, count, srcStep, dstStep))
        return;
    ApplyRow(functor, src, dst, count, srcStep, dstStep);
}

void QGDI_ApplyUserFunctor16(const VUserFunctor16& functor, const uint16_t* src, uint16_t* dst, int count, int srcStep,
                             int dstStep) {
    ApplyRow(functor, src, dst, count, srcStep, dstStep);
}

void CRGBSetRelHighlightSaturation8::operator()(const uint8_t* src, uint8_t* dst) const {
    RefRelSaturation(src, dst, m_spec, m_extra, true);
}

void CRGBSetRelShadowSaturation8::operator()(const uint8_t* src, uint8_t* dst) const {
    RefRelSaturation(src, dst, m_spec, m_extra, false);
}

void RGBtoGrey16::operator()(const uint16_t* src, uint16_t* dst) const { RefRGBtoGrey(src, dst, m_spec); }
void RGBtoL16::operator()(const uint16_t* src, uint16_t* dst) const { RefRGBtoL(src, dst, m_spec); }
void GreyToL16::operator()(const uint16_t* src, uint16_t* dst) const { RefGreyToL(src, dst, m_spec); }
void CRGBDtoLab16::operator()(const uint16_t* src, uint16_t* dst) const { RefRGBDtoLab(src, dst, m_spec, m_extra); }
void CLabtoRGBD16::operator()(const uint16_t* src, uint16_t* dst) const { RefLabtoRGBD(src, dst, m_spec, m_extra); }
void CRGBSetRelHighlightSaturation16::operator()(const uint16_t* src, uint16_t* dst) const {
    RefRelSaturation(src, dst, m_spec, m_extra, true);
}
void CRGBSetRelShadowSaturation16::operator()(const uint16_t* src, uint16_t* dst) const {
    RefRelSaturation(src, dst, m_spec, m_extra, false);
}
