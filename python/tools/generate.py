"""Writes qrx/_generated.py: everything that the package takes over from the C side.

Record layouts, result codes, cycles and proxy types come from include/qrx, columns from
share/fields.def. The tests run this again and compare, and ask the C compiler whether it agrees
about the layouts.

    python3 tools/generate.py > qrx/_generated.py
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
INTEGERS = {"int8_t": "i1", "char": "i1", "int32_t": "<i4", "uint32_t": "<u4", "int64_t": "<i8",
            "QRX_PROXY_TYPE": "<u4"}


def strip_comments(text: str) -> str:
    return re.sub(r"/\*.*?\*/|//[^\n]*", "", text, flags=re.S)


def member_format(kind: str, pointer: str, lengths: list[int]) -> tuple[str, list[int]]:
    """The NumPy format and shape of one member."""
    if pointer:
        return "<u8", lengths
    if kind == "char" and lengths:
        return f"S{lengths[-1]}", lengths[:-1]
    return INTEGERS[kind], lengths


def records(text: str, constants: dict[str, int]) -> dict[str, list[str]]:
    made: dict[str, list[str]] = {}
    member: str
    for name, body in re.findall(r"typedef struct (\w+) \{(.*?)\} \1;", text, flags=re.S):
        rows = []
        for member in filter(None, (part.strip() for part in body.split(";"))):
            match = re.fullmatch(r"(\w+)\s*(\*?)\s*(\w+)((?:\s*\[\w+\])*)", member)
            if match is None:
                raise SystemExit(f"{name}: cannot read the member {member!r}")
            kind, pointer, field, dimensions = match.groups()
            lengths = [constants[d] if d in constants else int(d)
                       for d in re.findall(r"\w+", dimensions)]
            code, shape = member_format(kind, pointer, lengths)
            rows.append(f'("{field}", "{code}", ({shape[0]},))' if shape
                        else f'("{field}", "{code}")')
        made[name] = rows
    return made


def field_rows(text: str) -> dict[str, list[str]]:
    groups: dict[str, list[str]] = {}
    pattern = re.compile(
        r'^QRX_FIELD(_ARRAY)?\((\w+), (\w+)(?:\[(\d+)\])?,(?: (\d+),)? (\w+), (\w+), "', re.M)
    for _, group, member, index, count, column, kind in pattern.findall(text):
        if count:
            rows = [(str(n), f"{column}{n + 1}") for n in range(int(count))]
        else:
            rows = [(index or "None", column)]
        for place, name in rows:
            groups.setdefault(group, []).append(f'("{member}", {place}, "{name}", "{kind}")')
    return groups


def found(pattern: str, text: str) -> str:
    match = re.search(pattern, text)
    if match is None:
        raise SystemExit(f"there is nothing like {pattern}")
    return match[1]


def generate() -> str:
    headers = "".join(p.read_text() for p in sorted((ROOT / "include/qrx").glob("*.h")))
    text = strip_comments(headers)
    constants = {n: int(v) for n, v in re.findall(r"#define (QRX_\w+) (\d+)\b", text)}
    version = found(r'QRX_VERSION_STRING "(.*?)"', text)
    lines = ['"""Made by tools/generate.py from include/qrx and share; not to be edited."""', "",
             "from __future__ import annotations", "",
             f'VERSION = "{version}"', ""]
    tables = {
        "RESULT_CODES": re.findall(r"\b(QRX_OK|QRX_ERR_\w+) = (-?\d+)", text),
        "CYCLES": re.findall(r"\b(CYC_\w+) = (\d+)", text),
        "PROXY_TYPES": re.findall(r"#define (QRX_PROXY_\w+) \(\(QRX_PROXY_TYPE\)(\d+)\)", text),
    }
    for name, rows in tables.items():
        lines += [f"{name} = {{"] + [f'    "{key}": {value},' for key, value in rows] + ["}", ""]
    lines += ["# Members of every record in order: name, NumPy format, shape.",
              "RECORDS: dict[str, list[tuple[str, str] | tuple[str, str, tuple[int]]]] = {"]
    for name, members in records(text, constants).items():
        lines += [f'    "{name}": ['] + [f"        {row}," for row in members] + ["    ],"]
    lines += ["}", "", "# Columns of every group: member, place in its array, column, kind.",
              "FIELDS: dict[str, list[tuple[str, int | None, str, str]]] = {"]
    for name, columns in field_rows((ROOT / "share/fields.def").read_text()).items():
        lines += [f'    "{name}": ['] + [f"        {row}," for row in columns] + ["    ],"]
    return "\n".join(lines + ["}", ""])


if __name__ == "__main__":
    sys.stdout.write(generate())
