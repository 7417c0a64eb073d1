"""Gives codetext and ripgrep 15 the same trees and command lines; all that they print is the same.

docs/COMPATIBILITY.md says where they differ by design. What is generated stays away from that, or is
made equal here, with the reason."""

import dataclasses
import functools
import json
import os
import random as randoms
import shutil
import subprocess

import program
import trees

# What codetext does unless told otherwise. Paths are compared from two trees: the index is a
# directory that ripgrep would search.
BASE = ("--no-config", "--color=never", "--no-ignore", "--hidden", "--sort=path", "-n", "-H",
        "--no-heading")
ASCII_WORDS = ("needle", "Needle", "NEE", "dle", "skip", "SKIP", "foo(bar)", "a.b", "x_y", "x_y1", " ",
               "\t", "-", "--", ",", "0123456789", "%\\\"", "[]{}", "a", "aa", "ab", "$1")
# Letters with one small and one large form. Of the others, such as the Greek s, a plain text that
# ignores case finds those with the same lower case, ripgrep all forms.
WORDS = ASCII_WORDS + ("\u00e9t\u00e9", "\u00c9T\u00c9", "stra\u00dfe", "e\u0301", "\U0001f600", "\u0416\u0436")
# No name is the beginning of a directory's: codetext sorts whole paths by their bytes, ripgrep the
# names in each directory.
NAMES = ("a.c", "b.c", "b.h", "-e.c", "x.py", "q r.md", "B.C", "[x]{y}.c", "\u00fc.rs", "n", ".h.c", "m.json")
DIRECTORIES = ("", "", "d/", "d/e/", "d/e/f g/", "z/")
MAY_BE_EMPTY = ("x*", "", "|needle", "^$", "(ab)?$")
EACH_MATCH = ("-o", "--column", "--count-matches", "--vimgrep", "--json", "-b")
FLAGS = ((0.4, ("-i", "-s", "-S", "-i -s", "-S -i")), (0.2, ("-w", "-x", "-w -x", "-x -w")),
         (0.12, ("-v", "-v --no-invert-match")), (0.2, ("-m0", "-m1", "-m2", "-m7")),
         (0.2, ("-A1", "-B2", "-C3", "-C1 -A4", "-B0 -C2", "-A70", "--passthru")),
         (0.1, ("-q", "-j1", "-j3", "--no-mmap", "--line-buffered", "--block-buffered", "--engine=default",
                "-Eutf-8", "--sortr=path")))
SHAPES = ("", "", "", "-o", "-c", "--count-matches", "-l", "--files-without-match", "--vimgrep", "-o -c", "-c -l",
          "-l -c", "-c --include-zero", "--count-matches --include-zero", "--files")
FORMS = ("--column", "-b", "--heading", "-N", "-I", "-0", "--trim", "--no-heading", "-n", "-H", "-o",
         "--no-context-separator")
SEPARATORS = tuple(f"--{name}-separator={text}" for name in ("context", "field-match", "field-context")
                   for text in ("", "=", "\\t", "\\x00|", "\\\\", "::", "\\q\\"))
REPLACEMENTS = ("", "<$0>", "$1", "${1}x", "$1x", "$$", "\\$0", "$", "a$9b", "$name")
GLOBS = ("*.c", "!*.c", "*.{c,py}", "[ab].c", "![!ab].c", "?.c", "/a.c", "/d/*.c", "d/**", "!d", "!d/", "!/d/e",
         "**/e/**", "d/*", "n", "!n", "*", "!*", "**/a.c", "\\[x]*", "*.C", "B*")
TYPES = ("c", "py", "md", "json", "rust")
TREES = "ours", "theirs"
QUERIES = 60
SHRINKS = ("queries", "pieces")
STATUS_WITHOUT_RIPGREP = 77  # ctest's mark of a test that was skipped


@functools.cache
def found():
    """The path of ripgrep 15, or None."""
    for place in (os.environ.get("CODETEXT_RIPGREP"),
                  str(program.PROJECT / "build" / "deps" / "ripgrep" / "rg"), shutil.which("rg")):
        try:
            said = subprocess.run([place or "", "--version"], capture_output=True, check=False).stdout
        except OSError:  # not there, or for another machine
            continue
        if said.startswith(b"ripgrep 15."):
            return place
    return None


@dataclasses.dataclass
class Case:
    seed: int
    pieces: list  # [(path, bytes)]: those with one path are one file
    queries: list  # [(directory to be in, options, paths)]; what follows a "-f" is the file's text

    def __str__(self):
        return f"ripgrep, seed {self.seed}\nqueries: {self.queries[:3]}\npieces: {str(self.pieces)[:2000]}\n"


def make_case(seed):
    random = randoms.Random(seed)
    words = random.choice((ASCII_WORDS, WORDS))
    names = random.sample(sorted({at + name for at in DIRECTORIES for name in NAMES}), 16)
    pieces = [(name, piece) for name in names for piece in content(random, words)]
    # Without -a, ripgrep searches a binary file up to its first NUL, and codetext not at all.
    has_binary = random.random() < 0.3
    if has_binary:
        pieces.append((random.choice(names), b"\0 needle \0\n"))
    queries = [query(random, words, names, ["-a"] if has_binary else []) for _ in range(QUERIES)]
    return Case(seed, pieces, queries)


def content(random, words):
    """The pieces of a file: lines that end in LF. Not the other line ends that codetext knows; no
    bytes that are not UTF-8, which it shows as U+FFFD."""
    known = ["".join(random.choices(words, k=random.randrange(9))) for _ in range(12)]
    lines = [random.choice(known) + "\n" for _ in range(random.choice((0, 1, 5, 30, 63, 64, 65, 200)))]
    if lines and random.random() < 0.3:
        lines[-1] = lines[-1][:-1]
    if any(lines) and random.random() < 0.1:  # a mark alone is an empty line to codetext only
        lines[0] = "\ufeff" + lines[0]
    return [line.encode() for line in lines] or [b""]


def query(random, words, names, always):
    """One command line."""
    some = lambda share: random.random() < share
    is_fixed, is_json = some(0.4), some(0.15)
    drawn = plain if is_fixed else expression
    patterns = [drawn(random, words) for _ in range(random.choice((1, 1, 1, 2, 5)))]
    # To ripgrep, no two groups may have one name.
    patterns = [pattern.replace("<name>", f"<name{at or ''}>") for at, pattern in enumerate(patterns)]
    options = list(always) + ["-F"] * is_fixed
    for share, choices in FLAGS:
        if some(share):
            options += random.choice(choices).split()
    options += filters(random)
    if is_json:
        options = ["--json", *(option for option in options if option != "-q")]
    else:
        options += random.choice(SHAPES).split() + [flag for flag in FORMS if some(0.1)]
        options += [flag for flag in SEPARATORS if some(0.02)]
    # ripgrep finds an empty match between the bytes of a letter, and none at the end of a line without
    # LF, and shows it with -o.
    may_be_empty = any(pattern in MAY_BE_EMPTY for pattern in patterns)
    if may_be_empty:
        options = [option for option in options if option not in EACH_MATCH]
    elif some(0.12):
        # The columns and offsets of matches are those in the line as replaced, to ripgrep.
        options = [option for option in options if option not in ("--vimgrep", "--column", "-b")]
        options += ["-r", random.choice(REPLACEMENTS)]
    # Of the context after the last match that -m allows, ripgrep shows matches as such. With -v, it shows
    # the matches in lines of context, and replaces them.
    if any(option[:2] == "-m" for option in options) \
            or "-v" in options and {"-o", "-r", "--column", "--vimgrep", "--json"} & set(options):
        options = [option for option in options
                   if option[:2] not in ("-A", "-B", "-C") and option != "--passthru"]
    if "-o" in options or "-r" in options:
        # codetext trims the line in the file, ripgrep what is shown.
        options = [option for option in options if option != "--trim"]
    place = random.choice(("", "", "", "d"))
    searched = paths(random, names, options) if place == "" else []
    if "--files" not in options and some(0.1):
        options += ["-f", "".join(f"{pattern}\n" for pattern in patterns)]
    elif "--files" not in options:
        options += [text for pattern in patterns for text in ("-e", pattern)]
    return place, options, searched


def filters(random):
    """Globs, types and depths. A type beside a glob that includes has no effect in ripgrep."""
    options = []
    if random.random() < 0.15:
        options += [text for glob in random.choices(GLOBS, k=random.choice((1, 1, 2, 3)))
                    for text in (random.choice(("-g", "-g", "--iglob")), glob)]
    if random.random() < 0.2 and all(option[0] in "-!" for option in options):
        options.append(random.choice(("-t", "-T")) + random.choice(TYPES))
    return options + random.choice(([], [], [], [], [], ["-d1"], ["-d2"], ["-d0"], ["--max-depth=3"]))


def paths(random, names, options):
    """Some to search, in their order, for codetext sorts and ripgrep does not. A file that is named
    is searched by ripgrep whatever globs, types and depth say."""
    if random.random() < 0.7:
        return []
    has_filters = any(option[:2] in ("-g", "-t", "-T", "-d") or option[:5] in ("--igl", "--max")
                      for option in options)
    if has_filters or random.random() < 0.5:
        return random.choice((["d"], ["d", "z"], ["d/e", "z"], ["d/e"]))
    return sorted(random.sample(names, 2), key=str.encode)


def plain(random, words):
    return "".join(random.choices(words, k=random.randrange(1, 4)))


def expression(random, words):
    """Means the same to RE2 and to Rust's regex. Classes as \\w are ASCII's in the one and Unicode's
    in the other: they are drawn where the text is ASCII."""
    a, b, c = (escaped(random.choice(words)) for _ in range(3))
    forms = [f"{a}.*{b}", f"{a}{b}?{c}.", f"{a}|{b}{c}|{c}", f"^{a}", f"{a}$", f"({a}|{b})+{c}",
             f"{a}.{{0,9}}{b}", "[0-9]{7,}", f"(?P<name>{a}){b}", f"(?<name>[a-f]+){c}", "^.{1,3}$",
             f"^({a}|.)({b}|{c})", f"{a}[^a-f]{b}", f"[A-F]+{a}?", f"(?:{a}){{2}}|{b}{c}", f"(?i){a}",
             f"{a}*?{b}", f"(?i:{a}){b}", "[[:alpha:]]+", f"({a}|{a}{b})", ".", f"\\x61|{c}", "(a|ab)(c|b)?",
             *MAY_BE_EMPTY]
    if words is ASCII_WORDS:
        forms += [f"\\b{a}", f"\\w+{b}?", f"\\B{a}|{c}", "\\s+", "\\d{2}\\D", f"\\W{a}\\S"]
    return random.choice(forms)


def escaped(text):
    return "".join(letter if letter.isalnum() or letter in "_ " or ord(letter) > 127 or letter == "\t"
                   else "\\" + letter for letter in text)


def run(case, directory, counts):
    """Does the case in the new directory, and counts the comparisons. Throws Fault. Without ripgrep
    there is nothing to do."""
    if not found():
        return
    random, files = randoms.Random(case.seed), {}
    for path, piece in case.pieces:
        files[path] = files.get(path, b"") + piece
    for tree in TREES:
        (directory / tree / "d").mkdir(parents=True)
        trees.write(directory / tree, files.items(), random)
    program.good(directory / TREES[0], "index")
    for query in case.queries:
        if all((directory / TREES[0] / path).exists() for path in query[-1]):
            ask(directory, query)
            counts["comparisons with ripgrep"] += 1


def ask(directory, query):
    place, arguments, searched = query
    if "-f" in arguments:
        at = arguments.index("-f") + 1
        (directory / "patterns").write_text(arguments[at])
        arguments = [*arguments[:at], directory / "patterns", *arguments[at + 1:]]
    ours, theirs = (directory / tree / place for tree in TREES)
    told = subprocess.run([found(), *BASE, *arguments, "--", *searched], cwd=theirs, check=False,
                          capture_output=True, stdin=subprocess.DEVNULL, timeout=program.TIMEOUT_S)
    errors = told.stderr.decode()
    # That globs, types and depth leave no file is an error to ripgrep.
    status = 1 if errors.startswith("rg: No files were searched") else told.returncode
    wanted = program.Outcome(status, told.stdout.decode(), errors)
    own = program.run(ours, "search", "code", "--no-config", "--color=never", *arguments, "--", *searched)
    compare(own, wanted, query)


def compare(outcome, wanted, query):
    pair = outcome.output, wanted.output
    if "--json" in query[1]:
        pair = tuple(map(events, pair))
    if outcome.status == wanted.status and pair[0] == pair[1]:
        return
    lines = zip(*(text.split("\n") + ["(the end)"] for text in pair))
    line, other = next((two for two in lines if two[0] != two[1]), ("", ""))
    raise program.Fault(f"{query}: status {outcome.status}, {outcome.errors.strip()!r}, not "
                        f"{wanted.status}, {wanted.errors.strip()!r}; found {line[:300]!r}, not {other[:300]!r}")


# What both count alike. codetext reads only what the index names, so it searches fewer files and bytes.
COUNTS = ("searches_with_match", "matched_lines", "matches")


def events(output):
    """The JSON with what is compared, read as a strict consumer does: each key must be there."""
    shown = []
    for event in map(json.loads, output.splitlines()):
        kind, data = event["type"], event["data"]
        if kind in ("match", "context"):
            # codetext ends the last line of each file with LF.
            kept = {key: data[key] for key in ("path", "line_number", "absolute_offset", "submatches")}
            kept["lines"] = data["lines"]["text"].removesuffix("\n")
        else:
            kept = {key: data[key] for key in ("path", "binary_offset") if key in data}
            if kind != "begin":
                kept |= {key: data["stats"][key] for key in COUNTS}
        shown.append(json.dumps([kind, kept], sort_keys=True))
    return "\n".join(shown)
