#!/usr/bin/env bash
# Builds the GStreamer element and plays a file through it with gst-play-1.0: in a window where there is
# a display, with sound where there is a sound device. Usage: play.sh FILE
set -euo pipefail
file=$(realpath "$1")
cd "$(dirname "$0")/.."

scripts/setup.sh play
{
  cmake --preset release -B build/play -DVELA_GST=ON
  cmake --build build/play --target gstvela vela_splitter_mp4
} >&2
export GST_PLUGIN_PATH=$PWD/build/play/gst${GST_PLUGIN_PATH:+:$GST_PLUGIN_PATH}
# The element has no rank of its own; this makes players prefer it.
export GST_PLUGIN_FEATURE_RANK=velademux:MAX${GST_PLUGIN_FEATURE_RANK:+,$GST_PLUGIN_FEATURE_RANK}

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
