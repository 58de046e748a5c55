#include "app/AppDelegate.h"

#include "app/BusNames.h"
#include "app/DBusServices.h"
#include "app/InboundRequests.h"
#include "app/IntakeLimits.h"
#include "app/PhoneLinkDetection.h"
#include "app/TrayBadge.h"
#include "app/TrayMenuModel.h"
#include "app/UnreadDot.h"
#include "calling/CallManager.h"
#include "platform/linux/LinuxDesktopServices.h"
#include "platform/linux/SchemeRegistration.h"
#include "platform/linux/X11SelectionReader.h"
#include "webcall/GoogleVoiceWindow.h"

#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QDBusConnection>
#include <QFont>
#include <QIcon>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLocale>
#include <QLoggingCategory>
#include <QMenu>
#include <QSystemTrayIcon>

Q_LOGGING_CATEGORY(lcShell, "dialwise.shell")

namespace dialwise {
namespace {

constexpr char kDesktopEntry[] = DIALWISE_APP_ID ".desktop";

QIcon trayIcon()
{
    // The desktop theme's phone where it has one; ours where it does not.
    return QIcon::fromTheme(QStringLiteral("call-start"),
                            QIcon::fromTheme(QStringLiteral("phone"), QIcon(QStringLiteral(":/dialwise/phone.svg"))));
}

} // namespace

AppDelegate::AppDelegate(CallManager &callManager, Scheduler &scheduler, QObject *parent)
    : QObject(parent)
    , m_callManager(callManager)
    , m_scheduler(scheduler)
{
}

AppDelegate::~AppDelegate()
{
    // The icon first: it still points at the menu.
    delete m_statusItem;
    delete m_menu;
    delete m_gvWindow;
}

std::optional<RequestFailure> AppDelegate::applicationDidFinishLaunching(const LaunchRequest &startRequest)
{
    m_gvWindow = new GoogleVoiceWindow(m_callManager, m_scheduler);
    // Its close only hides it; watched here for what the person should be told about that.
    m_gvWindow->installEventFilter(this);
    setupMenuBar();
    connect(m_gvWindow, &GoogleVoiceWindow::unreadCountChanged, this, &AppDelegate::showUnread);
    registerAsURLHandler();
    registerServices();

    std::optional<RequestFailure> error;
    switch (startRequest.kind) {
    case LaunchRequest::Kind::activate:
        break;
    case LaunchRequest::Kind::openUris:
        error = InboundRequests::checkOpen(startRequest.uris);
        if (!error) {
            for (const QString &uri : startRequest.uris)
                handleURLEvent(uri);
        }
        break;
    case LaunchRequest::Kind::callText:
        error = handlePhoneCall(startRequest.text);
        break;
    case LaunchRequest::Kind::callSelection:
        callSelection([this](const std::optional<RequestFailure> &failure) {
            if (failure)
                Q_EMIT startRequestFailed(*failure);
        });
        break;
    case LaunchRequest::Kind::quit:
        // Never carried by a start: the launcher does not start Dialwise only to end it.
        break;
    }

    // A hidden start (login, the session bus) leaves the window to the first request.
    if (!startRequest.hidden)
        window().showAndActivate();
    return error;
}

void AppDelegate::applicationShouldHandleReopen()
{
    window().showAndActivate();
}

void AppDelegate::handleURLEvent(const QString &url)
{
    const InboundAction action = InboundRequests::forUrl(url);
    if (action.kind == InboundAction::Kind::call)
        window().showAndCall(action.number);
}

std::optional<RequestFailure> AppDelegate::handlePhoneCall(const std::optional<QString> &text)
{
    const InboundAction action = InboundRequests::forText(text);
    if (action.kind == InboundAction::Kind::call) {
        window().showAndCall(action.number);
        return std::nullopt;
    }
    return action.failure;
}

void AppDelegate::callSelection(std::function<void(const std::optional<RequestFailure> &)> done)
{
    if (X11SelectionReader::available()) {
        // One character over the limit is enough for the request to be refused as too large.
        QPointer<AppDelegate> self(this);
        X11SelectionReader::read(intake::kMaxTextLength, [self, done = std::move(done)](std::optional<QString> text) {
            if (self)
                done(self->handlePhoneCall(text));
        });
        return;
    }
    // Elsewhere (Wayland, no display) the clipboard is Qt's own business, with no X selection
    // owner to wait for.
    QClipboard *clipboard = QGuiApplication::clipboard();
    if (!clipboard || !clipboard->supportsSelection()) {
        done(handlePhoneCall(std::nullopt));
        return;
    }
    // Nothing selected is no text at all, not empty text.
    const QString text = clipboard->text(QClipboard::Selection);
    done(handlePhoneCall(text.isEmpty() ? std::nullopt : std::optional<QString>(text)));
}

void AppDelegate::showWindow()
{
    window().showAndActivate();
}

void AppDelegate::quit()
{
    QCoreApplication::quit();
}

void AppDelegate::detectPhoneLinks(bool on)
{
    phonelinks::turn(on, [this] { return phonelinks::platform(m_callManager); });
}

void AppDelegate::setupMenuBar()
{
    m_statusItem = new QSystemTrayIcon(trayIcon(), this);
    m_statusItem->setToolTip(QStringLiteral("Dialwise"));
    // A left click opens the same menu as a right click: the menu is all the icon offers.
    connect(m_statusItem, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger && m_menu)
            m_menu->popup(QCursor::pos());
    });
    updateMenu();
    m_statusItem->show();
}

void AppDelegate::updateMenu()
{
    const QList<TrayMenuEntry> entries =
        TrayMenuModel::build(m_callManager.callHistory(), m_callManager.now(), QLocale().name());

    auto *menu = new QMenu();
    for (const TrayMenuEntry &entry : entries) {
        if (entry.kind == TrayMenuEntry::Kind::separator) {
            menu->addSeparator();
            continue;
        }
        QAction *action = menu->addAction(entry.title);
        action->setEnabled(entry.enabled);
        if (!entry.shortcut.isEmpty()) {
            action->setShortcut(QKeySequence(entry.shortcut, QKeySequence::PortableText));
            action->setShortcutVisibleInContextMenu(true);
        }
        switch (entry.kind) {
        case TrayMenuEntry::Kind::header: {
            QFont font = action->font();
            font.setBold(true);
            font.setPointSize(TrayMenuModel::kHeaderPointSize);
            action->setFont(font);
            break;
        }
        case TrayMenuEntry::Kind::showWindow:
            connect(action, &QAction::triggered, this, &AppDelegate::showWindow);
            break;
        case TrayMenuEntry::Kind::historyCall:
            action->setData(entry.number);
            connect(action, &QAction::triggered, this, [this, action] { callFromHistory(action); });
            break;
        case TrayMenuEntry::Kind::quit:
            connect(action, &QAction::triggered, this, &AppDelegate::quit);
            break;
        case TrayMenuEntry::Kind::historyHeading:
        case TrayMenuEntry::Kind::separator:
            break;
        }
    }

    // An open menu takes every key press, and Qt does not look for its own items' shortcuts
    // there; the filter does, so Ctrl+1 and Ctrl+Q work with the menu open.
    menu->installEventFilter(this);
    m_statusItem->setContextMenu(menu);
    // The old menu may be the one whose item is being handled right now.
    if (m_menu)
        m_menu->deleteLater();
    m_menu = menu;
}

bool AppDelegate::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_gvWindow && event->type() == QEvent::Close) {
        windowClosing();
        return QObject::eventFilter(watched, event);
    }
    auto *menu = qobject_cast<QMenu *>(watched);
    if (!menu || event->type() != QEvent::KeyPress)
        return QObject::eventFilter(watched, event);
    const QKeySequence pressed(static_cast<QKeyEvent *>(event)->keyCombination());
    const QList<QAction *> actions = menu->actions();
    for (QAction *action : actions) {
        if (action->isEnabled() && !action->shortcut().isEmpty() && action->shortcut() == pressed) {
            // Closed first, as a click on the item would: the action may show a window that
            // must not open under a menu that still holds the keyboard.
            menu->close();
            action->trigger();
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

void AppDelegate::windowClosing()
{
    // Asked at each close rather than at start: a panel may come or go during the session.
    if (!m_hiddenNotice.shouldPost(QSystemTrayIcon::isSystemTrayAvailable()))
        return;
    postDesktopNotification(QDBusConnection::sessionBus(), QString::fromLatin1(HiddenWindowNotice::kSummary),
                            QString::fromLatin1(HiddenWindowNotice::kBody));
}

void AppDelegate::callFromHistory(QAction *item)
{
    const QVariant number = item ? item->data() : QVariant();
    if (number.typeId() != QMetaType::QString)
        return;
    window().showAndCall(number.toString());
    updateMenu();
}

void AppDelegate::showUnread(int count)
{
    if (m_plainIcon.isNull()) {
        m_plainIcon = m_statusItem->icon();
        m_unreadIcon = withUnreadDot(m_plainIcon);
    }
    const TrayBadge badge{count};
    m_statusItem->setIcon(badge.showsDot() ? m_unreadIcon : m_plainIcon);
    m_statusItem->setToolTip(badge.toolTip());
}

void AppDelegate::registerAsURLHandler()
{
    registerSchemeHandler(QString::fromLatin1(kDesktopEntry), {QStringLiteral("tel"), QStringLiteral("callto")});
}

void AppDelegate::registerServices()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    m_exported = new QObject(this);
    new ApplicationAdaptor(m_exported, *this);
    new CallsAdaptor(m_exported, *this);
    if (!bus.registerObject(QString::fromLatin1(bus::kObjectPath), m_exported, QDBusConnection::ExportAdaptors))
        qCWarning(lcShell) << "could not export" << bus::kObjectPath << bus.lastError().message();
}

GoogleVoiceWindow &AppDelegate::window() const
{
    // Made first thing at launch and kept for the whole run.
    Q_ASSERT(m_gvWindow);
    return *m_gvWindow;
}

} // namespace dialwise
