#pragma once

#include <QString>
#include <QStringList>

#include <variant>
#include <vector>

namespace dialwise {

// One blocking D-Bus method call, the only thing the request forwarder needs of a bus, so it is
// tested against a fake that answers as a running, starting, busy or absent Dialwise would.
class BusMethodCaller
{
public:
    // D-Bus argument values the launcher needs: s, as, and the empty a{sv} / av that
    // org.freedesktop.Application takes for platform data and action parameters, or an av holding
    // one boolean, the parameter of an action that turns something on or off.
    struct EmptyDictionary {};
    struct EmptyVariantArray {};
    struct BooleanParameter
    {
        bool value = false;
    };
    using Argument = std::variant<QString, QStringList, EmptyDictionary, EmptyVariantArray, BooleanParameter>;

    struct Reply
    {
        bool ok = false;
        QString errorName;    // a D-Bus error name such as org.freedesktop.DBus.Error.ServiceUnknown
        QString errorMessage;
    };

    virtual ~BusMethodCaller() = default;
    // Calls the method and waits up to timeoutMs for its reply; never starts a missing service.
    virtual Reply call(const QString &service, const QString &path, const QString &interface, const QString &method,
                       const std::vector<Argument> &arguments, int timeoutMs) = 0;
};

} // namespace dialwise
