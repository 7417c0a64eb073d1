"""Measuring whole processes: hyperfine for times, time(1) for memory."""

import json
import shlex
import statistics
import subprocess


def times(commands, corpus, scratch, rounds, runs=(2, 5), prepare=None, warmup=1):
    """Wall times, tool to {median, min, runs} in seconds, of commands that run in turn: each of the
    rounds runs every command, at least runs[0] and at most runs[1] times, in alternating order.
    `prepare` maps a tool to the command that goes before each of its runs."""
    taken = {tool: [] for tool in commands}
    for number in range(rounds):
        order = list(commands) if number % 2 == 0 else list(reversed(commands))
        export = scratch / "hyperfine.json"
        hyperfine = ["hyperfine", "-N", "-i", "--style", "none", "--warmup", str(warmup),
                     "--min-runs", str(runs[0]), "--max-runs", str(runs[1]),
                     "--output", str(scratch / "answer"), "--export-json", str(export)]
        for tool in order if prepare else ():
            hyperfine += ["--prepare", shlex.join(prepare[tool])]
        hyperfine += [shlex.join(commands[tool]) for tool in order]
        done = subprocess.run(hyperfine, cwd=corpus.root, env=corpus.environment(),
                              capture_output=True, text=True)
        if done.returncode:
            raise RuntimeError(f"hyperfine failed: {done.stderr}")
        for tool, result in zip(order, json.loads(export.read_text())["results"]):
            if max(result["exit_codes"]) > 1:
                raise RuntimeError(f"{result['command']} failed")
            taken[tool] += result["times"]
    return {tool: {"median": statistics.median(all_), "min": min(all_), "runs": len(all_)}
            for tool, all_ in taken.items()}


def peak_bytes(command, corpus, scratch):
    """The most memory that the command's process had resident. By way of time(1), since a child of
    this process would count this process's own memory until its exec."""
    report = scratch / "peak"
    with open(scratch / "answer", "wb") as output:
        done = subprocess.run(["/usr/bin/time", "-q", "-f", "%M", "-o", report, *command],
                              cwd=corpus.root, env=corpus.environment(), stdout=output,
                              stderr=subprocess.DEVNULL)
    if done.returncode > 1:
        raise RuntimeError(f"{command} failed")
    return int(report.read_text()) * 1024
