#!/usr/bin/env python3
"""Draws what vellbench --curves --json found: cost against size, as SVG on standard output."""

import json
import math
import sys

WIDTH, HEIGHT, LEFT, TOP, GAP = 250, 190, 70, 70, 75
COLORS = ["#1f5fa8", "#c8501e", "#2e8b57"]
DASHES = {"vell": "", "floor": "2 3", "plain": "7 4"}
MEASURES = {"ns": "nanoseconds", "instructions": "instructions"}
# Title, what the sizes count, and the operations drawn: label, name, unit.
PANELS = [
    ("Route, from begin to send", "OIFs", [("route", "route, begin to send", "OIF")]),
    ("Layer-2 message", "entries", [("pairs", "layer-2 message", "pair"),
                                    ("OIFs", "layer-2 message, traced", "OIF")]),
    ("Flood update of one VLAN", "interfaces",
     [(change, f"flood update, {change}, 1 VLAN", "interface")
      for change in ("unchanged", "10 % changed", "shuffled")]),
    ("Flood answer", "VLANs", [("answer", "flood answer", "VLAN")]),
]


def text(x, y, content, anchor="middle", extra=""):
    return f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}" {extra}>{content}</text>'


def line(points, color, dash="", width=1.5):
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
    return (f'<polyline points="{path}" fill="none" stroke="{color}" stroke-width="{width}" '
            f'stroke-dasharray="{dash}"/>')


def power(exponent):
    return f'10<tspan dy="-5" font-size="8">{exponent}</tspan>' if exponent else "1"


class Axes:
    """Logarithmic in both directions, from 1 to the power of ten that has room for all values."""

    def __init__(self, left, top, points):
        self.left, self.top = left, top
        self.decades = [max(1, math.ceil(math.log10(max(p[i] for p in points)) - 0.01))
                        for i in (0, 1)]
        self.lowest = math.floor(math.log10(min(p[1] for p in points)))

    def place(self, size, cost):
        x = math.log10(size) / self.decades[0]
        y = (math.log10(cost) - self.lowest) / (self.decades[1] - self.lowest)
        return self.left + WIDTH * x, self.top + HEIGHT * (1 - y)

    def draw(self):
        for exponent in range(self.decades[0] + 1):
            x, bottom = self.place(10 ** exponent, 10 ** self.lowest)
            yield line([(x, bottom), (x, self.top)], "#ddd", width=1)
            yield text(x, bottom + 15, power(exponent))
        for exponent in range(self.lowest, self.decades[1] + 1):
            x, y = self.place(1, 10 ** exponent)
            yield line([(x, y), (x + WIDTH, y)], "#ddd", width=1)
            yield text(x - 6, y + 4, power(exponent), "end")


def curve(operations, name, unit, version, measure):
    found = [(op["size"], op[version][measure]) for op in operations
             if (op["name"], op["unit"], op["history"]) == (name, unit, "open") and version in op]
    return sorted(found)


def panel(operations, title, unit_name, series, measure, left, top):
    curves = [(label, COLORS[i], version, curve(operations, name, unit, version, measure))
              for i, (label, name, unit) in enumerate(series) for version in DASHES]
    axes = Axes(left, top, [point for *_, points in curves for point in points])
    yield from axes.draw()
    yield text(left + WIDTH / 2, top - 10, title, extra='font-weight="bold"')
    yield text(left + WIDTH / 2, top + HEIGHT + 32, unit_name)
    for label, color, version, points in curves:
        if points:
            yield line([axes.place(*point) for point in points], color, DASHES[version])
        if version == "vell" and len(series) > 1:
            index = [entry[0] for entry in series].index(label)
            yield text(left + 8, top + 15 + 14 * index, label, "start", f'fill="{color}"')


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: bench/plot.py RESULTS.json >COSTS.svg")
    with open(sys.argv[1], encoding="utf-8") as file:
        operations = json.load(file)["operations"]
    width = LEFT + len(PANELS) * (WIDTH + GAP) - GAP + 20
    height = TOP + len(MEASURES) * (HEIGHT + GAP)
    print(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
          'font-family="sans-serif" font-size="11"><rect width="100%" height="100%" fill="#fff"/>')
    for i, (version, dash) in enumerate(DASHES.items()):
        print(line([(LEFT + 100 * i, 22), (LEFT + 100 * i + 40, 22)], "#000", dash),
              text(LEFT + 100 * i + 46, 26, version, "start"))
    for row, (measure, measure_name) in enumerate(MEASURES.items()):
        top = TOP + row * (HEIGHT + GAP)
        middle = top + HEIGHT / 2
        print(text(18, middle, measure_name, extra=f'transform="rotate(-90 18 {middle})"'))
        for column, (title, unit_name, series) in enumerate(PANELS):
            left = LEFT + column * (WIDTH + GAP)
            print(*panel(operations, title, unit_name, series, measure, left, top), sep="\n")
    print("</svg>")


main()
