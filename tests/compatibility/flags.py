"""Holds the table of docs/COMPATIBILITY.md against `rg --help` and against codetext: each flag has a
row; codetext takes those that the row calls the same or different, and refuses the others with a
reason. Of the names that ripgrep's help does not list, such as --no-trim, none is unknown."""

import pathlib
import re
import subprocess
import sys
import tempfile

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(PROJECT / "soak"))

import program
import ripgrep

ROW = re.compile(r"\| `--([a-z0-9-]+)(=[^`]*)?` \| (?:`-(.)`)? ?\| (same|differs|not) \|")
FLAG = re.compile(r"^ {4}(?:-(.)(?: \S+)?, )?--([a-z0-9-]+)(?:=(\S+))?$", re.MULTILINE)
VALUES = {"encoding": "utf-8", "engine": "auto", "path-separator": "/", "sort": "path", "sortr": "path",
          "color": "never", "colors": "path:none", "hyperlink-format": "none", "type": "c", "type-not": "c",
          "file": "pattern", "glob": "*", "iglob": "*"}


def text_of(*command):
    return subprocess.run(command, capture_output=True, check=True).stdout.decode()


def faults_of_table(rows, rg):
    """Where the table and ripgrep's help are not of one mind."""
    flags = {name: (short, bool(value)) for short, name, value in FLAG.findall(text_of(rg, "--help"))}
    table = {name: (short, bool(value)) for name, value, short, _ in rows}
    if len(flags) < 100:
        yield f"only {len(flags)} flags found in ripgrep's help"
    for name in sorted(flags.keys() ^ table.keys()):
        yield f"--{name} is {'not in ' + ('the table' if name in flags else 'ripgrep')}"
    for name in flags.keys() & table.keys():
        if flags[name] != table[name]:
            yield f"--{name}: the table says {table[name]}, ripgrep {flags[name]}"


def faults_of_rows(rows, root):
    """Where codetext does other than the table says."""
    for name, value, short, verdict in rows:
        given = VALUES.get(name, "1")
        forms = [[f"--{name}={given}" if value else f"--{name}"]]
        if short:
            forms.append([f"-{short}", given] if value else [f"-{short}"])
        for form in forms:
            outcome = program.run(root, "search", "code", *form, "--", "needle")
            reason = outcome.errors.startswith(f"codetext: --{name}: ") and outcome.errors.count("\n") == 1
            is_refused = outcome.status == 2 and reason and not outcome.output
            is_taken = outcome.status in (0, 1) and "unknown" not in outcome.errors
            if not (is_refused if verdict == "not" else is_taken):
                yield f"{form} should be {verdict}: status {outcome.status}, {outcome.errors.strip()}"


def faults_of_names(rows, root, rg):
    """Names that ripgrep completes and codetext does not know."""
    names = set(re.findall(r"--[a-z0-9-]+", text_of(rg, "--generate", "complete-bash")))
    for name in sorted(names - {f"--{row[0]}" for row in rows}):
        outcome = program.run(root, "search", "code", name, "--", "needle")
        if "unknown option" in outcome.errors:
            yield f"{name} is unknown"


def main():
    rows = ROW.findall((PROJECT / "docs" / "COMPATIBILITY.md").read_text())
    rg = ripgrep.found()
    with tempfile.TemporaryDirectory() as directory:
        root = pathlib.Path(directory)
        (root / "needle").write_text("needle 1\n")
        (root / "pattern").write_text("needle\n")
        program.good(root, "index")
        faults = list(faults_of_rows(rows, root))
        if rg:
            faults += [*faults_of_table(rows, rg), *faults_of_names(rows, root, rg)]
    print("\n".join([*faults, f"flags: {len(rows)} in the table, {len(faults)} faults"]))
    if faults:
        return 1
    if not rg:
        print("flags: skipped the comparison with `rg --help`: no ripgrep 15 (scripts/setup --soak)")
        return ripgrep.STATUS_WITHOUT_RIPGREP
    return 0


if __name__ == "__main__":
    sys.exit(main())
