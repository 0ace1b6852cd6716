"""Every call of the Python package, from its signatures and docstrings."""

import inspect
import textwrap

import qrx
from qrx._formulas import Formulas
from qrx._records import Calculation
from qrx._table import Table

# What a section is about, how its owner is called there, and the owner.
SECTIONS = [("A session", "s", qrx.Session), ("Formulas", "s.formulas", Formulas),
            ("A result", "r", Table), ("A calculation", "c", Calculation)]


def signature(function):
    parts, starred = [], False
    found = inspect.signature(function)
    for parameter in found.parameters.values():
        if parameter.name == "self":
            continue
        if parameter.kind is parameter.KEYWORD_ONLY and not starred:
            parts.append("*")
            starred = True
        stars = "**" if parameter.kind is parameter.VAR_KEYWORD else ""
        text = f"{stars}{parameter.name}: {parameter.annotation}"
        if parameter.default is not parameter.empty:
            text += f" = {parameter.default!r}"
        parts.append(text)
    return f"({', '.join(parts)}) -> {found.return_annotation}"


def call(function, shown):
    out = f"#### `{shown}`\n\n"
    if not isinstance(function, property):
        code = textwrap.fill(shown + signature(function), 88, subsequent_indent="    ")
        out += f"```python\n{code}\n```\n\n"
    return f"{out}{inspect.getdoc(function)}\n"


def page():
    out = ["## Every call", "", "### Opening", "", call(qrx.connect, "qrx.connect")]
    for title, prefix, owner in SECTIONS:
        members = {name: value for name, value in vars(owner).items()
                   if not name.startswith("_") and (callable(value) or isinstance(value, property))}
        if members:
            out += [f"### {title}", "", inspect.getdoc(owner), ""]
            out += [call(value, f"{prefix}.{name}") for name, value in members.items()]
    out += ["### Pictures", ""]
    out += [call(getattr(qrx.plot, name), f"qrx.plot.{name}")
            for name in ("candles", "depth", "formula")]
    return "\n".join(out)
