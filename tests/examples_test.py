# SPDX-License-Identifier: Apache-2.0
"""The examples of the documents, run and compared, and the guide's messages, compared with the library's.

    examples_test.py PROGRAM SOURCE-DIRECTORY
"""
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

from openflow_peers.switch import PROGRAM, free_port, until

SOURCE = os.path.abspath(sys.argv[2])


def code_blocks(document):
    with open(os.path.join(SOURCE, document)) as file:
        return re.findall(r"^```\w*\n(.*?)^```$", file.read(), re.MULTILINE | re.DOTALL)


def lines_of(text):
    """The lines, without spaces at their ends, and without line numbers of the sources."""
    return [re.sub(r"\.cc:\d+", ".cc", line.rstrip()) for line in text.splitlines()]


class DocumentTest(unittest.TestCase):
    def assert_excerpt(self, output, block, start=0):
        """The parts of `block` between lines of dots stand in the output, in order; where the last of them ends."""
        for part in re.split(r"^\s*\.\.\.\n", block, flags=re.MULTILINE):
            wanted = lines_of(part)
            found = next((at for at in range(start, len(output) + 1) if output[at : at + len(wanted)] == wanted), None)
            self.assertIsNotNone(found, f"not in the output behind line {start}:\n{part}\n" + "\n".join(output[start:]))
            start = found + len(wanted)
        return start


class ExamplesTest(DocumentTest):
    def run_script(self, name, script, *options):
        with tempfile.TemporaryDirectory() as directory:
            with open(os.path.join(directory, name), "w") as file:
                file.write(script)
            run = subprocess.run([PROGRAM, *options, "run", name], cwd=directory, stdout=subprocess.PIPE,
                                 stderr=subprocess.STDOUT, timeout=60)
        return lines_of(run.stdout.decode())

    def test_prompt_of_the_openflow_guide(self):
        for block in code_blocks("docs/openflow.md"):
            if block.startswith("oftab> "):
                lines = block.splitlines()
                commands = [line.removeprefix("oftab> ") for line in lines if line.startswith("oftab> ")]
                answers = [line for line in lines if not line.startswith("oftab> ")]
                self.assertEqual(self.run_script("prompt.oftab", "\n".join(commands)), answers)

    def test_guide(self):
        script, *excerpts = code_blocks("docs/operations.md")
        output = self.run_script("tour.oftab", script, "--keep-going")
        for excerpt in excerpts:
            self.assert_excerpt(output, excerpt)

    def test_readme_script(self):
        blocks = code_blocks("README.md")
        script = next(at for at, block in enumerate(blocks) if block.startswith("port-channel create"))
        self.assertEqual(self.run_script("try.oftab", blocks[script]), lines_of(blocks[script + 1]))

    def test_readme_campus(self):
        blocks = code_blocks("README.md")
        excerpt = next(block for block in blocks if block.startswith("1000 flows added"))
        with tempfile.TemporaryDirectory() as directory:
            subprocess.run([sys.executable, "-B", os.path.join(SOURCE, "examples/generate.py"), "--flows", "1000",
                            "--packets", "5000", "--seed", "1", "build/example"], cwd=directory, check=True,
                           stdout=subprocess.DEVNULL)
            run = subprocess.run([PROGRAM, "run", os.path.join(SOURCE, "examples/campus.oftab")], cwd=directory,
                                 stdout=subprocess.PIPE, check=True, timeout=60)
        self.assert_excerpt(lines_of(run.stdout.decode()), excerpt)


def plain(text):
    """A transcript without what is different in each run: times, transactions, ports of clients."""
    text = re.sub(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", "TIME", text)
    return re.sub(r"duration=[\d.]+s|xid=0x\w+|tcp:127\.0\.0\.1:\d{5}(?=: )", "VARIES", text)


@unittest.skipUnless(shutil.which("ovs-ofctl"), "ovs-ofctl is not installed")
class TranscriptTest(DocumentTest):
    """Blocks of lines that begin with "$ ": what a shell is told, and what comes of it, on a switch at a port of its own."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name
        self.port = self.enterContext(free_port())

    def end(self, pid_file):
        with open(os.path.join(self.directory, pid_file)) as file:
            os.kill(int(file.read()), signal.SIGTERM)

    def listens(self):
        with socket.socket() as client:
            return client.connect_ex(("127.0.0.1", int(self.port))) == 0

    def run_command(self, command):
        """What it prints; a switch that goes on is ended with the test."""
        command = command.replace("build/release/bin/", "").replace("6653", self.port)
        background = command.endswith("&")
        if background and "--listen" not in command:
            command = command.replace(" serve ", f" serve --listen ptcp:{self.port}:127.0.0.1 ")
        environment = {**os.environ, "PATH": os.path.dirname(PROGRAM) + ":" + os.environ["PATH"],
                       "XDG_RUNTIME_DIR": self.directory}
        run = subprocess.run(command + (" echo $! >pid" if background else ""), shell=True, cwd=self.directory,
                             env=environment, stdout=None if background else subprocess.PIPE,
                             stderr=None if background else subprocess.STDOUT, timeout=60)
        if background:
            self.addCleanup(self.end, "pid")
            until(self.listens, "the switch listens")
            return ""
        return run.stdout.decode().replace(self.port, "6653")

    def assert_transcripts(self, document):
        for block in code_blocks(document):
            for step in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.MULTILINE) if block.startswith("$ ") else ():
                output = lines_of(plain(self.run_command(step[0])))
                end = self.assert_excerpt(output, plain(step[1]))
                self.assertTrue("...\n" in step[1] or end == len(output), output)

    def test_readme(self):
        self.assert_transcripts("README.md")

    def test_openflow_guide(self):
        self.assert_transcripts("docs/openflow.md")


class MessagesTest(unittest.TestCase):
    """The guide quotes what the library traces as errors and warnings, without newlines at the end; the program looks
    for phrases of the errors."""

    STRING = r'"(?:[^"\\]|\\.)*"'

    @classmethod
    def setUpClass(cls):
        cls.library = ""
        for directory, _, names in os.walk(os.path.join(SOURCE, "lib")):
            for name in names:
                with open(os.path.join(directory, name)) as file:
                    cls.library += file.read()
        with open(os.path.join(SOURCE, "docs/operations.md")) as file:
            cls.chapter = re.search(r"^## Messages\n(.*?)^## ", file.read(), re.MULTILINE | re.DOTALL)[1]

    def traced(self, levels):
        point = rf"TRACE_(?:{levels})(?:_IN)?\((?:\w+(?:\.\w+)?,|{self.STRING},)?\s*((?:{self.STRING}\s*)+)"
        return [self.literals(strings)[0] for strings in re.findall(point, self.library)]

    def literals(self, text):
        """Its strings; those with nothing but white space between them are one."""
        joined = re.findall(rf"(?:{self.STRING}\s*)+", text)
        return ["".join(piece[1:-1] for piece in re.findall(self.STRING, strings)) for strings in joined]

    def test_every_message_is_in_the_guide(self):
        texts = self.traced("ERROR|WARNING")
        self.assertGreater(len(texts), 50)
        self.assertEqual([text for text in texts if "`" + text.removesuffix("\\n").rstrip() not in self.chapter], [])

    def test_every_message_of_the_guide_exists(self):
        rows = re.findall(r"^\| (`.*?) \|", self.chapter, re.MULTILINE)
        quoted = [text for row in rows for text in re.findall(r"`([^`]+)`", row)]
        literals = "\n".join(self.literals(self.library))
        self.assertEqual([text for text in quoted if text not in literals and text != "dump records"], [])

    def test_every_phrase_of_the_program_is_traced(self):
        with open(os.path.join(SOURCE, "agent/failures.cc")) as file:
            program = file.read()
        table, harmless = re.search(rf"kExplanations\[\] = {{$(.*?)^}};$.* harmless = ({self.STRING});", program,
                                    re.MULTILINE | re.DOTALL).groups()
        phrases = re.findall(self.STRING, table) + [harmless]
        self.assertGreater(len(phrases), 10)
        errors = "\n".join(self.traced("ERROR"))
        self.assertEqual([phrase for phrase in phrases if phrase[1:-1] not in errors], [])


class CodesTest(unittest.TestCase):
    """Each status and each statistics operation of oftab.h has its meaning, in the guide and for the program."""

    def setUp(self):
        def contents(name):
            with open(os.path.join(SOURCE, name)) as file:
                return file.read()

        self.header = contents("lib/oftab/oftab.h")
        self.guide = contents("docs/operations.md")
        self.program = contents("agent/status.cc")

    def test_statuses(self):
        statuses = re.findall(r"^  (OFTAB_(?:OK|ERR_\w+)) = (-?\d+)", self.header, re.MULTILINE)
        self.assertGreater(len(statuses), 10)
        self.assertEqual([name for name, _ in statuses if "{" + name + "," not in self.program], [])
        self.assertEqual(re.findall(r"^\| (-?\d+) \|", self.guide, re.MULTILINE), [number for _, number in statuses])

    def test_statistics_operations(self):
        operations = re.findall(r" = (\d+)", re.search(r"^enum oftab_stats_op .*", self.header, re.MULTILINE)[0])
        row = re.search(r"^\| -4 \|.*", self.guide, re.MULTILINE)[0]
        self.assertGreater(len(operations), 2)
        self.assertEqual(re.findall(r"(\d+) \w+s\b", row), operations)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[2:])
