#pragma once

#include "detect/PatternSet.h"
#include "import/TImportTask.h"

#include <QString>
#include <QStringList>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

namespace kelvane {

namespace detect {
class EventDetections;
}
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

    // Sigma rules evaluated on every event as it is imported: the bundled ones (unless bundled is false) and
    // those in the user's folders. Off until set.
    void setDetections(bool enabled, bool bundled = true, const QStringList& userFolders = {});
    // The multi-pattern matcher behind the rules (the benchmark compares the two).
    void setDetectionMatcher(detect::MatcherBackend backend) { m_matcher = backend; }
    // Rules that applied to the events imported (one per rule and event of its log source).
    std::uint64_t ruleEvaluations() const { return m_ruleEvaluations; }
    // After the end: what the rules did (or why they did not run), and the rule files that were skipped
    // ("file: reason").
    QString detectionSummary() const { return m_detectionSummary; }
    QStringList skippedRuleFiles() const { return m_skippedRuleFiles; }

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
    bool m_detect = false;
    bool m_bundledRules = true;
    detect::MatcherBackend m_matcher = detect::MatcherBackend::Vectorscan;
    std::uint64_t m_ruleEvaluations = 0;
    QStringList m_ruleFolders;
    QString m_detectionSummary;
    QStringList m_skippedRuleFiles;
    // The rules of the running import, seen by each file's pipeline.
    detect::EventDetections* m_detections = nullptr;
};

} // namespace kelvane
