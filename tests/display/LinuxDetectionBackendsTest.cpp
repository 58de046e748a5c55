// The detector's Linux backends against real programs: the Qt and GTK phone-link fixtures on a
// private X server with the AT-SPI bus, compared with what xwininfo and xdotool say.
#include "platform/linux/AtspiElementTree.h"
#include "platform/linux/X11ClickSource.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Screen.h"
#include "platform/linux/X11WindowList.h"
#include "tests/support/PhoneLinkFixtureProcess.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QWidget>

#include <gtest/gtest.h>

#include <functional>

using namespace dialwise;
using dialwise::testing::PhoneLinkFixtureProcess;
using Toolkit = PhoneLinkFixtureProcess::Toolkit;
using namespace std::chrono_literals;

namespace {

const QString kNumber = QStringLiteral("+1 (555) 010-4477");

// How long a click that must not be reported gets to show up anyway: far more than the few
// milliseconds a reported click takes to arrive (measured well under 50 ms here).
constexpr auto kNoClickWindow = 500ms;

bool waitUntil(const std::function<bool()> &condition, std::chrono::milliseconds timeout = 5s)
{
    QDeadlineTimer deadline(timeout);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}

QString text(ElementTree &tree, const ElementHandle &element, Attribute attribute)
{
    AttributeValue value;
    if (tree.copyAttributeValue(element, attribute, value) != ElementTree::kSuccess)
        return {};
    const auto *string = std::get_if<QString>(&value);
    return string ? *string : QString();
}

QList<ElementHandle> elements(ElementTree &tree, const ElementHandle &element, Attribute attribute)
{
    AttributeValue value;
    if (tree.copyAttributeValue(element, attribute, value) != ElementTree::kSuccess)
        return {};
    const auto *list = std::get_if<QList<ElementHandle>>(&value);
    return list ? *list : QList<ElementHandle>();
}

QRectF frame(ElementTree &tree, const ElementHandle &element)
{
    AttributeValue position, size;
    tree.copyAttributeValue(element, Attribute::position, position);
    tree.copyAttributeValue(element, Attribute::size, size);
    const auto *p = std::get_if<QPointF>(&position);
    const auto *s = std::get_if<QSizeF>(&size);
    return (p && s) ? QRectF(*p, *s) : QRectF();
}

void collect(ElementTree &tree, const ElementHandle &element, QList<ElementHandle> &out, int depth = 0)
{
    if (depth > 12)
        return;
    out.append(element);
    for (const ElementHandle &child : elements(tree, element, Attribute::children))
        collect(tree, child, out, depth + 1);
}

class LinuxDetectionBackends : public ::testing::TestWithParam<Toolkit>
{
protected:
    void SetUp() override
    {
        x11 = X11Connection::open();
        ASSERT_TRUE(x11) << "no X display";
        tree = std::make_unique<AtspiElementTree>(x11);
        fixture = PhoneLinkFixtureProcess::start(GetParam());
        ASSERT_TRUE(fixture) << "the fixture did not start";
    }

    // Clicks the number and waits for the popup; its rectangle as the fixture reports it.
    QRect openPopup()
    {
        const QPoint at = fixture->numberCentre();
        EXPECT_TRUE(dialwise::testing::xdotool({QStringLiteral("mousemove"), QString::number(at.x()),
                                                QString::number(at.y()), QStringLiteral("click"), QStringLiteral("1")}));
        const std::optional<QRect> popup = fixture->waitForPopup();
        EXPECT_TRUE(popup) << "no popup after the click";
        return popup.value_or(QRect());
    }

    // The fixture's popup as an accessible window, found among the application's windows.
    ElementHandle popupWindow(const QRect &popup)
    {
        ElementHandle found;
        waitUntil([&] {
            const ElementHandle application = tree->applicationElement(fixture->pid());
            if (!application)
                return false;
            for (const ElementHandle &window : elements(*tree, application, Attribute::windows)) {
                if (frame(*tree, window).toRect() == popup) {
                    found = window;
                    return true;
                }
            }
            return false;
        });
        return found;
    }

    std::shared_ptr<X11Connection> x11;
    std::unique_ptr<AtspiElementTree> tree;
    std::unique_ptr<PhoneLinkFixtureProcess> fixture;
};

TEST(AtspiRoleNames, mapsToDetectorRoles)
{
    const struct
    {
        const char *atspi;
        const char *expected;
    } rows[] = {
        {"window", "AXWindow"},     {"frame", "AXWindow"},        {"dialog", "AXWindow"},
        {"popup menu", "AXMenu"},   {"menu", "AXMenu"},           {"push button", "AXPushButton"},
        {"label", "AXLabel"},       {"menu item", "AXMenuItem"},  {"filler", "AXFiller"},
        {"page tab list", "AXPageTabList"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(AtspiElementTree::roleName(QString::fromLatin1(row.atspi)), QString::fromLatin1(row.expected)) << row.atspi;
}

TEST_P(LinuxDetectionBackends, elementTree_readsPopupTextsRolesAndFrames)
{
    const QRect popup = openPopup();
    ASSERT_EQ(popup.size(), QSize(260, 120));
    const ElementHandle window = popupWindow(popup);
    ASSERT_TRUE(window) << "the popup is not among the application's accessible windows";
    EXPECT_EQ(text(*tree, window, Attribute::role), QStringLiteral("AXWindow"));

    QList<ElementHandle> all;
    collect(*tree, window, all);
    QStringList titles;
    QMap<QString, ElementHandle> byTitle;
    for (const ElementHandle &element : all) {
        const QString title = text(*tree, element, Attribute::title);
        if (!title.isEmpty()) {
            titles << title;
            byTitle.insert(title, element);
        }
    }
    for (const QString &expected : {kNumber, QStringLiteral("FaceTime"), QStringLiteral("Large Type"),
                                    QStringLiteral("Add to Contacts")})
        EXPECT_TRUE(titles.contains(expected)) << expected.toStdString() << " not in " << titles.join(u'|').toStdString();

    ASSERT_TRUE(byTitle.contains(QStringLiteral("FaceTime")));
    const ElementHandle faceTime = byTitle.value(QStringLiteral("FaceTime"));
    EXPECT_EQ(text(*tree, faceTime, Attribute::role), QStringLiteral("AXPushButton"));
    EXPECT_FALSE(text(*tree, faceTime, Attribute::roleDescription).isEmpty());
    const QRectF buttonFrame = frame(*tree, faceTime);
    EXPECT_TRUE(QRectF(popup).contains(buttonFrame)) << "button frame outside the popup";
    EXPECT_GT(buttonFrame.width(), 0);

    // GTK's label exposes its text through the Text interface too; Qt 6's label has none.
    ASSERT_TRUE(byTitle.contains(kNumber));
    if (GetParam() == Toolkit::gtk) {
        EXPECT_EQ(text(*tree, byTitle.value(kNumber), Attribute::value), kNumber);
    } else {
        AttributeValue labelValue;
        EXPECT_EQ(tree->copyAttributeValue(byTitle.value(kNumber), Attribute::value, labelValue),
                  AtspiElementTree::kAttributeUnsupported);
    }
    EXPECT_EQ(text(*tree, byTitle.value(kNumber), Attribute::role), QStringLiteral("AXLabel"));

    // Up from the button to the popup through "AXParent".
    ElementHandle current = faceTime;
    bool reached = false;
    for (int step = 0; step < 5 && !reached; ++step) {
        AttributeValue parent;
        ASSERT_EQ(tree->copyAttributeValue(current, Attribute::parent, parent), ElementTree::kSuccess);
        ASSERT_TRUE(std::holds_alternative<ElementHandle>(parent));
        current = std::get<ElementHandle>(parent);
        reached = frame(*tree, current).toRect() == popup && text(*tree, current, Attribute::role) == QStringLiteral("AXWindow");
    }
    EXPECT_TRUE(reached) << "no AXWindow with the popup's frame among the button's ancestors";

    // What AT-SPI does not have fails with the stable codes.
    AttributeValue value;
    EXPECT_EQ(tree->copyAttributeValue(faceTime, Attribute::subrole, value), AtspiElementTree::kAttributeUnsupported);
    EXPECT_EQ(tree->copyAttributeValue(faceTime, Attribute::windows, value), AtspiElementTree::kAttributeUnsupported);
}

TEST_P(LinuxDetectionBackends, elementTree_windowsAreListedFrontToBack)
{
    // The popup was made after the main window, so AT-SPI alone lists it second; it is in front.
    const QRect popup = openPopup();
    ASSERT_TRUE(popupWindow(popup));
    const ElementHandle application = tree->applicationElement(fixture->pid());
    ASSERT_TRUE(application);
    const QList<ElementHandle> windows = elements(*tree, application, Attribute::windows);
    ASSERT_GE(windows.size(), 2);
    EXPECT_EQ(frame(*tree, windows.first()).toRect(), popup);

    // Closed again, it falls behind the main window, which is now the frontmost on screen.
    const QPoint away = fixture->numberCentre() + QPoint(300, 200);
    ASSERT_TRUE(dialwise::testing::xdotool({QStringLiteral("mousemove"), QString::number(away.x()),
                                            QString::number(away.y()), QStringLiteral("click"), QStringLiteral("1")}));
    ASSERT_TRUE(fixture->waitForPopupClosed());
    ASSERT_TRUE(waitUntil([&] {
        const QList<ElementHandle> now = elements(*tree, application, Attribute::windows);
        return !now.isEmpty() && frame(*tree, now.first()).toRect() != popup;
    }));
}

TEST_P(LinuxDetectionBackends, elementTree_visibleChildrenAreTheShowingOnes)
{
    const QRect popup = openPopup();
    const ElementHandle window = popupWindow(popup);
    ASSERT_TRUE(window);
    const QList<ElementHandle> children = elements(*tree, window, Attribute::children);
    const QList<ElementHandle> visible = elements(*tree, window, Attribute::visibleChildren);
    ASSERT_FALSE(children.isEmpty());
    EXPECT_EQ(visible.size(), children.size()) << "everything in an open popup is showing";
    for (qsizetype i = 0; i < std::min(visible.size(), children.size()); ++i)
        EXPECT_EQ(frame(*tree, visible.at(i)), frame(*tree, children.at(i))) << i;
}

TEST_P(LinuxDetectionBackends, elementTree_elementAtPositionIsTheDeepestUnderThePoint)
{
    const QRect popup = openPopup();
    ASSERT_TRUE(popupWindow(popup));
    // Find FaceTime's centre through the tree, then hit-test there.
    QList<ElementHandle> all;
    collect(*tree, popupWindow(popup), all);
    QRectF faceTimeFrame;
    for (const ElementHandle &element : all) {
        if (text(*tree, element, Attribute::title) == QStringLiteral("FaceTime"))
            faceTimeFrame = frame(*tree, element);
    }
    ASSERT_FALSE(faceTimeFrame.isEmpty());
    ElementHandle hit;
    ASSERT_EQ(tree->copyElementAtPosition(float(faceTimeFrame.center().x()), float(faceTimeFrame.center().y()), hit),
              ElementTree::kSuccess);
    ASSERT_TRUE(hit);
    EXPECT_EQ(text(*tree, hit, Attribute::title), QStringLiteral("FaceTime"));

    // The number in the main window, under the popup's stacking: the main window's label.
    const QPoint number = fixture->numberRect().topLeft() + QPoint(5, 5);
    ASSERT_FALSE(popup.contains(number));
    ASSERT_EQ(tree->copyElementAtPosition(float(number.x()), float(number.y()), hit), ElementTree::kSuccess);
    ASSERT_TRUE(hit);
    EXPECT_EQ(text(*tree, hit, Attribute::title), kNumber);

    // Nothing at all there: success without an element.
    ASSERT_EQ(tree->copyElementAtPosition(1270.f, 1020.f, hit), ElementTree::kSuccess);
    EXPECT_FALSE(hit);
}

TEST_P(LinuxDetectionBackends, windowList_showsPopupWithOwnerAndGeometry)
{
    const QRect popup = openPopup();
    const std::optional<dialwise::testing::XWindowListing> listed = dialwise::testing::xwininfoWindowSized(260, 120);
    ASSERT_TRUE(listed) << dialwise::testing::xwininfoChildren().toStdString();

    X11WindowList list(x11);
    const std::optional<QList<WindowInfo>> windows = list.onScreenWindows();
    ASSERT_TRUE(windows);
    qsizetype popupIndex = -1, mainIndex = -1;
    for (qsizetype i = 0; i < windows->size(); ++i) {
        const WindowInfo &info = windows->at(i);
        const QRect rect = info.bounds.toRect();
        if (info.id == listed->id) {
            popupIndex = i;
            EXPECT_EQ(rect, listed->geometry) << listed->line.toStdString();
            EXPECT_EQ(rect, popup);
            EXPECT_EQ(info.ownerPid, fixture->pid());
            EXPECT_EQ(info.layer, X11WindowList::kPopupLayer);
            EXPECT_EQ(info.ownerName, std::optional<QString>(processName(fixture->pid())));
            EXPECT_FALSE(info.ownerName.value_or(QString()).isEmpty());
        }
        if (rect == QRect(100, 100, 600, 400) && info.ownerPid == fixture->pid()) {
            mainIndex = i;
            EXPECT_EQ(info.layer, 0);
        }
    }
    ASSERT_GE(popupIndex, 0) << "popup window missing from the list";
    ASSERT_GE(mainIndex, 0) << "main window missing from the list";
    EXPECT_LT(popupIndex, mainIndex) << "front to back: the popup is above its main window";

    // Unmapped windows are not on screen.
    ASSERT_TRUE(dialwise::testing::xdotool({QStringLiteral("windowunmap"), QString::number(listed->id)}));
    const std::optional<QList<WindowInfo>> after = list.onScreenWindows();
    ASSERT_TRUE(after);
    for (const WindowInfo &info : *after)
        EXPECT_NE(info.id, listed->id);
}

TEST_P(LinuxDetectionBackends, fixture_clickAwayClosesPopupAndWindowListDropsIt)
{
    const QRect popup = openPopup();
    const std::optional<dialwise::testing::XWindowListing> listed = dialwise::testing::xwininfoWindowSized(260, 120);
    ASSERT_TRUE(listed);
    // An empty spot of the main window, away from the number and the popup.
    ASSERT_TRUE(dialwise::testing::xdotool({QStringLiteral("mousemove"), QStringLiteral("650"), QStringLiteral("450"),
                                            QStringLiteral("click"), QStringLiteral("1")}));
    ASSERT_TRUE(fixture->waitForPopupClosed());
    X11WindowList list(x11);
    EXPECT_TRUE(waitUntil([&] {
        for (const WindowInfo &info : list.onScreenWindows().value_or(QList<WindowInfo>()))
            if (info.id == listed->id)
                return false;
        return true;
    }));
    // And it opens again, mapped anew, on the next click on the number.
    EXPECT_EQ(openPopup(), popup);
}

TEST_P(LinuxDetectionBackends, elementTree_frozenProgramCostsOneTimeout)
{
    const QRect popup = openPopup();
    const ElementHandle window = popupWindow(popup);
    ASSERT_TRUE(window);
    QList<ElementHandle> all;
    collect(*tree, window, all);
    ASSERT_GE(all.size(), 4);

    fixture->freeze();
    QElapsedTimer timer;
    timer.start();
    int failures = 0;
    for (const ElementHandle &element : all) {
        AttributeValue value;
        // Extents are never cached by libatspi: every read is a round trip to the program.
        if (tree->copyAttributeValue(element, Attribute::position, value) == AtspiElementTree::kCannotComplete)
            ++failures;

    }
    const auto elapsed = std::chrono::milliseconds(timer.elapsed());
    EXPECT_EQ(failures, all.size());
    EXPECT_GE(elapsed, AtspiElementTree::kCallTimeout - 30ms);
    // Not one time-out per read: the first read marks the program as paused and the later ones
    // fail without asking it. (libatspi follows a request that timed out with a ping of its own,
    // so that first read costs up to twice the time-out; bench/DetectorStallBench.cpp times what
    // a frozen program costs a hand-over.) Every read waiting would take at least this long.
    EXPECT_LT(elapsed, all.size() * AtspiElementTree::kCallTimeout) << "a time-out for each of " << all.size() << " reads";

    // Answering again, it is read again once the pause is over.
    fixture->thaw();
    EXPECT_TRUE(waitUntil([&] { return frame(*tree, window).toRect() == popup; },
                          AtspiElementTree::kUnresponsivePause + 3s));
}

TEST_P(LinuxDetectionBackends, clickSource_reportsOtherProgramsClicksNotOurOwn)
{
    X11ClickSource clicks;
    int reported = 0;
    const std::optional<ClickSource::Token> token = clicks.addLeftMouseDownListener([&] { ++reported; });
    ASSERT_TRUE(token) << clicks.unavailableReason().toStdString();

    const QPoint at = fixture->numberCentre();
    ASSERT_TRUE(dialwise::testing::xdotool({QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()),
                                            QStringLiteral("click"), QStringLiteral("1")}));
    EXPECT_TRUE(waitUntil([&] { return reported == 1; })) << reported;

    // Button 3 is not a left click.
    ASSERT_TRUE(dialwise::testing::xdotool({QStringLiteral("click"), QStringLiteral("3")}));
    // A window of our own, clicked.
    QWidget own;
    own.setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
    own.setGeometry(900, 600, 200, 100);
    own.show();
    ASSERT_TRUE(waitUntil([&] { return dialwise::testing::xwininfoWindowSized(200, 100).has_value(); }));
    int ownPresses = 0;
    struct PressCounter : QObject
    {
        int &count;
        explicit PressCounter(int &counter) : count(counter) {}
        bool eventFilter(QObject *, QEvent *event) override
        {
            if (event->type() == QEvent::MouseButtonPress)
                ++count;
            return false;
        }
    } counter(ownPresses);
    own.installEventFilter(&counter);
    ASSERT_TRUE(dialwise::testing::xdotool({QStringLiteral("mousemove"), QStringLiteral("1000"), QStringLiteral("650"),
                                            QStringLiteral("click"), QStringLiteral("1")}));
    // Our window did get the click, so its raw event has certainly been through the source too.
    ASSERT_TRUE(waitUntil([&] { return ownPresses == 1; }));
    QDeadlineTimer quiet(kNoClickWindow);
    waitUntil([&] { return reported != 1; }, kNoClickWindow);
    EXPECT_EQ(reported, 1) << "a click on our own window or a right click was reported";

    // Removed, the listener hears nothing.
    clicks.removeListener(*token);
    ASSERT_TRUE(dialwise::testing::xdotool({QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()),
                                            QStringLiteral("click"), QStringLiteral("1")}));
    ASSERT_TRUE(fixture->waitForPopup()) << "the fixture saw the click";
    waitUntil([&] { return reported != 1; }, kNoClickWindow);
    EXPECT_EQ(reported, 1);
}

TEST_P(LinuxDetectionBackends, screen_rootHeightAndBottomLeftPointer)
{
    X11Screen screen(x11);
    const QString root = dialwise::testing::xwininfoChildren();
    ASSERT_EQ(screen.mainScreenHeight(), std::optional<double>(1024.0)) << "run-in-desktop's Xvfb is 1280x1024";
    ASSERT_TRUE(dialwise::testing::xdotool({QStringLiteral("mousemove"), QStringLiteral("200"), QStringLiteral("300")}));
    EXPECT_EQ(screen.pointerPosition(), QPointF(200, 300));
}

TEST_P(LinuxDetectionBackends, trust_followsAccessibilityStatusAndPromptTurnsItOn)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    auto setEnabled = [&](bool enabled) {
        QDBusMessage set = QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                                          QStringLiteral("org.freedesktop.DBus.Properties"),
                                                          QStringLiteral("Set"));
        set << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled") << QVariant::fromValue(QDBusVariant(enabled));
        return bus.call(set).type() == QDBusMessage::ReplyMessage;
    };
    ASSERT_TRUE(setEnabled(true));
    EXPECT_TRUE(tree->isProcessTrusted(false));
    ASSERT_TRUE(setEnabled(false));
    EXPECT_FALSE(tree->isProcessTrusted(false));
    EXPECT_TRUE(tree->isProcessTrusted(true)) << "the prompt switches accessibility on";
    EXPECT_TRUE(tree->isProcessTrusted(false));
}

INSTANTIATE_TEST_SUITE_P(Toolkits, LinuxDetectionBackends, ::testing::Values(Toolkit::qt, Toolkit::gtk),
                         PhoneLinkFixtureProcess::TestName());

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
