#include "detection/replay/DetectorReplay.h"

#include "calling/CallManager.h"
#include "calling/VirtualScheduler.h"
#include "detection/CompanionTitle.h"
#include "detection/DataDetectorMonitor.h"
#include "detection/DetectorText.h"
#include "detection/LibPhoneNumberFinder.h"
#include "detection/TextNumberFinder.h"
#include "detection/replay/ScriptedDesktop.h"
#include "detection/replay/WindowFields.h"

#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QSet>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <variant>

namespace dialwise::replay {
namespace {

using std::chrono::milliseconds;

// When a scenario names no end: long enough for the last click's attempts, a strip's 20-second
// dismissal and a few polls after it.
constexpr double kDefaultRunOnSeconds = 25.0;

// The scenario is wrong; the text says where and why.
struct Invalid
{
    QString reason;
};

class Settings final : public SettingsStore
{
public:
    std::optional<QString> stringValue(const QString &key) const override
    {
        return m_values.contains(key) ? std::optional<QString>(m_values.value(key)) : std::nullopt;
    }
    void setStringValue(const QString &key, const QString &value) override { m_values.insert(key, value); }

private:
    QHash<QString, QString> m_values;
};

class NoDesktop final : public DesktopServices
{
public:
    void openUrl(const QUrl &) override {}
    void showNotification(const QString &, const QString &) override {}
    std::optional<QString> runDialDialog() override { return std::nullopt; }
};

// A calling core whose desktop does nothing: the replay reports what the strip's button asked
// of it (through callRequested / dialDialogRequested) and never places a call.
std::unique_ptr<CallManager> makeSilentCallManager(const std::function<void(const QString &)> &say)
{
    auto manager = std::make_unique<CallManager>(
        CallManager::Services{std::make_shared<Settings>(), std::make_shared<NoDesktop>(), std::make_shared<SystemClock>(), {}});
    QObject::connect(manager.get(), &CallManager::callRequested, manager.get(),
                     [say](const QString &text) { say(QStringLiteral("call ") + text); });
    QObject::connect(manager.get(), &CallManager::dialDialogRequested, manager.get(),
                     [say] { say(QStringLiteral("dial-dialog")); });
    return manager;
}

QString typeName(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Null: return QStringLiteral("null");
    case QJsonValue::Bool: return QStringLiteral("a boolean");
    case QJsonValue::Double: return QStringLiteral("a number");
    case QJsonValue::String: return QStringLiteral("a string");
    case QJsonValue::Array: return QStringLiteral("an array");
    case QJsonValue::Object: return QStringLiteral("an object");
    case QJsonValue::Undefined: break;
    }
    return QStringLiteral("nothing");
}

void requireKeys(const QJsonObject &object, const QSet<QString> &allowed, const QString &where)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!allowed.contains(it.key()))
            throw Invalid{where + QStringLiteral("unknown key \"") + it.key() + u'"'};
    }
}

double number(const QJsonValue &value, const QString &where)
{
    if (!value.isDouble())
        throw Invalid{where + QStringLiteral(" must be a number, not ") + typeName(value)};
    return value.toDouble();
}

QList<double> numbers(const QJsonValue &value, qsizetype count, const QString &where)
{
    const QJsonArray array = value.toArray();
    if (!value.isArray() || array.size() != count)
        throw Invalid{where + QStringLiteral(" must be an array of %1 numbers").arg(count)};
    QList<double> result;
    for (qsizetype i = 0; i < count; ++i)
        result.append(number(array[i], where + u'[' + QString::number(i) + u']'));
    return result;
}

struct Scenario
{
    ScriptedElementTree tree;
    QHash<QString, ElementHandle> elements;
    QString region = QStringLiteral("US");
    std::optional<double> screenHeight = 1080.0;
    bool trusted = true;

    struct Event
    {
        milliseconds at;
        // One of these, as the event's key says.
        enum class Kind { windows, frontmost, start, click, companionClick, stop, text } kind;
        std::optional<QList<WindowInfo>> windows;
        ElementHandle element;                         // text: whose text changes
        std::optional<ScriptedElementTree::Text> text; // text: what it is now; none: no text any more
        std::optional<FrontmostApplication> frontmost;
        QPointF click;
    };
    QList<Event> timeline;
    milliseconds until{0};
};

milliseconds toMilliseconds(double seconds)
{
    return milliseconds(std::llround(seconds * 1000.0));
}

ElementHandle elementNamed(Scenario &scenario, const QJsonValue &value, const QString &where)
{
    if (!value.isString())
        throw Invalid{where + QStringLiteral(" must name an element, not ") + typeName(value)};
    const auto it = scenario.elements.constFind(value.toString());
    if (it == scenario.elements.cend())
        throw Invalid{where + QStringLiteral(": no element \"") + value.toString() + u'"'};
    return *it;
}

// A value of any JSON type, so that a scenario can record an attribute of the wrong type.
AttributeValue anyValue(Scenario &scenario, const QJsonValue &value, const QString &where)
{
    switch (value.type()) {
    case QJsonValue::Null:
        return std::monostate();
    case QJsonValue::Bool:
        return value.toBool();
    case QJsonValue::Double:
        return value.toDouble();
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Array: {
        QList<ElementHandle> list;
        const QJsonArray array = value.toArray();
        for (qsizetype i = 0; i < array.size(); ++i)
            list.append(elementNamed(scenario, array[i], where + u'[' + QString::number(i) + u']'));
        return list;
    }
    default:
        throw Invalid{where + QStringLiteral(" cannot be ") + typeName(value)};
    }
}

AttributeValue attributeValue(Scenario &scenario, QStringView attribute, const QJsonValue &value, const QString &where)
{
    const bool pair = value.isArray() && value.toArray().size() == 2 && value.toArray()[0].isDouble()
        && value.toArray()[1].isDouble();
    if (attribute == u"AXPosition" && pair)
        return QPointF(value.toArray()[0].toDouble(), value.toArray()[1].toDouble());
    if (attribute == u"AXSize" && pair)
        return QSizeF(value.toArray()[0].toDouble(), value.toArray()[1].toDouble());
    if (attribute == u"AXParent" && value.isString())
        return elementNamed(scenario, value, where);
    return anyValue(scenario, value, where);
}

// "text": { "value": "...", "unit": "codePoints" or "utf16", "layout": { "origin": [x, y],
// "advance": w, "lineHeight": h, "rightToLeft": bool } or "rects": [[x, y, w, h], ...],
// "characterCount": n }
ScriptedElementTree::Text readText(const QJsonValue &value, const QString &where)
{
    if (!value.isObject())
        throw Invalid{where + QStringLiteral(" must be an object")};
    const QJsonObject object = value.toObject();
    requireKeys(object,
                {QStringLiteral("value"), QStringLiteral("unit"), QStringLiteral("layout"), QStringLiteral("rects"),
                 QStringLiteral("characterCount")},
                where + QStringLiteral(": "));
    ScriptedElementTree::Text text;
    if (!object.value(QStringLiteral("value")).isString())
        throw Invalid{where + QStringLiteral(".value must be a string")};
    text.value = object.value(QStringLiteral("value")).toString();
    if (object.contains(QStringLiteral("unit"))) {
        const QString unit = object.value(QStringLiteral("unit")).toString();
        if (unit == u"utf16")
            text.unit = OffsetUnit::Utf16Units;
        else if (unit != u"codePoints")
            throw Invalid{where + QStringLiteral(".unit must be \"codePoints\" or \"utf16\"")};
    }
    if (object.contains(QStringLiteral("characterCount")))
        text.characterCount = int(number(object.value(QStringLiteral("characterCount")), where + QStringLiteral(".characterCount")));
    const bool hasLayout = object.contains(QStringLiteral("layout"));
    const bool hasRects = object.contains(QStringLiteral("rects"));
    if (hasLayout == hasRects)
        throw Invalid{where + QStringLiteral(" needs exactly one of layout, rects")};
    if (hasLayout) {
        const QJsonValue layoutValue = object.value(QStringLiteral("layout"));
        const QString layoutWhere = where + QStringLiteral(".layout");
        if (!layoutValue.isObject())
            throw Invalid{layoutWhere + QStringLiteral(" must be an object")};
        const QJsonObject layoutObject = layoutValue.toObject();
        requireKeys(layoutObject,
                    {QStringLiteral("origin"), QStringLiteral("advance"), QStringLiteral("lineHeight"),
                     QStringLiteral("rightToLeft")},
                    layoutWhere + QStringLiteral(": "));
        ScriptedElementTree::FixedLayout layout;
        const QList<double> origin = numbers(layoutObject.value(QStringLiteral("origin")), 2, layoutWhere + QStringLiteral(".origin"));
        layout.origin = QPointF(origin[0], origin[1]);
        if (layoutObject.contains(QStringLiteral("advance")))
            layout.advance = number(layoutObject.value(QStringLiteral("advance")), layoutWhere + QStringLiteral(".advance"));
        if (layoutObject.contains(QStringLiteral("lineHeight")))
            layout.lineHeight = number(layoutObject.value(QStringLiteral("lineHeight")), layoutWhere + QStringLiteral(".lineHeight"));
        if (layoutObject.contains(QStringLiteral("rightToLeft"))) {
            if (!layoutObject.value(QStringLiteral("rightToLeft")).isBool())
                throw Invalid{layoutWhere + QStringLiteral(".rightToLeft must be true or false")};
            layout.rightToLeft = layoutObject.value(QStringLiteral("rightToLeft")).toBool();
        }
        text.characterRects = ScriptedElementTree::layOut(text.value, text.unit, layout);
    } else {
        const QJsonValue rects = object.value(QStringLiteral("rects"));
        if (!rects.isArray())
            throw Invalid{where + QStringLiteral(".rects must be an array")};
        const QJsonArray array = rects.toArray();
        for (qsizetype i = 0; i < array.size(); ++i) {
            const QList<double> rect = numbers(array[i], 4, where + QStringLiteral(".rects[%1]").arg(i));
            text.characterRects.append(QRectF(rect[0], rect[1], rect[2], rect[3]));
        }
    }
    return text;
}

void readElements(Scenario &scenario, const QJsonValue &value)
{
    if (!value.isObject())
        throw Invalid{QStringLiteral("\"elements\" must be an object")};
    const QJsonObject elements = value.toObject();
    for (auto it = elements.begin(); it != elements.end(); ++it)
        scenario.elements.insert(it.key(), scenario.tree.add(it.key()));

    for (auto it = elements.begin(); it != elements.end(); ++it) {
        const QString where = QStringLiteral("elements.") + it.key();
        if (!it.value().isObject())
            throw Invalid{where + QStringLiteral(" must be an object")};
        const ElementHandle element = scenario.elements.value(it.key());
        const QJsonObject attributes = it.value().toObject();
        for (auto attribute = attributes.begin(); attribute != attributes.end(); ++attribute) {
            const QString name = attribute.key();
            if (name == u"text") {
                scenario.tree.setText(element, readText(attribute.value(), where + QStringLiteral(".text")));
                continue;
            }
            if (name == u"errors") {
                if (!attribute.value().isObject())
                    throw Invalid{where + QStringLiteral(".errors must be an object")};
                const QJsonObject errors = attribute.value().toObject();
                for (auto error = errors.begin(); error != errors.end(); ++error) {
                    const QString errorWhere = where + QStringLiteral(".errors.") + error.key();
                    if (ScriptedElementTree::attributeIndex(error.key()) < 0)
                        throw Invalid{errorWhere + QStringLiteral(": unknown attribute")};
                    const double code = number(error.value(), errorWhere);
                    if (code == 0 || std::trunc(code) != code || std::abs(code) > 2147483647.0)
                        throw Invalid{errorWhere + QStringLiteral(" must be a non-zero integer")};
                    scenario.tree.setError(element, error.key(), int(code));
                }
                continue;
            }
            if (ScriptedElementTree::attributeIndex(name) < 0)
                throw Invalid{where + QStringLiteral(": unknown key \"") + name + u'"'};
            scenario.tree.set(element, name, attributeValue(scenario, name, attribute.value(), where + u'.' + name));
        }
    }
}

void readApplications(Scenario &scenario, const QJsonValue &value)
{
    if (!value.isObject())
        throw Invalid{QStringLiteral("\"applications\" must be an object")};
    const QJsonObject applications = value.toObject();
    for (auto it = applications.begin(); it != applications.end(); ++it) {
        bool ok = false;
        const qint64 pid = it.key().toLongLong(&ok);
        if (!ok)
            throw Invalid{QStringLiteral("applications: \"") + it.key() + QStringLiteral("\" is not a process id")};
        scenario.tree.setApplication(pid, elementNamed(scenario, it.value(), QStringLiteral("applications.") + it.key()));
    }
}

void readHitTest(Scenario &scenario, const QJsonValue &value)
{
    if (!value.isArray())
        throw Invalid{QStringLiteral("\"hitTest\" must be an array")};
    const QJsonArray entries = value.toArray();
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const QString where = QStringLiteral("hitTest[%1]").arg(i);
        if (!entries[i].isObject())
            throw Invalid{where + QStringLiteral(" must be an object")};
        const QJsonObject entry = entries[i].toObject();
        requireKeys(entry, {QStringLiteral("rect"), QStringLiteral("element")}, where + QStringLiteral(": "));
        const QList<double> rect = numbers(entry.value(QStringLiteral("rect")), 4, where + QStringLiteral(".rect"));
        const QJsonValue element = entry.value(QStringLiteral("element"));
        scenario.tree.addHitRect(QRectF(rect[0], rect[1], rect[2], rect[3]),
                                 element.isNull() ? ElementHandle()
                                                  : elementNamed(scenario, element, where + QStringLiteral(".element")));
    }
}

QList<WindowInfo> readWindows(const QJsonArray &entries, const QString &where)
{
    QList<WindowInfo> windows;
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const QString entryWhere = where + u'[' + QString::number(i) + u']';
        if (!entries[i].isObject())
            throw Invalid{entryWhere + QStringLiteral(" must be an object")};
        const QJsonObject entry = entries[i].toObject();
        requireKeys(entry,
                    {QStringLiteral("number"), QStringLiteral("pid"), QStringLiteral("owner"), QStringLiteral("layer"),
                     QStringLiteral("bounds")},
                    entryWhere + QStringLiteral(": "));
        const QJsonValue bounds = entry.value(QStringLiteral("bounds"));
        if (bounds.isObject())
            requireKeys(bounds.toObject(),
                        {QStringLiteral("X"), QStringLiteral("Y"), QStringLiteral("Width"), QStringLiteral("Height")},
                        entryWhere + QStringLiteral(".bounds: "));
        // Recorded lists may hold entries of any JSON type, as a window server that bridges other
        // programs' data can. The detector skips a window without a whole window number, owner
        // process id and all-number bounds without a word, so such an entry is left out here;
        // an owner that is not a text counts as unnamed, a layer that is not a whole number as 0,
        // and a missing bound as 0.
        const std::optional<quint32> number = windowfields::exactInteger<quint32>(entry.value(QStringLiteral("number")).toVariant());
        const std::optional<qint32> pid = windowfields::exactInteger<qint32>(entry.value(QStringLiteral("pid")).toVariant());
        const std::optional<QVariantMap> frame = windowfields::bounds(bounds.toVariant());
        if (!number || !pid || !frame)
            continue;
        WindowInfo window;
        window.id = *number;
        window.ownerPid = *pid;
        const QJsonValue owner = entry.value(QStringLiteral("owner"));
        if (owner.isString())
            window.ownerName = owner.toString();
        window.layer = windowfields::exactInteger<qint64>(entry.value(QStringLiteral("layer")).toVariant()).value_or(0);
        window.bounds = QRectF(frame->value(QStringLiteral("X"), 0.0).toDouble(), frame->value(QStringLiteral("Y"), 0.0).toDouble(),
                               frame->value(QStringLiteral("Width"), 0.0).toDouble(),
                               frame->value(QStringLiteral("Height"), 0.0).toDouble());
        windows.append(window);
    }
    return windows;
}

Scenario::Event readEvent(Scenario &scenario, const QJsonValue &value, const QString &where)
{
    if (!value.isObject())
        throw Invalid{where + QStringLiteral(" must be an object")};
    const QJsonObject object = value.toObject();
    requireKeys(object,
                {QStringLiteral("at"), QStringLiteral("windows"), QStringLiteral("frontmost"), QStringLiteral("start"),
                 QStringLiteral("click"), QStringLiteral("companionClick"), QStringLiteral("stop"),
                 QStringLiteral("text")},
                where + QStringLiteral(": "));
    if (!object.contains(QStringLiteral("at")))
        throw Invalid{where + QStringLiteral(" needs \"at\"")};
    const double at = number(object.value(QStringLiteral("at")), where + QStringLiteral(".at"));
    if (!(at >= 0))
        throw Invalid{where + QStringLiteral(".at must not be negative")};
    if (object.size() != 2)
        throw Invalid{where + QStringLiteral(" needs exactly one of windows, frontmost, start, click, companionClick, stop, text")};

    Scenario::Event event;
    event.at = toMilliseconds(at);
    const QString key = object.begin().key() == u"at" ? (object.begin() + 1).key() : object.begin().key();
    const QJsonValue action = object.value(key);
    const QString actionWhere = where + u'.' + key;
    auto requireTrue = [&] {
        if (action != QJsonValue(true))
            throw Invalid{actionWhere + QStringLiteral(" must be true")};
    };
    if (key == u"windows") {
        event.kind = Scenario::Event::Kind::windows;
        if (action.isArray())
            event.windows = readWindows(action.toArray(), actionWhere);
        else if (!action.isNull())
            throw Invalid{actionWhere + QStringLiteral(" must be an array or null")};
    } else if (key == u"frontmost") {
        event.kind = Scenario::Event::Kind::frontmost;
        if (action.isObject()) {
            const QJsonObject front = action.toObject();
            requireKeys(front, {QStringLiteral("pid"), QStringLiteral("name")}, actionWhere + QStringLiteral(": "));
            const double pid = number(front.value(QStringLiteral("pid")), actionWhere + QStringLiteral(".pid"));
            if (std::trunc(pid) != pid)
                throw Invalid{actionWhere + QStringLiteral(".pid must be an integer")};
            FrontmostApplication application;
            application.pid = qint64(pid);
            if (front.contains(QStringLiteral("name"))) {
                if (!front.value(QStringLiteral("name")).isString())
                    throw Invalid{actionWhere + QStringLiteral(".name must be a string")};
                application.name = front.value(QStringLiteral("name")).toString();
            }
            event.frontmost = application;
        } else if (!action.isNull()) {
            throw Invalid{actionWhere + QStringLiteral(" must be an object or null")};
        }
    } else if (key == u"start") {
        requireTrue();
        event.kind = Scenario::Event::Kind::start;
    } else if (key == u"stop") {
        requireTrue();
        event.kind = Scenario::Event::Kind::stop;
    } else if (key == u"text") {
        event.kind = Scenario::Event::Kind::text;
        if (!action.isObject())
            throw Invalid{actionWhere + QStringLiteral(" must be an object")};
        const QJsonObject change = action.toObject();
        requireKeys(change, {QStringLiteral("element"), QStringLiteral("text")}, actionWhere + QStringLiteral(": "));
        event.element = elementNamed(scenario, change.value(QStringLiteral("element")), actionWhere + QStringLiteral(".element"));
        const QJsonValue text = change.value(QStringLiteral("text"));
        if (!text.isNull())
            event.text = readText(text, actionWhere + QStringLiteral(".text"));
    } else if (key == u"companionClick") {
        requireTrue();
        event.kind = Scenario::Event::Kind::companionClick;
    } else {
        event.kind = Scenario::Event::Kind::click;
        const QList<double> point = numbers(action, 2, actionWhere);
        event.click = QPointF(point[0], point[1]);
    }
    return event;
}

void readScenario(Scenario &scenario, const QByteArray &json)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        throw Invalid{QStringLiteral("not JSON: %1 at offset %2").arg(parseError.errorString()).arg(parseError.offset)};
    if (!document.isObject())
        throw Invalid{QStringLiteral("the scenario must be a JSON object")};
    const QJsonObject root = document.object();
    requireKeys(root,
                {QStringLiteral("region"), QStringLiteral("screenHeight"), QStringLiteral("trusted"),
                 QStringLiteral("elements"), QStringLiteral("applications"), QStringLiteral("hitTest"),
                 QStringLiteral("timeline"), QStringLiteral("until")},
                QString());

    if (root.contains(QStringLiteral("region"))) {
        const QJsonValue region = root.value(QStringLiteral("region"));
        if (!region.isString() || region.toString().isEmpty())
            throw Invalid{QStringLiteral("\"region\" must be a region code such as \"US\"")};
        scenario.region = region.toString();
    }
    if (root.contains(QStringLiteral("screenHeight"))) {
        const QJsonValue height = root.value(QStringLiteral("screenHeight"));
        scenario.screenHeight = height.isNull() ? std::nullopt
                                                : std::optional<double>(number(height, QStringLiteral("\"screenHeight\"")));
    }
    if (root.contains(QStringLiteral("trusted"))) {
        if (!root.value(QStringLiteral("trusted")).isBool())
            throw Invalid{QStringLiteral("\"trusted\" must be true or false")};
        scenario.trusted = root.value(QStringLiteral("trusted")).toBool();
    }
    if (root.contains(QStringLiteral("elements")))
        readElements(scenario, root.value(QStringLiteral("elements")));
    if (root.contains(QStringLiteral("applications")))
        readApplications(scenario, root.value(QStringLiteral("applications")));
    if (root.contains(QStringLiteral("hitTest")))
        readHitTest(scenario, root.value(QStringLiteral("hitTest")));

    if (root.contains(QStringLiteral("timeline"))) {
        const QJsonValue timeline = root.value(QStringLiteral("timeline"));
        if (!timeline.isArray())
            throw Invalid{QStringLiteral("\"timeline\" must be an array")};
        const QJsonArray events = timeline.toArray();
        for (qsizetype i = 0; i < events.size(); ++i) {
            Scenario::Event event = readEvent(scenario, events[i], QStringLiteral("timeline[%1]").arg(i));
            if (!scenario.timeline.isEmpty() && event.at < scenario.timeline.last().at)
                throw Invalid{QStringLiteral("timeline[%1] is earlier than the event before it").arg(i)};
            scenario.timeline.append(std::move(event));
        }
    }
    const milliseconds lastEvent = scenario.timeline.isEmpty() ? milliseconds(0) : scenario.timeline.last().at;
    if (root.contains(QStringLiteral("until"))) {
        scenario.until = toMilliseconds(number(root.value(QStringLiteral("until")), QStringLiteral("\"until\"")));
        if (scenario.until < lastEvent)
            throw Invalid{QStringLiteral("\"until\" is earlier than the last event")};
    } else {
        scenario.until = lastEvent + toMilliseconds(kDefaultRunOnSeconds);
    }
}

QString timeText(milliseconds time)
{
    const qint64 ms = time.count();
    return QStringLiteral("%1.%2").arg(ms / 1000).arg(ms % 1000, 3, 10, QLatin1Char('0'));
}

} // namespace

std::optional<QString> play(const QByteArray &json, const std::function<void(const QString &line)> &emitLine)
{
    Scenario scenario;
    try {
        readScenario(scenario, json);
    } catch (const Invalid &invalid) {
        return invalid.reason;
    }

    auto scheduler = std::make_shared<VirtualScheduler>();
    auto say = [&](const QString &what) { emitLine(timeText(scheduler->now()) + u' ' + what); };

    // The scripted desktop shares the tree the scenario built; the monitor only borrows it.
    std::shared_ptr<ScriptedElementTree> tree(&scenario.tree, [](ScriptedElementTree *) {});
    tree->trusted = scenario.trusted;
    tree->onTrustCheck = [&](bool prompt) {
        if (prompt)
            say(QStringLiteral("trust-prompt"));
    };
    auto windows = std::make_shared<ScriptedWindowList>();
    auto screen = std::make_shared<ScriptedScreen>();
    screen->height = scenario.screenHeight;
    auto clicks = std::make_shared<ScriptedClickSource>();
    auto panels = std::make_shared<RecordingPanelView>();

    const std::unique_ptr<CallManager> silentManager = makeSilentCallManager(say);
    CallManager &callManager = *silentManager;
    panels->onShown = [&](const RecordingPanelView::Shown &shown) {
        // Written as the log writes the strip: bottom-left origin against the main screen (a strip
        // is only ever shown when there is one).
        say(QStringLiteral("panel-shown ") + detectortext::frame(shown.placement.bottomLeftFrame(screen->height.value_or(0))) + QStringLiteral(" \"")
             + companiontitle::numberText(shown.phoneNumber, callManager) + u'"');
    };
    panels->onClosed = [&](const RecordingPanelView::Shown &) { say(QStringLiteral("panel-closed")); };

    DataDetectorMonitor::Services services;
    services.platform = {tree, windows, screen, clicks, panels};
    services.phoneFinder = std::make_shared<LibPhoneNumberFinder>(scenario.region);
    services.textNumberFinder = std::make_shared<const TextNumberFinder>(scenario.region);
    services.scheduler = scheduler;
    services.logToStandardError = false;
    services.logObserver = [&](const QString &message) { say(QStringLiteral("log ") + message); };

    DataDetectorMonitor monitor(std::move(services), callManager);
    for (const Scenario::Event &event : std::as_const(scenario.timeline)) {
        scheduler->advanceTo(event.at);
        switch (event.kind) {
        case Scenario::Event::Kind::windows:
            windows->windows = event.windows;
            break;
        case Scenario::Event::Kind::frontmost:
            windows->frontmost = event.frontmost;
            break;
        case Scenario::Event::Kind::start:
            monitor.startMonitoring();
            break;
        case Scenario::Event::Kind::click:
            screen->setPointerFromBottomLeft(event.click);
            clicks->click();
            break;
        case Scenario::Event::Kind::companionClick:
            panels->clickCurrent();
            break;
        case Scenario::Event::Kind::stop:
            monitor.stopMonitoring();
            break;
        case Scenario::Event::Kind::text:
            if (event.text)
                tree->setText(event.element, *event.text);
            else
                tree->clearText(event.element);
            break;
        }
    }
    scheduler->advanceTo(scenario.until);
    // The run is over: a strip still shown at the end is not reported as closed by the clean-up.
    panels->onShown = nullptr;
    panels->onClosed = nullptr;
    return std::nullopt;
}

int run(const QString &path)
{
    auto fail = [&](const QString &reason) {
        const QByteArray line = (QStringLiteral("dialwise: ") + path + QStringLiteral(": ") + reason + u'\n').toLocal8Bit();
        std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
        return 1;
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(file.errorString());
    const QByteArray json = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return fail(file.errorString());

    QByteArray output;
    const std::optional<QString> error = play(json, [&](const QString &line) {
        output += line.toUtf8();
        output += '\n';
    });
    if (error)
        return fail(*error);
    std::fwrite(output.constData(), 1, size_t(output.size()), stdout);
    std::fflush(stdout);
    return 0;
}

} // namespace dialwise::replay
