#pragma once

#include "platform/linux/NotificationNames.h"

#include <QDBusMessage>
#include <QString>

namespace dialwise::notifications {

// A call to the desktop's notification service; both the one-off notices and the page's lasting
// notifications go through it.
inline QDBusMessage methodCall(const char *method)
{
    return QDBusMessage::createMethodCall(QString::fromLatin1(kService), QString::fromLatin1(kPath),
                                          QString::fromLatin1(kInterface), QString::fromLatin1(method));
}

} // namespace dialwise::notifications
