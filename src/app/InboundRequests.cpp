#include "InboundRequests.h"

#include "PhoneNumbers.h"

#include <QUrl>

namespace dialwise {

InboundAction InboundRequests::forUrl(QStringView url)
{
    if (url.toString().toLower().startsWith(u"dialwise://")) {
        if (std::optional<QString> number = numberItem(url))
            return InboundAction::call(*number);
    }
    if (std::optional<QString> normalized = phone::normalize(url))
        return InboundAction::call(*normalized);
    return InboundAction::ignore();
}

InboundAction InboundRequests::forText(const std::optional<QString> &text)
{
    if (!text)
        return InboundAction::reject(RequestFailure::noText);
    if (std::optional<QString> normalized = phone::normalize(*text))
        return InboundAction::call(*normalized);
    return InboundAction::reject(RequestFailure::noNumber);
}

std::optional<QString> InboundRequests::numberItem(QStringView text)
{
    // Strict parsing: a link with stray blanks or broken escapes is not trusted to say where
    // its number item ends, so it is read as a whole instead.
    const QUrl url(text.toString(), QUrl::StrictMode);
    if (!url.isValid() || !url.hasQuery())
        return std::nullopt;

    // The query is split by hand rather than with QUrlQuery: "number" (no value, fall back) and
    // "number=" (an empty value, passed on) must stay apart, and '+' must stay a plus sign.
    const QString query = url.query(QUrl::FullyEncoded);
    for (QStringView item : QStringView(query).split(u'&')) {
        const qsizetype equals = item.indexOf(u'=');
        const std::optional<QString> name = phone::percentDecoded(equals < 0 ? item : item.left(equals));
        if (!name || *name != u"number")
            continue;
        // The first item with that name decides, whatever follows.
        if (equals < 0)
            return std::nullopt;
        return phone::percentDecoded(item.mid(equals + 1));
    }
    return std::nullopt;
}

} // namespace dialwise
