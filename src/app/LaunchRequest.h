#pragma once

#include <QString>
#include <QStringList>

#include <optional>

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
    // --detect-phone-links (true) or --detect-phone-links=off (false): whether Dialwise watches
    // clicks on phone links, the one this start launches or the one already running. No value:
    // as dialwise.conf says, or as it already is.
    std::optional<bool> detectPhoneLinks = std::nullopt;

    bool operator==(const LaunchRequest &) const = default;
};

} // namespace dialwise
