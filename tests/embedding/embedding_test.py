"""Installs this build, moves the tree, and builds programs against it as others would."""

import os
import pathlib
import re
import shlex
import shutil
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
HERE = pathlib.Path(__file__).resolve().parent
BUILD = pathlib.Path(os.environ["ZRK_BUILD"])
CMAKE = os.environ["ZRK_CMAKE"]
COMPILER = [word for word in (os.environ.get("ZRK_LAUNCHER"), os.environ["ZRK_COMPILER"]) if word]
WARNINGS = ["-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Werror"]
FOLDER = BUILD / "tests" / "embedding" / "tried"
TREE = FOLDER / "moved"
PROJECT = HERE / "project"
DOCUMENT = ROOT / "examples" / "sphere_and_twisted_gyroid.zrk.json"
PUBLIC = [line.split() for line in (ROOT / "cmake/public_headers.txt").read_text().splitlines()
          if line and not line.startswith("#")]


def run(*command, **options):
    """Returns what a command prints; its messages are in the exception where it fails."""
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{shlex.join(map(str, command))}\n{done.stdout}{done.stderr}")
    return done.stdout


def flags(module, *kinds):
    """Returns what pkg-config tells of the moved tree."""
    return shlex.split(run("pkg-config", *kinds, module,
                           env={**os.environ, "PKG_CONFIG_PATH": str(next(TREE.rglob("zrk-static.pc")).parent)}))


def example_program(blocks):
    """Returns a program of the page's examples: types stand at its top, everything else in a function each."""
    includes, types, bodies = ["#include <cstdio>", "#include <memory>", "#include <string>"], [], []
    for block in blocks:
        includes += re.findall(r"^#include .*", block, re.M)
        code = re.sub(r"^#include .*\n", "", block, flags=re.M)
        (types if re.search(r"^class ", code, re.M) else bodies).append(code)
    functions = [f"void example{k}()\n{{\n{body}}}\n" for k, body in enumerate(bodies)]
    calls = "".join(f"example{k}();\n" for k in range(len(bodies)))
    return "\n".join([*includes, *types, *functions, f"int main()\n{{\n{calls}}}\n"])


class Embedding(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(FOLDER, ignore_errors=True)
        staged = FOLDER / "staged"
        parts = ["libzrk0", "libzrk-inspectors0", "zrk", "libzrk-dev"]
        for part in parts:
            run(CMAKE, "--install", BUILD, "--prefix", "/opt/zrk", "--component", part,
                env={**os.environ, "DESTDIR": str(staged)})
        (staged / "opt" / "zrk").rename(TREE)
        cls.left_elsewhere = [path for path in staged.rglob("*") if path.is_file()]
        cls.blocks = re.findall(r"```cpp\n(.*?)```", (ROOT / "docs/embedding.md").read_text(), re.S)
        # Both programs must print the same to the bit: one is built of plain flags and static libraries.
        cls.plain = cls.found_by_cmake()

    @staticmethod
    def found_by_cmake():
        build = FOLDER / "static"
        run(CMAKE, "-G", "Ninja", "-S", PROJECT, "-B", build, f"-DCMAKE_PREFIX_PATH={TREE}", "-DKIND=static",
            f"-DCMAKE_CXX_COMPILER={COMPILER[-1]}", f"-DCMAKE_CXX_COMPILER_LAUNCHER={';'.join(COMPILER[:-1])}")
        run(CMAKE, "--build", build)
        return run(build / "embedding", DOCUMENT)

    def test_nothing_lands_beside_the_prefix_and_nothing_names_the_build(self):
        self.assertEqual(self.left_elsewhere, [])
        texts = [path for path in TREE.rglob("*") if path.suffix in (".cmake", ".pc", ".h")]
        self.assertGreater(len(texts), 60)
        for path in texts:
            text = path.read_text()
            for folder in (str(ROOT), str(BUILD), "/opt/zrk"):
                self.assertNotIn(f"{folder}/", text, path)

    def test_the_installed_program_runs_where_it_was_moved(self):
        self.assertIn("x86-64" if os.uname().machine == "x86_64" else "lane", run(TREE / "bin" / "zrk", "--version"))
        dynamic = run("readelf", "-d", next(TREE.rglob("libzrk.so.0")))
        self.assertIn("Library soname: [libzrk.so.0]", dynamic)

    @unittest.skipUnless(shutil.which("qemu-x86_64"), "qemu-user isn't installed")
    def test_a_processor_that_lacks_instructions_gets_a_message_and_a_status(self):
        if "code for portable" in run(TREE / "bin" / "zrk", "--version"):
            self.skipTest("this build may run on any processor")
        for program, argument in ((TREE / "bin" / "zrk", "--version"), (FOLDER / "static" / "embedding", DOCUMENT)):
            done = subprocess.run(["qemu-x86_64", "-cpu", "Nehalem", program, argument], capture_output=True, text=True)
            self.assertEqual((done.returncode, done.stdout), (1, ""))
            self.assertRegex(done.stderr, r"^zrk: processor, found none of the instructions AVX, .*\n  remedy: .*\n$")

    def test_a_program_found_by_cmake_and_linked_statically(self):
        lines = dict(line.partition(" ")[::2] for line in self.plain.splitlines())
        types = re.findall(r"^types (?:with ours )?(\d+)$", self.plain, re.M)
        self.assertEqual(types, ["48", "49"])
        self.assertEqual(run(FOLDER / "static" / "registry"), "48\n", "a static link keeps the registration of all types")
        self.assertEqual(lines["changes"], "1")
        self.assertNotEqual(lines["document"], lines["changed"])
        self.assertEqual(lines["stored"], "2")
        self.assertEqual(lines["refused"], "unknown key")
        # z - 0.25 (x^2 + y^2)^2 with y = z = 0.25, in the order of the formula; the bounds hold for x and y from
        # 0 to 1 and z from 2 to 3, where it is 1 to 3.
        own = lines["own"].split()
        for i, value in zip((0, 511, 1024, 1036), own):
            x = 0.01 * i - 5
            squared = x * x + 0.25 * 0.25
            self.assertEqual(float.fromhex(value), 0.25 - 0.25 * (1.0 * squared * squared))
        lower, upper = (float.fromhex(text) for text in own[-2:])
        self.assertLessEqual(lower, 1)
        self.assertGreaterEqual(upper, 3)
        # At (-1, -1, -1): -1 - 0.25 * 4.
        self.assertEqual(lines["raster"].split()[-1], "-0x1p+1")

    def test_other_flags_and_the_shared_library_give_the_same_bits(self):
        program = FOLDER / "shared"
        library = next(TREE.rglob("libzrk.so.0")).parent
        # All that could change what the headers declare: the processor, assertions, a macro of this project.
        run(*COMPILER, *WARNINGS, "-O3", "-march=native", "-DNDEBUG", "-D_GLIBCXX_ASSERTIONS", "-DZRK_SIMD=0",
            "-o", program, PROJECT / "main.cpp", PROJECT / "bowl.cpp", *flags("zrk", "--cflags", "--libs"),
            f"-Wl,-rpath,{library}")
        self.assertEqual(run(program, DOCUMENT), self.plain)

    def test_the_page_shows_all_public_headers_and_its_examples_run(self):
        shown = {header for block in self.blocks for header in re.findall(r"^#include <zrk/(.*)>", block, re.M)}
        self.assertEqual(shown, {header for _, header in PUBLIC})
        source = FOLDER / "examples.cpp"
        without_panels = [block for block in self.blocks if "inspectors/" not in block]
        for block in without_panels:
            with self.subTest(block.partition("\n")[0]):  # an example includes all that it names
                source.write_text(example_program([block]))
                run(*COMPILER, *WARNINGS, "-fsyntax-only", source, *flags("zrk-static", "--cflags"))
        source.write_text(example_program(without_panels))
        program = FOLDER / "examples"
        run(*COMPILER, *WARNINGS, "-o", program, source, *flags("zrk-static", "--cflags", "--libs"))
        out = run(program)
        for expected in ("found a length of -1, expected 0 or more", "0.5, within 0.5 and 0.5", "4096 values", "Gyroid: ",
                         "changed\n-0.5"):
            self.assertIn(expected, out)

    def test_other_compilers_and_panels(self):
        """Compiles, without making code, what clang++ says to the headers, and those with Qt."""
        source = FOLDER / "all.cpp"
        with_panels = os.environ["ZRK_QT"] == "1"
        blocks = [block for block in self.blocks if with_panels or "inspectors/" not in block]
        source.write_text(example_program(blocks))
        qt = shlex.split(run("pkg-config", "--cflags", "Qt5Widgets")) if with_panels else []
        system = [flag.replace("-I", "-isystem") for flag in qt if flag.startswith("-I")]
        checked = [compiler for compiler in ("clang++-14", "clang++", COMPILER[-1]) if shutil.which(compiler)]
        for compiler in checked[::2] if len(checked) == 3 else checked:
            run(compiler, *WARNINGS, "-fsyntax-only", "-fPIC", source, PROJECT / "bowl.cpp", *system, *flags("zrk", "--cflags"))

    def test_versions_that_the_package_takes_and_refuses(self):
        script = FOLDER / "version.cmake"
        script.write_text(f'include("{next(TREE.rglob("zrk-config-version.cmake"))}")\n'
                          'message(STATUS "${PACKAGE_VERSION_COMPATIBLE}")\n')
        for wanted, taken in (("0.1", "TRUE"), ("0.1.0", "TRUE"), ("0.99", "FALSE"), ("1.0", "FALSE")):
            major = wanted.partition(".")[0]
            out = run(CMAKE, f"-DPACKAGE_FIND_VERSION={wanted}", f"-DPACKAGE_FIND_VERSION_MAJOR={major}", "-P", script)
            self.assertIn(f"-- {taken}", out, wanted)


if __name__ == "__main__":
    unittest.main()
