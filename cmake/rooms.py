#!/usr/bin/env python3
# Draws the rooms of src/ and what they link, as CMake knows them, into a picture that can be read on
# light and on dark ground. Links that follow from others are left out.
#
# usage: cmake/rooms.py [--check] ROOMS PICTURE
#
#   ROOMS     what brindle_write_rooms wrote: target, type, folder and links in each line
#   PICTURE   the SVG to draw; with --check the one that must already be what would be drawn
import sys
from pathlib import Path

WIDTH, HEIGHT, ACROSS, DOWN, MARGIN = 120, 42, 144, 74, 10
HEAD = """<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {0} {1}" width="{0}" height="{1}">
<style>
rect {{ fill: #37618e; stroke: #7d9cc0 }}
text {{ fill: #fff; font: 600 15px system-ui, sans-serif; text-anchor: middle }}
.folder {{ fill: #dce6f2; font: 11px system-ui, sans-serif }}
.link {{ fill: none; stroke: #858b95; stroke-width: 1.5; marker-end: url(#arrow) }}
#arrow path {{ fill: #858b95 }}
</style>
<marker id="arrow" viewBox="0 0 8 8" refX="8" refY="4" markerWidth="7" markerHeight="7" orient="auto">
<path d="M0,0 L8,4 L0,8 z"/></marker>
"""


def read(lines):
    """The folder of each room, and the rooms that it links and does not reach through others."""
    folders, linked, interfaces = {}, {}, set()
    for line in lines:
        target, kind, folders[target], *linked[target] = line.split()
        if kind == "INTERFACE_LIBRARY":
            interfaces.add(target)
    linked = {target: [link for link in links if link in linked] for target, links in linked.items()}
    # An interface is a room of headers when it is linked and links none; or else a name for several.
    used = set().union(*linked.values())
    doors = {target for target in interfaces if linked[target] or target not in used}

    def rooms(target):
        return {room for link in linked[target] for room in (rooms(link) if link in doors else {link})}

    def reached(target):
        return rooms(target).union(*map(reached, rooms(target)))

    return folders, {target: rooms(target) - set().union(*map(reached, rooms(target)))
                     for target in sorted(set(linked) - doors)}


def rows_of(links):
    """Rows of places, lowest first, and the places that are joined. A room stands above all that it
    links; where an arrow passes a row on its way down, it has a place (from, to, row) there."""
    def height(room):
        return max((height(link) + 1 for link in links[room]), default=0)

    rows, joints = [[] for _ in range(max(map(height, links)) + 1)], []
    for room in links:
        rows[height(room)].append(room)
        for link in sorted(links[room]):
            passed = [(room, link, row) for row in range(height(room) - 1, height(link), -1)]
            for place in passed:
                rows[place[2]].append(place)
            joints += zip([room, *passed], [*passed, link])
    return rows, joints


def columns_of(rows, joints):
    """Where each place stands across: near the middle of what it is joined to, none on another."""
    near = {place: [] for row in rows for place in row}
    for one, other in joints:
        near[one].append(other)
        near[other].append(one)
    across = {place: ACROSS * (column - len(row) / 2) for row in rows for column, place in enumerate(row)}
    for turn in range(40):
        for row in rows if turn % 2 else reversed(rows):
            wish = {place: sum(across[other] for other in near[place]) / len(near[place])
                    if near[place] else across[place] for place in row}
            row.sort(key=lambda place: (wish[place], str(place)))
            for place, before in zip(row, [None, *row]):
                across[place] = max(wish[place], across[before] + ACROSS if before else wish[place])
            aside = sum(across[place] - wish[place] for place in row) / len(row)
            for place in row:
                across[place] -= aside
    for row, lower in zip(rows[1:], rows):
        if len(row) == 1:  # right above what it links
            places = [across[place] for place in lower if place in near[row[0]]]
            across[row[0]] = sum(places) / len(places)
    return across


def group_of(links, room):
    """All that are joined to a room in any way."""
    group, more = set(), {room}
    while more:
        group |= more
        more = {one for one in links for other in links[one] if one in group or other in group}
        more = (more | set().union(*(links[one] for one in more))) - group
    return group


def draw(lines):
    folders, links = read(lines)
    boxes, arrows, right, bottom, left = [], [], 0, 0, set(links)
    while left:
        group = max((group_of(links, room) for room in left), key=lambda group: (len(group), min(group)))
        left -= group
        rows, joints = rows_of({room: links[room] for room in links if room in group})
        across = columns_of(rows, joints)
        bottom = bottom or len(rows) * DOWN - (DOWN - HEIGHT) + 2 * MARGIN
        shift = right + MARGIN + WIDTH / 2 - min(across.values())
        at = {place: (round(across[place] + shift), bottom - MARGIN - HEIGHT // 2 - DOWN * row)
              for row, places in enumerate(rows) for place in places}
        right = max(x for x, _ in at.values()) + WIDTH // 2 + MARGIN
        for room in sorted(group):
            x, y = at[room]
            name, folder = room.removeprefix("brindle_"), folders[room]
            boxes.append(f'<rect x="{x - WIDTH // 2}" y="{y - HEIGHT // 2}" width="{WIDTH}" '
                         f'height="{HEIGHT}" rx="7"/>\n<text x="{x}" y="{y - 1}">{name}</text>\n'
                         f'<text class="folder" x="{x}" y="{y + 14}">{folder}</text>\n')
            for link in sorted(links[room]):
                way = [place for row in reversed(rows) for place in row
                       if place in (room, link) or place[:2] == (room, link)]
                path = f"M{x},{y + HEIGHT // 2}"
                for (x1, y1), (x2, y2) in zip(map(at.get, way), map(at.get, way[1:])):
                    y1, y2 = y1 + HEIGHT // 2, y2 - HEIGHT // 2
                    path += f" L{x1},{y1} C{x1},{y1 + 20} {x2},{y2 - 20} {x2},{y2}"
                arrows.append(f'<path class="link" d="{path}"><title>{name} links '
                              f'{link.removeprefix("brindle_")}</title></path>\n')
    return HEAD.format(right, bottom) + "".join(arrows + boxes) + "</svg>\n"


if __name__ == "__main__":
    check = sys.argv[1] == "--check"
    rooms, picture = map(Path, sys.argv[1 + check:])
    drawn = draw(rooms.read_text().splitlines())
    if not check:
        picture.write_text(drawn)
    elif picture.read_text() != drawn:
        sys.exit(f"{picture} is not what CMake links: ninja -C build/dev rooms")
