#pragma once

#include "detection/PanelView.h"

#include <memory>

class QObject;

namespace dialwise {

// A PanelView for a caller on another thread than the strip's: the detector asks for strips on
// its own thread, while widgets may only be made, shown and closed on the GUI thread. Every
// showPanel() and close() is queued to the GUI thread in the order asked, and a click on the
// strip is queued back to the caller's thread. Nothing here ever waits for the other thread.
class QueuedPanelView final : public PanelView
{
public:
    // inner: the real strips, used only on guiContext's thread. Clicks run on callerContext's
    // thread; both contexts must outlive every strip.
    QueuedPanelView(std::shared_ptr<PanelView> inner, QObject *guiContext, QObject *callerContext);

    std::unique_ptr<Panel> showPanel(const StripPlacement &placement, const QString &phoneNumber,
                                     std::function<void()> onClick) override;

private:
    std::shared_ptr<PanelView> m_inner;
    QObject *m_guiContext;
    QObject *m_callerContext;
};

} // namespace dialwise
