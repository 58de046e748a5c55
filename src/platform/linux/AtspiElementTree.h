#pragma once

#include "detection/ElementTree.h"

#include <QHash>
#include <QList>
#include <QRect>
#include <QString>

#include <chrono>
#include <memory>

struct _AtspiAccessible; // libatspi's AtspiAccessible

namespace dialwise {

class X11Connection;

// Other programs' element trees through AT-SPI 2 (libatspi), translated into the detector's
// attribute names. Every request waits at most kCallTimeout for the other program (libatspi then
// pings the silent program once, bounded the same way); a program that let a request time out is
// then answered "cannot complete" at once for kUnresponsivePause, so a frozen program costs one
// time-out per scan, not one per attribute.
class AtspiElementTree final : public ElementTree
{
public:
    // Failure codes, stable because they reach the detector's log as numbers.
    static constexpr int kAttributeUnsupported = 1; // the element has no such attribute
    static constexpr int kNoValue = 2;              // the attribute exists but holds nothing now
    static constexpr int kCannotComplete = 3;       // the program did not answer, or is gone

    // Long enough for a busy toolkit to answer one small request, short enough that a program
    // that never answers costs a user no more than a blink.
    static constexpr std::chrono::milliseconds kCallTimeout{300};
    // Long enough to cover the rest of one click's scan attempts (1.5 s).
    static constexpr std::chrono::milliseconds kUnresponsivePause{2000};
    // After the accessibility bus went away, how often to look for its successor: a desktop
    // shell brings a new one up within a second or two, and each try while there is none costs
    // an X property read and a failed connect.
    static constexpr std::chrono::milliseconds kReconnectPause{1000};

    // x11 finds the topmost window at a point for copyElementAtPosition; null without X11.
    // Nothing is asked of the accessibility bus before the first request, so the tree may be made
    // on one thread and used on another: the thread of the first request is the one whose event
    // loop hears the bus from then on (and the only thread that may use the tree).
    explicit AtspiElementTree(std::shared_ptr<X11Connection> x11);
    ~AtspiElementTree() override;

    int copyAttributeValue(const ElementHandle &element, Attribute attribute, AttributeValue &value) override;
    int copyElementAtPosition(float x, float y, ElementHandle &element) override;
    ElementHandle applicationElement(qint64 pid) override;
    bool isProcessTrusted(bool prompt) override;

    // The text under a click. A program that has just laid out its page may answer "no character
    // here" or an empty rectangle to the first ask (Firefox does); one more ask this much later
    // gets the answer.
    static constexpr std::chrono::milliseconds kFirstAskRetry{20};
    int copyTextElementAtPosition(float x, float y, ElementHandle &element) override;
    int copyTextFacts(const ElementHandle &element, std::optional<TextFacts> &facts) override;
    int copyOffsetAtPosition(const ElementHandle &element, float x, float y, int &offset) override;
    int copyText(const ElementHandle &element, const TextSpan &span, QString &text) override;
    int copyRangeExtents(const ElementHandle &element, const TextSpan &span, QRectF &bounds) override;

    // The role names the detector uses for an AT-SPI role name: window, frame and dialog are
    // "AXWindow", popup menu and menu are "AXMenu", the rest "AX" + the name in CamelCase.
    static QString roleName(const QString &atspiRoleName);

private:
    struct Call;
    // Connects libatspi on first use and ties its bus to the calling thread's event loop; false
    // while there is no accessibility bus (every request then answers "cannot complete").
    bool connected();
    // Connects libatspi; after a lost bus, also brings its programs back (see the .cpp).
    bool connect();
    // The accessibility bus went away (its daemon ended, as when a desktop shell restarts):
    // libatspi and every program it knew are taken off it, to be connected afresh.
    void dropLostBus();
    // Keeps the element's program on the accessibility bus (see the .cpp); takes an AtspiAccessible.
    void keepOnSharedBus(_AtspiAccessible *accessible);
    void orderFrontToBack(QList<ElementHandle> &windows);
    // The topmost X window at a point: the window manager's client window (0 when no window is
    // there), its rectangle in root coordinates, its process, and that program's application
    // element (null when the program is not on the accessibility bus).
    struct WindowAt
    {
        unsigned long client = 0;
        QRect bounds;
        qint64 pid = 0;
        ElementHandle application;
    };
    int windowAt(float x, float y, WindowAt &found);
    // The program's top-level element for the topmost X window at a point, with the window's
    // device pixels per unit of the program's coordinates; null when there is none.
    int topLevelAt(float x, float y, ElementHandle &topLevel, double &scale);
    // Down through the hit tests from start to the deepest element at a point given in the
    // program's own coordinates.
    int hitTestDown(const ElementHandle &start, int x, int y, ElementHandle &deepest);
    // Whether an element has the Text interface; false too when the program does not answer.
    bool hasText(const ElementHandle &element);
    // Its extents in the program's own coordinates, if it answers with any.
    std::optional<QRectF> extentsOf(const ElementHandle &element);
    // One timed request to an element's Text interface: work(call, accessible, text) runs only
    // when the element has one; noText is the answer when it has none. The result code as for
    // every request.
    template <typename Work>
    int askText(const ElementHandle &element, QStringView what, int noText, Work &&work);
    friend struct Call;
    std::shared_ptr<X11Connection> m_x11;
    // Bus names of programs that let a call time out, with when to try them again.
    QHash<QString, std::chrono::steady_clock::time_point> m_unresponsiveUntil;
    bool m_connected = false;
    // Set while the bus has been lost and not yet found again.
    bool m_busLost = false;
    std::chrono::steady_clock::time_point m_nextConnectTry;
    // The GLib main context libatspi's bus is attached to (a GMainContext; null: the default one).
    void *m_busContext = nullptr;
    // libatspi's connection to the accessibility bus (a DBusConnection, our reference), while
    // connected.
    void *m_bus = nullptr;
    // Programs' private connections taken over from libatspi (DBusConnections).
    QList<void *> m_privateConnections;
};

} // namespace dialwise
