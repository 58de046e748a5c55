// main() for the display tests: one QApplication for all tests of the executable, set up the
// way Qt WebEngine wants it inside a private Xvfb desktop.
#include <QApplication>
#include <QByteArray>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    // A fake camera and microphone, so media requests reach the page's own permission
    // handling (ours) instead of failing for want of a device; no GPU under Xvfb. Not the
    // fake permission UI: that would answer the page before our handler could.
    QByteArray flags = qgetenv("QTWEBENGINE_CHROMIUM_FLAGS");
    flags += " --use-fake-device-for-media-stream --disable-gpu --disable-dev-shm-usage";
    qputenv("QTWEBENGINE_CHROMIUM_FLAGS", flags.trimmed());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
