#include "import/TImportController.h"

#include "import/TIPGeolocator.h"
#include "import/TImportPipeline.h"
#include "import/TLogReader.h"
#include "store/Schema.h"
#include "store/TMainDataModule.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>

namespace kelvane {

TImportController::TImportController(TMainDataModule& data, const QString& ipstackKey, bool ipstackConsent,
                                     const QString& ipstackHost, QObject* parent)
    : QObject(parent), m_data(data), m_key(ipstackKey),
      m_host(ipstackHost.isEmpty() ? QString(TIPGeolocator::kDefaultHost) : ipstackHost),
      m_reader(std::make_unique<TLogReader>()) {
    const QString trimmedKey = m_key.trimmed();
    m_keySet = !trimmedKey.isEmpty() && trimmedKey != "EMPTY" && ipstackConsent;
}

TImportController::~TImportController() {
    // The worker uses this object's reader and the data layer: it must be gone first.
    if (m_thread) {
        m_reader->requestStop();
        m_thread->wait();
    }
}

double TImportController::progress() const {
    const auto total = m_reader->totalBytes();
    return total > 0 ? std::min(1.0, double(m_reader->bytesRead()) / double(total)) : 0.0;
}

void TImportController::ButtonImportClick() {
    m_data.BuildDatabaseStructure();
    BeginSysmonDatabaseImport();
}

void TImportController::BeginSysmonDatabaseImport() {
    m_data.OpenDatabaseAndTables();
    m_geolocating = m_geoChecked && m_keySet;
    ImportData();
}

void TImportController::ImportData() {
    m_state = State::Running;
    if (m_geolocating)
        m_geolocator = std::make_unique<TIPGeolocator>(m_key, m_host);
    m_thread = QThread::create([this] { ImportWorker(); });
    if (!m_thread) {
        m_report.setModalResult(ImportReport::Abort);
        m_state = State::Closed;
        return;
    }
    connect(m_thread, &QThread::finished, this, &TImportController::OmniEventMonitorTaskTerminated,
            Qt::QueuedConnection);
    m_thread->start();
}

void TImportController::ImportWorker() {
    TImportPipeline pipeline(m_data, *m_reader, m_report, m_geolocator.get());
    int sinceCommit = 0;
    const auto afterEvent = [&](std::int64_t events) {
        m_eventsCount.store(events, std::memory_order_relaxed);
        if (++sinceCommit >= kBatchSize) {
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
        // A file that is not well formed ends the parse early; what was read so far stays.
        pipeline.run(FileName.toStdString(), afterEvent);
    } catch (const std::exception& e) {
        m_report.workerFailed(QString::fromUtf8(e.what()));
    }
    m_report.setRecordsSkipped(m_reader->recordsSkipped());
    m_eventsCount.store(pipeline.eventsCount());
    // Every row posted so far goes into the file, whatever the outcome.
    try {
        m_data.commitBatch();
    } catch (const std::exception& e) {
        m_report.workerFailed(QString::fromUtf8(e.what()));
    }
}

void TImportController::OmniEventMonitorTaskTerminated() {
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

void TImportController::waitForEnd() {
    if (!m_thread)
        return;
    QEventLoop loop;
    connect(this, &TImportController::finished, &loop, &QEventLoop::quit);
    if (m_thread)
        loop.exec();
}

} // namespace kelvane
