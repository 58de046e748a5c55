#include "VoiceProfile.h"

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

void prepareVoiceProfile(QWebEngineProfile *profile)
{
    profile->setHttpUserAgent(QString::fromLatin1(kVoiceUserAgent));
}

} // namespace dialwise
