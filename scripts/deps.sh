#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need,
# and only those that are missing. Sourced by the other scripts.
OSSA_PACKAGES=(
  g++ cmake ninja-build pkg-config
  libmetis-dev libgtest-dev
  libmumps-dev mpi-default-dev openmpi-bin libhypre-dev
  libeigen3-dev libsuitesparse-dev libopenblas-dev
  python3 python3-meshio
  afl++ clang libomp-dev
  libgmsh-dev nlohmann-json3-dev libnifti2-dev gnuplot-nox libgdcm-dev
)

ossa_install_deps() {
  local missing=()
  for p in "${OSSA_PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "ossa: installing missing packages: ${missing[*]}"
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}
