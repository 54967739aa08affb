#pragma once

#include "import/ImportReport.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include <QThread>

namespace kelvane {

class TIPGeolocator;
class TMainDataModule;

// What the imports of a log and of a search server share: the ipstack settings, one worker thread whose
// end is handled on the main thread, the worker's transaction batches, and the report.
class TImportTask : public QObject {
    Q_OBJECT
public:
    enum class State { Waiting, Running, Done, Closed };

    // Events between two commits of the import's transaction.
    static constexpr int kBatchSize = 20000;

    // The check box: geolocate while importing (only when a key and consent exist).
    void setPerformIPGeoMapping(bool checked) { m_geoChecked = checked; }
    bool performIPGeoMapping() const { return m_geoChecked; }
    bool FIPStackAPIKeySet() const { return m_keySet; }
    void setIPStackAPIKeySet(bool set) { m_keySet = set; }
    const QString& FIPStackAPIKey() const { return m_key; }

    State state() const { return m_state; }
    ImportReport& report() { return m_report; }
    const ImportReport& report() const { return m_report; }
    qint64 FEventsCount() const { return m_eventsCount.load(); }
    bool geolocating() const { return m_geolocating; }
    // Blocks until the worker has ended and its end has been handled (for the headless importer and tests).
    void waitForEnd();

signals:
    // On the main thread, after the worker has ended and the data layer is closed.
    void finished();

protected:
    // ipstackKey and ipstackConsent come from the settings store; ipstackHost is the geolocation endpoint.
    TImportTask(TMainDataModule& data, const QString& ipstackKey, bool ipstackConsent,
                const QString& ipstackHost, QObject* parent);
    // A subclass stops its worker and waits for it in its own destructor: the worker calls into it.
    ~TImportTask() override;

    // Starts ImportWorker on a thread of its own, with the geolocator when geolocation is chosen and
    // possible.
    void startWorker();
    virtual void ImportWorker() = 0;
    // The worker's frame: empties the tables and writes the version row, runs `import` with the callback
    // that counts events and commits every kBatchSize of them, and commits what was posted whatever the
    // outcome. Failures go to the report.
    void runInBatches(const std::function<void(const std::function<void(std::int64_t)>& afterEvent)>& import);

    TMainDataModule& m_data;
    ImportReport m_report;
    QString m_key;
    QString m_host;
    bool m_keySet = false;
    bool m_geoChecked = false;
    bool m_geolocating = false;
    State m_state = State::Waiting;
    std::unique_ptr<QThread> m_thread; // the worker, from its start until its end has been handled
    std::unique_ptr<TIPGeolocator> m_geolocator;
    std::atomic<qint64> m_eventsCount{0};

private:
    void OmniEventMonitorTaskTerminated();
};

} // namespace kelvane
