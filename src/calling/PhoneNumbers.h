#pragma once

#include <QString>
#include <QStringView>
#include <optional>

// The three number forms every part of Dialwise agrees on:
//  - raw text as it arrives (typed, from a link, from another program),
//  - the normalised number: an optional leading "+" and at least 7 numeric characters,
//  - the display form: "(AAA) BBB-CCCC", "+1 (AAA) BBB-CCCC" or the text unchanged.
//
// A numeric character is a user-perceived character (grapheme cluster) whose first code point
// has a Unicode Numeric_Type of Decimal, Digit or Numeric. Such characters are kept exactly as
// written: Arabic-Indic, full-width or circled digits are never rewritten to ASCII, because a
// dialer that quietly changes what the user gave it is worse than one that refuses.
namespace dialwise::phone {

// Fewer numeric characters than this and the text is not a phone number.
inline constexpr qsizetype kMinimumDigits = 7;
// A normalised number longer than this is not one anybody can dial (E.164 numbers have at most
// 15 digits, an extension adds a few), so requests carrying one are refused and it is never
// kept in the call history, where 55 ten-megabyte "numbers" once took over a gigabyte.
inline constexpr qsizetype kMaximumNumberLength = 64;

// Trim, strip one scheme prefix, percent-decode, keep a leading "+" and the numeric characters.
std::optional<QString> normalize(QStringView text);

// "(555) 123-4567" for ten numeric characters, "+1 (555) 123-4567" for eleven starting with
// "1", otherwise the text unchanged.
QString formatForDisplay(QStringView text);

// The numeric characters of the text, in order, concatenated.
QString numericCharacters(QStringView text);

// What the Google Voice new-call address carries: the numeric characters, with "1" put in
// front of exactly ten (a North American number written without its country code).
QString dialDigits(QStringView text);

// Percent-decodes UTF-8 ("%2B" -> "+"). No value when a "%" is not followed by two hex
// digits or the decoded bytes are not valid UTF-8.
std::optional<QString> percentDecoded(QStringView text);

} // namespace dialwise::phone
