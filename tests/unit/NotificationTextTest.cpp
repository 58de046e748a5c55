// The one rule for notification bodies: the user reads the text as given, whatever the server.
#include "platform/linux/NotificationText.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct BodyRow
{
    const char *name;
    const char16_t *body;
    bool serverRendersMarkup;
    const char16_t *expected;
};

const BodyRow kBodyRows[] = {
    {"plain_markupServer_unchanged", u"Calling (555) 123-4567...", true, u"Calling (555) 123-4567..."},
    {"plain_plainServer_unchanged", u"Calling (555) 123-4567...", false, u"Calling (555) 123-4567..."},
    {"angles_markupServer_escaped", u"Invalid phone number: <555>", true, u"Invalid phone number: &lt;555&gt;"},
    {"angles_plainServer_asTyped", u"Invalid phone number: <555>", false, u"Invalid phone number: <555>"},
    {"entity_markupServer_ampersandEscaped", u"&amp; & <b>", true, u"&amp;amp; &amp; &lt;b&gt;"},
    {"quotes_markupServer_kept", u"\"555\" '1'", true, u"\"555\" '1'"},
    {"arrow_markupServer_kept", u"Dialwise \u2192 Google Voice", true, u"Dialwise \u2192 Google Voice"},
    {"empty", u"", true, u""},
};

using NotificationBodyTest = ::testing::TestWithParam<BodyRow>;

TEST_P(NotificationBodyTest, bodyReadsAsTyped)
{
    const BodyRow &row = GetParam();
    const QStringList capabilities = row.serverRendersMarkup
        ? QStringList{QStringLiteral("body"), QStringLiteral("body-markup")}
        : QStringList{QStringLiteral("body")};
    EXPECT_EQ(dialwise::notificationBody(QString::fromUtf16(row.body), capabilities), QString::fromUtf16(row.expected));
}

INSTANTIATE_TEST_SUITE_P(Rows, NotificationBodyTest, ::testing::ValuesIn(kBodyRows), dialwise::testing::RowName());

} // namespace
