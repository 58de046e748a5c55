#include "webcall/GoogleVoiceWindow.h"

#include "calling/CallManager.h"
#include "calling/PhoneNumbers.h"
#include "calling/Scheduler.h"
#include "calling/VoiceAddress.h"
#include "platform/linux/DesktopNotifications.h"
#include "platform/linux/WindowActivation.h"
#include "webcall/CompactStyleScript.h"
#include "webcall/CursorBlinkTimeout.h"
#include "webcall/PageTitle.h"
#include "webcall/Spinner.h"
#include "webcall/VoicePage.h"
#include "webcall/VoiceProfile.h"
#include "webcall/WebNotificationPresenter.h"

#include <QCloseEvent>

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QIcon>
#include <QLineEdit>
#include <QLoggingCategory>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWebEngineContextMenuRequest>
#include <QWebEngineHistory>
#include <QWebEngineLoadingInfo>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineSettings>
#include <QWebEngineView>

#include <cmath>

Q_LOGGING_CATEGORY(lcWebCall, "dialwise.webcall")

// The icons are compiled into this static library; its resources must be registered by hand,
// and Q_INIT_RESOURCE only works outside a namespace.
static void initWebcallResources()
{
    Q_INIT_RESOURCE(webcall);
}

namespace dialwise {
namespace {

constexpr QSize kWindowSize(420, 750);
constexpr QSize kMinimumSize(360, 500);

// Where the toolbar's controls go at a given toolbar width. Placed by hand rather than by a
// layout: every edge is fixed relative to another and the field takes what is left.
struct ToolbarLayout
{
    // In pixels: a 52-high strip with 28-high controls centred in it.
    static constexpr int kHeight = 52;
    static constexpr int kControlHeight = 28;
    static constexpr int kEdgeMargin = 8;       // toolbar edge to back button, and call button to edge
    static constexpr int kNavigationWidth = 28; // back and forward buttons
    static constexpr int kNavigationGap = 2;    // back to forward
    static constexpr int kFieldGap = 8;         // forward to phone field
    static constexpr int kCallGap = 6;          // phone field to call button; also spinner to call button
    static constexpr int kCallWidth = 60;

    explicit ToolbarLayout(int width)
        : back(kEdgeMargin, top(), kNavigationWidth, kControlHeight)
        , forward(back.right() + 1 + kNavigationGap, top(), kNavigationWidth, kControlHeight)
        , call(width - kEdgeMargin - kCallWidth, top(), kCallWidth, kControlHeight)
    {
        const int fieldLeft = forward.right() + 1 + kFieldGap;
        field = QRect(fieldLeft, top(), std::max(0, call.left() - kCallGap - fieldLeft), kControlHeight);
    }

    static constexpr int top() { return (kHeight - kControlHeight) / 2; }

    QRect back;
    QRect forward;
    QRect call;
    QRect field;
};

constexpr int kFieldPointSize = 14;
constexpr int kCallPointSize = 13;
// The field's frame (stylesheet below): border and padding on each side.
constexpr int kFieldBorder = 1;
constexpr int kFieldPadding = 6;
// QLineEdit keeps this much between its contents rectangle and the text on either side.
constexpr int kLineEditTextInset = 2;
// The spinner turns over the field's right end; the field's text stops this far short of the
// padding so that nothing typed, and no placeholder, ever runs under it.
constexpr int kSpinnerReserve = 18;
// Smallest the field's font gets while making room for its longest placeholder: still easily
// read, and only reached with very large desktop text.
constexpr qreal kMinFieldPointSize = 8.0;

const QString kPlaceholder = QStringLiteral("Enter phone number...");
const QString kInvalidPlaceholder = QStringLiteral("Invalid number, try again...");

// Phone numbers line up better, and do not jiggle while typed, when every digit has the same
// width. The desktop font nearly always has tabular figures; when it has not, the fixed-width
// font does by construction.
QFont phoneFieldFont()
{
    auto digitsEqualWidth = [](const QFont &font) {
        const QFontMetricsF metrics(font);
        const qreal width = metrics.horizontalAdvance(QLatin1Char('0'));
        for (char digit = '1'; digit <= '9'; ++digit) {
            if (!qFuzzyCompare(metrics.horizontalAdvance(QLatin1Char(digit)), width))
                return false;
        }
        return true;
    };
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPointSize(kFieldPointSize);
    if (digitsEqualWidth(font))
        return font;
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    fixed.setPointSize(kFieldPointSize);
    return fixed;
}

// The width the field's text has at the window's default size.
int defaultFieldTextWidth()
{
    // The toolbar spans the window.
    const int field = ToolbarLayout(kWindowSize.width()).field.width();
    return field - 2 * (kFieldBorder + kFieldPadding + kLineEditTextInset) - kSpinnerReserve;
}

// The field's placeholder is how an invalid entry is reported, so it must be read whole: the
// font steps down from its design size, half a point at a time, until the longer placeholder
// fits at the default window size. With the desktop's usual text size that is a little under
// the design size; with larger desktop text (up to 1.25x and beyond) it stays about as many
// pixels high as there.
QFont fittedToPlaceholder(QFont font, const QString &placeholder)
{
    const int available = defaultFieldTextWidth();
    for (qreal size = font.pointSizeF(); size >= kMinFieldPointSize; size -= 0.5) {
        font.setPointSizeF(size);
        if (std::ceil(QFontMetricsF(font).horizontalAdvance(placeholder)) <= available)
            return font;
    }
    font.setPointSizeF(kMinFieldPointSize);
    return font;
}

QIcon navigationIcon(const QString &themeName)
{
    return QIcon::fromTheme(themeName, QIcon(QStringLiteral(":/webcall/icons/%1.svg").arg(themeName)));
}

// Shows a top-level window in front of other programs' windows, with the keyboard focus, even
// when the request came from another program (a tel: link clicked in a browser).
void showInFront(QWidget *window)
{
    if (window->isMinimized())
        window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    window->show();
    window->raise();
    window->activateWindow();
    requestActivation(window->winId());
}

} // namespace

GoogleVoiceWindow::GoogleVoiceWindow(CallManager &callManager, Scheduler &scheduler, QWebEngineProfile *profile,
                                     QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_callManager(callManager)
    , m_scheduler(scheduler)
    , m_profile(profile)
{
    initWebcallResources();
    if (m_profile)
        prepareVoiceProfile(m_profile);
    else
        m_profile = createPersistentVoiceProfile(this);

    setWindowTitle(QStringLiteral("Dialwise"));
    resize(kWindowSize);
    setMinimumSize(kMinimumSize);
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        QRect frame(QPoint(), size());
        frame.moveCenter(screen->availableGeometry().center());
        move(frame.topLeft());
    }

    setupUI();
    loadGoogleVoice();
}

GoogleVoiceWindow::~GoogleVoiceWindow()
{
    if (m_loadTimeout)
        m_loadTimeout->cancel();
    // Pages must go before the profile they use, and the profile may be one of our children;
    // the page's notifications too, which the presenter closes as it goes.
    delete m_notifications;
    delete m_developerTools;
    delete m_webView;
}

QWidget *GoogleVoiceWindow::spinner() const
{
    return m_spinner;
}

void GoogleVoiceWindow::setupUI()
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_toolbar = new QWidget(this);
    m_toolbar->setObjectName(QStringLiteral("toolbar"));
    m_toolbar->setFixedHeight(ToolbarLayout::kHeight);
    m_toolbar->setAttribute(Qt::WA_StyledBackground);
    m_toolbar->setStyleSheet(QStringLiteral("#toolbar { background: #f3f3f3; border-bottom: 1px solid #d6d6d6; }"));
    m_toolbar->installEventFilter(this);
    layout->addWidget(m_toolbar);

    auto makeNavigationButton = [this](const QString &iconName, const QString &name) {
        auto *button = new QToolButton(m_toolbar);
        button->setIcon(navigationIcon(iconName));
        button->setIconSize(QSize(16, 16));
        button->setAutoRaise(true);
        button->setAccessibleName(name);
        button->setToolTip(name);
        button->setFocusPolicy(Qt::NoFocus);
        return button;
    };
    m_backButton = makeNavigationButton(QStringLiteral("go-previous"), QStringLiteral("Back"));
    m_forwardButton = makeNavigationButton(QStringLiteral("go-next"), QStringLiteral("Forward"));
    connect(m_backButton, &QToolButton::clicked, this, &GoogleVoiceWindow::goBack);
    connect(m_forwardButton, &QToolButton::clicked, this, &GoogleVoiceWindow::goForward);

    m_phoneField = new QLineEdit(m_toolbar);
    m_phoneField->setPlaceholderText(kPlaceholder);
    m_phoneField->setFont(fittedToPlaceholder(phoneFieldFont(), kInvalidPlaceholder));
    m_phoneField->setAccessibleName(QStringLiteral("Phone number"));
    m_phoneField->setStyleSheet(QStringLiteral("QLineEdit { background: white; border: %1px solid #c8c8c8; "
                                               "border-radius: 6px; padding: 0 %2px; }"
                                               "QLineEdit:focus { border-color: #4a90d9; }")
                                    .arg(kFieldBorder)
                                    .arg(kFieldPadding));
    m_phoneField->setTextMargins(0, 0, kSpinnerReserve, 0);
    connect(m_phoneField, &QLineEdit::returnPressed, this, &GoogleVoiceWindow::callNumber);
    new CursorBlinkTimeout(m_phoneField);

    m_callButton = new QPushButton(QStringLiteral("Call"), m_toolbar);
    QFont callFont = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    callFont.setPointSize(kCallPointSize);
    callFont.setWeight(QFont::DemiBold);
    m_callButton->setFont(callFont);
    m_callButton->setCursor(Qt::PointingHandCursor);
    // Green for "call", as on a phone's dial pad.
    m_callButton->setStyleSheet(QStringLiteral("QPushButton { background: #34c759; color: white; border: none; "
                                               "border-radius: 6px; }"
                                               "QPushButton:hover { background: #2fb651; }"
                                               "QPushButton:pressed { background: #28a046; }"));
    connect(m_callButton, &QPushButton::clicked, this, &GoogleVoiceWindow::callNumber);

    // Created after the field so that it is drawn over the field's right end.
    m_spinner = new Spinner(m_toolbar);
    m_spinner->hide();

    m_webView = new QWebEngineView(this);
    m_webView->setMinimumSize(0, 0);
    auto *page = new VoicePage(NavigationPolicy(m_callManager.voiceBase()), m_profile, m_webView);
    // Ringing and call audio must play without the user first clicking into the page.
    page->settings()->setAttribute(QWebEngineSettings::PlaybackRequiresUserGesture, false);
    m_webView->setPage(page);
    m_webView->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_webView, &QWidget::customContextMenuRequested, this, &GoogleVoiceWindow::showContextMenu);
    layout->addWidget(m_webView, 1);

    connect(page, &QWebEnginePage::loadingChanged, this, [this](const QWebEngineLoadingInfo &info) {
        switch (info.status()) {
        case QWebEngineLoadingInfo::LoadStartedStatus:
            onLoadStarted();
            break;
        case QWebEngineLoadingInfo::LoadSucceededStatus:
            onLoadFinished(true, false);
            break;
        case QWebEngineLoadingInfo::LoadStoppedStatus:
        case QWebEngineLoadingInfo::LoadFailedStatus:
            onLoadFinished(false, info.isErrorPage());
            break;
        }
    });
    connect(page, &QWebEnginePage::urlChanged, this, [this](const QUrl &url) {
        if (!url.isEmpty())
            m_lastAddress = url;
    });

    connect(page, &VoicePage::loadInViewRequested, this, &GoogleVoiceWindow::loadInView);
    // Queued: the request comes from inside the web engine's navigation callback, and placing
    // the call starts a navigation of its own.
    connect(page, &VoicePage::callRequested, this, &GoogleVoiceWindow::showAndCall, Qt::QueuedConnection);

    // Hidden is not asleep: the web app must keep its connection, timers and sound so that a call
    // rings with the window hidden for hours. The page is never frozen or discarded (Qt leaves it
    // active unless told otherwise, and nothing here tells it); its notifications reach the desktop.
    auto *desktop = new DesktopNotifications(QDBusConnection::sessionBus());
    m_notifications = new WebNotificationPresenter(
        m_scheduler, [page](const QUrl &origin) { return page->mayNotify(origin); }, *desktop, this);
    // Owned by the presenter, which still needs it while it goes.
    desktop->setParent(m_notifications);
    m_notifications->install(m_profile);
    connect(m_notifications, &WebNotificationPresenter::activated, this, &GoogleVoiceWindow::showAndActivate);
    connect(page, &QWebEnginePage::titleChanged, this, [this](const QString &title) {
        const int count = unreadCountInTitle(title);
        if (count == m_unreadCount)
            return;
        m_unreadCount = count;
        Q_EMIT unreadCountChanged(count);
    });

    connect(page, &QWebEnginePage::renderProcessTerminated, this,
            [this](QWebEnginePage::RenderProcessTerminationStatus status, int exitCode) {
                onRenderProcessTerminated(static_cast<int>(status), exitCode);
            });
}

bool GoogleVoiceWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_toolbar && event->type() == QEvent::Resize)
        layoutToolbar();
    return QWidget::eventFilter(watched, event);
}

void GoogleVoiceWindow::layoutToolbar()
{
    const ToolbarLayout layout(m_toolbar->width());
    m_backButton->setGeometry(layout.back);
    m_forwardButton->setGeometry(layout.forward);
    m_phoneField->setGeometry(layout.field);
    m_callButton->setGeometry(layout.call);
    // The spinner deliberately overlaps the field's right end: its right edge is the field's; it
    // draws left of the field's border and padding (its right margin), so the border stays whole
    // and so does the spinner.
    m_spinner->setContentsMargins(0, 0, kFieldBorder + kFieldPadding, 0);
    const QSize spin = m_spinner->sizeHint();
    m_spinner->setFixedSize(spin);
    m_spinner->move(layout.call.left() - ToolbarLayout::kCallGap - spin.width(),
                    (ToolbarLayout::kHeight - spin.height()) / 2);
}

void GoogleVoiceWindow::loadGoogleVoice()
{
    if (const std::optional<QUrl> address = voice::callsPageUrl(m_callManager.voiceBase()))
        loadInView(*address);
}

void GoogleVoiceWindow::loadInView(const QUrl &url)
{
    m_lastAddress = url;
    m_webView->load(url);
    // One time-out at a time: the new load replaces whatever the previous one was waiting for.
    if (m_loadTimeout)
        m_loadTimeout->cancel();
    m_loadTimeout = m_scheduler.runOnce(kLoadTimeout, this, [this] { onLoadTimeout(); });
}

void GoogleVoiceWindow::onLoadTimeout()
{
    if (committedSinceLoadStart()) {
        // The answer began to arrive: a slow page is still a page, and cutting it off now would
        // leave the user with half a web app.
        qCDebug(lcWebCall) << "load still running after" << kLoadTimeout.count() / 1000
                           << "s, but its page is arriving; letting it finish";
        return;
    }
    qCDebug(lcWebCall) << "no answer after" << kLoadTimeout.count() / 1000 << "s, stopping the load";
    m_webView->page()->triggerAction(QWebEnginePage::Stop);
}

bool GoogleVoiceWindow::committedSinceLoadStart() const
{
    const QWebEngineHistory *history = m_webView->page()->history();
    return history->currentItemIndex() != m_committedIndexAtLoadStart
        || history->currentItem().url() != m_committedUrlAtLoadStart
        || history->currentItem().lastVisited() != m_committedVisitAtLoadStart;
}

void GoogleVoiceWindow::onLoadStarted()
{
    const QWebEngineHistory *history = m_webView->page()->history();
    m_committedIndexAtLoadStart = history->currentItemIndex();
    m_committedUrlAtLoadStart = history->currentItem().url();
    m_committedVisitAtLoadStart = history->currentItem().lastVisited();
    m_spinner->show();
    m_spinner->startAnimation();
}

void GoogleVoiceWindow::onLoadFinished(bool ok, bool errorPage)
{
    if (m_loadTimeout)
        m_loadTimeout->cancel();
    QWebEnginePage *page = m_webView->page();
    if (!ok) {
        // Only a failure after the new document was committed stops the spinner. One before
        // (no answer, refused, stopped early, or an error page instead of the document) leaves
        // it turning until a later load ends, as WebKit's provisional failures do.
        if (committedSinceLoadStart() && !errorPage) {
            m_spinner->stopAnimation();
            m_spinner->hide();
        }
        return;
    }
    m_spinner->stopAnimation();
    m_spinner->hide();
    m_backButton->setEnabled(page->history()->canGoBack());
    m_forwardButton->setEnabled(page->history()->canGoForward());
    injectCompactCSS();
}

void GoogleVoiceWindow::injectCompactCSS()
{
    m_webView->page()->runJavaScript(compactStyleScript());
}

void GoogleVoiceWindow::goBack()
{
    m_webView->back();
}

void GoogleVoiceWindow::goForward()
{
    m_webView->forward();
}

void GoogleVoiceWindow::onRenderProcessTerminated(int status, int exitCode)
{
    if (status == QWebEnginePage::NormalTerminationStatus)
        return;
    ++m_renderProcessRecoveries;
    // A new-call address places a call when it loads; bringing it back after a crash would
    // dial the number a second time, so the calls page stands in for it.
    QUrl address = m_lastAddress;
    if (voice::isNewCallAddress(address))
        address = voice::callsPageUrl(m_callManager.voiceBase()).value_or(QUrl());
    qCWarning(lcWebCall) << "render process ended abnormally, status" << status << "exit code" << exitCode
                         << "- reloading" << address.toString();
    if (address.isEmpty())
        return;
    // Not from inside the termination callback: the page is still tearing the old process down.
    QTimer::singleShot(0, this, [this, address] { loadInView(address); });
}

void GoogleVoiceWindow::showContextMenu(const QPoint &position)
{
    // The standard entries describe what was clicked; without a request from the page there is
    // nothing to describe.
    QMenu *menu = m_webView->lastContextMenuRequest() ? m_webView->createStandardContextMenu() : new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    // Chromium's own inspect entry needs a developer-tools page first; ours makes one.
    menu->removeAction(m_webView->pageAction(QWebEnginePage::InspectElement));
    if (!menu->isEmpty())
        menu->addSeparator();
    menu->addAction(QStringLiteral("Inspect"), this, &GoogleVoiceWindow::openDeveloperTools);
    menu->popup(m_webView->mapToGlobal(position));
}

void GoogleVoiceWindow::openDeveloperTools()
{
    if (!m_developerTools) {
        m_developerTools = new QWebEngineView(this);
        m_developerTools->setWindowFlag(Qt::Window);
        m_developerTools->setAttribute(Qt::WA_DeleteOnClose);
        m_developerTools->setWindowTitle(QStringLiteral("Dialwise - Developer Tools"));
        m_developerTools->resize(900, 600);
        m_developerTools->setPage(new QWebEnginePage(m_profile, m_developerTools));
        m_webView->page()->setDevToolsPage(m_developerTools->page());
    }
    if (m_webView->lastContextMenuRequest())
        m_webView->page()->triggerAction(QWebEnginePage::InspectElement);
    showInFront(m_developerTools);
}

void GoogleVoiceWindow::closeEvent(QCloseEvent *event)
{
    // Hidden, never closed: the page and any call in progress stay alive.
    hide();
    event->ignore();
}

void GoogleVoiceWindow::showAndActivate()
{
    showInFront(this);
}

void GoogleVoiceWindow::showAndCall(const QString &number)
{
    showAndActivate();
    m_phoneField->setText(number);
    initiateCall(number);
}

void GoogleVoiceWindow::callNumber()
{
    const QString text = m_phoneField->text().trimmed();
    if (text.isEmpty())
        return;
    if (const std::optional<QString> number = m_callManager.normalizePhoneNumber(text)) {
        initiateCall(*number);
        return;
    }
    m_phoneField->clear();
    m_phoneField->setPlaceholderText(kInvalidPlaceholder);
    // Each invalid entry schedules its own restore; the first one due brings the hint back.
    m_scheduler.runOnce(kInvalidHint, this, [this] { m_phoneField->setPlaceholderText(kPlaceholder); });
}

void GoogleVoiceWindow::initiateCall(const QString &number)
{
    const QString digits = phone::dialDigits(number);
    m_phoneField->setText(m_callManager.formatForDisplay(number));
    // An address with digits that cannot stand in a URL as written loads nothing; the call is
    // recorded all the same, as the user did ask for it.
    if (const std::optional<QUrl> address = voice::newCallUrl(m_callManager.voiceBase(), digits))
        loadInView(*address);
    m_callManager.recordCall(number, CallManager::Provider::googleVoice);
}

} // namespace dialwise
