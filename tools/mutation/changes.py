# SPDX-License-Identifier: Apache-2.0
"""The changes that are tried on the library: one token each."""
import pathlib
import re

LIBRARY = pathlib.Path("lib/oftab")

# What is left alone: comments, texts, preprocessor lines, assertions, which the compiler checks.
QUIET = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:[^"\\\n]|\\.)*"|^#[^\n]*|\bstatic_assert\([^;]*;', re.MULTILINE | re.DOTALL)
CHANGES = [(re.compile(pattern), change) for pattern, change in (
    (r" (==|!=|<=|>=|<|>|&&|\|\||\+|-) ", lambda m: {
        "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "+": "-", "-": "+",
    }[m]),
    (r"\b(0x[0-9A-Fa-f]+|\d+)(?=[UuLl]*\b)", lambda m: str(int(m, 0) + 1)),
    (r"\b(OFTAB_ERR_\w+)\b", lambda m: "OFTAB_ERR_FAIL" if m != "OFTAB_ERR_FAIL" else "OFTAB_ERR_INVALID"),
    (r"\b(OFTAB_OK)\b", lambda m: "OFTAB_ERR_FAIL"),
    (r"\b(true|false)\b", lambda m: {"true": "false", "false": "true"}[m]),
    (r"\b(TRACE_(?:ERROR|WARNING))\b", lambda m: "TRACE_DETAIL"),
    (r"\b(TRACE_(?:ERROR|WARNING|DETAIL)_IN)\b", lambda m: {"TRACE_DETAIL_IN": "TRACE_ERROR_IN"}.get(m, "TRACE_DETAIL_IN")),
)]


class Mutant:
    def __init__(self, path, text, start, end, change):
        self.path = path
        self.text = text[:start] + change + text[end:]
        self.line = text.count("\n", 0, start) + 1
        self.source = text.splitlines()[self.line - 1].strip()
        self.what = f"{text[start:end]} -> {change}"
        column = start - text.rfind("\n", 0, start)
        self.name = f"{path}:{self.line}:{column}: {self.what}: {self.source}"


def mutants():
    for path in [*sorted(LIBRARY.rglob("*.cc")), *sorted(LIBRARY.rglob("*.h"))]:
        text = path.read_text()
        visible = QUIET.sub(lambda m: re.sub(r"[^\n]", " ", m[0]), text)
        for pattern, change in CHANGES:
            for match in pattern.finditer(visible):
                yield Mutant(path, text, match.start(1), match.end(1), change(match[1]))
