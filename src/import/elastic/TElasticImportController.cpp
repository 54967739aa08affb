#include "import/elastic/TElasticImportController.h"

#include "import/TEventMapper.h"
#include "import/TIPGeolocator.h"
#include "import/TImportController.h"
#include "import/TImportPipeline.h"
#include "import/elastic/FlatDocument.h"
#include "import/elastic/SysmonDocument.h"
#include "store/EventCatalogue.h"
#include "store/Schema.h"
#include "store/TMainDataModule.h"
#include "store/TTableDataset.h"

#include <QEventLoop>
#include <QThread>

namespace kelvane {

TElasticImportController::TElasticImportController(TMainDataModule& data,
                                                   const ElasticConnectionParams& connection,
                                                   const QString& ipstackKey, bool ipstackConsent,
                                                   const QString& ipstackHost, QObject* parent)
    : QObject(parent), m_data(data), m_connection(connection), m_key(ipstackKey),
      m_host(ipstackHost.isEmpty() ? QString(TIPGeolocator::kDefaultHost) : ipstackHost) {
    const QString trimmedKey = m_key.trimmed();
    m_keySet = !trimmedKey.isEmpty() && trimmedKey != "EMPTY" && ipstackConsent;
}

TElasticImportController::~TElasticImportController() {
    // The worker uses the data layer and this object's state: it must be gone first.
    if (m_thread) {
        m_stop = true;
        m_thread->wait();
    }
}

void TElasticImportController::prepare() {
    m_data.BuildDatabaseStructure();
    m_data.OpenDatabaseAndTables();
}

void TElasticImportController::ImportData(const QString& tables) {
    m_tables = tables.split(';');
    m_geolocating = m_geoChecked && m_keySet;
    m_state = State::Running;
    if (m_geolocating)
        m_geolocator = std::make_unique<TIPGeolocator>(m_key, m_host);
    m_thread = QThread::create([this] { ImportWorker(); });
    if (!m_thread) {
        m_report.setModalResult(ImportReport::Abort);
        m_state = State::Closed;
        return;
    }
    connect(m_thread, &QThread::finished, this, &TElasticImportController::OmniEventMonitorTaskTerminated,
            Qt::QueuedConnection);
    m_thread->start();
}

void TElasticImportController::ImportWorker() {
    TImportPipeline pipeline(m_data, m_report);
    int sinceCommit = 0;
    const auto afterEvent = [&](std::int64_t events) {
        m_eventsCount.store(events, std::memory_order_relaxed);
        if (++sinceCommit >= TImportController::kBatchSize) {
            sinceCommit = 0;
            m_data.commitBatch();
            m_data.beginBatch();
        }
    };
    try {
        m_data.beginBatch();
        TQuery& deleteAll = m_data.query("FDQueryDeleteAll");
        deleteAll.execute(m_data.connection());
        deleteAll.close();
        TTableDataset& version = m_data.dataset("KelvaneversionTable");
        version.append();
        version.setText("SVersion", schema::kDatabaseVersion);
        version.post();
        pipeline.runProducer([this](TDatasetSource& datasets,
                                    const std::function<void()>& endEvent) { produce(datasets, endEvent); },
                             [this] { m_stop = true; }, afterEvent);
    } catch (const std::exception& e) {
        m_report.workerFailed(QString::fromUtf8(e.what()));
    }
    // Every row posted so far goes into the file, whatever the outcome.
    try {
        m_data.commitBatch();
    } catch (const std::exception& e) {
        m_report.workerFailed(QString::fromUtf8(e.what()));
    }
}

void TElasticImportController::produce(TDatasetSource& datasets, const std::function<void()>& endEvent) {
    // The client lives on this thread, which waits for each answer in a local loop.
    TElasticClient client(m_connection);
    client.trust(m_trusted);
    client.setPageSize(m_pageSize);
    client.setRetryDelay(m_retryDelayMs);
    TEventMapper mapper(datasets, m_report, m_geolocator.get(), EventSource::Elasticsearch);
    EventState state;
    FlatDocument flat;
    SysmonDocument document;
    ElasticResultColumns columns;

    for (const QString& index : m_tables) {
        IndexColumns indexColumns;
        bool haveColumns = false;
        for (const int id : kEventIds) {
            if (m_stop)
                return;
            const qint64 total = client.count(index, id);
            if (total <= 0)
                continue;
            if (!haveColumns) {
                indexColumns = client.columns(index);
                haveColumns = true;
            }
            const std::unique_ptr<ElasticHits> hits = client.search(index, id);
            state.FEventIDUnderParsing = id;
            state.FEventNameUnderParsing = catalogue::readerDisplayName(id);
            // Documents deleted since the count leave nothing to map again.
            if (!hits->next())
                continue;
            flat.read(hits->source());
            document.read(flat, id);
            // The first row's computer stands for the whole batch.
            if (!document.hasComputer && !indexColumns.computerName)
                throw DatasetError("FDQueryData: Field 'computer_name' not found");
            state.FComputerName = document.computer;
            columns.set(document, indexColumns);
            mapper.setResultColumns(&columns);
            // As many rounds as the count said: surplus rows stay unread, and when fewer come back the
            // last one is mapped again, as a cursor that cannot move past its end stays on its last row.
            for (qint64 round = 0; round < total; ++round) {
                if (m_stop)
                    return;
                if (round > 0 && hits->next()) {
                    flat.read(hits->source());
                    document.read(flat, id);
                }
                state.FEventRecordData = document.items;
                try {
                    mapper.writeEvent(state);
                } catch (...) {
                    // A row that cannot be mapped costs that row only.
                }
                endEvent();
            }
            hits->close();
        }
        client.disconnect();
    }
}

void TElasticImportController::OmniEventMonitorTaskTerminated() {
    if (!m_thread)
        return;
    m_thread->deleteLater();
    m_thread = nullptr;
    m_report.finished(m_eventsCount.load());
    m_data.CloseDatabaseAndTables();
    m_geolocator.reset();
    m_state = State::Done;
    emit finished();
}

void TElasticImportController::waitForEnd() {
    if (!m_thread)
        return;
    QEventLoop loop;
    connect(this, &TElasticImportController::finished, &loop, &QEventLoop::quit);
    if (m_thread)
        loop.exec();
}

} // namespace kelvane
