#pragma once

#include <QString>
#include <QUrl>
#include <optional>

namespace dialwise {

// Everything the calling core asks of the desktop. Results are not reported back: a failed
// open or a notification nobody shows must never stop a call from being recorded.
class DesktopServices
{
public:
    virtual ~DesktopServices() = default;
    // Hands the URL to the user's default handler for its scheme.
    virtual void openUrl(const QUrl &url) = 0;
    // Shows a desktop notification with this title and body, exactly as given.
    virtual void showNotification(const QString &title, const QString &body) = 0;
    // Brings Dialwise to the front and asks for a number in a modal "Dial Number" dialog: the
    // text as typed when the user chose "Call", no value on "Cancel".
    virtual std::optional<QString> runDialDialog() = 0;
};

} // namespace dialwise
