#pragma once

#include "import/TImportTask.h"
#include "import/elastic/TElasticClient.h"

#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>

namespace kelvane {

class TDatasetSource;

// The import of Sysmon events from a search server: for every index and each event id Sysmon defines, a
// count and, when there are events, one read of them all, mapped like the events of a log (and counted
// like them, also where the type has no table). The dialog is a thin form over it; the headless importer
// drives it directly.
class TElasticImportController : public TImportTask {
    Q_OBJECT
public:
    TElasticImportController(TMainDataModule& data, const ElasticConnectionParams& connection,
                             const QString& ipstackKey, bool ipstackConsent,
                             const QString& ipstackHost = QString(), QObject* parent = nullptr);
    ~TElasticImportController() override;

    // Certificates the user trusted while connecting; the worker trusts them too.
    void trust(const QStringList& fingerprints) { m_trusted = fingerprints; }
    void setPageSize(int size) { m_pageSize = size; }
    void setRetryDelay(int msecs) { m_retryDelayMs = msecs; }

    // Builds the schema and opens the data layer.
    void prepare();
    // Starts the worker on the indexes named in tables, joined by ";".
    void ImportData(const QString& tables);

private:
    void ImportWorker() override;
    void produce(TDatasetSource& datasets, const std::function<void()>& endEvent);

    ElasticConnectionParams m_connection;
    QStringList m_trusted;
    QStringList m_tables;
    int m_pageSize = TElasticClient::kDefaultPageSize;
    int m_retryDelayMs = 1000;
    std::atomic<bool> m_stop{false};
};

} // namespace kelvane
