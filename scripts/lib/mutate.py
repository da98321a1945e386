#!/usr/bin/env python3
"""Mutation testing of src/ and platform/src/: one small fault at a time
(a flipped condition, a changed comparison or constant, a deleted call, a
changed return value), the suite run against each, killed or survived.

Called by scripts/mutate.sh, which prepares a scratch copy of the tree and its
build; see there for the options.
"""
import argparse
import collections
import os
import random
import re
import subprocess
import sys
import time

SOURCE_DIRS = ("src", "platform/src")
# Lines that hold no behaviour to mutate, or whose mutation only breaks the build.
SKIPPED_LINE = re.compile(r"^\s*(#|//|/\*|\*|static_assert|using |namespace |template|case |default:|extern )")
CALL_STATEMENT = re.compile(r"^(\s*)((?:[A-Za-z_][\w]*(?:::|\.|->))*[A-Za-z_]\w*)\((.*)\);\s*$")
NOT_A_CALL = ("return", "if", "while", "for", "switch", "sizeof", "static_cast", "throw", "delete", "assert")


def code_spans(line):
    """The parts of a line outside string and character literals and comments, as (start, end)."""
    spans, start, i, quote = [], 0, 0, None
    while i < len(line):
        c = line[i]
        if quote:
            if c == "\\":
                i += 2
                continue
            if c == quote:
                quote, start = None, i + 1
        elif c in "\"'":
            spans.append((start, i))
            quote = c
        elif line.startswith("//", i):
            spans.append((start, i))
            return spans
        i += 1
    if not quote:
        spans.append((start, len(line)))
    return spans


# (pattern, replacement, description): tried on the code parts of each line.
OPERATORS = [
    (r" == ", " != ", "== to !="),
    (r" != ", " == ", "!= to =="),
    (r" <= ", " < ", "<= to <"),
    (r" >= ", " > ", ">= to >"),
    (r" < ", " <= ", "< to <="),
    (r" > ", " >= ", "> to >="),
    (r" && ", " || ", "&& to ||"),
    (r" \|\| ", " && ", "|| to &&"),
    (r"\bif \(!", "if (", "negation dropped"),
    (r"\breturn true;", "return false;", "true returned as false"),
    (r"\breturn false;", "return true;", "false returned as true"),
    (r"\breturn 0;", "return -1;", "0 returned as -1"),
    (r"\breturn -1;", "return 0;", "-1 returned as 0"),
    (r"(?<![\w.])([1-9]\d*)(?![\w.])", None, "constant changed"),
    (r"(?<![\w.])0(?![\w.xX])", "1", "constant 0 to 1"),
]


def mutants_of(path, number, line, previous):
    """Every mutant of one line: (path, line number, new line, description).
    `previous` is the line before it: a call is deleted only when it is a
    statement of its own, not the end of one that began above."""
    if SKIPPED_LINE.match(line) or not line.strip():
        return []
    found = []
    for start, end in code_spans(line):
        part = line[start:end]
        for pattern, replacement, description in OPERATORS:
            for match in re.finditer(pattern, part):
                if replacement is None:  # a constant: one more
                    value = str(int(match.group(1)) + 1)
                    new_part = part[:match.start(1)] + value + part[match.end(1):]
                else:
                    new_part = part[:match.start()] + match.expand(replacement) + part[match.end():]
                found.append((path, number, line[:start] + new_part + line[end:], description))
    call = CALL_STATEMENT.match(line)
    starts_statement = previous.rstrip().endswith((";", "{", "}")) or not previous.strip()
    if (call and starts_statement and call.group(2).split("::")[-1].split(".")[-1] not in NOT_A_CALL and
            "=" not in line.split("(")[0]):
        found.append((path, number, call.group(1) + "(void)0;\n", "call deleted"))
    return found


def all_mutants(root):
    mutants = []
    for directory in SOURCE_DIRS:
        for folder, _, names in os.walk(os.path.join(root, directory)):
            for name in sorted(names):
                if not name.endswith((".cpp", ".hpp")):
                    continue
                path = os.path.relpath(os.path.join(folder, name), root)
                with open(os.path.join(root, path), encoding="utf-8") as source:
                    previous = ""
                    for number, line in enumerate(source, 1):
                        mutants.extend(mutants_of(path, number, line, previous))
                        previous = line
    return sorted(mutants)


def area_of(path):
    parts = path.split("/")
    return "/".join(parts[:2]) if parts[0] == "src" else "platform/src"


def run(command, cwd, timeout):
    try:
        return subprocess.run(command, cwd=cwd, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              timeout=timeout).returncode
    except subprocess.TimeoutExpired:
        return -1


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--root", required=True, help="the scratch copy of the tree")
    parser.add_argument("--build", required=True, help="its build directory, built once already")
    parser.add_argument("--seed", type=int, required=True)
    parser.add_argument("--count", type=int, default=60)
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 2)
    parser.add_argument("--exclude", default="valgrind|install_and_consume",
                        help="tests left out of each run (a ctest regular expression)")
    args = parser.parse_args()

    mutants = all_mutants(args.root)
    sample = random.Random(args.seed).sample(mutants, min(args.count, len(mutants)))
    print(f"mutate: seed {args.seed}: {len(sample)} of {len(mutants)} possible mutants", flush=True)
    test = ["ctest", "--test-dir", args.build, "-j", str(args.jobs * 2), "--stop-on-failure",
            "--timeout", "120", "-E", args.exclude]
    results = collections.defaultdict(lambda: collections.Counter())
    survivors = []
    for index, (path, number, mutated, description) in enumerate(sample, 1):
        full = os.path.join(args.root, path)
        with open(full, encoding="utf-8") as source:
            lines = source.readlines()
        original = lines[number - 1]
        lines[number - 1] = mutated
        with open(full, "w", encoding="utf-8") as source:
            source.writelines(lines)
        started = time.time()
        try:
            built = run(["cmake", "--build", args.build, "-j", str(args.jobs)], args.root, 900) == 0
            verdict = "not compiled"
            if built:
                verdict = "killed" if run(test, args.root, 1800) != 0 else "survived"
        finally:
            lines[number - 1] = original
            with open(full, "w", encoding="utf-8") as source:
                source.writelines(lines)
        area = area_of(path)
        results[area][verdict] += 1
        if verdict == "survived":
            survivors.append(f"{path}:{number}: {description}: {mutated.strip()}")
        print(f"[{index}/{len(sample)}] {verdict:12} {path}:{number} {description} ({time.time() - started:.0f} s)",
              flush=True)
    run(["cmake", "--build", args.build, "-j", str(args.jobs)], args.root, 900)  # back to the tree as it is

    print(f"\n{'directory':24} {'killed':>7} {'compiled':>9} {'survived':>9}")
    total = collections.Counter()
    for area in sorted(results):
        counts = results[area]
        compiled = counts["killed"] + counts["survived"]
        total.update(counts)
        print(f"{area:24} {counts['killed']:>7} {compiled:>9} {counts['survived']:>9}")
    compiled = total["killed"] + total["survived"]
    share = 100.0 * total["killed"] / compiled if compiled else 0.0
    print(f"{'all':24} {total['killed']:>7} {compiled:>9} {total['survived']:>9}   ({share:.0f}% killed)")
    if survivors:
        print("\nsurvivors:")
        for survivor in survivors:
            print("  " + survivor)
    return 0


if __name__ == "__main__":
    sys.exit(main())
