# Shared by the set-up scripts: installs what the build needs from Debian's
# packages, and configures and builds a build folder.
set -euo pipefail

ZR_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
ZR_JOBS="${ZR_JOBS:-$(nproc)}"

ZR_PACKAGES=(
  build-essential cmake ninja-build pkg-config ccache python3
  zlib1g-dev libloki-dev libsystemd-dev libdw-dev
  googletest libgtest-dev libgmock-dev
  libbenchmark-dev uuid-dev libutfcpp-dev
  clang-14 libclang-rt-14-dev
)

# Peers that only the benchmarks compare with.
ZR_BENCH_PACKAGES=(qt6-base-dev libcereal-dev)

# zr_install_packages [extra packages...]
zr_install_packages() {
  local missing=()
  local p
  for p in "${ZR_PACKAGES[@]}" "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  if [ ${#missing[@]} -eq 0 ]; then
    return 0
  fi
  echo "== installing: ${missing[*]}"
  local sudo=""
  if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# zr_build DIR [cmake options...]: configure (once) and build.
zr_build() {
  local dir="$1"
  shift
  if [ ! -f "$dir/build.ninja" ]; then
    cmake -S "$ZR_ROOT" -B "$dir" -G Ninja "$@" >/dev/null
  fi
  cmake --build "$dir" -j "$ZR_JOBS"
}
