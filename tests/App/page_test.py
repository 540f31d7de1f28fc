"""The service's page in a headless browser: a night with a gap is shown, and the gap is where it was."""

import json
import shutil
import struct
import subprocess
import sys
import unittest
import zlib

import numpy

from peer import Folder, started, velmor

BROWSER = shutil.which("chromium")
SKIPPED = 77  # as ctest knows it

GOOD, GAP = (0x1A, 0x70, 0x48), (0xC2, 0x41, 0x0C)  # --good and --gap of the page's light style
CHUNKS, MISSING = 24, 11  # twelve minutes, interrupted from 310 s to 385 s


def browse(url, folder, *options):
    command = [BROWSER, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
               "--disable-background-networking", "--disable-component-update", "--disable-sync",
               "--force-prefers-color-scheme=light", "--window-size=1200,1600", "--virtual-time-budget=8000",
               f"--user-data-dir={folder}/browser", *options, url]
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=120).stdout


def pixels(path):
    """An 8-bit RGB or RGBA picture as rows x columns x channels."""
    with open(path, "rb") as file:
        data = file.read()
    at, packed = 8, b""
    while at < len(data):
        size, kind = struct.unpack(">I4s", data[at : at + 8])
        body = data[at + 8 : at + 8 + size]
        if kind == b"IHDR":
            width, height, _, colour = struct.unpack(">IIBB", body[:10])
        elif kind == b"IDAT":
            packed += body
        at += 12 + size
    channels = {2: 3, 6: 4}[colour]
    raw = numpy.frombuffer(zlib.decompress(packed), numpy.uint8).reshape(height, 1 + width * channels)
    return unfiltered(raw, channels).reshape(height, width, channels)


def unfiltered(raw, step):
    out = numpy.zeros((raw.shape[0], raw.shape[1] - 1), numpy.uint8)
    above = numpy.zeros(raw.shape[1] - 1, numpy.uint8)
    for row, line in enumerate(raw):
        kind, values = line[0], line[1:].copy()
        if kind == 2:
            values += above
        elif kind:
            for i in range(len(values)):
                left = int(values[i - step]) if i >= step else 0
                corner = int(above[i - step]) if i >= step else 0
                up = int(above[i])
                guess = left + up - corner
                paeth = min((left, up, corner), key=lambda each: abs(guess - each))
                values[i] = (int(values[i]) + {1: left, 3: (left + up) // 2, 4: paeth}[int(kind)]) & 255
        out[row] = above = values
    return out


class Page(Folder):
    def test_gap_is_shown_where_it_was(self):
        service = started("serve", "--json", "--service-dir", self.path("service"))
        self.addCleanup(service.communicate)
        self.addCleanup(service.terminate)
        url = json.loads(service.stdout.readline())["url"] + "/"
        tracked = velmor("track", "--synthetic", "12m", "--interrupt", "310-385", "--speed", "max", "--base-url", url[:-1],
                         "--api-key", "key", "--user-id", "u1", "--quiet")
        self.assertEqual(0, tracked.code, tracked.stderr)
        page = browse(url, self.folder, "--dump-dom")
        self.assertIn(f"{CHUNKS - 1} of {CHUNKS} chunks arrived. Missing (4.2 %): {MISSING}.", page)
        self.assertIn("[CALL] startTracking", page, "the shipped log is on the page")

        picture = self.path("page.png")
        browse(url, self.folder, f"--screenshot={picture}")
        image = pixels(picture)[:, :, :3].astype(int)
        close = [(abs(image - numpy.array(colour)).sum(axis=2) < 12) for colour in (GOOD, GAP)]
        lane = int(close[0].sum(axis=1).argmax())  # the strip's lane of received and missing numbers
        shown = numpy.flatnonzero(close[0][lane] | close[1][lane])
        missing = numpy.flatnonzero(close[1][lane])
        self.assertGreater(len(shown), 300)
        self.assertGreater(len(missing), 0)
        left, width = shown[0], shown[-1] - shown[0] + 1
        first, last = (missing[0] - left) * CHUNKS / width, (missing[-1] + 1 - left) * CHUNKS / width
        self.assertAlmostEqual(MISSING, first, delta=0.25)
        self.assertAlmostEqual(MISSING + 1, last, delta=0.25)


if __name__ == "__main__":
    if BROWSER is None:
        print("skipped: no chromium on this machine")
        sys.exit(SKIPPED)
    unittest.main()
