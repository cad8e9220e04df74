#!/usr/bin/env bash
# Makes the media files of the tests from synthetic pictures and tones. The results are committed;
# this is run again only to add a file or to change one, because encoders differ between versions.
# Needs ffmpeg (libx264, libmp3lame) and python3-mutagen. Usage: make_media.sh [OUTPUT FOLDER]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
out=$(realpath -m "${1:-$here}")
mkdir -p "$out"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

make() { ffmpeg -v error -y "$@"; }
picture() { echo -f lavfi -i "testsrc2=size=$1:rate=$2:duration=$3"; }
tone() { echo -f lavfi -i "sine=frequency=$1:sample_rate=$2:duration=$3"; }
exact="-fflags +bitexact -flags:v +bitexact -flags:a +bitexact"
h264="-c:v libx264 -preset veryslow -crf 30 -pix_fmt yuv420p"

cat > film.txt <<'META'
;FFMETADATA1
artist=Signal generator
genre=Documentary
date=2024
[CHAPTER]
TIMEBASE=1/1000
START=0
END=1000
title=Opening
[CHAPTER]
TIMEBASE=1/1000
START=1000
END=2250
title=Mittelteil – größer
[CHAPTER]
TIMEBASE=1/1000
START=2250
END=3000
title=終わり
META
make $(picture 128x96 25 3) $(tone 440 44100 3.2) -i film.txt -map 0:v -map 1:a \
  -map_chapters 2 $h264 -bf 2 -g 20 -c:a aac -b:a 40k $exact -map_metadata 2 \
  -movflags +faststart "$out/sample.mp4"

cat > book.txt <<'META'
;FFMETADATA1
[CHAPTER]
TIMEBASE=1/1000
START=0
END=2500
title=Kapitel 1
[CHAPTER]
TIMEBASE=1/1000
START=2500
END=5123
title=Chapitre deux – à côté
[CHAPTER]
TIMEBASE=1/1000
START=5123
END=7777
title=第三章
[CHAPTER]
TIMEBASE=1/1000
START=7777
END=10000
title=🎵 Four
META
make $(tone 330 22050 10) -i book.txt -map_chapters 1 -map_metadata 1 $exact -c:a aac \
  -b:a 24k "$out/audiobook.m4a"

# Chapters that meet between two frames, so that one is left out before the third and one is repeated
# before the fourth; titles that are no file names. Without noise substitution, whose noise a decoder
# makes up as it goes.
sed -e '/^\[CHAPTER\]/,$d' book.txt > parts.txt
for part in '0 1004 Same' '1004 2008 Same' '2008 3014 ../Up: "and" away?' '3014 4000 .' '4000 5000 '; do
  read -r from to title <<< "$part"
  printf '[CHAPTER]\nTIMEBASE=1/1000\nSTART=%s\nEND=%s\ntitle=%s\n' "$from" "$to" "$title"
done >> parts.txt
make $(tone 600 44100 5) -i parts.txt -map_chapters 1 -map_metadata 1 $exact \
  -c:a aac -b:a 32k -aac_pns 0 -af "tremolo=f=3:d=0.8" "$out/chapters.m4a"

make $(tone 523 32000 2) $exact -c:a aac -b:a 24k "$out/text.m4a"

make $(picture 96x64 25 2) $(tone 440 44100 2) -map 0:v -map 1:a $exact -c:v mpeg4 -bf 2 -g 10 \
  -q:v 12 -c:a libmp3lame -b:a 40k -ac 1 "$out/asp-mp3.mp4"

make $(tone 660 22050 3) $exact -c:a libmp3lame -q:a 8 "$out/mp3-only.mp4"

make $(picture 128x96 24 4) $exact $h264 -bf 3 -g 24 -movflags +faststart "$out/h264-only.mp4"

make $(picture 64x48 25 1) $(tone 440 44100 1) -map 0:v -map 1:a $exact $h264 -bf 2 -c:a aac \
  -b:a 24k -movflags +negative_cts_offsets "$out/negative-offsets.mp4"

/usr/bin/python3 - "$out" <<'PYTHON'
import sys
from mutagen.mp4 import MP4, MP4FreeForm

def free(name, *values):
    return "----:com.apple.iTunes:" + name, [
        MP4FreeForm(v if isinstance(v, bytes) else v.encode("utf-8")) for v in values]

folder = sys.argv[1]
book = MP4(folder + "/audiobook.m4a")
if book.tags is None:
    book.add_tags()
book["\xa9ART"] = ["First Reader"]
book["\xa9alb"] = ["Short Tales"]
book["\xa9wrt"] = ["A. Writer"]
book["\xa9day"] = ["2023"]
book["\xa9cmt"] = ["line one\nline two"]
book["\xa9gen"] = ["Audiobook"]
book["trkn"] = [(3, 12)]
book["disk"] = [(1, 2)]
book["tmpo"] = [120]
book["cpil"] = True
for name, values in (
        free("replaygain_track_gain", "-6.54 dB"),
        free("replaygain_track_peak", "0.988553"),
        free("replaygain_album_gain", "+1.20 dB"),
        free("REPLAYGAIN_ALBUM_PEAK", "1.000000"),
        # Names that differ in case only become further values of one tag; of several values in one
        # item the last one stays.
        free("ARTIST", "Zweite Stimme"),
        free("Artist", "三人目"),
        free("MOOD", "calm", "bright"),
        free("DATE", "1999")):
    book[name] = values
book.save()

text = MP4(folder + "/text.m4a")
if text.tags is None:
    text.add_tags()
text["\xa9nam"] = ["two é three € four 𝄞"]
text["\xa9ART"] = [""]
for name, values in (
        free("invalid", b"broken \xff\xc3 bytes"),
        free("overlong", b"\xc0\xaf slash"),
        free("surrogate", b"\xed\xa0\x80 half"),
        free("zero inside", b"before\x00after"),
        free("zero first", b"\x00hidden"),
        free("empty", b""),
        # The tool writes names as Latin-1: the first name arrives as valid UTF-8, the second not.
        free("Größe".encode("utf-8").decode("latin-1"), "name in UTF-8"),
        free("Maß", "name in Latin-1")):
    text[name] = values
text.save()
PYTHON
ls -l "$out"/*.mp4 "$out"/*.m4a
