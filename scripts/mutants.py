#!/usr/bin/env python3
"""What the native tests catch: one small change at a time in the portable code.

Each mutant changes one operator in one line of src/ (outside the Win32
folders), rebuilds the native tests, runs them, and is counted as killed
(a test failed or hung), survived (every test passed) or not compiled.
A seed and a count choose the sample, so a score can be repeated:

    scripts/mutants.py --seed 40 --count 200 --report mutants.txt

It is run by hand, never by the test command. The sources are restored
after each mutant, also when the script is interrupted.
"""

import argparse
import os
import random
import re
import signal
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PORTABLE = ["app", "browser", "core", "enforce", "lockdown", "machine", "platform", "profiles", "schedule", "support"]

# Binary operators are written with a space on each side in this code, which
# tells a comparison from a template's angle brackets and a stream's << >>.
BINARY = re.compile(r"(?<=\S) (<=|>=|==|!=|&&|\|\||<|>) (?=[^\s=<>])")
SWAP = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&"}
BOOL = re.compile(r"\b(true|false)\b")
OFF_BY_ONE = re.compile(r" ([+-]) 1\b(?!\.)")
JUMP = re.compile(r"\b(break|continue);")
RETURN = re.compile(r"\breturn (.+);\s*$")
PREDICATE = re.compile(r"^(\w+(::|\.|->))*(is|has|can|should|contains|allows|matches|equals|starts|ends|empty)\w*\(")


@dataclass
class Mutant:
    path: Path
    line: int  # 1-based
    start: int  # column in the line
    end: int
    replacement: str
    kind: str

    def describe(self, text: str) -> str:
        return f"{self.kind}: `{text[self.start:self.end]}` -> `{self.replacement}`"


def code_mask(source: str) -> str:
    """The source with comments, strings and characters blanked, lines kept."""
    out = []
    i, n = 0, len(source)
    while i < n:
        c = source[i]
        if source.startswith("//", i):
            j = source.find("\n", i)
            j = n if j < 0 else j
            out.append(" " * (j - i))
            i = j
        elif source.startswith("/*", i):
            j = source.find("*/", i + 2)
            j = n if j < 0 else j + 2
            out.append(re.sub(r"[^\n]", " ", source[i:j]))
            i = j
        elif c == "R" and source.startswith('R"', i) and (i == 0 or not (source[i - 1].isalnum() or source[i - 1] == "_")):
            k = source.find("(", i)
            delim = ")" + source[i + 2:k] + '"'
            j = source.find(delim, k)
            j = n if j < 0 else j + len(delim)
            out.append(re.sub(r"[^\n]", " ", source[i:j]))
            i = j
        elif c in "\"'":
            # A digit separator (1'000) is not a character literal.
            if c == "'" and i > 0 and source[i - 1].isalnum() and i + 1 < n and source[i + 1].isalnum():
                out.append(c)
                i += 1
                continue
            j = i + 1
            while j < n and source[j] != c and source[j] != "\n":
                j += 2 if source[j] == "\\" else 1
            j = min(j + 1, n)
            out.append(c + " " * (j - i - 2) + c if j - i >= 2 else source[i:j])
            i = j
        else:
            out.append(c)
            i += 1
    return "".join(out)


def mutants_of(path: Path) -> list[Mutant]:
    found = []
    masked = code_mask(path.read_text(encoding="utf-8")).split("\n")
    for number, line in enumerate(masked, 1):
        stripped = line.strip()
        if not stripped or stripped.startswith("#") or "static_assert" in line or "operator" in line:
            continue
        for m in BINARY.finditer(line):
            found.append(Mutant(path, number, m.start(1), m.end(1), SWAP[m.group(1)], "operator"))
        for m in BOOL.finditer(line):
            found.append(Mutant(path, number, m.start(), m.end(), "false" if m.group(1) == "true" else "true", "boolean"))
        for m in OFF_BY_ONE.finditer(line):
            found.append(Mutant(path, number, m.start(1), m.end(1), "-" if m.group(1) == "+" else "+", "off by one"))
        for m in JUMP.finditer(line):
            found.append(Mutant(path, number, m.start(), m.end(), ";", "dropped " + m.group(1)))
        m = RETURN.search(line)
        if m:
            value = m.group(1).strip()
            if value.startswith("!") and not value.startswith("!="):
                found.append(Mutant(path, number, m.start(1), m.start(1) + 1, "", "negated return"))
            elif value not in ("true", "false") and (BINARY.search(value) or PREDICATE.match(value)):
                found.append(Mutant(path, number, m.start(1), m.end(1), f"!({value})", "negated return"))
    return found


def all_mutants() -> list[Mutant]:
    found = []
    for folder in PORTABLE:
        for path in sorted((ROOT / "src" / folder).glob("*")):
            if path.suffix in (".cpp", ".h"):
                found.extend(mutants_of(path))
    return found


def replayed(candidates: list[Mutant], report: Path) -> list[Mutant]:
    """The killed mutants of an earlier report. Lines move as the code changes,
    so each is the same change in the same file on the nearest line."""
    found = []
    lines: dict[Path, list[str]] = {}  # each source read once, not once per candidate
    for entry in re.finditer(r"\] killed +(\S+):(\d+) (.+?)(?: \([^()]*\))?$", report.read_text(encoding="utf-8"), re.M):
        path, line, what = (ROOT / entry.group(1)).resolve(), int(entry.group(2)), entry.group(3)
        if path.exists() and path not in lines:
            lines[path] = path.read_text(encoding="utf-8").split("\n")
        same = [m for m in candidates if m.path == path and m not in found and
                m.describe(lines[path][m.line - 1]) == what]
        if same:
            found.append(min(same, key=lambda m: abs(m.line - line)))
        else:
            print(f"mutants: {entry.group(1)}:{line} {what} is no longer in the code")
    return found


def run(command: list[str], cwd: Path, log) -> int:
    return subprocess.run(command, cwd=cwd, stdout=log, stderr=subprocess.STDOUT).returncode


def tests_pass(build: Path, shards: int, timeout: float, log) -> tuple[bool, str]:
    """The test binary split into shards run side by side; the first failure stops the rest."""
    binary = build / "bin" / "ombrix_tests"
    running = []
    for index in range(shards):
        env = dict(os.environ, GTEST_TOTAL_SHARDS=str(shards), GTEST_SHARD_INDEX=str(index))
        running.append(subprocess.Popen([str(binary), "--gtest_fail_fast", "--gtest_brief=1"], cwd=binary.parent, env=env,
                                        stdout=log, stderr=subprocess.STDOUT, start_new_session=True))
    deadline = time.monotonic() + timeout
    verdict = (True, "")
    while running:
        for process in list(running):
            code = process.poll()
            if code is None:
                continue
            running.remove(process)
            if code != 0:
                verdict = (False, "test failed")
        if not verdict[0] or time.monotonic() > deadline:
            if verdict[0]:
                verdict = (False, "timed out")
            for process in running:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
            break
        time.sleep(0.05)
    if not verdict[0]:
        return verdict
    cli = ROOT / "tests" / "app" / "ombrixctl_cli_test.sh"
    if run(["cmake", "--build", str(build), "-j2", "--target", "ombrixctl"], ROOT, log) != 0:
        return False, "ombrixctl not compiled"
    try:
        code = subprocess.run([str(cli), str(build / "bin" / "ombrixctl")], stdout=log, stderr=subprocess.STDOUT,
                              timeout=timeout).returncode
    except subprocess.TimeoutExpired:
        return False, "timed out"
    return (code == 0, "" if code == 0 else "ombrixctl test failed")


def configure(build: Path, log) -> None:
    if (build / "build.ninja").exists():
        return
    # Without sanitizers or optimisation: the fastest build that runs the same tests.
    code = run(["cmake", "-S", str(ROOT), "-B", str(build), "-G", "Ninja", "-DOMBRIX_BENCH=OFF",
                "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld"], ROOT, log)
    if code != 0:
        sys.exit("mutants: the build could not be configured (see the log)")


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seed", type=int, default=0)
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--build", type=Path, default=ROOT / "build" / "mutants")
    parser.add_argument("--report", type=Path, help="write the results here as well")
    parser.add_argument("--shards", type=int, default=2)
    parser.add_argument("--timeout", type=float, default=180, help="seconds before a hung test counts as caught")
    parser.add_argument("--list", action="store_true", help="only list the sample")
    parser.add_argument("--at", action="append", default=[], metavar="FILE[:LINE]",
                        help="every mutant of these files or lines instead of a sample (to check a new or cut test)")
    parser.add_argument("--replay", type=Path, metavar="REPORT",
                        help="only the mutants an earlier report counted as killed, to see that they still are")
    options = parser.parse_args()

    candidates = all_mutants()
    if options.at:
        def place(at: str) -> tuple[str, int | None]:
            file, _, line = at.partition(":")
            return str((ROOT / file).resolve()), int(line) if line else None
        wanted = [place(a) for a in options.at]
        sample = [m for m in candidates if any(str(m.path) == f and n in (None, m.line) for f, n in wanted)]
    elif options.replay:
        sample = replayed(candidates, options.replay)
    else:
        sample = random.Random(options.seed).sample(candidates, min(options.count, len(candidates)))
    sample.sort(key=lambda m: (str(m.path), m.line, m.start))
    # A seed chooses only a sample; --at and --replay name their mutants.
    chosen = "--replay" if options.replay else "--at" if options.at else f"seed {options.seed}"
    print(f"{len(candidates)} possible mutants; {len(sample)} chosen by {chosen}")
    if options.list:
        for m in sample:
            text = m.path.read_text(encoding="utf-8").split("\n")[m.line - 1]
            print(f"{m.path.relative_to(ROOT)}:{m.line}: {m.describe(text)}")
        return 0

    options.build.mkdir(parents=True, exist_ok=True)
    log = open(options.build / "mutants.log", "w")
    configure(options.build, log)
    if run(["cmake", "--build", str(options.build), "-j2", "--target", "ombrix_tests", "ombrixctl"], ROOT, log) != 0:
        sys.exit("mutants: today's code does not build (see the log)")
    ok, why = tests_pass(options.build, options.shards, options.timeout, log)
    if not ok:
        sys.exit(f"mutants: today's tests do not pass ({why}); fix that first")

    results = {"killed": [], "survived": [], "not compiled": []}
    report = open(options.report, "w") if options.report else None

    def say(text: str) -> None:
        print(text, flush=True)
        if report:
            report.write(text + "\n")
            report.flush()

    say(f"{chosen}, {len(sample)} of {len(candidates)} possible mutants")
    started = time.monotonic()
    for number, m in enumerate(sample, 1):
        original = m.path.read_text(encoding="utf-8")
        lines = original.split("\n")
        text = lines[m.line - 1]
        lines[m.line - 1] = text[:m.start] + m.replacement + text[m.end:]
        where = f"{m.path.relative_to(ROOT)}:{m.line}"
        try:
            m.path.write_text("\n".join(lines), encoding="utf-8")
            log.write(f"\n=== {where} {m.describe(text)}\n")
            log.flush()
            if run(["cmake", "--build", str(options.build), "-j2", "--target", "ombrix_tests"], ROOT, log) != 0:
                outcome, why = "not compiled", ""
            else:
                ok, why = tests_pass(options.build, options.shards, options.timeout, log)
                outcome = "survived" if ok else "killed"
        finally:
            m.path.write_text(original, encoding="utf-8")
        results[outcome].append((where, m.describe(text)))
        say(f"[{number}/{len(sample)}] {outcome:12} {where} {m.describe(text)}" + (f" ({why})" if why else ""))

    killed, survived = len(results["killed"]), len(results["survived"])
    tried = killed + survived
    score = 100.0 * killed / tried if tried else 0.0
    say("")
    say(f"killed {killed}, survived {survived}, not compiled {len(results['not compiled'])}; "
        f"score {score:.1f}% of {tried} compiled, {chosen}, {time.monotonic() - started:.0f} s")
    for where, what in results["survived"]:
        say(f"survived: {where} {what}")
    # Leave the build matching the restored sources.
    run(["cmake", "--build", str(options.build), "-j2", "--target", "ombrix_tests", "ombrixctl"], ROOT, log)
    return 0


if __name__ == "__main__":
    sys.exit(main())
