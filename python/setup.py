"""What pyproject.toml cannot say: the version, and that the wheel is for one system but for every Python 3."""

import os
import re
from pathlib import Path

from setuptools import setup
from setuptools.dist import Distribution
from wheel.bdist_wheel import bdist_wheel


class Wheel(bdist_wheel):
    """The library inside belongs to a system, named by CC_WHEEL_PLATFORM or the one that this runs on."""

    def get_tag(self):
        return "py3", "none", os.environ.get("CC_WHEEL_PLATFORM") or super().get_tag()[2]


class WithLibrary(Distribution):
    def has_ext_modules(self):
        return True


project = Path(__file__).resolve().parent.parent / "CMakeLists.txt"
version = re.search(r"project\(CC_Interface VERSION ([0-9.]+)", project.read_text(encoding="utf-8"))[1]
setup(version=version, distclass=WithLibrary, cmdclass={"bdist_wheel": Wheel})
