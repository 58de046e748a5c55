#include "ScriptedDesktop.h"

#include <QVariantMap>

#include <cmath>

namespace dialwise {

struct ScriptedElementTree::Node final : public Element
{
    QString name;
    std::array<AttributeValue, kAttributeCount> values;
    std::array<int, kAttributeCount> errors{};
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
