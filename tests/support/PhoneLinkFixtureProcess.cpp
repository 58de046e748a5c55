#include "tests/support/PhoneLinkFixtureProcess.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QRegularExpression>

#include <csignal>

namespace dialwise::testing {

QString PhoneLinkFixtureProcess::toolkitName(Toolkit toolkit)
{
    return toolkit == Toolkit::qt ? QStringLiteral("Qt") : QStringLiteral("Gtk");
}

PhoneLinkFixtureProcess::Toolkit PhoneLinkFixtureProcess::toolkitNamed(QStringView name)
{
    return name == u"gtk" ? Toolkit::gtk : Toolkit::qt;
}

std::unique_ptr<PhoneLinkFixtureProcess> PhoneLinkFixtureProcess::start(Toolkit toolkit, const QStringList &arguments,
                                                                        std::chrono::milliseconds timeout)
{
    std::unique_ptr<PhoneLinkFixtureProcess> fixture(new PhoneLinkFixtureProcess);
    fixture->m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    if (toolkit == Toolkit::qt) {
        fixture->m_process.start(QStringLiteral(DIALWISE_QT_FIXTURE), arguments);
    } else {
        fixture->m_process.start(QStringLiteral("/usr/bin/python3"),
                                 QStringList{QStringLiteral(DIALWISE_GTK_FIXTURE)} + arguments);
    }
    if (!fixture->m_process.waitForStarted(int(timeout.count())))
        return nullptr;
    const std::optional<QStringList> ready = fixture->waitForLine(QStringLiteral("READY"), timeout);
    if (!ready || ready->size() != 5)
        return nullptr;
    fixture->m_numberRect = QRect(ready->at(1).toInt(), ready->at(2).toInt(), ready->at(3).toInt(), ready->at(4).toInt());
    return fixture;
}

PhoneLinkFixtureProcess::~PhoneLinkFixtureProcess()
{
    if (m_frozen)
        thaw();
    m_process.kill();
    m_process.waitForFinished(5000);
}

std::optional<QRect> PhoneLinkFixtureProcess::waitForPopup(std::chrono::milliseconds timeout)
{
    const std::optional<QStringList> line = waitForLine(QStringLiteral("POPUP"), timeout);
    if (!line || line->size() != 5)
        return std::nullopt;
    return QRect(line->at(1).toInt(), line->at(2).toInt(), line->at(3).toInt(), line->at(4).toInt());
}

bool PhoneLinkFixtureProcess::waitForPopupClosed(std::chrono::milliseconds timeout)
{
    return waitForLine(QStringLiteral("CLOSED"), timeout).has_value();
}

std::optional<QStringList> PhoneLinkFixtureProcess::waitForLine(const QString &tag, std::chrono::milliseconds timeout)
{
    QDeadlineTimer deadline(timeout);
    for (;;) {
        m_pending += m_process.readAllStandardOutput();
        qsizetype end;
        while ((end = m_pending.indexOf('\n')) >= 0) {
            const QString line = QString::fromUtf8(m_pending.left(end)).trimmed();
            m_pending.remove(0, end + 1);
            const QStringList fields = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
            if (!fields.isEmpty() && fields.first() == tag)
                return fields;
        }
        if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning)
            return std::nullopt;
        // Keep our own event loop turning: the caller's objects may be answering meanwhile.
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        m_process.waitForReadyRead(10);
    }
}

void PhoneLinkFixtureProcess::freeze()
{
    ::kill(pid_t(pid()), SIGSTOP);
    m_frozen = true;
}

void PhoneLinkFixtureProcess::thaw()
{
    ::kill(pid_t(pid()), SIGCONT);
    m_frozen = false;
}

QString xwininfoChildren()
{
    QProcess xwininfo;
    xwininfo.start(QStringLiteral("xwininfo"), {QStringLiteral("-root"), QStringLiteral("-children")});
    xwininfo.waitForFinished(10000);
    return QString::fromUtf8(xwininfo.readAllStandardOutput());
}

std::optional<XWindowListing> xwininfoWindowSized(int width, int height)
{
    // "     0x60000f "name": ("res" "class")  260x120+90+129  +90+129"
    static const QRegularExpression row(QStringLiteral(R"(^\s*(0x[0-9a-f]+)\s.*\s(\d+)x(\d+)\+(-?\d+)\+(-?\d+)\s+\+(-?\d+)\+(-?\d+)\s*$)"));
    const QStringList lines = xwininfoChildren().split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QRegularExpressionMatch match = row.match(line);
        if (!match.hasMatch() || match.captured(2).toInt() != width || match.captured(3).toInt() != height)
            continue;
        XWindowListing listing;
        listing.id = match.captured(1).toULong(nullptr, 16);
        // The absolute position is the second pair.
        listing.geometry = QRect(match.captured(6).toInt(), match.captured(7).toInt(), width, height);
        listing.line = line.trimmed();
        return listing;
    }
    return std::nullopt;
}

bool xdotool(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace dialwise::testing
