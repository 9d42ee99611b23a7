#include "tools/qgdi/commands.h"

const std::vector<SQgdiCommand>& QgdiCommands() {
    static const std::vector<SQgdiCommand> commands = {
        {"demo", "demo [OUT_DIR] [--compression 0-9]",
         "write the built-in sample image as PNG and BMP into OUT_DIR (made if missing), describe it", &QgdiCmdDemo},
        {"info", "info [FILE] [--full]", "text dump of an image (the built-in sample without FILE)", &QgdiCmdInfo},
        {"convert", "convert IN OUT [--format NAME] [--compression 0-9]",
         "convert an image file, optionally to another pixel format", &QgdiCmdConvert},
        {"resize",
         "resize IN OUT (--size WxH | --scale F) [--filter nearest|bilinear|bicubic|area|lanczos|mitchell] [--linear]",
         "resize an image (bicubic by default; --linear: in linear light), with a progress bar; Ctrl-C cancels",
         &QgdiCmdResize},
        {"blur", "blur IN OUT (--sigma S [--sigma-y S] | --box R [--box-y R]) [--edge wrap|clamp|constant]",
         "Gaussian or box blur, with a progress bar; Ctrl-C cancels", &QgdiCmdBlur},
        {"draw", "draw IN.svg OUT.png [--size WxH]",
         "render an SVG drawing (shapes, strokes, gradients, text) through the drawing context", &QgdiCmdDraw},
        {"inpaint", "inpaint IN MASK OUT [--patch N] [--seed S] [--feather F] [--source SRC]",
         "content-aware fill of the white part of MASK, with a progress bar; Ctrl-C cancels", &QgdiCmdInpaint},
        {"warp", "warp IN OUT --push X,Y,DX,DY,RADIUS ... [--twirl|--pinch|--bloat X,Y,A,RADIUS ...]",
         "brush strokes of the interactive warp, rendered bicubic", &QgdiCmdWarp},
        {"style", "style IN OUT [--drop-shadow ...] [--bevel ...] [--stroke ...] ...",
         "a layer drawn with its layer styles over a checkerboard or a background", &QgdiCmdStyle},
        {"convolve", "convolve IN OUT (--matrix NAME | --kernel 'a,b;c,d' [--divisor D] [--bias B]) [--edge MODE] | convolve --list",
         "convolve with a stock matrix or any kernel, with a progress bar", &QgdiCmdConvolve},
        {"sharpen", "sharpen IN OUT --amount A --radius R [--threshold T]", "unsharp mask, with a progress bar",
         &QgdiCmdSharpen},
        {"morph", "morph IN OUT dilate|erode|median --radius R [--radius-y R] [--round]",
         "dilate or erode (square or round), or take the median, with a progress bar", &QgdiCmdMorph},
        {"distort", "distort IN OUT --map NAME [--param V ...] [--mode nearest|bilinear|bicubic] | distort --list",
         "distort through a coordinate map, with a progress bar", &QgdiCmdDistort},
        {"effect", "effect IN OUT GRAPH | effect IN OUT --preset drop-shadow|emboss|chrome|glow | effect --list",
         "runs an effect graph described in a text file, or a ready-made one", &QgdiCmdEffect},
        {"select", "select IN MASK_OUT --rect X,Y,W,H [--fg X,Y,R ...] [--bg X,Y,R ...] [--soft]",
         "smart selection of the object in a rectangle, refined by strokes; 8-bit mask out", &QgdiCmdSelect},
        {"formats", "formats", "table of the pixel formats and their properties", &QgdiCmdFormats},
        {"blend", "blend BOTTOM TOP OUT [--mode NAME] [--opacity 0-255] [--at X,Y] [--sheet] | blend --list",
         "lay TOP over BOTTOM in a layer blend mode or through a compositing operator", &QgdiCmdBlend},
        {"path", "path SVG|DATA [--scale S] [--flatness F] [--dash L,L,...] [--union|--intersect|--difference|--xor SVG|DATA] [--out OUT.svg]",
         "read SVG path data, describe it, flatten, dash or combine it, optionally write the outline as SVG", &QgdiCmdPath},
        {"quantize", "quantize IN OUT --colors N [--dither none|fs|ordered]",
         "reduce an image to an optimal palette of N colours (8-bit paletted BMP or PNG)", &QgdiCmdQuantize},
        {"dither", "dither IN OUT [--kernel fs|burkes|stucki] [--tone]", "error-diffuse an image to 1-bit black and white",
         &QgdiCmdDither},
        {"palette", "palette save|show FILE [...]", "write or list a palette file (text or RIFF PAL)", &QgdiCmdPalette},
        {"fill",
         "fill OUT --size WxH (--solid C | --linear X0,Y0,X1,Y1 | --radial CX,CY,R[,FX,FY] | --conic CX,CY[,DEG] | "
         "--rect X0,Y0,X1,Y1 | --checker N) [--stops OFF:C,...] [--spread pad|reflect|repeat] [--shape ellipse | "
         "--path DATA]",
         "paint a shape with a solid colour, a gradient or a checkerboard into a new image", &QgdiCmdFill},
    };
    return commands;
}

const char* QgdiDefaultCommand() { return "demo"; }
