#include "app/RendererSetup.h"

#include "platform/linux/GlProbe.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QQuickWindow>
#include <QSGRendererInterface>

Q_LOGGING_CATEGORY(lcRenderer, "dialwise.renderer", QtInfoMsg)

namespace dialwise {
namespace {

// A healthy driver answers in tens of milliseconds (Mesa's llvmpipe here: see docs/benchmarks.md);
// one that takes longer than this is as good as none, and start-up must not wait for it.
constexpr std::chrono::milliseconds kProbeLimit{1500};

// Chromium without the GPU: no GPU process work, software compositing into shared memory that
// Qt Quick's software backend draws as an image.
constexpr const char *kSoftwareChromiumFlags[] = {"--disable-gpu", "--disable-gpu-compositing"};

void appendChromiumFlags()
{
    QByteArray flags = qgetenv("QTWEBENGINE_CHROMIUM_FLAGS");
    for (const char *flag : kSoftwareChromiumFlags) {
        if (!flags.split(' ').contains(QByteArray(flag)))
            flags += QByteArray(" ") + flag;
    }
    qputenv("QTWEBENGINE_CHROMIUM_FLAGS", flags.trimmed());
}

} // namespace

RendererSetup RendererSetup::beforeApplication()
{
    RendererSetup setup;
    GlProbeResult probed;
    bool didProbe = false;
    setup.m_choice = chooseRenderer(qEnvironmentVariable("DIALWISE_RENDERER"), qEnvironmentVariable("QT_XCB_GL_INTEGRATION"),
                                    [&] {
                                        didProbe = true;
                                        probed = probeGl(kProbeLimit);
                                        if (!probed.answered)
                                            return GlOffer{GlOffer::Kind::none, probed.failure};
                                        return GlOffer{classifyGlRenderer(probed.renderer, probed.accelerated),
                                                       QStringLiteral("%1 (%2)").arg(probed.renderer, probed.via)};
                                    });

    if (setup.m_choice.path == RendererChoice::Path::software) {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        // Shared contexts are for handing OpenGL textures between Qt and Chromium; with no
        // OpenGL, asking for them only makes Qt try (and complain about) a context it cannot have.
        QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts, false);
        appendChromiumFlags();
        // Nothing in this process draws with OpenGL now; without this Qt would still load the
        // driver (llvmpipe brings LLVM and a pool of threads) just to find contexts it never uses.
        if (!qEnvironmentVariableIsSet("QT_XCB_GL_INTEGRATION")) {
            qputenv("QT_XCB_GL_INTEGRATION", "none");
            setup.m_setGlIntegration = true;
        }
    }

    const QString probeNote = didProbe ? QStringLiteral(" [probe %1 ms]").arg(double(probed.took.count()) / 1000.0, 0, 'f', 1)
                                       : QString();
    qCInfo(lcRenderer).noquote() << pathName(setup.m_choice.path) << "rendering:" << setup.m_choice.reason + probeNote;
    return setup;
}

void RendererSetup::applicationCreated()
{
    if (m_setGlIntegration)
        qunsetenv("QT_XCB_GL_INTEGRATION");
}

} // namespace dialwise
