"""What the documentation shows: docstrings, the tutorial, the recipes, the type stubs, docs/python.md."""

import doctest
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import zrk
from zrk import _arguments, _documents, _fields, _results

ROOT = pathlib.Path(__file__).resolve().parents[2]
SKIPPED = 77


class Examples(unittest.TestCase):
    def test_in_docstrings(self):
        count = 0
        for module in (zrk, _arguments, _documents, _fields, _results):
            result = doctest.testmod(module, optionflags=doctest.NORMALIZE_WHITESPACE)
            self.assertEqual(result.failed, 0, module.__name__)
            count += result.attempted
        self.assertGreater(count, 10)

    def run_script(self, script, *arguments):
        environment = {**os.environ, "PYTHONPATH": str(pathlib.Path(zrk.__file__).parents[1])}
        return subprocess.run([sys.executable, "-B", script, *map(str, arguments)], env=environment, text=True,
                              capture_output=True, timeout=250)

    def test_in_the_tutorial(self):
        with tempfile.TemporaryDirectory() as folder:
            done = self.run_script(ROOT / "python" / "tutorial" / "tutorial.py", folder)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual(done.stdout, (ROOT / "python" / "tutorial" / "tutorial.txt").read_text())
            self.assertTrue({"part.3mf", "part.png", "part.zrk.json"} <= set(os.listdir(folder)))

    def test_in_the_recipes(self):
        recipes = sorted((ROOT / "python" / "recipes").glob("*.py"))
        self.assertEqual(len(recipes), 10)
        for recipe in recipes:
            with self.subTest(recipe.name), tempfile.TemporaryDirectory() as folder:
                done = self.run_script(recipe, folder)
                if done.returncode == SKIPPED:
                    self.assertRegex(done.stdout, r"skipped: needs \w+ \(.+ install .+\)")
                    print(f"{recipe.name}: {done.stdout.strip()}")
                else:
                    self.assertEqual(done.returncode, 0, done.stderr)
                    self.assertTrue(done.stdout.strip())
                    self.assertNotIn("False", done.stdout)

    def test_in_the_documentation(self):
        text = (ROOT / "docs" / "python.md").read_text()
        code = "\n".join(re.findall(r"```python\n(.*?)```", text, re.DOTALL))
        self.assertIn("zrk.BinaryOperator", code)
        with tempfile.TemporaryDirectory() as folder:
            script = pathlib.Path(folder) / "page.py"
            script.write_text(f"import os\nos.chdir({folder!r})\n{code}")
            done = self.run_script(script)
        self.assertEqual(done.returncode, 0, done.stderr)
        for recipe in (ROOT / "python" / "recipes").glob("*.py"):
            self.assertIn(f"python/recipes/{recipe.name}", text)

    def test_stubs_are_those_of_the_module(self):
        done = self.run_script(ROOT / "tools" / "make-python-stubs", "--check")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)


if __name__ == "__main__":
    unittest.main()
