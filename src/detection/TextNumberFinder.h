#pragma once

#include <QString>

#include <optional>

namespace dialwise {

// How a program counts the offsets of its text. AT-SPI's Text interface speaks in characters,
// Unicode code points (an emoji is one character), and GTK, Firefox and Chromium keep to that; Qt's
// bridge answers UTF-16 units (an emoji is two) in its counts and offsets alike.
enum class OffsetUnit { CodePoints, Utf16Units };

// A stretch of a program's text in its offsets (see OffsetUnit). start is the first character,
// end one past the last.
struct TextSpan
{
    int start = 0;
    int end = 0;

    int length() const { return end - start; }
    bool contains(int offset) const { return offset >= start && offset < end; }
    friend bool operator==(const TextSpan &, const TextSpan &) = default;
};

// The phone number written where the user clicked.
struct ClickedNumber
{
    TextSpan span;  // where it lies, in the offsets of the text it was found in
    QString number; // exactly as written there ("+1 (555) 010-0000")
};

// Finds the phone number the user clicked in a program's ordinary text: libphonenumber's matcher
// over the text around the click, at the leniency the popup path uses, keeping only the match that
// holds the clicked character.
class TextNumberFinder final
{
public:
    // How many characters either side of the click are read. A number libphonenumber matches is
    // far shorter (at most 17 national digits, 3 of country code, an extension and a few
    // separators between groups), so a number holding the click always lies wholly inside, and a
    // line of ordinary text is read whole; a megabyte-long document still costs only this much.
    static constexpr int kReadRadius = 256;

    // region: where numbers without a country code are taken to be ("US", "GB"); empty: the
    // user's locale, or "US" when the locale names no country.
    explicit TextNumberFinder(QString region = QString());

    QString region() const { return m_region; }

    // Which characters to read of a text characterCount long, clicked at clickOffset: up to
    // kReadRadius either side of the click, clamped to the text. Empty when the offset lies
    // outside the text (AT-SPI answers -1 where no character is under the point).
    static TextSpan spanToRead(int characterCount, int clickOffset);

    // The number in text that holds the character at clickOffset; nothing when the offset lies
    // outside every number or outside the text. Offsets count in unit.
    std::optional<ClickedNumber> numberAt(const QString &text, int clickOffset,
                                          OffsetUnit unit = OffsetUnit::CodePoints) const;

    // The same over an excerpt of a longer text, as read with spanToRead: excerpt holds the
    // characters from excerptStart on of a text characterCount long, clickOffset and the answer
    // are offsets in the whole text. A number cut by the excerpt's edge (where the text goes on)
    // is not taken, since its missing part may change what is dialled.
    std::optional<ClickedNumber> numberAt(const QString &excerpt, int excerptStart, int characterCount,
                                          int clickOffset, OffsetUnit unit = OffsetUnit::CodePoints) const;

    // How long text is, counted in unit.
    static qsizetype length(const QString &text, OffsetUnit unit);

private:
    QString m_region;
};

} // namespace dialwise
