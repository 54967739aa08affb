#include "import/elastic/TElasticImportController.h"

#include "import/TEventMapper.h"
#include "import/TIPGeolocator.h"
#include "import/TImportPipeline.h"
#include "import/elastic/FlatDocument.h"
#include "import/elastic/SysmonDocument.h"
#include "store/EventCatalogue.h"
#include "store/Schema.h"
#include "store/TMainDataModule.h"
#include "store/TTableDataset.h"

#include <QThread>

namespace kelvane {

TElasticImportController::TElasticImportController(TMainDataModule& data,
                                                   const ElasticConnectionParams& connection,
                                                   const QString& ipstackKey, bool ipstackConsent,
                                                   const QString& ipstackHost, QObject* parent)
    : TImportTask(data, ipstackKey, ipstackConsent, ipstackHost, parent), m_connection(connection) {}

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
    startWorker();
}

void TElasticImportController::ImportWorker() {
    TImportPipeline pipeline(m_data, m_report);
    runInBatches([&](const std::function<void(std::int64_t)>& afterEvent) {
        pipeline.runProducer([this](TDatasetSource& datasets,
                                    const std::function<void()>& endEvent) { produce(datasets, endEvent); },
                             [this] { m_stop = true; }, afterEvent);
    });
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
        for (const int id : catalogue::sysmonEventIds()) {
            if (m_stop)
                return;
            const qint64 total = client.count(index, id);
            if (total <= 0)
                continue;
            const std::unique_ptr<ElasticHits> hits = client.search(index, id);
            state.FEventIDUnderParsing = id;
            const char* name = catalogue::readerDisplayName(id);
            state.FEventNameUnderParsing = name ? name : "";
            // Documents deleted since the count leave nothing to map again.
            if (!hits->next()) {
                hits->close();
                continue;
            }
            flat.read(hits->source());
            document.read(flat, id);
            // The first row's computer stands for the whole batch.
            state.FComputerName = document.computer;
            columns.set(document);
            mapper.setResultColumns(&columns);
            // As many rounds as the count said: surplus rows stay unread, and when fewer come back the
            // last one is mapped again, as a cursor that cannot move past its end stays on its last row.
            for (qint64 round = 0; round < total; ++round) {
                if (m_stop) {
                    hits->close();
                    return;
                }
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

} // namespace kelvane
