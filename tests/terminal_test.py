# SPDX-License-Identifier: Apache-2.0
"""oftab-switch at a pseudo-terminal: what an operator types, and what has to appear.

    terminal_test.py PROGRAM
"""
import os
import re
import resource
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import unittest

import pexpect

from openflow_peers.switch import PATIENCE, PROGRAM, Switch, reading, until

PROMPT = "oftab> "
CTRL_C, TAB = "\x03", "\t"


class Terminal(pexpect.spawn):
    """A run of the program at a terminal of its own, in a directory of its own."""

    def __init__(self, directory, *arguments, **environment):
        # The line editor keeps what it allocated when the program ends.
        variables = {"HOME": directory, "PATH": os.environ["PATH"], "TERM": "dumb", "ASAN_OPTIONS": "detect_leaks=0",
                     **environment}
        super().__init__(PROGRAM, list(arguments), timeout=PATIENCE, cwd=directory, env=variables, encoding="utf-8",
                         codec_errors="replace")
        self.delaybeforesend = None

    def read_nonblocking(self, *arguments, **options):
        """What came, plain."""
        return re.sub("\x1b\\[[0-9;?]*[A-Za-z]", "", super().read_nonblocking(*arguments, **options))

    def until(self, text=PROMPT):
        """What comes up to `text` and with it."""
        self.expect_exact(text)
        return self.before + text

    def run(self, line):
        """A command's output, up to the next prompt."""
        self.send(line + "\n")
        return self.until()

    def interrupt(self, answer=""):
        """Back to the prompt, with an answer before it, and past a second prompt of a command that ended just then."""
        self.send(CTRL_C)
        self.until(answer)
        self.until()
        self.send("echo caught up\n")
        self.until("\ncaught up")
        self.until()

    def end(self):
        """Waits for it; the exit status, or minus the signal."""
        self.expect_exact(pexpect.EOF)
        self.close()
        return -self.signalstatus if self.signalstatus else self.exitstatus


class TerminalTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name

    def start(self, *arguments, **environment):
        terminal = Terminal(self.directory, *arguments, **environment)
        self.addCleanup(terminal.close)
        terminal.until()
        return terminal

    def write(self, name, text):
        with open(os.path.join(self.directory, name), "w") as file:
            file.write(text)

    def leaves(self, terminal, flows="1 flow", status=0):
        """The switch is still there, with its flows; it ends in order."""
        self.assertIn(flows + "\r\n", terminal.run("flows | tail -1"))
        terminal.send("quit\n")
        self.assertEqual(terminal.end(), status)

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
        terminal.run("port-channel create 7 5; add-flow seq=1,dl_vlan=110,actions=mod_vlan_vid:2077,1")
        for typed, answer in (
            ("trace on fai", "trace on failures "),
            ("trace on history w", "trace on history warnings "),
            ("trace on ", "calls  console  failures  file  history  ring"),
            ("cap co", "cap counters "),
            ("add-flow priority=5,udp_d", "add-flow priority=5,udp_dst="),
            ("flows --sort ", "bytes  index  packets  priority  seq"),
            ("interface add 1 Eth1/4", "Eth1/40  "),
            ("interface openflow Eth1/47", "Eth1/47 "),
            ("add-flow udp,hard", "add-flow udp,hard_timeout="),
            ("add-flow tcp,actions=1,no", "add-flow tcp,actions=1,normal "),
            ("watch 1 show pol", "watch 1 show policy "),
            ("catch-all normal,", "catch-all normal,controller "),
            ("interface openflow 3 of", "interface openflow 3 off "),
            ("fault libsdk_l", "fault libsdk_l3_route_stats_"),
            ("fault any nth=2 al", "fault any nth=2 always "),
            ("add-flow in_port=p", "add-flow in_port=pc7 "),
            ("add-flow tcp,actions=output:1,output:p", "output:pc7 "),
            ("add-flow actions=enqueue:Eth1/48", "enqueue:Eth1/48:"),
            ("add-flow actions=mod_nw_s", "actions=mod_nw_src:"),
            ("add-flow udp actions=1,p", "pc7  pop_vlan  "),
            ("flows out_port=p", "flows out_port=pc7 "),
            ("flows tcp,actions=n", "flows tcp,actions=normal "),
            ("packet tcp,dl_vlan=", "110  2077  "),
            ("explain all in_port=p", "explain all in_port=pc7 "),
            ("packet x.pcap in_port=p", "packet x.pcap in_port=pc7 "),
            ("vlan 2", "vlan 2077 "),
            ("interface id p", "interface id pc7 "),
            ("port-channel leave ", "port-channel leave pc7 "),
            ("port-channel leave pc7 Eth1/47", "Eth1/47 "),
            ("port attach 1 l", "port attach 1 lo "),
            ("port attach 1 t", "port attach 1 tap:"),
            ("listen pt", "listen ptcp:"),
            ("trace on file two", 'trace on file "two words.oftab" '),
            ("diff-flows x tw", 'diff-flows x "two words.oftab" '),
            ("help trace o", "off  on  "),
            ("watch 1 flows --so", "watch 1 flows --sort "),
        ):
            terminal.send(typed + TAB)
            terminal.until(answer)
            terminal.interrupt()
        for typed, answer in (('source "two' + TAB, "two words ran"), ("source tw" + TAB, "two words ran"), ("source gr" + TAB, "größe ran")):
            terminal.send(typed + "\n")
            terminal.until("\n" + answer)
            terminal.until()
        self.leaves(terminal, flows="1 flow, 1 on the CPU")

    def test_an_interrupt_ends_the_command(self):
        self.write("endless", "advance 1\n" + "advance 1000000m\n" * 1000)
        with open(os.path.join(self.directory, "endless.pcap"), "wb") as capture:
            capture.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1))
            capture.write((struct.pack("<IIII", 0, 0, 60, 60) + bytes(60)) * 200000)
        for name in "flows", "script":
            os.mkfifo(os.path.join(self.directory, name))
        pager = "trap '' INT; cat; sleep 60"  # stays where it is, as pagers do at their prompts
        terminal = self.start(PAGER=pager)
        terminal.run("add-flow seq=1,actions=drop")
        ends = [os.open(os.path.join(self.directory, name), os.O_RDWR) for name in ("flows", "script")]
        os.write(ends[0], b"tcp,actions=drop\n")
        os.write(ends[1], b"echo first\n")
        for keys, begun, answer in (
            ("half a line", "half a line", ""),
            ("help\n", "quit", ""),
            ("source endless\n", "stands", "interrupted: the clock stands at"),
            ("source endless\n", "stands", "endless was not run to its end"),
            ("echo x | (cat; sleep 60)\n", "\nx", ""),
            (f"echo x | sh -c \"{pager}\"\n", "\nx", ""),
            ("show tcam 0 4095 | (head -1; sleep 60)\n", "Index 0", ""),
            ("packet endless.pcap -v\n", "dropped", "of 200000 packets were sent"),
            ("add-flows flows\n", "\n", "flows was not read to its end"),
            ("source script\n", "\nfirst", "script was not run to its end"),
            ("watch 1 tables\n", "Clock", ""),
        ):
            terminal.send(keys)
            terminal.until(begun)
            terminal.interrupt(answer)
        self.leaves(terminal)

    def test_a_prompt_at_a_serving_switch(self):
        self.write("long", "echo begun\n" + "source many\n" * 20000)
        self.write("many", "trace clear\n" * 2000)
        switch = self.enterContext(Switch("--listen", "ptcp:0:127.0.0.1"))
        terminal = self.start("attach", switch.console)
        terminal.run("add-flow seq=1,in_port=1,actions=drop; port-channel create 7")
        for keys, begun, answer in (
            ("source long\n", "\n", "long was not run to its end"),
            ("echo x | (cat; sleep 60)\n", "\nx", ""),
            ("half a line", "half", ""),
        ):
            terminal.send(keys)
            terminal.until(begun)
            terminal.interrupt(answer)
        terminal.send("interface add p" + TAB)
        terminal.until("pc7 ")
        terminal.interrupt()
        self.leaves(terminal)
        resource.prlimit(switch.process.pid, resource.RLIMIT_NOFILE, (3, 4096))
        with reading(PROGRAM, "attach", switch.console, "-c", "echo taken") as out:
            until(lambda: f"{switch.console}: Too many open files\n" in switch.read_log(), "it has no descriptors")
            resource.prlimit(switch.process.pid, resource.RLIMIT_NOFILE, (4096, 4096))
            self.assertEqual(out.read(), "taken\n")
        for end in signal.SIGTERM, signal.SIGINT:
            terminal = self.start("attach", switch.console)
            switch.process.send_signal(signal.SIGSTOP)
            terminal.send("flows\n")
            terminal.until("flows\r\n")
            until(lambda: terminal.kill(end) or not terminal.isalive(), "the prompt ends")
            self.assertEqual(terminal.end(), 128 + end)
            switch.process.send_signal(signal.SIGCONT)
        with socket.socket(socket.AF_UNIX) as stranger:
            stranger.connect(switch.console)
            stranger.sendall(b"l\xff\xff\xff\xff")
            self.assertEqual(stranger.makefile("rb").read(), b"e\0\0\0\x17a line that is too longf\0\0\0\0")
        done = subprocess.run([PROGRAM, "attach", switch.console], input=b"echo " + b"x" * 2**20,
                              stderr=subprocess.PIPE)
        self.assertEqual(done.stderr, b"column 1048577: error: a line has at most 1048576 bytes\n")
        for commands, status, complaint in (
            ("flows; quit; flows", 0, ""),
            ('echo "x', 1, "column 6: error: the closing quote is missing\n"),
            ("flows", 1, "error: the output cannot be written: No space left on device\n"),
        ):
            with open("/dev/full" if complaint.endswith("device\n") else os.devnull, "w") as out:
                done = subprocess.run([PROGRAM, "attach", switch.console, "-c", commands], stdout=out, stderr=subprocess.PIPE, text=True)
            self.assertEqual((done.returncode, done.stderr), (status, complaint))

    def test_an_interrupted_load_tells_what_it_did(self):
        flows = "".join(f"priority={number},actions=drop\n" for number in range(4094))
        self.write("flows", flows + "modify actions=drop\n" * 1000)  # of all flows, which takes its time
        terminal = self.start(TERM="xterm")
        terminal.send("add-flows flows\n")
        terminal.until("changing flows: 20 %")
        terminal.send(CTRL_C)
        done = re.search(r"interrupted: (\d+) of 5094 changes were made", terminal.until())
        self.leaves(terminal, flows=f"{min(int(done[1]), 4094)} flows")

    def test_a_live_view(self):
        terminal = self.start(TERM="xterm")
        terminal.run("add-flow seq=1,actions=drop")
        self.assertIn("TCAM records       [#.", terminal.run("top | cat"))
        for end in "q", CTRL_C:
            terminal.send("top\n")
            terminal.until("top: 1 flow")
            terminal.until("top: 1 flow")
            terminal.send(end)
            terminal.until()
        self.leaves(terminal)

    def test_the_end_is_in_order(self):
        terminal = self.start()
        terminal.run("echo remembered")
        terminal.kill(signal.SIGTERM)
        self.assertEqual(terminal.end(), 128 + signal.SIGTERM)
        terminal = self.start()
        terminal.send("\x10")  # the line before
        terminal.until("echo remembered")
        terminal.send(CTRL_C + "quit\n")
        self.assertEqual(terminal.end(), 0)

    def test_a_script_can_end_at_a_prompt(self):
        self.write("script", "add-flow seq=1,actions=drop\nnonsense\n")
        terminal = Terminal(self.directory, "run", "script", "--then-prompt")
        self.addCleanup(terminal.close)
        self.assertIn("script:2:1: error: unknown command 'nonsense'", terminal.until())
        self.leaves(terminal, status=1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[1:])
