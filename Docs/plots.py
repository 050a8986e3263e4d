#!/usr/bin/env python3
"""Writes the tables of Docs/strength.md and draws its pictures, from Docs/data/matches.csv.

    plots.py [--check]    with --check nothing is written

A row of the data is a match: the part of the page, the two sides, the limit of a move, the games
that the first side won, drew and lost, and the pairs of games, with the same opening and colours
changed, in which it got 0 to 4 half points.

The same data give the same bytes.

Exit status: 0 all well, 1 with --check if a table or picture is not what the data give.
"""

import csv
import math
import pathlib
import sys

DOCS = pathlib.Path(__file__).resolve().parent
DATA = DOCS / "data" / "matches.csv"
PAGE = DOCS / "strength.md"
DEVIATIONS = 1.96  # of the mean, on each side: 95 of 100 matches lie within


def elo(score):
    """The difference that a score, as a share of the games, speaks of."""
    if score <= 0 or score >= 1:
        return math.copysign(math.inf, score - 0.5)
    return -400 * math.log10(1 / score - 1)


def estimate(match):
    """(Elo of the first side above the second, the least and the most that fit). Counted by pairs
    of games, whose halves are not independent."""
    counts = [int(match[f"pairs_{half_points}"]) for half_points in range(5)]
    pairs = sum(counts)
    score = sum(count * half_points for half_points, count in enumerate(counts)) / (4 * pairs)
    if score in (0, 1):  # no scatter is seen; as for a share of which no exception was seen
        bound = pairs / (pairs + DEVIATIONS ** 2)
        return elo(score), elo(bound if score else 0), elo(1 if score else 1 - bound)
    variance = sum(count * (half_points / 4 - score) ** 2
                   for half_points, count in enumerate(counts)) / (pairs - 1)
    error = DEVIATIONS * math.sqrt(variance / pairs)
    return elo(score), elo(score - error), elo(score + error)


def told(match):
    """An estimate in words."""
    middle, low, high = estimate(match)
    if math.isinf(middle):
        return f"above {low:+.0f}" if middle > 0 else f"below {high:+.0f}"
    if math.isinf(low) or math.isinf(high):
        return f"{middle:+.0f} " + (f"(above {low:+.0f})" if high > 0 else f"(below {high:+.0f})")
    return f"{middle:+.0f} ({low:+.0f} to {high:+.0f})"


def points(match):
    won, drawn, lost = (int(match[name]) for name in ("won", "drawn", "lost"))
    games = won + drawn + lost
    return [str(games), f"{won}, {drawn}, {lost}", f"{100 * (won + drawn / 2) / games:.1f} %"]


def table(head, rows):
    lines = [f"| {' | '.join(cells)} |" for cells in [head, *rows]]
    lines.insert(1, "|---" * len(head) + "|")
    return "".join(f"{line}\n" for line in lines)


def ladder_table(matches):
    return table(["Opponent", "Games", "Won, drawn, lost", "Score", "Elo ahead"],
                 [[match["second"], *points(match), told(match)] for match in matches])


def threads_table(matches):
    return table(["Match", "Limit", "Games", "Won, drawn, lost", "Score", "Elo ahead"],
                 [[f"{match['first']} against {match['second']}", match["limit"], *points(match),
                   told(match)] for match in matches])


def levels_table(matches):
    return table(["Limit", "Levels", "Asked", "Games", "Won, drawn, lost", "Measured"],
                 [[match["limit"], f"{match['first']} against {match['second']}",
                   str(int(match["first"]) - int(match["second"])), *points(match)[:2],
                   told(match)] for match in matches])


# ---------------------------------------------------------------- pictures

# Places in pixels.
LEFT, RIGHT, WIDTH = 290, 850, 880
TOP, ROW = 50, 28


def figure(value):
    """A place, without a sign before a zero."""
    return f"{value:.1f}"


def text(x, y, words, anchor="start", kind=""):
    kind = f' class="{kind}"' if kind else ""
    return f'  <text x="{figure(x)}" y="{figure(y)}" text-anchor="{anchor}"{kind}>{words}</text>\n'


def line(x1, y1, x2, y2, kind):
    return (f'  <line class="{kind}" x1="{figure(x1)}" y1="{figure(y1)}" x2="{figure(x2)}" '
            f'y2="{figure(y2)}"/>\n')


def picture(title, rows, low, high, step, marked):
    """A picture of estimates, a row of (label, middle, least, most) each, over an axis from `low`
    to `high` with a mark each `step`. An estimate that has no end on one side ends in an arrow. At
    `marked` stands a line to compare with."""
    bottom = TOP + ROW * len(rows)

    def place(value):
        return LEFT + (RIGHT - LEFT) * (min(max(value, low), high) - low) / (high - low)

    drawn = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{bottom + 40}" '
             f'viewBox="0 0 {WIDTH} {bottom + 40}"\n     role="img" font-size="13" '
             'font-family="Helvetica, Arial, \'DejaVu Sans\', sans-serif">\n'
             f"  <title>{title}</title>\n"
             "  <style>\n"
             "    .paper { fill: #ffffff; stroke: #c9d1d9; }\n"
             "    .grid  { stroke: #e1e4e8; }\n"
             "    .mark  { stroke: #a4470f; stroke-dasharray: 5 3; }\n"
             "    .bar   { stroke: #2f6fb0; stroke-width: 3; }\n"
             "    .dot   { fill: #2f6fb0; }\n"
             "    text   { fill: #1f2328; }\n"
             "    .small { font-size: 12px; fill: #57606a; }\n"
             "  </style>\n"
             '  <rect class="paper" x="0.5" y="0.5" '
             f'width="{WIDTH - 1}" height="{bottom + 39}"/>\n')
    drawn += text(LEFT, 24, title)
    for value in range(low, high + 1, step):
        drawn += line(place(value), TOP - 10, place(value), bottom, "grid")
        drawn += text(place(value), bottom + 20, f"{value:+d}" if value else "0", "middle", "small")
    drawn += line(place(marked), TOP - 10, place(marked), bottom, "mark")
    for number, (label, middle, least, most) in enumerate(rows):
        y = TOP + ROW * number + 10
        drawn += text(LEFT - 14, y + 4, label, "end")
        drawn += line(place(least), y, place(most), y, "bar")
        for end, way in ((least, -1), (most, 1)):
            if not low <= end <= high:
                x = place(end)
                drawn += (f'  <path class="dot" d="M{figure(x + 6 * way)},{figure(y)} '
                          f'l{-10 * way},-6 v12 z"/>\n')
        if low <= middle <= high:
            drawn += (f'  <circle class="dot" cx="{figure(place(middle))}" cy="{figure(y)}" '
                      'r="5"/>\n')
    return drawn + "</svg>\n"


def ladder_picture(matches):
    """Opponents, seen from Mird at 0, strongest first."""
    rows = []
    for match in matches:
        middle, least, most = estimate(match)
        rows.append((match["second"], -middle, -most, -least))
    rows.append((matches[0]["first"], 0, 0, 0))
    rows.sort(key=lambda row: (-row[1], -row[3]))
    return picture("Elo above Mird, and what lies within the error", rows, -800, 600, 200, 0)


def levels_picture(matches):
    """What 100 points of UCI_Elo are worth."""
    rows = []
    for match in matches:
        asked = (int(match["first"]) - int(match["second"])) / 100
        label = f"{match['second']} to {match['first']}, {match['limit']}"
        rows.append((label, *(value / asked for value in estimate(match))))
    return picture("Elo measured for 100 points of UCI_Elo", rows, -200, 500, 100, 100)


# ---------------------------------------------------------------- files

def page_with(page, tables):
    """The page with each table between its marks, which are comments of the page."""
    for name, rows in tables.items():
        begin, end = f"<!-- {name}: written by plots.py -->\n", "<!-- end -->\n"
        before, found, rest = page.partition(begin)
        if not found or end not in rest:
            sys.exit(f"{PAGE.name} has no place for the table {name}")
        page = before + begin + rows + rest[rest.index(end):]
    return page


def files_made():
    """What each file shall hold."""
    parts = {"ladder": [], "threads": [], "levels": []}
    with DATA.open(newline="") as data:
        for match in csv.DictReader(data):
            parts[match["part"]].append(match)
    tables = {"ladder": ladder_table(parts["ladder"]), "threads": threads_table(parts["threads"]),
              "levels": levels_table(parts["levels"])}
    return {PAGE: page_with(PAGE.read_text(), tables),
            DOCS / "ladder.svg": ladder_picture(parts["ladder"]),
            DOCS / "levels.svg": levels_picture(parts["levels"])}


def main():
    if sys.argv[1:] not in ([], ["--check"]):
        sys.exit(__doc__)
    failed = False
    for file, content in files_made().items():
        if not sys.argv[1:]:
            file.write_text(content)
        elif not file.exists() or file.read_text() != content:
            print(f"Docs/{file.name} is not what {DATA.name} gives: run Docs/plots.py")
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
