"""The readers against each other, against stat_rep.txt and across the forms of one run."""

import tempfile
import unittest

import numpy as np
import pandas as pd

import davok
from runs import run_davok, tiny

# A blank, and an ending that is also a kind: "p one_freq_mrk" is a genotype file of this
# population, not the marker frequencies of "p one".
POP = "p one_freq"


class Readers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.TemporaryDirectory(prefix="davok_plot_")
        cls.folder = run_davok(cls.tmp.name, "split", tiny(POP))
        cls.split = davok.load_run(cls.folder)
        cls.attached = davok.load_run(run_davok(cls.tmp.name, "attached", tiny(POP, extra="   attach_rep;\n")))
        binary = tiny(POP).replace("genotype /gen 3;", "genotype /binary /gen 3;")
        cls.binary = davok.load_run(run_davok(cls.tmp.name, "binary", binary))

    @classmethod
    def tearDownClass(cls):
        cls.tmp.cleanup()

    def per_rep(self, key):
        return self.split[key].groupby("rep")

    def test_attach_rep_file_reads_like_the_replicate_files(self):
        self.assertEqual(sorted(self.split, key=str), sorted(self.attached, key=str))
        for key, frame in self.split.items():
            with self.subTest(kind=key):
                if key != (None, "stat_rep"):
                    self.assertEqual(sorted(frame["rep"].unique()), [1, 2])
                pd.testing.assert_frame_equal(frame, self.attached[key])

    def test_every_file_goes_to_its_population_and_kind(self):
        kinds = ["crosso", "data", "freq_mrk", "freq_qtl", "ld_decay", "mrk", "qtl", "stat"]
        self.assertEqual(sorted(k for k in self.split if k[0] is not None), [(POP, k) for k in kinds])
        self.assertEqual(self.split.populations, [POP])

    def test_binary_genotypes_equal_the_text_ones_of_the_same_seed(self):
        for kind in ("mrk", "qtl"):
            with self.subTest(kind=kind):
                pd.testing.assert_frame_equal(self.binary[POP, kind].astype(np.int64),
                                              self.split[POP, kind].astype(np.int64))

    def test_counts_agree_across_files(self):
        data = self.per_rep((POP, "data")).size()
        stat = self.split[POP, "stat"].groupby("rep")["Structure:Progeny"].sum()
        markers = self.split[None, "hp_stat"].query("Label == 'No. markers' and Column == 'Overall'")
        last = self.split[POP, "data"].query("G == 3").groupby("rep").size()
        maf = davok.read_maf(f"{self.folder}/{POP}_freq_mrk_001.txt").groupby("Gen")["Loci"].sum()
        cases = [
            ("data rows = progeny of the Structure table", data, stat),
            ("data rows = pedigree rows", data, self.per_rep((None, "pedigree")).size()),
            ("marker map rows = No. markers of hp_stat", self.per_rep((None, "lm_mrk")).size(),
             markers.set_index("rep")["Value"]),
            ("QTL with effects = QTL map rows", self.per_rep((None, "effect_qtl"))["ID"].nunique(),
             self.per_rep((None, "lm_qtl")).size()),
            ("genotype rows = individuals of generation 3", self.per_rep((POP, "mrk")).size(), last),
            ("marker genotype columns = 2 x markers", self.per_rep((POP, "mrk")).apply(
                lambda g: g.drop(columns=["rep", "ID"]).dropna(axis=1).shape[1]),
             2 * self.per_rep((None, "lm_mrk")).size()),
            ("MAF classes count every marker of each generation", maf,
             pd.Series([self.per_rep((None, "lm_mrk")).size()[1]] * 4)),
            ("historical generations 0..50", self.per_rep((None, "hp_size")).size(), pd.Series([51, 51], [1, 2])),
        ]
        for what, got, expected in cases:
            with self.subTest(what):
                self.assertEqual(list(got.astype(int)), list(expected.astype(int)))

    def test_values_within_their_ranges(self):
        freq = self.split[POP, "freq_mrk"].groupby(["rep", "ID", "Gen"])["Freq"].sum()
        np.testing.assert_allclose(freq, 1.0, atol=1e-5)
        self.assertEqual(set(self.split[POP, "freq_qtl"]["Allele"]) - {1, 2, 3}, set())
        co = self.split[POP, "crosso"]
        self.assertTrue(co["Pos"].between(0, 10).all() and set(co["Parent"]) <= {"S", "D"})
        self.assertEqual(list(self.split[None, "hp_homo_mrk"].query("rep == 1")["Gen"]), [0, 10, 20, 30, 40, 50])
        size = self.split[None, "hp_size"].query("rep == 1")
        self.assertEqual(list(size.loc[size["Given"], "Gen"]), [0, 50])
        ld = self.split[POP, "ld_decay"]
        self.assertEqual(ld["Lower"].max(), 8.0)  # the classes starting below /max_distance 10
        self.assertTrue(ld["R2"].between(0, 1).all())

    def test_stat_rep_holds_the_means_and_se_of_the_replicates(self):
        sr = self.split[None, "stat_rep"]
        mine, stat = sr[sr["Pop"] == POP], self.split[POP, "stat"]
        cases = [("Inbreeding", "Inbreeding:Mean", 6e-5),  # the stat file has 4 decimals
                 ("Phenotype", "Phenotype:Mean", 1e-7),
                 ("EBV", "EBV:Mean", 1e-7),
                 ("r(EBV,TBV)_Sire", "accuracy of EBV:r(EBV,TBV)_Sire", 6e-5)]
        for section, column, tol in cases:
            with self.subTest(section):
                rows = mine[mine["Section"] == section]
                rows = rows.set_index(rows["Row"].astype(int))
                g = stat.groupby("Gen")[column]
                np.testing.assert_allclose(rows["Mean"], g.mean(), atol=tol)
                np.testing.assert_allclose(rows["SE"], g.std(ddof=1) / np.sqrt(2), atol=tol)
        # The marker pairs of the LD classes: the mean of the LD files.
        pairs = sr[sr["Section"] == "No marker pairs for each bin (LD decay)"].set_index(["LDGen", "Row"])["Mean"]
        mean = self.split[POP, "ld_decay"].groupby(["Gen", "Class"])["Pairs"].mean()
        self.assertEqual(len(pairs), len(mean))
        for (gen, label), value in mean.items():
            self.assertAlmostEqual(pairs[gen, label], value, places=4)
        # The last historical generation: the means of hp_stat.
        hist = sr.query("Section == 'Last historical generation'").set_index("Row")
        hp = self.split[None, "hp_stat"].query("Column in ('Overall', '')")
        value = hp.pivot(index="rep", columns="Label", values="Value")
        for label, per_rep in [("No. segregating markers", value["No. markers"] - value["No. non-seg. markers"]),
                               ("Average no. QTL alleles", value["Average no. QTL alleles"])]:
            self.assertAlmostEqual(hist.loc[label, "Mean"], per_rep.mean(), places=5, msg=label)

    def test_stat_file_without_polygenes_with_female_records_and_litter_classes(self):
        text = (tiny(POP).replace("qtlh2 = 0.1;", "qtlh2 = 0.3;\nno_male_rec;")
                .replace("ls = 2;", "ls = 1 2 [0.5];"))
        run = davok.load_run(run_davok(self.tmp.name, "forms", text))
        stat, data = run[POP, "stat"], run[POP, "data"]
        self.assertIn("Phenotype (females):Mean", stat.columns)
        self.assertFalse([c for c in stat.columns if c.startswith(("Polygenes:", "Phenotype:"))])
        litters = stat[["Litter size distribution:1", "Litter size distribution:2"]]
        self.assertEqual(list(litters.sum(axis=1)), list(stat["Structure:Dam"]))
        self.assertEqual(list(litters @ [1, 2]), list(stat["Structure:Progeny"].where(stat["Gen"] > 0, 0)))
        self.assertEqual(list(data["Phen"].isna()), list(data["Sex"] == "M"))


if __name__ == "__main__":
    unittest.main()
