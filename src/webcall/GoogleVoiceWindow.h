#pragma once

#include <QPointer>
#include <QString>
#include <QUrl>
#include <QWidget>

class QLineEdit;
class QPushButton;
class QToolButton;
class QWebEngineProfile;
class QWebEngineView;
class QTimer;

namespace dialwise {

class CallManager;
class Spinner;

// Dialwise's one window: the Google Voice web app in an embedded web view under a slim toolbar
// (back, forward, phone field, spinner, green "Call"). Calls are placed by loading the web app's
// new-call address; the page starts loading as soon as the window is made, before it is shown,
// so the sign-in is ready when the first call comes. Closing only hides it: a call in progress
// lives on.
class GoogleVoiceWindow final : public QWidget
{
    Q_OBJECT

public:
    // profile: where cookies and the sign-in live; by default the persistent "Dialwise" profile
    // in the user's data and cache directories.
    explicit GoogleVoiceWindow(CallManager &callManager, QWebEngineProfile *profile = nullptr, QWidget *parent = nullptr);
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
    void onRenderProcessTerminated(int status, int exitCode);
    void showContextMenu(const QPoint &position);
    void openDeveloperTools();
    bool eventFilter(QObject *watched, QEvent *event) override;

    CallManager &m_callManager;
    QWebEngineProfile *m_profile = nullptr;
    QWidget *m_toolbar = nullptr;
    QWebEngineView *m_webView = nullptr;
    QLineEdit *m_phoneField = nullptr;
    QPushButton *m_callButton = nullptr;
    QToolButton *m_backButton = nullptr;
    QToolButton *m_forwardButton = nullptr;
    Spinner *m_spinner = nullptr;
    QPointer<QWebEngineView> m_developerTools;
    QTimer *m_loadTimeout = nullptr;
    // What the history's current (committed) entry was when the running load began: a failed
    // load that moved it had committed a document before failing.
    QUrl m_committedUrlAtLoadStart;
    int m_committedIndexAtLoadStart = -1;
    // The address to bring back if the render process dies.
    QUrl m_lastAddress;
    int m_renderProcessRecoveries = 0;
};

} // namespace dialwise
