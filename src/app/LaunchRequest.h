#pragma once

#include <QString>
#include <QStringList>

namespace dialwise {

// What one start of `dialwise` asks of the running Dialwise. The launcher either forwards it over
// D-Bus or, when nothing is running yet, hands it to the instance it becomes.
struct LaunchRequest
{
    enum class Kind {
        activate,      // no arguments: show the window
        openUris,      // positional arguments: tel:, callto:, dialwise: links, in order
        callText,      // --call-text TEXT: call the number found in the text
        callSelection, // --call-selection: call the number in the X11 primary selection
        quit,          // --quit: end the running Dialwise; never starts one
    };

    Kind kind = Kind::activate;
    QStringList uris;
    QString text;
    // --hidden: Dialwise runs without showing its window (a login or the session bus starting
    // it); the running instance is left as it is.
    bool hidden = false;
    // --detect-phone-links: the Dialwise this start launches watches clicks on phone links.
    bool detectPhoneLinks = false;

    bool operator==(const LaunchRequest &) const = default;
};

} // namespace dialwise
