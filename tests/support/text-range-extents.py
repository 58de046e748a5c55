#!/usr/bin/python3
# Where a program draws a stretch of its text, as its own accessibility tree says: waits for the
# program (by process id) on the accessibility bus and for an element with the Text interface whose
# text holds each needle, then prints one line per needle, "x y w h", the needle's range extents
# in screen coordinates (retried until the program has laid it out), in the program's own offset
# unit (Qt counts UTF-16 units, the others code points). Prints "none" for a needle not found.
#   text-range-extents.py PID WAIT_SECONDS NEEDLE [NEEDLE...]
# Runs inside tests/run-in-desktop and tests/with-accessibility-bus; the end-to-end tests of the
# text path read the number's rectangle with it, independently of Dialwise's own reading.
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

SCREEN = Atspi.CoordType.SCREEN
MAX_WALK = 20000


def has(acc, interface):
    try:
        return interface in acc.get_interfaces()
    except Exception:  # noqa: BLE001 - a defunct element has none
        return False


def application(pid):
    desktop = Atspi.get_desktop(0)
    for i in range(desktop.get_child_count()):
        app = desktop.get_child_at_index(i)
        try:
            if app is not None and app.get_process_id() == pid:
                return app
        except Exception:  # noqa: BLE001 - an application that left meanwhile
            continue
    return None


def holder(root, needle):
    stack = [root]
    visited = 0
    while stack and visited < MAX_WALK:
        acc = stack.pop()
        visited += 1
        try:
            if has(acc, "Text"):
                content = Atspi.Text.get_text(acc, 0, -1)
                if content and needle in content and has(acc, "Component"):
                    e = Atspi.Component.get_extents(acc, SCREEN)
                    if e.width > 0 and e.height > 0:
                        return acc, content
            for i in range(acc.get_child_count() - 1, -1, -1):
                child = acc.get_child_at_index(i)
                if child is not None:
                    stack.append(child)
        except Exception:  # noqa: BLE001 - elements may go while the tree is walked
            continue
    return None, None


def extents(pid, needle, deadline):
    while time.monotonic() < deadline:
        app = application(pid)
        element, content = holder(app, needle) if app is not None else (None, None)
        if element is not None:
            at = content.index(needle)
            spans = [(at, at + len(needle))]
            before = len(content[:at].encode("utf-16-le")) // 2
            spans.append((before, before + len(needle.encode("utf-16-le")) // 2))
            for start, end in spans:
                if Atspi.Text.get_text(element, start, end) != needle:
                    continue
                r = Atspi.Text.get_range_extents(element, start, end, SCREEN)
                if r.width > 0 and r.height > 0:
                    return f"{r.x} {r.y} {r.width} {r.height}"
        time.sleep(0.1)
    return "none"


def main():
    pid, wait = int(sys.argv[1]), float(sys.argv[2])
    deadline = time.monotonic() + wait
    for needle in sys.argv[3:]:
        print(extents(pid, needle, deadline), flush=True)


if __name__ == "__main__":
    main()
