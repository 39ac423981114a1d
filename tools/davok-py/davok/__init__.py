"""Load the result files of a Davok run into pandas DataFrames.

    import davok
    run = davok.load_run("r_study_dairy")
    run["nucleus", "stat"]        # per replicate and generation statistics of population "nucleus",
                                  # read on first use
    run[None, "stat_rep"]         # means and standard errors over replicates
"""

import os
import re
import warnings
from collections.abc import Mapping

import pandas as pd

from .readers import (is_binary_genotypes, read_crossover, read_data, read_effects, read_freq,
                      read_genotypes, read_hp_homo, read_hp_size, read_hp_stat, read_ld_decay,
                      read_maf, read_map, read_pedigree, read_stat, read_stat_rep, population_heading,
                      replicates)

__all__ = ["ReadError", "Run", "is_binary_genotypes", "load_run", "read_crossover", "read_data",
           "read_effects", "read_freq", "read_genotypes", "read_hp_homo", "read_hp_size", "read_hp_stat", "read_ld_decay",
           "read_maf", "read_map", "read_pedigree", "read_stat", "read_stat_rep", "replicates"]

# Files of the whole replicate (or run), by their name without the replicate suffix.
RUN_READERS = {
    "hp_stat": read_hp_stat, "hp_homo_mrk": read_hp_homo, "hp_homo_qtl": read_hp_homo,
    "lm_mrk": read_map, "lm_qtl": read_map, "lm_mrk_qtl": read_map, "effect_qtl": read_effects,
    "pedigree": read_pedigree, "stat_rep": read_stat_rep,
}

# Files of one population, "<pop>_<kind>"; longer kinds first so "_freq_mrk" wins over "_mrk".
POP_READERS = {
    "freq_mrk": read_freq, "freq_qtl": read_freq, "mrk_qtl": read_genotypes,
    "ld_decay": read_ld_decay, "crosso": read_crossover, "data": read_data, "stat": read_stat,
    "mrk": read_genotypes, "qtl": read_genotypes,
}

# What a run holds besides its files: the size plan of the historical population in hp_stat.
_RUN_KINDS = {**RUN_READERS, "hp_size": read_hp_size}


class ReadError(ValueError):
    """A result file that does not have the layout its name promises."""


_RESULT_NAME = re.compile(r"(.+?)(?:_(\d{3,}))?\.txt$")


def classify(filename, populations=()):
    """(population or None, kind) of a result file name, or None for other files.

    A name "<pop>_<kind>" is split at a population of the run when one fits, the longest first,
    so that "x_freq_mrk" of population "x_freq" is its genotypes; without the run's population
    names the longest kind that ends the name wins."""
    m = _RESULT_NAME.fullmatch(filename)
    if not m:
        return None
    base = m.group(1)
    if base in RUN_READERS:
        return None, base
    for pop in sorted(populations, key=len, reverse=True):
        if base.startswith(pop + "_") and base[len(pop) + 1:] in POP_READERS:
            return pop, base[len(pop) + 1:]
    for kind in POP_READERS:
        if base.endswith("_" + kind) and len(base) > len(kind) + 1:
            return base[:-len(kind) - 1], kind
    return None


def load_run(folder):
    """The result files of a run folder as a Run, a read-only mapping keyed by (population, kind)."""
    return Run(folder)


class Run(Mapping):
    """The result files of a run folder, keyed by (population, kind); population is None for the
    files of the whole replicate or run ("hp_stat", "lm_mrk", "stat_rep", ...). The replicate
    files of one kind are joined into one frame with their `rep` column.

    Making it reads only the population names of stat_rep.txt (and, in a run without a map, the
    first bytes of the genotype files, which tell a binary one); a frame is read when first asked
    for and then kept, so a program reads only the files it uses. `populations` holds the
    population names, in the order of the parameter file when stat_rep.txt tells it."""

    def __init__(self, folder):
        declared = _declared_populations(os.path.join(folder, "stat_rep.txt"))
        files = {}
        for name in sorted(os.listdir(folder)):
            key = classify(name, declared)
            if key is not None:
                files.setdefault(key, []).append(os.path.join(folder, name))
        if (None, "hp_stat") in files:
            files[None, "hp_size"] = files[None, "hp_stat"]
        self._files = {k: p for k, p in files.items() if not _unreadable_genotypes(k, p, files)}
        self._frames = {}
        self.populations = declared + sorted({k[0] for k in self._files if k[0] is not None} - set(declared))

    def __getitem__(self, key):
        if key not in self._frames:
            self._frames[key] = self._load(key, self._files[key])
        return self._frames[key]

    def __iter__(self):
        return iter(self._files)

    def __len__(self):
        return len(self._files)

    def __contains__(self, key):
        return key in self._files

    def _load(self, key, paths):
        pop, kind = key
        reader = _RUN_KINDS[kind] if pop is None else POP_READERS[kind]
        args = ()
        if reader is read_genotypes and any(is_binary_genotypes(p) for p in paths):
            args = (_loci_in_map(self.get((None, "lm_" + kind))),)
        return pd.concat([_read(reader, p, *args) for p in paths], ignore_index=True)


def _declared_populations(stat_rep):
    """The population names of stat_rep.txt in their order, or [] without the file."""
    if not os.path.isfile(stat_rep):
        return []
    return _read(_population_headings, stat_rep)


def _population_headings(path):
    with open(path) as f:
        return [name for line in f if line[:1] == "~" and (name := population_heading(line)) is not None]


def _unreadable_genotypes(key, paths, files):
    """True for binary genotypes without the map that tells how many loci a record holds."""
    pop, kind = key
    if pop is None or POP_READERS[kind] is not read_genotypes or (None, "lm_" + kind) in files:
        return False
    if not any(is_binary_genotypes(p) for p in paths):
        return False
    warnings.warn(f"binary genotypes of {pop} are left out: write linkage_map to have them read")
    return True


def _read(reader, path, *args):
    try:
        return reader(path, *args)
    except (ValueError, KeyError, IndexError, AttributeError, TypeError) as e:
        raise ReadError(f"{path} cannot be read: {type(e).__name__}: {e}") from e


def _loci_in_map(lm):
    """Number of loci of the first replicate's map, for binary genotype files."""
    if lm is None or lm.empty:
        return None
    return int((lm["rep"] == lm["rep"].iloc[0]).sum())
