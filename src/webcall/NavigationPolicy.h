#pragma once

#include <QString>
#include <QUrl>

namespace dialwise {

// What the web view may show, decided in one place. The window asks before every navigation,
// every new-window request and every microphone, camera or notification request, and only
// carries out the answer. The rules keep the view for what the user came for: the web app, and http(s) links
// the user follows from it. A frame inside the page (an advert, an embedded widget) must not be
// able to put a page of its choice under Dialwise's toolbar, where the user signs in.
//
// QtCore only, so every rule is tested without a display.
class NavigationPolicy final
{
public:
    struct Decision
    {
        enum class Kind {
            load,   // go ahead (a new-window request: load it in the same view)
            call,   // a tel:/callto: link: call `number` through Dialwise, load nothing
            refuse, // load nothing; `reason` says why, for the log
        };
        Kind kind = Kind::refuse;
        QString number;
        QString reason;

        static Decision load() { return {Kind::load, {}, {}}; }
        static Decision call(QString number) { return {Kind::call, std::move(number), {}}; }
        static Decision refuse(QString reason) { return {Kind::refuse, {}, std::move(reason)}; }
    };

    // How a navigation came about, as far as the web engine tells.
    enum class Trigger {
        linkClicked, // the user clicked a link
        typed,       // Dialwise itself loaded the address (start, calls, the back/forward buttons)
        other,       // script, form, redirect, reload
    };

    // appOrigin: the web app's scheme://host[:port].
    explicit NavigationPolicy(QUrl appOrigin);

    // A navigation of the top-level document (mainFrame) or of a frame inside it.
    Decision forNavigation(const QUrl &url, Trigger trigger, bool mainFrame) const;

    // A link or script asking for a new window. Dialwise has one window, so an allowed request
    // loads in the same view. userInitiated: the request came with a click; topLevel: the address
    // of the document now in the view. The web engine does not say which frame asked, so a request
    // without a click counts as the web app's own only when both the page in the view and the
    // address asked for are on the web app's origin, and it is not a call.
    Decision forNewWindow(const QUrl &requested, bool userInitiated, const QUrl &topLevel) const;

    // Microphone and camera: granted to the document in the view (which this policy let in), and
    // to frames of its own origin, never to a foreign frame.
    bool mayCapture(const QUrl &securityOrigin, const QUrl &topLevel) const;

    // Desktop notifications: only the web app itself may raise them, and only while its own
    // document is the one in the view. A page the user followed a link to, or a frame inside the
    // web app, must not be able to put text of its choosing on the desktop in Dialwise's name.
    bool mayNotify(const QUrl &securityOrigin, const QUrl &topLevel) const;

    // The beginning of an address, for log lines: a refused data: address can be megabytes long.
    static QString shortened(const QUrl &url);

private:
    Decision forCallLink(const QUrl &url) const;
    bool isAppAddress(const QUrl &url) const;

    QUrl m_appOrigin;
};

} // namespace dialwise
