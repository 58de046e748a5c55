// Sends the running Dialwise one oversized request on the session bus, the way a careless or
// hostile program could, and prints how it was answered:
//   hostile-bus-client text BYTES    HandlePhoneCall with BYTES digits
//   hostile-bus-client action BYTES  ActivateAction with a BYTES-long action name
//   hostile-bus-client open COUNT    Open with COUNT tel: links
// Prints "ok" or the D-Bus error name and message on stdout; exits 0 when an answer came.
#include "platform/linux/SessionBusClient.h"

#include <QElapsedTimer>
#include <QString>
#include <QStringList>

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: hostile-bus-client text|action|open SIZE\n");
        return 2;
    }
    const long long size = std::atoll(argv[2]);
    QString error;
    std::unique_ptr<dialwise::SessionBusClient> bus = dialwise::SessionBusClient::connect(&error);
    if (!bus) {
        std::fprintf(stderr, "hostile-bus-client: %s\n", qPrintable(error));
        return 1;
    }
    const QString service = QStringLiteral(DIALWISE_APP_ID);
    const QString path = QStringLiteral("/app/dialwise/Dialwise");
    using Bus = dialwise::SessionBusClient;
    // Long enough for libdbus to carry 128 MiB through the bus on a loaded machine.
    constexpr int kReplyTimeoutMs = 120000;
    QElapsedTimer timer;
    timer.start();
    Bus::Reply reply;
    if (std::strcmp(argv[1], "text") == 0) {
        reply = bus->call(service, path, QStringLiteral("app.dialwise.Dialwise.Calls"), QStringLiteral("HandlePhoneCall"),
                          {QString(qsizetype(size), u'5')}, kReplyTimeoutMs);
    } else if (std::strcmp(argv[1], "action") == 0) {
        reply = bus->call(service, path, QStringLiteral("org.freedesktop.Application"), QStringLiteral("ActivateAction"),
                          {QString(qsizetype(size), u'q'), Bus::EmptyVariantArray{}, Bus::EmptyDictionary{}},
                          kReplyTimeoutMs);
    } else if (std::strcmp(argv[1], "open") == 0) {
        QStringList uris;
        for (long long i = 0; i < size; ++i)
            uris.append(QStringLiteral("tel:+1202555%1").arg(i % 10000, 4, 10, QLatin1Char('0')));
        reply = bus->call(service, path, QStringLiteral("org.freedesktop.Application"), QStringLiteral("Open"),
                          {uris, Bus::EmptyDictionary{}}, kReplyTimeoutMs);
    } else {
        std::fprintf(stderr, "hostile-bus-client: unknown request %s\n", argv[1]);
        return 2;
    }
    if (reply.ok)
        std::printf("ok\n");
    else
        std::printf("%s %s\n", qPrintable(reply.errorName), qPrintable(reply.errorMessage));
    std::fprintf(stderr, "answered after %lld ms\n", static_cast<long long>(timer.elapsed()));
    return 0;
}
