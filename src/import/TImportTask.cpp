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
    m_thread.reset(QThread::create([this] { ImportWorker(); }));
    connect(m_thread.get(), &QThread::finished, this, &TImportTask::OmniEventMonitorTaskTerminated,
            Qt::QueuedConnection);
    m_thread->start();
    // A thread that could not be created neither runs nor finishes: the task cannot start.
    if (!m_thread->isRunning() && !m_thread->isFinished()) {
        m_thread.reset();
        m_geolocator.reset();
        m_report.setModalResult(ImportReport::Abort);
        m_state = State::Closed;
    }
}

namespace {

// Failures of the file system under the database rather than of the import.
bool isStorageFailure(const sql::Error& error) {
    const int primary = error.code() & 0xFF;
    return primary == SQLITE_FULL || primary == SQLITE_IOERR;
}

} // namespace

void TImportTask::runInBatches(
    const std::function<void(const std::function<void(std::int64_t)>& afterEvent)>& import) {
    int sinceCommit = 0;
    std::int64_t eventsWritten = 0;
    std::int64_t eventsKept = 0; // in committed transactions
    const auto afterEvent = [&](std::int64_t events) {
        eventsWritten = events;
        m_eventsCount.store(events, std::memory_order_relaxed);
        if (++sinceCommit >= kBatchSize) {
            sinceCommit = 0;
            m_data.commitBatch();
            eventsKept = events;
            m_data.beginBatch();
        }
    };
    QString failure;
    bool storage = false;
    const auto fail = [&](const std::exception& e) {
        // Only the first failure is told: what follows from it would only blur it.
        if (!failure.isEmpty())
            return;
        failure = QString::fromUtf8(e.what());
        const auto* error = dynamic_cast<const sql::Error*>(&e);
        storage = error && isStorageFailure(*error);
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
        // The version row is committed on its own, so that a database cut short by a full disk still opens.
        m_data.commitBatch();
        m_data.beginBatch();
        import(afterEvent);
    } catch (const std::exception& e) {
        fail(e);
    }
    // Every row posted so far goes into the file, whatever the outcome; a batch that cannot be committed
    // is rolled back, and the file keeps the batches before it.
    try {
        if (m_data.inBatch()) {
            m_data.commitBatch();
            eventsKept = eventsWritten;
        }
    } catch (const std::exception& e) {
        m_data.rollbackBatch();
        fail(e);
    }
    if (failure.isEmpty())
        return;
    if (storage)
        m_report.storageFailed(failure, eventsKept);
    else
        m_report.workerFailed(failure);
}

void TImportTask::OmniEventMonitorTaskTerminated() {
    if (!m_thread)
        return;
    // finished() is sent from the thread's last moments: it is gone once wait returns.
    m_thread->wait();
    m_thread.reset();
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
