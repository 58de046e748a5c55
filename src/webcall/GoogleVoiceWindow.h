#pragma once

#include <QDateTime>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QWidget>

#include <chrono>
#include <memory>

class QLineEdit;
class QPushButton;
class QToolButton;
class QWebEngineProfile;
class QWebEngineView;

namespace dialwise {

class CallManager;
class ScheduledTask;
class Scheduler;
class Spinner;
class WebNotificationPresenter;

// Dialwise's one window: the Google Voice web app in an embedded web view under a slim toolbar
// (back, forward, phone field, spinner, green "Call"). Calls are placed by loading the web app's
// new-call address; the page starts loading as soon as the window is made, before it is shown,
// so the sign-in is ready when the first call comes. Closing only hides it: a call in progress
// lives on.
class GoogleVoiceWindow final : public QWidget
{
    Q_OBJECT

public:
    // How long a load we started may take to get an answer before it is stopped: long enough
    // for a slow mobile connection to bring in the web app, short enough that a dead one does
    // not spin for ever. A page that has begun to arrive by then is left to finish.
    static constexpr std::chrono::milliseconds kLoadTimeout{60 * 1000};
    // How long "Invalid number, try again..." stays before the usual placeholder comes back.
    static constexpr std::chrono::milliseconds kInvalidHint{2000};

    // callManager: records the calls and knows the web app's address. scheduler: runs the load
    // time-out and the placeholder's restore. profile: where cookies and the sign-in live; by
    // default the persistent "Dialwise" profile in the user's data and cache directories.
    GoogleVoiceWindow(CallManager &callManager, Scheduler &scheduler, QWebEngineProfile *profile = nullptr,
                      QWidget *parent = nullptr);
    ~GoogleVoiceWindow() override;

    // Shows the window, raises it above other programs' windows and gives it the focus.
    void showAndActivate();
    // Shows the window, puts the number in the field and places the call.
    void showAndCall(const QString &number);
    // Places a call to the number in the web view and records it in the history.
    void initiateCall(const QString &number);

    // The six parts of the window, for the shell and for tests.
    QWebEngineView *webView() const { return m_webView; }
    QLineEdit *phoneField() const { return m_phoneField; }
    QPushButton *callButton() const { return m_callButton; }
    QToolButton *backButton() const { return m_backButton; }
    QToolButton *forwardButton() const { return m_forwardButton; }
    QWidget *spinner() const;

    // How often a dead render process was replaced by reloading the last address.
    int renderProcessRecoveries() const { return m_renderProcessRecoveries; }

    // The web app's notifications on the desktop.
    WebNotificationPresenter *notifications() const { return m_notifications; }
    // What the web app's title says is unread; 0 when it says nothing.
    int unreadCount() const { return m_unreadCount; }

Q_SIGNALS:
    void unreadCountChanged(int count);

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void setupUI();
    void layoutToolbar();
    void loadGoogleVoice();
    void callNumber();
    void goBack();
    void goForward();
    void injectCompactCSS();
    void loadInView(const QUrl &url);
    void onLoadStarted();
    void onLoadFinished(bool ok, bool errorPage);
    void onLoadTimeout();
    // Whether the running load has committed a document (its answer began to arrive): the
    // history's current entry is no longer the one it was when the load started.
    bool committedSinceLoadStart() const;
    void onRenderProcessTerminated(int status, int exitCode);
    void showContextMenu(const QPoint &position);
    void openDeveloperTools();
    bool eventFilter(QObject *watched, QEvent *event) override;

    CallManager &m_callManager;
    Scheduler &m_scheduler;
    QWebEngineProfile *m_profile = nullptr;
    QWidget *m_toolbar = nullptr;
    QWebEngineView *m_webView = nullptr;
    QLineEdit *m_phoneField = nullptr;
    QPushButton *m_callButton = nullptr;
    QToolButton *m_backButton = nullptr;
    QToolButton *m_forwardButton = nullptr;
    Spinner *m_spinner = nullptr;
    QPointer<QWebEngineView> m_developerTools;
    std::shared_ptr<ScheduledTask> m_loadTimeout;
    // What the history's current (committed) entry was when the running load began: a load
    // that moved it has committed a document. The visit time tells apart a new document at the
    // same address, which replaces the entry in place.
    QUrl m_committedUrlAtLoadStart;
    int m_committedIndexAtLoadStart = -1;
    QDateTime m_committedVisitAtLoadStart;
    // The address to bring back if the render process dies.
    QUrl m_lastAddress;
    int m_renderProcessRecoveries = 0;
    WebNotificationPresenter *m_notifications = nullptr;
    int m_unreadCount = 0;
};

} // namespace dialwise
