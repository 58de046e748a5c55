// When closing the window tells the person that Dialwise keeps running.
#include "app/HiddenWindowNotice.h"

#include <gtest/gtest.h>

using dialwise::HiddenWindowNotice;

namespace {

TEST(HiddenWindowNoticeTest, noTray_postsAtTheFirstCloseOnly)
{
    HiddenWindowNotice notice;
    EXPECT_TRUE(notice.shouldPost(false));
    EXPECT_FALSE(notice.shouldPost(false));
    EXPECT_FALSE(notice.shouldPost(false));
}

TEST(HiddenWindowNoticeTest, tray_neverPosts)
{
    HiddenWindowNotice notice;
    EXPECT_FALSE(notice.shouldPost(true));
    EXPECT_FALSE(notice.shouldPost(true));
}

TEST(HiddenWindowNoticeTest, trayGoneLater_postsAtTheFirstCloseWithoutIt)
{
    HiddenWindowNotice notice;
    EXPECT_FALSE(notice.shouldPost(true));
    EXPECT_TRUE(notice.shouldPost(false));
    EXPECT_FALSE(notice.shouldPost(false));
    EXPECT_FALSE(notice.shouldPost(true));
}

TEST(HiddenWindowNoticeTest, text_saysHowToGetTheWindowBackAndHowToQuit)
{
    const QString body = QString::fromLatin1(HiddenWindowNotice::kBody);
    EXPECT_TRUE(body.contains("application menu"));
    EXPECT_TRUE(body.contains("running dialwise"));
    EXPECT_TRUE(body.contains("dialwise --quit"));
    EXPECT_EQ(QString::fromLatin1(HiddenWindowNotice::kSummary), QString("Dialwise keeps running"));
}

} // namespace
