#!/usr/bin/env bash
# Makes the media of the benchmarks from test pictures and tones. Usage: make_media.sh [--short] OUT
#   f1.mp4   10 minutes of H.264 with B-frames, and AAC
#   f2.mp4   the same for 3 hours
#   f3.m4a   10 hours of AAC, mono, with 100 chapters
#   f4.mp4   120,000 pictures of variable frame rate, with an stts and a ctts entry for each
#   f5.mp4   2 seconds of the kind of f1
#   tables-N.mp4   sample tables of N bytes and nothing else
# --short makes only the two small files of the short form, which no encoder has a part in.
# What is there already is kept. Needs ffmpeg (libx264), and write_media from the bench build.
set -euo pipefail
tree=$(cd "$(dirname "$0")/.." && pwd)
writer=${VELA_WRITE_MEDIA:-$tree/build/bench/bench/write_media}
short=no
if [ "${1:-}" = --short ]; then
  short=yes
  shift
fi
if [ $# -ne 1 ] || [[ $1 == -* ]]; then
  sed -n '2,${/^# /!q;s/^# //p}' "$0" >&2
  exit 64
fi
out=$1
mkdir -p "$out"
work=$(mktemp -d "$out/unfinished.XXXXXX")
trap 'rm -rf "$work"' EXIT

most=0
note_disk_use() {
  local now
  now=$(du -sk "$out" | cut -f 1)
  if [ "$now" -gt "$most" ]; then most=$now; fi
}

# keep NAME COMMAND ...: runs the command, which writes $work/NAME, unless the file is there.
keep() {
  local name=$1
  if [ -e "$out/$name" ]; then return; fi
  "${@:2}" "$work/$name"
  note_disk_use
  mv "$work/$name" "$out/$name"
}

ff() { ffmpeg -v error -nostdin -y "$@"; }
film() { # SECONDS OUTPUT
  ff -f lavfi -i "testsrc2=size=128x96:rate=25:duration=$1" \
    -f lavfi -i "sine=frequency=440:sample_rate=44100:duration=$1" -map 0:v -map 1:a \
    -c:v libx264 -preset veryfast -bf 2 -g 50 -pix_fmt yuv420p -c:a aac -b:a 64k \
    -movflags +faststart "$2"
}
# repeated COUNT FILE: a list for ffmpeg that plays the file so often.
repeated() {
  for ((i = 0; i < $1; ++i)); do echo "file '$2'"; done
}
chapters() {
  echo ';FFMETADATA1'
  for ((i = 0; i < 100; ++i)); do
    printf '[CHAPTER]\nTIMEBASE=1/1\nSTART=%d\nEND=%d\ntitle=Chapter %d\n' \
      $((i * 360)) $((i * 360 + 360)) $((i + 1))
  done
}
long_film() { # OUTPUT
  repeated 18 "$(realpath "$out/f1.mp4")" > "$work/list"
  ff -f concat -safe 0 -i "$work/list" -c copy -movflags +faststart "$1"
}
book() { # OUTPUT
  ff -f lavfi -i "sine=frequency=330:sample_rate=44100:duration=600" -c:a aac -b:a 24k -ac 1 \
    "$work/ten-minutes.m4a"
  repeated 60 ten-minutes.m4a > "$work/list"
  chapters > "$work/chapters"
  ff -f concat -safe 0 -i "$work/list" -i "$work/chapters" -map 0:a -map_chapters 1 -c copy \
    -movflags +faststart "$1"
}

if [ "$short" = yes ]; then
  for kind in short-f1 short-f4; do keep "$kind.mp4" "$writer" "$kind"; done
else
  keep f1.mp4 film 600
  keep f2.mp4 long_film
  keep f3.m4a book
  keep f4.mp4 "$writer" f4
  keep f5.mp4 film 2
  # From 1 kB to 64 MB, each four times as long as the one before.
  for ((bytes = 1024; bytes <= 64 << 20; bytes *= 4)); do
    keep "tables-$bytes.mp4" "$writer" tables "$bytes"
  done
fi
note_disk_use
echo "$out: ${SECONDS} s, at most $((most / 1024)) MiB on the disk" >&2
