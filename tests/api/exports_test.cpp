// Linked against the shared library: everything used here must be exported.
#include <gtest/gtest.h>

#include "qgdi.h"

TEST(Exports, PublicInterfaceLinks) {
    CQPixelFormat pf(keFormatBGRA);
    EXPECT_EQ(pf.GetBitsPerPixel(), 32);
    EXPECT_STREQ(pf.GetFormatAsString(), L"keFormatBGRA");
    EXPECT_EQ(QGDI_RGBAtoBGRA(0x000000FFu), 0x00FF0000u);
    CStatusControl status;
    EXPECT_FALSE(status.SetProgress(1));
    EXPECT_EQ(QGDI_Vantor_GetColorSpec()->nGammaType, 1u);
    EXPECT_STREQ(quor::GetName(quor::keTypeInt16), "int16 ");
    CErrorAutoThrow e(keQuorErrFailed);
    EXPECT_TRUE(e.IsError());
    QMMHANDLE h = QMM_GlobalAlloc(GHND, 8);
    EXPECT_NE(h, QMM_NULL);
    EXPECT_EQ(QMM_GlobalFree(h), QMM_NULL);
}
