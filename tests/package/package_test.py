#!/usr/bin/python3
"""Builds and installs the project with static and shared libraries, and uses it in host projects.

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

import hardening

SOURCE = Path(__file__).resolve().parents[2]
EMBED = SOURCE / "examples" / "embed"
CONSUMER = Path(__file__).with_name("consumer")  # of the libraries above the core
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

# The libraries, each with the list of the symbols that it exports; those in C are always shared.
CPP_LIBRARIES = {"egress": "exported_symbols.txt",
                 "egress-snapshot": "exported_symbols_snapshot.txt",
                 "egress-live": "exported_symbols_live.txt"}
C_LIBRARIES = {"egress-c": "exported_symbols_c.txt",
               "egress-c-live": "exported_symbols_c_live.txt"}
LIBRARIES = CPP_LIBRARIES | C_LIBRARIES
SHARED_LIBRARIES = {"static": C_LIBRARIES, "shared": LIBRARIES}  # by the kind of those in C++
PROGRAMS = ["egress-selfcheck", "egress-report"]

# In place of the page that scripts/wasm builds.
PAGE = '<script type="application/json" id="snapshot"></script>\n'

# A flag of EGRESS_HARDEN.
HARDENING = re.compile("stack-protector|stack-clash|cf-protection|FORTIFY|prefix-map|relro|-pie|-z,")

# Installed with each library and the programs, besides the libraries.
FILES = {
    "egress": """
        include/egress/egress.h include/egress/export.h include/egress/version.h
        include/egress/config/config_defects.h include/egress/config/numeric_address.h
        include/egress/config/protocols.h include/egress/config/proxy_config.h
        include/egress/config/selector_answer.h include/egress/core/diagnose_egress.h
        include/egress/core/diagnosis.h include/egress/core/diagnosis_input.h
        include/egress/core/egress_report.h include/egress/core/report_table.h
        include/egress/core/status_words.h include/egress/core/write_report.h
        include/egress/json/json_fault.h include/egress/json/json_kind.h
        lib/cmake/egress/EgressRunSelfcheck.cmake lib/cmake/egress/EgressSelfcheck.cmake
        lib/cmake/egress/egressConfig.cmake lib/cmake/egress/egressConfigVersion.cmake
        lib/cmake/egress/egressTargets-release.cmake lib/cmake/egress/egressTargets.cmake
        lib/pkgconfig/egress.pc
        share/doc/egress/compatibility.md share/doc/egress/details.schema.json
        share/doc/egress/egress-report.md share/doc/egress/fleet.md
        share/doc/egress/host-contract.md share/doc/egress/report.schema.json
        share/doc/egress/security.md share/doc/egress/snapshot.schema.json
        share/doc/egress/status-words.md share/doc/egress/support-desk.md
        share/doc/egress/troubleshooting.md share/doc/egress/viewer.md""".split(),
    "egress-snapshot": """
        include/egress_snapshot/anonymize.h include/egress_snapshot/blank_config.h
        include/egress_snapshot/cross_check.h include/egress_snapshot/details_json.h
        include/egress_snapshot/diagnose_snapshot.h include/egress_snapshot/explanations.h
        include/egress_snapshot/explanations_json.h
        include/egress_snapshot/export.h include/egress_snapshot/host_snapshot.h
        include/egress_snapshot/json_fault_json.h
        include/egress_snapshot/json_layout.h include/egress_snapshot/main_tags.h
        include/egress_snapshot/refusal.h
        include/egress_snapshot/report_json.h
        include/egress_snapshot/selector_answers_json.h
        include/egress_snapshot/snapshot_from_texts.h include/egress_snapshot/snapshot_json.h
        lib/cmake/egress/egress_snapshotTargets-release.cmake
        lib/cmake/egress/egress_snapshotTargets.cmake lib/pkgconfig/egress-snapshot.pc""".split(),
    "egress-live": """
        include/egress_live/ask_engine.h include/egress_live/change_monitor.h
        include/egress_live/enter_network.h include/egress_live/export.h
        include/egress_live/look_up_routes.h include/egress_live/packet_observer.h
        include/egress_live/resolve_server.h
        include/egress_live/take_snapshot.h
        lib/cmake/egress/egress_liveTargets-release.cmake
        lib/cmake/egress/egress_liveTargets.cmake lib/pkgconfig/egress-live.pc""".split(),
    "egress-c": """
        include/egress_c/egress.h lib/cmake/egress/egress_cTargets-release.cmake
        lib/cmake/egress/egress_cTargets.cmake lib/pkgconfig/egress-c.pc""".split(),
    "egress-c-live": """
        include/egress_c_live/egress_live.h lib/cmake/egress/egress_c_liveTargets-release.cmake
        lib/cmake/egress/egress_c_liveTargets.cmake lib/pkgconfig/egress-c-live.pc""".split(),
    "programs": [f"bin/{name}" for name in PROGRAMS] + [
        "share/man/man1/egress-selfcheck.1", "share/man/man1/egress-report.1",
        "share/bash-completion/completions/egress-report",
        "share/zsh/site-functions/_egress-report",
        "share/fish/vendor_completions.d/egress-report.fish", "share/egress/egress-viewer.html"],
}


def library_files(kind, name):
    if kind == "static" and name in CPP_LIBRARIES:
        return [f"lib/lib{name}.a"]
    return [f"lib/lib{name}.so{version}" for version in ["", ".1", ".1.0.0"]]


def expected_files(kind):
    files = [file for group in FILES.values() for file in group]
    files += [file for name in LIBRARIES for file in library_files(kind, name)]
    if kind == "static":
        files.append("lib/cmake/egress/EgressFindLiveLibraries.cmake")
    return sorted(files)


def attempt(*command, **environment):
    """Runs a command. stdout also contains its standard error."""
    return subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, check=False,
                          env=ENVIRONMENT | environment)


def pkg_config_path(libdir):
    """Our directory before the system's, which have libmnl, libpcap and libcurl."""
    system = run("pkg-config", "--variable=pc_path", "pkg-config").strip()
    return f"{libdir}/pkgconfig:{system}"


def show(result):
    return f"$ {' '.join(result.args)}\n{result.stdout}exit status: {result.returncode}"


def run(*command, **environment):
    """Runs a command that must succeed; returns its output."""
    result = attempt(*command, **environment)
    if result.returncode != 0:
        raise AssertionError(f"command failed:\n{show(result)}")
    return result.stdout


def configure(source, build, *settings, attempting=run, **environment):
    return attempting("cmake", "-S", source, "-B", build, "-G", "Ninja",
                      f"-DCMAKE_CXX_COMPILER={COMPILER}", "-DCMAKE_BUILD_TYPE=Release", *settings,
                      **environment)


def build_project(kind, libdir):
    shared = "ON" if kind == "shared" else "OFF"
    configure(SOURCE, SCRATCH / kind, "-DEGRESS_BUILD_TESTS=OFF", "-DEGRESS_BUILD_SNAPSHOT=ON",
              "-DEGRESS_BUILD_LIVE=ON", "-DEGRESS_BUILD_REPORT=ON",
              f"-DBUILD_SHARED_LIBS={shared}", f"-DCMAKE_INSTALL_LIBDIR={libdir}",
              f"-DCMAKE_INSTALL_PREFIX={prefix_of(kind)}", "-DEGRESS_HARDEN=ON",
              # The self-check as it is released; not with shared libraries.
              "-DEGRESS_LINK_SELFCHECK_STATICALLY=ON",
              f"-DEGRESS_VIEWER_PAGE={SCRATCH / 'page.html'}",
              # Debug information has paths.
              "-DCMAKE_CXX_FLAGS=-g1")
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
README_FIND, README_FIND_COMPONENTS, README_ADD, README_FETCH = readme_blocks("cmake")
README_COMPILE, README_PYTHON = readme_blocks("sh")


def dynamic_symbols(option, file):
    """The type and name of each symbol, sorted by name."""
    lines = run("nm", "-D", "-C", option, file).splitlines()
    found = [re.fullmatch(r"[0-9a-f ]*([a-zA-Z]) (.*)", line).groups() for line in lines]
    return sorted(found, key=lambda symbol: symbol[1])


def setUpModule():
    SCRATCH.mkdir(parents=True, exist_ok=True)
    (SCRATCH / "page.html").write_text(PAGE)
    for kind in KINDS:
        build_project(kind, "lib")
        install(kind, prefix_of(kind))


class PackageTest(unittest.TestCase):
    maxDiff = None

    def expect_embed_works(self, program, **environment):
        self.assertEqual(run(program, **environment), readme_blocks("text")[0])

    def expect_linked_as(self, kind, program, function="egress::diagnoseEgress"):
        uses = any(name.startswith(f"{function}(")
                   for _, name in dynamic_symbols("--undefined-only", program))
        self.assertEqual(uses, kind == "shared", f"{program} links the shared library")

    def expect_consumer_works(self, kind, snapshot_program, live_program, **environment):
        """Checks the two programs of tests/package/consumer."""
        self.expect_linked_as(kind, snapshot_program, "egress::snapshot::snapshotFromJson")
        self.expect_linked_as(kind, live_program, "egress::live::takeSnapshot")
        snapshot, report = json.loads(run(snapshot_program, **environment))
        self.assertEqual(snapshot["selectorHint"], "a tag")
        self.assertEqual(report["configStatus"], "NO_CONFIG")
        # A chroot may have no /proc.
        expected = "snapshot taken\n" if Path("/proc/self/fd").exists() else "no snapshot: "
        self.assertTrue(run(live_program, **environment).startswith(expected))

    def expect_c_example_works(self, program, **environment):
        text = '{"format": "egress-snapshot", "version": 1}'
        result = subprocess.run([program], input=text, text=True, capture_output=True, check=False,
                                env=ENVIRONMENT | environment)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(json.loads(result.stdout)["configStatus"], "NO_CONFIG")

    def expect_programs_work(self, prefix):
        self.assertEqual(run(prefix / "bin" / "egress-selfcheck"), PASS)
        snapshot = fresh_folder("snapshot") / "snapshot.json"
        snapshot.write_text('{"format": "egress-snapshot", "version": 1}')
        result = attempt(prefix / "bin" / "egress-report", "--snapshot", snapshot, "--json")
        self.assertEqual(result.returncode, 1, show(result))
        self.assertEqual(json.loads(result.stdout)["configStatus"], "NO_CONFIG")
        page = attempt(prefix / "bin" / "egress-report", "--snapshot", snapshot, "--html", "-")
        self.assertIn('"format": "egress-snapshot"', page.stdout, show(page))

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


def find_components(name, prefix, arguments, **environment):
    """What find_package(egress ARGUMENTS) brings: "found TARGETS" or "refused: MESSAGE"."""
    folder = SCRATCH / name
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "CMakeLists.txt").write_text("""\
cmake_minimum_required(VERSION 3.25)
project(components LANGUAGES CXX)
find_package(egress CONFIG QUIET ${arguments})
foreach(target IN ITEMS egress selfcheck snapshot live c c_live)
  if(TARGET egress::${target})
    list(APPEND targets ${target})
  endif()
endforeach()
if(egress_FOUND)
  message(NOTICE "found ${targets}")
else()
  message(NOTICE "refused: ${egress_NOT_FOUND_MESSAGE}")
endif()
""")
    output = configure(folder, folder / "build", f"-Darguments={arguments}",
                       f"-DCMAKE_PREFIX_PATH={prefix}", **environment)
    return re.search("^(found|refused:) .*", output, re.MULTILINE)[0]


class InstalledTest(PackageTest):
    def test_installs_exactly_the_listed_files(self):
        for kind in KINDS:
            with self.subTest(kind):
                self.assertEqual(installed_files(prefix_of(kind)), expected_files(kind))

    def test_no_file_for_a_host_build_mentions_the_json_library(self):
        for kind in KINDS:
            for file in installed_files(prefix_of(kind)):
                if re.match("include/|lib/(cmake|pkgconfig)/", file):
                    with self.subTest(kind=kind, file=file):
                        self.assertNotIn("nlohmann", (prefix_of(kind) / file).read_text())

    def test_the_pages_refer_to_each_other(self):
        folder = prefix_of("static") / "share/doc/egress"
        links = [link for page in folder.glob("*.md")
                 for link in re.findall(r"\]\(([^)#/:]+)", page.read_text())]
        self.assertIn("report.schema.json", links)
        self.assertEqual([link for link in links if not (folder / link).exists()], [])

    def test_installs_nothing_unless_everything_was_built(self):
        prefix = fresh_folder("incomplete") / "prefix"
        for kind in KINDS:
            pages = [f"egress-report.{format_}" for format_ in ["man", "bash", "zsh", "fish"]]
            libraries = [Path(library_files(kind, name)[-1]).name for name in LIBRARIES]
            files = [*PROGRAMS, *pages, *libraries]
            for file in files:
                with self.subTest(kind=kind, file=file):
                    built, = (SCRATCH / kind).rglob(file)
                    hidden = built.rename(f"{built}.hidden")
                    try:
                        result = attempt("cmake", "--install", SCRATCH / kind, "--prefix", prefix)
                    finally:
                        hidden.rename(built)
                    self.assertNotEqual(result.returncode, 0, show(result))
                    message = " ".join(result.stdout.split())
                    self.assertIn(f"'{built}' was not built, so nothing was installed", message)
                    self.assertIn(f"cmake --build '{SCRATCH / kind}'", message)
                    self.assertFalse(prefix.exists())

    def test_no_file_contains_a_path_of_the_build(self):
        for kind in KINDS:
            prefix = prefix_of(kind)
            for file in installed_files(prefix):
                content = (prefix / file).read_bytes()
                for place in [SOURCE, SCRATCH / kind, prefix]:
                    with self.subTest(kind=kind, file=file):
                        self.assertNotIn(str(place).encode(), content)

    def test_the_shared_libraries_export_exactly_the_listed_symbols(self):
        for kind, libraries in SHARED_LIBRARIES.items():
            for name, symbols in libraries.items():
                with self.subTest(kind=kind, name=name):
                    library = prefix_of(kind) / "lib" / f"lib{name}.so"
                    listed = Path(__file__).with_name(symbols).read_text().splitlines()
                    self.assertEqual(dynamic_symbols("--defined-only", library),
                                     [("T", symbol) for symbol in listed])

    def test_the_soname_contains_the_major_version(self):
        for kind, libraries in SHARED_LIBRARIES.items():
            for name in libraries:
                with self.subTest(kind=kind, name=name):
                    headers = run("objdump", "-p", prefix_of(kind) / "lib" / f"lib{name}.so")
                    self.assertRegex(headers, rf"SONAME +lib{name}\.so\.1\n")

    def test_the_shared_libraries_find_each_other(self):
        for kind, libraries in SHARED_LIBRARIES.items():
            moved = self.move_installation(kind)
            for name in libraries:
                with self.subTest(kind=kind, name=name):
                    library = moved / "lib" / f"lib{name}.so.1"
                    self.assertNotIn("not found", run("ldd", library))


class HardenedTest(PackageTest):
    """What EGRESS_HARDEN promises, on Linux."""

    def linked_files(self, kind):
        files = [f"bin/{name}" for name in PROGRAMS]
        files += [library_files(kind, name)[-1] for name in SHARED_LIBRARIES[kind]]
        return [prefix_of(kind) / file for file in files]

    def archives(self):
        return [prefix_of("static") / file for name in CPP_LIBRARIES
                for file in library_files("static", name)]

    def test_programs_and_libraries_are_position_independent_and_bound_at_their_start(self):
        for kind in KINDS:
            for file in self.linked_files(kind):
                with self.subTest(kind=kind, file=file):
                    self.assertEqual(hardening.weaknesses(file), [])

    def test_the_static_self_check_is_hardened_although_nothing_loads_it(self):
        for kind in KINDS:
            with self.subTest(kind):
                file = prefix_of(kind) / "bin/egress-selfcheck"
                self.assertEqual(hardening.has_interpreter(file), kind == "shared")

    def test_libraries_are_searched_only_relative_to_the_installation(self):
        for kind in KINDS:
            for file in self.linked_files(kind):
                with self.subTest(kind=kind, file=file):
                    path = ["$ORIGIN"]
                    if file.parent.name == "bin":
                        path = ["$ORIGIN/../lib"] if kind == "shared" else []
                    self.assertEqual(hardening.library_paths(file), path)

    def test_the_stack_is_protected(self):
        files = [*self.archives(), *self.linked_files("static"), *self.linked_files("shared")]
        for file in files:
            with self.subTest(file):
                self.assertIn("__stack_chk_fail", hardening.names(file))

    def test_calls_of_the_c_library_check_the_sizes_of_buffers(self):
        compiler = hardening.Compiler(COMPILER, SCRATCH)
        if not compiler.fortifies_printing():
            self.skipTest(f"{COMPILER} fortifies no call that the program makes")
        for kind in KINDS:
            with self.subTest(kind):
                self.assertNotEqual(hardening.fortified(prefix_of(kind) / "bin/egress-report"), set())

    def test_jumps_and_returns_are_protected(self):
        compiler = hardening.Compiler(COMPILER, SCRATCH)
        if not compiler.protects_control_flow():
            self.skipTest(f"{COMPILER} cannot protect the control flow on this processor")
        files = self.archives()
        if compiler.start_files_protect_control_flow():
            files += [*self.linked_files("static"), *self.linked_files("shared")]
        for file in files:
            with self.subTest(file):
                self.assertTrue(hardening.has_control_flow_protection(file))

    def test_no_file_for_a_host_build_has_a_flag_of_it(self):
        for kind in KINDS:
            for file in installed_files(prefix_of(kind)):
                if re.match("lib/(cmake|pkgconfig)/", file):
                    with self.subTest(kind=kind, file=file):
                        self.assertNotRegex((prefix_of(kind) / file).read_text(), HARDENING)


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
                self.expect_programs_work(moved)
                build = self.build_embed(f"{kind}-found-moved", f"-DCMAKE_PREFIX_PATH={moved}")
                self.expect_embed_works(build / "embed")
                self.expect_all_pass(build, ["embed", "egress-selfcheck"])
                self.expect_components_work(kind, moved)

    def test_the_components_work_with_either_library(self):
        for kind in KINDS:
            with self.subTest(kind):
                self.expect_components_work(kind, prefix_of(kind))

    def expect_components_work(self, kind, prefix):
        self.assertIn(README_FIND_COMPONENTS, (CONSUMER / "CMakeLists.txt").read_text())
        build = fresh_folder("consumer")
        configure(CONSUMER, build, f"-DCMAKE_PREFIX_PATH={prefix}")
        run("cmake", "--build", build)
        self.expect_consumer_works(kind, build / "use_snapshot", build / "use_live")

    def test_a_project_in_c_uses_the_library_in_c(self):
        for kind in KINDS:
            with self.subTest(kind):
                build = fresh_folder("c-example")
                configure(SOURCE / "examples/c", build, f"-DCMAKE_PREFIX_PATH={prefix_of(kind)}")
                run("cmake", "--build", build)
                self.expect_c_example_works(build / "report")

    def test_brings_the_targets_of_the_components_that_are_asked_for(self):
        core = ["egress", "selfcheck"]
        rows = [
            ("", core),
            ("COMPONENTS;snapshot", [*core, "snapshot"]),
            ("COMPONENTS;live", [*core, "snapshot", "live"]),
            ("COMPONENTS;c", [*core, "snapshot", "c"]),
            ("COMPONENTS;c_live", [*core, "c", "c_live"]),
            ("OPTIONAL_COMPONENTS;liv;snapshot", [*core, "snapshot"]),
        ]
        for arguments, targets in rows:
            with self.subTest(arguments):
                self.assertEqual(find_components("components", prefix_of("static"), arguments),
                                 f"found {';'.join(targets)}")

    def test_refuses_an_unknown_component(self):
        answer = find_components("unknown", prefix_of("static"), "COMPONENTS;live;liv")
        self.assertEqual(answer, "refused: Component 'liv' does not exist; "
                                 "the components are snapshot, live, c and c_live.")

    def test_only_the_static_live_library_needs_other_libraries(self):
        none = {"PKG_CONFIG_LIBDIR": str(fresh_folder("no-libraries"))}
        core = "found egress;selfcheck"
        rows = [
            ("static", "COMPONENTS;live",
             "refused: Component 'live' needs libmnl 1.0.4, libpcap 1.10 and libcurl 7.87 "
             "(Debian: pkg-config libmnl-dev libpcap-dev libcurl4-openssl-dev)."),
            ("static", "", core),
            ("static", "OPTIONAL_COMPONENTS;live", core),
            ("static", "COMPONENTS;snapshot", f"{core};snapshot"),
            ("static", "COMPONENTS;c_live", f"{core};c;c_live"),
            ("shared", "COMPONENTS;live", f"{core};snapshot;live"),
            ("shared", "COMPONENTS;c_live", f"{core};snapshot;live;c;c_live"),
        ]
        for kind, arguments, answer in rows:
            with self.subTest(kind=kind, arguments=arguments):
                self.assertEqual(
                    find_components(f"no-libraries/{kind}", prefix_of(kind), arguments, **none),
                    answer)

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
    def ask(self, prefix, option, name="egress"):
        return run("pkg-config", option, name, PKG_CONFIG_LIBDIR=pkg_config_path(prefix / "lib"))

    def compile(self, source, name, prefix, libdir="lib"):
        """Compiles a program with README's command, in which c++ is COMPILER, for a library."""
        folder = fresh_folder(f"pkg-config-{name}")
        shutil.copy(source, folder / "main.cpp")
        (folder / "c++").symlink_to(shutil.which(COMPILER))
        command = README_COMPILE.replace(" egress)", f" {name})")
        self.assertIn(f" {name})", command)
        run("sh", "-c", f"cd '{folder}' && {command}", PATH=f"{folder}:{ENVIRONMENT['PATH']}",
            PKG_CONFIG_LIBDIR=pkg_config_path(prefix / libdir))
        return folder / "a.out"

    def compile_embed(self, prefix, libdir="lib"):
        return self.compile(EMBED / "main.cpp", "egress", prefix, libdir)

    def expect_components_work(self, kind, prefix):
        programs = [self.compile(CONSUMER / f"use_{name}.cpp", f"egress-{name}", prefix)
                    for name in ["snapshot", "live"]]
        self.expect_consumer_works(kind, *programs, LD_LIBRARY_PATH=str(prefix / "lib"))

    def test_works_with_either_library(self):
        for kind in KINDS:
            with self.subTest(kind):
                program = self.compile_embed(prefix_of(kind))
                self.expect_linked_as(kind, program)
                self.expect_shared_flag_if_shared(kind, self.ask(prefix_of(kind), "--cflags"))
                self.expect_embed_works(program, LD_LIBRARY_PATH=str(prefix_of(kind) / "lib"))
                self.expect_components_work(kind, prefix_of(kind))

    def test_only_the_static_live_library_needs_other_libraries(self):
        for kind in KINDS:
            with self.subTest(kind):
                requires = self.ask(prefix_of(kind), "--print-requires", "egress-live")
                for name in ["libmnl", "libpcap", "libcurl"]:
                    self.assertEqual(name in requires, kind == "static", requires)

    def test_works_after_the_installation_was_moved(self):
        for kind in KINDS:
            with self.subTest(kind):
                moved = self.move_installation(kind)
                program = self.compile_embed(moved)
                self.expect_embed_works(program, LD_LIBRARY_PATH=str(moved / "lib"))
                self.expect_components_work(kind, moved)

    def test_works_with_a_nested_library_directory(self):
        libdir = "lib/some/where"
        self.addCleanup(build_project, "shared", "lib")
        build_project("shared", libdir)
        prefix = install("shared", SCRATCH / "nested-prefix")
        self.expect_programs_work(prefix)
        program = self.compile_embed(prefix, libdir)
        self.expect_embed_works(program, LD_LIBRARY_PATH=str(prefix / libdir))

    def test_the_library_in_c_needs_no_compiler_for_cpp(self):
        for kind in KINDS:
            with self.subTest(kind):
                folder = fresh_folder("pkg-config-c")
                lib = prefix_of(kind) / "lib"
                flags = run("pkg-config", "--cflags", "--libs", "egress-c",
                            PKG_CONFIG_LIBDIR=lib / "pkgconfig").split()
                run("cc", SOURCE / "examples/c/report.c", "-o", folder / "report", *flags,
                    f"-Wl,-rpath-link,{lib}")
                self.expect_c_example_works(folder / "report", LD_LIBRARY_PATH=str(lib))

    def test_the_command_of_readme_runs_the_program_in_python(self):
        record = fresh_folder("python") / "record.json"
        record.write_text('{"format": "egress-snapshot", "version": 1}')
        for kind in KINDS:
            with self.subTest(kind):
                command = README_PYTHON.replace("PREFIX", str(prefix_of(kind)))
                report = run("sh", "-c", f"cd {SOURCE} && {command.replace('FILE', str(record))}")
                self.assertEqual(json.loads(report)["configStatus"], "NO_CONFIG")

    def test_has_the_version(self):
        for name in LIBRARIES:
            with self.subTest(name):
                self.assertEqual(self.ask(prefix_of("static"), "--modversion", name), "1.0.0\n")


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
ENABLE_LIBRARIES = "set(EGRESS_BUILD_SNAPSHOT ON)\nset(EGRESS_BUILD_LIVE ON)\n"
CONSUMER_IN_PARENT = "".join(f"""
add_executable(use_{name} "{CONSUMER}/use_{name}.cpp")
target_link_libraries(use_{name} PRIVATE egress::{name})
""" for name in ["snapshot", "live"])


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
                    f"-DBUILD_SHARED_LIBS={shared}", "-DEGRESS_HARDEN=ON",
                    "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")
                self.expect_embed_works(build / "embed")
                self.expect_linked_as(kind, build / "embed")
                self.expect_only_own_cache_variables(build)
                self.expect_only_own_flags(build)
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

    def expect_only_own_flags(self, build):
        """No warnings in our code, no hardening in the parent's."""
        commands = json.loads((build / "compile_commands.json").read_text())
        ours, theirs = [], []
        for entry in commands:
            is_ours = "/egress-diagnosis/egress/" in entry["file"]
            (ours if is_ours else theirs).append(entry["command"])
        self.assertEqual([command for command in ours if " -W" in command], [])
        self.assertEqual([command for command in ours if HARDENING.search(command) is None], [])
        self.assertEqual([command for command in theirs if HARDENING.search(command)], [])
        self.assertEqual(len(theirs), 1, "the parent has one source")
        sources = [path for folder in ("json", "config", "core")
                   for path in (SOURCE / "egress" / folder).glob("*.cpp")]
        self.assertEqual(len(ours), len(sources), "only the library's sources are compiled")

    def test_works_through_fetch_content_with_the_other_static_libraries(self):
        build = self.build_parent(
            "fetching",
            PARENT % (ENABLE_LIBRARIES + README_FETCH) + EMBED_IN_PARENT + CONSUMER_IN_PARENT,
            "-DCMAKE_BUILD_TYPE=Debug")
        self.expect_embed_works(build / "embed")
        self.expect_consumer_works("static", build / "use_snapshot", build / "use_live")

    def test_the_parent_can_enable_the_self_check_and_the_other_shared_libraries(self):
        build = self.build_parent("checking", PARENT % f"""
set(EGRESS_BUILD_SELFCHECK ON)
{ENABLE_LIBRARIES}{README_ADD}
egress_add_selfcheck_test()
egress_add_selfcheck_test(NAME by-another-name)
""" + CONSUMER_IN_PARENT, "-DBUILD_SHARED_LIBS=ON", "-DCMAKE_BUILD_TYPE=Debug")
        self.expect_all_pass(build, ["egress-selfcheck", "by-another-name"])
        self.expect_consumer_works("shared", build / "use_snapshot", build / "use_live")

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


    def test_a_component_that_was_not_built_is_refused(self):
        build = self.build_parent("static-parent", PARENT % README_ADD + EMBED_IN_PARENT,
                                  "-DEGRESS_INSTALL=ON")
        prefix = install("static-parent/build", SCRATCH / "core-prefix")
        self.assertEqual(installed_files(prefix),
                         sorted(FILES["egress"] + library_files("static", "egress")))
        for component, options in [("snapshot", "EGRESS_BUILD_SNAPSHOT=ON"),
                                   ("live", "EGRESS_BUILD_LIVE=ON"), ("c", "EGRESS_BUILD_C=ON"),
                                   ("c_live", "EGRESS_BUILD_C=ON and EGRESS_BUILD_LIVE=ON")]:
            with self.subTest(component):
                answer = find_components("not-built", prefix, f"COMPONENTS;{component}")
                self.assertEqual(answer, f"refused: Component '{component}' was not built; "
                                         f"build egress with {options}.")
        answer = find_components("not-built", prefix, "OPTIONAL_COMPONENTS;live")
        self.assertEqual(answer, "found egress")


class LayersTest(PackageTest):
    """Which layers are built where a library is missing."""

    NO_JSON = "-DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON"
    NO_CLI = "-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON"
    NO_PKG_CONFIG = "-DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON"
    FOLDERS = ["egress_snapshot", "egress_c", "egress_live", "egress_c_live", "apps/report"]
    JSON = "nlohmann-json 3.11 (Debian: nlohmann-json3-dev)"
    LIVE = "libmnl 1.0.4, libpcap 1.10 and libcurl 7.87 " \
           "(Debian: pkg-config libmnl-dev libpcap-dev libcurl4-openssl-dev)"
    CLI = "CLI11 2.1 and libcap-ng 0.8 (Debian: pkg-config libcli11-dev libcap-ng-dev)"

    def configure(self, *settings, libraries=True):
        folder = fresh_folder("layers")
        invisible = {} if libraries else {"PKG_CONFIG_LIBDIR": str(folder)}
        result = configure(SOURCE, folder, "-DEGRESS_BUILD_TESTS=OFF", *settings,
                           attempting=attempt, **invisible)
        return result, [name for name in self.FOLDERS if (folder / name).is_dir()]

    def test_a_layer_without_its_library_is_left_out_with_those_above(self):
        no_snapshot = "egress::snapshot, egress::c, egress::live and egress-report: " \
                      f"needs {self.JSON}"
        no_live = "egress::live and egress-report: needs"
        no_report = f"egress-report: needs {self.CLI}"
        rows = [
            ([], True, 5, []),
            ([self.NO_JSON], True, 0, [no_snapshot]),
            ([], False, 2, [f"{no_live} {self.LIVE}", no_report]),
            ([self.NO_PKG_CONFIG], True, 2, [f"{no_live} {self.LIVE}", no_report]),
            ([self.NO_CLI], True, 4, [no_report]),
            ([self.NO_JSON, self.NO_CLI], False, 0,
             [no_snapshot, f"{no_live} {self.LIVE}", no_report]),
            (["-DCMAKE_SYSTEM_NAME=FreeBSD"], True, 2, [f"{no_live} Linux"]),
            # Left out on request.
            (["-DEGRESS_BUILD_SNAPSHOT=OFF"], False, 0, []),
            (["-DEGRESS_BUILD_LIVE=OFF", self.NO_CLI], True, 2, []),
        ]
        for settings, libraries, layers, lines in rows:
            with self.subTest(settings=settings, libraries=libraries):
                result, built = self.configure(*settings, libraries=libraries)
                self.assertEqual(result.returncode, 0, show(result))
                self.assertEqual(built, self.FOLDERS[:layers])
                left_out = re.findall("^-- Not building (.*)", result.stdout, re.MULTILINE)
                self.assertEqual(left_out, lines)

    def test_a_layer_that_is_asked_for_and_cannot_be_built_is_an_error(self):
        rows = [
            (["-DEGRESS_BUILD_SNAPSHOT=ON", self.NO_JSON], True,
             f"EGRESS_BUILD_SNAPSHOT=ON needs {self.JSON}"),
            (["-DEGRESS_BUILD_LIVE=ON"], False, f"EGRESS_BUILD_LIVE=ON needs {self.LIVE}"),
            (["-DEGRESS_BUILD_LIVE=ON", "-DCMAKE_SYSTEM_NAME=FreeBSD"], True,
             "EGRESS_BUILD_LIVE=ON needs Linux"),
            (["-DEGRESS_BUILD_LIVE=ON", "-DEGRESS_BUILD_SNAPSHOT=OFF"], True,
             "EGRESS_BUILD_LIVE=ON needs EGRESS_BUILD_SNAPSHOT=ON"),
            (["-DEGRESS_BUILD_REPORT=ON", self.NO_CLI], True,
             f"EGRESS_BUILD_REPORT=ON needs {self.CLI}"),
        ]
        for settings, libraries, message in rows:
            with self.subTest(settings=settings, libraries=libraries):
                result, _ = self.configure(*settings, libraries=libraries)
                self.assertNotEqual(result.returncode, 0, show(result))
                self.assertIn(message, " ".join(result.stdout.split()))


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
