#pragma once

#include "import/TImportTask.h"

#include <QString>

#include <QStringList>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

namespace kelvane {

class CaseEventKeys;
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

    // Set by the main window before the import starts: one log, or several (FileNames wins when set).
    QString FileName;
    QStringList FileNames;

    // The logs under paths: files as given, folders searched through for .evtx and .xml files, in name
    // order. Paths that are neither are kept, so that the import lists them as unreadable.
    static QStringList logsUnder(const QStringList& paths);

    // One line per file imported so far, and the file being read (1-based, 0 before the first), readable
    // while the worker runs.
    QStringList fileLines() const;
    int currentFile() const { return m_currentFile.load(); }
    int fileCount() const { return static_cast<int>(files().size()); }

    void ButtonImportClick();
    void BeginSysmonDatabaseImport();
    void ImportData();

    // Share of the file read so far, 0..1, readable while the worker runs.
    double progress() const;

private:
    void ImportWorker() override;
    QStringList files() const { return FileNames.isEmpty() ? QStringList{FileName} : FileNames; }
    // Imports one log of several, and notes it in the case's files.
    void importFile(const QString& path, CaseEventKeys& keys, std::int64_t& eventsSoFar,
                    const std::function<void(std::int64_t)>& afterEvent);

    mutable std::mutex m_linesMutex;
    QStringList m_fileLines;
    std::atomic<int> m_currentFile{0};

    std::unique_ptr<TLogReader> m_reader;
};

} // namespace kelvane
