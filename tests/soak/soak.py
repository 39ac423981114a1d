#!/usr/bin/env python3
"""Soak test: many replicates of one run, with the number of replicates raised during the run.

Runs the given Davok binary (normally the AddressSanitizer build) on tests/soak/soak.prm in a
scratch folder. The parameter file asks for 20 replicates; when replicate 10 starts, the script
writes 50 into the output folder's nrep.txt, which the run reads after replicate 10 ends. At the
start of every replicate it samples the resident set size (VmRSS) of the process, that is the
memory kept after the previous replicate was released.

It fails when the run does not end cleanly (a sanitizer report, a leak found at exit, an error),
when it does not run exactly 50 replicates, or when the memory grows from replicate to replicate:
the least-squares slope of the samples after the warm-up, over the whole run, must stay within
the tolerance.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

REPLICATE_LINE = re.compile(r"~ Replicate +(\d+) ~")


def rss_kib(pid):
    """Resident set size of process pid in KiB, or None once it has ended."""
    try:
        with open(f"/proc/{pid}/status") as f:
            for line in f:
                if line.startswith("VmRSS:"):
                    return int(line.split()[1])
    except OSError:
        pass
    return None


def slope(points):
    """Least-squares slope of (x, y) points."""
    n = len(points)
    mx = sum(x for x, _ in points) / n
    my = sum(y for _, y in points) / n
    sxx = sum((x - mx) ** 2 for x, _ in points)
    return sum((x - mx) * (y - my) for x, y in points) / sxx if sxx else 0.0


def run(args, work):
    shutil.copy(args.param, os.path.join(work, "soak.prm"))
    env = dict(os.environ)
    # No quarantine of freed memory: with one, the sanitizer's allocator keeps taking fresh pages
    # for recycled chunks (about 2 MB per replicate here, with a live heap that stays the same
    # to the kilobyte), which would hide the program's own figures. Use after free is the
    # business of make test-asan.
    env.setdefault("ASAN_OPTIONS", "detect_leaks=1:quarantine_size_mb=0")
    env.setdefault("UBSAN_OPTIONS", "print_stacktrace=1:halt_on_error=1")
    stderr_path = os.path.join(work, "stderr.txt")
    samples = []  # (replicate, RSS in KiB at its start)
    start = time.monotonic()
    with open(stderr_path, "w") as err:
        proc = subprocess.Popen([args.binary, "soak.prm", "-o"], cwd=work, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=err, text=True, env=env)
        try:
            for line in proc.stdout:
                m = REPLICATE_LINE.search(line)
                if not m:
                    continue
                rep = int(m.group(1))
                kib = rss_kib(proc.pid)
                if kib is not None:
                    samples.append((rep, kib))
                print(f"replicate {rep:3d}  RSS {kib or 0:8d} KiB  {time.monotonic() - start:7.1f} s", flush=True)
                if rep == args.raise_at:
                    with open(os.path.join(work, "r_soak", "nrep.txt"), "w") as f:
                        f.write(f"{args.replicates}\n")
            code = proc.wait(timeout=args.timeout)
        except BaseException:
            proc.kill()
            proc.wait()
            raise
    with open(stderr_path) as f:
        stderr = f.read()
    return code, samples, stderr


def report(samples, args):
    """Prints the figures; returns the failures found in them."""
    failures = []
    reps = [r for r, _ in samples]
    if reps != list(range(1, args.replicates + 1)):
        failures.append(f"replicates run: {reps[-1] if reps else 0} (expected {args.replicates}, in order)")
    if len(samples) <= args.warmup + 2:
        failures.append("too few samples to measure the memory")
        return failures
    kept = samples[args.warmup:]
    values = [kib for _, kib in kept]
    per_rep = slope(kept)
    growth = per_rep * (kept[-1][0] - kept[0][0])
    allowed = max(args.tolerance_mib * 1024, args.tolerance_pct / 100 * values[0])
    print(f"RSS at the start of replicate 1: {samples[0][1] / 1024:.1f} MiB")
    print(f"RSS after warm-up (replicates {kept[0][0]}..{kept[-1][0]}): first {values[0] / 1024:.1f} MiB, "
          f"last {values[-1] / 1024:.1f} MiB, max {max(values) / 1024:.1f} MiB, "
          f"min {min(values) / 1024:.1f} MiB")
    print(f"slope {per_rep:.1f} KiB per replicate, {growth / 1024:.2f} MiB over the run "
          f"(allowed {allowed / 1024:.2f} MiB)")
    if growth > allowed:
        failures.append(f"memory grows by {growth / 1024:.2f} MiB over the run")
    return failures


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("binary", help="the Davok binary, normally the AddressSanitizer build")
    p.add_argument("--param", default=os.path.join(here, "soak.prm"))
    p.add_argument("--replicates", type=int, default=50, help="number written into nrep.txt")
    p.add_argument("--raise-at", type=int, default=10, help="replicate during which nrep.txt is written")
    p.add_argument("--warmup", type=int, default=10, help="first samples left out of the slope")
    p.add_argument("--tolerance-mib", type=float, default=4.0)
    p.add_argument("--tolerance-pct", type=float, default=2.0)
    p.add_argument("--timeout", type=float, default=3600)
    p.add_argument("--keep", help="run in this folder and keep it (emptied first)")
    args = p.parse_args()

    binary = os.path.abspath(args.binary)
    args.binary = binary
    if args.keep:
        shutil.rmtree(args.keep, ignore_errors=True)
        os.makedirs(args.keep)
        work = args.keep
    else:
        work = tempfile.mkdtemp(prefix="davok-soak-")
    code, samples, stderr = run(args, work)

    failures = report(samples, args)
    if code != 0:
        failures.insert(0, f"exit code {code}")
    if "Sanitizer" in stderr or "runtime error" in stderr:
        failures.insert(0, "sanitizer report on stderr")
    if failures:
        sys.stderr.write(stderr[-20000:])
        for f in failures:
            print(f"FAIL: {f}", file=sys.stderr)
        print(f"run folder kept: {work}", file=sys.stderr)
        return 1
    if not args.keep:
        shutil.rmtree(work, ignore_errors=True)
    print("soak: passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
