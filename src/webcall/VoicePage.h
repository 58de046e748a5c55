#pragma once

#include "webcall/NavigationPolicy.h"

#include <QString>
#include <QUrl>
#include <QWebEnginePage>

class QWebEngineNewWindowRequest;

namespace dialwise {

// The calling window's page: every navigation, new-window request and microphone, camera or
// notification request is put to the NavigationPolicy, and its answer carried out. Nothing is
// decided here.
class VoicePage final : public QWebEnginePage
{
    Q_OBJECT

public:
    VoicePage(NavigationPolicy policy, QWebEngineProfile *profile, QObject *parent = nullptr);

    // How many navigations and new-window requests were refused so far.
    int refusals() const { return m_refusals; }
    // Whether the policy lets this origin put notifications on the desktop now, with the page's
    // current document in the view.
    bool mayNotify(const QUrl &origin) const { return m_policy.mayNotify(origin, url()); }

Q_SIGNALS:
    // A new-window request the policy allowed: load it in this view.
    void loadInViewRequested(const QUrl &url);
    // A tel:/callto: link the policy turned into a call. Queued by the receiver's choice: it
    // arrives from inside the web engine's navigation callback.
    void callRequested(const QString &number);
    void refused(const QUrl &url, const QString &reason);

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame) override;

private:
    void onNewWindowRequested(QWebEngineNewWindowRequest &request);
    void onFeaturePermissionRequested(const QUrl &securityOrigin, Feature feature);
    bool carryOut(const NavigationPolicy::Decision &decision, const QUrl &url);

    NavigationPolicy m_policy;
    int m_refusals = 0;
};

} // namespace dialwise
