#!/usr/bin/env bash
# Installs the Debian packages that a job needs, where they are missing.
# Usage: setup.sh run|play|package|players|test|bench|all
#   run   builds the plug-in, the reference host and the inspector
#   play  builds the GStreamer element and plays through it
#   package  makes packages; also libavformat, for cuts, and python3, for man pages
#   players  holds cuts against what mpv and Chromium make of them (scripts/cut_players.py)
#   test  builds and passes the tests
#   bench measures (bench/run.sh); also libavformat, for comparison
#   all   also the other compilers and the checks of test.sh --all
set -euo pipefail

packages=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev libfmt-dev)
job=${1:-run}
gstreamer=(pkgconf libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad
  gstreamer1.0-libav gstreamer1.0-x gstreamer1.0-tools gstreamer1.0-plugins-base-apps)
if [ "$job" = play ]; then
  # Sound comes through the system's own server where there is one.
  packages+=("${gstreamer[@]}" gstreamer1.0-alsa gstreamer1.0-pulseaudio)
elif [ "$job" = package ]; then
  packages+=(libavformat-dev pkgconf python3 dpkg-dev file)
elif [ "$job" = players ]; then
  packages+=(libavformat-dev pkgconf ffmpeg mpv chromium chromium-driver python3 python3-selenium)
elif [ "$job" = bench ]; then
  packages+=(libbenchmark-dev valgrind libavformat-dev pkgconf ffmpeg binutils python3)
elif [ "$job" != run ]; then
  packages+=(libgtest-dev libgmock-dev binutils ffmpeg ccache git python3 python3-jsonschema
    libavformat-dev man-db pkgconf zsh python3-markdown doxygen dpkg-dev file)
fi
if [ "$job" = all ]; then
  packages+=(clang-14 clang-tidy-14 clang-format-14 libclang-rt-14-dev llvm-14
    g++-12-multilib googletest g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix
    wine wine64 g++-arm-linux-gnueabi
    gcc-arm-none-eabi libstdc++-arm-none-eabi-newlib libunicorn-dev python3-pefile
    "${gstreamer[@]}" python3-gi xvfb imagemagick libbenchmark-dev valgrind
    chromium chromium-driver python3-selenium fonts-dejavu-core mediainfo atomicparsley)
fi

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then as_root=(sudo --preserve-env=DEBIAN_FRONTEND); fi
echo "installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
# A bare machine has no package lists yet. Old lists may do where no new ones can be fetched.
"${as_root[@]}" apt-get update -qq >&2 || echo "the package lists can't be refreshed" >&2
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
