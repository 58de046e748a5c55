#include "detection/CompanionTitle.h"

#include "calling/CallManager.h"

namespace dialwise::companiontitle {

QString callText()
{
    return QStringLiteral("  Call with Dialwise");
}

bool isCallable(const QString &phoneNumber)
{
    // "unknown" is what a strategy reports for a popup whose texts held no number.
    return !phoneNumber.isEmpty() && phoneNumber != u"unknown";
}

QString numberText(const QString &phoneNumber, const CallManager &callManager)
{
    return isCallable(phoneNumber) ? callManager.formatForDisplay(phoneNumber) : QString();
}

} // namespace dialwise::companiontitle
