#!/usr/bin/python3
# A stand-in for a program with a recognised phone number, in GTK 3: clicking the number opens,
# 100 ms later, a 260x120 borderless popup near the click whose accessible texts are the number,
# "FaceTime", "Large Type" and "Add to Contacts" (the popup the detector looks for).
#   --popup-at-start   the popup is already open at start, at (400, 500)
#   --no-number        the popup carries no number
#   --elements N       N more labels in the main window (a program with a big element tree)
#   --at X Y           the main window's top-left at (X, Y) in root coordinates (default 100 100)
# A click anywhere else in the main window closes the popup, as clicking away from a real one does.
# It prints "READY x y w h" (the number's rectangle, root coordinates) once shown, "POPUP x y w h"
# each time the popup is mapped and "CLOSED" each time a click closes it.
import argparse
import sys

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402

NUMBER = "+1 (555) 010-4477"
# The delay a data-detector popup takes to appear after the click.
POPUP_DELAY_MS = 100


def print_line(tag, x, y, w, h):
    print(f"{tag} {x} {y} {w} {h}", flush=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--popup-at-start", action="store_true")
    parser.add_argument("--no-number", action="store_true")
    parser.add_argument("--elements", type=int, default=0)
    parser.add_argument("--at", type=int, nargs=2, default=(100, 100))
    args = parser.parse_args()

    # A POPUP window is override-redirect and takes no grab: it must not steal the next click.
    popup = Gtk.Window(type=Gtk.WindowType.POPUP)
    popup.set_size_request(260, 120)
    popup.set_default_size(260, 120)
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
    popup.add(box)
    if not args.no_number:
        box.pack_start(Gtk.Label(label=NUMBER), True, True, 0)
    for text in ("FaceTime", "Large Type", "Add to Contacts"):
        button = Gtk.Button(label=text)
        button.set_relief(Gtk.ReliefStyle.NONE)
        box.pack_start(button, True, True, 0)

    def on_popup_mapped(widget, _event):
        x, y = widget.get_window().get_origin()[1:]
        alloc = widget.get_allocation()
        print_line("POPUP", x, y, alloc.width, alloc.height)
        return False

    popup.connect("map-event", on_popup_mapped)

    def show_popup_at(x, y):
        popup.move(x, y)
        popup.resize(260, 120)
        popup.show_all()
        return False

    window = Gtk.Window(title="Phone link fixture (GTK)")
    window.connect("destroy", Gtk.main_quit)
    window.move(*args.at)
    window.set_default_size(600, 400)
    outer = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
    window.add(outer)
    events = Gtk.EventBox()
    number = Gtk.Label(label=NUMBER)
    number.set_halign(Gtk.Align.START)
    events.add(number)
    outer.pack_start(events, False, False, 0)

    def on_press(_widget, event):
        if event.button != 1:
            return False
        # Just below and a little left of the click, as data-detector popups sit.
        x, y = int(event.x_root) - 40, int(event.y_root) + 14
        GLib.timeout_add(POPUP_DELAY_MS, show_popup_at, x, y)
        return True

    events.connect("button-press-event", on_press)

    def on_window_press(_widget, event):
        if event.button == 1 and popup.get_visible():
            popup.hide()
            print("CLOSED", flush=True)
        return False

    window.add_events(Gdk.EventMask.BUTTON_PRESS_MASK)
    window.connect("button-press-event", on_window_press)

    if args.elements > 0:
        grid = Gtk.Grid()
        columns = 40
        for i in range(args.elements):
            grid.attach(Gtk.Label(label=str(i)), i % columns, i // columns, 1, 1)
        scroller = Gtk.ScrolledWindow()
        scroller.add(grid)
        outer.pack_start(scroller, True, True, 0)

    def on_mapped(_widget, _event):
        def report():
            origin = events.get_window().get_origin()
            alloc = number.get_allocation()
            print_line("READY", origin[1] + alloc.x, origin[2] + alloc.y, alloc.width, alloc.height)
            return False

        GLib.idle_add(report)
        return False

    window.connect("map-event", on_mapped)
    window.show_all()
    if args.popup_at_start:
        show_popup_at(400, 500)
    Gtk.main()
    return 0


if __name__ == "__main__":
    sys.exit(main())
