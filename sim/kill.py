"""`velmor track` killed at random moments: the next start works, sweeps what was left, and finds a whole log."""

import os
import pathlib
import random
import re
import signal
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.environ["VELMOR_PEER"])
from peer import VELMOR, Peer, environment  # noqa: E402

KILLS = 6
MOST_LEFT = 4 << 20  # bytes
LINE = re.compile(rb"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \| (I|W|E|D|WTF) \| [^|]+ \| [^\n]*")


def check(condition, what):
    if not condition:
        raise SystemExit(f"FAILED: {what}")


def track(peer, home, *options):
    command = [VELMOR, "track", "--base-url", peer.url, "--api-key", "key", "--json", "--speed", "max", *options]
    variables = environment() | {"XDG_DATA_HOME": str(home / "data"), "TMPDIR": str(home / "tmp")}
    return subprocess.Popen(command, env=variables, stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def left_in(folder):
    """Sizes of all files; directories that were being made are empty and wait for a later sweep."""
    return [path.stat().st_size for path in folder.rglob("*") if path.is_file()]


def check_log(home):
    for log in (home / "data").rglob("*.log"):
        text = log.read_bytes()
        check(not text or text.endswith(b"\n"), f"{log.name} ends in the middle of a line: {text[-80:]!r}")
        for line in text.splitlines():
            check(LINE.fullmatch(line), f"a torn line in {log.name}: {line!r}")


def longest_run(peer, home):
    began = time.monotonic()
    check(track(peer, home, "--synthetic", "30m").wait(60) == 0, "a night that nobody kills")
    return time.monotonic() - began


def main():
    seed = int(sys.argv[1]) if len(sys.argv) > 1 else 1
    moments = random.Random(seed)
    with tempfile.TemporaryDirectory() as folder, Peer() as peer:
        home = pathlib.Path(folder)
        (home / "tmp").mkdir()
        (home / "data").mkdir()
        length = min(longest_run(peer, home), 2.0)
        most = 0
        for number in range(KILLS):
            moment = moments.uniform(0.0, length)
            process = track(peer, home, "--synthetic", "30m")
            try:
                process.wait(moment)
            except subprocess.TimeoutExpired:
                process.send_signal(signal.SIGKILL)
            process.communicate()
            left = left_in(home / "tmp")
            most = max(most, sum(left))
            check(sum(left) <= MOST_LEFT, f"{sum(left)} bytes left after {moment:.3f} s")
            check_log(home)

            uploads = len(peer.uploads())
            again = track(peer, home, "--synthetic", "61s")
            _, errors = again.communicate(timeout=60)
            check(again.returncode == 0, f"start {number} after a kill at {moment:.3f} s: {errors.decode()}")
            check(len(peer.uploads()) == uploads + 2, "two chunks of the night after")
            check(not left_in(home / "tmp"), f"not swept after {moment:.3f} s: {left_in(home / 'tmp')}")
            check_log(home)
        print(f"{KILLS} kills within {length:.1f} s, seed {seed}: at most {most} bytes left, all swept by the next")


main()
