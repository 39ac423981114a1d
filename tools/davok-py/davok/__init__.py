"""Load the result files of a Davok run into pandas DataFrames.

    import davok
    run = davok.load_run("r_study_dairy")
    run["nucleus", "stat"]        # per replicate and generation statistics of population "nucleus"
    run[None, "stat_rep"]         # means and standard errors over replicates
"""

import os
import re
import warnings

import pandas as pd

from .readers import (is_binary_genotypes, read_crossover, read_data, read_effects, read_freq,
                      read_genotypes, read_hp_homo, read_hp_size, read_hp_stat, read_ld_decay,
                      read_maf, read_map, read_pedigree, read_stat, read_stat_rep, replicates)

__all__ = ["ReadError", "is_binary_genotypes", "load_run", "read_crossover", "read_data",
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

class ReadError(ValueError):
    """A result file that does not have the layout its name promises."""


_RESULT_NAME = re.compile(r"(.+?)(?:_(\d{3,}))?\.txt$")


def classify(filename):
    """(population or None, kind) of a result file name, or None for other files."""
    m = _RESULT_NAME.fullmatch(filename)
    if not m:
        return None
    base = m.group(1)
    if base in RUN_READERS:
        return None, base
    for kind in POP_READERS:
        if base.endswith("_" + kind) and len(base) > len(kind) + 1:
            return base[:-len(kind) - 1], kind
    return None


def load_run(folder):
    """Every result file of a run folder, as a dict keyed by (population, kind); population is
    None for the files of the whole replicate or run ("hp_stat", "lm_mrk", "stat_rep", ...).
    The replicate files of one kind are joined into one frame with their `rep` column."""
    files = {}
    for name in sorted(os.listdir(folder)):
        key = classify(name)
        if key is not None:
            files.setdefault(key, []).append(os.path.join(folder, name))
    run = {}
    # The maps go first: they tell how many loci a binary genotype record holds.
    for key in sorted(files, key=lambda k: (not k[1].startswith("lm_"), k[0] or "", k[1])):
        frame = _load_kind(key, files[key], run)
        if frame is not None:
            run[key] = frame
    if (None, "hp_stat") in files:
        run[None, "hp_size"] = pd.concat([read_hp_size(p) for p in files[None, "hp_stat"]],
                                         ignore_index=True)
    return run


def _read(reader, path, *args):
    try:
        return reader(path, *args)
    except (ValueError, KeyError, IndexError, AttributeError, TypeError) as e:
        raise ReadError(f"{path} cannot be read: {type(e).__name__}: {e}") from e


def _load_kind(key, paths, run):
    pop, kind = key
    reader = RUN_READERS[kind] if pop is None else POP_READERS[kind]
    if reader is not read_genotypes:
        return pd.concat([_read(reader, p) for p in paths], ignore_index=True)
    nloci = _loci_in_map(run.get((None, "lm_" + kind)))
    if nloci is None and any(is_binary_genotypes(p) for p in paths):
        warnings.warn(f"binary genotypes of {pop} are left out: write linkage_map to have them read")
        return None
    return pd.concat([_read(read_genotypes, p, nloci) for p in paths], ignore_index=True)


def _loci_in_map(lm):
    """Number of loci of the first replicate's map, for binary genotype files."""
    if lm is None or lm.empty:
        return None
    return int((lm["rep"] == lm["rep"].iloc[0]).sum())
