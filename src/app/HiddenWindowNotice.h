#pragma once

#include <QString>

namespace dialwise {

// Closing the window only hides it. Where a tray shows Dialwise's icon that is plain to see; on
// a desktop without one (GNOME as installed) Dialwise would go on running with no visible trace,
// so the first close of the run says so, and how to get the window back. Once: after that the
// person knows, and a notification at every close would be noise.
class HiddenWindowNotice final
{
public:
    static constexpr char kSummary[] = "Dialwise keeps running";
    static constexpr char kBody[] = "Links still open in Dialwise. Open its window again from the application menu or "
                                    "by running dialwise; dialwise --quit ends it.";

    // Called at each close of the window: whether to post the notice now.
    bool shouldPost(bool trayAvailable)
    {
        if (trayAvailable || m_posted)
            return false;
        m_posted = true;
        return true;
    }

private:
    bool m_posted = false;
};

} // namespace dialwise
