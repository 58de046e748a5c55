// A Qt Widgets program with phone numbers in its ordinary text, for the text path's tests: a
// QLabel and a QTextEdit, each holding the text given on the command line.
//   --label TEXT   the label's text (plain text)
//   --edit TEXT    the editor's document (plain text; "\n" in TEXT starts a new line)
// It prints "READY" once the window is shown.
#include <QApplication>
#include <QCommandLineParser>
#include <QLabel>
#include <QTextEdit>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>

#include <cstdio>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("text-fixture-qt"));
    QCommandLineParser parser;
    const QCommandLineOption label(QStringLiteral("label"), QStringLiteral("Label text."), QStringLiteral("text"),
                                   QStringLiteral("Call +1 555 010 0000 today"));
    const QCommandLineOption edit(QStringLiteral("edit"), QStringLiteral("Editor text."), QStringLiteral("text"),
                                  QStringLiteral("Office hours\nRing 555-010-0000 ext. 12 today\nThanks"));
    parser.addOptions({label, edit});
    parser.process(app);

    QWidget window;
    window.setWindowTitle(QStringLiteral("Text fixture"));
    auto *layout = new QVBoxLayout(&window);
    auto *labelWidget = new QLabel(parser.value(label));
    // Selectable text: what a reader can copy, the way a mail or chat program shows it.
    labelWidget->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(labelWidget);
    auto *editWidget = new QTextEdit;
    editWidget->setPlainText(parser.value(edit).replace(QStringLiteral("\\n"), QStringLiteral("\n")));
    layout->addWidget(editWidget);
    window.resize(480, 260);
    window.show();
    QTimer::singleShot(0, [] {
        std::puts("READY");
        std::fflush(stdout);
    });
    return QApplication::exec();
}
