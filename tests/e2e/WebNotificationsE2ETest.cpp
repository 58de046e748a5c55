// The web app's notifications on the desktop, with the real program started hidden: the stand-in
// web app raises them (NotifyingPage), the stand-in notification server records, clicks and
// closes them, and the tray is read over the StatusNotifierItem interface as a panel reads it.
#include "tests/e2e/NotifyingPage.h"
#include "tests/e2e/ShellRig.h"
#include "tests/support/NotificationServerStandIn.h"
#include "tests/support/StatusNotifierWatcherStandIn.h"

#include <QBuffer>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QImage>

#include <gtest/gtest.h>

#include <algorithm>

using namespace dialwise::testing;

namespace {

// One image of a tray item's icon or tool tip, as StatusNotifierItem sends it: (iiay).
struct IconImage
{
    int width = 0;
    int height = 0;
    QByteArray bytes;
};

// Reads an array of such images from where the argument stands.
QList<IconImage> readIconImages(const QDBusArgument &argument)
{
    QList<IconImage> images;
    argument.beginArray();
    while (!argument.atEnd()) {
        IconImage image;
        argument.beginStructure();
        argument >> image.width >> image.height >> image.bytes;
        argument.endStructure();
        images.append(image);
    }
    argument.endArray();
    return images;
}

// Longer than any step takes on a loaded machine (a hidden page polls about once a second);
// the waits end as soon as the step is done.
constexpr int kStepMs = 15000;
// How long to watch for something that must not happen.
constexpr int kQuietMs = 2500;

class WebNotificationsE2ETest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_rig.startStandIn());
        m_page.install();
    }

    void TearDown() override
    {
        const bool started = m_rig.primaryPid() > 0;
        m_rig.stopPrimary();
        // Notifications still open as it quits must not trip it up on the way out.
        if (started) {
            EXPECT_EQ(m_rig.primaryExitCode(), 0) << m_rig.primaryErrors().toStdString();
        }
    }

    // Starts Dialwise hidden and waits until the page has its notification permission answer.
    void startHidden(const QString &expectedPermission = QStringLiteral("granted/granted"))
    {
        ASSERT_TRUE(m_rig.startPrimary({QStringLiteral("--hidden")})) << m_rig.primaryErrors().toStdString();
        ASSERT_TRUE(m_page.waitForReport(QStringLiteral("permission/") + expectedPermission, kStepMs))
            << m_rig.standIn().requestTargets().join(' ').toStdString();
    }

    bool waitForNotifications(int count)
    {
        return ShellRig::waitUntil([&] { return m_server.notifications().size() >= count; }, kStepMs);
    }

    // A hand-over of a call link ("+1...") to the running Dialwise, served when the window loads
    // the number; bench/NotificationBench.cpp times it, quiet and during a flood.
    void expectHandOverServed(const QString &number)
    {
        EXPECT_TRUE(m_rig.requestDials({QStringLiteral("tel:") + number}, number.mid(1), kStepMs));
    }

    int reportIndex() { return int(m_rig.standIn().requestLines().size()); }

    ShellRig m_rig;
    NotifyingPage m_page{m_rig.standIn()};
    NotificationServerStandIn m_server;
};

TEST_F(WebNotificationsE2ETest, hiddenStart_notificationOnDesktopAndClickShowsWindowAndReachesPage)
{
    ASSERT_TRUE(m_server.start());
    startHidden();
    EXPECT_TRUE(m_rig.visibleWindows().isEmpty()) << "a hidden start shows no window";

    m_page.run(QStringLiteral("raise('a', 'Incoming call', {body: 'From (202) 555-0123 <mobile> & more', tag: 'call'})"));
    ASSERT_TRUE(waitForNotifications(1));
    const ReceivedNotification shown = m_server.notifications().first();
    EXPECT_EQ(shown.appName, QString("Dialwise"));
    EXPECT_EQ(shown.summary, QString("Incoming call"));
    EXPECT_EQ(shown.body, QString("From (202) 555-0123 <mobile> & more")) << "a server without markup gets the text as is";
    EXPECT_EQ(shown.replacesId, 0u);
    EXPECT_EQ(shown.appIcon, QString(DIALWISE_APP_ID)) << "no icon from the page: Dialwise's own";
    EXPECT_EQ(shown.hints.value("desktop-entry").toString(), QString(DIALWISE_APP_ID));
    ASSERT_GE(shown.actions.size(), 2);
    EXPECT_EQ(shown.actions.at(0), QString("default"));
    EXPECT_TRUE(m_page.waitForReport("show/a", kStepMs));

    const int from = reportIndex();
    m_server.invokeAction(shown.id, QStringLiteral("default"));
    EXPECT_TRUE(m_rig.waitForVisibleWindow(kStepMs)) << "a click on the notification shows the window";
    EXPECT_TRUE(m_page.waitForReport("click/a", kStepMs, from)) << "the page's onclick runs";
}

TEST_F(WebNotificationsE2ETest, markupServer_bodyEscapedAndShowButtonOffered)
{
    m_server.setCapabilities({QStringLiteral("body"), QStringLiteral("body-markup"), QStringLiteral("actions")});
    ASSERT_TRUE(m_server.start());
    startHidden();
    m_page.run(QStringLiteral("raise('a', 'New message', {body: '<b>Hi</b> & bye'})"));
    ASSERT_TRUE(waitForNotifications(1));
    const ReceivedNotification shown = m_server.notifications().first();
    EXPECT_EQ(shown.body, QString("&lt;b&gt;Hi&lt;/b&gt; &amp; bye"));
    EXPECT_EQ(shown.actions, QStringList({"default", "Show", "show", "Show"}));

    const int from = reportIndex();
    m_server.invokeAction(shown.id, QStringLiteral("show"));
    EXPECT_TRUE(m_rig.waitForVisibleWindow(kStepMs));
    EXPECT_TRUE(m_page.waitForReport("click/a", kStepMs, from));
}

TEST_F(WebNotificationsE2ETest, pageIcon_sentAsPixels)
{
    ASSERT_TRUE(m_server.start());
    startHidden();
    // A 24 x 16 icon, red on the left half, blue on the right.
    QImage picture(24, 16, QImage::Format_ARGB32);
    picture.fill(Qt::blue);
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 12; ++x)
            picture.setPixel(x, y, qRgb(255, 0, 0));
    }
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "PNG");
    m_page.run(QStringLiteral("raise('a', 'Voicemail', {body: 'From (202) 555-0199', icon: 'data:image/png;base64,%1'})")
                   .arg(QString::fromLatin1(png.toBase64())));
    ASSERT_TRUE(waitForNotifications(1));
    const ReceivedNotification shown = m_server.notifications().first();
    EXPECT_TRUE(shown.appIcon.isEmpty()) << "the page's icon stands in for Dialwise's";
    ASSERT_TRUE(shown.hints.contains("image-data")) << QStringList(shown.hints.keys()).join(' ').toStdString();
    const QDBusArgument argument = shown.hints.value("image-data").value<QDBusArgument>();
    int width = 0;
    int height = 0;
    int stride = 0;
    bool alpha = false;
    int bits = 0;
    int channels = 0;
    QByteArray bytes;
    argument.beginStructure();
    argument >> width >> height >> stride >> alpha >> bits >> channels >> bytes;
    argument.endStructure();
    EXPECT_EQ(width, 24);
    EXPECT_EQ(height, 16);
    EXPECT_EQ(bits, 8);
    EXPECT_EQ(channels, 4);
    ASSERT_GE(bytes.size(), qsizetype(stride) * (height - 1) + width * 4);
    // RGBA: the first pixel red, the last of the first row blue.
    const auto *row = reinterpret_cast<const uchar *>(bytes.constData());
    EXPECT_EQ(QList<int>({row[0], row[1], row[2], row[3]}), QList<int>({255, 0, 0, 255}));
    EXPECT_EQ(QList<int>({row[92], row[93], row[94], row[95]}), QList<int>({0, 0, 255, 255}));
}

TEST_F(WebNotificationsE2ETest, closingOnEitherSide_andSameTagReplaces)
{
    ASSERT_TRUE(m_server.start());
    startHidden();

    // Closed on the desktop: the page hears onclose.
    m_page.run(QStringLiteral("raise('a', 'Missed call', {body: 'From (202) 555-0100'})"));
    ASSERT_TRUE(waitForNotifications(1));
    int from = reportIndex();
    m_server.closeNotification(m_server.notifications().at(0).id);
    EXPECT_TRUE(m_page.waitForReport("close/a", kStepMs, from));

    // The same tag again: it takes the first one's place instead of stacking.
    m_page.run(QStringLiteral("raise('b', 'Incoming call', {body: 'first', tag: 'ring'});"
                              "setTimeout(function () { raise('c', 'Incoming call', {body: 'second', tag: 'ring'}); }, 50);"));
    ASSERT_TRUE(waitForNotifications(3));
    const ReceivedNotification first = m_server.notifications().at(1);
    const ReceivedNotification second = m_server.notifications().at(2);
    EXPECT_EQ(first.body, QString("first"));
    EXPECT_EQ(second.body, QString("second"));
    EXPECT_EQ(second.replacesId, first.id) << "replaced in place";

    // Closed by the page: gone from the desktop too.
    m_page.run(QStringLiteral("notes.c.close()"));
    EXPECT_TRUE(ShellRig::waitUntil([&] { return m_server.closedByClient().contains(second.id); }, kStepMs))
        << "the page closed it, the desktop still shows it";
}

TEST_F(WebNotificationsE2ETest, otherOrigins_cannotNotify)
{
    ASSERT_TRUE(m_server.start());
    startHidden();
    const QString other = m_page.otherOrigin();
    m_rig.standIn().setPage(QStringLiteral("/frame"),
                            "<!DOCTYPE html><script>Notification.requestPermission().then(function (p) {"
                            "  fetch('/report/frame-permission/' + p);"
                            "  try { new Notification('from a frame'); } catch (e) {}"
                            "});</script>");
    m_page.run(QStringLiteral("var f = document.createElement('iframe'); f.src = '%1/frame';"
                              "document.body.appendChild(f);").arg(other));
    EXPECT_TRUE(m_page.waitForReport("frame-permission/denied", kStepMs))
        << m_rig.standIn().requestTargets().join(' ').toStdString();

    // A page of another origin in the view itself.
    m_rig.standIn().setPage(QStringLiteral("/elsewhere"),
                            "<!DOCTYPE html><script>Notification.requestPermission().then(function (p) {"
                            "  fetch('/report/elsewhere-permission/' + p);"
                            "  try { new Notification('from elsewhere'); } catch (e) {}"
                            "});</script>");
    m_page.run(QStringLiteral("location.href = '%1/elsewhere';").arg(other));
    EXPECT_TRUE(m_page.waitForReport("elsewhere-permission/denied", kStepMs))
        << m_rig.standIn().requestTargets().join(' ').toStdString();
    EXPECT_TRUE(m_rig.primaryErrors().contains(QStringLiteral("refused notifications to %1").arg(other).toUtf8()))
        << "the refusal is logged with the policy's other refusals:\n" << m_rig.primaryErrors().toStdString();
    ShellRig::pump(kQuietMs);
    EXPECT_TRUE(m_server.notifications().isEmpty()) << m_server.received().join('\n').toStdString();
}

TEST_F(WebNotificationsE2ETest, noServer_nothingHangsAndHandOverServed)
{
    startHidden();
    m_page.run(QStringLiteral("raise('a', 'Incoming call', {body: 'nobody listens'})"));
    ShellRig::pump(kQuietMs);
    expectHandOverServed(QStringLiteral("+12025550111"));
    EXPECT_TRUE(m_rig.primaryRunning());
}

TEST_F(WebNotificationsE2ETest, silentServer_nothingHangsAndHandOverServed_laterOnesShownOnceItAnswers)
{
    m_server.setSilent(true);
    ASSERT_TRUE(m_server.start());
    startHidden();
    m_page.run(QStringLiteral("for (var i = 0; i < 5; ++i) raise('s' + i, 'Incoming call', {body: 'never answered'});"));
    ShellRig::pump(1000);
    expectHandOverServed(QStringLiteral("+12025550112"));
    EXPECT_TRUE(m_rig.primaryRunning());

    // The server comes back to life: what the page raises from then on reaches the desktop.
    m_server.setSilent(false);
    m_page.run(QStringLiteral("raise('late', 'Incoming call', {body: 'answered'})"));
    EXPECT_TRUE(ShellRig::waitUntil(
        [&] {
            const QList<ReceivedNotification> all = m_server.notifications();
            return std::any_of(all.begin(), all.end(), [](const ReceivedNotification &n) { return n.body == u"answered"; });
        },
        kStepMs))
        << m_server.received().join('\n').toStdString();
}

// 1,000 notifications in one second, 100 every 100 ms.
const QString kFlood = QStringLiteral("var sent = 0; var flood = setInterval(function () {"
                                      "  for (var i = 0; i < 100; ++i) { new Notification('flood ' + sent, {body: 'x'}); ++sent; }"
                                      "  if (sent >= 1000) { clearInterval(flood); report('flood-done'); }"
                                      "}, 100);");

TEST_F(WebNotificationsE2ETest, flood_coalescedToFewAndHandOverServedDuringIt)
{
    ASSERT_TRUE(m_server.start());
    startHidden();
    // The window shown, so that the page's timers run at full speed: a real flood.
    ASSERT_EQ(m_rig.run(QStringList{}).exitCode, 0);
    ASSERT_TRUE(m_rig.waitForVisibleWindow(kStepMs));

    int from = reportIndex();
    m_page.run(kFlood);
    ASSERT_TRUE(m_page.waitForReport("flood-done", kStepMs, from));
    ShellRig::pump(3000); // the pace lets the last one through
    const QList<ReceivedNotification> shown = m_server.notifications();
    std::cout << "a flood of 1000 gave " << shown.size() << " notifications on the desktop\n";
    // Five at once, then one a second while the flood lasts, and the newest at its end.
    EXPECT_GE(shown.size(), 2);
    EXPECT_LE(shown.size(), 10);
    ASSERT_FALSE(shown.isEmpty());
    EXPECT_EQ(shown.last().summary, QString("flood 999")) << "the newest one is shown in the end";

    // Again, with a hand-over while it runs.
    from = reportIndex();
    m_page.run(kFlood);
    ASSERT_TRUE(m_rig.standIn().waitForTarget([](const QString &t) { return t == u"/command"; }, kStepMs, from));
    expectHandOverServed(QStringLiteral("+12025550113"));
}

// The StatusNotifierItem as the tray host reads it.
class TrayUnreadE2ETest : public WebNotificationsE2ETest
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_watcher.start());
        WebNotificationsE2ETest::SetUp();
    }

    QVariant itemProperty(const QString &name)
    {
        QDBusMessage get = QDBusMessage::createMethodCall(m_watcher.items().first(), "/StatusNotifierItem",
                                                          "org.freedesktop.DBus.Properties", "Get");
        get << QStringLiteral("org.kde.StatusNotifierItem") << name;
        const QDBusMessage reply = QDBusConnection::sessionBus().call(get, QDBus::Block, 5000);
        return reply.arguments().isEmpty() ? QVariant() : reply.arguments().first().value<QDBusVariant>().variant();
    }

    // ToolTip is (icon name, pixmaps, title, text).
    QString toolTip()
    {
        const QDBusArgument argument = itemProperty(QStringLiteral("ToolTip")).value<QDBusArgument>();
        QString iconName;
        QString title;
        QString text;
        argument.beginStructure();
        argument >> iconName;
        readIconImages(argument);
        argument >> title >> text;
        argument.endStructure();
        return text.isEmpty() ? title : title + u'|' + text;
    }

    // The largest of IconPixmap's images (ARGB32, network byte order), or the file IconName names.
    QImage icon()
    {
        QImage largest;
        const QDBusArgument argument = itemProperty(QStringLiteral("IconPixmap")).value<QDBusArgument>();
        for (const IconImage &icon : readIconImages(argument)) {
            const int width = icon.width;
            const int height = icon.height;
            if (width <= largest.width() || icon.bytes.size() < qsizetype(width) * height * 4)
                continue;
            QImage image(width, height, QImage::Format_ARGB32);
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    const auto *p = reinterpret_cast<const uchar *>(icon.bytes.constData()) + (qsizetype(y) * width + x) * 4;
                    image.setPixel(x, y, qRgba(p[1], p[2], p[3], p[0]));
                }
            }
            largest = image;
        }
        if (largest.isNull())
            largest.load(itemProperty(QStringLiteral("IconName")).toString());
        return largest;
    }

    // How many clearly red pixels the top right quarter holds: the dot, when it is there.
    static int redInCorner(const QImage &image)
    {
        int red = 0;
        for (int y = 0; y < image.height() / 2; ++y) {
            for (int x = image.width() / 2; x < image.width(); ++x) {
                const QRgb pixel = image.pixel(x, y);
                if (qAlpha(pixel) > 200 && qRed(pixel) > 180 && qGreen(pixel) < 100 && qBlue(pixel) < 100)
                    ++red;
            }
        }
        return red;
    }

    StatusNotifierWatcherStandIn m_watcher;
};

TEST_F(TrayUnreadE2ETest, titleCount_0to3to0_iconAndToolTipFollow)
{
    startHidden();
    ASSERT_TRUE(ShellRig::waitUntil([this] { return !m_watcher.items().isEmpty(); }, kStepMs))
        << "Dialwise registered no StatusNotifierItem";
    EXPECT_EQ(toolTip(), QString("Dialwise"));
    const QImage plain = icon();
    ASSERT_FALSE(plain.isNull());
    EXPECT_EQ(redInCorner(plain), 0);

    m_page.run(QStringLiteral("document.title = '(3) Voice';"));
    EXPECT_TRUE(ShellRig::waitUntil([this] { return toolTip() == u"Dialwise: 3 unread"; }, kStepMs)) << toolTip().toStdString();
    const QImage dotted = icon();
    EXPECT_GT(redInCorner(dotted), 0) << "the icon carries the dot";

    m_page.run(QStringLiteral("document.title = 'Voice';"));
    EXPECT_TRUE(ShellRig::waitUntil([this] { return toolTip() == u"Dialwise"; }, kStepMs)) << toolTip().toStdString();
    const QImage back = icon();
    EXPECT_EQ(redInCorner(back), 0);
    EXPECT_EQ(back, plain) << "back to the plain icon";
}

} // namespace
