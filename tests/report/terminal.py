"""Programs on a pseudo-terminal: one that writes to it, and a shell to which a test types."""

import fcntl
import os
import pty
import re
import select
import signal
import struct
import subprocess
import termios
import time


def output_on_terminal(command, streams=("stdout",), columns=80, **options):
    """What a command writes to a terminal, and its exit status. The other streams are discarded."""
    leader, follower = pty.openpty()
    fcntl.ioctl(follower, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
    chosen = {stream: follower if stream in streams else subprocess.DEVNULL
              for stream in ("stdin", "stdout", "stderr")}
    output = b""
    with subprocess.Popen(command, **chosen, **options) as process:
        ended = False
        # The follower stays open until all is read: a read at the moment when the last one is closed may
        # fail with EIO although there is more.
        while not ended:
            ended = process.poll() is not None
            while select.select([leader], [], [], 0.01)[0]:
                output += os.read(leader, 65536)
    os.close(follower)
    os.close(leader)
    return output.decode().replace("\r\n", "\n"), process.returncode


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
