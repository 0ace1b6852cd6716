"""The index of result codes. Each column has one source: name, number and meaning are those of
qrx.h, texts and enumerators those of qrx.hpp, cause and cure those of the Python exceptions, exit
codes those of the command line."""

import re

import headers
from qrx import errors


def found(pattern, text, what):
    rows = re.findall(pattern, text, re.S)
    if not rows:
        raise SystemExit(f"the index of result codes finds no {what}")
    return rows


def exceptions(kind=errors.QrxError):
    for each in kind.__subclasses__():
        yield each
        yield from exceptions(each)


def page(root):
    header = (root / "include/qrx/qrx.h").read_text()
    plus = (root / "include/qrx/qrx.hpp").read_text()
    failure = (root / "cli/app/failure.h").read_text()
    connection = (root / "cli/app/connection.cpp").read_text()
    enumerators = {code: name for name, code in found(r"(\w+) = (QRX_\w+)", plus, "enumerators")}
    texts = dict(found(r'case ResultCode::(\w+):\s*return "(.*?)";', plus, "texts"))
    exits = dict(found(r"(EXIT_\w+) = (\d+)", failure, "exit codes"))
    meanings = found(r'\{(EXIT_\w+), "(.*?)"\}', failure, "meanings of exit codes")
    thrown = dict(found(r"case ResultCode::(\w+):\s*throw Failure\((EXIT_\w+)", connection,
                        "cases"))
    out = ["# Result codes", "", "What each function of the library returns, the exception that it "
           "is in Python, and the exit code of the command line. Cause and cure stand once, in the "
           "exceptions of the Python package.", "",
           "A session that cannot be opened is told by the text of the login instead of a code; "
           "`qrx` then exits with 3, 5, 6 or 7.", "", "| Code | Name | C++ | `qrx` exits with |",
           "|---|---|---|---|"]
    rows = headers.result_codes(header)
    for name, number, _ in rows:
        exit_code = exits.get(thrown.get(enumerators[name], "EXIT_OK" if number == "0" else ""), "")
        shown = number if number == "0" else f"[{number}](#{name.lower()})"
        out.append(f"| {shown} | `{name}` | `{enumerators[name]}` | {exit_code} |")
    for name, number, meaning in rows:
        if number == "0":
            continue
        out += ["", f"## {name}", "",
                f"**{number}**: {headers.coded(meaning)}. `qrx::Message`: "
                f"\"{texts[enumerators[name]]}\".", "",
                "| In Python | Cause | Cure |", "|---|---|---|"]
        for kind in exceptions():
            if kind.code == int(number):
                cure = kind.advice or ("the message shows a right one" if kind is errors.BadArgument
                                       else "the message names the nearest ones")
                out.append(f"| `{kind.__name__}` | {' '.join(kind.__doc__.split())} | {cure} |")
    out += ["", "## Exit codes of the command line", "", "| Code | Meaning |", "|---|---|"]
    out += [f"| {exits[name]} | {meaning} |" for name, meaning in meanings]
    return "\n".join(out) + "\n"
