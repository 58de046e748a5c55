#pragma once

#include "detection/ClickSource.h"
#include "detection/ElementTree.h"
#include "detection/PanelView.h"
#include "detection/Screen.h"
#include "detection/TextNumberFinder.h"
#include "detection/WindowList.h"

#include <QHash>
#include <QList>
#include <QRectF>
#include <QString>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace dialwise {

// A desktop written down in advance: element trees, window list, screen, clicks and the strip, all
// answering from data. The replay tool plays recorded situations on it, and the tests build their
// situations with it (tests/fakes names each piece after the interface it fakes).

class ScriptedElementTree final : public ElementTree
{
public:
    static constexpr int kAttributeCount = int(std::size(dialwise::kAttributes));
    // The attribute's slot, by the name scenarios write it ("AXRole"), or -1 for a name the
    // detector never reads.
    static int attributeIndex(QStringView name);

    // Adds an element with no attributes. The name is for the caller's own bookkeeping.
    ElementHandle add(const QString &name = QString());
    // Sets what reading attribute answers (with success).
    void set(const ElementHandle &element, Attribute attribute, AttributeValue value);
    // The same by the name scenarios write ("AXRole"); a name the detector never reads is ignored.
    void set(const ElementHandle &element, QStringView name, AttributeValue value);
    // Makes reading attribute fail with code (non-zero).
    void setError(const ElementHandle &element, Attribute attribute, int code);
    void setError(const ElementHandle &element, QStringView name, int code);
    // Convenience for trees: children, with each child's "AXParent" pointing back.
    void setChildren(const ElementHandle &parent, const QList<ElementHandle> &children);
    QString name(const ElementHandle &element) const;

    // Text an element shows: its characters, the unit its offsets count in and where each is
    // drawn, one rectangle per offset (top-left origin).
    struct Text
    {
        QString value;
        OffsetUnit unit = OffsetUnit::CodePoints;
        QList<QRectF> characterRects;
        // What the element says its length is, when that is not the truth (a count in bytes).
        std::optional<int> characterCount;
    };
    // A plain layout: each offset one advance wide, a line feed starts the next line one
    // lineHeight lower. origin is the first line's top-left corner, or its top-right corner for
    // right-to-left text, whose offsets run leftwards.
    struct FixedLayout
    {
        QPointF origin;
        double advance = 8;
        double lineHeight = 16;
        bool rightToLeft = false;
    };
    static QList<QRectF> layOut(const QString &text, OffsetUnit unit, const FixedLayout &layout);
    void setText(const ElementHandle &element, Text text);
    void clearText(const ElementHandle &element);

    void setApplication(qint64 pid, const ElementHandle &element) { m_applications[pid] = element; }
    // Hit testing: the first rectangle in the order added that holds the point (x <= px < x + w,
    // y <= py < y + h) names the element there.
    void addHitRect(const QRectF &rect, const ElementHandle &element) { m_hitRects.push_back({rect, element}); }

    int copyAttributeValue(const ElementHandle &element, Attribute attribute, AttributeValue &value) override;
    int copyElementAtPosition(float x, float y, ElementHandle &element) override;
    ElementHandle applicationElement(qint64 pid) override;
    bool isProcessTrusted(bool prompt) override;
    // Text: the hit rectangles name the element, then the nearest ancestor with text (by
    // "AXParent"), else the first descendant with text (by "AXChildren") drawn at the point.
    int copyTextElementAtPosition(float x, float y, ElementHandle &element) override;
    int copyTextFacts(const ElementHandle &element, std::optional<TextFacts> &facts) override;
    int copyOffsetAtPosition(const ElementHandle &element, float x, float y, int &offset) override;
    int copyText(const ElementHandle &element, const TextSpan &span, QString &text) override;
    int copyRangeExtents(const ElementHandle &element, const TextSpan &span, QRectF &bounds) override;

    bool trusted = true;
    int trustChecksWithPrompt = 0;
    std::function<void(bool prompt)> onTrustCheck;
    // Every point copyElementAtPosition was asked about, in order.
    std::vector<std::pair<float, float>> hitTestPoints;
    qint64 attributeReads = 0;
    // Every point the text path asked about, in order, and how many text requests it made.
    std::vector<std::pair<float, float>> textHitTestPoints;
    qint64 textRequests = 0;

private:
    struct Node;
    Node *node(const ElementHandle &element) const;
    const Text *textOf(const ElementHandle &element) const;
    ElementHandle textHolding(const ElementHandle &element, float x, float y, int depth) const;

    std::vector<std::shared_ptr<Node>> m_nodes;
    std::map<qint64, ElementHandle> m_applications;
    std::vector<std::pair<QRectF, ElementHandle>> m_hitRects;
};

class ScriptedWindowList final : public WindowList
{
public:
    std::optional<QList<WindowInfo>> onScreenWindows() override
    {
        ++windowQueries;
        return windows;
    }
    std::optional<FrontmostApplication> frontmostApplication() override { return frontmost; }

    // No value: the query fails.
    std::optional<QList<WindowInfo>> windows = QList<WindowInfo>();
    std::optional<FrontmostApplication> frontmost;
    int windowQueries = 0;

    // A well-formed entry.
    static WindowInfo window(quint32 number, qint32 pid, const QString &owner, int layer, const QRectF &bounds);
};

class ScriptedScreen final : public Screen
{
public:
    std::optional<double> mainScreenHeight() override { return height; }
    QPointF pointerPosition() override { return pointer; }

    std::optional<double> height = 1080.0;
    QPointF pointer; // top-left origin

    // A pointer given bottom-left-origin against the main screen, as recorded scenarios write it.
    void setPointerFromBottomLeft(const QPointF &point) { pointer = QPointF(point.x(), height.value_or(0) - point.y()); }
};

class ScriptedClickSource final : public ClickSource
{
public:
    std::optional<Token> addLeftMouseDownListener(std::function<void()> handler) override;
    void removeListener(Token token) override { m_listeners.erase(token); }
    QString unavailableReason() const override { return failInstall ? unavailable : QString(); }

    // A left mouse-down: every installed listener runs.
    void click();
    int listenerCount() const { return int(m_listeners.size()); }

    bool failInstall = false;
    QString unavailable = QStringLiteral("no clicks on this scripted desktop");

private:
    Token m_next = 1;
    std::map<Token, std::function<void()>> m_listeners;
};

// Remembers every strip it was asked for, and can click the one still open.
class RecordingPanelView final : public PanelView
{
public:
    struct Shown
    {
        StripPlacement placement;
        QString phoneNumber;
        std::function<void()> onClick;
        bool closed = false;
    };

    std::unique_ptr<Panel> showPanel(const StripPlacement &placement, const QString &phoneNumber,
                                     std::function<void()> onClick) override;

    // The strip on screen, if any.
    Shown *current();
    // Clicks the open strip's button; false when none is open.
    bool clickCurrent();

    std::vector<std::shared_ptr<Shown>> shown;
    std::function<void(const Shown &)> onShown;
    std::function<void(const Shown &)> onClosed;
};

} // namespace dialwise
