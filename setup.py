"""Builds the compiled parts of the Python module with CMake, in build/python; the rest stands in pyproject.toml."""

import pathlib
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent
BUILD = ROOT / "build" / "python"


class CMakeBuild(build_ext):
    """Has CMake build _zrk and puts it where setuptools expects it, with the module for VDB files where there is one."""

    def build_extension(self, extension):
        configure = ["cmake", "-S", ROOT, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DZRK_TESTS=OFF",
                     "-DZRK_QT=OFF", "-DZRK_UNITY=ON", f"-DZRK_PYTHON_INTERPRETER={sys.executable}"]
        if shutil.which("ccache"):
            configure.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        subprocess.run(configure, check=True)
        subprocess.run(["cmake", "--build", BUILD, "--target", "_zrk"], check=True)
        target = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve()
        target.parent.mkdir(parents=True, exist_ok=True)
        for built in (BUILD / "python" / "zrk").glob("_zrk.*.so"):
            shutil.copy2(built, target)
        for built in (BUILD / "bin").glob("zrk_vdb.so"):
            shutil.copy2(built, target.parent)


setup(ext_modules=[Extension("zrk._zrk", sources=[])], cmdclass={"build_ext": CMakeBuild})
