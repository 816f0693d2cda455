#!/usr/bin/env bash
# The example femur through the whole program on ORK, on MUMPS (selector -2)
# in one process, and on MUMPS across N processes under mpirun: the time
# report's solver row and total (wall), and each process's processor time
# and peak memory.
# Usage: bench/femur_processes.sh [cube side mm (1.5)] [processes (2)] [build dir (build/release)]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
h=${1:-1.5}
np=${2:-2}
bin=$(cd "${3:-$root/build/release}" && pwd)
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
work=$(mktemp -d /tmp/ossa-bench-femur.XXXXXX)
trap 'rm -rf "$work"' EXIT
run() {  # name selector launcher...
  local name=$1 sel=$2
  shift 2
  mkdir "$work/$name"
  "$bin/ossa-mkfemur" "$h" "$sel" > "$work/$name/EXEC.INP" 2>/dev/null
  (cd "$work/$name" && "$@" sh -c 'exec /usr/bin/time -f "%M %U %S" -o "mem.$$" "$0"' "$bin/ossa" > out.txt)
  local solve total mem cpu
  solve=$(awk '/MATRIX SOLUTION/ {print $4}' "$work/$name/EXEC.LOG")
  total=$(awk '/  TOTAL  / {print $3}' "$work/$name/EXEC.LOG")
  mem=$(cat "$work/$name"/mem.* | awk '{printf "%s%.0f", sep, $1 / 1024; sep = " + "}')
  cpu=$(cat "$work/$name"/mem.* | awk '{printf "%s%.1f", sep, $2 + $3; sep = " + "}')
  printf "%-18s solve %7s s  total %7s s wall; processor %s s; peak memory %s MB  (%s)\n" "$name" "$solve" \
         "$total" "$cpu" "$mem" "$(tail -1 "$work/$name/out.txt")"
}
echo "femur, cubes of $h mm: $(head -1 <("$bin/ossa-mkfemur" "$h" -1 2>&1 >/dev/null))"
run "ORK" -1 env
run "MUMPS 1 process" -2 env
run "MUMPS $np processes" -2 mpirun -np "$np" --oversubscribe
