#include "tests/support/RecordingOpener.h"

#include <QFile>

namespace dialwise::testing {

RecordingOpener::RecordingOpener()
{
    if (!m_bin.isValid())
        return;
    QFile script(m_bin.filePath(QStringLiteral("xdg-open")));
    if (!script.open(QIODevice::WriteOnly))
        return;
    script.write("#!/bin/sh\nprintf '%s\\n' \"$*\" >> \"" + logPath().toUtf8() + "\"\n");
    script.close();
    if (!script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
        return;
    m_previousPath = qgetenv("PATH");
    qputenv("PATH", m_bin.path().toUtf8() + ':' + m_previousPath);
    m_valid = true;
}

RecordingOpener::~RecordingOpener()
{
    if (m_valid)
        qputenv("PATH", m_previousPath);
}

QString RecordingOpener::logPath() const
{
    return m_bin.filePath(QStringLiteral("opened.log"));
}

QStringList RecordingOpener::openedUrls() const
{
    QFile log(logPath());
    if (!log.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(log.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

void RecordingOpener::clear()
{
    QFile::remove(logPath());
}

} // namespace dialwise::testing
