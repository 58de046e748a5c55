#include "webcall/PageTitle.h"

namespace dialwise {
namespace {

// More than the web app ever shows ("99+"); a longer run of digits is not a count.
constexpr int kMaxDigits = 4;

} // namespace

int unreadCountInTitle(const QString &title)
{
    const QString text = title.trimmed();
    if (!text.startsWith(u'('))
        return 0;
    qsizetype end = 1;
    while (end < text.size() && text.at(end).isDigit() && text.at(end).unicode() < 128)
        ++end;
    const qsizetype digits = end - 1;
    if (digits == 0 || digits > kMaxDigits)
        return 0;
    if (end < text.size() && text.at(end) == u'+')
        ++end;
    if (end >= text.size() || text.at(end) != u')')
        return 0;
    // "(202) 555-0123" is a phone number, not 202 unread.
    const QString rest = text.mid(end + 1).trimmed();
    if (!rest.isEmpty() && rest.at(0).isDigit())
        return 0;
    return text.mid(1, digits).toInt();
}

} // namespace dialwise
