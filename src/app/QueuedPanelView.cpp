#include "app/QueuedPanelView.h"

#include <QObject>

#include <atomic>

namespace dialwise {
namespace {

// The real strip, touched only on the GUI thread. Held by the queued calls as much as by the
// caller's handle, so that whichever goes last, the strip is closed and freed on the GUI thread.
struct GuiSide
{
    std::unique_ptr<Panel> panel;
    // Set by the caller as it closes: a strip closed before the GUI thread came round to showing
    // it is never shown at all, rather than flashing up for an instant.
    std::atomic<bool> closed = false;
};

// The caller's handle. `open` is read and written on the caller's thread only: a click that was
// already on its way when the caller closed the strip is dropped there, as the Panel promises.
class QueuedPanel final : public Panel
{
public:
    QueuedPanel(std::shared_ptr<GuiSide> gui, std::shared_ptr<bool> open, QObject *guiContext)
        : m_gui(std::move(gui))
        , m_open(std::move(open))
        , m_guiContext(guiContext)
    {
    }
    ~QueuedPanel() override { close(); }

    void close() override
    {
        if (!*m_open)
            return;
        *m_open = false;
        m_gui->closed = true;
        QMetaObject::invokeMethod(
            m_guiContext,
            [gui = m_gui] {
                if (gui->panel) {
                    gui->panel->close();
                    gui->panel.reset();
                }
            },
            Qt::QueuedConnection);
    }

private:
    std::shared_ptr<GuiSide> m_gui;
    std::shared_ptr<bool> m_open;
    QObject *m_guiContext;
};

} // namespace

QueuedPanelView::QueuedPanelView(std::shared_ptr<PanelView> inner, QObject *guiContext, QObject *callerContext)
    : m_inner(std::move(inner))
    , m_guiContext(guiContext)
    , m_callerContext(callerContext)
{
}

std::unique_ptr<Panel> QueuedPanelView::showPanel(const StripPlacement &placement, const QString &phoneNumber,
                                                  std::function<void()> onClick)
{
    auto gui = std::make_shared<GuiSide>();
    auto open = std::make_shared<bool>(true);
    // Shared, not copied, between the threads: the GUI thread only passes it on.
    auto click = std::make_shared<std::function<void()>>(std::move(onClick));
    QMetaObject::invokeMethod(
        m_guiContext,
        [inner = m_inner, gui, placement, phoneNumber, open, click, callerContext = m_callerContext] {
            if (gui->closed)
                return; // closed again before it could be shown
            gui->panel = inner->showPanel(placement, phoneNumber, [open, click, callerContext] {
                QMetaObject::invokeMethod(
                    callerContext,
                    [open, click] {
                        if (*open)
                            (*click)();
                    },
                    Qt::QueuedConnection);
            });
        },
        Qt::QueuedConnection);
    return std::make_unique<QueuedPanel>(std::move(gui), std::move(open), m_guiContext);
}

} // namespace dialwise
