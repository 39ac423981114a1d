"""The site finder and the applier of scripts/mutation.py on a few lines of C++ and Python."""

import contextlib
import io
import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts"))
import mutation  # noqa: E402

CPP = r'''#include <vector>
#define LIMIT (a < b - 1)
// if (a < b) x = y - z;
/* n == 3 && ok */ int k = 7;
const char* s = "a < b - c;";  char q = '-';
auto raw = R"x(a - b > 2)x";
if (a < b) count = n - m;
done = ok && ready;
Flush(out);
int total = 0;
'''

PY = '''"""Docstring: a < b - 1."""
x = a - b  # y == 2
if n >= 10 and f"{a - b}" != 'c < d':
    report(n)
'''


def sites_of(path, text):
    return {(s.line, s.op, s.mutated_line(text)) for s in mutation.find_sites(path, text)}


class SiteFinder(unittest.TestCase):
    def test_sites_only_in_code_and_each_reports_its_mutation(self):
        cases = [
            ("a.cpp", CPP, {
                (4, "constant", "/* n == 3 && ok */ int k = 6;"),
                (7, "comparison", "if (a >= b) count = n - m;"),
                (7, "swap", "if (a < b) count = m - n;"),
                (7, "arithmetic", "if (a < b) count = n + m;"),
                (8, "logical", "done = ok || ready;"),
                (8, "delete", ""),
                (9, "delete", ""),
                (10, "constant", "int total = 1;"),
            }),
            ("b.py", PY, {
                (2, "swap", "x = b - a  # y == 2"),
                (2, "arithmetic", "x = a + b  # y == 2"),
                (2, "delete", "pass"),
                (3, "comparison", 'if n < 10 and f"{a - b}" != \'c < d\':'),
                (3, "comparison", 'if n >= 10 and f"{a - b}" == \'c < d\':'),
                (3, "constant", 'if n >= 9 and f"{a - b}" != \'c < d\':'),
                (3, "logical", 'if n >= 10 or f"{a - b}" != \'c < d\':'),
                (4, "delete", "pass"),
            }),
        ]
        for path, text, expected in cases:
            with self.subTest(path=path):
                self.assertEqual(sites_of(path, text), expected)

    def test_a_mutant_changes_only_its_own_span(self):
        for path, text in (("a.cpp", CPP), ("b.py", PY)):
            for site in mutation.find_sites(path, text):
                before, after = text.split("\n"), site.apply(text).split("\n")
                self.assertEqual(len(before), len(after))
                for number, (old, new) in enumerate(zip(before, after), 1):
                    if number != site.line:
                        self.assertEqual(old, new)
                old = before[site.line - 1]
                self.assertEqual(after[site.line - 1], old[:site.start] + site.new + old[site.end:])

    def test_python_scripts_without_extension_are_found(self):
        self.assertEqual(mutation.language("tools/x/run", "#!/usr/bin/python3\nx = 1\n"), "py")
        self.assertIsNone(mutation.language("tools/x/CMakeLists.txt", "set(a 1)\n"))
        self.assertFalse(mutation.is_source("tools/x/test_run.py"))

    def test_only_keeps_the_files_under_its_paths_and_not_their_namesakes(self):
        files = ["src/genome/meiosis.cpp", "src/genome_extra/x.cpp", "tools/davok-export/main.cpp"]
        self.assertEqual([f for f in files if mutation.under_any(f, ["src/genome/", "tools/davok-export/main.cpp"])],
                         ["src/genome/meiosis.cpp", "tools/davok-export/main.cpp"])
        self.assertEqual([f for f in files if mutation.under_any(f, [])], files)


class Applier(unittest.TestCase):
    def test_the_file_is_restored_byte_for_byte_even_after_an_error(self):
        original = b"int f() {\r\n  return a < b;\r\n}\n\xff// tail"
        with tempfile.TemporaryDirectory() as tree:
            path = os.path.join(tree, "f.cpp")
            with open(path, "wb") as f:
                f.write(original)
            site = mutation.find_sites("f.cpp", original.decode("utf-8", "surrogateescape"))[0]
            with self.assertRaises(KeyboardInterrupt):
                with mutation.mutated_file(site, tree):
                    with open(path, "rb") as f:
                        self.assertIn(b"return a >= b;\r\n", f.read())
                    raise KeyboardInterrupt
            with open(path, "rb") as f:
                self.assertEqual(f.read(), original)


class Coverage(unittest.TestCase):
    def test_a_source_file_meets_every_unit_test_and_a_tool_its_own_tests(self):
        tests = [(1, "Meiosis.X", ["unit"], {"."}), (2, "Cli.Y", ["cli"], {"tests/cli"}),
                 (3, "ExportTest.Z", ["tools"], {"tests/tools/davok-export"}),
                 (4, "PlotTest.W", ["tools"], {"tests/tools/davok-plot"}), (5, "MutationScript", ["scripts"], {"."})]
        numbers = lambda path: [t[0] for t in mutation.covering_tests(path, tests)]
        self.assertEqual(numbers("src/history/hp_simulator.cpp"), [1, 2, 3, 4])
        self.assertEqual(numbers("tools/davok-export/export.cpp"), [3])
        self.assertEqual(numbers("tools/davok-py/davok/readers.py"), [3, 4])


class Options(unittest.TestCase):
    def test_bad_options_exit_with_1(self):
        for argv in (["--mutants", "x"], ["--mutants", "0"], ["--seed", "-3"], ["--bogus"]):
            with self.subTest(argv=argv), self.assertRaises(SystemExit) as e, \
                    contextlib.redirect_stderr(io.StringIO()):
                mutation.parse_args(argv)
            self.assertEqual(e.exception.code, 1)


if __name__ == "__main__":
    unittest.main()
