#!/usr/bin/env bash
# The example femur through the whole program on ORK, the thread count of
# "CNTR3" set to 1 and to N in turn, several times: the time report's solver
# row and total (wall), the load average before each run, and the ratio of
# the best totals. The result files of the runs are compared byte for byte.
# Usage: bench/femur_threads.sh [cube side mm (1.5)] [threads (2)] [repeats (3)] [build dir (build/rel)]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
h=${1:-1.5}
nt=${2:-2}
reps=${3:-3}
bin=$(cd "${4:-$root/build/rel}" && pwd)
work=$(mktemp -d /tmp/ossa-bench-femur-thr.XXXXXX)
trap 'rm -rf "$work"' EXIT
echo "femur, cubes of $h mm: $(head -1 <("$bin/ossa-mkfemur" "$h" -1 2>&1 >/dev/null))"
"$bin/ossa-mkfemur" "$h" -1 > "$work/deck" 2>/dev/null
declare -A best
for r in $(seq "$reps"); do
  for t in 1 "$nt"; do
    d="$work/t$t"
    rm -rf "$d" && mkdir "$d"
    # Columns 46-50 of "CNTR3": the thread count.
    sed -E "s/^(CNTR3.{40}).{5}/\1$(printf '%5d' "$t")/" "$work/deck" > "$d/EXEC.INP"
    ld=$(cut -d' ' -f1 /proc/loadavg)
    (cd "$d" && "$bin/ossa" > out.txt)
    solve=$(awk '/MATRIX SOLUTION/ {print $4}' "$d/EXEC.LOG")
    total=$(awk '/  TOTAL  / {print $3}' "$d/EXEC.LOG")
    printf "%d thread(s): solve %8s s  total %8s s wall  [load %s before]\n" "$t" "$solve" "$total" "$ld"
    if [[ -z "${best[$t]:-}" ]] || awk "BEGIN {exit !($total < ${best[$t]})}"; then best[$t]=$total; fi
  done
  # The log differs in its times only; the result files must be the same bytes.
  for f in "$work/t1"/*; do
    case $(basename "$f") in EXEC.LOG | EXEC.INP | out.txt) continue ;; esac
    cmp -s "$f" "$work/t$nt/$(basename "$f")" && echo "  $(basename "$f") the same bytes" || echo "  $(basename "$f") DIFFERS"
  done
done
awk -v a="${best[1]}" -v b="${best[$nt]}" -v n="$nt" \
  'BEGIN {printf "best total on %d threads over best on 1: %.3f  [load %s]\n", n, b / a, "'"$(cut -d' ' -f1 /proc/loadavg)"'"}'
