#include "calling/PhoneNumbers.h"

#include <QByteArray>
#include <QVarLengthArray>

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <memory>
#include <string_view>

namespace dialwise::phone {
namespace {

bool isAscii(QStringView text)
{
    for (QChar c : text) {
        if (c.unicode() >= 0x80)
            return false;
    }
    return true;
}

// The code point that starts at index i, and how many UTF-16 units it takes. A lone surrogate
// stands for itself; it is never numeric and never white space.
char32_t codePointAt(QStringView text, qsizetype i, qsizetype *units)
{
    const char16_t c = text[i].unicode();
    if (QChar::isHighSurrogate(c) && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
        *units = 2;
        return QChar::surrogateToUcs4(c, text[i + 1].unicode());
    }
    *units = 1;
    return c;
}

char32_t codePointBefore(QStringView text, qsizetype end, qsizetype *units)
{
    const char16_t c = text[end - 1].unicode();
    if (QChar::isLowSurrogate(c) && end >= 2 && text[end - 2].isHighSurrogate()) {
        *units = 2;
        return QChar::surrogateToUcs4(text[end - 2].unicode(), c);
    }
    *units = 1;
    return c;
}

// Unicode White_Space already holds U+2028 and U+2029; they are named here because the line
// and paragraph separators must go whatever a future Unicode version says.
bool isTrimmable(char32_t c)
{
    return u_isUWhiteSpace(static_cast<UChar32>(c)) || c == 0x2028 || c == 0x2029;
}

bool isNumeric(char32_t c)
{
    return u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

QStringView trimmed(QStringView text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    qsizetype units = 0;
    while (begin < end && isTrimmable(codePointAt(text, begin, &units)))
        begin += units;
    while (end > begin && isTrimmable(codePointBefore(text, end, &units)))
        end -= units;
    return text.sliced(begin, end - begin);
}

// One character-boundary iterator per thread: making one costs far more than a whole
// normalisation, and the ICU object is not safe to share between threads.
icu::BreakIterator *characterIterator()
{
    thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> made(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status))
            made.reset();
        return made;
    }();
    return iterator.get();
}

// Calls visit(start, length) for each grapheme cluster of the text, in order.
template<typename Visit>
void forEachCluster(QStringView text, Visit &&visit)
{
    const qsizetype size = text.size();
    if (isAscii(text)) {
        // In ASCII every character is a cluster of its own, except CR LF.
        for (qsizetype i = 0; i < size;) {
            const qsizetype length = (text[i] == u'\r' && i + 1 < size && text[i + 1] == u'\n') ? 2 : 1;
            visit(i, length);
            i += length;
        }
        return;
    }

    icu::BreakIterator *iterator = characterIterator();
    // ICU indexes with 32-bit integers; a text beyond that (2 GiB of UTF-16) is cut there.
    const auto length = static_cast<int32_t>(std::min<qsizetype>(size, std::numeric_limits<int32_t>::max()));
    UErrorCode status = U_ZERO_ERROR;
    UText utext = UTEXT_INITIALIZER;
    utext_openUChars(&utext, reinterpret_cast<const UChar *>(text.utf16()), length, &status);
    if (iterator)
        iterator->setText(&utext, status);
    if (!iterator || U_FAILURE(status)) {
        // Without segmentation data fall back to code points, which is still correct for every
        // cluster that is a single code point (all digits ever written on their own).
        utext_close(&utext);
        for (qsizetype i = 0, units = 0; i < size; i += units) {
            codePointAt(text, i, &units);
            visit(i, units);
        }
        return;
    }
    int32_t start = iterator->first();
    for (int32_t end = iterator->next(); end != icu::BreakIterator::DONE; start = end, end = iterator->next())
        visit(start, end - start);
    utext_close(&utext);
}

bool isClusterBoundary(QStringView text, qsizetype index)
{
    if (index <= 0 || index >= text.size())
        return true;
    const char16_t before = text[index - 1].unicode();
    const char16_t after = text[index].unicode();
    // Between two ASCII characters there is always a boundary, except inside CR LF.
    if (before < 0x80 && after < 0x80)
        return !(before == u'\r' && after == u'\n');
    // Only called for positions near the start, so segmenting that short head is cheap.
    bool boundary = false;
    forEachCluster(text.first(std::min(text.size(), index + 8)), [&](qsizetype start, qsizetype) {
        if (start == index)
            boundary = true;
    });
    return boundary;
}

// Calls visit(cluster) for every numeric character of the text, in order.
template<typename Visit>
void forEachNumericCharacter(QStringView text, Visit &&visit)
{
    if (isAscii(text)) {
        for (qsizetype i = 0; i < text.size(); ++i) {
            const char16_t c = text[i].unicode();
            if (c >= u'0' && c <= u'9')
                visit(text.sliced(i, 1));
        }
        return;
    }
    forEachCluster(text, [&](qsizetype start, qsizetype length) {
        qsizetype units = 0;
        if (isNumeric(codePointAt(text, start, &units)))
            visit(text.sliced(start, length));
    });
}

// The prefix list's order matters: the short forms are tried first, so "tel://" only ever
// loses "tel:" and the digit filter drops the slashes. Only one prefix is removed.
constexpr std::array<std::u16string_view, 4> kSchemePrefixes{u"tel:", u"tel://", u"callto:", u"callto://"};

bool startsWithIgnoringAsciiCase(QStringView text, std::u16string_view prefix)
{
    if (text.size() < static_cast<qsizetype>(prefix.size()))
        return false;
    for (size_t i = 0; i < prefix.size(); ++i) {
        char16_t c = text[static_cast<qsizetype>(i)].unicode();
        if (c >= u'A' && c <= u'Z')
            c = static_cast<char16_t>(c - u'A' + u'a');
        if (c != prefix[i])
            return false;
    }
    return true;
}

QStringView withoutSchemePrefix(QStringView text)
{
    for (std::u16string_view prefix : kSchemePrefixes) {
        const auto length = static_cast<qsizetype>(prefix.size());
        // Compared character by character: "tel:" followed by a combining mark is not "tel:".
        if (startsWithIgnoringAsciiCase(text, prefix) && isClusterBoundary(text, length))
            return text.sliced(length);
    }
    return text;
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// The well-formed UTF-8 sequences of more than one byte, by lead byte: how many bytes follow
// and the range of the first of them (the others are always 80..BF). The narrower ranges are
// what rules out overlong forms (E0, F0), surrogates (ED) and code points above U+10FFFF (F4).
struct Utf8Lead
{
    unsigned char first;
    unsigned char last;
    int following;
    unsigned char low;
    unsigned char high;
};
constexpr Utf8Lead kUtf8Leads[] = {
    {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF}, {0xE1, 0xEC, 2, 0x80, 0xBF},
    {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF}, {0xF0, 0xF0, 3, 0x90, 0xBF},
    {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F},
};

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(const QByteArray &bytes)
{
    const auto *p = reinterpret_cast<const unsigned char *>(bytes.constData());
    const qsizetype n = bytes.size();
    for (qsizetype i = 0; i < n;) {
        if (p[i] < 0x80) {
            ++i;
            continue;
        }
        const auto lead = std::find_if(std::begin(kUtf8Leads), std::end(kUtf8Leads),
                                       [b = p[i]](const Utf8Lead &entry) { return b >= entry.first && b <= entry.last; });
        if (lead == std::end(kUtf8Leads) || i + lead->following >= n)
            return false;
        if (p[i + 1] < lead->low || p[i + 1] > lead->high)
            return false;
        for (qsizetype k = 2; k <= lead->following; ++k) {
            if (p[i + k] < 0x80 || p[i + k] > 0xBF)
                return false;
        }
        i += lead->following + 1;
    }
    return true;
}

bool startsWithPlus(QStringView text)
{
    // "+" must be a character of its own: a plus carrying a combining mark is something else.
    return !text.isEmpty() && text.front() == u'+' && isClusterBoundary(text, 1);
}

} // namespace

std::optional<QString> percentDecoded(QStringView text)
{
    if (!text.contains(u'%'))
        return text.toString();
    const QByteArray utf8 = text.toUtf8();
    QByteArray bytes;
    bytes.reserve(utf8.size());
    for (qsizetype i = 0; i < utf8.size(); ++i) {
        const char c = utf8[i];
        if (c != '%') {
            bytes.append(c);
            continue;
        }
        const int high = i + 2 < utf8.size() ? hexValue(utf8[i + 1]) : -1;
        const int low = high >= 0 ? hexValue(utf8[i + 2]) : -1;
        if (low < 0)
            return std::nullopt;
        bytes.append(static_cast<char>(high * 16 + low));
        i += 2;
    }
    if (!isValidUtf8(bytes))
        return std::nullopt;
    return QString::fromUtf8(bytes);
}

std::optional<QString> normalize(QStringView text)
{
    const QStringView body = withoutSchemePrefix(trimmed(text));

    // A "%" that does not start an escape, or escapes that are not UTF-8, leave the text as it
    // was: the digits around them still count.
    const std::optional<QString> decoded = percentDecoded(body);
    const QStringView number = decoded ? QStringView(*decoded) : body;

    const bool plus = startsWithPlus(number);
    QString result;
    result.reserve(std::min<qsizetype>(number.size(), 64) + 1);
    if (plus)
        result.append(u'+');
    qsizetype count = 0;
    forEachNumericCharacter(number, [&](QStringView character) {
        result.append(character);
        ++count;
    });
    if (count < kMinimumDigits)
        return std::nullopt;
    return result;
}

QString numericCharacters(QStringView text)
{
    QString result;
    forEachNumericCharacter(text, [&](QStringView character) { result.append(character); });
    return result;
}

QString dialDigits(QStringView text)
{
    QString digits;
    qsizetype count = 0;
    forEachNumericCharacter(text, [&](QStringView character) {
        digits.append(character);
        ++count;
    });
    if (count == 10)
        digits.prepend(u'1');
    return digits;
}

QString formatForDisplay(QStringView text)
{
    // Only the first eleven characters can matter; the count decides whether they are used.
    QVarLengthArray<QStringView, 11> digits;
    qsizetype count = 0;
    forEachNumericCharacter(text, [&](QStringView character) {
        if (count < 11)
            digits.append(character);
        ++count;
    });

    auto group = [&](qsizetype from, qsizetype to) {
        QString out;
        for (qsizetype i = from; i < to; ++i)
            out.append(digits[i]);
        return out;
    };
    auto northAmerican = [&](qsizetype offset) {
        return QStringLiteral("(") + group(offset, offset + 3) + QStringLiteral(") ") + group(offset + 3, offset + 6)
            + QStringLiteral("-") + group(offset + 6, offset + 10);
    };

    if (count == 10)
        return northAmerican(0);
    if (count == 11 && digits[0] == u"1")
        return QStringLiteral("+1 ") + northAmerican(1);
    return text.toString();
}

} // namespace dialwise::phone
