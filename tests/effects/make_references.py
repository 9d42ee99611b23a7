#!/usr/bin/env python3
"""Writes one SVG filter document per case and renders the reference images
the effect tests compare with, once, with rsvg-convert (librsvg2-bin).

    python3 tests/effects/make_references.py [photo]

The input is a 128 x 128 crop of a test photograph (chelsea.png by default),
itself rendered by rsvg-convert so that both sides read the same pixels.
Filters work in sRGB (color-interpolation-filters) and in user space, one
pixel per unit. Case names match the table in fidelity_test.cpp.
"""
import base64
import os
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
DATA = os.path.join(HERE, "data")
PHOTO = sys.argv[1] if len(sys.argv) > 1 else os.path.join(
    HERE, "..", "..", "..", "shared", "testdata", "photos", "chelsea.png")
SIZE = 128

# A semi-transparent pair for compositing: alpha from the red and from the
# blue channel, the second moved by (6, 4).
PAIR = ('<feColorMatrix in="SourceGraphic" type="matrix" values="1 0 0 0 0 0 1 0 0 0 0 0 1 0 0 1 0 0 0 0" result="a"/>'
        '<feColorMatrix in="SourceGraphic" type="matrix" values="1 0 0 0 0 0 1 0 0 0 0 0 1 0 0 0 0 1 0 0" result="b0"/>'
        '<feOffset in="b0" dx="6" dy="4" result="b"/>')
HEIGHT = '<feColorMatrix in="SourceGraphic" type="luminanceToAlpha" result="h"/>'

CASES = {
    "matrix": '<feColorMatrix type="matrix" values="0.5 0.3 0.1 0 0.05  0.1 0.8 0.1 0 0  0.2 0.1 0.4 0 0.1  0 0 0 0.8 0.1"/>',
    "saturate": '<feColorMatrix type="saturate" values="0.3"/>',
    "huerotate": '<feColorMatrix type="hueRotate" values="75"/>',
    "lumtoalpha": '<feColorMatrix type="luminanceToAlpha"/>',
    "transfer_table": '<feComponentTransfer><feFuncR type="table" tableValues="0 0.8 0.4 1"/>'
                      '<feFuncG type="discrete" tableValues="0.2 0.5 0.9"/><feFuncB type="linear" slope="0.6" intercept="0.2"/>'
                      '<feFuncA type="identity"/></feComponentTransfer>',
    "transfer_gamma": '<feComponentTransfer><feFuncR type="gamma" amplitude="1.1" exponent="0.6" offset="0.02"/>'
                      '<feFuncG type="gamma" amplitude="1.1" exponent="0.6" offset="0.02"/>'
                      '<feFuncB type="gamma" amplitude="1.1" exponent="0.6" offset="0.02"/></feComponentTransfer>',
    "composite_over": PAIR + '<feComposite in="a" in2="b" operator="over"/>',
    "composite_in": PAIR + '<feComposite in="a" in2="b" operator="in"/>',
    "composite_out": PAIR + '<feComposite in="a" in2="b" operator="out"/>',
    "composite_atop": PAIR + '<feComposite in="a" in2="b" operator="atop"/>',
    "composite_xor": PAIR + '<feComposite in="a" in2="b" operator="xor"/>',
    "arithmetic": PAIR + '<feComposite in="a" in2="b" operator="arithmetic" k1="0.5" k2="0.6" k3="0.4" k4="-0.1"/>',
    "convolve": '<feConvolveMatrix order="3" kernelMatrix="1 2 0 0 1 -1 1 0 2" divisor="4" edgeMode="duplicate"/>',
    "convolve_straight": PAIR + '<feConvolveMatrix in="a" order="3" kernelMatrix="0 1 3 1 -1 0 0 1 0" edgeMode="wrap" '
                         'preserveAlpha="true"/>',
    "dilate": PAIR + '<feMorphology in="b" operator="dilate" radius="2 1"/>',
    "erode": '<feMorphology operator="erode" radius="1 3"/>',
    "displacement": '<feTurbulence type="fractalNoise" baseFrequency="0.03" numOctaves="2" seed="5" result="t"/>'
                    '<feDisplacementMap in="SourceGraphic" in2="t" scale="12" xChannelSelector="R" yChannelSelector="G"/>',
    "blur_small": '<feGaussianBlur stdDeviation="1.5"/>',
    "blur_large": '<feGaussianBlur stdDeviation="5"/>',
    "offset": '<feOffset dx="7" dy="-5"/>',
    "tile": '<feOffset x="20" y="30" width="40" height="24" dx="0" dy="0" result="t"/><feTile in="t"/>',
    "turbulence": '<feTurbulence type="turbulence" baseFrequency="0.05 0.03" numOctaves="3" seed="7"/>',
    "fractalnoise": '<feTurbulence type="fractalNoise" baseFrequency="0.04" numOctaves="2" seed="3"/>',
    "diffuse_distant": HEIGHT + '<feDiffuseLighting in="h" surfaceScale="4" diffuseConstant="1.2" lighting-color="#ffe0c0">'
                       '<feDistantLight azimuth="45" elevation="35"/></feDiffuseLighting>',
    "diffuse_point": HEIGHT + '<feDiffuseLighting in="h" surfaceScale="3" diffuseConstant="1"><fePointLight x="30" y="40" z="60"/></feDiffuseLighting>',
    "diffuse_spot": HEIGHT + '<feDiffuseLighting in="h" surfaceScale="3" diffuseConstant="1.5">'
                    '<feSpotLight x="20" y="10" z="80" pointsAtX="70" pointsAtY="80" pointsAtZ="0" specularExponent="2" limitingConeAngle="35"/></feDiffuseLighting>',
    "phong_distant": HEIGHT + '<feSpecularLighting in="h" surfaceScale="4" specularConstant="1" specularExponent="8">'
                        '<feDistantLight azimuth="225" elevation="40"/></feSpecularLighting>',
    "phong_point": HEIGHT + '<feSpecularLighting in="h" surfaceScale="3" specularConstant="1.2" specularExponent="12" lighting-color="#c0e0ff">'
                      '<fePointLight x="90" y="30" z="50"/></feSpecularLighting>',
    "phong_spot": HEIGHT + '<feSpecularLighting in="h" surfaceScale="3" specularConstant="1" specularExponent="6">'
                     '<feSpotLight x="100" y="100" z="90" pointsAtX="40" pointsAtY="50" pointsAtZ="0" specularExponent="3" limitingConeAngle="40"/></feSpecularLighting>',
}


def document(body, image_href):
    return ('<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" '
            f'width="{SIZE}" height="{SIZE}">'
            f'<filter id="f" x="0" y="0" width="{SIZE}" height="{SIZE}" filterUnits="userSpaceOnUse" '
            'primitiveUnits="userSpaceOnUse" color-interpolation-filters="sRGB">'
            f'{body}</filter>'
            f'<image xlink:href="{image_href}" x="0" y="0" width="{SIZE}" height="{SIZE}" filter="url(#f)"/></svg>')


def render(svg_text, out_png):
    svg_path = out_png[:-4] + ".svg"
    with open(svg_path, "w") as f:
        f.write(svg_text)
    subprocess.run(["rsvg-convert", "-o", out_png, svg_path], check=True)


def main():
    os.makedirs(DATA, exist_ok=True)
    # The input: the photograph's centre square, scaled down.
    with open(PHOTO, "rb") as f:
        photo = "data:image/png;base64," + base64.b64encode(f.read()).decode()
    crop = (f'<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" width="{SIZE}" height="{SIZE}">'
            f'<image xlink:href="{photo}" x="0" y="0" width="{SIZE}" height="{SIZE}" preserveAspectRatio="xMidYMid slice"/></svg>')
    render(crop, os.path.join(DATA, "input.png"))
    os.remove(os.path.join(DATA, "input.svg"))
    with open(os.path.join(DATA, "input.png"), "rb") as f:
        href = "data:image/png;base64," + base64.b64encode(f.read()).decode()
    for name, body in CASES.items():
        render(document(body, href), os.path.join(DATA, f"{name}.png"))
        # Keep the documents small: the input is referenced by name in the copy kept.
        with open(os.path.join(DATA, f"{name}.svg"), "w") as f:
            f.write(document(body, "input.png"))


if __name__ == "__main__":
    main()
