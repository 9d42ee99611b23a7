#pragma once
// Internal records of the drawing context: a layer under construction and a
// saved state of the stack.
#include "drawing/QDC.h"

struct QDCBASIC::SLayer {
    CRowIteratorBands canvas;       // transparent BGRA of the image's size
    CRowIterator* under = nullptr;  // where drawing went before
    RECT area{0, 0, 0, 0};          // the clip when the layer began (image coordinates)
    uint8_t opacity = 255;
    int blendMode = 0;
};

struct SQDCState {
    SQDCState* next = nullptr;
    VQFILL* fill = nullptr;        // clones, owned
    VQFILL* strokeFill = nullptr;
    std::unique_ptr<CRowOpDef> fillOp, strokeOp;
    uint8_t fillOpacity = 255, strokeOpacity = 255;
    RECT clip{}, viewport{}, viewportClip{}, selective{};
    POINT deviceOrg{};
    SIZE deviceSize{};
    double scale = 1.0;
    double current[9], style[9];
    bool transformStyle = true;
    SStrokeProps stroke;
    SRasterProps raster;
    std::shared_ptr<CQFont> font;
    STextProps text;
    SQPOINT textCP{};
    std::unique_ptr<CQPath> textPath;
    int selFirst = 0, selCount = 0;
    const CRowIterator* mask = nullptr;
    POINT maskOffset{};

    ~SQDCState() {
        if (fill) fill->Unreference();
        if (strokeFill) strokeFill->Unreference();
    }
};
