# Shared by the scripts in this folder; sourced, not run.

say() { printf '\n== %s\n' "$*"; }

# Installs the packages named, those that are missing; root's rights only when we have none.
install_packages() {
  local package missing=()
  for package in "$@"; do
    dpkg-query -W -f='${db:Status-Abbrev}' "$package" 2>/dev/null | grep -q '^ii' ||
      missing+=("$package")
  done
  [ "${#missing[@]}" -gt 0 ] || return 0
  say "installing ${missing[*]}"
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -q
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -qy --no-install-recommends "${missing[@]}"
}

BUILD_PACKAGES=(g++ cmake ninja-build libpng-dev libjpeg62-turbo-dev libtiff-dev zlib1g-dev
  libcli11-dev nlohmann-json3-dev)
TEST_PACKAGES=(git python3 clang-format clang-tidy googletest libgtest-dev libgmock-dev
  pkg-config)
WINDOWS_PACKAGES=(g++-mingw-w64-x86-64-posix mingw-w64-tools wine wine64 nsis)
ARM64_PACKAGES=(g++-aarch64-linux-gnu libc6-dev-arm64-cross qemu-user)
FUZZ_PACKAGES=(clang libclang-rt-dev)  # the second has libFuzzer and the sanitizers
BENCH_PACKAGES=(libswscale-dev libyuv-dev)  # the yardsticks
DEBIAN_PACKAGES=(dpkg-dev file fakeroot)  # what Debian packages are made with
