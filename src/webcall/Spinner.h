#pragma once

#include <QTimer>
#include <QWidget>

namespace dialwise {

// A small busy indicator: twelve spokes with a bright one going round. It only draws; the
// window decides when it is shown and when it turns. Its timer runs only while it can be seen:
// a spinner in a hidden window (a load running while Dialwise sits in the tray) keeps its state
// but does not wake the process 12 times a second.
class Spinner final : public QWidget
{
    Q_OBJECT

public:
    explicit Spinner(QWidget *parent = nullptr);

    void startAnimation();
    void stopAnimation();
    // Whether it is meant to turn, seen or not.
    bool isAnimating() const { return m_animating; }
    // Whether its timer runs: animating and visible.
    bool isTicking() const { return m_timer.isActive(); }

    // The drawn square plus the contents margins; it is drawn inside contentsRect().
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    QTimer m_timer;
    int m_step = 0;
    bool m_animating = false;
};

} // namespace dialwise
