#!/usr/bin/env python3
"""Turns what the benchmarks told into docs/performance.md and its plots; scripts/performance runs it.

    performance.py MEASUREMENTS DOCS

A ratio is our time over the peer's, both taken in one run: below 1 we are faster."""
import collections
import csv
import datetime
import json
import pathlib
import platform
import re
import statistics
import subprocess
import sys

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams["svg.hashsalt"] = "ombrine"  # the same file from the same numbers
import matplotlib.pyplot as plt  # noqa: E402

MEASURED, DOCS = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
PLOTS = DOCS / "performance"


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows])


def read_csv(name):
    with open(MEASURED / name, newline="") as file:
        return list(csv.DictReader(file))


def google(name):
    """Medians in nanoseconds by (benchmark, argument), and the counters."""
    times, counters = collections.defaultdict(list), {}
    for run in json.loads((MEASURED / name).read_text())["benchmarks"]:
        if run.get("run_type") == "aggregate":
            continue
        label, argument = run["name"].split("/")[:2]
        times[label, int(argument)].append(run["cpu_time"])
        counters[label, int(argument)] = run
    return {key: statistics.median(values) for key, values in times.items()}, counters


def ratio_plot(name, title, axis, lines):
    """lines: {label: [(x, ratio)]}. A line at 1 marks the peer."""
    figure, axes = plt.subplots(figsize=(7, 3.6))
    for label, points in lines.items():
        axes.plot(*zip(*sorted(points)), marker="o", markersize=3, linewidth=1.2, label=label)
    axes.axhline(1.0, color="0.4", linewidth=0.8, linestyle="--")
    axes.set_xscale("log", base=2)
    axes.set_ylim(bottom=0)
    axes.set_xlabel(axis)
    axes.set_ylabel("our time / peer's time")
    axes.set_title(title, fontsize=10)
    axes.legend(fontsize=8, ncols=2)
    axes.grid(alpha=0.3)
    figure.tight_layout()
    figure.savefig(PLOTS / (name + ".svg"), metadata={"Date": None})
    plt.close(figure)
    return "![%s](performance/%s.svg)" % (title, name)


def size(n):
    return "%dM" % (n >> 20) if n >= 1 << 20 else str(n)


# ---- Sections ----

def machine():
    def output(*command):
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout

    cpu = dict(line.split(":", 1) for line in output("lscpu").splitlines() if ":" in line)
    packages = output("dpkg-query", "-W", "-f", "${Package} ${Version}\n", "libsndfile1", "libvolk2-bin",
                      "libfftw3-single3", "libeigen3-dev", "python3-numpy")
    versions = ", ".join(line.rsplit("-", 1)[0] for line in packages.splitlines())
    return ("Taken on %s on a virtual machine: %s, %s processors, %s; %s, -O3, x86-64-v3. Peers: %s. "
            "The machine is shared, so single times wander; the ratios are medians of pairs taken in turn."
            % (datetime.date.today().isoformat(), cpu["Model name"].strip(), cpu["CPU(s)"].strip(),
               platform.system() + " on " + platform.machine(),
               output("g++", "--version").splitlines()[0], versions))


def audio():
    groups = collections.defaultdict(list)
    for row in read_csv("audio_io.csv"):
        kind = "floats" if row["format"] == "FLOAT32" else "integers"
        groups[row["direction"], kind, row["block_frames"]].append(row)
    rows = []
    for direction, kind in (("read", "integers"), ("read", "floats"), ("write", "integers"),
                            ("write", "floats")):
        cells = []
        for block in ("256", "1024", "16384", "whole"):
            group = groups.get((direction, kind, block)) or groups.get((direction, kind, "0")) or []
            if not group:
                cells.append("")
                continue
            peer = statistics.median(float(row["ours_per_peer"]) for row in group)
            limit = statistics.median(float(row["ours_per_limit"]) for row in group)
            cells.append("%.2f (%.2f)" % (peer, limit))
        rows.append([direction + " " + kind] + cells)
    return "\n\n".join([
        "## Audio files",
        "Against libsndfile, per value, by frames a call; medians over formats and 1, 2 and 8 channels. "
        "In brackets the ratio to the limit: one large read or write and one pass of conversion. "
        "Writing other formats than 16 bits is the engine's; the exports write 16 bits.",
        table(["", "256", "1024", "16384", "whole file"], rows)])


def vectors():
    rows, lines = collections.defaultdict(dict), collections.defaultdict(list)
    for row in read_csv("vector.csv"):
        if row["aligned"] != "1" or float(row["ours_per_chain"]) > 0:
            continue
        n, ratio = int(row["n"]), float(row["ours_per_peer"])
        if ratio > 0:
            rows[row["kernel"]][n] = ratio
    sizes = sorted({n for ratios in rows.values() for n in ratios})
    for kernel in ("Add", "Mul", "Sqrt", "Max", "MulAcc", "FV_Mul", "FV_Abs"):
        if kernel in rows:
            lines[kernel] = list(rows[kernel].items())
    body = [[kernel] + ["%.2f" % ratios[n] if n in ratios else "" for n in sizes]
            for kernel, ratios in rows.items()]
    return "\n\n".join([
        "## Vector kernels",
        "Against VOLK, which takes the widest registers that it finds; aligned arrays. Ours use 256 bits. "
        "Max and "
        "Min propagate NaNs and order zeros, VOLK's do not. Sums are left out: their defined order costs "
        "one dependent step for every four elements, and they run at that limit.",
        table(["kernel"] + [size(n) for n in sizes], body),
        ratio_plot("vector", "Vector kernels against VOLK", "floats", lines)])


def transforms():
    rows, lines = collections.defaultdict(dict), collections.defaultdict(list)
    for row in read_csv("fft.csv"):
        if row["library"] == "ours":
            continue
        n, ratio = int(row["n"]), float(row["min_ratio"])
        rows[row["direction"], row["placement"], row["library"]][n] = ratio
        if row["placement"] == "out" and row["direction"] == "forward":
            lines[row["library"]].append((n, ratio))
    sizes = sorted({n for ratios in rows.values() for n in ratios})
    body = [["%s, %s" % (direction, {"out": "out of place", "in": "in place"}[place]), library]
            + ["%.2f" % ratios[n] if n in ratios else "" for n in sizes]
            for (direction, place, library), ratios in rows.items() if library == "fftw measure"]
    return "\n\n".join([
        "## Real Fourier transforms",
        "Against FFTW (measured plans), least times.",
        table(["", "peer"] + [str(n) for n in sizes], body),
        ratio_plot("fft", "Forward real transform, out of place", "samples", lines)])


def matrices():
    times, _ = google("matrix.json")
    names = sorted({label.rsplit("_", 1)[0] for label, _ in times})
    sizes = sorted({n for _, n in times})
    ratios = {name: [(n, times[name + "_Ours", n] / times[name + "_Eigen", n]) for n in sizes]
              for name in names}
    solver, counters = google("constrained.json")
    rows = [[n, "%.0f" % (64e9 / solver["Solve", n]), "%.0f" % counters["Solve", n]["blocks"],
             "%.2f %%" % (100.0 * solver["Allocation", n] / solver["Solve", n])]
            for n in sorted({n for _, n in solver})]
    return "\n\n".join([
        "## Matrices",
        "Against Eigen's dynamic-size float matrices with the same options; n by n.",
        table(["n"] + [str(n) for n in sizes],
              [[name] + ["%.2f" % ratio for _, ratio in points] for name, points in ratios.items()]),
        ratio_plot("matrix", "Dense matrices against Eigen", "n", ratios),
        "The constrained solver: n variables, 2n rows, n inequalities, bounds, half of the starts outside.",
        table(["n", "problems a second", "blocks of memory a problem", "time in allocation"], rows)])


def spectra():
    times, _ = google("spectrum.json")
    rows = []
    for name in ("Mul", "Div", "Abs", "MulAcc_HFV", "Energy"):
        cells = []
        for n in (64, 1024, 16384):
            ours, plain = times[name + "_Ours", n], times[name + "_Plain", n]
            peer = times.get((name + "_Peer", n))
            cells.append("%.2f / %s" % (ours / plain, "%.2f" % (ours / peer) if peer else "-"))
        rows.append(["FV " + name] + cells)
    sizes = sorted({n for label, n in times if label == "Inverse_Ours"})
    inverse = ["%.2f" % (times["Inverse_Ours", n] / times["Inverse_Peer", n]) for n in sizes]
    return "\n\n".join([
        "## Packed spectra",
        "Against the plain loop at -O3 / against VOLK.",
        table(["", "64", "1024", "16384"], rows),
        "The complex inversion against Eigen's inverse with partial pivoting:",
        table(["n"] + [str(n) for n in sizes], [["ratio"] + inverse])])


def text_files():
    rows = []
    for line in (MEASURED / "textfiles.txt").read_text().splitlines():
        times = [float(value) for value in re.findall(r"([0-9.]+) ms", line)]
        rows.append([line.split()[0]] + ["%.0f ms" % value for value in times]
                    + ["%.2f" % (times[0] / times[1])])
    return "\n\n".join([
        "## Text files",
        "A matrix of 1000 by 1000 floats; the bare loop of fprintf or fscanf is the limit that the "
        "platform's number notation sets.",
        table(["", "ours", "bare loop", "numpy", "ours / bare loop"], rows)])


def main():
    PLOTS.mkdir(exist_ok=True)
    sections = [machine(), audio(), vectors(), transforms(), matrices(), spectra(), text_files()]
    text = ("# Performance\n\nWritten by `scripts/performance` from a run of the benchmarks. A ratio is our "
            "time over the peer's: below 1\nwe are faster.\n\n" + "\n\n".join(sections) + "\n")
    (DOCS / "performance.md").write_text(text)


main()
