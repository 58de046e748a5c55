#pragma once

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

namespace dialwise {

// Reads the X11 primary selection without ever waiting for its owner on the main thread. The
// owner is another program, and one that never answers used to freeze Dialwise for 15 s per
// request; here the question goes out on a connection of our own, the answer is picked up by the
// event loop when it comes, and after kAnswerTimeoutMs the request ends with no text.
class X11SelectionReader final : public QObject
{
    Q_OBJECT

public:
    // Long enough for any live program to answer (they do within milliseconds), short enough
    // that a hung owner costs the user no more than a second.
    static constexpr int kAnswerTimeoutMs = 1000;

    using Done = std::function<void(std::optional<QString>)>;

    // True when X is where Dialwise runs (DISPLAY set, Qt on xcb).
    static bool available();

    // Asks for the selection as text; `done` is called once, later, from the event loop: with
    // the text, or no value when there is no selection, no text in it, or no answer in time. A
    // selection longer than maxLength is not read whole: `done` gets its first maxLength + 1
    // characters, enough for the caller to see that it is too long.
    static void read(qsizetype maxLength, Done done);
};

} // namespace dialwise
