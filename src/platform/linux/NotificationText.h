#pragma once

#include <QString>
#include <QStringList>

namespace dialwise {

// Escapes what a notification server that renders body markup would otherwise interpret.
QString escapeNotificationMarkup(const QString &body);

// The body to send so that the user reads it exactly as given: escaped where the server's
// capabilities say it renders markup, as it is everywhere else. The one rule for every sender.
QString notificationBody(const QString &body, const QStringList &serverCapabilities);

} // namespace dialwise
