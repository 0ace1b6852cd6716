"""The page of the C interface, made from include/qrx: the headers are its only source.

What it knows of them: the first comment of qrx.h is a lesson with headings that are lines of words
on their own; "-- Title --" opens a section; a comment stands in front of what it is about, or
behind a member.
"""

import re
import textwrap

COMMENT = re.compile(r"/\*(.*?)\*/", re.S)


def words(comment):
    """The lines of a comment without its frame."""
    return [re.sub(r"^ ?\* ?", "", line).rstrip() for line in comment.strip().split("\n")]


def coded(text):
    """Names of ours as code."""
    return re.sub(r"\b(QRX\w*_\w+\*?|p[A-Z]\w+(?:->\w+)?|(?:n|sz|ch|i)[A-Z]\w+)", r"`\1`", text)


def sentence(comment):
    return coded(" ".join(line.strip() for line in words(comment)).strip())


def cell(text):
    return text.replace("|", "\\|")


def fenced(lines, language):
    """Lines with those that are indented by four as programs."""
    return re.sub(r"(?:^    .*\n?|^\n(?=    ))+",
                  lambda m: f"\n```{language}\n{textwrap.dedent(m[0]).strip()}\n```\n",
                  "\n".join(lines), flags=re.M)


def lesson(comment):
    """The top comment: an indented program, numbered and dashed lists, tables, headings."""
    out = []
    for line in words(comment):
        if line.startswith("    ") and out and re.match(r"(\d+\.|-) ", out[-1]):
            out[-1] += " " + coded(line.strip())
        elif line.startswith("    "):
            out.append(line)
        elif re.fullmatch(r"[A-Z][a-z]+(?: [a-z]+){0,3}", line):
            out += ["", f"## {line}", ""]
        else:
            out.append(coded(line.strip()))
    return fenced(out, "c")


def functions(text):
    """Sections of qrx.h: title, then what stands in front of functions with their prototypes."""
    out = []
    pieces = re.split(r"/\* -- (.+?) -+ \*/", text)
    for title, body in zip(pieces[1::2], pieces[2::2]):
        out += ["", f"## {title}", ""]
        for comment, protos in re.findall(r"/\*(.*?)\*/\s*((?:QRX_API [^;]+;\s*)+)", body, re.S):
            names = re.findall(r"\b(QRX_\w+)\(", protos)
            code = protos.replace("QRX_API ", "").replace("\n" + " " * 8, "\n").rstrip()
            out += ["### " + ", ".join(f"`{name}`" for name in names), "", "```c", code, "```", "",
                    sentence(comment), ""]
    return "\n".join(out)


def result_codes(text):
    """Rows of the enum of results: name, number, meaning."""
    return re.findall(r"(QRX_OK|QRX_ERR_\w+) = (-?\d+),?\s*(?:/\* (.*?) \*/)?", text)


def members(body):
    """Name with dimensions, type, and the comment behind or in front of it."""
    rows = []
    pattern = re.compile(r"(?:/\*(.*?)\*/\s*)?(\w+)\s*(\*?)\s*(\w+)\s*((?:\[\w+\]\s*)*);"
                         r"(?:[ \t]*/\*(.*?)\*/)?", re.S)
    for before, kind, pointer, name, dimensions, behind in pattern.findall(body):
        shown = name + "".join(dimensions.split())
        rows.append((shown, kind + pointer, sentence(behind or before)))
    return rows


def records(path):
    """What one header declares: its own comment, enums, constants, structures."""
    text = path.read_text()
    out = [sentence(COMMENT.search(text)[1]), ""]
    struct = re.compile(r"(?:^/\*((?:(?!\*/).)*)\*/\s*)?^typedef (struct|enum) (\w+) \{(.*?)\} \3;",
                        re.S | re.M)
    for comment, kind, name, body in struct.findall(text):
        out += [f"### `{name}`", "", sentence(comment), ""]
        if kind == "enum":
            out += ["| Name | Value |", "|---|---|"]
            out += [f"| `{n}` | {v} |" for n, v in re.findall(r"(\w+) = (-?\d+)", body)]
        else:
            rows = members(body)
            told = any(text for _, _, text in rows)
            out += ["| Member | Type |" + (" Meaning |" if told else ""),
                    "|---|---|" + ("---|" if told else "")]
            out += [f"| `{n}` | `{t}` |" + (f" {cell(text)} |" if told else "")
                    for n, t, text in rows]
        out.append("")
    constants = re.findall(r"^#define (QRX_\w+) ([^\n]*?)\s*/\*(.*?)(?:\\\s*)?\*/", text,
                           re.M | re.S)
    if constants:
        out += ["| Constant | Value | Meaning |", "|---|---|---|"]
        out += [f"| `{n}` | `{cell(v)}` | {cell(sentence(t))} |" for n, v, t in constants] + [""]
    return "\n".join(out)


def page(include):
    text = (include / "qrx.h").read_text()
    first = COMMENT.search(text)
    title, _, rest = first[1].strip().partition("\n")
    out = ["# C and C++", "", title[5:6].upper() + title[6:], lesson(rest), "",
           functions(text), "", "## Result codes", "",
           "| Name | Value | Meaning |", "|---|---|---|"]
    out += [f"| `{n}` | {v} | {cell(t)} |" for n, v, t in result_codes(text)]
    out += ["", "Causes and cures: [Result codes](results.md).", ""]
    for name in ("session", "code", "ticks", "kline", "futures", "formula"):
        out += [f"## `qrx/{name}.h`", "", records(include / f"{name}.h")]
        if name in ("ticks", "kline", "futures"):
            out += ["What the reference server puts into each member: [Fields](fields.md).", ""]
    lines = (include / "qrx.hpp").read_text().split("\n")
    top = [line[2:].removeprefix(" ") for line in lines[:next(
        i for i, line in enumerate(lines) if not line.startswith("//"))]]
    out += ["## `qrx/qrx.hpp`", "", fenced(top, "cpp"), ""]
    whole = "\n".join(out)
    for name in re.findall(r"^QRX_API [^;(]*?(QRX_\w+)\(", text, re.M):
        if f"`{name}`" not in whole:
            raise SystemExit(f"the page of the C interface lacks {name}")
    return whole
