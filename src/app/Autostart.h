#pragma once

#include <QString>

#include <optional>

namespace dialwise {

// The user's login entry: a desktop entry in the XDG autostart folder
// ($XDG_CONFIG_HOME/autostart) that starts Dialwise hidden, straight to the tray. Writing,
// removing and reading it is all `dialwise --autostart` does; QtCore only, so the launcher
// answers without loading the window.
class Autostart final
{
public:
    enum class State { on, off };

    // What one `dialwise --autostart ...` prints and how it exits.
    struct Outcome
    {
        int exitCode = 0;
        QString out; // for stdout
        QString error; // for stderr after "dialwise: "

        bool operator==(const Outcome &) const = default;
    };

    // configHome: the folder that holds autostart/ (normally configHomeFrom()).
    explicit Autostart(const QString &configHome);

    // $XDG_CONFIG_HOME when it is an absolute path (relative ones are to be ignored), else
    // $HOME/.config; no value when neither is usable.
    static std::optional<QString> configHomeFrom(const QString &xdgConfigHome, const QString &home);

    QString entryPath() const;

    // On when the entry exists and is not switched off the way desktops' session settings do it
    // (Hidden=true, X-GNOME-Autostart-enabled=false).
    State state() const;

    // Writes the entry so that it runs `program --hidden`; replaces an older one, which may
    // point at another copy of Dialwise.
    Outcome enable(const QString &program) const;
    // Removes the entry; already off is not an error.
    Outcome disable() const;
    // The answer to a bare --autostart: "on" or "off".
    Outcome query() const;

    // The entry's text for `program` (an absolute path); no value when the path cannot be
    // written on an Exec line so that desktops run it (a control character or "%" in it).
    static std::optional<QString> entryText(const QString &program);
    // `program` as the first word of an Exec line: bare when it is plain, else quoted and
    // escaped the way the Desktop Entry format wants.
    static std::optional<QString> execProgram(const QString &program);

private:
    QString m_configHome;
};

} // namespace dialwise
