// The tray menu of the real program, read and clicked the way a desktop panel does: through the
// StatusNotifierItem and its com.canonical.dbusmenu export.
#include "tests/e2e/ShellRig.h"
#include "tests/support/NotificationServerStandIn.h"
#include "tests/support/StatusNotifierWatcherStandIn.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDateTime>

#include <gtest/gtest.h>

using dialwise::testing::ShellRig;
using dialwise::testing::StatusNotifierWatcherStandIn;

namespace {

struct MenuNode
{
    int id = 0;
    QVariantMap properties;
    QList<MenuNode> children;

    QString label() const { return properties.value("label").toString(); }
    bool isSeparator() const { return properties.value("type").toString() == u"separator"; }
    // dbusmenu leaves out properties that have their default value: enabled is true then.
    bool enabled() const { return properties.value("enabled", true).toBool(); }
};

MenuNode readNode(const QDBusArgument &argument)
{
    MenuNode node;
    argument.beginStructure();
    argument >> node.id >> node.properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        node.children.append(readNode(child.variant().value<QDBusArgument>()));
    }
    argument.endArray();
    argument.endStructure();
    return node;
}

// "Dialwise", "-", "Show Dialwise", ... with "-" for separators.
QStringList outline(const MenuNode &menu)
{
    QStringList lines;
    for (const MenuNode &item : menu.children)
        lines.append(item.isSeparator() ? QStringLiteral("-") : item.label());
    return lines;
}

// The key sequences dbusmenu gives, such as "Control+1".
QString shortcut(const MenuNode &item)
{
    const QVariant value = item.properties.value("shortcut");
    if (!value.isValid())
        return QString();
    QStringList parts;
    const QDBusArgument argument = value.value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        QStringList keys;
        argument >> keys;
        parts.append(keys.join(u'+'));
    }
    argument.endArray();
    return parts.join(u' ');
}

class TrayMenuE2ETest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // The watcher must be there before Dialwise looks for it, or Qt falls back to XEmbed.
        ASSERT_TRUE(m_watcher.start());
        ASSERT_TRUE(m_rig.startStandIn());
        ASSERT_TRUE(m_rig.startPrimary()) << m_rig.primaryErrors().toStdString();
        ASSERT_TRUE(ShellRig::waitUntil([this] { return !m_watcher.items().isEmpty(); }, 10000))
            << "Dialwise registered no StatusNotifierItem";
        m_item = m_watcher.items().first();
        m_menuPath = itemProperty("Menu").value<QDBusObjectPath>().path();
        if (m_menuPath.isEmpty())
            m_menuPath = QStringLiteral("/MenuBar");
    }

    QVariant itemProperty(const QString &name)
    {
        QDBusMessage get = QDBusMessage::createMethodCall(m_item, "/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get");
        get << QStringLiteral("org.kde.StatusNotifierItem") << name;
        const QDBusMessage reply = QDBusConnection::sessionBus().call(get, QDBus::Block, 5000);
        return reply.arguments().isEmpty() ? QVariant() : reply.arguments().first().value<QDBusVariant>().variant();
    }

    MenuNode layout()
    {
        QDBusMessage get = QDBusMessage::createMethodCall(m_item, m_menuPath, "com.canonical.dbusmenu", "GetLayout");
        get << 0 << -1 << QStringList();
        const QDBusMessage reply = QDBusConnection::sessionBus().call(get, QDBus::Block, 5000);
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
        if (reply.arguments().size() < 2)
            return {};
        return readNode(reply.arguments().at(1).value<QDBusArgument>());
    }

    void click(int id)
    {
        QDBusMessage event = QDBusMessage::createMethodCall(m_item, m_menuPath, "com.canonical.dbusmenu", "Event");
        event << id << QStringLiteral("clicked") << QVariant::fromValue(QDBusVariant(0))
              << uint(QDateTime::currentSecsSinceEpoch());
        QDBusConnection::sessionBus().call(event, QDBus::Block, 5000);
    }

    static const MenuNode *find(const MenuNode &menu, const QString &label)
    {
        for (const MenuNode &item : menu.children) {
            if (item.label() == label)
                return &item;
        }
        return nullptr;
    }

    StatusNotifierWatcherStandIn m_watcher;
    ShellRig m_rig;
    QString m_item;
    QString m_menuPath;
};

TEST_F(TrayMenuE2ETest, emptyHistory_menuHasFiveEntries)
{
    const MenuNode menu = layout();
    EXPECT_EQ(outline(menu), QStringList({"Dialwise", "-", "Show Dialwise", "-", "Quit Dialwise"}));
    ASSERT_EQ(menu.children.size(), 5);
    EXPECT_FALSE(menu.children[0].enabled()) << "the header is not a command";
    EXPECT_TRUE(menu.children[2].enabled());
    EXPECT_EQ(shortcut(menu.children[2]), QString("Control+1"));
    EXPECT_TRUE(menu.children[4].enabled());
    EXPECT_EQ(shortcut(menu.children[4]), QString("Control+Q"));
}

TEST_F(TrayMenuE2ETest, callsFromLinks_doNotRebuildTheMenu)
{
    for (int i = 0; i < 7; ++i) {
        const QString number = QStringLiteral("+1202555%1").arg(100 + i, 4, 10, QChar(u'0'));
        const int before = int(m_rig.standIn().requestLines().size());
        ASSERT_EQ(m_rig.run(QStringList{"tel:" + number}).exitCode, 0);
        ASSERT_TRUE(m_rig.standIn().waitForTarget("/u/0/calls?a=nc,%2B" + number.mid(1), 10000, before));
    }
    // Seven calls are in the history now, but the menu is only rebuilt at launch and after a
    // history item is chosen.
    EXPECT_EQ(outline(layout()), QStringList({"Dialwise", "-", "Show Dialwise", "-", "Quit Dialwise"}));
}

TEST_F(TrayMenuE2ETest, showDialwise_bringsBackTheClosedWindow)
{
    ASSERT_TRUE(m_rig.waitForVisibleWindow(10000));
    ASSERT_TRUE(m_rig.closeWindow(m_rig.visibleWindows().first()));
    ASSERT_TRUE(ShellRig::waitUntil([this] { return m_rig.visibleWindows().isEmpty(); }, 10000));

    const MenuNode *show = find(layout(), "Show Dialwise");
    ASSERT_TRUE(show);
    click(show->id);
    EXPECT_TRUE(m_rig.waitForVisibleWindow(10000));
}

TEST_F(TrayMenuE2ETest, closeWithTray_saysNothing)
{
    // The icon in the tray shows that Dialwise still runs; only a desktop without one gets the
    // "Dialwise keeps running" notice.
    dialwise::testing::NotificationServerStandIn notifications;
    ASSERT_TRUE(notifications.start());
    ASSERT_TRUE(m_rig.waitForVisibleWindow(10000));
    ASSERT_TRUE(m_rig.closeWindow(m_rig.visibleWindows().first()));
    ASSERT_TRUE(ShellRig::waitUntil([this] { return m_rig.visibleWindows().isEmpty(); }, 10000));
    ShellRig::pump(2000);
    EXPECT_TRUE(notifications.received().isEmpty()) << notifications.received().join(u'\n').toStdString();
    notifications.stop();
}

TEST_F(TrayMenuE2ETest, leftClickOnIcon_popsUpTheMenu)
{
    ASSERT_TRUE(m_rig.waitForVisibleWindow(10000));
    const QList<unsigned long> before = ShellRig::viewableWindows();
    // What a panel sends for a left click on the icon.
    QDBusMessage activate = QDBusMessage::createMethodCall(m_item, "/StatusNotifierItem", "org.kde.StatusNotifierItem", "Activate");
    activate << 100 << 100;
    QDBusConnection::sessionBus().call(activate, QDBus::Block, 5000);
    EXPECT_TRUE(ShellRig::waitUntil(
        [&] {
            for (unsigned long window : ShellRig::viewableWindows()) {
                if (!before.contains(window))
                    return true;
            }
            return false;
        },
        5000))
        << "no menu window appeared";
}

TEST_F(TrayMenuE2ETest, quitDialwise_endsTheProgram)
{
    const MenuNode *quit = find(layout(), "Quit Dialwise");
    ASSERT_TRUE(quit);
    click(quit->id);
    EXPECT_TRUE(ShellRig::waitUntil([this] { return m_rig.primaryExitCode() != -1; }, 10000));
    EXPECT_EQ(m_rig.primaryExitCode(), 0);
}

} // namespace
