// A hostile neighbour on the X display: takes the primary selection and then never answers a
// request for it. Prints "owning" once the X server has made it the owner, then sleeps for good.
#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <xcb/xcb.h>

int main()
{
    xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection)) {
        std::fprintf(stderr, "silent-selection-owner: cannot open display\n");
        return 1;
    }
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const xcb_window_t window = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      screen->root_visual, 0, nullptr);
    xcb_set_selection_owner(connection, window, XCB_ATOM_PRIMARY, XCB_CURRENT_TIME);
    xcb_get_selection_owner_reply_t *owner =
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, XCB_ATOM_PRIMARY), nullptr);
    const bool owning = owner && owner->owner == window;
    std::free(owner);
    if (!owning) {
        std::fprintf(stderr, "silent-selection-owner: could not take the selection\n");
        return 1;
    }
    std::printf("owning\n");
    std::fflush(stdout);
    // Requests for the selection pile up unread on the connection.
    for (;;)
        pause();
}
