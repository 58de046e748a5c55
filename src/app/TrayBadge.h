#pragma once

#include <QString>

namespace dialwise {

// What the tray icon says about the web app's unread items: its tooltip, and whether the icon
// carries the dot. QtCore only.
struct TrayBadge final
{
    int unread = 0;

    bool showsDot() const { return unread > 0; }
    // "Dialwise" with nothing unread, "Dialwise: 3 unread" otherwise.
    QString toolTip() const;
};

} // namespace dialwise
