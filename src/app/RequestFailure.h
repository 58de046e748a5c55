#pragma once

#include <QString>

namespace dialwise {

// Why the running Dialwise could not do what another program handed it. It travels as this
// value (over D-Bus as an error name) and becomes a sentence only where the user reads it.
enum class RequestFailure {
    noText,   // nothing at all was handed over (no text, an empty selection)
    noNumber, // text came, but no phone number is in it (empty text included)
    tooLarge, // a text, link or action name over the limit of IntakeLimits.h, refused unread
    tooManyLinks, // more links in one Open than IntakeLimits.h allows, refused unread
};

// The sentence the user reads, exactly.
inline QString failureMessage(RequestFailure failure)
{
    switch (failure) {
    case RequestFailure::noText:
        return QStringLiteral("No text provided");
    case RequestFailure::tooLarge:
        return QStringLiteral("Text too long (more than 64 KiB)");
    case RequestFailure::tooManyLinks:
        return QStringLiteral("Too many links in one request (more than 100)");
    case RequestFailure::noNumber:
        break;
    }
    return QStringLiteral("No valid phone number found");
}

} // namespace dialwise
