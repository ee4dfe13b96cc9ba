# SPDX-License-Identifier: MIT
"""Two plots as SVG, written by hand: lines over two logarithmic axes, and groups of bars."""
import math
from html import escape

WIDTH, HEIGHT = 720, 400
LEFT, RIGHT, TOP, BOTTOM = 70, 150, 40, 60
COLOURS = ("#0b6", "#888", "#06c", "#c60", "#a3a", "#b90")
STYLE = "font-family='sans-serif' font-size='12'"


class Canvas:
    def __init__(self, title, y_label):
        self.parts = [f"<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 {WIDTH} {HEIGHT}' {STYLE}>",
                      f"<rect width='{WIDTH}' height='{HEIGHT}' fill='white'/>"]
        self.text(LEFT, 22, title, size=15)
        self.text(14, TOP - 8, y_label)

    def text(self, x, y, words, anchor="start", size=12, turn=0):
        turned = f" transform='rotate({turn} {x:.1f} {y:.1f})'" if turn else ""
        self.parts.append(f"<text x='{x:.1f}' y='{y:.1f}' text-anchor='{anchor}' font-size='{size}'{turned}>"
                          f"{escape(str(words))}</text>")

    def line(self, x1, y1, x2, y2, colour="#ddd"):
        self.parts.append(f"<line x1='{x1:.1f}' y1='{y1:.1f}' x2='{x2:.1f}' y2='{y2:.1f}' stroke='{colour}'/>")

    def legend(self, names):
        for i, name in enumerate(names):
            y = TOP + 20 * i
            self.parts.append(f"<rect x='{WIDTH - RIGHT + 15}' y='{y}' width='12' height='12' "
                              f"fill='{COLOURS[i % len(COLOURS)]}'/>")
            self.text(WIDTH - RIGHT + 33, y + 10, name)

    def finish(self):
        return "\n".join(self.parts + ["</svg>"]) + "\n"


def logarithmic(low, high, start, end):
    """Returns a function from values to positions on an axis."""
    span = math.log(high / low) or 1
    return lambda value: start + (end - start) * math.log(value / low) / span


def ticks(low, high):
    steps = [digit * 10**power for power in range(0, 8) for digit in (1, 2, 5)]
    return [step for step in steps if low <= step <= high]


def lines(title, x_label, y_label, series):
    """Returns a plot of lines. `series`: name to sorted points (x, y), all above 0."""
    canvas = Canvas(title, y_label)
    xs = [x for points in series.values() for x, _ in points]
    ys = [y for points in series.values() for _, y in points]
    low, high = min(ys) / 1.2, max(ys) * 1.2
    across = logarithmic(min(xs), max(xs), LEFT, WIDTH - RIGHT)
    up = logarithmic(low, high, HEIGHT - BOTTOM, TOP)
    for tick in ticks(low, high):
        canvas.line(LEFT, up(tick), WIDTH - RIGHT, up(tick))
        canvas.text(LEFT - 8, up(tick) + 4, tick, "end")
    for tick in sorted(set(xs)):
        canvas.text(across(tick), HEIGHT - BOTTOM + 18, f"{tick:,}", "middle")
    canvas.text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 14, x_label, "middle")
    for i, points in enumerate(series.values()):
        path = " ".join(f"{across(x):.1f},{up(y):.1f}" for x, y in points)
        colour = COLOURS[i % len(COLOURS)]
        canvas.parts.append(f"<polyline points='{path}' fill='none' stroke='{colour}' stroke-width='2'/>")
        canvas.parts += [f"<circle cx='{across(x):.1f}' cy='{up(y):.1f}' r='3' fill='{colour}'/>" for x, y in points]
    canvas.legend(series)
    return canvas.finish()


def bars(title, y_label, groups):
    """Returns a plot of bars. `groups`: label to the values by subject; a group may lack a subject."""
    canvas = Canvas(title, y_label)
    subjects = list(dict.fromkeys(subject for values in groups.values() for subject in values))
    highest = max(value for values in groups.values() for value in values.values()) * 1.05
    bottom = HEIGHT - BOTTOM - 40

    def up(value):
        return bottom - (bottom - TOP) * value / highest

    for tick in [step for step in ticks(1, highest) if highest / 8 <= step]:
        canvas.line(LEFT, up(tick), WIDTH - RIGHT, up(tick))
        canvas.text(LEFT - 8, up(tick) + 4, tick, "end")
    group_width = (WIDTH - RIGHT - LEFT) / len(groups)
    bar = group_width * 0.8 / len(subjects)
    for g, (label, values) in enumerate(groups.items()):
        x = LEFT + g * group_width + group_width * 0.1
        for s, subject in enumerate(subjects):
            if subject not in values:
                continue
            y = up(values[subject])
            canvas.parts.append(f"<rect x='{x + s * bar:.1f}' y='{y:.1f}' width='{bar:.1f}' height='{bottom - y:.1f}' "
                                f"fill='{COLOURS[s % len(COLOURS)]}'/>")
        canvas.text(x + group_width * 0.4, bottom + 14, label, "end", 11, -30)
    canvas.legend(subjects)
    return canvas.finish()
