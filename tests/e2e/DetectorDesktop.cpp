#include "tests/e2e/DetectorDesktop.h"

#include "tests/support/PhoneLinkFixtureProcess.h"

#include <QList>
#include <QProcess>
#include <QRegularExpression>

namespace dialwise::testing {

bool xdotoolClick(const QPoint &at)
{
    return xdotool({QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()), QStringLiteral("click"),
                    QStringLiteral("1")});
}

std::optional<QRect> xwininfoGeometry(unsigned long id)
{
    QProcess xwininfo;
    xwininfo.start(QStringLiteral("xwininfo"), {QStringLiteral("-id"), QString::number(id)});
    xwininfo.waitForFinished(5000);
    const QString out = QString::fromUtf8(xwininfo.readAllStandardOutput());
    auto field = [&](const char *name) {
        const QRegularExpression re(QString::fromLatin1(name) + QStringLiteral(R"(:\s*(-?\d+))"));
        const QRegularExpressionMatch match = re.match(out);
        return match.hasMatch() ? std::optional<int>(match.captured(1).toInt()) : std::nullopt;
    };
    const auto x = field("Absolute upper-left X"), y = field("Absolute upper-left Y");
    const auto w = field("Width"), h = field("Height");
    if (!x || !y || !w || !h)
        return std::nullopt;
    return QRect(*x, *y, *w, *h);
}

std::optional<QRect> waitForStripGeometry(int timeoutMs)
{
    std::optional<QRect> strip;
    ShellRig::waitUntil([&] {
        const QList<unsigned long> windows = ShellRig::viewableWindowsTitled(kStripTitle);
        strip = windows.isEmpty() ? std::nullopt : xwininfoGeometry(windows.first());
        return strip.has_value();
    }, timeoutMs);
    return strip;
}

bool stripGone(int timeoutMs)
{
    return ShellRig::waitUntil([] { return ShellRig::viewableWindowsTitled(kStripTitle).isEmpty(); }, timeoutMs);
}

QString logFrame(const QRect &rect)
{
    return QStringLiteral("(%1.0, %2.0, %3.0, %4.0)").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height());
}

void waitForScansAfter(const QElapsedTimer &click)
{
    if (click.isValid())
        ShellRig::waitUntil([&] { return click.hasExpired(kLastAttemptMs + 200); }, kLastAttemptMs + 500);
}

} // namespace dialwise::testing
