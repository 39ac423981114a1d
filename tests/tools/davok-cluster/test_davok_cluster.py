"""End-to-end tests of davok-cluster: studies split from one master seed, run through GNU parallel and
a single-node Slurm, resumed after a killed job, and merged into one folder."""

import filecmp
import math
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

TOOL = os.environ["DAVOK_CLUSTER"]
DAVOK = os.environ["DAVOK_BIN"]
STUDY_PRM = os.path.join(os.environ["DAVOK_CLUSTER_TEST_DATA"], "study.prm")
MASTER_SEED = "20261123"


def run(args, cwd, check=True):
    result = subprocess.run(args, cwd=cwd, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=300)
    if check and result.returncode != 0:
        raise AssertionError(f"{args} failed ({result.returncode}):\n{result.stdout}\n{result.stderr}")
    return result


def cluster(cwd, *args, check=True):
    return run([TOOL, *args], cwd, check)


def write_prm(folder, name, extra_globals="", extra_output=""):
    """The test study under another name, with statements added to the global and output blocks."""
    with open(STUDY_PRM) as f:
        text = f.read()
    text = text.replace("nrep = 1;\n", "nrep = 1;\n" + extra_globals)
    text = text.replace("   hp_stat;\n", "   hp_stat;\n" + extra_output)
    with open(os.path.join(folder, name), "w") as f:
        f.write(text)


def differing_files(a, b):
    """Files that differ between two merged folders; the reports carry dates and times."""
    names = sorted(set(os.listdir(a)) | set(os.listdir(b)))
    return [n for n in names if not n.startswith("report_")
            and not (os.path.isfile(os.path.join(a, n)) and os.path.isfile(os.path.join(b, n))
                     and filecmp.cmp(os.path.join(a, n), os.path.join(b, n), shallow=False))]


class Scratch(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="davok-cluster-")
        self.addCleanup(shutil.rmtree, self.dir, True)


class SplitTest(Scratch):
    def seeds(self, study):
        folder = os.path.join(self.dir, study, "seeds")
        return [read_or_empty(os.path.join(folder, n)) for n in sorted(os.listdir(folder))]

    def test_a_master_seed_fixes_every_job(self):
        shutil.copy(STUDY_PRM, self.dir)
        cluster(self.dir, "split", "study.prm", "6", "--seed", MASTER_SEED, "--dir", "a")
        cluster(self.dir, "split", "study.prm", "6", "--seed", MASTER_SEED, "--dir", "b")
        cluster(self.dir, "split", "study.prm", "2", "--reps-per-job", "3", "--seed", MASTER_SEED, "--dir", "c")
        cluster(self.dir, "split", "study.prm", "6", "--seed", "7", "--dir", "d")
        self.assertEqual(len(self.seeds("a")), 6)
        self.assertEqual(self.seeds("a"), self.seeds("b"))
        self.assertEqual(self.seeds("a")[:2], self.seeds("c"))
        self.assertEqual(len(set(self.seeds("a"))), 6)
        self.assertTrue(set(self.seeds("a")).isdisjoint(self.seeds("d")))

    def test_bad_input_ends_with_a_message_and_exit_code_1(self):
        shutil.copy(STUDY_PRM, self.dir)
        cluster(self.dir, "split", "study.prm", "2", "--seed", "1", "--dir", "taken")
        cases = [
            (["split", "study.prm", "0", "--seed", "1"], "at least 1"),
            (["split", "study.prm", "20001", "--seed", "1"], "20,000"),
            (["split", "missing.prm", "2", "--seed", "1"], "missing.prm"),
            (["split", "study.prm", "2", "--seed", "-3"], "master seed"),
            (["split", "study.prm", "2"], "--seed"),
            (["split", "study.prm", "two", "--seed", "1"], "invalid int"),
            (["split", "study.prm", "2", "--seed", "1", "--dir", "taken"], "not empty"),
            (["merge", "nowhere"], "split"),
            (["merge", "taken", "--out", "taken"], "not empty"),
            (["merge", "taken", "--out", ".", "-o"], "and is not replaced"),
            (["merge", "taken", "--out", "..", "-o"], "and is not replaced"),
            (["submit", "nowhere", "--parallel"], "split"),
            (["job", "taken", "3"], "jobs 1 to 2"),
            (["frobnicate"], "invalid choice"),
        ]
        for args, message in cases:
            with self.subTest(args=args):
                result = cluster(self.dir, *args, check=False)
                self.assertEqual(result.returncode, 1)
                self.assertTrue(result.stderr.startswith("Error - "), result.stderr)
                self.assertIn(message, result.stderr)
                self.assertNotIn("Traceback", result.stderr)


def stat_sections(path):
    """The mean and SD columns of each generation of each section of a population's stat file."""
    sections, title = {}, None
    for line in read_or_empty(path).splitlines():
        heading = re.match(r"^-+ (.+?) -+$", line)
        if heading:
            title = heading.group(1)
            sections[title] = {}
            continue
        row = line.split()
        if title and len(row) == 3 and row[0].isdigit():
            sections[title][int(row[0])] = (float(row[1]), float(row[2]))
    return sections


def summary_sections(path, population):
    """Mean and SE of the two statistics of each generation of each section of one population."""
    sections, title, inside = {}, None, False
    for text in read_or_empty(path).splitlines():
        if text.startswith("~"):
            inside = f'Population "{population}"' in text
            continue
        heading = re.match(r"^-+ (.+?) -+$", text)
        if inside and heading:
            title = heading.group(1)
            sections[title] = {}
        elif inside and title and re.match(r"^\d+ ", text):
            row = text.split()
            sections[title][int(row[0])] = [float(x) if x != "----" else None for x in row[1:]]
    return sections


def mean_se(values):
    n = len(values)
    mean = sum(values) / n
    var = sum((v - mean) ** 2 for v in values) / (n - 1)
    return mean, math.sqrt(var / n)


class ParallelStudyTest(unittest.TestCase):
    """Studies run through GNU parallel and merged: two jobs of two replicates, the same with attached
    replicates, and one job of three attached replicates."""

    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp(prefix="davok-cluster-")
        shutil.copy(STUDY_PRM, cls.dir)
        write_prm(cls.dir, "attached.prm", extra_output="   attach_rep;\n")
        for prm, jobs, per_job, study in (("study.prm", "2", "2", "c_study"), ("attached.prm", "2", "2", "c_attached"),
                                          ("attached.prm", "1", "3", "c_whole")):
            cluster(cls.dir, "split", prm, jobs, "--reps-per-job", per_job, "--seed", MASTER_SEED, "--dir", study)
            cluster(cls.dir, "submit", study, "--parallel", "--jobs", "2")
            cluster(cls.dir, "merge", study, "--out", "r_" + study)
        cls.merged = os.path.join(cls.dir, "r_c_study")

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.dir, True)

    def davok_run(self, prm, seed, nrep, folder):
        """The plain Davok run of nrep replicates from a seed file."""
        os.mkdir(folder)
        with open(os.path.join(self.dir, prm)) as f:
            text = f.read().replace("nrep = 1;", f'nrep = {nrep};\nseed = "{seed}";')
        with open(os.path.join(folder, "run.prm"), "w") as f:
            f.write(text)
        run([DAVOK, "run.prm", "-o"], folder)
        return os.path.join(folder, "r_run")

    def test_a_job_is_the_davok_run_of_its_seed(self):
        seed = os.path.join(self.merged, "seed_job_002")
        single = self.davok_run("study.prm", seed, 2, os.path.join(self.dir, "single_job_2"))
        results = [n for n in os.listdir(single) if re.search(r"_00[12]\.txt$", n)]
        self.assertGreaterEqual(len(results), 18)
        for name in results:
            rep = int(name[-7:-4]) + 2
            merged_name = f"{name[:-8]}_{rep:03d}.txt"
            self.assertTrue(filecmp.cmp(os.path.join(single, name), os.path.join(self.merged, merged_name),
                                        shallow=False), merged_name)

    def test_a_one_job_study_is_the_davok_run_of_all_its_replicates(self):
        merged = os.path.join(self.dir, "r_c_whole")
        single = self.davok_run("attached.prm", os.path.join(merged, "seed_job_001"), 3,
                                os.path.join(self.dir, "single_whole"))
        results = sorted(set(os.listdir(single)) - {"report.txt", "seed", "run.prm"})
        self.assertIn("stat_rep.txt", results)
        self.assertEqual(sorted(set(os.listdir(merged)) - {"report_job_001.txt", "seed_job_001", "attached.prm"}),
                         results)
        for name in results:
            self.assertTrue(filecmp.cmp(os.path.join(single, name), os.path.join(merged, name), shallow=False), name)

    def test_summary_holds_the_means_and_standard_errors_of_the_replicate_files(self):
        summary = os.path.join(self.merged, "stat_rep.txt")
        with open(summary) as f:
            self.assertIn("No. replicates: 4\n", f.read())
        checked = 0
        for population in ("nucleus", "line"):
            replicates = [stat_sections(os.path.join(self.merged, f"{population}_stat_{r:03d}.txt"))
                          for r in (1, 2, 3, 4)]
            rows = summary_sections(summary, population)
            for section in ("Homozygosity", "Phenotype", "Polygenes", "QTL", "Residual"):
                for gen, row in rows[section].items():
                    for column in (0, 1):
                        mean, se = mean_se([rep[section][gen][column] for rep in replicates])
                        self.assertAlmostEqual(row[2 * column], mean, delta=1e-7, msg=(population, section, gen))
                        self.assertAlmostEqual(row[2 * column + 1], se, delta=1e-6, msg=(population, section, gen))
                        checked += 1
        self.assertGreater(checked, 50)
        self.assertIn("r(EBV,TBV)", summary_sections(summary, "nucleus"))
        self.assertIn("Mean R2 (LD decay)", summary_sections(summary, "nucleus"))
        self.assertNotIn("EBV", summary_sections(summary, "line"))

    def test_attached_replicates_follow_each_other_under_renumbered_headings(self):
        attached = os.path.join(self.dir, "r_c_attached")
        for kind in ("nucleus_stat", "nucleus_data", "hp_stat", "lm_mrk"):
            with self.subTest(kind=kind):
                with open(os.path.join(attached, kind + ".txt")) as f:
                    parts = re.split(r"^~+ Replicate +(\d+) ~+\n", f.read(), flags=re.M)
                self.assertEqual(parts[0], "")
                self.assertEqual([int(n) for n in parts[1::2]], [1, 2, 3, 4])
                for rep, body in zip((1, 2, 3, 4), parts[2::2]):
                    with open(os.path.join(self.merged, f"{kind}_{rep:03d}.txt")) as f:
                        self.assertEqual(body, f.read())

    def test_a_finished_study_is_not_run_again(self):
        result = cluster(self.dir, "submit", "c_study", "--parallel")
        self.assertIn("nothing to submit", result.stdout)
        self.assertIn("2 of 2 jobs finished", cluster(self.dir, "status", "c_study").stdout)


class BrokenStudyTest(Scratch):
    def setUp(self):
        super().setUp()
        shutil.copy(STUDY_PRM, self.dir)
        cluster(self.dir, "split", "study.prm", "3", "--seed", MASTER_SEED)
        cluster(self.dir, "submit", "c_study", "--parallel", "--jobs", "2")
        self.runs = os.path.join(self.dir, "c_study", "runs")

    def test_a_job_that_did_not_finish_is_named_and_nothing_is_written(self):
        def remove_done():
            os.remove(os.path.join(self.runs, "job_002", "done.txt"))

        def remove_result():
            os.remove(os.path.join(self.runs, "job_003", "line_stat_001.txt"))

        def cut_result():
            with open(os.path.join(self.runs, "job_001", "nucleus_data_001.txt"), "r+") as f:
                f.truncate(100)

        def not_completed():
            path = os.path.join(self.runs, "job_002", "report.txt")
            text = read_or_empty(path).replace("Completed", "Cancelled")  # the same size
            with open(path, "w") as f:
                f.write(text)

        cases = [(remove_done, "job 2 (replicate 2): it has not finished"),
                 (remove_result, "job 3 (replicate 3): [line_stat_001.txt] is missing"),
                 (cut_result, "job 1 (replicate 1): [nucleus_data_001.txt] has changed"),
                 (not_completed, "job 2 (replicate 2): its report does not say Completed")]
        pristine = os.path.join(self.dir, "pristine")
        shutil.copytree(self.runs, pristine)
        for damage, message in cases:
            with self.subTest(message=message):
                shutil.rmtree(self.runs)
                shutil.copytree(pristine, self.runs)
                damage()
                result = cluster(self.dir, "merge", "c_study", check=False)
                self.assertEqual(result.returncode, 1)
                self.assertIn(message, result.stderr)
                self.assertFalse(os.path.exists(os.path.join(self.dir, "r_study")))
                self.assertFalse(os.path.exists(os.path.join(self.dir, "r_study.merging")))


    def test_damaged_replicate_sums_stop_the_summary_with_a_message(self):
        engine = os.path.join(os.path.dirname(TOOL), "davok-cluster-engine")
        sums = os.path.join(self.runs, "job_002", "replicate_sums_001.txt")
        text = read_or_empty(sums)
        lines = text.splitlines(keepends=True)
        cases = {"cut in half": text[:len(text) // 2],
                 "another header": "Replicate sums 9\n" + "".join(lines[1:]),
                 "a word for a number": "".join(lines[:3]) + "many\n" + "".join(lines[4:]),
                 "a value too many": "".join(lines[:2]) + lines[2] + "".join(lines[2:]),
                 "empty": ""}
        listing = os.path.join(self.dir, "list")
        with open(listing, "w") as f:
            f.write(os.path.join(self.runs, "job_001", "replicate_sums_001.txt") + "\n" + sums + "\n")
        for damage, damaged in cases.items():
            with self.subTest(damage=damage):
                with open(sums, "w") as f:
                    f.write(damaged)
                result = run([engine, "summary", os.path.join(self.dir, "study.prm"), self.dir, listing], self.dir,
                             check=False)
                self.assertEqual(result.returncode, 1)
                self.assertIn(f"Error - Invalid replicate sums in [{sums}]", result.stderr + result.stdout)
                self.assertFalse(os.path.exists(os.path.join(self.dir, "stat_rep.txt")))


class KilledJobTest(Scratch):
    def test_a_killed_job_is_run_again_and_the_merge_then_succeeds(self):
        # While the flag file exists, each replicate waits after its results, long enough to be killed.
        flag = os.path.join(self.dir, "slow")
        write_prm(self.dir, "study.prm", extra_globals=f'system = "test -f {flag} && sleep 60";\n')
        cluster(self.dir, "split", "study.prm", "2", "--seed", MASTER_SEED)
        cluster(self.dir, "job", "c_study", "1")  # before the flag: not slow
        done_before = os.stat(os.path.join(self.dir, "c_study", "runs", "job_001", "done.txt")).st_mtime_ns

        open(flag, "w").close()
        job = subprocess.Popen([TOOL, "job", "c_study", "2"], cwd=self.dir, start_new_session=True,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(self.stop, job)
        report = os.path.join(self.dir, "c_study", "runs", "job_002", "report.txt")
        deadline = time.monotonic() + 60
        while "Replicate" not in read_or_empty(report):
            self.assertLess(time.monotonic(), deadline, "the job never started its replicate")
            time.sleep(0.1)
        os.killpg(job.pid, signal.SIGKILL)
        job.wait(timeout=30)
        os.remove(flag)

        self.assertIn("Not finished: 2", cluster(self.dir, "status", "c_study").stdout)
        self.assertEqual(cluster(self.dir, "merge", "c_study", check=False).returncode, 1)
        cluster(self.dir, "submit", "c_study", "--parallel")
        with open(os.path.join(self.dir, "c_study", "logs", "parallel.log")) as f:
            ran = [line.split("\t")[-1].split()[-1] for line in f.readlines()[1:]]
        self.assertEqual(ran, ["2"])
        self.assertEqual(os.stat(os.path.join(self.dir, "c_study", "runs", "job_001", "done.txt")).st_mtime_ns,
                         done_before)
        cluster(self.dir, "merge", "c_study")
        self.assertTrue(os.path.isfile(os.path.join(self.dir, "r_study", "stat_rep.txt")))

    @staticmethod
    def stop(job):
        if job.poll() is None:
            os.killpg(job.pid, signal.SIGKILL)
            job.wait()


def read_or_empty(path):
    try:
        with open(path) as f:
            return f.read()
    except OSError:
        return ""


def free_port():
    with socket.socket() as s:
        s.bind(("", 0))
        return s.getsockname()[1]


SLURM_CONF = """ClusterName=davoktest
SlurmctldHost=localhost
SlurmctldPort={ctld_port}
SlurmdPort={d_port}
AuthType=auth/none
CredType=cred/none
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
MpiDefault=none
ReturnToService=2
SlurmUser=root
SlurmdUser=root
StateSaveLocation={dir}/state
SlurmdSpoolDir={dir}/spool
SlurmctldPidFile={dir}/slurmctld.pid
SlurmdPidFile={dir}/slurmd.pid
SlurmctldLogFile={dir}/slurmctld.log
SlurmdLogFile={dir}/slurmd.log
NodeName=localhost CPUs=2 State=UNKNOWN
PartitionName=debug Nodes=ALL Default=YES MaxTime=INFINITE State=UP
"""


@unittest.skipIf(os.geteuid() != 0, "a single-node Slurm with AuthType=auth/none starts only as root")
class SlurmTest(Scratch):
    """A real single-node Slurm on free ports, started and stopped by the test."""

    def setUp(self):
        super().setUp()
        slurm = os.path.join(self.dir, "slurm")
        for sub in ("state", "spool"):
            os.makedirs(os.path.join(slurm, sub))
        conf = os.path.join(slurm, "slurm.conf")
        with open(conf, "w") as f:
            f.write(SLURM_CONF.format(ctld_port=free_port(), d_port=free_port(), dir=slurm))
        self.env = dict(os.environ, SLURM_CONF=conf)
        self.daemons = []
        for command in (["slurmctld", "-D", "-f", conf], ["slurmd", "-D", "-f", conf, "-N", "localhost"]):
            log = open(os.path.join(slurm, command[0] + ".out"), "w")
            self.addCleanup(log.close)
            self.daemons.append(subprocess.Popen(command, env=self.env, stdout=log, stderr=log,
                                                 stdin=subprocess.DEVNULL))
        self.addCleanup(self.stop_daemons)
        self.wait_for(lambda: "idle" in self.slurm(["sinfo", "--noheader", "--format=%t"]), 60,
                      "the Slurm node did not become idle")

    def slurm(self, command):
        return subprocess.run(command, env=self.env, capture_output=True, text=True, timeout=30).stdout

    def wait_for(self, condition, seconds, message):
        deadline = time.monotonic() + seconds
        while not condition():
            if time.monotonic() > deadline:
                logs = os.path.join(self.dir, "slurm")
                tails = "".join(read_or_empty(os.path.join(logs, n))[-2000:] for n in os.listdir(logs) if n.endswith(".log"))
                self.fail(f"{message}\n{tails}")
            time.sleep(0.5)

    def stop_daemons(self):
        for daemon in self.daemons:
            if daemon.poll() is None:
                daemon.terminate()
        for daemon in self.daemons:
            try:
                daemon.wait(timeout=15)
            except subprocess.TimeoutExpired:
                daemon.kill()
                daemon.wait()

    def test_jobs_through_slurm_merge_to_the_same_folder_as_through_parallel(self):
        shutil.copy(STUDY_PRM, self.dir)
        cluster(self.dir, "split", "study.prm", "3", "--seed", MASTER_SEED, "--dir", "c_slurm")
        cluster(self.dir, "split", "study.prm", "3", "--seed", MASTER_SEED, "--dir", "c_parallel")
        submitted = subprocess.run([TOOL, "submit", "c_slurm", "--slurm", "--time=10"], cwd=self.dir, env=self.env,
                                   capture_output=True, text=True, timeout=60)
        self.assertEqual(submitted.returncode, 0, submitted.stderr)
        self.assertIn("Submitted job array", submitted.stdout)
        self.wait_for(lambda: self.slurm(["squeue", "--noheader"]).strip() == "", 120, "the job array did not end")
        cluster(self.dir, "submit", "c_parallel", "--parallel", "--jobs", "2")
        for study in ("c_slurm", "c_parallel"):
            cluster(self.dir, "merge", study, "--out", "r_" + study)
        self.assertEqual(len(os.listdir(os.path.join(self.dir, "c_slurm", "logs"))), 6)  # 3 runs, 3 tasks
        self.assertEqual(differing_files(os.path.join(self.dir, "r_c_slurm"), os.path.join(self.dir, "r_c_parallel")),
                         [])


if __name__ == "__main__":
    unittest.main()
