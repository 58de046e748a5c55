#pragma once

#include "detection/ClickSource.h"

#include <QObject>

#include <map>
#include <memory>

class QSocketNotifier;

namespace dialwise {

class X11Connection;

// Left mouse-downs anywhere on an X11 desktop: XInput2 raw button presses selected on the root
// window of a connection of its own, read from the Qt event loop through a socket notifier. Raw
// events reach us whoever holds a grab, and they carry no window, so a press over one of this
// process's own windows is recognised by the owner of the window under the pointer.
class X11ClickSource final : public QObject, public ClickSource
{
    Q_OBJECT
public:
    X11ClickSource();
    ~X11ClickSource() override;

    std::optional<Token> addLeftMouseDownListener(std::function<void()> handler) override;
    void removeListener(Token token) override;

    QString unavailableReason() const override { return m_lastError; }

private:
    bool install();
    void uninstall();
    void readEvents();
    bool pointerIsOverOwnWindow() const;

    std::shared_ptr<X11Connection> m_connection;
    QSocketNotifier *m_notifier = nullptr;
    int m_xiOpcode = -1;
    std::map<Token, std::function<void()>> m_handlers;
    Token m_nextToken = 1;
    QString m_lastError;
};

} // namespace dialwise
