#include "detection/replay/ScriptedDesktop.h"

#include <QVariantMap>

#include <cmath>

namespace dialwise {

struct ScriptedElementTree::Node final : public Element
{
    QString name;
    std::array<AttributeValue, kAttributeCount> values;
    std::array<int, kAttributeCount> errors{};
    std::optional<Text> text;
};

int ScriptedElementTree::attributeIndex(QStringView name)
{
    const std::optional<Attribute> attribute = attributeNamed(name);
    return attribute ? int(*attribute) : -1;
}

ElementHandle ScriptedElementTree::add(const QString &name)
{
    auto node = std::make_shared<Node>();
    node->name = name;
    m_nodes.push_back(node);
    return node;
}

ScriptedElementTree::Node *ScriptedElementTree::node(const ElementHandle &element) const
{
    // Only this tree's own elements ever come back here.
    return const_cast<Node *>(static_cast<const Node *>(element.get()));
}

void ScriptedElementTree::set(const ElementHandle &element, Attribute attribute, AttributeValue value)
{
    if (element)
        node(element)->values[size_t(attribute)] = std::move(value);
}

void ScriptedElementTree::set(const ElementHandle &element, QStringView name, AttributeValue value)
{
    if (const std::optional<Attribute> attribute = attributeNamed(name))
        set(element, *attribute, std::move(value));
}

void ScriptedElementTree::setError(const ElementHandle &element, Attribute attribute, int code)
{
    if (element)
        node(element)->errors[size_t(attribute)] = code;
}

void ScriptedElementTree::setError(const ElementHandle &element, QStringView name, int code)
{
    if (const std::optional<Attribute> attribute = attributeNamed(name))
        setError(element, *attribute, code);
}

void ScriptedElementTree::setChildren(const ElementHandle &parent, const QList<ElementHandle> &children)
{
    set(parent, Attribute::children, children);
    for (const ElementHandle &child : children)
        set(child, Attribute::parent, parent);
}

QString ScriptedElementTree::name(const ElementHandle &element) const
{
    return element ? node(element)->name : QString();
}

int ScriptedElementTree::copyAttributeValue(const ElementHandle &element, Attribute attribute, AttributeValue &value)
{
    ++attributeReads;
    value = std::monostate();
    const auto index = size_t(attribute);
    if (!element)
        return kSuccess;
    const Node *n = node(element);
    if (n->errors[index] != kSuccess)
        return n->errors[index];
    value = n->values[index];
    return kSuccess;
}

int ScriptedElementTree::copyElementAtPosition(float x, float y, ElementHandle &element)
{
    hitTestPoints.emplace_back(x, y);
    element = nullptr;
    for (const auto &[rect, candidate] : m_hitRects) {
        if (rect.x() <= x && x < rect.x() + rect.width() && rect.y() <= y && y < rect.y() + rect.height()) {
            element = candidate;
            break;
        }
    }
    return kSuccess;
}

ElementHandle ScriptedElementTree::applicationElement(qint64 pid)
{
    const auto it = m_applications.find(pid);
    if (it != m_applications.end())
        return it->second;
    // No element: every read of it answers nothing.
    return nullptr;
}

bool ScriptedElementTree::isProcessTrusted(bool prompt)
{
    if (prompt)
        ++trustChecksWithPrompt;
    if (onTrustCheck)
        onTrustCheck(prompt);
    return trusted;
}

QList<QRectF> ScriptedElementTree::layOut(const QString &text, OffsetUnit unit, const FixedLayout &layout)
{
    QList<QRectF> rects;
    int column = 0;
    int line = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char32_t c = text.at(i).unicode();
        const double x = layout.rightToLeft ? layout.origin.x() - (column + 1) * layout.advance
                                            : layout.origin.x() + column * layout.advance;
        const QRectF rect(x, layout.origin.y() + line * layout.lineHeight, layout.advance, layout.lineHeight);
        rects.append(rect);
        // A surrogate pair is one character in code points, two offsets in UTF-16 units.
        if (text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            ++i;
            if (unit == OffsetUnit::Utf16Units)
                rects.append(rect);
        }
        if (c == u'\n') {
            column = 0;
            ++line;
        } else {
            ++column;
        }
    }
    return rects;
}

void ScriptedElementTree::setText(const ElementHandle &element, Text text)
{
    if (element)
        node(element)->text = std::move(text);
}

void ScriptedElementTree::clearText(const ElementHandle &element)
{
    if (element)
        node(element)->text.reset();
}

const ScriptedElementTree::Text *ScriptedElementTree::textOf(const ElementHandle &element) const
{
    if (!element)
        return nullptr;
    const std::optional<Text> &text = node(element)->text;
    return text ? &*text : nullptr;
}

namespace {

// The offsets of a text, one string per offset: a character beyond the BMP is one string in
// code points, two halves in UTF-16 units.
QStringList offsetsOf(const QString &text, OffsetUnit unit)
{
    QStringList pieces;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (unit == OffsetUnit::CodePoints && text.at(i).isHighSurrogate() && i + 1 < text.size()
            && text.at(i + 1).isLowSurrogate()) {
            pieces.append(text.mid(i, 2));
            ++i;
        } else {
            pieces.append(text.mid(i, 1));
        }
    }
    return pieces;
}

bool holds(const QRectF &rect, float x, float y)
{
    return rect.x() <= x && x < rect.x() + rect.width() && rect.y() <= y && y < rect.y() + rect.height();
}

} // namespace

ElementHandle ScriptedElementTree::textHolding(const ElementHandle &element, float x, float y, int depth) const
{
    if (!element || depth > 32)
        return nullptr;
    if (const Text *text = textOf(element)) {
        for (const QRectF &rect : text->characterRects) {
            if (holds(rect, x, y))
                return element;
        }
    }
    const auto *children = std::get_if<QList<ElementHandle>>(&node(element)->values[size_t(Attribute::children)]);
    if (!children)
        return nullptr;
    for (const ElementHandle &child : *children) {
        if (ElementHandle found = textHolding(child, x, y, depth + 1))
            return found;
    }
    return nullptr;
}

int ScriptedElementTree::copyTextElementAtPosition(float x, float y, ElementHandle &element)
{
    textHitTestPoints.emplace_back(x, y);
    element = nullptr;
    ElementHandle hit;
    for (const auto &[rect, candidate] : m_hitRects) {
        if (holds(rect, x, y)) {
            hit = candidate;
            break;
        }
    }
    if (!hit)
        return kSuccess;
    ElementHandle current = hit;
    for (int depth = 0; current && depth < 32; ++depth) {
        if (textOf(current)) {
            element = current;
            return kSuccess;
        }
        const auto *parent = std::get_if<ElementHandle>(&node(current)->values[size_t(Attribute::parent)]);
        current = parent ? *parent : nullptr;
    }
    element = textHolding(hit, x, y, 0);
    return kSuccess;
}

int ScriptedElementTree::copyTextFacts(const ElementHandle &element, std::optional<TextFacts> &facts)
{
    ++textRequests;
    facts.reset();
    if (const Text *text = textOf(element))
        facts = TextFacts{text->characterCount.value_or(int(TextNumberFinder::length(text->value, text->unit))), text->unit};
    return kSuccess;
}

int ScriptedElementTree::copyOffsetAtPosition(const ElementHandle &element, float x, float y, int &offset)
{
    ++textRequests;
    offset = -1;
    const Text *text = textOf(element);
    if (!text)
        return kSuccess;
    for (qsizetype i = 0; i < text->characterRects.size(); ++i) {
        if (holds(text->characterRects[i], x, y)) {
            offset = int(i);
            break;
        }
    }
    return kSuccess;
}

int ScriptedElementTree::copyText(const ElementHandle &element, const TextSpan &span, QString &result)
{
    ++textRequests;
    result.clear();
    const Text *text = textOf(element);
    if (!text)
        return kSuccess;
    const QStringList pieces = offsetsOf(text->value, text->unit);
    for (int i = std::max(0, span.start); i < span.end && i < pieces.size(); ++i)
        result += pieces[i];
    return kSuccess;
}

int ScriptedElementTree::copyRangeExtents(const ElementHandle &element, const TextSpan &span, QRectF &bounds)
{
    ++textRequests;
    bounds = QRectF();
    const Text *text = textOf(element);
    if (!text)
        return kSuccess;
    for (int i = std::max(0, span.start); i < span.end && i < text->characterRects.size(); ++i)
        bounds = bounds.isNull() ? text->characterRects[i] : bounds.united(text->characterRects[i]);
    return kSuccess;
}

WindowInfo ScriptedWindowList::window(quint32 number, qint32 pid, const QString &owner, int layer, const QRectF &bounds)
{
    return WindowInfo{number, pid, owner, layer, bounds};
}

std::optional<ClickSource::Token> ScriptedClickSource::addLeftMouseDownListener(std::function<void()> handler)
{
    if (failInstall)
        return std::nullopt;
    const Token token = m_next++;
    m_listeners.emplace(token, std::move(handler));
    return token;
}

void ScriptedClickSource::click()
{
    // A copy: a listener may remove itself (or others) while it runs.
    const auto listeners = m_listeners;
    for (const auto &[token, handler] : listeners)
        handler();
}

namespace {

class RecordedPanel final : public Panel
{
public:
    RecordedPanel(std::shared_ptr<RecordingPanelView::Shown> shown, RecordingPanelView *view)
        : m_shown(std::move(shown))
        , m_view(view)
    {
    }
    ~RecordedPanel() override { close(); }

    void close() override
    {
        if (m_shown->closed)
            return;
        m_shown->closed = true;
        if (m_view->onClosed)
            m_view->onClosed(*m_shown);
    }

private:
    std::shared_ptr<RecordingPanelView::Shown> m_shown;
    RecordingPanelView *m_view;
};

} // namespace

std::unique_ptr<Panel> RecordingPanelView::showPanel(const StripPlacement &placement, const QString &phoneNumber,
                                                     std::function<void()> onClick)
{
    auto entry = std::make_shared<Shown>(Shown{placement, phoneNumber, std::move(onClick), false});
    shown.push_back(entry);
    if (onShown)
        onShown(*entry);
    return std::make_unique<RecordedPanel>(entry, this);
}

RecordingPanelView::Shown *RecordingPanelView::current()
{
    for (auto it = shown.rbegin(); it != shown.rend(); ++it) {
        if (!(*it)->closed)
            return it->get();
    }
    return nullptr;
}

bool RecordingPanelView::clickCurrent()
{
    Shown *open = current();
    if (!open)
        return false;
    // A copy: the click closes the strip, which may drop the entry's last owner.
    const std::function<void()> action = open->onClick;
    action();
    return true;
}

} // namespace dialwise
