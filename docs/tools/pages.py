"""Gathers the pages of the site: those of docs/ and of the root as they are, and those that are
made from the sources.

    PYTHONPATH=python python3 docs/tools/pages.py FOLDER

In the repository a page links to the file that another page is made from; on the site to the page.
A comment "<!-- picture: NAME what it shows -->" becomes the picture that was drawn into
FOLDER/pictures.
"""

import os
import re
import sys
from pathlib import Path

import calls
import headers
import results

ROOT = Path(__file__).resolve().parents[2]
FROM_FILES = {"README.md": "index.md", "python/README.md": "python.md", "HACKING.md": "hacking.md",
              "CHANGELOG.md": "changelog.md"}
FROM_SOURCES = {"include/qrx/qrx.h": "c-api.md", "share/fields.def": "fields.md",
                "python/qrx/errors.py": "results.md", "examples/README.md": "examples.md"}
LANGUAGES = {".py": "python", ".c": "c", ".cpp": "cpp"}


def on_site(text, source):
    """A page of the repository with the links of the site."""
    def link(match):
        place, _, anchor = match[1].partition("#")
        if not place or "://" in place:
            return match[0]
        target = os.path.relpath((source.parent / place).resolve(), ROOT)
        if not (ROOT / target).exists():
            raise SystemExit(f"{source.name}: there is nothing at {place}")
        moved = {**FROM_FILES, **FROM_SOURCES}.get(target)
        if moved is None and target.startswith("docs/") and target.endswith(".md"):
            moved = target.removeprefix("docs/")
        if moved is None:
            raise SystemExit(f"{source.name}: {place} has no page on the site")
        return f"]({moved}{'#' + anchor if anchor else ''})"

    parts = re.split(r"(^```.*?^```$)", text, flags=re.M | re.S)
    for i in range(0, len(parts), 2):  # what stands between programs
        parts[i] = re.sub(r"\]\(([^)\s]+)\)", link, parts[i])
        parts[i] = re.sub(r"<!-- picture: (\S+) (.*?) -->", r"![\2](pictures/\1.png)", parts[i])
    return "".join(parts)


def fields():
    """share/fields.def: the comment above its first row, then a table for each group."""
    text = (ROOT / "share/fields.def").read_text()
    rows = re.findall(r"^QRX_FIELD(?:_ARRAY)?\((\w+), ([\w\[\]]+),(?: (\d+),)? (\w+), (\w+), "
                      r'"(.*)"\)', text, re.M)
    if len(rows) != len(re.findall(r"^QRX_FIELD", text, re.M)):
        raise SystemExit("a row of share/fields.def cannot be read")
    kinds = re.findall(r"^//   (\w+) {2,}(.*)", text.partition("Kinds:")[2], re.M)
    out = ["# Fields", "", "What the reference server means by the members of its records. "
           "Importer, command line and Python take their column names from the same table, "
           "`share/fields.def`.", "", "| Kind | |", "|---|---|"]
    out += [f"| {kind} | {meaning} |" for kind, meaning in kinds]
    last = ""
    for group, member, count, column, kind, meaning in rows:
        if group != last:
            out += ["", f"## {group}", "",
                    "| Member | Column | Kind | Meaning |", "|---|---|---|---|"]
            last = group
        several = f"[{count}]" if count else ""
        columns = f"`{column}1` … `{column}{count}`" if count else f"`{column}`"
        out.append(f"| `{member}{several}` | {columns} | {kind} | {meaning} |")
    return "\n".join(out) + "\n"


def program(path):
    """A source with its first comment as text above it."""
    text = path.read_text()
    top = re.match(r'"""(.*?)"""\n+|/\*(.*?)\*/\n+|((?://[^\n]*\n)+)\n*', text, re.S)
    said = next(filter(None, top.groups())) if top else ""
    said = "\n".join(re.sub(r"^(//| \*) ?", "", line) for line in said.strip().split("\n"))
    shown = text[top.end():] if top else text
    return said, f"```{LANGUAGES[path.suffix]}\n{shown}```\n"


def pictures(drawn):
    out = ["# Pictures", "", "`qrx.plot` draws with matplotlib and gives the axes; nights and "
           "breaks take no room. Each picture here is drawn by the program above it when this site is "
           "built.", ""]
    for path in sorted((ROOT / "docs/pictures").glob("*.py")):
        if not (drawn / f"{path.stem}.png").exists():
            continue  # that one draws the grids
        said, code = program(path)
        title = said.rstrip(".").replace("\n", " ")
        out += [f"## {title}", "", code, f"![{title}](pictures/{path.stem}.png)", ""]
    return "\n".join(out)


def examples():
    text = (ROOT / "examples/README.md").read_text()

    def source(match):
        said, code = program(ROOT / "examples" / match[1])
        return f"### `{match[1]}`\n\n{said or match[2].capitalize() + '.'}\n\n{code}"

    return on_site(re.sub(r"^- `(\w+\.\w+)`: (.*)\n", source, text, flags=re.M),
                   ROOT / "examples/README.md")


def main(folder):
    made = {"c-api.md": headers.page(ROOT / "include/qrx"), "results.md": results.page(ROOT),
            "fields.md": fields(), "pictures.md": pictures(folder / "pictures"),
            "examples.md": examples()}
    for source, name in FROM_FILES.items():
        made[name] = on_site((ROOT / source).read_text(), ROOT / source)
    for source in (ROOT / "docs").glob("*.md"):
        made[source.name] = on_site(source.read_text(), source)
    made["python.md"] += "\n" + calls.page()
    for name, text in made.items():
        (folder / name).write_text(text)


if __name__ == "__main__":
    main(Path(sys.argv[1]))
