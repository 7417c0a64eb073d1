"""The results as text."""

import os
import platform
import re

import tools

BEGIN, END = "<!-- results: begin -->", "<!-- results: end -->"


def machine():
    """What the figures were measured on."""
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        model = re.search(r"model name\s*: (.*)", info.read())
    memory_gb = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return {"processor": model[1] if model else platform.machine(), "cores": os.cpu_count(),
            "memory_gib": round(memory_gb, 1), "kernel": platform.release()}


def milliseconds(seconds):
    """Three digits, from 1.23 ms to 12,300 ms."""
    value = seconds * 1000
    return f"{value:.{2 if value < 10 else 1 if value < 100 else 0}f}"


def target_text(target):
    return (f"{target['measured']:.3g} {target['what']}, at most {target['limit']:g}: "
            f"{verdict(target)}")


def verdict(target):
    return "met" if target["met"] else "**missed**"


def line(result):
    """One query's result on a line, for the terminal."""
    times = ", ".join(f"{tool} {milliseconds(taken['median'])}"
                      for tool, taken in result["times"].items())
    reached = "; ".join(target_text(target) for target in result["targets"])
    return f"  {result['query']}: {result['lines']} lines; ms: {times}; {reached}".replace("**", "")


def markdown(results):
    machine_ = results["machine"]
    tools_ = ", ".join(results["tools"].values())
    head = [f"Machine: {machine_['processor']}, {machine_['cores']} cores, "
            f"{machine_['memory_gib']:g} GiB, Linux {machine_['kernel']}.", f"Tools: {tools_}.",
            f"Times are medians; rounds over all tools: {results['rounds']}."]
    return "\n".join(["  \n".join(head), *(_corpus(corpus) for corpus in results["corpora"])])


# A query of each kind: the README's table.
README_QUERIES = ("no_such_symbol_zq", "kmem_cache_alloc_bulk", "spin_lock_irqsave", "return",
                  "EXPORT_SYMBOL_GPL\\(dev_", "[0-9]{7,}")


def readme_table(corpus):
    """The times of a few queries, and of making and refreshing the index."""
    names = ("codetext", "csearch", "ripgrep", "git grep", "ugrep")
    rows = [f"Whole processes on {corpus['title']} ({corpus['files']:,} files, "
            f"{corpus['source_bytes'] / 1e6:,.0f} MB), warm cache, in milliseconds:\n",
            _row(["query", "matching lines", *names]), "|---|" + "--:|" * (len(names) + 1)]
    for result in corpus["queries"]:
        if result["query"] in README_QUERIES:
            times = [milliseconds(result["times"][tool]["median"]) for tool in names]
            rows.append(_row([f"`{result['query']}`", f"{result['lines']:,}", *times]))
    build, sizes, refresh = corpus["build"], corpus["size_bytes"], corpus["refresh"]
    rows.append(f"\nMaking the index takes {build['codetext']['median']:.1f} s (`cindex`: "
                f"{build['csearch']['median']:.1f} s), refreshing it with nothing changed "
                f"{milliseconds(refresh['nothing changed']['median'])} ms. The index takes "
                f"{sizes['codetext'] / sizes['source']:.2f} bytes for each byte of source, the "
                "text included.")
    return "\n".join(rows)


def _corpus(corpus):
    rows = [f"\n### {corpus['title']}\n",
            f"{corpus['files']:,} files, {corpus['source_bytes'] / 1e6:,.1f} MB. "
            "Searches, in milliseconds:\n"]
    names = ("codetext", *tools.PEERS)
    rows.append(_row(["query", "lines", *names, "of the best peer", "target"]))
    rows.append("|---|" + "--:|" * (len(names) + 2) + "---|")
    rows += [_query_row(result, names) for result in corpus["queries"]]
    rows += ["", *_left_out(corpus["queries"]), "", *_index_table(corpus)]
    return "\n".join(rows)


def _row(cells):
    return "| " + " | ".join(cells) + " |"


def _query_row(result, names):
    times = result["times"]
    cells = [milliseconds(times[tool]["median"]) if tool in times else "" for tool in names]
    peers = [times[tool]["median"] for tool in tools.PEERS if tool in times]
    ratio = f"{times['codetext']['median'] / min(peers):.3g}" if peers else ""
    reached = "; ".join(_target_cell(target) for target in result["targets"])
    return _row([f"`{result['query']}`", f"{result['lines']:,}", *cells, ratio, reached])


def _target_cell(target):
    """The ratio to the best peer has a column of its own."""
    if target["what"] == "of the best peer":
        return f"at most {target['limit']:g}: {verdict(target)}"
    return target_text(target)


def _left_out(queries):
    """What was counted out when the answers were compared."""
    notes = [f"- `{result['query']}`: " + "; ".join(
        f"{tool} {lines:,} ({reason})" for tool, reasons in result["left_out"].items()
        for reason, lines in reasons.items()) for result in queries if result["left_out"]]
    if not notes:
        return ["Every tool gave the same number of lines of every file."]
    return ["Every tool gave the same number of lines of every file, but for those left out "
            "of the comparison:\n", *notes]


def _index_table(corpus):
    build, sizes, refresh = corpus["build"], corpus["size_bytes"], corpus["refresh"]
    said = [f"Building from nothing takes {build['codetext']['median']:.2f} s and gives "
            f"{sizes['codetext'] / 1e6:,.1f} MB (cindex, which keeps no text, "
            f"{build['csearch']['median']:.2f} s and {sizes['csearch'] / 1e6:,.1f} MB). A refresh "
            f"takes {milliseconds(refresh['nothing changed']['median'])} ms with nothing changed "
            f"and {milliseconds(refresh['one file changed']['median'])} ms with one file changed "
            f"(`rg --files`: {milliseconds(refresh['rg --files']['median'])} ms).\n",
            _row(["index", "measured", "at most", ""]), "|---|--:|--:|---|"]
    return said + [_row([target["what"], f"{target['measured']:.3g}", f"{target['limit']:g}",
                         verdict(target)])
                   for target in corpus["targets"]]


def renew(document, text):
    """Puts `text` between the markers of the document."""
    before, _, rest = document.read_text().partition(BEGIN)
    _, _, after = rest.partition(END)
    document.write_text(f"{before}{BEGIN}\n{text}\n{END}{after}")
