#!/usr/bin/python3
"""The rights that egress-report gives up, and whose files it reads and writes."""

import json
import os
import re
import shutil
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

import network
from engine_server import PATH, Engine
from report_program import EMPTY_SNAPSHOT, HEALTHY_SNAPSHOT, PROGRAM, WARNINGS, ProgramTest

DROP_RIGHTS = os.environ["EGRESS_DROP_RIGHTS"]
FAULTY = os.environ["EGRESS_FAULTY_KERNEL"]

NOBODY = 65534
AS_NOBODY = ("setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups")
READER = "+sys_ptrace,+dac_read_search,+dac_override"
AS_READER = (*AS_NOBODY, f"--inh-caps={READER}", f"--ambient-caps={READER}")
# Without CAP_SETPCAP, the bounding set and the securebits cannot be changed.
AS_ROOT_WITHOUT_SETPCAP = ("setpriv", "--inh-caps=-all", "--bounding-set=-setpcap")

CAPABILITIES = ("CapInh", "CapPrm", "CapEff", "CapAmb")
NOROOT, NOROOT_LOCKED = 1, 2


def members(status):
    """The members of /proc/PID/status."""
    return dict(re.findall(r"^(\w+):\t(.*)$", status, re.MULTILINE))


class RightsTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.folder.chmod(0o755)

    def skip_unless_possible(self, before):
        try:
            network.command(*before, "true")
        except (OSError, RuntimeError) as reason:
            self.skipTest(str(reason))

    def rights_before(self, before):
        """The members of /proc/PID/status of a process with these rights."""
        self.skip_unless_possible(before)
        return members(network.command(*before, "cat", "/proc/self/status"))

    def assert_nothing_is_left(self, status):
        for name in CAPABILITIES:
            self.assertEqual(int(status[name], 16), 0, f"{name} {status[name]}")
        self.assertEqual(status["NoNewPrivs"], "1")
        self.assertEqual(len({*status["Uid"].split()}), 1)
        self.assertEqual(len({*status["Gid"].split()}), 1)


class DroppedTest(RightsTest):
    def dropped(self, *before):
        return members(network.command(*before, DROP_RIGHTS))

    def test_of_this_user(self):
        """Root in CI, an ordinary user elsewhere; both may have any capabilities."""
        status = self.dropped()
        self.assert_nothing_is_left(status)
        self.assertEqual(status["Uid"].split()[0], str(os.getuid()))

    def test_of_root(self):
        if int(self.rights_before(())["CapEff"], 16) & 1 << 8 == 0:
            self.skipTest("without CAP_SETPCAP")
        status = self.dropped()
        self.assert_nothing_is_left(status)
        self.assertEqual(int(status["CapBnd"], 16), 0)
        self.assertEqual(int(status["Securebits"]) & 3, NOROOT | NOROOT_LOCKED)

    def test_of_a_user_with_some(self):
        before = self.rights_before(AS_READER)
        self.assertNotEqual(int(before["CapEff"], 16), 0)
        self.assertNotEqual(int(before["CapAmb"], 16), 0)
        self.assert_nothing_is_left(self.dropped(*AS_READER))

    def test_of_a_user_with_none(self):
        self.skip_unless_possible(AS_NOBODY)
        self.assert_nothing_is_left(self.dropped(*AS_NOBODY))

    def test_of_root_that_may_not_change_the_bounding_set(self):
        before = self.rights_before(AS_ROOT_WITHOUT_SETPCAP)
        if int(before["CapEff"], 16) == 0:
            self.skipTest("without capabilities")
        status = self.dropped(*AS_ROOT_WITHOUT_SETPCAP)
        self.assert_nothing_is_left(status)
        self.assertNotEqual(int(status["CapBnd"], 16), 0)

    def test_of_a_program_that_sets_its_user(self):
        """A copy of the program whose file belongs to nobody."""
        if os.geteuid() != 0:
            self.skipTest("not as root")
        program = self.folder / "program"
        shutil.copy(DROP_RIGHTS, program)
        for mode, names in [(0o4755, ["Uid"]), (0o2755, ["Gid"]), (0o6755, ["Uid", "Gid"])]:
            os.chown(program, 0, 0)
            program.chmod(mode)
            with self.subTest(oct(mode)):
                shown = "/proc/self/status"
                probe = self.folder / "probe"
                shutil.copy(shutil.which("cat"), probe)
                probe.chmod(mode)
                status = members(network.command(*AS_NOBODY, probe, shown))
                if any(status[name].split()[1] != "0" for name in names):
                    self.skipTest(f"{self.folder} is mounted nosuid")
                status = members(network.command(*AS_NOBODY, program))
                self.assert_nothing_is_left(status)
                self.assertEqual(status["Uid"].split()[0], str(NOBODY))
                self.assertEqual(status["Gid"].split()[0], str(NOBODY))


class ProgramRightsTest(RightsTest):
    """The rights of the program after its input was parsed: it waits for the reader of its warnings."""

    def status_after_parsing(self, *arguments, before=()):
        with subprocess.Popen([*before, PROGRAM, *arguments, *WARNINGS], stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, text=True) as waiting:
            self.addCleanup(waiting.kill)
            self.assertIn("unknown-0", waiting.stderr.readline())
            with open(f"/proc/{waiting.pid}/status", encoding="ascii") as file:
                status = members(file.read())
            waiting.stderr.read()
        return status

    def test_live_and_from_a_file(self):
        given = self.snapshot_file(HEALTHY_SNAPSHOT)
        given.chmod(0o644)
        for before in ((), AS_NOBODY, AS_READER):
            with self.subTest(before):
                self.skip_unless_possible(before)
                for arguments in (["--snapshot", given], ["--pid", str(os.getpid())]):
                    self.assert_nothing_is_left(self.status_after_parsing(*arguments, before=before))

    def test_rights_that_cannot_be_given_up_are_an_error_before_anything_is_parsed(self):
        result = self.run_program("--snapshot", self.file("bad.json", "{"), program=FAULTY,
                                  env={**os.environ, "EGRESS_FAULT": "rights:kept"})
        if int(self.rights_before(())["CapPrm"], 16) == 0:
            self.assert_cannot_run(result, "bad.json", "cut off")
        else:
            self.assert_cannot_run(result, "cannot give up all capabilities")


class WhoseFilesTest(RightsTest):
    def setUp(self):
        super().setUp()
        if os.geteuid() != 0:
            self.skipTest("not as root")
        self.skip_unless_possible(AS_READER)
        self.given = self.snapshot_file(HEALTHY_SNAPSHOT)
        self.given.chmod(0o644)

    def owned_folder(self, owner):
        folder = self.folder / str(owner)
        folder.mkdir()
        os.chown(folder, owner, owner)
        folder.chmod(0o700)
        return folder

    def test_root_reads_files_of_every_user(self):
        config = self.file("config.json", "{}")
        os.chown(config, NOBODY, NOBODY)
        config.chmod(0o600)
        result = self.run_program("--snapshot", self.given, "--config", config)
        self.assertEqual((result.status, result.error), (1, ""))

    def test_root_saves_into_a_folder_of_another_user(self):
        path = self.owned_folder(NOBODY) / "saved.json"
        for _ in range(2):
            result = self.run_program("--snapshot", self.given, "--save-snapshot", path)
            self.assertEqual((result.status, result.error), (0, ""))
            self.assertEqual(os.listdir(path.parent), ["saved.json"])
            self.assertEqual((path.stat().st_uid, path.stat().st_mode & 0o777), (0, 0o600))
            os.chown(path, NOBODY, NOBODY)

    def test_another_user_reads_only_what_that_user_may(self):
        secret = self.file("secret.json", json.dumps(EMPTY_SNAPSHOT))
        secret.chmod(0o600)
        network.command(*AS_READER, "cat", secret)  # the capability would allow it
        for arguments in (["--snapshot", secret], ["--snapshot", self.given, "--config", secret],
                          ["--snapshot", self.given, "--answer", f"proxy={secret}"],
                          ["--pid", os.getpid(), "--config", secret]):
            with self.subTest(arguments):
                self.assert_cannot_run(self.run_program(*arguments, before=AS_READER),
                                       secret, "Permission denied")

    def test_another_user_writes_only_where_that_user_may(self):
        path = self.owned_folder(0) / "saved.json"
        network.command(*AS_READER, "touch", path)  # the capability would allow it
        path.unlink()
        self.assert_not_saved(self.run_program("--snapshot", self.given, "--save-snapshot", path,
                                                before=AS_READER), path, "Permission denied")
        self.assertEqual(os.listdir(path.parent), [])
        path = self.owned_folder(NOBODY) / "saved.json"
        result = self.run_program("--snapshot", self.given, "--save-snapshot", path, before=AS_READER)
        self.assertEqual((result.status, result.error), (0, ""))
        self.assertEqual((path.stat().st_uid, path.stat().st_mode & 0o777), (NOBODY, 0o600))

    def test_another_user_takes_sockets_with_the_capabilities(self):
        result = self.run_program("--pid", os.getpid(), before=AS_READER)
        self.assertEqual((result.report["socketSourcesStatus"], result.error), ("OK", ""))
        result = self.run_program("--pid", os.getpid(), before=AS_NOBODY)
        self.assertEqual(result.report["socketSourcesStatus"], "SOCKET_ENUM_FAILED")


class WhoseSocketTest(RightsTest):
    """An engine whose Unix socket only its user, nobody, may connect to."""

    CONFIG = json.dumps({"route": {"auto_detect_interface": True}, "outbounds": [
        {"tag": "proxy", "type": "selector"}, {"tag": "next", "type": "selector"},
        {"tag": "leaf", "type": "trojan", "server": "198.51.100.10", "server_port": 443}]})

    def setUp(self):
        super().setUp()
        if os.geteuid() != 0:
            self.skipTest("not as root")
        self.skip_unless_possible(AS_READER)
        self.config = self.file("config.json", self.CONFIG)

    def engine(self, behaviour="answers", folder_mode=0o755):
        """The engine and the path of its socket."""
        path = Path(tempfile.mkdtemp(dir=self.folder)) / "engine.sock"
        engine = Engine({"proxy": "next", "next": "leaf"}, behaviour, unix=path)
        self.addCleanup(engine.stop)
        for owned, mode in ((path, 0o600), (path.parent, folder_mode)):
            os.chown(owned, NOBODY, NOBODY)
            owned.chmod(mode)
        return engine, path

    def arguments(self, path):
        return ["--config", self.config, "--pid", str(os.getpid()), "--ask-unix", path,
                "--ask", f"http://localhost{PATH}"]

    def ask(self, *arguments, before=()):
        """The outcome and the reason of each query, and how often the engine was connected to."""
        engine, path = self.engine(*arguments)
        result = self.run_program(*self.arguments(path), before=before, output="--json=details")
        queries = [(row["outcome"], row["reason"].replace(str(path), "PATH"))
                   for row in result.report["input"]["queries"]]
        return queries, len(engine.connections)

    def test_root_connects_before_it_gives_up_its_rights(self):
        for folder_mode in (0o755, 0o700):
            with self.subTest(oct(folder_mode)):
                self.assertEqual(self.ask("answers", folder_mode), ([("ANSWERED", "")] * 2, 1))

    def test_root_cannot_connect_again(self):
        self.assertEqual(self.ask("answers, then closes"),
                         ([("ANSWERED", ""), ("FAILED", "permission denied at 'PATH'")], 1))

    def test_root_connects_in_each_round(self):
        engine, path = self.engine()
        with subprocess.Popen([PROGRAM, "--watch=1", *self.arguments(path)], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as watching:
            self.addCleanup(watching.kill)
            self.assertIn("asked: the engine for the choice of 'proxy' and 'next'\n",
                          watching.stdout.readline())
            while len(engine.requests) < 4:
                self.assertIsNone(watching.poll())
                time.sleep(0.01)
            watching.terminate()
        self.assertGreaterEqual(len(engine.connections), 2)

    def test_another_user_connects_only_where_that_user_may(self):
        as_another = ("setpriv", f"--reuid={NOBODY - 1}", *AS_READER[2:])
        refused = [("FAILED", "permission denied at 'PATH'")]
        self.assertEqual(self.ask(before=as_another), (refused, 0))
        self.assertEqual(self.ask(before=AS_NOBODY), ([("ANSWERED", "")] * 2, 1))


if __name__ == "__main__":
    unittest.main(verbosity=2)  # with the reason of each skip
