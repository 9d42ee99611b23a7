#pragma once
// Compositing operators: the Porter-Duff operators as SVG and the canvas
// define them, and "lighter" (plus). What the effect graph's composite and
// the drawing context's composite operations use.
#include <cstdint>

#include "QuorRender/RowOp.h"

// The operators. Values are stored in documents: never renumber them.
enum EQCompositeOp : int32_t {
    keCompositeClear = 0,
    keCompositeSource = 1,
    keCompositeDestination = 2,
    keCompositeOver = 3,
    keCompositeDestinationOver = 4,
    keCompositeIn = 5,
    keCompositeDestinationIn = 6,
    keCompositeOut = 7,
    keCompositeDestinationOut = 8,
    keCompositeAtop = 9,
    keCompositeDestinationAtop = 10,
    keCompositeXor = 11,
    keCompositeLighter = 12,
    keCompositeOpCount = 13,
};

// "source-over", "destination-in", ... as the canvas names them ("copy" is
// the source operator); null for other values.
QGDI_API const char* QGDI_GetCompositeOpName(int op) noexcept;
QGDI_API bool QGDI_FindCompositeOp(const char* name, EQCompositeOp& op) noexcept;

// The kernel dictionary of an operator (null for a value without one).
QGDI_API const SRowOpDictEntry* RoeLookUpBlendDictionary(EQCompositeOp op) noexcept;
// The source-over dictionary: the operator of the kind's representative definition.
QGDI_API const SRowOpDictEntry* GetRowBlendDict() noexcept;

// result = s Fa + d Fb on premultiplied colour, alpha included, with the
// factors of the operator (1, 0, the other side's alpha or its complement);
// the source is first weakened by the opacity, and a coverage mask mixes the
// result with the destination. Straight-alpha rows are premultiplied on the
// way in and back on the way out; rows of two different formats meet through
// the format of the destination's class with alpha.
class QGDI_API CRowOpDefRowBlend : public CRowOpDef {
public:
    explicit CRowOpDefRowBlend(EQCompositeOp op = keCompositeOver, uint8_t opacity = 255) noexcept
        : CRowOpDef(keRoRowBlend), m_eOp(op), m_nOpacity(opacity) {}
    CRowOpDef* Copy() const override { return new CRowOpDefRowBlend(*this); }
    QRowOpFn Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const override;
    std::shared_ptr<const CRowOpPrepared> Prepare(EQPixelFormat dst, EQPixelFormat src) const override;

    EQCompositeOp GetOp() const noexcept { return m_eOp; }
    void SetOp(EQCompositeOp op) noexcept { m_eOp = op; }
    uint8_t GetOpacity() const noexcept { return m_nOpacity; }
    void SetOpacity(uint8_t opacity) noexcept { m_nOpacity = opacity; }

private:
    EQCompositeOp m_eOp;
    uint8_t m_nOpacity;
};
