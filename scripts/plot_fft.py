#!/usr/bin/env python3
"""Draws the speed of the real transforms over their size from the CSV of bench_fft.

    plot_fft.py fft.csv docs/fft_speed.svg

One panel for each direction and placement. The unit is the usual one for transforms, 2.5 N log2 N
operations over the least time, so that sizes can be compared; higher is better."""
import csv
import math
import sys

COLOURS = {
    "ours": "#0b5fa5",
    "fftw measure": "#c1440e",
    "fftw estimate": "#e8a33d",
    "libavutil": "#4c8c4a",
    "kissfft": "#7b6b8d",
}
WIDTH, HEIGHT = 460, 300
LEFT, RIGHT, TOP, BOTTOM = 62, 14, 34, 46
PANELS = [("forward", "out"), ("inverse", "out"), ("forward", "in"), ("inverse", "in")]
PLACES = {"out": "out of place", "in": "in place"}


def speed(row):
    n = int(row["n"])
    return 2.5 * n * math.log2(n) / float(row["min_ns"])  # operations a nanosecond: 1e9 a second


def panel(rows, title, top_speed, x0, y0):
    sizes = sorted({int(r["n"]) for r in rows})
    low, high = math.log2(sizes[0]), math.log2(sizes[-1])
    inner_w, inner_h = WIDTH - LEFT - RIGHT, HEIGHT - TOP - BOTTOM

    def x(n):
        return x0 + LEFT + (math.log2(n) - low) / (high - low) * inner_w

    def y(value):
        return y0 + TOP + (1 - value / top_speed) * inner_h

    out = ['<text x="%.1f" y="%.1f" class="title">%s</text>' % (x0 + LEFT, y0 + 22, title)]
    step = 5 if top_speed <= 40 else 10
    for value in range(0, int(top_speed) + 1, step):
        out.append('<line x1="%.1f" y1="%.1f" x2="%.1f" y2="%.1f" class="grid"/>'
                   % (x(sizes[0]), y(value), x(sizes[-1]), y(value)))
        out.append('<text x="%.1f" y="%.1f" text-anchor="end">%d</text>'
                   % (x0 + LEFT - 6, y(value) + 4, value))
    for n in sizes:
        if int(math.log2(n)) % 2 == 1:
            label = str(n) if n < 1024 else "%dk" % (n // 1024)
            out.append('<text x="%.1f" y="%.1f" text-anchor="middle">%s</text>'
                       % (x(n), y0 + HEIGHT - BOTTOM + 16, label))
    out.append('<text x="%.1f" y="%.1f" text-anchor="middle">samples N</text>'
               % (x0 + LEFT + inner_w / 2, y0 + HEIGHT - 12))
    out.append('<text transform="translate(%.1f %.1f) rotate(-90)" text-anchor="middle">'
               '10⁹ operations a second, higher is better</text>'
               % (x0 + 20, y0 + TOP + inner_h / 2))
    for library, colour in COLOURS.items():
        points = sorted((int(r["n"]), speed(r)) for r in rows if r["library"] == library)
        if not points:
            continue
        out.append('<polyline points="%s" fill="none" stroke="%s" stroke-width="%s"/>'
                   % (" ".join("%.1f,%.1f" % (x(n), y(v)) for n, v in points), colour,
                      "2.6" if library == "ours" else "1.4"))
        out += ['<circle cx="%.1f" cy="%.1f" r="2.4" fill="%s"/>' % (x(n), y(v), colour)
                for n, v in points]
    return out


def main():
    with open(sys.argv[1], newline="") as file:
        rows = list(csv.DictReader(file))
    top_speed = math.ceil(max(speed(r) for r in rows) / 5) * 5
    out = ['<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 %d %d" '
           'font-family="sans-serif" font-size="11">' % (2 * WIDTH, 2 * HEIGHT + 40),
           "<style>.grid{stroke:#ddd}.title{font-size:13px;font-weight:bold}</style>",
           '<rect width="100%" height="100%" fill="white"/>']
    place = 70
    for library, colour in COLOURS.items():
        if any(r["library"] == library for r in rows):
            out.append('<line x1="%d" y1="18" x2="%d" y2="18" stroke="%s" stroke-width="3"/>'
                       % (place, place + 24, colour))
            out.append('<text x="%d" y="22">%s</text>' % (place + 30, library))
            place += 130
    for k, (direction, where) in enumerate(PANELS):
        chosen = [r for r in rows if r["direction"] == direction and r["placement"] == where]
        out += panel(chosen, "real transform, %s, %s" % (direction, PLACES[where]), top_speed,
                     k % 2 * WIDTH, 36 + k // 2 * HEIGHT)
    out.append("</svg>")
    with open(sys.argv[2], "w", encoding="utf-8") as file:
        file.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
