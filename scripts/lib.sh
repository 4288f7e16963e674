# shellcheck shell=bash
# Shared by the scripts of this folder: where the project is, how it is built, and how a bare Debian
# machine comes to have what it takes.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
program=$(basename "$0")
jobs=$(nproc 2>/dev/null || echo 2)

# The Debian packages behind a job.
packages_for() {
  case "$1" in
    build) echo g++ cmake ninja-build libcli11-dev libfmt-dev nlohmann-json3-dev libexif-dev libarchive-dev nettle-dev libxxhash-dev libavcodec-dev libavutil-dev ;;
    test) echo libgtest-dev libgmock-dev python3 ffmpeg clang-format shellcheck pkgconf doxygen dpkg-dev file chromium man-db zsh fish strace parallel xxhash zstd ;;
    coverage) echo clang llvm ;;
    sanitizers) echo clang libclang-rt-14-dev ;;
    format) echo clang-format ;;
    bench) echo python3 ffmpeg mkvtoolnix time util-linux ;;
    package) echo dpkg-dev file ;;
    docs) echo doxygen ;;
    clips) echo python3 ffmpeg fonts-dejavu-core libimage-exiftool-perl ;;
    *) fail "no packages known for $1" ;;
  esac
}

say() { printf '%s: %s\n' "$program" "$*"; }
fail() {
  say "$*" >&2
  exit 1
}

# Prints the comment at the head of the script that runs, and ends it.
usage() {
  sed -n '2,/^[^#]/{/^[^#]/d;s/^# \{0,1\}//;p}' "$0"
  exit 0
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    fail "not root, and there is no sudo to install packages with"
  fi
}

installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

# Installs the packages behind the jobs named, as far as they are missing. The package lists are
# fetched only when those at hand do not do.
need() {
  local wanted=() missing=() job package
  for job in "$@"; do
    read -ra wanted <<<"${wanted[*]} $(packages_for "$job")"
  done
  if ! command -v dpkg-query >/dev/null; then
    say "this is no Debian system; what is needed goes there by the names ${wanted[*]}"
    return 0
  fi
  for package in "${wanted[@]}"; do
    installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "installing ${missing[*]}"
  install_packages "${missing[@]}" && return 0
  say "fetching the package lists first"
  as_root apt-get update -qq </dev/null || fail "the package lists could not be fetched"
  install_packages "${missing[@]}" || fail "could not install ${missing[*]}"
}

install_packages() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@" \
    </dev/null >/dev/null
}

# Configures and builds a preset; further arguments go to the build.
build() {
  local preset=$1
  shift
  if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER=${CMAKE_C_COMPILER_LAUNCHER-ccache}
    export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
  fi
  say "building $preset"
  (cd "$root" && cmake --preset "$preset" >/dev/null && cmake --build --preset "$preset" -j "$jobs" "$@")
}
