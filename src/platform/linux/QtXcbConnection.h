#pragma once

struct xcb_connection_t;

namespace dialwise {

// Qt's own connection to the X server, for requests about Qt's windows that must come from the
// client that made them; null when the session is not X11.
xcb_connection_t *qtXcbConnection();

} // namespace dialwise
