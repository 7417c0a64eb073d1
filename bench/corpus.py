"""The trees that are searched: copies below build/bench, committed to git so that every tool can
look at the same files."""

import dataclasses
import os
import pathlib
import shutil
import subprocess

PROJECT = pathlib.Path(__file__).resolve().parent.parent
SCRATCH = PROJECT / "build" / "bench"
KERNEL_TARBALL = pathlib.Path("/usr/src/linux-source-6.1.tar.xz")
MIDDLE_DIRECTORIES = ("kernel", "mm", "fs", "net")

GIT = ["git", "-c", "gc.auto=0", "-c", "core.autocrlf=false", "-c", "commit.gpgsign=false",
       "-c", "user.name=bench", "-c", "user.email=bench@localhost"]


@dataclasses.dataclass
class Corpus:
    """A tree to search. `large` says which targets hold for it."""
    name: str
    title: str
    root: pathlib.Path
    large: bool
    files: list  # paths of its regular files, as bytes, in git's order
    source_bytes: int

    @property
    def entries(self):
        """What lies at the top, to be named to tools that would look into .git and .codetext."""
        tops = sorted({path.split(b"/")[0].decode() for path in self.files})
        return [top for top in tops if not (self.root / top).is_symlink()]

    @property
    def csearch_index(self):
        return SCRATCH / f"{self.name}.csearchindex"

    @property
    def index_directory(self):
        return self.root / ".codetext"

    def environment(self):
        return dict(os.environ, CSEARCHINDEX=str(self.csearch_index), LC_ALL="C.UTF-8",
                    CODETEXT_CONFIG="")


def open_corpus(name):
    """The corpus `kernel`, `middle` or a copy of the tree at any other path."""
    if name == "kernel":
        return _made("kernel", "linux-source-6.1", True, lambda to: _unpack(to, ()))
    if name == "middle":
        title = "linux-source-6.1: " + " ".join(MIDDLE_DIRECTORIES)
        return _made("middle", title, False, lambda to: _unpack(to, MIDDLE_DIRECTORIES))
    tree = pathlib.Path(name).resolve()
    copy = f"tree-{tree.name}"
    shutil.rmtree(SCRATCH / copy, ignore_errors=True)
    return _made(copy, str(tree), False, lambda to: _copy(tree, to))


def _made(name, title, large, make):
    root = SCRATCH / name
    if not (root / ".git").exists():
        print(f"bench: making {root}", flush=True)
        unfinished = SCRATCH / f"{name}.unfinished"
        shutil.rmtree(unfinished, ignore_errors=True)
        shutil.rmtree(root, ignore_errors=True)
        unfinished.mkdir(parents=True)
        make(unfinished)
        _commit(unfinished)
        unfinished.rename(root)
    _restore(root)
    files = _files(root)
    size = sum((root / os.fsdecode(path)).stat().st_size for path in files)
    return Corpus(name, title, root, large, files, size)


def _unpack(to, members):
    top = KERNEL_TARBALL.name.removesuffix(".tar.xz")
    subprocess.run(["tar", "-xJf", KERNEL_TARBALL, "-C", to, "--strip-components=1"]
                   + [f"{top}/{member}" for member in members], check=True)


def _copy(tree, to):
    if (tree / ".git").exists():
        subprocess.run(["git", "clone", "-q", "--depth", "1", tree.as_uri(), to], check=True)
    else:
        shutil.copytree(tree, to, symlinks=True, dirs_exist_ok=True,
                        ignore=shutil.ignore_patterns(".codetext"))


def _commit(root):
    """Commits every file, ignored ones too: git's list of files is then the whole tree."""
    if not (root / ".git").exists():
        subprocess.run([*GIT, "init", "-q", root], check=True)
        subprocess.run([*GIT, "add", "-Af"], cwd=root, check=True)
        subprocess.run([*GIT, "commit", "-qnm", "The tree to search"], cwd=root, check=True)


def _restore(root):
    """Undoes what a benchmark that was cut short left changed."""
    subprocess.run([*GIT, "checkout", "-q", "--", "."], cwd=root, check=True)


def _files(root):
    listed = subprocess.run([*GIT, "ls-files", "-z"], cwd=root, check=True, capture_output=True)
    paths = [root / os.fsdecode(path) for path in listed.stdout.split(b"\0") if path]
    return [os.fsencode(path.relative_to(root)) for path in paths
            if path.is_file() and not path.is_symlink()]
