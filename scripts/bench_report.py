"""The report of bench.py: Markdown, and one page of HTML that needs nothing else, with its charts as
inline SVG, for light and dark screens."""

import html
import math

# The colours of the variants, in the order in which a chart names them; ours is the first.
COLOURS = 4

STYLE = """
:root { --page: #fcfcfb; --ink: #0b0b0b; --soft: #52514e; --line: #e1e0d9; --mark: #898781;
  --c0: #2a78d6; --c1: #eb6834; --c2: #1baf7a; --c3: #4a3aa7; --bad: #d03b3b; }
@media (prefers-color-scheme: dark) { :root { --page: #1a1a19; --ink: #ffffff; --soft: #c3c2b7;
  --line: #2c2c2a; --mark: #898781; --c0: #3987e5; --c1: #d95926; --c2: #199e70; --c3: #9085e9;
  --bad: #e66767; } }
body { background: var(--page); color: var(--ink); margin: 2rem auto; max-width: 60rem; padding: 0 1rem;
  font: 15px/1.5 system-ui, sans-serif; }
h1 { font-size: 1.6rem; } h2 { font-size: 1.2rem; margin-top: 2.5rem; }
p, td.soft, figcaption { color: var(--soft); }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
th, td { text-align: left; padding: .25rem .9rem .25rem 0; border-bottom: 1px solid var(--line); }
th { font-weight: 600; color: var(--soft); }
.above { color: var(--bad); font-weight: 600; }
svg { max-width: 100%; height: auto; display: block; }
svg text { fill: var(--soft); font: 12px system-ui, sans-serif; }
svg text.name { fill: var(--ink); }
.grid { stroke: var(--line); } .limit { stroke: var(--bad); stroke-dasharray: 4 3; }
.range { stroke: var(--ink); }
.f0 { fill: var(--c0); } .f1 { fill: var(--c1); } .f2 { fill: var(--c2); } .f3 { fill: var(--c3); }
.s0 { stroke: var(--c0); } .s1 { stroke: var(--c1); } .s2 { stroke: var(--c2); } .s3 { stroke: var(--c3); }
.s0, .s1, .s2, .s3 { fill: none; stroke-width: 2; stroke-linejoin: round; }
.charts { display: grid; grid-template-columns: repeat(auto-fit, minmax(25rem, 1fr)); gap: 2rem 1.5rem; }
figure { margin: 0; } figcaption { font-weight: 600; color: var(--ink); margin-bottom: .3rem; }
"""


def shown_time(nanoseconds):
    for unit, factor in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= factor:
            return f"{nanoseconds / factor:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def shown_size(size):
    for unit, factor in (("Mi", 1 << 20), ("Ki", 1 << 10)):
        if size >= factor and size % factor == 0:
            return f"{size // factor} {unit}"
    return f"{size:,}"


def text_table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def html_table(head, rows):
    def cell(value):
        mark = ' class="above"' if value == "above" else ""
        return f"<td{mark}>{html.escape(str(value))}</td>"
    body = "".join("<tr>" + "".join(cell(value) for value in row) + "</tr>" for row in rows)
    top = "".join(f"<th>{html.escape(value)}</th>" for value in head)
    return f'<div class="scroll"><table><tr>{top}</tr>{body}</table></div>'


def ratio_bars(rows):
    """rows: (label, ratio, least, most, limit or None). One bar each, the range as a whisker."""
    left, width, step, top = 300, 420, 30, 26
    most = max([1.6] + [min(row[3], 4) for row in rows] + [row[4] or 0 for row in rows]) * 1.05
    height = top + step * len(rows) + 8
    out = [f'<svg viewBox="0 0 {left + width + 70} {height}" role="img" aria-label="Ratios">']

    def x(value):
        return left + width * min(value, most) / most
    ticks = [tick for tick in (0, 0.5, 1, 1.5, 2, 3, 4) if tick <= most]
    for tick in ticks:
        out.append(f'<line class="grid" x1="{x(tick):.1f}" x2="{x(tick):.1f}" y1="{top - 6}" y2="{height}"/>'
                   f'<text x="{x(tick):.1f}" y="{top - 12}" text-anchor="middle">{tick:g}x</text>')
    for index, (label, ratio, least, greatest, limit) in enumerate(rows):
        y = top + step * index
        title = f"{label}: {ratio:.2f} [{least:.2f}-{greatest:.2f}]" + (f", at most {limit:g}" if limit else "")
        out.append(f"<g><title>{html.escape(title)}</title>"
                   f'<text class="name" x="{left - 8}" y="{y + 16}" text-anchor="end">{html.escape(label)}</text>'
                   f'<rect class="f0" x="{left}" y="{y + 4}" width="{max(x(ratio) - left, 1):.1f}" height="16" rx="3"/>'
                   f'<path class="range" fill="none" d="M{x(least):.1f} {y + 8}v8m0 -4H{x(greatest):.1f}m0 -4v8"/>'
                   f'<text x="{max(x(ratio), x(greatest)) + 8:.1f}" y="{y + 16}">{ratio:.2f}</text>')
        if limit:
            out.append(f'<line class="limit" x1="{x(limit):.1f}" x2="{x(limit):.1f}" y1="{y + 1}" y2="{y + 24}"/>')
        out.append("</g>")
    out.append("</svg>")
    return "".join(out)


def decades(least, most):
    return range(math.floor(math.log10(least)), math.ceil(math.log10(most)) + 1)


def growth_chart(series):
    """series: [(variant, [(size, nanoseconds)])], ours first. Both scales are logarithmic."""
    left, right, top, width, height = 58, 220, 10, 230, 190
    sizes = [size for _, points in series for size, _ in points]
    times = [time for _, points in series for _, time in points]
    across, up = decades(min(sizes), max(sizes)), decades(min(times), max(times))

    def x(size):
        return left + width * (math.log10(size) - across[0]) / max(len(across) - 1, 1)

    def y(time):
        return top + height * (1 - (math.log10(time) - up[0]) / max(len(up) - 1, 1))
    out = [f'<svg viewBox="0 0 {left + width + right} {top + height + 26}" role="img" aria-label="Cost by size">']
    for power in up:
        at = y(10 ** power)
        out.append(f'<line class="grid" x1="{left}" x2="{left + width}" y1="{at:.1f}" y2="{at:.1f}"/>'
                   f'<text x="{left - 6}" y="{at + 4:.1f}" text-anchor="end">{shown_time(10 ** power)}</text>')
    for power in across:
        out.append(f'<text x="{x(10 ** power):.1f}" y="{top + height + 18}" text-anchor="middle">'
                   f"{shown_power(power)}</text>")
    ends = []
    for index, (variant, points) in enumerate(series):
        colour = index % COLOURS
        path = "L".join(f"{x(size):.1f} {y(time):.1f}" for size, time in points)
        out.append(f'<path class="s{colour}" d="M{path}"/>')
        for size, time in points:
            title = f"{variant}, {shown_size(size)}: {shown_time(time)}"
            out.append(f'<circle class="f{colour}" cx="{x(size):.1f}" cy="{y(time):.1f}" r="4">'
                       f"<title>{html.escape(title)}</title></circle>")
        ends.append([y(points[-1][1]), x(points[-1][0]), colour, variant])
    ends.sort()
    for above, below in zip(ends, ends[1:]):
        below[0] = max(below[0], above[0] + 14)
    for at, end, colour, variant in ends:
        out.append(f'<circle class="f{colour}" cx="{left + width + 14}" cy="{at:.1f}" r="4"/>'
                   f'<text class="name" x="{left + width + 22}" y="{at + 4:.1f}">{html.escape(variant)}</text>')
    out.append("</svg>")
    return "".join(out)


def shown_power(power):
    return f"{10 ** power:,}" if power < 4 else f"10{''.join('⁰¹²³⁴⁵⁶⁷⁸⁹'[int(digit)] for digit in str(power))}"


class Report:
    """Both forms at once, section by section."""

    def __init__(self, title, introduction):
        self.text = [f"# {title}\n\n{introduction}\n"]
        self.page = [f"<h1>{html.escape(title)}</h1><p>{html.escape(introduction)}</p>"]
        self.title = title

    def section(self, title, words=""):
        self.text.append(f"\n## {title}\n" + (f"\n{words}\n" if words else ""))
        self.page.append(f"<h2>{html.escape(title)}</h2>" + (f"<p>{html.escape(words)}</p>" if words else ""))

    def table(self, head, rows):
        self.text.append("\n" + text_table(head, rows))
        self.page.append(html_table(head, rows))

    def ratios(self, rows):
        self.page.append(ratio_bars(rows))

    def growth(self, charts):
        """charts: [(title, series)]."""
        self.page.append('<div class="charts">' + "".join(
            f"<figure><figcaption>{html.escape(title)}</figcaption>{growth_chart(series)}</figure>"
            for title, series in charts) + "</div>")

    def write(self, stem):
        with open(f"{stem}.md", "w", encoding="utf-8") as out:
            out.write("".join(self.text))
        with open(f"{stem}.html", "w", encoding="utf-8") as out:
            out.write('<!doctype html><html lang="en"><head><meta charset="utf-8">'
                      '<meta name="viewport" content="width=device-width, initial-scale=1">'
                      '<meta name="color-scheme" content="light dark">'
                      f"<title>{html.escape(self.title)}</title><style>{STYLE}</style></head><body>"
                      + "".join(self.page) + "</body></html>\n")
