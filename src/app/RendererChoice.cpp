#include "app/RendererChoice.h"

namespace dialwise {

QString pathName(RendererChoice::Path path)
{
    return path == RendererChoice::Path::hardware ? QStringLiteral("hardware") : QStringLiteral("software");
}

GlOffer::Kind classifyGlRenderer(const QString &renderer, int accelerated)
{
    if (accelerated == 0)
        return GlOffer::Kind::software;
    // Mesa's CPU drivers and the other CPU rasterisers a Linux desktop may hand out.
    static const char *const softwareNames[] = {"llvmpipe", "softpipe", "swrast", "software rasterizer", "lavapipe",
                                                 "swiftshader", "gdi generic"};
    for (const char *name : softwareNames) {
        if (renderer.contains(QLatin1String(name), Qt::CaseInsensitive))
            return GlOffer::Kind::software;
    }
    if (renderer.trimmed().isEmpty() && accelerated != 1)
        return GlOffer::Kind::none;
    return GlOffer::Kind::hardware;
}

RendererChoice chooseRenderer(const QString &override, const QString &qtGlIntegration,
                              const std::function<GlOffer()> &probe)
{
    const QString wanted = override.trimmed().toLower();
    if (wanted == QLatin1String("software"))
        return {RendererChoice::Path::software, QStringLiteral("DIALWISE_RENDERER=software")};
    if (wanted == QLatin1String("hardware")) {
        if (qtGlIntegration.trimmed().toLower() == QLatin1String("none"))
            return {RendererChoice::Path::software,
                    QStringLiteral("DIALWISE_RENDERER=hardware, but QT_XCB_GL_INTEGRATION=none leaves Qt without OpenGL")};
        return {RendererChoice::Path::hardware, QStringLiteral("DIALWISE_RENDERER=hardware")};
    }
    QString prefix;
    if (!wanted.isEmpty() && wanted != QLatin1String("auto"))
        prefix = QStringLiteral("DIALWISE_RENDERER=%1 is not software, hardware or auto; ").arg(override.trimmed());

    if (qtGlIntegration.trimmed().toLower() == QLatin1String("none"))
        return {RendererChoice::Path::software, prefix + QStringLiteral("QT_XCB_GL_INTEGRATION=none leaves Qt without OpenGL")};

    const GlOffer offer = probe ? probe() : GlOffer{GlOffer::Kind::none, QStringLiteral("nothing probed")};
    switch (offer.kind) {
    case GlOffer::Kind::hardware:
        return {RendererChoice::Path::hardware, prefix + QStringLiteral("OpenGL in hardware: %1").arg(offer.detail)};
    case GlOffer::Kind::software:
        return {RendererChoice::Path::software,
                prefix + QStringLiteral("OpenGL only in software: %1").arg(offer.detail)};
    case GlOffer::Kind::none:
        break;
    }
    return {RendererChoice::Path::software, prefix + QStringLiteral("no OpenGL: %1").arg(offer.detail)};
}

} // namespace dialwise
