#include "platform/linux/SchemeRegistration.h"

#include <QProcess>
#include <QStandardPaths>

namespace dialwise {

bool registerSchemeHandler(const QString &desktopEntry, const QStringList &schemes)
{
    if (schemes.isEmpty() || QStandardPaths::locate(QStandardPaths::ApplicationsLocation, desktopEntry).isEmpty())
        return false;
    // One run for all schemes: two xdg-mime runs at once would race on mimeapps.list.
    QStringList arguments{QStringLiteral("default"), desktopEntry};
    for (const QString &scheme : schemes)
        arguments.append(QStringLiteral("x-scheme-handler/") + scheme);
    return QProcess::startDetached(QStringLiteral("xdg-mime"), arguments);
}

} // namespace dialwise
