"""Runs what pages show: the fenced blocks of Markdown, which are the only source.

    scripts/with-market BUILD python3 docs/tools/run_blocks.py [--update] PAGE...

Of each page, in order, in a folder of its own with the file "password" in it:
  console  lines after "$ " go to one shell of the page, a hundred columns wide; what stands below
           them is what it says
  pycon    lines after ">>> " go to one interpreter of the page, likewise
  python   a program; the page's first one opens the session that the others use
  c, cpp   a program, compiled against the library and run
A text block right below a program is its output. A line "..." stands for any lines. Other blocks
are not run. Pages write the server as 127.0.0.1:7700; it is reached on the port that is free.
--update writes the outputs as they were into the page.
"""

import codeop
import contextlib
import io
import os
import re
import select
import shutil
import socket
import subprocess
import sys
import tempfile
import traceback
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BLOCK = re.compile(r"^```(\w+)\n(.*?)^```\n(?:\n?^```text\n(.*?)^```\n)?", re.M | re.S)
END = "-- end of a command --"
SHOWN_PORT = "7700"
TRANSCRIPTS, PROGRAMS = ("console", "pycon"), ("python", "c", "cpp")


def agree(expected, found):
    parts = [re.escape(part) for part in re.split(r"^\.\.\.\n", expected, flags=re.M)]
    return re.fullmatch("(?:.*\n)*".join(parts), found) is not None


def lines_of(text):
    return text if not text or text.endswith("\n") else text + "\n"


class Shell:
    def __init__(self, folder):
        self.process = subprocess.Popen(
            ["bash", "--norc"], cwd=folder, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True, env={**os.environ, "COLUMNS": "100"})

    def run(self, command):
        """Output and exit status. Of a command in the background the first line is awaited."""
        self.process.stdin.write(command.rstrip() + "\n")
        self.process.stdin.flush()
        said = ""
        if command.rstrip().endswith("&") and select.select([self.process.stdout], [], [], 30)[0]:
            said = self.process.stdout.readline()
        self.process.stdin.write(f"printf '%s %s\\n' '{END}' $?\n")
        self.process.stdin.flush()
        for line in self.process.stdout:
            place = line.find(END)
            if place >= 0:
                return lines_of(said + line[:place]), int(line[place + len(END):])
            said += line
        raise SystemExit(f"the shell ended in {command}")

    def close(self):
        self.process.communicate("kill $(jobs -p) 2>/dev/null; wait\n")


class Page:
    def __init__(self, path, update):
        self.path, self.update, self.failed = path, update, 0
        self.text = path.read_text()
        self.folder = Path(tempfile.mkdtemp())
        self.port = os.environ["QRX_SERVER"].rpartition(":")[2]
        if "qrx-server serve" in self.text:
            with socket.create_server(("127.0.0.1", 0)) as free:
                self.port = str(free.getsockname()[1])
        else:
            shutil.copy(os.environ["QRX_PASSWORD_FILE"], self.folder / "password")
        self.shell = None
        self.names = {"__name__": "__main__"}
        self.session = None

    # -- Kinds of blocks -------------------------------------------------------------------

    def console(self, code, _):
        made = ""
        for command, expected in re.findall(r"^\$ ((?:.*\\\n)*.*)\n((?:(?!\$ ).*\n)*)", code,
                                            re.M):
            self.shell = self.shell or Shell(self.folder)
            found, status = self.shell.run(self.inward(command))
            made += f"$ {command}\n" + self.held(command, expected, found)
            if status and "qrx: " not in expected and not self.update:
                self.fail(f"{command}\nended with {status}")
        return made, None

    def pycon(self, code, _):
        made = ""
        for source, expected in re.findall(r"^(>>> .*\n(?:(?:\.\.\. .*\n)+(?:\.\.\.\n)?)?)"
                                           r"((?:(?!>>> ).*\n)*)", code, re.M):
            plain = re.sub(r"^(>>> |\.\.\. ?)", "", source, flags=re.M)
            unit = codeop.compile_command(self.inward(plain) + "\n", str(self.path), "single")
            made += source + self.held(source, expected, self.python_output(unit))
        return made, None

    def python(self, code, expected):
        self.names = dict(self.session or self.names)
        found = self.python_output(compile(self.inward(code), str(self.path), "exec"))
        self.session = self.session or self.names
        if found.startswith("Traceback") or "\nTraceback" in found:  # errors are for pycon
            self.fail(f"{code}gave:\n{found}")
            return code, expected
        return code, self.held(code, expected, found)

    def python_output(self, unit):
        said = io.StringIO()
        before = os.getcwd()
        os.chdir(self.folder)
        with contextlib.redirect_stdout(said), contextlib.redirect_stderr(said):
            try:
                exec(unit, self.names)
            except Exception as error:
                said.write("Traceback (most recent call last):\n  ...\n")
                said.write("".join(traceback.format_exception_only(error)))
        os.chdir(before)
        return lines_of(said.getvalue())

    def compiled(self, compiler, suffix, code, expected):
        build = Path(os.environ["QRX_LIBRARY"]).parent
        (self.folder / f"program{suffix}").write_text(self.inward(code))
        found = ""
        for command in ([*compiler, "-Wall", "-Wextra", "-Werror", f"-I{ROOT}/include", "-o",
                         "program", f"program{suffix}", f"-L{build}", "-l:libqrx.so.1"],
                        ["./program"]):
            done = subprocess.run(command, cwd=self.folder, capture_output=True, text=True)
            found += done.stdout + done.stderr
            if done.returncode:
                self.fail(f"{code}\n{command[0]} ended with {done.returncode}:\n{found}")
                break
        return code, self.held(code, expected, found)

    def c(self, code, expected):
        return self.compiled(["cc", "-std=c99", "-pedantic-errors"], ".c", code, expected)

    def cpp(self, code, expected):
        return self.compiled(["c++", "-std=c++20"], ".cpp", code, expected)

    # -- Around them -----------------------------------------------------------------------

    def inward(self, text):
        return re.sub(rf"\b{SHOWN_PORT}\b", self.port, text)

    def held(self, code, expected, found):
        """What the page shall show, after comparing."""
        found = re.sub(rf"\b{self.port}\b", SHOWN_PORT, lines_of(found))
        if agree(expected or "", found):
            return expected
        if self.update:
            return found
        self.fail(f"{lines_of(code)}gave:\n{found}and not:\n{expected or ''}")
        return expected

    def fail(self, text):
        self.failed += 1
        print(f"{self.path.name}: {text}\n")

    def block(self, match):
        kind, code, expected = match.groups()
        if kind not in TRANSCRIPTS + PROGRAMS:
            return match[0]
        self.ran += 1
        if kind in TRANSCRIPTS and expected is not None:
            self.fail("a transcript has its output in itself, not in a text block below")
            return match[0]
        code, output = getattr(self, kind)(code, expected)
        return f"```{kind}\n{code}```\n" + (f"\n```text\n{output}```\n" if output else "")

    def run(self):
        self.ran = 0
        text = BLOCK.sub(self.block, self.text)
        if self.update and text != self.text:
            self.path.write_text(text)
        if self.shell:
            self.shell.close()
        shutil.rmtree(self.folder)
        print(f"{self.path.name}: {self.ran} blocks run, {self.failed} failures")
        return self.ran > 0 and self.failed == 0


if __name__ == "__main__":
    pages = [argument for argument in sys.argv[1:] if argument != "--update"]
    good = [Page(Path(page), "--update" in sys.argv).run() for page in pages]
    sys.exit(0 if good and all(good) else 1)
