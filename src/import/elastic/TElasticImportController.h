#pragma once

#include "import/ImportReport.h"
#include "import/elastic/TElasticClient.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>

class QThread;

namespace kelvane {

class TIPGeolocator;
class TMainDataModule;
class TDatasetSource;

// The import of Sysmon events from a search server: for every index and each of 19 event ids, a count
// and, when there are events, one read of them all, mapped like the events of a log. The dialog is a
// thin form over it; the headless importer drives it directly.
class TElasticImportController : public QObject {
    Q_OBJECT
public:
    enum class State { Waiting, Running, Done, Closed };

    // The event ids queried, in this order: 4 and 16 have no table, and DNS queries are not read.
    static constexpr int kEventIds[] = {1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 17, 18, 19, 20, 21};

    TElasticImportController(TMainDataModule& data, const ElasticConnectionParams& connection,
                             const QString& ipstackKey, bool ipstackConsent,
                             const QString& ipstackHost = QString(), QObject* parent = nullptr);
    ~TElasticImportController() override;

    // Certificates the user trusted while connecting; the worker trusts them too.
    void trust(const QStringList& fingerprints) { m_trusted = fingerprints; }
    void setPageSize(int size) { m_pageSize = size; }
    void setRetryDelay(int msecs) { m_retryDelayMs = msecs; }

    void setPerformIPGeoMapping(bool checked) { m_geoChecked = checked; }
    bool FIPStackAPIKeySet() const { return m_keySet; }
    void setIPStackAPIKeySet(bool set) { m_keySet = set; }

    // Builds the schema and opens the data layer.
    void prepare();
    // Starts the worker on the indexes named in tables, joined by ";".
    void ImportData(const QString& tables);

    State state() const { return m_state; }
    ImportReport& report() { return m_report; }
    const ImportReport& report() const { return m_report; }
    qint64 FEventsCount() const { return m_eventsCount.load(); }
    bool geolocating() const { return m_geolocating; }
    void waitForEnd();

signals:
    void finished();

private:
    void ImportWorker();
    void produce(TDatasetSource& datasets, const std::function<void()>& endEvent);
    void OmniEventMonitorTaskTerminated();

    TMainDataModule& m_data;
    ElasticConnectionParams m_connection;
    QStringList m_trusted;
    QStringList m_tables;
    ImportReport m_report;
    QString m_key;
    QString m_host;
    bool m_keySet = false;
    bool m_geoChecked = false;
    bool m_geolocating = false;
    int m_pageSize = TElasticClient::kDefaultPageSize;
    int m_retryDelayMs = 1000;
    State m_state = State::Waiting;
    QThread* m_thread = nullptr;
    std::unique_ptr<TIPGeolocator> m_geolocator;
    std::atomic<qint64> m_eventsCount{0};
    std::atomic<bool> m_stop{false};
};

} // namespace kelvane
