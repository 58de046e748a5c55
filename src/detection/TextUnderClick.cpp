// A phone number written in another program's ordinary text (a label, an editor, a web page),
// clicked: read around the click at once, the match holding the clicked character taken, and the
// strip floated right under it. Nothing read is kept beyond the strip's life, and only the number
// found reaches the log.
#include "detection/DataDetectorMonitor.h"

#include "calling/CallManager.h"
#include "detection/DetectorText.h"
#include "detection/StripTiming.h"

#include <chrono>
#include <cmath>

namespace dialwise {
namespace {

// The strip under a number is wide enough for the button's text and a number in its display form.
constexpr double kTextStripWidth = 260;
// A number redrawn where it was may come back a pixel off (rounding of a scaled layout); a scroll
// or an edit moves it by a whole character or line.
constexpr double kSameNumberTolerance = 2;

bool nearlySame(const QRectF &a, const QRectF &b)
{
    return std::abs(a.x() - b.x()) <= kSameNumberTolerance && std::abs(a.y() - b.y()) <= kSameNumberTolerance
        && std::abs(a.width() - b.width()) <= kSameNumberTolerance
        && std::abs(a.height() - b.height()) <= kSameNumberTolerance;
}

} // namespace

void DataDetectorMonitor::scanTextAtClick()
{
    if (!m_services.textNumberFinder)
        return;
    ElementTree &tree = *m_services.platform.elementTree;
    const auto x = float(lastClickPosition.x());
    const auto y = float(lastClickPosition.y());

    // Where nothing with text is under the pointer (most clicks: buttons, title bars, images)
    // there is nothing to say; the popup path's own lines follow.
    ElementHandle element;
    if (tree.copyTextElementAtPosition(x, y, element) != ElementTree::kSuccess || !element)
        return;
    std::optional<TextFacts> facts;
    if (tree.copyTextFacts(element, facts) != ElementTree::kSuccess || !facts)
        return;
    int offset = -1;
    if (tree.copyOffsetAtPosition(element, x, y, offset) != ElementTree::kSuccess)
        return;
    const TextSpan read = TextNumberFinder::spanToRead(facts->characterCount, offset);
    if (read.length() <= 0) {
        log(QStringLiteral("  [Text] No number under the click"));
        return;
    }
    QString excerpt;
    if (tree.copyText(element, read, excerpt) != ElementTree::kSuccess)
        return;
    // A shorter answer than asked for is the text's real end (a terminal counts its text in
    // bytes); taken as it is, a number at the very end would look cut off and be refused.
    int characterCount = facts->characterCount;
    const qsizetype got = TextNumberFinder::length(excerpt, facts->unit);
    if (got < read.length())
        characterCount = read.start + int(got);

    const std::optional<ClickedNumber> number =
        m_services.textNumberFinder->numberAt(excerpt, read.start, characterCount, offset, facts->unit);
    if (!number) {
        log(QStringLiteral("  [Text] No number under the click"));
        return;
    }
    QRectF bounds;
    if (tree.copyRangeExtents(element, number->span, bounds) != ElementTree::kSuccess || bounds.isEmpty()) {
        log(QStringLiteral("  [Text] The number under the click has no place on screen"));
        return;
    }
    log(QStringLiteral("FOUND via text under the click: ") + number->number + QStringLiteral(" at ")
        + detectortext::frame(bounds));
    showTextCompanion(element, *number, bounds);
}

void DataDetectorMonitor::showTextCompanion(const ElementHandle &element, const ClickedNumber &number,
                                            const QRectF &bounds)
{
    dismissCompanionPanel();
    currentPhoneNumber = number.number;
    lastPopupFrame = bounds;
    const std::optional<double> screenHeight = m_services.platform.screen->mainScreenHeight();
    if (!screenHeight)
        return;
    m_shownTextNumber = ShownTextNumber{element, number, bounds};

    const StripPlacement placement{bounds, strip::kHeight, 0, kTextStripWidth};
    log(QStringLiteral("  [Panel] Showing under the number at NS frame ")
        + detectortext::frame(placement.bottomLeftFrame(*screenHeight)) + QStringLiteral(" for phone '")
        + number.number + u'\'');
    showStrip(placement, number.number, &DataDetectorMonitor::isClickedNumberStillShown,
              QStringLiteral("  [Panel] Number moved or gone, removing companion"));
}

bool DataDetectorMonitor::isClickedNumberStillShown()
{
    if (!m_shownTextNumber)
        return false;
    const ShownTextNumber &shown = *m_shownTextNumber;
    ElementTree &tree = *m_services.platform.elementTree;
    // The same characters at the same place: an edit changes the first, a scroll the second, and
    // a program that closed the window or quit answers neither.
    QString text;
    if (tree.copyText(shown.element, shown.number.span, text) != ElementTree::kSuccess || text != shown.number.number)
        return false;
    QRectF bounds;
    if (tree.copyRangeExtents(shown.element, shown.number.span, bounds) != ElementTree::kSuccess
        || !nearlySame(bounds, shown.bounds))
        return false;
    // A window unmapped or covered elsewhere may still lay its text out: some window must still
    // be there to show it.
    const std::optional<QList<WindowInfo>> windows = m_services.platform.windowList->onScreenWindows();
    if (!windows)
        return false;
    for (const WindowInfo &window : *windows) {
        if (window.bounds.contains(shown.bounds.center()))
            return true;
    }
    return false;
}

} // namespace dialwise
