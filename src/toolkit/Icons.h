#pragma once

#include <QIcon>

namespace kelvane::ui {

// An icon of the program's own set by name ("fit", "clear", "export-pdf", ...).
QIcon icon(const char* name);

} // namespace kelvane::ui
