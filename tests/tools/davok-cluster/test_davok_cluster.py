"""End-to-end tests of davok-cluster: studies split from one master seed, run through GNU parallel and
a single-node Slurm, resumed after a killed job, and merged into one folder."""

import filecmp
import importlib.machinery
import importlib.util
import io
import os
import re
import shutil
import signal
import socket
import statistics
import subprocess
import tempfile
import time
import unittest

TOOL = os.environ["DAVOK_CLUSTER"]
DAVOK = os.environ["DAVOK_BIN"]
STUDY_PRM = os.path.join(os.environ["DAVOK_CLUSTER_TEST_DATA"], "study.prm")
EXAMPLES = os.environ["DAVOK_EXAMPLES"]
MASTER_SEED = "20261123"


def run(args, cwd, check=True, env=None):
    result = subprocess.run(args, cwd=cwd, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=300,
                            env=env)
    if check and result.returncode != 0:
        raise AssertionError(f"{args} failed ({result.returncode}):\n{result.stdout}\n{result.stderr}")
    return result


def cluster(cwd, *args, check=True, env=None):
    return run([TOOL, *args], cwd, check, env)


def study(cwd, prm, jobs, name, *split_options, submit=("--parallel", "--jobs", "2"), env=None):
    """prm split into jobs from the master seed as folder name, submitted and merged into r_<name>;
    returns what submit wrote."""
    cluster(cwd, "split", prm, jobs, *split_options, "--seed", MASTER_SEED, "--dir", name)
    submitted = cluster(cwd, "submit", name, *submit, env=env)
    cluster(cwd, "merge", name, "--out", "r_" + name)
    return submitted


def write_prm(folder, name, extra_globals="", extra_output="", nucleus_ebv="blup"):
    """The test study under another name, with statements added to the global and output blocks and
    the nucleus' breeding values estimated another way."""
    text = read_or_empty(STUDY_PRM).replace("nrep = 1;\n", "nrep = 1;\n" + extra_globals)
    text = text.replace("   hp_stat;\n", "   hp_stat;\n" + extra_output)
    text = text.replace("ebv_est = blup;", f"ebv_est = {nucleus_ebv};")
    write(os.path.join(folder, name), text)


def differing_files(a, b):
    """Files that differ between two merged folders; the reports carry dates and times."""
    names = sorted(set(os.listdir(a)) | set(os.listdir(b)))
    return [n for n in names if not n.startswith("report_")
            and not (os.path.isfile(os.path.join(a, n)) and os.path.isfile(os.path.join(b, n))
                     and filecmp.cmp(os.path.join(a, n), os.path.join(b, n), shallow=False))]


def wait_for(condition, seconds, message):
    """Polls condition until it holds; after seconds, fails with the text message() gives."""
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(message())
        time.sleep(0.2)


def stop(process):
    """Kills a process started in a session of its own, with everything it started."""
    if process.poll() is None:
        os.killpg(process.pid, signal.SIGKILL)
        process.wait()


class Scratch(unittest.TestCase):
    """A fresh folder holding the test study."""

    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="davok-cluster-")
        self.addCleanup(shutil.rmtree, self.dir, True)
        shutil.copy(STUDY_PRM, self.dir)


class SplitTest(Scratch):
    def seeds(self, study):
        folder = os.path.join(self.dir, study, "seeds")
        return [read_or_empty(os.path.join(folder, n)) for n in sorted(os.listdir(folder))]

    def test_a_master_seed_fixes_every_job(self):
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
        cluster(self.dir, "split", "study.prm", "2", "--seed", "1", "--dir", "taken")
        output_folders = {"absolute": "/tmp/davok-cluster-everyone", "above": "../r_above", "here": "./"}
        for name, folder in output_folders.items():
            write_prm(self.dir, name + ".prm", extra_output=f'   output_folder = "{folder}";\n')
        write_prm(self.dir, "full.prm", extra_globals=f'system = "ls {os.path.realpath(self.dir)}/r_full";\n')
        write(os.path.join(self.dir, "broken.prm"), "nrep = many;\n")
        cases = [
            (["split", "absolute.prm", "2", "--seed", "1"], "is an absolute path"),
            (["split", "above.prm", "2", "--seed", "1"], "[../r_above] is not a folder below"),
            (["split", "here.prm", "2", "--seed", "1"], "[./] is not a folder below"),
            (["split", "full.prm", "2", "--seed", "1"], "by its full path"),
            (["split", "broken.prm", "2", "--seed", "1"], "[broken.prm] cannot be run"),
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


def sections(path, population=None):
    """{section: {generation: values}} of a population's stat file, or of one population's part of a
    summary (None for a value shown as ----)."""
    found, title, inside = {}, None, population is None
    for line in read_or_empty(path).splitlines():
        heading = re.match(r"^-+ (.+?) -+$", line)
        if line.startswith("~"):
            inside = f'Population "{population}"' in line
        elif inside and heading:
            title = heading.group(1)
            found[title] = {}
        elif inside and title and re.match(r"^\d+ ", line):
            found[title][int(line.split()[0])] = [float(x) if x != "----" else None for x in line.split()[1:]]
    return found


class ParallelStudyTest(unittest.TestCase):
    """Studies run through GNU parallel and merged: two jobs of two replicates, the same with attached
    replicates, and one job of three attached replicates."""

    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp(prefix="davok-cluster-")
        shutil.copy(STUDY_PRM, cls.dir)
        write_prm(cls.dir, "attached.prm", extra_output="   attach_rep;\n")
        cls.submitted = {name: study(cls.dir, prm, jobs, name, "--reps-per-job", per_job).stderr
                         for prm, jobs, per_job, name in (("study.prm", "2", "2", "c_study"),
                                                          ("attached.prm", "2", "2", "c_attached"),
                                                          ("attached.prm", "1", "3", "c_whole"))}
        cls.merged = os.path.join(cls.dir, "r_c_study")

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.dir, True)

    def test_jobs_are_the_davok_runs_of_their_seeds(self):
        # Job 2 of two replicates a job holds the study's replicates 3 and 4; the one job of three
        # attached replicates gives the whole merged folder.
        for prm, merged, job, nrep in (("study.prm", "r_c_study", 2, 2), ("attached.prm", "r_c_whole", 1, 3)):
            with self.subTest(merged=merged):
                folder, merged = os.path.join(self.dir, "single_" + merged), os.path.join(self.dir, merged)
                os.mkdir(folder)
                write(os.path.join(folder, "run.prm"), read_or_empty(os.path.join(self.dir, prm)).replace(
                    "nrep = 1;", f'nrep = {nrep};\nseed = "{merged}/seed_job_{job:03d}";'))
                run([DAVOK, "run.prm", "-o"], folder)
                single = os.path.join(folder, "r_run")
                results = sorted(set(os.listdir(single)) - {"report.txt", "seed", "run.prm"})
                if job == 1:
                    self.assertIn("stat_rep.txt", results)
                    self.assertEqual(sorted(set(os.listdir(merged)) - {"report_job_001.txt", "seed_job_001", prm}),
                                     results)
                else:  # the replicate files, renumbered
                    results = [n for n in results if re.search(r"_00[12]\.txt$", n)]
                    self.assertGreaterEqual(len(results), 18)
                for name in results:
                    merged_name = re.sub(r"_00(\d)\.txt$", lambda m: f"_{int(m[1]) + nrep * (job - 1):03d}.txt", name)
                    self.assertTrue(filecmp.cmp(os.path.join(single, name), os.path.join(merged, merged_name),
                                                shallow=False), merged_name)

    def test_summary_holds_the_means_and_standard_errors_of_the_replicate_files(self):
        summary = os.path.join(self.merged, "stat_rep.txt")
        self.assertIn("No. replicates: 4\n", read_or_empty(summary))
        checked = 0
        for population in ("nucleus", "line"):
            replicates = [sections(os.path.join(self.merged, f"{population}_stat_{r:03d}.txt")) for r in (1, 2, 3, 4)]
            rows = sections(summary, population)
            for section in ("Homozygosity", "Phenotype", "Polygenes", "QTL", "Residual"):
                for gen, row in rows[section].items():
                    for column in (0, 1):
                        values = [rep[section][gen][column] for rep in replicates]
                        se = statistics.stdev(values) / len(values) ** 0.5
                        self.assertAlmostEqual(row[2 * column], statistics.mean(values), delta=1e-7,
                                               msg=(population, section, gen))
                        self.assertAlmostEqual(row[2 * column + 1], se, delta=1e-6, msg=(population, section, gen))
                        checked += 1
        self.assertGreater(checked, 50)
        self.assertIn("r(EBV,TBV)", sections(summary, "nucleus"))
        self.assertIn("Mean R2 (LD decay)", sections(summary, "nucleus"))
        self.assertNotIn("EBV", sections(summary, "line"))

    def test_attached_replicates_follow_each_other_under_renumbered_headings(self):
        attached = os.path.join(self.dir, "r_c_attached")
        for kind in ("nucleus_stat", "nucleus_data", "hp_stat", "lm_mrk"):
            with self.subTest(kind=kind):
                parts = re.split(r"^~+ Replicate +(\d+) ~+\n", read_or_empty(os.path.join(attached, kind + ".txt")), flags=re.M)
                self.assertEqual(parts[0], "")
                self.assertEqual([int(n) for n in parts[1::2]], [1, 2, 3, 4])
                for rep, body in zip((1, 2, 3, 4), parts[2::2]):
                    self.assertEqual(body, read_or_empty(os.path.join(self.merged, f"{kind}_{rep:03d}.txt")))

    def test_submit_shows_each_job_that_ended_with_the_time_left(self):
        first, last = [line for line in self.submitted["c_study"].splitlines() if "jobs ended" in line]
        self.assertRegex(first, r"^job [12] \(replicates [13]-[24]\) finished: 1 of 2 jobs ended, "
                                r"\d+:\d\d:\d\d elapsed, about \d+:\d\d:\d\d to go$")
        self.assertRegex(last, r"^job [12] \(replicates [13]-[24]\) finished: 2 of 2 jobs ended, "
                               r"\d+:\d\d:\d\d elapsed$")

    def test_a_long_merge_shows_its_progress_every_few_seconds(self):
        loader = importlib.machinery.SourceFileLoader("davok_cluster", TOOL)
        tool = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
        loader.exec_module(tool)
        cases = [([0, 1, 2], ""),  # over before the first line is due
                 ([0, 1, 4, 9, 15, 16, 30],
                  "Job 2: 2 of 6 jobs merged, 0:00:04 elapsed, about 0:00:08 to go\n"
                  "Job 4: 4 of 6 jobs merged, 0:00:15 elapsed, about 0:00:08 to go\n"
                  "Job 6: 6 of 6 jobs merged, 0:00:30 elapsed\n")]
        for times, expected in cases:
            with self.subTest(times=times):
                clock, shown = iter(times), io.StringIO()
                progress = tool.Progress(len(times) - 1, "jobs merged", quiet=3, every=10,
                                         clock=lambda: next(clock), stream=shown)
                for job in range(1, len(times)):
                    progress.step(f"Job {job}")
                self.assertEqual(shown.getvalue(), expected)

    def test_a_finished_study_is_not_run_again(self):
        result = cluster(self.dir, "submit", "c_study", "--parallel")
        self.assertIn("nothing to submit", result.stdout)
        self.assertIn("2 of 2 jobs finished", cluster(self.dir, "status", "c_study").stdout)

    def test_merge_o_replaces_only_merged_files(self):
        cluster(self.dir, "merge", "c_study", "--out", "r_again")
        out = os.path.join(self.dir, "r_again")
        merged = sorted(os.listdir(out))
        write(os.path.join(out, "notes.txt"))
        result = cluster(self.dir, "merge", "c_study", "--out", "r_again", "-o", check=False)
        self.assertEqual(result.returncode, 1)
        self.assertIn("notes.txt", result.stderr)
        self.assertEqual(sorted(os.listdir(out)), sorted(merged + ["notes.txt"]))

        os.remove(os.path.join(out, "notes.txt"))
        os.makedirs(os.path.join(out, "plots"))
        write(os.path.join(out, "plots", "a.png"))
        write(os.path.join(out, "report_job_007.txt"))  # of an earlier, larger study
        cluster(self.dir, "merge", "c_study", "--out", "r_again", "-o")
        self.assertEqual(sorted(os.listdir(out)), sorted(merged + ["plots"]))
        self.assertEqual(os.listdir(os.path.join(out, "plots")), ["a.png"])
        self.assertEqual([n for n in os.listdir(self.dir) if ".merging-" in n], [])  # no staging folder left


class BrokenStudyTest(Scratch):
    def setUp(self):
        super().setUp()
        cluster(self.dir, "split", "study.prm", "3", "--seed", MASTER_SEED)
        cluster(self.dir, "submit", "c_study", "--parallel", "--jobs", "2")
        self.runs = os.path.join(self.dir, "c_study", "runs")

    def test_a_job_that_did_not_finish_is_named_and_nothing_is_written(self):
        cases = [(2, "done.txt", None, "job 2 (replicate 2): it has not finished"),
                 (3, "line_stat_001.txt", None, "job 3 (replicate 3): [line_stat_001.txt] is missing"),
                 (1, "nucleus_data_001.txt", lambda text: text[:100],
                  "job 1 (replicate 1): [nucleus_data_001.txt] has changed"),
                 (2, "report.txt", lambda text: text.replace("Completed", "Cancelled"),  # the same size
                  "job 2 (replicate 2): its report does not say Completed")]
        pristine = os.path.join(self.dir, "pristine")
        shutil.copytree(self.runs, pristine, symlinks=True)
        for job, name, change, message in cases:
            with self.subTest(message=message):
                shutil.rmtree(self.runs)
                shutil.copytree(pristine, self.runs, symlinks=True)
                path = os.path.join(self.runs, f"job_00{job}", "r_study", name)
                write(path, change(read_or_empty(path))) if change else os.remove(path)
                result = cluster(self.dir, "merge", "c_study", check=False)
                self.assertEqual(result.returncode, 1)
                self.assertIn(message, result.stderr)
                self.assertEqual([n for n in os.listdir(self.dir) if n.startswith("r_study")], [])

    def test_damaged_replicate_sums_stop_the_summary_with_a_message(self):
        engine = os.path.join(os.path.dirname(TOOL), "davok-cluster-engine")
        sums = os.path.join(self.runs, "job_002", "r_study", "replicate_sums_001.txt")
        text = read_or_empty(sums)
        lines = text.splitlines(keepends=True)
        cases = {"cut in half": text[:len(text) // 2],
                 "another header": "Replicate sums 9\n" + "".join(lines[1:]),
                 "a word for a number": "".join(lines[:3]) + "many\n" + "".join(lines[4:]),
                 "a value too many": "".join(lines[:2]) + lines[2] + "".join(lines[2:]),
                 "empty": ""}
        listing = os.path.join(self.dir, "list")
        write(listing, os.path.join(self.runs, "job_001", "r_study", "replicate_sums_001.txt") + "\n" + sums + "\n")
        for damage, damaged in cases.items():
            with self.subTest(damage=damage):
                write(sums, damaged)
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
        done = os.path.join(self.dir, "c_study", "runs", "job_001", "r_study", "done.txt")
        done_before = os.stat(done).st_mtime_ns

        write(flag)
        job = subprocess.Popen([TOOL, "job", "c_study", "2"], cwd=self.dir, start_new_session=True,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(stop, job)
        report = os.path.join(self.dir, "c_study", "runs", "job_002", "r_study", "report.txt")
        wait_for(lambda: "Replicate" in read_or_empty(report), 60, lambda: "the job never started its replicate")
        os.killpg(job.pid, signal.SIGKILL)
        job.wait(timeout=30)
        os.remove(flag)

        self.assertIn("Not finished: 2", cluster(self.dir, "status", "c_study").stdout)
        self.assertEqual(cluster(self.dir, "merge", "c_study", check=False).returncode, 1)
        cluster(self.dir, "submit", "c_study", "--parallel")
        log = read_or_empty(os.path.join(self.dir, "c_study", "logs", "parallel.log")).splitlines()
        ran = [line.split("\t")[-1].split()[-1] for line in log[1:]]
        self.assertEqual(ran, ["2"])
        self.assertEqual(os.stat(done).st_mtime_ns, done_before)
        cluster(self.dir, "merge", "c_study")
        self.assertTrue(os.path.isfile(os.path.join(self.dir, "r_study", "stat_rep.txt")))


class WorkingFolderTest(Scratch):
    """Every job runs in its own folder, where the parameter file's names mean what they mean in the
    folder split was run from."""

    USER_FILES = ("data.tmp", "my_bv.txt", "seed.prv", os.path.join("r_ext", "notes.txt"))

    def test_concurrent_jobs_with_an_external_evaluation_merge_as_one_at_a_time(self):
        shutil.copy(os.path.join(EXAMPLES, "external_bv.sh"), self.dir)
        write_prm(self.dir, "ext.prm", nucleus_ebv='external_bv "sleep 0.2 && sh external_bv.sh 0.4"')
        os.mkdir(os.path.join(self.dir, "r_ext"))  # an earlier run's folder, and files of one
        for name in self.USER_FILES:
            write(os.path.join(self.dir, name), "the user's own\n")
        for name, at_once in (("c_four", "4"), ("c_one", "1")):
            study(self.dir, "ext.prm", "4", name, submit=("--parallel", "--jobs", at_once))
        self.assertEqual(differing_files(os.path.join(self.dir, "r_c_four"), os.path.join(self.dir, "r_c_one")), [])
        for name in self.USER_FILES:
            self.assertEqual(read_or_empty(os.path.join(self.dir, name)), "the user's own\n", name)
        self.assertEqual(os.listdir(os.path.join(self.dir, "r_ext")), ["notes.txt"])

    def test_a_command_naming_the_output_folder_reads_the_jobs_own(self):
        shutil.copy(os.path.join(EXAMPLES, "small", "study_genomic.prm"), self.dir)
        with_gblup = dict(os.environ, PATH=os.path.dirname(TOOL) + os.pathsep + os.environ["PATH"])
        study(self.dir, "study_genomic.prm", "2", "c_genomic", env=with_gblup)
        merged = os.path.join(self.dir, "r_c_genomic")
        for rep in (1, 2):
            self.assertTrue(os.path.isfile(os.path.join(merged, f"gblup_data_{rep:03d}.txt")))
        self.assertIn('Population "gblup"', read_or_empty(os.path.join(merged, "stat_rep.txt")))


class OverwriteTest(Scratch):
    """-o removes only what the tool wrote; anything else stops it before anything is removed."""

    def test_split_o_removes_only_the_earlier_study(self):
        os.makedirs(os.path.join(self.dir, "data", "sub"))
        shutil.copy(STUDY_PRM, os.path.join(self.dir, "data", "run.prm"))
        write(os.path.join(self.dir, "data", "sub", "notes.txt"), "notes\n")
        cluster(self.dir, "split", "study.prm", "1", "--seed", "1")
        cluster(self.dir, "job", "c_study", "1")
        folder = os.path.join(self.dir, "c_study")
        cases = [(["data/run.prm", "--dir", "data"], None, "(run.prm)"),
                 (["study.prm"], "notes.txt", "(notes.txt)"),
                 (["study.prm"], os.path.join("logs", "mine.txt"), "(logs/mine.txt)"),
                 (["c_study/study.prm", "--dir", "c_study"], None, "the parameter file being split")]
        for args, foreign, message in cases:
            with self.subTest(args=args, foreign=foreign):
                if foreign:
                    write(os.path.join(folder, foreign))
                before = tree(self.dir)
                result = cluster(self.dir, "split", *args, "1", "--seed", "1", "-o", check=False)
                self.assertEqual(result.returncode, 1)
                self.assertIn(message, result.stderr)
                self.assertEqual(tree(self.dir), before)
                if foreign:
                    os.remove(os.path.join(folder, foreign))
        os.makedirs(os.path.join(folder, "kept"))
        write(os.path.join(folder, "kept", "mine.txt"))
        cluster(self.dir, "split", "study.prm", "2", "--seed", "1", "-o")
        self.assertEqual(sorted(os.listdir(folder)), ["kept", "logs", "runs", "seeds", "study.prm", "study.txt"])
        self.assertEqual(os.listdir(os.path.join(folder, "kept")), ["mine.txt"])
        self.assertEqual(os.listdir(os.path.join(folder, "runs")), [])
        self.assertTrue(os.path.isfile(os.path.join(self.dir, "data", "sub", "notes.txt")))


class SubmitTest(Scratch):
    def test_study_folders_with_a_blank_or_a_quote_run_with_parallel(self):
        for folder in ("with blank", "it's"):
            with self.subTest(folder=folder):
                cluster(self.dir, "split", "study.prm", "1", "--seed", "1", "--dir", folder)
                cluster(self.dir, "submit", folder, "--parallel")
                self.assertIn("1 of 1 jobs finished", cluster(self.dir, "status", folder).stdout)

    def test_slurm_is_the_default_only_where_a_controller_answers(self):
        bin_folder = os.path.join(self.dir, "bin")
        os.mkdir(bin_folder)
        write_script(os.path.join(bin_folder, "sbatch"), "echo 77")
        env = dict(os.environ, PATH=bin_folder + os.pathsep + os.environ["PATH"])
        cases = [('echo "Slurmctld(primary) at nowhere is DOWN"; exit 1', "No Slurm controller answers", True),
                 ("sleep 60", "No Slurm controller answers", True),
                 ('echo "Slurmctld(primary) at localhost is UP"', "Submitted job array 77", False)]
        for number, (scontrol, message, runs_here) in enumerate(cases):
            with self.subTest(scontrol=scontrol):
                write_script(os.path.join(bin_folder, "scontrol"), scontrol)
                cluster(self.dir, "split", "study.prm", "1", "--seed", "1", "--dir", f"c_{number}")
                result = cluster(self.dir, "submit", f"c_{number}", env=env)
                self.assertIn(message, result.stdout)
                self.assertEqual("1 of 1 jobs finished" in cluster(self.dir, "status", f"c_{number}").stdout, runs_here)


def write(path, text=""):
    with open(path, "w") as f:
        f.write(text)


def tree(folder):
    """Every file and folder below folder, by its relative path."""
    return sorted(os.path.relpath(os.path.join(d, n), folder) for d, dirs, files in os.walk(folder) for n in dirs + files)


def write_script(path, body):
    write(path, "#!/bin/sh\n" + body + "\n")
    os.chmod(path, 0o755)


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


# One setting a line; the files of the daemons go to {dir}.
SLURM_CONF = "\n".join("""ClusterName=davoktest SlurmctldHost=localhost SlurmctldPort={ctld_port} SlurmdPort={d_port}
    AuthType=auth/none CredType=cred/none ProctrackType=proctrack/linuxproc TaskPlugin=task/none
    SelectType=select/cons_tres MpiDefault=none ReturnToService=2 SlurmUser=root SlurmdUser=root
    StateSaveLocation={dir}/state SlurmdSpoolDir={dir}/spool SlurmctldPidFile={dir}/slurmctld.pid
    SlurmdPidFile={dir}/slurmd.pid SlurmctldLogFile={dir}/slurmctld.log SlurmdLogFile={dir}/slurmd.log""".split()
    + ["NodeName=localhost CPUs=2 State=UNKNOWN", "PartitionName=debug Nodes=ALL Default=YES MaxTime=INFINITE State=UP\n"])


@unittest.skipIf(os.geteuid() != 0, "a single-node Slurm with AuthType=auth/none starts only as root")
class SlurmTest(Scratch):
    """A real single-node Slurm on free ports, started and stopped by the test."""

    def setUp(self):
        super().setUp()
        slurm = os.path.join(self.dir, "slurm")
        for sub in ("state", "spool"):
            os.makedirs(os.path.join(slurm, sub))
        conf = os.path.join(slurm, "slurm.conf")
        write(conf, SLURM_CONF.format(ctld_port=free_port(), d_port=free_port(), dir=slurm))
        self.env = dict(os.environ, SLURM_CONF=conf)
        for command in (["slurmctld", "-D", "-f", conf], ["slurmd", "-D", "-f", conf, "-N", "localhost"]):
            with open(os.path.join(slurm, command[0] + ".out"), "w") as log:
                self.addCleanup(stop, subprocess.Popen(command, env=self.env, stdout=log, stderr=log,
                                                       stdin=subprocess.DEVNULL, start_new_session=True))
        self.wait_for(lambda: "idle" in self.slurm(["sinfo", "--noheader", "--format=%t"]), 60,
                      "the Slurm node did not become idle")

    def slurm(self, command):
        return subprocess.run(command, env=self.env, capture_output=True, text=True, timeout=30).stdout

    def wait_for(self, condition, seconds, message):
        """wait_for with the ends of the daemons' logs in the message."""
        logs = os.path.join(self.dir, "slurm")
        wait_for(condition, seconds, lambda: message + "\n" + "".join(
            read_or_empty(os.path.join(logs, n))[-2000:] for n in os.listdir(logs) if n.endswith(".log")))

    def test_jobs_through_slurm_merge_to_the_same_folder_as_through_parallel(self):
        cluster(self.dir, "split", "study.prm", "3", "--seed", MASTER_SEED, "--dir", "c_slurm")
        submitted = cluster(self.dir, "submit", "c_slurm", "--time=10", env=self.env)  # its controller answers
        self.assertIn("Submitted job array", submitted.stdout)
        self.wait_for(lambda: self.slurm(["squeue", "--noheader"]).strip() == "", 120, "the job array did not end")
        cluster(self.dir, "merge", "c_slurm", "--out", "r_c_slurm")
        study(self.dir, "study.prm", "3", "c_parallel")
        self.assertEqual(len(os.listdir(os.path.join(self.dir, "c_slurm", "logs"))), 6)  # 3 runs, 3 tasks
        self.assertEqual(differing_files(os.path.join(self.dir, "r_c_slurm"), os.path.join(self.dir, "r_c_parallel")),
                         [])


if __name__ == "__main__":
    unittest.main()
