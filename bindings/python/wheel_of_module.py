"""Packs the module into a wheel: usage: wheel_of_module.py FOLDER [LIBRARY]

The wheel has the module as a package, marked as typed, with the hardened library beside it, and is for the architecture
and the versions of the GNU C library that this one runs on. Without a library it is for any machine, and the module looks
for an installed one. The same files give the same wheel; its dates are SOURCE_DATE_EPOCH.

Also the build backend of pyproject.toml (PEP 517); ULMARO_ALGRITHM_LIBRARY then names the library.
"""

import base64
import hashlib
import os
import re
import sys
import time
import zipfile
from typing import Dict, Optional

HERE = os.path.dirname(os.path.abspath(__file__))
PACKAGE = "ulmaro_algrithm"
LIBRARY = "libUlmaroAlgrithmHardened.so"  # the only name that the module looks for
MACHINES = {62: "x86_64", 183: "aarch64"}  # e_machine


def read(*names: str) -> bytes:
    with open(os.path.join(HERE, *names), "rb") as file:
        return file.read()


def platform_of(library: bytes) -> str:
    """The tag of PEP 600, by the versions of symbols that a library needs. Wherever glibc 2.24 is, the C++ runtime has at
    least those of GCC 6."""

    def newest(name: bytes) -> int:
        return max(int(version) for version in re.findall(name + rb"\.([0-9]+)[.0-9]*(?=\0)", library) or [0])

    if newest(rb"\0GLIBCXX_3\.4") > 22 or newest(rb"\0CXXABI_1\.3") > 10:
        raise ValueError("the library needs a newer C++ runtime than its tag would promise")
    return f"manylinux_2_{max(24, newest(rb'GLIBC_2'))}_{MACHINES[int.from_bytes(library[18:20], 'little')]}"


def write_wheel(folder: str, library: Optional[bytes]) -> str:
    version = re.findall(r"^ *VERSION ([0-9.]+)$", read("..", "..", "CMakeLists.txt").decode(), re.MULTILINE)[0]
    tag = "py3-none-" + (platform_of(library) if library else "any")
    info = f"{PACKAGE}-{version}.dist-info"
    files: Dict[str, bytes] = {f"{PACKAGE}/__init__.py": read(PACKAGE + ".py"), f"{PACKAGE}/py.typed": read("py.typed")}
    if library:
        files[f"{PACKAGE}/{LIBRARY}"] = library
    files[f"{info}/WHEEL"] = (
        f"Wheel-Version: 1.0\nGenerator: wheel_of_module\nRoot-Is-Purelib: {str(not library).lower()}\nTag: {tag}\n"
    ).encode()
    files[f"{info}/METADATA"] = (
        f"Metadata-Version: 2.1\nName: ulmaro-algrithm\nVersion: {version}\nSummary: SM2, SM3 and SM4\n"
        "Requires-Python: >=3.7\nClassifier: Typing :: Typed\nDescription-Content-Type: text/markdown\n\n"
    ).encode() + read("README.md")
    files[f"{info}/licenses/copyright"] = read("..", "..", "packaging", "copyright")

    record = ""
    for name, content in files.items():
        digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).decode().rstrip("=")
        record += f"{name},sha256={digest},{len(content)}\n"
    files[f"{info}/RECORD"] = f"{record}{info}/RECORD,,\n".encode()

    wheel = f"{PACKAGE}-{version}-{tag}.whl"
    date = time.gmtime(int(os.environ.get("SOURCE_DATE_EPOCH", "315532800")))[:6]  # the oldest that fits: 1980
    with zipfile.ZipFile(os.path.join(folder, wheel), "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in files.items():
            entry = zipfile.ZipInfo(name, date)
            entry.external_attr = 0o100644 << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, content)
    return wheel


def build_wheel(wheel_directory: str, config_settings: object = None, metadata_directory: object = None) -> str:
    library = os.environ.get("ULMARO_ALGRITHM_LIBRARY")
    return write_wheel(wheel_directory, read(library) if library else None)


if __name__ == "__main__":
    print(write_wheel(sys.argv[1], read(os.path.abspath(sys.argv[2])) if len(sys.argv) > 2 else None))
