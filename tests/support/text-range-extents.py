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

from atspi_text import SCREEN, Atspi, application, text_holder


def extents(pid, needle, deadline):
    while time.monotonic() < deadline:
        app = application(pid)
        element, content, _ = text_holder(app, needle) if app is not None else (None, None, 0)
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
