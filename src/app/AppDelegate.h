#pragma once

#include "app/HiddenWindowNotice.h"
#include "app/InboundHandler.h"
#include "app/LaunchRequest.h"

#include <QIcon>
#include <QObject>
#include <QPointer>
#include <QString>

#include <optional>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace dialwise {

class CallManager;
class GoogleVoiceWindow;
class Scheduler;

// Owns what the user sees of Dialwise for the whole run: the tray icon with its menu and the one
// web calling window. Every call request from outside (links, text, the history menu) ends in
// the window's showAndCall(); the calling core's call() and its provider are never used here.
class AppDelegate final : public QObject, public InboundHandler
{
    Q_OBJECT

public:
    // Both are built once by the GUI entry and outlive this delegate.
    AppDelegate(CallManager &callManager, Scheduler &scheduler, QObject *parent = nullptr);
    ~AppDelegate() override;

    // Brings everything up, in this order: the window (it starts loading at once), the tray
    // menu, the link handler registration, the D-Bus services, the request this start carried,
    // and finally the window is shown. Returns why the carried request failed, if it did.
    std::optional<RequestFailure> applicationDidFinishLaunching(const LaunchRequest &startRequest);

    void applicationShouldHandleReopen() override;
    void handleURLEvent(const QString &url) override;
    std::optional<RequestFailure> handlePhoneCall(const std::optional<QString> &text) override;
    void callSelection(std::function<void(const std::optional<RequestFailure> &)> done) override;
    void quit() override;
    void detectPhoneLinks(bool on) override;

    void showWindow();

    // The tray icon and the window, for the shell's own tests.
    QSystemTrayIcon *statusItem() const { return m_statusItem; }
    GoogleVoiceWindow *gvWindow() const { return m_gvWindow; }

Q_SIGNALS:
    // The request this start carried failed after applicationDidFinishLaunching() had returned:
    // the selection is read without waiting for it.
    void startRequestFailed(dialwise::RequestFailure failure);

private:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void windowClosing();
    void setupMenuBar();
    void updateMenu();
    void registerAsURLHandler();
    void registerServices();
    void callFromHistory(QAction *item);
    // The web app's unread count on the tray icon: a dot and "Dialwise: N unread". Only the
    // icon and its tooltip change; the menu is left as it is.
    void showUnread(int count);
    GoogleVoiceWindow &window() const;

    QSystemTrayIcon *m_statusItem = nullptr;
    QIcon m_plainIcon;
    QIcon m_unreadIcon;
    CallManager &m_callManager;
    Scheduler &m_scheduler;
    GoogleVoiceWindow *m_gvWindow = nullptr;
    QPointer<QMenu> m_menu;
    HiddenWindowNotice m_hiddenNotice;
    QObject *m_exported = nullptr;
};

} // namespace dialwise
