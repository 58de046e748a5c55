#include "tests/support/VoiceStandIn.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

namespace dialwise::testing {
namespace {

QByteArray htmlPage(const QByteArray &title, const QByteArray &body)
{
    return "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>" + title + "</title></head><body>" + body
        + "</body></html>";
}

QByteArray escaped(const QString &text)
{
    return text.toHtmlEscaped().toUtf8();
}

} // namespace

VoiceStandIn::VoiceStandIn(QObject *parent)
    : QObject(parent)
{
    connect(&m_server, &QTcpServer::newConnection, this, &VoiceStandIn::onNewConnection);
}

bool VoiceStandIn::start()
{
    return m_server.listen(QHostAddress::LocalHost, 0);
}

quint16 VoiceStandIn::port() const
{
    return m_server.serverPort();
}

QUrl VoiceStandIn::baseUrl() const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(port()));
}

QStringList VoiceStandIn::requestTargets() const
{
    QStringList targets;
    for (const QString &line : m_requestLines)
        targets.append(line.section(u' ', 1, 1));
    return targets;
}

int VoiceStandIn::countTarget(const QString &target) const
{
    return static_cast<int>(requestTargets().count(target));
}

int VoiceStandIn::countTargetsStartingWith(const QString &prefix) const
{
    int n = 0;
    for (const QString &target : requestTargets())
        n += target.startsWith(prefix) ? 1 : 0;
    return n;
}

bool VoiceStandIn::waitForTarget(const std::function<bool(const QString &)> &matches, int timeoutMs, int fromIndex)
{
    QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        const QStringList targets = requestTargets();
        for (int i = fromIndex; i < targets.size(); ++i) {
            if (matches(targets[i]))
                return true;
        }
        if (deadline.hasExpired())
            return false;
        QEventLoop loop;
        QTimer timer;
        timer.setSingleShot(true);
        connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        connect(this, &VoiceStandIn::requestReceived, &loop, &QEventLoop::quit);
        timer.start(std::max<qint64>(1, std::min<qint64>(deadline.remainingTime(), 50)));
        loop.exec();
    }
}

bool VoiceStandIn::waitForTarget(const QString &target, int timeoutMs, int fromIndex)
{
    return waitForTarget([&target](const QString &t) { return t == target; }, timeoutMs, fromIndex);
}

void VoiceStandIn::onNewConnection()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] {
            buffer->append(socket->readAll());
            // Keep-alive connections may carry several requests; answer each complete head.
            for (qsizetype end = buffer->indexOf("\r\n\r\n"); end >= 0; end = buffer->indexOf("\r\n\r\n")) {
                const QByteArray head = buffer->left(end);
                buffer->remove(0, end + 4);
                const QString requestLine = QString::fromLatin1(head.left(head.indexOf("\r\n") < 0 ? head.size() : head.indexOf("\r\n")));
                m_requestLines.append(requestLine);
                const QString target = requestLine.section(u' ', 1, 1);
                const Stall stall = m_stalls.value(target.section(u'?', 0, 0), Stall::answer);
                if (stall == Stall::noAnswer) {
                    Q_EMIT requestReceived(requestLine);
                    continue;
                }
                if (stall == Stall::partialBody) {
                    // Announces far more than it sends, so the page stays loading.
                    socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\n"
                                  "Cache-Control: no-store\r\nContent-Length: 1000000\r\n\r\n"
                                  "<!DOCTYPE html><html><head><title>partial</title></head><body><p>partial");
                    Q_EMIT requestReceived(requestLine);
                    continue;
                }
                int status = 200;
                const QByteArray body = pageFor(target, &status);
                QByteArray response = "HTTP/1.1 " + QByteArray::number(status) + (status == 200 ? " OK" : " Not Found")
                    + "\r\nContent-Type: text/html; charset=utf-8\r\nCache-Control: no-store\r\nContent-Length: "
                    + QByteArray::number(body.size()) + "\r\n\r\n" + body;
                socket->write(response);
                Q_EMIT requestReceived(requestLine);
            }
        });
    }
}

QByteArray VoiceStandIn::pageFor(const QString &target, int *status) const
{
    const QString path = target.section(u'?', 0, 0);
    if (m_pages.contains(path))
        return m_pages.value(path);
    if (path == u"/favicon.ico") {
        *status = 404;
        return QByteArray();
    }
    if (path == u"/u/0/calls") {
        return htmlPage("Voice stand-in",
                        "<div data-upgrade-banner id=\"banner\">Upgrade banner</div>"
                        "<h1 id=\"where\">" + escaped(target) + "</h1>");
    }
    if (path == u"/newwindow") {
        return htmlPage("New window",
                        "<a id=\"blank-link\" href=\"/opened-by-link\" target=\"_blank\">open</a>"
                        "<button id=\"open-button\" onclick=\"window.open('/opened-by-window-open')\">open</button>");
    }
    if (path == u"/mic") {
        return htmlPage("mic: waiting",
                        "<script>navigator.mediaDevices.getUserMedia({audio:true})"
                        ".then(function(s){document.title='mic: granted';})"
                        ".catch(function(e){document.title='mic: denied '+e.name;});</script>");
    }
    if (path == u"/styled") {
        return "<!DOCTYPE html><html><head><title>styled</title><style id=\"dialwise-style\">/* mine */</style></head>"
               "<body>already styled</body></html>";
    }
    if (path == u"/cookie") {
        return htmlPage("cookie", "<p id=\"cookies\"></p><script>document.cookie='standin=1; path=/';"
                                  "document.getElementById('cookies').textContent=document.cookie;</script>");
    }
    if (path.startsWith(u"/page/")) {
        const QByteArray name = escaped(path.mid(6));
        return htmlPage(name, "<a id=\"a\" href=\"/page/a\">a</a> <a id=\"b\" href=\"/page/b\">b</a> "
                              "<a id=\"c\" href=\"/page/c\">c</a>");
    }
    return htmlPage("stand-in", "<p>" + escaped(target) + "</p>");
}

} // namespace dialwise::testing
