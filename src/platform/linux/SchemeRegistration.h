#pragma once

#include <QString>
#include <QStringList>

namespace dialwise {

// Makes the desktop entry the default handler of the given URL schemes (xdg-mime), for the
// current user. Only where the entry is installed: pointing the schemes at a missing entry would
// leave links with no handler at all. Fire and forget: a desktop without xdg-utils simply keeps
// its current handlers. Answers whether the registration was started.
bool registerSchemeHandler(const QString &desktopEntry, const QStringList &schemes);

} // namespace dialwise
