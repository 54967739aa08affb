#include "import/TImportController.h"

#include "import/TIPGeolocator.h"
#include "import/TImportPipeline.h"
#include "import/TLogReader.h"
#include "store/TMainDataModule.h"

#include <QThread>

namespace kelvane {

TImportController::TImportController(TMainDataModule& data, const QString& ipstackKey, bool ipstackConsent,
                                     const QString& ipstackHost, QObject* parent)
    : TImportTask(data, ipstackKey, ipstackConsent, ipstackHost, parent),
      m_reader(std::make_unique<TLogReader>()) {}

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
    ImportData();
}

void TImportController::ImportData() {
    startWorker();
}

void TImportController::ImportWorker() {
    TImportPipeline pipeline(m_data, *m_reader, m_report, m_geolocator.get());
    runInBatches([&](const std::function<void(std::int64_t)>& afterEvent) {
        // A file that is not well formed ends the parse early; what was read so far stays.
        pipeline.run(FileName.toStdString(), afterEvent);
    });
    m_report.setReadLosses(m_reader->losses());
    m_eventsCount.store(pipeline.eventsCount());
}

} // namespace kelvane
