"""Whether the tools agree. Each answer is counted file by file; a file on which two tools differ
must be one that they are known to read differently, and is then left out of both counts."""

import collections
import os
import pathlib
import re
import subprocess

import tools

OTHER_BOUNDARIES = re.compile("[\v\f\x1c-\x1e\x85\u2028\u2029]|\r(?!\n)")


class WrongAnswer(Exception):
    """Two tools gave answers that differ for no reason that is known."""


def check(query, corpus, scratch):
    """How many lines the answer has, and the lines left out of the comparison: tool to
    {reason: lines}. Throws WrongAnswer."""
    if query.mode == "limit":
        return _check_limit(query, corpus, scratch), {}
    answers = {tool: _answer(tool, query, corpus, scratch) for tool in query.tools}
    ours = answers["codetext"]
    left_out = {}
    for peer in tools.PEERS:
        reasons = _reasons(peer, ours, answers[peer], corpus)
        if None in reasons:
            raise WrongAnswer(_difference(query, peer, ours, answers[peer], reasons[None]))
        if reasons:
            left_out[peer] = {reason: sum(max(ours[path], answers[peer][path]) for path in paths)
                              for reason, paths in reasons.items()}
    return sum(ours.values()), left_out


def run(command, corpus, scratch):
    """Runs a search with its output in a file, whose path is returned."""
    output = scratch / "answer"
    with open(output, "wb") as stream:
        done = subprocess.run(command, cwd=corpus.root, env=corpus.environment(), stdout=stream,
                              stderr=subprocess.PIPE)
    if done.returncode > 1:
        raise WrongAnswer(f"{command} failed: {done.stderr.decode(errors='replace')}")
    return output


def _answer(tool, query, corpus, scratch):
    """Lines of the answer for each path; for a list of files one each."""
    prefix = os.fsencode(corpus.root) + b"/"
    counts = collections.Counter()
    with open(run(tools.command(tool, query, corpus), corpus, scratch), "rb") as output:
        for line in output:
            # csearch gives whole paths, and does not end a line that its file does not end.
            for part in filter(None, line.rstrip(b"\n").split(prefix)):
                path, count = _parsed(part, query.mode)
                counts[path] += count
    return +counts


def _parsed(line, mode):
    if mode == "files":
        return line, 1
    if mode == "count":
        path, _, count = line.rpartition(b":")
        return path, int(count)
    return line.partition(b":")[0], 1


def _reasons(peer, ours, theirs, corpus):
    """The paths on which the two differ, by the reason; None for those without one."""
    differing = [path for path in ours.keys() | theirs.keys() if ours[path] != theirs[path]]
    indexed = _csearch_files(corpus) if peer == "csearch" and differing else None
    reasons = collections.defaultdict(list)
    for path in differing:
        not_there = indexed is not None and path not in indexed
        reason = "file not taken up by cindex" if not_there else _peculiarity(corpus, path)
        reasons[reason].append(path)
    return dict(reasons)


def _csearch_files(corpus):
    listed = subprocess.run(["csearch", "-l", ""], cwd=corpus.root, env=corpus.environment(),
                            capture_output=True, check=True)
    prefix = os.fsencode(corpus.root) + b"/"
    return {path.removeprefix(prefix) for path in listed.stdout.splitlines()}


def _peculiarity(corpus, path):
    """What makes tools read a file differently, or None."""
    file = pathlib.Path(os.fsdecode(os.path.join(os.fsencode(corpus.root), path)))
    if not file.is_file():
        return None
    content = file.read_bytes()
    if content.startswith((b"\xff\xfe", b"\xfe\xff")):
        return "file in UTF-16"
    if b"\0" in content:
        return "file with a NUL"
    try:
        text = content.decode()
    except UnicodeDecodeError:
        return "file not in UTF-8"
    return "file with line boundaries other than LF" if OTHER_BOUNDARIES.search(text) else None


def _difference(query, peer, ours, theirs, paths):
    path = min(paths)
    return (f"{query.title}: codetext gives {sum(ours.values())} lines and {peer} "
            f"{sum(theirs.values())}; they differ on {len(paths)} files, the first "
            f"{os.fsdecode(path)}: {ours[path]} against {theirs[path]}")


def _check_limit(query, corpus, scratch):
    """A limited answer is the beginning of the whole one, which was checked before."""
    def first_lines(mode):
        asked = tools.Query(query.pattern, query.group, mode)
        with open(run(tools.command("codetext", asked, corpus), corpus, scratch), "rb") as lines:
            return [line for _, line in zip(range(tools.LIMIT + 1), lines)]
    limited = first_lines("limit")
    if limited != first_lines("lines")[:tools.LIMIT]:
        raise WrongAnswer(f"{query.title}: not the first lines of the whole answer")
    return len(limited)
