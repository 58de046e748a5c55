#pragma once

#include "detection/PhoneFinder.h"

#include <QString>

namespace dialwise {

// libphonenumber's matcher over free text: the first number at POSSIBLE leniency (the popup shows
// numbers the user clicked, valid or not), returned as written in the text.
class LibPhoneNumberFinder final : public PhoneFinder
{
public:
    // region: where numbers without a country code are taken to be ("US", "GB"); empty: the
    // user's locale, or "US" when the locale names no country.
    explicit LibPhoneNumberFinder(QString region = QString());

    QString firstPhoneNumber(const QString &text) const override;
    QString region() const { return m_region; }

    // The country of the user's locale, "US" when it names none.
    static QString defaultRegion();

private:
    QString m_region;
};

} // namespace dialwise
