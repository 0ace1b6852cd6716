"""Puts the two shared libraries into the wheel. Version and platform tag are what the library has.

QRX_WHEEL_LIBRARY names libqrx.so.1, beside which the other one lies; without it that of
build/release or build is taken.
"""

import os
import re
import shutil
from pathlib import Path

from setuptools import setup
from setuptools.command.build_py import build_py
from wheel.bdist_wheel import bdist_wheel

HERE = Path(__file__).resolve().parent
VERSION = re.search(r'VERSION = "(.*?)"', (HERE / "qrx/_generated.py").read_text())


def libraries() -> list[Path]:
    given = os.environ.get("QRX_WHEEL_LIBRARY")
    places = [Path(given)] if given else [HERE.parent / "build/release/libqrx.so.1",
                                          HERE.parent / "build/libqrx.so.1"]
    for place in places:
        if place.exists():
            return [place, place.with_name("libqrx_grids.so.1")]
    raise SystemExit(f"there is no library at {places[0]}; build it, or set QRX_WHEEL_LIBRARY")


class BuildWithLibrary(build_py):  # type: ignore[misc]
    def run(self) -> None:
        super().run()
        for place in libraries():
            shutil.copyfile(place, Path(self.build_lib) / "qrx" / place.name)


class OneWheelForEveryPython(bdist_wheel):  # type: ignore[misc]
    def finalize_options(self) -> None:
        super().finalize_options()
        self.root_is_pure = False

    def get_tag(self) -> tuple[str, str, str]:
        return "py3", "none", f"linux_{os.uname().machine}"


setup(version=VERSION[1] if VERSION else None, packages=["qrx"],
      package_data={"qrx": ["py.typed"]},
      cmdclass={"build_py": BuildWithLibrary, "bdist_wheel": OneWheelForEveryPython})
