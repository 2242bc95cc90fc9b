"""Draws a curve on logarithmic scales: linear growth is a straight line at 45 degrees there, and
quadratic growth is steeper. The dashed line shows linear growth."""

import math
from xml.sax.saxutils import escape

WIDTH, HEIGHT, MARGIN = 640, 420, 70
COLOURS = ("#0060b0", "#c04000", "#207020")


def decades(values):
    low, high = min(values), max(values)
    first, last = math.floor(math.log10(low)), math.ceil(math.log10(high))
    return first, max(last, first + 1)


class Scale:
    def __init__(self, values, start, end):
        self.first, self.last = decades(values)
        self.start, self.end = start, end

    def place(self, value):
        part = (math.log10(value) - self.first) / (self.last - self.first)
        return self.start + part * (self.end - self.start)

    def ticks(self):
        return [10.0 ** power for power in range(self.first, self.last + 1)]


def text(x, y, words, anchor="middle", more=""):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" {more}>'
            f'{escape(words)}</text>')


def grid(x, y):
    parts = []
    for tick in x.ticks():
        at = x.place(tick)
        parts.append(f'<path d="M{at:.1f} {MARGIN}V{HEIGHT - MARGIN}" stroke="#ddd"/>')
        parts.append(text(at, HEIGHT - MARGIN + 18, f"{tick:g}"))
    for tick in y.ticks():
        at = y.place(tick)
        parts.append(f'<path d="M{MARGIN} {at:.1f}H{WIDTH - MARGIN}" stroke="#ddd"/>')
        parts.append(text(MARGIN - 8, at + 4, f"{tick:g}", "end"))
    return parts


def line(points, style):
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
    return f'<polyline points="{path}" fill="none" {style}/>'


def lines(curve, x, y):
    """Each line of the curve in a colour of its own, with its name beside its last point."""
    parts = []
    for colour, (name, points) in zip(COLOURS, curve["lines"].items()):
        if not points:
            continue
        placed = [(x.place(a), y.place(b)) for a, b in points]
        parts.append(line(placed, f'stroke="{colour}" stroke-width="2"'))
        parts += [f'<circle cx="{a:.1f}" cy="{b:.1f}" r="3.5" fill="{colour}"/>' for a, b in placed]
        if name:
            # Above the end of a rising line, below that of a falling one.
            (_, y0), (x1, y1) = placed[-2:]
            parts.append(text(x1 + 6, y1 + (18 if y1 > y0 + 1 else -8), name, "end",
                              f'fill="{colour}" font-weight="bold"'))
    return parts


def panel(curve):
    curve = curve if "lines" in curve else {**curve, "lines": {"": curve["points"]}}
    points = [point for line in curve["lines"].values() for point in line]
    proportional = []
    if curve.get("proportional", True):
        last = max(points)
        proportional = [(x, last[1] * x / last[0]) for x in sorted({x for x, _ in points})]
    x = Scale([point[0] for point in points], MARGIN, WIDTH - MARGIN)
    y = Scale([point[1] for point in points + proportional], HEIGHT - MARGIN, MARGIN)
    return [
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
        text(WIDTH / 2, 30, curve["what"], more='font-size="15"'),
        *grid(x, y),
        line([(x.place(a), y.place(b)) for a, b in proportional],
             'stroke="#999" stroke-dasharray="5 4"'),
        *lines(curve, x, y),
        text(WIDTH / 2, HEIGHT - 20, curve["x"]),
        text(18, HEIGHT / 2, curve["y"], more=f'transform="rotate(-90 18 {HEIGHT / 2})"'),
    ]


def picture(width, height, parts):
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}"'
                      ' font-family="sans-serif" font-size="12">', *parts, "</svg>"]) + "\n"


def draw(curve):
    return picture(WIDTH, HEIGHT, panel(curve))


def drawBeside(curves):
    """Two in a row."""
    parts = []
    for number, curve in enumerate(curves):
        parts += [f'<g transform="translate({number % 2 * WIDTH} {number // 2 * HEIGHT})">', *panel(curve), "</g>"]
    return picture(min(len(curves), 2) * WIDTH, (len(curves) + 1) // 2 * HEIGHT, parts)
