#pragma once
// An effect: a small graph of image operations whose nodes are numbered.
// Each node holds one operation and names up to two input nodes; the result
// is the node added last with a non-negative number. Numbers -1 to -4 are
// images the graph makes itself from what it is run on.
#include <cstdint>
#include <string>

#include "QuorRender/IoSeqOp.h"
#include "qgdi_export.h"

enum EEffectStockId : int32_t {
    keEffectSourceGraphic = -1,   // the source, as BGRA
    keEffectSourceAlpha = -2,     // the source's alpha, colour cleared
    keEffectBackgroundImage = -3, // the background, as BGRA
    keEffectBackgroundAlpha = -4, // the background's alpha, colour cleared
    keEffectNone = -9,
};

// One node; owned by the graph, fields in this order.
struct SIoEffectNode {
    uint8_t bOwnsOp = 0;  // the node deletes its operation when replaced or destroyed
    uint8_t bCache = 0;   // keeps its image after its consumers have run
    int32_t nId = keEffectNone;
    int32_t nIn1 = keEffectNone;
    int32_t nIn2 = keEffectNone;
    int32_t nUsers = 0;  // links of other nodes to this one
    CImageOp* pOp = nullptr;
    SIoEffectNode* pNext = nullptr;
    SIoEffectNode* pIn1 = nullptr;
    SIoEffectNode* pIn2 = nullptr;
    CRowIteratorBands* pImage = nullptr;
    RECT rcWritten = {0, 0, 0, 0};  // the part of pImage the operation wrote
};

class QGDI_API CIoEffect : public CImageOp {
public:
    CIoEffect() noexcept;
    ~CIoEffect() override;

    // Adds a node, or replaces the one with the same identifier in place
    // (its consumers along the first-consumer chain lose their images). False
    // for the identifier -9 or when memory runs out.
    bool AddImageOp(CImageOp* op, bool owned, int id, int in1 = keEffectNone, int in2 = keEffectNone);

    int GetSourceCount() const noexcept override { return 2; }
    RECT CalculateRectangle(const RECT& input, POINT origin) const override;
    double GetTime(int width, int height) const override;

    // Forgets the image of node id and of its first consumer, that one's
    // first consumer and so on. False when there is no such node.
    bool Invalidate(int id);
    // Both return the previous setting.
    bool SetCache(bool cache);
    bool SetEvaluation(bool all);
    // Subregion of the operation of node id (null clears it); false when no
    // node with that identifier holds an operation.
    bool SetSubregion(int id, const SQRECT* subregion);
    const CRowIterator* GetNodeImage(int id) const noexcept;
    // Whether the links resolve: every input known, a result, no cycle.
    bool IsValidEffect();
    // One line per node: identifier, inputs, operation type, users, flags, image size.
    std::string Dump() const;

    int GetResultId() const noexcept { return m_nResultId; }
    int GetNodeCount() const noexcept;

    // The graph as one operation: renders into data.pDst at data.rcDst.
    // 101 when the links do not resolve, a node has no operation or a copy
    // fails; 102 when an image cannot be allocated; 100 when cancelled.
    CErrorAutoThrow Run(const CIoData& data) { return Execute(data); }

protected:
    CErrorAutoThrow Execute(const CIoData& data) override;

private:
    SIoEffectNode* Find(int id) const noexcept;
    SIoEffectNode* FindOrCreateStock(int id);
    bool ResolveLinks();
    void CountUsers() noexcept;
    bool ReachesItself(const SIoEffectNode* node) const;
    CErrorAutoThrow MakeStock(SIoEffectNode& node, const CIoData& data, const RECT& work);
    CErrorAutoThrow Compute(SIoEffectNode& node, const CIoData& data, const RECT& work, CStatusControl* status);
    void Release(SIoEffectNode* input, const SIoEffectNode& consumer) noexcept;
    static void FreeImage(SIoEffectNode& node) noexcept;
    RECT NodeRect(const SIoEffectNode* node, const RECT& input, int depth) const;

    bool m_bLinksResolved = false;
    SIoEffectNode* m_pFirst = nullptr;
    SIoEffectNode* m_pLast = nullptr;
    SIoEffectNode* m_pResult = nullptr;
    int m_nResultId = keEffectNone;
    bool m_bCache = false;
    bool m_bEvaluateAll = false;
};
