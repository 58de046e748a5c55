#pragma once

// A second, deliberately plain implementation of the number rules, used only to check the real
// one. It takes none of the real one's short cuts (no ASCII fast path, no partial segmentation,
// no all-at-once UTF-8 validation): every step is done the obvious way with ICU, straight from
// the rules written in PhoneNumbers.h.
//
//   1. trim code points with the White_Space property from both ends;
//   2. remove the first of "tel:", "tel://", "callto:", "callto://" (ASCII case-insensitive)
//      that the text starts with, and only that one;
//   3. percent-decode as UTF-8; if any "%" does not start an escape, or any run of escapes is not
//      well-formed UTF-8, keep the text as it was;
//   4. the number gets a "+" when its first grapheme cluster is exactly "+";
//   5. keep every grapheme cluster whose first code point's Numeric_Type is not None;
//   6. fewer than seven kept clusters: not a number.

#include <QString>

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace reference {

using Text = std::u16string;

inline Text toText(const QString &s) { return Text(reinterpret_cast<const char16_t *>(s.utf16()), size_t(s.size())); }
inline QString toQString(const Text &t) { return QString(reinterpret_cast<const QChar *>(t.data()), qsizetype(t.size())); }

// One pass over the code points: the text runs from the first that is not White_Space to the end
// of the last that is not.
inline Text trimWhiteSpace(const Text &t)
{
    const auto *s = reinterpret_cast<const UChar *>(t.data());
    const int32_t n = int32_t(t.size());
    std::optional<int32_t> begin;
    int32_t end = 0;
    for (int32_t next = 0; next < n;) {
        const int32_t at = next;
        UChar32 c;
        U16_NEXT(s, next, n, c);
        if (u_hasBinaryProperty(c, UCHAR_WHITE_SPACE))
            continue;
        if (!begin)
            begin = at;
        end = next;
    }
    return begin ? t.substr(size_t(*begin), size_t(end - *begin)) : Text();
}

inline Text withoutPrefix(const Text &t)
{
    static const std::array<Text, 4> prefixes{u"tel:", u"tel://", u"callto:", u"callto://"};
    for (const Text &prefix : prefixes) {
        if (t.size() < prefix.size())
            continue;
        bool match = true;
        for (size_t i = 0; i < prefix.size() && match; ++i) {
            char16_t c = t[i];
            if (c >= u'A' && c <= u'Z')
                c = char16_t(c + 32);
            match = c == prefix[i];
        }
        if (match)
            return t.substr(prefix.size());
    }
    return t;
}

inline int hexDigit(char16_t c)
{
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

// Decodes one run of escaped bytes; no value when they are not well-formed UTF-8.
inline std::optional<Text> decodeUtf8Run(const std::string &bytes)
{
    Text out;
    const auto *s = reinterpret_cast<const uint8_t *>(bytes.data());
    const int32_t n = int32_t(bytes.size());
    for (int32_t i = 0; i < n;) {
        UChar32 c;
        U8_NEXT(s, i, n, c);
        if (c < 0)
            return std::nullopt;
        UChar units[2];
        int32_t k = 0;
        U16_APPEND_UNSAFE(units, k, c);
        out.append(reinterpret_cast<const char16_t *>(units), size_t(k));
    }
    return out;
}

inline std::optional<Text> percentDecode(const Text &t)
{
    Text out;
    for (size_t i = 0; i < t.size();) {
        if (t[i] != u'%') {
            out.push_back(t[i++]);
            continue;
        }
        std::string run;
        while (i < t.size() && t[i] == u'%') {
            if (i + 2 >= t.size())
                return std::nullopt;
            const int high = hexDigit(t[i + 1]);
            const int low = hexDigit(t[i + 2]);
            if (high < 0 || low < 0)
                return std::nullopt;
            run.push_back(char(high * 16 + low));
            i += 3;
        }
        const std::optional<Text> decoded = decodeUtf8Run(run);
        if (!decoded)
            return std::nullopt;
        out += *decoded;
    }
    return out;
}

inline std::vector<Text> graphemeClusters(const Text &t)
{
    thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        return std::unique_ptr<icu::BreakIterator>(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    }();
    std::vector<Text> clusters;
    const icu::UnicodeString text(false, reinterpret_cast<const UChar *>(t.data()), int32_t(t.size()));
    iterator->setText(text);
    int32_t start = iterator->first();
    for (int32_t end = iterator->next(); end != icu::BreakIterator::DONE; start = end, end = iterator->next())
        clusters.push_back(t.substr(size_t(start), size_t(end - start)));
    return clusters;
}

inline bool isNumericCluster(const Text &cluster)
{
    int32_t i = 0;
    UChar32 c;
    U16_NEXT(reinterpret_cast<const UChar *>(cluster.data()), i, int32_t(cluster.size()), c);
    return u_getIntPropertyValue(c, UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

inline std::vector<Text> numericClusters(const Text &t)
{
    std::vector<Text> kept;
    for (Text &cluster : graphemeClusters(t)) {
        if (isNumericCluster(cluster))
            kept.push_back(std::move(cluster));
    }
    return kept;
}

inline std::optional<QString> normalize(const QString &input)
{
    const Text body = withoutPrefix(trimWhiteSpace(toText(input)));
    const Text number = percentDecode(body).value_or(body);
    const std::vector<Text> clusters = graphemeClusters(number);
    Text result;
    if (!clusters.empty() && clusters.front() == u"+")
        result.push_back(u'+');
    int count = 0;
    for (const Text &cluster : clusters) {
        if (isNumericCluster(cluster)) {
            result += cluster;
            ++count;
        }
    }
    if (count < 7)
        return std::nullopt;
    return toQString(result);
}

inline QString formatForDisplay(const QString &input)
{
    const std::vector<Text> d = numericClusters(toText(input));
    auto join = [&](size_t from, size_t to) {
        Text out;
        for (size_t i = from; i < to; ++i)
            out += d[i];
        return out;
    };
    auto grouped = [&](size_t o) {
        return u"(" + join(o, o + 3) + u") " + join(o + 3, o + 6) + u"-" + join(o + 6, o + 10);
    };
    if (d.size() == 10)
        return toQString(grouped(0));
    if (d.size() == 11 && d[0] == u"1")
        return toQString(u"+1 " + grouped(1));
    return input;
}

} // namespace reference
