"""What codetext sets out to reach, as ratios within one run, and whether it did."""

MEGABYTE = 1_000_000
MEMORY_LIMITS = {"rare needle": 30 * MEGABYTE, "any query": 200 * MEGABYTE,
                 "building": 500 * MEGABYTE}


def query_targets(query, medians, rare_median, large):
    """Targets of one query: [(what, measured, limit)]. `medians` are seconds by tool."""
    ours = medians["codetext"]
    if query.group == "limit":
        return [("of the rare needle", ours / rare_median, 2.0)]
    of_best = ours / min(time for tool, time in medians.items() if tool != "codetext")
    of_ripgrep = ours / medians["ripgrep"]
    if query.group == "rare" and large:
        return [("of ripgrep", of_ripgrep, 0.08)]
    limit = {"rare": 1.0, "middling": 0.3, "common": 1.0, "regex with a literal": 1.0,
             "regex without a literal": 1.5}[query.group]
    targets = [("of the best peer", of_best, limit)]
    if query.group == "regex with a literal":
        targets.append(("of ripgrep", of_ripgrep, 0.2))
    return targets


def index_targets(build, sizes, refresh):
    """Targets of the index, as query_targets. `refresh` are medians in seconds by what was done."""
    listing = refresh["rg --files"]
    unchanged = refresh["nothing changed"]
    later_ms = 1000 * (refresh["one file changed"] - unchanged)
    return [("building: time of cindex", build["codetext"] / build["csearch"], 1.0),
            ("index: bytes of the source", sizes["codetext"] / sizes["source"], 0.55),
            ("refresh, nothing changed: time of rg --files", unchanged / listing, 2.0),
            ("refresh, one file changed: ms more than that", later_ms, 30.0)]


def memory_targets(peaks):
    """Targets of the peak memory, in MB. `peaks` are bytes by what is in MEMORY_LIMITS."""
    return [(f"peak memory, {what}: MB", peaks[what] / MEGABYTE, limit / MEGABYTE)
            for what, limit in MEMORY_LIMITS.items()]


def verdict(targets):
    """The targets as they go into the results."""
    return [{"what": what, "measured": round(measured, 4), "limit": limit,
             "met": measured <= limit} for what, measured, limit in targets]
