#include "import/TImportTask.h"

#include "import/TIPGeolocator.h"
#include "store/Schema.h"
#include "store/TMainDataModule.h"

#include <QEventLoop>
#include <QThread>

namespace kelvane {

TImportTask::TImportTask(TMainDataModule& data, const QString& ipstackKey, bool ipstackConsent,
                         const QString& ipstackHost, QObject* parent)
    : QObject(parent), m_data(data), m_key(ipstackKey),
      m_host(ipstackHost.isEmpty() ? QString(TIPGeolocator::kDefaultHost) : ipstackHost) {
    const QString trimmedKey = m_key.trimmed();
    m_keySet = !trimmedKey.isEmpty() && trimmedKey != "EMPTY" && ipstackConsent;
}

TImportTask::~TImportTask() = default;

void TImportTask::startWorker() {
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
    connect(m_thread, &QThread::finished, this, &TImportTask::OmniEventMonitorTaskTerminated,
            Qt::QueuedConnection);
    m_thread->start();
}

void TImportTask::runInBatches(
    const std::function<void(const std::function<void(std::int64_t)>& afterEvent)>& import) {
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
        import(afterEvent);
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

void TImportTask::OmniEventMonitorTaskTerminated() {
    if (!m_thread)
        return;
    m_thread->deleteLater();
    m_thread = nullptr;
    try {
        m_data.CloseDatabaseAndTables();
    } catch (const std::exception& e) {
        m_report.workerFailed(QString::fromUtf8(e.what()));
    }
    m_report.finished(m_eventsCount.load());
    m_geolocator.reset();
    m_state = State::Done;
    emit finished();
}

void TImportTask::waitForEnd() {
    if (!m_thread)
        return;
    QEventLoop loop;
    connect(this, &TImportTask::finished, &loop, &QEventLoop::quit);
    if (m_thread)
        loop.exec();
}

} // namespace kelvane
