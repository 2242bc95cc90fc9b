"""Draws a curve on logarithmic scales: linear growth is a straight line at 45 degrees there, and
quadratic growth is steeper. The dashed line shows linear growth."""

import math
from xml.sax.saxutils import escape

WIDTH, HEIGHT, MARGIN = 640, 420, 70


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


def draw(curve):
    points = curve["points"]
    proportional = [(x, points[-1][1] * x / points[-1][0]) for x, _ in points]
    x = Scale([point[0] for point in points], MARGIN, WIDTH - MARGIN)
    y = Scale([point[1] for point in points + proportional], HEIGHT - MARGIN, MARGIN)
    placed = [(x.place(a), y.place(b)) for a, b in points]
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}"'
        ' font-family="sans-serif" font-size="12">',
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
        text(WIDTH / 2, 30, curve["what"], more='font-size="15"'),
        *grid(x, y),
        line([(x.place(a), y.place(b)) for a, b in proportional],
             'stroke="#999" stroke-dasharray="5 4"'),
        line(placed, 'stroke="#0060b0" stroke-width="2"'),
        *(f'<circle cx="{a:.1f}" cy="{b:.1f}" r="3.5" fill="#0060b0"/>' for a, b in placed),
        text(WIDTH / 2, HEIGHT - 20, curve["x"]),
        text(18, HEIGHT / 2, curve["y"], more=f'transform="rotate(-90 18 {HEIGHT / 2})"'),
        "</svg>",
    ]
    return "\n".join(parts) + "\n"
