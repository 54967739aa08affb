#pragma once

#include "import/TImportTask.h"

#include <QString>

#include <memory>

namespace kelvane {

class TLogReader;

// The import of one Sysmon log file (XML or .evtx): builds the schema, runs the worker on its own thread and
// reports the outcome. The import dialog is a thin form over it; the headless importer drives it directly.
class TImportController : public TImportTask {
    Q_OBJECT
public:
    // ipstackKey and ipstackConsent come from the settings store; ipstackHost is the geolocation endpoint.
    TImportController(TMainDataModule& data, const QString& ipstackKey, bool ipstackConsent,
                      const QString& ipstackHost = QString(), QObject* parent = nullptr);
    ~TImportController() override;

    // Set by the main window before the import starts.
    QString FileName;

    void ButtonImportClick();
    void BeginSysmonDatabaseImport();
    void ImportData();

    // Share of the file read so far, 0..1, readable while the worker runs.
    double progress() const;

private:
    void ImportWorker() override;

    std::unique_ptr<TLogReader> m_reader;
};

} // namespace kelvane
