"""An indexer, an editor, searchers and more indexers at once on one tree.

The editor gives each file one version after the other. A version stands in several lines of its
file, in different chunks, and every seventh version is that the file is gone. A search must find
one version of each file: none older than what a run of the indexer had seen that ended before the
search began, and none newer than what was written before it ended."""

import dataclasses
import os
import random as randoms
import threading
import time

import program
import trees
from program import expect

LINES = 200
VERSION_LINES = (1, 100, 190)
WAITS = "codetext: waiting for "
ANOTHER_RUNS = " is working on the index"
STALE = " have changed since they were indexed and were searched as they are"
VANISHED = ": No such file or directory"  # between the listing and the reading
SHRINKS = ("searchers", "indexers", "files")
FILES, SEARCHERS, INDEXERS = 60, 8, 3
LIMIT_S = 15


@dataclasses.dataclass
class Case:
    seed: int
    files: list
    searchers: list  # their numbers
    indexers: list
    seconds: float
    is_repository: bool

    def __str__(self):
        return (f"load, seed {self.seed}: {len(self.files)} files, {len(self.searchers)} searchers, "
                f"{len(self.indexers)} indexers, {self.seconds} s\n")


def make_case(seed, seconds):
    return Case(seed, [f"d{i % 5}/f{i}.c" for i in range(FILES)], list(range(SEARCHERS)),
                list(range(INDEXERS)), min(seconds, LIMIT_S), seed % 2 == 0)


def is_gone(version):
    return version % 7 == 6


def text_of(path, version):
    return "".join(f"version {version} of {path}\n" if number in VERSION_LINES else
                   f"line {number} {hash((path, number))}\n" for number in range(1, LINES + 1))


class Load:
    """One case while it runs. `begun`, `written` and `indexed` have a version for each file."""

    def __init__(self, case, root, counts):
        self.case, self.root, self.counts = case, root, counts
        self.begun = dict.fromkeys(case.files, 0)
        self.written = dict(self.begun)
        self.indexed = dict(self.begun)
        self.lock = threading.Lock()
        self.end = 0.0
        self.faults = []

    def run(self):
        self.root.mkdir(parents=True)
        if self.case.is_repository:
            trees.make_repository(self.root)
        for path in self.case.files:
            self.write(path, 0)
        program.good(self.root, "index")
        self.end = time.monotonic() + self.case.seconds
        workers = [(self.edit, 0), *((self.search, i) for i in self.case.searchers),
                   *((self.index, i) for i in self.case.indexers)]
        threads = [threading.Thread(target=self.repeat, args=worker) for worker in workers]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        if self.faults:
            raise program.Fault(self.faults[0])
        program.good(self.root, "index")
        program.good(self.root, "verify")
        self.indexed = dict(self.written)
        self.search(randoms.Random(0))

    def repeat(self, step, number):
        """Does the step until the time is over or something has failed."""
        random = randoms.Random(self.case.seed * 1000 + number)
        while time.monotonic() < self.end and not self.faults:
            try:
                step(random)
            except Exception as fault:
                self.faults.append(str(fault) or repr(fault))

    def write(self, path, version):
        """Puts a version in place at once: nobody can read half of it."""
        file = self.root / path
        self.begun[path] = version
        if is_gone(version):
            file.unlink()
        else:
            file.parent.mkdir(exist_ok=True)
            unfinished = self.root.parent / "unfinished"
            unfinished.write_text(text_of(path, version))
            os.replace(unfinished, file)
        self.written[path] = version

    def edit(self, random):
        for path in random.sample(self.case.files, min(5, len(self.case.files))):
            self.write(path, self.written[path] + 1)
            self.counts["edits"] += 1
        time.sleep(random.random() * 0.05)

    def index(self, random):
        seen = dict(self.written)
        # Some wait for the run that is under way, some do not.
        waits = random.random() < 0.3
        outcome = program.run(self.root, "index", *([] if waits else ["--no-wait"]))
        if not waits and outcome.status == 2 and ANOTHER_RUNS in outcome.errors:
            self.counts["runs refused"] += 1
            return
        problems = [line for line in outcome.errors.splitlines() if WAITS not in line]
        expect(outcome.status == 0 and all(line.endswith(VANISHED) for line in problems),
               "index under load", outcome)
        with self.lock:
            self.counts["runs"] += 1
            self.indexed = {path: max(seen[path], self.indexed[path]) for path in seen}

    def search(self, random):
        with self.lock:
            least = self.indexed
        outcome, answer = program.search(self.root, random.choice(("version", " of d")))
        most = dict(self.begun)
        said = [line for line in outcome.errors.splitlines() if STALE not in line]
        read_disk = any(line.startswith(program.READ_DISK) for line in said)
        expect(outcome.status in (0, 1) and (read_disk or not said), "search under load", outcome)
        with self.lock:
            self.counts["searches"] += 1
            self.counts["searches that read the disk"] += read_disk
        for path in self.case.files:
            check(path, answer.pop(path, None), least[path], most[path])
        if answer:
            raise program.Fault(f"found in files that never were: {answer}")


def check(path, found, least, most):
    """Whether what was found in a file is one of its versions from `least` to `most`."""
    possible = [None if is_gone(version) else
                [(number, f"version {version} of {path}") for number in VERSION_LINES]
                for version in range(least, most + 1)]
    if found not in possible:
        raise program.Fault(f"{path}, of version {least} to {most}: {found}")


def run(case, directory, counts):
    """Does the case in the new directory, and counts what was done. Throws Fault."""
    Load(case, directory / "tree", counts).run()
