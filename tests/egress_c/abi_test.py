#!/usr/bin/python3
"""Compares the libraries in C with the descriptions of their ABI beside this file.

Usage: abi_test.py [--accept] LIBRARY...

The libraries need debug information. After a compatible change, --accept writes the descriptions anew;
what may change in which version is in docs/compatibility.md. Exit status: 0 no difference, 1 a
difference, 2 wrong usage, 77 abidw or abidiff is not installed, or this is another machine."""

import argparse
import platform
import shutil
import subprocess
import sys
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
SOURCE = FOLDER.parents[1]
MACHINE = "x86_64"
SKIPPED = 77

parser = argparse.ArgumentParser(usage=__doc__)
parser.add_argument("--accept", action="store_true")
parser.add_argument("libraries", metavar="LIBRARY", type=Path, nargs="+")
arguments = parser.parse_args()

if shutil.which("abidw") is None or shutil.which("abidiff") is None:
    print("abidw and abidiff are not installed; scripts/bootstrap ci installs abigail-tools")
    sys.exit(SKIPPED)
if platform.machine() != MACHINE:
    print(f"the descriptions are of {MACHINE}")
    sys.exit(SKIPPED)

# Only what the public headers declare: users cannot see the rest.
HEADERS = [option for name in ["egress_c", "egress_c_live"]
           for option in ["--headers-dir", SOURCE / name]]


def described(library):
    """The file with the description of a library."""
    return FOLDER / f"{library.name.split('.')[0]}.abi"


def describe(library):
    subprocess.run(["abidw", *HEADERS, "--exported-interfaces-only", "--drop-private-types",
                    "--no-elf-needed", "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs",
                    "--out-file", described(library), library], check=True)


def differs(library):
    """Prints all differences to the description, also compatible ones."""
    result = subprocess.run(["abidiff", "--exported-interfaces-only", "--no-show-locs", "--harmless",
                             described(library), library], check=False)
    return result.returncode != 0


if arguments.accept:
    for file in arguments.libraries:
        describe(file)
sys.exit(any([differs(file) for file in arguments.libraries]))
