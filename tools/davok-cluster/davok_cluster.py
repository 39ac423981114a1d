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
import tempfile
import time

STUDY_FILE = "study.txt"
SUMS_FILE = re.compile(r"^replicate_sums_\d+\.txt$")
DONE_FILE = "done.txt"
SLURM_JOBS_FILE = "slurm_jobs.txt"
ENGINE = "davok-cluster-engine"
SEED_WORDS = 624
# Files of a job's folder that belong to the run, not to its results.
RUN_FILES = ("report.txt", "seed", "stat_rep.txt", DONE_FILE)
# Files a run writes in the folder it starts in (seeding, an external evaluation): in a job's
# working folder they are the job's own, never links to the starting folder's.
WORKING_FOLDER_FILES = ("data.tmp", "my_bv.txt", "seed.prv", "seed.lck")


class ClusterError(Exception):
    """A condition that ends the command with its message and exit code 1."""


# ---- The study: its settings file and folder layout ----

class Study:
    """A study folder made by `split`:

    study.txt              settings: parameter file, replicates, grouping, master seed, threads
    <name>.prm             the copy of the parameter file every replicate runs
    seeds/seed_job_JJJ     the seed file of job JJJ
    runs/job_JJJ/          the working folder job JJJ runs in: links to the entries of the folder
                           split was run from, and the output folder the parameter file names,
                           where done.txt marks the job finished
    logs/                  the engine's console output per job, Slurm and parallel logs
    """

    KEYS = ("param", "workdir", "output_folder", "jobs", "replicates_per_job", "master_seed", "threads")

    def __init__(self, folder):
        self.folder = os.path.abspath(folder)
        path = os.path.join(self.folder, STUDY_FILE)
        try:
            pairs = read_settings(path)
        except OSError as e:
            raise ClusterError(f"Could not read [{path}]; {e.strerror}. Is [{folder}] a study made by split?")
        if any(k not in pairs for k in self.KEYS):
            raise ClusterError(f"[{path}] is incomplete; split the study again")
        try:
            self.jobs = int(pairs["jobs"])
            self.per_job = int(pairs["replicates_per_job"])
            self.master_seed = int(pairs["master_seed"])
            self.threads = int(pairs["threads"])
        except ValueError:
            raise ClusterError(f"[{path}] holds a number that is not one")
        self.param = pairs["param"]
        self.workdir = pairs["workdir"]
        self.output_folder = pairs["output_folder"]

    @staticmethod
    def write(folder, param, workdir, output_folder, jobs, per_job, master_seed, threads):
        values = (param, workdir, output_folder, jobs, per_job, master_seed, threads)
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

    def work_folder(self, job):
        return os.path.join(self.folder, "runs", f"job_{job:03d}")

    def run_folder(self, job):
        """The job's output folder, under the name the parameter file gives it."""
        return os.path.join(self.work_folder(job), self.output_folder)

    def log_path(self, job):
        return os.path.join(self.folder, "logs", f"job_{job:03d}.log")

    def sums_path(self, job, local_rep):
        return os.path.join(self.run_folder(job), f"replicate_sums_{local_rep:03d}.txt")


def read_settings(path):
    with open(path) as f:
        return dict(line.rstrip("\n").split(" = ", 1) for line in f if " = " in line)


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
    if base in (STUDY_FILE, SLURM_JOBS_FILE, "job.sh") + STUDY_SUBFOLDERS:
        raise ClusterError(f"A parameter file named {base} would overwrite the study's own {base}; rename it")
    output_folder = job_output_folder(args.param)
    folder = args.dir or "c_" + os.path.splitext(base)[0]
    prepare_study_folder(folder, args.overwrite, args.param)
    Study.write(folder, base, os.getcwd(), output_folder, args.jobs, args.reps_per_job, args.seed, args.threads)
    shutil.copyfile(args.param, os.path.join(folder, base))
    for sub in STUDY_SUBFOLDERS:
        os.makedirs(os.path.join(folder, sub))
    study = Study(folder)
    for job in range(1, study.jobs + 1):
        with open(study.seed_path(job), "w") as f:
            f.write(seed_file_text(derived_seed_words(args.seed, job)))
    print(f"Study [{folder}]: {study.jobs} jobs of {study.per_job} replicate(s), master seed {args.seed}")


def job_output_folder(param):
    """The output folder the parameter file names, as every job will hold it in its own working
    folder; refused when it would lie outside that folder or a command names it by its full path."""
    result = subprocess.run([engine_path(), "folder", param], stdin=subprocess.DEVNULL, capture_output=True,
                            text=True)
    if result.returncode != 0:
        raise ClusterError(f"[{param}] cannot be run:\n{(result.stderr + result.stdout).strip()}")
    named = result.stdout.splitlines()[-1]
    parts = [part for part in named.split("/") if part not in ("", ".")]
    if named.startswith("/"):
        raise ClusterError(f"The output folder [{named}] is an absolute path: all jobs would write into it; "
                           "give output_folder a path relative to the folder the run starts in")
    if not parts or ".." in parts:
        raise ClusterError(f"The output folder [{named}] is not a folder below the one the run starts in, "
                           "so the jobs could not each have their own; give output_folder such a path")
    relative = "/".join(parts)
    full = os.path.join(os.getcwd(), relative)
    with open(param, errors="replace") as f:
        if full in f.read():
            raise ClusterError(f"[{param}] names the output folder by its full path [{full}]: every job writes "
                               f"its own [{relative}]; name it as [{relative}] in the commands")
    return relative


# What split and its jobs write: the study's sub-folders and the names they hold.
STUDY_SUBFOLDERS = ("seeds", "runs", "logs")
STUDY_SUBFOLDER_ENTRIES = {"seeds": re.compile(r"^seed_job_\d{3,}$"),
                           "runs": re.compile(r"^job_\d{3,}$"),
                           "logs": re.compile(r"^(job_\d{3,}\.log|parallel\.log|slurm_\d+_\d+\.out)$")}


def prepare_study_folder(folder, overwrite, param):
    """Creates the study folder, or with -o removes from it what an earlier split and its jobs
    wrote. Anything else in the folder's files or in the study's sub-folders, or the parameter
    file being split, stops the split before anything is removed; other sub-folders are kept."""
    if os.path.exists(folder) and os.listdir(folder):
        if not overwrite:
            raise ClusterError(f"[{folder}] is not empty; use -o to replace it")
        refuse_enclosing_folder(folder)
        entries = earlier_study_entries(folder)
        if any(lies_in(param, path) for path in entries):
            raise ClusterError(f"[{folder}] holds [{param}], the parameter file being split, and is not replaced")
        for path in entries:
            if os.path.isdir(path) and not os.path.islink(path):
                shutil.rmtree(path)
            else:
                os.remove(path)
    os.makedirs(folder, exist_ok=True)


def lies_in(path, entry):
    """Whether path is entry or lies below it, as written or with its links resolved."""
    return any(p == e or p.startswith(e + os.sep) for p, e in ((os.path.abspath(path), os.path.abspath(entry)),
                                                              (os.path.realpath(path), os.path.realpath(entry))))


def earlier_study_entries(folder):
    """The entries of folder that an earlier split and its jobs wrote; a file or an entry of the
    study's sub-folders that neither wrote is named and refused."""
    try:
        own_files = {STUDY_FILE, SLURM_JOBS_FILE, "job.sh", read_settings(os.path.join(folder, STUDY_FILE))["param"]}
    except (OSError, KeyError, ValueError):
        own_files = {STUDY_FILE, SLURM_JOBS_FILE, "job.sh"}
    entries, foreign = [], []
    for name in sorted(os.listdir(folder)):
        path = os.path.join(folder, name)
        if name in STUDY_SUBFOLDERS and os.path.isdir(path) and not os.path.islink(path):
            inside = sorted(os.listdir(path))
            foreign += [os.path.join(name, n) for n in inside if not STUDY_SUBFOLDER_ENTRIES[name].match(n)]
            entries.append(path)
        elif name in own_files and not os.path.isdir(path):
            entries.append(path)
        elif not os.path.isdir(path) or os.path.islink(path):
            foreign.append(name)
    if foreign:
        raise ClusterError(f"[{folder}] holds what split did not write ({', '.join(foreign[:5])}"
                           f"{', ...' if len(foreign) > 5 else ''}) and is not replaced")
    return entries


def refuse_enclosing_folder(folder, *kept):
    """Replacing the folder one works in, or one above it or above a folder still needed, would
    delete one's own files."""
    for inside in (os.getcwd(),) + kept:
        if lies_in(inside, folder):
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
    # One line on the standard output when the job ends, which submit counts for its progress.
    if read_manifest(study, args.job)[0] is None and not run_engine(study, args.job):
        print(f"{study.describe(args.job)} failed", flush=True)
        raise ClusterError(f"Job {args.job} failed; see {study.log_path(args.job)}")
    print(f"{study.describe(args.job)} finished", flush=True)


def run_engine(study, job):
    """Runs the job afresh in its own working folder; the manifest is written only after a run
    that completed."""
    work = prepare_working_folder(study, job)
    folder = study.run_folder(job)
    command = [engine_path(), "run", study.param_path(), folder, study.seed_path(job), str(study.per_job),
               str(study.threads)]
    with open(study.log_path(job), "w") as log:
        status = subprocess.call(command, cwd=work, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
    # nrep.txt in the job's folder could have changed its number of replicates
    expected = {os.path.basename(study.sums_path(job, r)) for r in range(1, study.per_job + 1)}
    if status != 0 or {n for n in os.listdir(folder) if SUMS_FILE.match(n)} != expected:
        return False
    write_manifest(folder)
    return True


def prepare_working_folder(study, job):
    """A fresh working folder for the job, holding a link to every entry of the folder split was
    run from, so that the names the parameter file and its commands use mean what they mean there.
    The names a run writes in its working folder, and its output folder, are left to the job, so
    that concurrent jobs never share a file and never write into the user's."""
    work = study.work_folder(job)
    if os.path.lexists(work):
        shutil.rmtree(work)  # an earlier attempt's; the links in it are removed, never followed
    os.makedirs(work)
    own = set(WORKING_FOLDER_FILES) | {study.output_folder.split("/")[0]}
    study_folder = os.path.realpath(study.folder)
    for name in sorted(os.listdir(study.workdir)):
        source = os.path.join(study.workdir, name)
        if name not in own and os.path.realpath(source) != study_folder:
            os.symlink(source, os.path.join(work, name))
    return work


# ---- submit ----

def submit(args):
    study = Study(args.study)
    jobs = unfinished_jobs(study)
    if not jobs:
        print("Every job has finished; nothing to submit.")
        return
    if args.slurm:
        submit_slurm(study, jobs, args)
    elif args.parallel:
        run_parallel(study, jobs, args)
    elif slurm_controller_answers():
        print("A Slurm controller answers: the jobs go to Slurm (--parallel runs them here)")
        submit_slurm(study, jobs, args)
    else:
        print("No Slurm controller answers: the jobs run here with GNU parallel (--slurm submits anyway)")
        run_parallel(study, jobs, args)


def slurm_controller_answers():
    """Whether a Slurm controller answers within a few seconds: sbatch may be installed where no
    cluster is."""
    if shutil.which("sbatch") is None or shutil.which("scontrol") is None:
        return False
    try:
        result = subprocess.run(["scontrol", "ping"], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                timeout=5)
    except subprocess.TimeoutExpired:
        return False
    return result.returncode == 0 and " UP" in result.stdout


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
        raise ClusterError("GNU parallel is not on the PATH")
    # GNU parallel hands the command to a shell as one line: every word is quoted for it.
    job_command = " ".join(shell_quote(w) for w in self_command() + ["job", study.folder]) + " {}"
    command = ["parallel", "--will-cite", "--jobs", str(args.jobs), "--joblog",
               os.path.join(study.folder, "logs", "parallel.log"), job_command, ":::"] + [str(j) for j in jobs]
    print(f"Running {len(jobs)} job(s) with GNU parallel, {args.jobs} at once", flush=True)
    progress = Progress(len(jobs), "jobs ended")
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True) as running:
        for line in running.stdout:
            progress.step(line.strip())
    if running.returncode != 0:
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


class Progress:
    """Progress of work of known size on the error stream: what ended, how much of the whole, the
    time since the start and the time still expected at the pace so far. Nothing is shown while
    the work is younger than `quiet` seconds, and lines come at most every `every` seconds,
    except for the last step."""

    def __init__(self, total, unit, quiet=0.0, every=0.0, clock=time.monotonic, stream=None):
        self.total, self.unit, self.quiet, self.every, self.clock = total, unit, quiet, every, clock
        self.stream = stream or sys.stderr
        self.done = 0
        self.start = clock()
        self.last_shown = None

    def step(self, what):
        self.done += 1
        now = self.clock()
        elapsed = now - self.start
        last = self.done == self.total
        if elapsed < self.quiet or (not last and self.last_shown is not None and now - self.last_shown < self.every):
            return
        self.last_shown = now
        line = f"{what}: {self.done} of {self.total} {self.unit}, {hours(elapsed)} elapsed"
        if not last:
            line += f", about {hours(elapsed / self.done * (self.total - self.done))} to go"
        self.stream.write(line + "\n")
        self.stream.flush()


def hours(seconds):
    whole = int(round(seconds))
    return f"{whole // 3600}:{whole % 3600 // 60:02d}:{whole % 60:02d}"


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
MERGED_JOB_FILE = re.compile(r"^(report_job_\d{3,}\.txt|seed_job_\d{3,})$")


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
    earlier = earlier_merge_files(out, study, results)
    # The merge is written beside the output folder first, so a failed merge leaves it as it was.
    parent = os.path.dirname(os.path.abspath(out))
    os.makedirs(parent, exist_ok=True)
    staging = tempfile.mkdtemp(prefix=os.path.basename(os.path.abspath(out)) + ".merging-", dir=parent)
    try:
        write_merged(study, results, staging)
        os.makedirs(out, exist_ok=True)
        for path in earlier:
            os.remove(path)
        for name in os.listdir(staging):
            os.replace(os.path.join(staging, name), os.path.join(out, name))
    finally:
        shutil.rmtree(staging, ignore_errors=True)
    print(f"Merged {study.replicates} replicates into [{out}]")


def earlier_merge_files(out, study, results):
    """The files in out that a merge of the study writes, to be replaced; sub-folders are kept,
    and any other file stops the merge before anything is removed."""
    if not os.path.isdir(out):
        return []
    prefixes = {m.group(1) for m in map(REPLICATE_SUFFIX.match, results) if m}
    merged_names = set(results) | {study.param, "stat_rep.txt"}

    def written_by_merge(name):
        numbered = REPLICATE_SUFFIX.match(name)
        return (name in merged_names or MERGED_JOB_FILE.match(name) is not None
                or (numbered is not None and numbered.group(1) in prefixes))

    earlier, foreign = [], []
    for name in sorted(os.listdir(out)):
        path = os.path.join(out, name)
        if os.path.isdir(path) and not os.path.islink(path):
            continue
        (earlier if written_by_merge(name) else foreign).append(path)
    if foreign:
        raise ClusterError(f"[{out}] holds files a merge does not write ({', '.join(foreign[:5])}"
                           f"{', ...' if len(foreign) > 5 else ''}) and is not replaced")
    return earlier


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
    progress = Progress(study.jobs, "jobs merged", quiet=3, every=10)
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
        progress.step(f"Job {job}")
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
