#pragma once

#include "app/RendererChoice.h"

#include <QByteArray>

namespace dialwise {

// Picks the drawing path before the application object exists (Qt reads it only then) and puts
// it into effect; one log line says which path and why. Environment: DIALWISE_RENDERER =
// software | hardware | auto (the default).
class RendererSetup final
{
public:
    // Probes (unless told), decides, and sets Qt Quick's backend and Chromium's flags.
    static RendererSetup beforeApplication();
    // Gives back what only Qt's start-up needed to see, so programs Dialwise opens later
    // (a browser, xdg-open) do not inherit it.
    void applicationCreated();

    const RendererChoice &choice() const { return m_choice; }

private:
    RendererChoice m_choice;
    bool m_setGlIntegration = false;
};

} // namespace dialwise
