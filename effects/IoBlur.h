#pragma once
// Gaussian blur of premultiplied colour; outside the input is transparent.
#include "QuorRender/IoSeqOp.h"
#include "qgdi_export.h"

class QGDI_API CIoGaussianBlur : public CImageOp {
public:
    // Standard deviation in pixels (the same across and down). From 2 up the
    // blur is `passes` box blurs whose combined variance matches (3 is what
    // the classic approximation uses and what the builder makes); below 2,
    // or with passes 0, an exact kernel reaching 3 sigma.
    explicit CIoGaussianBlur(double sigma, int passes = 3) noexcept;
    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;
    double GetTime(int width, int height) const override;
    double GetSigma() const noexcept { return m_dSigma; }

protected:
    RECT GetReach() const noexcept override;

private:
    double m_dSigma;
    int m_nPasses;
};
