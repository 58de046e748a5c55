#pragma once

#include "app/RequestFailure.h"

#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

namespace dialwise {

// What to do with a call request from another program. The decision is made here, in plain
// QtCore, so every case is tested without a window; the application only carries it out.
struct InboundAction
{
    enum class Kind {
        call,   // showAndCall(number) in the web window
        ignore, // drop silently: links without a usable number get no message
        reject, // answer the requesting program with `failure`
    };

    Kind kind = Kind::ignore;
    QString number;
    RequestFailure failure = RequestFailure::noNumber; // meaningful for reject only

    static InboundAction call(QString number) { return {Kind::call, std::move(number)}; }
    static InboundAction ignore() { return {Kind::ignore, {}}; }
    static InboundAction reject(RequestFailure failure) { return {Kind::reject, {}, failure}; }

    bool operator==(const InboundAction &) const = default;
};

// What a link given on the command line will come to, told to the person before it is handed
// over: the running Dialwise itself drops links without a number silently.
enum class LinkOutcome {
    call,        // a number is in it
    noNumber,    // tel:, callto:, dialwise: or no scheme at all, but no number
    otherScheme, // mailto:, https:, ...: not a phone link, never handed over
};

class InboundRequests final
{
public:
    // A link opened with Dialwise (tel:, callto:, dialwise:, or anything else handed to it).
    // Links over 64 Ki characters, and numbers no one can dial (over 64 characters), are dropped.
    // "dialwise://...?number=V" calls V exactly as written once percent-decoded, unchecked: the
    // program that built the link has already decided what to dial. Everything else, and
    // dialwise links without a usable "number" item, is normalised as a whole.
    static InboundAction forUrl(QStringView url);

    // Text handed over to be searched for a number (--call-text, the primary selection).
    // No text at all is a failure of its own, so the user learns that nothing arrived; empty
    // text did arrive, it just holds no number.
    // Text over 64 Ki characters is refused as tooLarge, unread.
    static InboundAction forText(const std::optional<QString> &text);

    // The schemes Dialwise calls: tel:, callto: and dialwise:, any letter case. Text with no
    // scheme (a bare "555 0100") is normalised like a link and counts as handled.
    static LinkOutcome linkOutcome(QStringView link);
    // The link's scheme, lower-cased, or an empty string when it has none.
    static QString schemeOf(QStringView link);

    // Why an Open is too large to look at (more than 100 links, or one link over 64 Ki
    // characters), or no value when its links may be handled one by one.
    static std::optional<RequestFailure> checkOpen(const QStringList &uris);

private:
    // The value of the first query item named exactly "number", if that item has a value;
    // no value when the link cannot be parsed or holds no such item.
    static std::optional<QString> numberItem(QStringView url);
};

} // namespace dialwise
