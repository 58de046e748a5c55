#include "webcall/VoicePage.h"

#include <QLoggingCategory>
#include <QWebEngineNewWindowRequest>

Q_LOGGING_CATEGORY(lcVoicePage, "dialwise.webcall.policy")

namespace dialwise {
namespace {

NavigationPolicy::Trigger triggerOf(QWebEnginePage::NavigationType type)
{
    switch (type) {
    case QWebEnginePage::NavigationTypeLinkClicked:
        return NavigationPolicy::Trigger::linkClicked;
    case QWebEnginePage::NavigationTypeTyped:
    case QWebEnginePage::NavigationTypeBackForward:
        return NavigationPolicy::Trigger::typed;
    default:
        return NavigationPolicy::Trigger::other;
    }
}

} // namespace

VoicePage::VoicePage(NavigationPolicy policy, QWebEngineProfile *profile, QObject *parent)
    : QWebEnginePage(profile, parent)
    , m_policy(std::move(policy))
{
    connect(this, &QWebEnginePage::newWindowRequested, this, &VoicePage::onNewWindowRequested);
    connect(this, &QWebEnginePage::featurePermissionRequested, this, &VoicePage::onFeaturePermissionRequested);
}

bool VoicePage::carryOut(const NavigationPolicy::Decision &decision, const QUrl &url)
{
    switch (decision.kind) {
    case NavigationPolicy::Decision::Kind::load:
        return true;
    case NavigationPolicy::Decision::Kind::call:
        qCInfo(lcVoicePage) << "calling" << decision.number << "from a link in the page";
        Q_EMIT callRequested(decision.number);
        return false;
    case NavigationPolicy::Decision::Kind::refuse:
        break;
    }
    ++m_refusals;
    qCWarning(lcVoicePage).noquote() << "refused" << NavigationPolicy::shortened(url) << "-" << decision.reason;
    Q_EMIT refused(url, decision.reason);
    return false;
}

bool VoicePage::acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame)
{
    // Links with schemes the web engine does not know itself (tel:, mailto:, ...) also come
    // through here before it would hand them to xdg-open; only a true answer lets them go there.
    return carryOut(m_policy.forNavigation(url, triggerOf(type), isMainFrame), url);
}

void VoicePage::onNewWindowRequested(QWebEngineNewWindowRequest &request)
{
    // Links that want a new window (target=_blank, window.open) open in this view when the
    // policy allows: the web app is meant to live in exactly one window. The request itself is
    // never accepted, so Chromium drops its would-be new window.
    const QUrl url = request.requestedUrl();
    if (carryOut(m_policy.forNewWindow(url, request.isUserInitiated(), this->url()), url))
        Q_EMIT loadInViewRequested(url);
}

void VoicePage::onFeaturePermissionRequested(const QUrl &securityOrigin, Feature feature)
{
    bool allowed = false;
    const char *asked = nullptr; // what was asked for, in the refusal's words
    switch (feature) {
    case MediaAudioCapture:
    case MediaVideoCapture:
    case MediaAudioVideoCapture:
        // The web app needs the microphone (and the camera for video) for calls; the user chose
        // to run it in Dialwise, so the page in the view gets them without a prompt.
        asked = "media capture";
        allowed = m_policy.mayCapture(securityOrigin, url());
        break;
    case Notifications:
        // Incoming calls and messages are announced through notifications, and Dialwise is
        // mostly hidden: without them a ringing call would go unseen. There is no prompt to
        // show either, so the web app gets them as a browser tab the user allowed would.
        asked = "notifications";
        allowed = m_policy.mayNotify(securityOrigin, url());
        break;
    default:
        break;
    }
    if (allowed) {
        setFeaturePermission(securityOrigin, feature, PermissionGrantedByUser);
        return;
    }
    if (asked)
        qCWarning(lcVoicePage).noquote() << "refused" << asked << "to" << NavigationPolicy::shortened(securityOrigin)
                                         << "in" << NavigationPolicy::shortened(url());
    // Answered, so that the page's promise settles instead of waiting for ever.
    setFeaturePermission(securityOrigin, feature, PermissionDeniedByUser);
}

} // namespace dialwise
