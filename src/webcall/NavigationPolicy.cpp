#include "webcall/NavigationPolicy.h"

#include "calling/PhoneNumbers.h"
#include "calling/VoiceAddress.h"

namespace dialwise {
namespace {

// Enough of an address to recognise it in a log line.
constexpr qsizetype kLoggedAddressLength = 120;

bool isWeb(const QUrl &url)
{
    return url.scheme() == u"https" || url.scheme() == u"http";
}

bool isCallLink(const QUrl &url)
{
    return url.scheme() == u"tel" || url.scheme() == u"callto";
}

bool sameOrigin(const QUrl &a, const QUrl &b)
{
    return a.scheme() == b.scheme() && a.host().compare(b.host(), Qt::CaseInsensitive) == 0
        && a.port(a.scheme() == u"https" ? 443 : 80) == b.port(b.scheme() == u"https" ? 443 : 80);
}

// What a frame inside the page may load besides http(s): the blank and inline documents pages
// build their frames from. Never local files or Qt's own resources.
bool isFrameDocument(const QUrl &url)
{
    return url.scheme() == u"about" || url.scheme() == u"data" || url.scheme() == u"blob";
}

} // namespace

NavigationPolicy::NavigationPolicy(QUrl appOrigin)
    : m_appOrigin(std::move(appOrigin))
{
}

QString NavigationPolicy::shortened(const QUrl &url)
{
    const QString text = url.toString(QUrl::FullyEncoded);
    return text.size() <= kLoggedAddressLength ? text : text.left(kLoggedAddressLength) + QStringLiteral("...");
}

bool NavigationPolicy::isAppAddress(const QUrl &url) const
{
    return isWeb(url) && sameOrigin(url, m_appOrigin);
}

NavigationPolicy::Decision NavigationPolicy::forCallLink(const QUrl &url) const
{
    if (std::optional<QString> number = phone::normalize(url.toString(QUrl::FullyEncoded)))
        return Decision::call(*number);
    return Decision::refuse(QStringLiteral("call link without a phone number"));
}

NavigationPolicy::Decision NavigationPolicy::forNavigation(const QUrl &url, Trigger trigger, bool mainFrame) const
{
    if (isCallLink(url)) {
        // A frame inside the page calls only when the user clicked its link; a script in a
        // foreign frame must not be able to start calls by itself.
        if (mainFrame || trigger == Trigger::linkClicked)
            return forCallLink(url);
        return Decision::refuse(QStringLiteral("call link from a frame without a click"));
    }
    if (isWeb(url))
        return Decision::load();
    if (!mainFrame && isFrameDocument(url))
        return Decision::load();
    return Decision::refuse(mainFrame ? QStringLiteral("the window shows http(s) pages only")
                                      : QStringLiteral("scheme not allowed in a frame"));
}

NavigationPolicy::Decision NavigationPolicy::forNewWindow(const QUrl &requested, bool userInitiated,
                                                          const QUrl &topLevel) const
{
    if (isCallLink(requested)) {
        if (userInitiated)
            return forCallLink(requested);
        return Decision::refuse(QStringLiteral("call link in a new window without a click"));
    }
    if (!isWeb(requested) || !requested.isValid())
        return Decision::refuse(QStringLiteral("new windows open http(s) addresses only"));
    if (userInitiated)
        return Decision::load();
    if (isAppAddress(topLevel) && isAppAddress(requested) && !voice::isNewCallAddress(requested))
        return Decision::load();
    return Decision::refuse(QStringLiteral("new window without a click, not the web app's own"));
}

bool NavigationPolicy::mayCapture(const QUrl &securityOrigin, const QUrl &topLevel) const
{
    return isWeb(securityOrigin) && isWeb(topLevel) && sameOrigin(securityOrigin, topLevel);
}

bool NavigationPolicy::mayNotify(const QUrl &securityOrigin, const QUrl &topLevel) const
{
    return isAppAddress(securityOrigin) && isAppAddress(topLevel);
}

} // namespace dialwise
