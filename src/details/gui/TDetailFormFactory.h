#pragma once

#include <QString>
#include <QtGlobal>

class QWidget;

namespace kelvane {
class TMainDataModule;
namespace ui {
class TNodeDiagram;
}

// Each call makes a new detail form owned by `owner` (closing the owner closes it), fills it with
// the event's row read from `data` and shows it, not modally. When filling fails the form is freed and the
// failure passes on.

// By event type, as the diagrams open them: the WMI types 19 to 21, and every type without a
// table, open nothing and give nullptr.
QWidget* openDetailFormByType(QWidget* owner, TMainDataModule& data, int eventType, qint64 gid);
// By the name of the event's table, as the all-events grid opens them; an unknown name gives nullptr.
QWidget* openDetailFormByTable(QWidget* owner, TMainDataModule& data, const QString& table, qint64 gid);

// The double click on a diagram: the form of the selected node's event, owned by `owner`. A node
// without an event opens nothing; a diagram with nothing selected is a fault and throws.
QWidget* openDetailFormOfSelection(QWidget* owner, TMainDataModule& data, const ui::TNodeDiagram& diagram);

} // namespace kelvane
