#include "app/InboundRequests.h"

#include "app/IntakeLimits.h"
#include "calling/PhoneNumbers.h"

#include <QUrl>

namespace dialwise {

namespace {

// A number nobody can dial is refused as if there were none, so that it never reaches the
// window or the history.
std::optional<QString> dialable(std::optional<QString> number)
{
    if (number && number->size() > intake::kMaxNumberLength)
        return std::nullopt;
    return number;
}

bool isAsciiLetter(QChar c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

} // namespace

std::optional<RequestFailure> InboundRequests::checkOpen(const QStringList &uris)
{
    // Counted and measured before any link is read, so an oversized request costs nothing.
    if (uris.size() > intake::kMaxUrisPerOpen)
        return RequestFailure::tooManyLinks;
    for (const QString &uri : uris) {
        if (uri.size() > intake::kMaxTextLength)
            return RequestFailure::tooLarge;
    }
    return std::nullopt;
}

InboundAction InboundRequests::forUrl(QStringView url)
{
    if (url.size() > intake::kMaxTextLength)
        return InboundAction::ignore();
    if (url.toString().toLower().startsWith(u"dialwise://")) {
        if (std::optional<QString> number = numberItem(url))
            return number->size() > intake::kMaxNumberLength ? InboundAction::ignore() : InboundAction::call(*number);
    }
    if (std::optional<QString> normalized = dialable(phone::normalize(url)))
        return InboundAction::call(*normalized);
    return InboundAction::ignore();
}

InboundAction InboundRequests::forText(const std::optional<QString> &text)
{
    if (!text)
        return InboundAction::reject(RequestFailure::noText);
    if (text->size() > intake::kMaxTextLength)
        return InboundAction::reject(RequestFailure::tooLarge);
    if (std::optional<QString> normalized = dialable(phone::normalize(*text)))
        return InboundAction::call(*normalized);
    return InboundAction::reject(RequestFailure::noNumber);
}

QString InboundRequests::schemeOf(QStringView link)
{
    // RFC 3986: a letter, then letters, digits, "+", "-" or "."; then ":". Leading blanks go, as
    // normalisation drops them too.
    const QStringView text = link.trimmed();
    const qsizetype colon = text.indexOf(u':');
    if (colon < 1 || !isAsciiLetter(text[0]))
        return {};
    for (qsizetype i = 1; i < colon; ++i) {
        const QChar c = text[i];
        if (!isAsciiLetter(c) && !(c >= u'0' && c <= u'9') && c != u'+' && c != u'-' && c != u'.')
            return {};
    }
    return text.left(colon).toString().toLower();
}

LinkOutcome InboundRequests::linkOutcome(QStringView link)
{
    const QString scheme = schemeOf(link);
    if (!scheme.isEmpty() && scheme != u"tel" && scheme != u"callto" && scheme != u"dialwise")
        return LinkOutcome::otherScheme;
    return forUrl(link).kind == InboundAction::Kind::call ? LinkOutcome::call : LinkOutcome::noNumber;
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
