#!/usr/bin/env bash
# Builds the GStreamer element and plays a file through it with gst-play-1.0: in a window where there is
# a display, with sound where there is a sound device. Usage: play.sh FILE
#
# VELA_PLAY_BUILD=FOLDER plays through the element in this build, and installs and builds nothing.
set -euo pipefail
file=$(realpath "$1")
cd "$(dirname "$0")/.."

build=$(realpath -m "${VELA_PLAY_BUILD:-build/play}")
if [ -z "${VELA_PLAY_BUILD:-}" ]; then
  scripts/setup.sh play
  {
    cmake --preset release -B "$build" -DVELA_GST=ON
    cmake --build "$build" --target gstvela vela_splitter_mp4
  } >&2
fi
element=$build/gst plugin=$build/frontend/libvela_splitter_mp4.so
for library in "$element/libgstvela.so" "$plugin"; do
  [ -f "$library" ] || { echo "play.sh: there is no $library" >&2; exit 1; }
done
# What was built comes before what the user's environment names. The framework reads one of two
# variables: GST_PLUGIN_PATH counts for nothing where the other one is set.
others=${GST_PLUGIN_PATH_1_0-${GST_PLUGIN_PATH-}}
export GST_PLUGIN_PATH_1_0=$element${others:+:$others}
export VELA_PLUGIN=$plugin
# The element has no rank of its own; this makes players prefer it. The last word for an element counts.
export GST_PLUGIN_FEATURE_RANK=${GST_PLUGIN_FEATURE_RANK:+$GST_PLUGIN_FEATURE_RANK,}velademux:MAX

sinks=()
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  echo "There is no display: the pictures are decoded and not shown."
  sinks+=(--videosink=fakevideosink)
fi
sound=
for sink in pulsesink alsasink; do
  if timeout 10 gst-launch-1.0 -q audiotestsrc num-buffers=1 volume=0 ! audioconvert ! \
    audioresample ! "$sink" > /dev/null 2>&1; then
    sound=$sink
    break
  fi
done
if [ -z "$sound" ]; then
  echo "There is no sound device: the sound is decoded and not heard."
  sound=fakeaudiosink
fi
sinks+=("--audiosink=$sound")
exec gst-play-1.0 "${sinks[@]}" "$file"
