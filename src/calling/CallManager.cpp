#include "calling/CallManager.h"

#include "calling/PhoneNumbers.h"
#include "calling/QSettingsStore.h"
#include "calling/VoiceAddress.h"

#include <QLoggingCategory>


Q_LOGGING_CATEGORY(lcCallManager, "dialwise.callmanager")

namespace dialwise {
namespace {

// Stands in when nobody installed a desktop: says so instead of failing silently, since a call
// that goes nowhere without a word would be the worst outcome.
class UnconnectedDesktop final : public DesktopServices
{
public:
    void openUrl(const QUrl &url) override
    {
        qCWarning(lcCallManager) << "no desktop services installed; not opening" << url.toString();
    }
    void showNotification(const QString &title, const QString &body) override
    {
        qCWarning(lcCallManager) << "no desktop services installed; notification" << title << body;
    }
    std::optional<QString> runDialDialog() override { return std::nullopt; }
};

CallManager *&installedShared()
{
    static CallManager *instance = nullptr;
    return instance;
}

CallManager::Services completed(CallManager::Services services)
{
    if (!services.settings)
        services.settings = std::make_shared<QSettingsStore>();
    if (!services.desktop)
        services.desktop = std::make_shared<UnconnectedDesktop>();
    if (!services.clock)
        services.clock = std::make_shared<SystemClock>();
    if (services.voiceBase.isEmpty())
        services.voiceBase = voice::defaultBaseUrl();
    return services;
}

} // namespace

CallManager &CallManager::shared()
{
    if (CallManager *installed = installedShared())
        return *installed;
    // Function-local static: made once, thread-safe, deliberately never destroyed.
    static CallManager *const fallback = new CallManager(Services{});
    return *fallback;
}

void CallManager::setShared(CallManager &manager)
{
    Q_ASSERT_X(!installedShared() || installedShared() == &manager, "CallManager::setShared",
               "the shared manager is installed once, at start");
    installedShared() = &manager;
}

CallManager::CallManager(Services services, QObject *parent)
    : QObject(parent)
    , m_services(completed(std::move(services)))
{
    const std::optional<QString> stored = m_services.settings->stringValue(QString::fromLatin1(kSelectedProviderKey));
    if (!stored)
        return;
    // Anything that is not exactly a provider's raw value is ignored and left in the store:
    // the next setProvider() overwrites it.
    if (const std::optional<Provider> provider = providerFromRawValue(*stored))
        m_selectedProvider = *provider;
    else
        qCInfo(lcCallManager) << "ignoring stored provider" << *stored;
}

CallManager::~CallManager()
{
    // A shared() that outlived its manager must not hand out a dangling reference.
    if (installedShared() == this)
        installedShared() = nullptr;
}

QString CallManager::rawValue(Provider provider)
{
    switch (provider) {
    case Provider::googleVoice:
        return QStringLiteral("Google Voice");
    case Provider::browserTel:
        return QStringLiteral("Browser (tel:)");
    }
    return QString();
}

std::optional<CallManager::Provider> CallManager::providerFromRawValue(const QString &rawValue)
{
    for (Provider provider : allProviders()) {
        if (CallManager::rawValue(provider) == rawValue)
            return provider;
    }
    return std::nullopt;
}

QList<CallManager::Provider> CallManager::allProviders()
{
    return {Provider::googleVoice, Provider::browserTel};
}

std::optional<QString> CallManager::lastCalledNumber() const
{
    return m_lastCalledNumber;
}

void CallManager::setLastCalledNumber(const std::optional<QString> &number)
{
    Q_EMIT objectWillChange();
    Q_EMIT lastCalledNumberWillChange(number);
    m_lastCalledNumber = number;
    Q_EMIT lastCalledNumberChanged(m_lastCalledNumber);
}

QList<CallManager::CallRecord> CallManager::callHistory() const
{
    return m_callHistory;
}

void CallManager::setCallHistory(const QList<CallRecord> &history)
{
    modifyCallHistory([&history](QList<CallRecord> &current) { current = history; });
}

void CallManager::modifyCallHistory(const std::function<void(QList<CallRecord> &)> &change)
{
    Q_EMIT objectWillChange();
    Q_EMIT callHistoryWillChange();
    change(m_callHistory);
    Q_EMIT callHistoryChanged(m_callHistory);
}

CallManager::Provider CallManager::selectedProvider() const
{
    return m_selectedProvider;
}

void CallManager::setSelectedProvider(Provider provider)
{
    Q_EMIT objectWillChange();
    Q_EMIT selectedProviderWillChange(provider);
    m_selectedProvider = provider;
    Q_EMIT selectedProviderChanged(m_selectedProvider);
}

std::optional<QString> CallManager::normalizePhoneNumber(const QString &text) const
{
    return phone::normalize(text);
}

QString CallManager::formatForDisplay(const QString &number) const
{
    return phone::formatForDisplay(number);
}

QDateTime CallManager::now() const
{
    return m_services.clock->now();
}

QUrl CallManager::voiceBase() const
{
    return m_services.voiceBase;
}

void CallManager::recordCall(const QString &number, Provider provider)
{
    if (number.size() > phone::kMaximumNumberLength)
        return;
    setLastCalledNumber(number);
    addToHistory(CallRecord(number, now(), provider));
}

void CallManager::addToHistory(const CallRecord &record)
{
    if (record.number.size() > phone::kMaximumNumberLength)
        return;
    modifyCallHistory([&record](QList<CallRecord> &history) { history.prepend(record); });
    // Checked once after each insertion, so in steady state exactly one record goes per call.
    if (callHistory().size() > kHistoryCapacity)
        setCallHistory(callHistory().first(kHistoryCapacity));
}

void CallManager::call(const QString &number)
{
    Q_EMIT callRequested(number);
    const std::optional<QString> normalized = normalizePhoneNumber(number);
    if (!normalized) {
        // The body carries the text exactly as the caller passed it, so the user sees what was
        // rejected, blanks and all.
        showNotification(QStringLiteral("Dialwise"), QStringLiteral("Invalid phone number: ") + number);
        return;
    }
    recordCall(*normalized, selectedProvider());

    if (selectedProvider() == Provider::browserTel)
        callViaBrowserTel(*normalized);
    else
        callViaGoogleVoice(*normalized);
}

void CallManager::callViaGoogleVoice(const QString &number)
{
    const std::optional<QUrl> address = voice::newCallUrl(m_services.voiceBase, phone::dialDigits(number));
    if (!address)
        return;
    m_services.desktop->openUrl(*address);
    showNotification(QStringLiteral("Dialwise \u2192 Google Voice"),
                     QStringLiteral("Calling ") + formatForDisplay(number) + QStringLiteral("..."));
}

void CallManager::callViaBrowserTel(const QString &number)
{
    const QUrl url(QStringLiteral("tel:") + number, QUrl::StrictMode);
    if (!url.isValid())
        return;
    m_services.desktop->openUrl(url);
}

void CallManager::showNotification(const QString &title, const QString &body)
{
    m_services.desktop->showNotification(title, body);
}

void CallManager::setProvider(Provider provider)
{
    setSelectedProvider(provider);
    m_services.settings->setStringValue(QString::fromLatin1(kSelectedProviderKey), rawValue(provider));
}

void CallManager::showDialDialog()
{
    Q_EMIT dialDialogRequested();
    const std::optional<QString> typed = m_services.desktop->runDialDialog();
    // Not trimmed: blanks alone are "not empty" and earn the invalid-number notification.
    if (typed && !typed->isEmpty())
        call(*typed);
}

} // namespace dialwise
