#include "webcall/CursorBlinkTimeout.h"

#include <QEvent>
#include <QGuiApplication>
#include <QStyleHints>
#include <QWidget>

namespace dialwise {

CursorBlinkTimeout::CursorBlinkTimeout(QWidget *field, std::chrono::milliseconds timeout)
    : QObject(field)
    , m_field(field)
{
    m_countdown.setSingleShot(true);
    m_countdown.setInterval(timeout);
    connect(&m_countdown, &QTimer::timeout, this, &CursorBlinkTimeout::rest);
    field->installEventFilter(this);
    if (field->hasFocus())
        wake();
}

CursorBlinkTimeout::~CursorBlinkTimeout()
{
    giveBack();
}

bool CursorBlinkTimeout::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_field) {
        switch (event->type()) {
        case QEvent::FocusIn:
        case QEvent::KeyPress:
        case QEvent::MouseButtonPress:
        case QEvent::InputMethod:
            wake();
            break;
        case QEvent::FocusOut:
        case QEvent::Hide:
            m_countdown.stop();
            giveBack();
            break;
        default:
            break;
        }
    }
    return QObject::eventFilter(watched, event);
}

void CursorBlinkTimeout::wake()
{
    giveBack();
    m_countdown.start();
}

void CursorBlinkTimeout::rest()
{
    if (m_resting)
        return;
    QStyleHints *hints = QGuiApplication::styleHints();
    m_flashTime = hints->cursorFlashTime();
    m_resting = true;
    // The field follows the change at once: Qt's line control listens for it while focused.
    hints->setCursorFlashTime(0);
}

void CursorBlinkTimeout::giveBack()
{
    if (!m_resting)
        return;
    m_resting = false;
    QGuiApplication::styleHints()->setCursorFlashTime(m_flashTime);
}

} // namespace dialwise
