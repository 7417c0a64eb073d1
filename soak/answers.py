"""Compares the answers of both layouts, from the index and from the disk, with a scan in Python.

The files have what a search may stumble over: line ends and byte-order marks at the edges of chunks,
NULs, ill-formed bytes, letters with odd cases, lines of a megabyte, JSON at the size from which it
stays on disk, hostile names."""

import dataclasses
import itertools
import random as randoms
import re
import unicodedata

import program
import trees

LAYOUTS, SOURCES = ("compressed", "code_chunks"), ("index", "disk")
WORDS = ("needle", "Needle", "NEE", "dle", "skip", "SKIP", "\u017fkip", "stra\u00dfe", "STRA\u1e9eE",
         "\u0131d", "\u03a3\u0391\u03a3", "\u03c3\u03b1\u03c2", "\u00e9t\u00e9", "\u00c9T\u00c9",
         "e\u0301", "\U0001f600", "foo(bar)", "a.b", "x_y", " ", "\t", "\ufeff", "\ufffd",
         "0123456789", "%\\\"", "[]{}")
# The layout code_chunks does not look for them where case is ignored (docs/DESIGN.md).
FOLD_INTO_ASCII = ("s\u212aip", "\u0130d")
ORBITS = ("kK\u212a", "sS\u017f", "\u00df\u1e9e", "\u03c3\u03c2\u03a3", "\u0130", "\u0131")
ILL_FORMED = (b"\xff", b"\xe2\x82", b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\xc0\xaf", b"\xf0\x9f\x98")
LINE_ENDS = tuple(end.encode() for end in ("\n", "\r\n", "\r", "\v", "\f", "\x1c", "\x85", "\u2028"))
NAMES = ("a.c", "-e.c", "--", "new\nline.c", "tab\t\x1b[1m.c", "'q\".c", "*?[x]{y}.c", "\\.c", "!x.c",
         "\u00fc.c", " .c", "#~%41?", "data.json", "more.json", "x.json/y.c", ":a.c")
DIRECTORIES = ("", "d/", "-d/", "d e/f/")
CHUNK_LINES, LARGE_DATA_BYTES = 64, 32768
MARKS = "".join(mark for mark in map(chr, range(1 << 16)) if unicodedata.category(mark)[0] == "M")
NOT_WORD = f"[^\\w{MARKS}]"
SHRINKS = ("queries", "pieces")
QUERIES = 40


@dataclasses.dataclass
class Query:
    """`python` finds what the patterns find, in its first group; a plain text has none."""
    patterns: list
    options: list
    python: str = ""
    ignores_case: bool = False
    mode: tuple = ()  # how much is shown
    place: str = ""  # a file to look in; all if empty

    def arguments(self):
        patterns = itertools.chain(*(("-e", pattern) for pattern in self.patterns))
        return [*self.options, *map(str, self.mode), *patterns, "--", *filter(None, [self.place])]

    def column(self, line):
        """Where the first match on the line begins, in characters from 0; None without a match."""
        if self.python:
            match = re.search(self.python, line)
            return match and match.start(1)
        needle, text = self.patterns[0], line
        if self.ignores_case:
            needle, text = needle.lower(), line.lower()
        at = text.find(needle)
        if at < 0 or len(text) == len(line):
            return None if at < 0 else at
        ends = itertools.accumulate(len(letter.lower()) for letter in line)
        return sum(end <= at for end in ends)


@dataclasses.dataclass
class Case:
    seed: int
    pieces: list  # [(path, bytes)]: those with one path are one file
    queries: list
    is_repository: bool
    is_refreshed: bool  # half of the pieces were there at a run before

    def __str__(self):
        return (f"answers, seed {self.seed}, git {self.is_repository}, refreshed {self.is_refreshed}"
                f"\nqueries: {[query.arguments() for query in self.queries[:3]]}"
                f"\npieces: {str(self.pieces)[:2000]}\n")


def make_case(seed):
    random = randoms.Random(seed)
    words = WORDS + (FOLD_INTO_ASCII if random.random() < 0.5 else ())
    names = random.sample([directory + name for directory in DIRECTORIES for name in NAMES], 25)
    pieces = [(name, piece) for name in names for piece in content(random, name, words)]
    queries = [query(random, words, pieces) for _ in range(QUERIES)]
    return Case(seed, pieces, queries, random.random() < 0.5, random.random() < 0.5)


def content(random, name, words):
    """The pieces of a file."""
    shape, words = random.randrange(8), random.sample(words, 4)
    edge = CHUNK_LINES * random.choice((0, 1, 2, 8, 16)) + random.choice((-1, 0, 1))
    lines = [line(random, words, number % CHUNK_LINES in (0, 1) or random.random() < 0.5)
             for number in range(1, (edge if random.random() < 0.6 else random.randrange(40)) + 1)]
    if shape == 0:
        lines = [b"~" * trees.BINARY_TEST_BYTES, *(piece + b"\0" for piece in lines)]
    if shape == 1:
        lines = [b"\xef\xbb\xbf" * random.choice((1, 1, 2)), *lines]
    if shape == 2:
        filler = b"~" * (random.choice((4096, 65536, 1 << 20)) - random.randrange(12))
        lines.insert(random.randrange(len(lines) + 1), filler + line(random, words, True))
    if shape == 3:
        lines = [random.randbytes(random.randrange(3000)).replace(b"\0", b"\n")]
    if name.endswith(".json"):
        size = LARGE_DATA_BYTES + random.choice((-1, 0, 1)) - text_bytes(b"".join(lines) + b"~")
        lines.append(b"~" * (size + 1))
    elif random.random() < 0.5 and lines:
        lines[-1] = lines[-1].rstrip()
    return lines or [b""]


def line(random, words, is_full):
    parts = [random.choice(words).encode() for _ in range(random.randrange(1, 9) if is_full else 0)]
    if random.random() < 0.1:
        parts.insert(random.randrange(len(parts) + 1), random.choice(ILL_FORMED))
    return b"".join(parts) + random.choice(LINE_ENDS[:3] if is_full else LINE_ENDS)


def text_bytes(text):
    return len("\n".join(text.decode(errors="replace").splitlines()).encode())


def query(random, words, pieces):
    paths = [path for path, _ in pieces]
    result = Query([], [], place=random.choice(paths) if random.random() < 0.1 else "")
    result.mode = random.choice(((), (), ("-c",), ("-l",), ("--files-without-match",), ("--column",),
                                 ("-C", random.randrange(1, 70)), ("-m", random.randrange(5)),
                                 ("-v",), ("-b",), ("--passthru",),
                                 (random.choice(("--and", "--not")), random.choice(words)),
                                 ("--limit", random.choice((0, 1, 7, 500)))))
    bound = random.choice(("", "", "", "-w", "-x"))
    is_fixed, count = random.random() < 0.6, random.choice((1, 1, 1, 1, 1, 2, 40))
    drawn = [(plain if is_fixed else expression)(random, words, pieces) for _ in range(count)]
    alphabet = set("".join(WORDS + FOLD_INTO_ASCII)) | set(map(chr, range(128)))
    result.ignores_case = random.random() < 0.5 and set("".join(drawn)) <= alphabet
    result.patterns = drawn
    result.options = [*(["-F"] if is_fixed else []), *(["-i"] if result.ignores_case else []),
                      *([bound] if bound else [])]
    if result.mode[:1] in (("--and",), ("--not",)) and result.options != ["-F"]:
        result.mode = ("-v",)
    if is_fixed and count == 1 and not bound:
        return result
    python = [re.escape(pattern) if is_fixed else pattern for pattern in drawn]
    if result.ignores_case:
        python = [folded(pattern) for pattern in python]
    any_of = "(" + "|".join(f"(?:{pattern})" for pattern in python) + ")"
    result.python = {"": any_of, "-x": f"^{any_of}$",
                     "-w": f"(?:^|{NOT_WORD}){any_of}(?:$|{NOT_WORD})"}[bound]
    return result


def plain(random, words, pieces):
    """A part of some line, or words."""
    lines = random.choice(pieces)[1].decode(errors="replace").replace("\0", "\n").splitlines()
    if not lines or random.random() < 0.4:
        return "".join(random.choices(words, k=random.randrange(1, 4)))
    text = random.choice(lines)
    at = random.choice((0, random.randrange(max(0, len(text) - 30), len(text) + 1)))
    return text[at:at + random.choice((1, 2, 3, 4, 9, 60))]


def expression(random, words, _):
    """Means the same to RE2 and to Python. Nothing that fits anywhere stands before a `.*`."""
    a, b, c = (escaped(random.choice(words)) for _ in range(3))
    return random.choice((f"{a}.*{b}", f"{a}{b}?{c}.", f"{a}|{b}{c}|{c}", f"^{a}", f"{a}$", f"({a}|{b})+{c}",
                          f"{a}.{{0,9}}{b}", "[0-9]{7,}", f"[0-9]+{b}", "^$", "^.{1,3}$", f"{a}\\x00", "\\x00",
                          f"^({a}|.)({b}|{c})", f"{a}[^a-f]{b}", f"[A-F]+{a}?", f"(?:{a}){{2}}|{b}{c}", "x*"))


def escaped(text):
    return "".join(letter if letter.isalnum() or letter == "_" or ord(letter) > 127 else "\\" + letter
                   for letter in text)


def folded(pattern):
    """The pattern with each letter in place of those that RE2 takes for it when case is ignored."""
    def class_of(match):
        if len(match[0]) > 1:
            return match[0].replace("A-F", "A-Fa-f").replace("a-f", "a-fA-F")
        orbit = next((orbit for orbit in ORBITS if match[0] in orbit), None)
        return f"[{orbit or match[0].lower() + match[0].upper()}]"
    return re.sub(r"\\x00|\\.|\[[^\]]*\]|[^\W\d_]", class_of, pattern)


def run(case, directory, counts):
    """Does the case in the new directory, and counts the answers. Throws Fault."""
    files = joined([*case.pieces, ("empty", b"")])
    lines = {path: lines_of(files[path]) for path in sorted(files, key=str.encode)}
    asks_all = not any(letter in text for letter in "\u212a\u0130"
                       for texts in lines.values() for text in texts)
    wanted = [(query, *expected(query, lines)) for query in case.queries]
    for layout in LAYOUTS:
        root = directory / layout
        prepare(case, files, root, layout)
        for (query, output, status, errors), source in itertools.product(wanted, SOURCES):
            if query.place and query.place not in files or query.ignores_case and not asks_all \
                    and (layout, source) == ("code_chunks", "index"):
                continue
            outcome = program.run(root, "search", "code", "-0", "--source", source,
                                  *query.arguments())
            counts["answers"] += 1
            check(outcome, (status, errors, output), f"{layout}, {source}: {query.arguments()}")


def prepare(case, files, root, layout):
    random = randoms.Random(case.seed)
    root.mkdir(parents=True)
    if case.is_repository:
        trees.make_repository(root)
    if case.is_refreshed:
        before = joined(case.pieces[::2]) | {"gone.c": b"".join(files.values())[:99999]}
        trees.write(root, before.items(), random)
        program.good(root, "index", "--layout", layout)
        trees.write(root, [("gone.c", None)], random)
    trees.write(root, files.items(), random)
    outcome = program.good(root, "index", "--layout", layout)
    kept = sum(path.endswith(".json") and text_bytes(text) > LARGE_DATA_BYTES
               for path, text in files.items())
    program.expect(f" {kept} kept on disk, 0 binary skipped, 0 unreadable" in outcome.output,
                   f"{kept} files should be kept on disk", outcome)
    program.good(root, "verify")


def joined(pieces):
    files = {}
    for path, piece in pieces:
        files[path] = files.get(path, b"") + piece
    return files


def lines_of(text):
    lines = text.decode(errors="replace").splitlines()
    return [lines[0].removeprefix("\ufeff"), *lines[1:]] if lines else []


def check(outcome, expected, name):
    if (outcome.status, outcome.errors, outcome.output) == expected:
        return
    pairs = zip((outcome.output + "\0").split("\n"), (expected[-1] + "\0").split("\n"))
    found, wanted = next((pair for pair in pairs if pair[0] != pair[1]), ("", ""))
    raise program.Fault(f"{name}: status {outcome.status}, {outcome.errors}found {found[:300]!r}, "
                        f"not {wanted[:300]!r}")


def expected(query, lines):
    """The output, with a NUL behind each path; the exit status, and what is said of a cut."""
    shown, amount = (*query.mode, "", "")[:2]
    parts = []
    found = 0
    for path, texts in lines.items():
        if query.place not in ("", path):
            continue
        if shown in ("--and", "--not") and any(amount in text for text in texts) != (shown == "--and"):
            continue
        columns = [query.column(text) for text in texts]
        if shown == "-v":
            columns = [None if column is not None else 0 for column in columns]
        matches = [number for number, column in enumerate(columns) if column is not None]
        if shown == "--files-without-match":
            parts += [] if matches else [f"{path}\0"]
        elif shown == "-C":
            parts += in_context(path, texts, matches, amount)
        elif shown == "--passthru":
            parts += groups_of(path, texts, matches, range(len(texts)))
        elif matches and shown in ("-c", "-l"):
            parts.append(f"{path}\0" + (f"{len(matches)}\n" if shown == "-c" else ""))
        elif shown not in ("-c", "-l"):
            parts += [f"{path}\0{number + 1}:"
                      + (f"{len(texts[number][:columns[number]].encode()) + 1}:"
                         if shown == "--column" else "")
                      + (f"{len(chr(10).join([*texts[:number], '']).encode())}:"
                         if shown == "-b" else "") + f"{texts[number]}\n"
                      for number in matches[:amount if shown == "-m" else None]]
        found += len(matches)
    output = ("--\n" if shown == "-C" else "").join(parts[:amount if shown == "--limit" else None])
    is_found = found > 0 if shown == "--passthru" else output != ""
    is_cut = shown == "--limit" and 0 < amount < len(parts)
    told = f"codetext: cut after {amount} results (--limit): there are more\n" if is_cut else ""
    return output, 0 if is_found else 1, told


def in_context(path, texts, matches, amount):
    """The groups of lines, each as a text."""
    near = sorted({number for match in matches
                   for number in range(max(0, match - amount), min(len(texts), match + amount + 1))})
    return groups_of(path, texts, matches, near)


def groups_of(path, texts, matches, shown):
    groups, last = [], None
    for number in shown:
        mark = ":" if number in matches else "-"
        text = f"{path}\0{number + 1}{mark}{texts[number]}\n"
        if last is not None and number == last + 1:
            groups[-1] += text
        else:
            groups.append(text)
        last = number
    return groups
