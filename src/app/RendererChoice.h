#pragma once

#include <QString>

#include <functional>

namespace dialwise {

// What the graphics stack of this session offers, as seen by a probe before Qt starts.
struct GlOffer
{
    enum class Kind {
        none,     // no OpenGL at all: no GLX/EGL, no driver, or the probe failed
        software, // OpenGL drawn by the CPU (llvmpipe, softpipe, swrast, ...)
        hardware, // a GPU driver
    };
    Kind kind = Kind::none;
    // What was found, for the log: the renderer's name, or why there is none.
    QString detail;
};

// How Dialwise draws its window and the web page.
struct RendererChoice
{
    enum class Path {
        // Qt Quick's software scene graph and Chromium without the GPU: no OpenGL anywhere.
        software,
        // Qt's OpenGL scene graph and Chromium's GPU compositing.
        hardware,
    };
    Path path = Path::software;
    // One sentence for the log: what decided it.
    QString reason;
};

// Decides the path. Composing a mostly still window through a CPU rasteriser costs more than
// drawing it in software directly (llvmpipe keeps a core busy re-composing), and without any
// OpenGL the OpenGL path does not start at all; so only real hardware gets the OpenGL path.
//   override: the value of DIALWISE_RENDERER ("software", "hardware", "auto" or empty; any other
//             value is reported in the reason and treated as "auto")
//   qtGlIntegration: the value of QT_XCB_GL_INTEGRATION; "none" means Qt itself will offer no
//             OpenGL, whatever the driver could do
//   probe: asked only when the decision depends on it
RendererChoice chooseRenderer(const QString &override, const QString &qtGlIntegration,
                              const std::function<GlOffer()> &probe);

// Sorts an OpenGL renderer name (GL_RENDERER or the Mesa device name) into software or
// hardware. accelerated: the driver's own answer when it gives one (Mesa's query_renderer).
GlOffer::Kind classifyGlRenderer(const QString &renderer, int accelerated = -1);

// "software" / "hardware", as the override spells them.
QString pathName(RendererChoice::Path path);

} // namespace dialwise
