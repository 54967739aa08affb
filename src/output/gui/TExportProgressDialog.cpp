#include "output/gui/TExportProgressDialog.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>

namespace kelvane::output {

TExportProgressDialog::TExportProgressDialog(QWidget* parent, const QString& fileName, const QString& unit)
    : QProgressDialog(parent), m_fileName(QFileInfo(fileName).fileName()), m_unit(unit) {
    setObjectName("ExportProgressDialog");
    setWindowTitle("Export");
    setWindowModality(Qt::ApplicationModal); // the data must not change under the export
    setLabelText(QString("Writing %1...").arg(m_fileName));
    setCancelButtonText("Cancel");
    setMinimumDuration(500);
    setAutoClose(false);
    setAutoReset(false);
    setRange(0, 0);
    setValue(0);
}

ExportProgress TExportProgressDialog::progress() {
    return [this](std::int64_t done, std::int64_t total) { return report(done, total); };
}

bool TExportProgressDialog::report(std::int64_t done, std::int64_t total) {
    // The label and the events cost time; a few times a second is enough to look alive.
    if (m_sinceEvents.isValid() && m_sinceEvents.elapsed() < 50 && !wasCanceled())
        return true;
    m_sinceEvents.restart();
    const QLocale locale;
    if (total > 0) {
        // The bar counts in thousandths, as the counts may exceed what it holds.
        setRange(0, 1000);
        setValue(int(std::min<std::int64_t>(1000, done * 1000 / total)));
        setLabelText(QString("Writing %1...\n%2 of %3 %4")
                         .arg(m_fileName, locale.toString(qlonglong(done)), locale.toString(qlonglong(total)),
                              m_unit));
    } else {
        setValue(0);
        setLabelText(
            QString("Writing %1...\n%2 %3").arg(m_fileName, locale.toString(qlonglong(done)), m_unit));
    }
    // Until the dialog shows, and blocks the windows under it, a click must not start other work in the
    // middle of this one.
    QCoreApplication::processEvents(isVisible() ? QEventLoop::AllEvents : QEventLoop::ExcludeUserInputEvents);
    return !wasCanceled();
}

} // namespace kelvane::output
