#!/usr/bin/python3
"""The metrics of egress-report, on a network with two uplinks, and the page about them."""

import json
import os
import re
import shutil
import stat
import subprocess
import time
import unittest

import network
from network import CLIENT, ENDPOINT4, PORT, Program, ip
from report_program import PROGRAM, SOURCE_DIR, ProgramTest

UP1, UP2 = "10.1.0.2", "10.2.0.2"
STATUSES = ["AGREES", "DISAGREES", "SETTLES", "SEVERAL", "NO_WAY_OUT", "TRYING", "NO_SOCKET", "UNKNOWN"]
SAMPLE = re.compile(r"(\w+)(?:\{(.*)\})? (\d+)")
LABEL = re.compile(r'(\w+)="((?:[^"\\]|\\.)*)"')
PAGE = (SOURCE_DIR / "docs/fleet.md").read_text()


def config(server=ENDPOINT4, **outbound):
    leaf = {"tag": "proxy", "type": "trojan", "server": server, "server_port": PORT} | outbound
    return json.dumps({"route": {"auto_detect_interface": True}, "outbounds": [leaf]})


class MetricsCase(ProgramTest):
    def setUp(self):
        super().setUp()
        self.metrics = self.folder / "egress.prom"

    def engine(self, *lines):
        engine = Program("engine", CLIENT, "engine", *lines)
        self.addCleanup(engine.end)
        return engine

    def run_it(self, *arguments, text=config(), process=("--process", "engine"), before=()):
        return self.run_program(*process, "--config", "-", "--prometheus", self.metrics, *arguments, text=text,
                                before=(*network.inside("engine"), *before))

    def samples(self):
        """The value of each sample, by name and labels, of a text that promtool accepts."""
        text = self.metrics.read_text()
        if shutil.which("promtool") is not None:
            check = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True,
                                   encoding="utf-8", check=False)
            self.assertEqual((check.returncode, check.stdout, check.stderr), (0, "", ""), text)
        return self.parsed(text)

    def parsed(self, text):
        """The value of each sample. Every sample has HELP and TYPE before it."""
        found, described = {}, None
        for line in text.splitlines():
            if line.startswith("# "):
                _, kind, described, words = line.split(" ", 3)
                self.assertTrue(words == "gauge" if kind == "TYPE" else words.endswith("."), line)
                continue
            name, labels, value = SAMPLE.fullmatch(line).groups()
            self.assertEqual(name, described)
            key = (name, *(f"{label}={content}" for label, content in LABEL.findall(labels or "")))
            self.assertNotIn(key, found)
            found[key] = int(value)
        return found

    def assert_samples(self, result, status, check, interface=None, failures=()):
        self.assertEqual(result.status, status, result.error)
        found = self.samples()
        self.assertEqual(found["egress_outcome",], status)
        self.assertEqual([found["egress_cross_check", f"status={word}"] for word in STATUSES],
                         [int(word == check) for word in STATUSES])
        named = [key[1] for key in found if key[0] == "egress_selected_interface"]
        self.assertEqual(named, [] if interface is None else [f"interface={interface}"])
        self.assertEqual({key[1].removeprefix("kind=") for key, value in found.items()
                          if key[0] == "egress_failure" and value == 1}, set(failures))
        self.assertLess(abs(found["egress_last_run_timestamp_seconds",] - time.time()), 3600)
        return found


class MetricsTest(MetricsCase):
    def test_a_connection_that_agrees(self):
        self.engine(f"tcp {UP1} {ENDPOINT4} {PORT}", f"udp {UP2} {ENDPOINT4} {PORT}")
        result = self.run_it()
        found = self.assert_samples(result, 0, "AGREES", "up1")
        self.assertEqual(found["egress_last_success_timestamp_seconds",],
                         found["egress_last_run_timestamp_seconds",])
        self.assertEqual([found["egress_sockets", f"role={role}"]
                          for role in ("COUNTED", "TRYING", "NOT_COUNTED")], [1, 0, 1])
        words, = [key[1:] for key in found if key[0] == "egress_info"]
        self.assertEqual(list(words), [
            "config_status=OK", "policy=" + result.report["egressSelectionPolicy"],
            "active_endpoint_status=OK", "selection_status=OK", "interfaces_status=OK",
            "default_routes_status=OK", "socket_sources_status=OK", "cross_check=AGREES"])
        self.assertEqual(found["egress_build_info", "version=" + os.environ["EGRESS_VERSION"]], 1)
        self.assertEqual(stat.S_IMODE(self.metrics.stat().st_mode), 0o644)

    def test_a_connection_that_is_contradicted(self):
        self.engine(f"tcp {UP2} {ENDPOINT4} {PORT}")
        self.assert_samples(self.run_it(), 1, "DISAGREES", "up1")

    def test_nothing_but_interfaces_names_what_is_private(self):
        self.engine(f"tcp {UP1} {ENDPOINT4} {PORT}")
        self.run_it("--main", "secret tag", text=config(tag="secret tag"))
        text = self.metrics.read_text()
        self.assertIn('interface="up1"', text)
        for private in ("secret", UP1, ENDPOINT4, f"{PORT}"):
            self.assertNotIn(private, re.sub(r"_seconds \d+", "", text))

    def test_failures(self):
        self.engine(f"tcp {UP1} {ENDPOINT4} {PORT}")
        selector = config(type="selector")
        refused = self.run_it("--ask", "http://127.0.0.1:9/{tag}", text=selector)
        self.assert_samples(refused, 1, "UNKNOWN", failures=["query"])
        unknown = self.run_it("--resolve", "system", text=config("name.invalid"))
        self.assert_samples(unknown, 1, "UNKNOWN", failures=["address"])
        nobody = self.run_it(process=("--process", "nobody"))
        self.assert_cannot_run(nobody, "nobody")
        found = self.samples()
        self.assertEqual((found["egress_outcome",], found["egress_failure", "kind=process"]), (2, 1))

    def test_the_last_success_is_kept(self):
        self.engine(f"tcp {UP1} {ENDPOINT4} {PORT}")
        self.run_it()
        text = self.metrics.read_text()
        success = ("egress_last_success_timestamp_seconds",)
        self.metrics.write_text(re.sub(r"(last_success\w+) \d+", r"\1 12345", text))
        self.run_it(text=config("203.0.113.77"))
        self.assertEqual(self.samples()[success], 12345)
        self.run_it(process=("--process", "nobody"))
        self.assertEqual(self.samples()[success], 12345)
        self.run_it()
        self.assertGreater(self.samples()[success], 12345)

    def test_an_old_file_that_is_damaged(self):
        self.engine()
        name = "egress_last_success_timestamp_seconds"
        for old in ("", f"{name}", f"{name} ", f"{name} -1", f"{name} 1x", f"{name}  1", f"{name}_x 1",
                    f"{name} 99999999999999999999", f"x {name} 1", "\0\xff" * 50000, f"# {name} 1"):
            with self.subTest(old[:60]):
                self.metrics.write_text(old + "\n")
                self.assertEqual(self.run_it().status, 1)
                self.assertNotIn((name,), self.samples())

    def test_names_are_escaped(self):
        name = 'u"\\é🚀'
        for words in (["link", "add", name, "type", "veth", "peer", "name", "peer"],
                      ["address", "add", "10.9.0.2/24", "dev", name],
                      ["link", "set", name, "up"], ["link", "set", "peer", "up"]):
            network.command(*network.inside("engine"), "ip", *words)
        self.addCleanup(ip, "engine", "link del peer")
        self.engine(f"udp 10.9.0.2 10.9.0.1 {PORT}")
        self.assert_samples(self.run_it("--udp", text=config("10.9.0.1")), 0, "AGREES",
                            name.replace("\\", "\\\\").replace('"', '\\"'))

    def test_a_file_that_cannot_be_written(self):
        self.engine(f"tcp {UP1} {ENDPOINT4} {PORT}")
        self.metrics.mkdir()
        self.assert_not_saved(self.run_it(), "--prometheus: cannot write ", "Is a directory")
        self.metrics.rmdir()
        self.metrics.symlink_to(self.folder / "other")
        self.assert_not_saved(self.run_it(), "--prometheus: ", "a symbolic link, not a regular file")
        self.assertEqual([path.name for path in self.folder.iterdir()], ["egress.prom"])

    def test_the_file_is_as_it_was_if_the_input_is_unusable(self):
        self.engine()
        self.metrics.write_text("old\n")
        self.assert_cannot_run(self.run_it("--answers", "/nonexistent"), "--answers")
        self.assertEqual(self.metrics.read_text(), "old\n")
        self.assertEqual([path.name for path in self.folder.iterdir()], ["egress.prom"])


class WatchTest(MetricsCase):
    def wait_for(self, sample, value):
        for _ in range(3000):
            if self.metrics.exists() and self.parsed(self.metrics.read_text()).get(sample) == value:
                return
            time.sleep(0.01)
        self.fail(f"{sample} is not {value}: {self.metrics.exists() and self.metrics.read_text()}")

    def watch(self, *before):
        path = self.file("config.json", config())
        process = subprocess.Popen(
            [*network.inside("engine"), *before, PROGRAM, "--process", "engine", "--config", path, "--watch",
             "1", "--prometheus", self.metrics], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def test_each_round_writes_them(self):
        engine = Program("engine", CLIENT, "engine", f"tcp {UP1} {ENDPOINT4} {PORT}")
        process = self.watch()
        self.wait_for(("egress_outcome",), 0)
        success = self.samples()["egress_last_success_timestamp_seconds",]
        engine.end()
        self.wait_for(("egress_failure", "kind=process"), 1)
        self.assertGreaterEqual(self.samples()["egress_last_success_timestamp_seconds",], success)
        self.assertEqual(self.samples()["egress_outcome",], 3)
        process.terminate()
        self.assertEqual(process.wait(), 3)
        self.assertEqual({path.name for path in self.folder.iterdir()}, {"egress.prom", "config.json"})

    def test_root_may_write_into_a_folder_of_another_user(self):
        if os.getuid() != 0:
            self.skipTest("needs root")
        self.engine(f"tcp {UP1} {ENDPOINT4} {PORT}")
        try:
            os.chown(self.folder, network.OTHER_USER, network.OTHER_USER)
        except OSError:
            self.skipTest("cannot give a folder to another user")
        self.folder.chmod(0o755)
        self.watch()
        self.wait_for(("egress_outcome",), 0)

    def test_a_file_that_cannot_be_written_is_said_once(self):
        self.engine(f"tcp {UP1} {ENDPOINT4} {PORT}")
        self.metrics.mkdir()
        process = self.watch()
        self.assertRegex(process.stderr.readline(), "process ")
        self.assertIn("--prometheus: cannot write ", process.stderr.readline())
        time.sleep(2.5)  # more rounds
        process.terminate()
        self.assertEqual(process.wait(), 0)
        self.assertEqual(process.stderr.read(), "")


def blocks(language):
    return re.findall(rf"^```{language}\n(.*?)^```", PAGE, re.DOTALL | re.MULTILINE)


def host(name, check, outcome, interface=None, age=0):
    """The series of one host at ten minutes after the start."""
    labels = f'instance="{name}"'
    rows = [(f"egress_outcome{{{labels}}}", outcome),
            (f"egress_last_run_timestamp_seconds{{{labels}}}", 1200 - age)]
    rows += [(f'egress_cross_check{{{labels},status="{word}"}}', int(word == check)) for word in STATUSES]
    if interface:
        rows.append((f'egress_selected_interface{{{labels},interface="{interface}"}}', 1))
    return [{"series": series, "values": f"{value}x60"} for series, value in rows]


class PageTest(ProgramTest):
    def need(self, program):
        if shutil.which(program) is None:
            self.skipTest(f"{program} is not installed")

    def test_the_queries_give_the_hosts(self):
        self.need("promtool")
        wanted = [["a up1", "b up1", "c up2"], ["c"], ["d", "e", "f"]]
        queries = blocks("promql")
        self.assertEqual(len(queries), len(wanted))
        hosts = [host("a", "AGREES", 0, "up1"), host("b", "SETTLES", 0, "up1"),
                 host("c", "DISAGREES", 1, "up2"), host("d", "UNKNOWN", 3), host("e", "NO_SOCKET", 1),
                 host("f", "AGREES", 0, age=900)]
        tests = []
        for query, names in zip(queries, wanted):
            tests.append({"expr": f"count by (instance, interface) ({query})", "eval_time": "20m", "exp_samples": [
                {"labels": "{" + ", ".join(f'{label}="{value}"' for label, value in
                                           zip(["instance", "interface"], name.split())) + "}",
                 "value": 1} for name in names]})
        rules = self.file("test.yml", json.dumps({
            "evaluation_interval": "1m",
            "tests": [{"interval": "1m", "input_series": [row for rows in hosts for row in rows],
                       "promql_expr_test": tests}]}))
        result = subprocess.run(["promtool", "test", "rules", rules], capture_output=True, text=True,
                                check=False)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_systemd_accepts_the_units(self):
        self.need("systemd-analyze")
        service, timer = blocks("ini")
        program = self.file("egress-report", "#!/bin/sh\n")
        program.chmod(0o755)
        self.file("egress-report.service", service.replace("/usr/bin/egress-report", str(program)))
        self.file("egress-report.timer", timer)
        for unit in ("egress-report.service", "egress-report.timer"):
            result = subprocess.run(["systemd-analyze", "verify", self.folder / unit], capture_output=True,
                                    text=True, check=False)
            own = [line for line in result.stderr.splitlines() if "egress-report" in line]
            self.assertEqual(own, [], result.stderr)

    def test_the_command_has_options_of_the_program(self):
        service, _ = blocks("ini")
        known = self.run_program("--help", output="").output
        for option in re.findall(r" (--[a-z-]+)", service):
            self.assertRegex(known, rf"\n  {option}[ \[]")

    def test_the_table_has_the_metrics(self):
        source = (SOURCE_DIR / "apps/report/metrics.cpp").read_text()
        self.assertEqual(set(re.findall(r"`(egress_\w+)", PAGE)), set(re.findall(r'"(egress_\w+)"', source)))


if __name__ == "__main__":
    network.run_tests(prepare=network.route_by_destination_alone)
