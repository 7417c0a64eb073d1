#!/usr/bin/env python3
"""Draws docs/session.svg: the session of README.md as a terminal shows it.

    docs/session.py [PROGRAM]            # writes docs/session.svg
    docs/session.py --check [PROGRAM]    # exit status 1 where the picture is out of date

PROGRAM is build/release/codetext unless given. Each command of the session runs on a terminal of
its own (a pty), one after the other in an empty directory. The picture shows the bytes that came
out of it. A time, such as "in 0.02 s", is shown as the README has it: the picture changes only
when the session does.
"""

import html
import os
import pathlib
import pty
import re
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
COLUMNS = 100
LINE_PIXELS, CHARACTER_PIXELS, MARGIN_PIXELS = 18, 7.85, 14
TIME = re.compile(r"in [0-9]+\.[0-9]+ s")
ESCAPE = re.compile(r"\x1b\[([0-9;]*)m")
STYLES = {"1": "bold", "31": "red", "32": "green", "33": "yellow", "34": "blue", "35": "magenta",
          "36": "cyan"}
# Colors that can be read on the ground of their own scheme.
LOOK = """
text { font: 13px ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace; white-space: pre }
rect { fill: #f6f8fa; stroke: #d0d7de } text { fill: #24292f } .prompt { fill: #6e7781 }
.command, .bold { font-weight: bold } .red { fill: #cf222e } .green { fill: #116329 }
.yellow { fill: #7d4e00 } .blue { fill: #0969da } .magenta { fill: #8250df } .cyan { fill: #1b7c83 }
@media (prefers-color-scheme: dark) {
rect { fill: #161b22; stroke: #30363d } text { fill: #e6edf3 } .prompt { fill: #8b949e }
.red { fill: #ff7b72 } .green { fill: #56d364 } .yellow { fill: #e3b341 } .blue { fill: #79c0ff }
.magenta { fill: #d2a8ff } .cyan { fill: #56d4dd } }
"""


def session():
    """The commands of the README's session, and all times that it shows."""
    text = (ROOT / "README.md").read_text()
    block = re.search(r"<!-- session: begin -->\n(.*?)<!-- session: end -->", text, re.DOTALL)[1]
    return re.findall(r"^    \$ (.*)", block, re.MULTILINE), TIME.findall(block)


def on_terminal(script, cwd, environment):
    """All that a shell with this script writes to its terminal."""
    child, terminal = pty.fork()
    if child == 0:
        os.chdir(cwd)
        os.execvpe("sh", ["sh", "-c", f"stty cols {COLUMNS} -onlcr\n{script}"], environment)
    output = b""
    try:
        while part := os.read(terminal, 65536):
            output += part
    except OSError:
        pass  # Linux reports the end of a terminal as an error
    os.close(terminal)
    os.waitpid(child, 0)
    return output.decode()


def played(commands, program):
    """Each command and what it shows: bytes of a terminal."""
    mark = "\x1eend\x1e"
    with tempfile.TemporaryDirectory() as scratch:
        path = pathlib.Path(scratch)
        (path / "bin").mkdir()
        (path / "bin" / "codetext").symlink_to(program)
        environment = {"PATH": f"{path}/bin:{os.environ['PATH']}", "HOME": scratch,
                       "TERM": "xterm-256color", "LC_ALL": "C.UTF-8", "GIT_CONFIG_NOSYSTEM": "1"}
        (path / "work").mkdir()
        script = "\n".join(f"{command}\nprintf '{mark}'" for command in commands)
        outputs = on_terminal(script, path / "work", environment).split(mark)
    if len(outputs) != len(commands) + 1:
        sys.exit("docs/session.py: a command ended the shell")
    return list(zip(commands, outputs))


def spans(line, style):
    """The line with its colors as SVG, and the style behind it."""
    drawn, at = "", 0
    for escape in [*ESCAPE.finditer(line), None]:
        text = html.escape(line[at:escape.start() if escape else None], quote=False)
        drawn += f'<tspan class="{" ".join(style)}">{text}</tspan>' if style and text else text
        if not escape:
            break
        at = escape.end()
        for code in escape[1].split(";"):
            style = style + [STYLES[code]] if code.strip("0") else []
    return drawn, style


def kept(output):
    """The output without what it erased again, such as a line of progress."""
    return re.sub(r"[^\n]*\r(\x1b\[K)?", "", output)


def wrapped(line):
    """The line in pieces of at most COLUMNS characters; escapes take none, a tab up to 8."""
    pieces, width = [""], 0
    for token in re.finditer(f"(?P<escape>{ESCAPE.pattern})|.", line):
        text = " " * (8 - width % 8) if token[0] == "\t" else token[0]
        if width == COLUMNS and not token["escape"]:
            pieces, width = [*pieces, ""], 0
        pieces[-1] += text
        width += 0 if token["escape"] else len(text)
    return pieces


def drawing(steps):
    lines = []
    for command, output in steps:
        for index, piece in enumerate(wrapped(f"$ {command}")):
            shown = html.escape(piece, quote=False)
            lines.append(f'<tspan class="prompt">$</tspan><tspan class="command">{shown[1:]}</tspan>'
                         if index == 0 else f'<tspan class="command">{shown}</tspan>')
        style = []
        for line in output.removesuffix("\n").split("\n") if output else []:
            for piece in wrapped(line):
                drawn, style = spans(piece, style)
                lines.append(drawn)
    width = round(COLUMNS * CHARACTER_PIXELS + 2 * MARGIN_PIXELS)
    height = len(lines) * LINE_PIXELS + 2 * MARGIN_PIXELS
    rows = "".join(
        f'<text x="{MARGIN_PIXELS}" y="{MARGIN_PIXELS + LINE_PIXELS * index + 13}" '
        f'xml:space="preserve">{line}</text>\n' for index, line in enumerate(lines) if line)
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
            f'viewBox="0 0 {width} {height}" role="img">\n'
            f"<title>codetext in a terminal: it indexes a small tree and searches it</title>\n"
            f"<style>{LOOK}</style>\n"
            f'<rect x="0.5" y="0.5" width="{width - 1}" height="{height - 1}" rx="6"/>\n'
            f"{rows}</svg>\n")


def main(arguments):
    is_check = "--check" in arguments
    programs = [argument for argument in arguments if argument != "--check"]
    program = pathlib.Path(programs[0] if programs else ROOT / "build/release/codetext").resolve()
    commands, times = session()
    steps = played(commands, program)
    left = iter(times)
    steps = [(command, TIME.sub(lambda found: next(left, found[0]), kept(output)))
             for command, output in steps]
    drawn, picture = drawing(steps), ROOT / "docs" / "session.svg"
    if not is_check:
        picture.write_text(drawn)
    elif picture.read_text() != drawn:
        sys.exit(f"{picture} is out of date: run docs/session.py")


main(sys.argv[1:])
