"""What the package knows about C is what the compiler and the tables say."""

import subprocess
import sys

from conftest import ROOT

from qrx import _generated
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
    for name, value in {**_generated.RESULT_CODES, **_generated.CYCLES,
                        **_generated.PROXY_TYPES}.items():
        lines.append(f'printf("{name} %d\\n", (int){name});')
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
    for name, value in {**_generated.RESULT_CODES, **_generated.CYCLES,
                        **_generated.PROXY_TYPES}.items():
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
