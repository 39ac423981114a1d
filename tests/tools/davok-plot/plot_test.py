"""davok-plot on the three studies of the guide, run at test size. The small study files of
examples/small/, which users run in seconds and the tests run, are the full studies with every
`// test:` setting applied and nothing else changed."""

import filecmp
import glob
import importlib.machinery
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


def image_size(path):
    """(width, height) of a PNG file in pixels or of an SVG file in points."""
    if path.endswith(".svg"):
        root = ET.parse(path).getroot()
        if root.tag != "{http://www.w3.org/2000/svg}svg":
            raise AssertionError(f"{path} is not an SVG file")
        return tuple(float(root.get(k).removesuffix("pt")) for k in ("width", "height"))
    with open(path, "rb") as f:
        head = f.read(24)
    if head[:8] != b"\x89PNG\r\n\x1a\n" or head[12:16] != b"IHDR":
        raise AssertionError(f"{path} is not a PNG file")
    return struct.unpack(">II", head[16:24])


def figures(folder, out=None, *options):
    """davok-plot on a run folder into out (by default the folder's plots/); returns that folder."""
    done = plot(folder, *(["--out", out] if out else []), *options)
    if done.returncode != 0:
        raise AssertionError(done.stderr)
    return out or os.path.join(folder, "plots")


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
        cls.plots = {name: figures(folder, os.path.join(TMP.name, "plots_" + name)) for name, folder in RUNS.items()}

    def test_each_study_gets_the_figures_its_files_allow_at_the_figure_size(self):
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
        sizes = {"png": (round(WIDTH_IN * DPI), round(HEIGHT_IN * DPI)), "svg": (WIDTH_IN * 72, HEIGHT_IN * 72)}
        for name, stems in expected.items():
            with self.subTest(study=name):
                files = sorted(os.listdir(self.plots[name]))
                self.assertEqual(files, sorted(f"{s}.{e}" for s in stems for e in sizes))
                for f in files:
                    self.assertEqual(image_size(os.path.join(self.plots[name], f)), sizes[f[-3:]], f)

    def test_figures_of_the_same_run_are_byte_identical(self):
        again = figures(RUNS["study_dairy"], os.path.join(TMP.name, "again"), "--format", "svg,png")
        first = self.plots["study_dairy"]
        _, mismatch, errors = filecmp.cmpfiles(first, again, sorted(os.listdir(first)), shallow=False)
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
        cls.folder = RUNS["study_dairy"]
        cls.script = load_plot_script()

    def only(self, name, pattern):
        """A copy of the run folder that keeps only the files matching pattern."""
        folder = os.path.join(TMP.name, name)
        os.makedirs(folder, exist_ok=True)
        for f in glob.glob(os.path.join(self.folder, pattern)):
            shutil.copy(f, folder)
        return folder

    def summary(self, folder):
        s = self.script.population_summary(davok.load_run(folder), "nucleus")
        return s.set_index(["Quantity", "Gen"]).sort_index()

    def test_each_source_gives_the_values_of_the_stat_files_and_its_figures(self):
        stat = self.summary(self.only("from_stat", "nucleus_stat_*"))
        cases = [  # source, quantities with their SE, quantities with their mean only, figures
            ("stat_rep.txt", ["F", "Phenotype", "EBV", "All", "Sires"], ["TBV"],
             ["inbreeding", "nucleus_accuracy", "nucleus_genetic_trend"]),
            ("nucleus_data_*", ["F", "TBV", "Phenotype"], [], ["inbreeding", "nucleus_genetic_trend"]),
            ("hp_homo_*", [], [], ["hp_homozygosity"])]
        for pattern, with_se, mean_only, stems in cases:
            with self.subTest(source=pattern):
                folder = self.only("only_" + pattern, pattern)
                other = self.summary(folder) if with_se else None
                for q in with_se + mean_only:
                    # 6e-5: the stat file rounds F and accuracies to 4 decimals
                    np.testing.assert_allclose(other.loc[q, "Mean"], stat.loc[q, "Mean"], atol=6e-5, err_msg=q)
                for q in with_se:
                    np.testing.assert_allclose(other.loc[q, "SE"], stat.loc[q, "SE"], atol=6e-5, err_msg=q)
                out = figures(folder, None, "--format", "png")  # into the default folder
                self.assertEqual(sorted(os.listdir(out)), [f"{s}.png" for s in stems])


class PopulationNames(unittest.TestCase):
    def test_each_population_gets_figures_of_its_own_name_and_its_genotypes_are_not_read(self):
        # Populations "a b" and "a_b" of one run, each writing genotypes that no figure uses.
        names = ("a b", "a_b")
        folder = run_davok(TMP.name, "names", tiny(*names))
        corrupt = shutil.copytree(folder, os.path.join(TMP.name, "names_corrupt"))
        for path in (p for n in names for k in ("mrk", "qtl") for p in glob.glob(f"{corrupt}/{n}_{k}_*.txt")):
            with open(path, "w") as f:
                f.write("ID      Genotypes (paternal allele, maternal allele) ...\nnot a genotype\n")
        first = figures(folder, os.path.join(TMP.name, "names_plots"), "--format", "png")
        again = figures(corrupt, os.path.join(TMP.name, "names_corrupt_plots"), "--format", "png")
        stems = ["hp_homozygosity", "inbreeding"] + [f"{p}_{f}" for p in names for f in ("accuracy", "genetic_trend",
                                                                                         "ld_decay")]
        self.assertEqual(sorted(os.listdir(first)), sorted(s + ".png" for s in stems))
        self.assertEqual(filecmp.cmpfiles(first, again, os.listdir(first), shallow=False)[1:], ([], []))


class Refusals(unittest.TestCase):
    def test_bad_folders_and_formats_end_with_a_message_and_exit_code(self):
        def folder(name, files):
            os.mkdir(os.path.join(TMP.name, name))
            for file, text in files.items():
                with open(os.path.join(TMP.name, name, file), "w") as f:
                    f.write(text)
            return os.path.join(TMP.name, name)

        empty = folder("empty", {})
        broken = folder("broken", {"p1_ld_decay_001.txt": "No. marker pairs\nBin\\Gen. 0\n[0,.05) x\n"})
        no_generation = folder("no_generation", {"p1_data_001.txt": "ID Polygene QTL F\n1 0.1 0.2 0.0\n"})
        cases = [
            ([os.path.join(TMP.name, "missing")], "is not a folder"),
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
