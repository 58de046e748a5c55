#pragma once

#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTcpServer>
#include <QUrl>

#include <functional>

namespace dialwise::testing {

// A local HTTP server that stands in for the Google Voice web app in tests. It listens on
// 127.0.0.1 (a free port), answers every GET with a small page, and records every request line
// ("GET /u/0/calls?a=nc,%2B12025550123 HTTP/1.1") in arrival order.
//
// Pages served:
//   /u/0/calls[?...]   the "web app": a head, a [data-upgrade-banner] element, the request path
//   /newwindow         a target=_blank link (#blank-link) and a window.open() button (#open-button)
//   /mic               asks for the microphone on load; the title becomes "mic: granted" or
//                      "mic: denied <error name>"
//   /page/<name>       a plain page titled <name> with links to /page/a, /page/b, /page/c
//   /styled            a page that already holds an element with id "dialwise-style"
//   /cookie            sets a session cookie "standin=1" (no expiry) and shows document.cookie
//   anything else      a plain page naming its path (favicon.ico gets 404)
class VoiceStandIn final : public QObject
{
    Q_OBJECT

public:
    explicit VoiceStandIn(QObject *parent = nullptr);

    // Starts listening; false when no port could be had.
    bool start();
    quint16 port() const;
    // "http://127.0.0.1:<port>", the value for DIALWISE_VOICE_URL.
    QUrl baseUrl() const;

    // The request lines seen so far, and just their targets ("/u/0/calls?a=nc,%2B1...").
    QStringList requestLines() const { return m_requestLines; }
    QStringList requestTargets() const;
    // How many requests had exactly this target / began with this prefix.
    int countTarget(const QString &target) const;
    int countTargetsStartingWith(const QString &prefix) const;
    void clearRequests() { m_requestLines.clear(); }

    // Waits (running the event loop) until a request's target satisfies the predicate or the
    // time runs out. Only requests that arrive after `fromIndex` are considered.
    bool waitForTarget(const std::function<bool(const QString &)> &matches, int timeoutMs, int fromIndex = 0);
    bool waitForTarget(const QString &target, int timeoutMs, int fromIndex = 0);

    // Serves this body (text/html) for the given path instead of the built-in page.
    void setPage(const QString &path, const QByteArray &html) { m_pages.insert(path, html); }
    // Back to the built-in page for that path.
    void removePage(const QString &path) { m_pages.remove(path); }

    // How requests for a path (query ignored) are answered, for loads that must hang:
    //   answer       normally (the default)
    //   noAnswer     the request is recorded and the connection kept open, but nothing is sent
    //   partialBody  the head and the start of the page go out, then nothing more: the browser
    //                has a document in hand that never finishes loading
    enum class Stall { answer, noAnswer, partialBody };
    void setStall(const QString &path, Stall stall) { m_stalls.insert(path, stall); }

Q_SIGNALS:
    void requestReceived(const QString &requestLine);

private:
    void onNewConnection();
    QByteArray pageFor(const QString &target, int *status) const;

    QTcpServer m_server;
    QStringList m_requestLines;
    QHash<QString, QByteArray> m_pages;
    QHash<QString, Stall> m_stalls;
};

} // namespace dialwise::testing
