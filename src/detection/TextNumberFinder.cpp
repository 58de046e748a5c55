#include "TextNumberFinder.h"

#include "LibPhoneNumberFinder.h"

#include <phonenumbers/phonenumbermatch.h>
#include <phonenumbers/phonenumbermatcher.h>
#include <phonenumbers/phonenumberutil.h>

#include <QChar>
#include <QList>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

namespace dialwise {

namespace {

// libphonenumber takes no number with a national part shorter than two digits; most clicks land
// on words, and this spares them the matcher.
constexpr int kMinDigits = 2;

// The characters as UTF-8, which is what libphonenumber reads and what its match offsets count,
// with the character each byte belongs to, so its byte offsets become the character offsets AT-SPI
// speaks in. characterOf has one entry past the last byte, for a match that ends the text.
struct Utf8Text
{
    std::string bytes;
    std::vector<int> characterOf;
};

Utf8Text encode(const QList<uint> &characters, qsizetype first, qsizetype last)
{
    Utf8Text out;
    out.bytes.reserve(static_cast<size_t>(last - first) * 2);
    out.characterOf.reserve(static_cast<size_t>(last - first) * 2 + 1);
    for (qsizetype i = first; i < last; ++i) {
        char32_t c = characters.at(i);
        // A lone surrogate is no character UTF-8 can carry; it stays one character, as U+FFFD.
        if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF)
            c = 0xFFFD;
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
        out.characterOf.insert(out.characterOf.end(), static_cast<size_t>(n), static_cast<int>(i - first));
    }
    out.characterOf.push_back(static_cast<int>(last - first));
    return out;
}

bool mayHoldNumber(const QList<uint> &characters, qsizetype first, qsizetype last)
{
    int digits = 0;
    for (qsizetype i = first; i < last; ++i) {
        if (QChar::isDigit(characters.at(i)) && ++digits >= kMinDigits)
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

std::optional<ClickedNumber> TextNumberFinder::numberAt(const QString &text, int clickOffset) const
{
    const QList<uint> characters = text.toUcs4();
    if (characters.size() > std::numeric_limits<int>::max())
        return std::nullopt;
    return numberAt(text, 0, static_cast<int>(characters.size()), clickOffset);
}

std::optional<ClickedNumber> TextNumberFinder::numberAt(const QString &excerpt, int excerptStart,
                                                        int characterCount, int clickOffset) const
{
    using i18n::phonenumbers::PhoneNumberMatch;
    using i18n::phonenumbers::PhoneNumberMatcher;
    using i18n::phonenumbers::PhoneNumberUtil;

    const QList<uint> characters = excerpt.toUcs4();
    const qint64 excerptEnd = qint64(excerptStart) + characters.size();
    if (excerptStart < 0 || excerptEnd > characterCount)
        return std::nullopt;
    const TextSpan wanted = spanToRead(characterCount, clickOffset);
    const int readStart = std::max(wanted.start, excerptStart);
    const int readEnd = static_cast<int>(std::min<qint64>(wanted.end, excerptEnd));
    if (wanted.length() == 0 || clickOffset < readStart || clickOffset >= readEnd)
        return std::nullopt;

    const qsizetype first = readStart - excerptStart;
    const qsizetype last = readEnd - excerptStart;
    if (!mayHoldNumber(characters, first, last))
        return std::nullopt;
    const Utf8Text utf8 = encode(characters, first, last);
    // Where the read stops short of the text's own ends, a number touching that edge may go on
    // beyond it.
    const bool cutBefore = readStart > 0;
    const bool cutAfter = readEnd < characterCount;
    const int click = clickOffset - readStart;

    // Unbounded tries, as on the popup path: the text is a few hundred characters at most.
    PhoneNumberMatcher matcher(*PhoneNumberUtil::GetInstance(), utf8.bytes, m_region.toStdString(),
                               PhoneNumberMatcher::POSSIBLE, std::numeric_limits<int>::max());
    PhoneNumberMatch match;
    while (matcher.HasNext() && matcher.Next(&match)) {
        const size_t startByte = static_cast<size_t>(match.start());
        const size_t endByte = startByte + static_cast<size_t>(match.length());
        if (endByte >= utf8.characterOf.size())
            break;
        const int start = utf8.characterOf[startByte];
        const int end = utf8.characterOf[endByte];
        // Matches come in text order: once one starts past the click, none holds it.
        if (start > click)
            break;
        if (click >= end)
            continue;
        if ((cutBefore && start == 0) || (cutAfter && end == last - first))
            return std::nullopt;
        return ClickedNumber{{readStart + start, readStart + end},
                             QString::fromStdString(match.raw_string())};
    }
    return std::nullopt;
}

} // namespace dialwise
