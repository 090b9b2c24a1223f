#!/usr/bin/python3
"""How egress-report asks the system's resolver for the address of a server."""

import json
import os
import sys
import unittest

from report_program import ProgramTest


def configuration(server):
    return json.dumps({"route": {"auto_detect_interface": True}, "outbounds": [
        {"tag": "proxy", "type": "trojan", "server": server, "server_port": 443},
        {"tag": "other", "type": "trojan", "server": "other.invalid", "server_port": 443}]})


class ResolveTest(ProgramTest):
    def resolve(self, server, *arguments):
        """The details of this process, with this server in the configuration."""
        config = self.file("config.json", configuration(server))
        result = self.run_program("--config", config, "--pid", os.getpid(), "--resolve", "system",
                                  *arguments, output="--json=details")
        return result.report

    def test_adds_the_addresses_of_the_server(self):
        details = self.resolve("localhost")  # from /etc/hosts, or from the resolver itself
        names = details["input"]["resolvedNames"]
        self.assertEqual({(row["name"], row["source"]) for row in names}, {("localhost", "SYSTEM")})
        addresses = [row["address"] for row in names]
        self.assertLessEqual(set(addresses), {"127.0.0.1", "::1"})
        self.assertEqual(len(addresses), len(set(addresses)))
        self.assertEqual(details["report"]["activeEndpointStatus"], "OK")

    def test_says_why_a_name_has_no_address(self):
        # The empty part makes the resolver refuse it without asking a name server.
        details = self.resolve("server..invalid")
        self.assertEqual(details["input"]["resolvedNames"], [])
        fact, = details["missingFacts"]
        self.assertEqual(fact["fact"], "ADDRESS")
        self.assertRegex(fact["reason"], r"\Acannot resolve 'server\.\.invalid': \w")
        self.assertEqual(details["report"]["activeEndpointStatus"], "ENDPOINT_NOT_NUMERIC")

    def test_does_not_resolve_what_is_known(self):
        for server, arguments in [("203.0.113.5", []),
                                  ("server..invalid", ["--resolve", "server..invalid=203.0.113.5"])]:
            with self.subTest(server):
                details = self.resolve(server, *arguments)
                self.assertEqual([row["source"] for row in details["input"]["resolvedNames"]],
                                 ["CALLER"] * (len(arguments) // 2))
                self.assertEqual(details["missingFacts"], [])
                self.assertEqual(details["report"]["activeEndpointStatus"], "OK")


if __name__ == "__main__":
    sys.exit(unittest.main())
