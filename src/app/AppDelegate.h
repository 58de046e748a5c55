#pragma once

#include "LaunchRequest.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
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
class AppDelegate final : public QObject
{
    Q_OBJECT

public:
    // Both are built once by the GUI entry and outlive this delegate.
    AppDelegate(CallManager &callManager, Scheduler &scheduler, QObject *parent = nullptr);
    ~AppDelegate() override;

    // Brings everything up, in this order: the window (it starts loading at once), the tray
    // menu, the link handler registration, the D-Bus services, the request this start carried,
    // and finally the window is shown. Returns the error of the carried request, if it failed.
    std::optional<QString> applicationDidFinishLaunching(const LaunchRequest &startRequest);
    // Another `dialwise` without arguments: show the window again, whatever state it is in.
    void applicationShouldHandleReopen();

    // A link handed to Dialwise; links without a usable number are dropped silently.
    void handleURLEvent(const QString &url);
    // Text to search for a number; the error to report, or no value when the call was placed.
    std::optional<QString> handlePhoneCall(const std::optional<QString> &text);
    // The X11 primary selection, treated as handlePhoneCall() text. Its owner is another
    // program, so nothing waits for it here: `done` is called later from the event loop with the
    // error to report, or no value when the call was placed. An owner that does not answer
    // within a second counts as no text ("No text provided").
    void callSelection(std::function<void(const std::optional<QString> &error)> done);

    void showWindow();
    void quit();

    // The tray icon and the window, for the shell's own tests.
    QSystemTrayIcon *statusItem() const { return m_statusItem; }
    GoogleVoiceWindow *gvWindow() const { return m_gvWindow; }

Q_SIGNALS:
    // The request this start carried failed after applicationDidFinishLaunching() had returned:
    // the selection is read without waiting for it.
    void startRequestFailed(const QString &error);

private:
    void setupMenuBar();
    void updateMenu();
    void registerAsURLHandler();
    void registerServices();
    void callFromHistory(QAction *item);
    GoogleVoiceWindow &window() const;

    QSystemTrayIcon *m_statusItem = nullptr;
    CallManager &m_callManager;
    Scheduler &m_scheduler;
    GoogleVoiceWindow *m_gvWindow = nullptr;
    QPointer<QMenu> m_menu;
    QObject *m_exported = nullptr;
};

} // namespace dialwise
