"""Trees to index, made from a seed: files of many shapes, their edits, and what a scan finds."""

import os
import subprocess
import time

WORDS = ("needle", "Needle", "int", "return", "{", "}", "x_y", "\u212a", "\u0130", "\u00e9",
         "\U0001f600", "%", "\t", "foo(bar)", "0123456789")
LINE_ENDS = ("\n",) * 6 + ("\r\n", "\r", "\v", "\x1c", "\u2028", "")
DIRECTORIES = ("", "src/", "src/deep/er/still/", "a b/", "\u00fcmlaut/", "tab\there/")
ENDINGS = (".c", ".h", ".py", ".json", ".txt", "")
BINARY_TEST_BYTES = 8000
SETTLED_S = 10_000_000  # how long ago a file was written that a run may take as it is


def content(random):
    """A file's bytes, of one of many shapes."""
    shape = random.randrange(12)
    if shape == 0:
        return b""
    if shape == 1:
        return b"\x7fELF\0" + random.randbytes(500)
    if shape == 2:
        return random.randbytes(random.randrange(2000)).replace(b"\0", b"\n")
    if shape == 3:
        return b"\xef\xbb\xbf" + lines(random, 5)
    if shape == 4:
        return lines(random, 3000)
    if shape == 5:
        return b"needle " + b"x" * random.randrange(70_000)
    return lines(random, random.randrange(300))


def lines(random, count):
    """About so many lines, drawn from a few that are drawn first."""
    known = ["".join(f"{random.choice(WORDS)} " for _ in range(random.randrange(12)))
             + random.choice(LINE_ENDS) for _ in range(40)]
    return "".join(f"{random.randrange(10_000)} {random.choice(known)}"
                   for _ in range(count)).encode()


def tree(random, count):
    """{path: bytes} of so many files."""
    return {f"{random.choice(DIRECTORIES)}f{i}{random.choice(ENDINGS)}": content(random)
            for i in range(count)}


def edits(random, files, count):
    """[(path, bytes or None)]: files to change, to add and to remove."""
    result = []
    paths = sorted(files)
    for i in range(count):
        path = random.choice(paths) if paths and random.random() < 0.7 else f"new/{i}.c"
        result.append((path, None if random.random() < 0.2 else content(random)))
    return result


def apply(files, changes):
    """The files after the edits."""
    after = dict(files)
    for path, text in changes:
        if text is None:
            after.pop(path, None)
        else:
            after[path] = text
    return after


def write(root, changes, random):
    """Writes files, or removes those whose bytes are None. Half of them seem old."""
    for path, text in changes:
        file = root / path
        if text is None:
            file.unlink(missing_ok=True)
            continue
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(text)
        if random.random() < 0.5:
            moment = time.time_ns() - SETTLED_S * 10**9 + random.randrange(SETTLED_S) * 10**8
            os.utime(file, ns=(moment, moment))


def make_repository(root):
    subprocess.run(["git", "init", "-q", root], check=True)


def scan(files, needle):
    """{path: [(line number, line)]}: what a search for the needle is to find."""
    found = {path: matching_lines(text, needle) for path, text in files.items()}
    return {path: matches for path, matches in found.items() if matches}


def is_binary(text):
    return b"\0" in text[:BINARY_TEST_BYTES]


def matching_lines(text, needle):
    if is_binary(text):
        return []
    decoded = text.removeprefix(b"\xef\xbb\xbf").decode(errors="replace")
    return [(number, line) for number, line in enumerate(decoded.splitlines(), 1)
            if needle in line]
