// Which texts mark the phone-number popup, how its tree is walked, and which number comes out.
#include "tests/detection/MonitorRig.h"
#include "tests/fakes/FakePhoneFinder.h"
#include "tests/support/NamedRows.h"

#include <gtest/gtest.h>

using dialwise::ElementHandle;
using dialwise::DataDetectorMonitor;
using dialwise::testing::FakePhoneFinder;
using dialwise::testing::MonitorRig;
using DDSearchContext = DataDetectorMonitor::DDSearchContext;

namespace {

// --- isDDRelated -------------------------------------------------------------------------------

struct RelatedRow
{
    const char *name;
    const char *text;
    bool related;
};

const RelatedRow kRelatedRows[] = {
    {"MessageAlone_False", "Message", false},
    {"MessageWithPlusNumber_True", "Message +1 (555) 010-0000", true},
    {"MessagesUpperWithPlus_True", "MESSAGES +", true},
    {"FaceTimeAudio_True", "FaceTime Audio", true},
    {"FacetimeLower_True", "facetime", true},
    {"LargeType_True", "Show in Large Type", true},
    {"AddToContacts_True", "Add to Contacts", true},
    {"AddToContact_True", "add to contact", true},
    {"AddThisToMyContact_False", "Add this to my contact list", false},
    {"Empty_False", "", false},
    {"Call_False", "Call", false},
    {"PlusWithoutMessage_False", "+1 (555) 010-0000", false},
    {"InsideWord_True", "xfacetimex", true},
};

using IsDDRelatedTest = ::testing::TestWithParam<RelatedRow>;

TEST_P(IsDDRelatedTest, AnswersAsExpected)
{
    MonitorRig rig;
    EXPECT_EQ(rig.make().isDDRelated(QString::fromUtf8(GetParam().text)), GetParam().related);
}

INSTANTIATE_TEST_SUITE_P(Texts, IsDDRelatedTest, ::testing::ValuesIn(kRelatedRows), dialwise::testing::RowName());

// --- checkDDLabel ------------------------------------------------------------------------------

TEST(CheckDDLabelTest, messagesSetsHasMessage_withoutPlus)
{
    MonitorRig rig;
    DDSearchContext context;
    rig.make().checkDDLabel(QStringLiteral("Messages"), context);
    EXPECT_TRUE(context.hasMessage);
    EXPECT_FALSE(context.hasFacetime);
    EXPECT_FALSE(context.hasLargeType);
    EXPECT_FALSE(context.hasAddContact);
}

TEST(CheckDDLabelTest, addAndContactApart_setsHasAddContact)
{
    MonitorRig rig;
    DDSearchContext context;
    rig.make().checkDDLabel(QStringLiteral("Add this to my contact list"), context);
    EXPECT_TRUE(context.hasAddContact);
    EXPECT_FALSE(context.hasMessage);
}

TEST(CheckDDLabelTest, flagsOnlyEverTurnOn_andFirstNumberStays)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    DDSearchContext context;
    monitor.checkDDLabel(QStringLiteral("FaceTime and Large Type"), context);
    monitor.checkDDLabel(QStringLiteral("Call (555) 123-4567"), context);
    monitor.checkDDLabel(QStringLiteral("nothing here"), context);
    monitor.checkDDLabel(QStringLiteral("+1 (555) 010-0000"), context);
    EXPECT_TRUE(context.hasFacetime);
    EXPECT_TRUE(context.hasLargeType);
    EXPECT_EQ(context.phoneNumber, QStringLiteral("(555) 123-4567"));
}

TEST(CheckDDLabelTest, numberComesFromUnchangedLabel)
{
    auto finder = std::make_shared<FakePhoneFinder>();
    finder->numbers.insert(QStringLiteral("Call ABC"), QStringLiteral("ABC"));
    MonitorRig rig;
    rig.finder = finder;
    DDSearchContext context;
    rig.make().checkDDLabel(QStringLiteral("Call ABC"), context);
    EXPECT_EQ(finder->asked, QStringList{QStringLiteral("Call ABC")});
    EXPECT_EQ(context.phoneNumber, QStringLiteral("ABC"));
}

// --- searchAXTree ------------------------------------------------------------------------------

// A made monitor on a fake tree, and the context its searches fill.
class SearchAXTreeTest : public ::testing::Test
{
protected:
    // How deep a scan's search goes below where it starts.
    static constexpr int kMaxDepth = 12;

    // Searches from start, which stands at depth, into `context`.
    void search(ElementHandle start, int depth = 0) { monitor.searchAXTree(start, context, depth, kMaxDepth); }

    // A chain of `length` elements below its first, each titled with its depth.
    QList<ElementHandle> chain(int length)
    {
        QList<ElementHandle> nodes;
        for (int depth = 0; depth <= length; ++depth) {
            ElementHandle e = rig.tree->add();
            rig.tree->set(e, u"AXTitle", QStringLiteral("depth %1").arg(depth));
            if (!nodes.isEmpty())
                rig.tree->setChildren(nodes.last(), {e});
            nodes.append(e);
        }
        return nodes;
    }

    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    DDSearchContext context;
};

TEST_F(SearchAXTreeTest, readsTextsInOrder_roleDescriptionOnlyAsLabel)
{
    ElementHandle e = rig.tree->add();
    rig.tree->set(e, u"AXHelp", QStringLiteral("help"));
    rig.tree->set(e, u"AXValue", QStringLiteral("value"));
    rig.tree->set(e, u"AXDescription", QStringLiteral("description"));
    rig.tree->set(e, u"AXTitle", QStringLiteral("title"));
    rig.tree->set(e, u"AXRoleDescription", QStringLiteral("Message"));
    rig.tree->set(e, u"AXSubrole", QStringLiteral("ignored"));
    search(e);
    EXPECT_EQ(context.allLabels, (QStringList{"title", "description", "value", "help", "(role:Message)"}));
    EXPECT_FALSE(context.hasMessage); // the role description is never a signature
}

TEST_F(SearchAXTreeTest, emptyTextsAndWrongTypesAndFailuresAreSkipped)
{
    ElementHandle e = rig.tree->add();
    rig.tree->set(e, u"AXTitle", QString());
    rig.tree->set(e, u"AXDescription", 12.0);
    rig.tree->set(e, u"AXValue", QStringLiteral("kept"));
    rig.tree->setError(e, u"AXValue", -25205);
    rig.tree->set(e, u"AXHelp", QStringLiteral("help"));
    search(e);
    EXPECT_EQ(context.allLabels, QStringList{"help"});
}

TEST_F(SearchAXTreeTest, depthBound12_readsDepth11_neverDepth12)
{
    const QList<ElementHandle> nodes = chain(13);
    search(nodes.first());
    ASSERT_EQ(context.allLabels.size(), 12);
    EXPECT_EQ(context.allLabels.last(), QStringLiteral("depth 11"));
    EXPECT_FALSE(context.allLabels.contains(QStringLiteral("depth 12")));
}

TEST_F(SearchAXTreeTest, depthAtOrBeyondMax_readsNothing)
{
    const QList<ElementHandle> nodes = chain(2);
    search(nodes.first(), 12);
    search(nodes.first(), 13);
    EXPECT_TRUE(context.allLabels.isEmpty());
    EXPECT_EQ(rig.tree->attributeReads, 0);
}

TEST_F(SearchAXTreeTest, childrenThenVisibleChildren_sharedChildVisitedTwice)
{
    ElementHandle root = rig.tree->add();
    ElementHandle a = rig.element("AXButton", QRectF(), "A");
    ElementHandle b = rig.element("AXButton", QRectF(), "B");
    ElementHandle c = rig.element("AXButton", QRectF(), "C");
    ElementHandle a1 = rig.element("AXButton", QRectF(), "A1");
    rig.tree->set(a, u"AXChildren", QList<ElementHandle>{a1});
    rig.tree->set(root, u"AXVisibleChildren", QList<ElementHandle>{c, a});
    rig.tree->set(root, u"AXChildren", QList<ElementHandle>{a, b});
    search(root);
    EXPECT_EQ(context.allLabels, (QStringList{"A", "A1", "B", "C", "A", "A1"}));
}

TEST_F(SearchAXTreeTest, firstNumberInVisitingOrderWins)
{
    // Root's own help text comes before any child; a child's subtree before its sibling; the
    // visible children after every ordinary child.
    ElementHandle root = rig.tree->add();
    rig.tree->set(root, u"AXTitle", QStringLiteral("no number"));
    ElementHandle first = rig.element("AXGroup", QRectF(), "nothing");
    ElementHandle deep = rig.tree->add();
    rig.tree->set(deep, u"AXValue", QStringLiteral("(555) 111-1111"));
    rig.tree->set(first, u"AXChildren", QList<ElementHandle>{deep});
    ElementHandle second = rig.tree->add();
    rig.tree->set(second, u"AXTitle", QStringLiteral("(555) 222-2222"));
    ElementHandle visible = rig.tree->add();
    rig.tree->set(visible, u"AXTitle", QStringLiteral("(555) 333-3333"));
    rig.tree->set(root, u"AXChildren", QList<ElementHandle>{first, second});
    rig.tree->set(root, u"AXVisibleChildren", QList<ElementHandle>{visible});
    search(root);
    EXPECT_EQ(context.phoneNumber, QStringLiteral("(555) 111-1111"));

    // And within one element the title comes before the help text.
    ElementHandle both = rig.tree->add();
    rig.tree->set(both, u"AXHelp", QStringLiteral("(555) 444-4444"));
    rig.tree->set(both, u"AXTitle", QStringLiteral("(555) 555-5555"));
    DDSearchContext own;
    monitor.searchAXTree(both, own, 0, 12);
    EXPECT_EQ(own.phoneNumber, QStringLiteral("(555) 555-5555"));
}

// --- extractPhoneNumber / extractPhoneFromLabels ------------------------------------------------

TEST(ExtractPhoneTest, firstLabelWithANumber_includingRoleEntries)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    EXPECT_EQ(monitor.extractPhoneFromLabels({}), QString());
    EXPECT_EQ(monitor.extractPhoneFromLabels({"FaceTime", "Message"}), QString());
    EXPECT_EQ(monitor.extractPhoneFromLabels({"FaceTime", "(role:(555) 123-4567)", "+1 (555) 010-0000"}),
              QStringLiteral("(555) 123-4567"));
    EXPECT_EQ(monitor.extractPhoneNumber(QStringLiteral("Call 555-010-0000 now or (555) 123-4567")),
              QStringLiteral("555-010-0000"));
}

} // namespace
