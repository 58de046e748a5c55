#pragma once

// Lets GoogleTest print Qt values in failure messages, with every non-ASCII UTF-16 unit spelled
// out: the cases here are about invisible characters, so "expected X got X" would say nothing.

#include <QString>
#include <QUrl>

#include <cstdio>
#include <ostream>

inline void PrintTo(const QString &text, std::ostream *os)
{
    *os << '"';
    for (QChar c : text) {
        const char16_t u = c.unicode();
        if (u >= 0x20 && u < 0x7F && u != u'"' && u != u'\\') {
            *os << static_cast<char>(u);
        } else {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04X", static_cast<unsigned>(u));
            *os << escaped;
        }
    }
    *os << '"';
}

inline void PrintTo(const QUrl &url, std::ostream *os)
{
    *os << url.toString(QUrl::FullyEncoded).toStdString();
}

// Rows are written as UTF-16 literals so that lone surrogates and NULs can be spelled.
inline QString qs(std::u16string_view text)
{
    return QString(reinterpret_cast<const QChar *>(text.data()), static_cast<qsizetype>(text.size()));
}
