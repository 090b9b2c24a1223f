"""What readelf shows about hardened programs and libraries."""

import re
import subprocess
from pathlib import Path


def readelf(*arguments):
    return subprocess.run(["readelf", "--wide", *map(str, arguments)], text=True, check=True,
                          stdout=subprocess.PIPE, env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"}).stdout


def weaknesses(file):
    """What EGRESS_HARDEN should have prevented in a linked file."""
    text = readelf("--file-header", "--segments", "--dynamic", file)
    wanted = [
        (r"Type: +DYN ", "not independent of its position"),
        (r"GNU_RELRO ", "no segment that is read-only after relocation"),
        (r"\(FLAGS_1\) +Flags: .*\bNOW\b", "symbols are bound lazily"),
        (r"GNU_STACK +(0x[0-9a-f]+ +)+RW +0x", "the stack is executable"),
    ]
    unwanted = [(r"\bTEXTREL\b", "the code is relocated")]
    return ([problem for pattern, problem in wanted if not re.search(pattern, text)] +
            [problem for pattern, problem in unwanted if re.search(pattern, text)])


def has_interpreter(file):
    return "INTERP" in readelf("--segments", file)


def library_paths(file):
    """The directories of RPATH and RUNPATH."""
    found = re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", readelf("--dynamic", file))
    return [path for paths in found for path in paths.split(":")]


def names(file):
    """The names of its symbols, without versions, and the functions that it calls."""
    return set(re.findall(r" (\w+)(?:@\S+)?(?: \(\d+\))?$", readelf("--symbols", file), re.MULTILINE))


def fortified(file):
    """The functions that check the size of a buffer, for example __snprintf_chk."""
    return {name for name in names(file) if re.fullmatch(r"__\w+_chk", name)}


def has_control_flow_protection(file):
    """Whether a file, or each object in an archive, has IBT and SHSTK."""
    text = readelf("--notes", file)
    objects = max(1, len(re.findall("^File: ", text, re.MULTILINE)))
    return text.count("x86 feature: IBT, SHSTK") == objects


class Compiler:
    """What a compiler can do on this system, found out without CMake."""

    def __init__(self, name, folder):
        self.name, self.folder = name, Path(folder)

    def compile(self, source, *flags):
        """The object file, or None if the compiler rejects the flags."""
        target = self.folder / "probe.o"
        command = [self.name, "-Werror", "-O2", *flags, "-x", "c++", "-c", "-o", str(target), "-"]
        result = subprocess.run(command, input=source, text=True, check=False,
                                stderr=subprocess.DEVNULL)
        return target if result.returncode == 0 else None

    def fortifies_printing(self):
        """clang 14 leaves functions with a variable number of arguments as they are."""
        file = self.compile("#include <cstdio>\nint print(char (&text)[8], double value) {\n"
                            '  return std::snprintf(text, sizeof text, "%g", value);\n}\n',
                            "-U_FORTIFY_SOURCE", "-D_FORTIFY_SOURCE=2")
        return file is not None and bool(fortified(file))

    def protects_control_flow(self):
        file = self.compile("int number() { return 1; }\n", "-fcf-protection=full")
        return file is not None and has_control_flow_protection(file)

    def start_files_protect_control_flow(self):
        """A linked file has the protection only if all its parts have it."""
        for file in ["Scrt1.o", "crti.o"]:
            path = subprocess.run([self.name, f"-print-file-name={file}"], text=True, check=True,
                                  stdout=subprocess.PIPE).stdout.strip()
            if not has_control_flow_protection(path):
                return False
        return True
