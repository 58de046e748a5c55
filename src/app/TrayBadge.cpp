#include "app/TrayBadge.h"

namespace dialwise {

QString TrayBadge::toolTip() const
{
    if (unread <= 0)
        return QStringLiteral("Dialwise");
    return QStringLiteral("Dialwise: %1 unread").arg(unread);
}

} // namespace dialwise
