"""Small simulator runs for the tests of the readers and of davok-plot."""

import os
import re
import subprocess

import numpy as np

DAVOK = os.environ["DAVOK_BIN"]
PLOT = os.environ["DAVOK_PLOT"]
EXAMPLES = os.environ["DAVOK_EXAMPLES"]

_TINY = """nrep = 2; h2 = 0.3; qtlh2 = 0.1; phvar = 1.0; joint_pop;
begin_hp; hg_size = 100 [0] 100 [50]; end_hp;
{pops}begin_genome; begin_chr = 2;
   chrlen = 10; nmloci = 50; mpos = rnd; nma = all 2; maf = eql;
   nqloci = 5; qpos = rnd; nqa = all 3; qaf = rnd; qae = rndg 0.4;
end_chr; end_genome;
begin_output; linkage_map; allele_effect; hp_stat; monitor_hp_homo /freq 10;
{extra}end_output;
"""
_POP = """begin_pop = "{name}";
   begin_founder; male [n = 4, pop = "hp"]; female [n = 10, pop = "hp"]; end_founder;
   ls = 2; ng = 3; sd = ebv; ebv_est = blup;
   begin_popoutput; data; stat; ld /max_distance 10; allele_freq /mafbin 5; genotype /gen 3; crossover /gen 1;
   end_popoutput;
end_pop;
"""


def tiny(*names, extra=""):
    """A small run, two replicates, writing every result file of each population named."""
    return _TINY.format(pops="".join(_POP.format(name=n) for n in names), extra=extra)


_TEST_VALUE = re.compile(r"^(\s*)\S.*;\s*//\s*test:\s*(.*;)\s*$")


def reduced(text):
    """A study file at test size: a statement followed by "// test: S" becomes S."""
    return "\n".join(_TEST_VALUE.sub(r"\1\2", line) for line in text.split("\n"))


def write_seed(path, seed):
    """A seed file holding the state MT19937 takes from the integer seed."""
    words = np.random.RandomState(seed).get_state()[1]
    with open(path, "w") as f:
        f.write("State vector for MT19937:\n")
        for i in range(0, len(words), 8):
            f.write(" ".join(str(w) for w in words[i:i + 8]) + "\n")


def run_davok(folder, name, text, seed=1):
    """Runs the parameter text as folder/name.prm from a fixed seed; returns the result folder."""
    write_seed(os.path.join(folder, "fixed_seed"), seed)
    with open(os.path.join(folder, name + ".prm"), "w") as f:
        f.write('seed = "fixed_seed";\nnthread = 1;\n' + text)
    done = subprocess.run([DAVOK, name + ".prm", "-o"], cwd=folder, stdin=subprocess.DEVNULL,
                          capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"Davok {name}.prm failed:\n{done.stdout[-2000:]}{done.stderr}")
    return os.path.join(folder, "r_" + name)


def run_study(folder, example):
    """Runs examples/small/<example>.prm, the study at test size."""
    with open(os.path.join(EXAMPLES, "small", example + ".prm")) as f:
        return run_davok(folder, example, f.read())


def plot(*args):
    return subprocess.run([PLOT, *args], capture_output=True, text=True)
