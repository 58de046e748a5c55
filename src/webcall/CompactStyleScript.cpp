#include "webcall/CompactStyleScript.h"

#include <QStringList>

namespace dialwise {

QString compactStyleScript()
{
    // Built line by line so the indentation stays readable here and exact in the page. The
    // selectors follow the Google Voice page's own structure: the banner carries
    // data-upgrade-banner, and its container is the first child of the first child below the
    // page root's c-wiz.
    static const QStringList lines = {
        QStringLiteral("(function() {"),
        QStringLiteral("    var style = document.getElementById('dialwise-style');"),
        QStringLiteral("    if (style) return;"),
        QStringLiteral("    style = document.createElement('style');"),
        QStringLiteral("    style.id = 'dialwise-style';"),
        QStringLiteral("    style.textContent = `"),
        QStringLiteral("        /* Hide the upgrade banner */"),
        QStringLiteral("        [data-upgrade-banner], .gvPageRoot > div > div > c-wiz > div > div:first-child > div:first-child {"),
        QStringLiteral("            display: none !important;"),
        QStringLiteral("        }"),
        QStringLiteral("    `;"),
        QStringLiteral("    document.head.appendChild(style);"),
        QStringLiteral("})();"),
    };
    return lines.join(QLatin1Char('\n'));
}

} // namespace dialwise
