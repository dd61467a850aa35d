#!/usr/bin/env python3
"""Draws the wizard's meter pictures (data/pictures/*.svg).

For every supported meter two files: meter-<MeterID+100>.svg, the meter
itself (viewBox 0 0 160 200), and wizard-<MeterID+1100>.svg, the meter linked
to a laptop by its data cable or, for the infrared meters, through an infrared
adapter (viewBox 0 0 320 200).

The drawings keep to what QtSvg renders (SVG Tiny 1.2): paths, rects,
circles, ellipses, lines, polygons, linear and radial gradients, groups,
transforms and plain text in "sans-serif". No filters, masks, clip paths,
style sheets, scripts or external references.

Change the drawings here and run the script again rather than editing the
SVG files by hand:

    python3 tools/make-pictures.py [OUTPUT_FOLDER]   # default data/pictures
"""

import os
import sys

# ---- Palette and line weights shared by every picture ----
INK = "#2f3a45"        # outlines
INK_SOFT = "#56616d"   # inner details
LCD_TOP = "#dfe8d2"
LCD_BOTTOM = "#bfcdae"
LCD_INK = "#26332a"
BEZEL = "#27303a"
ACCENT = "#3f7cc0"     # data-flow arrow, small blue parts
IR_RED = "#b8323a"     # infrared windows and waves
SHADOW = "#1d2733"
W_BODY = 2.0           # outline of a device body
W_PART = 1.2           # outline of a part (display, button, port)
FONT = 'font-family="sans-serif"'


def f(v):
    """A number as short as it can be written."""
    s = f"{v:.2f}".rstrip("0").rstrip(".")
    return "0" if s == "-0" else s


def mix(c1, c2, t):
    """Colour c1 moved towards c2 by t (0..1)."""
    a = [int(c1[i:i + 2], 16) for i in (1, 3, 5)]
    b = [int(c2[i:i + 2], 16) for i in (1, 3, 5)]
    return "#" + "".join(f"{round(x + (y - x) * t):02x}" for x, y in zip(a, b))


def lighter(c, t=0.3):
    return mix(c, "#ffffff", t)


def darker(c, t=0.2):
    return mix(c, "#000000", t)


class Picture:
    """Collects gradient definitions and drawing elements of one file."""

    def __init__(self):
        self.defs = []
        self.ids = set()
        self.parts = []

    def add(self, *elements):
        self.parts.extend(elements)

    def linear(self, gid, stops, x1=0, y1=0, x2=0, y2=1):
        if gid not in self.ids:
            self.ids.add(gid)
            body = "".join(f'<stop offset="{f(o)}" stop-color="{c}"/>' for o, c in stops)
            self.defs.append(f'<linearGradient id="{gid}" x1="{f(x1)}" y1="{f(y1)}" '
                             f'x2="{f(x2)}" y2="{f(y2)}">{body}</linearGradient>')
        return f"url(#{gid})"

    def radial(self, gid, stops, cx=0.4, cy=0.35, r=0.7):
        if gid not in self.ids:
            self.ids.add(gid)
            body = "".join(f'<stop offset="{f(o)}" stop-color="{c}"/>' for o, c in stops)
            self.defs.append(f'<radialGradient id="{gid}" cx="{f(cx)}" cy="{f(cy)}" '
                             f'r="{f(r)}">{body}</radialGradient>')
        return f"url(#{gid})"

    def body_fill(self, gid, colour):
        """The soft top-left to bottom-right shading of a device body."""
        return self.linear(gid, [(0, lighter(colour, 0.22)), (1, darker(colour, 0.12))],
                           0, 0, 0.7, 1)

    def svg(self, width, height, title):
        out = [f'<svg xmlns="http://www.w3.org/2000/svg" version="1.2" baseProfile="tiny" '
               f'viewBox="0 0 {width} {height}">',
               f"<title>{title}</title>"]
        if self.defs:
            out.append("<defs>")
            out.extend(self.defs)
            out.append("</defs>")
        out.extend(self.parts)
        out.append("</svg>")
        return "\n".join(out) + "\n"


# ---- Small drawing helpers ----

def rect(x, y, w, h, rx=0, fill="none", stroke=None, sw=W_PART, extra=""):
    s = f'<rect x="{f(x)}" y="{f(y)}" width="{f(w)}" height="{f(h)}"'
    if rx:
        s += f' rx="{f(rx)}"'
    s += f' fill="{fill}"'
    if stroke:
        s += f' stroke="{stroke}" stroke-width="{f(sw)}"'
    return s + (f" {extra}" if extra else "") + "/>"


def circle(cx, cy, r, fill="none", stroke=None, sw=W_PART, extra=""):
    s = f'<circle cx="{f(cx)}" cy="{f(cy)}" r="{f(r)}" fill="{fill}"'
    if stroke:
        s += f' stroke="{stroke}" stroke-width="{f(sw)}"'
    return s + (f" {extra}" if extra else "") + "/>"


def ellipse(cx, cy, rx, ry, fill="none", stroke=None, sw=W_PART, extra=""):
    s = f'<ellipse cx="{f(cx)}" cy="{f(cy)}" rx="{f(rx)}" ry="{f(ry)}" fill="{fill}"'
    if stroke:
        s += f' stroke="{stroke}" stroke-width="{f(sw)}"'
    return s + (f" {extra}" if extra else "") + "/>"


def path(d, fill="none", stroke=None, sw=W_PART, extra=""):
    s = f'<path d="{d}" fill="{fill}"'
    if stroke:
        s += f' stroke="{stroke}" stroke-width="{f(sw)}"'
    return s + (f" {extra}" if extra else "") + "/>"


def line(x1, y1, x2, y2, stroke=INK_SOFT, sw=W_PART, extra=""):
    return (f'<line x1="{f(x1)}" y1="{f(y1)}" x2="{f(x2)}" y2="{f(y2)}" stroke="{stroke}" '
            f'stroke-width="{f(sw)}"' + (f" {extra}" if extra else "") + "/>")


def text(x, y, s, size, fill=INK, anchor="middle", weight="normal", extra=""):
    w = ' font-weight="bold"' if weight == "bold" else ""
    return (f'<text x="{f(x)}" y="{f(y)}" {FONT} font-size="{f(size)}"{w} '
            f'text-anchor="{anchor}" fill="{fill}"' + (f" {extra}" if extra else "") +
            f">{s}</text>")


def shadow(cx, cy, rx, ry=6):
    """A soft shadow on the ground below a device."""
    return [ellipse(cx, cy, rx + 6, ry + 2, SHADOW, extra='fill-opacity="0.07"'),
            ellipse(cx, cy, rx, ry, SHADOW, extra='fill-opacity="0.12"')]


SEGMENTS = {
    "0": "abcdef", "1": "bc", "2": "abdeg", "3": "abcdg", "4": "bcfg", "5": "acdfg",
    "6": "acdefg", "7": "abc", "8": "abcdefg", "9": "abcdfg", "-": "g",
}


def seven_segment(value, x, y, h, colour=LCD_INK):
    """Digits of an LCD, right-aligned so that the last digit ends at x. A "." is the
    decimal point after the digit before it and takes no place of its own."""
    w = h * 0.52
    t = h * 0.13
    gap = h * 0.2
    out = []
    digits = [ch for ch in value if ch != "."]
    n = len(digits)
    i = 0
    for ch in value:
        if ch == ".":
            x0 = x - (n - i) * (w + gap) + gap
            out.append(rect(x0 - gap / 2 - t / 2, y + h - t, t, t, t * 0.3, colour))
            continue
        x0 = x - (n - i) * (w + gap) + gap
        segs = {
            "a": (x0 + t * 0.6, y, w - t * 1.2, t),
            "b": (x0 + w - t, y + t * 0.6, t, h / 2 - t * 0.9),
            "c": (x0 + w - t, y + h / 2 + t * 0.3, t, h / 2 - t * 0.9),
            "d": (x0 + t * 0.6, y + h - t, w - t * 1.2, t),
            "e": (x0, y + h / 2 + t * 0.3, t, h / 2 - t * 0.9),
            "f": (x0, y + t * 0.6, t, h / 2 - t * 0.9),
            "g": (x0 + t * 0.6, y + h / 2 - t / 2, w - t * 1.2, t),
        }
        for s in SEGMENTS[ch]:
            sx, sy, sw_, sh = segs[s]
            out.append(rect(sx, sy, sw_, sh, rx=t * 0.35, fill=colour))
        i += 1
    return "".join(out)


def lcd(p, x, y, w, h, reading="128", unit="mg/dL", rx=3, bezel=4, extra_rows=None,
        digit_h=None, small=None):
    """A framed LCD with a glucose reading, its unit and an optional status row."""
    g = p.linear("lcd", [(0, LCD_TOP), (1, LCD_BOTTOM)])
    out = [rect(x - bezel, y - bezel, w + 2 * bezel, h + 2 * bezel, rx + bezel * 0.8, BEZEL),
           rect(x, y, w, h, rx, g)]
    dh = digit_h or min(h * 0.5, w * 0.32)
    right = x + w - w * 0.08
    top = y + (h - dh) / 2 + (h * 0.06 if small else 0)
    out.append(seven_segment(reading, right - (w * 0.02 if unit else 0), top - h * 0.04, dh))
    if unit:
        out.append(text(right, y + h - h * 0.08, unit, max(4.2, min(7, h * 0.14)), LCD_INK,
                        anchor="end"))
    if small:
        out.append(text(x + w * 0.07, y + h * 0.2, small, max(4.2, min(6.5, h * 0.14)),
                        LCD_INK, anchor="start"))
    if extra_rows:
        out.extend(extra_rows)
    return out


def jack(x, y, direction, size=1.0):
    """The meter's data socket at (x, y), opening towards `direction`."""
    if direction == "right":
        return [rect(x - 2 * size, y - 6 * size, 5 * size, 12 * size, 1.5, "#3a434d", INK, 1),
                rect(x, y - 3 * size, 2.4 * size, 6 * size, 0.8, "#111820")]
    if direction == "down":
        return [rect(x - 6 * size, y - 2 * size, 12 * size, 5 * size, 1.5, "#3a434d", INK, 1),
                rect(x - 3 * size, y, 6 * size, 2.4 * size, 0.8, "#111820")]
    raise ValueError(direction)


def ir_window(x, y, w, h, vertical=True):
    """A dark red infrared window."""
    g = "url(#irwin)"
    return [rect(x, y, w, h, min(w, h) / 2.5, g, INK, 1),
            rect(x + w * 0.25, y + h * 0.15, w * 0.22, h * 0.4 if vertical else h * 0.3,
                 w * 0.1, "#ffffff", extra='fill-opacity="0.35"')]


def ir_defs(p):
    p.linear("irwin", [(0, "#d2545b"), (1, "#5d1218")], 0, 0, 1, 1)


# ---- The meters: each draws itself into the 160 x 200 frame ----
# Each returns the kind of link ("cable" or "ir") and where that link leaves the
# meter: (x, y, direction) in the frame's coordinates.

def accutrend_dm(p):
    c = "#98a1aa"
    p.add(*shadow(80, 184, 40))
    # strip slot housing at the top
    p.add(rect(58, 12, 44, 16, 4, darker(c, 0.25), INK, W_PART),
          rect(64, 16, 32, 3.2, 1.2, "#151b22"),
          rect(68, 6, 24, 12, 1, "#f4f1e6", INK_SOFT, 0.8),
          rect(74, 9, 12, 5, 0.6, "#d9c25a"))
    p.add(rect(44, 22, 72, 156, 16, p.body_fill("body", c), INK, W_BODY),
          rect(47.5, 25.5, 65, 149, 13, extra=f'stroke="#ffffff" stroke-opacity="0.28" '
                                             f'stroke-width="1.4"'))
    p.add(*lcd(p, 56, 44, 48, 34, "112", "mg/dL", small="12:45"))
    # two round buttons
    for cx, col in ((66, "#5d6873"), (94, "#3f6fa8")):
        p.add(circle(cx, 106, 10, darker(c, 0.18)),
              circle(cx, 105, 8.5, p.radial(f"btn{cx}", [(0, lighter(col, 0.35)), (1, col)]),
                     INK, W_PART))
    p.add(text(66, 126, "M", 6.5, INK_SOFT, weight="bold"),
          text(94, 126, "SET", 6.5, INK_SOFT, weight="bold"))
    # grip ribs and name
    for i in range(4):
        p.add(line(62, 140 + i * 6, 98, 140 + i * 6, darker(c, 0.2), 1.4,
                   'stroke-linecap="round"'))
    p.add(text(80, 170, "DM", 8, "#ffffff", weight="bold", extra='fill-opacity="0.85"'))
    p.add(*jack(80, 178, "down"))
    return "cable", (80, 181, "down")


def accu_chek_sensor(p, c="#4a5159", face=None, buttons="#c3c9d0", name="SENSOR",
                     gid="body", reading="145", small="MEM  07:30"):
    p.add(*shadow(80, 184, 52))
    p.add(rect(30, 24, 100, 152, 18, p.body_fill(gid, c), INK, W_BODY),
          rect(33.5, 27.5, 93, 145, 15, extra='stroke="#ffffff" stroke-opacity="0.18" '
                                               'stroke-width="1.4"'))
    if face:
        p.add(rect(38, 32, 84, 96, 10, face, INK_SOFT, 1))
    p.add(*lcd(p, 44, 40, 72, 66, reading, "mg/dL", rx=4, small=small, digit_h=26))
    # two oval buttons
    for cx in (62, 98):
        p.add(ellipse(cx, 136, 13, 6.5, p.radial(f"btn{cx}", [(0, lighter(buttons, 0.4)),
                                                             (1, buttons)]), INK, W_PART))
    p.add(text(80, 123, name, 6, "#ffffff" if not face else INK_SOFT, weight="bold",
               extra='fill-opacity="0.8"'))
    # test strip guide at the bottom front
    p.add(path("M60 176 L62 154 Q63 150 67 150 L93 150 Q97 150 98 154 L100 176 Z",
               darker(c, 0.3), INK, W_PART),
          rect(70, 156, 20, 3, 1.2, "#12171c"),
          rect(74, 159, 12, 24, 1, "#f4f1e6", INK_SOFT, 0.8),
          rect(77, 170, 6, 8, 0.6, "#d9c25a"))
    p.add(*jack(130, 96, "right"))
    return "cable", (133, 96, "right")


def accu_chek_sensor_complete(p):
    c = "#3d4b60"
    p.add(*shadow(80, 187, 58))
    p.add(rect(22, 10, 116, 172, 16, p.body_fill("body", c), INK, W_BODY),
          rect(25.5, 13.5, 109, 165, 13, extra='stroke="#ffffff" stroke-opacity="0.18" '
                                               'stroke-width="1.4"'))
    # display with the reading and the diary symbols (insulin, meal, exercise, lab)
    icons = []
    iy = 71
    # insulin pen
    icons.append(rect(40, iy, 8, 2.6, 1, LCD_INK))
    icons.append(rect(48, iy + 0.8, 2.5, 1, 0, LCD_INK))
    # apple / meal
    icons.append(circle(56, iy + 1.4, 2.4, LCD_INK))
    icons.append(rect(55.6, iy - 2.6, 0.8, 2, 0, LCD_INK))
    # runner / exercise: a figure of lines
    icons.append(path(f"M63 {iy - 1.5} l2 2 l-2 2 m2 -2 l3 0 m-1 0 l-1 3", stroke=LCD_INK,
                      sw=0.9, extra='stroke-linecap="round"'))
    icons.append(circle(65.5, iy - 2.6, 0.9, LCD_INK))
    # lab flask
    icons.append(path(f"M73 {iy - 2.5} h3 M73.7 {iy - 2.5} v2 l-1.6 3.2 h4.8 l-1.6 -3.2 "
                      f"v-2", stroke=LCD_INK, sw=0.8))
    p.add(*lcd(p, 36, 24, 88, 56, "6.8", "mmol/L", rx=4, small="INS  CARB  EX  LAB",
               digit_h=22, extra_rows=None))
    p.add(*icons)
    # keypad: three rows of keys
    keys = "#cdd3db"
    kfill = p.linear("key", [(0, lighter(keys, 0.4)), (1, keys)])
    for row in range(3):
        for col in range(3):
            x = 36 + col * 31
            y = 93 + row * 19
            p.add(rect(x, y + 1.2, 26, 14, 5, darker(c, 0.3)),
                  rect(x, y, 26, 14, 5, kfill, INK, W_PART))
    labels = [("INS", 0, 0), ("CARB", 1, 0), ("EX", 2, 0), ("LAB", 0, 2), ("MEM", 1, 2),
              ("SET", 2, 2)]
    for lab, col, row in labels:
        p.add(text(49 + col * 31, 102.6 + row * 19, lab, 5.6, INK_SOFT, weight="bold"))
    # arrow keys: up on the left, down on the right
    p.add(path("M46 121.5 L49 116.5 L52 121.5 Z", INK_SOFT),
          path("M108 116.5 L111 121.5 L114 116.5 Z", INK_SOFT))
    # the OK key in blue
    p.add(rect(67, 112, 26, 14, 5, p.linear("ok", [(0, lighter(ACCENT, 0.3)), (1, ACCENT)]),
               INK, W_PART),
          text(80, 121.6, "OK", 5.6, "#ffffff", weight="bold"))
    # strip guide and name
    p.add(rect(56, 160, 48, 12, 5, darker(c, 0.3), INK, W_PART),
          rect(66, 164.5, 28, 3, 1.2, "#12171c"),
          text(80, 155, "COMPLETE", 6, "#ffffff", weight="bold", extra='fill-opacity="0.8"'))
    p.add(*jack(122, 182, "down"))
    return "cable", (122, 185, "down")


def reflolux_s(p):
    c = "#cfd3d6"
    p.add(*shadow(80, 184, 46))
    body = p.body_fill("body", c)
    p.add(rect(36, 18, 88, 162, 5, body, INK, W_BODY),
          rect(36, 140, 88, 40, 5, darker(c, 0.12), INK, W_BODY),
          rect(38.5, 20.5, 83, 157, 3, extra='stroke="#ffffff" stroke-opacity="0.4" '
                                             'stroke-width="1.2"'))
    # hinged strip window with a test strip lying in it
    p.add(rect(46, 28, 68, 48, 3, darker(c, 0.2), INK, W_PART),
          rect(52, 34, 56, 36, 2, p.linear("win", [(0, "#5a6b78"), (1, "#2c3843")]),
               INK, W_PART),
          rect(60, 48, 44, 9, 1, "#f4f1e6", INK_SOFT, 0.8),
          rect(64, 49.5, 9, 6, 0.6, "#d9c25a"),
          path("M54 36 L74 36 L62 68 L54 68 Z", "#ffffff", extra='fill-opacity="0.12"'),
          line(46, 80, 114, 80, darker(c, 0.35), 1.4))
    for x in (52, 106):
        p.add(rect(x - 3, 78, 6, 4, 1, darker(c, 0.3), INK, 0.8))
    # small display
    p.add(*lcd(p, 54, 92, 52, 24, "98", "mg/dL", rx=1.5, bezel=3.5, digit_h=12))
    # two rectangular keys
    for x, lab in ((50, "ON"), (84, "M")):
        p.add(rect(x, 128, 26, 9, 2, darker(c, 0.25), INK, W_PART),
              text(x + 13, 134.5, lab, 5.6, "#ffffff", weight="bold"))
    # grooves and name plate
    for i in range(4):
        p.add(line(48, 150 + i * 5, 112, 150 + i * 5, darker(c, 0.3), 1.2,
                   'stroke-linecap="round"'))
    p.add(rect(64, 169, 32, 8, 1, "#eef0f1", INK_SOFT, 0.8),
          text(80, 175.2, "S", 6, INK, weight="bold"))
    p.add(*jack(124, 112, "right"))
    return "cable", (127, 112, "right")


def accutrend_g_gc(p):
    c = "#8da398"
    p.add(*shadow(80, 166, 60))
    p.add(rect(18, 46, 124, 112, 22, p.body_fill("body", c), INK, W_BODY),
          rect(21.5, 49.5, 117, 105, 19, extra='stroke="#ffffff" stroke-opacity="0.25" '
                                               'stroke-width="1.4"'))
    # wide display
    p.add(*lcd(p, 30, 58, 100, 36, "5.4", "mmol/L", rx=3, small="GLU   CHOL", digit_h=16))
    # measuring flap with the strip opening
    p.add(path("M54 108 Q54 102 60 102 L126 102 Q132 102 132 108 L132 140 Q132 146 126 146 "
               "L60 146 Q54 146 54 140 Z", darker(c, 0.18), INK, W_PART),
          rect(66, 114, 54, 18, 4, p.linear("flap", [(0, "#3f4c55"), (1, "#232c33")]),
               INK, W_PART),
          rect(76, 119, 34, 8, 1, "#f4f1e6", INK_SOFT, 0.8),
          rect(80, 120.5, 8, 5, 0.6, "#d9c25a"),
          text(93, 142, "GC", 6.5, "#ffffff", weight="bold", extra='fill-opacity="0.85"'))
    # one button on the left
    p.add(circle(36, 124, 10, darker(c, 0.2)),
          circle(36, 123, 8.5, p.radial("btn", [(0, "#f0f2f3"), (1, "#c2c8cc")]), INK, W_PART),
          text(36, 142, "ON", 5.6, "#ffffff", weight="bold"))
    p.add(*jack(142, 74, "right"))
    return "cable", (145, 74, "right")


def glucotrend_premium(p):
    c = "#a9bbcf"
    p.add(*shadow(80, 186, 42))
    body = p.linear("body", [(0, "#dce5ee"), (0.55, c), (1, "#7f96b0")], 0, 0, 1, 1)
    p.add(rect(36, 16, 88, 166, 42, body, INK, W_BODY),
          path("M48 40 Q56 24 80 21", stroke="#ffffff", sw=2.2,
               extra='stroke-opacity="0.6" stroke-linecap="round"'))
    # strip slot at the top
    p.add(rect(68, 12, 24, 8, 3, "#5c6f85", INK, W_PART),
          rect(72, 14.5, 16, 2.6, 1, "#151b22"))
    # rounded display in a dark face
    p.add(rect(44, 40, 72, 62, 18, "#34404e", INK, W_PART))
    p.add(*lcd(p, 51, 50, 58, 40, "121", "mg/dL", rx=9, bezel=0, small="P  08:15",
               digit_h=17))
    # round navigation pad with a centre key
    pad = p.radial("pad", [(0, "#f4f7fa"), (1, "#b5c3d2")], 0.4, 0.3, 0.8)
    p.add(circle(80, 134, 22, "#5c6f85", INK, W_PART),
          circle(80, 133, 20, pad, INK, W_PART),
          circle(80, 133, 8, p.radial("ctr", [(0, lighter(ACCENT, 0.4)), (1, ACCENT)]),
                 INK, W_PART))
    for dx, dy, rot in ((0, -14, 0), (14, 0, 90), (0, 14, 180), (-14, 0, 270)):
        p.add(path("M-3 1.5 L0 -2 L3 1.5 Z", "#5c6f85",
                   extra=f'transform="translate({80 + dx} {133 + dy}) rotate({rot})"'))
    p.add(text(80, 167, "PREMIUM", 6, "#34404e", weight="bold"))
    p.add(*jack(80, 182, "down"))
    return "cable", (80, 185, "down")


def accu_chek_comfort(p):
    return accu_chek_sensor(p, c="#aeb8c3", face="#eef1f4", buttons="#5e8fc6",
                            name="COMFORT", reading="117", small="19:40")


def accu_chek_compact(p):
    top = "#e8ecf0"
    low = "#2f4b78"
    p.add(*shadow(80, 188, 38))
    # strip outlet at the top
    p.add(rect(66, 6, 28, 10, 3, "#9aa5b1", INK, W_PART),
          rect(71, 9, 18, 2.6, 1, "#151b22"))
    p.add(rect(44, 12, 72, 176, 32, p.body_fill("body", low), INK, W_BODY),
          path("M44 44 Q44 12 76 12 L84 12 Q116 12 116 44 L116 104 Q80 114 44 104 Z",
               p.body_fill("top", top), INK, W_BODY),
          path("M52 40 Q54 20 76 17", stroke="#ffffff", sw=2.2,
               extra='stroke-opacity="0.7" stroke-linecap="round"'))
    p.add(*lcd(p, 54, 34, 52, 40, "103", "mg/dL", rx=4, bezel=3.5, small="17", digit_h=16))
    # two small keys under the display
    for cx in (68, 92):
        p.add(ellipse(cx, 90, 8, 4.5, p.radial(f"k{cx}", [(0, "#ffffff"), (1, "#aeb8c4")]),
                      INK, W_PART))
    # drum window: the strip drum seen through a clear window
    drum = p.linear("drum", [(0, "#6b7d92"), (0.45, "#dfe6ee"), (1, "#5a6b80")], 0, 0, 1, 0)
    p.add(rect(56, 120, 48, 48, 12, "#1c2838", INK, W_PART),
          rect(62, 126, 36, 36, 6, drum))
    for i in range(6):
        y = 129 + i * 6
        p.add(line(63, y, 97, y, "#3b4a5c", 0.9),
              rect(68, y + 1.2, 24, 2.4, 0.6, "#f4f1e6", extra='fill-opacity="0.85"'))
    p.add(path("M60 124 L72 124 L62 162 L60 162 Z", "#ffffff", extra='fill-opacity="0.18"'))
    p.add(text(80, 180, "COMPACT", 5.6, "#ffffff", weight="bold", extra='fill-opacity="0.8"'))
    # infrared window on the right edge
    ir_defs(p)
    p.add(*ir_window(113, 56, 6, 20))
    return "ir", (119, 66, "right")


def accu_chek_active(p):
    c = "#5d7fa6"
    face = "#eef2f6"
    p.add(*shadow(80, 172, 36))
    p.add(rect(48, 40, 64, 128, 30, p.body_fill("body", c), INK, W_BODY),
          rect(52, 46, 56, 78, 24, face, INK_SOFT, 1),
          path("M58 60 Q62 50 74 48", stroke="#ffffff", sw=2,
               extra='stroke-opacity="0.8" stroke-linecap="round"'))
    p.add(*lcd(p, 58, 60, 44, 34, "94", "mg/dL", rx=4, bezel=3, digit_h=15))
    # one big button
    p.add(circle(80, 140, 15, darker(c, 0.25)),
          circle(80, 139, 13.5, p.radial("btn", [(0, "#ffffff"), (1, "#c3ccd6")]), INK, W_PART),
          circle(80, 139, 5, extra=f'stroke="{INK_SOFT}" stroke-width="1.2"'))
    p.add(text(80, 115, "ACTIVE", 5.6, INK_SOFT, weight="bold"))
    # strip slot at the bottom end, with a small light
    p.add(rect(66, 162, 28, 8, 3, darker(c, 0.3), INK, W_PART),
          rect(71, 165, 18, 2.6, 1, "#151b22"))
    ir_defs(p)
    p.add(*ir_window(109, 62, 6, 20))
    return "ir", (115, 72, "right")


def accu_chek_sensor_iii(p):
    c = "#323a45"
    p.add(*shadow(80, 184, 50))
    # a waisted, smoothly curved body
    p.add(path("M42 24 Q80 16 118 24 Q132 27 130 44 Q124 100 130 156 Q132 174 114 177 "
               "Q80 182 46 177 Q28 174 30 156 Q36 100 30 44 Q28 27 42 24 Z",
               p.body_fill("body", c), INK, W_BODY))
    # silver face plate
    plate = p.linear("plate", [(0, "#eef1f5"), (1, "#b3bcc7")], 0, 0, 0.6, 1)
    p.add(path("M46 32 Q80 26 114 32 Q122 34 121 44 L119 112 Q118 122 108 123 Q80 126 52 123 "
               "Q42 122 41 112 L39 44 Q38 34 46 32 Z", plate, INK_SOFT, 1))
    p.add(*lcd(p, 48, 42, 64, 62, "132", "mg/dL", rx=6, bezel=3, small="21:05",
               digit_h=24))
    # accent line and pill-shaped keys
    p.add(path("M40 132 Q80 138 120 132", stroke=ACCENT, sw=2.4,
               extra='stroke-linecap="round"'))
    for cx in (62, 98):
        p.add(rect(cx - 13, 142, 26, 10, 5,
                   p.linear(f"k{cx}", [(0, "#f3f5f8"), (1, "#aab4bf")]), INK, W_PART))
    p.add(text(80, 168, "III", 7, "#ffffff", weight="bold", extra='fill-opacity="0.85"'))
    # strip slot at the bottom
    p.add(rect(66, 174, 28, 6, 2.5, "#1a2028", INK, W_PART),
          rect(71, 176, 18, 2, 0.8, "#000000"))
    p.add(*jack(129, 96, "right"))
    return "cable", (132, 96, "right")


METERS = [
    # MeterID, name, drawing
    (11, "Accutrend DM", accutrend_dm),
    (12, "Accu-Chek Sensor", accu_chek_sensor),
    (13, "Accu-Chek Sensor Complete", accu_chek_sensor_complete),
    (14, "Reflolux S", reflolux_s),
    (15, "Accutrend G/ GC", accutrend_g_gc),
    (16, "Glucotrend Premium", glucotrend_premium),
    (17, "Accu-Chek Comfort", accu_chek_comfort),
    (24, "Accu-Chek Compact", accu_chek_compact),
    (28, "Accu-Chek Active", accu_chek_active),
    (49, "Accu-Chek Sensor III", accu_chek_sensor_iii),
]


# ---- The computer side of the wizard pictures ----

LAPTOP_DROP = 24           # the laptop is drawn 24 units lower than its own figures
LAPTOP_PORT = (190, 147 + LAPTOP_DROP)   # where the cable enters the laptop's left side


def laptop(p):
    out = [f'<g transform="translate(0 {LAPTOP_DROP})">']
    out.extend(shadow(255, 156, 56, 4))
    # lid and screen
    out.append(rect(198, 58, 114, 82, 6, "#3b444f", INK, W_BODY))
    screen = p.linear("screen", [(0, "#f4f8fc"), (1, "#d6e3f0")])
    out.append(rect(204, 64, 102, 70, 2, screen))
    # a small window on the screen: title bar, a glucose curve and a progress bar
    out.append(rect(210, 70, 90, 58, 2, "#ffffff", "#9aa8b6", 0.8))
    out.append(rect(210, 70, 90, 8, 2, "#5f7fa6"))
    out.append(rect(210, 75, 90, 3, 0, "#5f7fa6"))
    out.append(circle(295, 74, 1.6, "#ffffff"))
    out.append(line(216, 86, 216, 112, "#b7c2cd", 0.8))
    out.append(line(216, 112, 294, 112, "#b7c2cd", 0.8))
    out.append(rect(216, 94, 78, 10, 0, "#dff0e0", extra='fill-opacity="0.9"'))
    out.append(path("M218 102 L228 96 L238 99 L248 89 L258 95 L268 92 L278 100 L290 94",
                    stroke=ACCENT, sw=1.6,
                    extra='stroke-linejoin="round" stroke-linecap="round"'))
    out.append(rect(216, 118, 78, 5, 2.5, "#e3e8ee", "#9aa8b6", 0.6))
    out.append(rect(216, 118, 50, 5, 2.5, "#4f9a5e"))
    # base with keyboard and touchpad
    base = p.linear("base", [(0, "#dde3e9"), (1, "#aab4bf")])
    out.append(path("M192 140 L318 140 L316 150 Q315 153 311 153 L199 153 Q195 153 194 150 Z",
                    base, INK, W_BODY))
    out.append(rect(236, 142.5, 38, 3, 1.5, "#8d98a4"))
    # USB socket on the left side
    out.append(rect(191.5, 144.5, 4, 5, 0.6, "#1f2730"))
    out.append("</g>")
    return out


def cable_plug(x, y, direction):
    """The plug that sits in the meter's socket (pointing into the meter)."""
    if direction == "right":
        return [rect(x, y - 4.5, 9, 9, 2, "#44505c", INK, 1),
                rect(x + 9, y - 3, 3, 6, 1, "#2a323b")]
    return [rect(x - 4.5, y, 9, 9, 2, "#44505c", INK, 1),
            rect(x - 3, y + 9, 6, 3, 1, "#2a323b")]


def usb_plug(x, y):
    """The plug at the laptop end, entering from the left at (x, y)."""
    return [rect(x - 13, y - 3.5, 10, 7, 1.5, "#44505c", INK, 1),
            rect(x - 4, y - 2.5, 6, 5, 0.6, "#c9d0d7", INK, 0.8)]


def bezier_point(p0, p1, p2, p3, t):
    """The point at t (0..1) of a cubic Bézier curve."""
    u = 1 - t
    return tuple(u ** 3 * a + 3 * u * u * t * b + 3 * u * t * t * c + t ** 3 * d
                 for a, b, c, d in zip(p0, p1, p2, p3))


def flow_arrow(x, y, colour=ACCENT):
    """A round badge with an arrow to the right: data flowing to the computer."""
    return [circle(x, y, 8.5, "#ffffff", colour, 1.6),
            path(f"M{f(x - 4.5)} {f(y)} L{f(x + 3.5)} {f(y)} M{f(x + 0.5)} {f(y - 3)} "
                 f"L{f(x + 3.5)} {f(y)} L{f(x + 0.5)} {f(y + 3)}", stroke=colour, sw=1.8,
                 extra='stroke-linecap="round" stroke-linejoin="round"')]


def ir_adapter(p, x, y):
    """An infrared adapter facing left, its window centred at (x, y)."""
    ir_defs(p)
    g = p.linear("adapter", [(0, "#5a6572"), (1, "#2f3842")])
    return [rect(x, y - 10, 26, 20, 6, g, INK, W_BODY),
            rect(x - 3, y - 6, 7, 12, 3, "url(#irwin)", INK, 1),
            rect(x - 1.6, y - 4.5, 1.8, 4, 0.8, "#ffffff", extra='fill-opacity="0.35"'),
            rect(x + 26, y - 3, 4, 6, 1, "#2a323b")]


def ir_waves(x, y, n=3, gap=7):
    """Arcs spreading to the right from (x, y)."""
    out = []
    for i in range(n):
        r = 6 + i * gap
        out.append(path(f"M{f(x + r * 0.55)} {f(y - r * 0.83)} A{f(r)} {f(r)} 0 0 1 "
                        f"{f(x + r * 0.55)} {f(y + r * 0.83)}", stroke=IR_RED, sw=1.8,
                        extra=f'stroke-linecap="round" stroke-opacity="{f(1 - i * 0.22)}"'))
    return out


def wizard(meter_id, name, draw):
    p = Picture()
    inner = Picture()
    inner.defs = p.defs
    inner.ids = p.ids
    kind, (px, py, direction) = draw(inner)
    s = 0.8
    ox, oy = 12, 18
    wx, wy = ox + px * s, oy + py * s
    parts = []
    parts.extend(laptop(p))
    parts.append(f'<g transform="translate({ox} {oy}) scale({s})">')
    parts.extend(inner.parts)
    parts.append("</g>")
    lx, ly = LAPTOP_PORT
    if kind == "cable":
        if direction == "right":
            sx, sy = wx + 12, wy
            c1 = (sx + 26, sy)
            c2 = (sx + 6, ly)
            plug = cable_plug(wx, wy, "right")
        else:
            sx, sy = wx, wy + 12
            c1 = (sx, sy + 16)
            c2 = (sx + 10, ly + 10)
            plug = cable_plug(wx, wy, "down")
        end = (lx - 13, ly)
        d = (f"M{f(sx)} {f(sy)} C{f(c1[0])} {f(c1[1])} {f(c2[0])} {f(c2[1])} "
             f"{f(end[0])} {f(end[1])}")
        parts.append(path(d, stroke=INK, sw=3.4, extra='stroke-linecap="round"'))
        parts.append(path(d, stroke="#6d7884", sw=1.2, extra='stroke-linecap="round"'))
        parts.extend(plug)
        parts.extend(usb_plug(lx, ly))
        parts.extend(flow_arrow(*bezier_point((sx, sy), c1, c2, end, 0.62)))
    else:
        ax, ay = wx + 34, wy
        parts.extend(ir_waves(wx + 1, wy, n=3, gap=7))
        end = (lx - 13, ly)
        c1 = (ax + 48, ay)
        c2 = (ax + 10, ly)
        d = (f"M{f(ax + 30)} {f(ay)} C{f(c1[0])} {f(c1[1])} {f(c2[0])} {f(c2[1])} "
             f"{f(end[0])} {f(end[1])}")
        parts.append(path(d, stroke=INK, sw=3, extra='stroke-linecap="round"'))
        parts.append(path(d, stroke="#6d7884", sw=1, extra='stroke-linecap="round"'))
        parts.extend(ir_adapter(p, ax, ay))
        parts.extend(usb_plug(lx, ly))
        parts.extend(flow_arrow(*bezier_point((ax + 30, ay), c1, c2, end, 0.55)))
    p.add(*parts)
    return p.svg(320, 200, f"{name} connected to a computer")


def meter(meter_id, name, draw):
    p = Picture()
    draw(p)
    return p.svg(160, 200, name)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "data", "pictures")
    os.makedirs(out, exist_ok=True)
    for meter_id, name, draw in METERS:
        for file_name, text_ in ((f"meter-{meter_id + 100}.svg", meter(meter_id, name, draw)),
                                 (f"wizard-{meter_id + 1100}.svg",
                                  wizard(meter_id, name, draw))):
            with open(os.path.join(out, file_name), "w", encoding="utf-8", newline="\n") as fh:
                fh.write(text_)


if __name__ == "__main__":
    main()
