"""The layers of src/: a file includes headers of its own folder or of the folders below it only."""

import os
import re
import unittest

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
# Lowest first; docs/architecture.md draws the same order.
LAYERS = ["support", "random", "param", "genome", "history", "breeding", "evaluation", "output", "app"]


def upward_includes(src):
    """(file, included folder) for every include of a higher layer under src."""
    found = []
    for layer in os.listdir(src):
        folder = os.path.join(src, layer)
        if layer not in LAYERS or not os.path.isdir(folder):
            continue
        for name in sorted(os.listdir(folder)):
            with open(os.path.join(folder, name), encoding="utf-8") as f:
                for target in re.findall(r'^#include "(\w+)/', f.read(), re.M):
                    if target in LAYERS and LAYERS.index(target) > LAYERS.index(layer):
                        found.append((f"{layer}/{name}", target))
    return found


class Layers(unittest.TestCase):
    def test_every_folder_is_a_layer(self):
        self.assertEqual(sorted(os.listdir(os.path.join(ROOT, "src"))), sorted(LAYERS))

    def test_no_file_includes_a_higher_layer(self):
        self.assertEqual(upward_includes(os.path.join(ROOT, "src")), [])


if __name__ == "__main__":
    unittest.main()
