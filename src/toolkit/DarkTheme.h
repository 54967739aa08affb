#pragma once

class QApplication;

namespace kelvane::ui {

// The program's one look: a dark palette over the Fusion style, applied once at start-up before
// any window exists. Links are white so that the grids' one-click link cells stand out.
void applyDarkTheme(QApplication& app);

} // namespace kelvane::ui
