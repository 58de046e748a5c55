#include "detection/TextNumberFinder.h"

#include "detection/LibPhoneNumberFinder.h"

#include <phonenumbers/phonenumbermatch.h>
#include <phonenumbers/phonenumbermatcher.h>
#include <phonenumbers/phonenumberutil.h>

#include <QChar>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

namespace dialwise {

namespace {

// libphonenumber takes no number with a national part shorter than two digits; most clicks land
// on words, and this spares them the matcher.
constexpr int kMinDigits = 2;

// A text as code points, each with its offset in the program's unit (its index for code points,
// its first UTF-16 unit's index for UTF-16 units), and the text's length in that unit.
struct Characters
{
    std::vector<char32_t> codePoints;
    std::vector<int> offsetOf;
    int length = 0;
};

Characters split(const QString &text, OffsetUnit unit)
{
    Characters out;
    out.codePoints.reserve(static_cast<size_t>(text.size()));
    out.offsetOf.reserve(static_cast<size_t>(text.size()));
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        char32_t codePoint = c.unicode();
        int units = 1;
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            codePoint = QChar::surrogateToUcs4(c, text.at(i + 1));
            ++i;
            units = unit == OffsetUnit::Utf16Units ? 2 : 1;
        } else if (c.isSurrogate()) {
            // A lone surrogate is no character UTF-8 can carry; it stays one, as U+FFFD.
            codePoint = 0xFFFD;
        }
        out.codePoints.push_back(codePoint);
        out.offsetOf.push_back(out.length);
        out.length += units;
    }
    return out;
}

// Code points [first, last) as UTF-8, which is what libphonenumber reads and what its match
// offsets count, with the offset (in the program's unit, from base) of the character each byte
// belongs to. offsetOf has one entry past the last byte, end, for a match that ends the text.
struct Utf8Text
{
    std::string bytes;
    std::vector<int> offsetOf;
};

Utf8Text encode(const Characters &characters, size_t first, size_t last, int base, int end)
{
    Utf8Text out;
    out.bytes.reserve((last - first) * 2);
    out.offsetOf.reserve((last - first) * 2 + 1);
    for (size_t i = first; i < last; ++i) {
        const char32_t c = characters.codePoints[i];
        char buffer[4];
        int n = 0;
        if (c < 0x80) {
            buffer[n++] = static_cast<char>(c);
        } else if (c < 0x800) {
            buffer[n++] = static_cast<char>(0xC0 | (c >> 6));
            buffer[n++] = static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            buffer[n++] = static_cast<char>(0xE0 | (c >> 12));
            buffer[n++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            buffer[n++] = static_cast<char>(0x80 | (c & 0x3F));
        } else {
            buffer[n++] = static_cast<char>(0xF0 | (c >> 18));
            buffer[n++] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            buffer[n++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            buffer[n++] = static_cast<char>(0x80 | (c & 0x3F));
        }
        out.bytes.append(buffer, static_cast<size_t>(n));
        out.offsetOf.insert(out.offsetOf.end(), static_cast<size_t>(n), base + characters.offsetOf[i]);
    }
    out.offsetOf.push_back(end);
    return out;
}

bool mayHoldNumber(const Characters &characters, size_t first, size_t last)
{
    int digits = 0;
    for (size_t i = first; i < last; ++i) {
        if (QChar::isDigit(characters.codePoints[i]) && ++digits >= kMinDigits)
            return true;
    }
    return false;
}

} // namespace

TextNumberFinder::TextNumberFinder(QString region)
    : m_region(region.isEmpty() ? LibPhoneNumberFinder::defaultRegion() : std::move(region))
{
}

TextSpan TextNumberFinder::spanToRead(int characterCount, int clickOffset)
{
    if (characterCount <= 0 || clickOffset < 0 || clickOffset >= characterCount)
        return {};
    // In 64 bits, so that offsets near INT_MAX cannot overflow.
    const qint64 start = std::max<qint64>(0, qint64(clickOffset) - kReadRadius);
    const qint64 end = std::min<qint64>(characterCount, qint64(clickOffset) + kReadRadius + 1);
    return {static_cast<int>(start), static_cast<int>(end)};
}

qsizetype TextNumberFinder::length(const QString &text, OffsetUnit unit)
{
    if (unit == OffsetUnit::Utf16Units)
        return text.size();
    qsizetype pairs = 0;
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
        if (text.at(i).isHighSurrogate() && text.at(i + 1).isLowSurrogate()) {
            ++pairs;
            ++i;
        }
    }
    return text.size() - pairs;
}

std::optional<ClickedNumber> TextNumberFinder::numberAt(const QString &text, int clickOffset, OffsetUnit unit) const
{
    const qsizetype count = length(text, unit);
    if (count > std::numeric_limits<int>::max())
        return std::nullopt;
    return numberAt(text, 0, static_cast<int>(count), clickOffset, unit);
}

std::optional<ClickedNumber> TextNumberFinder::numberAt(const QString &excerpt, int excerptStart,
                                                        int characterCount, int clickOffset, OffsetUnit unit) const
{
    using i18n::phonenumbers::PhoneNumberMatch;
    using i18n::phonenumbers::PhoneNumberMatcher;
    using i18n::phonenumbers::PhoneNumberUtil;

    if (excerpt.size() > std::numeric_limits<int>::max() / 2)
        return std::nullopt;
    const Characters characters = split(excerpt, unit);
    const qint64 excerptEnd = qint64(excerptStart) + characters.length;
    if (excerptStart < 0 || excerptEnd > characterCount)
        return std::nullopt;
    const TextSpan wanted = spanToRead(characterCount, clickOffset);
    if (wanted.length() == 0)
        return std::nullopt;

    // The characters of the excerpt that begin inside the wanted span; with UTF-16 units a span's
    // edge may fall between the halves of a pair, which then goes whole to the side it starts on.
    const auto firstIt = std::lower_bound(characters.offsetOf.begin(), characters.offsetOf.end(),
                                          wanted.start - excerptStart);
    const auto lastIt = std::lower_bound(characters.offsetOf.begin(), characters.offsetOf.end(),
                                         static_cast<int>(std::min<qint64>(wanted.end - qint64(excerptStart), characters.length)));
    const size_t first = static_cast<size_t>(firstIt - characters.offsetOf.begin());
    const size_t last = static_cast<size_t>(lastIt - characters.offsetOf.begin());
    if (first >= last)
        return std::nullopt;
    const int readStart = excerptStart + characters.offsetOf[first];
    const int readEnd = excerptStart + (last < characters.offsetOf.size() ? characters.offsetOf[last] : characters.length);
    if (clickOffset < readStart || clickOffset >= readEnd)
        return std::nullopt;
    if (!mayHoldNumber(characters, first, last))
        return std::nullopt;
    const Utf8Text utf8 = encode(characters, first, last, excerptStart, readEnd);
    // Where the read stops short of the text's own ends, a number touching that edge may go on
    // beyond it.
    const bool cutBefore = readStart > 0;
    const bool cutAfter = readEnd < characterCount;

    // Unbounded tries, as on the popup path: the text is a few hundred characters at most.
    PhoneNumberMatcher matcher(*PhoneNumberUtil::GetInstance(), utf8.bytes, m_region.toStdString(),
                               PhoneNumberMatcher::POSSIBLE, std::numeric_limits<int>::max());
    PhoneNumberMatch match;
    while (matcher.HasNext() && matcher.Next(&match)) {
        const size_t startByte = static_cast<size_t>(match.start());
        const size_t endByte = startByte + static_cast<size_t>(match.length());
        if (endByte >= utf8.offsetOf.size())
            break;
        const int start = utf8.offsetOf[startByte];
        const int end = utf8.offsetOf[endByte];
        // Matches come in text order: once one starts past the click, none holds it.
        if (start > clickOffset)
            break;
        if (clickOffset >= end)
            continue;
        if ((cutBefore && start == readStart) || (cutAfter && end == readEnd))
            return std::nullopt;
        return ClickedNumber{{start, end}, QString::fromStdString(match.raw_string())};
    }
    return std::nullopt;
}

} // namespace dialwise
