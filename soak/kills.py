"""Kills first runs, refreshes and upgrades, and looks at what they leave."""

import dataclasses
import pathlib
import random as randoms
import shutil
import signal
import time

import program
import trees
from program import expect

OLD_INDEXES = program.PROJECT / "tests" / "data" / "old_index"
NEEDLES = ("needle", "")
KILLS = 6
SHRINKS = ("kills", "edits", "files")


@dataclasses.dataclass
class Case:
    """`before` has the files that the index holds when the command begins; `edits` come after."""
    kind: str  # first, refresh or upgrade
    seed: int
    files: list  # [(path, bytes)]
    edits: list
    kills: list  # [(moment: 0 to 1 of the command's time, whether the next one goes on from it)]
    is_repository: bool
    layout: str
    old_index: str = ""  # for an upgrade: its name

    def before(self):
        if self.kind == "refresh":
            return dict(self.files)
        return old_files() if self.kind == "upgrade" else {}

    def after(self):
        base = old_files() if self.kind == "upgrade" else {}
        return trees.apply(base | dict(self.files), self.edits)

    def __str__(self):
        return (f"{self.kind}, seed {self.seed}, {self.layout} {self.old_index}\nkills: {self.kills}"
                f"\nedits: {[(path, text and len(text)) for path, text in self.edits]}"
                f"\nfiles: {[path for path, _ in self.files]}\n")


def old_files():
    top = OLD_INDEXES / "files"
    return {str(path.relative_to(top)): path.read_bytes()
            for path in top.rglob("*") if path.is_file()}


def make_case(seed, corpus):
    """A case of any kind; `corpus` has the files of a real tree, or none."""
    random = randoms.Random(seed)
    kind = random.choice(("first", "refresh", "refresh", "upgrade"))
    files = corpus or trees.tree(random, random.choice((20, 200, 400)))
    kills = [(random.random(), random.random() < 0.4) for _ in range(KILLS)]
    changes = trees.edits(random, files, random.choice((1, 10, 100))) if kind == "refresh" else []
    return Case(kind, seed, list(files.items()), changes, kills, random.random() < 0.5,
                random.choice(("compressed", "code_chunks")),
                random.choice(sorted(path.stem for path in OLD_INDEXES.glob("*.db"))))


def run(case, directory, counts):
    """Does the case in the new directory. Adds to `counts` how many kills were tried, and hit.
    Throws Fault."""
    root = directory / "tree"
    prepare(case, root)
    saved = directory / "saved"
    copy_index(root, saved)
    taken_s = timed(case, root)
    copy_index(saved, root)
    for moment, goes_on in case.kills:
        counts[case.kind, kill(case, root, taken_s * moment)] += 1
        check_interrupted(case, root)
        if goes_on:
            continue
        check_refreshed(case, root)
        copy_index(saved, root)
    check_refreshed(case, root)


def prepare(case, root):
    random = randoms.Random(case.seed)
    root.mkdir(parents=True)
    if case.is_repository:
        trees.make_repository(root)
    trees.write(root, [*case.before().items(), *case.files], random)
    if case.kind == "refresh":
        program.good(root, "index", "--layout", case.layout)
    if case.kind == "upgrade":
        index = root / ".codetext" / "index"
        index.mkdir(parents=True)
        shutil.copyfile(OLD_INDEXES / f"{case.old_index}.db", index / "code.db")
    trees.write(root, case.edits, random)


def copy_index(source, target):
    """Makes the index of one directory that of another, or removes it there as here."""
    shutil.rmtree(target / ".codetext", ignore_errors=True)
    if (source / ".codetext").exists():
        shutil.copytree(source / ".codetext", target / ".codetext")


def command(case):
    if case.kind == "first":
        return ["index", "--layout", case.layout]
    return ["upgrade" if case.kind == "upgrade" and case.seed % 2 else "index"]


def timed(case, root):
    """How long the command takes when it is left alone."""
    begin = time.monotonic()
    status = program.start(root, *command(case)).wait()
    taken_s = time.monotonic() - begin
    if status != 0:
        raise program.Fault(f"{command(case)}: status {status}")
    return taken_s


def kill(case, root, after_s):
    """Whether the kill hit a living process."""
    process = program.start(root, *command(case))
    time.sleep(after_s)
    process.kill()
    status = process.wait()
    if status not in (0, -signal.SIGKILL):
        raise program.Fault(f"{command(case)}: status {status}")
    return "hit" if status == -signal.SIGKILL else "missed"


def check_interrupted(case, root):
    """The index is whole, or not there yet; a search finds each file as it was or as it is."""
    verified = program.run(root, "verify")
    problems = verified.output.splitlines()
    expect(says_what_to_run(case, verified) or verified.status == 0
           or verified.status == 1 and all(line.endswith(program.NO_CHUNKS) for line in problems),
           "verify after a kill", verified)
    for needle in NEEDLES:
        outcome, answer = program.search(root, needle)
        if says_what_to_run(case, outcome):
            continue
        read_disk = outcome.errors.startswith(program.READ_DISK)
        expect(outcome.status in (0, 1) and (read_disk or not outcome.errors),
               "search after a kill", outcome)
        check_answer(case, needle, answer, read_disk)


def says_what_to_run(case, outcome):
    """A first run or an upgrade has not come far enough; the message names the command for it."""
    names = {"first": "`codetext index`", "upgrade": "`codetext upgrade`"}
    return outcome.status == 2 and case.kind in names and names[case.kind] in outcome.errors


def check_answer(case, needle, answer, read_disk):
    before, after = case.before(), case.after()
    old, new = trees.scan(before, needle), trees.scan(after, needle)
    known = {path for path, text in before.items() if not trees.is_binary(text)}
    for path in answer.keys() | old.keys() | new.keys():
        allowed = [new.get(path)]
        # The index has the old file until the run gets to it; the disk has it no more. And a
        # search does not look for what the index does not know yet.
        if case.kind != "first" and (not read_disk or path not in known):
            allowed.append(old.get(path))
        if answer.get(path) not in allowed:
            raise program.Fault(f"after a kill, {path!r} is neither as it was nor as it is for "
                                f"{needle!r} (disk: {read_disk}): {str(answer.get(path))[:300]}")


def check_refreshed(case, root):
    """One more run, and the index is whole and answers as a scan of the files."""
    outcome = program.run(root, "index")
    expect(outcome.status == 0 and not outcome.errors, "index after a kill", outcome)
    program.good(root, "verify")
    for needle in NEEDLES:
        outcome, answer = program.search(root, needle)
        expect(outcome.status in (0, 1) and not outcome.errors, "search after the run", outcome)
        if answer != trees.scan(case.after(), needle):
            raise program.Fault(f"after the run, the search for {needle!r} differs from a scan")


def read_corpus(directory):
    """{path: bytes} of the regular files of a real tree; nothing tells git to ignore any."""
    top = pathlib.Path(directory)
    return {str(path.relative_to(top)): path.read_bytes() for path in sorted(top.rglob("*"))
            if path.is_file() and not path.is_symlink()
            and not {".git", ".codetext", ".gitignore"} & set(path.relative_to(top).parts)}
