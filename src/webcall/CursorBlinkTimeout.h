#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>

class QWidget;

namespace dialwise {

// Stops a text field's cursor blinking once the user has left it alone for a while, as GNOME
// does (gtk-cursor-blink-timeout, 10 s): the cursor then stays drawn, and a window left open
// on the desktop all day does not repaint twice a second for nothing. Typing, clicking or
// focusing the field makes it blink again.
//
// Qt has one blink period for the whole application; it is set to "no blinking" only while the
// watched field has the focus, and given back when the field loses it.
class CursorBlinkTimeout final : public QObject
{
    Q_OBJECT

public:
    // GNOME's default.
    static constexpr std::chrono::milliseconds kDefaultTimeout{10000};

    explicit CursorBlinkTimeout(QWidget *field, std::chrono::milliseconds timeout = kDefaultTimeout);
    ~CursorBlinkTimeout() override;

    // Whether the field's cursor has stopped blinking for now.
    bool isResting() const { return m_resting; }
    // Whether the countdown to resting runs (the field has the focus and was used recently).
    bool isCounting() const { return m_countdown.isActive(); }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void wake();
    void rest();
    void giveBack();

    QWidget *m_field;
    QTimer m_countdown;
    int m_flashTime = 0;
    bool m_resting = false;
};

} // namespace dialwise
