"""Plants small errors in source files, one at a time, and tells which of them no test notices.

usage: mutations.py TREE BUILD SEED AT_MOST FILE...
scripts/mutate.sh calls it with a copy of the project in TREE, built in BUILD. In each file up to AT_MOST places are
changed, drawn by SEED.
"""
import os
import random
import re
import subprocess
import sys
from pathlib import Path

# What is replaced, and by what. Formatted code has blanks around comparisons, and none in template arguments.
SWAPS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "+": "-", "-": "+", "*": "+",
         "&&": "||", "||": "&&", "min": "max", "max": "min", "floor": "ceil", "ceil": "floor", "true": "false",
         "false": "true", "++": "--", "+=": "-=", "-=": "+="}


def swapped(match):
    return match[0].replace(match[1], SWAPS[match[1]])


RULES = (
    ("bound", re.compile(r"(?<= )(<=|>=|<|>)(?= )"), swapped),
    ("condition", re.compile(r"(?<= )(==|!=|&&|\|\|)(?= )"), swapped),
    ("negation", re.compile(r"(?<=[( ])!(?=[\w(])"), ""),
    ("sign", re.compile(r"(?<=[\w)\]] )([+*-])(?= [\w(])"), swapped),
    ("step", re.compile(r"(\+\+|\+=|-=)"), swapped),
    ("off by one", re.compile(r"(?<=[\w)\]]) [+-] 1(?![\w.])"), ""),
    ("constant", re.compile(r"(?<![\w.\"])(\d+)(?![\w.\"])"), lambda match: str(int(match[1]) + 1)),
    ("limit", re.compile(r"\b(min|max|floor|ceil)(?=[(<])"), swapped),
    ("flag", re.compile(r"\b(true|false)\b"), swapped),
    # Not of calls in which their order does not matter.
    ("arguments", re.compile(r"(?<!swap\()(?<!min\()(?<!max\()(?<=[\w>]\()([\w.]+), ([\w.]+)(?=[,)])"),
     r"\2, \1"),
    ("dropped check", re.compile(r"^ +if \(.*\) [^{]*;$|^ +TN_CHECK\w*\(.*\);$"), ";"),
    ("dropped call", re.compile(r"^ +[\w.:]+(?:->\w+)*\(.*\);$"), ";"),
    ("dropped assignment", re.compile(r"^ +[\w.\[\]]+(?:->\w+)* [-+*/|&]?= .*;$"), ";"),
)
# Tests of the build itself, and long ones.
LEFT_OUT = "^(Install|Faults|Abi|Packaging|Hardening)"
SECONDS_A_TEST = 120
JOBS = str(len(os.sched_getaffinity(0)))


def code_of(line):
    """The line with strings blanked and its comment cut, so that only code is changed."""
    line = re.sub(r'"(?:\\.|[^"\\])*"', lambda text: '"' + "_" * (len(text[0]) - 2) + '"', line)
    return "" if line.lstrip().startswith("#") else re.sub(r" *//.*", "", line)


def mutants_of(text):
    """All changes of one place: line number, kind, the line before and after."""
    for number, line in enumerate(text.splitlines()):
        code = code_of(line)
        for kind, pattern, new in RULES:
            for match in pattern.finditer(code):
                changed = line[:match.start()] + (new(match) if callable(new) else match.expand(new)) + line[match.end():]
                if changed != line:
                    yield number, kind, line, changed


class Trial:
    """One build tree, and the tests that noticed something so far."""

    def __init__(self, build):
        self.build = build
        self.noticed = []

    def builds(self):
        return subprocess.run(["cmake", "--build", self.build, "-j", JOBS], capture_output=True).returncode == 0

    def first_failure(self, names):
        """The first test that fails, or None."""
        run = subprocess.run(
            ["ctest", "--test-dir", self.build, "-j", JOBS, "--stop-on-failure", "--timeout", str(SECONDS_A_TEST),
             "-R", names, "-E", LEFT_OUT], capture_output=True, text=True)
        if run.returncode == 0:
            return None
        failed = re.search(r"The following tests FAILED:\n\s*\d+ - (\S+)", run.stdout)
        return failed[1] if failed else "ctest itself"

    def caught_by(self):
        """Those that noticed the last errors of this file run first: they are likely to notice this one too."""
        name = self.first_failure("^(%s)" % "|".join(map(re.escape, self.noticed))) if self.noticed else None
        name = name or self.first_failure(".")
        if name and name not in self.noticed:
            self.noticed = [name] + self.noticed[:5]
        return name


def main():
    tree, build, seed, at_most = Path(sys.argv[1]), sys.argv[2], sys.argv[3], int(sys.argv[4])
    failure = Trial(build).first_failure(".")
    if failure:
        sys.exit(f"scripts/mutate.sh: {failure} fails without any error planted")
    survivors, counts = [], {"caught": 0, "survived": 0, "not built": 0}
    for name in sys.argv[5:]:
        source = tree / name
        text = source.read_text()
        mutants = list(mutants_of(text))
        random.Random(seed + name).shuffle(mutants)
        trial = Trial(build)
        tried = 0
        for number, kind, old, new in mutants:
            if tried == at_most:
                break
            lines = text.splitlines(keepends=True)
            lines[number] = new + "\n"
            source.write_text("".join(lines))
            try:
                caught = trial.caught_by() if trial.builds() else "not built"
            finally:
                source.write_text(text)
            result = caught if caught == "not built" else "caught" if caught else "survived"
            counts[result] += 1
            tried += result != "not built"
            print(f"{name}:{number + 1}: {kind}: {'caught by ' + caught if result == 'caught' else result}", flush=True)
            if result == "survived":
                survivors.append((name, number + 1, kind, old.strip(), new.strip()))
    print("\n%d caught, %d survived, %d did not build" % tuple(counts.values()))
    for name, number, kind, old, new in survivors:
        print(f"\n{name}:{number}: {kind}\n- {old}\n+ {new}")


main()
