#pragma once

// Draws one session's events as a chain of boxes in a node diagram; the process view and the
// session view window both build their chains here.

#include "store/SessionEvents.h"

#include <QColor>
#include <QString>

namespace kelvane {

namespace ui {
class TDiagramNode;
class TNodeDiagram;
} // namespace ui

// The colour of an event's box by its type; invalid (the diagram's default) for types without one.
QColor sessionEventColor(int eventType);
// The root of a diagram (an image, or a session) and a computer box.
QColor sessionRootColor();
QColor sessionComputerColor();

// Hangs the session's events, in time order, under the computer box of the session's first event
// below `root`: an existing child of `root` with the same text is reused, else one is added. Each
// event box carries a TSysmonEventData and is the only child of the one before. The nodes are added
// in one batch, then `root` is expanded with all its descendants. There is no limit here: callers
// check countSessionEvents() against kSessionEventLimit before they read the events.
void appendSessionChain(ui::TNodeDiagram& diagram, ui::TDiagramNode* root,
                        const std::vector<SessionEvent>& events);

} // namespace kelvane
