#pragma once

#include "calling/DesktopServices.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <deque>
#include <optional>

namespace dialwise::testing {

// Records what the calling core asked of the desktop, and answers the dial dialog from a queue
// so a test decides in advance what the "user" types (or that they press Cancel).
class FakeDesktopServices final : public DesktopServices
{
public:
    struct Notification
    {
        QString title;
        QString body;
        bool operator==(const Notification &) const = default;
    };

    void openUrl(const QUrl &url) override { openedUrls.append(url); }

    void showNotification(const QString &title, const QString &body) override
    {
        notifications.append({title, body});
    }

    // Each run takes the next queued answer; an empty queue behaves like Cancel.
    std::optional<QString> runDialDialog() override
    {
        ++dialDialogRuns;
        if (dialAnswers.empty())
            return std::nullopt;
        const bool cancelled = !dialAnswers.front().has_value();
        QString typed = dialAnswers.front().value_or(QString());
        dialAnswers.pop_front();
        if (cancelled)
            return std::nullopt;
        return typed;
    }

    void queueDialAnswer(std::optional<QString> answer) { dialAnswers.push_back(std::move(answer)); }

    QList<QUrl> openedUrls;
    QList<Notification> notifications;
    std::deque<std::optional<QString>> dialAnswers;
    int dialDialogRuns = 0;
};

} // namespace dialwise::testing
