"""davok-plot on the two studies of the guide, run at test size."""

import filecmp
import os
import struct
import unittest
import xml.etree.ElementTree as ET

from runs import TempFolder, plot, run_study

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


class StudyFigures(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = TempFolder()
        cls.runs = {name: run_study(cls.tmp.path, name) for name in ("study_dairy", "study_conservation")}
        cls.plots = {}
        for name, folder in cls.runs.items():
            out = os.path.join(cls.tmp.path, "plots_" + name)
            done = plot(folder, "--out", out)
            if done.returncode != 0:
                raise RuntimeError(done.stderr)
            cls.plots[name] = out

    @classmethod
    def tearDownClass(cls):
        cls.tmp.cleanup()

    def test_each_study_gets_the_figures_its_files_allow(self):
        expected = {
            "study_dairy": ["hp_homozygosity", "inbreeding", "nucleus_accuracy", "nucleus_genetic_trend",
                            "nucleus_ld_decay"],
            # no evaluation and no LD: no accuracy or LD figure
            "study_conservation": ["hp_homozygosity", "inbreeding", "minf_genetic_trend",
                                   "random_genetic_trend"],
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
        again = os.path.join(self.tmp.path, "again")
        done = plot(self.runs["study_dairy"], "--out", again, "--format", "svg,png")
        self.assertEqual(done.returncode, 0, done.stderr)
        first = self.plots["study_dairy"]
        names = sorted(os.listdir(first))
        _, mismatch, errors = filecmp.cmpfiles(first, again, names, shallow=False)
        self.assertEqual((mismatch, errors), ([], []))

    def test_default_folder_and_single_format(self):
        done = plot(self.runs["study_conservation"], "--format", "png")
        self.assertEqual(done.returncode, 0, done.stderr)
        out = os.path.join(self.runs["study_conservation"], "plots")
        self.assertEqual(sorted(os.listdir(out)),
                         sorted(f for f in os.listdir(self.plots["study_conservation"]) if f.endswith(".png")))
        self.assertEqual(done.stdout.split(), [os.path.join(out, f) for f in
                                               ("inbreeding.png", "random_genetic_trend.png",
                                                "minf_genetic_trend.png", "hp_homozygosity.png")])


class Refusals(unittest.TestCase):
    def test_bad_folders_and_formats_end_with_a_message_and_exit_code(self):
        tmp = TempFolder()
        self.addCleanup(tmp.cleanup)
        empty = os.path.join(tmp.path, "empty")
        os.mkdir(empty)
        cases = [
            ([os.path.join(tmp.path, "missing")], "is not a folder"),
            ([empty], "nothing to plot"),
            ([empty, "--format", "gif"], "unknown format"),
        ]
        for args, message in cases:
            with self.subTest(args=args[1:] or args):
                done = plot(*args)
                self.assertEqual(done.returncode, 1)
                self.assertIn(message, done.stderr)
                self.assertNotIn("Traceback", done.stderr)


if __name__ == "__main__":
    unittest.main()
