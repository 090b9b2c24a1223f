#!/usr/bin/python3
"""egress-report --watch on a network with two uplinks, in network namespaces."""

import fcntl
import json
import os
import re
import select
import signal
import subprocess
import termios
import time
from pathlib import Path

import network
from engine_server import Engine
from network import CLIENT, ENDPOINT4, PORT, Program, ip
from report_program import (IS_SANITIZED, PROGRAM, ProgramTest, details_schema_errors,
                            schema_errors)
from rights_test import AS_READER

UP1, UP2 = "10.1.0.2", "10.2.0.2"
TO_BOTH_PORTS = [f"tcp {UP1} {ENDPOINT4} {PORT}", f"tcp {UP2} {ENDPOINT4} {network.OTHER_PORT}"]
TO_FULL = ("sh", "-c", 'exec "$@" >/dev/full', "")
LIMIT = 60  # seconds to wait for what must come
NEVER = 3600  # seconds between two rounds, so that only changes start them
F_SETPIPE_SZ = 1031

# The engine of another test program: answers at port 9090, and has connections.
LISTENING_ENGINE = f"""
import sys
sys.path.insert(0, {str(Path(__file__).parent)!r})
from engine_server import Engine
Engine({{"proxy": "leaf"}}, port=9090)
""" + CLIENT + "\nimport os; os._exit(0)  # without waiting for the server's thread\n"


def leaf(server=ENDPOINT4, port=PORT, tag="proxy"):
    return {"tag": tag, "type": "trojan", "server": server, "server_port": port}


def config(*outbounds):
    return json.dumps({"route": {"auto_detect_interface": True}, "outbounds": outbounds})


SELECTOR = {"tag": "proxy", "type": "selector", "outbounds": ["leaf", "other"]}


def wait_until(condition, what):
    """Waits until a function returns a true value, and returns it."""
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        found = condition()
        if found:
            return found
        time.sleep(0.01)
    raise AssertionError(f"waited in vain until {what()}")


def children_of(pid):
    """The children of a process, also those that have ended and were not waited for."""
    found = []
    for folder in Path("/proc").glob("[0-9]*"):
        try:
            if int((folder / "stat").read_text().rpartition(")")[2].split()[1]) == pid:
                found.append(int(folder.name))
        except OSError:  # it has ended
            pass
    return found


def status_of(pid):
    """The members of /proc/PID/status."""
    return dict(re.findall(r"^(\w+):\t(.*)$", Path(f"/proc/{pid}/status").read_text(), re.MULTILINE))


def change_nothing_that_matters():
    """Lets the kernel announce a change that changes no answer."""
    ip("engine", "address add 192.0.2.1/32 dev lo")
    ip("engine", "address del 192.0.2.1/32 dev lo")


class Watching:
    """The program while it watches. The options are those of the program."""

    def __init__(self, folder, words, namespace="engine", before=(), standard_input=subprocess.DEVNULL,
                 pipe_size=None):
        self.errors_path = folder / f"errors-{time.monotonic_ns()}"
        with self.errors_path.open("wb") as errors:
            self.process = subprocess.Popen(
                [*network.inside(namespace), *before, PROGRAM, *map(str, words)], stdin=standard_input,
                stdout=subprocess.PIPE, stderr=errors, bufsize=0)
        self.output = self.process.stdout
        if pipe_size is not None:
            fcntl.fcntl(self.output, F_SETPIPE_SZ, pipe_size)
        self.rest = b""

    @property
    def pid(self):
        return self.process.pid

    def errors(self):
        return self.errors_path.read_text()

    def line(self):
        """The next line, without its end."""
        end = time.monotonic() + LIMIT
        while b"\n" not in self.rest:
            ready, _, _ = select.select([self.output], [], [], max(0, end - time.monotonic()))
            part = os.read(self.output.fileno(), 65536) if ready else b""
            if not part:
                raise AssertionError(f"no line: {self.rest!r}, {self.errors()}")
            self.rest += part
        line, _, self.rest = self.rest.partition(b"\n")
        return line.decode()

    def line_with(self, pattern):
        """The next line in which the pattern is found; a change may take several steps."""
        skipped = []
        while True:
            try:
                line = self.line()
            except AssertionError as error:
                raise AssertionError(f"no line with {pattern!r} after {skipped}: {error}") from error
            if re.search(pattern, line):
                return line
            skipped.append(line)

    def wait_for_error(self, text):
        wait_until(lambda: text in self.errors(), lambda: f"{text!r} is in {self.errors()!r}")

    def wait_for_child(self):
        return wait_until(lambda: children_of(self.pid), lambda: "a child runs")[0]

    def stop(self, number=signal.SIGTERM):
        """Sends a signal; returns the exit status and what else was printed."""
        self.process.send_signal(number)
        return self.end()

    def end(self):
        rest = []
        end = time.monotonic() + LIMIT
        while select.select([self.output], [], [], max(0, end - time.monotonic()))[0]:
            part = os.read(self.output.fileno(), 65536)
            if not part:
                break
            rest.append(part)
        return self.process.wait(LIMIT), (self.rest + b"".join(rest)).decode()

    def close(self):
        self.process.kill()
        self.process.wait()
        self.output.close()


class WatchTest(ProgramTest):
    def connect(self, *lines, name="engine", text=CLIENT):
        client = Program("engine", text, name, *lines or [f"tcp {UP1} {ENDPOINT4} {PORT}"])
        self.addCleanup(client.end)
        return client

    def watch(self, *words, choice=("--process", "engine"), seconds=NEVER, content=None, **options):
        """Starts the program on a configuration in self.config."""
        self.config = self.file("config.json", content or config(leaf()))
        watching = Watching(self.folder, [*choice, "--config", self.config, "--watch", seconds, *words],
                            **options)
        self.addCleanup(watching.close)
        return watching

    def ask_at(self, choices, behaviour="answers"):
        """An engine that answers at a Unix socket, and the options to ask it."""
        path = self.folder / "control"
        path.unlink(missing_ok=True)
        engine = Engine(choices, behaviour, unix=path)
        self.addCleanup(engine.stop)
        return engine

    def ask_options(self, timeout=60):
        return ["--ask", "http://engine/proxies/{tag}", "--ask-unix", self.folder / "control",
                "--ask-timeout", timeout]

    def run_rounds(self, engine, count):
        """Makes changes that change no answer until the engine was asked that many times more."""
        for _ in range(count):
            asked = len(engine.requests)
            change_nothing_that_matters()
            wait_until(lambda: len(engine.requests) > asked, lambda: "the engine is asked again")

    def assert_line(self, line, text):
        """The line is the time and the text."""
        self.assertRegex(line, r"\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ ")
        self.assertEqual(line.partition(" ")[2], text)

    def assert_stops(self, watching, status, number=signal.SIGTERM):
        self.assertEqual(watching.stop(number), (status, ""))
        self.assertEqual(children_of(watching.pid), [])


def leaves(uplink, more=""):
    return f"{uplink}: 1 TCP connection to {ENDPOINT4}:{PORT} leaves through it{more}."


class NetworkChangeTest(WatchTest):
    def test_a_link_that_goes_down_and_up(self):
        self.connect()
        watching = self.watch()
        self.assert_line(watching.line(), leaves("up1"))
        self.addCleanup(network.set_up, 1)
        ip("engine", "link set up1 down")
        # What is left is the default route of up2.
        self.assert_line(watching.line(), "up1 → " + leaves("up2", ", with the source address of up1"))
        network.set_up(1)
        self.assertTrue(watching.line_with(" up1: ").endswith(leaves("up1")))
        self.assert_stops(watching, 0)

    def test_an_address_that_moves_to_another_link(self):
        self.connect()
        watching = self.watch()
        self.assert_line(watching.line(), leaves("up1"))
        self.addCleanup(network.set_up, 1)
        self.addCleanup(ip, "engine", f"address add {UP1}/24 dev up1")
        ip("engine", f"address del {UP1}/24 dev up1")
        self.assertRegex(watching.line(), "Z up1 → no way out: ")
        ip("engine", f"address add {UP1}/32 dev up2")
        self.addCleanup(ip, "engine", f"address del {UP1}/32 dev up2")
        # Only the default route of up2 is left.
        self.assert_line(watching.line_with("up2"), "no way out → " + leaves("up2"))
        self.assert_stops(watching, 0)

    def test_a_route_that_changes(self):
        self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        watching = self.watch()
        self.assert_line(watching.line(), leaves("up2"))
        rule = "from 10.2.0.2 table 200"
        self.addCleanup(ip, "engine", f"rule add {rule}")
        ip("engine", f"rule del {rule}")
        self.assert_line(watching.line(), "up2 → " + leaves("up1", ", with the source address of up2"))
        ip("engine", f"route add {ENDPOINT4}/32 via 10.2.0.1 dev up2")
        self.addCleanup(ip, "engine", f"route del {ENDPOINT4}/32")
        self.assert_line(watching.line(), "up1 → " + leaves("up2"))
        self.assert_stops(watching, 0)

    def test_an_interface_that_is_deleted(self):
        network.create_uplink(3)
        self.connect(f"tcp 10.3.0.2 {ENDPOINT4} {PORT} device=up3")
        watching = self.watch()
        self.assert_line(watching.line(), leaves("up3"))
        ip("engine", "link del up3")
        self.assertRegex(watching.line(), "Z up3 → (no way out|unknown): ")
        self.assert_stops(watching, 1)

    def test_changes_in_the_network_namespace_of_the_process(self):
        client = self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        watching = self.watch(choice=["--pid", client.pid], namespace="server")
        self.assert_line(watching.line(), leaves("up2"))
        rule = "from 10.2.0.2 table 200"  # a change of a link would show at its end in the other one
        for _ in range(5):  # a change in the other namespace could start a round by chance
            ip("engine", f"rule del {rule}")
            self.assertTrue(watching.line().endswith(leaves("up1", ", with the source address of up2")))
            ip("engine", f"rule add {rule}")
            self.assert_line(watching.line(), "up1 → " + leaves("up2"))
        self.assertEqual(watching.errors(),
                         f"egress-report: entered the network namespace of process {client.pid}\n")
        self.assert_stops(watching, 0)


class EngineChangeTest(WatchTest):
    def test_an_engine_that_ends_and_comes_back(self):
        client = self.connect()
        watching = self.watch(seconds=1)
        self.assert_line(watching.line(), leaves("up1"))
        client.process.kill()
        client.process.wait()
        self.assert_line(watching.line(),
                         "up1 → unknown: the sockets of the engine cannot be listed: --process: no "
                         "process named 'engine' is visible to this user in this network namespace.")
        found = self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        self.assertRegex(watching.line_with("up2"), "Z (unknown|no connection) → " + leaves("up2"))
        self.assert_stops(watching, 0)
        # Each process is named once.
        self.assertEqual(re.findall(r"process (\d+), user", watching.errors()),
                         [str(client.pid), str(found.pid)])

    def test_an_engine_that_reconnects_through_another_interface(self):
        client = self.connect()
        watching = self.watch()
        self.assert_line(watching.line(), leaves("up1"))
        client.process.kill()
        client.process.wait()
        self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        change_nothing_that_matters()
        self.assert_line(watching.line(), "up1 → " + leaves("up2"))
        self.assert_stops(watching, 0)

    def test_a_listener_that_ends_and_comes_back(self):
        client = self.connect(text=LISTENING_ENGINE)
        watching = self.watch("--ask", "http://127.0.0.1:9090/proxies/{tag}", choice=(), seconds=1,
                              content=config(SELECTOR, leaf(tag="leaf")))
        self.assert_line(watching.line(),
                         f"engine: process {client.pid}, listening at 127.0.0.1:9090")
        self.assert_line(watching.line(), "asked: the engine for the choice of 'proxy'")
        self.assert_line(watching.line(), leaves("up1"))
        client.process.kill()
        client.process.wait()
        self.assert_line(watching.line(), "asked: the engine for the choice of 'proxy', in vain")
        self.assertRegex(watching.line(), "Z up1 → unknown: ")
        found = self.connect(text=LISTENING_ENGINE)
        self.assert_line(watching.line_with("engine: "),
                         f"engine: process {found.pid}, listening at 127.0.0.1:9090")
        self.assertTrue(watching.line_with("up1: ").endswith(leaves("up1")))
        self.assert_stops(watching, 0)
        self.assertEqual(watching.errors(), "")

    def test_an_engine_that_starts_later(self):
        watching = self.watch(seconds=1)
        self.assertRegex(watching.line(), "Z unknown: the sockets of the engine cannot be listed: ")
        self.connect()
        self.assertTrue(watching.line_with("up1").endswith(leaves("up1")))
        self.assert_stops(watching, 0)

    def test_a_control_address_that_comes_later(self):
        self.connect()
        watching = self.watch(*self.ask_options(), seconds=1,
                              content=config(SELECTOR, leaf(tag="leaf")))
        self.assert_line(watching.line(), "asked: the engine for the choice of 'proxy', in vain")
        self.assertRegex(watching.line(), "Z unknown: ")
        self.ask_at({"proxy": "leaf"})
        self.assert_line(watching.line(), "asked: the engine for the choice of 'proxy'")
        self.assert_line(watching.line(), "unknown → " + leaves("up1"))
        self.assert_stops(watching, 0)

    def test_another_choice_of_the_selector(self):
        self.connect(*TO_BOTH_PORTS)
        engine = self.ask_at({"proxy": "leaf"})
        watching = self.watch(*self.ask_options(), content=config(
            SELECTOR, leaf(tag="leaf"), leaf(tag="other", port=network.OTHER_PORT)))
        watching.line()  # that the engine was asked
        self.assert_line(watching.line(), leaves("up1"))
        engine.server.choices["proxy"] = "other"
        change_nothing_that_matters()
        self.assert_line(watching.line(), "up1 → " + leaves("up2").replace("443", "8443"))
        self.assert_stops(watching, 0)


class FileTest(WatchTest):
    def replace_config(self, content):
        self.file("new.json", content).rename(self.config)

    def test_a_configuration_that_changes(self):
        self.connect(*TO_BOTH_PORTS)
        watching = self.watch(seconds=1)
        self.assert_line(watching.line(), leaves("up1"))
        self.replace_config("// comment\n" + config(leaf(port=network.OTHER_PORT)))
        self.assert_line(watching.line(), "input: ignored in the configuration: 1 comment")
        self.assert_line(watching.line(), "up1 → " + leaves("up2").replace("443", "8443"))
        self.replace_config("{")
        self.assertRegex(watching.line(), "Z up2 → unknown: the configuration is not JSON: ")
        self.assert_stops(watching, 1)

    def test_a_configuration_that_cannot_be_read_any_more(self):
        self.connect()
        engine = self.ask_at({"proxy": "leaf"})
        watching = self.watch(*self.ask_options(), content=config(SELECTOR, leaf(tag="leaf")))
        watching.line_with("up1")
        self.config.unlink()
        self.run_rounds(engine, 3)
        gone = (f"egress-report: --config: cannot read '{self.config}': No such file or directory; "
                "still using what it was\n")
        self.assertEqual(watching.errors().count(gone), 1)
        self.replace_config(config(leaf(port=network.OTHER_PORT)))
        change_nothing_that_matters()
        self.assertRegex(watching.line_with("no connection"), "Z up1 → no connection: ")
        self.config.unlink()
        change_nothing_that_matters()
        wait_until(lambda: watching.errors().count(gone) == 2, watching.errors)
        self.assert_stops(watching, 1)

    def test_a_configuration_that_is_not_there_at_the_start(self):
        self.connect()
        watching = Watching(self.folder, ["--process", "engine", "--config", self.folder / "none",
                                          "--watch"])
        self.addCleanup(watching.close)
        self.assertEqual(watching.end(), (2, ""))
        self.assertIn("--config: cannot read", watching.errors())

    def test_what_can_be_read_once_is_read_once(self):
        self.connect()
        for path in ("-", "/dev/stdin"):
            with self.subTest(path):
                engine = self.ask_at({"proxy": "leaf"})
                reader, writer = os.pipe()
                os.write(writer, config(SELECTOR, leaf(tag="leaf")).encode())
                os.close(writer)
                words = ["--process", "engine", "--config", path, "--watch", NEVER]
                watching = Watching(self.folder, [*words, *self.ask_options()], standard_input=reader)
                self.addCleanup(watching.close)
                os.close(reader)
                watching.line_with("up1")
                self.run_rounds(engine, 2)
                self.assert_stops(watching, 0)

    def test_answers_that_cannot_be_used_any_more(self):
        self.connect()
        answers = self.file("answers.json", '{"proxy": {"now": "leaf"}}')
        watching = self.watch("--answers", answers, content=config(SELECTOR, leaf(tag="leaf")))
        self.assert_line(watching.line(), leaves("up1"))
        answers.write_text("[]")
        change_nothing_that_matters()
        watching.wait_for_error("--answers: ")
        self.assertEqual(watching.stop(), (2, ""))


    def test_rights_that_the_caller_does_not_have_open_no_file(self):
        """The program has capabilities, and another user than root calls it."""
        try:
            network.command(*AS_READER, "true")
        except (OSError, RuntimeError) as reason:
            self.skipTest(str(reason))
        client = self.connect()
        self.folder.chmod(0o755)
        path = self.file("config.json", config(leaf()))
        for mode, status in (0o600, 2), (0o644, 0):
            path.chmod(mode)
            watching = Watching(self.folder, ["--pid", client.pid, "--config", path, "--watch", NEVER],
                                before=AS_READER)
            self.addCleanup(watching.close)
            if status == 2:
                self.assertEqual(watching.end(), (2, ""))
                self.assertIn("Permission denied", watching.errors())
            else:
                self.assert_line(watching.line(), leaves("up1"))
                self.assert_stops(watching, 0)


class OutputTest(WatchTest):
    def watch_and_ask(self, *words):
        self.connect()
        engine = self.ask_at({"proxy": "leaf"})
        watching = self.watch(*self.ask_options(), *words, content=config(SELECTOR, leaf(tag="leaf")))
        wait_until(lambda: engine.requests, lambda: "the engine is asked")
        return engine, watching

    def test_nothing_is_printed_if_nothing_changes(self):
        for words, lines in ([], 2), (["--json"], 1), (["--json=details"], 1):
            with self.subTest(words):
                engine, watching = self.watch_and_ask(*words)
                for _ in range(lines):
                    watching.line()
                errors = watching.errors()
                self.run_rounds(engine, 5)
                self.assertEqual(watching.errors(), errors)
                client = self.connect()  # the number of connections is no change
                self.run_rounds(engine, 2)
                self.assert_stops(watching, 0)
                self.assertRegex(watching.errors().removeprefix(errors),
                                 rf"\Aegress-report: process {client.pid}, user [^\n]+\n\Z")

    def test_each_line_is_a_report(self):
        self.assert_each_line_is_valid("--json", schema_errors, lambda report: report)

    def test_each_line_is_an_object_with_details(self):
        self.assert_each_line_is_valid("--json=details", details_schema_errors,
                                       lambda details: details["report"])

    def assert_each_line_is_valid(self, option, errors_of, report_of):
        self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        watching = self.watch(option)
        rule = "from 10.2.0.2 table 200"
        found = []
        for change in (None, f"rule del {rule}", f"rule add {rule}", "link set up1 down"):
            if change == "link set up1 down":
                self.addCleanup(network.set_up, 1)
            if change:
                ip("engine", change)
            printed = json.loads(watching.line())
            self.assertEqual(errors_of(printed), [])
            report = report_of(printed)
            found.append((report["selectionStatus"], len(report["defaultRoutes"])))
        self.assertEqual({status for status, _ in found}, {"OK"})
        # The rule changes the cross-check alone; the link takes a route of each family with it.
        self.assertEqual(found[:3], [found[0]] * 3)
        self.assertLess(found[3][1], found[0][1])
        status, _ = watching.stop()
        self.assertEqual(status, 0)

    def test_notes_of_json_are_printed_once(self):
        engine, watching = self.watch_and_ask("--json")
        watching.line()
        asked = "egress-report: asked: the engine for the choice of 'proxy'"
        watching.wait_for_error(asked + "\n")
        self.run_rounds(engine, 2)
        engine.server.choices.clear()
        change_nothing_that_matters()
        watching.wait_for_error(asked + ", in vain\n")
        self.assertEqual(watching.errors().count(asked), 2)
        watching.line()
        self.assert_stops(watching, 1)

    def test_standard_output_is_closed(self):
        self.connect()
        result = self.run_program("--process", "engine", "--config", "-", "--watch", text=config(leaf()),
                                  before=(*network.inside("engine"), "sh", "-c", 'exec "$@" >&-', ""),
                                  output="", timeout=LIMIT)
        self.assertEqual((result.output, result.status), ("", 2))
        self.assertEqual(result.error,
                         "egress-report: cannot write to standard output: Bad file descriptor\n")

    def test_standard_output_is_full(self):
        self.connect()
        result = self.run_program("--process", "engine", "--config", "-", "--watch", text=config(leaf()),
                                  before=(*network.inside("engine"), *TO_FULL), output="", timeout=LIMIT)
        self.assertEqual((result.output, result.status), ("", 2))
        self.assertEqual(result.error,
                         "egress-report: cannot write to standard output: No space left on device\n")

    def test_the_reader_ends(self):
        self.connect()
        watching = self.watch()
        watching.line()
        watching.output.close()
        self.assertEqual(watching.process.wait(LIMIT), 2)
        self.assertIn("egress-report: cannot write to standard output: Broken pipe\n", watching.errors())

    def test_a_signal_while_nobody_reads(self):
        self.connect()
        tag = "x" * 50000
        answers = self.file("answers.json", json.dumps({"proxy": {"now": tag}}))
        selector = {"tag": "proxy", "type": "selector", "outbounds": [tag]}
        watching = self.watch("--json=details", "--answers", answers, pipe_size=4096,
                              content=config(selector, leaf(tag=tag)))

        def is_full():
            size = fcntl.ioctl(watching.output, termios.FIONREAD, b"\0\0\0\0")
            return int.from_bytes(size, "little") >= 4096

        wait_until(is_full, lambda: "the pipe is full")
        watching.process.send_signal(signal.SIGTERM)
        watching.process.wait(LIMIT)


class EndTest(WatchTest):
    def test_signals_and_statuses(self):
        """The status is that of the last round."""
        client = self.connect()
        for number in (signal.SIGINT, signal.SIGTERM):
            for choice, server, status in [("engine", ENDPOINT4, 0), ("engine", "203.0.113.99", 1),
                                           ("none", ENDPOINT4, 3)]:
                with self.subTest(number=number, status=status):
                    watching = self.watch(choice=("--process", choice), content=config(leaf(server)))
                    watching.line()
                    self.assert_stops(watching, status, number)
        client.process.kill()

    def test_the_status_changes(self):
        self.connect()
        watching = self.watch()
        watching.line()
        self.addCleanup(network.set_up, 1)
        ip("engine", "link set up1 down")
        self.assertRegex(watching.line(), "Z up1 → up2: ")
        self.assert_stops(watching, 1, signal.SIGINT)

    def test_a_signal_that_the_caller_ignores(self):
        self.connect()
        watching = self.watch(before=("sh", "-c", 'trap "" INT; exec "$@"', ""))
        watching.line()
        watching.process.send_signal(signal.SIGINT)
        self.addCleanup(network.set_up, 1)
        ip("engine", "link set up1 down")
        self.assertRegex(watching.line(), "Z up1 → up2: ")
        self.assert_stops(watching, 1)

    def watch_silent_engine(self):
        """The child of the second round waits for the engine."""
        self.connect()
        engine = self.ask_at({"proxy": "leaf"})
        watching = self.watch(*self.ask_options(), content=config(SELECTOR, leaf(tag="leaf")))
        watching.line_with("up1")
        wait_until(lambda: not children_of(watching.pid), lambda: "the child has ended")
        silent = self.silence(engine)
        change_nothing_that_matters()
        wait_until(lambda: len(engine.requests) == 2, lambda: "the engine is asked again")
        return engine, watching, silent

    def silence(self, engine):
        answers = engine.server.behaviour
        engine.server.behaviour = lambda handler, tag, choice: handler.server.stopping.wait()
        return answers

    def test_a_signal_while_the_child_waits(self):
        _, watching, _ = self.watch_silent_engine()
        child = watching.wait_for_child()
        self.assert_stops(watching, 0)
        self.assertFalse(Path(f"/proc/{child}").exists())

    def test_a_child_that_is_killed(self):
        engine, watching, answers = self.watch_silent_engine()
        os.kill(watching.wait_for_child(), signal.SIGKILL)
        watching.wait_for_error("egress-report: the process that diagnoses was killed by signal 9 "
                                "without an answer\n")
        wait_until(lambda: not children_of(watching.pid), lambda: "no child is left")
        engine.server.behaviour = answers
        engine.server.choices["proxy"] = "other"
        change_nothing_that_matters()
        self.assertRegex(watching.line(), "Z up1 → unknown: ")  # it goes on
        self.assert_stops(watching, 1)

    def test_the_status_of_a_round_that_failed(self):
        _, watching, _ = self.watch_silent_engine()
        os.kill(watching.wait_for_child(), signal.SIGKILL)
        watching.wait_for_error("killed by signal 9")
        self.assert_stops(watching, 2)

    def test_a_program_that_is_killed_leaves_no_child(self):
        _, watching, _ = self.watch_silent_engine()
        child = watching.wait_for_child()
        watching.process.kill()

        def has_ended():
            return not Path(f"/proc/{child}").exists() or status_of(child)["State"].startswith("Z")

        wait_until(has_ended, lambda: "the child has ended")

    def test_the_child_has_no_rights(self):
        _, watching, _ = self.watch_silent_engine()
        child = status_of(watching.wait_for_child())
        for name in ("CapInh", "CapPrm", "CapEff", "CapAmb"):
            self.assertEqual(int(child[name], 16), 0, name)
        self.assertEqual(child["NoNewPrivs"], "1")
        self.assertNotEqual(int(status_of(watching.pid)["CapEff"], 16), 0)
        self.assert_stops(watching, 0)

    def test_what_the_child_has_open(self):
        """The standard streams, the pipe and the connection to the engine."""
        _, watching, _ = self.watch_silent_engine()
        child = watching.wait_for_child()
        kinds = [os.readlink(path).partition(":")[0] for path in Path(f"/proc/{child}/fd").iterdir()
                 if int(path.name) > 2]
        self.assertNotIn("anon_inode", kinds)
        watched = {os.readlink(path) for path in Path(f"/proc/{watching.pid}/fd").iterdir()}
        shared = {os.readlink(path) for path in Path(f"/proc/{child}/fd").iterdir()} & watched
        self.assertEqual({name for name in shared if name.startswith("socket:")}, set())
        self.assert_stops(watching, 0)


class ManyRoundsTest(WatchTest):
    ROUNDS = 40

    def test_nothing_is_left_of_a_round(self):
        self.connect()
        engine = self.ask_at({"proxy": "leaf"})
        watching = self.watch(*self.ask_options(), content=config(SELECTOR, leaf(tag="leaf")))
        watching.line_with("up1")

        def left():
            wait_until(lambda: not children_of(watching.pid), lambda: "the child has ended")
            status = status_of(watching.pid)
            return (sorted(os.listdir(f"/proc/{watching.pid}/fd")), status["Threads"],
                    int(status["VmRSS"].split()[0]))

        self.run_rounds(engine, 10)
        *before, size = left()
        self.run_rounds(engine, self.ROUNDS)
        *after, larger = left()
        self.assertEqual(after, before)
        if not IS_SANITIZED:  # a sanitizer keeps freed memory for a while
            self.assertLess(larger, size + 512, "kB")
        self.assert_stops(watching, 0)


def prepare():
    # A handled signal has its default in new programs; a runner in the background may ignore it.
    signal.signal(signal.SIGINT, signal.default_int_handler)


if __name__ == "__main__":
    network.run_tests(prepare)
