#!/usr/bin/python3
"""Builds and installs the project as a static and as a shared library, and uses it in host projects.

Usage: package_test.py SCRATCH COMPILER [UNITTEST_ARGUMENT...]

SCRATCH is a directory for build trees and installations. Build trees are reused, installations are
not."""

import json
import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
EMBED = SOURCE / "examples" / "embed"
SYMBOLS = Path(__file__).with_name("exported_symbols.txt")
KINDS = ["static", "shared"]
PASS, CHECKS = re.search(r"^(PASS: (\d+) checks, 0 failures\n)", (SOURCE / "README.md").read_text(),
                         re.MULTILINE).groups()

if len(sys.argv) < 3:
    sys.exit(__doc__)
SCRATCH, COMPILER = Path(sys.argv[1]).resolve(), sys.argv[2]

# Variables that would affect a build, or hide that a program does not find its library.
IGNORED = re.compile(
    "CXXFLAGS|LDFLAGS|DESTDIR|LD_LIBRARY_PATH|(CMAKE|CTEST|PKG_CONFIG|EGRESS)_.*")
ENVIRONMENT = {name: value for name, value in os.environ.items() if not IGNORED.fullmatch(name)}
ENVIRONMENT["LC_ALL"] = "C"  # the tests compare messages

HEADERS = """
    egress.h export.h version.h config/config_defects.h config/numeric_address.h config/protocols.h
    config/proxy_config.h config/selector_answer.h core/diagnose_egress.h core/diagnosis.h
    core/diagnosis_input.h core/egress_report.h core/report_table.h core/status_words.h
    core/write_report.h json/json_fault.h json/json_kind.h""".split()
INSTALLED = """
    bin/egress-selfcheck lib/cmake/egress/EgressRunSelfcheck.cmake
    lib/cmake/egress/EgressSelfcheck.cmake lib/cmake/egress/egressConfig.cmake
    lib/cmake/egress/egressConfigVersion.cmake lib/cmake/egress/egressTargets-release.cmake
    lib/cmake/egress/egressTargets.cmake lib/pkgconfig/egress.pc""".split()
LIBRARIES = {
    "static": ["lib/libegress.a"],
    "shared": ["lib/libegress.so", "lib/libegress.so.1", "lib/libegress.so.1.0.0"],
}


def attempt(*command, **environment):
    """Runs a command. stdout also contains its standard error."""
    return subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, check=False,
                          env=ENVIRONMENT | environment)


def show(result):
    return f"$ {' '.join(result.args)}\n{result.stdout}exit status: {result.returncode}"


def run(*command, **environment):
    """Runs a command that must succeed; returns its output."""
    result = attempt(*command, **environment)
    if result.returncode != 0:
        raise AssertionError(f"command failed:\n{show(result)}")
    return result.stdout


def configure(source, build, *settings, attempting=run):
    return attempting("cmake", "-S", source, "-B", build, "-G", "Ninja",
                      f"-DCMAKE_CXX_COMPILER={COMPILER}", "-DCMAKE_BUILD_TYPE=Release", *settings)


def build_project(kind, libdir):
    shared = "ON" if kind == "shared" else "OFF"
    configure(SOURCE, SCRATCH / kind, "-DEGRESS_BUILD_TESTS=OFF", "-DEGRESS_BUILD_LIVE=OFF",
              f"-DBUILD_SHARED_LIBS={shared}", f"-DCMAKE_INSTALL_LIBDIR={libdir}",
              f"-DCMAKE_INSTALL_PREFIX={prefix_of(kind)}")
    run("cmake", "--build", SCRATCH / kind, "-j2")


def install(kind, prefix):
    shutil.rmtree(prefix, ignore_errors=True)
    run("cmake", "--install", SCRATCH / kind, "--prefix", prefix)
    return prefix


def prefix_of(kind):
    return SCRATCH / f"{kind}-prefix"


def installed_files(prefix):
    return sorted(path.relative_to(prefix).as_posix() for path in prefix.rglob("*")
                  if not path.is_dir())


def fresh_folder(name):
    folder = SCRATCH / name
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    return folder


def readme_blocks(language):
    return re.findall(rf"```{language}\n(.*?)```", (SOURCE / "README.md").read_text(), re.DOTALL)


# The host's build files and commands from README.md.
README_FIND, README_ADD, README_FETCH = readme_blocks("cmake")
README_COMPILE, = readme_blocks("sh")


def dynamic_symbols(option, file):
    """The type and name of each symbol, sorted by name."""
    lines = run("nm", "-D", "-C", option, file).splitlines()
    found = [re.fullmatch(r"[0-9a-f ]*([a-zA-Z]) (.*)", line).groups() for line in lines]
    return sorted(found, key=lambda symbol: symbol[1])


def setUpModule():
    SCRATCH.mkdir(parents=True, exist_ok=True)
    for kind in KINDS:
        build_project(kind, "lib")
        install(kind, prefix_of(kind))


class PackageTest(unittest.TestCase):
    maxDiff = None

    def expect_embed_works(self, program, **environment):
        self.assertEqual(run(program, **environment), readme_blocks("text")[0])

    def expect_linked_as(self, kind, program):
        uses = any(name.startswith("egress::diagnoseEgress(")
                   for _, name in dynamic_symbols("--undefined-only", program))
        self.assertEqual(uses, kind == "shared", f"{program} links the shared library")

    def expect_all_pass(self, build, tests):
        output = run("ctest", "--test-dir", build, "--output-on-failure", "--no-tests=error")
        self.assertEqual(re.findall(r"Test +#\d+: (\S+) \.+ +Passed", output), tests, output)

    def move_installation(self, kind):
        """Moves an installation away from its prefix until the end of the test."""
        moved = SCRATCH / f"{kind}-moved"
        shutil.rmtree(moved, ignore_errors=True)
        self.addCleanup(install, kind, prefix_of(kind))
        return prefix_of(kind).rename(moved)

    def expect_shared_flag_if_shared(self, kind, flags):
        self.assertEqual("-DEGRESS_SHARED" in flags, kind == "shared", flags)

    def build_embed(self, name, *settings):
        """Builds examples/embed, which uses find_package."""
        build = fresh_folder(name)
        configure(EMBED, build, "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", *settings)
        run("cmake", "--build", build)
        return build


class InstalledTest(PackageTest):
    def test_installs_exactly_the_listed_files(self):
        headers = [f"include/egress/{header}" for header in HEADERS]
        for kind in KINDS:
            with self.subTest(kind):
                self.assertEqual(installed_files(prefix_of(kind)),
                                 sorted(INSTALLED + headers + LIBRARIES[kind]))

    def test_no_file_contains_a_path_of_the_build(self):
        for kind in KINDS:
            prefix = prefix_of(kind)
            for file in installed_files(prefix):
                content = (prefix / file).read_bytes()
                for place in [SOURCE, SCRATCH / kind, prefix]:
                    with self.subTest(kind=kind, file=file):
                        self.assertNotIn(str(place).encode(), content)

    def test_the_shared_library_exports_exactly_the_listed_symbols(self):
        library = prefix_of("shared") / "lib" / "libegress.so"
        self.assertEqual(dynamic_symbols("--defined-only", library),
                         [("T", name) for name in SYMBOLS.read_text().splitlines()])

    def test_the_soname_contains_the_major_version(self):
        headers = run("objdump", "-p", prefix_of("shared") / "lib" / "libegress.so")
        self.assertRegex(headers, r"SONAME +libegress\.so\.1\n")


class FindPackageTest(PackageTest):
    def test_the_embedding_example_uses_the_find_package_line_of_the_readme(self):
        self.assertIn(README_FIND, (EMBED / "CMakeLists.txt").read_text())

    def test_works_with_either_library(self):
        for kind in KINDS:
            with self.subTest(kind):
                build = self.build_embed(f"{kind}-found", f"-DCMAKE_PREFIX_PATH={prefix_of(kind)}")
                self.expect_embed_works(build / "embed")
                self.expect_linked_as(kind, build / "embed")
                self.expect_shared_flag_if_shared(kind, (build / "compile_commands.json").read_text())
                self.expect_all_pass(build, ["embed", "egress-selfcheck"])

    def test_works_after_the_installation_was_moved(self):
        for kind in KINDS:
            with self.subTest(kind):
                moved = self.move_installation(kind)
                self.assertEqual(run(moved / "bin" / "egress-selfcheck"), PASS)
                build = self.build_embed(f"{kind}-found-moved", f"-DCMAKE_PREFIX_PATH={moved}")
                self.expect_embed_works(build / "embed")
                self.expect_all_pass(build, ["embed", "egress-selfcheck"])

    def test_rejects_other_major_versions_and_newer_ones(self):
        folder = fresh_folder("version")
        (folder / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(version LANGUAGES NONE)\n"
            "find_package(egress ${wanted} CONFIG REQUIRED)\n")
        for wanted, found in [("1", True), ("1.0", True), ("1.0.0", True), ("1.1", False),
                              ("2.0", False), ("0.9", False)]:
            with self.subTest(wanted):
                result = configure(folder, folder / wanted, f"-Dwanted={wanted}",
                                   f"-DCMAKE_PREFIX_PATH={prefix_of('static')}", attempting=attempt)
                self.assertEqual(result.returncode == 0, found, show(result))
                self.assertEqual("considered but not accepted" in result.stdout, not found,
                                 show(result))


class PkgConfigTest(PackageTest):
    def ask(self, prefix, option):
        return run("pkg-config", option, "egress",
                   PKG_CONFIG_LIBDIR=str(prefix / "lib" / "pkgconfig"))

    def compile_embed(self, prefix, libdir):
        """Compiles the example with README's command, in which c++ is COMPILER."""
        folder = fresh_folder("pkg-config")
        shutil.copy(EMBED / "main.cpp", folder)
        (folder / "c++").symlink_to(shutil.which(COMPILER))
        run("sh", "-c", f"cd '{folder}' && {README_COMPILE}",
            PATH=f"{folder}:{ENVIRONMENT['PATH']}",
            PKG_CONFIG_LIBDIR=str(prefix / libdir / "pkgconfig"))
        return folder / "a.out"

    def test_works_with_either_library(self):
        for kind in KINDS:
            with self.subTest(kind):
                program = self.compile_embed(prefix_of(kind), "lib")
                self.expect_linked_as(kind, program)
                self.expect_shared_flag_if_shared(kind, self.ask(prefix_of(kind), "--cflags"))
                self.expect_embed_works(program, LD_LIBRARY_PATH=str(prefix_of(kind) / "lib"))

    def test_works_after_the_installation_was_moved(self):
        for kind in KINDS:
            with self.subTest(kind):
                moved = self.move_installation(kind)
                program = self.compile_embed(moved, "lib")
                self.expect_embed_works(program, LD_LIBRARY_PATH=str(moved / "lib"))

    def test_works_with_a_nested_library_directory(self):
        libdir = "lib/some/where"
        self.addCleanup(build_project, "shared", "lib")
        build_project("shared", libdir)
        prefix = install("shared", SCRATCH / "nested-prefix")
        self.assertEqual(run(prefix / "bin" / "egress-selfcheck"), PASS)
        program = self.compile_embed(prefix, libdir)
        self.expect_embed_works(program, LD_LIBRARY_PATH=str(prefix / libdir))

    def test_has_the_version(self):
        self.assertEqual(self.ask(prefix_of("static"), "--modversion"), "1.0.0\n")


# A parent project that dumps its variables and properties before and after it adds egress. It needs a
# version: without one, CMake gives the parent the version of the subproject.
PARENT = """\
cmake_minimum_required(VERSION 3.25)
project(parent VERSION 0.1 LANGUAGES CXX)
enable_testing()

function(dump_state file)
  set(text "")
  get_cmake_property(names CACHE_VARIABLES)
  foreach(name IN LISTS names)
    string(APPEND text "cache $CACHE{${name}} ${name}\\n")
  endforeach()
  get_cmake_property(names VARIABLES)
  # Ignore variables that the function call and this function set.
  list(FILTER names EXCLUDE REGEX "^(ARG[CNV0-9]*|CMAKE_CURRENT_FUNCTION.*|file|text|names?)$")
  foreach(name IN LISTS names)
    string(APPEND text "variable ${${name}} ${name}\\n")
  endforeach()
  foreach(name COMPILE_DEFINITIONS COMPILE_FEATURES COMPILE_OPTIONS CMAKE_CONFIGURE_DEPENDS
               EXCLUDE_FROM_ALL IMPORTED_TARGETS INCLUDE_DIRECTORIES INTERPROCEDURAL_OPTIMIZATION
               LABELS LINK_DIRECTORIES LINK_OPTIONS RULE_LAUNCH_COMPILE RULE_LAUNCH_LINK
               SYSTEM TESTS TEST_INCLUDE_FILES)
    get_directory_property(value ${name})
    string(APPEND text "directory ${value} ${name}\\n")
  endforeach()
  foreach(name ALLOW_DUPLICATE_CUSTOM_TARGETS ENABLED_LANGUAGES JOB_POOLS PACKAGES_FOUND
               PACKAGES_NOT_FOUND REPORT_UNDEFINED_PROPERTIES RULE_LAUNCH_COMPILE RULE_LAUNCH_LINK
               TARGET_MESSAGES USE_FOLDERS)
    get_property(value GLOBAL PROPERTY ${name})
    string(APPEND text "global ${value} ${name}\\n")
  endforeach()
  file(WRITE ${CMAKE_BINARY_DIR}/${file} "${text}")
endfunction()

dump_state(before.txt)
%s
dump_state(after.txt)
"""
EMBED_IN_PARENT = f"""
add_executable(embed "{EMBED}/main.cpp")
target_link_libraries(embed PRIVATE egress::egress)
"""


class SubprojectTest(PackageTest):
    def build_parent(self, name, lines, *settings):
        """Reuses object files of an earlier run, but not its CMake cache."""
        folder = SCRATCH / name
        folder.mkdir(exist_ok=True)
        (folder / "CMakeLists.txt").write_text(lines)
        (folder / "egress-diagnosis").unlink(missing_ok=True)
        (folder / "egress-diagnosis").symlink_to(SOURCE)
        (folder / "build" / "CMakeCache.txt").unlink(missing_ok=True)
        configure(folder, folder / "build", *settings)
        run("cmake", "--build", folder / "build", "-j2")
        return folder / "build"

    def test_builds_only_the_library_and_does_not_change_the_parent(self):
        for kind in KINDS:
            with self.subTest(kind):
                shared = "ON" if kind == "shared" else "OFF"
                build = self.build_parent(
                    f"{kind}-parent", PARENT % README_ADD + EMBED_IN_PARENT,
                    f"-DBUILD_SHARED_LIBS={shared}", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")
                self.expect_embed_works(build / "embed")
                self.expect_linked_as(kind, build / "embed")
                self.expect_only_own_cache_variables(build)
                self.expect_no_warning_flags(build)
                self.assertIn("Total Tests: 0\n", run("ctest", "--test-dir", build, "-N"))
                prefix = fresh_folder("parent-prefix")
                run("cmake", "--install", build, "--prefix", prefix)
                self.assertEqual(installed_files(prefix), [])

    def expect_only_own_cache_variables(self, build):
        before, after = [(build / name).read_text().splitlines()
                         for name in ["before.txt", "after.txt"]]
        # A cache variable is also a variable.
        own = re.compile("(cache|variable) .*(EGRESS|egress)_[A-Za-z_]+")
        changes = sorted(set(before) ^ set(after))
        self.assertIn("cache OFF EGRESS_INSTALL", changes)
        self.assertEqual([line for line in changes if not own.fullmatch(line)], [])

    def expect_no_warning_flags(self, build):
        commands = json.loads((build / "compile_commands.json").read_text())
        ours = [entry["command"] for entry in commands
                if "/egress-diagnosis/egress/" in entry["file"]]
        self.assertEqual([command for command in ours if " -W" in command], [])
        sources = [path for folder in ("json", "config", "core")
                   for path in (SOURCE / "egress" / folder).glob("*.cpp")]
        self.assertEqual(len(ours), len(sources), "only the library's sources are compiled")

    def test_works_through_fetch_content(self):
        build = self.build_parent("fetching", PARENT % README_FETCH + EMBED_IN_PARENT)
        self.expect_embed_works(build / "embed")

    def test_the_parent_can_enable_the_self_check(self):
        build = self.build_parent("checking", PARENT % f"""
set(EGRESS_BUILD_SELFCHECK ON)
{README_ADD}
egress_add_selfcheck_test()
egress_add_selfcheck_test(NAME by-another-name)
""")
        self.expect_all_pass(build, ["egress-selfcheck", "by-another-name"])

    def test_adding_the_self_check_test_fails_if_the_self_check_is_not_built(self):
        folder = fresh_folder("selfcheck-not-built")
        (folder / "CMakeLists.txt").write_text(
            PARENT % f'add_subdirectory("{SOURCE}" egress)\negress_add_selfcheck_test()')
        result = configure(folder, folder / "build", attempting=attempt)
        self.assertIn("set EGRESS_BUILD_SELFCHECK=ON before adding it",
                      " ".join(result.stdout.split()), show(result))
        self.assertNotEqual(result.returncode, 0)

    def test_a_host_library_does_not_export_symbols_of_static_egress(self):
        folder = fresh_folder("plugin-source")
        (folder / "plugin.cpp").write_text(
            '#include "egress/egress.h"\n'
            '__attribute__((visibility("default"))) std::size_t plugin() {\n'
            "  return egress::diagnoseEgress({}).members.size();\n}\n")
        build = self.build_parent("plugin", PARENT % f"""
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
{README_ADD}
""" + f'add_library(plugin SHARED "{folder}/plugin.cpp")\n'
      "target_link_libraries(plugin PRIVATE egress::egress)\n"
      "set_target_properties(plugin PROPERTIES CXX_VISIBILITY_PRESET hidden\n"
      "                      VISIBILITY_INLINES_HIDDEN ON)\n")
        names = [name for _, name in dynamic_symbols("--defined-only", build / "libplugin.so")]
        self.assertIn("plugin()", names)
        self.assertEqual([name for name in names if "egress::" in name], [])


class SelfcheckTest(PackageTest):
    def run_fake(self, script, checks=CHECKS):
        program = fresh_folder("fake") / "egress-selfcheck"
        program.write_text(f"#!/bin/sh\n{script}\n")
        program.chmod(0o755)
        return attempt("cmake", f"-Dprogram={program}", f"-Dchecks={checks}", "-P",
                       prefix_of("static") / "lib/cmake/egress/EgressRunSelfcheck.cmake")

    def test_passes_only_if_status_and_both_outputs_are_right(self):
        line = f"echo '{PASS.rstrip()}'"
        wrong_output = f"its standard output is not the one line '{PASS.rstrip()}'"
        rows = [
            (f"{line}; exit 1", ["its exit status is not 0 but 1"]),
            (f"{line}; kill -SEGV $$", ["its exit status is not 0 but Segmentation fault"]),
            (f"{line}; {line}", [wrong_output]),
            (f"echo FAIL: one thing; {line}", [wrong_output]),
            (f"echo 'PASS: {int(CHECKS) - 1} checks, 0 failures'", [wrong_output]),
            (f"echo 'PASS: {CHECKS}0 checks, 0 failures'", [wrong_output]),
            (f"printf '{PASS.rstrip()}'", [wrong_output]),
            (f"printf ' '; {line}", [wrong_output]),
            ("exit 0", [wrong_output]),
            (f"{line}; echo a warning >&2", ["its standard error is not empty"]),
            ("echo ';' >&2; exit 3", ["its exit status is not 0 but 3", wrong_output,
                                      "its standard error is not empty"]),
        ]
        result = self.run_fake(line)
        self.assertEqual((result.stdout, result.returncode), ("", 0), show(result))
        for script, wrong in rows:
            with self.subTest(script):
                result = self.run_fake(script)
                self.assertNotEqual(result.returncode, 0, show(result))
                self.assertIn(f"egress-selfcheck: {', '.join(wrong)}\n", result.stdout)

    def test_a_failure_shows_the_output(self):
        result = self.run_fake("echo 'FAIL: a  thing;'; echo oops >&2; exit 1")
        self.assertIn("-- standard output:\nFAIL: a  thing;\n\n-- standard error:\noops\n",
                      result.stdout)

    def test_a_missing_program_fails(self):
        result = self.run_fake("")
        shutil.rmtree(SCRATCH / "fake")
        result = attempt(*result.args)
        self.assertIn("No such file or directory", result.stdout)
        self.assertNotEqual(result.returncode, 0)

    def test_runs_with_the_cross_compiling_emulator(self):
        emulator = fresh_folder("emulator") / "emulator"
        emulator.write_text(f'#!/bin/sh\necho "$@" >>{emulator}.log\nshift\nexec "$@"\n')
        emulator.chmod(0o755)
        build = self.build_embed("emulated", f"-DCMAKE_PREFIX_PATH={prefix_of('static')}",
                                 f"-DCMAKE_CROSSCOMPILING_EMULATOR={emulator};--option")
        self.expect_all_pass(build, ["embed", "egress-selfcheck"])
        self.assertEqual(Path(f"{emulator}.log").read_text().splitlines(),
                         [f"--option {build}/embed",
                          f"--option {prefix_of('static')}/bin/egress-selfcheck"])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
