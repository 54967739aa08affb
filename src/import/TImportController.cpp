#include "import/TImportController.h"

#include "detect/EventDetections.h"
#include "import/TIPGeolocator.h"
#include "import/TImportPipeline.h"
#include "import/TLogReader.h"
#include "store/Detections.h"
#include "store/TMainDataModule.h"

#include "import/CaseEventKeys.h"
#include "store/CaseFiles.h"
#include "store/Sqlite.h"

#include <QDateTime>
#include <QDirIterator>
#include <QFileInfo>
#include <QThread>

namespace kelvane {

namespace {

std::int64_t lastMasterKey(sql::Database& db) {
    auto stmt = db.prepare("SELECT COALESCE(MAX(GID), 0) FROM AllEvents");
    return stmt.step() ? stmt.columnInt64(0) : 0;
}

} // namespace

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

QStringList TImportController::logsUnder(const QStringList& paths) {
    QStringList logs;
    for (const QString& path : paths) {
        if (!QFileInfo(path).isDir()) {
            logs << path;
            continue;
        }
        QStringList found;
        QDirIterator it(path, {"*.evtx", "*.xml", "*.EVTX", "*.XML"}, QDir::Files,
                        QDirIterator::Subdirectories);
        while (it.hasNext())
            found << it.next();
        found.sort();
        logs << found;
    }
    return logs;
}

QStringList TImportController::fileLines() const {
    std::lock_guard lock(m_linesMutex);
    return m_fileLines;
}

void TImportController::ButtonImportClick() {
    // An added log goes into the tables that are there.
    if (!m_append)
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
    std::int64_t events = 0;
    ReadLosses losses;
    std::unique_ptr<detect::EventDetections> detections;
    if (m_detect) {
        std::vector<std::string> folders;
        for (const QString& folder : m_ruleFolders)
            folders.push_back(folder.toStdString());
        try {
            detections = std::make_unique<detect::EventDetections>(
                detect::loadRules(folders, m_bundledRules, m_matcher));
        } catch (const std::exception& e) {
            // The events are imported all the same; only the rules are missing.
            m_detectionSummary = QString("Detections not run: %1").arg(QString::fromUtf8(e.what()));
        }
    }
    m_detections = detections.get();
    // A case that takes more logs keeps the matches of its earlier events.
    const bool appending = m_append;
    runInBatches([&](const std::function<void(std::int64_t)>& afterEvent) {
        CaseEventKeys keys;
        keys.load(m_data.connection());
        const QStringList logs = files();
        for (int i = 0; i < logs.size(); ++i) {
            m_currentFile.store(i + 1);
            // One log alone fails the import as it always did; of several, a log that can't be read is
            // noted and passed over.
            try {
                importFile(logs[i], keys, events, afterEvent);
            } catch (const sql::Error&) {
                throw;
            } catch (const std::exception& e) {
                if (logs.size() == 1)
                    throw;
                casefiles::ImportedFile file{logs[i],
                                             QFileInfo(logs[i]).size(),
                                             casefiles::sha256(logs[i]),
                                             0,
                                             0,
                                             "not read: " + QString::fromUtf8(e.what()),
                                             QDateTime::currentDateTimeUtc()};
                casefiles::addFile(m_data.connection(), file);
                std::lock_guard lock(m_linesMutex);
                m_fileLines << logs[i] + ": " + file.reason;
            }
            losses += m_reader->losses();
        }
        if (detections)
            detections->store(m_data.connection(), appending);
        else if (!appending)
            detections::drop(m_data.connection());
    });
    m_detections = nullptr;
    if (detections) {
        m_detectionSummary = QString::fromStdString(detections->summary());
        m_ruleEvaluations = detections->matcher().ruleEvaluations();
        for (const detect::SkippedRule& skipped : detections->skipped())
            m_skippedRuleFiles << QString::fromStdString(skipped.file + ": " + skipped.reason);
    }
    m_report.setReadLosses(losses);
    m_eventsCount.store(events);
}

void TImportController::importFile(const QString& path, CaseEventKeys& keys, std::int64_t& eventsSoFar,
                                   const std::function<void(std::int64_t)>& afterEvent) {
    sql::Database& db = m_data.connection();
    casefiles::ImportedFile file;
    file.path = QFileInfo(path).absoluteFilePath();
    file.size = QFileInfo(path).size();
    file.sha256 = casefiles::sha256(path);
    const std::int64_t keyBefore = lastMasterKey(db);
    TImportPipeline pipeline(m_data, *m_reader, m_report, m_geolocator.get());
    if (m_detections)
        pipeline.setEventObserver(
            [this](const EventState& state, std::int64_t gid) { m_detections->evaluate(state, gid); });
    pipeline.setDuplicateTest([&keys](const EventState& event, const std::string& recordId) {
        return keys.isDuplicate(event, recordId);
    });
    const std::int64_t base = eventsSoFar;
    struct CountOnExit {
        TImportPipeline& pipeline;
        std::int64_t& events;
        std::int64_t base;
        ~CountOnExit() { events = base + pipeline.eventsCount(); }
    } countOnExit{pipeline, eventsSoFar, base};
    // A file that is not well formed ends the parse early; what was read so far stays.
    pipeline.run(path.toStdString(), [&](std::int64_t n) { afterEvent(base + n); });

    file.eventsTaken = lastMasterKey(db) - keyBefore;
    file.eventsSkipped = pipeline.eventsCount() - file.eventsTaken;
    QStringList why;
    if (pipeline.eventsCount() == 0)
        why << "no Sysmon events";
    if (pipeline.duplicates() > 0)
        why << QString("%1 already in the case").arg(pipeline.duplicates());
    const std::int64_t notKept = file.eventsSkipped - pipeline.duplicates();
    if (notKept > 0)
        why << QString("%1 not stored (event types not kept, or failed)").arg(notKept);
    for (const QString& line : ImportReport::lossLines(m_reader->losses()))
        why << line;
    file.reason = why.join("; ");
    file.importedAt = QDateTime::currentDateTimeUtc();
    keys.writeNew(db);
    casefiles::addFile(db, file);
    std::lock_guard lock(m_linesMutex);
    m_fileLines << QString("%1: %2 events taken, %3 skipped%4")
                       .arg(file.path)
                       .arg(file.eventsTaken)
                       .arg(file.eventsSkipped)
                       .arg(file.reason.isEmpty() ? QString() : " (" + file.reason + ")");
}

} // namespace kelvane
