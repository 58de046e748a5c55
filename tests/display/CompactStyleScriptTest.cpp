// The page script that hides the Google Voice upgrade banner, character for character.
#include "webcall/CompactStyleScript.h"

#include <QStringList>

#include <gtest/gtest.h>

namespace {

struct ScriptLine
{
    int leadingSpaces;
    const char *text;
};

// Line by line, as the page gets it.
const ScriptLine kExpected[] = {
    {0, "(function() {"},
    {4, "var style = document.getElementById('dialwise-style');"},
    {4, "if (style) return;"},
    {4, "style = document.createElement('style');"},
    {4, "style.id = 'dialwise-style';"},
    {4, "style.textContent = `"},
    {8, "/* Hide the upgrade banner */"},
    {8, "[data-upgrade-banner], .gvPageRoot > div > div > c-wiz > div > div:first-child > div:first-child {"},
    {12, "display: none !important;"},
    {8, "}"},
    {4, "`;"},
    {4, "document.head.appendChild(style);"},
    {0, "})();"},
};

TEST(CompactStyleScript, script_is443CharactersWithoutFinalLineFeed)
{
    const QString script = dialwise::compactStyleScript();
    EXPECT_EQ(script.size(), 443);
    EXPECT_FALSE(script.endsWith(QLatin1Char('\n')));
    EXPECT_FALSE(script.contains(QLatin1Char('\r')));
    EXPECT_FALSE(script.contains(QLatin1Char('\t')));
}

TEST(CompactStyleScript, script_hasThirteenLinesAsWritten)
{
    const QStringList lines = dialwise::compactStyleScript().split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), static_cast<qsizetype>(std::size(kExpected)));
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const ScriptLine &expected = kExpected[i];
        const QString want = QString(expected.leadingSpaces, QLatin1Char(' ')) + QString::fromLatin1(expected.text);
        EXPECT_EQ(lines[i].toStdString(), want.toStdString()) << "line " << i + 1;
    }
}

} // namespace
