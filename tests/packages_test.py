"""Installs the packages that `./run packages` has made, and tries what they hold.

  packages_test.py FOLDER [--debian ROOT] [--build-source]
  packages_test.py FOLDER --make BUILD

FOLDER has the packages; with --make they are made there of any build that has the shared library, without its code for newer
processors, and what takes long is left out. They are unpacked and laid over this system's /usr, for this test's commands alone. With --debian
they are installed by apt-get into a small Debian 12 in the folder ROOT, made with debootstrap where it isn't there yet:
that needs the network and root, and shows whether dependencies are complete. With --build-source the source archive isn't
only configured, but zrk is built of it, which takes minutes.
"""

import argparse
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
SKIPPED = 77
NEEDS = {
    "libzrk0": ["libc6", "libsleef3", "libspng0", "zlib1g", "libjpeg62-turbo", "libtiff6"],
    "libzrk-inspectors0": ["libzrk0 =", "libqt5widgets5"],
    "libzrk-dev": ["libzrk0 =", "libzrk-inspectors0 =", "nlohmann-json3-dev", "libexpected-dev"],
    "python3-zrk": ["libzrk0 =", "python3-numpy", "python3 <<"],
    "zrk": ["libzrk0 =", "libfmt9"],
    "zrk-workbench": ["libzrk0 =", "libzrk-inspectors0 =", "libqt5widgets5"],
}
EXAMPLES = pathlib.Path("/usr/share/doc/zrk/examples")
EXAMPLE = EXAMPLES / "sphere_and_twisted_gyroid.zrk.json"
# All that the level v4 has beyond v3 is switched off by its first part.
OLDER = {"GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX512F"}


def make_packages(build, folder):
    """Makes packages and the source archive of a build, which must be complete."""
    shutil.rmtree(folder, ignore_errors=True)
    run("cpack", "--config", build / "CPackConfig.cmake", "-B", folder, "-D", "CPACK_PACKAGING_INSTALL_PREFIX=/usr", cwd=build)
    run("cpack", "--config", build / "CPackSourceConfig.cmake", "-B", folder, cwd=build)


def run(*command, timeout=600, **options):
    """Returns what a command prints."""
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=timeout, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}\n{done.stdout}{done.stderr}")
    return done.stdout


class OverThisSystem:
    """The packages' files over those of this system, seen by commands that are run here only."""

    def __init__(self, packages, _):
        self.temporary = tempfile.mkdtemp(prefix="zrk packages ")
        self.folder = pathlib.Path(self.temporary, "tried")
        self.folder.mkdir()
        tree = pathlib.Path(self.temporary, "tree")
        for path in packages.values():
            run("dpkg-deb", "-x", path, tree)
        # From within the folder: the option has no way to write a blank or a colon in a path.
        mount = 'cd "$0" && mount -t overlay -o lowerdir=tree/usr:/usr zrk /usr && cd tried && exec "$@"'
        self.prefix = ["unshare", "--map-root-user", "--mount", "sh", "-c", mount, self.temporary]
        self.inner_folder = self.folder
        probe = subprocess.run([*self.prefix, "true"], capture_output=True, text=True)
        if probe.returncode != 0:
            print(f"skipped: packages can't be laid over this system: {probe.stderr.strip()}")
            sys.exit(SKIPPED)

    def close(self):
        shutil.rmtree(self.temporary)


class DebianOfItsOwn:
    """A small Debian in which apt-get has installed the packages and all that they ask for."""

    def __init__(self, packages, root):
        root = pathlib.Path(root).resolve()
        if not (root / "usr" / "bin" / "apt-get").exists():
            run("debootstrap", "--variant=minbase", "bookworm", root, "http://deb.debian.org/debian")
        self.prefix = ["chroot", root, "env", "DEBIAN_FRONTEND=noninteractive"]
        self.inner_folder = pathlib.Path("/tmp/tried")
        self.folder = root / "tmp" / "tried"
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir()
        for path in packages.values():
            shutil.copy(path, self.folder)
        files = [self.inner_folder / path.name for path in packages.values()]
        run(*self.prefix, "apt-get", "install", "-q", "-y", "--no-install-recommends", "--reinstall", "--allow-downgrades", *files)
        # Beyond what the packages ask for: what builds programs with them, and what reads manual pages.
        run(*self.prefix, "apt-get", "install", "-q", "-y", "--no-install-recommends", "g++", "pkg-config", "cmake", "ninja-build")

    def close(self):
        pass


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.place = (DebianOfItsOwn if ARGUMENTS.debian else OverThisSystem)(PACKAGES, ARGUMENTS.debian)

    @classmethod
    def tearDownClass(cls):
        cls.place.close()

    def run(self, result=None):
        shutil.rmtree(self.place.folder)
        self.place.folder.mkdir()
        return super().run(result)

    def call(self, *command, text_in=None, **environment):
        """Returns what a command prints where the packages are installed. Nothing tells it where their files are."""
        told = ("LD_LIBRARY_PATH", "PYTHONPATH", "PKG_CONFIG_PATH", "CMAKE_PREFIX_PATH")
        plain = {key: value for key, value in os.environ.items() if key not in told}
        return run(*self.place.prefix, *command, input=text_in, env={**plain, "PATH": "/usr/bin:/bin", "LANG": "C.UTF-8", **environment})

    def test_control_data(self):
        self.assertEqual(sorted(PACKAGES), sorted(NEEDS))
        version = run("dpkg-deb", "-f", PACKAGES["zrk"], "Version").strip()
        for name, path in PACKAGES.items():
            with self.subTest(name):
                fields = {field: run("dpkg-deb", "-f", path, field).strip()
                          for field in ("Depends", "Description", "Maintainer", "Section", "Version", "Architecture")}
                self.assertEqual(fields["Version"], version)
                depends = fields["Depends"].replace("(", "").replace(")", "").split(", ")
                for need in NEEDS[name]:
                    self.assertTrue([word for word in depends if word.startswith(need)], f"{need} in {depends}")
                self.assertEqual("libqt5" in fields["Depends"], name in ("zrk-workbench", "libzrk-inspectors0"))
                summary, _, text = fields["Description"].partition("\n")
                self.assertRegex(summary, r"^[a-zA-Z].{20,76}[^.]$")
                self.assertRegex(text, r"^ \S")
                self.assertNotRegex(text, r"(?m)^  |.{82}")
                self.assertIn("@", fields["Maintainer"])

    @unittest.skipUnless(shutil.which("lintian"), "lintian isn't installed")
    def test_lintian_finds_no_error(self):
        if ARGUMENTS.make:
            self.skipTest("it takes longer than all other tests")
        print(run("lintian", "--fail-on", "error", "--tag-display-limit", "0", *PACKAGES.values()))

    @unittest.skipUnless((ROOT / ".git").exists() and shutil.which("git"), "the source isn't in a repository")
    def test_the_source_archive_holds_what_the_repository_holds(self):
        (archive,) = ARGUMENTS.folder.glob("zrk-*-source.tar.gz")
        paths = {path.partition("/")[2] for path in run("tar", "-tzf", archive).splitlines() if not path.endswith("/")}
        repository = set(run("git", "-C", ROOT, "ls-files").splitlines())
        self.assertEqual(sorted(repository - paths), [])
        # What is new and not committed yet may be there, what is ignored not.
        ignored = run("git", "-C", ROOT, "ls-files", "--others", "--ignored", "--exclude-standard").splitlines()
        self.assertEqual(sorted(paths & set(ignored)), [])
        if ARGUMENTS.make:
            return  # other tests configure this source
        tree = pathlib.Path(self.place.folder, "source")
        tree.mkdir()
        run("tar", "-xzf", archive, "-C", tree, "--strip-components", "1")
        configured = run("cmake", "--preset", "develop", cwd=tree)
        self.assertIn("Build files have been written", configured)
        version = run("dpkg-deb", "-f", PACKAGES["zrk"], "Version").strip()
        self.assertIn(f"CMAKE_PROJECT_VERSION:STATIC={version}", (tree / "build/develop/CMakeCache.txt").read_text())
        if ARGUMENTS.build_source:
            run("cmake", "--build", "--preset", "develop", "--target", "zrk", cwd=tree, timeout=None)
            example = tree / "examples" / EXAMPLE.name
            values = run(tree / "build/develop/bin/zrk", "probe", example, "--at", "0.5,0.25,0.125")
            self.assertEqual(values, self.call("zrk", "probe", EXAMPLE, "--at", "0.5,0.25,0.125"))

    def test_what_lies_beside_programs(self):
        files = {name: [line.split()[-1] for line in run("dpkg-deb", "-c", path).splitlines()]
                 for name, path in PACKAGES.items()}
        for name, paths in files.items():
            for file in ("copyright", "changelog.gz"):
                self.assertIn(f"./usr/share/doc/{name}/{file}", paths)
            self.assertFalse([path for path in paths if "__pycache__" in path], name)
        pages = [path for path in files["zrk"] if path.startswith("./usr/share/man/man1/zrk") and path.endswith(".1.gz")]
        self.assertGreater(len(pages), 15)
        self.assertIn("./usr/share/man/man1/zrk-workbench.1.gz", files["zrk-workbench"])
        self.assertIn(f"./usr/share/zrk/examples/{EXAMPLE.name}", files["zrk-workbench"])
        self.assertIn("complete -F", self.call("cat", "/usr/share/bash-completion/completions/zrk"))

    def test_command_line(self):
        version = run("dpkg-deb", "-f", PACKAGES["zrk"], "Version").strip()
        told = self.call("zrk", "--version")
        self.assertTrue(told.startswith(f"zrk {version}"))
        vdb = ["vdb"] if "VDB" in told else []
        for extension in ("npy", "vti", *vdb):
            self.call("zrk", "sample", EXAMPLE, "-o", f"part.{extension}", "--resolution", "16")
            self.assertGreater((self.place.folder / f"part.{extension}").stat().st_size, 16**3 * 8)

    def test_the_code_of_newer_processors_gives_the_same_bits(self):
        if "glibc-hwcaps" not in run("dpkg-deb", "-c", PACKAGES["libzrk0"]):
            self.skipTest("these packages are for one processor")
        if "x86-64-v4, 8 lanes" not in self.call("zrk", "--version"):
            self.skipTest("this processor has no x86-64-v4")
        self.assertIn("x86-64-v3, 4 lanes", self.call("zrk", "--version", **OLDER))
        types = json.loads(self.call("zrk", "types", "--json"))
        self.assertEqual(len(types), 48)
        documents = sorted((ROOT / "examples").glob("*.zrk.json"))
        nodes = [node for document in documents for node in json.loads(document.read_text())["nodes"]]
        missing = [entry["class"] for entry in types if not any(
            node["type"] == entry["class"] or
            (node["type"], node.get("uuid", entry["uuid"]).lower()) == (entry["type"], entry["uuid"].lower()) for node in nodes)]
        self.assertEqual(missing, [], "an example has a node of each type")
        # One shell for all of them. 37 is neither a multiple of the lanes nor of a block.
        script = 'for d in "$0"/*.zrk.json; do b=$(basename "$d" .zrk.json); ' \
            'zrk sample "$d" -o "$b.npy" --resolution 37 --quiet && zrk slice "$d" -o "$b.png" --size 64 --quiet || exit 1; done; ' \
            'zrk surface "$0/sphere_and_twisted_gyroid.zrk.json" -o part.stl --resolution 64 --quiet && sha256sum *'
        newer, older = (self.call("sh", "-c", script, EXAMPLES, **more) for more in ({}, OLDER))
        self.assertEqual(len(newer.splitlines()), 2 * len(documents) + 1)
        self.assertEqual(newer.splitlines(), older.splitlines())

    @unittest.skipUnless(shutil.which("qemu-x86_64"), "qemu-user isn't installed")
    def test_older_processors_get_a_message(self):
        if ARGUMENTS.debian or ARGUMENTS.make:
            self.skipTest("the emulator isn't installed there, or the packages are for one processor")
        done = subprocess.run([*self.place.prefix, "qemu-x86_64", "-cpu", "Nehalem", "/usr/bin/zrk", "--version"],
                              capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertRegex(done.stderr, r"^zrk: processor, found none of the instructions AVX, .*x86-64-v3.*\n  remedy: .*\n$")

    def test_python(self):
        self.assertEqual(self.call("python3", "-c", "import zrk; print(zrk.__file__)"),
                         "/usr/lib/python3/dist-packages/zrk/__init__.py\n")
        tutorial = ROOT / "python" / "tutorial"
        out = self.call("python3", "-", self.place.inner_folder, text_in=(tutorial / "tutorial.py").read_text())
        self.assertEqual(out, (tutorial / "tutorial.txt").read_text())

    def test_workbench(self):
        self.call("zrk-workbench", "--screenshot", self.place.inner_folder / "workbench.png", EXAMPLE, QT_QPA_PLATFORM="offscreen")
        picture = (self.place.folder / "workbench.png").read_bytes()
        self.assertEqual(picture[:4], b"\x89PNG")
        self.assertGreater(len(picture), 20_000)

    def test_a_program_of_the_development_package(self):
        project = self.place.folder / "project"
        shutil.copytree(ROOT / "tests" / "embedding" / "project", project)
        inner = self.place.inner_folder / "project"
        self.call("sh", "-c", f"g++ -std=c++20 -o '{inner}/plain' '{inner}/registry.cpp' $(pkg-config --cflags --libs zrk)")
        self.assertEqual(self.call(inner / "plain"), "48\n")
        # The static libraries are for those who also install what they link.
        for kind in ("shared",) if ARGUMENTS.debian or ARGUMENTS.make else ("shared", "static"):
            build = inner / kind
            self.call("cmake", "-G", "Ninja", "-S", inner, "-B", build, f"-DKIND={kind}")
            self.call("cmake", "--build", build)
            self.assertIn("types with ours 49\n", self.call(build / "embedding", EXAMPLE))


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--debian", metavar="ROOT")
    parser.add_argument("--build-source", action="store_true")
    parser.add_argument("--make", metavar="BUILD", type=pathlib.Path)
    ARGUMENTS, rest = parser.parse_known_args()
    if ARGUMENTS.make and not shutil.which("dpkg-shlibdeps"):
        print("skipped: dpkg-shlibdeps isn't installed; tools/install-dependencies packages does it")
        sys.exit(SKIPPED)
    if ARGUMENTS.make:
        make_packages(ARGUMENTS.make.resolve(), ARGUMENTS.folder.resolve())
    PACKAGES = {path.name.partition("_")[0]: path for path in sorted(ARGUMENTS.folder.resolve().glob("*.deb"))}
    if not PACKAGES:
        print(f"skipped: no packages in {ARGUMENTS.folder}; ./run packages makes them")
        sys.exit(SKIPPED)
    unittest.main(argv=[sys.argv[0], *rest])
