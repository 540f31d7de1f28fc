"""The command line itself: complaints, help against man page and completion, and the questions to the service."""

import json
import os
import re
import subprocess
import unittest
import xml.etree.ElementTree

from peer import Folder, Peer, velmor

COMMAND_FOLDER = os.environ["VELMOR_COMMAND_FOLDER"]
COMMANDS = ["track", "mel", "report", "sessions", "average", "delete-report", "delete-user", "serve", "doctor"]


class Usage(unittest.TestCase):
    def test_complaints(self):
        night, service = "track --synthetic 1h", "--base-url http://127.0.0.1:9"
        for line in ("", "sleep", "track --nonsense", "track --synthetic 1x", "track --synthetic 0",
                     f"{night} --input a.wav", "track --speed max", f"{night} --speed slow",
                     "track --start 2024-03-05T23:10:00Z", f"{night} --start 2024-02-30T00:00:00Z",
                     f"{night} --interrupt 20-10", f"{night} --interrupt 10-30 --interrupt 20-40",
                     f"{night} --base-url nowhere", f"{night} --base-url ftp://127.0.0.1",
                     f"{night} {service}",  # without a key
                     f"{night} --ca-file /nowhere", "mel a.wav", "report", "sessions --from 2024-01-01",
                     "serve --port 70000", f"average --from a --to b {service} --api-key k"):
            with self.subTest(line):
                outcome = velmor(*line.split())
                self.assertEqual((2, ""), (outcome.code, outcome.stdout), outcome.stderr)
                self.assertIn("--help", outcome.stderr)

    def test_a_mistyped_url_is_named(self):
        for option in ("--base-url", "--log-url", "--callback-url"):
            outcome = velmor("report", "s1", option, "htps://a.example", "--api-key", "k")
            self.assertEqual((2, ""), (outcome.code, outcome.stdout))
            self.assertIn("htps://a.example: is not an http or https URL", outcome.stderr)

    def test_version_and_help(self):
        self.assertRegex(velmor("--version").stdout, r"^velmor \d+\.\d+\.\d+\n$")
        self.assertEqual(velmor("track", "--help").stdout, velmor("help", "track").stdout)
        self.assertIn("doctor", velmor("help").stdout)


class Documentation(unittest.TestCase):
    """Every flag of every --help, and no other, is in the man page and in the completion."""

    def flags(self, text):
        return set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text))

    def options(self, *command):
        """Those that a line of the help begins with; others are mentioned in it."""
        text = velmor(*command, "--help").stdout
        lines = [line.split("  ")[1] for line in text.splitlines() if line.startswith("  -")]
        return set().union(*(self.flags(re.sub(r" (Excludes|Needs):.*", "", line.replace(",", " "))) for line in lines))

    def test_man_page(self):
        with open(os.path.join(COMMAND_FOLDER, "velmor.1"), encoding="utf-8") as file:
            page = file.read().replace("\\-", "-")
        wanted = self.options().union(*(self.options(command) for command in COMMANDS))
        self.assertEqual(wanted, self.flags(page))
        for command in COMMANDS:
            self.assertIn(f"velmor {command}", page)

    def test_completion(self):
        for words, wanted in [(["velmor", "-"], {"--help", "--version"})] + [
                (["velmor", command, "-"], self.options(command)) for command in COMMANDS]:
            with self.subTest(words):
                script = (f"source {COMMAND_FOLDER}/velmor.bash; COMP_WORDS=({' '.join(words)}); "
                          f"COMP_CWORD={len(words) - 1}; _velmor; echo \"${{COMPREPLY[@]}}\"")
                found = subprocess.run(["bash", "-c", script], capture_output=True, text=True, check=True).stdout
                self.assertEqual(wanted, set(found.split()))


class Questions(Folder):
    def ask(self, *arguments):
        return velmor(*arguments, "--data-dir", self.folder)

    def test_a_tracked_night_is_found_again(self):
        tracked = self.ask("track", "--synthetic", "31m", "--start", "2024-03-05T23:10:00Z", "--json").summary()
        period = ["--from", "2024-03-05", "--to", "2024-03-06"]
        (session,) = json.loads(self.ask("sessions", *period, "--json").stdout)["sessions"]
        self.assertEqual((tracked["sessionId"], 61), (session["sessionId"], session["lastReceivedSeqNum"]))
        self.assertIn(session["sessionId"], self.ask("sessions", *period).stdout)
        report = json.loads(self.ask("report", session["sessionId"], "--json").stdout)
        self.assertEqual((session["sessionId"], 0.0), (report["session"]["id"], report["missingDataRatio"]))
        average = json.loads(self.ask("average", *period, "--json").stdout)
        self.assertEqual("2024-03-05", average["period"]["startDate"])
        self.assertEqual(0, self.ask("delete-report", session["sessionId"]).code)
        self.assertEqual(3, self.ask("report", session["sessionId"]).code)
        self.assertEqual(0, self.ask("delete-user").code)
        self.assertEqual("No sessions.\n", self.ask("sessions", *period).stdout)

    def test_hypnogram(self):
        picture = self.path("night.svg")
        outcome = self.ask("report", "any", "--developer-mode", "--svg", picture)
        self.assertEqual(0, outcome.code, outcome.stderr)
        rows = {line.split()[0]: line for line in outcome.stdout.splitlines() if "\u2588" in line}
        self.assertEqual(["Awake", "REM", "Light", "Deep"], list(rows))
        columns = zip(*(row[7:].ljust(120) for row in rows.values()))
        self.assertEqual({0, 1}, {sum(cell != " " for cell in column) for column in columns})
        drawn = xml.etree.ElementTree.parse(picture).getroot()
        self.assertGreater(len(drawn.findall(".//{*}rect")), 20)

    def test_ids_and_dates_are_escaped(self):
        with Peer() as peer:
            known = ["--base-url", peer.url, "--api-key", "k", "--user-id", "u", "--data-dir", self.folder]
            velmor("report", "a/b c\u00e9", *known)
            velmor("sessions", "--from", "1 2", "--to", "x&y", "--order", "desc", "--offset", 3, "--limit", 4, *known)
            self.assertEqual(["/data/v3/sessions/a%2Fb%20c%C3%A9",
                              "/data/v1/sessions?date_gte=1%202&date_lte=x&y&order_by=DESC&offset=3&limit=4"],
                             [request.path for request in peer.requests])

    def test_an_answer_of_another_form_names_the_place(self):
        with Peer(lambda request: (200, {"result": {"timezone": "UTC", "peculiarities": ["ODD"]}})) as peer:
            outcome = velmor("report", "x", "--base-url", peer.url, "--api-key", "k")
        self.assertEqual((1, ""), (outcome.code, outcome.stdout))
        self.assertIn("result.peculiarities", outcome.stderr)


if __name__ == "__main__":
    unittest.main()
