"""Runs codetext, and reads what it says."""

import collections
import dataclasses
import os
import pathlib
import subprocess

PROJECT = pathlib.Path(__file__).resolve().parent.parent
CODETEXT = os.environ.get("CODETEXT_PROGRAM", str(PROJECT / "build" / "release" / "codetext"))
READ_DISK = "codetext: read from the files on disk: "
NO_CHUNKS = ": has no chunks yet"
TIMEOUT_S = 120
# What belongs to the one who runs this has no say in which files git lists.
ENVIRONMENT = dict(os.environ, LC_ALL="C.UTF-8", CODETEXT_CONFIG="", GIT_CONFIG_GLOBAL="/dev/null",
                   GIT_CONFIG_SYSTEM="/dev/null")


class Fault(Exception):
    """codetext did what it must not do."""


@dataclasses.dataclass
class Outcome:
    status: int
    output: str
    errors: str


def run(root, *arguments):
    done = subprocess.run([CODETEXT, *arguments], cwd=root, env=ENVIRONMENT, capture_output=True,
                          timeout=TIMEOUT_S)
    return Outcome(done.returncode, done.stdout.decode(), done.stderr.decode())


def start(root, *arguments):
    return subprocess.Popen([CODETEXT, *arguments], cwd=root, env=ENVIRONMENT,
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def expect(holds, what, outcome):
    if not holds:
        raise Fault(f"{what}: status {outcome.status}\n{outcome.errors}{outcome.output[:2000]}")


def good(root, *arguments):
    """The outcome of a command that must end well and say nothing on standard error."""
    outcome = run(root, *arguments)
    expect(outcome.status == 0 and not outcome.errors, " ".join(arguments), outcome)
    return outcome


def search(root, needle):
    """(outcome, {path: [(line number, line)]}) of a search for the plain text."""
    outcome = run(root, "search", "code", "-F", "-0", "-e", needle)
    return outcome, parsed(outcome.output)


def parsed(output):
    answer = collections.defaultdict(list)
    for line in output.split("\n")[:-1]:
        path, _, rest = line.partition("\0")
        number, _, text = rest.partition(":")
        answer[path].append((int(number), text))
    return dict(answer)
