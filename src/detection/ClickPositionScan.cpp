// The last-resort strategy: ask which elements lie at and around the click, and when one of them
// reads like a popup entry, climb to the window-like element that holds it.
#include "detection/DataDetectorMonitor.h"

#include "detection/DetectorText.h"
#include "detection/ElementReads.h"

namespace dialwise {
namespace {

struct ProbeOffset
{
    double dx;
    double dy; // positive is below the click (top-left-origin coordinates)
};

// The popup opens under the clicked number, sometimes a little to the side or, near the bottom of
// the screen, above it: probe straight down first, then to the right, the left, and up.
constexpr ProbeOffset kProbeOffsets[] = {
    {0, 0},   {0, 30},  {0, 60},  {0, 90},   {0, 120}, {50, 30}, {50, 60},
    {50, 90}, {100, 30}, {100, 60}, {-50, 30}, {-50, 60}, {0, -30}, {0, -60},
};

// Roles of the element that frames a popup, tried in this order.
constexpr QStringView kContainerRoles[] = {u"AXWindow", u"AXPopover", u"AXSheet", u"AXMenu"};
// A popup entry sits a few levels under its frame; fifteen steps is far more than any popup needs
// and stops a climb through a broken parent chain.
constexpr int kMaxAncestorSteps = 15;
constexpr int kTreeSearchMaxDepth = 12;

} // namespace

std::optional<DataDetectorMonitor::PopupInfo> DataDetectorMonitor::scanAtClickPosition()
{
    const std::optional<double> screenHeight = m_services.platform.screen->mainScreenHeight();
    if (!screenHeight)
        return std::nullopt;

    // The click is already where the element tree looks (top-left origin, device pixels); the
    // log line writes it in both forms, the first measured against the main screen's height.
    const QPointF click = lastClickPosition;
    log(QStringLiteral("  [AtPosition] Click at NS(") + detectortext::number(click.x()) + QStringLiteral(", ")
        + detectortext::number(*screenHeight - click.y()) + QStringLiteral(") \u2192 CG(") + detectortext::number(click.x())
        + QStringLiteral(", ") + detectortext::number(click.y()) + u')');

    ElementTree &tree = *m_services.platform.elementTree;
    for (const ProbeOffset &offset : kProbeOffsets) {
        ElementHandle element;
        const int code = tree.copyElementAtPosition(float(click.x() + offset.dx), float(click.y() + offset.dy), element);
        if (code != ElementTree::kSuccess || !element)
            continue;

        const QString role = elementreads::text(tree, element, Attribute::role).value_or(QStringLiteral("?"));
        const QString title = elementreads::text(tree, element, Attribute::title).value_or(QString());
        const QString description = elementreads::text(tree, element, Attribute::description).value_or(QString());
        const QString shown = title.isEmpty() ? description : title;
        if (!shown.isEmpty()) {
            log(QStringLiteral("  [AtPosition] offset=(") + detectortext::number(offset.dx) + u','
                + detectortext::number(offset.dy) + QStringLiteral(") role=") + role + QStringLiteral(" text='") + shown
                + u'\'');
        }

        // The role is only logged: popup entries come as buttons, menu items and static texts.
        if (isDDRelated(title) || isDDRelated(description)) {
            log(QStringLiteral("  [AtPosition] Found DD-related element! Walking up to find popup frame..."));
            if (std::optional<PopupInfo> popup = findPopupContainer(element))
                return popup;
        }
    }
    log(QStringLiteral("  [AtPosition] No DD elements found near click position"));
    return std::nullopt;
}

std::optional<DataDetectorMonitor::PopupInfo> DataDetectorMonitor::findPopupContainer(const ElementHandle &element)
{
    ElementTree &tree = *m_services.platform.elementTree;
    ElementHandle current = element;
    ElementHandle container;
    QString containerRole;
    // The start element's own role is never tested: the entry that matched is not the frame.
    for (int step = 0; step < kMaxAncestorSteps && !container; ++step) {
        const ElementHandle parent = elementreads::element(tree, current, Attribute::parent);
        if (!parent)
            return std::nullopt;
        const QString role = elementreads::text(tree, parent, Attribute::role).value_or(QString());
        for (const QStringView candidate : kContainerRoles) {
            if (role == candidate) {
                container = parent;
                containerRole = role;
                break;
            }
        }
        current = parent;
    }
    if (!container)
        return std::nullopt;

    // No size bound here: the clicked entry's texts already said this is the popup.
    const QSizeF size = elementreads::size(tree, container);
    const QPointF position = elementreads::position(tree, container);
    const QRectF frame(position, size);

    DDSearchContext context;
    searchAXTree(container, context, 0, kTreeSearchMaxDepth);
    QString number = context.phoneNumber.isEmpty() ? extractPhoneFromLabels(context.allLabels) : context.phoneNumber;
    log(QStringLiteral("  [Container] Found container role=") + containerRole + QStringLiteral(" frame=")
        + detectortext::frame(frame) + QStringLiteral(" phone='") + number + u'\'');
    if (number.isEmpty())
        number = QStringLiteral("unknown");
    return PopupInfo{frame, number};
}

} // namespace dialwise
