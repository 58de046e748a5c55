#include "app/QuietStart.h"

#include <QLoggingCategory>
#include <QString>

#include <cstdio>
#include <cstring>

// Warning threshold above warnings: silent unless QT_LOGGING_RULES asks for it.
Q_LOGGING_CATEGORY(lcQtNotes, dialwise::quietstart::kQtNotesCategory, QtCriticalMsg)

namespace dialwise::quietstart {
namespace {

struct HarmlessNote
{
    const char *category;
    QStringView text;
};

// Printed at every start on some desktops, and nothing the user can or needs to act on: the
// drawing path line already says that OpenGL is not used and why; the sandbox is off because
// Dialwise runs as root; and Qt's tray code asks a Wayland session for an X11-only signal when no
// tray host is there (the window and the notice on close do without it).
constexpr HarmlessNote kHarmlessNotes[] = {
    {"default", u"QXcbIntegration: Cannot create platform OpenGL context, neither GLX nor EGL are enabled"},
    {"default", u"No suitable graphics backend found"},
    {"default", u"Sandboxing disabled by user."},
    {"qt.core.qobject.connect",
     u"QObject::connect: No such signal QPlatformNativeInterface::systemTrayWindowChanged(QScreen*)"},
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
    if (!category)
        return nullptr;
    for (const HarmlessNote &note : kHarmlessNotes) {
        if (std::strcmp(category, note.category) == 0 && message.trimmed() == note.text)
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
