# What the text tools beside this file share (text-range-extents.py, atspi-text-probe.py): finding
# a program on the accessibility bus and the element whose text holds a needle, as the program's
# own tree tells. Imported from the scripts' own folder, which Python puts first on sys.path.
import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

SCREEN = Atspi.CoordType.SCREEN
# A tree walk that finds the needle stops after this many elements: a browser's tree can be large.
MAX_WALK = 20000


def has(acc, interface):
    try:
        return interface in acc.get_interfaces()
    except Exception:  # noqa: BLE001 - a defunct element has none
        return False


def application(pid=None, name=None):
    """The program on the bus with that process id or (case-insensitive) name; None when absent."""
    desktop = Atspi.get_desktop(0)
    for i in range(desktop.get_child_count()):
        app = desktop.get_child_at_index(i)
        if app is None:
            continue
        try:
            if pid and app.get_process_id() == pid:
                return app
            if name and (app.get_name() or "").lower() == name.lower():
                return app
        except Exception:  # noqa: BLE001 - an application that left meanwhile
            continue
    return None


def text_holder(root, needle):
    """Depth-first from root: the first element with the Text interface whose text holds the
    needle and that is laid out on screen (a page still loading shows elements without extents),
    its whole text, and how many elements were visited. (None, None, visited) when none does."""
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
                        return acc, content, visited
            for i in range(acc.get_child_count() - 1, -1, -1):
                child = acc.get_child_at_index(i)
                if child is not None:
                    stack.append(child)
        except Exception:  # noqa: BLE001 - elements may go while the tree is walked
            continue
    return None, None, visited
