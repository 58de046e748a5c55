// libatspi first: GLib headers use "signals" as a field name, which Qt defines as a macro.
#include <atspi/atspi.h>
#include <atspi/atspi-gmain.h>

#include "platform/linux/AtspiElementTree.h"

#include "platform/linux/X11Connection.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QLoggingCategory>
#include <QRect>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <sys/time.h>
#include <vector>

namespace dialwise {

Q_LOGGING_CATEGORY(lcAtspi, "dialwise.detection.atspi", QtInfoMsg)

namespace {

using Clock = std::chrono::steady_clock;

// The deepest element is reached well before this; it only stops a toolkit whose hit test
// answers with an ancestor (or itself) from looping.
constexpr int kMaxHitTestDepth = 32;

// Counts the accessibility buses this process has been connected to. An element from an earlier
// bus names a program by a bus name that may now belong to another program, so it is never asked
// again.
std::atomic<unsigned> g_busGeneration{0};
// The bus libatspi was last connected to (a DBusConnection): whichever tree of the process notices
// its end first takes libatspi off it; the others only connect again.
void *g_libatspiBus = nullptr;

class AtspiElement final : public Element
{
public:
    AtspiElement(AtspiAccessible *object, bool anApplication, double deviceScale = 1)
        : accessible(object)
        , isApplication(anApplication)
        , scale(deviceScale)
    {
    }
    ~AtspiElement() override { g_object_unref(accessible); }
    AtspiAccessible *const accessible;
    const bool isApplication;
    // Device pixels per unit of the program's own screen coordinates: a GTK or Qt program drawn
    // at twice the density still answers in its logical pixels, and says so nowhere on the bus.
    // Set for elements the text path found; 1 elsewhere.
    const double scale;
    const unsigned busGeneration = g_busGeneration.load();
};

// Takes over the reference the caller holds.
ElementHandle wrap(AtspiAccessible *accessible, bool isApplication = false, double scale = 1)
{
    if (!accessible)
        return nullptr;
    return std::make_shared<const AtspiElement>(accessible, isApplication, scale);
}

double scaleOf(const ElementHandle &element)
{
    const auto *atspi = dynamic_cast<const AtspiElement *>(element.get());
    return atspi ? atspi->scale : 1;
}

AtspiAccessible *unwrap(const ElementHandle &element)
{
    const auto *atspi = dynamic_cast<const AtspiElement *>(element.get());
    return atspi && atspi->busGeneration == g_busGeneration.load() ? atspi->accessible : nullptr;
}

// libatspi keeps one application object per bus name for the life of the process (in a table of
// its own that nothing outside can reach or clear, not even atspi_exit), and hands that object
// out again whenever the name turns up. Names such as ":1.7" are handed out afresh by every new
// bus, so after the accessibility bus restarts a program would be found through the object of
// whichever program had its name before: one libatspi has disposed (no bus, no element table:
// every request fails) or one still tied to the dead bus. So every application object libatspi
// makes is noted here, to be set up again for the new bus. The note goes when the object is
// finalized (data, unlike a weak reference, outlives the dispose libatspi runs on them).
std::mutex g_applicationsMutex;
std::vector<AtspiApplication *> g_applications;
void (*g_constructApplication)(GObject *) = nullptr;
constexpr char kTrackedKey[] = "dialwise-tracked-application";

void forgetApplication(gpointer application)
{
    const std::lock_guard lock(g_applicationsMutex);
    std::erase(g_applications, static_cast<AtspiApplication *>(application));
}

void rememberApplication(GObject *object)
{
    if (g_constructApplication)
        g_constructApplication(object);
    {
        const std::lock_guard lock(g_applicationsMutex);
        g_applications.push_back(ATSPI_APPLICATION(object));
    }
    g_object_set_data_full(object, kTrackedKey, object, forgetApplication);
}

// Before libatspi makes its first application object.
void trackApplications()
{
    static std::once_flag once;
    std::call_once(once, [] {
        // The class stays referenced for the life of the process.
        auto *applicationClass = G_OBJECT_CLASS(g_type_class_ref(ATSPI_TYPE_APPLICATION));
        g_constructApplication = applicationClass->constructed;
        applicationClass->constructed = rememberApplication;
    });
}

// After atspi_exit(): every application object off the dead bus, its elements disposed, as
// libatspi does with a program that leaves the bus. Its own dispose would ask libatspi for the
// current bus and so connect again (and abort the process when there is none), so the bus
// reference is let go here first.
void disposeApplications(DBusConnection *deadBus)
{
    const std::lock_guard lock(g_applicationsMutex);
    for (AtspiApplication *application : g_applications) {
        if (DBusConnection *bus = std::exchange(application->bus, nullptr)) {
            if (bus != deadBus)
                dbus_connection_close(bus); // the program's own connection, libatspi's to close
            dbus_connection_unref(bus);
        }
        g_object_run_dispose(G_OBJECT(application));
    }
}

// After atspi_init() on the new bus: every application object as libatspi sets up a new one, on
// the shared bus (where requests stay anyway, see keepOnSharedBus).
void reviveApplications(DBusConnection *bus)
{
    const std::lock_guard lock(g_applicationsMutex);
    for (AtspiApplication *application : g_applications) {
        if (!application->hash)
            application->hash = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_object_unref);
        if (!application->bus)
            application->bus = dbus_connection_ref(bus);
        application->cache = ATSPI_CACHE_UNDEFINED;
        g_clear_pointer(&application->toolkit_name, g_free);
        g_clear_pointer(&application->toolkit_version, g_free);
        g_clear_pointer(&application->atspi_version, g_free);
        gettimeofday(&application->time_added, nullptr);
        // libatspi files the registry's object under the registry's unique name too, without a
        // reference of its own, each time it fetches the desktop. Fetched again on the new bus
        // under the same name (the new registry starts in the same order), it replaces the entry
        // and so drops a reference it never took, and the registry's object would be freed at
        // the next restart while libatspi still hands it out. This reference stands for the one
        // libatspi drops; under a new name it is never dropped, and the object lives on, as it
        // does anyway.
        if (g_strcmp0(application->bus_name, ATSPI_DBUS_NAME_REGISTRY) == 0)
            g_object_ref(application);
    }
}

QString busNameOf(AtspiAccessible *accessible)
{
    const AtspiObject *object = ATSPI_OBJECT(accessible);
    if (!object || !object->app || !object->app->bus_name)
        return {};
    return QString::fromUtf8(object->app->bus_name);
}

QString takeString(gchar *text)
{
    const QString result = text ? QString::fromUtf8(text) : QString();
    g_free(text);
    return result;
}

bool contains(const QRectF &rect, float x, float y)
{
    return x >= rect.left() && x < rect.right() && y >= rect.top() && y < rect.bottom();
}

} // namespace

// One AT-SPI request against one program: refuses at once while the program is paused after a
// time-out, and starts such a pause when the request times out.
struct AtspiElementTree::Call
{
    Call(AtspiElementTree &owner, AtspiAccessible *accessible)
        : tree(owner)
        , busName(busNameOf(accessible))
    {
        owner.keepOnSharedBus(accessible);
    }
    ~Call() { g_clear_error(&error); }

    bool refused() const
    {
        const auto until = tree.m_unresponsiveUntil.constFind(busName);
        if (until == tree.m_unresponsiveUntil.constEnd())
            return false;
        if (Clock::now() < *until)
            return true;
        tree.m_unresponsiveUntil.erase(until);
        return false;
    }

    // Runs one libatspi request to the program. One that took the whole time-out is the program
    // not answering, whatever the error's wording or whether libatspi passed it on at all (some
    // of its calls answer a time-out with an empty success): the program is then left alone for
    // a while, or every later request of the scan would wait the whole time-out again. A slower
    // answer cannot exist: the bus gives up first.
    template <typename Request>
    auto ask(Request &&request)
    {
        const Clock::time_point asked = Clock::now();
        auto answer = request();
        const auto took = Clock::now() - asked;
        if (!timedOut && took >= kCallTimeout - std::chrono::milliseconds(20)) {
            timedOut = true;
            qCDebug(lcAtspi) << busName << "did not answer" << what << "in"
                             << std::chrono::duration_cast<std::chrono::milliseconds>(took).count()
                             << "ms; leaving it alone for a while" << (error ? error->message : "(no error)");
            tree.m_unresponsiveUntil.insert(busName, Clock::now() + kUnresponsivePause);
        }
        return answer;
    }

    // After the requests: the code for the detector. `otherwise` is the answer when libatspi
    // reported no error (some of its calls swallow them).
    int result(int otherwise = kSuccess) const
    {
        if (timedOut)
            return kCannotComplete;
        if (!error)
            return otherwise;
        const QByteArray message(error->message ? error->message : "");
        if (message.contains("UnknownMethod") || message.contains("UnknownProperty") ||
            message.contains("UnknownInterface") || message.contains("No such interface") ||
            message.contains("doesn't exist"))
            return kAttributeUnsupported;
        qCDebug(lcAtspi) << busName << "could not answer" << what << ":" << message;
        return kCannotComplete;
    }

    AtspiElementTree &tree;
    const QString busName;
    bool timedOut = false;
    QStringView what; // for the log: the attribute or request asked for
    GError *error = nullptr;
};

AtspiElementTree::AtspiElementTree(std::shared_ptr<X11Connection> x11)
    : m_x11(std::move(x11))
{
}

bool AtspiElementTree::connect()
{
    trackApplications();
    // 1: already connected by another tree of this process; both are fine.
    const int code = atspi_init();
    if (code > 1) {
        // No accessibility bus. libatspi now counts itself initialised without a bus and
        // would abort the process at its next request; undone, so the next try starts clean.
        atspi_exit();
        return false;
    }
    const int timeout = int(kCallTimeout.count());
    // The second value applies to programs that joined the bus in the last few seconds.
    atspi_set_timeout(timeout, timeout);
    auto *bus = atspi_get_a11y_bus();
    g_libatspiBus = bus;
    m_bus = dbus_connection_ref(bus);
    m_connected = true;
    m_busContext = nullptr; // atspi_init() attaches its bus to the default context
    if (m_busLost) {
        if (code == 0) {
            reviveApplications(bus);
            // libatspi skips attaching the new bus to the context it was last given, which is
            // this thread's: given the default one first, it moves the bus from there below.
            atspi_set_main_context(g_main_context_default());
        }
        m_busLost = false;
        qCInfo(lcAtspi) << "Accessibility bus restarted; reconnected";
    }
    return true;
}

void AtspiElementTree::dropLostBus()
{
    auto *deadBus = static_cast<DBusConnection *>(m_bus);
    // Not a single request is left in flight here: the requests of this tree are synchronous and
    // made on this thread only, so the bus is swapped between two of them.
    if (deadBus == g_libatspiBus) {
        atspi_exit();
        disposeApplications(deadBus);
        ++g_busGeneration;
        g_libatspiBus = nullptr;
    }
    dbus_connection_unref(deadBus);
    m_bus = nullptr;
    for (void *connection : std::as_const(m_privateConnections)) {
        dbus_connection_close(static_cast<DBusConnection *>(connection));
        dbus_connection_unref(static_cast<DBusConnection *>(connection));
    }
    m_privateConnections.clear();
    m_unresponsiveUntil.clear(); // bus names of the old bus
    m_connected = false;
    m_busLost = true;
    m_nextConnectTry = Clock::now();
}

bool AtspiElementTree::connected()
{
    // The connection notices the bus's end on its next read: in this thread's event loop between
    // two scans, or at the latest in the request that fails on it.
    if (m_connected && !dbus_connection_get_is_connected(static_cast<DBusConnection *>(m_bus)))
        dropLostBus();
    if (!m_connected) {
        if (m_busLost && Clock::now() < m_nextConnectTry)
            return false;
        if (!connect()) {
            m_nextConnectTry = Clock::now() + kReconnectPause;
            return false;
        }
    }
    // libatspi reads its bus (other programs' signals, its cache updates) from the event loop of
    // the context it is attached to. That must be the loop of the thread that makes the requests:
    // the GUI thread's default loop would otherwise handle them while a scan runs on the
    // detector's. Qt gives every thread but the main one a context of its own.
    GMainContext *context = g_main_context_get_thread_default();
    if (!context)
        context = g_main_context_default();
    if (context != m_busContext) {
        atspi_set_main_context(context);
        m_busContext = context;
    }
    // Private connections of programs that have gone.
    for (qsizetype i = m_privateConnections.size() - 1; i >= 0; --i) {
        auto *connection = static_cast<DBusConnection *>(m_privateConnections[i]);
        if (!dbus_connection_get_is_connected(connection)) {
            dbus_connection_unref(connection);
            m_privateConnections.removeAt(i);
        }
    }
    return true;
}

AtspiElementTree::~AtspiElementTree()
{
    if (m_bus)
        dbus_connection_unref(static_cast<DBusConnection *>(m_bus));
    for (void *connection : std::as_const(m_privateConnections)) {
        dbus_connection_close(static_cast<DBusConnection *>(connection));
        dbus_connection_unref(static_cast<DBusConnection *>(connection));
    }
}

void AtspiElementTree::keepOnSharedBus(AtspiAccessible *accessible)
{
    // libatspi moves a program that offers a private (peer-to-peer) connection onto it, attaches
    // that connection to the default GLib loop (the GUI thread's), and then waits for each answer
    // by reading the connection itself. Two threads then read one connection, and ours waits out
    // the whole time-out for an answer the other one took. So requests to the program stay on the
    // accessibility bus, which only this thread reads, and the private connection is moved to this
    // thread's loop too (libatspi's first cache request may still be answered on it) and kept
    // until the program goes. NOTE: between libatspi opening it and this move, the GUI thread may
    // still handle that first answer; it comes within milliseconds of the connection, while this
    // thread sits between two scan attempts.
    AtspiObject *object = accessible ? ATSPI_OBJECT(accessible) : nullptr;
    AtspiApplication *application = object ? object->app : nullptr;
    auto *shared = static_cast<DBusConnection *>(m_bus);
    if (!application || !application->bus || !shared || application->bus == shared)
        return;
    DBusConnection *own = application->bus;
    atspi_dbus_connection_setup_with_g_main(own, static_cast<GMainContext *>(m_busContext));
    m_privateConnections.append(own); // libatspi's reference, taken over
    application->bus = dbus_connection_ref(shared);
}

QString AtspiElementTree::roleName(const QString &atspiRoleName)
{
    if (atspiRoleName == QLatin1String("window") || atspiRoleName == QLatin1String("frame") ||
        atspiRoleName == QLatin1String("dialog"))
        return QStringLiteral("AXWindow");
    if (atspiRoleName == QLatin1String("popup menu") || atspiRoleName == QLatin1String("menu"))
        return QStringLiteral("AXMenu");
    QString name = QStringLiteral("AX");
    bool upper = true;
    for (const QChar c : atspiRoleName) {
        if (c == QLatin1Char(' ') || c == QLatin1Char('-') || c == QLatin1Char('_')) {
            upper = true;
            continue;
        }
        name += upper ? c.toUpper() : c;
        upper = false;
    }
    return name;
}

int AtspiElementTree::copyAttributeValue(const ElementHandle &element, Attribute attribute, AttributeValue &value)
{
    value = std::monostate{};
    AtspiAccessible *accessible = unwrap(element);
    if (!accessible)
        return kCannotComplete;
    const bool isApplication = static_cast<const AtspiElement *>(element.get())->isApplication;
    Call call(*this, accessible);
    if (call.refused())
        return kCannotComplete;
    call.what = attributeName(attribute);

    auto stringResult = [&](gchar *text) {
        const QString string = takeString(text);
        const int code = call.result();
        if (code == kSuccess)
            value = string;
        return code;
    };
    auto childList = [&](bool showingOnly) {
        const gint count = call.ask([&] { return atspi_accessible_get_child_count(accessible, &call.error); });
        if (call.error)
            return call.result();
        QList<ElementHandle> children;
        for (gint i = 0; i < count && !call.timedOut; ++i) {
            AtspiAccessible *child = call.ask([&] { return atspi_accessible_get_child_at_index(accessible, i, &call.error); });
            if (call.error)
                return call.result();
            if (!child)
                continue;
            if (showingOnly) {
                AtspiStateSet *states = call.ask([&] { return atspi_accessible_get_state_set(child); });
                const bool showing = states && atspi_state_set_contains(states, ATSPI_STATE_SHOWING);
                if (states)
                    g_object_unref(states);
                // libatspi keeps this request's errors to itself; a time-out is all there is to
                // go by, and the remaining children would each cost one more.
                if (call.timedOut) {
                    g_object_unref(child);
                    return call.result();
                }
                if (!showing) {
                    g_object_unref(child);
                    continue;
                }
            }
            children.append(wrap(child));
        }
        const int code = call.result();
        if (code == kSuccess)
            value = children;
        return code;
    };

    if (attribute == Attribute::title)
        return stringResult(call.ask([&] { return atspi_accessible_get_name(accessible, &call.error); }));
    if (attribute == Attribute::description)
        return stringResult(call.ask([&] { return atspi_accessible_get_description(accessible, &call.error); }));
    if (attribute == Attribute::roleDescription)
        return stringResult(call.ask([&] { return atspi_accessible_get_localized_role_name(accessible, &call.error); }));
    if (attribute == Attribute::role) {
        gchar *atspiName = call.ask([&] { return atspi_accessible_get_role_name(accessible, &call.error); });
        const QString name = takeString(atspiName);
        const int code = call.result();
        if (code == kSuccess)
            value = roleName(name);
        return code;
    }
    if (attribute == Attribute::value) {
        AtspiText *text = call.ask([&] { return atspi_accessible_get_text_iface(accessible); });
        if (!text)
            return call.result(kAttributeUnsupported);
        const gint count = call.ask([&] { return atspi_text_get_character_count(text, &call.error); });
        QString content;
        if (!call.error)
            content = takeString(call.ask([&] { return atspi_text_get_text(text, 0, count, &call.error); }));
        g_object_unref(text);
        const int code = call.result();
        if (code == kSuccess)
            value = content;
        return code;
    }
    if (attribute == Attribute::children)
        return childList(false);
    if (attribute == Attribute::visibleChildren)
        return childList(true);
    if (attribute == Attribute::windows) {
        // An application's top-level children are its windows; other elements have none.
        if (!isApplication && call.ask([&] { return atspi_accessible_get_role(accessible, &call.error); }) != ATSPI_ROLE_APPLICATION)
            return call.result(kAttributeUnsupported);
        const int code = childList(false);
        if (code == kSuccess)
            orderFrontToBack(std::get<QList<ElementHandle>>(value));
        return code;
    }
    if (attribute == Attribute::parent) {
        AtspiAccessible *parent = call.ask([&] { return atspi_accessible_get_parent(accessible, &call.error); });
        const int code = call.result();
        if (code != kSuccess) {
            if (parent)
                g_object_unref(parent);
            return code;
        }
        if (!parent)
            return kNoValue;
        value = wrap(parent);
        return kSuccess;
    }
    if (attribute == Attribute::position || attribute == Attribute::size) {
        AtspiComponent *component = call.ask([&] { return atspi_accessible_get_component_iface(accessible); });
        if (!component)
            return call.result(kAttributeUnsupported);
        AtspiRect *extents = call.ask([&] { return atspi_component_get_extents(component, ATSPI_COORD_TYPE_SCREEN, &call.error); });
        g_object_unref(component);
        const int code = call.result();
        if (code == kSuccess && extents) {
            if (attribute == Attribute::position)
                value = QPointF(extents->x, extents->y);
            else
                value = QSizeF(extents->width, extents->height);
        }
        if (extents)
            g_free(extents);
        if (code == kSuccess && !extents)
            return kNoValue;
        return code;
    }
    // "AXSubrole" and "AXHelp": AT-SPI 2.46 offers neither a subrole nor a help text.
    return kAttributeUnsupported;
}

void AtspiElementTree::orderFrontToBack(QList<ElementHandle> &windows)
{
    // AT-SPI lists a program's windows in the order they were made, so a popup opened over a big
    // main window comes after it, and whoever walks the list reads the whole main window first.
    // Window lists are meant front to back: the X stacking order says which is in front. Each
    // accessible window is matched to the X window with its very rectangle; windows that are not
    // on screen keep their order behind the others.
    if (!m_x11 || windows.size() < 2)
        return;
    const auto topLevels = m_x11->viewableTopLevels();
    if (!topLevels)
        return;
    QList<QRect> stacked; // front to back
    stacked.reserve(qsizetype(topLevels->size()));
    for (const X11Connection::TopLevel &topLevel : *topLevels)
        stacked.append(m_x11->rootBounds(m_x11->clientWindow(topLevel.window)).value_or(topLevel.bounds));

    QList<std::pair<qsizetype, ElementHandle>> ranked;
    ranked.reserve(windows.size());
    for (const ElementHandle &window : std::as_const(windows)) {
        qsizetype rank = stacked.size();
        AttributeValue position, size;
        if (copyAttributeValue(window, Attribute::position, position) == kSuccess &&
            copyAttributeValue(window, Attribute::size, size) == kSuccess) {
            const auto *origin = std::get_if<QPointF>(&position);
            const auto *extent = std::get_if<QSizeF>(&size);
            if (origin && extent) {
                const qsizetype found = stacked.indexOf(QRectF(*origin, *extent).toRect());
                if (found >= 0)
                    rank = found;
            }
        }
        ranked.append({rank, window});
    }
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto &a, const auto &b) { return a.first < b.first; });
    for (qsizetype i = 0; i < ranked.size(); ++i)
        windows[i] = ranked[i].second;
}

ElementHandle AtspiElementTree::applicationElement(qint64 pid)
{
    if (pid <= 0 || !connected())
        return nullptr;
    AtspiAccessible *desktop = atspi_get_desktop(0);
    if (!desktop)
        return nullptr;
    ElementHandle found;
    GError *error = nullptr;
    const gint count = atspi_accessible_get_child_count(desktop, &error);
    g_clear_error(&error);
    for (gint i = 0; i < count && !found; ++i) {
        AtspiAccessible *application = atspi_accessible_get_child_at_index(desktop, i, &error);
        g_clear_error(&error);
        if (!application)
            continue;
        keepOnSharedBus(application);
        // Answered by the accessibility bus itself, not by the program, so a frozen program
        // does not stall the search.
        const guint applicationPid = atspi_accessible_get_process_id(application, &error);
        g_clear_error(&error);
        if (qint64(applicationPid) == pid) {
            // Children are asked for afresh: the cached list of a program that just started can
            // miss the popup it opened since. NOTE: the states cache must stay on; without it
            // libatspi's handler for a state-change signal asks the program for its states inside
            // the D-Bus dispatch and waits forever for the dispatch lock it already holds.
            atspi_accessible_set_cache_mask(application, AtspiCache(ATSPI_CACHE_DEFAULT & ~ATSPI_CACHE_CHILDREN));
            found = wrap(application, true);
        }
        else
            g_object_unref(application);
    }
    g_object_unref(desktop);
    return found;
}

int AtspiElementTree::copyElementAtPosition(float x, float y, ElementHandle &element)
{
    element = nullptr;
    if (!m_x11 || !connected())
        return kCannotComplete;
    // The topmost X window at the point says which program to ask.
    WindowAt hit;
    if (const int found = windowAt(x, y, hit); found != kSuccess)
        return found;
    if (!hit.client) {
        qCDebug(lcAtspi) << "element at" << x << y << ": no X window there";
        return kSuccess;
    }
    if (!hit.application) {
        qCDebug(lcAtspi) << "element at" << x << y << ": window" << Qt::hex << hit.client << Qt::dec << "of pid"
                         << hit.pid << "has no application on the accessibility bus";
        return kSuccess;
    }
    const QRect &windowBounds = hit.bounds;

    // The program's top-level accessible for that window: the one with the window's very
    // rectangle, else the first showing one that contains the point.
    AttributeValue windows;
    int code = copyAttributeValue(hit.application, Attribute::windows, windows);
    if (code != kSuccess)
        return code;
    ElementHandle topLevel;
    ElementHandle containing;
    for (const ElementHandle &window : std::get<QList<ElementHandle>>(windows)) {
        const std::optional<QRectF> extents = extentsOf(window);
        if (!extents)
            continue;
        const QRectF rect = *extents;
        if (rect.toRect() == windowBounds) {
            topLevel = window;
            break;
        }
        if (!containing && contains(rect, x, y)) {
            Call call(*this, unwrap(window));
            if (call.refused())
                return kCannotComplete;
            AtspiStateSet *states = call.ask([&] { return atspi_accessible_get_state_set(unwrap(window)); });
            const bool showing = states && atspi_state_set_contains(states, ATSPI_STATE_SHOWING);
            if (states)
                g_object_unref(states);
            if (call.result() != kSuccess)
                return kCannotComplete;
            if (showing)
                containing = window;
        }
    }
    if (!topLevel)
        topLevel = containing;
    if (!topLevel) {
        qCDebug(lcAtspi) << "element at" << x << y << ": none of pid" << hit.pid << "'s"
                         << std::get<QList<ElementHandle>>(windows).size() << "windows is at" << windowBounds
                         << "or showing there";
        return kSuccess;
    }

    // Down through the hit tests to the deepest element. The windows listed here carry no scale:
    // the popup path takes AT-SPI's coordinates as they come.
    return hitTestDown(topLevel, gint(x), gint(y), element);
}

// --- Text under a point ---------------------------------------------------------------------

namespace {

// How far the text path looks for the element with text from what the hit test answered: a
// toolkit that answers a child of the text (Qt's viewport) is one step below it; one whose hit
// test stops early (a notebook in GTK) is a handful of containers above it.
constexpr int kTextClimbLimit = 4;
constexpr int kTextDescentDepth = 8;
// A descent by extents never reads a whole tree: a document's outline can hold thousands.
constexpr int kTextDescentBudget = 200;

bool nearly(double a, double b)
{
    return std::abs(a - b) <= 2;
}

} // namespace

std::optional<QRectF> AtspiElementTree::extentsOf(const ElementHandle &element)
{
    AttributeValue position, size;
    if (copyAttributeValue(element, Attribute::position, position) != kSuccess ||
        copyAttributeValue(element, Attribute::size, size) != kSuccess)
        return std::nullopt;
    const auto *origin = std::get_if<QPointF>(&position);
    const auto *extent = std::get_if<QSizeF>(&size);
    if (!origin || !extent)
        return std::nullopt;
    return QRectF(*origin, *extent);
}

int AtspiElementTree::windowAt(float x, float y, WindowAt &found)
{
    found = {};
    if (!m_x11)
        return kCannotComplete;
    const auto topLevels = m_x11->viewableTopLevels();
    if (!topLevels)
        return kCannotComplete;
    const auto hit = std::find_if(topLevels->begin(), topLevels->end(), [x, y](const X11Connection::TopLevel &topLevel) {
        return contains(QRectF(topLevel.bounds), x, y);
    });
    if (hit == topLevels->end())
        return kSuccess;
    found.client = m_x11->clientWindow(hit->window);
    found.bounds = m_x11->rootBounds(found.client).value_or(hit->bounds);
    found.pid = m_x11->pidOfWindow(found.client);
    found.application = applicationElement(found.pid);
    return kSuccess;
}

int AtspiElementTree::topLevelAt(float x, float y, ElementHandle &topLevel, double &scale)
{
    topLevel = nullptr;
    scale = 1;
    WindowAt hit;
    if (const int found = windowAt(x, y, hit); found != kSuccess || !hit.application)
        return found;
    const QRect &windowBounds = hit.bounds;
    AttributeValue windows;
    const int code = copyAttributeValue(hit.application, Attribute::windows, windows);
    if (code != kSuccess)
        return code;
    // The frame whose extents, times the program's scale, are the X window's rectangle: the ratio
    // of the two sizes is that scale (1 on an ordinary desktop, 2 for a program drawn at 2x).
    // Failing that (a frame drawn inside a larger X window), the first frame holding the point,
    // taken at 1x.
    ElementHandle holding;
    for (const ElementHandle &window : std::get<QList<ElementHandle>>(windows)) {
        const std::optional<QRectF> rect = extentsOf(window);
        if (!rect || rect->width() <= 0 || rect->height() <= 0)
            continue;
        if (!holding && contains(*rect, x, y))
            holding = window;
        const double ratio = windowBounds.width() / rect->width();
        if (nearly(rect->height() * ratio, windowBounds.height()) && nearly(rect->x() * ratio, windowBounds.x()) &&
            nearly(rect->y() * ratio, windowBounds.y())) {
            topLevel = wrap(g_object_ref(unwrap(window)), false, ratio);
            scale = ratio;
            return kSuccess;
        }
    }
    topLevel = holding;
    return kSuccess;
}

int AtspiElementTree::hitTestDown(const ElementHandle &start, int x, int y, ElementHandle &deepest)
{
    const double scale = scaleOf(start);
    ElementHandle current = start;
    for (int depth = 0; depth < kMaxHitTestDepth; ++depth) {
        AtspiAccessible *accessible = unwrap(current);
        Call call(*this, accessible);
        if (call.refused())
            return kCannotComplete;
        AtspiComponent *component = call.ask([&] { return atspi_accessible_get_component_iface(accessible); });
        if (!component) {
            if (call.result(kAttributeUnsupported) == kCannotComplete)
                return kCannotComplete;
            break;
        }
        AtspiAccessible *deeper = call.ask(
            [&] { return atspi_component_get_accessible_at_point(component, x, y, ATSPI_COORD_TYPE_SCREEN, &call.error); });
        g_object_unref(component);
        if (call.result() != kSuccess) {
            if (deeper)
                g_object_unref(deeper);
            break; // the deepest so far is still a good answer
        }
        if (!deeper)
            break;
        const bool same = ATSPI_OBJECT(deeper)->app == ATSPI_OBJECT(accessible)->app &&
                          g_strcmp0(ATSPI_OBJECT(deeper)->path, ATSPI_OBJECT(accessible)->path) == 0;
        if (same) {
            g_object_unref(deeper);
            break;
        }
        current = wrap(deeper, false, scale);
    }
    deepest = current;
    return kSuccess;
}

int AtspiElementTree::copyTextElementAtPosition(float x, float y, ElementHandle &element)
{
    element = nullptr;
    ElementHandle topLevel;
    double scale = 1;
    int code = topLevelAt(x, y, topLevel, scale);
    if (code != kSuccess || !topLevel)
        return code;
    // The program's own coordinates of the point.
    const int px = int(std::floor(x / scale));
    const int py = int(std::floor(y / scale));
    ElementHandle deepest;
    code = hitTestDown(topLevel, px, py, deepest);
    if (code != kSuccess || !deepest)
        return code;
    if (hasText(deepest)) {
        element = deepest;
        return kSuccess;
    }

    // Qt answers a child of the text (the editor's viewport): up to the nearest ancestor with
    // text that holds the point.
    ElementHandle current = deepest;
    for (int step = 0; step < kTextClimbLimit; ++step) {
        AttributeValue parent;
        if (copyAttributeValue(current, Attribute::parent, parent) != kSuccess)
            break;
        const auto *up = std::get_if<ElementHandle>(&parent);
        if (!up || !*up)
            break;
        current = wrap(g_object_ref(unwrap(*up)), false, scale);
        if (!hasText(current))
            continue;
        const std::optional<QRectF> rect = extentsOf(current);
        if (rect && contains(*rect, float(px), float(py))) {
            element = current;
            return kSuccess;
        }
        break;
    }

    // GTK's hit test may stop at a container (mousepad's notebook): down by extents, looking
    // through showing children that have no extents of their own (a hidden tab row's page tab).
    QList<std::pair<ElementHandle, int>> queue{{deepest, 0}};
    int budget = kTextDescentBudget;
    while (!queue.isEmpty() && budget > 0) {
        const auto [parent, depth] = queue.takeFirst();
        AttributeValue children;
        if (copyAttributeValue(parent, Attribute::visibleChildren, children) != kSuccess)
            continue;
        const auto *list = std::get_if<QList<ElementHandle>>(&children);
        if (!list)
            continue;
        for (const ElementHandle &child : *list) {
            if (--budget <= 0)
                break;
            const ElementHandle scaled = wrap(g_object_ref(unwrap(child)), false, scale);
            const std::optional<QRectF> rect = extentsOf(scaled);
            const bool noExtents = !rect || rect->width() < 0 || rect->height() < 0;
            if (!noExtents && !contains(*rect, float(px), float(py)))
                continue;
            if (!noExtents && hasText(scaled)) {
                element = scaled;
                return kSuccess;
            }
            if (depth + 1 < kTextDescentDepth)
                queue.append({scaled, depth + 1});
        }
    }
    return kSuccess;
}

template <typename Work>
int AtspiElementTree::askText(const ElementHandle &element, QStringView what, int noText, Work &&work)
{
    AtspiAccessible *accessible = unwrap(element);
    if (!accessible)
        return kCannotComplete;
    Call call(*this, accessible);
    if (call.refused())
        return kCannotComplete;
    call.what = what;
    AtspiText *text = call.ask([&] { return atspi_accessible_get_text_iface(accessible); });
    if (!text)
        return call.result(noText);
    work(call, accessible, text);
    g_object_unref(text);
    return call.result();
}

bool AtspiElementTree::hasText(const ElementHandle &element)
{
    // No answer counts as no text, as a program without the interface does.
    return askText(element, u"Text", kAttributeUnsupported, [](Call &, AtspiAccessible *, AtspiText *) {}) == kSuccess;
}

int AtspiElementTree::copyTextFacts(const ElementHandle &element, std::optional<TextFacts> &facts)
{
    facts.reset();
    const int code = askText(element, u"Text", kSuccess, [&](Call &call, AtspiAccessible *accessible, AtspiText *text) {
        const gint count = call.ask([&] { return atspi_text_get_character_count(text, &call.error); });
        if (call.error || call.timedOut)
            return;
        // Qt's bridge counts UTF-16 units in every offset and count; the other toolkits count
        // characters (code points).
        const QString toolkit = takeString(call.ask([&] { return atspi_accessible_get_toolkit_name(accessible, &call.error); }));
        facts = TextFacts{int(count), toolkit == QLatin1String("Qt") ? OffsetUnit::Utf16Units : OffsetUnit::CodePoints};
    });
    if (code != kSuccess)
        facts.reset();
    return code;
}

int AtspiElementTree::copyOffsetAtPosition(const ElementHandle &element, float x, float y, int &offset)
{
    offset = -1;
    const double scale = scaleOf(element);
    const gint px = gint(std::floor(x / scale));
    const gint py = gint(std::floor(y / scale));
    const int code = askText(element, u"Text offset", kAttributeUnsupported, [&](Call &call, AtspiAccessible *, AtspiText *text) {
        for (int ask = 0; ask < 2 && !call.timedOut && !call.error; ++ask) {
            if (ask > 0)
                g_usleep(gulong(std::chrono::microseconds(kFirstAskRetry).count()));
            offset = call.ask([&] { return atspi_text_get_offset_at_point(text, px, py, ATSPI_COORD_TYPE_SCREEN, &call.error); });
            if (offset >= 0)
                break;
        }
    });
    if (code != kSuccess)
        offset = -1;
    return code;
}

int AtspiElementTree::copyText(const ElementHandle &element, const TextSpan &span, QString &result)
{
    result.clear();
    QString read;
    const int code = askText(element, u"Text read", kAttributeUnsupported, [&](Call &call, AtspiAccessible *, AtspiText *text) {
        read = takeString(call.ask([&] { return atspi_text_get_text(text, span.start, span.end, &call.error); }));
    });
    if (code == kSuccess)
        result = read;
    return code;
}

int AtspiElementTree::copyRangeExtents(const ElementHandle &element, const TextSpan &span, QRectF &bounds)
{
    bounds = QRectF();
    QRectF rect;
    const int code = askText(element, u"Text extents", kAttributeUnsupported, [&](Call &call, AtspiAccessible *, AtspiText *text) {
        for (int ask = 0; ask < 2 && !call.timedOut && !call.error; ++ask) {
            if (ask > 0)
                g_usleep(gulong(std::chrono::microseconds(kFirstAskRetry).count()));
            AtspiRect *extents = call.ask(
                [&] { return atspi_text_get_range_extents(text, span.start, span.end, ATSPI_COORD_TYPE_SCREEN, &call.error); });
            if (extents) {
                rect = QRectF(extents->x, extents->y, extents->width, extents->height);
                g_free(extents);
            }
            if (rect.width() > 0 && rect.height() > 0)
                break;
        }
    });
    if (code != kSuccess)
        return code;
    if (rect.width() > 0 && rect.height() > 0) {
        // Back in device pixels, the detector's one coordinate space.
        const double scale = scaleOf(element);
        bounds = QRectF(rect.x() * scale, rect.y() * scale, rect.width() * scale, rect.height() * scale);
    }
    return kSuccess;
}

bool AtspiElementTree::isProcessTrusted(bool prompt)
{
    // The accessibility bus must answer at all: without it there are no trees to read.
    QDBusConnection session = QDBusConnection::sessionBus();
    if (!session.isConnected())
        return false;
    const int timeout = int(kCallTimeout.count()) * 4;
    const QDBusMessage address = session.call(
        QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                       QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress")),
        QDBus::Block, timeout);
    if (address.type() != QDBusMessage::ReplyMessage || address.arguments().value(0).toString().isEmpty())
        return false;

    auto isEnabled = [&]() {
        QDBusMessage get = QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                                          QStringLiteral("org.freedesktop.DBus.Properties"),
                                                          QStringLiteral("Get"));
        get << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled");
        const QDBusMessage reply = session.call(get, QDBus::Block, timeout);
        return reply.type() == QDBusMessage::ReplyMessage &&
               reply.arguments().value(0).value<QDBusVariant>().variant().toBool();
    };
    if (isEnabled())
        return true;
    if (!prompt)
        return false;
    // Toolkits watch this switch and start exposing their trees when it turns on.
    QDBusMessage set = QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                                      QStringLiteral("org.freedesktop.DBus.Properties"),
                                                      QStringLiteral("Set"));
    set << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled") << QVariant::fromValue(QDBusVariant(true));
    session.call(set, QDBus::Block, timeout);
    return isEnabled();
}

} // namespace dialwise
