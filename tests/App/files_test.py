"""Recordings that are given to the command: what `velmor mel` makes of them, and what bad ones get."""

import os
import struct
import unittest

import numpy

from peer import Folder, Peer, velmor, write_wave


class Mel(Folder):
    def test_any_rate_and_channels(self):
        """The tone's first and last second must be where they were, so no frame was lost on the way."""
        for rate, channels, seconds in ((8000, 1, 60), (44100, 2, 65), (48000, 1, 30), (96000, 2, 31)):
            with self.subTest(rate=rate, channels=channels):
                time_axis = numpy.arange(rate * seconds) / rate
                tone = 9000 * numpy.sin(2 * numpy.pi * 700 * time_axis) * (time_axis.astype(int) % 29 == 0)
                tone += numpy.random.default_rng(2).normal(0, 10, tone.size)
                write_wave(self.path("a.wav"), numpy.repeat(tone, channels), rate, channels)
                outcome = velmor("mel", self.path("a.wav"), "--out-dir", self.path("out"))
                self.assertEqual(0, outcome.code, outcome.stderr)
                names = [self.path(f"out/a-{number:04}.npy") for number in range(seconds // 30)]
                self.assertEqual(names, outcome.stdout.split())
                power = numpy.load(names[0])[0].sum(axis=0)
                loud = power > 0.2 * power.max()
                edges = numpy.flatnonzero(numpy.diff(loud))
                self.assertEqual(2, edges.size)
                self.assertLessEqual(numpy.abs(edges - [40, 1160]).max(), 2)  # 40 frames a second
                self.assertEqual(seconds % 30 > 0, "no whole chunk" in outcome.stderr)

    def test_pictures(self):
        write_wave(self.path("a.wav"), numpy.random.default_rng(3).normal(0, 500, 16000 * 30), 16000)
        outcome = velmor("mel", self.path("a.wav"), "--out-dir", self.folder, "--png", "--json")
        self.assertEqual(0, outcome.code, outcome.stderr)
        with open(outcome.events()[0]["png"], "rb") as file:
            head = file.read(24)
        self.assertEqual(b"\x89PNG\r\n\x1a\n", head[:8])
        width, height = struct.unpack(">II", head[16:])
        self.assertGreater(width, 1201)
        self.assertGreater(height, 200)

    def test_recordings_of_one_name(self):
        self.assertEqual(2, velmor("mel", self.path("a.wav"), self.path("../a.flac"), "--out-dir", self.folder).code)


class BadRecordings(Folder):
    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return self.path(name)

    def bad_files(self):
        write_wave(self.path("whole.wav"), numpy.random.default_rng(4).normal(0, 500, 16000 * 40), 16000)
        with open(self.path("whole.wav"), "rb") as file:
            whole = file.read()
        write_wave(self.path("nothing.wav"), [], 16000)
        locked = self.write("locked.wav", whole)
        os.chmod(locked, 0)
        yield self.path("missing.wav"), "no such file"
        yield self.write("empty.wav", b""), "empty"
        yield self.path("nothing.wav"), "holds no sound"
        yield self.write("truncated.wav", whole[:-2000]), "truncated"
        yield self.write("text.wav", b"not a sound at all" * 10), "not a sound file"
        yield self.folder, "directory"
        if os.geteuid() != 0:
            yield locked, "permission denied"

    def test_one_line_and_no_session(self):
        with Peer() as peer:
            for path, reason in self.bad_files():
                for outcome in (peer.track("--input", path),
                                velmor("mel", path, "--out-dir", self.path("out"))):
                    with self.subTest(path):
                        self.assertEqual((1, ""), (outcome.code, outcome.stdout))
                        (line,) = outcome.stderr.splitlines()
                        self.assertIn(path, line)
                        self.assertIn(reason, line.lower())
            self.assertEqual([], peer.requests)

    def test_a_recording_written_to_a_pipe_promises_nothing(self):
        write_wave(self.path("a.wav"), numpy.random.default_rng(4).normal(0, 500, 16000 * 31), 16000)
        with open(self.path("a.wav"), "r+b") as file:
            for place in (4, 40):
                file.seek(place)
                file.write(b"\xff\xff\xff\xff")
        outcome = velmor("mel", self.path("a.wav"), "--out-dir", self.folder)
        self.assertEqual((0, 1), (outcome.code, len(outcome.stdout.split())), outcome.stderr)


if __name__ == "__main__":
    unittest.main()
