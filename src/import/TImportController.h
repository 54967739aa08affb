#pragma once

#include "import/ImportReport.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <memory>

class QThread;

namespace kelvane {

class TIPGeolocator;
class TMainDataModule;
class TLogReader;

// The import of one Sysmon log file (XML or .evtx): builds the schema, runs the worker on its own thread and
// reports the outcome. The import dialog is a thin form over it; the headless importer drives it directly.
class TImportController : public QObject {
    Q_OBJECT
public:
    enum class State { Waiting, Running, Done, Closed };

    // ipstackKey and ipstackConsent come from the settings store; ipstackHost is the geolocation endpoint.
    TImportController(TMainDataModule& data, const QString& ipstackKey, bool ipstackConsent,
                      const QString& ipstackHost = QString(), QObject* parent = nullptr);
    ~TImportController() override;

    // Set by the main window before the import starts.
    QString FileName;

    // The check box: geolocate while importing (only when a key and consent exist).
    void setPerformIPGeoMapping(bool checked) { m_geoChecked = checked; }
    bool performIPGeoMapping() const { return m_geoChecked; }
    bool FIPStackAPIKeySet() const { return m_keySet; }
    void setIPStackAPIKeySet(bool set) { m_keySet = set; }
    const QString& FIPStackAPIKey() const { return m_key; }

    void ButtonImportClick();
    void BeginSysmonDatabaseImport();
    void ImportData();

    State state() const { return m_state; }
    ImportReport& report() { return m_report; }
    const ImportReport& report() const { return m_report; }
    qint64 FEventsCount() const { return m_eventsCount.load(); }
    // Share of the file read so far, 0..1, readable while the worker runs.
    double progress() const;
    bool geolocating() const { return m_geolocating; }
    // Blocks until the worker has ended and its end has been handled (for the headless importer and tests).
    void waitForEnd();

    // Events between two commits of the import's transaction.
    static constexpr int kBatchSize = 20000;

signals:
    // On the main thread, after the worker has ended and the data layer is closed.
    void finished();

private:
    void ImportWorker();
    void OmniEventMonitorTaskTerminated();

    TMainDataModule& m_data;
    ImportReport m_report;
    QString m_key;
    QString m_host;
    bool m_keySet = false;
    bool m_geoChecked = false;
    bool m_geolocating = false;
    State m_state = State::Waiting;
    QThread* m_thread = nullptr;
    std::unique_ptr<TLogReader> m_reader;
    std::unique_ptr<TIPGeolocator> m_geolocator;
    std::atomic<qint64> m_eventsCount{0};
};

} // namespace kelvane
