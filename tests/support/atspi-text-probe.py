#!/usr/bin/python3
# What a click on a phone number in another program's text can learn through AT-SPI, measured:
# waits for the program on the accessibility bus, finds the element whose text holds the needle,
# and then does what the text path does at a click on the needle's middle character: the hit test
# from the window down to the deepest element, the character offset at the point, the text around
# it, and the needle's range extents, each timed. Prints one JSON object on stdout.
#   --pid PID | --name NAME    the program (process id, or application name as on the bus)
#   --needle TEXT              the number as written in the program's text
#   --wait SECONDS             how long to wait for the program and its text (default 30)
#   --repeat N                 timed calls per step (default 20); medians and maxima are printed
#   --beside TEXT              also hit-test a word beside the number (its offset must not be in it)
#   --cold-click X Y           first of all, the offset at this point (where the number is expected)
# Runs inside tests/run-in-desktop and tests/with-accessibility-bus; reads X geometry with xwininfo.
import argparse
import json
import re
import statistics
import subprocess
import sys
import time

from atspi_text import SCREEN, Atspi, application, has, text_holder

WINDOW = Atspi.CoordType.WINDOW
TOP_LEVEL_ROLES = {Atspi.Role.FRAME, Atspi.Role.DIALOG, Atspi.Role.WINDOW, Atspi.Role.ALERT,
                   Atspi.Role.FILE_CHOOSER}


def ms(seconds):
    return round(seconds * 1000.0, 3)


def timed(call, repeat):
    """Calls call() repeat times; answers its last result, the first call's time and the median
    and maximum of all, in milliseconds."""
    times = []
    result = None
    for _ in range(repeat):
        start = time.perf_counter()
        result = call()
        times.append(time.perf_counter() - start)
    return result, {"first_ms": ms(times[0]), "median_ms": ms(statistics.median(times)),
                    "max_ms": ms(max(times)), "n": repeat}


def rect(r):
    return None if r is None else [r.x, r.y, r.width, r.height]


def describe(acc):
    try:
        return f"{acc.get_role_name()}:{(acc.get_name() or '')[:40]!r}"
    except Exception as e:  # noqa: BLE001 - a defunct element is described, not raised
        return f"<{e.__class__.__name__}>"


def dump(root, limit=200):
    """The tree as seen, for a report whose needle was not found: depth, element, interfaces and
    the start of its text."""
    out = []
    stack = [(root, 0)]
    while stack and len(out) < limit:
        acc, depth = stack.pop()
        try:
            entry = {"depth": depth, "element": describe(acc), "interfaces": list(acc.get_interfaces())}
            if has(acc, "Text"):
                entry["text"] = Atspi.Text.get_text(acc, 0, 80)
            out.append(entry)
            children = [acc.get_child_at_index(i) for i in range(acc.get_child_count())]
        except Exception as e:  # noqa: BLE001
            out.append({"depth": depth, "error": str(e)})
            continue
        stack.extend((c, depth + 1) for c in reversed(children) if c is not None)
    return out


def top_level_of(acc):
    cur = acc
    while cur is not None:
        try:
            if cur.get_role() in TOP_LEVEL_ROLES:
                return cur
            parent = cur.get_parent()
        except Exception:  # noqa: BLE001
            return None
        if parent is None or parent.get_role() == Atspi.Role.APPLICATION:
            return cur
        cur = parent
    return None


def hit_test(window, x, y):
    """From the window down: get_accessible_at_point on each element in turn until none answers
    a deeper one. Answers the path and the time of each step."""
    path = []
    cur = window
    for _ in range(64):
        start = time.perf_counter()
        try:
            child = Atspi.Component.get_accessible_at_point(cur, x, y, SCREEN)
        except Exception as e:  # noqa: BLE001
            path.append({"error": str(e), "ms": ms(time.perf_counter() - start)})
            break
        elapsed = time.perf_counter() - start
        if child is None or child == cur:
            path.append({"answer": None if child is None else "itself", "ms": ms(elapsed)})
            break
        path.append({"element": describe(child), "text": has(child, "Text"),
                     "ms": ms(elapsed)})
        cur = child
        if not has(cur, "Component"):
            break
    return cur, path


def extents_descent(start, x, y):
    """Where the hit test stops short (a container that answers no child at the point), down by
    hand: at each level the last showing child whose extents hold the point (the last is drawn on
    top), until none does. A showing child without extents (a notebook's page tab whose tab row is
    hidden reports -1, -1, -1, -1) is looked through: its children stand in its place. Answers the
    deepest element and the number of elements asked."""
    cur = start
    asked = 0
    for _ in range(64):
        found = None
        level = []
        try:
            level = [cur.get_child_at_index(i) for i in range(cur.get_child_count())]
        except Exception:  # noqa: BLE001
            break
        while level:
            child = level.pop(0)
            if child is None or not has(child, "Component"):
                continue
            asked += 1
            try:
                if not child.get_state_set().contains(Atspi.StateType.SHOWING):
                    continue
                e = Atspi.Component.get_extents(child, SCREEN)
                if e.width <= 0 or e.height <= 0:
                    level.extend(child.get_child_at_index(i) for i in range(child.get_child_count()))
                elif e.x <= x < e.x + e.width and e.y <= y < e.y + e.height:
                    found = child
            except Exception:  # noqa: BLE001
                continue
        if found is None:
            break
        cur = found
        if has(cur, "Text"):
            break
    return cur, asked


def xwininfo(pid):
    """The X geometry of the program's visible top-level windows: absolute upper-left corner and
    size, as the X server has them."""
    try:
        ids = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(pid)],
                             capture_output=True, text=True, timeout=10).stdout.split()
    except (OSError, subprocess.TimeoutExpired):
        return []
    out = []
    for wid in ids:
        info = subprocess.run(["xwininfo", "-id", wid], capture_output=True, text=True).stdout
        fields = {}
        for key, label in (("x", "Absolute upper-left X"), ("y", "Absolute upper-left Y"),
                           ("w", "Width"), ("h", "Height")):
            m = re.search(label + r":\s+(-?\d+)", info)
            fields[key] = int(m.group(1)) if m else None
        name = re.search(r'xwininfo: Window id: \S+ (.*)', info)
        out.append({"id": wid, "name": name.group(1) if name else "",
                    "rect": [fields["x"], fields["y"], fields["w"], fields["h"]]})
    return out


def probe(args):
    report = {"needle": args.needle}
    started = time.perf_counter()
    deadline = started + args.wait

    app = None
    while app is None and time.perf_counter() < deadline:
        app = application(args.pid, args.name)
        if app is None:
            time.sleep(0.1)
    report["app_on_bus_after_ms"] = ms(time.perf_counter() - started)
    if app is None:
        report["error"] = "program not on the accessibility bus"
        return report
    report["app"] = {"name": app.get_name(), "toolkit": app.get_toolkit_name(),
                     "toolkit_version": app.get_toolkit_version(), "pid": app.get_process_id()}

    element = None
    walk_ms = []
    while element is None and time.perf_counter() < deadline:
        start = time.perf_counter()
        element, _, visited = text_holder(app, args.needle)
        walk_ms.append(ms(time.perf_counter() - start))
        report["walk"] = {"elements_visited": visited, "last_walk_ms": walk_ms[-1], "walks": len(walk_ms)}
        if element is None:
            time.sleep(0.25)
    report["text_found_after_ms"] = ms(time.perf_counter() - started)
    if element is None:
        report["error"] = "no element with the Text interface holds the needle"
        report["tree"] = dump(app)
        return report
    report["element"] = describe(element)
    report["element_states"] = [s.value_nick for s in element.get_state_set().get_states()]

    content = Atspi.Text.get_text(element, 0, -1)
    count = Atspi.Text.get_character_count(element)
    utf16 = len(content.encode("utf-16-le")) // 2
    # AT-SPI counts characters (code points); a program may count UTF-16 units instead. Which one
    # it speaks shows in what get_text answers for the needle's range in either unit (its
    # character count may disagree with both: VTE's counts UTF-8 bytes). The rest of the probe
    # speaks the program's own unit.
    at = content.index(args.needle)
    by_code_points = (at, at + len(args.needle))
    units_before = len(content[:at].encode("utf-16-le")) // 2
    by_utf16 = (units_before, units_before + len(args.needle.encode("utf-16-le")) // 2)
    if by_code_points == by_utf16:
        unit, (start, end) = "code points or UTF-16 units (same here)", by_code_points
    elif Atspi.Text.get_text(element, *by_code_points) == args.needle:
        unit, (start, end) = "code points", by_code_points
    elif Atspi.Text.get_text(element, *by_utf16) == args.needle:
        unit, (start, end) = "UTF-16 units", by_utf16
    else:
        unit, (start, end) = "neither", by_code_points
    count_unit = ("code points" if count == len(content) else "UTF-16 units" if count == utf16
                  else "UTF-8 bytes" if count == len(content.encode("utf-8")) else "other")
    middle = start + (end - start) // 2
    report["text"] = {"character_count": count, "code_points": len(content), "utf16_units": utf16,
                      "utf8_bytes": len(content.encode("utf-8")), "count_unit": count_unit,
                      "offset_unit": unit, "needle_start": start, "needle_end": end,
                      "text_at_needle": Atspi.Text.get_text(element, start, end)}

    if args.cold_click:
        # Before anything has asked for the text's layout: the offset at a point known beforehand,
        # as a click on a page nobody has read yet would ask it.
        cx, cy = args.cold_click
        first_ask = time.perf_counter()
        first_answer = Atspi.Text.get_offset_at_point(element, cx, cy, SCREEN)
        answer, tries = first_answer, 1
        while answer < 0 and time.perf_counter() - first_ask < 10:
            time.sleep(0.01)
            answer, tries = Atspi.Text.get_offset_at_point(element, cx, cy, SCREEN), tries + 1
        report["cold_offset_at_point"] = {"point": [cx, cy], "first_answer": first_answer, "answer": answer,
                                          "after_ms": ms(time.perf_counter() - first_ask), "tries": tries}

    def guarded(key, step):
        try:
            step()
        except Exception as e:  # noqa: BLE001 - a failed step is a finding, the rest still runs
            report[key] = {"error": str(e)}

    def extents():
        # The first answer, and how long until the extents are real: a program may keep its text's
        # layout elsewhere (Firefox's content processes) and answer zeros until it has sent it.
        first_ask = time.perf_counter()
        first_answer = rect(Atspi.Text.get_range_extents(element, start, end, SCREEN))
        r, tries = first_answer, 1
        while (r[2] <= 0 or r[3] <= 0) and time.perf_counter() - first_ask < 10:
            time.sleep(0.01)
            r, tries = rect(Atspi.Text.get_range_extents(element, start, end, SCREEN)), tries + 1
        report["range_extents_first_answer"] = {"rect": first_answer, "real_after_ms": ms(time.perf_counter() - first_ask),
                                                "tries": tries}
        r, t = timed(lambda: Atspi.Text.get_range_extents(element, start, end, SCREEN), args.repeat)
        report["range_extents_screen"] = {"rect": rect(r), "timing": t}
        report["range_extents_window"] = {"rect": rect(Atspi.Text.get_range_extents(element, start, end, WINDOW))}
        c, t = timed(lambda: Atspi.Text.get_character_extents(element, middle, SCREEN), args.repeat)
        report["middle_character_extents_screen"] = {"offset": middle, "rect": rect(c), "timing": t}
        first = Atspi.Text.get_character_extents(element, start, SCREEN)
        last = Atspi.Text.get_character_extents(element, end - 1, SCREEN)
        report["first_last_character_extents_screen"] = [rect(first), rect(last)]
        report["element_extents_screen"] = rect(Atspi.Component.get_extents(element, SCREEN))
        # The middle of the needle's middle character: where the click lands.
        report["click"] = [c.x + c.width // 2, c.y + c.height // 2]

    guarded("range_extents_screen", extents)

    # The element's ancestors up to the application, with their extents and whether they show:
    # where a hit test stops, this says which container hides the way down.
    ancestors = []
    cur = element.get_parent()
    while cur is not None and cur.get_role() != Atspi.Role.APPLICATION:
        ancestors.append({"element": describe(cur),
                          "extents": rect(Atspi.Component.get_extents(cur, SCREEN)) if has(cur, "Component") else None,
                          "showing": cur.get_state_set().contains(Atspi.StateType.SHOWING)})
        cur = cur.get_parent()
    report["ancestors"] = ancestors

    window = top_level_of(element)
    report["window"] = describe(window) if window else None
    if window is not None and has(window, "Component"):
        report["window_extents_screen"] = rect(Atspi.Component.get_extents(window, SCREEN))
    report["x_windows"] = xwininfo(report["app"]["pid"])
    if "click" not in report:
        return report
    x, y = report["click"]
    target = element

    def hit():
        nonlocal target
        start_hit = time.perf_counter()
        deepest, path = hit_test(window, x, y)
        report["hit_test"] = {"path": path, "total_ms": ms(time.perf_counter() - start_hit),
                              "reached_text_element": deepest == element,
                              "deepest": describe(deepest), "deepest_path": deepest.path,
                              "text_element_path": element.path,
                              "deepest_has_text": has(deepest, "Text")}
        _, t = timed(lambda: hit_test(window, x, y), args.repeat)
        report["hit_test"]["timing"] = t
        if deepest == element:
            return
        # A toolkit that answers the deepest element at once (Qt) may pass over the element with
        # the text to a part of it (an editor's viewport): its nearest ancestor with the Text
        # interface that holds the point.
        climb_start = time.perf_counter()
        cur, steps = deepest, 0
        while cur is not None and cur != window and not has(cur, "Text") and steps < 8:
            cur, steps = cur.get_parent(), steps + 1
        holds = (cur is not None and cur != window and has(cur, "Text")
                 and Atspi.Component.contains(cur, x, y, SCREEN))
        report["climb_from_hit"] = {"reached": describe(cur) if holds else None, "steps": steps,
                                    "reached_text_element": holds and cur == element,
                                    "ms": ms(time.perf_counter() - climb_start)}
        if holds:
            target = cur
            return
        start_descent = time.perf_counter()
        below, asked = extents_descent(deepest, x, y)
        report["extents_descent_from_hit"] = {"deepest": describe(below), "elements_asked": asked,
                                              "reached_text_element": below == element,
                                              "ms": ms(time.perf_counter() - start_descent)}

    if window is not None:
        guarded("hit_test", hit)

    def offset_at_point():
        offset, t = timed(lambda: Atspi.Text.get_offset_at_point(target, x, y, SCREEN), args.repeat)
        report["offset_at_point"] = {"offset": offset, "expected": middle, "right": offset == middle,
                                     "timing": t}
        # Every character of the needle: is the offset at its centre the character itself?
        wrong = []
        for i in range(start, end):
            e = Atspi.Text.get_character_extents(element, i, SCREEN)
            if e.width <= 0 or e.height <= 0:
                continue
            at = Atspi.Text.get_offset_at_point(element, e.x + e.width // 2, e.y + e.height // 2, SCREEN)
            if at != i:
                wrong.append([i, at])
        report["offset_at_each_character_wrong"] = wrong

    guarded("offset_at_point", offset_at_point)

    def line():
        r, t = timed(lambda: Atspi.Text.get_string_at_offset(target, middle, Atspi.TextGranularity.LINE),
                     args.repeat)
        report["line_at_offset"] = {"text": r.content, "start": r.start_offset, "end": r.end_offset, "timing": t}

    def line_by_boundary():
        # The older call, with a boundary instead of a granularity, for programs without the newer.
        r, t = timed(lambda: Atspi.Text.get_text_at_offset(target, middle, Atspi.TextBoundaryType.LINE_START),
                     args.repeat)
        report["line_at_offset_by_boundary"] = {"text": r.content, "start": r.start_offset, "end": r.end_offset,
                                                "timing": t}

    def around():
        around_start = max(0, middle - 256)
        r, t = timed(lambda: Atspi.Text.get_text(target, around_start, min(count, middle + 257)), args.repeat)
        report["text_around_click"] = {"characters": len(r), "timing": t}
        # Past the end: some programs answer nothing at all rather than the text up to its end.
        report["text_read_past_end"] = Atspi.Text.get_text(target, max(0, count - 5), count + 50)

    guarded("line_at_offset", line)
    guarded("line_at_offset_by_boundary", line_by_boundary)
    guarded("text_around_click", around)

    def beside():
        b = content.index(args.beside)
        if unit == "UTF-16 units":
            b = len(content[:b].encode("utf-16-le")) // 2
        e = Atspi.Text.get_character_extents(element, b, SCREEN)
        bx, by = e.x + e.width // 2, e.y + e.height // 2
        report["beside"] = {"word": args.beside, "expected": b,
                            "offset": Atspi.Text.get_offset_at_point(element, bx, by, SCREEN)}

    if args.beside and args.beside in content:
        guarded("beside", beside)
    pid = report["app"]["pid"]

    def whole_click():
        # All a click costs on the text path, as the detector would do it: the program's window by
        # the X window's process id and geometry, the hit test down (then up to the nearest text, or
        # down by extents), the offset at the point, the count, the text around the click (clamped:
        # some programs answer nothing for a range past the end) and the number's extents.
        x_rect = report["x_windows"][0]["rect"] if report["x_windows"] else None

        def once():
            app_now = None
            desktop = Atspi.get_desktop(0)
            for i in range(desktop.get_child_count()):
                candidate = desktop.get_child_at_index(i)
                if candidate is not None and candidate.get_process_id() == pid:
                    app_now = candidate
                    break
            top = None
            for i in range(app_now.get_child_count()):
                candidate = app_now.get_child_at_index(i)
                if candidate is None or not has(candidate, "Component"):
                    continue
                e = Atspi.Component.get_extents(candidate, SCREEN)
                # At a scale of 2, GTK and Qt answer logical pixels: the X window is the frame
                # times the program's scale, which nothing on the bus states.
                if x_rect is None or any([e.x * k, e.y * k, e.width * k, e.height * k] == x_rect
                                         for k in (1, 2, 3)):
                    top = candidate
                    break
            if top is None:
                return None
            deepest, _ = hit_test(top, x, y)
            hit_element = deepest
            steps = 0
            while hit_element is not None and hit_element != top and not has(hit_element, "Text") and steps < 8:
                hit_element, steps = hit_element.get_parent(), steps + 1
            if hit_element is None or hit_element == top or not has(hit_element, "Text"):
                hit_element, _ = extents_descent(deepest, x, y)
            if not has(hit_element, "Text"):
                return None
            offset = Atspi.Text.get_offset_at_point(hit_element, x, y, SCREEN)
            total = Atspi.Text.get_character_count(hit_element)
            low, high = max(0, offset - 256), min(total, offset + 257)
            Atspi.Text.get_text(hit_element, low, high)
            return rect(Atspi.Text.get_range_extents(hit_element, start, end, SCREEN))

        r, t = timed(once, args.repeat)
        report["whole_click"] = {"number_rect": r, "timing": t}

    guarded("whole_click", whole_click)
    report["total_ms"] = ms(time.perf_counter() - started)
    return report


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--pid", type=int, default=0)
    parser.add_argument("--name", default="")
    parser.add_argument("--needle", required=True)
    parser.add_argument("--wait", type=float, default=30.0)
    parser.add_argument("--repeat", type=int, default=20)
    parser.add_argument("--beside", default="")
    parser.add_argument("--cold-click", type=int, nargs=2, metavar=("X", "Y"))
    args = parser.parse_args()
    if not args.pid and not args.name:
        parser.error("--pid or --name is needed")
    report = probe(args)
    json.dump(report, sys.stdout, indent=1, ensure_ascii=False)
    print()
    return 1 if "error" in report else 0


if __name__ == "__main__":
    sys.exit(main())
