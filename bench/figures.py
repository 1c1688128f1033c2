"""Medians, spread and ratios, and the lines of the table."""

import statistics
from dataclasses import asdict, dataclass, field


def quartiles(samples):
    if len(samples) < 2:
        return samples[0], samples[0], samples[0]
    low, middle, high = statistics.quantiles(samples, n=4, method="inclusive")
    return low, middle, high


def median(samples):
    return statistics.median(samples)


def digits(value):
    if value == 0 or abs(value) >= 100:
        return f"{value:.0f}"
    return f"{value:.2g}" if abs(value) < 1 else f"{value:.3g}"


def spread(samples, unit=""):
    """The median, and in brackets the quartiles."""
    low, middle, high = quartiles(samples)
    return f"{digits(middle)}{unit} ({digits(low)} to {digits(high)})"


def ratios(ours, theirs):
    """Of samples that were taken in turn: each by its neighbour."""
    return [a / b for a, b in zip(ours, theirs)]


def ratio_text(samples):
    low, middle, high = quartiles(samples)
    if middle < 0.1:
        return f"{middle:.1g} × ({low:.1g} to {high:.1g})"
    return f"{middle:.2f} × ({low:.2f} to {high:.2f})"


@dataclass
class Line:
    """One line of the table. `reached` is None where nothing is to be reached."""

    case: str
    measured: str
    to_reach: str = ""
    reached: bool = None
    samples: dict = field(default_factory=dict)

    def verdict(self):
        return "" if self.reached is None else "yes" if self.reached else "**no**"

    def as_json(self):
        return asdict(self)


def ratio_line(case, ours, theirs, limit, unit, below=False):
    """A line that compares by the median of the ratios; `limit` may be None."""
    samples = ratios(ours, theirs)
    value = median(samples)
    text = f"{ratio_text(samples)}; {digits(median(ours))} and {digits(median(theirs))} {unit}"
    if limit is None:
        return Line(case, text, samples={"ours": ours, "theirs": theirs})
    reached = value < limit if below else value <= limit
    sign = "<" if below else "≤"
    return Line(case, text, f"{sign} {limit:g} ×", reached, {"ours": ours, "theirs": theirs})


def table(rows):
    """`rows` is a list of (name, lines); a table as the pages have it."""
    cells = [("row", "case", "measured", "to reach", "reached")]
    for name, lines in rows:
        for line in lines:
            cells.append((name, line.case, line.measured, line.to_reach, line.verdict()))
            name = ""
    texts = ["| " + " | ".join(row) + " |" for row in cells]
    texts.insert(1, "|---" * len(cells[0]) + "|")
    return "\n".join(texts)
