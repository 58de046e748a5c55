#pragma once

#include <QString>

namespace dialwise {

// How many unread items the web app announces in its page title, as web mail and messaging apps
// do: "(3) Voice" is 3, "(99+) Voice" is 99, a title without a leading count is 0.
int unreadCountInTitle(const QString &title);

} // namespace dialwise
