"""oftab-switch at a pseudo-terminal: what an operator types, and what has to appear.

    terminal_test.py PROGRAM
"""
import os
import pty
import re
import select
import signal
import sys
import tempfile
import time
import unittest

PROGRAM = None
PROMPT = "oftab> "
CTRL_C, TAB = "\x03", "\t"
PATIENCE = 10  # seconds until something that has to appear is given up


class Terminal:
    """A run of the program at a terminal of its own, in a directory of its own."""

    def __init__(self, directory, *arguments, **environment):
        self.seen = ""
        self.process, self.master = pty.fork()
        if self.process == 0:
            os.chdir(directory)
            # The line editor keeps what it allocated when the program ends.
            variables = {"HOME": directory, "PATH": os.environ["PATH"], "TERM": "dumb",
                         "ASAN_OPTIONS": "detect_leaks=0", **environment}
            os.execve(PROGRAM, [PROGRAM, *arguments], variables)

    def expect(self, text=PROMPT):
        """Reads until `text` appears; what came up to it, plain."""
        deadline = time.monotonic() + PATIENCE
        while text not in self.seen:
            ready = select.select([self.master], [], [], max(0, deadline - time.monotonic()))[0]
            if not ready:
                raise AssertionError(f"{text!r} did not appear in {self.seen!r}")
            try:
                self.seen += re.sub("\x1b\\[[0-9;?]*[A-Za-z]", "", os.read(self.master, 65536).decode(errors="replace"))
            except OSError:
                raise AssertionError(f"the program ended before {text!r}: {self.seen!r}")
        before, self.seen = self.seen.split(text, 1)
        return before + text

    def type(self, keys):
        os.write(self.master, keys.encode())

    def run(self, line):
        """A command's output, up to the next prompt."""
        self.type(line + "\n")
        return self.expect()

    def status(self):
        """Waits for the end; the exit status, or minus the signal."""
        try:
            self.expect("no program says this")
        except AssertionError as error:
            if "ended before" not in str(error):
                raise
        return os.waitstatus_to_exitcode(os.waitpid(self.process, 0)[1])


class TerminalTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name

    def start(self, *arguments, **environment):
        terminal = Terminal(self.directory, *arguments, **environment)
        self.addCleanup(os.close, terminal.master)
        terminal.expect()
        return terminal

    def write(self, name, text):
        with open(os.path.join(self.directory, name), "w") as file:
            file.write(text)

    def leaves(self, terminal):
        """The switch is still there, with its one flow; it ends in order."""
        self.assertIn("1 flow\r\n", terminal.run("flows | tail -1"))
        terminal.type("quit\n")
        self.assertEqual(terminal.status(), 0)

    def test_what_cannot_be_run_loses_nothing(self):
        terminal = self.start()
        terminal.run("add-flow seq=1,actions=drop")
        for line, answer in (
            ('add-flow "tcp', "column 10: error: the closing quote is missing"),
            ("flows > /nowhere/at-all", "ended with status"),
            ("packet missing.pcap", "missing.pcap: No such file"),
            ("source .", ".: Is a directory"),
            ("tables | head -1", "Flows                1"),
            ("tables | true", PROMPT),
        ):
            self.assertIn(answer, terminal.run(line), line)
        self.leaves(terminal)

    def test_completion(self):
        self.write("two words.oftab", "echo two words ran\n")
        self.write("größe.oftab", "echo größe ran\n")
        terminal = self.start()
        terminal.run("add-flow seq=1,actions=drop")
        for typed, answer in (
            ("trace on fai", "trace on failures "),
            ("capacity co", "capacity counters "),
            ("catch-all n", "catch-all normal "),
            ("interface openflow 3 of", "interface openflow 3 off "),
            ("fault libsdk_l", "fault libsdk_l3_route_stats_"),
        ):
            terminal.type(typed + TAB)
            terminal.expect(answer)
            terminal.type(CTRL_C)
            terminal.expect()
        for typed, answer in (('source "two' + TAB, "two words ran"), ("source tw" + TAB, "two words ran"), ("source gr" + TAB, "größe ran")):
            terminal.type(typed + "\n")
            terminal.expect("\n" + answer)
            terminal.expect()
        self.leaves(terminal)

    def test_an_interrupt_ends_the_command(self):
        self.write("endless", "advance 1000000m\n")
        terminal = self.start(PAGER="cat; sleep 60")
        terminal.run("add-flow seq=1,actions=drop")
        terminal.type("half a line" + CTRL_C)
        terminal.expect()
        for line, begun, answer in (
            ("help", "quit", None),
            ("advance 1000000m", "\n", "interrupted: the clock stands at"),
            ("source endless", "\n", "endless was not run to its end"),
            ("echo x | sleep 60", "\n", None),
        ):
            terminal.type(line + "\n")
            terminal.expect(begun)
            time.sleep(0.2)
            terminal.type(CTRL_C)
            if answer:
                terminal.expect(answer)
            terminal.expect()
        self.leaves(terminal)

    def test_the_end_is_in_order(self):
        terminal = self.start()
        terminal.run("echo remembered")
        os.kill(terminal.process, signal.SIGTERM)
        self.assertEqual(terminal.status(), 128 + signal.SIGTERM)
        terminal = self.start()
        terminal.type("\x10")  # the line before
        terminal.expect("echo remembered")
        terminal.type(CTRL_C + "quit\n")
        self.assertEqual(terminal.status(), 0)

    def test_a_script_can_end_at_a_prompt(self):
        self.write("script", "add-flow seq=1,actions=drop\nnonsense\n")
        terminal = Terminal(self.directory, "run", "script", "--then-prompt")
        self.addCleanup(os.close, terminal.master)
        self.assertIn("script:2:1: error: unknown command 'nonsense'", terminal.expect())
        self.leaves(terminal)


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
