#pragma once

class QWidget;

namespace kelvane::ui {

// Escape and Ctrl+W close `window`, as they close a sheet or a tool window in most desktop programs.
void closeOnEscapeAndCtrlW(QWidget* window);

// Places `window` (not yet shown, at its first size) centred on the window of `anchor`, so that a
// sheet opens where the user was looking instead of at the screen's corner. Without an anchor it is
// centred on the screen it will show on.
void centreOn(QWidget* window, const QWidget* anchor);

} // namespace kelvane::ui
