#pragma once

namespace kelvane::ui {

class TNodeDiagram;

// The keyboard on a node diagram: the arrows move the selection (Down to the first child, Up to the
// parent, Left and Right between siblings; the first key selects the first root), the selected box
// is scrolled into view, and Enter acts as a double click on it.
void followKeyboard(TNodeDiagram* diagram);

} // namespace kelvane::ui
