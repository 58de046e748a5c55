#include "app/Autostart.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTextStream>

namespace dialwise {
namespace {

constexpr char kEntryName[] = DIALWISE_APP_ID ".desktop";

// Characters the Desktop Entry format reserves on an Exec line; a path holding any of them is
// quoted.
bool isReserved(QChar c)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#`=()");
    return reserved.contains(c);
}

// Reads `Key=value` from the [Desktop Entry] group; enough for the two switches desktops use to
// turn a login entry off without deleting it.
QString desktopEntryValue(const QString &path, const QString &key)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    QTextStream in(&file);
    bool inMainGroup = false;
    while (!in.atEnd()) {
        const QString line = in.readLine().trimmed();
        if (line.startsWith(u'[')) {
            inMainGroup = line == u"[Desktop Entry]";
            continue;
        }
        if (!inMainGroup)
            continue;
        const qsizetype equals = line.indexOf(u'=');
        if (equals > 0 && line.left(equals).trimmed() == key)
            return line.mid(equals + 1).trimmed();
    }
    return {};
}

} // namespace

Autostart::Autostart(const QString &configHome)
    : m_configHome(configHome)
{
}

std::optional<QString> Autostart::configHomeFrom(const QString &xdgConfigHome, const QString &home)
{
    if (!xdgConfigHome.isEmpty() && QDir::isAbsolutePath(xdgConfigHome))
        return xdgConfigHome;
    if (!home.isEmpty() && QDir::isAbsolutePath(home))
        return home + QStringLiteral("/.config");
    return std::nullopt;
}

QString Autostart::entryPath() const
{
    return m_configHome + QStringLiteral("/autostart/") + QString::fromLatin1(kEntryName);
}

Autostart::State Autostart::state() const
{
    const QString path = entryPath();
    if (!QFileInfo(path).isFile())
        return State::off;
    if (desktopEntryValue(path, QStringLiteral("Hidden")) == u"true"
        || desktopEntryValue(path, QStringLiteral("X-GNOME-Autostart-enabled")) == u"false")
        return State::off;
    return State::on;
}

Autostart::Outcome Autostart::enable(const QString &program) const
{
    const std::optional<QString> text = entryText(program);
    if (!text)
        return {1, {}, QStringLiteral("cannot start %1 from a login entry: its path holds a control character or a %, "
                                      "which desktops do not read back as written").arg(program)};

    const QString path = entryPath();
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder))
        return {1, {}, QStringLiteral("cannot create the folder %1").arg(folder)};
    // Written whole or not at all: a half-written entry would start nothing at the next login.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return {1, {}, QStringLiteral("cannot write %1: %2").arg(path, file.errorString())};
    file.write(text->toUtf8());
    if (!file.commit())
        return {1, {}, QStringLiteral("cannot write %1: %2").arg(path, file.errorString())};
    return {0, QStringLiteral("on: %1 starts Dialwise hidden at login\n").arg(path), {}};
}

Autostart::Outcome Autostart::disable() const
{
    const QString path = entryPath();
    if (!QFileInfo::exists(path) && !QFileInfo(path).isSymLink())
        return {0, QStringLiteral("off: %1 does not exist\n").arg(path), {}};
    QFile file(path);
    if (!file.remove())
        return {1, {}, QStringLiteral("cannot remove %1: %2").arg(path, file.errorString())};
    return {0, QStringLiteral("off: removed %1\n").arg(path), {}};
}

Autostart::Outcome Autostart::query() const
{
    return {0, state() == State::on ? QStringLiteral("on\n") : QStringLiteral("off\n"), {}};
}

std::optional<QString> Autostart::execProgram(const QString &program)
{
    bool plain = true;
    for (const QChar c : program) {
        // A "%" would have to be written "%%", and GLib looks for the program under the
        // doubled name before it starts anything, so such an entry would never run.
        if (c.category() == QChar::Other_Control || c == u'%')
            return std::nullopt;
        if (isReserved(c))
            plain = false;
    }
    if (plain)
        return program;
    // Quoting rule first (\ before " ` $ \ inside double quotes), then the rule every string
    // value follows (a backslash is written as two), as readers undo them in the opposite order.
    QString quoted;
    for (const QChar c : program) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
            quoted += u'\\';
        quoted += c;
    }
    return u'"' + quoted.replace(u'\\', QStringLiteral("\\\\")) + u'"';
}

std::optional<QString> Autostart::entryText(const QString &program)
{
    const std::optional<QString> exec = execProgram(program);
    if (!exec)
        return std::nullopt;
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Version=1.4\n"
                          "Name=Dialwise\n"
                          "Comment=Start Dialwise in the tray at login\n"
                          "Exec=%1 --hidden\n"
                          "Icon=" DIALWISE_APP_ID "\n"
                          "Terminal=false\n"
                          "NoDisplay=true\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(*exec);
}

} // namespace dialwise
