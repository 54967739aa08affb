#pragma once

#include "output/ExportErrors.h"

#include <QElapsedTimer>
#include <QProgressDialog>

namespace kelvane::output {

// Shows a long export going: what has been written, with a Cancel button. It appears only when the
// export takes a moment, and keeps the windows painting while the export works on this thread.
class TExportProgressDialog : public QProgressDialog {
    Q_OBJECT
public:
    // unit: what is counted ("rows", "lines").
    TExportProgressDialog(QWidget* parent, const QString& fileName, const QString& unit);

    // The callback an export reports to; it answers false once Cancel was pressed.
    ExportProgress progress();

private:
    bool report(std::int64_t done, std::int64_t total);

    QString m_fileName;
    QString m_unit;
    QElapsedTimer m_sinceEvents;
};

} // namespace kelvane::output
