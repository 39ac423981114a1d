"""The small study files of examples/small/, which users run in seconds and the tests run, are the
full studies with every `// test:` setting applied and nothing else changed."""

import glob
import os
import unittest

from runs import EXAMPLES, reduced


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
