#pragma once

#include "calling/DesktopServices.h"

#include "platform/linux/NotificationText.h"

#include <QDBusConnection>

#include <functional>

namespace dialwise {

// The calling core's view of the Linux desktop:
//  - URLs go to the user's default handler through QDesktopServices (xdg-open in the end),
//  - notifications go to org.freedesktop.Notifications on the session bus,
//  - the dial dialog is whatever the widget layer hands in (it is a widget, so it lives there).
// Needs a QApplication. Nothing here reports failure: a desktop without a notification server
// simply shows nothing.
class LinuxDesktopServices final : public DesktopServices
{
public:
    // Asks for a number: the text as typed on "Call", no value on "Cancel".
    using DialDialogRunner = std::function<std::optional<QString>()>;

    explicit LinuxDesktopServices(DialDialogRunner dialDialog, QDBusConnection bus = QDBusConnection::sessionBus());

    void openUrl(const QUrl &url) override;
    void showNotification(const QString &title, const QString &body) override;
    std::optional<QString> runDialDialog() override;

private:
    DialDialogRunner m_dialDialog;
    QDBusConnection m_bus;
};

// Posts a notification with app name "Dialwise". The body is shown as given: where the server
// interprets markup in bodies, markup characters are escaped first. Returns at once; no server
// on the bus means no notification and no message.
void postDesktopNotification(const QDBusConnection &bus, const QString &title, const QString &body);

} // namespace dialwise
