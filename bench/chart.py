"""A picture for who chooses a tool: how long it takes, and how much memory."""

import itertools
import textwrap
from html import escape

from measure import Side

WIDTH, LABELS, BARS, LINE = 760, 190, 430, 30
OURS, THEIRS = "#3a7d44", "#9aa5b1"


def draw(sides: list[Side], footer: list[str]) -> str:
    """An SVG with two groups of bars, one for each side of each; shorter is better."""
    groups = [("From the dSYM to the accepted upload", [side.seconds for side in sides], lambda v: f"{v:.2f} s"),
              ("Peak memory of the largest process", [side.peak / 1e6 for side in sides], lambda v: f"{v:.0f} MB")]
    texts, y = [], 30
    for title, values, text in groups:
        texts.append(f'<text x="16" y="{y}" font-size="16" font-weight="bold">{escape(title)}</text>')
        y += 12
        for side, value in zip(sides, values):
            length = BARS * value / max(values)
            texts += [
                f'<text x="{LABELS - 10}" y="{y + 19}" text-anchor="end">{escape(side.name)}</text>',
                f'<rect x="{LABELS}" y="{y + 4}" width="{length:.1f}" height="21"'
                f' fill="{OURS if side is sides[0] else THEIRS}"/>',
                f'<text x="{LABELS + length + 8:.1f}" y="{y + 19}" font-weight="bold">{escape(text(value))}</text>']
            y += LINE
        y += 34
    for line in itertools.chain.from_iterable(textwrap.wrap(line, 110) for line in footer):
        texts.append(f'<text x="16" y="{y - 14}" font-size="11" fill="#666">{escape(line)}</text>')
        y += 15
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{y - 8}"'
            f' font-family="sans-serif" font-size="14">\n<rect width="100%" height="100%" fill="#fff"/>\n'
            + "\n".join(texts) + "\n</svg>\n")
