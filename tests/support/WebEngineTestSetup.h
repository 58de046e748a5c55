#pragma once

#include <QByteArray>
#include <QCoreApplication>

namespace dialwise::testing {

// Sets Qt WebEngine up the way the tests and benchmarks run it inside a private Xvfb desktop.
// Call before the QApplication is made.
//  - a fake camera and microphone, so media requests reach the window's own permission handling
//    instead of failing for want of a device; not the fake permission UI, which would answer
//    the page before our handler could;
//  - no GPU under Xvfb, and no /dev/shm (small in containers).
inline void prepareWebEngineForTests()
{
    QByteArray flags = qgetenv("QTWEBENGINE_CHROMIUM_FLAGS");
    flags += " --use-fake-device-for-media-stream --disable-gpu --disable-dev-shm-usage";
    qputenv("QTWEBENGINE_CHROMIUM_FLAGS", flags.trimmed());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
}

} // namespace dialwise::testing
