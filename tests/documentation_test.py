"""The documentation is true: examples load, command lines run, quoted code and linked files are there."""

import os
import re
import subprocess
import unittest

from zrk_program import PATIENCE, PROGRAM, ROOT, ZrkTest, run

PAGES = sorted(path for path in ROOT.rglob("*.md")
               if not {"build", "out", ".git"} & set(path.relative_to(ROOT).parts))


def blocks(page, language):
    """Fenced blocks of one language, each with the text before it."""
    text = page.read_text()
    for match in re.finditer(rf"^```{language}\n(.*?)^```$", text, re.M | re.S):
        yield text[:match.start()], match.group(1)


class Examples(ZrkTest):
    def test_every_example_loads_without_a_warning_and_gives_a_field(self):
        examples = sorted((ROOT / "examples").glob("*.zrk.json"))
        self.assertGreaterEqual(len(examples), 10)
        for path in examples:
            with self.subTest(path.name):
                told = self.succeed("check", path).err
                self.assertEqual(told, "")
                self.succeed("slice", path, "-o", self.folder / "p.png", "--size", 32)

    def test_documents_in_the_pages_load_without_a_warning(self):
        documents = [(page, text) for page in PAGES for _, text in blocks(page, "json") if '"zrkGraph"' in text]
        self.assertGreaterEqual(len(documents), 2)
        for page, text in documents:
            with self.subTest(page=page.name):
                self.assertEqual(self.succeed("check", self.put(text)).err, "")


class CommandLines(ZrkTest):
    def test_every_command_line_of_the_pages_runs(self):
        (self.folder / "zrk").symlink_to(PROGRAM)
        (self.folder / "examples").symlink_to(ROOT / "examples")
        environment = {**os.environ, "PATH": f"{self.folder}:{os.environ['PATH']}"}
        lines = [(page, line) for page in PAGES for _, text in blocks(page, "sh")
                 for line in text.replace("\\\n", " ").splitlines() if re.search(r"(^|\| )zrk ", line)]
        self.assertGreaterEqual(len(lines), 10)
        for page, line in lines:
            with self.subTest(page=page.name, line=line):
                finished = subprocess.run(["bash", "-o", "pipefail", "-c", line], cwd=self.folder, env=environment,
                                          capture_output=True, timeout=30 * PATIENCE)
                self.assertEqual(finished.returncode, 0, finished.stderr.decode())

    def test_the_command_page_names_every_option(self):
        page = (ROOT / "docs/command-line.md").read_text()
        for command in ("types", "check", "probe", "sample", "slice"):
            for option in re.findall(r"--[a-z]+", run(command, "--help").out):
                with self.subTest(command=command, option=option):
                    self.assertIn(f"`{option}", page)


class QuotedCode(unittest.TestCase):
    def test_stands_in_the_file_that_is_named_above_it(self):
        """`From [path](link):` before a block of C++; a line `// ...` stands for lines left out."""
        count = 0
        for page in PAGES:
            for before, code in blocks(page, "cpp"):
                named = re.search(r"From \[[^\]]*\]\(([^)]+)\)[^\n]*:\n\n$", before)
                if not named:
                    continue
                count += 1
                source = (page.parent / named.group(1)).read_text()
                for part in re.split(r"^ *// \.\.\.\n", code, flags=re.M):
                    with self.subTest(page=page.name, file=named.group(1)):
                        self.assertTrue(part.strip(), "an empty quotation")
                        self.assertIn(part, source)
        self.assertGreaterEqual(count, 5)


class Links(unittest.TestCase):
    def test_lead_to_files_that_are_there(self):
        for page in PAGES:
            for target in re.findall(r"\]\(([^)#]+)(?:#[^)]*)?\)", page.read_text()):
                if not re.match(r"[a-z]+:", target):
                    with self.subTest(page=str(page.relative_to(ROOT)), target=target):
                        self.assertTrue((page.parent / target).exists())


if __name__ == "__main__":
    unittest.main()
