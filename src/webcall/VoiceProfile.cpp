#include "webcall/VoiceProfile.h"

#include <QByteArrayList>
#include <QDir>
#include <QStandardPaths>
#include <QWebEngineProfile>

namespace dialwise {

QWebEngineProfile *createPersistentVoiceProfile(QObject *parent)
{
    auto *profile = new QWebEngineProfile(QStringLiteral("Dialwise"), parent);
    const QString data = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    const QString cache = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    profile->setPersistentStoragePath(QDir(data).filePath(QStringLiteral("webengine")));
    profile->setCachePath(QDir(cache).filePath(QStringLiteral("webengine")));
    profile->setHttpCacheType(QWebEngineProfile::DiskHttpCache);
    // Google's sign-in cookies are largely session cookies; without forcing, the user would
    // have to sign in again after every restart.
    profile->setPersistentCookiesPolicy(QWebEngineProfile::ForcePersistentCookies);
    prepareVoiceProfile(profile);
    return profile;
}

void keepHiddenPagesAwake()
{
    constexpr char kFeature[] = "IntensiveWakeUpThrottling";
    constexpr char kDisableFeatures[] = "--disable-features=";
    // Chromium reads only the last --disable-features, so the feature joins one already given.
    QByteArrayList flags = qgetenv("QTWEBENGINE_CHROMIUM_FLAGS").split(' ');
    flags.removeAll(QByteArray());
    bool joined = false;
    for (auto it = flags.rbegin(); it != flags.rend(); ++it) {
        if (!it->startsWith(kDisableFeatures))
            continue;
        if (!it->mid(qsizetype(sizeof(kDisableFeatures) - 1)).split(',').contains(kFeature))
            *it += QByteArray(",") + kFeature;
        joined = true;
        break;
    }
    if (!joined)
        flags.append(QByteArray(kDisableFeatures) + kFeature);
    qputenv("QTWEBENGINE_CHROMIUM_FLAGS", flags.join(' '));
}

void prepareVoiceProfile(QWebEngineProfile *profile)
{
    profile->setHttpUserAgent(QString::fromLatin1(kVoiceUserAgent));
}

} // namespace dialwise
