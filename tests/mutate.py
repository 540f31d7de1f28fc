#!/usr/bin/env python3
"""Makes small changes in the sources, one at a time, in copies of the tree, and tells which of them no test notices.
Run as `./dev mutate`; docs/reliability.md says how to read what it prints. What is built is kept in build/mutate."""
import argparse
import hashlib
import os
import re
import shutil
import signal
import subprocess
import sys
import time
from collections import Counter, namedtuple
from concurrent.futures import FIRST_COMPLETED, ThreadPoolExecutor, wait
from contextlib import suppress
from itertools import islice
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
JOBS = int(os.environ.get("VELMOR_JOBS") or os.cpu_count())
FOLDERS = ["src", *("src/" + name for name in "APIService Log Recorder Reports SessionService SleepTrackingManager".split())]
TESTS = [*(f"tests/{folder}/velmor_{name}_tests" for folder, name in (
    ("Log", "log"), ("Reports", "reports"), ("APIService", "api"), ("SessionService", "session"), ("Library", "library"),
    ("Recorder", "recorder"), ("SleepTrackingManager", "tracking"), ("Runtime", "runtime"), ("Platform", "platform"),
    ("Recorder", "recorder_night"), ("Faults", "fault")))]  # quickest first; those of the changed folder come before them
TESTS[7:7] = [f"sim/velmor-nights {arguments}" for arguments in (
    "--seeds 1-40 --regressions sim/regressions.txt", "--sweep delegates", "--sweep events --stride 5", "--sweep files --stride 5",
    "--sweep allocations --stride 5")]
OPPOSITES = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&", "+": "-", "-": "+",
             "*": "/", "/": "*", "%": "/", "+=": "-=", "-=": "+=", "++": "--", "--": "++", "true": "false", "false": "true"}
TOKEN = re.compile(r"(?<= )(<=?|>=?|[=!]=|&&|\|\||[-+*/%]|[-+]=)(?=\s)|\+\+|--|\b(true|false)\b")
LITERAL = re.compile(r"""//[^\n]*|/\*.*?\*/|^\#[^\n]*|\bstatic_assert\(.*?\);|"(\\.|[^"\\])*"|(?<!\w)'(\\.|[^'\\])+'""", re.S | re.M)
NUMBER = re.compile(r"(?<![\w.'])(\d[\d']*)(\.\d+)?(?=[a-zA-Z]*(?![\w'.]))")
STATEMENT = re.compile(r"[;{}]\s+(?=[\w*+~-])|\b(else|default:|case [\w:]+:)\s+(?=[\w*+-])|\b(if|for|while) \(")
DROPPED = re.compile(r"(delete )?[^\s({=]+\(.*\)|(\+\+|--)\S+|\*?[^\s({=]+ (=|[-+*/|^]=|<<=|>>=) .*|(throw|break|continue)\b.*", re.S)
CALL = re.compile(r"[^\s({=]+\(.*\)", re.S)
FUNCTION = re.compile(r"^(?!namespace|class|struct|enum|template|extern)([\w:].*? )[\w:~]+\([^;{}]*\)[^;{}]*\{$", re.M)
DECLARATION = re.compile(r"(const |unsigned )?[\w:]+(<.*>)?[&*]* ?[&*]* [\w]+( = .*)?", re.S)
Mutant = namedtuple("Mutant", "order path line before after text")  # the whole file's text


def blank(match):
    quote = match[0][0]
    return quote + " " * (len(match[0]) - 2) + quote if quote in "\"'" else re.sub(r"[^\n]", " ", match[0])


def scan(code, at, step, *stops):
    """The next place from `at` on, outside brackets, that holds one of `stops` or ends the surrounding bracket."""
    opening, closing, depth = ("([{", ")]}", 0) if step > 0 else (")]}", "([{", 0)
    while 0 <= at < len(code) and (depth or not code.startswith(stops, at) and code[at] not in closing):
        depth += (code[at] in opening) - (code[at] in closing)
        at += step
    return at


def statement_changes(code, text):
    """Calls, assignments and jumps dropped or in each other's place; functions that return at once."""
    begins = {}
    for match in STATEMENT.finditer(code):
        start, free = match.end(), match[0][0] in ";{}"
        if match[2]:
            start = re.compile(r"\s*").match(code, scan(code, start, 1) + 1).end()
        end = scan(code, start, 1, ";", " {")
        if code[end:end + 1] == ";" and (DROPPED.fullmatch(code[start:end]) or not free and code.startswith("return", start)):
            yield start, end, ""
            middle = len(code[:start].rstrip()) - 1  # the semicolon of the statement before
            if middle in begins and free and CALL.fullmatch(code[start:end]) and text[begins[middle]:middle] != text[start:end]:
                yield begins[middle], end, text[start:end] + text[middle:start] + text[begins[middle]:middle]
            if free and CALL.fullmatch(code[start:end]):  # those that only set something may mostly change places
                begins[end] = start
    for match in FUNCTION.finditer(code):
        if not re.search(r"\b(\w+)::~?\1\(", match[0]):
            yield match.end(), match.end(), " return;" if match[1] == "void " else " return {};"


def condition_changes(code, text):
    for match in re.finditer(r"\b(?:if|while) \(", code):
        end = scan(code, match.end(), 1)
        start = max(match.end(), code.rfind("; ", match.end(), end) + 2)
        declared = re.match(r"(?:const )?auto[&*]* (\w+) = ", code[start:end])
        yield (end, end, f"; !{declared[1]}") if declared else (start, end, f"!({text[start:end]})")
    for match in re.finditer(r" \? ", code):
        start = scan(code, match.start() - 1, -1, ", ", ";", " = ", "return ", "{ ") + 1
        start += len(re.match(r"(eturn |= )?\s*", code[start:])[0])
        yield start, match.start(), f"!({text[start:match.start()]})"
    for match in re.finditer(r"!(?=[\w:(*])", code):
        yield *match.span(), ""


def value_changes(code, text):
    for match in TOKEN.finditer(code):
        yield *match.span(), OPPOSITES[match[0]]
    for match in NUMBER.finditer(code):
        value = int(match[1].replace("'", ""))
        if not re.search(r"(\)|const|noexcept|override) = $", code[:match.start()]):  # a function without a body
            yield from ((*match.span(1), str(new)) for new in (value + 1, value - 1 if value else 2))
    for match in re.finditer(r"\"( +)\"|'( )'", code):
        inside = text[match.start() + 1:match.end() - 1]
        letters = [m.start() for m in re.finditer(r"[a-zA-Z0-9](?<![\\%].)(?<!%\d.)(?<!%\d\d.)", inside)]
        if letters:
            at = match.start() + 1 + letters[len(letters) // 2]
            yield at, at + 1, {"z": "a", "Z": "A", "9": "0"}.get(text[at], chr(ord(text[at]) + 1))


def argument_changes(code, text):
    for match in re.finditer(r"[\w>](\(|\{)(?=[^)}])|[({,] ?\{(?=[^}])", code):
        parts, end = [], match.end() - 1
        while not parts or code[end:end + 1] == ",":
            start = end + 1 + len(re.match(r"\s*", code[end + 1:])[0])
            end = scan(code, start, 1, ", ", ",\n", ";")
            parts.append((start, end))
        for (a, b), (c, d) in zip(parts, parts[1:]):
            one, two = text[a:b], text[c:d]
            if one != two and not any(DECLARATION.fullmatch(x) or x[:1] == "[" for x in (one, two)):
                yield a, d, two + text[b:c] + one


def mutants_of(path, seed):
    """All mutants of a file. Their order hangs on the seed and on their own lines' text, so that other lines don't matter."""
    text = (ROOT / path).read_text()
    code, lines, made, ranks = LITERAL.sub(blank, text), [line.strip() for line in text.split("\n")], set(), Counter()
    for changes in (statement_changes, condition_changes, value_changes, argument_changes):
        for start, end, new in (c for c in changes(code, text) if "reserve(" not in text[text.rfind("\n", 0, c[0]):c[1]]):
            changed, first, last = text[:start] + new + text[end:], text.count("\n", 0, start), text.count("\n", 0, end)
            after = [line.strip() for line in changed.split("\n")[first:last + 1 + changed.count("\n") - text.count("\n")]]
            place = f"{seed} {path} {lines[first]} {lines[:first].count(lines[first])}"
            ranked = [hashlib.sha256(what.encode()).hexdigest() for what in (place, f"{place} {after}")]
            made.add((*ranked, first, tuple(lines[first:last + 1]), tuple(after), changed))
    for place, _, first, before, after, changed in sorted(made):  # one of each line before the second of any
        ranks[place] += 1
        yield Mutant((ranks[place], place), path, first + 1, before, after, changed)


def equivalents():
    """What changes nothing that anybody can see: blocks of a path, lines with - and +, and the reason."""
    for block in (ROOT / "tests/equivalent_mutants.txt").read_text().strip().split("\n\n"):
        path, *lines = block.splitlines()
        yield path.split(":")[0], *("".join(line[1:].strip() for line in lines if line[0] == sign) for sign in "-+")


class Worker:
    """A copy of the tree with a build of its own."""

    def __init__(self, number):
        self.tree = ROOT / f"build/mutate/{number}"
        self.build, self.kept, self.limits = self.tree / "build/mutate", self.tree / "build/kept", {}
        (self.tree / "build/tmp").mkdir(parents=True, exist_ok=True)
        listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, text=True, capture_output=True)
        for copy, source in ((self.tree / name, ROOT / name) for name in listed.stdout.splitlines()):
            if source.is_file() and (not copy.exists() or copy.read_bytes() != source.read_bytes()):
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, copy)
        self.must("cmake --preset mutate")
        self.must("cmake --build build/mutate -j1 --target " + " ".join({Path(test.split()[0]).name for test in TESTS}))
        # Compilers and linkers put new files in place of theirs, so links keep what they made of the unchanged sources.
        shutil.rmtree(self.kept, ignore_errors=True)
        shutil.copytree(self.build, self.kept, copy_function=os.link, ignore=shutil.ignore_patterns(".ninja*", "*.gch"))
        for test in TESTS:
            self.limits[test] = 10 + 3 * self.must("build/mutate/" + test)

    def run(self, command, limit=3600):
        """The exit code; none if it took longer than the limit, in seconds."""
        surroundings = dict(os.environ, all_proxy="http://127.0.0.1:9", TMPDIR=f"{self.tree}/build/tmp", GTEST_FAIL_FAST="1")
        with open(self.tree / "build/output", "w") as output:
            process = subprocess.Popen(command.split(), cwd=self.tree, env=surroundings, stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=output, start_new_session=True)
            try:
                return process.wait(limit)
            except subprocess.TimeoutExpired:
                return None
            finally:
                with suppress(ProcessLookupError):
                    os.killpg(process.pid, signal.SIGKILL)  # and what it started
                process.wait()

    def must(self, command):
        began = time.monotonic()
        if self.run(command) != 0:
            sys.exit(f"{(self.tree / 'build/output').read_text()[-4000:]}\nunchanged, and yet it fails: {command}")
        return time.monotonic() - began

    def verdict(self, mutant):
        """not built, killed, timed out or survived, and the test that told."""
        changed = self.tree / mutant.path
        status, original = changed.stat(), changed.read_bytes()
        changed.write_text(mutant.text)
        own = f"tests/{'Library' if mutant.path.count('/') == 1 else mutant.path.split('/')[1]}/"
        try:
            for test in sorted(TESTS, key=lambda test: not test.startswith(own)):
                if self.run(f"ninja -C build/mutate {Path(test.split()[0]).name}") != 0:
                    return "not built", ""
                result = self.run("build/mutate/" + test, self.limits[test])
                if result != 0:
                    return "timed out" if result is None else "killed", test
            return "survived", ""
        finally:
            changed.write_bytes(original)
            os.utime(changed, ns=(status.st_atime_ns, status.st_mtime_ns))
            for link in filter(Path.is_file, self.kept.rglob("*")):
                built = self.build / link.relative_to(self.kept)
                if not built.exists() or not link.samefile(built):
                    built.unlink(missing_ok=True)
                    os.link(link, built)


def judge(workers, mutant):
    worker, began = workers.pop(), time.monotonic()
    verdict, test = worker.verdict(mutant)
    workers.append(worker)
    return mutant, verdict, f"after {time.monotonic() - began:.1f} s {test}"


def table(counts):
    yield "| Folder | Mutants | Killed | Timed out | Survived | Share killed | Could not be built |\n|---|---|---|---|---|---|---|"
    for folder, c in [*sorted(counts.items()), ("all", sum(counts.values(), Counter()))]:
        share = 100 - 100 * c["survived"] / max(c["built"], 1)
        yield (f"| {folder} | {c['built']} | {c['killed']} | {c['timed out']} | {c['survived']} | {share:.0f} % | {c['not built']} |")


def main():
    parser = argparse.ArgumentParser(prog="./dev mutate", description=__doc__.splitlines()[0])
    parser.add_argument("folders", nargs="*", metavar="FOLDER", default=FOLDERS, help="of src, or single files")
    parser.add_argument("--sample", type=int, default=sys.maxsize, metavar="N", help="only N mutants")
    parser.add_argument("--seed", default="1", metavar="S", help="which N")
    options = parser.parse_args()
    folders = [folder if (ROOT / folder).exists() else f"src/{folder}" for folder in options.folders]
    paths = [path.relative_to(ROOT) for folder in folders for path in (
        [ROOT / folder] if (ROOT / folder).is_file() else (ROOT / folder).glob("*.?pp" if folder == "src" else "**/*.?pp"))]
    known, everything = set(equivalents()), (m for path in paths for m in mutants_of(str(path), options.seed))
    mutants = sorted(m for m in everything if (m.path, "".join(m.before), "".join(m.after)) not in known)
    workers, counts, left, pending = [], {}, iter(mutants), set()
    with ThreadPoolExecutor(JOBS) as pool:
        workers += pool.map(Worker, range(JOBS))
        while True:
            wanted = options.sample - sum(c["built"] for c in counts.values()) - len(pending)
            pending.update(pool.submit(judge, workers, mutant) for mutant in islice(left, wanted))
            if not pending:
                break
            done, pending = wait(pending, return_when=FIRST_COMPLETED)
            for mutant, verdict, told in (future.result() for future in done):
                counts.setdefault(str(Path(mutant.path).parent), Counter()).update({verdict: 1, "built": verdict != "not built"})
                print(f"{mutant.path}:{mutant.line} {verdict} {told}", file=sys.stderr, flush=True)
                if verdict == "survived":
                    changes = [*("- " + line for line in mutant.before), *("+ " + line for line in mutant.after)]
                    print(f"{mutant.path}:{mutant.line}", *changes, "", sep="\n", flush=True)
    print(*table(counts), sep="\n")


if __name__ == "__main__":
    main()
