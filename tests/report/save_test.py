#!/usr/bin/python3
"""How egress-report writes the file of --save-snapshot: whole or not at all."""

import json
import os
import resource
import signal
import socket
import stat
import subprocess
import time
import unittest
from pathlib import Path

import network
from report_program import EMPTY_SNAPSHOT, HEALTHY_SNAPSHOT, PROGRAM, WARNINGS, ProgramTest

OLD = "the old file"


def children_of(pid):
    """The processes that a process has started."""
    found = []
    for path in Path("/proc").glob("[0-9]*/stat"):
        try:
            fields = path.read_text().rpartition(")")[2].split()
        except OSError:  # it has ended
            continue
        if int(fields[1]) == pid:
            found.append(int(path.parent.name))
    return found


class SaveTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.given = self.snapshot_file(HEALTHY_SNAPSHOT)
        self.target_folder = self.folder / "target"
        self.target_folder.mkdir()
        self.path = self.target_folder / "saved.json"

    def save(self, path=None, *, given=None, **options):
        return self.run_program("--snapshot", given or self.given, "--save-snapshot", path or self.path,
                                **options)

    def wait_until(self, is_true):
        for _ in range(1000):
            if is_true():
                return
            time.sleep(0.01)
        self.fail("it did not become true in 10 seconds")

    def names(self):
        return sorted(os.listdir(self.target_folder))

    def assert_saved(self, path=None):
        snapshot = self.parsed_snapshot((path or self.path).read_text())
        self.assertEqual(self.diagnose_snapshot(snapshot).output, self.run_program(
            "--snapshot", self.given).output)

    def assert_untouched(self):
        """The old file is as it was, and nothing else is there, at the latest soon."""
        self.wait_until(lambda: self.names() == [self.path.name])
        self.assertEqual(self.path.read_text(), OLD)


class NewFileTest(SaveTest):
    def test_a_new_file(self):
        for path in (self.path, "saved.json", "./saved.json", "../target/saved.json",
                     f"{self.target_folder}//saved.json"):
            with self.subTest(path):
                result = self.save(path, cwd=self.target_folder)
                self.assertEqual((result.status, result.error), (0, ""))
                self.assert_saved()
                self.assertEqual(self.names(), ["saved.json"])
                self.path.unlink()

    def test_only_the_owner_can_read_it_whatever_the_umask(self):
        for umask in (0, 0o022, 0o777):
            with self.subTest(umask):
                self.path.unlink(missing_ok=True)
                self.assertEqual(self.save(umask=umask).status, 0)
                self.assertEqual(self.path.stat().st_mode, stat.S_IFREG | 0o600)

    def test_an_old_file_is_replaced_with_its_owner_and_mode(self):
        self.path.write_text(OLD)
        self.path.chmod(0o666)
        if os.geteuid() == 0:
            os.chown(self.path, 65534, 65534)
        before = self.path.stat()
        self.assertEqual(self.save().status, 0)
        after = self.path.stat()
        self.assertEqual((after.st_uid, after.st_gid, after.st_mode),
                         (os.geteuid(), os.getegid(), stat.S_IFREG | 0o600))
        self.assertNotEqual(after.st_ino, before.st_ino)

    def test_another_name_of_the_old_file_keeps_its_content(self):
        self.path.write_text(OLD)
        other = self.folder / "other"
        os.link(self.path, other)
        self.assertEqual(self.save().status, 0)
        self.assert_saved()
        self.assertEqual(other.read_text(), OLD)

    def test_the_file_that_is_read_may_be_replaced(self):
        self.path.write_text(self.given.read_text())
        self.assertEqual(self.save(given=self.path).status, 0)
        self.assert_saved()

    def test_a_folder_may_be_a_symbolic_link(self):
        link = self.folder / "link"
        link.symlink_to(self.target_folder)
        self.assertEqual(self.save(link / "saved.json").status, 0)
        self.assert_saved()

    def test_the_longest_name(self):
        path = self.target_folder / ("x" * 255)
        self.assertEqual(self.save(path).status, 0)
        self.assert_saved(path)
        self.assert_not_saved(self.save(f"{path}x"), "--save-snapshot", "File name too long")

    def test_closed_standard_streams(self):
        for closed, status in [("<&-", 0), ("2>&-", 0), (">&-", 2), ("<&- >&- 2>&-", 2)]:
            with self.subTest(closed):
                done = subprocess.run(
                    ["sh", "-c", f"'{PROGRAM}' --snapshot '{self.given}' --save-snapshot "
                     f"'{self.path}' {closed}"], capture_output=True, check=False)
                self.assertEqual(done.returncode, status)
                self.assert_saved()
                self.assertEqual(self.names(), ["saved.json"])
                self.path.unlink()


class RefusedTest(SaveTest):
    def assert_refused(self, kind):
        self.assert_not_saved(self.save(), f"--save-snapshot: cannot write '{self.path}': "
                               f"it is {kind}, not a regular file; use '--save-snapshot -' and "
                               "redirect standard output to it")

    def test_symbolic_links(self):
        secret = self.file("secret", OLD)
        for target in (secret, self.folder / "missing", self.path.name):
            with self.subTest(target):
                self.path.symlink_to(target)
                self.assert_refused("a symbolic link")
                self.assertTrue(self.path.is_symlink())
                self.assertEqual((secret.read_text(), self.names()), (OLD, [self.path.name]))
                self.assertFalse((self.folder / "missing").exists())
                self.path.unlink()

    def test_a_fifo(self):
        os.mkfifo(self.path)
        self.assert_refused("a FIFO")
        self.assertTrue(self.path.is_fifo())

    def test_a_socket(self):
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(str(self.path))
            self.assert_refused("a socket")
        self.assertTrue(self.path.is_socket())

    def test_a_device(self):
        """Not one of the system's own: a program with an error could replace it."""
        try:
            os.mknod(self.path, stat.S_IFCHR | 0o600, os.makedev(1, 3))
        except PermissionError as reason:
            self.skipTest(f"cannot create a device: {reason}")
        self.assert_refused("a device")
        self.assertTrue(self.path.is_char_device())

    def test_a_directory(self):
        for path in (self.target_folder, f"{self.target_folder}/", ".", ".."):
            with self.subTest(path):
                self.assert_not_saved(self.save(path, cwd=self.target_folder),
                                      "--save-snapshot: cannot write", "Is a directory")
        self.assertEqual(self.names(), [])

    def test_a_missing_folder(self):
        self.assert_not_saved(self.save(self.folder / "missing/saved.json"), "No such file")

    def test_a_folder_without_permission(self):
        self.path.write_text(OLD)
        self.target_folder.chmod(0o500)
        self.addCleanup(self.target_folder.chmod, 0o700)
        before = ("setpriv", "--bounding-set=-all", "--inh-caps=-all") if os.geteuid() == 0 else ()
        self.assert_not_saved(self.save(before=before), "--save-snapshot", "Permission denied")
        self.assert_untouched()


class FailureTest(SaveTest):
    """A failure leaves the old file and nothing else."""

    def setUp(self):
        super().setUp()
        self.path.write_text(OLD)

    def test_input_that_is_refused(self):
        self.assert_cannot_run(self.save(given=self.file("bad.json", "{")), "cut off")
        self.assert_untouched()

    def test_a_file_that_may_not_grow(self):
        result = self.save(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100)))
        self.assertEqual((result.status, result.output), (-signal.SIGXFSZ, ""))
        self.assert_untouched()

    def test_a_file_that_may_not_grow_with_the_signal_ignored(self):
        self.assert_not_saved(
            self.run_program("-c", f"ulimit -f 0; trap '' XFSZ; exec '{PROGRAM}' --snapshot "
                             f"'{self.given}' --save-snapshot '{self.path}' --json", program="bash", output=""),
            "--save-snapshot: cannot write", "File too large")
        self.assert_untouched()

    def test_a_full_disk(self):
        mount = ("unshare", "--mount", *(() if os.geteuid() == 0 else ("--map-root-user",)))
        script = f"mount -t tmpfs -o size=8k tmpfs '{self.target_folder}' && cd '{self.target_folder}'"
        try:
            network.command(*mount, "sh", "-c", script)
        except (OSError, RuntimeError) as reason:
            self.skipTest(str(reason))
        given = self.file("large.json", json.dumps(EMPTY_SNAPSHOT | {"selectorHint": "x" * 20000}))
        done = subprocess.run(
            [*mount, "sh", "-c", f"{script} && printf '{OLD}' >saved.json && '{PROGRAM}' --snapshot "
             f"'{given}' --save-snapshot saved.json >/dev/null; echo $?; ls -A; cat saved.json"],
            capture_output=True, text=True, check=False)
        self.assertEqual(done.stdout, f"2\nsaved.json\n{OLD}")
        self.assertIn("--save-snapshot: cannot write 'saved.json': No space left", done.stderr)


class WaitingTest(SaveTest):
    """The program waits for the reader of its warnings; the new file exists and is incomplete."""

    def setUp(self):
        super().setUp()
        self.path.write_text(OLD)
        self.waiting = subprocess.Popen(
            [PROGRAM, "--snapshot", self.given, "--save-snapshot", self.path, *WARNINGS],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, start_new_session=True)
        self.addCleanup(self.waiting.stderr.close)
        self.addCleanup(self.waiting.wait)
        self.addCleanup(self.waiting.kill)
        self.assertIn("unknown-0", self.waiting.stderr.readline())
        self.assertEqual(len(self.names()), 2)
        self.assertEqual(self.path.read_text(), OLD)

    def children(self):
        return children_of(self.waiting.pid)

    def finish(self):
        """Reads the warnings; returns the exit status and the last line."""
        error = self.waiting.stderr.read()
        return self.waiting.wait(), error.splitlines()[-1]

    def test_a_signal_leaves_the_old_file(self):
        self.waiting.terminate()
        self.assertEqual(self.waiting.wait(), -signal.SIGTERM)
        self.assert_untouched()

    def test_ctrl_c_leaves_the_old_file(self):
        os.killpg(self.waiting.pid, signal.SIGINT)
        self.assertEqual(self.waiting.wait(), -signal.SIGINT)
        self.assert_untouched()

    def test_sigkill_leaves_the_old_file(self):
        os.killpg(self.waiting.pid, signal.SIGKILL)
        self.assertEqual(self.waiting.wait(), -signal.SIGKILL)
        self.assert_untouched()

    def test_otherwise_the_new_file_replaces_it(self):
        self.assertEqual(self.finish()[0], 0)
        self.assertEqual(self.names(), [self.path.name])
        self.assertEqual(len(self.parsed_snapshot(self.path.read_text())["selectorAnswers"]), 5000)

    def test_the_process_that_renames_ignores_signals_and_holds_nothing(self):
        child, = self.children()
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGPIPE, signal.SIGUSR1):
            os.kill(child, number)
        self.assertEqual(sorted(os.listdir(f"/proc/{child}/fd")), ["0", "1"])
        self.assertEqual(self.finish()[0], 0)
        self.parsed_snapshot(self.path.read_text())
        self.assertFalse(Path(f"/proc/{child}").exists())

    def test_the_end_of_the_process_that_renames_is_an_error(self):
        child, = self.children()
        os.kill(child, signal.SIGKILL)
        status, line = self.finish()
        self.assertEqual(line, f"egress-report: --save-snapshot: cannot write '{self.path}': "
                               "the process that renames it was killed")
        self.assertEqual(status, 2)
        self.assertEqual(self.path.read_text(), OLD)

    def test_a_link_that_appears_later_is_replaced_and_not_followed(self):
        secret = self.file("secret", OLD)
        self.path.unlink()
        self.path.symlink_to(secret)
        self.assertEqual(self.finish()[0], 0)
        self.assertEqual(secret.read_text(), OLD)
        self.assertFalse(self.path.is_symlink())
        self.assertEqual(self.names(), [self.path.name])

    def test_a_directory_that_appears_later_is_an_error(self):
        self.path.unlink()
        self.path.mkdir()
        status, line = self.finish()
        self.assertEqual(line, f"egress-report: --save-snapshot: cannot write '{self.path}': "
                               "Is a directory")
        self.assertEqual((status, self.names()), (2, [self.path.name]))


if __name__ == "__main__":
    unittest.main(verbosity=2)  # with the reason of each skip
