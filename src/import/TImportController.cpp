#include "import/TImportController.h"

#include "detect/EventDetections.h"
#include "import/TIPGeolocator.h"
#include "import/TImportPipeline.h"
#include "import/TLogReader.h"
#include "store/Detections.h"
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

void TImportController::setDetections(bool enabled, bool bundled, const QStringList& userFolders) {
    m_detect = enabled;
    m_bundledRules = bundled;
    m_ruleFolders = userFolders;
}

void TImportController::ImportWorker() {
    TImportPipeline pipeline(m_data, *m_reader, m_report, m_geolocator.get());
    std::unique_ptr<detect::EventDetections> detections;
    if (m_detect) {
        std::vector<std::string> folders;
        for (const QString& folder : m_ruleFolders)
            folders.push_back(folder.toStdString());
        try {
            detections = std::make_unique<detect::EventDetections>(
                detect::loadRules(folders, m_bundledRules, m_matcher));
            pipeline.setEventObserver(
                [&](const EventState& state, std::int64_t gid) { detections->evaluate(state, gid); });
        } catch (const std::exception& e) {
            // The events are imported all the same; only the rules are missing.
            m_detectionSummary = QString("Detections not run: %1").arg(QString::fromUtf8(e.what()));
        }
    }
    runInBatches([&](const std::function<void(std::int64_t)>& afterEvent) {
        // A file that is not well formed ends the parse early; what was read so far stays.
        pipeline.run(FileName.toStdString(), afterEvent);
        if (detections)
            detections->store(m_data.connection());
        else
            detections::drop(m_data.connection());
    });
    if (detections) {
        m_detectionSummary = QString::fromStdString(detections->summary());
        m_ruleEvaluations = detections->matcher().ruleEvaluations();
        for (const detect::SkippedRule& skipped : detections->skipped())
            m_skippedRuleFiles << QString::fromStdString(skipped.file + ": " + skipped.reason);
    }
    m_report.setReadLosses(m_reader->losses());
    m_eventsCount.store(pipeline.eventsCount());
}

} // namespace kelvane
