"""Bar charts as SVG, with colours for light and for dark pages."""

import dataclasses
import math
from xml.sax.saxutils import escape

WIDTH = 760
LEFT, RIGHT = 195, 205  # What the labels and the texts beside bars take.
TOP, BOTTOM = 50, 50
BAR, BETWEEN_BARS, BETWEEN_GROUPS = 13, 2, 14

STYLE = """\
  .page { fill: #ffffff; stroke: #d0d7de }
  text { fill: #24292f; font: 12px system-ui, sans-serif;
         paint-order: stroke; stroke: #ffffff; stroke-width: 3px }
  .own { fill: #1a73e8 }
  .peer { fill: #8c959f }
  .title { font-size: 15px; font-weight: 600 }
  .axis { stroke: #8c959f }
  .grid { stroke: #d8dee4 }
  .one { stroke: #57606a; stroke-dasharray: 4 3 }
  @media (prefers-color-scheme: dark) {
    .page { fill: #0d1117; stroke: #30363d }
    text { fill: #e6edf3; stroke: #0d1117 }
    .own { fill: #4493f8 }
    .peer { fill: #6e7681 }
    .grid { stroke: #21262d }
    .one { stroke: #8b949e }
  }"""


@dataclasses.dataclass
class Bar:
    style: str  # "own" or "peer".
    length: float
    text: str  # Beside the bar.


@dataclasses.dataclass
class Group:
    label: str
    bars: list


def tick_distance(largest):
    """1, 2 or 5 times a power of ten: four to ten ticks for an axis."""
    distance = 1e-9
    while True:
        for factor in (1, 2, 5):
            if largest / (distance * factor) <= 10:
                return distance * factor
        distance *= 10


def draw(title, axis, groups):
    """The chart of `groups` as a text. `axis` says what the lengths are; a
    line marks the length 1."""
    largest = max([1.0] + [bar.length for group in groups
                           for bar in group.bars])
    step = tick_distance(largest)

    def x_of(length):
        return LEFT + length / largest * (WIDTH - LEFT - RIGHT)

    shapes, y = [], TOP
    for group in groups:
        height = len(group.bars) * (BAR + BETWEEN_BARS) - BETWEEN_BARS
        shapes.append(_text(LEFT - 10, y + height / 2 + 4, group.label, "end"))
        for bar in group.bars:
            width = max(x_of(bar.length) - LEFT, 1)
            shapes.append(
                f'<rect class="{bar.style}" x="{LEFT}" y="{y:g}"'
                f' width="{width:.1f}" height="{BAR}"/>')
            shapes.append(_text(LEFT + width + 6, y + BAR - 2, bar.text))
            y += BAR + BETWEEN_BARS
        y += BETWEEN_GROUPS - BETWEEN_BARS
    end = y - BETWEEN_GROUPS + 6

    behind = []  # The bars and their figures.
    for tick in range(int(largest / step + 1e-9) + 1):
        x = x_of(tick * step)
        behind.append(f'<line class="grid" x1="{x:.1f}" y1="{TOP - 6}"'
                      f' x2="{x:.1f}" y2="{end:g}"/>')
        behind.append(_text(x, end + 16, f"{tick * step:g}", "middle"))
    behind.append(f'<line class="axis" x1="{LEFT}" y1="{TOP - 6}" x2="{LEFT}"'
                  f' y2="{end:g}"/>')
    behind.append(f'<line class="one" x1="{x_of(1):.1f}" y1="{TOP - 6}"'
                  f' x2="{x_of(1):.1f}" y2="{end:g}"/>')
    shapes.append(_text((LEFT + WIDTH - RIGHT) / 2, end + 36, axis, "middle"))

    return _page(title, end + BOTTOM, behind + shapes)


def draw_ratios(title, axis, ratios):
    """A chart of `ratios`, each (label, ratio, text), on a logarithmic axis:
    bars lead from 1 to the right where the ratio is above it, and to the left
    where it is below."""
    ticks = ratio_ticks([ratio for _, ratio, _ in ratios])
    low, high = math.log(ticks[0]), math.log(ticks[-1])

    def x_of(ratio):
        return LEFT + ((math.log(ratio) - low) / (high - low)
                       * (WIDTH - LEFT - RIGHT))

    shapes, y = [], TOP
    for label, ratio, text in ratios:
        begin, end = sorted((x_of(1), x_of(ratio)))
        shapes.append(_text(LEFT - 10, y + BAR - 2, label, "end"))
        shapes.append(f'<rect class="{"own" if ratio >= 1 else "peer"}"'
                      f' x="{begin:.1f}" y="{y:g}"'
                      f' width="{max(end - begin, 1):.1f}" height="{BAR}"/>')
        shapes.append(_text(end + 6, y + BAR - 2, text))
        y += BAR + BETWEEN_GROUPS / 2
    end = y - BETWEEN_GROUPS / 2 + 6

    behind = []
    for tick in ticks:
        x = x_of(tick)
        style = "one" if tick == 1 else "grid"
        behind.append(f'<line class="{style}" x1="{x:.1f}" y1="{TOP - 6}"'
                      f' x2="{x:.1f}" y2="{end:g}"/>')
        behind.append(_text(x, end + 16, f"{tick:g}", "middle"))
    shapes.append(_text((LEFT + WIDTH - RIGHT) / 2, end + 36, axis, "middle"))
    return _page(title, end + BOTTOM, behind + shapes)


def ratio_ticks(ratios):
    """1, 2 or 5 times powers of ten around 1 and all ratios: at least one on
    either side of 1."""
    powers = range(-6, 7)
    steps = [factor * 10.0 ** power for power in powers
             for factor in (1, 2, 5)]
    first = max(step for step in steps if step <= min(0.5, *ratios))
    last = min(step for step in steps if step >= max(2, *ratios))
    return [float(f"{step:g}") for step in steps if first <= step <= last]


def _page(title, height, shapes):
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}"'
        f' height="{height:g}" viewBox="0 0 {WIDTH} {height:g}" role="img"'
        f' aria-label="{escape(title)}">',
        f"<style>\n{STYLE}\n</style>",
        f'<rect class="page" x="0.5" y="0.5" width="{WIDTH - 1}"'
        f' height="{height - 1:g}" rx="6"/>',
        _text(20, 26, title, style="title"),
        *shapes, "</svg>", ""])


def _text(x, y, text, anchor="start", style=""):
    style = f' class="{style}"' if style else ""
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}"{style}>'
            f"{escape(text)}</text>")
