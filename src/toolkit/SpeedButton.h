#pragma once

#include <QString>

class QToolButton;
class QWidget;

namespace kelvane::ui {

// The flat icon button of the views' tool panels: named for tests, with its hint as the tool tip.
QToolButton* speedButton(QWidget* parent, const char* name, const char* icon, const QString& hint);

} // namespace kelvane::ui
