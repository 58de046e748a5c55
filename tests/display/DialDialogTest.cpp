// The "Dial Number" dialog as a user meets it: typing and Return, the buttons, the layout, and
// what CallManager does with each answer.
#include "tests/fakes/CallManagerRig.h"
#include "webcall/DialDialog.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <functional>

using dialwise::CallManager;
using dialwise::DialDialog;
using dialwise::testing::CallManagerRig;

namespace {

DialDialog *shownModalDialog()
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        auto *dialog = qobject_cast<DialDialog *>(widget);
        if (dialog && dialog->isVisible() && dialog->isModal())
            return dialog;
    }
    return nullptr;
}

// Runs `act` on the dialog once it is showing modally. Polls, because the dialog's modal loop
// starts some event-loop turns after the call that opens it; gives up (closing any dialog, so
// the test fails instead of hanging) after five seconds.
void whenDialogShows(std::function<void(DialDialog *)> act, int attemptsLeft = 500)
{
    QTimer::singleShot(10, [act, attemptsLeft] {
        if (DialDialog *dialog = shownModalDialog()) {
            act(dialog);
            return;
        }
        if (attemptsLeft > 0) {
            whenDialogShows(act, attemptsLeft - 1);
            return;
        }
        ADD_FAILURE() << "the dialog never showed modally";
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            if (auto *dialog = qobject_cast<QDialog *>(widget))
                dialog->reject();
        }
    });
}

// Real dialog, fake everything else: the dialog decides what the user typed, the fakes record
// what CallManager then did with it.
class RealDialogDesktop final : public dialwise::DesktopServices
{
public:
    explicit RealDialogDesktop(std::shared_ptr<dialwise::testing::FakeDesktopServices> recorder)
        : m_recorder(std::move(recorder))
    {
    }
    void openUrl(const QUrl &url) override { m_recorder->openUrl(url); }
    void showNotification(const QString &title, const QString &body) override { m_recorder->showNotification(title, body); }
    std::optional<QString> runDialDialog() override
    {
        DialDialog dialog;
        return dialog.ask();
    }

private:
    std::shared_ptr<dialwise::testing::FakeDesktopServices> m_recorder;
};

std::unique_ptr<dialwise::CallManager> managerWithRealDialog(const CallManagerRig &rig)
{
    CallManager::Services services = rig.services();
    services.desktop = std::make_shared<RealDialogDesktop>(rig.desktop);
    return std::make_unique<dialwise::CallManager>(services);
}

} // namespace

TEST(DialDialog, layout_showsTextsFieldAndButtonsInOrder)
{
    DialDialog dialog;
    dialog.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));

    QStringList labels;
    for (QLabel *label : dialog.findChildren<QLabel *>())
        labels << label->text();
    EXPECT_TRUE(labels.contains(QStringLiteral("Dial Number")));
    EXPECT_TRUE(labels.contains(QStringLiteral("Enter a phone number to call:")));

    EXPECT_EQ(dialog.numberField()->size(), QSize(250, 24));
    EXPECT_EQ(dialog.numberField()->placeholderText(), QStringLiteral("+1 (555) 123-4567"));
    EXPECT_EQ(dialog.focusWidget(), dialog.numberField()) << "typing goes straight into the field";

    EXPECT_EQ(dialog.callButton()->text(), QStringLiteral("Call"));
    EXPECT_EQ(dialog.cancelButton()->text(), QStringLiteral("Cancel"));
    EXPECT_TRUE(dialog.callButton()->isDefault());
    EXPECT_LT(dialog.callButton()->x(), dialog.cancelButton()->x()) << "\"Call\" comes first";

    // Kept for people to look at; the assertions above are what the test checks.
    QDir().mkpath(QStringLiteral("screenshots"));
    EXPECT_TRUE(dialog.grab().save(QStringLiteral("screenshots/dial-dialog.png")));
}

TEST(DialDialog, returnInField_answersTextAsTyped)
{
    whenDialogShows([](DialDialog *dialog) {
        QTest::keyClicks(dialog->numberField(), QStringLiteral(" 555 123 4567 "));
        QTest::keyClick(dialog->numberField(), Qt::Key_Return);
    });
    DialDialog dialog;
    EXPECT_EQ(dialog.ask(), std::optional<QString>(QStringLiteral(" 555 123 4567 ")));
}

TEST(DialDialog, cancelButtonAndEscape_answerNothing)
{
    for (bool escape : {false, true}) {
        whenDialogShows([escape](DialDialog *dialog) {
            QTest::keyClicks(dialog->numberField(), QStringLiteral("5551234567"));
            if (escape)
                QTest::keyClick(dialog->numberField(), Qt::Key_Escape);
            else
                QTest::mouseClick(dialog->cancelButton(), Qt::LeftButton);
        });
        DialDialog dialog;
        EXPECT_EQ(dialog.ask(), std::nullopt) << (escape ? "Escape" : "Cancel");
    }
}

TEST(DialDialog, callWithNumber_placesOneCall)
{
    CallManagerRig rig;
    auto manager = managerWithRealDialog(rig);
    whenDialogShows([](DialDialog *dialog) {
        QTest::keyClicks(dialog->numberField(), QStringLiteral("(555) 123-4567"));
        QTest::mouseClick(dialog->callButton(), Qt::LeftButton);
    });
    manager->showDialDialog();

    ASSERT_EQ(manager->callHistory().size(), 1);
    EXPECT_EQ(manager->callHistory().front().number, QStringLiteral("5551234567"));
    ASSERT_EQ(rig.desktop->openedUrls.size(), 1);
    EXPECT_EQ(rig.desktop->openedUrls.front().toString(QUrl::FullyEncoded),
              QStringLiteral("https://voice.google.com/u/0/calls?a=nc,%2B15551234567"));
}

TEST(DialDialog, callWithEmptyField_doesNothing)
{
    CallManagerRig rig;
    auto manager = managerWithRealDialog(rig);
    whenDialogShows([](DialDialog *dialog) { QTest::mouseClick(dialog->callButton(), Qt::LeftButton); });
    manager->showDialDialog();

    EXPECT_TRUE(manager->callHistory().isEmpty());
    EXPECT_TRUE(rig.desktop->openedUrls.isEmpty());
    EXPECT_TRUE(rig.desktop->notifications.isEmpty());
}

TEST(DialDialog, callWithBlanksOnly_reportsInvalidNumber)
{
    CallManagerRig rig;
    auto manager = managerWithRealDialog(rig);
    whenDialogShows([](DialDialog *dialog) {
        QTest::keyClicks(dialog->numberField(), QStringLiteral("   "));
        QTest::keyClick(dialog->numberField(), Qt::Key_Return);
    });
    manager->showDialDialog();

    EXPECT_TRUE(manager->callHistory().isEmpty());
    ASSERT_EQ(rig.desktop->notifications.size(), 1);
    EXPECT_EQ(rig.desktop->notifications.front().body, QStringLiteral("Invalid phone number:    "));
}

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
