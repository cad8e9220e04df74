#!/usr/bin/env python3
"""Programs that others wrote play through the element: the discoverer, the command line player, and
playbin with a window on a screen of its own. Usage: programs_test.py WORK_FOLDER DATA_FOLDER [TEST]

The environment names the element's folder and gives it a rank above all others.
"""
import array
import math
import os
import pathlib
import pty
import select
import shutil
import subprocess
import sys
import time
import unittest

WORK = pathlib.Path(sys.argv[1])
DATA = pathlib.Path(sys.argv[2])
LIMIT = 40  # seconds, for everything that waits

COLOURS = {"red": (255, 0, 0), "lime": (0, 255, 0), "blue": (0, 0, 255)}


def film():
    """Two seconds each of red, green and blue, with a tone."""
    file = WORK / "colours.mp4"
    if not file.exists():
        inputs = []
        for colour in COLOURS:
            inputs += ["-f", "lavfi", "-i", f"color={colour}:size=320x240:rate=25:duration=2"]
        command = ["ffmpeg", "-v", "error", "-y", *inputs, "-f", "lavfi", "-i", "sine=440:duration=6.2",
                   "-filter_complex", "[0][1][2]concat=n=3", "-c:v", "libx264", "-g", "25",
                   "-pix_fmt", "yuv420p", "-c:a", "aac", str(WORK / "unfinished.mp4")]
        subprocess.run(command, check=True, timeout=LIMIT, stdin=subprocess.DEVNULL)
        (WORK / "unfinished.mp4").rename(file)
    return file


class Discoverer(unittest.TestCase):
    def test_tells_duration_streams_tags_and_chapters(self):
        done = subprocess.run(["gst-discoverer-1.0", "-v", "--toc", str(DATA / "sample.mp4")],
                              capture_output=True, text=True, timeout=LIMIT, check=True)
        for part in ["Duration: 0:00:03.2232199", "Seekable: yes", "artist: Signal generator",
                     "datetime: 2024", "title: Opening", "title: Mittelteil – größer",
                     "start: 0:00:01.000000000 stop: 0:00:02.250000000", "H.264", "MPEG-4 AAC",
                     "Width: 128"]:
            self.assertIn(part, done.stdout)


class Player(unittest.TestCase):
    """gst-play-1.0 on a terminal."""

    def play(self, arguments, keys):
        """Sends each key after its delay. @return what the player wrote"""
        main, terminal = pty.openpty()
        # The element's own messages show that it was chosen.
        environment = dict(os.environ, TERM="xterm", GST_DEBUG="GST_ELEMENT_FACTORY:4",
                           GST_DEBUG_NO_COLOR="1", GST_DEBUG_FILE=str(WORK / "player.log"))
        player = subprocess.Popen(["gst-play-1.0", "--videosink=fakevideosink",
                                   "--audiosink=fakeaudiosink", *arguments],
                                  stdin=terminal, stdout=terminal, stderr=terminal, env=environment)
        os.close(terminal)
        text = b""
        end = time.monotonic() + LIMIT
        sent_at = time.monotonic()
        waiting = list(keys)
        while player.poll() is None and time.monotonic() < end:
            if select.select([main], [], [], 0.05)[0]:
                try:
                    text += os.read(main, 65536)
                except OSError:
                    break
            if b"0:00:00." not in text:
                sent_at = time.monotonic()  # not playing yet
            elif waiting and time.monotonic() - sent_at > waiting[0][0]:
                os.write(main, waiting.pop(0)[1])
                sent_at = time.monotonic()
        try:
            player.wait(5)
        except subprocess.TimeoutExpired:
            player.kill()
            player.wait()
            self.fail("the player did not end:\n" + text.decode(errors="replace")[-500:])
        finally:
            os.close(main)
        self.assertEqual(player.returncode, 0)
        self.assertIn("velademux", (WORK / "player.log").read_text(errors="replace"))
        return text.decode(errors="replace")

    def test_plays_a_film_to_its_end(self):
        for playbin in [[], ["--use-playbin3"]]:
            with self.subTest(playbin):
                text = self.play([*playbin, str(DATA / "sample.mp4")], [])
                self.assertIn("Reached end of play list", text)
                self.assertIn("0:00:03.2 / 0:00:03.2", text)

    def test_follows_keys_for_seeks_and_chapters(self):
        """An audio book of 10 s and its four chapters: forwards, to the start, and on."""
        forward, back, start, next_entry, leave = b"\x1b[C", b"\x1b[D", b"0", b">", b"q"
        book = str(DATA / "audiobook.m4a")
        text = self.play([book, str(DATA / "sample.mp4")],
                         [(0.3, forward), (0.3, forward), (0.3, back), (0.3, start), (0.3, forward),
                          (0.3, next_entry), (0.8, leave)])
        # The player moves by a tenth of the length with each key. It has none for chapters, so these
        # are reached by seeks; its list moves on to the film.
        self.assertIn("/ 0:00:10.0", text)
        self.assertIn("/ 0:00:03.2", text)


class Window(unittest.TestCase):
    """playbin with a window, on a virtual screen."""

    def setUp(self):
        # The screen ends when nobody could read its number any more.
        reading, writing = os.pipe()
        self.addCleanup(os.close, reading)
        self.screen = subprocess.Popen(["Xvfb", "-displayfd", str(writing), "-screen", "0",
                                        "640x480x24", "-nolisten", "tcp"], pass_fds=[writing],
                                       stderr=subprocess.DEVNULL)
        os.close(writing)
        self.assertTrue(select.select([reading], [], [], LIMIT)[0], "no virtual screen")
        self.display = ":" + os.read(reading, 16).decode().strip()

    def tearDown(self):
        self.screen.terminate()
        self.screen.wait()

    def pixel(self):
        """Colour in the middle of the window, which has the top left corner of the screen."""
        shot = WORK / "screen.png"
        subprocess.run(["import", "-window", "root", str(shot)], check=True, timeout=LIMIT,
                       env=dict(os.environ, DISPLAY=self.display))
        text = subprocess.run(["convert", str(shot), "-format",
                               "%[fx:int(255*p{160,120}.r)] %[fx:int(255*p{160,120}.g)] "
                               "%[fx:int(255*p{160,120}.b)]", "info:"],
                              check=True, capture_output=True, text=True, timeout=LIMIT).stdout
        return [int(value) for value in text.split()]

    def test_shows_the_picture_at_each_position_and_sounds(self):
        os.environ["DISPLAY"] = self.display
        import gi
        gi.require_version("Gst", "1.0")
        from gi.repository import Gst
        Gst.init(None)
        sound = WORK / "sound.raw"
        player = Gst.ElementFactory.make("playbin")
        player.set_property("uri", film().as_uri())
        player.set_property("video-sink", Gst.ElementFactory.make("ximagesink"))
        player.set_property("audio-sink", Gst.parse_bin_from_description(
            f"audioconvert ! audio/x-raw,format=S16LE ! filesink location={sound}", True))
        chosen = []
        player.connect("element-setup", lambda _, element: chosen.append(element.get_factory()))
        try:
            player.set_state(Gst.State.PAUSED)
            reached = player.get_state(LIMIT * Gst.SECOND)[0]
            error = player.get_bus().pop_filtered(Gst.MessageType.ERROR)
            self.assertIsNone(error, error and error.parse_error())
            self.assertEqual(reached, Gst.StateChangeReturn.SUCCESS)
            self.assertIn("velademux", [factory.get_name() for factory in chosen if factory])
            for seconds, colour in [(3, "lime"), (5, "blue"), (1, "red")]:
                self.assertTrue(player.seek_simple(
                    Gst.Format.TIME, Gst.SeekFlags.FLUSH | Gst.SeekFlags.ACCURATE,
                    seconds * Gst.SECOND))
                self.assertEqual(player.get_state(LIMIT * Gst.SECOND)[0],
                                 Gst.StateChangeReturn.SUCCESS)
                self.assertEqual(player.query_position(Gst.Format.TIME)[1] // 10000000,
                                 seconds * 100)
                end = time.monotonic() + 5  # until the screen has drawn it
                while time.monotonic() < end:
                    shown = self.pixel()
                    far = max(abs(a - b) for a, b in zip(shown, COLOURS[colour]))
                    if far < 30:
                        break
                    time.sleep(0.1)
                self.assertLess(far, 30, f"{shown} at {seconds} s is not {colour}")
            player.set_state(Gst.State.PLAYING)
            message = player.get_bus().timed_pop_filtered(
                LIMIT * Gst.SECOND, Gst.MessageType.EOS | Gst.MessageType.ERROR)
            self.assertIsNotNone(message)
            self.assertEqual(message.type, Gst.MessageType.EOS)
        finally:
            player.set_state(Gst.State.NULL)
        values = array.array("h", sound.read_bytes())
        loudness = math.sqrt(sum(value * value for value in values) / len(values)) / 32768
        self.assertGreater(loudness, 0.02)


if __name__ == "__main__":
    WORK.mkdir(parents=True, exist_ok=True)
    for program in ["ffmpeg", "gst-play-1.0", "gst-discoverer-1.0", "Xvfb", "import"]:
        if not shutil.which(program):
            sys.exit(f"{program} is missing: scripts/setup.sh all installs it")
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
