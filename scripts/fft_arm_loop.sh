#!/bin/sh
# The inner loop of a radix-4 stage as the compiler made it for 64-bit Arm: instruction counts by
# kind, and llvm-mca's estimate for a few cores.
#   scripts/fft_arm_loop.sh BUILD_DIRECTORY      (configured with --preset arm64)
set -eu
object=$1/CMakeFiles/ombrine_objects.dir/spectrum/fft_complex.cpp.o
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The stage's function, then the loop: the backward branch nearest to its target that spans the six products.
aarch64-linux-gnu-objdump -d --no-show-raw-insn -C "$object" |
    awk '/::Stage<false>.*>:$/ {p = 1; next} /^$/ {p = 0} p' >"$work/stage"
python3 - "$work/stage" >"$work/loop.s" <<'PY'
import re
import sys

lines = []
for line in open(sys.argv[1]):
    match = re.match(r"\s*([0-9a-f]+):\s+(\S+)\s*(.*)", line)
    if match:
        lines.append((int(match.group(1), 16), match.group(2), match.group(3).split(" <")[0].strip()))
best = None
for place, (address, name, operands) in enumerate(lines):
    target = re.fullmatch(r"[0-9a-f]+", operands) if name.startswith("b.") else None
    if target and int(operands, 16) < address:
        start = next(k for k, line in enumerate(lines) if line[0] == int(operands, 16))
        body = lines[start:place + 1]
        if sum(line[1] == "fmul" for line in body) >= 6 and (best is None or len(body) < len(best)):
            best = body
print("loop:")
for address, name, operands in best:
    print("\t%s\t%s" % (name, "loop" if name.startswith("b.") else operands))
PY
echo "Instructions for 16 points:"
awk '/^\t/ {n[$1]++} END {for (k in n) printf "  %-6s %d\n", k, n[k]}' "$work/loop.s" | sort
if grep -q '\[sp' "$work/loop.s"; then
    echo "spills: yes"
else
    echo "spills: none"
fi
for core in cortex-a57 thunderx2t99 tsv110; do
    printf '%-14s' "$core"
    llvm-mca -march=aarch64 -mcpu="$core" -iterations=200 "$work/loop.s" 2>/dev/null |
        awk '/^Block RThroughput/ {b = $3} /^Total Cycles/ {c = $3} /^Instructions:/ {i = $2}
             END {printf "%.1f cycles a turn of the loop, bound by units %.1f, %.2f instructions a cycle\n", c / 200, b, i / c}'
done
