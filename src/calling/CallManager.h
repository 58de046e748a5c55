#pragma once

#include "calling/Clock.h"
#include "calling/DesktopServices.h"
#include "calling/SettingsStore.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

namespace dialwise {

// The one process-wide owner of calling state: the last number called, the in-memory history
// (newest first, at most 50) and the selected provider. call() turns any text into a placed
// call: normalise, record, hand to the provider.
//
// Each property announces a coming change (objectWillChange and its own ...WillChange signal)
// before the value is assigned, then reports the new value (...Changed).
class CallManager final : public QObject
{
    Q_OBJECT

public:
    enum class Provider {
        googleVoice, // "Google Voice": the web app's new-call address in the default browser
        browserTel,  // "Browser (tel:)": a tel: URL for the desktop's default handler
    };
    Q_ENUM(Provider)

    struct CallRecord
    {
        CallRecord(QString dialled, QDateTime placedAt, Provider placedWith)
            : id(QUuid::createUuid())
            , number(std::move(dialled))
            , timestamp(std::move(placedAt))
            , provider(placedWith)
        {
        }

        QUuid id;          // fresh and random for every record
        QString number;    // the number as it was called
        QDateTime timestamp;
        Provider provider; // the provider selected at that moment
    };

    // What a manager is built with. The GUI entry builds the real ones once; tests build their
    // own managers with fakes. Missing pieces get stand-ins (QSettings, a desktop that only logs,
    // the system clock, the web app's default address).
    struct Services
    {
        std::shared_ptr<SettingsStore> settings;
        std::shared_ptr<DesktopServices> desktop;
        std::shared_ptr<Clock> clock;
        // The web app's origin, resolved once at start (voice::baseUrlFromEnvironment()).
        QUrl voiceBase;
    };

    static constexpr qsizetype kHistoryCapacity = 50;
    static constexpr char kSelectedProviderKey[] = "selectedProvider";

    // Reads the stored provider.
    explicit CallManager(Services services, QObject *parent = nullptr);
    ~CallManager() override;

    // The process-wide instance: the one the GUI entry built and installed with setShared(). A
    // process that never installed one gets a manager with default services, made on first use.
    static CallManager &shared();
    // Installs the instance shared() answers; once, at start, before anything asks for it.
    static void setShared(CallManager &manager);

    // "Google Voice" / "Browser (tel:)": stored form, identity and title at once.
    static QString rawValue(Provider provider);
    // Exact, case-sensitive; any other text gives no provider.
    static std::optional<Provider> providerFromRawValue(const QString &rawValue);
    static QList<Provider> allProviders();

    std::optional<QString> lastCalledNumber() const;
    void setLastCalledNumber(const std::optional<QString> &number);

    QList<CallRecord> callHistory() const;
    void setCallHistory(const QList<CallRecord> &history);
    // Changes the history in place, with one announcement.
    void modifyCallHistory(const std::function<void(QList<CallRecord> &)> &change);

    Provider selectedProvider() const;
    void setSelectedProvider(Provider provider);

    std::optional<QString> normalizePhoneNumber(const QString &text) const;
    QString formatForDisplay(const QString &number) const;

    // Places a call to any text. An invalid number is reported by notification, never to the
    // caller; the record stays in the history whatever the provider then does.
    void call(const QString &number);
    // Selects a provider and stores the choice for the next start.
    void setProvider(Provider provider);
    // Asks for a number in the "Dial Number" dialog and calls it on "Call".
    void showDialDialog();

    // Records a call being placed: the last called number, and a record at the front of the
    // history (the oldest beyond 50 goes), stamped with this manager's clock. Shared by call()
    // and the web window, which places its calls itself.
    void recordCall(const QString &number, Provider provider);
    // Puts a record at the front of the history and drops the oldest beyond 50; a number longer
    // than phone::kMaximumNumberLength is never recorded.
    void addToHistory(const CallRecord &record);
    // The current date and time as this manager's clock tells it.
    QDateTime now() const;
    // The web app's origin this manager was built with.
    QUrl voiceBase() const;

Q_SIGNALS:
    // A call or the dial dialog was asked for, before anything is done about it: for observers
    // that report what was asked (the detector's replay tool) rather than what happened.
    void callRequested(const QString &text);
    void dialDialogRequested();
    void objectWillChange();
    void lastCalledNumberWillChange(const std::optional<QString> &newValue);
    void lastCalledNumberChanged(const std::optional<QString> &value);
    void callHistoryWillChange();
    void callHistoryChanged(const QList<dialwise::CallManager::CallRecord> &value);
    void selectedProviderWillChange(dialwise::CallManager::Provider newValue);
    void selectedProviderChanged(dialwise::CallManager::Provider value);

private:
    void callViaGoogleVoice(const QString &number);
    void callViaBrowserTel(const QString &number);
    void showNotification(const QString &title, const QString &body);

    Services m_services;
    std::optional<QString> m_lastCalledNumber;
    QList<CallRecord> m_callHistory;
    Provider m_selectedProvider = Provider::googleVoice;
};

} // namespace dialwise
