#!/usr/bin/env python3
"""Changes the library in one place at a time and asks the tests whether they notice.

A mutant is src/ with one constant, comparison, status or statement changed. It is compiled in a tree of its own, and
the test program of build/default runs against it: the cases of its room first, those of rooms that call it when none of
these fails, up to the first that does. What no test can notice is put aside by name in tests/mutants.equivalent.

Which mutants a sample takes depends on the sources alone. Results are kept in build/mutants: an interrupted run goes
on where it stopped, and once sources or tests have changed, the test that noticed a mutant last time runs first.
"""

import argparse
import contextlib
import hashlib
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "default"
KEPT = ROOT / "build" / "mutants"
EQUIVALENT = ROOT / "tests" / "mutants.equivalent"
KINDS = ("constant", "comparison", "status", "statement")
# The directories whose tests can reach a room, its own first. What the programs' scripts would notice besides is not
# asked: a promise of the library has a test of the library.
REACHED_BY = {
    "analog": ("attributes", "sweep"),
    "gpio": ("attributes", "sweep"),
    "platform": ("attributes", "sensor_eeprom", "sweep"),
    "support": ("attributes", "certificates", "secure_element", "sensor_eeprom", "sweep"),
    "sensor_eeprom": ("sensor_eeprom", "sweep"),
    "secure_element": ("secure_element", "certificates", "sim", "sweep"),
    "certificates": ("certificates", "sweep"),
}
# The longest, and the sweep makes the same calls.
NOT_ASKED = "Lines/PowerCut."
# Of the constants in one line of a table so many are passed over for each that is changed.
TABLE_STEP = 5

COMPARISONS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&"}
TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ ]*\#[^\n]*|\bstatic_assert\b[^;]*;|'\\.')
      | (?P<text>"(?:\\.|[^"\\])*"|'[^'\\]')
      | (?P<number>(?<![\w.])(?:0[xX][0-9a-fA-F]+|\d+(?:\.\d+)?)(?=[uUlLfF]*\b))
      | (?P<comparison>(?<=\ )(?:==|!=|<=|>=|<|>|&&|\|\|)(?=\ )|!(?=[\w(:]))
      | (?P<word>\b\w+\b)""",
    re.X | re.S | re.M,
)
# A whole line that does something: a call, an assignment, a step out. Declarations have two words before = or (.
STATEMENT = re.compile(
    r"^( +)(?:(?:if|for|while) \(.*\) )?((?:\+\+|--)?[\w:.>*\[\]-]+(?:\(.*\)| (?:[-+|&^]|<<|>>)?= .*|\+\+|--)?;)$", re.M
)
NO_STATEMENT = re.compile(r"^(?:return\b.+|(?:public|private|protected|else|default):?;?|\d.*|};?)$")


class Mutant:
    def __init__(self, kind, file, start, end, new, text):
        self.kind, self.file, self.start, self.end, self.new = kind, file, start, end, new
        self.line = text.count("\n", 0, start) + 1
        first, last = text.rfind("\n", 0, start) + 1, text.find("\n", end)
        before, after = text[first:last], text[first:start] + new + text[end:last]
        self.name = f"{file}: {before.strip()} => {after.strip()}"

    @property
    def room(self):
        return self.file.split("/")[0] if "/" in self.file else "support"


def statuses():
    """The names of a family's statuses, each with the one that takes its place."""
    names = re.findall(r"\b(TPM_ERR_\w+|X_SENSOR_EEPROM_ERR_\w+)\b *=", (ROOT / "include/ostdrv.h").read_text())
    families = {}
    for name in dict.fromkeys(names):
        families.setdefault(name[: name.index("_ERR_")], []).append(name)
    following = {}
    for family, members in families.items():
        for i, name in enumerate(members):
            following[name] = members[(i + 1) % len(members)]
        following[f"{family}_OK"] = members[0]
    return following


def changed_text(token):
    """A text with one letter in the other case, or one digit counted on; None for one without."""
    found = re.search(r"(?<![%\\\w])[A-Za-z]{2}|(?<=\w)[a-z](?=\w)|(?<=')\w(?=')|(?<![%.\w\\])\d", token)
    if not found:
        return None
    old = found.group()[0]
    new = str((int(old) + 1) % 10) if old.isdigit() else old.swapcase()
    return token[: found.start()] + new + token[found.start() + 1 :]


def mutants_of(file, text, following):
    blank, row, last = text, 0, 0
    for token in TOKEN.finditer(text):
        old, new, kind = token.group(), None, "constant"
        if token["skip"]:
            blank = blank[: token.start()] + re.sub(r"[^\n]", " ", old) + blank[token.end() :]
        elif token["text"]:
            new = changed_text(old)
        elif token["number"]:
            is_hex = old[:2].lower() == "0x"
            new = hex(int(old, 16) + 1) if is_hex else str(float(old) + 1 if "." in old else int(old) + 1)
        elif token["comparison"]:
            new, kind = COMPARISONS.get(old, ""), "comparison"
        elif old in following:
            new, kind = following[old], "status"
        elif old in ("true", "false"):
            new = "false" if old == "true" else "true"
        if new is not None:
            row, last = row + 1 if text[last : token.start()] == ", " else 0, token.end()
            if row % TABLE_STEP == 0:
                yield Mutant(kind, file, token.start(), token.end(), new, text)
    for line in STATEMENT.finditer(blank):
        if not NO_STATEMENT.match(line[2]):
            yield Mutant("statement", file, line.start(2), line.end(2), ";", text)


def all_mutants():
    following = statuses()
    found = {}
    for path in sorted((ROOT / "src").rglob("*.?pp")):
        file = str(path.relative_to(ROOT / "src"))
        for mutant in sorted(mutants_of(file, path.read_text(), following), key=lambda m: (m.start, m.end)):
            found.setdefault(mutant.name, mutant)  # a line that a file has twice is one name
    return list(found.values())


def sample(mutants, size):
    return [mutants[i * len(mutants) // size] for i in range(size)] if size and size < len(mutants) else mutants


def read_equivalent(every):
    """Name and reason of each: a comment says the reason of the names below it."""
    names, reason = {}, ""
    for line in EQUIVALENT.read_text().splitlines():
        if line.startswith("#"):
            reason = line[1:].strip()
        elif line.strip():
            names[line.strip()] = reason
    known = {mutant.name for mutant in every}
    for name in names:
        if name not in known:
            print(f"mutants.equivalent names no mutant any more: {name}", file=sys.stderr)
    return names


class Test:
    def __init__(self, entry, directories):
        self.name, self.command = entry["name"].split(" ")[0], entry["command"]
        properties = {p["name"]: p["value"] for p in entry.get("properties", [])}
        self.directory = properties.get("WORKING_DIRECTORY", str(BUILD))
        self.group = directories.get(self.name)
        self.seconds = 0.0


def read_tests():
    """The cases of the test program."""
    listing = subprocess.run(["ctest", "--test-dir", BUILD, "--show-only=json-v1"], capture_output=True, check=True)
    with tempfile.NamedTemporaryFile() as cases:
        list_cases = [BUILD / "tests/ostdrv_tests", "--gtest_list_tests", f"--gtest_output=json:{cases.name}"]
        subprocess.run(list_cases, stdout=subprocess.DEVNULL, check=True)
        suites = json.load(open(cases.name))["testsuites"]
    directories = {
        f"{suite['name']}.{case['name']}": Path(case["file"]).parent.name
        for suite in suites
        for case in suite["testsuite"]
    }
    tests = [Test(entry, directories) for entry in json.loads(listing.stdout)["tests"] if "command" in entry]
    return [test for test in tests if test.name in directories and not test.name.startswith(NOT_ASKED)]


def limit_resources():
    os.setsid()
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 26, 1 << 26))
    resource.setrlimit(resource.RLIMIT_DATA, (1 << 30, 1 << 30))


class Laboratory:
    """A tree in which mutants are compiled, and what the tests run against. Gone at the end of the scope."""

    def __init__(self):
        memory = os.path.isdir("/dev/shm") and not os.statvfs("/dev/shm").f_flag & os.ST_NOEXEC
        self.scratch = Path(tempfile.mkdtemp(prefix="ostdrv-mutants.", dir="/dev/shm" if memory else None))
        self.source, self.build = self.scratch / "source", self.scratch / "build"

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.scratch, ignore_errors=True)

    def prepare(self):
        names = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, text=True, check=True).stdout
        for name in filter(None, names.split("\0")):
            if (ROOT / name).is_file():
                (self.source / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(ROOT / name, self.source / name)
        off = ("BUILD_TESTS", "BUILD_TOOLS", "BUILD_EXAMPLES", "BUILD_BENCH", "INSTALL", "WERROR")
        configure = ["cmake", "-S", self.source, "-B", self.build, "-G", "Ninja"]
        configure += ["-DCMAKE_BUILD_TYPE=", "-DCMAKE_CXX_FLAGS=-O1 -w"] + [f"-DOSTDRV_{what}=OFF" for what in off]
        subprocess.run(configure, stdout=subprocess.DEVNULL, check=True)
        if not self.compile():
            sys.exit("the library as it is does not compile")
        self.original = self.library()
        # Of their own, so that whoever builds meanwhile does not change what is measured.
        shutil.copy2(BUILD / "tests/ostdrv_tests", self.scratch)

    def compile(self):
        build = ["cmake", "--build", self.build, "--target", "ostdrv"]
        return subprocess.run(build, capture_output=True).returncode == 0

    def library(self):
        return (self.build / "src/libostdrv.so.1").read_bytes()

    def put(self, file, text):
        (self.source / "src" / file).write_text(text)

    def passes(self, test, limit):
        """Whether a test passes with the library that was compiled last."""
        place = self.scratch / "tmp"
        place.mkdir()
        environment = {**os.environ, "LD_LIBRARY_PATH": str(self.build / "src"), "TMPDIR": str(place)}
        process = subprocess.Popen(
            [self.scratch / "ostdrv_tests", *test.command[1:]],
            cwd=test.directory,
            env=environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            preexec_fn=limit_resources,
        )
        try:
            return process.wait(limit) == 0
        except subprocess.TimeoutExpired:
            return False
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            shutil.rmtree(place, ignore_errors=True)

    def measure(self, tests):
        """How long each takes, of a library without a fault. One that fails now would notice everything."""
        for test in tests:
            begun = time.monotonic()
            if not self.passes(test, 300):
                sys.exit(f"{test.name} fails with the library as it is; nothing can be measured")
            test.seconds = time.monotonic() - begun

    def judge(self, mutant, tests, hint):
        """The test that notices, or what else became of it."""
        path = self.source / "src" / mutant.file
        text = path.read_text()
        try:
            self.put(mutant.file, text[: mutant.start] + mutant.new + text[mutant.end :])
            if not self.compile():
                return "does not compile"
            if self.library() == self.original:
                return "same code"
            reach = REACHED_BY[mutant.room]
            asked = [test for test in tests if test.group in reach]
            for test in sorted(asked, key=lambda t: (t.name != hint, reach.index(t.group), t.seconds)):
                if not self.passes(test, 10 + 10 * test.seconds):
                    return test.name
            return "unnoticed"
        finally:
            self.put(mutant.file, text)


def fingerprint():
    """Of everything that a result depends on."""
    digest = hashlib.sha256(Path(__file__).read_bytes())
    for directory in ("src", "include", "sim", "tests", "tools"):
        for path in sorted(p for p in (ROOT / directory).rglob("*") if p.is_file() and p != EQUIVALENT):
            digest.update(str(path).encode() + path.read_bytes())
    return digest.hexdigest()


class Results:
    """What became of each mutant, by name; valid for one state of the tree, and hints for the next."""

    def __init__(self, name):
        self.path, self.state = KEPT / name, fingerprint()
        self.valid, self.hints = {}, {}
        lines = self.path.read_text().splitlines() if self.path.exists() else []
        for state, outcome, mutant in (line.split("\t", 2) for line in lines if line.count("\t") >= 2):
            self.hints[mutant] = outcome
            if state == self.state:
                self.valid[mutant] = outcome

    def add(self, mutant, outcome):
        self.valid[mutant.name] = outcome
        KEPT.mkdir(parents=True, exist_ok=True)
        with self.path.open("a") as file:
            file.write(f"{self.state}\t{outcome}\t{mutant.name}\n")


def summary(chosen, results, equivalent):
    """A line for each room; whether nine of ten are noticed in each."""
    enough = True
    print(f"\n{'room':15} {'mutants':>8} {'noticed':>8} {'equivalent':>11} {'in 100':>7}")
    for room in sorted({mutant.room for mutant in chosen}):
        outcomes = [(m.name in equivalent, results.valid[m.name]) for m in chosen if m.room == room]
        real = [(aside, outcome) for aside, outcome in outcomes if outcome != "does not compile"]
        same = sum(outcome == "same code" or (aside and outcome == "unnoticed") for aside, outcome in real)
        noticed = sum(outcome not in ("same code", "unnoticed") for _, outcome in real)
        share = 100 * noticed / max(1, len(real) - same)
        enough = enough and share >= 90
        print(f"{room:15} {len(real):8} {noticed:8} {same:11} {share:7.1f}")
    return enough


def parse_arguments():
    parser = argparse.ArgumentParser(
        formatter_class=argparse.RawDescriptionHelpFormatter,
        description=__doc__,
        epilog="The exit status is 0 when at least 90 of 100 mutants are noticed in each room that was measured, 1\n"
        "when they are not, 2 when nothing could be measured.",
    )
    rooms = sorted(path.name for path in (ROOT / "src").iterdir() if path.is_dir())
    parser.add_argument("--room", action="append", choices=rooms, help="measure this room only; may be repeated")
    several = "so many mutants of each room, spread evenly; 0: all (default: 40)"
    parser.add_argument("--sample", type=int, default=40, metavar="N", help=several)
    parser.add_argument("--kind", action="append", choices=KINDS, help="change only this; may be repeated")
    parser.add_argument("--list", action="store_true", help="name the mutants and test none")
    arguments = parser.parse_args()
    if arguments.sample < 0:
        parser.error("--sample takes a number from 0 on")
    return arguments, arguments.room or rooms


def choose(every, rooms, kinds, size):
    wanted = [mutant for mutant in every if not kinds or mutant.kind in kinds]
    return [mutant for room in rooms for mutant in sample([m for m in wanted if m.room == room], size)]


def main():
    arguments, rooms = parse_arguments()
    every = all_mutants()
    chosen = choose(every, rooms, arguments.kind, arguments.sample)
    equivalent = read_equivalent(every)
    if arguments.list:
        for mutant in chosen:
            print(f"{mutant.kind:10} {mutant.name}")
        return 0
    if not (BUILD / "tests/ostdrv_tests").exists():
        print("build/default has no tests: cmake --preset default && cmake --build --preset default", file=sys.stderr)
        return 2
    if subprocess.run(["cmake", "--build", BUILD], stdout=subprocess.DEVNULL).returncode != 0:
        print("build/default does not build", file=sys.stderr)
        return 2

    results = Results("results")
    missing = [mutant for mutant in chosen if mutant.name not in results.valid]
    if missing:
        with Laboratory() as laboratory:
            laboratory.prepare()
            reached = {group for mutant in missing for group in REACHED_BY[mutant.room]}
            tests = [test for test in read_tests() if test.group in reached]
            laboratory.measure(tests)
            for number, mutant in enumerate(missing, 1):
                outcome = laboratory.judge(mutant, tests, results.hints.get(mutant.name))
                results.add(mutant, outcome)
                aside = "  (equivalent)" if outcome == "unnoticed" and mutant.name in equivalent else ""
                print(f"[{number}/{len(missing)}] {outcome}{aside}: {mutant.name}", flush=True)
    unnoticed = [m for m in chosen if results.valid[m.name] == "unnoticed" and m.name not in equivalent]
    for mutant in unnoticed:
        print(f"unnoticed: src/{mutant.file}:{mutant.line}: {mutant.name.split(': ', 1)[1]}")
    for mutant in chosen:
        if mutant.name in equivalent and results.valid[mutant.name] not in ("unnoticed", "same code"):
            print(f"put aside, yet noticed by {results.valid[mutant.name]}: {mutant.name}")
    return 0 if summary(chosen, results, equivalent) else 1


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit("\ninterrupted; the same command goes on from here")
