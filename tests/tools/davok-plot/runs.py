"""Small simulator runs for the tests of the readers and of davok-plot."""

import os
import re
import subprocess
import tempfile

import numpy as np

DAVOK = os.environ["DAVOK_BIN"]
PLOT = os.environ["DAVOK_PLOT"]
EXAMPLES = os.environ["DAVOK_EXAMPLES"]

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


class TempFolder:
    def __init__(self):
        self._dir = tempfile.TemporaryDirectory(prefix="davok_plot_")
        self.path = self._dir.name

    def cleanup(self):
        self._dir.cleanup()
