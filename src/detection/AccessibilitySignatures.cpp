// How the detector recognises the phone-number popup in another program's accessibility tree,
// and how it reads the number out of it.
#include "detection/DataDetectorMonitor.h"

#include "detection/DetectorText.h"
#include "detection/ElementReads.h"

namespace dialwise {
namespace {

// Twelve levels reach every entry of the popups seen in practice while keeping a walk through an
// ordinary window (which the size test should have kept out anyway) bounded.
constexpr int kTreeSearchMaxDepth = 12;

// How far (in points, per axis) an element may sit from the new window that made it a suspect;
// popups are drawn with shadows and insets, so their element rarely matches the window exactly.
constexpr double kExpectedPositionTolerance = 30;
// The signature line shows the first labels only; a popup's own few texts come first.
constexpr qsizetype kLoggedLabels = 10;

QString boolText(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

// ["first", "second"]: quoted and escaped, so that a label with a quote or a line break cannot
// make the line ambiguous.
QString labelList(const QStringList &labels)
{
    QString text = QStringLiteral("[");
    const qsizetype count = std::min(labels.size(), kLoggedLabels);
    for (qsizetype i = 0; i < count; ++i) {
        if (i > 0)
            text += QStringLiteral(", ");
        text += u'"';
        for (const QChar c : labels[i]) {
            switch (c.unicode()) {
            case u'"': text += QStringLiteral("\\\""); break;
            case u'\\': text += QStringLiteral("\\\\"); break;
            case u'\n': text += QStringLiteral("\\n"); break;
            case u'\r': text += QStringLiteral("\\r"); break;
            case u'\t': text += QStringLiteral("\\t"); break;
            default: text += c;
            }
        }
        text += u'"';
    }
    return text + u']';
}

} // namespace

bool DataDetectorMonitor::isDDRelated(const QString &text) const
{
    const QString lower = text.toLower();
    // "add to contacts" before "add to contact" is redundant but kept: it documents both entries
    // the popup is known to carry. "message" alone is a word of every mail program; the popup's
    // entry carries the number, hence the "+".
    return lower.contains(u"facetime") || lower.contains(u"large type") || lower.contains(u"add to contacts")
        || lower.contains(u"add to contact") || (lower.contains(u"message") && lower.contains(u'+'));
}

void DataDetectorMonitor::checkDDLabel(const QString &label, DDSearchContext &context) const
{
    const QString lower = label.toLower();
    if (lower.contains(u"facetime"))
        context.hasFacetime = true;
    if (lower.contains(u"large type"))
        context.hasLargeType = true;
    if (lower.contains(u"add") && lower.contains(u"contact"))
        context.hasAddContact = true;
    // Within a suspected popup "Messages" is signature enough; no "+" needed, unlike isDDRelated.
    if (lower.contains(u"message"))
        context.hasMessage = true;
    if (context.phoneNumber.isEmpty()) {
        const QString number = extractPhoneNumber(label);
        if (!number.isEmpty())
            context.phoneNumber = number;
    }
}

void DataDetectorMonitor::searchAXTree(const ElementHandle &element, DDSearchContext &context, int depth, int maxDepth)
{
    if (depth >= maxDepth)
        return;
    ElementTree &tree = *m_services.platform.elementTree;
    for (const Attribute attribute : {Attribute::title, Attribute::description, Attribute::value, Attribute::help}) {
        const std::optional<QString> text = elementreads::text(tree, element, attribute);
        if (text && !text->isEmpty()) {
            context.allLabels.append(*text);
            checkDDLabel(*text, context);
        }
    }
    if (const std::optional<QString> role = elementreads::text(tree, element, Attribute::roleDescription);
        role && !role->isEmpty())
        context.allLabels.append(QStringLiteral("(role:") + *role + u')');

    // Both lists, even where they overlap: some programs list a popup's entries only as visible
    // children, and a twice-read label does no harm.
    for (const Attribute attribute : {Attribute::children, Attribute::visibleChildren}) {
        if (const std::optional<QList<ElementHandle>> children = elementreads::elements(tree, element, attribute)) {
            for (const ElementHandle &child : *children)
                searchAXTree(child, context, depth + 1, maxDepth);
        }
    }
}

std::optional<DataDetectorMonitor::PopupInfo> DataDetectorMonitor::scanAXAttribute(
    const ElementHandle &element, Attribute attribute, const QString &label,
    const std::optional<QRectF> &expectedFrame)
{
    ElementTree &tree = *m_services.platform.elementTree;
    const QString tag = QStringLiteral("  [AX-") + label + QStringLiteral("] ");

    int code = ElementTree::kSuccess;
    const std::optional<QList<ElementHandle>> items = elementreads::elements(tree, element, attribute, &code);
    if (!items) {
        log(tag + QStringLiteral("Failed to get ") + label + QStringLiteral(": ") + QString::number(code));
        return std::nullopt;
    }
    log(tag + QStringLiteral("Found ") + QString::number(items->size()) + u' ' + label);

    for (qsizetype i = 0; i < items->size(); ++i) {
        const ElementHandle &item = items->at(i);
        const QString role = elementreads::text(tree, item, Attribute::role).value_or(QStringLiteral("?"));
        const QString subrole = elementreads::text(tree, item, Attribute::subrole).value_or(QString());
        const QSizeF size = elementreads::size(tree, item);
        const QPointF position = elementreads::position(tree, item);
        const QString index = u'[' + QString::number(i) + u']';

        log(tag + index + QStringLiteral(" role=") + role + (subrole.isEmpty() ? QString() : u'/' + subrole)
            + QStringLiteral(" size=") + detectortext::number(size.width()) + u'x' + detectortext::number(size.height())
            + QStringLiteral(" pos=") + detectortext::number(position.x()) + u',' + detectortext::number(position.y()));

        const bool sizeFits = hasPopupSize(size);
        const bool positionFits = expectedFrame
            && std::abs(position.x() - expectedFrame->x()) < kExpectedPositionTolerance
            && std::abs(position.y() - expectedFrame->y()) < kExpectedPositionTolerance;
        if (!sizeFits && !positionFits)
            continue;

        DDSearchContext context;
        searchAXTree(item, context, 0, kTreeSearchMaxDepth);
        log(tag + index + QStringLiteral(" DD signatures: facetime=") + boolText(context.hasFacetime)
            + QStringLiteral(" largeType=") + boolText(context.hasLargeType) + QStringLiteral(" message=")
            + boolText(context.hasMessage) + QStringLiteral(" phone='") + context.phoneNumber
            + QStringLiteral("' allLabels=") + labelList(context.allLabels));

        if (!context.hasFacetime && !context.hasLargeType && !context.hasMessage)
            continue;

        QString number = context.phoneNumber;
        if (number.isEmpty())
            number = extractPhoneFromLabels(context.allLabels);
        if (number.isEmpty())
            number = QStringLiteral("unknown");
        return PopupInfo{QRectF(position, size), number};
    }
    return std::nullopt;
}

std::optional<DataDetectorMonitor::PopupInfo> DataDetectorMonitor::findDDPopupInAXElement(
    const ElementHandle &element, const std::optional<QRectF> &expectedFrame)
{
    // The program's windows first; its direct children only when no window is the popup.
    if (std::optional<PopupInfo> popup = scanAXAttribute(element, Attribute::windows,
                                                         QStringLiteral("windows"), expectedFrame))
        return popup;
    return scanAXAttribute(element, Attribute::children, QStringLiteral("children"), expectedFrame);
}

QString DataDetectorMonitor::extractPhoneNumber(const QString &text) const
{
    return m_services.phoneFinder ? m_services.phoneFinder->firstPhoneNumber(text) : QString();
}

QString DataDetectorMonitor::extractPhoneFromLabels(const QStringList &labels) const
{
    for (const QString &label : labels) {
        QString number = extractPhoneNumber(label);
        if (!number.isEmpty())
            return number;
    }
    return QString();
}

} // namespace dialwise
