#include "detection/LibPhoneNumberFinder.h"

#include <phonenumbers/phonenumbermatch.h>
#include <phonenumbers/phonenumbermatcher.h>
#include <phonenumbers/phonenumberutil.h>

#include <unicode/locid.h>

#include <limits>
#include <string>

namespace dialwise {

LibPhoneNumberFinder::LibPhoneNumberFinder(QString region)
    : m_region(region.isEmpty() ? defaultRegion() : std::move(region))
{
}

QString LibPhoneNumberFinder::defaultRegion()
{
    const char *country = icu::Locale::getDefault().getCountry();
    if (!country || !*country)
        return QStringLiteral("US");
    return QString::fromLatin1(country);
}

namespace {

// libphonenumber's matcher slows down with the length of the text it is given (a megabyte of
// digits and words takes minutes), so long texts are searched a piece at a time. Pieces end at a
// blank, so no number or word is cut, and the first match in the first piece that has one is the
// text's first match. A popup's labels are far shorter than one piece.
constexpr qsizetype kPieceLength = 2048;
// How far past a piece's end a cut may be moved to reach a blank; a run of text without one
// longer than this is cut where it is.
constexpr qsizetype kCutSearch = 256;

QString firstMatch(const QString &text, const std::string &region)
{
    using i18n::phonenumbers::PhoneNumberMatch;
    using i18n::phonenumbers::PhoneNumberMatcher;
    using i18n::phonenumbers::PhoneNumberUtil;

    // Unbounded tries: the first match ends the search anyway.
    PhoneNumberMatcher matcher(*PhoneNumberUtil::GetInstance(), text.toStdString(), region,
                               PhoneNumberMatcher::POSSIBLE, std::numeric_limits<int>::max());
    PhoneNumberMatch match;
    if (!matcher.HasNext() || !matcher.Next(&match))
        return QString();
    return QString::fromStdString(match.raw_string());
}

} // namespace

namespace {

// libphonenumber takes no number with a national part shorter than two digits, so a text with
// fewer digits than that has none. Most texts in a program's element tree (button titles, roles,
// help texts) have no digits at all, and this spares them the matcher, which costs tens of
// microseconds per text.
constexpr int kMinDigits = 2;

bool mayHoldNumber(const QString &text)
{
    int digits = 0;
    for (const QChar c : text) {
        if (c.isDigit() && ++digits >= kMinDigits)
            return true;
    }
    return false;
}

} // namespace

QString LibPhoneNumberFinder::firstPhoneNumber(const QString &text) const
{
    if (!mayHoldNumber(text))
        return QString();
    const std::string region = m_region.toStdString();
    qsizetype start = 0;
    while (start < text.size()) {
        qsizetype end = std::min(text.size(), start + kPieceLength);
        const qsizetype searchEnd = std::min(text.size(), end + kCutSearch);
        while (end < searchEnd && !text.at(end).isSpace())
            ++end;
        const QString found = firstMatch(text.mid(start, end - start), region);
        if (!found.isEmpty())
            return found;
        start = end;
    }
    return QString();
}

} // namespace dialwise
