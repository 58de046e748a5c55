#pragma once

#include <QString>
#include <QStringView>
#include <QUrl>

namespace dialwise {

// What Dialwise would dial for a piece of text, line by line, as `dialwise --explain` prints it:
//   normalised: N        ("(none)" when the text is not a phone number)
//   display: D           (only when there is a number)
//   dial digits: G       ("1" put in front of exactly ten)
//   address: A           ("(none)" when no address can be formed)
struct Explanation
{
    QString text;    // the lines above, each ending in a line feed
    bool dialable = false;
};

Explanation explain(QStringView input, const QUrl &voiceBase);

} // namespace dialwise
