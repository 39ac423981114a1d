#!/usr/bin/env python3
"""davok-cluster: the replicates of one Davok study as cluster jobs, and their exact merge.

  davok-cluster split RUN.prm N --seed MASTER [--reps-per-job K] [--threads T] [--dir STUDY] [-o]
  davok-cluster submit [STUDY] [--slurm | --parallel] [--jobs J] [Slurm resources]
  davok-cluster status [STUDY]
  davok-cluster merge [STUDY] [--out FOLDER] [-o]
  davok-cluster job STUDY JOB          (what each job runs; submit starts it)

Every job is a run of the Davok engine over its replicates, started from a seed file derived from
the master seed and the job's number, so a master seed fixes every job whatever the machine or the
order the jobs run in. The merge renumbers the replicate files into one sequence and writes the
summary over replicates with the engine's own code from the full-precision values each replicate
leaves behind.
"""

import argparse
import hashlib
import os
import re
import shutil
import struct
import subprocess
import sys

STUDY_FILE = "study.txt"
SUMS_FILE = re.compile(r"^replicate_sums_\d+\.txt$")
DONE_FILE = "done.txt"
SLURM_JOBS_FILE = "slurm_jobs.txt"
ENGINE = "davok-cluster-engine"
SEED_WORDS = 624
# Files of a job's folder that belong to the run, not to its results.
RUN_FILES = ("report.txt", "seed", "stat_rep.txt", DONE_FILE)


class ClusterError(Exception):
    """A condition that ends the command with its message and exit code 1."""


# ---- The study: its settings file and folder layout ----

class Study:
    """A study folder made by `split`:

    study.txt              settings: parameter file, replicates, grouping, master seed, threads
    <name>.prm             the copy of the parameter file every replicate runs
    seeds/seed_job_JJJ     the seed file of job JJJ
    runs/job_JJJ/          the engine's output folder of job JJJ; done.txt marks it finished
    logs/                  the engine's console output per job, Slurm and parallel logs
    """

    KEYS = ("param", "workdir", "jobs", "replicates_per_job", "master_seed", "threads")

    def __init__(self, folder):
        self.folder = os.path.abspath(folder)
        path = os.path.join(self.folder, STUDY_FILE)
        try:
            with open(path) as f:
                pairs = dict(line.rstrip("\n").split(" = ", 1) for line in f if " = " in line)
        except OSError as e:
            raise ClusterError(f"Could not read [{path}]; {e.strerror}. Is [{folder}] a study made by split?")
        if any(k not in pairs for k in self.KEYS):
            raise ClusterError(f"[{path}] is incomplete")
        try:
            self.jobs = int(pairs["jobs"])
            self.per_job = int(pairs["replicates_per_job"])
            self.master_seed = int(pairs["master_seed"])
            self.threads = int(pairs["threads"])
        except ValueError:
            raise ClusterError(f"[{path}] holds a number that is not one")
        self.param = pairs["param"]
        self.workdir = pairs["workdir"]

    @staticmethod
    def write(folder, param, workdir, jobs, per_job, master_seed, threads):
        values = (param, workdir, jobs, per_job, master_seed, threads)
        with open(os.path.join(folder, STUDY_FILE), "w") as f:
            for key, value in zip(Study.KEYS, values):
                f.write(f"{key} = {value}\n")

    @property
    def replicates(self):
        return self.jobs * self.per_job

    def first_replicate(self, job):
        return (job - 1) * self.per_job + 1

    def describe(self, job):
        first, last = self.first_replicate(job), self.first_replicate(job) + self.per_job - 1
        return f"job {job} (replicate {first})" if first == last else f"job {job} (replicates {first}-{last})"

    def param_path(self):
        return os.path.join(self.folder, self.param)

    def seed_path(self, job):
        return os.path.join(self.folder, "seeds", f"seed_job_{job:03d}")

    def run_folder(self, job):
        return os.path.join(self.folder, "runs", f"job_{job:03d}")

    def log_path(self, job):
        return os.path.join(self.folder, "logs", f"job_{job:03d}.log")

    def sums_path(self, job, local_rep):
        return os.path.join(self.run_folder(job), f"replicate_sums_{local_rep:03d}.txt")


# ---- Seeds ----

def derived_seed_words(master_seed, job):
    """The 624 generator words of a job: a hash of the master seed and the job's number."""
    stream = hashlib.shake_256(f"davok-cluster {master_seed} job {job}".encode()).digest(4 * SEED_WORDS)
    return struct.unpack(f"<{SEED_WORDS}I", stream)


def seed_file_text(words):
    """The seed file format Davok reads: a title line, then the words eight to a line."""
    lines = ["State vector for MT19937:\n"]
    for i in range(0, len(words), 8):
        lines.append("".join(f"{w:12d} " for w in words[i:i + 7]) + f"{words[i + 7]:12d}\n")
    return "".join(lines)


# ---- split ----

def split(args):
    if args.jobs < 1 or args.reps_per_job < 1:
        raise ClusterError("The number of jobs and of replicates per job must be at least 1")
    if args.jobs * args.reps_per_job > 20000:
        raise ClusterError("A study holds at most 20,000 replicates")
    if args.seed < 0:
        raise ClusterError("The master seed must be a number of 0 or more")
    if not 0 <= args.threads <= 200:
        raise ClusterError("The number of threads must be between 0 and 200")
    if not os.path.isfile(args.param):
        raise ClusterError(f"Could not open [{args.param}]")
    base = os.path.basename(args.param)
    if base in (STUDY_FILE, SLURM_JOBS_FILE, "job.sh", "seeds", "runs", "logs"):
        raise ClusterError(f"A parameter file named {base} would overwrite the study's own {base}; rename it")
    folder = args.dir or "c_" + os.path.splitext(base)[0]
    prepare_empty_folder(folder, args.overwrite)
    shutil.copyfile(args.param, os.path.join(folder, base))
    for sub in ("seeds", "runs", "logs"):
        os.makedirs(os.path.join(folder, sub))
    Study.write(folder, base, os.getcwd(), args.jobs, args.reps_per_job, args.seed, args.threads)
    study = Study(folder)
    for job in range(1, study.jobs + 1):
        with open(study.seed_path(job), "w") as f:
            f.write(seed_file_text(derived_seed_words(args.seed, job)))
    print(f"Study [{folder}]: {study.jobs} jobs of {study.per_job} replicate(s), master seed {args.seed}")


def prepare_empty_folder(folder, overwrite):
    """Creates folder, or empties it with -o; a folder holding files is otherwise refused."""
    if os.path.exists(folder) and os.listdir(folder):
        if not overwrite:
            raise ClusterError(f"[{folder}] is not empty; use -o to replace it")
        refuse_enclosing_folder(folder)
        shutil.rmtree(folder)
    os.makedirs(folder, exist_ok=True)


def refuse_enclosing_folder(folder, *kept):
    """Replacing the folder one works in, or one above it or above a folder still needed, would
    delete one's own files."""
    target = os.path.realpath(folder)
    for inside in (os.getcwd(),) + kept:
        here = os.path.realpath(inside)
        if here == target or here.startswith(target + os.sep):
            raise ClusterError(f"[{folder}] holds [{inside}] and is not replaced")


# ---- Finished jobs ----

def read_manifest(study, job):
    """The files of a finished job with their sizes, or the reason it is not finished."""
    folder = study.run_folder(job)
    try:
        with open(os.path.join(folder, DONE_FILE)) as f:
            manifest = [line.rstrip("\n").split(" ", 1) for line in f]
        files = {name: int(size) for size, name in manifest}
    except (OSError, ValueError):
        return None, "it has not finished"
    for name, size in files.items():
        path = os.path.join(folder, name)
        if not os.path.isfile(path):
            return None, f"[{name}] is missing"
        if os.path.getsize(path) != size:
            return None, f"[{name}] has changed since the run"
    with open(os.path.join(folder, "report.txt"), errors="replace") as f:
        if "Completed" not in f.read():
            return None, "its report does not say Completed"
    return files, None


def write_manifest(folder):
    names = sorted(n for n in os.listdir(folder) if n != DONE_FILE and os.path.isfile(os.path.join(folder, n)))
    text = "".join(f"{os.path.getsize(os.path.join(folder, n))} {n}\n" for n in names)
    with open(os.path.join(folder, DONE_FILE + ".tmp"), "w") as f:
        f.write(text)
    os.replace(os.path.join(folder, DONE_FILE + ".tmp"), os.path.join(folder, DONE_FILE))


def unfinished_jobs(study):
    return [job for job in range(1, study.jobs + 1) if read_manifest(study, job)[0] is None]


# ---- job: one run of the engine over the job's replicates ----

def engine_path():
    return os.environ.get("DAVOK_CLUSTER_ENGINE") or os.path.join(os.path.dirname(os.path.realpath(__file__)), ENGINE)


def run_job(args):
    study = Study(args.study)
    if not 1 <= args.job <= study.jobs:
        raise ClusterError(f"The study has jobs 1 to {study.jobs}, not {args.job}")
    if read_manifest(study, args.job)[0] is None and not run_engine(study, args.job):
        raise ClusterError(f"Job {args.job} failed; see {study.log_path(args.job)}")


def run_engine(study, job):
    """Runs the job afresh; the manifest is written only after a run that completed."""
    folder = study.run_folder(job)
    if os.path.isdir(folder):
        for name in os.listdir(folder):
            if name == DONE_FILE or SUMS_FILE.match(name):
                os.remove(os.path.join(folder, name))
    command = [engine_path(), "run", study.param_path(), folder, study.seed_path(job), str(study.per_job),
               str(study.threads)]
    with open(study.log_path(job), "w") as log:
        status = subprocess.call(command, cwd=study.workdir, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
    # nrep.txt in the job's folder could have changed its number of replicates
    expected = {os.path.basename(study.sums_path(job, r)) for r in range(1, study.per_job + 1)}
    if status != 0 or {n for n in os.listdir(folder) if SUMS_FILE.match(n)} != expected:
        return False
    write_manifest(folder)
    return True


# ---- submit ----

def submit(args):
    study = Study(args.study)
    jobs = unfinished_jobs(study)
    if not jobs:
        print("Every job has finished; nothing to submit.")
        return
    use_slurm = args.slurm or (not args.parallel and shutil.which("sbatch") is not None)
    if use_slurm:
        submit_slurm(study, jobs, args)
    else:
        run_parallel(study, jobs, args)


def index_list(numbers):
    """1,2,3,5,7,8 as "1-3,5,7-8", the job array notation."""
    parts, start = [], None
    for i, n in enumerate(numbers):
        if start is None:
            start = n
        if i + 1 == len(numbers) or numbers[i + 1] != n + 1:
            parts.append(str(start) if start == n else f"{start}-{n}")
            start = None
    return ",".join(parts)


def self_command():
    return [sys.executable, os.path.realpath(__file__)]


def run_parallel(study, jobs, args):
    if shutil.which("parallel") is None:
        raise ClusterError("Neither sbatch nor GNU parallel is on the PATH")
    command = ["parallel", "--will-cite", "--jobs", str(args.jobs), "--joblog",
               os.path.join(study.folder, "logs", "parallel.log")]
    command += self_command() + ["job", study.folder, "{}", ":::"] + [str(j) for j in jobs]
    print(f"Running {len(jobs)} job(s) with GNU parallel, {args.jobs} at once")
    status = subprocess.call(command, stdin=subprocess.DEVNULL)
    if status != 0:
        left = unfinished_jobs(study)
        raise ClusterError(f"{len(left)} job(s) did not finish: {index_list(left)}; "
                           "run submit again to re-run them")
    print("All jobs finished.")



def submit_slurm(study, jobs, args):
    refuse_while_queued(study)
    script = os.path.join(study.folder, "job.sh")
    with open(script, "w") as f:
        f.write("#!/bin/sh\n# One task of the study's job array: the job numbered by the array index.\n")
        f.write("exec " + " ".join(shell_quote(w) for w in self_command())
                + f" job {shell_quote(study.folder)} \"$SLURM_ARRAY_TASK_ID\"\n")
    os.chmod(script, 0o755)
    array = index_list(jobs) + (f"%{args.max_running}" if args.max_running else "")
    command = ["sbatch", "--parsable", f"--array={array}", f"--job-name={args.job_name or 'davok-' + os.path.basename(study.folder)}",
               f"--output={os.path.join(study.folder, 'logs', 'slurm_%A_%a.out')}", f"--chdir={study.workdir}"]
    if study.threads > 0:
        command.append(f"--cpus-per-task={study.threads}")
    for option in ("time", "mem", "partition", "account"):
        if getattr(args, option):
            command.append(f"--{option}={getattr(args, option)}")
    command += args.sbatch + [script]
    result = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True)
    if result.returncode != 0:
        raise ClusterError(f"sbatch refused the job array: {result.stderr.strip()}")
    job_id = result.stdout.strip().split(";")[0]
    with open(os.path.join(study.folder, SLURM_JOBS_FILE), "a") as f:
        f.write(job_id + "\n")
    print(f"Submitted job array {job_id} with {len(jobs)} job(s): {index_list(jobs)}")


def refuse_while_queued(study):
    """A second array over jobs that still run would start them twice."""
    try:
        with open(os.path.join(study.folder, SLURM_JOBS_FILE)) as f:
            ids = [line.strip() for line in f if line.strip()]
    except OSError:
        return
    if not ids or shutil.which("squeue") is None:
        return
    result = subprocess.run(["squeue", "--noheader", "--format=%i", "--jobs=" + ",".join(ids)],
                            stdin=subprocess.DEVNULL, capture_output=True, text=True)
    if result.returncode == 0 and result.stdout.strip():
        raise ClusterError("Jobs of this study are still queued or running (Slurm job "
                           f"{result.stdout.split()[0].split('_')[0]}); wait for them or cancel them first")


def shell_quote(word):
    return "'" + word.replace("'", "'\\''") + "'"


# ---- status ----

def status(args):
    study = Study(args.study)
    left = unfinished_jobs(study)
    done = study.jobs - len(left)
    print(f"{done} of {study.jobs} jobs finished ({study.per_job} replicate(s) each)")
    if left:
        print(f"Not finished: {index_list(left)}")


# ---- merge ----

REPLICATE_SUFFIX = re.compile(r"^(.*)_(\d{3,})\.txt$")


def replicate_heading(rep):
    """The line that opens each replicate in a file of attached replicates."""
    text = f"Replicate {rep:3d}"
    rest = 80 - len(text) - 2
    return "~" * (rest // 2) + f" {text} " + "~" * (rest // 2 + rest % 2) + "\n"


def merge(args):
    study = Study(args.study)
    out = args.out or "r_" + os.path.splitext(study.param)[0]
    if os.path.exists(out) and os.listdir(out):
        if not args.overwrite:
            raise ClusterError(f"[{out}] is not empty; use -o to replace it")
        refuse_enclosing_folder(out, study.folder)
    results = result_files(study, finished_manifests(study))
    staging = out.rstrip("/") + ".merging"
    if os.path.exists(staging):
        shutil.rmtree(staging)
    os.makedirs(staging)
    try:
        write_merged(study, results, staging)
    except BaseException:
        shutil.rmtree(staging, ignore_errors=True)
        raise
    if os.path.exists(out):
        shutil.rmtree(out)
    os.rename(staging, out)
    print(f"Merged {study.replicates} replicates into [{out}]")


def finished_manifests(study):
    """Every job's manifest; a job that did not finish stops the merge, named with its replicates."""
    manifests, problems = [], []
    for job in range(1, study.jobs + 1):
        files, reason = read_manifest(study, job)
        if files is None:
            problems.append(f"{study.describe(job)}: {reason}")
        manifests.append(files)
    if problems:
        raise ClusterError("Not merged; these jobs did not finish (run submit again):\n  " + "\n  ".join(problems))
    return manifests


def result_files(study, manifests):
    """The result files every job wrote, which must be the same set in all of them."""
    def results(files):
        return sorted(n for n in files if n not in RUN_FILES and n != study.param and not SUMS_FILE.match(n))

    names = results(manifests[0])
    for job, files in enumerate(manifests[1:], start=2):
        if results(files) != names:
            raise ClusterError(f"Job {job} wrote other files than job 1: "
                               f"{', '.join(sorted(set(results(files)) ^ set(names)))}")
    return names


def write_merged(study, names, out):
    shutil.copyfile(study.param_path(), os.path.join(out, study.param))
    for job in range(1, study.jobs + 1):
        folder = study.run_folder(job)
        shift = study.first_replicate(job) - 1
        shutil.copyfile(os.path.join(folder, "report.txt"), os.path.join(out, f"report_job_{job:03d}.txt"))
        shutil.copyfile(os.path.join(folder, "seed"), os.path.join(out, f"seed_job_{job:03d}"))
        for name in names:
            per_replicate = REPLICATE_SUFFIX.match(name)
            if per_replicate:
                rep = int(per_replicate.group(2)) + shift
                shutil.copyfile(os.path.join(folder, name), os.path.join(out, f"{per_replicate.group(1)}_{rep:03d}.txt"))
            else:
                attach_replicates(os.path.join(folder, name), os.path.join(out, name), study.per_job, shift)
    if study.replicates >= 2:
        write_summary(study, out)


def attach_replicates(source, target, count, shift):
    """Appends a job's file of attached replicates 1..count, each heading renumbered by shift.
    Binary genotype files have no headings and are copied as they are."""
    first = replicate_heading(1).encode()
    with open(source, "rb") as src, open(target, "ab") as dst:
        if src.read(len(first)) != first:
            src.seek(0)
            shutil.copyfileobj(src, dst)
            return
        dst.write(replicate_heading(1 + shift).encode())
        local = 2  # the next heading to look for; the headings come in order
        for line in src:
            if local <= count and line == replicate_heading(local).encode():
                line = replicate_heading(local + shift).encode()
                local += 1
            dst.write(line)


def write_summary(study, out):
    listing = os.path.join(out, "replicate_sums.list")
    with open(listing, "w") as f:
        for job in range(1, study.jobs + 1):
            for local in range(1, study.per_job + 1):
                f.write(study.sums_path(job, local) + "\n")
    command = [engine_path(), "summary", study.param_path(), os.path.abspath(out), listing]
    result = subprocess.run(command, cwd=study.workdir, stdin=subprocess.DEVNULL, capture_output=True, text=True)
    os.remove(listing)
    if result.returncode != 0:
        raise ClusterError("The summary over replicates failed:\n" + result.stderr.strip())


# ---- Command line ----

class Parser(argparse.ArgumentParser):
    """Usage errors end like every other error: a message and exit code 1."""

    def error(self, message):
        raise ClusterError(f"{message}\n{self.format_usage().rstrip()}")


def build_parser():
    parser = Parser(prog="davok-cluster", description="Replicates of a Davok study as cluster jobs.")
    commands = parser.add_subparsers(dest="command", required=True, parser_class=Parser)

    p = commands.add_parser("split", help="prepare the jobs of a study")
    p.add_argument("param", help="the parameter file")
    p.add_argument("jobs", type=int, help="number of jobs")
    p.add_argument("--seed", type=int, required=True, help="master seed (a whole number)")
    p.add_argument("--reps-per-job", type=int, default=1, help="replicates per job (1)")
    p.add_argument("--threads", type=int, default=1,
                   help="threads of every replicate (1); 0 keeps the parameter file's nthread")
    p.add_argument("--dir", help="study folder (c_ and the parameter file's name)")
    p.add_argument("-o", dest="overwrite", action="store_true", help="replace an existing study folder")
    p.set_defaults(run=split)

    p = commands.add_parser("submit", help="run the jobs that have not finished")
    p.add_argument("study", nargs="?", default=".")
    way = p.add_mutually_exclusive_group()
    way.add_argument("--slurm", action="store_true", help="a Slurm job array (the default when sbatch exists)")
    way.add_argument("--parallel", action="store_true", help="GNU parallel on this machine")
    p.add_argument("--jobs", type=int, default=os.cpu_count() or 1, help="jobs at once with GNU parallel")
    p.add_argument("--time", help="Slurm time limit per job")
    p.add_argument("--mem", help="Slurm memory per job")
    p.add_argument("--partition", help="Slurm partition")
    p.add_argument("--account", help="Slurm account")
    p.add_argument("--job-name", help="Slurm job name")
    p.add_argument("--max-running", type=int, help="Slurm array tasks running at once")
    p.add_argument("--sbatch", action="append", default=[], help="further sbatch option (repeatable)")
    p.set_defaults(run=submit)

    p = commands.add_parser("status", help="which jobs have finished")
    p.add_argument("study", nargs="?", default=".")
    p.set_defaults(run=status)

    p = commands.add_parser("merge", help="merge the finished jobs into one output folder")
    p.add_argument("study", nargs="?", default=".")
    p.add_argument("--out", help="output folder (r_ and the parameter file's name)")
    p.add_argument("-o", dest="overwrite", action="store_true", help="replace an existing output folder")
    p.set_defaults(run=merge)

    p = commands.add_parser("job", help="run one job (submit starts these)")
    p.add_argument("study")
    p.add_argument("job", type=int)
    p.set_defaults(run=run_job)
    return parser


def main(argv):
    try:
        args = build_parser().parse_args(argv)
        args.run(args)
    except ClusterError as e:
        sys.stderr.write(f"Error - {e}\n")
        return 1
    except OSError as e:
        sys.stderr.write(f"Error - {e.filename or ''}: {e.strerror}\n")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
