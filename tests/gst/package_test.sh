#!/usr/bin/env bash
# Installs the element alone, makes its package, and plays a film with each of them in a folder of
# its own. Usage: package_test.sh BUILD VERSION SPLITTER FILM
set -euo pipefail
build=$1 version=$2 splitter=$3 film=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "package_test.sh: $*" >&2
  exit 1
}

# plays PREFIX: the element there finds the splitter there, and plays.
plays() {
  local prefix=$1 element found
  element=$(dirname "$(find "$prefix" -name libgstvela.so)")
  local alone=(env -u VELA_PLUGIN -u GST_PLUGIN_PATH_1_0 "GST_PLUGIN_PATH=$element"
    "GST_REGISTRY=$work/registry" "GST_REGISTRY_1_0=$work/registry")
  "${alone[@]}" gst-inspect-1.0 velademux > "$work/inspect.txt"
  found=$(sed -n 's/.*Default: "\(.*\)".*/\1/p' "$work/inspect.txt" | grep libvela_splitter_mp4)
  [ "$(realpath "$found")" = "$(realpath "$prefix/lib/libvela_splitter_mp4.so")" ] \
    || fail "$prefix: the element takes $found"
  "${alone[@]}" timeout 30 gst-launch-1.0 filesrc "location=$film" ! velademux name=d \
    d.video_0 ! queue ! fakesink d.audio_0 ! queue ! fakesink > "$work/play.txt" 2>&1 \
    || { cat "$work/play.txt"; fail "$prefix does not play"; }
  grep -q 'Got EOS' "$work/play.txt" || fail "$prefix does not play to the end"
}

# ---- installed
cmake --install "$build" --component gstreamer --prefix "$work/installed" > "$work/install.txt"
[ "$(find "$work/installed" -type f -printf '%f\n' | sort | xargs)" = "copyright libgstvela.so" ] \
  || fail "more or less than the element is installed: $(find "$work/installed" -type f)"
# As the splitter's own installation does.
install -D "$splitter" "$work/installed/lib/libvela_splitter_mp4.so"
plays "$work/installed"

# ---- packaged
(cd "$build" && cpack -B "$work/packages" > "$work/cpack.txt") \
  || { cat "$work/cpack.txt"; fail "no package"; }
deb=$(echo "$work"/packages/*.deb)
[ "$(dpkg-deb -f "$deb" Package Version | tr '\n' ' ')" = "Package: gstreamer1.0-vela Version: $version " ] \
  || fail "another package: $deb"
dpkg-deb -f "$deb" Depends > "$work/depends.txt"
grep -q "vela-splitter-mp4 (= $version)" "$work/depends.txt" || fail "the splitter is not asked for"
grep -q 'libgstreamer1.0-0 (' "$work/depends.txt" || fail "the framework is not asked for"
dpkg-deb -x "$deb" "$work/tree"
[ -f "$work/tree$(pkg-config --variable=pluginsdir gstreamer-1.0)/libgstvela.so" ] \
  || fail "the element is not where the framework looks"
install -D "$splitter" "$work/tree/usr/lib/libvela_splitter_mp4.so"
plays "$work/tree/usr"
echo "installed and packaged: $(basename "$deb")"
