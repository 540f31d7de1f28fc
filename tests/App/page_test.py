"""The service's page in a headless browser: a night with a gap is shown, and the gap is where it was."""

import base64
import json
import os
import re
import shutil
import subprocess
import sys
import unittest

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


def recognised(picture, folder, *colours):
    """Rows x columns: 0, or the place of the colour among those given; the browser decodes its own picture."""
    page = os.path.join(folder, "picture.html")
    with open(picture, "rb") as file, open(page, "w", encoding="ascii") as html:
        html.write(f"""<img src="data:image/png;base64,{base64.b64encode(file.read()).decode()}"><script>
            onload = () => {{
                const image = document.images[0];
                const context = new OffscreenCanvas(image.width, image.height).getContext("2d");
                context.drawImage(image, 0, 0);
                const bytes = context.getImageData(0, 0, image.width, image.height).data;
                const distance = (colour, at) => colour.reduce((sum, c, i) => sum + Math.abs(c - bytes[at + i]), 0);
                let text = image.width + ":";
                for (let at = 0; at < bytes.length; at += 4)
                    text += {[*map(list, colours)]}.findIndex(colour => distance(colour, at) < 12) + 1;
                document.body.textContent = text;
            }};
        </script>""")
    width, places = re.search(r"<body>(\d+):(\d+)", browse(f"file://{page}", folder, "--dump-dom")).groups()
    return numpy.array([*places], int).reshape(-1, int(width))


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
        places = recognised(picture, self.folder, GOOD, GAP)
        lane = int((places == 1).sum(axis=1).argmax())  # the strip's lane of received and missing numbers
        shown = numpy.flatnonzero(places[lane])
        missing = numpy.flatnonzero(places[lane] == 2)
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
