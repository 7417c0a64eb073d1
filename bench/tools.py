"""The queries, and how each tool is asked them. Every tool searches the same files, gives line
numbers and no colour, and treats no file as ignored or hidden."""

import dataclasses
import subprocess

import corpus as corpora

CODETEXT = str(corpora.PROJECT / "build" / "release" / "codetext")
RIPGREP = str(corpora.PROJECT / "build" / "deps" / "ripgrep" / "rg")
PEERS = ("ripgrep", "git grep", "ugrep", "csearch")
LIMIT = 50


@dataclasses.dataclass
class Query:
    pattern: str
    group: str  # which target holds for it
    mode: str = "lines"  # what is asked for: lines, files, count, or the first LIMIT lines
    ignore_case: bool = False

    @property
    def title(self):
        option = {"lines": "", "files": " -l", "count": " -c", "limit": f" --limit {LIMIT}"}
        return self.pattern + (" -i" if self.ignore_case else "") + option[self.mode]

    @property
    def is_regex(self):
        return self.group.startswith("regex")

    @property
    def tools(self):
        """No peer ends a search after so many lines in all."""
        return ("codetext",) if self.mode == "limit" else ("codetext", *PEERS)


QUERIES = (
    Query("no_such_symbol_zq", "rare"),
    Query("kmem_cache_alloc_bulk", "rare"),
    Query("kmem_cache_alloc_bulk", "rare", mode="files"),
    Query("spin_lock_irqsave", "middling"),
    Query("spin_lock_irqsave", "middling", ignore_case=True),
    Query("return", "common"),
    Query("return", "common", mode="count"),
    Query("return", "common", mode="files"),
    Query("return", "limit", mode="limit"),
    Query(r"EXPORT_SYMBOL_GPL\(dev_", "regex with a literal"),
    Query("[a-z]+_probe_[0-9]+", "regex with a literal"),
    Query("[0-9]{7,}", "regex without a literal"),
)


def command(tool, query, corpus):
    """The tool's command line for the query; it is to run in the corpus's root."""
    options = ["-i"] if query.ignore_case else []
    options += {"lines": [], "files": ["-l"], "count": ["-c"],
                "limit": ["--limit", str(LIMIT)]}[query.mode]
    if tool == "codetext":
        return [CODETEXT, "search", "code", *options, "-e", query.pattern]
    numbers = ["-n"] if query.mode == "lines" else []
    if tool == "ripgrep":
        return [*_ripgrep(), *numbers, *options, "-e", query.pattern, "--", *corpus.entries]
    if tool == "git grep":
        syntax = "-P" if query.is_regex else "-F"
        return ["git", "-c", "core.quotePath=false", "grep", "--no-color", "-I", syntax, *numbers,
                *options, "-e", query.pattern]
    if tool == "ugrep":
        non_zero = ["-m1,"] if query.mode == "count" else []
        # -a, for it takes a text of the kernel's for binary; -p, for it follows links otherwise.
        return ["ugrep", "--color=never", "-rap", "--hidden", *numbers, *options, *non_zero, "-e",
                query.pattern, "--", *corpus.entries]
    return ["csearch", *numbers, *options, query.pattern]


def _ripgrep():
    return [RIPGREP, "--no-config", "--no-ignore", "--hidden", "--color=never"]


def list_files_command(corpus):
    """Ripgrep's listing of the same files: what a look at every directory costs."""
    return [*_ripgrep(), "--files", "--", *corpus.entries]


def index_commands(corpus):
    """Building an index from nothing: each tool's command, and what clears the way for it. An empty
    index directory stays, or an index further up would be taken for this tree's."""
    clear = ["sh", "-c", 'rm -rf "$1" && mkdir "$1"', "sh", str(corpus.index_directory)]
    return {
        "codetext": ([CODETEXT, "index"], clear),
        "csearch": (["cindex", "-reset", str(corpus.root)],
                    ["rm", "-f", str(corpus.csearch_index)]),
    }


def versions():
    """The first line of what each tool says its version is."""
    asked = {"codetext": [CODETEXT], "ripgrep": [RIPGREP], "git grep": ["git"], "ugrep": ["ugrep"]}
    said = {tool: subprocess.run([*command, "--version"], capture_output=True, text=True,
                                 check=True).stdout.split("\n")[0]
            for tool, command in asked.items()}
    package = subprocess.run(["dpkg-query", "-W", "codesearch"], capture_output=True, text=True)
    return said | {"csearch": package.stdout.strip().replace("\t", " ") or "codesearch"}
