#!/usr/bin/env python3
"""Programs that others wrote play through the element: the discoverer, the command line player, also by
run.sh, gst-launch-1.0 with the pipelines of the documentation, and playbin with a window on a screen of
its own, with chapters, and over the network.
Usage: programs_test.py WORK_FOLDER DATA_FOLDER [TEST]

The environment names the element's folder and gives it a rank above all others; VELA_PLAY_BUILD names
the build for run.sh.
"""
import array
import http.server
import json
import math
import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import wave

WORK = pathlib.Path(sys.argv[1]).resolve()
DATA = pathlib.Path(sys.argv[2]).resolve()
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
LIMIT = 40  # seconds, for everything that waits

POSITION = b" / 0:00:"  # between where the player is and how long the file is

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
        """Sends each key after its delay, and after the player has told where it is. @return what it
        wrote"""
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
        told = 0
        while player.poll() is None and time.monotonic() < end:
            if select.select([main], [], [], 0.05)[0]:
                try:
                    text += os.read(main, 65536)
                except OSError:
                    break
            if b"0:00:00." not in text:
                sent_at = time.monotonic()  # not playing yet
            elif waiting and time.monotonic() - sent_at > waiting[0][0] and \
                    text.count(POSITION) >= told + 2:
                os.write(main, waiting.pop(0)[1])
                sent_at = time.monotonic()
                told = text.count(POSITION)
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

    def test_follows_keys_for_seeks(self):
        """An audio book of 10 s: the keys move by a tenth of the length, and to the start."""
        forward, back, start, next_entry, leave = b"\x1b[C", b"\x1b[D", b"0", b">", b"q"
        book = str(DATA / "audiobook.m4a")
        text = self.play([book, str(DATA / "sample.mp4")],
                         [(0.3, forward), (0.3, forward), (0.3, back), (0.3, start), (0.3, forward),
                          (0.3, next_entry), (0.8, leave)])
        in_book = [int(minutes) * 60 + float(seconds) for minutes, seconds in
                   re.findall(r"0:(\d\d):(\d\d\.\d) / 0:00:10\.0", text)]
        # A busy machine may add moves forward of its own.
        moves = iter(after - before for before, after in zip(in_book, in_book[1:]))
        for sign in [1, 1, -1, -1, 1]:
            self.assertTrue(any(move * sign > 0.6 for move in moves), in_book)
        # The list moves on to the film.
        self.assertIn("/ 0:00:03.2", text)


class RunScript(unittest.TestCase):
    """./run.sh --play, with the element that is being tested instead of a build of its own."""

    def play(self, **settings):
        """Plays without a display and without a sound server or device. @return what was written"""
        environment = {name: value for name, value in os.environ.items()
                       if name not in ["DISPLAY", "WAYLAND_DISPLAY", "VELA_PLUGIN", "GST_PLUGIN_PATH",
                                       "GST_PLUGIN_PATH_1_0", "GST_PLUGIN_FEATURE_RANK"]}
        log = WORK / "run.log"
        environment.update(PULSE_SERVER="/nowhere", ALSA_CONFIG_PATH="/nowhere",
                           GST_DEBUG="GST_ELEMENT_FACTORY:4", GST_DEBUG_NO_COLOR="1",
                           GST_DEBUG_FILE=str(log), **settings)
        done = subprocess.run([str(ROOT / "run.sh"), "--play", str(DATA / "sample.mp4")],
                              env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=LIMIT)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertNotIn("ERROR", done.stdout + done.stderr)
        elements = re.findall(r'creating element "(\w+)"', log.read_text(errors="replace"))
        for element in ["velademux", "fakevideosink", "fakeaudiosink"]:
            self.assertIn(element, elements)
        self.assertNotIn("qtdemux", elements)  # which would take over where the first one fails
        return done.stdout

    def test_plays_to_the_end_and_says_what_is_not_shown(self):
        text = self.play()
        self.assertIn("There is no display: the pictures are decoded and not shown.", text)
        self.assertIn("There is no sound device: the sound is decoded and not heard.", text)
        self.assertIn("0:00:03.2 / 0:00:03.2", text)
        self.assertIn("Reached end of play list", text)

    def test_plays_through_what_was_built_whatever_the_environment_names(self):
        text = self.play(VELA_PLUGIN="/nowhere/plugin.so", GST_PLUGIN_PATH="/nowhere",
                         GST_PLUGIN_PATH_1_0="/nowhere/else", GST_PLUGIN_FEATURE_RANK="velademux:NONE")
        self.assertIn("Reached end of play list", text)

    def test_fails_where_the_named_build_has_no_element(self):
        done = subprocess.run([str(ROOT / "run.sh"), "--play", str(DATA / "sample.mp4")],
                              env=dict(os.environ, VELA_PLAY_BUILD="/nowhere"), capture_output=True,
                              text=True, timeout=LIMIT, stdin=subprocess.DEVNULL)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, "play.sh: there is no /nowhere/gst/libgstvela.so\n")


def documented(heading):
    """The commands below a heading of the element's documentation."""
    text = (ROOT / "docs/gstreamer.md").read_text(encoding="utf-8")
    return text.split(f"\n## {heading}\n")[1].split("```sh\n")[1].split("```")[0]


def run_in_shell(commands, folder):
    done = subprocess.run(["sh", "-e", "-c", commands], cwd=folder, stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, timeout=LIMIT)
    if done.returncode != 0:
        raise AssertionError(f"{commands}\n{done.stdout}{done.stderr}")


class DocumentedPipelines(unittest.TestCase):
    """The lines of docs/gstreamer.md, as a user copies them."""

    def setUp(self):
        scratch = tempfile.TemporaryDirectory(dir=WORK)
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)

    def sound(self, name):
        """@return the rate and the values of a WAV file with one channel of 16 bits"""
        with wave.open(str(self.folder / name)) as file:
            self.assertEqual((file.getnchannels(), file.getsampwidth()), (1, 2))
            return file.getframerate(), array.array("h", file.readframes(file.getnframes()))

    def test_export_a_chapter_with_exactly_its_samples(self):
        starts = [0, 2500, 5123, 7777, 10000]  # ms, on whole frames at 48,000 Hz
        marks = ";FFMETADATA1\n" + "".join(
            f"[CHAPTER]\nTIMEBASE=1/1000\nSTART={start}\nEND={end}\ntitle=Part at {start}\n"
            for start, end in zip(starts, starts[1:]))
        (self.folder / "marks.txt").write_text(marks)
        run_in_shell("ffmpeg -v error -f lavfi -i anoisesrc=r=48000:d=10:a=0.3:seed=9 -i marks.txt "
                     "-map_chapters 1 -c:a aac -aac_pns 0 book.m4a", self.folder)
        export = documented("A chapter, exact to the sample")
        run_in_shell(export, self.folder)
        run_in_shell(export.replace("item=3", "item=0").replace("chapter-3", "whole"), self.folder)
        rate, chapter = self.sound("chapter-3.wav")
        self.assertEqual(rate, 48000)
        self.assertEqual(len(chapter), (7777 - 5123) * 48)
        self.assertGreater(max(chapter), 1000)
        part = self.sound("whole.wav")[1][5123 * 48:7777 * 48]
        self.assertEqual([i for i, pair in enumerate(zip(part, chapter)) if pair[0] != pair[1]][:1], [],
                         "the first frame that differs")

    def packets(self, name, stream):
        text = subprocess.run(["ffprobe", "-v", "error", "-select_streams", stream, "-show_packets",
                               "-of", "json", name], cwd=self.folder, check=True, timeout=LIMIT,
                              capture_output=True, text=True).stdout
        return json.loads(text)["packets"]

    def test_copy_a_film_with_its_key_frames_and_the_order_of_its_pictures(self):
        shutil.copy(film(), self.folder / "film.mp4")
        run_in_shell(documented("A copy without decoding"), self.folder)
        expected = self.packets("film.mp4", "v")
        copied = self.packets("copy.mp4", "v")
        self.assertEqual(len(copied), 150)
        self.assertEqual([(packet["size"], packet["flags"]) for packet in copied],
                         [(packet["size"], packet["flags"]) for packet in expected])
        self.assertIn("__", [packet["flags"] for packet in copied])
        # The film's edit list takes back the time that its first picture waits.
        for kind in ["pts_time", "dts_time"]:
            begin, other = float(copied[0]["pts_time"]), float(expected[0]["pts_time"])
            for packet, model in zip(copied, expected):
                self.assertAlmostEqual(float(packet[kind]) - begin, float(model[kind]) - other,
                                       delta=0.001)
        self.assertTrue(any(packet["pts"] != packet["dts"] for packet in expected))
        self.assertEqual([packet["size"] for packet in self.packets("copy.mp4", "a")],
                         [packet["size"] for packet in self.packets("film.mp4", "a")])


def playbin(uri, name="playbin", **properties):
    """A player without a window or sound, and the names of the elements that it takes."""
    from gi.repository import Gst
    player = Gst.ElementFactory.make(name)
    player.set_property("uri", uri)
    for sink in ["audio-sink", "video-sink"]:
        player.set_property(sink, properties.get(sink.replace("-", "_"))
                            or Gst.ElementFactory.make("fakesink"))
    chosen = []

    def choose(_, element):
        if element.get_factory():
            chosen.append(element.get_factory().get_name())

    player.connect("element-setup", choose)
    return player, chosen


class Chapters(unittest.TestCase):
    def test_are_reached_by_the_table_of_contents(self):
        from gi.repository import Gst
        player, _ = playbin((DATA / "audiobook.m4a").as_uri())
        try:
            player.set_state(Gst.State.PAUSED)
            message = player.get_bus().timed_pop_filtered(
                LIMIT * Gst.SECOND, Gst.MessageType.TOC | Gst.MessageType.ERROR)
            self.assertEqual(message.type, Gst.MessageType.TOC)
            entries = message.parse_toc()[0].get_entries()
            starts = [entry.get_start_stop_times()[1] for entry in entries]
            self.assertEqual([start // Gst.MSECOND for start in starts], [0, 2500, 5123, 7777])
            for entry, start in [*zip(entries, starts)][::-1]:
                for event in [
                        Gst.Event.new_toc_select(entry.get_uid()),
                        Gst.Event.new_seek(1, Gst.Format.TIME,
                                           Gst.SeekFlags.FLUSH | Gst.SeekFlags.ACCURATE,
                                           Gst.SeekType.SET, start, Gst.SeekType.NONE, 0)]:
                    self.assertEqual(player.get_state(LIMIT * Gst.SECOND)[0],
                                     Gst.StateChangeReturn.SUCCESS)
                    self.assertTrue(player.seek_simple(
                        Gst.Format.TIME, Gst.SeekFlags.FLUSH | Gst.SeekFlags.ACCURATE,
                        4 * Gst.SECOND))
                    player.get_state(LIMIT * Gst.SECOND)
                    self.assertTrue(player.send_event(event))
                    player.get_state(LIMIT * Gst.SECOND)
                    position = player.query_position(Gst.Format.TIME)[1]
                    self.assertLess(abs(position - start), Gst.SECOND // 22050 + 1)
        finally:
            player.set_state(Gst.State.NULL)


class OneWayServer(http.server.BaseHTTPRequestHandler):
    """Sends a file from its beginning on, and nothing else."""

    def do_GET(self):
        data = film().read_bytes()
        self.send_response(200)
        self.send_header("Content-Type", "video/mp4")
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        try:
            self.wfile.write(data)
        except OSError:
            pass  # who asked has gone

    def log_message(self, *_):
        pass


class Network(unittest.TestCase):
    DOWNLOAD = 0x80  # of the player's flags

    def setUp(self):
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), OneWayServer)
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)
        self.uri = f"http://127.0.0.1:{self.server.server_port}/colours.mp4"

    def play(self, name, download):
        """@return the names of the elements, the message that ended playing, and its text"""
        from gi.repository import Gst
        player, chosen = playbin(self.uri, name)
        flags = int(player.get_property("flags"))
        player.set_property("flags", flags | self.DOWNLOAD if download else flags & ~self.DOWNLOAD)
        try:
            player.set_state(Gst.State.PLAYING)
            message = player.get_bus().timed_pop_filtered(
                LIMIT * Gst.SECOND, Gst.MessageType.EOS | Gst.MessageType.ERROR)
            self.assertIsNotNone(message)
            text = message.parse_error()[0].message if message.type == Gst.MessageType.ERROR else ""
            return chosen, message.type, text
        finally:
            player.set_state(Gst.State.NULL)

    def test_plays_with_the_download_flag(self):
        from gi.repository import Gst
        for name in ["playbin", "playbin3"]:
            with self.subTest(name):
                chosen, end, text = self.play(name, download=True)
                self.assertEqual(end, Gst.MessageType.EOS, text)
                self.assertIn("velademux", chosen)
                self.assertNotIn("qtdemux", chosen)

    def test_leaves_the_stream_to_another_demuxer_without_the_flag(self):
        from gi.repository import Gst
        for name in ["playbin", "playbin3"]:
            with self.subTest(name):
                chosen, end, text = self.play(name, download=False)
                self.assertEqual(end, Gst.MessageType.EOS, text)
                self.assertLess(chosen.index("velademux"), chosen.index("qtdemux"))


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
        from gi.repository import Gst
        sound = WORK / "sound.raw"
        player, chosen = playbin(
            film().as_uri(), video_sink=Gst.ElementFactory.make("ximagesink"),
            audio_sink=Gst.parse_bin_from_description(
                f"audioconvert ! audio/x-raw,format=S16LE ! filesink location={sound}", True))
        try:
            player.set_state(Gst.State.PAUSED)
            reached = player.get_state(LIMIT * Gst.SECOND)[0]
            error = player.get_bus().pop_filtered(Gst.MessageType.ERROR)
            self.assertIsNone(error, error and error.parse_error())
            self.assertEqual(reached, Gst.StateChangeReturn.SUCCESS)
            self.assertIn("velademux", chosen)
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
    for program in ["ffmpeg", "ffprobe", "gst-play-1.0", "gst-discoverer-1.0", "Xvfb", "import"]:
        if not shutil.which(program):
            sys.exit(f"{program} is missing: scripts/setup.sh all installs it")
    import gi
    gi.require_version("Gst", "1.0")
    from gi.repository import Gst as framework
    framework.init(None)
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
