#!/usr/bin/python3
"""Mutation testing of Davok: how many small faults planted in src/ and tools/ do the tests catch?

Each mutant is one small change (a flipped comparison, a constant off by one, swapped operands,
+ and - exchanged, a deleted statement) applied to a scratch copy of the tree in
build-mutation/tree, rebuilt incrementally in build-mutation/build, and judged by the tests that
cover its file: killed when one of them fails or times out, survived otherwise. The developer's
sources and build/ are never written to.

Usage: scripts/mutation.py [--mutants N] [--seed S] [--jobs J] [--only PATH ...]

With --only, mutants are drawn from the files under the given paths alone: the same seed on the
same sources gives the same mutants, so two test suites can be compared mutant by mutant.
"""
import argparse
import contextlib
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import time
import xml.etree.ElementTree as ET

DEFAULT_MUTANTS = 40
DEFAULT_SEED = 20240611
WORK = "build-mutation"
# Every tracked or new file is copied except these folders: the benchmarks are optional in the
# CMake files (added only when bench/*.cpp exist) and no test needs them, the pages are not built.
NOT_COPIED = ("bench/", "docs/")
CPP_EXT = (".cpp", ".h")
CPP_SKIP_KEYWORDS = {"return", "break", "continue", "goto", "throw", "using", "typedef", "case",
                     "default", "else", "if", "for", "while", "do", "switch", "template", "class",
                     "struct", "enum", "namespace", "public", "private", "protected",
                     "static_assert", "delete", "new", "co_return", "co_yield"}
PY_SKIP_KEYWORDS = {"def", "class", "if", "elif", "else", "for", "while", "try", "except",
                    "finally", "with", "return", "import", "from", "global", "nonlocal", "raise",
                    "assert", "del", "pass", "break", "continue", "yield", "async", "await",
                    "lambda", "match", "case"}


# ---- Where the code is: comments, strings and preprocessor lines blanked out ----

def _blank(text, start, end):
    return "".join(c if c == "\n" else " " for c in text[start:end])


def mask_cpp(text):
    """The text with comments, string and character literals and preprocessor lines replaced by
    spaces (newlines kept), so that offsets stay those of the original."""
    out, i, n = [], 0, len(text)
    at_line_start = True
    while i < n:
        c = text[i]
        if at_line_start and c == "#":
            j = i
            while j < n and text[j] != "\n":
                j = j + 2 if text[j] == "\\" and j + 1 < n else j + 1
            out.append(_blank(text, i, j))
            i = j
            continue
        if c == "\n":
            at_line_start = True
            out.append(c)
            i += 1
            continue
        if not c.isspace():
            at_line_start = False
        if text.startswith("//", i):
            j = text.find("\n", i)
            j = n if j < 0 else j
        elif text.startswith("/*", i):
            j = text.find("*/", i + 2)
            j = n if j < 0 else j + 2
        elif c == "R" and text.startswith('"', i + 1) and (i == 0 or not (text[i - 1].isalnum() or text[i - 1] == "_")):
            m = re.compile(r'R"([^(\s]*)\(').match(text, i)
            if not m:
                out.append(c)
                i += 1
                continue
            j = text.find(")" + m.group(1) + '"', m.end())
            j = n if j < 0 else j + len(m.group(1)) + 2
        elif c == '"' or (c == "'" and not (i > 0 and text[i - 1].isdigit())):
            j = i + 1
            while j < n and text[j] != c and text[j] != "\n":
                j += 2 if text[j] == "\\" else 1
            j = min(j + 1, n)
        else:
            out.append(c)
            i += 1
            continue
        out.append(_blank(text, i, j))
        i = j
    return "".join(out)


_PY_STRING = re.compile(r"""(?i)(?<![\w])[rbuf]{0,2}('''|\"\"\"|'|")""")


def mask_py(text):
    """The Python text with comments and string literals (docstrings, f-strings) blanked out."""
    out, i, n = [], 0, len(text)
    while i < n:
        c = text[i]
        if c == "#":
            j = text.find("\n", i)
            j = n if j < 0 else j
        else:
            m = _PY_STRING.match(text, i) if (c in "'\"" or c.isalpha()) else None
            if not m:
                out.append(c)
                i += 1
                continue
            quote = m.group(1)
            j = m.end()
            while j < n and not text.startswith(quote, j):
                if len(quote) == 1 and text[j] == "\n":
                    break
                j += 2 if text[j] == "\\" else 1
            j = min(j + len(quote), n)
            i = m.start()
        out.append(_blank(text, i, j))
        i = j
    return "".join(out)


# ---- Mutation sites ----

class Site:
    """One mutant: in line `line` (1-based) of `path`, the columns [start, end) become `new`."""

    def __init__(self, path, line, start, end, op, new):
        self.path, self.line, self.start, self.end, self.op, self.new = path, line, start, end, op, new

    def apply(self, text):
        lines = text.split("\n")
        old = lines[self.line - 1]
        lines[self.line - 1] = old[:self.start] + self.new + old[self.end:]
        return "\n".join(lines)

    def mutated_line(self, text):
        return self.apply(text).split("\n")[self.line - 1].strip()


FLIPS = {"<": ">=", ">=": "<", ">": "<=", "<=": ">", "==": "!=", "!=": "=="}
# A comparison with a space on each side: template brackets, shifts and arrows never have one.
COMPARISON = re.compile(r"(?<= )(<=|>=|==|!=|<|>)(?= )")
INTEGER = re.compile(r"(?<![\w.])(\d+)([uUlL]*)(?![\w.])")
PLUS_MINUS = re.compile(r"(?<= )([+-])(?= )")
OPERAND = r"[A-Za-z_]\w*(?:(?:\.|->|::)[A-Za-z_]\w*)*|\d+(?:\.\d+)?"
# a - b or a / b with plain operands that no tighter operator binds on either side.
SWAP = re.compile(r"(?<![\w.)\]>*/%])(?<!-> )(?<![*/%] )(" + OPERAND + r") (-|/|//) (" + OPERAND +
                  r")(?![\w(\[.]|->|::| *[*/%(])")
LOGICAL = {"cpp": {"&&": "||", "||": "&&"}, "py": {"and": "or", "or": "and"}}
LOGICAL_RE = {"cpp": re.compile(r"(?<= )(&&|\|\|)(?= )"), "py": re.compile(r"(?<= )(and|or)(?= )")}
CPP_ASSIGNMENT = re.compile(r"^\*?[A-Za-z_][\w.:>\[\]-]*\s*(?:[-+*/%|&^]|<<|>>)?=[^=]")
CPP_CALL = re.compile(r"^[A-Za-z_][\w.:>\[\]-]*\s*\(.*\)\s*;$")
CPP_STEP = re.compile(r"^(?:\+\+|--)[A-Za-z_][\w.>\[\]-]*\s*;$|^[A-Za-z_][\w.>\[\]-]*(?:\+\+|--)\s*;$")


def _balanced(s):
    return all(s.count(a) == s.count(b) for a, b in ("()", "[]", "{}"))


def _cpp_deletable(code, previous):
    """An expression statement or assignment on a line of its own, after a finished statement."""
    first = re.split(r"\W", code, 1)[0]
    if not code.endswith(";") or not _balanced(code) or first in CPP_SKIP_KEYWORDS:
        return False
    if not previous or previous[-1] not in ";{}":
        return False
    return bool(CPP_ASSIGNMENT.match(code) or CPP_CALL.match(code) or CPP_STEP.match(code))


def _py_deletable(code, previous, depth):
    first = re.split(r"[\s(.\[:=]", code, 1)[0]
    if depth or first in PY_SKIP_KEYWORDS or code.startswith("@") or not _balanced(code):
        return False
    if code[-1] in ":\\,([{" or (previous and previous[-1] in "\\,([{"):
        return False
    return bool(re.match(r"^[A-Za-z_][\w.\[\]'\" ,]*\s*(?:[-+*/%|&^]|//|\*\*)?=[^=]", code) or
                re.match(r"^[A-Za-z_][\w.]*\(.*\)$", code))


def find_sites(path, text):
    """Every mutation site of one file; never inside a comment, a string or a preprocessor line."""
    lang = language(path, text)
    masked = (mask_py if lang == "py" else mask_cpp)(text)
    sites, previous, depth = [], "", 0
    for number, (line, code_line) in enumerate(zip(text.split("\n"), masked.split("\n")), 1):
        code = code_line.strip()
        if not code:
            continue

        def add(start, end, op, new):
            sites.append(Site(path, number, start, end, op, new))

        for m in COMPARISON.finditer(code_line):
            add(m.start(), m.end(), "comparison", FLIPS[m.group(1)])
        for m in INTEGER.finditer(code_line):
            value = int(m.group(1))
            # One direction per constant, fixed by its place: 0 always becomes 1.
            new = value + 1 if value == 0 or (number + m.start()) % 2 == 0 else value - 1
            add(m.start(1), m.end(1), "constant", str(new))
        for m in SWAP.finditer(code_line):
            add(m.start(), m.end(), "swap", m.group(3) + " " + m.group(2) + " " + m.group(1))
        for m in LOGICAL_RE[lang].finditer(code_line):
            add(m.start(), m.end(), "logical", LOGICAL[lang][m.group(1)])
        for m in PLUS_MINUS.finditer(code_line):
            add(m.start(), m.end(), "arithmetic", "-" if m.group(1) == "+" else "+")
        if lang == "cpp" and _cpp_deletable(code, previous):
            add(0, len(line), "delete", "")
        elif lang == "py" and _py_deletable(code, previous, depth):
            indent = len(line) - len(line.lstrip())
            add(indent, len(line), "delete", "pass")
        depth += sum(code.count(c) for c in "([{") - sum(code.count(c) for c in ")]}")
        previous = code
    return sites


def is_source(path):
    """A file of src/ or tools/ that is not a test."""
    name = os.path.basename(path)
    if not path.startswith(("src/", "tools/")) or "/tests/" in path or "/test/" in path:
        return False
    return not re.match(r"test_.*\.py$|.*_test\.(py|cpp|h)$", name)


def language(path, text):
    """'cpp', 'py' (a .py file or a Python script without extension) or None."""
    if path.endswith(CPP_EXT):
        return "cpp"
    if path.endswith(".py") or ("." not in os.path.basename(path) and re.match(r"#!.*python", text)):
        return "py"
    return None


# ---- The scratch tree and its build ----

def tree_files(root):
    out = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=root, check=True,
                         capture_output=True).stdout.decode()
    return sorted(f for f in out.split("\0") if f and not f.startswith(NOT_COPIED)
                  and os.path.isfile(os.path.join(root, f)))


def sync_tree(root, files, tree):
    """Makes `tree` hold exactly `files` of `root`; unchanged files keep their time stamps so that
    the build stays incremental."""
    wanted = set(files)
    for f in files:
        src, dst = os.path.join(root, f), os.path.join(tree, f)
        with open(src, "rb") as a:
            data = a.read()
        if os.path.exists(dst):
            with open(dst, "rb") as b:
                if b.read() == data:
                    continue
        os.makedirs(os.path.dirname(dst), exist_ok=True)
        shutil.copy2(src, dst)
    for dirpath, _, names in os.walk(tree):
        for name in names:
            rel = os.path.relpath(os.path.join(dirpath, name), tree)
            if rel not in wanted:
                os.remove(os.path.join(dirpath, name))


def run(cmd, cwd, timeout=None):
    """Runs `cmd` in its own process group; returns (exit code or None on time-out, output)."""
    proc = subprocess.Popen(cmd, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            start_new_session=True)
    try:
        out, _ = proc.communicate(timeout=timeout)
        return proc.returncode, out.decode(errors="replace")
    except subprocess.TimeoutExpired:
        return None, ""
    finally:
        if proc.poll() is None:
            os.killpg(proc.pid, signal.SIGKILL)
            proc.wait()


def build(tree, build_dir, jobs):
    code, out = run(["cmake", "-S", tree, "-B", build_dir, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release"], ".")
    if code == 0:
        code, out = run(["cmake", "--build", build_dir, "-j", str(jobs)], ".")
    return code == 0, out


# ---- Which tests cover which file ----

def list_tests(build_dir, tree):
    """[(ctest number, name, labels, {the test's folder under tests/})]."""
    code, out = run(["ctest", "--show-only=json-v1"], build_dir)
    if code != 0:
        sys.exit("mutation: ctest cannot list the tests:\n" + out)
    tests = []
    for number, t in enumerate(json.loads(out)["tests"], 1):
        props = {p["name"]: p["value"] for p in t.get("properties", [])}
        labels = props.get("LABELS", [])
        folder = os.path.relpath(props.get("WORKING_DIRECTORY", build_dir), build_dir)
        if folder.startswith(".."):
            folder = os.path.relpath(props["WORKING_DIRECTORY"], tree)
        tests.append((number, t["name"], labels, {folder}))
    return tests


def top_folder(path):
    """src/<subsystem> or tools/<name>."""
    return "/".join(path.split("/")[:2])


def covering_tests(path, tests):
    """A src/ file: every unit, end-to-end and tool test (a function of one layer is tested from
    the folders of the layers that use it too; the unit tests take seconds). A tools/<name>/ file:
    the tests of tests/tools/<name>/, or every tool test when that folder has none (the Python
    readers of davok-py are tested through davok-plot's tests)."""
    top, name = path.split("/")[:2]
    if top == "src":
        return [t for t in tests if {"unit", "cli", "tools"} & set(t[2])]
    own = [t for t in tests if "tests/tools/" + name in t[3]]
    return own or [t for t in tests if "tools" in t[2]]


def run_tests(build_dir, selected, jobs, timeout, junit=None):
    """True when every selected test passes within `timeout` seconds."""
    numbers = ",".join(str(t[0]) for t in selected)
    cmd = ["ctest", "-j", str(jobs), "--no-tests=error", "-I", "0,0,0," + numbers,
           "--timeout", str(int(timeout))]
    if junit:
        cmd += ["--output-junit", junit]
    code, out = run(cmd, build_dir, timeout)
    return code == 0, out


def test_times(junit):
    times = {}
    for case in ET.parse(junit).getroot().iter("testcase"):
        times[case.get("name")] = float(case.get("time", "0") or 0)
    return times


def time_limit(selected, times, jobs):
    """A few times what the selected tests took unmutated, with room for the machine's load."""
    durations = [times.get(t[1], 1.0) for t in selected]
    estimate = max(sum(durations) / jobs, max(durations))
    return 3 * estimate + 30


# ---- The run ----

def parse_args(argv):
    parser = argparse.ArgumentParser(prog="mutation", description="Mutation testing of src/ and tools/.")
    parser.add_argument("--mutants", default=str(DEFAULT_MUTANTS), help="mutants to judge (default %(default)s)")
    parser.add_argument("--seed", default=str(DEFAULT_SEED), help="seed of the sample (default %(default)s)")
    parser.add_argument("--jobs", default=str(os.cpu_count() or 2), help="build and test jobs")
    parser.add_argument("--only", nargs="+", default=[], metavar="PATH",
                        help="draw mutants from the files under these paths alone")
    try:
        args = parser.parse_args(argv)
    except SystemExit as e:
        sys.exit(1 if e.code else 0)
    for name in ("mutants", "seed", "jobs"):
        value = getattr(args, name)
        if not re.fullmatch(r"\d+", value) or (name != "seed" and int(value) < 1):
            print(f"mutation: --{name} must be a whole number{'' if name == 'seed' else ' of at least 1'}, "
                  f"not '{value}'", file=sys.stderr)
            sys.exit(1)
        setattr(args, name, int(value))
    return args


def under_any(path, prefixes):
    """True when no prefixes are given or path is one of them or lies below one."""
    return not prefixes or any(path == p.rstrip("/") or path.startswith(p.rstrip("/") + "/") for p in prefixes)


def say(message):
    print(message, file=sys.stderr, flush=True)


def collect_sites(root, files):
    sites = []
    for f in files:
        if is_source(f):
            with open(os.path.join(root, f), encoding="utf-8", errors="replace") as fh:
                text = fh.read()
            if language(f, text):
                sites += find_sites(f, text)
    return sites


def still_compiles_py(text, path):
    try:
        compile(text, path, "exec")
        return True
    except SyntaxError:
        return False


@contextlib.contextmanager
def mutated_file(site, tree):
    """Writes the mutant of `site` into the scratch tree and puts the original bytes back on leaving,
    also on an error or Ctrl-C. Yields the mutated text."""
    target = os.path.join(tree, site.path)
    with open(target, "rb") as f:
        original = f.read()
    mutated = site.apply(original.decode("utf-8", "surrogateescape"))
    try:
        with open(target, "wb") as f:
            f.write(mutated.encode("utf-8", "surrogateescape"))
        yield mutated
    finally:
        # A second Ctrl-C must not cut the restore short.
        handler = signal.signal(signal.SIGINT, signal.SIG_IGN)
        with open(target, "wb") as f:
            f.write(original)
        signal.signal(signal.SIGINT, handler)


def judge(site, tree, build_dir, tests, times, jobs):
    """'killed', 'survived' or 'stillborn'."""
    with mutated_file(site, tree) as mutated:
        if language(site.path, mutated) == "py" and not still_compiles_py(mutated, site.path):
            return "stillborn"
        built, _ = build(tree, build_dir, jobs)
        if not built:
            return "stillborn"
        selected = covering_tests(site.path, tests)
        passed, _ = run_tests(build_dir, selected, jobs, time_limit(selected, times, jobs))
        return "survived" if passed else "killed"


def summary(results, stillborn, seed, total_sites, seconds):
    judged = len(results)
    killed = sum(1 for r in results if r[1] == "killed")
    lines = [f"Mutation score: {killed}/{judged} killed ({100.0 * killed / max(judged, 1):.0f}%), "
             f"seed {seed}, {total_sites} sites, {seconds / 60:.0f} min",
             f"Stillborn (did not compile): {stillborn}", "", "Per folder:"]
    folders = sorted({top_folder(r[0].path) for r in results})
    for folder in folders:
        mine = [r for r in results if top_folder(r[0].path) == folder]
        k = sum(1 for r in mine if r[1] == "killed")
        lines.append(f"  {folder:<24} {k}/{len(mine)}")
    survivors = [r for r in results if r[1] == "survived"]
    lines += ["", f"Survivors ({len(survivors)}):"]
    lines += [f"  {r[0].path}:{r[0].line} [{r[0].op}]  {r[2]}" for r in survivors]
    return "\n".join(lines) + "\n"


def main(argv):
    args = parse_args(argv)
    root = subprocess.run(["git", "rev-parse", "--show-toplevel"], capture_output=True, text=True,
                          cwd=os.path.dirname(os.path.abspath(__file__))).stdout.strip()
    work = os.path.join(root, WORK)
    tree, build_dir = os.path.join(work, "tree"), os.path.join(work, "build")
    start = time.time()
    files = tree_files(root)
    mutable = [f for f in files if is_source(f) and under_any(f, args.only)]
    if not mutable:
        say(f"mutation: no source file of src/ or tools/ under {' '.join(args.only)}")
        return 1
    say(f"mutation: copying the tree to {tree} and building it")
    sync_tree(root, files, tree)
    built, out = build(tree, build_dir, args.jobs)
    if not built:
        say(out[-4000:])
        say("mutation: the unmutated tree does not build")
        return 1
    tests = list_tests(build_dir, tree)
    covered = [t for t in tests if {"unit", "cli", "tools"} & set(t[2])]
    say(f"mutation: running the {len(covered)} unit, end-to-end and tool tests unmutated")
    junit = os.path.join(work, "unmutated.xml")
    passed, out = run_tests(build_dir, covered, args.jobs, 3600, junit)
    if not passed:
        say(out[-4000:])
        say("mutation: the tests fail on the unmutated tree; fix them before measuring mutants")
        return 1
    times = test_times(junit)
    sites = collect_sites(tree, mutable)
    order = random.Random(args.seed).sample(range(len(sites)), len(sites))
    say(f"mutation: {len(sites)} sites; judging {args.mutants} mutants "
        f"(unmutated tests: {sum(times.values()):.0f} s of test time)")
    results, stillborn = [], 0
    for index in order:
        if len(results) == args.mutants:
            break
        site = sites[index]
        t0 = time.time()
        with open(os.path.join(tree, site.path), encoding="utf-8", errors="replace") as f:
            line = site.mutated_line(f.read())
        verdict = judge(site, tree, build_dir, tests, times, args.jobs)
        if verdict == "stillborn":
            stillborn += 1
        else:
            results.append((site, verdict, line))
        number = f"{len(results)}/{args.mutants}" if verdict != "stillborn" else "-"
        say(f"[{number}] {site.path}:{site.line} {site.op} {verdict} {time.time() - t0:.0f}s")
    built, _ = build(tree, build_dir, args.jobs)  # leaves the scratch build unmutated
    report = summary(results, stillborn, args.seed, len(sites), time.time() - start)
    with open(os.path.join(work, "mutation-report.txt"), "w") as f:
        f.write(report)
    print(report, end="")
    return 0


def _stop(signum, frame):
    raise KeyboardInterrupt


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, _stop)  # a kill restores the scratch copy as Ctrl-C does
    try:
        sys.exit(main(sys.argv[1:]))
    except KeyboardInterrupt:
        say("mutation: interrupted; the sources were not touched, the scratch copy is restored")
        sys.exit(130)
