#!/usr/bin/env bash
# The CG with incomplete Cholesky against the CG with algebraic multigrid
# (column 81 of "CNTRL" = 3) through the whole program, on the example femur
# and on a cube of tetrahedra clamped at x = 0 and pulled sideways at the
# far face, both at the CG tolerance of their decks. Prints for each: the
# equations, the CG iterations of the first solve, the time report's solver
# row and total (wall), the processor time and the peak memory of the job.
# The processor time is the figure to compare on a shared machine; the
# multigrid's set-up is inside the solver row. Then, with a fourth argument
# N, a cube of N cells a side (about 3 (N+1)^3 equations; 68 gives a million)
# with the multigrid alone. The load averages of the machine come first.
# Usage: bench/amg_vs_ic.sh [femur cube side mm (1.26: 208 000 equations)] [cube cells a side (30)]
#        [build dir (build/rel)] [large cube cells a side]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
h=${1:-1.26}
n=${2:-30}
bin=$(cd "${3:-$root/build/rel}" && pwd)
big=${4:-}
work=$(mktemp -d /tmp/ossa-bench-amg.XXXXXX)
trap 'rm -rf "$work"' EXIT

# The cube: N^3 cells, six tetrahedra each, modulus 17000, one load step.
cube() {
  awk -v N="$n" 'BEGIN {
    nn = (N + 1) ^ 3; ne = 6 * N ^ 3
    printf "CNTND     %10d\nCNTEL%10d%10d%10d%10d%10d\n", nn, ne, 0, 0, 0, 0
    printf "CNTRL0000  20  %10.4f%10.4f%20s%8d%10.3E%7s%1d%9.1f\n", 0.001, 0.001, "", 0, 1e-8, "", 1, 4000.0
    printf "CNTR2%10.4f%5d%3d%3d%4d%3d\nCNTR3%5s%30s%5d%5d\n", 0, 0, 10, 1, 1, 0, "", "", -1, 0
    printf "PRPLT%5s%1d%1d%3s%5d\nKUKAN%15.4f%10d\n", "", 0, 0, "", 1, 1.0, 1
    for (k = 0; k <= N; k++) for (j = 0; j <= N; j++) for (i = 0; i <= N; i++)
      printf "NODE %10d%15.6f%15.6f%15.6f\n", id(i, j, k), i / N, j / N, k / N
    split("1 2 4 1 4 2 2 1 4 2 4 1 4 1 2 4 2 1", P, " ")
    e = 0
    for (k = 0; k < N; k++) for (j = 0; j < N; j++) for (i = 0; i < N; i++)
      for (t = 0; t < 6; t++) {
        b1 = P[3 * t + 1]; b2 = b1 + P[3 * t + 2]
        # odd paths turn the other way: swap two corners to keep the volume positive
        if (t == 0 || t == 3 || t == 4) { x = b1; b1 = b2; b2 = x }
        printf "SOLID%10d%10d%10d%10d%10d\n", ++e, c(i, j, k, 0), c(i, j, k, b1), c(i, j, k, b2), c(i, j, k, 7)
      }
    for (e = 1; e <= ne; e++)
      printf "PROPT00002%10d%10.5f%10.3E%10.3E%10.3E%10.3E%10.4f%10.4f%10.4f%10.1f\n", e, 0.3, 17000, 0, 0, 0, 0, 0, 0, 0
    printf "NGLD %5d\nNPLNK%5s%7d\n", 1, "", (N + 1) ^ 2
    printf "NLOAD%5s%5d%10d\nTBLLD%15.6f%15.6f\nTBLLD%15.6f%15.6f\n", "", 2, (N + 1) ^ 2, 0, 0, 1, 1
    for (k = 0; k <= N; k++) for (j = 0; j <= N; j++)
      printf "FORCE%10d%15.8E%15.8E%15.8E%15.8E%15.8E%15.8E\n", id(N, j, k), 0, 0, -1, 0, 0, 0
    for (k = 0; k <= N; k++) for (j = 0; j <= N; j++) printf "PLNK %10d111   \n", id(0, j, k)
    print "END"
  }
  function id(i, j, k) { return 1 + i + (N + 1) * (j + (N + 1) * k) }
  function c(i, j, k, b) { return id(i + b % 2, j + int(b / 2) % 2, k + int(b / 4) % 2) }'
}

# Column 81 of the "CNTRL" card set to PRE.
precon() { awk -v p="$1" '/^CNTRL/ { l = $0; while (length(l) < 90) l = l " "; $0 = substr(l, 1, 80) p substr(l, 82) } { print }'; }

run() {  # model precon deck-file
  local d="$work/$1-$2"
  mkdir "$d"
  precon "$2" < "$3" > "$d/EXEC.INP"
  (cd "$d" && /usr/bin/time -f "%M %U %S" -o mem "$bin/ossa" > out.txt)
  local neq its solve total
  neq=$(awk '/NUMBER OF EQUATIONS/ {print $NF}' "$d/EXEC.LOG")
  its=$(awk '/CG ITER/ {getline; print $NF; exit}' "$d/EXEC.LOG")
  solve=$(awk '/MATRIX SOLUTION/ {print $4}' "$d/EXEC.LOG")
  total=$(awk '/  TOTAL  / {print $3}' "$d/EXEC.LOG")
  printf "%-6s %-4s %8s eq  %5s iterations  solve %7s s  total %7s s wall  processor %6.1f s  peak %6.0f MB  (%s)\n" \
         "$1" "$([ "$2" = 3 ] && echo AMG || echo 'IC')" "$neq" "$its" "$solve" "$total" \
         "$(awk '{print $2 + $3}' "$d/mem")" "$(awk '{print $1 / 1024}' "$d/mem")" "$(tail -1 "$d/out.txt")"
}

echo "load average: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"
"$bin/ossa-mkfemur" "$h" 0 > "$work/femur.inp" 2>/dev/null
cube > "$work/cube.inp"
for model in femur cube; do
  for p in 1 3; do run "$model" "$p" "$work/$model.inp"; done
done
if [ -n "$big" ]; then
  n=$big cube > "$work/big.inp"
  run big 3 "$work/big.inp"
  rm "$work/big.inp"
fi
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg)"
