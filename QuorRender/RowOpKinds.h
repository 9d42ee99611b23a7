#pragma once
// Every row-operation kind, listed once. The enumeration EQRowOpType, the
// diagnostic names and the registry of sample definitions that the tests and
// benchmarks walk are all expanded from this list, so a new kind is one line
// here (plus its definition class and dictionary) and nothing else.
//
// QGDI_ROWOP_KIND_LIST(KIND, NAMED, SHARED) calls
//   KIND(value, Name, Class, GetDict, entries, coverage, sample)
//     a kind with its own definition class and dictionary: the enumerator
//     keRo##Name = value, the diagnostic name "keRo" #Name, the dictionary
//     getter with its stated number of entries, whether the kind's work is
//     laid through a coverage mask (benchmarks give it one), and the
//     constructor arguments, in parentheses, of a representative definition;
//   NAMED(value, Name)
//     a kind with a value and a name whose definition lives elsewhere;
//   SHARED(Label, Kind, Class, GetDict, entries, coverage, sample)
//     a dictionary whose definitions report another kind's value keRo##Kind.
// Values not listed (11, 32, anything out of range) print as "Unknown".
//
// The list is plain text until expanded: the classes and getters it names
// need to be declared only where a consumer expands those columns.

// clang-format off
#define QGDI_ROWOP_KIND_LIST(KIND, NAMED, SHARED)                                                                              \
    KIND(  0, NOP,                                 CRowOpDefNOP,                                  GetNOPDict,                                   8, false, ())  \
    KIND(  1, ChannelConstant,                     CRowOpDefChannelConstant,                      GetChannelConstantDict,                       6, false, (keChannelSetAll, 0.25))  \
    NAMED( 2, ChannelLUT)                                                                                                      \
    KIND(  3, ChannelGet,                          CRowOpDefChannelGet,                           GetChannelGetDict,                           10, false, (keChannelGrey))  \
    KIND(  4, ChannelSet,                          CRowOpDefChannelSet,                           GetChannelSetDict,                           10, false, (keChannelAlpha))  \
    NAMED( 5, ChannelCopy)                                                                                                     \
    NAMED( 6, ChannelMulEqual)                                                                                                 \
    KIND(  7, ChannelLinear,                       CRowOpDefChannelLinear,                        GetChannelLinearDict,                         2, false, (keChannelSetAllButAlpha, 1.25, -0.1))  \
    NAMED( 8, RowAdjustMox)                                                                                                    \
    KIND(  9, RowArithmetic,                       CRowOpDefRowArithmetic,                        GetRowArithmeticDict,                         4, false, (0.5, 0.25, 0.25, -0.05))  \
    KIND( 10, RowBlend,                            CRowOpDefRowBlend,                             GetRowBlendDict,                              8, true,  (keCompositeOver, uint8_t(200)))  \
    KIND( 12, RowBlendMox,                         CRowOpDefRowBlendMox,                          GetRowBlendMoxDict,                          16, true,  (keBlendMoxNormal, 200u))  \
    KIND( 13, RowBlendSolid,                       CRowOpDefRowBlendSolid,                        GetRowBlendSolidDict,                         6, false, (0xC0123456u, uint8_t(77)))  \
    KIND( 14, RowCopy,                             CRowOpDefRowCopy,                              GetRowCopyDict,                              96, false, ())  \
    KIND( 15, RowCopyIndexed,                      CRowOpDefRowCopyIndexed,                       GetRowCopyIndexedDict,                       15, false, ())  \
    KIND( 16, RowCopyPalettedWithTransparencyIndex, CRowOpDefRowCopyPalettedWithTransparencyIndex, GetRowCopyPalettedWithTransparencyIndexDict, 5, false, (5))  \
    KIND( 17, RowDematte,                          CRowOpDefRowDematte,                           GetRowDematteDict,                           13, false, (0x00336699u))  \
    KIND( 18, RowErase,                            CRowOpDefRowErase,                             GetRowEraseDict,                              5, true,  (uint8_t(180)))  \
    KIND( 19, RowFill,                             CRowOpDefRowFill,                              GetRowFillDict,                              13, false, (0xC0336699u, uint8_t(9)))  \
    KIND( 20, RowHSLAdjust,                        CRowOpDefRowHSLAdjust,                         GetRowHSLAdjustDict,                          5, false, (130.0, 0.4, -0.2))  \
    KIND( 21, RowHSLCopyChannel,                   CRowOpDefRowHSLCopyChannel,                    GetRowHSLCopyChannelDict,                     2, false, (keHSLSaturation))  \
    KIND( 22, RowRGBAdjust,                        CRowOpDefRowRGBAdjust,                         GetRowRGBAdjustDict,                          4, false, (std::array{1.1, 0.5, 3.0}.data(), std::array{0.02, 0.0, -0.3}.data()))  \
    KIND( 23, RowInvert,                           CRowOpDefRowInvert,                            GetRowInvertDict,                             5, false, ())  \
    NAMED(24, RowMask)                                                                                                         \
    KIND( 25, RowMaskOverSolid,                    CRowOpDefRowMaskOverSolid,                     GetRowMaskOverSolidDict,                      7, true,  (0xC0123456u, uint8_t(200)))  \
    KIND( 26, RowMatte,                            CRowOpDefRowMatte,                             GetRowMatteDict,                             13, false, (0x00336699u))  \
    KIND( 27, RowMulEqual,                         CRowOpDefRowMulEqual,                          GetRowMulEqualDict,                           4, false, ())  \
    KIND( 28, RowNoise,                            CRowOpDefRowNoise,                             GetRowNoiseDict,                              9, false, (0.2, false, true, 12345u))  \
    KIND( 29, RowReplaceColor,                     CRowOpDefRowReplaceColor,                      GetRowReplaceColorDict,                       4, false, (0x00808080u, 0x00FF00FFu, uint8_t(100)))  \
    KIND( 30, RowPlusEqual,                        CRowOpDefRowPlusEqual,                         GetRowPlusEqualDict,                          4, false, ())  \
    KIND( 31, RowTurbulence,                       CRowOpDefRowTurbulence,                        GetRowTurbulenceDict,                         1, false, (0.03, 0.07, 4, -7, false, true, 0.0, 0.0, 50.0, 40.0))  \
    KIND( 33, HighPass,                            CRowOpDefHighPass,                             GetHighPassDict,                              8, false, ())  \
    SHARED(RowDither,           RowCopy,      CRowOpDefRowDither,           GetRowDitherDict,           5, false, ())  \
    SHARED(RowKodalith,         RowAdjustMox, CRowOpDefRowKodalith,         GetRowKodalithDict,         2, false, (uint8_t(90)))  \
    SHARED(RowBlendIndexedBGRA, RowBlend,     CRowOpDefRowBlendIndexedBGRA, GetRowBlendIndexedBGRADict, 2, true,  (uint8_t(250)))
// clang-format on

// Expanders for the columns other headers need.
#define QGDI_ROWOP_KIND_ENUMERATOR(value, Name, ...) keRo##Name = value,
#define QGDI_ROWOP_KIND_SKIP(...)
