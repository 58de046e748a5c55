#pragma once

#include <QTimer>
#include <QWidget>

namespace dialwise {

// A small busy indicator: twelve spokes with a bright one going round. It only draws; the
// window decides when it is shown and when it turns.
class Spinner final : public QWidget
{
    Q_OBJECT

public:
    explicit Spinner(QWidget *parent = nullptr);

    void startAnimation();
    void stopAnimation();
    bool isAnimating() const { return m_timer.isActive(); }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QTimer m_timer;
    int m_step = 0;
};

} // namespace dialwise
