#pragma once

#include "detection/ClickSource.h"
#include "detection/ElementTree.h"
#include "detection/PanelView.h"
#include "detection/Screen.h"
#include "detection/WindowList.h"

#include <memory>

namespace dialwise {

// The desktop the phone-link detector works on, one piece per interface. The GUI entry fills it
// with the platform's backends; a piece left empty means the desktop cannot offer it, and the
// detector is then not started at all.
struct DetectorPlatform
{
    std::shared_ptr<ElementTree> elementTree; // other programs' accessibility trees
    std::shared_ptr<WindowList> windowList;   // on-screen windows and the frontmost program
    std::shared_ptr<Screen> screen;           // main screen height and the pointer
    std::shared_ptr<ClickSource> clickSource; // left mouse-downs anywhere
    std::shared_ptr<PanelView> panelView;     // the "Call with Dialwise" strip

    bool isComplete() const { return elementTree && windowList && screen && clickSource && panelView; }
};

} // namespace dialwise
