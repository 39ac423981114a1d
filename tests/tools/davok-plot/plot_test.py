"""davok-plot on the three studies of the guide, run at test size. The small study files of
examples/small/, which users run in seconds and the tests run, are the full studies with every
`// test:` setting applied and nothing else changed."""

import filecmp
import glob
import importlib.machinery
import itertools
import os
import shutil
import struct
import tempfile
import types
import unittest
import xml.etree.ElementTree as ET

import numpy as np

import davok
from runs import EXAMPLES, PLOT, plot, reduced, run_davok, run_study, tiny

WIDTH_IN, HEIGHT_IN, DPI = 6.4, 4.0, 100  # the figure size davok-plot promises


def png_size(path):
    with open(path, "rb") as f:
        head = f.read(24)
    if head[:8] != b"\x89PNG\r\n\x1a\n" or head[12:16] != b"IHDR":
        raise AssertionError(f"{path} is not a PNG file")
    return struct.unpack(">II", head[16:24])


def svg_size_pt(path):
    root = ET.parse(path).getroot()
    if root.tag != "{http://www.w3.org/2000/svg}svg":
        raise AssertionError(f"{path} is not an SVG file")
    return tuple(float(root.get(k).removesuffix("pt")) for k in ("width", "height"))


TMP = None
RUNS = {}


def setUpModule():
    global TMP
    TMP = tempfile.TemporaryDirectory(prefix="davok_plot_")
    RUNS.update({name: run_study(TMP.name, name) for name in ("study_dairy", "study_conservation", "study_genomic")})


def tearDownModule():
    TMP.cleanup()


class StudyFigures(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp, cls.runs = TMP, RUNS
        cls.plots = {}
        for name, folder in cls.runs.items():
            out = os.path.join(cls.tmp.name, "plots_" + name)
            done = plot(folder, "--out", out)
            if done.returncode != 0:
                raise RuntimeError(done.stderr)
            cls.plots[name] = out

    def test_each_study_gets_the_figures_its_files_allow(self):
        expected = {
            "study_dairy": ["hp_homozygosity", "inbreeding", "nucleus_accuracy", "nucleus_genetic_trend",
                            "nucleus_ld_decay"],
            # no evaluation and no LD: no accuracy or LD figure
            "study_conservation": ["hp_homozygosity", "inbreeding", "minf_genetic_trend",
                                   "random_genetic_trend"],
            # evaluated through davok-gblup, found on the PATH; no historical report asked for
            "study_genomic": ["gblup_accuracy", "gblup_genetic_trend", "inbreeding", "pblup_accuracy",
                              "pblup_genetic_trend"],
        }
        for name, stems in expected.items():
            with self.subTest(study=name):
                files = sorted(os.listdir(self.plots[name]))
                self.assertEqual(files, sorted(f"{s}.{e}" for s in stems for e in ("png", "svg")))

    def test_every_figure_is_an_image_of_the_figure_size(self):
        for name, out in self.plots.items():
            for f in sorted(os.listdir(out)):
                path = os.path.join(out, f)
                with self.subTest(figure=f, study=name):
                    if f.endswith(".png"):
                        self.assertEqual(png_size(path), (round(WIDTH_IN * DPI), round(HEIGHT_IN * DPI)))
                    else:
                        self.assertEqual(svg_size_pt(path), (WIDTH_IN * 72, HEIGHT_IN * 72))

    def test_figures_of_the_same_run_are_byte_identical(self):
        again = os.path.join(self.tmp.name, "again")
        done = plot(self.runs["study_dairy"], "--out", again, "--format", "svg,png")
        self.assertEqual(done.returncode, 0, done.stderr)
        first = self.plots["study_dairy"]
        names = sorted(os.listdir(first))
        _, mismatch, errors = filecmp.cmpfiles(first, again, names, shallow=False)
        self.assertEqual((mismatch, errors), ([], []))


def load_plot_script():
    """davok-plot as a module (its name has no .py), to reach its functions."""
    loader = importlib.machinery.SourceFileLoader("davok_plot", PLOT)
    module = types.ModuleType(loader.name)
    module.__file__ = PLOT
    loader.exec_module(module)
    return module


class SummarySources(unittest.TestCase):
    """A population's values from its stat files, its data files or stat_rep.txt agree."""

    @classmethod
    def setUpClass(cls):
        cls.tmp, cls.folder = TMP, RUNS["study_dairy"]
        cls.script = load_plot_script()

    def only(self, name, pattern):
        """A copy of the run folder that keeps only the files matching pattern."""
        folder = os.path.join(self.tmp.name, name)
        os.makedirs(folder, exist_ok=True)
        for f in glob.glob(os.path.join(self.folder, pattern)):
            shutil.copy(f, folder)
        return folder

    def summary(self, folder):
        s = self.script.population_summary(davok.load_run(folder), "nucleus")
        return s.set_index(["Quantity", "Gen"]).sort_index()

    def test_each_source_gives_the_values_of_the_stat_files(self):
        stat = self.summary(self.only("from_stat", "nucleus_stat_*"))
        cases = [  # source, quantities with their SE, quantities with their mean only
            ("stat_rep.txt", ["F", "Phenotype", "EBV", "All", "Sires"], ["TBV"]),
            ("nucleus_data_*", ["F", "TBV", "Phenotype"], []),
        ]
        for pattern, with_se, mean_only in cases:
            with self.subTest(source=pattern):
                other = self.summary(self.only("summary_" + pattern, pattern))
                for q in with_se + mean_only:
                    # 6e-5: the stat file rounds F and accuracies to 4 decimals
                    np.testing.assert_allclose(other.loc[q, "Mean"], stat.loc[q, "Mean"], atol=6e-5, err_msg=q)
                for q in with_se:
                    np.testing.assert_allclose(other.loc[q, "SE"], stat.loc[q, "SE"], atol=6e-5, err_msg=q)

    def test_figures_from_each_source(self):
        cases = [("stat_rep.txt", ["inbreeding", "nucleus_accuracy", "nucleus_genetic_trend"]),
                 ("nucleus_data_*", ["inbreeding", "nucleus_genetic_trend"]),
                 ("hp_homo_*", ["hp_homozygosity"])]
        for pattern, stems in cases:
            with self.subTest(source=pattern):
                folder = self.only("figures_" + pattern, pattern)
                done = plot(folder, "--format", "png")  # into the default folder
                out = os.path.join(folder, "plots")
                self.assertEqual(done.returncode, 0, done.stderr)
                self.assertEqual(sorted(os.listdir(out)), [f"{s}.png" for s in stems])


class PopulationNames(unittest.TestCase):
    """Populations "a b" and "a_b" of one run, each writing genotypes that no figure uses."""

    NAMES = ("a b", "a_b")

    @classmethod
    def setUpClass(cls):
        cls.folder = run_davok(TMP.name, "names", tiny(*cls.NAMES))

    def figures(self, folder, name):
        out = os.path.join(TMP.name, name)
        done = plot(folder, "--out", out, "--format", "png")
        self.assertEqual(done.returncode, 0, done.stderr)
        return out

    def test_each_population_gets_figures_of_its_own_name(self):
        stems = ["hp_homozygosity", "inbreeding"] + [f"{p}_{figure}" for p in self.NAMES
                                                     for figure in ("accuracy", "genetic_trend", "ld_decay")]
        out = self.figures(self.folder, "names_plots")
        self.assertEqual(sorted(os.listdir(out)), sorted(s + ".png" for s in stems))

    def test_genotype_files_are_not_read(self):
        corrupt = shutil.copytree(self.folder, os.path.join(TMP.name, "names_corrupt"))
        for pop, kind in itertools.product(self.NAMES, ("mrk", "qtl")):
            for path in glob.glob(os.path.join(corrupt, f"{pop}_{kind}_*.txt")):
                with open(path, "w") as f:
                    f.write("ID      Genotypes (paternal allele, maternal allele) ...\nnot a genotype\n")
        first, again = self.figures(self.folder, "names_intact"), self.figures(corrupt, "names_corrupt_plots")
        names = sorted(os.listdir(first))
        self.assertEqual(filecmp.cmpfiles(first, again, names, shallow=False)[1:], ([], []))


class Refusals(unittest.TestCase):
    def test_bad_folders_and_formats_end_with_a_message_and_exit_code(self):
        tmp = tempfile.TemporaryDirectory(prefix="davok_plot_")
        self.addCleanup(tmp.cleanup)

        def folder(name, files):
            os.mkdir(os.path.join(tmp.name, name))
            for file, text in files.items():
                with open(os.path.join(tmp.name, name, file), "w") as f:
                    f.write(text)
            return os.path.join(tmp.name, name)

        empty = folder("empty", {})
        broken = folder("broken", {"p1_ld_decay_001.txt": "No. marker pairs\nBin\\Gen. 0\n[0,.05) x\n"})
        no_generation = folder("no_generation", {"p1_data_001.txt": "ID Polygene QTL F\n1 0.1 0.2 0.0\n"})
        cases = [
            ([os.path.join(tmp.name, "missing")], "is not a folder"),
            ([empty], "nothing to plot"),
            ([empty, "--format", "gif"], "unknown format"),
            ([broken], "p1_ld_decay_001.txt cannot be read"),
            ([no_generation], "cannot be plotted"),
        ]
        for args, message in cases:
            with self.subTest(args=args[1:] or args):
                done = plot(*args)
                self.assertEqual(done.returncode, 1)
                self.assertIn(message, done.stderr)
                self.assertNotIn("Traceback", done.stderr)



class SmallStudies(unittest.TestCase):
    def test_each_small_study_is_its_full_study_at_the_test_settings(self):
        studies = sorted(glob.glob(os.path.join(EXAMPLES, "study_*.prm")))
        self.assertEqual(len(studies), 3)
        for full in studies:
            with self.subTest(study=os.path.basename(full)):
                with open(full) as f:
                    expected = reduced(f.read())
                with open(os.path.join(EXAMPLES, "small", os.path.basename(full))) as f:
                    lines = f.read().split("\n")
                self.assertTrue(lines[0].startswith("// examples/" + os.path.basename(full)), lines[0])
                self.assertEqual("\n".join(lines[2:]), expected,
                                 "examples/small/ is out of date: rewrite it from the full study")


if __name__ == "__main__":
    unittest.main()
