#pragma once

#include "Clock.h"
#include "DesktopServices.h"
#include "SettingsStore.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
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
class CallManager : public QObject
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
        CallRecord(QString number, QDateTime timestamp, Provider provider)
            : id(QUuid::createUuid())
            , number(std::move(number))
            , timestamp(std::move(timestamp))
            , provider(provider)
        {
        }

        QUuid id;          // fresh and random for every record
        QString number;    // the number as it was called
        QDateTime timestamp;
        Provider provider; // the provider selected at that moment
    };

    // What the shared instance is built with. The entry point installs the real desktop; tests
    // build their own managers with fakes.
    struct Services
    {
        std::shared_ptr<SettingsStore> settings;
        std::shared_ptr<DesktopServices> desktop;
        std::shared_ptr<Clock> clock;
    };

    static constexpr qsizetype kHistoryCapacity = 50;
    static constexpr char kSelectedProviderKey[] = "selectedProvider";

    // The single instance, made on first use and never destroyed.
    static CallManager &shared();
    // Sets what shared() will be built with; only has an effect before its first call.
    static void setSharedServices(Services services);

    // "Google Voice" / "Browser (tel:)": stored form, identity and title at once.
    static QString rawValue(Provider provider);
    // Exact, case-sensitive; any other text gives no provider.
    static std::optional<Provider> providerFromRawValue(const QString &rawValue);
    static QList<Provider> allProviders();

    virtual std::optional<QString> lastCalledNumber() const;
    virtual void setLastCalledNumber(const std::optional<QString> &number);

    virtual QList<CallRecord> callHistory() const;
    virtual void setCallHistory(const QList<CallRecord> &history);
    // Changes the history in place, with one announcement.
    virtual void modifyCallHistory(const std::function<void(QList<CallRecord> &)> &change);

    virtual Provider selectedProvider() const;
    virtual void setSelectedProvider(Provider provider);

    virtual std::optional<QString> normalizePhoneNumber(const QString &text) const;
    virtual QString formatForDisplay(const QString &number) const;

    // Places a call to any text. An invalid number is reported by notification, never to the
    // caller; the record stays in the history whatever the provider then does.
    virtual void call(const QString &number);
    // Selects a provider and stores the choice for the next start.
    virtual void setProvider(Provider provider);
    // Asks for a number in the "Dial Number" dialog and calls it on "Call".
    virtual void showDialDialog();

    // Puts a record at the front of the history and drops the oldest beyond 50; a number longer
    // than phone::kMaximumNumberLength is never recorded. Shared by
    // call() and the web window, which records the calls it places itself.
    void addToHistory(const CallRecord &record);
    // The current date and time as this manager's clock tells it.
    QDateTime now() const;

Q_SIGNALS:
    void objectWillChange();
    void lastCalledNumberWillChange(const std::optional<QString> &newValue);
    void lastCalledNumberChanged(const std::optional<QString> &value);
    void callHistoryWillChange();
    void callHistoryChanged(const QList<dialwise::CallManager::CallRecord> &value);
    void selectedProviderWillChange(dialwise::CallManager::Provider newValue);
    void selectedProviderChanged(dialwise::CallManager::Provider value);

protected:
    // Reads the stored provider. Protected: the application uses shared(); tests subclass.
    explicit CallManager(Services services, QObject *parent = nullptr);

private:
    virtual void callViaGoogleVoice(const QString &number);
    virtual void callViaBrowserTel(const QString &number);
    virtual void showNotification(const QString &title, const QString &body);

    Services m_services;
    std::optional<QString> m_lastCalledNumber;
    QList<CallRecord> m_callHistory;
    Provider m_selectedProvider = Provider::googleVoice;
};

} // namespace dialwise
