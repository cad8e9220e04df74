#!/usr/bin/env python3
"""Opens the pages of velainspect report in headless Chromium and looks at what a reader would see.
Usage: page_test.py VELAINSPECT PLUGIN DATA_FOLDER [SCREENSHOT_FOLDER]

Ends with 77, which ctest shows as skipped, where Chromium, its driver or Selenium is not installed.
With a folder for screenshots each page is also saved there as a picture.
"""
import contextlib
import os
import pathlib
import random
import shutil
import struct
import subprocess
import sys
import tempfile

SKIPPED = 77
WIDTHS = (400, 1600)
SCHEMES = ("light", "dark")
MOST_BYTES = 3_000_000
MOST_SECONDS = 2.0
LONG_SECONDS = 36_000
HOSTILE = "</script><script>window.pwned=1</script><img src=x onerror=window.pwned=1>\u202e&amp;"
HOSTILE_NAME = "<img src=x onerror=window.pwned=1>.m4a"


def box(kind, *payload):
    body = b"".join(payload)
    return struct.pack(">I", 8 + len(body)) + kind + body


def full(kind, *payload):
    return box(kind, bytes(4), *payload)


def numbers(*values):
    return struct.pack(f">{len(values)}I", *values)


def descriptor(tag, *payload):
    body = b"".join(payload)
    return bytes([tag, len(body)]) + body


def audio_file(path, sizes, rate, user_data=b""):
    """Writes a file of AAC packets of these sizes, 50 to a chunk. The packets themselves are a hole."""
    frames = 1024
    per_chunk = 50
    decoder = descriptor(4, bytes([0x40, 0x15]), bytes(11), descriptor(5, bytes([0x13, 0x88])))
    esds = full(b"esds", descriptor(3, bytes(3), decoder, descriptor(6, b"\x02")))
    entry = box(b"mp4a", bytes(6), struct.pack(">H", 1), bytes(8), struct.pack(">HHHHHH", 2, 16, 0, 0, rate, 0), esds)
    chunks = [sum(sizes[i:i + per_chunk]) for i in range(0, len(sizes), per_chunk)]

    def movie(start):
        offsets = [start]
        for size in chunks[:-1]:
            offsets.append(offsets[-1] + size)
        table = box(
            b"stbl", full(b"stsd", numbers(1), entry), full(b"stts", numbers(1, len(sizes), frames)),
            full(b"stsc", numbers(1, 1, per_chunk, 1)), full(b"stsz", numbers(0, len(sizes), *sizes)),
            full(b"stco", numbers(len(offsets), *offsets)))
        header = full(b"mdhd", numbers(0, 0, rate, len(sizes) * frames), bytes(4))
        handler = full(b"hdlr", bytes(4), b"soun", bytes(13))
        track = box(b"trak", box(b"mdia", header, handler, box(b"minf", table)))
        mvhd = full(b"mvhd", numbers(0, 0, 1000, len(sizes) * frames * 1000 // rate), bytes(80))
        return box(b"moov", mvhd, track, box(b"udta", user_data) if user_data else b"")

    head = len(movie(0)) + 8
    media = sum(sizes)
    with open(path, "wb") as out:
        out.write(movie(head))
        out.write(struct.pack(">I", 8 + media) + b"mdat")
        out.truncate(head + media)


def text_item(kind, text):
    return box(kind, box(b"data", numbers(1, 0), text.encode()))


def chapter_list(*titles):
    marks = b"".join(struct.pack(">QB", i * 5_000_000, len(title.encode())) + title.encode()
                     for i, title in enumerate(titles))
    return box(b"chpl", b"\x01", bytes(4), numbers(len(titles)), marks)


def make_files(folder, data):
    """The files whose pages are looked at, by the claim that they stand for."""
    rng = random.Random(1)
    hostile = folder / HOSTILE_NAME
    picture = bytes.fromhex(
        "89504e470d0a1a0a0000000d4948445200000001000000010806000000"
        "1f15c4890000000d49444154789c63f8cfc0f01f00050001ff56c72f0d0000000049454e44ae426082")
    items = box(b"ilst", text_item(b"\xa9nam", HOSTILE), text_item(b"\xa9cmt", "word " * 400),
                box(b"covr", box(b"data", numbers(14, 0), picture)))
    audio_file(hostile, [rng.randrange(100, 300) for _ in range(200)], 44100,
               full(b"meta", items) + chapter_list(HOSTILE, "W" * 200))
    long = folder / "ten hours.m4a"
    count = LONG_SECONDS * 44100 // 1024
    audio_file(long, [rng.randrange(100, 700) for _ in range(count)], 44100)
    broken = folder / "broken.mp4"
    broken.write_bytes((data / "sample.mp4").read_bytes()[:3000])
    nothing = folder / "no boxes.mp4"
    nothing.write_text("This is no MP4 file.")
    return {"film": data / "sample.mp4", "book": data / "audiobook.m4a", "hostile": hostile,
            "long": long, "broken": broken, "nothing": nothing}


def report(program, plugin, file, page):
    subprocess.run([program, "report", str(file), "-o", str(page), "--plugin", plugin], check=True)


@contextlib.contextmanager
def browser():
    from selenium import webdriver
    from selenium.webdriver.chrome.options import Options
    from selenium.webdriver.chrome.service import Service
    options = Options()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    options.binary_location = shutil.which("chromium")
    driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)
    try:
        yield driver
    finally:
        driver.quit()


# What follows runs in the page; each returns a list of complaints.
JS_OVERFLOW = """
const found = [];
const root = document.documentElement;
if (root.scrollWidth > root.clientWidth) found.push(`the page is ${root.scrollWidth} px wide`);
for (const element of document.querySelectorAll("section *, header *")) {
  if (element.closest(".frame, canvas, .u-under, .u-over") || element.closest(".uplot")) continue;
  const box = element.getBoundingClientRect();
  if (box.right > root.clientWidth + 1) found.push(`${element.tagName} ends at ${box.right}`);
}
return found;
"""
JS_OVERLAP = """
const found = [];
const apart = (elements) => {
  const boxes = elements.map((e) => [e, e.getBoundingClientRect()]).filter(([e, b]) => b.width && b.height);
  for (let i = 0; i < boxes.length; ++i) for (let k = i + 1; k < boxes.length; ++k) {
    const [a, b] = [boxes[i][1], boxes[k][1]];
    if (a.right > b.left + 1 && b.right > a.left + 1 && a.bottom > b.top + 1 && b.bottom > a.top + 1) {
      found.push(`${boxes[i][0].tagName}.${boxes[i][0].className} over ${boxes[k][0].tagName}.${boxes[k][0].className}`);
    }
  }
};
apart([document.querySelector("header"), ...document.querySelectorAll("main > section"), document.querySelector("footer")]);
for (const section of document.querySelectorAll("main > section")) apart([...section.children]);
for (const plot of document.querySelectorAll(".uplot")) apart([...plot.children]);
for (const row of document.querySelectorAll("tr")) apart([...row.children]);
return found;
"""
JS_CANVASES = """
const canvases = [...document.querySelectorAll("canvas")];
const wanted = arguments[0];
if (canvases.length !== wanted) return [`${canvases.length} canvases, not ${wanted}`];
const found = [];
canvases.forEach((canvas, i) => {
  const {data} = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
  const name = canvas.closest("section").id === "sizes" ? i - 2 : 0;
  const css = getComputedStyle(document.documentElement).getPropertyValue(`--series-${name % 4}`).trim();
  const color = [1, 3, 5].map((at) => parseInt(css.slice(at, at + 2), 16));
  let drawn = 0, ofSeries = 0;
  for (let p = 0; p < data.length; p += 4) {
    if (data[p + 3] === 0) continue;
    ++drawn;
    if (color.every((c, k) => Math.abs(c - data[p + k]) < 24)) ++ofSeries;
  }
  if (drawn < 1000) found.push(`canvas ${i} has ${drawn} pixels that are not blank`);
  if (ofSeries < 100) found.push(`canvas ${i} has ${ofSeries} pixels of its line`);
});
return found;
"""
JS_CONTRAST = """
const found = new Set();
const parse = (css) => css.match(/[\\d.]+/g).map(Number);
const luminance = ([r, g, b]) => [r, g, b].map((v) => v / 255)
  .map((v) => v <= 0.04045 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4)
  .reduce((sum, v, i) => sum + v * [0.2126, 0.7152, 0.0722][i], 0);
const background = (element) => {
  for (let e = element; e; e = e.parentElement) {
    const color = parse(getComputedStyle(e).backgroundColor);
    if (color.length < 4 || color[3] > 0.5) return color;
  }
  return [255, 255, 255];
};
const dark = luminance(background(document.body)) < 0.2;
if (dark !== arguments[0]) found.add(`the page is ${dark ? "dark" : "light"}`);
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
for (let node = walker.nextNode(); node; node = walker.nextNode()) {
  const element = node.parentElement;
  if (!node.data.trim() || element.closest("script, style, noscript") || !element.getClientRects().length) continue;
  const style = getComputedStyle(element);
  if (parseFloat(style.fontSize) < 12) found.add(`${element.tagName}.${element.className}: ${style.fontSize}`);
  const [a, b] = [luminance(parse(style.color)), luminance(background(element))].sort((x, y) => y - x);
  const ratio = (a + 0.05) / (b + 0.05);
  if (ratio < 4.5) found.add(`${element.tagName}.${element.className}: contrast ${ratio.toFixed(2)}`);
}
return [...found];
"""
JS_INERT = """
const found = [];
if (window.pwned !== undefined) found.push("a script of the file has run");
if (document.querySelector("img:not([src^='data:image/'])")) found.push("an image of the file's markup is there");
if (!document.querySelector("#tags").textContent.includes(arguments[0])) found.push("the title is not shown as it is");
if (!document.querySelector("#chapters").textContent.includes(arguments[0])) found.push("the chapter is not shown as it is");
if (document.querySelector("h1").textContent !== arguments[1]) found.push("the name is not shown as it is");
if (performance.getEntriesByType("resource").length) found.push("something was loaded");
const script = document.createElement("script");
script.textContent = "window.pwned = 2";
document.body.append(script);
const button = document.createElement("button");
button.setAttribute("onclick", "window.pwned = 3");
document.body.append(button);
button.click();
if (window.pwned !== undefined) found.push("the policy lets further scripts run");
return found;
"""
JS_TREE = """
const found = [];
const tree = document.querySelector(".tree");
const shown = () => [...tree.querySelectorAll(".type")].filter((e) => e.checkVisibility()).map((e) => e.textContent);
const [open, close] = document.querySelectorAll("#boxes button");
if (shown().includes("stbl")) found.push("the tree is open below the first level");
open.click();
if (!shown().includes("stbl")) found.push("Open all does not show stbl");
close.click();
if (shown().includes("trak") || !shown().includes("moov")) found.push("Close all shows " + shown());
tree.querySelector("summary").click();
if (!shown().includes("trak")) found.push("a click does not open moov");
return found;
"""


class Looker:
    """Looks at pages and collects complaints."""

    def __init__(self, driver, screenshots):
        self.driver = driver
        self.screenshots = screenshots
        self.complaints = []
        self.checks = 0

    def check(self, where, complaints):
        self.checks += 1
        self.complaints += [f"{where}: {complaint}" for complaint in complaints]

    def show(self, page, width, scheme):
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]})
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
        self.driver.get(page.as_uri())

    def console(self, where):
        self.check(where, [entry["message"] for entry in self.driver.get_log("browser")])

    def look(self, name, page, canvases):
        for width in WIDTHS:
            for scheme in SCHEMES:
                where = f"{name} at {width} px, {scheme}"
                self.show(page, width, scheme)
                self.console(where)
                run = self.driver.execute_script
                self.check(where, run(JS_OVERFLOW))
                self.check(where, run(JS_OVERLAP))
                self.check(where, run(JS_CANVASES, canvases))
                self.check(where, run(JS_CONTRAST, scheme == "dark"))
                self.save(f"{name}-{width}-{scheme}.png", width)

    def save(self, name, width):
        if not self.screenshots:
            return
        height = self.driver.execute_script("return document.documentElement.scrollHeight")
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.driver.save_screenshot(str(self.screenshots / name))

    def redraws(self, page):
        """The plots follow the scheme when it changes under an open page."""
        self.show(page, 1600, "light")
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": "dark"}]})
        # The page hears of it with the next frame.
        self.driver.execute_async_script(
            "requestAnimationFrame(() => requestAnimationFrame(arguments[0]))")
        self.check("after a change of scheme", self.driver.execute_script(JS_CANVASES, 5))

    def is_inert(self, page):
        self.show(page, 1600, "light")
        self.check("hostile", self.driver.execute_script(JS_INERT, HOSTILE, HOSTILE_NAME))
        refused = [entry["message"] for entry in self.driver.get_log("browser")]
        if sum("Content Security Policy" in message for message in refused) < 2:
            self.check("hostile", [f"the policy was not what stopped the scripts: {refused}"])

    def opens_soon(self, page):
        """The page's own work counts, in processor time: other programs may keep the machine busy."""
        works, waits = [], []
        for _ in range(3):
            self.driver.get("about:blank")
            self.driver.execute_cdp_cmd("Performance.disable", {})
            self.driver.execute_cdp_cmd("Performance.enable", {"timeDomain": "threadTicks"})
            self.show(page, 1600, "light")
            works.append(self.work())
            waits.append(self.driver.execute_script(
                "return performance.getEntriesByType('navigation')[0].loadEventEnd / 1000"))
        size = page.stat().st_size
        print(f"{LONG_SECONDS // 3600} h of audio: {size:,} bytes, opens in {min(waits):.2f} s, "
              f"of which the page works {min(works):.2f} s")
        self.check("long", [f"it works for {min(works):.2f} s"] if min(works) >= MOST_SECONDS else [])
        self.check("long", [f"no work was measured: {works}"] if min(works) <= 0 else [])
        self.check("long", [f"it has {size} bytes"] if size >= MOST_BYTES else [])

    def work(self):
        """Processor time of the page's thread since the measurement was switched on, in seconds."""
        metrics = self.driver.execute_cdp_cmd("Performance.getMetrics", {})["metrics"]
        return next(metric["value"] for metric in metrics if metric["name"] == "ThreadTime")


def main():
    program, plugin, data = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    screenshots = pathlib.Path(sys.argv[4]) if len(sys.argv) > 4 else None
    try:
        import selenium  # noqa: F401
    except ImportError:
        print("skipped: Selenium for Python is not installed")
        return SKIPPED
    for needed in ("chromium", "chromedriver"):
        if not shutil.which(needed):
            print(f"skipped: {needed} is not installed")
            return SKIPPED
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        os.environ["HOME"] = scratch  # Chromium keeps its profile there
        pages = {}
        for name, file in make_files(folder, data).items():
            pages[name] = folder / f"{name}.html"
            report(program, plugin, file, pages[name])
        with browser() as driver:
            looker = Looker(driver, screenshots)
            looker.look("film", pages["film"], 5)
            looker.look("book", pages["book"], 4)
            looker.look("hostile", pages["hostile"], 3)
            looker.look("long", pages["long"], 3)
            looker.look("broken", pages["broken"], 4)
            looker.look("nothing", pages["nothing"], 0)
            looker.show(pages["film"], 1600, "light")
            looker.check("film", driver.execute_script(JS_TREE))
            looker.redraws(pages["film"])
            looker.is_inert(pages["hostile"])
            looker.opens_soon(pages["long"])
    for complaint in looker.complaints:
        print(complaint)
    print(f"{looker.checks} checks, {len(looker.complaints)} complaints")
    return 1 if looker.complaints else 0


if __name__ == "__main__":
    sys.exit(main())
