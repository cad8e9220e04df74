#!/usr/bin/env python3
"""What players make of the cuts of velahost: mpv, and headless Chromium with its driver and Selenium.
Prints the table of docs/cuts.md. scripts/setup.sh players installs them.

Usage: cut_players.py VELAHOST [--check] FILE...

Every chapter of each sound file is cut and played. mpv writes the samples that it would send to a
loudspeaker, and Chromium gives those of decodeAudioData() and the duration of an <audio>. They are
held against the frames of the chapter, and mpv's samples also against those of ffmpeg. --check
fails when a chapter is not whole, or longer than by the rest of its last packet.
"""
import argparse
import base64
import json
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile

from cut_figures import decoded, frames, part, run

DECODE = """
const [base64, rate, done] = arguments;
const bytes = Uint8Array.from(atob(base64), (c) => c.charCodeAt(0));
const audio = new Audio(URL.createObjectURL(new Blob([bytes], {type: "audio/mp4"})));
audio.preload = "metadata";
const duration = new Promise((resolve) => {
  audio.onloadedmetadata = () => resolve(audio.duration);
  audio.onerror = () => resolve(-1);
});
const length = new OfflineAudioContext(1, 1, rate).decodeAudioData(bytes.buffer.slice(0))
    .then((decoded) => decoded.length, () => -1);
Promise.all([length, duration]).then(done);
"""


def browser():
    from selenium import webdriver
    from selenium.webdriver.chrome.options import Options
    from selenium.webdriver.chrome.service import Service
    options = Options()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu"):
        options.add_argument(argument)
    options.binary_location = shutil.which("chromium")
    driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)
    driver.set_script_timeout(120)
    return driver


def in_chromium(driver, path, rate):
    """Frames that decodeAudioData() gives, and that an <audio> says it lasts; -1 where it fails."""
    text = base64.b64encode(path.read_bytes()).decode()
    length, duration = driver.execute_async_script(DECODE, text, rate)
    return length, round(duration * rate) if duration > 0 else -1


def in_mpv(path, rate, folder):
    """The samples of the first channel, as bytes."""
    wave = folder / "mpv.wav"
    run("mpv", "--no-config", "--no-terminal", "--no-video", "--untimed", "--ao=pcm", f"--ao-pcm-file={wave}",
        "--audio-format=float", f"--audio-samplerate={rate}", "--af=lavfi=[pan=mono|c0=c0]", path)
    sound = wave.read_bytes()
    start = sound.index(b"data") + 8
    return sound[start:start + struct.unpack_from("<I", sound, start - 4)[0]]


def values(samples, count):
    """Numbers and not bytes, of which zero has two."""
    return memoryview(part(samples, 0, count)).cast("f")


def spread(numbers):
    return f"{min(numbers)} to {max(numbers)}" if len(set(numbers)) > 1 else str(numbers[0])


class Players:
    def __init__(self):
        self.driver = browser()
        self.wrong = 0

    def compare(self, host, path, folder):
        """@return the row of a file"""
        info = json.loads(run(host, "info", path, "--json").stdout)
        if info.get("video") or not info.get("audio"):
            return f"| `{path.name}` | no sound alone |"
        rate = info["audio"]["sample_rate"]
        answer = json.loads(run(host, "extract", path, "--chapters", folder / "cuts", "--json").stdout)
        same, mpv_more, chromium_more, duration_off = 0, [], [], []
        for cut in answer["files"]:
            count, after = cut["audio"]["frames"], cut["audio"]["frames_after"]
            file = pathlib.Path(cut["output"])
            mpv = in_mpv(file, rate, folder)
            length, duration = in_chromium(self.driver, file, rate)
            same += values(mpv, count) == values(decoded(file, rate), count)
            mpv_more.append(frames(mpv) - count)
            chromium_more.append(length - count)
            duration_off.append(duration - count)
            if not all(0 <= more <= after for more in (mpv_more[-1], chromium_more[-1])) or duration != count:
                self.wrong += 1
        return (f"| `{path.name}` | {len(mpv_more)} | {spread(mpv_more)} | {same} | "
                f"{spread(chromium_more)} | {spread(duration_off)} |")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("host")
    parser.add_argument("--check", action="store_true")
    parser.add_argument("files", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    players = Players()
    try:
        print("| file | chapters | mpv: frames more | equal to ffmpeg's | decodeAudioData(): frames more "
              "| duration: frames more |\n|---|---|---|---|---|---|")
        for path in options.files:
            with tempfile.TemporaryDirectory() as folder:
                print(players.compare(options.host, path, pathlib.Path(folder)), flush=True)
    finally:
        players.driver.quit()
    return 1 if options.check and players.wrong else 0


if __name__ == "__main__":
    sys.exit(main())
