#pragma once

#include <QString>

namespace dialwise {

// Finds phone numbers in free text, as the popup's labels carry them.
class PhoneFinder
{
public:
    virtual ~PhoneFinder() = default;
    // The first phone number in text exactly as written there ("+1 (555) 010-0000"), or empty.
    virtual QString firstPhoneNumber(const QString &text) const = 0;
};

} // namespace dialwise
