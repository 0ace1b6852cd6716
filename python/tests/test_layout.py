"""What the package knows about C is what the compiler and the tables say."""

import re
import subprocess
import sys

import numpy as np

from conftest import ROOT

from qrx import _generated, _grids
from qrx._library import DTYPES
from qrx._records import GROUPS, columns_of


def test_generated_is_fresh():
    made = subprocess.run([sys.executable, ROOT / "python/tools/generate.py"], check=True,
                          capture_output=True, text=True).stdout
    assert made == (ROOT / "python/qrx/_generated.py").read_text()


def test_layout_is_that_of_the_compiler(tmp_path):
    lines = ["#include <qrx/qrx.h>", "#include <stddef.h>", "#include <stdio.h>", "int main(void) {"]
    for record, dtype in DTYPES.items():
        lines.append(f'printf("{record} %zu\\n", sizeof({record}));')
        for member in dtype.names:
            lines.append(f'printf("{record}.{member} %zu %zu\\n", offsetof({record}, {member}), '
                         f"sizeof((({record}*)0)->{member}));")
    values = {**_generated.RESULT_CODES, **_generated.CYCLES, **_generated.PROXY_TYPES}
    lines += [f'printf("{name} %d\\n", (int){name});' for name in values]
    (tmp_path / "layout.c").write_text("\n".join(lines + ["return 0; }"]))
    subprocess.run(["cc", f"-I{ROOT}/include", "-o", tmp_path / "layout", tmp_path / "layout.c"],
                   check=True)
    said = subprocess.run([tmp_path / "layout"], check=True, capture_output=True, text=True).stdout
    found = {line.split()[0]: [int(n) for n in line.split()[1:]] for line in said.splitlines()}
    for record, dtype in DTYPES.items():
        assert found.pop(record) == [dtype.itemsize]
        for member in dtype.names:
            kind, offset = dtype.fields[member][:2]
            assert found.pop(f"{record}.{member}") == [offset, kind.itemsize], f"{record}.{member}"
    for name, value in values.items():
        assert found.pop(name) == [value]


def test_every_record_of_the_headers_is_known():
    text = "".join(p.read_text() for p in (ROOT / "include/qrx").glob("*.h"))
    assert text.count("typedef struct") == len(DTYPES)


def test_columns_lie_in_the_record():
    for record in GROUPS:
        for column in columns_of(record):
            if column.member:
                values = DTYPES[record][column.member]
                assert values.base.str.lstrip("|") == column.dtype.lstrip("|")
                assert column.place is None or column.place < values.shape[0]


def sessions(points):
    """"21:00-02:30 09:00-10:15" of one-minute points on a clock without dates."""
    minutes = points[:, 1] // 10000000 * 60 + points[:, 1] // 100000 % 100
    parts = np.split(minutes, np.flatnonzero(np.diff(minutes) % 1440 != 1) + 1)
    return " ".join(f"{p[0] // 60:02}:{p[0] % 60:02}-{(p[-1] + 1) // 60 % 24:02}:{(p[-1] + 1) % 60:02}"
                    for p in parts)


def test_page_on_grids_has_the_tables_rows():
    page = (ROOT / "docs/completion.md").read_text()
    rows = re.findall(r"^\| ([A-Z][^|]*) \| ([^|]*)\| (\d[^|]*|as above) \|", page.partition("## Snap")[0], re.M)
    days = {market: day for names, night, day in rows if not night.strip()
            for market in re.findall(r"[A-Z]+", names)}
    nights = {names.replace("codes beginning with ", "").replace(" or", ""): night.strip()
              for names, night, _ in rows if night.strip()}
    for row in _grids.grid_rows():
        before, after = (row.points(day) for day in (20000103, 20240105))
        assert sessions(before) == days[row.market], row
        if row.products:
            night, day = sessions(after).split(" ", 1)
            assert nights.pop(" ".join([row.market, *row.products])) == f"{night} ({row.first_night})"
            assert day == days[row.market] and len(row.points(row.first_night)) == len(after)
        else:
            assert len(after) == len(before)
    assert not nights
