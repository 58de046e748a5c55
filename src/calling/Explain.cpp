#include "calling/Explain.h"

#include "calling/PhoneNumbers.h"
#include "calling/VoiceAddress.h"

namespace dialwise {

Explanation explain(QStringView input, const QUrl &voiceBase)
{
    Explanation result;
    const std::optional<QString> normalized = phone::normalize(input);
    if (!normalized) {
        result.text = QStringLiteral("normalised: (none)\ndial digits: (none)\naddress: (none)\n");
        return result;
    }
    const QString digits = phone::dialDigits(*normalized);
    const std::optional<QUrl> address = voice::newCallUrl(voiceBase, digits);
    result.dialable = true;
    result.text = QStringLiteral("normalised: ") + *normalized + u'\n'
        + QStringLiteral("display: ") + phone::formatForDisplay(*normalized) + u'\n'
        + QStringLiteral("dial digits: ") + digits + u'\n'
        + QStringLiteral("address: ") + (address ? address->toString(QUrl::FullyEncoded) : QStringLiteral("(none)")) + u'\n';
    return result;
}

} // namespace dialwise
