#pragma once

#include "detection/PhoneFinder.h"

#include <QHash>
#include <QString>
#include <QStringList>

namespace dialwise::testing {

// Answers from a table instead of libphonenumber, and remembers what it was asked: for tests about
// which texts the detector hands over and in what order, whatever a real matcher would make of them.
class FakePhoneFinder final : public PhoneFinder
{
public:
    QString firstPhoneNumber(const QString &text) const override
    {
        asked.append(text);
        return numbers.value(text);
    }

    QHash<QString, QString> numbers; // text -> the number found in it
    mutable QStringList asked;
};

} // namespace dialwise::testing
