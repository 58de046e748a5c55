// Where the strip lands on a whole X11 desktop: several monitors of different sizes on one X
// screen (RandR monitors laid out with xrandr --setmonitor), some with non-zero origins, and
// Dialwise at device-pixel ratios above 1 while the other program draws at 1x. For each monitor in
// turn, the Qt and the GTK fixture's popup is opened there and the strip's real X window is read
// back: its geometry, its place in the stacking order, its shape and whether it took focus.
//
// The desktop comes from the environment, one ctest per desktop:
//   DIALWISE_E2E_MONITORS  "NAME:WxH+X+Y[@ratio][*],..."; "*" marks the primary monitor and
//                          @ratio that monitor's QT_SCREEN_SCALE_FACTORS entry for Dialwise
//   DIALWISE_E2E_SCALE     QT_SCALE_FACTOR for Dialwise only (default 1)
#include "tests/e2e/DetectorDesktop.h"
#include "tests/e2e/ShellSuite.h"
#include "tests/support/PhoneLinkFixtureProcess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>

#include <gtest/gtest.h>

#include <cmath>
#include <iostream>

// Last: Xlib's macros (None, Bool, Status) would clash with names in the headers above.
#include <X11/Xlib.h>
#include <X11/extensions/shape.h>

// The rigs and the desktop helpers of the detector's tests.
using namespace dialwise::testing;
using Toolkit = PhoneLinkFixtureProcess::Toolkit;

namespace {

// All four scan attempts of a click (the last at 1.5 s) and a margin.
constexpr int kScanBurstMs = 2500;
// The strip's height and its overlap with the popup, in points.
constexpr double kStripPoints = 30;
constexpr double kOverlapPoints = 8;

struct Monitor
{
    QString name;
    QRect geometry; // device pixels, root coordinates
    double ratio = 1; // this monitor's own factor for Dialwise
    bool primary = false;
};

QList<Monitor> monitors()
{
    QList<Monitor> list;
    const QRegularExpression re(QStringLiteral(R"(^(\w+):(\d+)x(\d+)\+(\d+)\+(\d+)(?:@([\d.]+))?(\*)?$)"));
    for (const QString &monitor : qEnvironmentVariable("DIALWISE_E2E_MONITORS").split(u',', Qt::SkipEmptyParts)) {
        const QRegularExpressionMatch m = re.match(monitor);
        if (!m.hasMatch())
            continue;
        list.append({m.captured(1),
                     QRect(m.captured(4).toInt(), m.captured(5).toInt(), m.captured(2).toInt(), m.captured(3).toInt()),
                     m.captured(6).isEmpty() ? 1.0 : m.captured(6).toDouble(), !m.captured(7).isEmpty()});
    }
    return list;
}

double globalScale()
{
    const QString scale = qEnvironmentVariable("DIALWISE_E2E_SCALE");
    return scale.isEmpty() ? 1.0 : scale.toDouble();
}

bool run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// Lays the monitors out on the X screen, as a desktop with several outputs shows them to clients.
// Xvfb keeps RandR monitors set by a client only while the server does not reset, which
// run-in-desktop's -noreset sees to; Xvfb's +xinerama puts every screen at the origin instead.
bool setMonitors(const QList<Monitor> &list)
{
    bool ok = true;
    bool first = true;
    for (const Monitor &m : list) {
        // The first monitor takes over the screen's one output, so that no monitor covering the
        // whole screen is listed beside them.
        const QString name = (m.primary ? QStringLiteral("*") : QString()) + m.name;
        const QString geometry = QStringLiteral("%1/%2x%3/%4+%5+%6")
                                     .arg(m.geometry.width())
                                     .arg(m.geometry.width() * 254 / 960)
                                     .arg(m.geometry.height())
                                     .arg(m.geometry.height() * 254 / 960)
                                     .arg(m.geometry.x())
                                     .arg(m.geometry.y());
        ok = run(QStringLiteral("xrandr"), {QStringLiteral("--setmonitor"), name, geometry,
                                            first ? QStringLiteral("screen") : QStringLiteral("none")})
            && ok;
        first = false;
    }
    return ok;
}

// The X server's own view of a window: nothing here is what Qt believes it asked for.
class XServer
{
public:
    XServer()
        : m_display(XOpenDisplay(nullptr))
    {
    }
    ~XServer()
    {
        if (m_display)
            XCloseDisplay(m_display);
    }
    bool isOpen() const { return m_display; }

    std::optional<QRect> geometry(Window window)
    {
        XWindowAttributes attributes;
        if (!XGetWindowAttributes(m_display, window, &attributes))
            return std::nullopt;
        int x = 0, y = 0;
        Window child = 0;
        XTranslateCoordinates(m_display, window, DefaultRootWindow(m_display), 0, 0, &x, &y, &child);
        return QRect(x, y, attributes.width, attributes.height);
    }

    bool overrideRedirect(Window window)
    {
        XWindowAttributes attributes;
        return XGetWindowAttributes(m_display, window, &attributes) && attributes.override_redirect;
    }

    // The root's children from bottom to top, as the server stacks them.
    QList<Window> stacking()
    {
        Window root = 0, parent = 0, *children = nullptr;
        unsigned int count = 0;
        QList<Window> list;
        if (XQueryTree(m_display, DefaultRootWindow(m_display), &root, &parent, &children, &count)) {
            for (unsigned int i = 0; i < count; ++i)
                list.append(children[i]);
            XFree(children);
        }
        return list;
    }

    Window focus()
    {
        Window window = 0;
        int revert = 0;
        XGetInputFocus(m_display, &window, &revert);
        return window;
    }

    // Whether a point of the window (its own coordinates) is inside its bounding shape.
    bool insideShape(Window window, const QPoint &point)
    {
        int count = 0, ordering = 0;
        XRectangle *rects = XShapeGetRectangles(m_display, window, ShapeBounding, &count, &ordering);
        bool inside = false;
        for (int i = 0; i < count; ++i) {
            if (QRect(rects[i].x, rects[i].y, rects[i].width, rects[i].height).contains(point))
                inside = true;
        }
        if (rects)
            XFree(rects);
        return inside;
    }

    // The top-level X window (a child of the root) that holds this window.
    Window topLevel(Window window)
    {
        Window current = window;
        for (;;) {
            Window root = 0, parent = 0, *children = nullptr;
            unsigned int count = 0;
            if (!XQueryTree(m_display, current, &root, &parent, &children, &count))
                return current;
            if (children)
                XFree(children);
            if (parent == root || parent == 0)
                return current;
            current = parent;
        }
    }

private:
    Display *m_display;
};

class DetectorPlacement : public ShellSuite<::testing::TestWithParam<Toolkit>>
{
protected:
    static void SetUpTestSuite()
    {
        ASSERT_FALSE(monitors().isEmpty()) << "DIALWISE_E2E_MONITORS names no monitor";
        ASSERT_TRUE(setMonitors(monitors()));
        // The scale is Dialwise's alone: the other programs keep drawing at 1x.
        if (globalScale() != 1.0)
            qputenv("QT_SCALE_FACTOR", QByteArray::number(globalScale()));
        QStringList factors;
        for (const Monitor &m : monitors()) {
            if (m.ratio != 1.0)
                factors.append(m.name + u'=' + QString::number(m.ratio));
        }
        if (!factors.isEmpty())
            qputenv("QT_SCREEN_SCALE_FACTORS", factors.join(u';').toUtf8());
        startDetecting();
        qunsetenv("QT_SCALE_FACTOR");
        qunsetenv("QT_SCREEN_SCALE_FACTORS");
    }

    void waitForScansOfLastClick() { waitForScansAfter(lastClick); }

    QElapsedTimer lastClick;
};


TEST_P(DetectorPlacement, stripUnderPopupOnEveryMonitor_atThatMonitorsRatio_aboveItUnfocusedAndShaped)
{
    XServer server;
    ASSERT_TRUE(server.isOpen());
    const QString shots = QDir::current().filePath(QStringLiteral("screenshots"));
    QDir().mkpath(shots);

    for (const Monitor &monitor : monitors()) {
        SCOPED_TRACE(monitor.name.toStdString());
        const double ratio = globalScale() * monitor.ratio;
        // The fixture's window well inside the monitor, so that its popup is wholly on it.
        const QPoint at = monitor.geometry.topLeft() + QPoint(80, 60);
        auto fixture = PhoneLinkFixtureProcess::start(
            GetParam(), {QStringLiteral("--at"), QString::number(at.x()), QString::number(at.y())});
        ASSERT_TRUE(fixture);
        ASSERT_TRUE(monitor.geometry.contains(fixture->numberRect())) << "fixture not on " << monitor.name.toStdString();

        const qsizetype logBefore = ShellRig::logText().size();
        lastClick.start();
        ASSERT_TRUE(xdotoolClick(fixture->numberCentre()));
        const std::optional<QRect> reported = fixture->waitForPopup();
        ASSERT_TRUE(reported);
        const std::optional<XWindowListing> listed = xwininfoWindowSized(260, 120);
        ASSERT_TRUE(listed);
        const QRect popup = listed->geometry;
        ASSERT_TRUE(monitor.geometry.contains(popup)) << "popup not wholly on the monitor";

        // The GTK fixture's number is a label whose text the detector reads at the click: a strip
        // under the number comes first, and the popup's own strip, from the popup's left edge and
        // over its lower edge, takes its place when an attempt finds the popup.
        std::optional<unsigned long> stripId;
        ShellRig::waitUntil([&] {
            const QList<unsigned long> windows = ShellRig::viewableWindowsTitled(kStripTitle);
            if (windows.isEmpty())
                return false;
            stripId = windows.first();
            const std::optional<QRect> geometry = server.geometry(*stripId);
            return geometry && geometry->x() == popup.x() && geometry->y() > popup.y()
                && geometry->y() < popup.y() + popup.height();
        }, kScanBurstMs);
        ASSERT_TRUE(stripId) << ShellRig::logText().mid(logBefore).toStdString() << rig->primaryErrors().right(3000).toStdString();
        // Give the window its final geometry (it is placed before it is mapped, but be sure).
        QThread::msleep(100);
        const std::optional<QRect> strip = server.geometry(*stripId);
        ASSERT_TRUE(strip);

        // Points to device pixels at the popup's monitor's ratio (37.5 at 1.25 is 38).
        const int overlap = int(std::lround(kOverlapPoints * ratio));
        const int height = int(std::lround(kStripPoints * ratio));
        std::cout << monitor.name.toStdString() << " ratio " << ratio << ": popup " << popup.x() << "," << popup.y()
                  << " " << popup.width() << "x" << popup.height() << ", strip " << strip->x() << "," << strip->y()
                  << " " << strip->width() << "x" << strip->height() << "\n";
        EXPECT_EQ(strip->x(), popup.x());
        EXPECT_EQ(strip->width(), popup.width());
        EXPECT_EQ(strip->y(), popup.y() + popup.height() - overlap);
        EXPECT_EQ(strip->height(), height);

        // Above the popup in the server's stacking order, and never given the focus.
        const QList<Window> stacking = server.stacking();
        const Window stripTop = server.topLevel(*stripId);
        const Window popupTop = server.topLevel(listed->id);
        ASSERT_TRUE(stacking.contains(stripTop));
        ASSERT_TRUE(stacking.contains(popupTop));
        EXPECT_GT(stacking.indexOf(stripTop), stacking.indexOf(popupTop)) << "strip below the popup";
        EXPECT_TRUE(server.overrideRedirect(stripTop)) << "a window manager could move it or keep it on one workspace";
        EXPECT_NE(server.focus(), stripTop);
        EXPECT_NE(server.focus(), Window(*stripId));

        // Rounded lower corners in the window's shape: the corner pixels are cut out, the top
        // corners and the middle of the lower edge are not.
        EXPECT_TRUE(server.insideShape(*stripId, QPoint(0, 0)));
        EXPECT_TRUE(server.insideShape(*stripId, QPoint(strip->width() - 1, 0)));
        EXPECT_TRUE(server.insideShape(*stripId, QPoint(strip->width() / 2, strip->height() - 1)));
        EXPECT_FALSE(server.insideShape(*stripId, QPoint(0, strip->height() - 1)));
        EXPECT_FALSE(server.insideShape(*stripId, QPoint(strip->width() - 1, strip->height() - 1)));

        const QRect around = strip->united(popup).adjusted(-20, -20, 20, 20);
        run(QStringLiteral("import"),
            {QStringLiteral("-window"), QStringLiteral("root"), QStringLiteral("-crop"),
             QStringLiteral("%1x%2+%3+%4").arg(around.width()).arg(around.height()).arg(around.x()).arg(around.y()),
             QDir(shots).filePath(QStringLiteral("placement-%1-%2-x%3.png")
                                      .arg(PhoneLinkFixtureProcess::toolkitName(GetParam()), monitor.name)
                                      .arg(ratio))});

        // Away again: a click on the bare desktop removes the strip, and this click's scans end
        // before the next monitor's click.
        waitForScansOfLastClick();
        fixture.reset();
        lastClick.start();
        xdotoolClick(monitor.geometry.bottomRight() - QPoint(5, 5));
        EXPECT_TRUE(ShellRig::waitUntil([] { return ShellRig::viewableWindowsTitled(kStripTitle).isEmpty(); }, 2000));
        waitForScansOfLastClick();
    }
}

INSTANTIATE_TEST_SUITE_P(Toolkits, DetectorPlacement, ::testing::Values(Toolkit::qt, Toolkit::gtk),
                         PhoneLinkFixtureProcess::TestName());

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
