// A stand-in for a program with a recognised phone number, in Qt Widgets: clicking the number
// opens, 100 ms later, a 260x120 borderless popup near the click whose accessible texts are the
// number, "FaceTime", "Large Type" and "Add to Contacts" (the popup the detector looks for).
//   --popup-at-start   the popup is already open at start, at (400, 500)
//   --no-number        the popup carries no number
//   --elements N       N more labels in the main window (a program with a big element tree)
//   --at X Y           the main window's top-left at (X, Y) in root coordinates (default 100 100)
// A click anywhere else in the main window closes the popup, as clicking away from a real one does.
// It prints "READY x y w h" (the number's rectangle, root coordinates) once shown, "POPUP x y w h"
// each time the popup is mapped and "CLOSED" each time a click closes it.
#include <QApplication>
#include <QDialog>
#include <QGridLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include <cstdio>

namespace {

constexpr auto kNumber = "+1 (555) 010-4477";
// The delay a data-detector popup takes to appear after the click.
constexpr int kPopupDelayMs = 100;

void printLine(const char *tag, const QRect &rect)
{
    std::printf("%s %d %d %d %d\n", tag, rect.x(), rect.y(), rect.width(), rect.height());
    std::fflush(stdout);
}

class Popup final : public QDialog
{
public:
    explicit Popup(bool withNumber)
        // Override-redirect and no grab: like the real popup, it must not steal the next click.
        : QDialog(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint |
                               Qt::WindowDoesNotAcceptFocus)
    {
        setAttribute(Qt::WA_ShowWithoutActivating);
        setFixedSize(260, 120);
        auto *layout = new QVBoxLayout(this);
        layout->setContentsMargins(6, 4, 6, 4);
        layout->setSpacing(0);
        if (withNumber)
            layout->addWidget(new QLabel(QString::fromLatin1(kNumber)));
        for (const char *text : {"FaceTime", "Large Type", "Add to Contacts"}) {
            auto *button = new QPushButton(QString::fromLatin1(text));
            button->setFlat(true);
            layout->addWidget(button);
        }
    }

    void showAt(const QPoint &topLeft)
    {
        move(topLeft);
        show();
        printLine("POPUP", frameGeometry());
    }

    void close()
    {
        if (!isVisible())
            return;
        hide();
        std::printf("CLOSED\n");
        std::fflush(stdout);
    }
};

class MainWindow final : public QWidget
{
public:
    explicit MainWindow(Popup *popup)
        : m_popup(popup)
    {
    }

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        if (event->button() == Qt::LeftButton)
            m_popup->close();
    }

private:
    Popup *m_popup;
};

class NumberLabel final : public QLabel
{
public:
    NumberLabel(Popup *popup)
        : QLabel(QString::fromLatin1(kNumber))
        , m_popup(popup)
    {
    }

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        if (event->button() != Qt::LeftButton)
            return;
        const QPoint click = event->globalPosition().toPoint();
        // Just below and a little left of the click, as data-detector popups sit.
        QTimer::singleShot(kPopupDelayMs, m_popup, [this, click] { m_popup->showAt(click + QPoint(-40, 14)); });
    }

private:
    Popup *m_popup;
};

} // namespace

int main(int argc, char **argv)
{
    // The bridge otherwise waits for a screen reader to switch accessibility on.
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    QApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const bool atStart = arguments.contains(QStringLiteral("--popup-at-start"));
    const bool withNumber = !arguments.contains(QStringLiteral("--no-number"));
    const qsizetype elementsAt = arguments.indexOf(QStringLiteral("--elements"));
    const int elements = elementsAt >= 0 ? arguments.value(elementsAt + 1).toInt() : 0;
    const qsizetype atAt = arguments.indexOf(QStringLiteral("--at"));
    const QPoint origin = atAt >= 0 ? QPoint(arguments.value(atAt + 1).toInt(), arguments.value(atAt + 2).toInt())
                                    : QPoint(100, 100);

    Popup popup(withNumber);
    MainWindow window(&popup);
    window.setWindowTitle(QStringLiteral("Phone link fixture (Qt)"));
    auto *layout = new QVBoxLayout(&window);
    auto *number = new NumberLabel(&popup);
    QFont font = number->font();
    font.setPointSize(16);
    number->setFont(font);
    layout->addWidget(number);
    if (elements > 0) {
        auto *grid = new QGridLayout;
        grid->setSpacing(0);
        const int columns = 40;
        for (int i = 0; i < elements; ++i) {
            auto *label = new QLabel(QString::number(i));
            QFont small = label->font();
            small.setPointSize(4);
            label->setFont(small);
            grid->addWidget(label, i / columns, i % columns);
        }
        layout->addLayout(grid);
    }
    layout->addStretch();
    window.setGeometry(QRect(origin, QSize(600, 400)));
    window.show();
    if (atStart)
        popup.showAt(QPoint(400, 500));
    QTimer::singleShot(0, &window, [number] {
        printLine("READY", QRect(number->mapToGlobal(QPoint(0, 0)), number->size()));
    });
    return app.exec();
}
