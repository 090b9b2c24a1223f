"""A shell on a pseudo-terminal, to which a test types."""

import os
import pty
import re
import select
import signal
import time


class Terminal:
    """Runs a shell until close(). Every wait ends with an AssertionError after a minute."""

    def __init__(self, command, folder):
        environment = {"PATH": os.environ["PATH"], "HOME": str(folder), "TERM": "dumb", "LC_ALL": "C",
                       "PS1": "% "}
        self.output = ""
        self.count = 0
        self.process, self.descriptor = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, environment)

    def close(self):
        os.kill(self.process, signal.SIGKILL)
        os.waitpid(self.process, 0)
        os.close(self.descriptor)

    def type(self, text):
        os.write(self.descriptor, text.encode())

    def wait_for(self, pattern):
        """The match of a pattern in the output since the last match."""
        end = time.monotonic() + 60
        while (match := re.search(pattern, self.output)) is None:
            left = end - time.monotonic()
            if left <= 0 or not select.select([self.descriptor], [], [], left)[0]:
                raise AssertionError(f"no {pattern!r} in {self.output!r}")
            self.output += os.read(self.descriptor, 65536).decode(errors="replace")
        self.output = self.output[match.end():]
        return match

    def run(self, command):
        """Types a command and waits until it has run."""
        self.count += 1
        self.type(f"{command}; echo ran-'{self.count}'\r")
        self.wait_for(f"ran-{self.count}\r?\n")

    def completed(self, line):
        """The words of a command line after a tab, as the shell passes them to a command."""
        self.count += 1
        # Control-A goes to the beginning of the line, control-E to the end.
        self.type(f"{line}\t\x01printf '<%s>' begin-'{self.count}' \x05 end-'{self.count}'\r")
        match = self.wait_for(f"<begin-{self.count}>(.*?)<end-{self.count}>")
        return re.findall("<(.*?)>", match[1])
