#include "QuietStart.h"

#include <QLoggingCategory>
#include <QString>

#include <cstdio>
#include <cstring>

// Warning threshold above warnings: silent unless QT_LOGGING_RULES asks for it.
Q_LOGGING_CATEGORY(lcQtNotes, dialwise::quietstart::kQtNotesCategory, QtCriticalMsg)

namespace dialwise::quietstart {
namespace {

// Printed at every start on a display drawn in software, or when run as root, and nothing the
// user can or needs to act on: the drawing path line already says what was chosen and why.
constexpr QStringView kHarmlessNotes[] = {
    u"QXcbIntegration: Cannot create platform OpenGL context, neither GLX nor EGL are enabled",
    u"No suitable graphics backend found",
    u"Sandboxing disabled by user.",
};

QtMessageHandler g_previous = nullptr;

void passOn(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (g_previous) {
        g_previous(type, context, message);
        return;
    }
    const QByteArray line = qFormatLogMessage(type, context, message).toLocal8Bit() + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
}

void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (const char *category = categoryFor(context.category, message)) {
        if (!lcQtNotes().isEnabled(type))
            return;
        QMessageLogContext moved(context.file, context.line, context.function, category);
        passOn(type, moved, message);
        return;
    }
    passOn(type, context, message);
}

} // namespace

const char *categoryFor(const char *category, QStringView message)
{
    if (!category || std::strcmp(category, "default") != 0)
        return nullptr;
    for (QStringView note : kHarmlessNotes) {
        if (message.trimmed() == note)
            return kQtNotesCategory;
    }
    return nullptr;
}

void install()
{
    QLoggingCategory::setFilterRules(QString::fromLatin1(kDefaultRules));
    g_previous = qInstallMessageHandler(handleMessage);
}

} // namespace dialwise::quietstart
