"""`velmor track` against a strict service: what goes over the wire, and what is told when things go wrong."""

import json
import signal
import unittest

import numpy

from peer import Folder, Peer, started, velmor, write_wave

START = "2024-03-05T23:10:00Z"
FRAMES_PER_SECOND = 40


def make_recording(path, seconds, rate=8000):
    """A second of tone every seven seconds: 7 does not divide 30, so every chunk looks different."""
    noise = numpy.random.default_rng(1).normal(0.0, 20.0, 7 * rate)
    time_axis = numpy.arange(rate) / rate
    noise[:rate] += 8000.0 * numpy.sin(2 * numpy.pi * 440.0 * time_axis)
    write_wave(path, numpy.resize(noise, rate * seconds), rate)


def heard(mel):
    """For each whole second of a chunk: is the tone there? The frames around the edges do not count."""
    power = mel[0].sum(axis=0)
    inner = [power[s * FRAMES_PER_SECOND + 8 : (s + 1) * FRAMES_PER_SECOND - 8].mean() for s in range(30)]
    return [value > 1.0 for value in inner]


def played(number):
    return [(30 * number + second) % 7 == 0 for second in range(30)]


class RecordedNight(Folder):
    """65 minutes and 10 seconds from a file."""

    def setUp(self):
        super().setUp()
        self.recording = self.path("night.wav")
        make_recording(self.recording, 65 * 60 + 10)

    def test_every_request_in_order(self):
        with Peer() as peer:
            outcome = peer.track("--input", self.recording, "--speed", "max", "--start", START,
                                 "--callback-url", "https://app.example/done", "--service", "bed")
        self.assertEqual(0, outcome.code, outcome.stderr)
        join, create, *uploads, close, analysis = peer.requests
        self.assertEqual(("POST", "/ai/v1/users", b"{}"), (join.method, join.path, join.body))
        self.assertEqual(("POST", "/ai/v1/sessions"), (create.method, create.path))
        self.assertEqual({"service": "bed", "upload_data_type": "MELSPECTROGRAM",
                          "session_start_time": "2024-03-05T23:10:01Z", "force_create": True,
                          "callback_url": "https://app.example/done", "callback_version": "V2"},
                         json.loads(create.body))
        self.assertEqual(130, len(uploads))
        for number, upload in enumerate(uploads):
            self.assertEqual(("POST", f"/ai/v1/sessions/S-1/mel-data/{number}"), (upload.method, upload.path))
            self.assertEqual("melspectrogram.npy", upload.file_part().get_filename())
            mel = upload.mel()
            self.assertEqual(((1, 20, 1201), "float32"), (mel.shape, str(mel.dtype)))
            self.assertEqual(played(number), heard(mel), number)
        self.assertEqual(("POST", "/ai/v1/sessions/S-1/close"), (close.method, close.path))
        self.assertEqual({"session_end_time": "2024-03-06T00:15:10Z", "unexpected": False}, json.loads(close.body))
        self.assertEqual(("GET", "/data/v3/sessions/S-1"), (analysis.method, analysis.path))
        self.assertEqual({("secret", "U-1")}, {(request.headers["x-api-key"], request.headers["x-user-id"])
                                               for request in peer.requests[1:]})
        self.assertEqual(["userDidJoin", "didCreate"] + ["didUpload"] * 130 +
                         ["didClose", "trackingEnded", "analysing", "summary"], outcome.names())
        summary = outcome.summary()
        self.assertEqual([130, 130, 0, 0, 3910], [summary[key] for key in
                         ("handedOver", "uploaded", "failed", "dropped", "audioSeconds")])

    def test_interruption(self):
        with Peer() as peer:
            outcome = peer.track("--input", self.recording, "--speed", "max", "--start", START,
                                 "--interrupt", "310-385")
        self.assertEqual(0, outcome.code, outcome.stderr)
        mels = {upload.mel_sequence(): upload.mel() for upload in peer.uploads()}
        self.assertEqual([*range(11), *range(12, 130)], list(mels))
        self.assertEqual(played(10)[:10] + [False] * 20, heard(mels[10]))
        self.assertEqual([False] * 25 + played(12)[25:], heard(mels[12]))
        self.assertLess(mels[10][0, :, 410:].max(), 1e-6)  # 10 s are 400 frames
        self.assertLess(mels[12][0, :, :990].max(), 1e-6)
        self.assertEqual(played(13), heard(mels[13]))
        self.assertEqual([11], outcome.summary()["skipped"])
        names = outcome.names()
        self.assertEqual((1, 1), (names.count("didInterrupt"), names.count("didResume")))


class SyntheticNight(unittest.TestCase):
    def night(self, *options, delay=0.0):
        with Peer(delay=delay) as peer:
            outcome = peer.track("--synthetic", "4m", "--speed", "max", "--start", START, *options)
            self.assertEqual(0, outcome.code, outcome.stderr)
            files = {u.mel_sequence(): u.file_part().get_payload(decode=True) for u in peer.uploads()}
            return files, [r.body for r in peer.requests if r.path.endswith(("/sessions", "/close"))]

    def test_same_night_however_slow_the_service(self):
        first = self.night("--seed", 5)
        self.assertEqual([*range(8)], list(first[0]))
        self.assertEqual(first, self.night("--seed", 5, delay=0.15))
        self.assertNotEqual(first[0], self.night("--seed", 6)[0])

    def test_duration_ends_before_the_sound(self):
        files, _ = self.night("--duration", "1m30s")
        self.assertEqual([0, 1, 2], list(files))

    def test_shorter_than_a_chunk(self):
        for seconds in ("0.3s", "29.9s"):
            outcome = velmor("track", "--synthetic", seconds, "--speed", "max")
            self.assertEqual(0, outcome.code, outcome.stderr)
            self.assertIn("shorter than one chunk", outcome.stdout)
            self.assertIn("local service", outcome.stderr)


def refuse(path_end, status):
    return lambda request: (status, {"detail": "no"}) if request.path.endswith(path_end) else None


class Trouble(unittest.TestCase):
    def track(self, answer):
        with Peer(answer) as peer:
            return peer, peer.track("--synthetic", "3m", "--speed", "max")

    def test_an_upload_that_fails_is_told_and_the_night_goes_on(self):
        peer, outcome = self.track(refuse("/mel-data/2", 500))
        self.assertEqual([*range(6)], [u.mel_sequence() for u in peer.uploads()])
        self.assertEqual([2], outcome.summary()["missing"])
        self.assertEqual(["httpStatus(500, no)"], [e["error"] for e in outcome.events() if e["event"] == "didFail"])
        self.assertEqual((6, 5, 1, True), tuple(outcome.summary()[k] for k in
                                               ("handedOver", "uploaded", "failed", "closed")))
        self.assertEqual(6, outcome.code)

    def test_a_session_that_is_gone_ends_the_night(self):
        peer, outcome = self.track(refuse("/mel-data/2", 404))
        self.assertEqual("/ai/v1/sessions/S-1/mel-data/2", peer.requests[-1].path)
        self.assertEqual((3, [2], False), (outcome.code, outcome.summary()["missing"], outcome.summary()["closed"]))

    def test_exit_codes(self):
        for path_end, status, code, ends in (("/users", 401, 6, []), ("/sessions", 500, 6, ["notCreated"]),
                                             ("/close", 500, 6, ["notClosed"]),
                                             ("/data/v3/sessions/S-1", 404, 0, ["closed"]),
                                             ("/data/v3/sessions/S-1", 500, 6, ["closed"])):
            with self.subTest(path_end, status=status):
                _, outcome = self.track(refuse(path_end, status))
                self.assertEqual(code, outcome.code, outcome.stderr)
                self.assertIn("didFail", outcome.names())
                self.assertEqual(ends, [e["outcome"] for e in outcome.events() if e["event"] == "trackingEnded"])

    def test_nobody_there(self):
        with Peer() as peer:
            url = peer.url
        outcome = velmor("track", "--synthetic", "1m", "--base-url", url, "--api-key", "k")
        self.assertEqual(4, outcome.code)
        self.assertIn("unknown(", outcome.stderr)
        self.assertIn("velmor serve", outcome.stderr)


class CtrlC(Folder):
    def track(self, peer):
        return started("track", "--synthetic", "10m", "--speed", "real", "--json", "--data-dir", self.folder,
                       "--base-url", peer.url, "--api-key", "k")

    def test_closes_the_session(self):
        with Peer() as peer:
            process = self.track(peer)
            lines = []
            while not lines or json.loads(lines[-1])["event"] != "didCreate":
                lines.append(process.stdout.readline())
            process.send_signal(signal.SIGINT)
            rest, errors = process.communicate(timeout=60)
        outcome = [json.loads(line) for line in rest.splitlines()]
        self.assertEqual(130, process.returncode, errors)
        self.assertEqual(["didClose", "trackingEnded", "summary"], [event["event"] for event in outcome])
        self.assertEqual("/ai/v1/sessions/S-1/close", peer.requests[-1].path)

    def test_leaves_at_once_while_nothing_is_open(self):
        with Peer(delay=20.0) as peer:
            process = self.track(peer)
            while not peer.requests:
                self.assertIsNone(process.poll())
            process.send_signal(signal.SIGINT)
            process.communicate(timeout=5)
        self.assertEqual(130, process.returncode)


if __name__ == "__main__":
    unittest.main()
