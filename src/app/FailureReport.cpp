#include "app/FailureReport.h"

#include <QByteArray>

#include <unistd.h>

namespace dialwise {

void printText(const QString &text, FILE *stream)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
}

bool printFailure(const QString &error)
{
    printText(QStringLiteral("dialwise: ") + error + u'\n', stderr);
    return !isatty(STDERR_FILENO);
}

} // namespace dialwise
