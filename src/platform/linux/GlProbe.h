#pragma once

#include <QString>

#include <chrono>

namespace dialwise {

// What the session's OpenGL says about itself, found before Qt starts.
struct GlProbeResult
{
    // False when no renderer could be asked; `failure` then says why.
    bool answered = false;
    // The renderer's name: GL_RENDERER, or Mesa's device name when Mesa answers without a context.
    QString renderer;
    // The driver's own word on acceleration: 1 yes, 0 no, -1 not said.
    int accelerated = -1;
    // Which interface answered ("GLX", "EGL") or, when nothing did, why.
    QString via;
    QString failure;
    std::chrono::microseconds took{0};
};

// Asks the display's OpenGL (GLX on X11, EGL elsewhere or when Qt is told to use EGL) which
// renderer it has. The asking happens in a short-lived child process, so a driver that crashes
// or hangs costs the answer, never Dialwise: a crash, a hang past `limit` or a missing library
// all come back as answered = false. Call it before any thread is started (it forks).
GlProbeResult probeGl(std::chrono::milliseconds limit);

} // namespace dialwise
