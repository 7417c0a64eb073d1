"""The chart of one tree's search times: a group of bars a query, on a logarithmic scale."""

import html
import math

import report

LEFT, WIDTH, RIGHT = 220, 450, 110
BAR, GAP, HEADER = 13, 10, 58
STYLE = """
text { font: 11px system-ui, sans-serif; fill: #57606a; stroke: #ffffff; stroke-width: 3px;
       paint-order: stroke }
.title { font-size: 15px; font-weight: 600; fill: #1f2328 }
.query { font-family: ui-monospace, monospace; fill: #1f2328; text-anchor: end }
.tick { text-anchor: middle }
.grid { stroke: #d0d7de }
.card { fill: #ffffff }
.peer { fill: #afb8c1 }
.codetext { fill: #0969da }
.label-codetext { font-weight: 600; fill: #0969da }
@media (prefers-color-scheme: dark) {
  text { fill: #9198a1; stroke: #0d1117 }
  .title, .query { fill: #f0f6fc }
  .grid { stroke: #3d444d }
  .card { fill: #0d1117 }
  .peer { fill: #656c76 }
  .codetext, .label-codetext { fill: #4493f8 }
}
"""


def svg(corpus):
    """The chart as a document."""
    queries = corpus["queries"]
    seconds = [taken["median"] for query in queries for taken in query["times"].values()]
    scale = Scale(min(seconds), max(seconds))
    groups, y = [], HEADER
    for query in queries:
        groups += _group(query, y, scale)
        y += BAR * len(query["times"]) + GAP
    head = ["<rect class='card' width='100%' height='100%' rx='8'/>",
            f"<text class='title' x='16' y='24'>{html.escape(corpus['title'])}: time of a search "
            "(whole process, warm cache)</text>"]
    size = f"width='{LEFT + WIDTH + RIGHT}' height='{y + 8}'"
    return "\n".join([f"<svg xmlns='http://www.w3.org/2000/svg' {size} viewBox='0 0 "
                      f"{LEFT + WIDTH + RIGHT} {y + 8}'>", f"<style>{STYLE}</style>", *head,
                      *_grid(scale, y), *groups, "</svg>", ""])


class Scale:
    """Seconds to a bar's length, by powers of ten."""

    def __init__(self, least, most):
        self.first = math.floor(math.log10(least))
        self.last = math.ceil(math.log10(most))

    def length(self, seconds):
        return WIDTH * (math.log10(seconds) - self.first) / max(1, self.last - self.first)


def _grid(scale, bottom):
    lines = []
    for power in range(scale.first, scale.last + 1):
        x = LEFT + scale.length(10.0**power)
        label = f"{10**power} s" if power >= 0 else f"{10**(power + 3):g} ms"
        lines += [f"<line class='grid' x1='{x:.1f}' x2='{x:.1f}' y1='{HEADER - 8}' y2='{bottom}'/>",
                  f"<text class='tick' x='{x:.1f}' y='{HEADER - 14}'>{label}</text>"]
    return lines


def _group(query, top, scale):
    shapes = [f"<text class='query' x='{LEFT - 10}' y='{top + 10}'>"
              f"{html.escape(query['query'])}</text>"]
    for row, (tool, taken) in enumerate(query["times"].items()):
        kind = "codetext" if tool == "codetext" else "peer"
        y, length = top + row * BAR, scale.length(taken["median"])
        shapes += [f"<rect class='{kind}' x='{LEFT}' y='{y}' width='{length:.1f}' "
                   f"height='{BAR - 2}' rx='1.5'/>",
                   f"<text class='label-{kind}' x='{LEFT + length + 5:.1f}' y='{y + 10}'>"
                   f"{tool} {report.milliseconds(taken['median'])} ms</text>"]
    return shapes
