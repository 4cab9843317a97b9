"""The results as a picture."""

from html import escape

from measure import Row

WIDTH, LABELS, BARS, LINE = 1000, 400, 300, 26
TOP = 66
MOST = 3  # times the target that a bar has room for


def draw(rows: list[Row], footer: list[str]) -> str:
    """An SVG with a bar for each row, which reaches the line when the target is met."""
    scale = BARS / MOST
    target_x = LABELS + scale
    bottom = TOP + LINE * len(rows)
    texts = [
        '<text x="16" y="26" font-size="17" font-weight="bold">Measured against the targets</text>',
        '<text x="16" y="46" fill="#555">A bar that reaches the line meets its target.</text>']
    for index, row in enumerate(rows):
        y = TOP + LINE * index
        length = scale * min(row.margin, MOST)
        figures = f"{row.ours} : {row.peer}" if row.peer else ""
        texts += [
            f'<text x="{LABELS - 8}" y="{y + 16}" text-anchor="end">{escape(row.what)}</text>',
            f'<rect x="{LABELS}" y="{y + 4}" width="{length:.1f}" height="17"'
            f' fill="{"#3a7d44" if row.met else "#b3392f"}"/>',
            f'<text x="{LABELS + BARS + 10}" y="{y + 16}"><tspan font-weight="bold">{escape(row.ratio_text)}</tspan>'
            f' ({escape(row.target_text)}) <tspan fill="#555">{escape(figures)}</tspan></text>']
    texts.append(f'<path d="M{target_x} {TOP - 4}V{bottom + 4}" stroke="#222" stroke-dasharray="4 3"/>')
    texts += (f'<text x="16" y="{bottom + 28 + 17 * index}" fill="#555">{escape(line)}</text>'
              for index, line in enumerate(footer))
    height = bottom + 30 + 17 * len(footer)
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH + 60}" height="{height}"'
            f' font-family="sans-serif" font-size="13">\n<rect width="100%" height="100%" fill="#fff"/>\n'
            + "\n".join(texts) + "\n</svg>\n")
